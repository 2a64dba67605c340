// The format of a line.
#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/logging/loggingtest.h"

namespace {

using testing::ElementsAre;
using Record = RecordingStream::Record;

class LogLine : public testing::Test {
 protected:
  LogLine() { AddRecording(logger, "Outlook", 15, "all", &records); }

  std::string LastLine() const { return records.empty() ? "" : records.back().text; }

  FixedStamp stamp;
  std::vector<Record> records;
  OpenLogger logger;
};

TEST_F(LogLine, HasThreadDateTimeModuleLevelAndMessage) {
  EXPECT_EQ(logger.Log("Outlook", kLogErr, "Cannot get %s, %d times", "subject", 3), 1);
  EXPECT_EQ(LastLine(),
            "(00042) 02/03/2024 04:05:06.007 Outlook> Err : Cannot get subject, 3 times\r\n");
}

TEST_F(LogLine, ShowsMonthBeforeDayAndEveryFieldInOrder) {
  stamp.time = {1999, 12, 31, 23, 58, 59, 456};
  stamp.thread = 12345;
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(LastLine(), "(12345) 12/31/1999 23:58:59.456 Outlook> Info: x\r\n");
}

TEST_F(LogLine, IsWiderForALongThreadId) {
  stamp.thread = 1234567;
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(LastLine(), "(1234567) 02/03/2024 04:05:06.007 Outlook> Info: x\r\n");
}

TEST_F(LogLine, ShowsTheThreadIdAsASignedNumber) {
  stamp.thread = 0xFFFFFFFF;
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(LastLine().substr(0, 8), "(-0001) ");
  stamp.thread = 0x80000000;
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(LastLine().substr(0, 14), "(-2147483648) ");
}

TEST_F(LogLine, KeepsFieldsWiderThanTheirMinimum) {
  stamp.time = {65535, 100, 200, 300, 400, 500, 60000};
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(LastLine(), "(00042) 100/200/65535 300:400:500.60000 Outlook> Info: x\r\n");
}

TEST_F(LogLine, FollowsEveryPartOfTheTime) {
  const std::vector<std::pair<platform::LocalTime, std::string>> steps = {
      {{2024, 2, 3, 4, 5, 6, 7}, "(00042) 02/03/2024 04:05:06.007 "},
      {{2024, 2, 3, 4, 5, 6, 1000}, "(00042) 02/03/2024 04:05:06.1000 "},
      {{2024, 2, 3, 4, 5, 6, 8}, "(00042) 02/03/2024 04:05:06.008 "},
      {{2024, 2, 3, 4, 5, 7, 8}, "(00042) 02/03/2024 04:05:07.008 "},
      {{2024, 2, 3, 4, 6, 7, 8}, "(00042) 02/03/2024 04:06:07.008 "},
      {{2024, 2, 3, 5, 6, 7, 8}, "(00042) 02/03/2024 05:06:07.008 "},
      {{2024, 2, 4, 5, 6, 7, 8}, "(00042) 02/04/2024 05:06:07.008 "},
      {{2024, 3, 4, 5, 6, 7, 8}, "(00042) 03/04/2024 05:06:07.008 "},
      {{2025, 3, 4, 5, 6, 7, 8}, "(00042) 03/04/2025 05:06:07.008 "},
  };
  for (const auto& [time, expected] : steps) {
    stamp.time = time;
    logger.Log("Outlook", kLogInfo, "x");
    EXPECT_EQ(LastLine(), expected + "Outlook> Info: x\r\n");
  }
  stamp.thread = 43;
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(LastLine(), "(00043) 03/04/2025 05:06:07.008 Outlook> Info: x\r\n");
}

TEST_F(LogLine, NamesEachLevel) {
  for (const int level : {kLogInfo, kLogWarn, kLogErr, kLogCrit, 12, 0x300F, 0x2001}) {
    logger.Log("Outlook", level, "m");
  }
  const std::string begin = std::string(kStamp) + "Outlook> ";
  std::vector<std::string> lines;
  for (const Record& record : records) lines.push_back(record.text);
  EXPECT_THAT(lines,
              ElementsAre(begin + "Info: m\r\n", begin + "Warn: m\r\n", begin + "Err : m\r\n",
                          begin + "Crit: m\r\n", begin + "Crit: m\r\n", begin + "All : m\r\n",
                          begin + "Info: m\r\n"));
}

TEST(LevelName, IsTheMostSevereNamedBit) {
  EXPECT_STREQ(CVRKLogger::LevelName(1), "Info");
  EXPECT_STREQ(CVRKLogger::LevelName(2), "Warn");
  EXPECT_STREQ(CVRKLogger::LevelName(3), "Warn");
  EXPECT_STREQ(CVRKLogger::LevelName(4), "Err ");
  EXPECT_STREQ(CVRKLogger::LevelName(7), "Err ");
  EXPECT_STREQ(CVRKLogger::LevelName(8), "Crit");
  EXPECT_STREQ(CVRKLogger::LevelName(12), "Crit");
  EXPECT_STREQ(CVRKLogger::LevelName(15), "Crit");
}

TEST(LevelName, IsAllOnlyWithEveryBitOf300F) {
  EXPECT_STREQ(CVRKLogger::LevelName(0x300F), "All ");
  EXPECT_STREQ(CVRKLogger::LevelName(0x7FFFFFFF), "All ");
  EXPECT_STREQ(CVRKLogger::LevelName(-1), "All ");
  EXPECT_STREQ(CVRKLogger::LevelName(0x100F), "Crit");
  EXPECT_STREQ(CVRKLogger::LevelName(0x300E), "Crit");
}

TEST(LevelName, IsNoneWithoutANamedBit) {
  EXPECT_STREQ(CVRKLogger::LevelName(0), "None");
  EXPECT_STREQ(CVRKLogger::LevelName(0x10), "None");
  EXPECT_STREQ(CVRKLogger::LevelName(0x3000), "None");
}

TEST_F(LogLine, HasOneLineEndIfTheMessageEndsWithLineFeed) {
  logger.Log("Outlook", kLogInfo, "text\n");
  EXPECT_EQ(LastLine(), std::string(kStamp) + "Outlook> Info: text\r\n");
}

TEST_F(LogLine, KeepsTheCarriageReturnBeforeTheRemovedLineFeed) {
  logger.Log("Outlook", kLogInfo, "text\r\n");
  EXPECT_EQ(LastLine(), std::string(kStamp) + "Outlook> Info: text\r\r\n");
}

TEST_F(LogLine, RemovesOnlyTheLastOfTwoLineFeeds) {
  logger.Log("Outlook", kLogInfo, "text\n\n");
  EXPECT_EQ(LastLine(), std::string(kStamp) + "Outlook> Info: text\n\r\n");
}

TEST_F(LogLine, MayHaveAnEmptyMessage) {
  const char* const empty = "";
  EXPECT_EQ(logger.Log("Outlook", kLogInfo, "%s", empty), 1);
  EXPECT_EQ(LastLine(), std::string(kStamp) + "Outlook> Info: \r\n");
}

TEST_F(LogLine, EndsAtANulInTheMessage) {
  logger.Log("Outlook", kLogInfo, "before%cafter", 0);
  EXPECT_EQ(LastLine(), std::string(kStamp) + "Outlook> Info: before\r\n");
}

TEST_F(LogLine, OfALongMessageIsCutToFitTheBufferWithItsLineEnd) {
  const std::string message(2100, 'x');
  EXPECT_EQ(logger.Log("Outlook", kLogInfo, "%s", message.c_str()), 1);
  const std::string line = LastLine();
  const std::string prefix = std::string(kStamp) + "Outlook> Info: ";
  ASSERT_EQ(line.size(), 2079U);
  EXPECT_EQ(line, prefix + std::string(2077 - prefix.size(), 'x') + "\r\n");
}

TEST_F(LogLine, IsWholeAtTheLimitAndCutAboveIt) {
  const std::string prefix = std::string(kStamp) + "Outlook> Info: ";
  const std::string fitting = std::string(2076 - prefix.size(), 'x') + "y";
  logger.Log("Outlook", kLogInfo, "%s", fitting.c_str());
  EXPECT_EQ(LastLine(), prefix + fitting + "\r\n");
  logger.Log("Outlook", kLogInfo, "%sz", fitting.c_str());
  EXPECT_EQ(LastLine(), prefix + fitting + "\r\n");
}

TEST_F(LogLine, RemovesALineFeedThatCuttingMakesLast) {
  const std::string prefix = std::string(kStamp) + "Outlook> Info: ";
  const std::string message = std::string(2076 - prefix.size(), 'x') + "\nrest";
  logger.Log("Outlook", kLogInfo, "%s", message.c_str());
  EXPECT_EQ(LastLine(), prefix + std::string(2076 - prefix.size(), 'x') + "\r\n");
}

TEST_F(LogLine, LeavesNothingOfALongerLineInTheBuffer) {
  logger.Log("Outlook", kLogInfo, "%s", std::string(3000, 'x').c_str());
  logger.Log("Outlook", kLogInfo, "short");
  std::string expected = std::string(kStamp) + "Outlook> Info: short\r\n";
  expected.resize(OpenLogger::kLineSize, '\0');
  EXPECT_EQ(std::string(logger.m_szLine, OpenLogger::kLineSize), expected);
}

TEST_F(LogLine, ShowsTheModuleAsTheCallerWroteIt) {
  EXPECT_EQ(logger.Log("OUTLOOK", kLogInfo, "x"), 1);
  EXPECT_EQ(LastLine(), std::string(kStamp) + "OUTLOOK> Info: x\r\n");
}

TEST_F(LogLine, KeepsTheMessagesBytes) {
  logger.Log("Outlook", kLogInfo, "%s", "\xC3\xA4\xF0\x9F\x98\x80 \xFF\x01%d");
  EXPECT_EQ(LastLine(),
            std::string(kStamp) + "Outlook> Info: \xC3\xA4\xF0\x9F\x98\x80 \xFF\x01%d\r\n");
}

TEST_F(LogLine, FormatsAsTheRuntimeDoes) {
  const char* volatile none = nullptr;
  logger.Log("Outlook", kLogInfo, "[%s] [%5d|%-5d|%05d] [%08x] [%.2s] [%*d] [%%] [%.3f]", none, -42,
             42, 42, 0xBEEFU, "abc", 4, 7, 2.5);
  EXPECT_EQ(
      LastLine(),
      std::string(kStamp) +
          "Outlook> Info: [(null)] [  -42|42   |00042] [0000beef] [ab] [   7] [%] [2.500]\r\n");
}

}  // namespace
