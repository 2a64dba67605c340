// `quorvex conform`: does the running agent do what the add-in expects of it?
#include <cstdio>
#include <memory>
#include <string>

#include "inspection/conformance/conformance.h"
#include "tools/command.h"
#include "tools/json.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {
namespace {

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex conform                      check the agent that is running\n"
    "  quorvex conform --json               one JSON object a check, then the totals\n"
    "  quorvex conform --long               4 GB through the ring: a cursor past 2^32\n"
    "\n"
    "Takes the add-in's part. Run it while no mail is being sent. The last two checks\n"
    "wait until the agent reclaims a dead writer's space, up to 30 s each.\n"
    "Exit status: 0 no check failed, 1 some failed, 3 wrong usage, or no agent is\n"
    "running.";

struct ConformOptions {
  inspection::conformance::Options checks;
  bool json = false;
};

const char* Word(inspection::conformance::Outcome outcome) {
  switch (outcome) {
    case inspection::conformance::Outcome::kPass:
      return "pass";
    case inspection::conformance::Outcome::kFail:
      return "FAIL";
    case inspection::conformance::Outcome::kNotTested:
      break;
  }
  return "not tested";
}

class ConformRun {
 public:
  explicit ConformRun(const ConformOptions& options)
      : m_options(options),
        m_colours(tools::system::TakesColours(tools::system::Stream::kOutput)) {}

  int Run() {
    const tools::system::StopSignal stop;
    if (!inspection::conformance::Run(
            m_options.checks, stop.Flag(),
            [this](const inspection::conformance::Result& result) { Show(result); })) {
      throw CommandError("there is no ring " + m_options.checks.ring + ": no agent is running");
    }
    ShowTotals();
    return m_failed > 0 ? kStatusFindings : kStatusDone;
  }

 private:
  static void Print(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
  }

  void Show(const inspection::conformance::Result& result) {
    ++(result.outcome == inspection::conformance::Outcome::kPass   ? m_passed
       : result.outcome == inspection::conformance::Outcome::kFail ? m_failed
                                                                   : m_notTested);
    if (m_options.json) {
      const std::string word = result.outcome == inspection::conformance::Outcome::kFail ? "fail"
                               : result.outcome == inspection::conformance::Outcome::kPass
                                   ? "pass"
                                   : "not-tested";
      Print(Json::Object()
                .Add("check", result.check)
                .Add("outcome", word)
                .Add("seen", result.seen)
                .Text());
      return;
    }
    constexpr std::size_t kOutcomeWidth = 12;
    std::string outcome = Word(result.outcome);
    const std::size_t width = outcome.size();
    if (m_colours && result.outcome != inspection::conformance::Outcome::kPass) {
      outcome =
          (result.outcome == inspection::conformance::Outcome::kFail ? "\x1b[31m" : "\x1b[33m") +
          outcome + "\x1b[0m";
    }
    Print(outcome + std::string(kOutcomeWidth - width, ' ') + result.check + "\n" +
          Wrapped(std::string(kOutcomeWidth, ' ') + result.seen, 80, kOutcomeWidth));
  }

  void ShowTotals() const {
    if (m_options.json) {
      Print(Json::Object()
                .Add("passed", m_passed)
                .Add("failed", m_failed)
                .Add("not_tested", m_notTested)
                .Text());
      return;
    }
    Print(std::to_string(m_passed) + " passed, " + std::to_string(m_failed) + " failed, " +
          std::to_string(m_notTested) + " not tested");
  }

  const ConformOptions& m_options;
  const bool m_colours;
  int m_passed = 0;
  int m_failed = 0;
  int m_notTested = 0;
};

}  // namespace

Command ConformCommand() {
  auto options = std::make_shared<ConformOptions>();
  return {
      .name = "conform",
      .summary = "Check whether the running agent keeps to the protocol",
      .footer = kHelp,
      .options = {{.name = "--json",
                   .target = &options->json,
                   .help = "One JSON object a line instead of text"},
                  {.name = "--long",
                   .target = &options->checks.isLongTrip,
                   .help = "Also the check that takes minutes: the cursor past 2^32"},
                  {.name = "--ring",
                   .target = &options->checks.ring,
                   .help = "Another name for the ring",
                   .valueName = "NAME"}},
      .run = [options] { return ConformRun(*options).Run(); },
  };
}

}  // namespace tools
