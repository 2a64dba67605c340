#include "text/suggestion.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

using ::ClosestTo;
using ::Suggestion;

constexpr std::array<std::string_view, 4> kWords = {"recipients", "recipients_all", "sender",
                                                    "body"};

TEST(Suggestion, OneLetterMissingWrongOrTooMany) {
  EXPECT_EQ(ClosestTo("recipient", kWords), "recipients");
  EXPECT_EQ(ClosestTo("sendor", kWords), "sender");
  EXPECT_EQ(ClosestTo("boddy", kWords), "body");
}

TEST(Suggestion, SwappedNeighbours) {
  EXPECT_EQ(ClosestTo("bdoy", kWords), "body");
}

TEST(Suggestion, IgnoresCase) {
  EXPECT_EQ(ClosestTo("SENDER", kWords), "sender");
}

TEST(Suggestion, NothingForADifferentWord) {
  EXPECT_EQ(ClosestTo("attachment", kWords), "");
  EXPECT_EQ(ClosestTo("", kWords), "");
  EXPECT_EQ(ClosestTo(std::string(100'000, 'x'), kWords), "");
  EXPECT_EQ(Suggestion("attachment", kWords), "");
}

TEST(Suggestion, AsTheEndOfAMessage) {
  EXPECT_EQ(Suggestion("recipients_al", kWords), "; did you mean \"recipients_all\"?");
}

}  // namespace
