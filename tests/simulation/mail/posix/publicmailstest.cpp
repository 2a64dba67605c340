// Reads every mail below $QUORVEX_PUBLIC_MAILS, a folder of mails that nobody here wrote.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "simulation/mail/mailreader.h"
#include "simulation/mail/mailsource.h"

namespace simulation::mail {
namespace {

TEST(PublicMails, AreAllRead) {
  const char* const folder = std::getenv("QUORVEX_PUBLIC_MAILS");
  if (folder == nullptr) GTEST_SKIP() << "set QUORVEX_PUBLIC_MAILS to a folder of mails";
  int read = 0;
  MailSource source({folder});
  while (const auto raw = source.Next()) {
    if (raw->name.ends_with(".md")) continue;
    ASSERT_FALSE(raw->error) << raw->name << ": " << *raw->error;
    EXPECT_NO_THROW(ReadMail(raw->bytes)) << raw->name;
    ++read;
  }
  EXPECT_GT(read, 0);
}

}  // namespace
}  // namespace simulation::mail
