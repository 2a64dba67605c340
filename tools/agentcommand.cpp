// `quorvex agent`: the simulated agent in a process of its own.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "channel/protocol.h"
#include "platform/process.h"
#include "simulation/agent/simulatedagent.h"
#include "simulation/agent/utf8.h"
#include "tools/command.h"
#include "tools/system/childprocess.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"

namespace tools {
namespace {

// Keeps its fields in the order in which they are put in.
using Line = nlohmann::ordered_json;

struct AgentOptions {
  std::string rules;
  bool json = false;
  bool quiet = false;
  bool noJournal = false;
  bool takeOver = false;
  bool untilInputEnds = false;
  std::string ring = channel::kRingName;
  std::optional<std::uint32_t> poll;
};

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex agent                              say \"go on\" to everything\n"
    "  quorvex agent --rules samples/rules.toml   answer by the rules of a file\n"
    "  quorvex agent --json | jq .payload         what the add-in asks, as JSON lines\n"
    "\n"
    "Ends on Ctrl-C and on a polite kill, and leaves nothing behind.\n"
    "Exit status: 0 ended by a signal, 3 usage, a mistake in the rules, or no ring to\n"
    "be had (another agent has it).";

void Say(const std::string& line) {
  std::fputs((line + "\n").c_str(), stdout);
  std::fflush(stdout);
}

std::string Dump(const Line& line) {
  return line.dump(-1, ' ', false, Line::error_handler_t::replace);
}

std::string AnswerWords(const std::optional<std::int32_t>& answer) {
  if (!answer) return "no answer";
  const std::string_view word = channel::ActionWord(*answer);
  return word.empty() ? "answer " + std::to_string(*answer) : std::string(word);
}

// One line of text for a person: no control characters, not too long, cut between characters.
std::string OneLine(const std::string& bytes, std::size_t most) {
  std::string text = simulation::agent::ReplaceInvalidUtf8(bytes);
  while (!text.empty() && text.back() == '\0') text.pop_back();
  for (char& c : text) {
    if (c == '\0') c = ',';
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool begins = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (begins && ++characters > most) return text.substr(0, i) + "...";
  }
  return text;
}

std::string What(const simulation::agent::JournalRequest& request) {
  constexpr std::size_t kMost = 100;
  if (!request.payload) return "(block refused)";
  if (request.itemType != channel::kItemFile) return OneLine(*request.payload, kMost);
  const std::string path(simulation::agent::LeafOf(*request.payload));
  std::string text = OneLine(request.name.empty() ? path : request.name, kMost);
  if (request.contentBytes) {
    text += " (" + std::to_string(*request.contentBytes) + " bytes)";
  } else {
    text += " (no such file)";
  }
  return text;
}

class AgentRun {
 public:
  explicit AgentRun(const AgentOptions& options)
      : m_options(options),
        m_colours(tools::system::TakesColours(tools::system::Stream::kOutput)) {}

  void Run() {
    simulation::agent::RuleSet rules = LoadRules();
    simulation::agent::SimulatedAgent::Options options;
    options.poll = m_options.poll;
    options.kit.takeOver = m_options.takeOver;
    options.kit.ring.name = m_options.ring;
    if (!m_options.noJournal) options.journalPath = simulation::agent::JournalPath();
    const std::size_t ruleCount = rules.rules.size();
    const std::size_t faultCount = rules.faults.size();

    const tools::system::StopSignal stop;
    simulation::agent::SimulatedAgent agent(std::move(rules), options, MakeWatchers());
    CheckStarted(agent.Start());
    if (!m_options.noJournal && !agent.HasJournal()) {
      Complain("the journal " + options.journalPath + " can't be written; going on without it");
    }
    SayReady(ruleCount, faultCount, agent.HasJournal() ? options.journalPath : std::string());
    // Looking at the input is a call of the system, so not each time.
    unsigned turns = 0;
    agent.Run([&] {
      constexpr unsigned kTurnsPerLook = 16;
      if (stop.Flag()) return true;
      return m_options.untilInputEnds && turns++ % kTurnsPerLook == 0 &&
             tools::system::StandardInputEnded();
    });
  }

 private:
  static void Complain(const std::string& message) {
    std::fprintf(stderr, "quorvex: %s\n", message.c_str());
  }

  simulation::agent::RuleSet LoadRules() const {
    if (m_options.rules.empty()) return {};
    simulation::agent::RulesFile file = simulation::agent::LoadRules(m_options.rules);
    for (const simulation::agent::RulesRemark& mistake : file.mistakes) {
      std::fprintf(stderr, "%s\n", simulation::agent::RemarkText(m_options.rules, mistake).c_str());
    }
    if (!file.mistakes.empty()) {
      throw CommandError("the rules can't be used; nothing was started", kStatusUsage);
    }
    if (!m_options.quiet) {
      for (simulation::agent::RulesRemark& note : file.notes) {
        note.message = "note: " + note.message;
        std::fprintf(stderr, "%s\n", simulation::agent::RemarkText(m_options.rules, note).c_str());
      }
    }
    return std::move(file.rules);
  }

