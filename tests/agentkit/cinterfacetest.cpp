// The C interface: what crosses it, and what must not.
#include "agentkit/cinterface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "channel/protocol.h"
#include "tests/agentkit/agentkitsupport.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using tests::HandRequester;
using tests::PrivateNames;
using tests::StandingClock;

using namespace std::string_literals;

struct SeenByC {
  std::vector<std::uint64_t> ids;
  std::string payload;
  std::string name;
  std::uint32_t itemType = 0;
  std::uint32_t threadId = 0;
  std::int32_t isWellFormed = -1;
  std::vector<std::pair<std::int32_t, std::int32_t>> ends;  // ending and answer
  std::int32_t answer = AGENTKIT_GO_ON;
  bool throws = false;
};

std::int32_t OnRequestByC(void* context, const AgentKitRequest* request) {
  auto* const seen = static_cast<SeenByC*>(context);
  seen->ids.push_back(request->id);
  seen->payload.assign(request->payload, request->payloadLength);
  seen->name.assign(request->name, request->nameLength);
  seen->itemType = request->itemType;
  seen->threadId = request->threadId;
  seen->isWellFormed = request->isWellFormed;
  EXPECT_EQ(request->payload[request->payloadLength], '\0');
  EXPECT_EQ(request->name[request->nameLength], '\0');
  if (seen->throws) throw std::runtime_error("the handler's own");
  return seen->answer;
}

void OnEndByC(void* context, const AgentKitRequest* request, std::int32_t ending) {
  static_cast<SeenByC*>(context)->ends.emplace_back(ending, request->answer);
}

class CInterface : public testing::Test {
 protected:
  CInterface() : agent(AgentKitCreate(&OnRequestByC, &OnEndByC, &seen), &AgentKitFree) {}

  void Start() { ASSERT_EQ(AgentKitStart(agent.get(), 0), AGENTKIT_OPENED); }

  // Takes a requester up to its first poll for the answer.
  void Bring(HandRequester& requester) {
    ASSERT_TRUE(requester.Push());
    EXPECT_EQ(AgentKitPoll(agent.get()), 1);
    ASSERT_TRUE(requester.OpenBlock());
    requester.Fill();
    requester.Exchange();
  }

  PrivateNames names;
  StandingClock clock;
  SeenByC seen;
  std::unique_ptr<AgentKitAgent, void (*)(AgentKitAgent*)> agent;
};

TEST(CInterfaceHeader, NamesEveryItemType) {
  std::ifstream file(QUORVEX_C_INTERFACE);
  const std::string header((std::istreambuf_iterator<char>(file)), {});
  std::string expected;
  for (const channel::ItemType& type : channel::kItemTypes) {
    std::string word(type.word);
    for (char& letter : word) letter = static_cast<char>(letter - 'a' + 'A');
    expected += "AGENTKIT_ITEM_" + word + " = " + std::to_string(type.number) + "\n";
  }
  std::string found;
  const std::regex constant("AGENTKIT_ITEM_[A-Z_]+ = [0-9]+");
  for (std::sregex_iterator it(header.begin(), header.end(), constant), end; it != end; ++it) {
    found += it->str() + "\n";
  }
  EXPECT_EQ(found, expected);
}

TEST_F(CInterface, HandlerGetsTheWholeItemAndItsAnswerIsStored) {
  Start();
  seen.answer = AGENTKIT_BLOCK;
  HandRequester requester("a\0b"s, "naïve.txt", 7);
  Bring(requester);
  EXPECT_EQ(AgentKitOpenRequests(agent.get()), 1U);
  EXPECT_EQ(AgentKitPoll(agent.get()), 1);
  EXPECT_EQ(seen.payload, "a\0b"s);
  EXPECT_EQ(seen.name, "naïve.txt");
  EXPECT_EQ(seen.itemType, 1U);
  EXPECT_EQ(seen.threadId, 77U);
  EXPECT_EQ(seen.isWellFormed, 1);
  EXPECT_EQ(requester.Exchange(), 3);
  EXPECT_EQ(AgentKitPoll(agent.get()), 1);
  EXPECT_THAT(seen.ends, ElementsAre(Pair(AGENTKIT_END_ANSWER_TAKEN, AGENTKIT_BLOCK)));
  EXPECT_EQ(AgentKitOpenRequests(agent.get()), 0U);
  EXPECT_EQ(AgentKitPoll(agent.get()), 0);
}

TEST_F(CInterface, AnswerMayFollowLaterAndOnlyOnce) {
  Start();
  seen.answer = AGENTKIT_LATER;
  HandRequester requester("p", "", 1);
  Bring(requester);
  AgentKitPoll(agent.get());
  ASSERT_EQ(seen.ids.size(), 1U);
  EXPECT_EQ(requester.Exchange(), 1);
  EXPECT_EQ(AgentKitAnswer(agent.get(), seen.ids[0], AGENTKIT_TAG), 1);
  EXPECT_EQ(AgentKitAnswer(agent.get(), seen.ids[0], AGENTKIT_BLOCK), 0);
  EXPECT_EQ(AgentKitAnswer(agent.get(), seen.ids[0] + 1, AGENTKIT_BLOCK), 0);
  EXPECT_EQ(requester.Exchange(), 7);
}

