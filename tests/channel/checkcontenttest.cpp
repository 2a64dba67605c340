// One request and its answer, in real mappings and with waits on the replaced clock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "channel/agentchannel.h"
#include "platform/codepages.h"
#include "platform/process.h"
#include "tests/support/logcapture.h"
#include "tests/support/scriptedagent.h"

namespace {

using platform::ScopedReplacement;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tests::LogCapture;
using tests::LoggedLine;
using tests::PrivateNames;
using tests::Reply;
using tests::ScriptedAgent;
using tests::SeenRequest;

using namespace std::string_literals;

const LoggedLine kNoMapping{kLogWarn, "InitializeSharedMemory: OpenFileMapping err(0X0)!"};
const LoggedLine kNoAgent{kLogErr, "CheckContent: cannot initialize shared memory!"};
const LoggedLine kNotPushed{kLogErr, "CheckContent: cannot push entry!"};

LoggedLine AnswerLine(int action, int counter) {
  return {kLogInfo, "CheckContent: lActionCode=" + std::to_string(action) +
                        " iTimeOut=" + std::to_string(counter)};
}

int Ask(const std::string& payload, const char* name = nullptr,
        std::uint32_t type = channel::kItemFile) {
  return GetAgentChannel()->CheckContent(payload.data(), static_cast<std::uint32_t>(payload.size()),
                                         type, name);
}

// Resets the channel to the state of a new process.
class CheckContent : public testing::Test {
 protected:
  CheckContent() {
    GetAgentChannel()->m_bChallengeResponse = false;
    g_requestSequence = 0;
  }
  ~CheckContent() override { GetAgentChannel()->m_bChallengeResponse = false; }
};

TEST(GetAgentChannelTest, GivesTheSameObjectEachTimeWithTheShortWait) {
  EXPECT_EQ(GetAgentChannel(), GetAgentChannel());
  EXPECT_FALSE(AgentChannel().m_bChallengeResponse);
}

TEST_F(CheckContent, RecordInTheRingHasEveryFieldInItsPlace) {
  ScopedReplacement<platform::process, &platform::ProcessOperations::GetCurrentProcessId> process(
      [](auto) { return 0xABCU; });
  ScopedReplacement<platform::process, &platform::ProcessOperations::GetCurrentThreadId> thread(
      [](auto) { return 0xFEDCBA98U; });
  ScriptedAgent agent;
  g_requestSequence = 7;
  EXPECT_EQ(Ask("path", "name", 1), 4);

  ASSERT_THAT(agent.Requests(), SizeIs(1));
  const auto* const bytes = reinterpret_cast<const char*>(&agent.Requests()[0].record);
  const std::string expected =
      "\xBC\x0A\0\0"
      "\x98\xBA\xDC\xFE"
      "\x0E\0\0\0"
      "\x04\0\0\0"
      "\x01\0\0\0"
      "Global\\00000abcfedcba9800007"s;
  EXPECT_EQ(std::string(bytes, 148), expected + std::string(148 - expected.size(), '\0'));
}

TEST_F(CheckContent, BlockNameIs28CharactersLong) {
  ScriptedAgent agent;
  Ask("x");
  EXPECT_EQ(std::strlen(agent.Requests()[0].record.szBlockName), 28U);
}

TEST_F(CheckContent, BlockHoldsPayloadNulNameNul) {
  ScriptedAgent agent;
  EXPECT_EQ(Ask("C:\\t.txt", "Report", 1), 4);
  const SeenRequest& request = agent.Requests()[0];
  EXPECT_EQ(request.block, "\x01\0\0\0C:\\t.txt\0Report\0"s);
  EXPECT_EQ(request.record.dwBlockLength, 4U + 8 + 1 + 6 + 1);
}

TEST_F(CheckContent, NoPayloadAndNoNameGiveABlockOfSixBytes) {
  ScriptedAgent agent;
  EXPECT_EQ(GetAgentChannel()->CheckContent(nullptr, 0, 8, nullptr), 4);
  const SeenRequest& request = agent.Requests()[0];
  EXPECT_EQ(request.record.dwBlockLength, 6U);
  EXPECT_EQ(request.block, "\x01\0\0\0\0\0"s);
}

TEST_F(CheckContent, NullNameAndEmptyNameGiveTheSameBlock) {
  ScriptedAgent agent;
  Ask("payload", nullptr);
  Ask("payload", "");
  EXPECT_EQ(agent.Requests()[0].block, "\x01\0\0\0payload\0\0"s);
  EXPECT_EQ(agent.Requests()[1].block, agent.Requests()[0].block);
  EXPECT_EQ(agent.Requests()[1].record.dwBlockLength, 13U);
}

TEST_F(CheckContent, NulBytesInsideThePayloadCountAndArrive) {
  ScriptedAgent agent;
  Ask("a\0bc\0d\0"s, nullptr, 3);
  const SeenRequest& request = agent.Requests()[0];
  EXPECT_EQ(request.record.dwBlockLength, 7U + 6);
  EXPECT_EQ(request.block, "\x01\0\0\0a\0bc\0d\0\0\0"s);
  EXPECT_EQ(request.itemType, 3U);
}

TEST_F(CheckContent, PayloadOfOneMegabyteArrivesWhole) {
  ScriptedAgent agent;
  std::string payload(1 << 20, '\0');
  for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<char>(i * 131 >> 3);
  EXPECT_EQ(Ask(payload, "big"), 4);
  EXPECT_TRUE(agent.Requests()[0].payload == payload);
  EXPECT_EQ(agent.Requests()[0].name, "big");
}

TEST_F(CheckContent, Answers3And4And7AreReturned) {
  ScriptedAgent agent;
  for (const int answer : {3, 4, 7}) {
    LogCapture log;
    agent.Queue(1, Reply::Answer(answer));
    EXPECT_EQ(Ask("x"), answer);
    EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(answer, 124)));
  }
}

