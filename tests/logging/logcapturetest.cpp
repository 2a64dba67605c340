// LogCapture, with which other tests read the log.
#include "tests/support/logcapture.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "platform/files.h"
#include "platform/scopedreplacement.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tests::LogCapture;
using tests::LoggedLine;

TEST(LogCapture, ReturnsLevelsAndMessagesInOrder) {
  LogCapture log;
  g_logger.Log(kLogModule, kLogErr, "Cannot get %s", "subject");
  g_logger.Log(kLogModule, kLogInfo, "two\r\nlines\n");
  g_logger.Log(kLogModule, kLogCrit, "%s", "");
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogErr, "Cannot get subject"},
                          LoggedLine{kLogInfo, "two\r\nlines"}, LoggedLine{kLogCrit, ""}));
  EXPECT_TRUE(log.Has(kLogErr, "Cannot get subject"));
  EXPECT_FALSE(log.Has(kLogWarn, "Cannot get subject"));
  log.Forget();
  EXPECT_THAT(log.Lines(), IsEmpty());
  g_logger.Log(kLogModule, kLogWarn, "later");
  EXPECT_THAT(log.Messages(), ElementsAre("later"));
}

TEST(LogCapture, LeavesNothingRegisteredAtItsEnd) {
  { const LogCapture log; }
  EXPECT_EQ(g_logger.FindModule(kLogModule), nullptr);
}

TEST(LogCapture, ThroughTheDebuggerNeedsNoFile) {
  LogCapture log(LogCapture::Through::kDebugger);
  platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileW> create(
      [](auto, auto...) { return platform::kInvalidHandle; });
  g_logger.Log(kLogModule, kLogErr, "\xC3\xA4 line");
  EXPECT_THAT(log.Lines(), ElementsAre(LoggedLine{kLogErr, "\xC3\xA4 line"}));
}

TEST(LogCapture, RejectsTextThatNoLoggerWrote) {
  EXPECT_THROW(tests::ParseLog("anything\r\n", "Outlook"), std::runtime_error);
  EXPECT_THROW(tests::ParseLog("(00042) 02/03/2024 04:05:06.007 Outlook> Info: cut", "Outlook"),
               std::runtime_error);
}

}  // namespace
