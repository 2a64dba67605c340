// Each agent of tests/badagents breaks one rule of the protocol. The check of that rule must fail,
// say what the agent does wrong, and be the only one that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "inspection/conformance/conformance.h"
#include "tests/simulation/agent/agentprocess.h"
#include "tools/system/filereads.h"

namespace {

using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;
using tools::system::ChildProcess;

struct BadAgent {
  const char* fault;
  const char* check;  // the one that fails
  const char* cause;
};

constexpr BadAgent kBadAgents[] = {
    {"small-ring", "ring", "the ring's mapping is too small"},
    {"other-capacity", "ring", "the ring has another capacity"},
    {"no-block", "block-created", "the agent creates no block"},
    {"upper-case-block", "block-created", "the block's name is changed to upper case"},
    {"silent", "answered", "the agent doesn't answer"},
    {"answers-1", "answered", "the agent doesn't answer"},
    {"ignores-item-7", "item-types", "the agent doesn't answer item 7 (sender)"},
    {"answers-6", "usable-answers",
     "the agent answers item 3 (recipients) with 6, which counts as no answer"},
    {"unknown-type-silent", "unknown-types", "the agent doesn't answer an unknown item type"},
    {"unknown-type-3", "unknown-types", "the agent doesn't let an unknown item type pass"},
    {"recipients-3", "recipients-open",
     "the answer to the recipients keeps the add-in from asking about the content"},
    {"missing-file-silent", "missing-files",
     "the agent doesn't answer about a file that doesn't exist"},
    {"small-block", "block-sizes", "the block is smaller than dwBlockLength"},
    {"answers-incomplete", "incomplete-block", "the agent answers before the block is complete"},
    {"plain-store", "given-up", "the answer is stored over the 5 of a request that gave up"},
    {"keeps-blocks", "blocks-released", "blocks aren't closed after their answer was taken"},
    {"keeps-given-up", "given-up-released", "blocks aren't closed after the add-in has given up"},
    {"one-mail-at-a-time", "mails-at-once", "the agent serves one mail or request at a time"},
    {"one-request-at-a-time", "mails-at-once", "the agent serves one mail or request at a time"},
    {"no-kind-check", "record-kind", "the agent serves a record of another kind"},
    {"no-length-check", "record-length", "the agent serves a block that is too short for any item"},
    {"no-name-check", "record-name", "the agent creates a block under any name it is given"},
    {"huge-block-stops", "huge-block", "the agent stops at a block that it can't create"},
    {"opens-existing", "existing-name", "the agent uses a mapping that it didn't create"},
    {"malformed-stops", "malformed-block", "the agent stops at a block without NULs"},
    {"not-freed", "space-freed", "the space of taken entries isn't freed"},
    {"not-cleared", "entries-cleared", "entries are not cleared after being taken"},
    {"clears-the-length-only", "entries-cleared", "only the length word of an entry is cleared"},
    {"freed-early", "freed-last", "space is freed before its entry is cleared"},
    {"position-not-stored", "position-stored", "the position isn't stored in consumerWord"},
    {"position-late", "position-stored", "the position is stored after the space was freed"},
    {"skips-incomplete", "incomplete-entry", "an entry that isn't complete at once is skipped"},
    {"no-look-ahead", "later-entries", "an incomplete entry keeps later requests waiting"},
    {"foreign-stops", "foreign-entries", "the agent stops at an entry that is no request"},
    {"clears-152-bytes", "foreign-entries", "entries of another length aren't cleared completely"},
    {"never-splits", "split-payload",
     "a payload that is split by the end of the data area isn't put together"},
    {"misreads-the-end", "length-word-at-the-end",
     "an entry whose length word fills the last 4 bytes is misread"},
    {"drops-when-busy", "requests-in-a-row", "some of many requests aren't answered in time"},
    {"stops-at-2-32", "cursor-past-2-32", "the agent stops where the write cursor wraps"},
    {"trusts-length", "damaged-ring", "the agent doesn't recover from an impossible length word"},
    {"closes-early", "late-requester", "blocks are closed before the add-in's wait is over"},
    {"keeps-dead-writer", "dead-writer", "the space of a dead writer is never freed"},
    {"gives-up-early", "dead-writer", "the agent gives up too early on a writer that may be alive"},
    {"keeps-count", "dead-between-additions", "the space of a dead writer is never freed"},
    {"keeps-unopened", "unopened-block", "blocks that no add-in opens are kept"},
};

// How long the agents wait for a writer or requester, a sixth of the usual time.
constexpr std::uint32_t kGoneMs = 2'500;

class BadAgents : public tests::AgentProcessTest {
 protected:
  // Runs all checks against the agent with that fault.
  std::vector<Result> Check(const std::string& fault) const {
    const std::string ring = m_ring + "." + fault;
    // Near enough to 2^32 for the check that needs it.
    const bool isNear = fault == "stops-at-2-32" || fault == "none";
    ChildProcess agent;
    std::string line;
    std::vector<Result> results;
    const std::string program = (tests::PathOf(Program()).parent_path() / "badagent").string();
    if (!agent.Start(program,
                     {"--ring", ring, "--fault", fault, "--gone-ms", std::to_string(kGoneMs),
                      "--cursor", isNear ? "4292870144" : "0"},
                     &line) ||
        agent.ReadLine(&line, 20'000) != ChildProcess::ReadResult::kLine) {
      return results;
    }
    const std::filesystem::path folder = m_folder.Path() / fault;
    std::filesystem::create_directories(folder);
    inspection::conformance::Options options;
    options.ring = ring;
    // Shorter than kGoneMs, as in the protocol.
    options.blockWaitMs = options.answerWaitMs = options.drainMs = 2'000;
    options.lateOpenMs = 1'200;
    options.goneLeastMs = 1'500;
    options.goneMostMs = 6'000;
    // A lap takes 1725.
    options.requestsInARow = fault == "none" ? 1'800 : 64;
    options.folder = folder.string() + "/";
    options.probe = {tools::system::WatchReads, tools::system::WasRead};
    inspection::conformance::Run(options, m_stop,
                                 [&results](const Result& result) { results.push_back(result); });
    return results;
  }

  std::atomic<bool> m_stop{false};
};

std::vector<Result> Failed(const std::vector<Result>& results) {
  std::vector<Result> failed;
  std::copy_if(results.begin(), results.end(), std::back_inserter(failed),
               [](const Result& result) { return result.outcome == CheckOutcome::kFail; });
  return failed;
}

void ExpectOnlyFailure(const BadAgent& bad, const std::vector<Result>& results) {
  const std::vector<Result> failed = Failed(results);
  std::string all;
  for (const Result& result : failed) {
    all += result.check + ": " + result.cause + ": " + result.seen + "\n";
  }
  EXPECT_EQ(failed.size(), 1U) << bad.fault << "\n" << all;
  if (failed.empty()) return;
  EXPECT_EQ(failed[0].check, bad.check) << bad.fault;
  EXPECT_EQ(failed[0].cause, bad.cause) << bad.fault << ": " << failed[0].seen;
  EXPECT_FALSE(failed[0].rule.empty()) << bad.fault;
}

// Without an agreement about mails, ignoring files isn't said to be fine.
void ExpectFilesNotRead(const std::vector<Result>& results) {
  EXPECT_TRUE(Failed(results).empty());
  const auto found = std::find_if(results.begin(), results.end(), [](const Result& result) {
    return result.check == "files-read";
  });
  ASSERT_NE(found, results.end());
  EXPECT_EQ(found->outcome, CheckOutcome::kLeftOut);
  EXPECT_EQ(
      found->seen,
      "the agent answered without reading ExchangeSubjectContent, ExchangeBodyContent, "
      "conform.txt: it ignores files or decides by their names, which only --expect can show");
}

void ExpectAllPassed(const std::vector<Result>& results) {
  EXPECT_EQ(results.size(), inspection::conformance::CheckNames().size());
  for (const Result& result : results) {
    const bool isLeftOut = result.check == "restart";
    EXPECT_EQ(result.outcome, isLeftOut ? CheckOutcome::kLeftOut : CheckOutcome::kPass)
        << result.check << ": " << result.cause << ": " << result.seen;
  }
}

// One test for all, because they mostly wait.
TEST_F(BadAgents, EachFailsTheCheckOfItsRuleAndNoOtherAndTheGoodOnePasses) {
  constexpr std::size_t kThreads = 24;
  std::vector<std::function<void()>> jobs = {
      [this] { ExpectAllPassed(Check("none")); },
      [this] { ExpectFilesNotRead(Check("ignores-files")); }};
  for (const BadAgent& bad : kBadAgents) {
    jobs.emplace_back([this, &bad] { ExpectOnlyFailure(bad, Check(bad.fault)); });
  }
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (std::size_t at = next++; at < jobs.size(); at = next++) jobs[at]();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(BadAgents, ThereIsOneForEachCheck) {
  // The tests of whole mails have these.
  std::set<std::string> caught = {"files-read", "restart"};
  for (const BadAgent& bad : kBadAgents) caught.insert(bad.check);
  for (const std::string& name : inspection::conformance::CheckNames()) {
    EXPECT_EQ(caught.count(name), 1U) << name;
  }
}

}  // namespace
