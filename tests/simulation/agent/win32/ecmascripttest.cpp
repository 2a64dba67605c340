// Where the C++ library's patterns differ from PCRE2's, as simulation/agent/pattern.h tells it.
#include <gtest/gtest.h>

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

}  // namespace
