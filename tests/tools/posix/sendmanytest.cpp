// `quorvex send --fast` and `--jobs`: thousands of mails, with the results of one slow run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/temporaryfolder.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

struct ManyRun {
  int status = -1;
  std::string output;
  std::string errors;
};

class SendMany : public testing::Test {
 protected:
  SendMany() {
    fs::copy(fs::path(QUORVEX_SAMPLES) / "root", m_folder.Path() / "root",
             fs::copy_options::recursive);
  }

  std::string Read(const std::string& name) const {
    std::ifstream file(m_folder.Path() / name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
  }
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(m_folder.Path() / name, std::ios::binary) << text;
    return m_folder.Entry(name);
  }
  std::string Root() const { return m_folder.Entry("root"); }

  ManyRun Run(const std::string& arguments) const {
    const std::string command = "cd '" + m_folder.Path().string() + "' && QUORVEX_ROOT='" + Root() +
                                "' '" + QUORVEX_PROGRAM + "' send " + arguments + " >out 2>err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read("out"), Read("err")};
  }

  // The results without what depends on time.
  static std::vector<Json> Results(const std::string& output) {
    std::vector<Json> results;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      Json mail = Json::parse(line);
      mail.erase("ms");
      if (mail.contains("requests")) {
        for (Json& request : mail["requests"]) request.erase("wait_ms");
      }
      results.push_back(std::move(mail));
    }
    return results;
  }

  // Each process has a temporary folder of its own, and counts its copies of attachments.
  static std::string WithoutProcess(const std::string& output) {
    static const std::regex kOwn("quorvex-send-[0-9]+/|OutlookAttachment\\.[0-9]+");
    return std::regex_replace(output, kOwn, "");
  }

  static std::string Samples() { return "'" QUORVEX_SAMPLES "'/*.eml "; }
  static std::string Rules() { return "--rules '" QUORVEX_SAMPLES "/rules.toml' "; }
  static std::string Sample(const std::string& name) {
    return "'" QUORVEX_SAMPLES "/" + name + "' ";
  }

  const tests::TemporaryFolder m_folder;
};

TEST_F(SendMany, AFastRunHasTheResultsOfOneInRealTime) {
  const ManyRun slow = Run("--json " + Rules() + Samples());
  const ManyRun fast = Run("--json --fast " + Rules() + Samples());
  EXPECT_EQ(slow.status, 1) << slow.errors;
  EXPECT_EQ(fast.status, 1) << fast.errors;
  const std::vector<Json> expected = Results(slow.output);
  const std::vector<Json> found = Results(fast.output);
  ASSERT_THAT(expected, SizeIs(12));
  ASSERT_THAT(found, SizeIs(12));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(found[i], expected[i]) << expected[i]["mail"];
  }
}

// A late answer, one that doesn't count, none, and at last an agent that is gone.
TEST_F(SendMany, AFastRunFailsLikeOneInRealTime) {
  const std::string faults = "--rules '" +
                             Write("faults.toml",
                                   "[[fault]]\nstage = \"sender\"\nlate = 150\n"
                                   "[[fault]]\nstage = \"subject\"\nanswer = 6\ntimes = 1\n"
                                   "[[fault]]\nstage = \"body\"\ndo = \"silent\"\ntimes = 1\n"
                                   "[[fault]]\nstage = \"attachment\"\ndo = \"crash\"\n") +
                             "' ";
  const std::string mails =
      Sample("01-plain.eml") + Sample("03-attachments.eml") + Sample("07-tagged.eml");
  const ManyRun slow = Run("--json " + faults + mails);
  const ManyRun fast = Run("--json --fast " + faults + mails);
  EXPECT_EQ(slow.status, 4) << slow.errors;
  EXPECT_EQ(fast.status, 4) << fast.errors;
  const std::vector<Json> expected = Results(slow.output);
  ASSERT_THAT(expected, SizeIs(3));
  EXPECT_EQ(expected[2]["reasons"], Json::array({"no agent was running"}));
  EXPECT_EQ(Results(fast.output), expected);
}

// The waits are those that the add-in would have slept through.
TEST_F(SendMany, AFastRunCountsTheWaitsThatItLeavesOut) {
  const ManyRun fast = Run("--json --fast " + Sample("01-plain.eml"));
  const Json mail = Json::parse(fast.output);
  EXPECT_GE(mail["ms"], 6 * 40);
  for (const Json& request : mail["requests"]) {
    EXPECT_GE(request["wait_ms"], 40);
    EXPECT_LT(request["wait_ms"], 60);
  }
}

