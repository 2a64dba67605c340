#include "tools/sendoutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {
namespace {

// Often enough to look alive; drawing costs more than a fast mail.
constexpr std::chrono::milliseconds kProgressEvery{100};

// The heading of the page.
std::string PageTitle(const SendOptions& options) {
  if (options.useRunningAgent) return "Mails sent, answered by the running agent";
  if (options.rules.empty()) return "Mails sent, with an agent that lets everything go";
  return "Mails sent, answered by " + options.rules;
}

void Complain(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace

ReportStyle OutputStyle() {
  return {.colour = tools::system::TakesColours(tools::system::Stream::kOutput),
          .width = std::max<std::size_t>(tools::system::TerminalWidth(), 40)};
}

void Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

SendOutput::SendOutput(const SendOptions& options, const ReportStyle& style)
    : m_options(options), m_style(style), m_page(options.html, PageTitle(options)) {
  if (!options.log.empty() && options.log != "-") {
    m_log.open(PathOf(options.log), std::ios::binary | std::ios::trunc);
    if (!m_log) throw CommandError(Printable(options.log) + ": can't be written");
  }
  if (!options.noProgress && tools::system::IsTerminal(tools::system::Stream::kError)) {
    m_counter = std::make_unique<MailCounter>(options.mails, options.filesFrom);
  }
  ShowProgress();
}

WantedTexts SendOutput::Wanted() const {
  return {.json = m_options.json || !m_options.html.empty(),
          .report = !m_options.json && !m_options.summary,
          .log = !m_options.log.empty(),
          .complaint = m_options.json || m_options.summary};
}

void SendOutput::Take(const SentMail& mail) {
  m_summary.Count(mail.outcome, mail.checked);
  const bool isLogShown = m_options.log == "-" && !mail.log.empty();
  if (m_options.json || !m_options.summary || isLogShown || !mail.complaint.empty()) HideProgress();
  if (!mail.complaint.empty()) Complain(mail.complaint + "\n");
  if (m_options.json) Print(mail.json + "\n");
  if (!mail.report.empty()) Print(mail.report);
  if (isLogShown) Print(mail.log);
  if (m_log.is_open()) m_log << mail.log << std::flush;
  if (!m_options.html.empty()) m_page.AddLine(mail.json);
  ShowProgress();
}

int SendOutput::Finish(const tools::system::StopSignal& stop) {
  HideProgress();
  m_page.Finish();
  // A reader that goes away, as `head` does, has got what it wanted. That is no interruption.
  if (stop.Flag() && !stop.IsOutputClosed()) {
    m_summary.Interrupt(m_counter ? m_counter->Count() : std::nullopt);
  }
  if (!m_options.json) {
    Print(m_summary.Line());
  } else if (stop.Flag()) {
    Complain("quorvex send: " + m_summary.Line());
  }
  return m_summary.ExitStatus();
}

void SendOutput::ShowProgress() {
  const Clock::time_point now = Clock::now();
  if (!m_counter || now - m_shown < kProgressEvery) return;
  m_shown = now;
  m_isShown = true;
  const Progress progress = {.done = m_summary.All(),
                             .all = m_counter->Count(),
                             .seconds = std::chrono::duration<double>(now - m_began).count()};
  Complain("\r\x1b[K" + ProgressLine(progress, m_style));
}

void SendOutput::HideProgress() {
  if (std::exchange(m_isShown, false)) Complain("\r\x1b[K");
}

}  // namespace tools