TEST_F(CheckContent, EveryOtherAnswerAbove1EndsTheWaitAtOnceAndReturns1) {
  ScriptedAgent agent;
  for (const int answer :
       {2, 5, 6, 8, 9, 10, 11, 12, 15, 16, 19, 35, 100, std::numeric_limits<int>::max()}) {
    LogCapture log;
    agent.Queue(1, Reply::Answer(answer));
    EXPECT_EQ(Ask("x"), 1) << answer;
    EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(answer, 124)));
    EXPECT_EQ(agent.Requests().back().sleeps, 2) << answer;
    EXPECT_EQ(agent.LastStatus(), 1) << "not given up: " << answer;
  }
}

TEST_F(CheckContent, Answers0And1AndNegativeOnesDoNotEndTheWait) {
  ScriptedAgent agent;
  LogCapture log;
  agent.Queue(1, Reply::Statuses({0, 1, -1, std::numeric_limits<int>::min(), 4}));
  EXPECT_EQ(Ask("x"), 4);
  EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(4, 120)));
}

TEST_F(CheckContent, AnswerIsTakenOutAndTheWordIsBackAt1) {
  ScriptedAgent agent;
  Ask("x");
  EXPECT_EQ(agent.LastStatus(), 1);
}

TEST_F(CheckContent, SilentAgentIsPolled125TimesThenGivenUpWith5) {
  ScriptedAgent agent;
  agent.SetDefault(Reply::Silent());
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_EQ(agent.Sleeps(), 1 + 124);  // one for the block, one between polls
  EXPECT_EQ(agent.LastStatus(), 5);
  EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(1, 0)));
}

TEST_F(CheckContent, AnswerBeforeThe125thPollStillCounts) {
  ScriptedAgent agent;
  LogCapture log;
  agent.Queue(1, Reply{.statuses = {7}, .sleepsUntilAnswer = 124});
  EXPECT_EQ(Ask("x"), 7);
  EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(7, 1)));
}

