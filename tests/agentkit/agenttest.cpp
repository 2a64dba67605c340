// The whole agent: against the real AgentChannel in the same thread, and against requesters that
// are taken through each step by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "channel/agentchannel.h"
#include "tests/agentkit/agentkitsupport.h"

namespace {

using agentkit::Agent;
using agentkit::Ending;
using agentkit::OpenResult;
using agentkit::Request;
using agentkit::RequestId;
using agentkit::TakeResult;
using platform::ScopedReplacement;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using tests::Bytes;
using tests::BytesOf;
using tests::HandRequester;
using tests::HandWriter;
using tests::MakeRecord;
using tests::Pattern;
using tests::PrivateNames;
using tests::StandingClock;

using namespace std::string_literals;

class AgentTest : public testing::Test {
 protected:
  AgentTest()
      : m_agent({.onRecord = [this](const Request& request) { return OnRecord(request); },
                 .onRequest = [this](const Request& request) { return OnRequest(request); },
                 .onEnd = [this](const Request& request,
                                 Ending ending) { ends.emplace_back(request.id, ending); },
                 .onOddEntry = [this](TakeResult what,
                                      const Bytes& bytes) { odd.emplace_back(what, bytes); }}),
        m_sleep([this](auto, std::uint32_t milliseconds) {
          clock.now += milliseconds;
          m_agent.Poll();
        }) {
    EXPECT_EQ(m_agent.Start(), OpenResult::kOpened);
  }

  bool OnRecord(const Request& request) {
    EXPECT_EQ(request.payload, "");
    return !refuses;
  }
  std::optional<std::int32_t> OnRequest(const Request& request) {
    seen.push_back(request);
    return answer ? answer(request) : channel::kActionGoOn;
  }

  // A hand requester that the agent can read.
  void Bring(HandRequester& requester) {
    ASSERT_TRUE(requester.Push());
    EXPECT_TRUE(m_agent.Poll());
    ASSERT_TRUE(requester.OpenBlock());
    requester.Fill();
    requester.Exchange();
  }

  PrivateNames m_names;
  StandingClock clock;
  bool refuses = false;
  std::function<std::optional<std::int32_t>(const Request&)> answer;
  std::vector<Request> seen;
  std::vector<std::pair<RequestId, Ending>> ends;
  std::vector<std::pair<TakeResult, Bytes>> odd;
  Agent m_agent;
  // The add-in's waits are the agent's turns.
  ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> m_sleep;
};

TEST_F(AgentTest, ServesTheAddIn) {
  answer = [](const Request& request) { return request.itemType == 1 ? 7 : 4; };
  EXPECT_EQ(GetAgentChannel()->CheckContent("a\0b\0", 4, 3, nullptr), 4);
  EXPECT_EQ(GetAgentChannel()->CheckContent("path", 4, 1, "name"), 7);
  EXPECT_EQ(ScanSessionEnd(), 4);
  m_agent.Poll();
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0].payload, "a\0b\0"s);
  EXPECT_EQ(seen[1].payload, "path");
  EXPECT_EQ(seen[1].name, "name");
  EXPECT_EQ(seen[1].itemType, 1U);
  EXPECT_EQ(seen[1].processId, platform::process.GetCurrentProcessId());
  EXPECT_EQ(seen[1].threadId, platform::process.GetCurrentThreadId());
  EXPECT_EQ(seen[2].payload, "");
  EXPECT_EQ(seen[2].itemType, 9U);
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kAnswerTaken), Pair(2, Ending::kAnswerTaken),
                                Pair(3, Ending::kAnswerTaken)));
  EXPECT_EQ(m_agent.OpenRequests(), 0U);
}

TEST_F(AgentTest, ServesSeveralLapsOfTheRing) {
  for (int i = 0; i < 4000; ++i) {
    ASSERT_EQ(GetAgentChannel()->CheckContent("x", 1, 1, nullptr), 4) << i;
  }
  m_agent.Poll();
  EXPECT_EQ(ends.size(), 4000U);
  EXPECT_THAT(odd, IsEmpty());
}

TEST_F(AgentTest, AnswerMayComeLater) {
  answer = [](const Request&) { return std::nullopt; };
  HandRequester requester("x", "", 1);
  Bring(requester);
  EXPECT_TRUE(m_agent.Poll());
  EXPECT_FALSE(m_agent.Poll()) << "nothing moves";
  EXPECT_EQ(requester.Exchange(), 1);
  EXPECT_TRUE(m_agent.Answer(seen[0].id, 3));
  EXPECT_FALSE(m_agent.Answer(seen[0].id, 4)) << "answered already";
  EXPECT_EQ(requester.Exchange(), 3);
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kAnswerTaken)));
  EXPECT_FALSE(m_agent.Answer(seen[0].id, 4)) << "over";
}

