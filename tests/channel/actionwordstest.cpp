// The words for the agent's answers.
#include <gtest/gtest.h>

#include "channel/protocol.h"

namespace {

TEST(ActionWords, AreThoseOfTheDocuments) {
  EXPECT_EQ(channel::ActionWord(3), "block");
  EXPECT_EQ(channel::ActionWord(4), "go on");
  EXPECT_EQ(channel::ActionWord(7), "tag");
  EXPECT_EQ(channel::ActionWord(1), "");
  EXPECT_EQ(channel::ActionWord(5), "");
}

}  // namespace