TEST_F(CheckContent, UnusableWordAtTheLastPollIsATimeOutWithThatWord) {
  ScriptedAgent agent;
  LogCapture log;
  agent.Queue(1, Reply{.statuses = {-3}, .sleepsUntilAnswer = 124});
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(-3, 0)));
  EXPECT_EQ(agent.LastStatus(), 5);
}

TEST_F(CheckContent, ChallengeFlagMakesTheWait9250Polls) {
  ScriptedAgent agent;
  agent.SetDefault(Reply::Silent());
  GetAgentChannel()->m_bChallengeResponse = true;
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_EQ(agent.Sleeps(), 1 + 9249);
  EXPECT_EQ(agent.LastStatus(), 5);
  EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(1, 0)));
}

TEST_F(CheckContent, ChallengeFlagShowsInTheCounterOfAnAnswer) {
  ScriptedAgent agent;
  GetAgentChannel()->m_bChallengeResponse = true;
  LogCapture log;
  agent.Queue(1, Reply{.statuses = {3}, .sleepsUntilAnswer = 9249});
  EXPECT_EQ(Ask("x"), 3);
  Ask("x");
  EXPECT_THAT(log.Lines(), ElementsAre(AnswerLine(3, 1), AnswerLine(4, 9249)));
}

TEST_F(CheckContent, EveryWaitIs20Milliseconds) {
  ScriptedAgent agent;
  agent.Queue(1, Reply{.statuses = {4}, .sleepsUntilBlock = 5, .sleepsUntilAnswer = 5});
  Ask("x");
  EXPECT_EQ(agent.ShortestSleep(), 20U);
  EXPECT_EQ(agent.LongestSleep(), 20U);
  EXPECT_EQ(agent.Sleeps(), 10);
}

TEST_F(CheckContent, WithNoAgentItReturns1AtOnce) {
  PrivateNames names;
  int sleeps = 0;
  ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> clock(
      [&](auto, auto) { ++sleeps; });
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_EQ(ScanEnvelopeEnd(), 1);
  EXPECT_EQ(sleeps, 0);
  EXPECT_THAT(log.Lines(), ElementsAre(kNoMapping, kNoAgent, kNoMapping, kNoAgent));
  EXPECT_EQ(g_requestSequence, 0);  // a request that was never made uses no number
}

TEST_F(CheckContent, RingThatCannotBeMappedIsNoAgent) {
  ScriptedAgent agent;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
      [](auto, auto...) -> void* { return nullptr; });
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_THAT(
      log.Lines(),
      ElementsAre(LoggedLine{kLogErr, "InitializeSharedMemory: cannot map file!"}, kNoAgent));
}

TEST_F(CheckContent, FullRingFailsAtOnceWithTheRingAsItWas) {
  ScriptedAgent agent;
  agent.Ring()->usedBytes = (1 << 18) - 151;
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_THAT(
      log.Lines(),
      ElementsAre(LoggedLine{kLogErr, "WriteRingBuffer: synchronization problem!"}, kNotPushed));
  EXPECT_EQ(agent.Sleeps(), 0);
  EXPECT_EQ(agent.Ring()->usedBytes, (1 << 18) - 151);
  EXPECT_EQ(agent.Ring()->writeCursor, 0U);
  EXPECT_EQ(g_requestSequence, 1);  // the name is made before the push
}

TEST_F(CheckContent, RingWithoutCapacityIsAWrongBuffer) {
  ScriptedAgent agent(0);
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogErr, "PushEntry: wrong buffer!"}, kNotPushed));
}