// What the agent does to its own views when it ends isn't what the add-in does.
TEST_F(SendMany, AFastRunCountsTheWholeWaitForAnAgentThatCrashes) {
  const std::string fault = Write("fault.toml", "[[fault]]\nstage = \"body\"\ndo = \"crash\"\n");
  const ManyRun fast = Run("--json --fast --rules '" + fault + "' " + Sample("01-plain.eml"));
  const Json body = Json::parse(fast.output)["requests"][4];
  EXPECT_EQ(body["stage"], "body");
  EXPECT_EQ(body["end"], "no answer in time");
  EXPECT_GE(body["wait_ms"], 2500);
  EXPECT_LT(body["wait_ms"], 2600);
}

TEST_F(SendMany, AFastRunNeedsTheAgentInItsProcess) {
  const ManyRun run = Run("--fast --agent " + Sample("01-plain.eml"));
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.errors,
            "quorvex send: --fast can't be used with --agent: a running agent needs the real "
            "time\n");
}

TEST_F(SendMany, AMistakeInTheRulesIsReportedOnceHoweverManyJobs) {
  const std::string rules = Write("bad.toml", "[[rule]]\nanswer = \"blokc\"\n");
  for (const std::string jobs : {"--fast ", "--jobs 3 "}) {
    const ManyRun run = Run(jobs + "--rules bad.toml " + Sample("01-plain.eml"));
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.errors, MatchesRegex("bad.toml:2:[^\n]*\nquorvex send: the rules can't be "
                                         "used; the agent wasn't started\n"));
  }
}

// Single files, a mailbox, a folder, a list, and what can't be read.
TEST_F(SendMany, JobsPrintWhatOneRunPrintsInTheSameOrder) {
  const std::string from = "From a@x.test Mon May  2 16:07:05 2005\n";
  Write("three.mbox", from + "To: a@x.test\nSubject: 1\n\none\n\n" + from + "no header\n\n" + from +
                          "To: c@x.test\nSubject: secret\n\nthree\n");
  fs::create_directories(m_folder.Path() / "in/deep");
  Write("in/1.eml", "To: a@x.test\n\nbody\n");
  Write("in/deep/2.eml", "To: b@x.test\n\nbody\n");
  Write("list", "in/1.eml\nmissing.eml\nthree.mbox\n");
  const std::string mails =
      "--fast " + Rules() + Samples() + "three.mbox in missing.eml --files-from ";
  const ManyRun one = Run("--json " + mails + "list");
  const ManyRun jobs = Run("--json --jobs 3 " + mails + "- <'" + m_folder.Entry("list") + "'");
  EXPECT_EQ(one.status, 2);
  EXPECT_EQ(jobs.status, 2) << jobs.errors;
  EXPECT_EQ(jobs.errors, one.errors);
  EXPECT_THAT(one.errors, HasSubstr("missing.eml: No such file or directory\n"));
  ASSERT_THAT(Results(one.output), SizeIs(12 + 3 + 2 + 1 + 5));
  EXPECT_EQ(Results(WithoutProcess(jobs.output)), Results(WithoutProcess(one.output)));
}

TEST_F(SendMany, JobsPrintTheSameTextLogAndTotals) {
  const std::string mails = "--fast --log log " + Rules() + Samples();
  static const std::regex kWaitText("(\\d+ ms)|( +wait)");
  const ManyRun one = Run(mails);
  const std::string log = Read("log");
  const ManyRun jobs = Run("--jobs 2 " + mails);
  EXPECT_EQ(jobs.status, 1) << jobs.errors;
  EXPECT_EQ(std::regex_replace(jobs.output, kWaitText, ""),
            std::regex_replace(one.output, kWaitText, ""));
  EXPECT_THAT(one.output, HasSubstr("05-blocked-body.eml\n  stage"));
  const auto closes = [](const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
  };
  EXPECT_EQ(closes(Read("log")), closes(log));
  EXPECT_THAT(log, HasSubstr("Outlook> Info: OnInspectorClose\r\n"));
  const ManyRun summary = Run("--summary --jobs 2 " + mails);
  EXPECT_THAT(summary.output, MatchesRegex("12 mails: [^\n]*\n"));
  EXPECT_THAT(one.output, EndsWith("\n" + summary.output));
}

