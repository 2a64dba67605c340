// Looking at an agent from the add-in's side. The clock is replaced, so no test waits.
#include "tools/agentlook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/agentkit.h"
#include "channel/protocol.h"
#include "tests/support/privatenames.h"
#include "tools/fasttime.h"
#include "tools/localagent.h"

namespace tools {
namespace {

using testing::IsEmpty;

// The time that `quorvex doctor` may take. What it reads besides costs milliseconds.
constexpr std::chrono::milliseconds kLimit{5'000};

MachineSources Sources() {
  MachineSources sources;
  sources.ring = channel::kRingName;
  sources.mapping = [](const std::string&) {
    return system::MappingAccess{true, "", "D:(A;;GRGW;;;IU)"};
  };
  return sources;
}

TEST(AgentLook, AsksAnAgentThatAnswers) {
  const tests::PrivateNames names;
  const MachineSources sources = Sources();
  const LocalAgent agent({}, sources.ring);
  const inspection::doctor::Agent seen = LookAtAgent(sources);
  EXPECT_TRUE(seen.isThere);
  EXPECT_EQ(seen.access, "D:(A;;GRGW;;;IU)");
  EXPECT_THAT(seen.faults, IsEmpty());
  EXPECT_EQ(seen.request, "answered");
  EXPECT_EQ(seen.answer, channel::kActionGoOn);
}

TEST(AgentLook, AsksNothingIfItMust) {
  const tests::PrivateNames names;
  MachineSources sources = Sources();
  sources.asksTheAgent = false;
  int turns = 0;
  const FastTime time([&turns] { return ++turns != 0; });
  agentkit::RingConsumer ring;
  ASSERT_EQ(ring.Create({}), agentkit::OpenResult::kOpened);
  EXPECT_EQ(LookAtAgent(sources).request, "");
  EXPECT_EQ(turns, 0);
  std::vector<unsigned char> entry;
  EXPECT_EQ(ring.Take(&entry), agentkit::TakeResult::kEmpty);
}

TEST(AgentLook, GivesUpARequestThatNobodyTakesWithinTheLimit) {
  const tests::PrivateNames names;
  const MachineSources sources = Sources();
  agentkit::RingConsumer ring;
  ASSERT_EQ(ring.Create({}), agentkit::OpenResult::kOpened);
  const FastTime time([] { return false; });
  const auto began = time.Now();
  EXPECT_EQ(LookAtAgent(sources).request, "not taken");
  EXPECT_LT(time.Now() - began, kLimit);
}

TEST(AgentLook, GivesUpARequestWithoutAnAnswerWithinTheLimit) {
  const tests::PrivateNames names;
  const MachineSources sources = Sources();
  agentkit::Agent agent({.onRequest = [](const agentkit::Request&) { return std::nullopt; }});
  ASSERT_EQ(agent.Start(), agentkit::OpenResult::kOpened);
  const FastTime time([&agent] { return agent.Poll(); });
  const auto began = time.Now();
  const inspection::doctor::Agent seen = LookAtAgent(sources);
  EXPECT_EQ(seen.request, "not answered");
  EXPECT_GE(seen.milliseconds, 1'500u);
  EXPECT_LT(time.Now() - began, kLimit);
}

// A request that was there before: either the agent takes it at the second look, or it is a fault.
TEST(AgentLook, LooksTwiceAtARingThatIsNotEmptyWithinTheLimit) {
  const tests::PrivateNames names;
  const MachineSources sources = Sources();
  agentkit::RingConsumer ring;
  ASSERT_EQ(ring.Create({}), agentkit::OpenResult::kOpened);
  {
    const FastTime time([] { return false; });
    EXPECT_EQ(LookAtAgent(sources).request, "not taken");  // leaves its entry
    const auto began = time.Now();
    const inspection::doctor::Agent seen = LookAtAgent(sources);
    EXPECT_EQ(seen.faults.size(), 1u);
    EXPECT_EQ(seen.request, "");
    EXPECT_LT(time.Now() - began, kLimit);
  }
  std::vector<unsigned char> entry;
  const FastTime time([&] { return ring.Take(&entry) == agentkit::TakeResult::kTaken; });
  const auto began = time.Now();
  const inspection::doctor::Agent seen = LookAtAgent(sources);
  EXPECT_THAT(seen.faults, IsEmpty());
  EXPECT_EQ(seen.request, "not taken");
  EXPECT_LT(time.Now() - began, kLimit);
}

}  // namespace
}  // namespace tools
