// The simulated agent: the ring's consumer that answers by rules.
//
// It is the wire's half (agentkit) with a judge behind it and a journal beside it. Everything runs
// on the thread that calls Step.
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
    // Where the journal goes; empty for none.
    std::string journalPath = {};
    agentkit::Agent::Options kit = {};
    // Milliseconds between two looks at the shared memory when there is nothing to do. Absent: 1
    // while there is traffic and for two seconds after it, and 5 later on, which costs next to
    // nothing; the add-in looks for its block only 20 ms after it has asked, so a first request
    // isn't answered later for it. 0 looks again at once.
    std::optional<std::uint32_t> poll = {};
  };

  // Called as things happen; each may be empty.
  struct Watchers {
    // A request was ruled on; its answer isn't stored yet. `remarks` are patterns given up on.
    std::function<void(const JournalRequest& request, const std::vector<std::string>& remarks)>
        onRequest = {};
    // A request has ended: `outcome` and `waitedMs` are filled in.
    std::function<void(const JournalRequest& request)> onOutcome = {};
    // Something odd came out of the ring, in words.
    std::function<void(const std::string& what)> onOddity = {};
    // A fault says that the agent crashes. Without one the process ends on the spot, as if killed.
    std::function<void()> onCrash = {};
  };

  SimulatedAgent(RuleSet rules, Options options, Watchers watchers);

  SimulatedAgent(const SimulatedAgent&) = delete;
  SimulatedAgent& operator=(const SimulatedAgent&) = delete;

  // Makes the ring, then begins the journal: an agent that finds the ring taken leaves the journal
  // of the other one alone. The ring and the journal go with the object.
  agentkit::OpenResult Start();

  // False if a journal was wanted and can't be written. The agent works without it.
  bool HasJournal() const { return m_journal != nullptr; }

  // Does what there is to do, without waiting. True if anything moved.
  bool Step();

  // Steps and sleeps until `stop` is true.
  void Run(const std::function<bool()>& stop);

  // The rules' side, for looking at.
  const Judge& Rules() const { return m_judge; }

 private:
  struct LateAnswer {
    agentkit::RequestId id;
    std::int32_t answer;
    std::uint32_t sinceTick;
    std::uint32_t late;
  };
  // A request that hasn't ended.
  struct Underway {
    JournalRequest line;
    std::uint32_t sinceTick = 0;
    bool isWritten = false;  // its line is in the journal
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