TEST_F(AgentTest, SeveralRequestersAreServedAtOnceAndInAnyOrder) {
  answer = [](const Request&) { return std::nullopt; };
  HandRequester first("1", "", 1), second("2", "", 2), third("3", "", 3);
  ASSERT_TRUE(first.Push() && second.Push() && third.Push());
  m_agent.Poll();
  EXPECT_EQ(m_agent.OpenRequests(), 3U);
  for (HandRequester* requester : {&third, &first, &second}) {
    ASSERT_TRUE(requester->OpenBlock());
    requester->Fill();
    requester->Exchange();
    m_agent.Poll();
  }
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0].payload, "3");
  EXPECT_EQ(seen[1].payload, "1");
  EXPECT_EQ(seen[2].payload, "2");
  EXPECT_TRUE(m_agent.Answer(seen[2].id, 7));
  EXPECT_TRUE(m_agent.Answer(seen[0].id, 3));
  EXPECT_EQ(first.Exchange(), 1) << "not answered";
  EXPECT_EQ(second.Exchange(), 7);
  EXPECT_EQ(third.Exchange(), 3);
}

TEST_F(AgentTest, RefusedRequestGetsNoBlock) {
  refuses = true;
  EXPECT_EQ(GetAgentChannel()->CheckContent("x", 1, 1, nullptr), 1);
  EXPECT_THAT(seen, IsEmpty());
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kRefused)));
}

TEST_F(AgentTest, SilenceEndsWithTheAddInsGiveUp) {
  answer = [](const Request&) { return std::nullopt; };
  EXPECT_EQ(GetAgentChannel()->CheckContent("x", 1, 1, nullptr), 1);
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kGivenUp)));
}

TEST_F(AgentTest, LateAnswerIsNotGivenAfterTheGiveUp) {
  answer = [](const Request&) { return std::nullopt; };
  HandRequester requester("x", "", 1);
  Bring(requester);
  m_agent.Poll();
  requester.Exchange(5);
  EXPECT_FALSE(m_agent.Answer(seen[0].id, 4));
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kGivenUp)));
}

// Windows' sleeps of 20 ms may take 31.25 ms each, and then the add-in waits this long.
TEST_F(AgentTest, AddInWithTheLongestSleepsStillFindsItsBlockAndItsAnswer) {
  answer = [](const Request&) { return std::nullopt; };
  HandRequester requester("x", "", 1);
  ASSERT_TRUE(requester.Push());
  m_agent.Poll();
  clock.now += 12'468;
  m_agent.Poll();
  ASSERT_TRUE(requester.OpenBlock());
  requester.Fill();
  requester.Exchange();
  m_agent.Poll();
  clock.now += 289'031;
  m_agent.Poll();
  EXPECT_THAT(ends, IsEmpty());
  EXPECT_TRUE(m_agent.Answer(seen[0].id, 3));
  EXPECT_EQ(requester.Exchange(), 3);
}

TEST_F(AgentTest, RequesterThatNeverFillsItsBlockIsLeftAfterTheFillWait) {
  HandRequester requester("x", "", 1);
  ASSERT_TRUE(requester.Push());
  m_agent.Poll();
  clock.now += 14'999;
  EXPECT_FALSE(m_agent.Poll());
  clock.now += 1;
  EXPECT_TRUE(m_agent.Poll());
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kNeverFilled)));
  EXPECT_FALSE(requester.OpenBlock()) << "the block is gone";
}

TEST_F(AgentTest, RequesterThatDiesWaitingIsLeftAfterTheAnswerWait) {
  answer = [](const Request&) { return std::nullopt; };
  HandRequester requester("x", "", 1);
  Bring(requester);
  m_agent.Poll();
  clock.now += 299'999;
  EXPECT_FALSE(m_agent.Poll());
  clock.now += 1;
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kUnanswered)));
}

TEST_F(AgentTest, AnswerThatNobodyTakesIsLeftAfterTheTakenWait) {
  HandRequester requester("x", "", 1);
  Bring(requester);
  m_agent.Poll();
  clock.now += 4'999;
  EXPECT_FALSE(m_agent.Poll());
  clock.now += 1;
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kNotTaken)));
}

TEST_F(AgentTest, NameInUseEndsTheRequestWithoutABlock) {
  HandRequester requester("x", "", 1), same("y", "", 1);
  ASSERT_TRUE(requester.Push() && same.Push());
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(2, Ending::kNoBlock)));
}

