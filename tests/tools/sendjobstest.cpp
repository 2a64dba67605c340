// What the jobs of one run say to each other.

#include "tools/sendjobs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace tools {
namespace {

using inspection::checked::Checked;
using inspection::comparison::Outcome;

TEST(JobLines, HaveAMailsTextsAndItsOutcome) {
  SentMail mail = {.outcome = Outcome::kBlocked,
                   .checked = Checked::kPart,
                   .json = R"({"mail":"a"})",
                   .report = "a\n  \"b\"\n",
                   .log = "x\r\n",
                   .complaint = {}};
  EXPECT_EQ(JobLines(mail), "j{\"mail\":\"a\"}\nt\"a\\n  \\\"b\\\"\\n\"\nl\"x\\r\\n\"\ne1 1\n");
}

TEST(JobReader, PutsTheMailTogetherAgain) {
  const SentMail mail = {.outcome = Outcome::kUnreadable,
                         .checked = Checked::kUnknown,
                         .json = R"({"mail":"\u0000"})",
                         .report = "line\nline\x1b[32m\n",
                         .log = "a\r\nb\n",
                         .complaint = "x: \xC3\xA4"};
  JobReader reader;
  std::istringstream lines(JobLines(mail));
  int count = 0;
  bool isWhole = false;
  for (std::string line; std::getline(lines, line); ++count) isWhole = reader.Take(line);
  EXPECT_EQ(count, 5);
  EXPECT_TRUE(isWhole);
  EXPECT_EQ(reader.Mail().outcome, Outcome::kUnreadable);
  EXPECT_EQ(reader.Mail().checked, Checked::kUnknown);
  EXPECT_EQ(reader.Mail().json, mail.json);
  EXPECT_EQ(reader.Mail().report, mail.report);
  EXPECT_EQ(reader.Mail().log, mail.log);
  EXPECT_EQ(reader.Mail().complaint, mail.complaint);
}

TEST(JobReader, RefusesLinesOfSomethingElse) {
  JobReader reader;
  for (const char* const line : {"", "x", "e", "e0", "e9 0", "e0 9", "e0 0 ", "t", "t\"a", "t1"}) {
    EXPECT_ANY_THROW(reader.Take(line)) << line;
  }
}

TEST(JobOption, KeepsWhatTheJobNeeds) {
  const Job job = {{.index = 2, .jobs = 3},
                   {.json = true, .report = false, .log = true, .complaint = false},
                   {.colour = true, .width = 132}};
  const auto read = JobOf(TextOf(job));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->part.index, 2U);
  EXPECT_EQ(read->part.jobs, 3U);
  EXPECT_TRUE(read->wanted.json);
  EXPECT_FALSE(read->wanted.report);
  EXPECT_TRUE(read->wanted.log);
  EXPECT_FALSE(read->wanted.complaint);
  EXPECT_TRUE(read->style.colour);
  EXPECT_EQ(read->style.width, 132U);
  for (const char* const text : {"", "3 3 0 0 0 0 0 80", "0 1", "0 1 0 0 0 0 0 80 1", "a"}) {
    EXPECT_FALSE(JobOf(text)) << text;
  }
}

}  // namespace
}  // namespace tools
