#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "simulation/agent/rules.h"
#include "tests/support/temporaryfolder.h"

namespace {

using simulation::agent::FaultKind;
using simulation::agent::ParseRules;
using simulation::agent::RulesFile;
using simulation::agent::RulesRemark;
using simulation::agent::Stage;
using simulation::agent::StageBit;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The mistakes as a user sees them.
std::vector<std::string> Mistakes(std::string_view text) {
  std::vector<std::string> lines;
  const RulesFile file = ParseRules(text);
  for (const RulesRemark& mistake : file.mistakes) lines.push_back(RemarkText("r", mistake));
  return lines;
}

TEST(RulesFile, AnEmptyFileHasNoRules) {
  const RulesFile file = ParseRules("");
  EXPECT_THAT(file.mistakes, IsEmpty());
  EXPECT_THAT(file.rules.rules, IsEmpty());
  EXPECT_THAT(file.rules.faults, IsEmpty());
}

TEST(RulesFile, ARuleInFull) {
  const RulesFile file = ParseRules(R"(
[[rule]]
name = "all of it"
recipients = ['a', 'b']
recipients_all = 'c'
sender = 'd'
subject = 'e'
body = 'f'
content = 'g'
attachment = { name = 'h', content = ['i', 'j'], min_size = 0, max_size = 10 }
answer = "tag"
at = "close"
)");
  ASSERT_THAT(Mistakes(""), IsEmpty());
  ASSERT_THAT(file.mistakes, IsEmpty());
  ASSERT_EQ(file.rules.rules.size(), 1U);
  const simulation::agent::Rule& rule = file.rules.rules[0];
  EXPECT_EQ(rule.name, "all of it");
  EXPECT_EQ(rule.answer, 7);
  EXPECT_TRUE(rule.atClose);
  ASSERT_EQ(rule.conditions.recipients.size(), 2U);
  EXPECT_EQ(rule.conditions.recipients[1].Text(), "b");
  EXPECT_EQ(rule.conditions.recipientsAll.at(0).Text(), "c");
  EXPECT_EQ(rule.conditions.sender.at(0).Text(), "d");
  EXPECT_EQ(rule.conditions.subject.at(0).Text(), "e");
  EXPECT_EQ(rule.conditions.body.at(0).Text(), "f");
  EXPECT_EQ(rule.conditions.content.at(0).Text(), "g");
  ASSERT_TRUE(rule.conditions.attachment);
  EXPECT_EQ(rule.conditions.attachment->name.at(0).Text(), "h");
  EXPECT_EQ(rule.conditions.attachment->content.size(), 2U);
  EXPECT_EQ(rule.conditions.attachment->minSize, 0U);
  EXPECT_EQ(rule.conditions.attachment->maxSize, 10U);
}

TEST(RulesFile, AnswersByWordAndByNumber) {
  const RulesFile file = ParseRules(R"(
[[rule]]
answer = "go on"
[[rule]]
answer = "block"
at = "stage"
subject = 'x'
[[rule]]
answer = -2147483648
[[rule]]
answer = 100
)");
  ASSERT_THAT(file.mistakes, IsEmpty());
  ASSERT_EQ(file.rules.rules.size(), 4U);
  EXPECT_EQ(file.rules.rules[0].answer, 4);
  EXPECT_EQ(file.rules.rules[0].name, "rule 1");
  EXPECT_FALSE(file.rules.rules[0].atClose);
  EXPECT_EQ(file.rules.rules[1].answer, 3);
  EXPECT_FALSE(file.rules.rules[1].atClose);
  EXPECT_EQ(file.rules.rules[2].answer, -2147483647 - 1);
  EXPECT_EQ(file.rules.rules[3].answer, 100);
  EXPECT_EQ(file.rules.rules[3].name, "rule 4");
}

TEST(RulesFile, Faults) {
  const RulesFile file = ParseRules(R"(
[[fault]]
do = "silent"
stage = "recipients"
[[fault]]
do = "no block"
stage = "content"
times = 2
[[fault]]
do = "crash"
every = 3
[[fault]]
answer = 8
late = 1500
stage = ["sender", "envelope", "subject", "body", "attachment", "close"]
name = "odd and slow"
)");
  ASSERT_THAT(file.mistakes, IsEmpty());
  const auto& faults = file.rules.faults;
  ASSERT_EQ(faults.size(), 4U);
  EXPECT_EQ(faults[0].kind, FaultKind::kSilent);
  EXPECT_EQ(faults[0].stages, StageBit(Stage::kRecipients));
  EXPECT_EQ(faults[0].name, "fault 1");
  EXPECT_EQ(faults[1].kind, FaultKind::kNoBlock);
  EXPECT_EQ(faults[1].stages, simulation::agent::kAllFiles);
  EXPECT_EQ(faults[1].times, 2U);
  EXPECT_EQ(faults[2].kind, FaultKind::kCrash);
  EXPECT_EQ(faults[2].stages, simulation::agent::kAllStages);
  EXPECT_EQ(faults[2].every, 3U);
  EXPECT_EQ(faults[3].kind, FaultKind::kAnswer);
  EXPECT_EQ(faults[3].answer, 8);
  EXPECT_EQ(faults[3].late, 1500U);
  EXPECT_EQ(faults[3].stages, simulation::agent::kAllFiles | StageBit(Stage::kSender) |
                                  StageBit(Stage::kEnvelope) | StageBit(Stage::kClose));
  EXPECT_EQ(faults[3].name, "odd and slow");
}

TEST(RulesFile, UnknownKeysAreMistakesWithASuggestion) {
  EXPECT_THAT(Mistakes("rules = 1\n"),
              ElementsAre("r:1:1: unknown key \"rules\"; did you mean \"rule\"?"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\n  recipient = 'x'\n"),
              ElementsAre("r:3:3: unknown key \"recipient\"; did you mean \"recipients\"?"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nlate = 3\n"),
              ElementsAre("r:3:1: unknown key \"late\""));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nattachment = { size = 3 }\n"),
              ElementsAre(StartsWith("r:3:16: unknown key \"size\"")));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = 4\nat = \"close\"\n"),
              ElementsAre(StartsWith("r:3:1: unknown key \"at\"")));
  EXPECT_THAT(Mistakes("zzzzzzzzzz = 1\n"), ElementsAre("r:1:1: unknown key \"zzzzzzzzzz\""));
}

