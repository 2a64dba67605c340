// `quorvex agent` as a process, asked through this process's real channel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "channel/agentchannel.h"
#include "platform/clock.h"
#include "platform/mappings.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"
#include "simulation/agent/sha256.h"
#include "tests/simulation/agent/agentprocess.h"

namespace {

using simulation::agent::JournalReader;
using simulation::agent::JournalRequest;
using testing::HasSubstr;
using tools::system::ChildProcess;

class AgentProcess : public tests::AgentProcessTest {
 protected:
  int Ask(std::uint32_t type, const std::string& payload, const char* name = nullptr) {
    return m_channel.CheckContent(payload.data(), static_cast<std::uint32_t>(payload.size()), type,
                                  name);
  }

  AgentChannel m_channel;
};

TEST_F(AgentProcess, SaysThatItIsReadyWhenTheRingExists) {
  const nlohmann::json ready = StartAgent({"--json"});
  EXPECT_EQ(ready["event"], "ready");
  EXPECT_EQ(ready["ring"], m_ring);
  EXPECT_EQ(ready["pid"], m_agent.ProcessId());
  EXPECT_EQ(ready["rules"], 0);
  EXPECT_TRUE(RingStands());
  EXPECT_TRUE(std::filesystem::exists(JournalFile()));
}

TEST_F(AgentProcess, AMailIsBlockedAtItsAttachment) {
  WriteFile("rules.toml",
            "[[rule]]\nname = 'secret'\ncontent = 'TOP-SECRET-42'\nanswer = \"block\"\n");
  StartAgent({"--json", "--quiet", "--rules", FilePath("rules.toml")});
  JournalReader journal(JournalFile());

  EXPECT_EQ(Ask(channel::kItemRecipients, std::string("a@x\0b@y\0", 8)), 4);
  EXPECT_EQ(Ask(channel::kItemSender, "J\xC3\xBCrgen"), 4);
  EXPECT_EQ(Ask(channel::kItemEnvelope, ""), 4);
  EXPECT_EQ(m_channel.CheckContentWithFile("Re: 42", 6, "ExchangeSubjectContent"), 4);
  EXPECT_EQ(m_channel.CheckContentWithFile("Hello\r\n", 7, "ExchangeBodyContent"), 4);
  const std::string content = std::string(1'000'000, '.') + " TOP-SECRET-42 ";
  WriteFile("OutlookAttachment.1", content);
  EXPECT_EQ(Ask(channel::kItemFile, FilePath("OutlookAttachment.1"), "plan.txt"), 3);
  EXPECT_EQ(Ask(channel::kItemClose, ""), 4);

  const std::vector<JournalRequest> mail = journal.TakeMail(
      platform::process.GetCurrentProcessId(), platform::process.GetCurrentThreadId(), 10'000);
  ASSERT_EQ(mail.size(), 7U);
  EXPECT_EQ(mail[0].payload, std::string("a@x\0b@y\0", 8));
  EXPECT_EQ(mail[1].payload, "J\xC3\xBCrgen");
  EXPECT_EQ(mail[3].stage, "subject");
  EXPECT_EQ(mail[3].name, "ExchangeSubjectContent");
  EXPECT_EQ(mail[3].contentSha256, simulation::agent::Sha256Of("Re: 42"));
  EXPECT_EQ(mail[5].name, "plan.txt");
  EXPECT_EQ(mail[5].answer, 3);
  EXPECT_EQ(mail[5].because, "secret");
  EXPECT_EQ(mail[5].contentBytes, content.size());
  EXPECT_EQ(mail[5].contentSha256, simulation::agent::Sha256Of(content));
  for (const JournalRequest& request : mail) EXPECT_EQ(request.outcome, "taken") << request.id;
}

TEST_F(AgentProcess, ShowsEachRequest) {
  StartAgent({});
  EXPECT_EQ(Ask(channel::kItemRecipients, std::string("a@x\0b@y\0", 8)), 4);
  EXPECT_EQ(Ask(channel::kItemFile, "/no/such/file", "x"), 4);
  std::string line;
  ASSERT_EQ(m_agent.ReadLine(&line, 10'000), ChildProcess::ReadResult::kLine);
  EXPECT_THAT(line, HasSubstr("recipients  go on      a@x,b@y"));
  ASSERT_EQ(m_agent.ReadLine(&line, 10'000), ChildProcess::ReadResult::kLine);
  EXPECT_THAT(line, HasSubstr("attachment  go on      x (no such file)"));
}

TEST_F(AgentProcess, ShowsEachRequestAsJson) {
  StartAgent({"--json"});
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
  std::string line;
  ASSERT_EQ(m_agent.ReadLine(&line, 10'000), ChildProcess::ReadResult::kLine);
  const nlohmann::json request = nlohmann::json::parse(line);
  EXPECT_EQ(request["event"], "request");
  EXPECT_EQ(request["payload"], "Alice");
  EXPECT_EQ(request["answer"], 4);
  ASSERT_EQ(m_agent.ReadLine(&line, 10'000), ChildProcess::ReadResult::kLine);
  EXPECT_EQ(nlohmann::json::parse(line)["outcome"], "taken");
}

TEST_F(AgentProcess, AMistakeInTheRulesStartsNothing) {
  WriteFile("rules.toml", "[[rule]]\nanswer = \"perhaps\"\n");
  StartChild({"--rules", FilePath("rules.toml")});
  std::string line;
  EXPECT_EQ(m_agent.ReadLine(&line, 10'000), ChildProcess::ReadResult::kEnd) << line;
  int status = -1;
  ASSERT_TRUE(m_agent.WaitForEnd(10'000, &status));
  EXPECT_EQ(status, 3);
  EXPECT_FALSE(RingStands());
  EXPECT_FALSE(std::filesystem::exists(JournalFile()));
}

TEST_F(AgentProcess, ASecondAgentIsRefused) {
  StartAgent({});
  ChildProcess second;
  std::string error;
  ASSERT_TRUE(second.Start(Program(), {"agent", "--ring", m_ring}, &error)) << error;
  int status = -1;
  ASSERT_TRUE(second.WaitForEnd(10'000, &status));
  EXPECT_EQ(status, 3);
  EXPECT_TRUE(std::filesystem::exists(JournalFile()));
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
}

TEST_F(AgentProcess, EndsWithItsInputAndLeavesNothing) {
  StartAgent({"--until-input-ends"});
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
  EXPECT_EQ(m_agent.End(10'000), 0);
  EXPECT_FALSE(RingStands());
  EXPECT_FALSE(std::filesystem::exists(JournalFile()));
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
}

TEST_F(AgentProcess, ACrashIsSurvivedByTheAddInAndByTheNextAgent) {
  WriteFile("rules.toml", "[[fault]]\ndo = \"crash\"\nstage = \"sender\"\n");
  StartAgent({"--quiet", "--rules", FilePath("rules.toml")});
  {
    // Don't spend real time on the wait for the dead agent's answer.
    const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> hurried(
        [](auto original, std::uint32_t) { original(1); });
    EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
  }
  int status = -1;
  ASSERT_TRUE(m_agent.WaitForEnd(10'000, &status));
  EXPECT_EQ(status, 70);
  EXPECT_FALSE(RingStands());

  ChildProcess next;
  std::string error;
  ASSERT_TRUE(next.Start(Program(), {"agent", "--ring", m_ring, "--until-input-ends"}, &error));
  std::string line;
  ASSERT_EQ(next.ReadLine(&line, 20'000), ChildProcess::ReadResult::kLine);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
}

TEST_F(AgentProcess, AKilledAgentsRingIsGone) {
  StartAgent({});
  m_agent.Kill();
  int status = 0;
  ASSERT_TRUE(m_agent.WaitForEnd(10'000, &status));
  EXPECT_NE(status, 0);
  EXPECT_FALSE(RingStands());
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
}

TEST_F(AgentProcess, UsageErrorsEndWithThree) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{},
        {"nonsense"},
        {"agent", "--nonsense"},
        {"agent", "--poll", "x"},
        {"agent", "--rules"},
        {"agent", "--rules", FilePath("absent.toml")}}) {
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.Start(Program(), arguments, &error)) << error;
    int status = -1;
    ASSERT_TRUE(child.WaitForEnd(20'000, &status));
    EXPECT_EQ(status, 3);
  }
}

TEST_F(AgentProcess, HelpShowsExamples) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, {"agent", "--help"}}) {
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.Start(Program(), arguments, &error)) << error;
    std::string text;
    std::string line;
    while (child.ReadLine(&line, 20'000) == ChildProcess::ReadResult::kLine) text += line + "\n";
    EXPECT_THAT(text, HasSubstr("Examples:\n  quorvex "));
    int status = -1;
    ASSERT_TRUE(child.WaitForEnd(20'000, &status));
    EXPECT_EQ(status, 0);
  }
}

TEST(ChildProcess, AMissingProgram) {
  ChildProcess child;
  std::string error;
  EXPECT_FALSE(child.Start("/no/such/program", {}, &error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(child.ProcessId(), 0U);
  EXPECT_EQ(child.End(0), -1);
  int status = 0;
  EXPECT_FALSE(child.WaitForEnd(0, &status));
}

TEST_F(AgentProcess, OddArgumentsSurviveTheCommandLine) {
  WriteFile("with blanks and \xC3\xA4.toml", "[[rule]]\nanswer = 4\n");
  const std::string ring = m_ring + " \"quoted\" \"\"";
  const nlohmann::json ready =
      StartAgent({"--json", "--rules", FilePath("with blanks and \xC3\xA4.toml"), "--ring", ring});
  EXPECT_EQ(ready["rules"], 1);
  EXPECT_EQ(ready["ring"], ring);
}

}  // namespace
