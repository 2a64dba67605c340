// Following a log while it is written. The steps of a test run in the pauses between two looks.
#include "tools/logsources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "tests/support/temporaryfolder.h"

namespace tools {
namespace {

using inspection::checked::Checked;
using inspection::logs::LogStories;
using inspection::logs::MailStory;
using testing::ElementsAre;
using testing::IsEmpty;

// A mail whose every part was answered with 4.
std::string LoggedMail(const std::string& subject) {
  std::string log;
  for (const std::string& message :
       {std::string("MailItem 0x01 is not checked, continue CheckMail ... "),
        std::string("CheckContent: lActionCode=4 iTimeOut=124"),
        std::string("CheckRecipients returns: 4."), "Mail subject: [" + subject + "]",
        std::string("CheckSubject returns: 1."), std::string("ScanSessionEnd returns: 4."),
        std::string("OnInspectorClose")}) {
    log += "(00001) 11/21/2026 08:00:00.000 Outlook> Info: " + message + "\r\n";
  }
  return log;
}

class FollowedLog : public testing::Test {
 protected:
  void Append(const std::string& name, const std::string& bytes) {
    std::ofstream(m_folder.Entry(name), std::ios::binary | std::ios::app) << bytes;
  }

  // Follows the file. Before each look comes one of the steps; after the last one, it stops.
  void Follow(const std::string& name, std::vector<std::function<void()>> steps) {
    std::atomic<bool> stop{false};
    std::size_t step = 0;
    const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> sleep(
        [&](auto, std::uint32_t) {
          steps.at(step)();
          stop = ++step == steps.size();
        });
    LogStories stories([this](const MailStory& mail) {
      m_told.push_back(mail.subject + (mail.checked == Checked::kYes ? "" : " unchecked"));
    });
    LogSources sources({m_folder.Entry(name)}, true);
    sources.ReadAll(&stories);
    stories.TellEnded();
    sources.Follow(&stories, stop);
    m_lines = stories.Lines();
    m_foreign = stories.Foreign();
    stories.Finish();
  }

  tests::TemporaryFolder m_folder;
  std::vector<std::string> m_told;  // so far
  std::size_t m_lines = 0;
  std::size_t m_foreign = 0;
};

TEST_F(FollowedLog, EachMailIsToldAtTheLookAfterItsEnd) {
  Append("mail.log", LoggedMail("first"));
  const std::string second = LoggedMail("second");
  const std::size_t half = second.find("Mail subject");
  const std::size_t line = second.rfind("(00001)", half);
  Follow("mail.log", {[&] {
                        EXPECT_THAT(m_told, ElementsAre("first"));
                        Append("mail.log", second.substr(0, line));
                      },
                      [&] {
                        EXPECT_THAT(m_told, ElementsAre("first"));
                        Append("mail.log", second.substr(line));
                      },
                      [&] { EXPECT_THAT(m_told, ElementsAre("first", "second")); }});
  EXPECT_EQ(m_lines, 14U);
}

// A look may come in the middle of a write.
TEST_F(FollowedLog, HalfALineIsNoLine) {
  Append("mail.log", "");
  const std::string log = LoggedMail("whole");
  std::vector<std::function<void()>> steps;
  for (std::size_t at = 0; at < log.size(); at += 37) {
    steps.emplace_back([this, log, at] { Append("mail.log", log.substr(at, 37)); });
  }
  steps.emplace_back([] {});
  Follow("mail.log", steps);
  EXPECT_THAT(m_told, ElementsAre("whole"));
  EXPECT_EQ(m_lines, 7U);
  EXPECT_EQ(m_foreign, 0U);
}

TEST_F(FollowedLog, LastLineWithoutALineEndCountsWhenFollowingEnds) {
  std::string log = LoggedMail("cut");
  log.resize(log.size() - 2);
  Append("mail.log", log);
  Follow("mail.log", {[&] { EXPECT_THAT(m_told, IsEmpty()); }});
  EXPECT_EQ(m_lines, 7U);
}

TEST_F(FollowedLog, NextFileOfTheRingIsRead) {
  Append("mail.PC17_0.log", LoggedMail("old"));
  Follow("mail.PC17_0.log", {[&] { Append("mail.PC17_1.log", LoggedMail("new")); },
                             [&] { Append("mail.PC17_1.log", LoggedMail("newer")); }, [] {}});
  EXPECT_THAT(m_told, ElementsAre("old", "new", "newer"));
}

}  // namespace
}  // namespace tools