TEST_F(AgentTest, EntriesThatAreNoRequestsAreReportedWithTheirBytes) {
  HandWriter writer;
  ContentRequest foreign = MakeRecord(6, 1);
  foreign.dwRequestKind = 9;
  ASSERT_TRUE(writer.Push(BytesOf(foreign)) && writer.Push(Pattern(1, 8)) &&
              writer.Push(Pattern(2, 400)));
  m_agent.Poll();
  EXPECT_THAT(odd, ElementsAre(Pair(TakeResult::kTaken, BytesOf(foreign)),
                               Pair(TakeResult::kTaken, Pattern(1, 8)),
                               Pair(TakeResult::kTaken, Pattern(2, 400))));
  EXPECT_THAT(ends, IsEmpty());
}

TEST_F(AgentTest, SkippedEntriesAndResetsAreReportedWithoutBytes) {
  HandWriter writer;
  writer.Reserve(148);
  m_agent.Poll();
  clock.now += 15'000;
  m_agent.Poll();
  writer.Header()->capacity = 1;
  m_agent.Poll();
  EXPECT_THAT(odd, ElementsAre(Pair(TakeResult::kSkipped, IsEmpty()),
                               Pair(TakeResult::kBroken, IsEmpty())));
}

TEST_F(AgentTest, RequestCanBeDroppedFromItsOwnHandler) {
  answer = [this](const Request& request) {
    EXPECT_TRUE(m_agent.Drop(request.id));
    EXPECT_FALSE(m_agent.Drop(request.id));
    return std::optional<std::int32_t>(4);
  };
  HandRequester requester("x", "", 1), other("y", "", 2);
  Bring(requester);
  ASSERT_TRUE(other.Push());
  m_agent.Poll();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kDropped)));
  EXPECT_EQ(requester.Exchange(), 1) << "no answer was written";
  EXPECT_EQ(m_agent.OpenRequests(), 1U);
}

TEST_F(AgentTest, StopDropsWhatIsOpenAndGivesTheRingUp) {
  HandRequester requester("x", "", 1);
  ASSERT_TRUE(requester.Push());
  m_agent.Poll();
  m_agent.Stop();
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kDropped)));
  EXPECT_FALSE(m_agent.IsStarted());
  EXPECT_EQ(GetAgentChannel()->CheckContent("x", 1, 1, nullptr), 1) << "no agent";
  ASSERT_EQ(m_agent.Start(), OpenResult::kOpened);
  EXPECT_EQ(GetAgentChannel()->CheckContent("x", 1, 1, nullptr), 4);
}

TEST_F(AgentTest, SecondAgentIsRefusedAndMayTakeOverFromADeadOne) {
  Agent second({}, {.takeOver = false});
  EXPECT_EQ(second.Start(), OpenResult::kOtherOwner);
  HandRequester requester("x", "", 1);
  ASSERT_TRUE(requester.Push());
  HandWriter holder;  // a requester keeps the ring open while its agent dies
  m_agent.Stop();
  EXPECT_EQ(second.Start(), OpenResult::kOtherOwner);
  Agent third({}, {.takeOver = true});
  EXPECT_EQ(third.Start(), OpenResult::kOpened);
  EXPECT_TRUE(third.Poll());
  EXPECT_TRUE(requester.OpenBlock()) << "the request that lay in the ring is served";
}

TEST_F(AgentTest, ExceptionOfAHandlerComesThroughAndTheAgentGoesOn) {
  answer = [](const Request&) -> std::optional<std::int32_t> { throw std::runtime_error("rule"); };
  HandRequester requester("x", "", 1);
  Bring(requester);
  EXPECT_THROW(m_agent.Poll(), std::runtime_error);
  EXPECT_FALSE(m_agent.Poll()) << "the handler isn't called again for it";
  EXPECT_TRUE(m_agent.Answer(seen[0].id, 4));
  EXPECT_EQ(requester.Exchange(), 4);
}

TEST_F(AgentTest, RunPollsUntilItIsTold) {
  std::atomic<bool> stop{false};
  HandRequester requester("x", "", 1);
  ASSERT_TRUE(requester.Push());
  int sleeps = 0;
  ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> sleep(
      [&](auto, std::uint32_t milliseconds) {
        EXPECT_EQ(milliseconds, 2U);
        if (++sleeps == 1) {
          EXPECT_TRUE(requester.OpenBlock());
          requester.Fill();
          requester.Exchange();
        } else if (sleeps == 2) {
          EXPECT_EQ(requester.Exchange(), 4);
        } else {
          stop = true;
        }
      });
  m_agent.Run(stop);
  EXPECT_EQ(sleeps, 3);
  EXPECT_THAT(ends, ElementsAre(Pair(1, Ending::kAnswerTaken)));
}

TEST(AgentWithoutHandlers, AnswersEverythingWith4) {
  PrivateNames names;
  Agent agent{agentkit::Handlers{}};
  ASSERT_EQ(agent.Start(), OpenResult::kOpened);
  ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> sleep(
      [&](auto, auto) { agent.Poll(); });
  EXPECT_EQ(ScanEnvelopeEnd(), 4);
}

}  // namespace
