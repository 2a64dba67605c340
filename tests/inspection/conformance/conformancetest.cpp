// The conformance checks with agents that follow the protocol and agents that don't, each in a
// thread of this process.
#include "inspection/conformance/conformance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/agentkit/agentkitsupport.h"

namespace {

using inspection::conformance::Outcome;
using inspection::conformance::Result;
using testing::HasSubstr;
using testing::StartsWith;

class Conform : public testing::Test {
 protected:
  Conform() {
    m_kit.ring.deadWriterMs = 300;
    m_kit.idleMs = 1;
    m_options.deadWriterWaitMs = 20'000;
    m_options.requestsInARow = 1'800;
  }
  ~Conform() override { EndAgent(); }

  void StartAgent(agentkit::Handlers handlers = {}) {
    m_agent = std::make_unique<agentkit::Agent>(std::move(handlers), m_kit);
    ASSERT_EQ(m_agent->Start(), agentkit::OpenResult::kOpened);
    m_thread = std::thread([this] { m_agent->Run(m_end); });
  }
  void EndAgent() {
    m_end = true;
    if (m_thread.joinable()) m_thread.join();
  }

  // Runs all checks and returns their names in order.
  std::vector<std::string> Run() {
    std::vector<std::string> names;
    EXPECT_TRUE(inspection::conformance::Run(m_options, m_stop, [&](const Result& result) {
      names.push_back(result.check);
      m_results[result.check] = result;
    }));
    return names;
  }

  Outcome OutcomeOf(const std::string& check) { return m_results.at(check).outcome; }
  std::string SeenAt(const std::string& check) { return m_results.at(check).seen; }

  tests::PrivateNames m_names;
  agentkit::Agent::Options m_kit;
  inspection::conformance::Options m_options;
  std::atomic<bool> m_stop{false};
  std::map<std::string, Result> m_results;

 private:
  std::unique_ptr<agentkit::Agent> m_agent;
  std::atomic<bool> m_end{false};
  std::thread m_thread;
};

TEST_F(Conform, AnAgentOnTheKitPassesEverythingWithTheCursorGoingPastTwoToThe32) {
  // A ring whose consumer ended 8 MB before the wrap.
  agentkit::RingConsumer dead;
  ASSERT_EQ(dead.Create({}), agentkit::OpenResult::kOpened);
  {
    tests::HandWriter writer;
    writer.Header()->writeCursor = writer.Header()->consumerWord = 0xFF80'0000;
  }
  m_kit.takeOver = true;
  StartAgent();
  const std::vector<std::string> names = Run();
  EXPECT_THAT(names,
              testing::ElementsAre("ring", "first-request", "block-of-6-bytes", "payload-with-nuls",
                                   "block-of-1-mb", "time-out", "blocks-released", "many-in-a-row",
                                   "wrap", "foreign-entries", "split-payload",
                                   "length-word-at-the-end", "cursor-past-2-32", "out-of-order",
                                   "dead-writer", "dead-between-additions"));
  for (const std::string& name : names) {
    // This side can't give up on an agent that is always quicker.
    if (name == "time-out" && OutcomeOf(name) == Outcome::kNotTested) continue;
    EXPECT_EQ(OutcomeOf(name), Outcome::kPass) << name << ": " << SeenAt(name);
  }
  EXPECT_EQ(SeenAt("ring"), "capacity 262144, used bytes 0, write cursor 4286578688");
  EXPECT_THAT(SeenAt("block-of-6-bytes"), StartsWith("block of 6 bytes: answered 4, "));
  EXPECT_THAT(SeenAt("block-of-1-mb"), StartsWith("block of 1048596 bytes: answered 4, "));
  EXPECT_THAT(SeenAt("many-in-a-row"), StartsWith("1800 of 1800 requests answered in "));
  EXPECT_EQ(SeenAt("wrap"), "past the end 1 times with the requests in a row, then used bytes 0");
  EXPECT_THAT(SeenAt("split-payload"), StartsWith("entry at offset 262100: answered 4"));
  EXPECT_THAT(SeenAt("length-word-at-the-end"), StartsWith("entry at offset 262140: answered 4"));
  // Two entries of 152 bytes begin 76 bytes before the wrap.
  EXPECT_THAT(SeenAt("cursor-past-2-32"), HasSubstr("the cursor now stands at 228"));
}

TEST_F(Conform, WhatTheAgentDoesNotServeFailsAndTheRestGoesOn) {
  m_options.blockWaitMs = 200;
  m_options.requestsInARow = 8;
  StartAgent({.onRecord = [](const agentkit::Request& request) { return request.itemType != 8; }});
  Run();
  EXPECT_EQ(OutcomeOf("first-request"), Outcome::kPass);
  EXPECT_EQ(OutcomeOf("block-of-6-bytes"), Outcome::kFail);
  EXPECT_EQ(SeenAt("block-of-6-bytes"), "block of 6 bytes: no block in the add-in's time");
  EXPECT_EQ(OutcomeOf("payload-with-nuls"), Outcome::kPass);
  EXPECT_EQ(OutcomeOf("time-out"), Outcome::kFail);
  EXPECT_EQ(OutcomeOf("wrap"), Outcome::kNotTested);
  EXPECT_EQ(OutcomeOf("cursor-past-2-32"), Outcome::kNotTested);
  EXPECT_THAT(SeenAt("cursor-past-2-32"), HasSubstr("; --long sends 4 GB through the ring"));
}

TEST_F(Conform, WithoutAnAnswerToTheFirstRequestNothingElseIsTested) {
  m_options.answerWaitMs = 100;
  StartAgent({.onRequest = [](const agentkit::Request&) -> std::optional<std::int32_t> {
    return std::nullopt;
  }});
  Run();
  EXPECT_EQ(OutcomeOf("first-request"), Outcome::kFail);
  EXPECT_EQ(SeenAt("first-request"), "block of 24 bytes: no answer in the add-in's time");
  EXPECT_EQ(m_results.size(), 16U);
  EXPECT_EQ(OutcomeOf("dead-writer"), Outcome::kNotTested);
  EXPECT_EQ(SeenAt("dead-writer"), "the first request was not answered");
}

TEST_F(Conform, AnAgentThatNeverGivesUpOnAWriterFails) {
  m_kit.ring.deadWriterMs = 1'000'000;
  m_options.deadWriterWaitMs = 100;
  m_options.requestsInARow = 8;
  StartAgent();
  Run();
  EXPECT_EQ(OutcomeOf("out-of-order"), Outcome::kPass) << SeenAt("out-of-order");
  EXPECT_EQ(OutcomeOf("dead-writer"), Outcome::kFail);
  EXPECT_THAT(SeenAt("dead-writer"), HasSubstr("its room is lost after "));
  EXPECT_EQ(OutcomeOf("dead-between-additions"), Outcome::kNotTested);
}

TEST_F(Conform, ARingOfAnotherCapacityIsUnfit) {
  m_kit.ring.capacity = 1U << 16;
  StartAgent();
  Run();
  EXPECT_EQ(OutcomeOf("ring"), Outcome::kFail);
  EXPECT_EQ(SeenAt("ring"), "capacity 65536, used bytes 0, write cursor 0");
  EXPECT_EQ(OutcomeOf("first-request"), Outcome::kNotTested);
}

TEST_F(Conform, WithNoRingThereIsNothingToTry) {
  EXPECT_FALSE(inspection::conformance::Run(m_options, m_stop, [](const Result&) { FAIL(); }));
}

}  // namespace
