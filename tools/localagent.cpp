#include "tools/localagent.h"

#include <utility>

#include "tools/command.h"

namespace tools {

LocalAgent::LocalAgent(simulation::agent::RuleSet rules, const std::string& ring)
    : m_time([this] { return TakeTurn(); }) {
  simulation::agent::SimulatedAgent::Options options;
  options.kit.ring.name = ring;
  simulation::agent::SimulatedAgent::Watchers watchers;
  watchers.onRequest = [this](const simulation::agent::JournalRequest& request,
                              const std::vector<std::string>&) {
    m_decisions.push_back({request.block, request.because});
  };
  watchers.onCrash = [this] { m_crashes = true; };
  m_agent = std::make_unique<simulation::agent::SimulatedAgent>(std::move(rules), options,
                                                                std::move(watchers));
  if (m_agent->Start() != agentkit::OpenResult::kOpened) {
    throw CommandError("the simulated agent can't create the ring " + ring);
  }
}

std::vector<DecidedRequest> LocalAgent::TakeDecisions() {
  return std::exchange(m_decisions, {});
}

// An agent that crashes leaves no ring and no block, like a process that ends. While the add-in
// sleeps, it changes nothing: after a turn without a change only an answer that is due later
// can bring another.
bool LocalAgent::TakeTurn() {
  const bool hasMore = m_agent && (m_agent->Step() || m_agent->HasLateAnswers());
  if (m_crashes) m_agent.reset();
  return hasMore;
}

}  // namespace tools
