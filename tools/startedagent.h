// The agent that `quorvex conform --start` starts, kills and starts again.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace tools {

// Keeps the agent running as a service manager does: when it ends, it is started again after half a
// second. Discards what it prints.
class StartedAgent {
 public:
  // Starts `command`, a program and its arguments separated by blanks, with double quotes around
  // what contains blanks. Waits until the ring exists. Raises CommandError if it doesn't within 20
  // s, or if another agent has the ring already.
  StartedAgent(const std::string& command, const std::string& ring);
  // Ends the agent.
  ~StartedAgent();

  StartedAgent(const StartedAgent&) = delete;
  StartedAgent& operator=(const StartedAgent&) = delete;

  // Kills the agent, which gets no chance to clean up. It is started again.
  void Kill();

 private:
  void Keep();

  const std::vector<std::string> m_words;
  std::string m_error;
  std::atomic<bool> m_hasError{false};
  std::atomic<bool> m_end{false};
  std::atomic<bool> m_kill{false};
  std::thread m_keeper;
};

// The words of such a command.
std::vector<std::string> CommandWords(const std::string& command);

}  // namespace tools