TEST(RulesFile, WrongTypes) {
  EXPECT_THAT(Mistakes("rule = 5\n"),
              ElementsAre("r:1:8: \"rule\" must be tables, each begun by [[rule]], not a whole "
                          "number"));
  EXPECT_THAT(Mistakes("[rule]\nanswer = 4\n"),
              ElementsAre(HasSubstr("must be tables, each begun by [[rule]], not a table")));
  EXPECT_THAT(Mistakes("fault = [1.5]\n"),
              ElementsAre("r:1:10: \"fault\" must be tables, each begun by [[fault]], not a number "
                          "with a fraction"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = true\n"),
              ElementsAre("r:2:10: \"answer\" must be \"go on\", \"block\" or \"tag\", or a whole "
                          "number, not true or false"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nat = 4\n"),
              ElementsAre("r:3:6: \"at\" must be text, not a whole number"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nname = []\n"),
              ElementsAre("r:3:8: \"name\" must be text, not a list"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nbody = 2026-01-01\n"),
              ElementsAre("r:3:8: \"body\" must be a pattern (text) or a list of patterns, not a "
                          "date or a time"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nbody = ['x', 5]\n"),
              ElementsAre("r:3:14: \"body\" must be a pattern (text) or a list of patterns, not a "
                          "whole number"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nattachment = 'x'\n"),
              ElementsAre(StartsWith("r:3:14: \"attachment\" must be a table with \"name\"")));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nattachment = { min_size = '1' }\n"),
              ElementsAre("r:3:27: \"min_size\" must be a whole number, not text"));
  EXPECT_THAT(Mistakes("[[fault]]\ndo = 1\n"),
              ElementsAre("r:2:6: \"do\" must be text, not a whole number"));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = '1'\n"),
              ElementsAre("r:2:8: \"late\" must be a whole number, not text"));
  EXPECT_THAT(
      Mistakes("[[fault]]\nlate = 1\nstage = 7\n"),
      ElementsAre("r:3:9: \"stage\" must be a stage (text) or a list of stages, not a whole "
                  "number"));
}

TEST(RulesFile, UnknownWords) {
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = \"blok\"\n"),
              ElementsAre("r:2:10: unknown answer \"blok\"; did you mean \"block\"?"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = \"perhaps\"\n"),
              ElementsAre("r:2:10: unknown answer \"perhaps\"; must be \"go on\", \"block\" or "
                          "\"tag\", or a whole number"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nat = \"end\"\n"),
              ElementsAre("r:3:6: unknown moment \"end\"; must be \"stage\" or \"close\""));
  EXPECT_THAT(Mistakes("[[fault]]\ndo = \"silnt\"\n"),
              ElementsAre("r:2:6: unknown fault \"silnt\"; did you mean \"silent\"?"));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = 1\nstage = [\"body\", \"bodi\"]\n"),
              ElementsAre("r:3:18: unknown stage \"bodi\"; did you mean \"body\"?"));
}

TEST(RulesFile, NumbersOutOfRange) {
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 2147483648\n"),
              ElementsAre("r:2:10: \"answer\" doesn't fit into 32 bits"));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = -1\n"),
              ElementsAre("r:2:8: \"late\" must be from 0 to 2147483647"));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = 1\nevery = 0\n"),
              ElementsAre("r:3:9: \"every\" must be from 1 to 2147483647"));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = 1\ntimes = 0\n"),
              ElementsAre("r:3:9: \"times\" must be from 1 to 2147483647"));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nattachment = { max_size = -5 }\n"),
              ElementsAre(StartsWith("r:3:27: \"max_size\" must be from 0 to ")));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nattachment = { min_size = 2, max_size = 1 }\n"),
              ElementsAre("r:3:27: \"min_size\" is larger than \"max_size\", so nothing matches"));
}

