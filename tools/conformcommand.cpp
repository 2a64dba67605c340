// `quorvex conform`: does the running agent do what the add-in expects of it?
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "inspection/conformance/conformance.h"
#include "tools/command.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"

namespace tools {
namespace {

constexpr int kStatusFailures = 1;

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex conform                      try the agent that is running\n"
    "  quorvex conform --json               one JSON object a check, then the sum\n"
    "  quorvex conform --long               4 GB through the ring: a cursor past 2^32\n"
    "\n"
    "Plays the add-in's side. Run it while no mail is being sent. The last two checks\n"
    "wait until the agent gives a dead writer's room back, up to 30 s each.\n"
    "Exit status: 0 no check failed, 1 some failed, 3 usage, or no agent is running.";

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
      throw CommandError("there is no ring " + m_options.checks.ring + ": no agent is running",
                         kStatusUsage);
    }
    ShowSum();
    return m_failed > 0 ? kStatusFailures : kStatusDone;
  }

 private:
  using Line = nlohmann::ordered_json;

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
      Print(Line{{"check", result.check}, {"outcome", word}, {"seen", result.seen}}.dump());
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
          Indented(result.seen));
  }

  // Lines of at most 80 columns, broken between words.
  static std::string Indented(const std::string& words) {
    constexpr std::size_t kColumns = 80;
    const std::string indent(12, ' ');
    std::string text = indent;
    std::size_t column = indent.size();
    for (std::size_t at = 0; at < words.size();) {
      const std::size_t end = std::min(words.find(' ', at), words.size());
      if (column > indent.size() && column + 1 + end - at > kColumns) {
        text += "\n" + indent;
        column = indent.size();
      } else if (column > indent.size()) {
        text += ' ';
        ++column;
      }
      text += words.substr(at, end - at);
      column += end - at;
      at = end + 1;
    }
    return text;
  }

  void ShowSum() const {
    if (m_options.json) {
      Print(Line{{"passed", m_passed}, {"failed", m_failed}, {"not_tested", m_notTested}}.dump());
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

void AddConformCommand(CLI::App& app, int* status) {
  auto options = std::make_shared<ConformOptions>();
  CLI::App* const command =
      app.add_subcommand("conform", "Try out whether the running agent keeps to the protocol");
  command->footer(kHelp);
  command->add_flag("--json", options->json, "One JSON object a line instead of text");
  command->add_flag("--long", options->checks.isLongTrip,
                    "Also what takes minutes: the cursor past 2^32");
  command->add_option("--ring", options->checks.ring, "Another name for the ring")
      ->type_name("NAME");
  command->callback([options, status] { *status = ConformRun(*options).Run(); });
}

}  // namespace tools