TEST_F(CheckContent, RingWhoseCapacityTheViewCannotHoldIsAWrongBufferAndStaysUntouched) {
  for (const int capacity : {(1 << 18) + 5, (1 << 18) + 8, 1 << 19, 1 << 30}) {
    ScriptedAgent agent(capacity);
    agent.Ring()->writeCursor = 1 << 18;
    LogCapture log;
    EXPECT_EQ(Ask("x"), 1);
    EXPECT_THAT(log.Lines(),
                ElementsAre(LoggedLine{kLogErr, "PushEntry: wrong buffer!"}, kNotPushed));
    EXPECT_EQ(agent.Ring()->usedBytes, 0);
    EXPECT_EQ(agent.Ring()->writeCursor, 1U << 18);
  }
}

TEST_F(CheckContent, WordAtOffset8AndTheSpareBytesStayAsTheAgentLeftThem) {
  ScriptedAgent agent;
  agent.Ring()->consumerWord = 0x12345678;
  unsigned char* const spare = agent.RingData() + (1 << 18);
  std::memcpy(spare, "\xAA\xBB\xCC\xDD", 4);
  for (int i = 0; i < 3000; ++i) ASSERT_EQ(Ask("x"), 4);  // more than one lap
  EXPECT_EQ(agent.Ring()->consumerWord, 0x12345678U);
  EXPECT_EQ(std::memcmp(spare, "\xAA\xBB\xCC\xDD", 4), 0);
  EXPECT_EQ(agent.Ring()->capacity, 1 << 18);
  EXPECT_EQ(agent.Ring()->writeCursor, 3000U * 152);
}

TEST_F(CheckContent, BlockThatNeverAppearsIsTried399TimesWithALineForEach) {
  ScriptedAgent agent;
  agent.SetDefault(Reply::NoBlock());
  LogCapture log;
  EXPECT_EQ(Ask("x"), 1);
  EXPECT_EQ(agent.Sleeps(), 399);
  const std::vector<LoggedLine> lines = log.Lines();
  EXPECT_THAT(lines, SizeIs(399));
  EXPECT_THAT(lines, Each(kNoMapping));
}

TEST_F(CheckContent, BlockThatAppearsAtThe399thTryIsUsed) {
  ScriptedAgent agent;
  LogCapture log;
  agent.Queue(1, Reply{.statuses = {4}, .sleepsUntilBlock = 399});
  EXPECT_EQ(Ask("x"), 4);
  EXPECT_THAT(log.Lines(), SizeIs(398 + 1));
  agent.Queue(1, Reply{.statuses = {4}, .sleepsUntilBlock = 400});
  EXPECT_EQ(Ask("x"), 1);
}

TEST_F(CheckContent, BlockThatCannotBeMappedIsTriedAgain) {
  ScriptedAgent agent;
  int failures = 2;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
      [&](auto original, auto handle, auto access, auto high, auto low, auto size) -> void* {
        const bool isRequesters = size == 7 && agent.LastBlock() != nullptr;
        return isRequesters && failures-- > 0 ? nullptr : original(handle, access, high, low, size);
      });
  LogCapture log;
  EXPECT_EQ(Ask("x"), 4);
  const LoggedLine notMapped{kLogErr, "InitializeSharedMemory: cannot map file!"};
  EXPECT_THAT(log.Lines(), ElementsAre(notMapped, notMapped, AnswerLine(4, 124)));
}

TEST_F(CheckContent, RequestAfterAFailedOneIsServed) {
  ScriptedAgent agent;
  agent.Queue(1, Reply::NoBlock());
  agent.Queue(1, Reply::Silent());
  EXPECT_EQ(Ask("a"), 1);
  EXPECT_EQ(Ask("b"), 1);
  EXPECT_EQ(Ask("c"), 4);
  EXPECT_THAT(agent.Requests(), SizeIs(3));
  EXPECT_EQ(agent.Ring()->usedBytes, 0);
}

TEST_F(CheckContent, SequenceRunsTo99999AndBeginsAgainAt0) {
  ScriptedAgent agent;
  g_requestSequence = 99998;
  for (int i = 0; i < 3; ++i) Ask("x");
  const auto ending = [&](std::size_t i) {
    return std::string(agent.Requests()[i].record.szBlockName).substr(23);
  };
  EXPECT_EQ(ending(0), "99998");
  EXPECT_EQ(ending(1), "99999");
  EXPECT_EQ(ending(2), "00000");
  EXPECT_EQ(g_requestSequence, 1);
}

