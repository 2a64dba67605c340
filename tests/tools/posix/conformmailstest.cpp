// The checks of `quorvex conform` with whole mails and with an agent that it starts, against agents
// of tests/badagents.
#include "tools/conformmails.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/simulation/agent/agentprocess.h"
#include "tools/startedagent.h"

namespace {

using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;
using testing::ElementsAre;

class ConformMails : public tests::AgentProcessTest {
 protected:
  static std::string Sample(const char* name) { return std::string(QUORVEX_SAMPLES) + "/" + name; }

  // The checks that don't pass, with their causes. `*atOnce` becomes what was seen by the check of
  // mails that are in progress at once.
  std::vector<std::string> FailedChecksOf(const std::string& fault, std::string* atOnce) const {
    const std::string ring = m_ring + "." + fault;
    const std::string program = (tests::PathOf(Program()).parent_path() / "badagent").string();
    tools::StartedAgent agent(
        "\"" + program + "\" --ring " + ring + " --gone-ms 1000 --fault " + fault, ring);
    const std::filesystem::path folder = m_folder.Path() / fault;
    std::filesystem::create_directories(folder);
    const tools::MailChecks mails{.program = Program(),
                                  .ring = ring,
                                  .folder = folder.string() + "/",
                                  .expectationPath = "expect.toml",
                                  .expectations = {{Sample("01-plain.eml"), "sent", 1},
                                                   {Sample("05-blocked-body.eml"), "blocked", 4}}};
    inspection::conformance::Options options;
    options.ring = ring;
    options.lateOpenMs = 100;
    options.goneLeastMs = 500;
    options.requestsInARow = 16;
    options.restartWaitMs = 5'000;
    options.restart = [&agent] { agent.Kill(); };
    options.extra = ChecksWithMails(&mails, &m_stop);
    std::vector<std::string> failed;
    inspection::conformance::Run(options, m_stop, [&failed, atOnce](const Result& result) {
      if (result.check == "expected-at-once") *atOnce = result.seen;
      if (result.outcome == CheckOutcome::kFail)
        failed.push_back(result.check + ": " + result.cause);
      if (result.outcome == CheckOutcome::kUnknown) failed.push_back(result.check + ": unknown");
    });
    return failed;
  }

  std::atomic<bool> m_stop{false};
};

TEST_F(ConformMails, EachBadAgentFailsTheCheckOfItsRuleAndNoOther) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"none", {}},
      {"ignores-files",
       {"expected: " + Sample("05-blocked-body.eml") + ": the agent decides otherwise than agreed",
        "expected-in-a-row: unknown", "expected-at-once: unknown"}},
      {"never-forgets", {"expected-in-a-row: the agent doesn't forget a mail at its end"}},
      {"forgets-at-the-end-only",
       {"expected-in-a-row: the agent doesn't forget a mail that never ended"}},
      {"mixes-mails-up",
       {"expected-at-once: mails that are in progress at once get each other's verdict"}},
      {"stays-dead", {"restart: the agent doesn't come back after its death"}}};
  std::mutex lock;
  std::vector<std::thread> threads;
  for (const auto& [fault, expected] : cases) {
    threads.emplace_back([this, &lock, &fault = fault, &expected = expected] {
      std::string atOnce;
      const std::vector<std::string> failed = FailedChecksOf(fault, &atOnce);
      const std::lock_guard guard(lock);
      EXPECT_EQ(failed, expected) << fault << ": " << atOnce;
      if (fault == "none") {
        EXPECT_EQ(atOnce, "two and eight mails at once, as agreed, also request by request");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(StartedAgent, TheWordsOfACommandMayBeQuoted) {
  EXPECT_THAT(tools::CommandWords(" a  \"b c\" d\"e \"f "), ElementsAre("a", "b c", "de f"));
  EXPECT_THAT(tools::CommandWords("  "), ElementsAre());
}

}  // namespace