  void CheckStarted(agentkit::OpenResult result) const {
    const std::string& ring = m_options.ring;
    switch (result) {
      case agentkit::OpenResult::kOpened:
        return;
      case agentkit::OpenResult::kOtherOwner:
        throw CommandError("another agent has the ring " + ring +
                               ". End it first; if it died, the add-in still holds its ring for "
                               "some seconds, or say --take-over",
                           kStatusUsage);
      case agentkit::OpenResult::kUnusable:
        throw CommandError("the ring " + ring + " that stands there can't be taken over",
                           kStatusUsage);
      case agentkit::OpenResult::kFailed:
        throw CommandError("the system refuses the ring " + ring +
                               ". On Windows its maker needs the right to create global objects: "
                               "run this as an administrator",
                           kStatusUsage);
    }
  }

  void SayReady(std::size_t rules, std::size_t faults, const std::string& journal) const {
    if (m_options.json) {
      Say(Dump({{"event", "ready"},
                {"ring", m_options.ring},
                {"pid", platform::process.GetCurrentProcessId()},
                {"rules", rules},
                {"faults", faults},
                {"journal", journal.empty() ? Line(nullptr) : Line(journal)}}));
    } else {
      Say("ready: " + std::to_string(rules) + (rules == 1 ? " rule, " : " rules, ") +
          std::to_string(faults) + (faults == 1 ? " fault, " : " faults, ") + "waiting at " +
          m_options.ring);
    }
  }

  simulation::agent::SimulatedAgent::Watchers MakeWatchers() const {
    simulation::agent::SimulatedAgent::Watchers watchers;
    watchers.onOddity = [](const std::string& what) { Complain(what); };
    if (m_options.quiet) return watchers;
    watchers.onRequest = [this](const simulation::agent::JournalRequest& request,
                                const std::vector<std::string>& remarks) {
      for (const std::string& remark : remarks) Complain(remark);
      Say(m_options.json ? simulation::agent::JournalLine(request) : RequestLine(request));
    };
    watchers.onOutcome = [this](const simulation::agent::JournalRequest& request) {
      if (m_options.json) {
        Say(simulation::agent::OutcomeLine(request.id, request.outcome, request.waitedMs));
      } else if (request.outcome != simulation::agent::kOutcomeTaken) {
        Say(request.time.substr(11) + "  " + Who(request) + "  " + request.stage + ": " +
            request.outcome + " after " + std::to_string(request.waitedMs) + " ms");
      }
    };
    return watchers;
  }

  static std::string Who(const simulation::agent::JournalRequest& request) {
    return std::to_string(request.processId) + ":" + std::to_string(request.threadId);
  }

  std::string RequestLine(const simulation::agent::JournalRequest& request) const {
    constexpr std::size_t kStageWidth = 10;
    constexpr std::size_t kAnswerWidth = 9;
    std::string stage = request.stage;
    stage.resize(std::max(stage.size(), kStageWidth), ' ');
    std::string answer = AnswerWords(request.answer);
    answer.resize(std::max(answer.size(), kAnswerWidth), ' ');
    if (m_colours && request.answer != channel::kActionGoOn) {
      const char* const colour = request.answer == channel::kActionTag ? "33" : "31";
      answer = "\x1b[" + std::string(colour) + "m" + answer + "\x1b[0m";
    }
    std::string line = request.time.substr(11) + "  " + Who(request) + "  " + stage + "  " +
                       answer + "  " + What(request);
    if (!request.because.empty()) line += "  [" + OneLine(request.because, 60) + "]";
    while (line.ends_with(' ')) line.pop_back();
    return line;
  }

  const AgentOptions& m_options;
  const bool m_colours;
};

}  // namespace

void AddAgentCommand(CLI::App& app, int* status) {
  auto options = std::make_shared<AgentOptions>();
  CLI::App* const command = app.add_subcommand(
      "agent", "Simulate the local agent: own the ring, answer the add-in by rules");
  command->footer(kHelp);
  command->add_option("--rules", options->rules, "The rules, a TOML file; without it all mail goes")
      ->type_name("FILE");
  command->add_flag("--json", options->json, "One JSON object a line instead of text");
  command->add_flag("--quiet", options->quiet,
                    "Say only when the ring stands, and what goes wrong");
  command->add_flag("--no-journal", options->noJournal,
                    "Don't keep the journal that `quorvex send` reads");
  command->add_flag("--take-over", options->takeOver,
                    "Go on with the ring of an agent that has died. Never while it lives");
  command->add_flag("--until-input-ends", options->untilInputEnds,
                    "End also when standard input ends: for a program that starts the agent");
  command
      ->add_option("--poll", options->poll,
                   "Look at the ring every so many milliseconds when there is nothing to do, 0 "
                   "for always; without it 1 in traffic and 5 at rest")
      ->type_name("MS");
  command
      ->add_option("--ring", options->ring,
                   "Another name for the ring, to stay clear of a running agent. The add-in "
                   "itself asks at Global\\VRKEXPIPE only")
      ->type_name("NAME");
  command->callback([options, status] {
    AgentRun(*options).Run();
    *status = kStatusDone;
  });
}

}  // namespace tools