TEST_F(CheckContent, SequenceStandsAt0AfterTheName99999) {
  ScriptedAgent agent;
  g_requestSequence = 99999;
  Ask("x");
  EXPECT_EQ(g_requestSequence, 0);
}

TEST_F(CheckContent, LengthThatDoesNotFitIn32BitsAsksForABlockThatCannotBe) {
  ScriptedAgent agent;
  agent.SetDefault(Reply::NoBlock());
  LogCapture log;
  // The payload is never read, because no block of that size can be opened.
  EXPECT_EQ(GetAgentChannel()->CheckContent("x", 0xFFFFFFFE, 1, "name"), 1);
  EXPECT_EQ(agent.Requests()[0].record.dwBlockLength, 0xFFFFFFFFU);
  EXPECT_THAT(log.Lines(), Each(LoggedLine{kLogErr, "InitializeSharedMemory: wrong parameters!"}));
  EXPECT_THAT(log.Lines(), SizeIs(399));
}

TEST_F(CheckContent, EnvelopeEndAndSessionEndAreEmptyItemsOfTypes8And9) {
  ScriptedAgent agent;
  agent.Queue(8, Reply::Answer(7));
  agent.Queue(9, Reply::Answer(3));
  EXPECT_EQ(ScanEnvelopeEnd(), 7);
  EXPECT_EQ(ScanSessionEnd(), 3);
  EXPECT_THAT(agent.ItemTypes(), ElementsAre(8, 9));
  EXPECT_EQ(agent.Requests()[0].block.size(), 6U);
  EXPECT_EQ(agent.Requests()[1].block.size(), 6U);
}

// Counts openings, unmappings and closings.
class Ledger {
 public:
  Ledger()
      : m_open([this](auto original, auto... arguments) {
          platform::Handle const handle = original(arguments...);
          opened += handle != nullptr ? 1 : 0;
          return handle;
        }),
        m_unmap([this](auto original, const void* view) {
          ++unmapped;
          return original(view);
        }),
        m_close([this](auto original, auto handle) {
          ++closed;
          return original(handle);
        }) {}

  int opened = 0;
  int unmapped = 0;
  int closed = 0;

 private:
  ScopedReplacement<platform::mappings, &platform::MappingOperations::OpenFileMappingA> m_open;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> m_unmap;
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> m_close;
};

TEST_F(CheckContent, BlockIsClosedBeforeTheRingAndEachViewBeforeItsHandle) {
  ScriptedAgent agent;
  std::vector<const void*> unmapped;
  std::vector<const void*> mapped;
  std::vector<std::string> order;
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
      [&](auto original, auto... arguments) {
        void* const view = original(arguments...);
        mapped.push_back(view);
        return view;
      });
  ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> unmap(
      [&](auto original, const void* view) {
        unmapped.push_back(view);
        order.push_back("unmap");
        return original(view);
      });
  ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> close(
      [&](auto original, auto handle) {
        order.push_back("close");
        return original(handle);
      });
  ASSERT_EQ(Ask("x"), 4);
  ASSERT_THAT(mapped, SizeIs(3));  // the ring, the agent's view of the block, the add-in's
  EXPECT_THAT(unmapped, ElementsAre(mapped[2], mapped[0]));
  EXPECT_THAT(order, ElementsAre("unmap", "close", "unmap", "close"));
}

