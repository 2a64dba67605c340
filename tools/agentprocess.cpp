#include "tools/agentprocess.h"

#include <vector>

#include "tools/command.h"
#include "tools/system/commandline.h"

namespace tools {

namespace {

constexpr std::uint32_t kStartMilliseconds = 20000;
constexpr std::uint32_t kEndMilliseconds = 5000;

}  // namespace

AgentProcess::~AgentProcess() {
  m_child.End(kEndMilliseconds);
}

void AgentProcess::Start(const std::string& rulesFile, const std::string& ring,
                         const std::string& journal) {
  std::vector<std::string> arguments = {
      "agent", "--quiet", "--until-input-ends", "--ring", ring, "--journal", journal};
  if (!rulesFile.empty()) {
    arguments.emplace_back("--rules");
    arguments.push_back(rulesFile);
  }
  std::string error;
  if (!m_child.Start(tools::system::OwnProgramPath(), arguments, &error)) throw CommandError(error);
  std::string ready;
  if (m_child.ReadLine(&ready, kStartMilliseconds) !=
      tools::system::ChildProcess::ReadResult::kLine) {
    throw CommandError("the simulated agent didn't start");
  }
}

}  // namespace tools