TEST(RulesFile, MissingAndContradictoryKeys) {
  EXPECT_THAT(Mistakes("\n[[rule]]\nbody = 'x'\n"),
              ElementsAre("r:2:1: a rule needs an \"answer\""));
  EXPECT_THAT(Mistakes("[[fault]]\nbody = 'x'\n"),
              ElementsAre("r:1:1: a fault needs \"do\", \"answer\" or \"late\""));
  EXPECT_THAT(Mistakes("[[fault]]\ndo = \"silent\"\nlate = 5\n"),
              ElementsAre("r:2:6: \"do\" leaves no room for \"answer\" and \"late\""));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 4\nbody = []\n"),
              ElementsAre("r:3:8: \"body\" is an empty list, which nothing matches"));
  EXPECT_THAT(Mistakes("[[fault]]\nlate = 4\nstage = []\n"),
              ElementsAre("r:3:9: \"stage\" is an empty list"));
  EXPECT_THAT(Mistakes("[[fault]]\ndo = \"no block\"\nstage = \"body\"\n"),
              ElementsAre("r:3:9: which file it is isn't known yet when a block is refused; say "
                          "\"content\""));
}

TEST(RulesFile, ABadPatternIsAMistakeAtItsPlace) {
  const std::vector<std::string> mistakes =
      Mistakes("[[rule]]\nanswer = 4\nsubject = [ 'good', \"ba(d\" ]\n");
  ASSERT_EQ(mistakes.size(), 1U);
  EXPECT_THAT(mistakes[0], StartsWith("r:3:21: bad pattern under \"subject\""));
}

TEST(RulesFile, AllMistakesAtOnceInTheFilesOrder) {
  EXPECT_THAT(Mistakes("[[fault]]\nlate = -1\n\n[[rule]]\nanswer = 'x1'\nsender = 5\n"),
              ElementsAre(StartsWith("r:2:8: "), StartsWith("r:5:10: "), StartsWith("r:6:10: ")));
}