TEST_F(CheckContent, NothingStaysOpenOnAnyPath) {
  struct Case {
    const char* what;
    Reply reply;
    std::int32_t usedBytes;
    int opened;  // by the add-in
  };
  const Case cases[] = {{"answered", Reply::Answer(4), 0, 2},
                        {"not passed on", Reply::Answer(6), 0, 2},
                        {"timed out", Reply::Silent(), 0, 2},
                        {"no block", Reply::NoBlock(), 0, 1},
                        {"ring full", Reply::Answer(4), 1 << 18, 1}};
  for (const Case& one : cases) {
    ScriptedAgent agent;
    agent.SetDefault(one.reply);
    agent.Ring()->usedBytes = one.usedBytes;
    Ledger ledger;  // the agent itself closes nothing before the next request
    Ask("x");
    EXPECT_EQ(ledger.opened, one.opened) << one.what;
    EXPECT_EQ(ledger.unmapped, one.opened) << one.what;
    EXPECT_EQ(ledger.closed, one.opened) << one.what;
  }
}

TEST_F(CheckContent, NothingStaysOpenWhenAViewCannotBeMapped) {
  for (const int failing : {1, 2, 3}) {  // the ring's view, or the block's at the first tries
    ScriptedAgent agent;
    int maps = 0;
    ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
        [&](auto original, auto... arguments) -> void* {
          const bool isAgents = agent.LastBlock() == nullptr && maps > 0;
          return !isAgents && ++maps == failing ? nullptr : original(arguments...);
        });
    Ledger ledger;
    Ask("x");
    EXPECT_EQ(ledger.closed, ledger.opened) << failing;
    EXPECT_EQ(ledger.unmapped, ledger.opened - (maps >= failing ? 1 : 0)) << failing;
  }
}

class CheckContentWide : public CheckContent {};

TEST_F(CheckContentWide, UnitsAreCountedWideAndLeaveAsUtf8) {
  ScriptedAgent agent;
  const platform::WideString text = {u'a', 0x00EB, u'b', u'!', u'!'};
  EXPECT_EQ(GetAgentChannel()->CheckContentWide(text.data(), 3, 7, nullptr), 4);
  const SeenRequest& request = agent.Requests()[0];
  EXPECT_EQ(request.record.dwBlockLength, 4U + 6);
  EXPECT_EQ(request.block,
            "\x01\0\0\0a\xC3\xAB"
            "b\0\0"s);
  EXPECT_EQ(request.itemType, 7U);
}

TEST_F(CheckContentWide, NameGoesInUtf8UpToItsNul) {
  ScriptedAgent agent;
  const platform::WideString name = {0x4E2D, 0xD83D, 0xDE00, 0, u'x'};
  EXPECT_EQ(GetAgentChannel()->CheckContentWide(QV_WIDE("p"), 1, 1, name.c_str()), 4);
  EXPECT_EQ(agent.Requests()[0].name, "\xE4\xB8\xAD\xF0\x9F\x98\x80");
}

TEST_F(CheckContentWide, NulInsideTheTextIsSentWithIt) {
  ScriptedAgent agent;
  const platform::WideString text = {u'a', 0, u'b'};
  GetAgentChannel()->CheckContentWide(text.data(), 3, 1, nullptr);
  EXPECT_EQ(agent.Requests()[0].payload, "a\0b"s);
}

TEST_F(CheckContentWide, TextAndNameThatCannotBeConvertedAreSentEmpty) {
  ScriptedAgent agent;
  ScopedReplacement<platform::codepages, &platform::CodePageOperations::WideCharToMultiByte>
      failing([](auto, auto...) { return 0; });
  EXPECT_EQ(GetAgentChannel()->CheckContentWide(QV_WIDE("text"), 4, 7, QV_WIDE("name")), 4);
  EXPECT_EQ(agent.Requests()[0].block, "\x01\0\0\0\0\0"s);
}

TEST_F(CheckContentWide, NullTextAndNullNameAreEmpty) {
  ScriptedAgent agent;
  EXPECT_EQ(GetAgentChannel()->CheckContentWide(nullptr, 0, 7, nullptr), 4);
  EXPECT_EQ(agent.Requests()[0].block, "\x01\0\0\0\0\0"s);
}

}  // namespace