TEST_F(SendMany, MoreJobsThanMailsAreNoMistake) {
  const ManyRun run = Run("--fast --jobs 5 --summary " + Sample("01-plain.eml"));
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, "1 mail: 1 sent, 0 blocked, 0 tagged; 1 checked, 0 in part, 0 unchecked\n");
}

TEST_F(SendMany, JobsRefuseWhatTheyCannotShare) {
  const ManyRun input = Run("--jobs 2 - </dev/null");
  EXPECT_EQ(input.status, 3);
  EXPECT_THAT(input.errors, HasSubstr("several jobs can't share a mail from standard input"));
  EXPECT_EQ(Run("--jobs 0 a.eml").status, 3);
  EXPECT_EQ(Run("--jobs 33 a.eml").status, 3);
  EXPECT_EQ(Run("--job nonsense a.eml").status, 3);
}

TEST_F(SendMany, AReaderThatGoesAwayEndsTheJobsQuietly) {
  std::string mails;  // so many that the jobs are in the middle of them
  for (int i = 0; i < 1000; ++i) mails += Sample("01-plain.eml");
  const std::string command = "cd '" + m_folder.Path().string() + "' && (QUORVEX_ROOT='" + Root() +
                              "' '" + QUORVEX_PROGRAM + "' send --fast --jobs 2 " + mails +
                              " 2>err; echo $? >status) | head -n 1 >first";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_THAT(Read("first"), EndsWith("01-plain.eml\n"));
  EXPECT_EQ(Read("err"), "");
  EXPECT_EQ(Read("status"), "0\n");
}

class Interrupted : public SendMany, public testing::WithParamInterface<bool> {};

// Ctrl-C reaches every process of a terminal; a supervisor ends only the first one.
TEST_P(Interrupted, ARunOfSeveralJobsSaysHowFarItGot) {
  std::string list;
  for (int i = 0; i < 20'000; ++i) list += QUORVEX_SAMPLES "/01-plain.eml\n";
  const std::string path = Write("list", list);
  const pid_t child = ::fork();
  if (child == 0) {
    ::setpgid(0, 0);
    ::setenv("QUORVEX_ROOT", Root().c_str(), 1);
    if (std::freopen(m_folder.Entry("out").c_str(), "w", stdout) == nullptr ||
        std::freopen(m_folder.Entry("err").c_str(), "w", stderr) == nullptr) {
      ::_exit(99);
    }
    ::execl(QUORVEX_PROGRAM, "quorvex", "send", "--fast", "--jobs", "2", "--json", "--files-from",
            path.c_str(), nullptr);
    ::_exit(99);
  }
  ::setpgid(child, child);
  for (int i = 0; i < 500 && Read("out").size() < 10'000; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  ::kill(GetParam() ? -child : child, SIGINT);
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130) << Read("err");
  const std::size_t done = Results(Read("out")).size();
  EXPECT_GT(done, 1U);
  EXPECT_LT(done, 20'000U);
  EXPECT_THAT(Read("err"), HasSubstr("; interrupted after " + std::to_string(done) + "\n"));
  EXPECT_THAT(fs::directory_iterator(m_folder.Path() / "root/temp"), fs::directory_iterator());
}
INSTANTIATE_TEST_SUITE_P(BySignal, Interrupted, testing::Bool());

TEST_F(SendMany, CompareSendsFastAndInJobs) {
  Write("open.toml", "");
  Write("list", QUORVEX_SAMPLES "/05-blocked-body.eml\n");
  const std::string command = "cd '" + m_folder.Path().string() + "' && QUORVEX_ROOT='" + Root() +
                              "' '" + QUORVEX_PROGRAM + "' compare --fast --jobs 2 open.toml '" +
                              QUORVEX_SAMPLES "/rules.toml' " + Sample("01-plain.eml") +
                              "--files-from list >out 2>err";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 1) << Read("err");
  EXPECT_THAT(Read("out"), StartsWith(QUORVEX_SAMPLES "/05-blocked-body.eml\n  sent -> blocked\n"));
  EXPECT_THAT(Read("out"), HasSubstr("\n2 mails before, 2 after: 1 with another verdict, "));
}

}  // namespace
