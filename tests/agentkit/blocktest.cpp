// One request's block, seen from the agent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/agentkit/agentkitsupport.h"

namespace {

using agentkit::Block;
using agentkit::IsSound;
using State = agentkit::Block::State;
using tests::HandRequester;
using tests::MakeRecord;
using tests::PrivateNames;

using namespace std::string_literals;

TEST(IsSound, AcceptsWhatTheAddInWrites) {
  EXPECT_TRUE(IsSound(MakeRecord(6, 0)));
  EXPECT_TRUE(IsSound(MakeRecord(1 << 20, 99999)));
  EXPECT_TRUE(IsSound(MakeRecord(0xFFFFFFFF, 12345, 0xFFFFFFFF, 0xFFFFFFFF)));
}

TEST(IsSound, RefusesWhatItDoesNot) {
  const auto spoilt = [](auto spoil) {
    ContentRequest record = MakeRecord(6, 7);
    spoil(record);
    return IsSound(record);
  };
  EXPECT_FALSE(spoilt([](auto& record) { record.dwRequestKind = 3; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.dwBlockLength = 5; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.dwProcessId ^= 1; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.dwThreadId ^= 1; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.szBlockName[0] = 'L'; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.szBlockName[27] = 'x'; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.szBlockName[27] = '\0'; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.szBlockName[28] = '0'; }));
  EXPECT_FALSE(spoilt([](auto& record) { record.szBlockName[0] = '\0'; }));
  EXPECT_FALSE(spoilt(
      [](auto& record) { std::memset(record.szBlockName, '1', sizeof(record.szBlockName)); }));
  EXPECT_FALSE(spoilt([](auto& record) { std::strcpy(record.szBlockName, "Global\\VRKEXPIPE"); }));
  EXPECT_FALSE(IsSound(ContentRequest{}));
}

class BlockTest : public testing::Test {
 protected:
  // Brings a block to where it can be read.
  void MakeAndFill(HandRequester& requester) {
    ASSERT_TRUE(m_block.Create(requester.record));
    ASSERT_TRUE(requester.OpenBlock());
    requester.Fill();
    EXPECT_EQ(requester.Exchange(), 0);
  }

  PrivateNames m_names;
  Block m_block;
};

TEST_F(BlockTest, GoesFromFillingToWaitingToAnsweredToTaken) {
  HandRequester requester("payload", "name", 1);
  ASSERT_TRUE(m_block.Create(requester.record));
  EXPECT_EQ(m_block.Look(), State::kFilling);
  ASSERT_TRUE(requester.OpenBlock());
  requester.Fill();
  EXPECT_EQ(m_block.Look(), State::kFilling) << "not readable before the first poll";
  EXPECT_EQ(requester.Exchange(), 0);
  EXPECT_EQ(m_block.Look(), State::kWaiting);
  EXPECT_EQ(requester.Exchange(), 1);
  EXPECT_EQ(m_block.Look(), State::kWaiting);
  EXPECT_TRUE(m_block.Answer(3));
  EXPECT_EQ(m_block.Look(), State::kAnswered);
  EXPECT_EQ(requester.Exchange(), 3);
  EXPECT_EQ(m_block.Look(), State::kTaken);
}

TEST_F(BlockTest, GivenUpIsSeenBeforeAndAfterTheFirstLook) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  EXPECT_EQ(m_block.Look(), State::kWaiting);
  requester.Exchange(5);
  EXPECT_EQ(m_block.Look(), State::kGivenUp);

  HandRequester quick("", "", 2);
  MakeAndFill(quick);
  quick.Exchange(5);
  EXPECT_EQ(m_block.Look(), State::kGivenUp);
}

TEST_F(BlockTest, AnswerAfterTheGiveUpIsRefusedAndLeavesThe5) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  requester.Exchange(5);
  EXPECT_FALSE(m_block.Answer(4));
  EXPECT_EQ(requester.Exchange(), 5);
}

TEST_F(BlockTest, AnswerThatTheGiveUpOverwritesIsKnownForLost) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  EXPECT_TRUE(m_block.Answer(4));
  requester.Exchange(5);  // the requester had stopped reading just before
  EXPECT_EQ(m_block.Look(), State::kGivenUp);
}

