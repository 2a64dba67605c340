// `quorvex conform`: does the running agent do what the add-in expects of it?
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "inspection/conformance/conformance.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/process.h"
#include "text/textconversion.h"
#include "tools/command.h"
#include "tools/conformmails.h"
#include "tools/conformreport.h"
#include "tools/inputfile.h"
#include "tools/outputline.h"
#include "tools/startedagent.h"
#include "tools/system/commandline.h"
#include "tools/system/filereads.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {
namespace {

using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;

constexpr const char* kConformHelp =
    "Examples:\n"
    "  quorvex conform                    check the agent that is running\n"
    "  quorvex conform --expect FILE      also that it blocks and tags what it must\n"
    "  quorvex conform --start '/opt/agent --quiet'\n"
    "                                     start the agent, and kill it in mid-mail\n"
    "  quorvex conform --junit FILE       the results for a CI system as well\n"
    "  quorvex conform --long             4 GB through the ring: a cursor past 2^32\n"
    "\n"
    "FILE of --expect is TOML, with one table for each mail:\n"
    "  [[mail]]\n"
    "  file = \"secret.eml\"        relative to that file\n"
    "  must_be = \"blocked\"        or \"sent\", or \"tagged\"\n"
    "\n"
    "Acts as the add-in. Run it while no mail is being sent. The last checks wait\n"
    "until the agent reclaims a dead writer's space, up to 30 s each.\n"
    "Exit status: 0 all checks passed, except those that take an option (\"not\n"
    "checked\"); 1 some failed; 4 none failed, but some couldn't tell (\"unknown\");\n"
    "130 interrupted; 3 wrong usage, or no agent is running.";

struct ConformOptions {
  inspection::conformance::Options checks;
  std::string expect;
  std::string start;
  std::string junit;
  bool json = false;
};

// A folder for the files of this run, in the user's temporary folder as the add-in's files.
class RunFolder {
 public:
  RunFolder() {
    std::array<char, platform::kMaxPath> folder{};
    platform::folders.GetTempPathA(static_cast<std::uint32_t>(folder.size()), folder.data());
    m_path = AnsiToUtf8(folder.data()) + "quorvex-conform-" +
             std::to_string(platform::process.GetCurrentProcessId()) + "/";
    std::error_code error;
    std::filesystem::create_directories(PathOf(m_path), error);
    if (error) throw CommandError(Printable(m_path) + ": can't be created");
  }
  ~RunFolder() {
    std::error_code error;
    std::filesystem::remove_all(PathOf(m_path), error);
  }
  RunFolder(const RunFolder&) = delete;
  RunFolder& operator=(const RunFolder&) = delete;

  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

std::vector<Expectation> LoadExpectations(const std::string& path) {
  if (path.empty()) return {};
  RequireTextFile(path, kStatusUsage);
  std::ifstream file(PathOf(path), std::ios::binary);
  if (!file) RefuseFile(path, kStatusUsage);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  ExpectationFile expectations = ParseExpectations(path, text);
  for (const std::string& mistake : expectations.mistakes) {
    std::fprintf(stderr, "%s\n", mistake.c_str());
  }
  if (!expectations.mistakes.empty()) throw CommandError("the expectations can't be used");
  return std::move(expectations.mails);
}

class ConformRun {
 public:
  explicit ConformRun(const ConformOptions& options)
      : m_options(options),
        m_colours(tools::system::TakesColours(tools::system::Stream::kOutput)) {}

  int Run() {
    std::ofstream junit;
    if (!m_options.junit.empty()) {
      junit.open(PathOf(m_options.junit), std::ios::binary | std::ios::trunc);
      if (!junit) throw CommandError(Printable(m_options.junit) + ": can't be written");
    }
    const tools::system::StopSignal stop;
    const RunFolder folder;
    const MailChecks mails{.program = tools::system::OwnProgramPath(),
                           .ring = m_options.checks.ring,
                           .folder = folder.Path(),
                           .expectationPath = m_options.expect,
                           .expectations = LoadExpectations(m_options.expect)};
    std::unique_ptr<StartedAgent> agent;
    if (!m_options.start.empty()) {
      agent = std::make_unique<StartedAgent>(m_options.start, m_options.checks.ring);
    }
    inspection::conformance::Options checks = m_options.checks;
    checks.folder = folder.Path();
    checks.probe = {tools::system::WatchReads, tools::system::WasRead};
    if (agent) checks.restart = [&agent] { agent->Kill(); };
    checks.extra = ChecksWithMails(&mails, &stop.Flag());
    if (!inspection::conformance::Run(checks, stop.Flag(),
                                      [this](const Result& result) { Show(result); })) {
      throw CommandError("there is no ring " + m_options.checks.ring + ": no agent is running");
    }
    Print(m_options.json ? ConformTotalsJson(m_results) : ConformTotals(m_results));
    if (junit.is_open() && !(junit << ConformJUnit(m_results) << std::flush)) {
      throw CommandError(Printable(m_options.junit) + ": can't be written");
    }
    return stop.Flag() ? kStatusInterrupted : ExitStatus();
  }

 private:
  static void Print(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
  }

  bool Has(CheckOutcome outcome) const {
    return std::any_of(m_results.begin(), m_results.end(),
                       [outcome](const Result& result) { return result.outcome == outcome; });
  }

  int ExitStatus() const {
    if (Has(CheckOutcome::kFail)) return kStatusFindings;
    return Has(CheckOutcome::kUnknown) ? kStatusUnchecked : kStatusDone;
  }

  void Show(const Result& result) {
    m_results.push_back(result);
    if (m_options.json) return Print(ConformJson(result));
    std::string text = ConformText(result, m_colours, OutputWidth(30));
    text.pop_back();
    Print(text);
  }

  const ConformOptions& m_options;
  const bool m_colours;
  std::vector<Result> m_results;
};

}  // namespace

Command ConformCommand() {
  auto options = std::make_shared<ConformOptions>();
  return {
      .name = "conform",
      .summary = "Check whether the running agent keeps to the protocol",
      .footer = kConformHelp,
      .options = {{.name = "--expect",
                   .target = &options->expect,
                   .help = "What the agent must do with which mail (TOML, see below)",
                   .valueName = "FILE"},
                  {.name = "--start",
                   .target = &options->start,
                   .help = "Start the agent with this command, and end it at the end. It begins "
                           "with the program's path",
                   .valueName = "COMMAND"},
                  {.name = "--json",
                   .target = &options->json,
                   .help = "One JSON object a line instead of text"},
                  {.name = "--junit",
                   .target = &options->junit,
                   .help = "Also write the results as JUnit XML",
                   .valueName = "FILE"},
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
