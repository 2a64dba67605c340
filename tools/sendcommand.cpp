// `quorvex send`: sends mails through the add-in and shows what was asked and answered.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "simulation/mail/mailreader.h"
#include "simulation/mail/mailsource.h"
#include "tools/agentprocess.h"
#include "tools/command.h"
#include "tools/htmlpage.h"
#include "tools/inputfile.h"
#include "tools/mailroad.h"
#include "tools/runslot.h"
#include "tools/sendreport.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {

namespace {

struct SendOptions {
  std::vector<std::string> mails;
  std::string filesFrom;
  std::string rules;
  std::string log;
  std::string html;
  std::string hostVersion = "16.0.0.1234";
  std::string ring = channel::kRingName;
  bool useRunningAgent = false;
  bool json = false;
};

void Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

// Shown on the last line of a terminal while a mail is being sent, and removed before anything else
// is printed.
class ProgressBar {
 public:
  ProgressBar(std::size_t all, const ReportStyle& style, bool shown)
      : m_all(all), m_style(style), m_shown(shown && all > 1) {}
  void Show(std::size_t done) const {
    if (m_shown) Print("\r" + ProgressLine(done, m_all, m_style));
  }
  void Hide() const {
    if (m_shown) Print("\r\x1b[K");
  }

 private:
  std::size_t m_all;
  ReportStyle m_style;
  bool m_shown;
};

// Frees the mail's bytes before it is sent: its text may be large.
simulation::mail::MailModel TakeModel(simulation::mail::RawMail& mail) {
  const std::string bytes = std::move(mail.bytes);
  return simulation::mail::ReadMail(bytes);
}

MailOutcome SendOne(MailRoad& road, simulation::mail::RawMail& mail) {
  MailOutcome unreadable;
  unreadable.mail = mail.name;
  unreadable.error = mail.error;
  try {
    if (!mail.error) return road.Send(mail.name, TakeModel(mail));
  } catch (const std::exception& error) {
    unreadable.error = error.what();
  }
  return unreadable;
}

std::unique_ptr<simulation::mail::MailSource> OpenSource(const SendOptions& options) {
  tools::system::ReadBinaryInput();
  try {
    return std::make_unique<simulation::mail::MailSource>(options.mails, options.filesFrom);
  } catch (const simulation::mail::MailError& error) {
    throw CommandError(options.filesFrom + ": " + error.what());
  }
}

// The heading of the page.
std::string PageTitle(const SendOptions& options) {
  if (options.useRunningAgent) return "Mails sent, answered by the running agent";
  if (options.rules.empty()) return "Mails sent, with an agent that lets everything go";
  return "Mails sent, answered by " + options.rules;
}

// Where `--log` writes the add-in's own log.
class LogOutput {
 public:
  explicit LogOutput(const std::string& path) : m_isOutput(path == "-") {
    if (path.empty() || m_isOutput) return;
    m_file.open(PathOf(path), std::ios::binary | std::ios::trunc);
    if (!m_file) throw CommandError(Printable(path) + ": can't be written");
  }

  void Write(const std::string& lines) {
    if (m_isOutput) Print(lines);
    if (m_file.is_open()) m_file << lines << std::flush;
  }

 private:
  bool m_isOutput;
  std::ofstream m_file;
};

// "16", "16.0" or "16.0.0.1234".
bool IsVersion(std::string_view text) {
  bool isNumber = false;
  int dots = 0;
  for (const char c : text) {
    if (c == '.' && (!isNumber || ++dots > 3)) return false;
    isNumber = c >= '0' && c <= '9';
    if (!isNumber && c != '.') return false;
  }
  return isNumber;
}

class Sending {
 public:
  Sending(const SendOptions& options, const tools::system::StopSignal& stop)
      : m_options(options), m_stop(stop), m_log(options.log) {
    m_style.colour = tools::system::TakesColours(tools::system::Stream::kOutput);
    m_style.width = std::max<std::size_t>(tools::system::TerminalWidth(), 40);
  }

  int Run(const RunSlot& slot) {
    MailRoad road({.hostVersion = m_options.hostVersion,
                   .ring = m_options.useRunningAgent ? m_options.ring : slot.RingName(),
                   .hasRules = !m_options.useRunningAgent});
    const bool hasBar =
        tools::system::IsTerminal(tools::system::Stream::kOutput) && !m_options.json;
    const auto source = OpenSource(m_options);
    MailsPage page(m_options.html, PageTitle(m_options));
    Summary summary;
    // Folders and mailboxes have more mails than they count for here, so the total may grow.
    std::size_t all = m_options.mails.size();
    for (std::size_t done = 0; !m_stop.Flag(); ++done) {
      all = std::max(all, done + 1);
      const ProgressBar bar(all, m_style, hasBar);
      bar.Show(done);
      auto mail = source->Next();
      if (!mail) {
        bar.Hide();
        break;
      }
      const MailOutcome outcome = SendOne(road, *mail);
      bar.Hide();
      // A mail whose waits were cut short says nothing about the agent.
      if (m_stop.Flag()) break;
      Report(outcome);
      summary.Count(outcome);
      if (!m_options.html.empty()) page.AddLine(OutcomeJson(outcome));
      m_log.Write(road.TakeLog());
    }
    page.Finish();
    // A reader that goes away, as `head` does, has got what it wanted. That is no interruption.
    if (m_stop.Flag() && !m_stop.IsOutputClosed()) summary.Interrupt(all);
    if (!m_options.json) {
      Print(summary.Line());
    } else if (m_stop.Flag()) {
      fmt::print(stderr, "quorvex send: {}", summary.Line());
    }
    return summary.ExitStatus();
  }

