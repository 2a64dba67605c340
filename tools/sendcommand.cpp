// `quorvex send`: mails through the add-in, with what was asked and answered.

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "tools/agentprocess.h"
#include "tools/command.h"
#include "tools/logtail.h"
#include "tools/mailinput.h"
#include "tools/mailroad.h"
#include "tools/sendreport.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"

namespace tools {

namespace {

struct SendOptions {
  std::vector<std::string> mails;
  std::string rules;
  std::string log;
  std::string hostVersion = "16.0.0.1234";
  bool useRunningAgent = false;
  bool json = false;
};

void Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

// The bar stands on the last line of a terminal while mails run, and goes before anything else is
// written.
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

MailOutcome SendOne(MailRoad& road, const std::string& path) {
  MailOutcome unreadable;
  try {
    return road.Send(path, ReadMail(path));
  } catch (const std::exception& error) {
    unreadable.mail = path;
    unreadable.error = error.what();
  }
  return unreadable;
}

int SendAll(const SendOptions& options, const tools::system::StopSignal& stop) {
  MailRoad road(options.hostVersion);
  std::unique_ptr<LogTail> log;
  if (!options.log.empty()) log = std::make_unique<LogTail>(road.TheAddIn(), options.log);

  const bool terminal = tools::system::IsTerminal(tools::system::Stream::kOutput);
  ReportStyle style;
  style.colour = tools::system::TakesColours(tools::system::Stream::kOutput);
  style.width = std::max<std::size_t>(tools::system::TerminalWidth(), 40);
  const ProgressBar bar(options.mails.size(), style, terminal && !options.json);
  Summary summary;
  for (std::size_t i = 0; i < options.mails.size() && !stop.Flag(); ++i) {
    bar.Show(i);
    const MailOutcome outcome = SendOne(road, options.mails[i]);
    bar.Hide();
    summary.Count(outcome);
    Print(options.json ? OutcomeJson(outcome) + "\n" : MailReport(outcome, style));
    if (outcome.error && options.json) {
      fmt::print(stderr, "{}: {}\n", outcome.mail, *outcome.error);
    }
    if (log) log->Show();
  }
  if (options.useRunningAgent && summary.Unchecked() > 0) {
    fmt::print(stderr, "No agent was there: the mails went out unchecked.\n");
  }
  if (!options.json) Print(summary.Line());
  return stop.Flag() ? kStatusUsage : summary.ExitStatus();
}

int RunSend(const SendOptions& options) {
  const tools::system::StopSignal stop;
  // Somebody who pressed Ctrl-C doesn't want to wait for an agent that has gone: the waits fall
  // away, and the add-in cleans up as after any time-out.
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> hurry(
      [&stop](auto original, std::uint32_t milliseconds) {
        if (!stop.Flag()) original(milliseconds);
      });
  AgentProcess agent;
  if (!options.useRunningAgent) {
    std::string error;
    if (!agent.Start(options.rules, &error)) {
      fmt::print(stderr, "quorvex send: {}\n", error);
      return kStatusUsage;
    }
  }
  int status = kStatusUsage;
  try {
    status = SendAll(options, stop);
  } catch (const std::exception& error) {
    fmt::print(stderr, "quorvex send: {}\n", error.what());
  }
  agent.Stop();
  return status;
}

}  // namespace

void AddSendCommand(CLI::App& app, int* status) {
  CLI::App* const command = app.add_subcommand("send", "Send mails through the add-in");
  auto options = std::make_shared<SendOptions>();
  command
      ->add_option("MAIL", options->mails,
                   ReadsMailFiles() ? "Mail files (.eml), or mails in JSON"
                                    : "Mails in JSON, made by `quorvex import`")
      ->required();
  CLI::Option* const rules =
      command->add_option("--rules", options->rules, "How the simulated agent answers (TOML)");
  command
      ->add_flag("--agent", options->useRunningAgent,
                 "Use the agent that is running, and start none")
      ->excludes(rules);
  command->add_flag("--json", options->json, "One JSON object a line, one line a mail");
  command->add_option("--log", options->log,
                      "Write the add-in's own log to this file; \"-\" shows it below each mail");
  command
      ->add_option("--host-version", options->hostVersion, "The version text of the simulated host")
      ->capture_default_str();
  command->footer(
      "Examples:\n"
      "  quorvex send mail.eml\n"
      "      What is asked about this mail; the simulated agent lets everything go.\n"
      "  quorvex send --rules samples/rules.toml samples/*.eml\n"
      "      The same with an agent that blocks and tags.\n"
      "  quorvex send --agent --json mail.eml\n"
      "      Ask the agent that is running; the result for a program to read.\n"
      "  quorvex send --log - mail.eml\n"
      "      With the add-in's own log below.\n\n"
      "Exit status: 0 all let go, 1 some blocked, 2 some unreadable, 3 usage or set-up\n"
      "error.");
  command->callback([options, status] { *status = RunSend(*options); });
}

}  // namespace tools
