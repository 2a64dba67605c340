#include "simulation/mail/mailbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace simulation::mail {
namespace {

using testing::ElementsAre;

std::vector<std::string> SplitMailbox(const std::string& bytes) {
  std::istringstream file(bytes);
  MailboxReader reader(file);
  std::vector<std::string> mails;
  while (auto mail = reader.Next()) mails.push_back(*mail);
  EXPECT_EQ(reader.Number(), static_cast<int>(mails.size()));
  EXPECT_EQ(reader.HasSeveral(), mails.size() > 1);
  return mails;
}

const std::string kMailboxLine = "From a@x.test Mon May  2 16:07:05 2005\n";

TEST(Mailbox, IsSplitAtItsFromLines) {
  EXPECT_THAT(
      SplitMailbox(kMailboxLine + "Subject: 1\n\none\n\n" + kMailboxLine + "Subject: 2\n\ntwo\n\n"),
      ElementsAre("Subject: 1\n\none\n", "Subject: 2\n\ntwo\n"));
}

TEST(Mailbox, MayHaveCrLfEnds) {
  const std::string line = "From a@x.test Mon May  2 16:07:05 2005\r\n";
  EXPECT_THAT(SplitMailbox(line + "Subject: 1\r\n\r\none\r\n\r\n" + line + "Subject: 2\r\n\r\ntwo"),
              ElementsAre("Subject: 1\r\n\r\none\r\n", "Subject: 2\r\n\r\ntwo"));
}

TEST(Mailbox, FromInTheTextSplitsNothing) {
  EXPECT_THAT(SplitMailbox(kMailboxLine + "Subject: 1\n\nFrom here on it rains.\n\nFrom: 12\nx\n" +
                           kMailboxLine),
              ElementsAre("Subject: 1\n\nFrom here on it rains.\n\nFrom: 12\nx\n" + kMailboxLine));
}

TEST(Mailbox, AQuotedFromLosesOneMark) {
  EXPECT_THAT(
      SplitMailbox(kMailboxLine + "Subject: 1\n\n>From here\n>>From there\n> From\n>Fromage\n"),
      ElementsAre("Subject: 1\n\nFrom here\n>From there\n> From\n>Fromage\n"));
}

TEST(Mailbox, AFromLineMayLackTheTimeAtTheBeginning) {
  EXPECT_THAT(SplitMailbox("From a@x.test\nSubject: 1\n\none"), ElementsAre("Subject: 1\n\none"));
}

TEST(Mailbox, MailsMayBeEmpty) {
  EXPECT_THAT(SplitMailbox("From "), ElementsAre(""));
  EXPECT_THAT(SplitMailbox(kMailboxLine + "\n" + kMailboxLine + "\n" + kMailboxLine),
              ElementsAre("\n", "\n", ""));
}

TEST(Mailbox, AnyOtherFileIsOneMail) {
  EXPECT_THAT(SplitMailbox("Subject: 1\n\none\n\n" + kMailboxLine),
              ElementsAre("Subject: 1\n\none\n\n" + kMailboxLine));
  EXPECT_THAT(SplitMailbox("Fro"), ElementsAre("Fro"));
  EXPECT_THAT(SplitMailbox(""), ElementsAre(""));
  EXPECT_THAT(SplitMailbox(std::string("\0\xFF\n\r", 4)),
              ElementsAre(std::string("\0\xFF\n\r", 4)));
}

}  // namespace
}  // namespace simulation::mail
