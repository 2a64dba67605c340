#include "tools/agentprocess.h"

#include <vector>

#include "channel/protocol.h"
#include "platform/mappings.h"
#include "platform/scopedhandle.h"
#include "tools/system/commandline.h"

namespace tools {

namespace {

constexpr std::uint32_t kStartMilliseconds = 20000;
constexpr std::uint32_t kEndMilliseconds = 5000;

}  // namespace

bool IsAgentThere() {
  const platform::ScopedHandle ring(
      platform::mappings.OpenFileMappingA(platform::kMapRead, false, channel::kRingName));
  return ring.IsOpen();
}

bool AgentProcess::Start(const std::string& rulesFile, std::string* error) {
  std::vector<std::string> arguments = {"agent", "--quiet", "--until-input-ends"};
  if (!rulesFile.empty()) {
    arguments.emplace_back("--rules");
    arguments.push_back(rulesFile);
  }
  if (!m_child.Start(tools::system::OwnProgramPath(), arguments, error)) return false;
  std::string ready;
  if (m_child.ReadLine(&ready, kStartMilliseconds) !=
      tools::system::ChildProcess::ReadResult::kLine) {
    m_child.End(kEndMilliseconds);
    *error = "the simulated agent did not start";
    return false;
  }
  m_running = true;
  return true;
}

void AgentProcess::Stop() {
  if (!m_running) return;
  m_child.End(kEndMilliseconds);
  m_running = false;
}

}  // namespace tools
