// `quorvex agent`: the simulated agent in a process of its own.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "channel/protocol.h"
#include "platform/process.h"
#include "simulation/agent/simulatedagent.h"
#include "tools/agentrules.h"
#include "tools/command.h"
#include "tools/json.h"
#include "tools/system/childprocess.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {
namespace {

struct AgentOptions {
  std::string rules;
  bool json = false;
  bool quiet = false;
  bool noJournal = false;
  std::string journal;
  bool takeOver = false;
  bool untilInputEnds = false;
  std::string ring = channel::kRingName;
  std::optional<std::uint32_t> poll;
};

constexpr const char* kAgentHelp =
    "Examples:\n"
    "  quorvex agent                              answer \"go on\" to everything\n"
    "  quorvex agent --rules samples/rules.toml   answer by the rules of a file\n"
    "  quorvex agent --json | jq .payload         what the add-in asks, as JSON lines\n"
    "\n"
    "Ends on Ctrl-C and on SIGTERM, and removes what it created.\n"
    "Exit status: 0 ended by a signal, 3 wrong usage, a mistake in the rules, or the\n"
    "ring can't be created (another agent has it).";

void Say(const std::string& line) {
  std::fputs((line + "\n").c_str(), stdout);
  std::fflush(stdout);
}

std::string AnswerWords(const std::optional<std::int32_t>& answer) {
  if (!answer) return "no answer";
  const std::string_view word = channel::ActionWord(*answer);
  return word.empty() ? "answer " + std::to_string(*answer) : std::string(word);
}

// A payload on one line: its NULs separate the parts of a list.
std::string OneLine(std::string text, std::size_t columns) {
  while (text.ends_with('\0')) text.pop_back();
  std::replace(text.begin(), text.end(), '\0', ',');
  return Shortened(text, columns);
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
    simulation::agent::RuleSet rules = ReadRules(m_options.rules, !m_options.quiet);
    simulation::agent::SimulatedAgent::Options options;
    options.poll = m_options.poll;
    options.kit.takeOver = m_options.takeOver;
    options.kit.ring.name = m_options.ring;
    if (!m_options.noJournal) {
      options.journalPath =
          m_options.journal.empty() ? simulation::agent::JournalPath() : m_options.journal;
    }
    const std::size_t ruleCount = rules.rules.size();
    const std::size_t faultCount = rules.faults.size();

    const tools::system::StopSignal stop;
    simulation::agent::SimulatedAgent agent(std::move(rules), options, MakeWatchers());
    CheckStarted(agent.Start());
    if (!m_options.noJournal && !agent.HasJournal()) {
      Complain("the journal " + options.journalPath + " can't be written; going on without it");
    }
    SayReady(ruleCount, faultCount, agent.HasJournal() ? options.journalPath : std::string());
    // Looking at the input is a system call, so do it only now and then.
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
    std::fprintf(stderr, "quorvex agent: %s\n", message.c_str());
  }

  void CheckStarted(agentkit::OpenResult result) const {
    const std::string& ring = m_options.ring;
    switch (result) {
      case agentkit::OpenResult::kOpened:
        return;
      case agentkit::OpenResult::kOtherOwner:
        throw CommandError("another agent has the ring " + ring +
                           ". End it first. If it died, wait until the add-in has closed its "
                           "ring, or use --take-over");
      case agentkit::OpenResult::kUnusable:
        throw CommandError("the existing ring " + ring + " can't be taken over");
      case agentkit::OpenResult::kFailed:
        throw CommandError("the system refuses to create the ring " + ring +
                           ". On Windows this takes the right to create global objects: run the "
                           "agent as an administrator");
    }
  }

  void SayReady(std::size_t rules, std::size_t faults, const std::string& journal) const {
    if (m_options.json) {
      Say(Json::Object()
              .Add("event", "ready")
              .Add("ring", m_options.ring)
              .Add("pid", platform::process.GetCurrentProcessId())
              .Add("rules", rules)
              .Add("faults", faults)
              .Add("journal", journal.empty() ? Json() : Json(journal))
              .Text());
    } else {
      Say("ready: " + Counted(rules, "rule") + ", " + Counted(faults, "fault") + ", waiting at " +
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

Command AgentCommand() {
  auto options = std::make_shared<AgentOptions>();
  return {
      .name = "agent",
      .summary = "Simulate the local agent: create the ring, answer the add-in by rules",
      .footer = kAgentHelp,
      .options =
          {{.name = "--rules",
            .target = &options->rules,
            .help = "The rules, a TOML file; without it every mail may go",
            .valueName = "FILE"},
           {.name = "--json",
            .target = &options->json,
            .help = "One JSON object a line instead of text"},
           {.name = "--quiet",
            .target = &options->quiet,
            .help = "Print only that the ring is ready, and what goes wrong"},
           {.name = "--no-journal",
            .target = &options->noJournal,
            .help = "Don't write the journal of requests and answers"},
           {.name = "--journal",
            .target = &options->journal,
            .help = "Write the journal to this file instead of the usual one",
            .valueName = "FILE"},
           {.name = "--take-over",
            .target = &options->takeOver,
            .help = "Continue the ring of an agent that has died. Never while it runs"},
           {.name = "--until-input-ends",
            .target = &options->untilInputEnds,
            .help = "Also end when standard input ends: for a program that starts the agent"},
           {.name = "--poll",
            .target = &options->poll,
            .help = "How often to look at an empty ring, in milliseconds; 0 never sleeps. Without "
                    "it 1 in traffic and 5 at rest",
            .valueName = "MS"},
           {.name = "--ring",
            .target = &options->ring,
            .help = "Another name for the ring, to avoid a running agent. The add-in uses "
                    "Global\\VRKEXPIPE only",
            .valueName = "NAME"}},
      .run =
          [options] {
            AgentRun(*options).Run();
            return kStatusDone;
          },
  };
}

}  // namespace tools