TEST_F(BlockTest, AnswerBeforeTheBlockIsCompleteIsRefused) {
  HandRequester requester("", "", 1);
  ASSERT_TRUE(m_block.Create(requester.record));
  EXPECT_FALSE(m_block.Answer(4));
}

TEST_F(BlockTest, SecondAnswerIsRefused) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  EXPECT_TRUE(m_block.Answer(4));
  EXPECT_FALSE(m_block.Answer(3));
  EXPECT_EQ(requester.Exchange(), 4);
  EXPECT_FALSE(m_block.Answer(3)) << "after the taking too";
}

TEST_F(BlockTest, AnswerOf1OrBelowLeavesTheRequestWaiting) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  EXPECT_TRUE(m_block.Answer(-1));
  EXPECT_EQ(requester.Exchange(), -1);
  EXPECT_EQ(m_block.Look(), State::kWaiting);
  EXPECT_TRUE(m_block.Answer(7));
  EXPECT_EQ(requester.Exchange(), 7);
  EXPECT_EQ(m_block.Look(), State::kTaken);
}

TEST_F(BlockTest, AnswerOf5IsNotMistakenForTheGiveUp) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  EXPECT_TRUE(m_block.Answer(5));
  EXPECT_EQ(m_block.Look(), State::kAnswered);
  requester.Exchange();
  EXPECT_EQ(m_block.Look(), State::kTaken);
}

TEST_F(BlockTest, ForcedStatusStandsWhateverWasThere) {
  HandRequester requester("", "", 1);
  MakeAndFill(requester);
  m_block.ForceStatus(-7);
  EXPECT_EQ(requester.Exchange(), -7);
  requester.Exchange(5);
  m_block.ForceStatus(4);
  EXPECT_EQ(requester.Exchange(), 4);
}

TEST_F(BlockTest, PayloadAndNameAreToldApart) {
  const std::pair<std::string, std::string> parts[] = {
      {"", ""},          {"payload", ""},  {"", "name"}, {"payload", "name"},
      {"a\0b\0\0"s, ""}, {"a\0b\0"s, "n"}, {"\0"s, ""},  {std::string(1 << 20, '\0'), "zeros"}};
  int sequence = 0;
  for (const auto& [payload, name] : parts) {
    HandRequester requester(payload, name, ++sequence);
    MakeAndFill(requester);
    std::string readPayload = "old";
    std::string readName = "old";
    EXPECT_TRUE(m_block.Read(&readPayload, &readName));
    EXPECT_TRUE(readPayload == payload) << sequence;
    EXPECT_EQ(readName, name) << sequence;
  }
}

TEST_F(BlockTest, BlockWithoutItsNulsIsReadWholeAndReported) {
  const auto read = [this](const std::string& content, int sequence, std::string* payload) {
    // Nothing but the content follows the status word.
    HandRequester requester(std::string(content.size() - 2, '.'), "", sequence);
    EXPECT_TRUE(m_block.Create(requester.record));
    agentkit::SharedView view;
    EXPECT_TRUE(view.Open(requester.record.szBlockName, requester.record.dwBlockLength));
    std::memcpy(view.Data() + 4, content.data(), content.size());
    std::string name = "old";
    const bool isWellFormed = m_block.Read(payload, &name);
    EXPECT_EQ(name, "");
    return isWellFormed;
  };
  std::string payload;
  EXPECT_FALSE(read("no end", 1, &payload));
  EXPECT_EQ(payload, "no end");
  EXPECT_FALSE(read("one end\0"s, 2, &payload));
  EXPECT_EQ(payload, "one end\0"s);
  EXPECT_FALSE(read("x\0y"s, 3, &payload));
  EXPECT_EQ(payload, "x\0y"s);
  EXPECT_FALSE(read("xy", 4, &payload)) << "the least block";
  EXPECT_EQ(payload, "xy");
}

TEST_F(BlockTest, NameInUseAndOversizedBlockAreRefused) {
  HandRequester requester("x", "", 1);
  ASSERT_TRUE(m_block.Create(requester.record));
  Block second;
  EXPECT_FALSE(second.Create(requester.record));
  EXPECT_FALSE(second.IsOpen());
  EXPECT_FALSE(second.Create(MakeRecord(Block::kLargest + 1, 2)));
  m_block.Close();
  EXPECT_TRUE(second.Create(requester.record));
}

}  // namespace
