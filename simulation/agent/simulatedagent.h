// The simulated agent: answers the add-in's requests by rules. agentkit handles the ring and the
// blocks, a Judge decides, and a journal records. Everything runs on the thread that calls Step.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/agentkit.h"
#include "simulation/agent/journal.h"
#include "simulation/agent/judge.h"

namespace simulation::agent {

class SimulatedAgent {
 public:
  struct Options {
    // The journal's path; empty for none.
    std::string journalPath = {};
    agentkit::Agent::Options kit = {};
    // Milliseconds between two polls of the shared memory when there is nothing to do. Absent: 1
    // during traffic and for two seconds after it, 5 later, which costs almost nothing. 5 doesn't
    // delay a first answer, since the add-in looks for its block only 20 ms after it has asked. 0
    // polls without a pause.
    std::optional<std::uint32_t> poll = {};
  };

  // Callbacks; each may be empty.
  struct Watchers {
    // The judge has decided; the answer isn't stored yet. `remarks` are patterns that took too
    // long.
    std::function<void(const JournalRequest& request, const std::vector<std::string>& remarks)>
        onRequest = {};
    // A request has ended: `outcome` and `waitedMs` are set.
    std::function<void(const JournalRequest& request)> onOutcome = {};
    // The ring contained something unexpected, in words.
    std::function<void(const std::string& what)> onOddity = {};
    // A fault tells the agent to crash. If this is empty the process ends at once, as if killed.
    std::function<void()> onCrash = {};
  };

  SimulatedAgent(RuleSet rules, Options options, Watchers watchers);

  SimulatedAgent(const SimulatedAgent&) = delete;
  SimulatedAgent& operator=(const SimulatedAgent&) = delete;

  // Creates the ring, then the journal, so that an agent that finds the ring taken leaves the other
  // agent's journal alone. The destructor removes both.
  agentkit::OpenResult Start();

  // False if there is no journal, also because it can't be created. The agent works without one.
  bool HasJournal() const { return m_journal != nullptr; }

  // Handles what there is without waiting. True if there was anything.
  bool Step();

  // Steps and sleeps until `stop` returns true.
  void Run(const std::function<bool()>& stop);

  // Whether an answer waits for its time.
  bool HasLateAnswers() const { return !m_late.empty(); }

  // For looking at sessions.
  const Judge& Rules() const { return m_judge; }

 private:
  struct LateAnswer {
    agentkit::RequestId id;
    std::int32_t answer;
    std::uint32_t sinceTick;
    std::uint32_t late;
  };
  // A request that hasn't ended yet.
  struct Underway {
    JournalRequest line;
    std::uint32_t sinceTick = 0;
    bool isWritten = false;  // its line is in the journal already
  };

  agentkit::Handlers MakeHandlers();
  bool OnRecord(const agentkit::Request& request);
  std::optional<std::int32_t> OnRequest(const agentkit::Request& request);
  void OnEnd(const agentkit::Request& request, agentkit::Ending ending);
  void OnOddEntry(agentkit::TakeResult what);
  Underway& Begin(const agentkit::Request& request);
  void WriteRequest(Underway* underway, const std::vector<std::string>& remarks);
  bool GiveLateAnswers();
  std::uint32_t Pause() const;

  Judge m_judge;
  const Options m_options;
  const Watchers m_watchers;
  std::unique_ptr<JournalWriter> m_journal;
  std::map<agentkit::RequestId, Underway> m_underway;
  std::vector<LateAnswer> m_late;
  std::uint32_t m_lastMoveTick = 0;
  agentkit::Agent m_agent;  // last: its handlers use all of the above
};

}  // namespace simulation::agent
