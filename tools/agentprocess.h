// The simulated agent that `quorvex send` starts for itself.
#pragma once

#include <string>

#include "tools/system/childprocess.h"

namespace tools {

class AgentProcess {
 public:
  AgentProcess() = default;
  // Ends the agent and waits until its ring is gone.
  ~AgentProcess();

  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;

  // Starts `quorvex agent` with that rules file (none if empty), ring and journal, and waits until
  // it is ready. Raises CommandError if it can't be started; the agent itself then reports mistakes
  // in the rules on standard error.
  void Start(const std::string& rulesFile, const std::string& ring, const std::string& journal);

 private:
  tools::system::ChildProcess m_child;
};

}  // namespace tools
