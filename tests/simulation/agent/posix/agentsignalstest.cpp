// How `quorvex agent` ends, and that it leaves nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "channel/agentchannel.h"
#include "tests/simulation/agent/agentprocess.h"

namespace {

using testing::HasSubstr;

class AgentSignals : public tests::AgentProcessTest {
 protected:
  // Every file that could be a shared mapping of this ring.
  std::size_t FilesOfTheRing() const {
    std::size_t count = 0;
    const std::string leaf = m_ring.substr(m_ring.find('\\') + 1);
    for (const char* folder : {"/dev/shm", "/tmp"}) {
      std::error_code ignored;
      for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (entry.path().filename().string().find(leaf) != std::string::npos) ++count;
      }
    }
    return count;
  }

  std::size_t FilesInTheTemporaryFolder() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder.Path())) {
      if (!entry.is_directory()) ++count;
    }
    return count;
  }

  static std::string OutputOf(const std::string& command, int* status) {
    std::string output;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    std::array<char, 256> buffer;
    while (fgets(buffer.data(), buffer.size(), pipe) != nullptr) output += buffer.data();
    *status = WEXITSTATUS(pclose(pipe));
    return output;
  }
};

TEST_F(AgentSignals, PoliteSignalsEndItCleanly) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    tools::system::ChildProcess agent;
    std::string error;
    ASSERT_TRUE(agent.Start(Program(), {"agent", "--ring", m_ring}, &error)) << error;
    std::string line;
    ASSERT_EQ(agent.ReadLine(&line, 20'000), tools::system::ChildProcess::ReadResult::kLine);
    EXPECT_EQ(FilesOfTheRing(), 1U);
    EXPECT_EQ(FilesInTheTemporaryFolder(), 1U) << "the journal";
    kill(static_cast<pid_t>(agent.ProcessId()), signal);
    int status = -1;
    ASSERT_TRUE(agent.WaitForEnd(10'000, &status)) << signal;
    EXPECT_EQ(status, 0) << signal;
    EXPECT_EQ(FilesOfTheRing(), 0U) << signal;
    EXPECT_EQ(FilesInTheTemporaryFolder(), 0U) << signal;
  }
}

TEST_F(AgentSignals, AClosedOutputEndsItCleanly) {
  FILE* const pipe = popen(
      ("timeout 60 " + Program() + " agent --json --ring '" + m_ring + "' | head -n 1").c_str(),
      "r");
  std::array<char, 1024> ready;
  ASSERT_NE(fgets(ready.data(), ready.size(), pipe), nullptr);
  EXPECT_TRUE(RingStands());
  // The reader ended after the first line, so the next ones fail.
  AgentChannel channel;
  for (int i = 0; i < 500 && RingStands(); ++i)
    channel.CheckContent("A", 1, channel::kItemSender, nullptr);
  pclose(pipe);
  EXPECT_EQ(FilesOfTheRing(), 0U);
  EXPECT_EQ(FilesInTheTemporaryFolder(), 0U);
}

TEST_F(AgentSignals, DiesWithTheProcessThatStartedIt) {
  std::array<int, 2> told = {-1, -1};
  ASSERT_EQ(pipe(told.data()), 0);
  const pid_t parent = fork();
  if (parent == 0) {
    tools::system::ChildProcess agent;
    std::string line;
    std::string error;
    const bool ready =
        agent.Start(Program(), {"agent", "--ring", m_ring, "--until-input-ends"}, &error) &&
        agent.ReadLine(&line, 20'000) == tools::system::ChildProcess::ReadResult::kLine;
    const std::uint32_t id = ready ? agent.ProcessId() : 0;
    if (write(told[1], &id, sizeof(id)) != sizeof(id)) _exit(1);
    pause();
  }
  std::uint32_t id = 0;
  ASSERT_EQ(read(told[0], &id, sizeof(id)), static_cast<ssize_t>(sizeof(id)));
  ASSERT_NE(id, 0U);
  EXPECT_TRUE(RingStands());
  kill(parent, SIGKILL);
  waitpid(parent, nullptr, 0);
  for (int i = 0; i < 10'000 && FilesInTheTemporaryFolder() != 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(FilesInTheTemporaryFolder(), 0U);
  EXPECT_FALSE(RingStands());
  EXPECT_EQ(FilesOfTheRing(), 0U);
  close(told[0]);
  close(told[1]);
}

TEST_F(AgentSignals, MistakesHaveFileLineAndColumn) {
  WriteFile("rules.toml", "[[rule]]\nanswer = \"blok\"\n\n  sender = 5\n");
  int status = -1;
  const std::string path = FilePath("rules.toml");
  EXPECT_EQ(OutputOf(Program() + " agent --ring '" + m_ring + "' --rules " + path, &status),
            path + ":2:10: unknown answer \"blok\"; did you mean \"block\"?\n" + path +
                ":4:12: \"sender\" must be a pattern (text) or a list of patterns, not a whole "
                "number\n"
                "quorvex agent: the rules can't be used; the agent wasn't started\n");
  EXPECT_EQ(status, 3);
}

TEST_F(AgentSignals, ASecondAgentSaysWhy) {
  StartAgent({});
  int status = -1;
  EXPECT_THAT(OutputOf(Program() + " agent --ring '" + m_ring + "'", &status),
              testing::StartsWith("quorvex agent: another agent has the ring " + m_ring + "."));
  EXPECT_EQ(status, 3);
}

}  // namespace
