// The simulated agent that `quorvex send` starts for itself.
#pragma once

#include <string>

#include "tools/system/childprocess.h"

namespace tools {

// True if some agent owns the ring at this moment.
bool IsAgentThere();

class AgentProcess {
 public:
  // Starts `quorvex agent` with that rules file (none if empty) and waits until it is ready.
  // False, with the reason in words in `*error`, if it can't start; what is wrong with a rules
  // file the agent itself has then said on the standard error.
  bool Start(const std::string& rulesFile, std::string* error);

  // Ends it and waits until the ring is gone. Does nothing if none runs.
  void Stop();

 private:
  tools::system::ChildProcess m_child;
  bool m_running = false;
};

}  // namespace tools
