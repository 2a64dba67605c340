// For tests of `quorvex agent` as a process: gives it a simulated machine of its own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "channel/protocol.h"
#include "platform/mappings.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"
#include "simulation/agent/journal.h"
#include "tests/support/temporaryfolder.h"
#include "tools/system/childprocess.h"
#include "tools/system/commandline.h"

namespace tests {

inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// Sets an environment variable of this process, and so of its children, for a scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::string& value) : m_name(name) {
    const char* const before = std::getenv(name);
    m_was = before != nullptr;
    if (m_was) m_before = before;
    Set(value);
  }
  ~ScopedVariable() { Set(m_was ? m_before : std::string()); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  // An empty value removes the variable.
  void Set(const std::string& value) const {
#if defined(_WIN32)
    _putenv_s(m_name, value.c_str());
#else
    if (value.empty()) {
      unsetenv(m_name);
    } else {
      setenv(m_name, value.c_str(), 1);
    }
#endif
  }

  const char* m_name;
  bool m_was = false;
  std::string m_before;
};

// The agent's process has its own temporary folder, for the journal, and its own ring name, which
// this process's channel uses too.
class AgentProcessTest : public testing::Test {
 protected:
  AgentProcessTest()
      : m_root("QUORVEX_ROOT", m_folder.Path().string()),
        m_tmp("TMP", m_folder.Path().string()),
        m_ring("Global\\test-" + std::to_string(platform::process.GetCurrentProcessId()) + "-" +
               std::to_string(++s_count)),
        m_open([this](auto original, std::uint32_t access, bool inherit, const char* name) {
          const bool isRing = std::string(name) == channel::kRingName;
          return original(access, inherit, isRing ? m_ring.c_str() : name);
        }) {}

  static std::string Program() {
    const std::filesystem::path own = PathOf(tools::system::OwnProgramPath());
    const std::u8string path =
        (own.parent_path() / "quorvex").replace_extension(own.extension()).u8string();
    return {path.begin(), path.end()};
  }

  void StartChild(std::vector<std::string> options) {
    if (std::find(options.begin(), options.end(), "--ring") == options.end()) {
      options.insert(options.begin(), {"--ring", m_ring});
    }
    options.insert(options.begin(), "agent");
    std::string error;
    ASSERT_TRUE(m_agent.Start(Program(), options, &error)) << error;
  }

  // Returns the line that says that it is ready, as JSON or as text.
  nlohmann::json StartAgent(const std::vector<std::string>& options) {
    StartChild(options);
    std::string line;
    if (m_agent.ReadLine(&line, 20'000) != tools::system::ChildProcess::ReadResult::kLine) {
      ADD_FAILURE() << "the agent didn't start";
      return {};
    }
    if (line.starts_with("{")) return nlohmann::json::parse(line);
    EXPECT_TRUE(line.starts_with("ready: ")) << line;
    return line;
  }

  bool RingStands() const {
    const platform::Handle ring =
        platform::mappings.OpenFileMappingA(platform::kMapRead, false, channel::kRingName);
    if (ring == nullptr) return false;
    platform::handles.CloseHandle(ring);
    return true;
  }

  std::string JournalFile() const { return simulation::agent::JournalPath(); }
  std::string FilePath(const std::string& name) const { return m_folder.Entry(name.c_str()); }
  void WriteFile(const std::string& name, const std::string& content) const {
    std::ofstream(m_folder.Path() / PathOf(name), std::ios::binary) << content;
  }

  tests::TemporaryFolder m_folder;
  const ScopedVariable m_root;
  const ScopedVariable m_tmp;
  const std::string m_ring;
  tools::system::ChildProcess m_agent;

 private:
  static inline int s_count = 0;
  platform::ScopedReplacement<platform::mappings, &platform::MappingOperations::OpenFileMappingA>
      m_open;
};

}  // namespace tests
