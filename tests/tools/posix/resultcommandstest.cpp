// `quorvex summary` and `quorvex compare` as a user meets them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/temporaryfolder.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kSentLine =
    R"({"mail":"a.eml","outcome":"sent","checked":"yes","reasons":[],"requests":[)"
    R"({"type":9,"payload":"","name":"","answer":4,"wait_ms":40.8}],"tag":null,"ms":50})";
constexpr const char* kBlockedLine =
    R"({"mail":"a.eml","outcome":"blocked","checked":"yes","reasons":[],"requests":[)"
    R"({"type":1,"payload":"x","name":"ExchangeBodyContent","answer":3,"wait_ms":20,)"
    R"("rule":"secret project"}],"tag":null,"ms":30})";

struct ResultRun {
  int status = -1;
  std::string output;
  std::string errors;
};

class ResultCommands : public testing::Test {
 protected:
  ResultRun Run(const std::string& arguments) const {
    const std::string command = std::string("cd '") + m_folder.Path().string() + "' && '" +
                                QUORVEX_PROGRAM + "' " + arguments + " >out 2>err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read("out"), Read("err")};
  }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(m_folder.Path() / name, std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(m_folder.Path() / name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
  }

  const tests::TemporaryFolder m_folder;
};

TEST_F(ResultCommands, SummaryAddsFilesAndStandardInputUp) {
  Write("one.jsonl", std::string(kSentLine) + "\n");
  Write("two.jsonl", std::string(kBlockedLine) + "\n" +
                         R"({"mail":"b","outcome":"sent","checked":"no","reasons":["no agent"]})");
  const ResultRun run = Run("summary one.jsonl - <two.jsonl");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output,
            "3 mails: 2 sent, 1 blocked, 0 tagged\n"
            "2 checked, 0 checked in part, 1 unchecked\n"
            "\n"
            "not checked, or in part, because\n"
            "        1  no agent\n"
            "\n"
            "blocked or tagged by\n"
            "        1  rule \"secret project\"\n"
            "\n"
            "waits                  count        50 %        95 %        99 %     longest\n"
            "  each request             2     20.0 ms     40.8 ms     40.8 ms     40.8 ms\n"
            "  each mail                2     30.0 ms     50.0 ms     50.0 ms     50.0 ms\n");
}

TEST_F(ResultCommands, SummaryOfMergedFilesIsTheSameAsOfTheFiles) {
  Write("one", std::string(kSentLine) + "\n");
  Write("two", std::string(kBlockedLine) + "\n");
  Write("both", Read("one") + Read("two"));
  const ResultRun apart = Run("summary --json one two");
  EXPECT_EQ(apart.status, 0);
  EXPECT_EQ(apart.output, Run("summary --json both").output);
  EXPECT_THAT(apart.output, StartsWith(R"({"mails":2,"outcome":{"sent":1,"blocked":1,)"));
}

TEST_F(ResultCommands, WhatIsNotKnownIsCountedAsUnknown) {
  Write("old", R"({"mail":"a","outcome":"sent","requests":[{"type":9,"answer":4}]})");
  const ResultRun run = Run("summary old");
  EXPECT_THAT(run.output, HasSubstr("\n0 checked, 0 checked in part, 0 unchecked, 1 unknown "
                                    "whether checked\n"));
  EXPECT_THAT(run.output, HasSubstr("\n  1 request without a recorded wait\n"));
}

TEST_F(ResultCommands, BadLinesAndMissingFilesAreReportedAndTheRestIsDone) {
  Write("run", "nonsense\n" + std::string(kSentLine) + "\n");
  const ResultRun summary = Run("summary missing run");
  EXPECT_EQ(summary.status, 2);
  EXPECT_THAT(summary.errors, HasSubstr("quorvex summary: missing: No such file or directory\n"));
  EXPECT_THAT(summary.errors, HasSubstr("quorvex summary: run:1: not JSON: Invalid value."));
  EXPECT_THAT(summary.output, StartsWith("1 mail: 1 sent"));
  const ResultRun compare = Run("compare run run");
  EXPECT_EQ(compare.status, 2);
  EXPECT_THAT(compare.errors, HasSubstr("quorvex compare: run:1: not JSON"));
}

TEST_F(ResultCommands, CompareSaysWhichMailChangedAndByWhichRule) {
  Write("before", kSentLine);
  Write("after", kBlockedLine);
  const ResultRun run = Run("compare before after");
  EXPECT_EQ(run.status, 1) << run.errors;
  EXPECT_EQ(run.output,
            "a.eml\n"
            "  sent -> blocked\n"
            "  no request blocked or tagged it -> body: block, rule \"secret project\"\n"
            "\n"
            "before \\ after          sent     blocked\n"
            "sent                       0           1\n"
            "blocked                    0           0\n"
            "\n"
            "waits                  count        50 %        95 %        99 %     longest\n"
            "  request, before          1     40.8 ms     40.8 ms     40.8 ms     40.8 ms\n"
            "  request, after           1     20.0 ms     20.0 ms     20.0 ms     20.0 ms\n"
            "  mail, before             1     50.0 ms     50.0 ms     50.0 ms     50.0 ms\n"
            "  mail, after              1     30.0 ms     30.0 ms     30.0 ms     30.0 ms\n"
            "\n"
            "1 mail before, 1 after: 1 with another verdict, 0 more or less checked, 0 only before,"
            " 0 only after\n");
  EXPECT_THAT(Run("compare --summary before after").output, StartsWith("before \\ after"));
}

TEST_F(ResultCommands, CompareOfEqualRunsIsStatusZero) {
  Write("before", kSentLine);
  const ResultRun run = Run("compare before - <before");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, EndsWith("\n1 mail before, 1 after: 0 with another verdict, 0 more or "
                                   "less checked, 0 only before, 0 only after\n"));
}