 private:
  void Report(const MailOutcome& outcome) const {
    Print(m_options.json ? OutcomeJson(outcome) + "\n" : MailReport(outcome, m_style));
    if (outcome.error && m_options.json) {
      fmt::print(stderr, "{}: {}\n", outcome.mail, *outcome.error);
    }
  }

  const SendOptions& m_options;
  const tools::system::StopSignal& m_stop;
  LogOutput m_log;
  ReportStyle m_style;
};

int RunSend(const SendOptions& options) {
  if (options.mails.empty() && options.filesFrom.empty()) {
    throw CommandError("give it mails, or a list of them with --files-from");
  }
  if (!IsVersion(options.hostVersion)) {
    throw CommandError("--host-version: \"" + Printable(options.hostVersion) +
                       "\" is no version like 16.0.0.1234");
  }
  const tools::system::StopSignal stop;
  // After Ctrl-C nobody wants to wait for an agent: the add-in's waits end at once, and it cleans
  // up as after any time-out.
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> hurry(
      [&stop](auto original, std::uint32_t milliseconds) {
        if (!stop.Flag()) original(milliseconds);
      });
  const RunSlot slot;
  AgentProcess agent;
  if (!options.useRunningAgent) {
    agent.Start(options.rules, slot.RingName(), simulation::agent::JournalPath());
  }
  return Sending(options, stop).Run(slot);
}

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex send mail.eml\n"
    "      What the add-in asks about this mail. The simulated agent lets it go.\n"
    "  quorvex send --rules samples/rules.toml samples/*.eml\n"
    "      The same with an agent that blocks and tags.\n"
    "  quorvex send --agent --json mail.eml\n"
    "      Ask the agent that is running; the result for a program to read.\n"
    "  quorvex send --log - mail.eml\n"
    "      With the add-in's own log after each mail.\n"
    "  quorvex send archive.mbox inbox/ letter.msg\n"
    "      Every mail in them. A mail in a mailbox has a name like archive.mbox#17.\n"
    "  find . -name '*.eml' | quorvex send --files-from -\n"
    "      The mails in a list.\n\n"
    "Exit status: 0 all let go and checked, 1 some blocked, 2 some unreadable, 4 some\n"
    "not checked completely, 130 interrupted, 3 wrong usage, or the add-in or the\n"
    "agent can't be started. Of several, the first in the order 3, 130, 2, 1, 4.";

}  // namespace

Command SendCommand() {
  auto options = std::make_shared<SendOptions>();
  return {
      .name = "send",
      .summary = "Send mails through the add-in",
      .footer = kHelp,
      .options = {{.name = "MAIL",
                   .target = &options->mails,
                   .help = simulation::mail::kReadsInternetMessages
                               ? "Mails (.eml, .msg, JSON), mailboxes (mbox, Maildir), folders, "
                                 "or \"-\" for standard input"
                               : "Mails (.msg, or JSON made by `quorvex import`), folders, or "
                                 "\"-\" for standard input"},
                  {.name = "--files-from",
                   .target = &options->filesFrom,
                   .help = "A file with further mails, one path a line; \"-\" for standard input",
                   .valueName = "FILE"},
                  {.name = "--rules",
                   .target = &options->rules,
                   .help = "How the simulated agent answers (TOML)",
                   .valueName = "FILE"},
                  {.name = "--agent",
                   .target = &options->useRunningAgent,
                   .help = "Use the agent that is running, and start none",
                   .excludes = "--rules"},
                  {.name = "--ring",
                   .target = &options->ring,
                   .help = "With --agent: another name for the agent's ring"},
                  {.name = "--json",
                   .target = &options->json,
                   .help = "One JSON object a line, one line a mail"},
                  {.name = "--html",
                   .target = &options->html,
                   .help = "Also write a page for a browser with every mail and its requests",
                   .valueName = "FILE"},
                  {.name = "--log",
                   .target = &options->log,
                   .help =
                       "Write the add-in's own log to this file; \"-\" shows it below each mail",
                   .valueName = "FILE"},
                  {.name = "--host-version",
                   .target = &options->hostVersion,
                   .help = "The version text of the simulated host",
                   .showsDefault = true}},
      .run = [options] { return RunSend(*options); },
  };
}

}  // namespace tools
