// What only PCRE2 supports, and the limits on its searches.
#include <gtest/gtest.h>

#include <string>

#include "simulation/agent/pattern.h"
#include "simulation/agent/rules.h"
#include "tests/simulation/agent/patternsearch.h"

namespace {

using simulation::agent::Pattern;
using simulation::agent::PatternError;
using simulation::agent::PatternResult;
using simulation::agent::Search;

TEST(Pcre2Pattern, LookBehindPropertiesAndBackReferences) {
  EXPECT_EQ(Search("(?<=@)ours", "me@ours"), PatternResult::kMatch);
  EXPECT_EQ(Search("^\\p{Lu}\\p{Ll}+$", "\xC3\x84rger"), PatternResult::kMatch);
  EXPECT_EQ(Search("(a+)-\\1$", "aa-aa"), PatternResult::kMatch);
}

TEST(Pcre2Pattern, WorksOnCharacters) {
  EXPECT_EQ(Search("^.$", "\xF0\x9F\x98\x80"), PatternResult::kMatch);
  EXPECT_EQ(Search("(?i)\xC3\x84", "\xC3\xA4"), PatternResult::kMatch);
  EXPECT_EQ(Search("^\\w+$",
                   "Gr\xC3\xB6\xC3\x9F"
                   "e"),
            PatternResult::kMatch);
}

TEST(Pcre2Pattern, ABadPatternHasAnOffset) {
  PatternError error;
  EXPECT_FALSE(Pattern::Compile("ab[c", &error));
  ASSERT_TRUE(error.offset);
  EXPECT_EQ(*error.offset, 4U);
  EXPECT_EQ(error.message, "missing terminating ] for character class");
}

TEST(Pcre2Pattern, CatastrophicBacktrackingEnds) {
  EXPECT_EQ(Search("^(a|aa)+$", std::string(60, 'a') + "b"), PatternResult::kTooCostly);
  EXPECT_EQ(Search("^((a+)+)+$", std::string(60, 'a') + "b"), PatternResult::kTooCostly);
}

TEST(Pcre2Pattern, AQuadraticSearchOfALongTextEnds) {
  EXPECT_EQ(Search("a[ab]*c", std::string(4'000'000, 'a') + "\nc"), PatternResult::kTooCostly);
}

TEST(Pcre2Pattern, LongCharactersAtWindowBoundaries) {
  // Three bytes a character: a window of starting positions ends inside one.
  for (std::size_t lead = 0; lead < 3; ++lead) {
    std::string text(lead, 'x');
    for (int i = 0; i < 200'000; ++i) text += "\xE2\x82\xAC";
    EXPECT_EQ(Search("\xE2\x82\xAC!", text + "!"), PatternResult::kMatch) << lead;
    EXPECT_EQ(Search("\xE2\x82\xAC\\?", text), PatternResult::kNoMatch) << lead;
  }
}

TEST(Pcre2Pattern, TheLastWindowReachesTheEndOfTheText) {
  EXPECT_EQ(Search("(?<=z)$", std::string(1'000'000, 'y') + "z"), PatternResult::kMatch);
}

TEST(RulesFilePcre2, ABadPatternsColumnPointsIntoIt) {
  const simulation::agent::RulesFile file = simulation::agent::ParseRules(
      "[[rule]]\nanswer = 4\n  subject = '\xC3\xA4(b'\nbody = \"\\\\d(\"\n");
  ASSERT_EQ(file.mistakes.size(), 2U);
  // Nothing is escaped in single quotes, so the column is exact.
  EXPECT_EQ(RemarkText("r", file.mistakes[0]),
            "r:3:17: bad pattern under \"subject\" at offset 4: missing closing parenthesis");
  EXPECT_EQ(RemarkText("r", file.mistakes[1]),
            "r:4:8: bad pattern under \"body\" at offset 3: missing closing parenthesis");
}

}  // namespace