TEST_F(ResultCommands, CompareInJsonEndsWithTheSummary) {
  Write("before", kSentLine);
  Write("after", kBlockedLine);
  const ResultRun run = Run("compare --json before after");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.output, StartsWith(R"({"mail":"a.eml","occurrence":1,"change":"verdict",)"));
  EXPECT_THAT(run.output, HasSubstr("\n{\"summary\":{\"before\":1,\"after\":1,"));
}

TEST_F(ResultCommands, CompareRunsTwoSetsOfRulesOverTheSameMails) {
  Write("old.toml", "");
  const std::string mails =
      " '" QUORVEX_SAMPLES "/01-plain.eml' '" QUORVEX_SAMPLES "/05-blocked-body.eml'";
  const ResultRun run = Run("compare old.toml '" QUORVEX_SAMPLES "/rules.toml'" + mails);
  EXPECT_EQ(run.status, 1) << run.errors;
  EXPECT_THAT(run.output,
              StartsWith(QUORVEX_SAMPLES "/05-blocked-body.eml\n  sent -> blocked\n"
                                         "  no request blocked or tagged it -> body: block"));
  EXPECT_THAT(run.output, EndsWith("\n2 mails before, 2 after: 1 with another verdict, 0 more or "
                                   "less checked, 0 only before, 0 only after\n"));
  const ResultRun same = Run("compare old.toml old.toml" + mails);
  EXPECT_EQ(same.status, 0) << same.output << same.errors;
}

TEST_F(ResultCommands, CompareSendsTheRecordedMailsAgain) {
  const std::string rules = "--rules '" QUORVEX_SAMPLES "/rules.toml' ";
  Write("recorded.jsonl",
        Run("send --json " + rules + "'" QUORVEX_SAMPLES "/05-blocked-body.eml'").output);
  EXPECT_EQ(Run("compare recorded.jsonl '" QUORVEX_SAMPLES "/rules.toml'").status, 0);
  Write("open.toml", "");
  const ResultRun open = Run("compare recorded.jsonl open.toml");
  EXPECT_EQ(open.status, 1);
  EXPECT_THAT(open.output, HasSubstr("\n  blocked -> sent\n"));
  // With no agent the mail goes out.
  const ResultRun agent = Run("compare recorded.jsonl --agent");
  EXPECT_EQ(agent.status, 1) << agent.errors;
  EXPECT_THAT(agent.output, HasSubstr("\n  blocked -> sent\n"));
}

TEST_F(ResultCommands, CompareWithRulesThatAreWrongIsStatusThree) {
  Write("bad.toml", "[[rule]]\nanswer = \"blokc\"\n");
  Write("run.jsonl", kSentLine);
  const ResultRun run = Run("compare run.jsonl bad.toml '" QUORVEX_SAMPLES "/01-plain.eml'");
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.errors, HasSubstr("bad.toml:2:"));
  EXPECT_THAT(run.errors, HasSubstr("the mails can't be sent with bad.toml"));
  EXPECT_EQ(Run("compare bad.toml run.jsonl").status, 3);         // no mails to send
  EXPECT_EQ(Run("compare run.jsonl run.jsonl a.eml").status, 3);  // mails without use
  EXPECT_EQ(Run("compare bad.toml run.jsonl -").status, 3);
}

TEST_F(ResultCommands, NamesFromAFileCannotSteerTheTerminal) {
  Write("run", "{\"mail\":\"\\u001b[2Ja\",\"outcome\":\"sent\",\"reasons\":[\"\\u0007x\"]}");
  EXPECT_THAT(Run("summary run").output, Not(HasSubstr("\a")));
  EXPECT_THAT(Run("compare run /dev/null").output, Not(HasSubstr("\x1b")));
}

TEST_F(ResultCommands, PagesAreWrittenOrTheCommandSaysWhyNot) {
  Write("run", kSentLine);
  EXPECT_EQ(Run("summary run --html page.html").status, 0);
  EXPECT_THAT(Read("page.html"), HasSubstr("\"mail\":\"a.eml\""));
  EXPECT_EQ(Run("compare run /dev/null --html compare.html").status, 1);
  EXPECT_THAT(Read("compare.html"), HasSubstr("\"change\":\"only before\""));
  const ResultRun nowhere = Run("summary run --html missing/page.html");
  EXPECT_EQ(nowhere.status, 3);
  EXPECT_EQ(nowhere.errors, "quorvex summary: missing/page.html: can't be written\n");
}

TEST_F(ResultCommands, SendAndLogExplainWritePagesToo) {
  const ResultRun send = Run("send '" QUORVEX_SAMPLES "/01-plain.eml' --html sent.html");
  EXPECT_EQ(send.status, 0) << send.errors;
  EXPECT_THAT(Read("sent.html"), HasSubstr("01-plain.eml\",\"outcome\":\"sent\""));
  EXPECT_THAT(Read("sent.html"), HasSubstr("{\"stage\":\"close\",\"answer\":4"));
  const ResultRun log =
      Run("log explain '" QUORVEX_SAMPLES "/../docs/examples/mail.PC17_0.log' --html log.html");
  EXPECT_LT(log.status, 2) << log.errors;
  EXPECT_THAT(Read("log.html"), HasSubstr("\"subject\":"));
}

TEST_F(ResultCommands, WrongUsageIsStatusThree) {
  EXPECT_EQ(Run("summary").status, 3);
  EXPECT_EQ(Run("compare one").status, 3);
  EXPECT_EQ(Run("compare - -").status, 3);
  EXPECT_THAT(Run("compare - -").errors, HasSubstr("only one of the runs can be standard input"));
}

}  // namespace
