// What both engines do alike. The tests of a single engine are in posix/ and win32/.
#include <gtest/gtest.h>

#include <string>

#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "simulation/agent/pattern.h"
#include "tests/simulation/agent/patternsearch.h"

namespace {

using simulation::agent::Pattern;
using simulation::agent::PatternError;
using simulation::agent::PatternResult;
using simulation::agent::Search;

bool Matches(std::string_view pattern, std::string_view text) {
  return Search(pattern, text) == PatternResult::kMatch;
}

TEST(Pattern, MatchesAnywhere) {
  EXPECT_TRUE(Matches("b+", "aabbc"));
  EXPECT_FALSE(Matches("d", "aabbc"));
}

TEST(Pattern, AnchorsMatchAtLines) {
  EXPECT_TRUE(Matches("^second$", "first\r\nsecond\r\nthird"));
  EXPECT_TRUE(Matches("^second$", "first\nsecond\nthird"));
  EXPECT_TRUE(Matches("^third$", "first\r\nsecond\r\nthird"));
  EXPECT_FALSE(Matches("^econd", "first\nsecond"));
}

TEST(Pattern, ADotDoesNotMatchALineEnd) {
  EXPECT_FALSE(Matches("a.+b", "a1\r\n2b"));
}

TEST(Pattern, CaseMattersByDefault) {
  EXPECT_FALSE(Matches("secret", "SECRET"));
  EXPECT_TRUE(Matches("(?i)secret", "a SeCrEt"));
}

TEST(Pattern, EmptyTextAndEmptyPattern) {
  EXPECT_TRUE(Matches("^$", ""));
  EXPECT_FALSE(Matches("x", ""));
  EXPECT_TRUE(Matches("", "abc"));
  EXPECT_TRUE(Matches("^$", std::string_view()));
}

TEST(Pattern, NulsInTheText) {
  EXPECT_TRUE(Matches("b", std::string_view("a\0b", 3)));
}

TEST(Pattern, BeyondAscii) {
  EXPECT_TRUE(
      Matches("\xC3\xBC"
              "ber",
              "gegen\xC3\xBC"
              "ber"));
  EXPECT_FALSE(Matches("\xC3\xBC", "\xC3\xA4"));
}

TEST(Pattern, FarInsideALongText) {
  std::string text(300'000, 'x');
  text += " TOP-SECRET-42 ";
  text.append(300'000, 'y');
  EXPECT_TRUE(Matches("\\bTOP-SECRET-42\\b", text));
  EXPECT_FALSE(Matches("\\bTOP-SECRET-43\\b", text));
  // At every boundary of the windows in which the search takes the text.
  for (const std::size_t at : {1531U, 1535U, 1536U, 2043U, 2047U, 2048U, 16383U, 65535U}) {
    std::string other(70'000, 'x');
    other.replace(at, 6, "needle");
    EXPECT_TRUE(Matches("needle", other)) << at;
  }
}

TEST(Pattern, ABadOneSaysWhy) {
  PatternError error;
  EXPECT_FALSE(Pattern::Compile("a(b", &error));
  EXPECT_FALSE(error.message.empty());
}

TEST(Pattern, KeepsItsText) {
  PatternError error;
  const std::optional<Pattern> pattern = Pattern::Compile("(?i)ab", &error);
  ASSERT_TRUE(pattern);
  EXPECT_EQ(pattern->Text(), "(?i)ab");
}

TEST(Pattern, GivesUpOnALongSearchByTheClock) {
  std::uint32_t now = 0;
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
      ticking([&](auto) { return now += 600; });
  EXPECT_EQ(Search("a[^b]*c", std::string(2'000'000, 'a')), PatternResult::kTooCostly);
}

}  // namespace
