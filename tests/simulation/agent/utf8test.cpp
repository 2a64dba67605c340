#include "simulation/agent/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using simulation::agent::ReplaceInvalidUtf8;

#define BAD "\xEF\xBF\xBD"

TEST(ReplaceInvalidUtf8, ValidTextStays) {
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF";
  EXPECT_EQ(ReplaceInvalidUtf8(text), text);
  EXPECT_EQ(ReplaceInvalidUtf8(""), "");
  EXPECT_EQ(ReplaceInvalidUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(ReplaceInvalidUtf8, LoneBytes) {
  EXPECT_EQ(ReplaceInvalidUtf8("a\x80z"), "a" BAD "z");
  EXPECT_EQ(ReplaceInvalidUtf8("caf\xE9 x"), "caf" BAD " x");
  EXPECT_EQ(ReplaceInvalidUtf8("\xFF\xFE"), BAD BAD);
}

TEST(ReplaceInvalidUtf8, SequenceCutShort) {
  EXPECT_EQ(ReplaceInvalidUtf8("\xE2\x82"), BAD BAD);
  EXPECT_EQ(ReplaceInvalidUtf8("\xE2\x82"
                               "a"),
            BAD BAD "a");
}

TEST(ReplaceInvalidUtf8, OverlongSurrogateAndTooLarge) {
  EXPECT_EQ(ReplaceInvalidUtf8("\xC0\x80"), BAD BAD);
  EXPECT_EQ(ReplaceInvalidUtf8("\xE0\x9F\xBF"), BAD BAD BAD);
  EXPECT_EQ(ReplaceInvalidUtf8("\xED\xA0\x80"), BAD BAD BAD);
  EXPECT_EQ(ReplaceInvalidUtf8("\xF0\x8F\xBF\xBF"), BAD BAD BAD BAD);
  EXPECT_EQ(ReplaceInvalidUtf8("\xF4\x90\x80\x80"), BAD BAD BAD BAD);
  EXPECT_EQ(ReplaceInvalidUtf8("\xED\x9F\xBF"), "\xED\x9F\xBF");
}

}  // namespace