TEST(RulesFile, BrokenToml) {
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = = 4\n"), ElementsAre(StartsWith("r:2:10: ")));
  EXPECT_THAT(Mistakes("[[rule\n"), ElementsAre(StartsWith("r:1:")));
  EXPECT_THAT(Mistakes("[\n"), ElementsAre(StartsWith("r:1:2: ")));
  EXPECT_THAT(Mistakes("[[\n"), ElementsAre(StartsWith("r:1:3: ")));
  // Letters that the library's test for blanks beyond ASCII calls impossible.
  EXPECT_THAT(Mistakes("\u00E4 = 1\n"), ElementsAre(StartsWith("r:1:1: ")));
  EXPECT_THAT(Mistakes("a\u3002 = 1\n"), ElementsAre(StartsWith("r:1:2: ")));
  EXPECT_THAT(Mistakes("a = 'open\n"), ElementsAre(StartsWith("r:1:")));
  EXPECT_THAT(Mistakes("name = \"\xFF\"\n"), ElementsAre(StartsWith("r:1:")));
  EXPECT_THAT(Mistakes("[[rule]]\nanswer = 3\nanswer = 4\n"), ElementsAre(StartsWith("r:3:")));
}

TEST(RulesFile, AByteOrderMarkAndWindowsLineEndsAreFine) {
  const RulesFile file =
      ParseRules("\xEF\xBB\xBF[[rule]]\r\nanswer = \"tag\"\r\nat = \"close\"\r\n");
  EXPECT_THAT(file.mistakes, IsEmpty());
  ASSERT_EQ(file.rules.rules.size(), 1U);
  EXPECT_EQ(file.rules.rules[0].answer, 7);
}

TEST(RulesFile, NotesAVerdictThatTheEnvelopeCannotGive) {
  const auto notes = [](std::string_view text) { return ParseRules(text).notes.size(); };
  EXPECT_EQ(notes("[[rule]]\nrecipients = 'x'\nanswer = \"block\"\n"), 1U);
  EXPECT_EQ(notes("[[rule]]\nsender = 'x'\nanswer = \"tag\"\n"), 1U);
  EXPECT_EQ(notes("[[rule]]\nanswer = \"block\"\n"), 1U);
  EXPECT_EQ(notes("[[rule]]\nrecipients = 'x'\nanswer = \"block\"\nat = \"close\"\n"), 0U);
  EXPECT_EQ(notes("[[rule]]\nrecipients = 'x'\nanswer = \"go on\"\n"), 0U);
  EXPECT_EQ(notes("[[rule]]\nrecipients = 'x'\nbody = 'y'\nanswer = \"block\"\n"), 0U);
}

TEST(LoadRules, ReadsAFile) {
  const tests::TemporaryFolder folder;
  std::ofstream(folder.Path() / "rules.toml") << "[[rule]]\nanswer = 3\nsubject = 'x'\n";
  const RulesFile file = simulation::agent::LoadRules(folder.Entry("rules.toml"));
  EXPECT_THAT(file.mistakes, IsEmpty());
  EXPECT_EQ(file.rules.rules.size(), 1U);
}

TEST(LoadRules, AMissingFileAndOneThatIsTooLarge) {
  const tests::TemporaryFolder folder;
  RulesFile file = simulation::agent::LoadRules(folder.Entry("absent.toml"));
  ASSERT_EQ(file.mistakes.size(), 1U);
  EXPECT_EQ(RemarkText("absent.toml", file.mistakes[0]), "absent.toml: the file can't be read");
  file = simulation::agent::LoadRules(folder.Entry("."));
  ASSERT_EQ(file.mistakes.size(), 1U);
  std::ofstream(folder.Path() / "large.toml") << std::string((1 << 20) + 1, '\n');
  file = simulation::agent::LoadRules(folder.Entry("large.toml"));
  ASSERT_EQ(file.mistakes.size(), 1U);
  EXPECT_EQ(RemarkText("f", file.mistakes[0]), "f: the file is larger than a megabyte");
}

}  // namespace
