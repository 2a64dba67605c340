// Recognising the log's lines among other UDP datagrams.
#include "inspection/logs/logdatagram.h"

#include <gtest/gtest.h>

namespace inspection::logs {
namespace {

TEST(LogDatagram, AWholeLineComesApart) {
  const auto line =
      ParseLogDatagram("(00042) 11/21/2026 01:47:41.928 Outlook> Err : Cannot get: x\r\n");
  ASSERT_TRUE(line);
  EXPECT_EQ(line->thread, "00042");
  EXPECT_EQ(line->time, "11/21/2026 01:47:41.928");
  EXPECT_EQ(line->module, "Outlook");
  EXPECT_EQ(line->level, "Err");
  EXPECT_EQ(line->message, "Cannot get: x");
}

TEST(LogDatagram, LineEndsInsideTheMessageBelongToIt) {
  const auto line =
      ParseLogDatagram("(1) 11/21/2026 01:47:41.928 Outlook> Info: Body: a\r\nb\nc\r\n");
  ASSERT_TRUE(line);
  EXPECT_EQ(line->message, "Body: a\r\nb\nc");
}

TEST(LogDatagram, ARelayMayCutTheLineEndOff) {
  const auto line = ParseLogDatagram("(1) 11/21/2026 01:47:41.928 Outlook> Crit: x");
  ASSERT_TRUE(line);
  EXPECT_EQ(line->level, "Crit");
}

TEST(LogDatagram, EverythingElseIsForeign) {
  for (const std::string_view bytes :
       {std::string_view(), std::string_view("\r\n"), std::string_view("\0", 1),
        std::string_view("<34>Oct 11 22:14:15 host su: 'su root' failed"),
        std::string_view("(1) 11/21/2026 01:47:41.928 Outlook> Note: no level of ours\r\n"),
        std::string_view("(1) 11/21/2026 01:47:41.928 > Info: no module\r\n"),
        std::string_view("(1) 11/21/2026 01:47:41.928 Outlook> Info")}) {
    EXPECT_FALSE(ParseLogDatagram(bytes)) << bytes;
  }
}

TEST(LogDatagram, LevelsAreOrderedByGravity) {
  EXPECT_EQ(GravityOf("None"), 0);
  EXPECT_EQ(GravityOf("Info"), 1);
  EXPECT_EQ(GravityOf("warn"), 2);
  EXPECT_EQ(GravityOf("ERR"), 3);
  EXPECT_EQ(GravityOf("Crit"), 4);
  EXPECT_EQ(GravityOf("All"), 4);
  EXPECT_FALSE(GravityOf(""));
  EXPECT_FALSE(GravityOf("Error"));
}

TEST(LogDatagram, EscapingKeepsEveryByteApart) {
  EXPECT_EQ(Escaped(""), "");
  EXPECT_EQ(Escaped("plain ~"), "plain ~");
  EXPECT_EQ(Escaped(std::string_view("\0\n\x1B\x7F\x80\xC3\xA4", 7)),
            "\\x00\\x0A\\x1B\\x7F\\x80\\xC3\\xA4");
  EXPECT_EQ(Escaped("\\x00"), "\\\\x00");
}

}  // namespace
}  // namespace inspection::logs
