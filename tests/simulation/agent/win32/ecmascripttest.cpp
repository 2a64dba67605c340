// Where the C++ library's patterns differ from PCRE2's; simulation/agent/pattern.h describes it.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "simulation/agent/pattern.h"

namespace {

using simulation::agent::Pattern;
using simulation::agent::PatternError;
using simulation::agent::PatternResult;

TEST(EcmaScriptPattern, BackReferencesAreRefusedInWords) {
  PatternError error;
  EXPECT_FALSE(Pattern::Compile("(a+)-\\1", &error));
  EXPECT_EQ(error.message, "back-references aren't known on this system");
  EXPECT_FALSE(error.offset);
}

TEST(EcmaScriptPattern, LookBehindIsRefused) {
  PatternError error;
  EXPECT_FALSE(Pattern::Compile("(?<=@)ours", &error));
  EXPECT_FALSE(error.message.empty());
}

TEST(EcmaScriptPattern, WorksOnBytes) {
  PatternError error;
  const std::optional<Pattern> two = Pattern::Compile("^..$", &error);
  ASSERT_TRUE(two);
  EXPECT_EQ(two->Search("\xC3\xA4"), PatternResult::kMatch);
}

TEST(EcmaScriptPattern, NestedRepetitionTakesNoExponentialTime) {
  PatternError error;
  const std::optional<Pattern> pattern = Pattern::Compile("^(a|aa)+$", &error);
  ASSERT_TRUE(pattern);
  EXPECT_EQ(pattern->Search(std::string(2000, 'a') + "b"), PatternResult::kNoMatch);
}

// A search that is quadratic in each piece of a long line: the clock ends it, after a few seconds
// on any machine.
TEST(EcmaScriptPattern, AQuadraticSearchOfALongLineEnds) {
  PatternError error;
  const std::optional<Pattern> pattern = Pattern::Compile("a[^b]*c", &error);
  ASSERT_TRUE(pattern);
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(pattern->Search(std::string(2'000'000, 'a')), PatternResult::kTooCostly);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));
}

}  // namespace