TEST_F(CInterface, EachEndingHasItsNumber) {
  Start();
  seen.answer = AGENTKIT_LATER;
  HandRequester given("p", "", 1);
  Bring(given);
  AgentKitPoll(agent.get());
  given.Exchange(5);
  AgentKitPoll(agent.get());
  HandRequester dropped("p", "", 2);
  Bring(dropped);
  AgentKitPoll(agent.get());
  EXPECT_EQ(AgentKitDrop(agent.get(), seen.ids.at(1)), 1);
  EXPECT_EQ(AgentKitDrop(agent.get(), seen.ids.at(1)), 0);
  HandRequester unanswered("p", "", 3);
  Bring(unanswered);
  AgentKitPoll(agent.get());
  clock.now += 300'000;
  AgentKitPoll(agent.get());
  HandRequester neverFilled("p", "", 4);
  ASSERT_TRUE(neverFilled.Push());
  AgentKitPoll(agent.get());
  clock.now += 15'000;
  AgentKitPoll(agent.get());
  seen.answer = AGENTKIT_GO_ON;
  HandRequester notTaken("p", "", 5);
  Bring(notTaken);
  AgentKitPoll(agent.get());
  clock.now += 5'000;
  AgentKitPoll(agent.get());
  HandRequester stopped("p", "", 6);
  Bring(stopped);
  EXPECT_EQ(AgentKitStop(agent.get()), 0);
  EXPECT_THAT(seen.ends,
              ElementsAre(Pair(1, 0), Pair(7, 0), Pair(3, 0), Pair(4, 0), Pair(2, 4), Pair(7, 0)));
}

TEST_F(CInterface, WithoutHandlersEverythingGoesOn) {
  agent.reset(AgentKitCreate(nullptr, nullptr, nullptr));
  Start();
  HandRequester requester("p", "secret.key", 1);
  Bring(requester);
  AgentKitPoll(agent.get());
  EXPECT_EQ(requester.Exchange(), 4);
}

TEST_F(CInterface, NoExceptionCrossesAndTheAgentStaysUsable) {
  Start();
  seen.throws = true;
  HandRequester first("p", "", 1);
  Bring(first);
  EXPECT_EQ(AgentKitPoll(agent.get()), AGENTKIT_ERROR);
  EXPECT_STREQ(AgentKitErrorText(agent.get()), "the handler's own");
  seen.throws = false;
  HandRequester second("p", "", 2);
  Bring(second);
  EXPECT_EQ(AgentKitPoll(agent.get()), 1);
  EXPECT_EQ(second.Exchange(), 4);
}

TEST_F(CInterface, AgentThatIsNotStartedOrNotThereIsAnError) {
  EXPECT_EQ(AgentKitPoll(agent.get()), AGENTKIT_ERROR);
  EXPECT_STREQ(AgentKitErrorText(agent.get()), "the agent isn't started");
  EXPECT_EQ(AgentKitRun(agent.get()), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitAnswer(agent.get(), 1, 4), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitDrop(agent.get(), 1), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitStop(agent.get()), 0);
  EXPECT_EQ(AgentKitUseRing(agent.get(), nullptr), AGENTKIT_ERROR);
  EXPECT_STREQ(AgentKitErrorText(agent.get()), "the ring needs a name");
  EXPECT_EQ(AgentKitStart(nullptr, 0), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitPoll(nullptr), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitRun(nullptr), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitStop(nullptr), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitOpenRequests(nullptr), 0U);
  EXPECT_STREQ(AgentKitErrorText(nullptr), "there is no agent");
  AgentKitRequestStop(nullptr);
  AgentKitFree(nullptr);
}

TEST_F(CInterface, RingOfAnotherAgentIsReportedAndCanBeTakenOver) {
  Start();
  const std::unique_ptr<AgentKitAgent, void (*)(AgentKitAgent*)> other(
      AgentKitCreate(nullptr, nullptr, nullptr), &AgentKitFree);
  EXPECT_EQ(AgentKitStart(other.get(), 0), AGENTKIT_OTHER_OWNER);
  EXPECT_EQ(AgentKitPoll(other.get()), AGENTKIT_ERROR);
  EXPECT_EQ(AgentKitStart(other.get(), 1), AGENTKIT_OPENED);
  EXPECT_EQ(AgentKitPoll(other.get()), 0);
}

TEST_F(CInterface, OtherRingIsUsed) {
  ASSERT_EQ(AgentKitUseRing(agent.get(), "Global\\OTHER"), 0);
  Start();
  agentkit::SharedView view;
  EXPECT_TRUE(view.Open("Global\\OTHER", 16));
  EXPECT_FALSE(view.Open(channel::kRingName, 16));
}

TEST_F(CInterface, RunEndsOnRequestFromAnotherThreadOrFromBefore) {
  Start();
  AgentKitRequestStop(agent.get());
  EXPECT_EQ(AgentKitRun(agent.get()), 0);
  // The request counts once, so this run needs its own.
  std::thread other([this] { AgentKitRequestStop(agent.get()); });
  EXPECT_EQ(AgentKitRun(agent.get()), 0);
  other.join();
}

}  // namespace
