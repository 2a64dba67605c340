// The conformance checks with agents on the kit, each in a thread of this process.
#include "inspection/conformance/conformance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "inspection/conformance/rules.h"
#include "tests/agentkit/agentkitsupport.h"

namespace {

using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;
using testing::HasSubstr;
using testing::StartsWith;

class Conform : public testing::Test {
 protected:
  Conform() {
    m_kit.ring.deadWriterMs = 1'500;  // well over the 300 ms of the check of incomplete entries
    m_kit.fillWaitMs = 1'000;
    m_kit.idleMs = 1;
    m_options.goneLeastMs = 200;
    m_options.goneMostMs = 20'000;
    m_options.lateOpenMs = 100;
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
      if (m_stopAfter == result.check) m_stop = true;
    }));
    return names;
  }

  CheckOutcome OutcomeOf(const std::string& check) { return m_results.at(check).outcome; }
  std::string SeenAt(const std::string& check) { return m_results.at(check).seen; }

  tests::PrivateNames m_names;
  agentkit::Agent::Options m_kit;
  inspection::conformance::Options m_options;
  std::atomic<bool> m_stop{false};
  std::string m_stopAfter;
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
  EXPECT_EQ(Run(), inspection::conformance::CheckNames());
  for (const auto& [name, result] : m_results) {
    const bool isLeftOut = name == "files-read" || name == "restart";
    EXPECT_EQ(result.outcome, isLeftOut ? CheckOutcome::kLeftOut : CheckOutcome::kPass)
        << name << ": " << result.cause << ": " << result.seen;
    EXPECT_EQ(result.waits.has_value(), name == "requests-in-a-row");
  }
  EXPECT_EQ(SeenAt("ring"), "capacity 262144, used bytes 0, write cursor 4286578688");
  EXPECT_THAT(SeenAt("block-created"), StartsWith("a block of 6 bytes after "));
  EXPECT_THAT(SeenAt("requests-in-a-row"), StartsWith("1800 of 1800 requests answered in "));
  EXPECT_THAT(SeenAt("requests-in-a-row"), testing::EndsWith("past the end of the ring 1 time"));
  EXPECT_THAT(SeenAt("split-payload"), StartsWith("an entry at offset 262100 was answered 4"));
  EXPECT_THAT(SeenAt("length-word-at-the-end"),
              StartsWith("an entry at offset 262140 was answered 4"));
  // Two entries of 152 bytes begin 76 bytes before the wrap.
  EXPECT_THAT(SeenAt("cursor-past-2-32"), HasSubstr("; the cursor is now at 228"));
  const auto& waits = *m_results["requests-in-a-row"].waits;
  EXPECT_GT(waits.p50, 0);
  EXPECT_LE(waits.p50, waits.p95);
  EXPECT_LE(waits.p95, waits.p99);
}

TEST_F(Conform, ACheckThatCannotBeTriedSaysWhichFailureIsInItsWay) {
  m_options.answerWaitMs = 100;
  StartAgent({.onRequest = [](const agentkit::Request&) -> std::optional<std::int32_t> {
    return std::nullopt;
  }});
  Run();
  EXPECT_EQ(OutcomeOf("answered"), CheckOutcome::kFail);
  EXPECT_EQ(SeenAt("answered"), "the status word was last 1");
  EXPECT_EQ(m_results["answered"].rule, "The add-in asks, the agent answers.");
  EXPECT_EQ(OutcomeOf("dead-writer"), CheckOutcome::kUnknown);
  EXPECT_EQ(SeenAt("dead-writer"), "can't be tried because answered failed");
  EXPECT_EQ(SeenAt("restart"), "can't be tried because answered failed");
}

TEST_F(Conform, AfterAnAgentHasStoppedTheRestIsUnknownAndNotFailed) {
  m_options.blockWaitMs = 200;
  bool hasStopped = false;
  StartAgent({.onRecord = [&hasStopped](const agentkit::Request& request) {
    hasStopped = hasStopped || request.itemType == 10;  // unknown to the agent
    return !hasStopped;
  }});
  Run();
  EXPECT_EQ(OutcomeOf("unknown-types"), CheckOutcome::kFail);
  EXPECT_EQ(SeenAt("recipients-open"), "can't be tried because unknown-types failed");
  for (const auto& [name, result] : m_results) {
    EXPECT_TRUE(result.outcome != CheckOutcome::kFail || name == "unknown-types") << name;
  }
}

TEST_F(Conform, ExtraChecksRunOnlyIfRequestsAreServedAndAnsweredUsefully) {
  int runs = 0;
  m_options.extra = {{"extra", [&runs](Result& result) {
                        ++runs;
                        result.outcome = CheckOutcome::kPass;
                      }}};
  m_stopAfter = "extra";
  StartAgent({.onRequest = [](const agentkit::Request&) { return std::optional(6); }});
  Run();
  EXPECT_EQ(OutcomeOf("usable-answers"), CheckOutcome::kFail);
  EXPECT_EQ(SeenAt("extra"), "can't be tried because usable-answers failed");
  EXPECT_EQ(runs, 0);
}

TEST_F(Conform, AfterAStopTheRestIsUnknown) {
  int runs = 0;
  m_options.extra = {{"extra", [&runs](Result& result) {
                        ++runs;
                        result.outcome = CheckOutcome::kPass;
                      }}};
  m_stopAfter = "extra";
  StartAgent();
  Run();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(OutcomeOf("extra"), CheckOutcome::kPass);
  EXPECT_EQ(OutcomeOf("space-freed"), CheckOutcome::kUnknown);
  EXPECT_EQ(SeenAt("space-freed"), "stopped by the user");
  EXPECT_EQ(SeenAt("restart"), "stopped by the user");
}

TEST_F(Conform, WithNoRingThereIsNothingToTry) {
  EXPECT_FALSE(inspection::conformance::Run(m_options, m_stop, [](const Result&) { FAIL(); }));
}

TEST(ConformRules, EachIsASentenceOfTheDocument) {
  std::ifstream file(QUORVEX_PROTOCOL_DOCUMENT);
  std::string document;
  for (std::string word; file >> word;) document += word + " ";
  ASSERT_GT(document.size(), 10'000U);
  for (const std::string_view rule : inspection::conformance::kRules) {
    EXPECT_NE(document.find(rule), std::string::npos) << rule;
  }
}

}  // namespace
