// The simulated agent in this process, for `quorvex send --fast`.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/mappings.h"
#include "simulation/agent/simulatedagent.h"
#include "tools/fasttime.h"
#include "tools/mailrun.h"
#include "tools/privatemappings.h"

namespace tools {

// Uses the same ring and blocks as an agent in a process of its own, and looks at them while the
// add-in sleeps, as that agent does. The sleeps take no time: see FastTime. An add-in that is
// linked in finds ring and blocks in this process's memory: see PrivateMappings.
class LocalAgent {
 public:
  // Creates the ring. Ends the command with CommandError if it can't be created.
  LocalAgent(simulation::agent::RuleSet rules, const std::string& ring);

  LocalAgent(const LocalAgent&) = delete;
  LocalAgent& operator=(const LocalAgent&) = delete;

  std::chrono::steady_clock::time_point Now() const { return m_time.Now(); }
  // What it has decided since the last call.
  std::vector<DecidedRequest> TakeDecisions();

 private:
  bool TakeTurn();

  std::optional<PrivateMappings> m_memory;  // absent for an add-in in a DLL
  // Without the recording of what the add-in does.
  platform::MappingOperations m_mappings;
  std::unique_ptr<simulation::agent::SimulatedAgent> m_agent;  // null after a crash
  bool m_crashes = false;
  std::vector<DecidedRequest> m_decisions;
  FastTime m_time;
};

}  // namespace tools
