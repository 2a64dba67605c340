#include "tools/localagent.h"

#include <utility>

#include "tools/addin.h"
#include "tools/command.h"

namespace tools {

namespace {

// Puts operations into the platform's table for a scope.
class Mappings {
 public:
  explicit Mappings(const platform::MappingOperations& operations)
      : m_before(std::exchange(platform::mappings, operations)) {}
  ~Mappings() { platform::mappings = m_before; }
  Mappings(const Mappings&) = delete;
  Mappings& operator=(const Mappings&) = delete;

 private:
  const platform::MappingOperations m_before;
};

}  // namespace

LocalAgent::LocalAgent(simulation::agent::RuleSet rules, const std::string& ring)
    : m_time([this] { return TakeTurn(); }) {
  if (AddIn::UsesOurPlatform()) m_memory.emplace();
  m_mappings = platform::mappings;
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
  const Mappings unrecorded(m_mappings);
  const bool hasMore = m_agent && (m_agent->Step() || m_agent->HasLateAnswers());
  if (m_crashes) m_agent.reset();
  return hasMore;
}

}  // namespace tools
