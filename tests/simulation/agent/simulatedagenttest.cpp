// The simulated agent and the real channel on one thread and a simulated clock: whenever the
// channel sleeps, the agent runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "channel/agentchannel.h"
#include "channel/protocol.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/mappings.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"
#include "simulation/agent/simulatedagent.h"
#include "tests/support/privatenames.h"
#include "tests/support/temporaryfolder.h"

namespace {

using simulation::agent::JournalRequest;
using simulation::agent::SimulatedAgent;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AgentHere : public testing::Test {
 protected:
  AgentHere()
      : m_create([this](auto original, std::uint32_t size, const char* name) {
          return original(size, m_names.Redirected(name).c_str());
        }),
        m_ticks([this](auto) { return m_now; }),
        m_sleep([this](auto, std::uint32_t milliseconds) {
          ++m_sleeps;
          m_now += milliseconds;
          if (m_agent) m_agent->Step();
        }) {}

  agentkit::OpenResult Start(std::string_view rules) {
    m_agent = Make(rules);
    return m_agent->Start();
  }

  std::unique_ptr<SimulatedAgent> Make(std::string_view rules) {
    simulation::agent::RulesFile file = simulation::agent::ParseRules(rules);
    for (const simulation::agent::RulesRemark& mistake : file.mistakes) {
      ADD_FAILURE() << RemarkText("rules", mistake);
    }
    SimulatedAgent::Watchers watchers;
    watchers.onRequest = [this](const JournalRequest& request, const std::vector<std::string>&) {
      m_requests.push_back(request);
    };
    watchers.onOutcome = [this](const JournalRequest& request) { m_outcomes.push_back(request); };
    watchers.onOddity = [this](const std::string& what) { m_oddities.push_back(what); };
    watchers.onCrash = [this] { ++m_crashes; };
    SimulatedAgent::Options options;
    options.journalPath = m_journal;
    return std::make_unique<SimulatedAgent>(std::move(file.rules), options, watchers);
  }

  int Ask(std::uint32_t type, const std::string& payload, const char* name = nullptr) {
    m_sleeps = 0;
    return m_channel.CheckContent(payload.data(), static_cast<std::uint32_t>(payload.size()), type,
                                  name);
  }

  std::string WriteFile(const char* name, const std::string& content) const {
    std::ofstream(m_folder.Path() / name, std::ios::binary) << content;
    return m_folder.Entry(name);
  }

  std::string JournalContent() const {
    std::ifstream file(m_folder.Path() / "journal", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  bool RingStands() const {
    const platform::Handle ring =
        platform::mappings.OpenFileMappingA(platform::kMapRead, false, channel::kRingName);
    if (ring == nullptr) return false;
    platform::handles.CloseHandle(ring);
    return true;
  }

  std::uint32_t m_now = 0xFFFFFE00;  // wraps soon
  int m_sleeps = 0;
  int m_crashes = 0;
  AgentChannel m_channel;
  std::unique_ptr<SimulatedAgent> m_agent;
  std::vector<JournalRequest> m_requests;
  std::vector<JournalRequest> m_outcomes;
  std::vector<std::string> m_oddities;
  tests::TemporaryFolder m_folder;
  const std::string m_journal = m_folder.Entry("journal");

 private:
  tests::PrivateNames m_names;
  platform::ScopedReplacement<platform::mappings, &platform::MappingOperations::CreateFileMappingA>
      m_create;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> m_sleep;
};

TEST_F(AgentHere, ARequestCostsTwoSleepsAndGoesOn) {
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
  EXPECT_EQ(m_sleeps, 2);
  ASSERT_EQ(m_requests.size(), 1U);
  EXPECT_EQ(m_requests[0].id, 1U);
  EXPECT_EQ(m_requests[0].processId, platform::process.GetCurrentProcessId());
  EXPECT_EQ(m_requests[0].threadId, platform::process.GetCurrentThreadId());
  EXPECT_EQ(m_requests[0].stage, "sender");
  EXPECT_EQ(m_requests[0].payload, "Alice");
  EXPECT_EQ(m_requests[0].answer, 4);
  EXPECT_THAT(m_requests[0].block, testing::StartsWith("Global\\"));
}

TEST_F(AgentHere, AMailIsBlockedByItsBody) {
  ASSERT_EQ(Start("[[rule]]\nname = 'secret'\ncontent = 'TOP'\nanswer = \"block\"\n"),
            agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemRecipients, std::string("a@x\0", 4)), 4);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
  EXPECT_EQ(Ask(channel::kItemEnvelope, ""), 4);
  const std::string subject = WriteFile("ExchangeSubjectContent", "TOP");
  EXPECT_EQ(Ask(channel::kItemFile, subject, "ExchangeSubjectContent"), 4);
  const std::string body = WriteFile("ExchangeBodyContent", "It is TOP.");
  EXPECT_EQ(Ask(channel::kItemFile, body, "ExchangeBodyContent"), 3);
  EXPECT_EQ(Ask(channel::kItemClose, ""), 4);
  ASSERT_EQ(m_requests.size(), 6U);
  EXPECT_EQ(m_requests[0].payload, std::string("a@x\0", 4));
  EXPECT_EQ(m_requests[4].stage, "body");
  EXPECT_EQ(m_requests[4].because, "secret");
  EXPECT_EQ(m_requests[4].contentBytes, 10U);
  EXPECT_EQ(m_agent->Rules().OpenSessions(), 0U);
}

TEST_F(AgentHere, TheJournalHasTheRequestBeforeTheAnswerIsStored) {
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  ASSERT_TRUE(m_agent->HasJournal());
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
  // The channel has its answer; the agent hasn't run since it wrote it.
  EXPECT_THAT(JournalContent(), HasSubstr("\"payload\":\"Alice\",\"name\":\"\",\"answer\":4,"));
  EXPECT_THAT(JournalContent(), testing::Not(HasSubstr("outcome")));
  m_agent->Step();
  EXPECT_THAT(JournalContent(), HasSubstr(R"({"event":"outcome","id":1,"outcome":"taken",)"));
  ASSERT_EQ(m_outcomes.size(), 1U);
  EXPECT_EQ(m_outcomes[0].outcome, "taken");
  EXPECT_EQ(m_outcomes[0].waitedMs, 20U);
}

TEST_F(AgentHere, SilentUntilTheAddInGivesUp) {
  ASSERT_EQ(Start("[[fault]]\ndo = \"silent\"\n"), agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
  EXPECT_EQ(m_sleeps, 125);
  m_agent->Step();
  ASSERT_EQ(m_outcomes.size(), 1U);
  EXPECT_EQ(m_outcomes[0].outcome, "given up");
  EXPECT_FALSE(m_outcomes[0].answer);
  EXPECT_THAT(JournalContent(), HasSubstr("\"answer\":null"));
}

TEST_F(AgentHere, LateByTheConfiguredTime) {
  ASSERT_EQ(Start("[[fault]]\nlate = 300\n"), agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
  // One sleep for the block, one in which the agent reads the item, and 15 of 20 ms until the
  // answer.
  EXPECT_EQ(m_sleeps, 17);
}

TEST_F(AgentHere, TooLateForTheAddIn) {
  ASSERT_EQ(Start("[[fault]]\nlate = 60000\n"), agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
  m_now += 60000;
  m_agent->Step();
  m_agent->Step();
  ASSERT_EQ(m_outcomes.size(), 1U);
  EXPECT_EQ(m_outcomes[0].outcome, "given up");
}

TEST_F(AgentHere, AnswersOutsideTheList) {
  ASSERT_EQ(Start("[[rule]]\nsender = 'eight'\nanswer = 8\n[[rule]]\nsender = 'hundred'\n"
                  "answer = 100\n[[rule]]\nsender = 'one'\nanswer = 1\n"),
            agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemSender, "eight"), 1);
  EXPECT_EQ(m_sleeps, 2) << "an answer that isn't passed on ends the wait all the same";
  Ask(channel::kItemClose, "");
  EXPECT_EQ(Ask(channel::kItemSender, "hundred"), 1);
  EXPECT_EQ(m_sleeps, 2);
  Ask(channel::kItemClose, "");
  EXPECT_EQ(Ask(channel::kItemSender, "one"), 1);
  EXPECT_EQ(m_sleeps, 125) << "an answer of 1 is none";
}

TEST_F(AgentHere, RefusesToCreateTheBlock) {
  ASSERT_EQ(Start("[[fault]]\nname = 'f'\ndo = \"no block\"\nstage = \"sender\"\n"),
            agentkit::OpenResult::kOpened);
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
  EXPECT_EQ(m_sleeps, 399);
  ASSERT_EQ(m_outcomes.size(), 1U);
  EXPECT_EQ(m_outcomes[0].outcome, "refused");
  EXPECT_EQ(m_outcomes[0].because, "f");
  EXPECT_EQ(m_outcomes[0].stage, "sender");
  EXPECT_FALSE(m_outcomes[0].payload);
  EXPECT_THAT(JournalContent(), HasSubstr("\"payload\":null"));
  EXPECT_EQ(Ask(channel::kItemEnvelope, ""), 4);
}

TEST_F(AgentHere, CrashesWithTheRequestInTheJournal) {
  ASSERT_EQ(Start("[[fault]]\ndo = \"crash\"\n"), agentkit::OpenResult::kOpened);
  Ask(channel::kItemSender, "Alice");
  EXPECT_EQ(m_crashes, 1);
  EXPECT_THAT(JournalContent(), HasSubstr("Alice"));
}

TEST_F(AgentHere, ASecondAgentLeavesTheFirstAlone) {
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  Ask(channel::kItemSender, "Alice");
  const std::string before = JournalContent();
  {
    const std::unique_ptr<SimulatedAgent> second = Make("");
    EXPECT_EQ(second->Start(), agentkit::OpenResult::kOtherOwner);
    EXPECT_FALSE(second->HasJournal());
  }
  EXPECT_EQ(JournalContent(), before);
  EXPECT_EQ(Ask(channel::kItemEnvelope, ""), 4);
}

TEST_F(AgentHere, NothingIsLeftBehind) {
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  Ask(channel::kItemSender, "Alice");
  EXPECT_TRUE(RingStands());
  m_agent.reset();
  EXPECT_FALSE(RingStands());
  EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / "journal"));
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 1);
  EXPECT_EQ(m_sleeps, 0) << "no agent, no wait";
}

TEST_F(AgentHere, WorksWithoutAJournal) {
  const platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA>
      failing([](auto, auto...) { return platform::kInvalidHandle; });
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  EXPECT_FALSE(m_agent->HasJournal());
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
}

TEST_F(AgentHere, AnEntryThatIsNotARequestIsReported) {
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  platform::Handle mapping = nullptr;
  void* view = nullptr;
  ASSERT_TRUE(m_channel.InitializeSharedMemory(
      &mapping, &view, channel::kRingName,
      m_channel.GetRingSize(channel::kRingSizeExponent) + channel::kRingOverhead));
  const unsigned char bytes[8] = {1, 2, 3};
  EXPECT_TRUE(m_channel.PushEntry(static_cast<RingHeader*>(view), bytes, sizeof(bytes)));
  m_channel.CloseSharedMemory(&mapping, &view);
  m_agent->Step();
  EXPECT_THAT(m_oddities, ElementsAre("an entry that isn't a request was dropped"));
  EXPECT_EQ(Ask(channel::kItemSender, "Alice"), 4);
}

TEST_F(AgentHere, SleepsLongerWhenIdle) {
  ASSERT_EQ(Start(""), agentkit::OpenResult::kOpened);
  std::vector<std::uint32_t> pauses;
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> recording(
      [&](auto, std::uint32_t milliseconds) {
        pauses.push_back(milliseconds);
        m_now += milliseconds;
      });
  m_agent->Run([&] { return pauses.size() == 2100; });
  const std::vector<std::uint32_t> first(pauses.begin(), pauses.begin() + 2000);
  const std::vector<std::uint32_t> rest(pauses.begin() + 2000, pauses.end());
  EXPECT_THAT(first, Each(1U));
  EXPECT_THAT(rest, Each(5U));
}

}  // namespace
