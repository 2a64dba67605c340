#include "simulation/mail/mailsource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "simulation/mail/mailreader.h"
#include "tests/support/temporaryfolder.h"

namespace simulation::mail {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class Sources : public testing::Test {
 protected:
  // Writes a file, and the folders on the way to it.
  void Write(const std::string& name, const std::string& bytes) const {
    const std::filesystem::path path = m_folder.Path() / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }

  std::string Path(const std::string& name) const { return m_folder.Entry(name); }

  // What comes from these inputs: "name=bytes", the name without the test's folder.
  std::vector<std::string> Read(const std::vector<std::string>& inputs,
                                const std::string& filesFrom = {}) const {
    std::vector<std::string> mails;
    MailSource source(inputs, filesFrom);
    while (const auto mail = source.Next()) {
      std::string name = mail->name;
      const std::string folder = Path("");
      if (name.starts_with(folder)) name = name.substr(folder.size());
      for (char& c : name) c = c == '\\' ? '/' : c;
      mails.push_back(name + (mail->error ? "!" + *mail->error : "=" + mail->bytes));
    }
    return mails;
  }

  tests::TemporaryFolder m_folder;
};

TEST_F(Sources, FilesComeInTheGivenOrder) {
  Write("b.eml", "B");
  Write("a.eml", "A");
  EXPECT_THAT(Read({Path("b.eml"), Path("a.eml")}), ElementsAre("b.eml=B", "a.eml=A"));
  EXPECT_THAT(Read({}), SizeIs(0));
}

TEST_F(Sources, ALongFileComesWhole) {
  const std::string bytes(200'000, 'x');
  Write("a.eml", bytes);
  EXPECT_THAT(Read({Path("a.eml")}), ElementsAre("a.eml=" + bytes));
}

TEST_F(Sources, AFolderIsWalkedInOrderFilesFirst) {
  Write("in/b/1.eml", "b1");
  Write("in/a/deep/1.eml", "d1");
  Write("in/a/2.eml", "a2");
  Write("in/a/1.eml", "a1");
  Write("in/z.eml", "z");
  Write("in/.hidden", "h");
  Write("in/.folder/1.eml", "h");
  EXPECT_THAT(Read({Path("in")}), ElementsAre("in/z.eml=z", "in/a/1.eml=a1", "in/a/2.eml=a2",
                                              "in/a/deep/1.eml=d1", "in/b/1.eml=b1"));
}

TEST_F(Sources, AMailboxGivesEachMailItsNumber) {
  const std::string line = "From a@x.test Mon May  2 16:07:05 2005\n";
  Write("two.mbox", line + "A\n\n" + line + "B\n");
  Write("one.mbox", line + "C\n");
  EXPECT_THAT(Read({Path("two.mbox"), Path("one.mbox")}),
              ElementsAre("two.mbox#1=A\n", "two.mbox#2=B\n", "one.mbox=C\n"));
}

TEST_F(Sources, OnlyTheMailsOfAMaildirCount) {
  Write("box/cur/1.host", "seen");
  Write("box/new/2", "new");
  Write("box/tmp/3", "half");
  Write("box/dovecot.index", "index");
  Write("box/other/4", "other");
  Write("box/.Sent/cur/5", "sent");
  Write("box/.Sent/new/.keep", "");
  Write("box/.Sent/tmp/6", "half");
  EXPECT_THAT(Read({Path("box")}),
              ElementsAre("box/.Sent/cur/5=sent", "box/cur/1.host=seen", "box/new/2=new"));
}

TEST_F(Sources, StandardInputIsAMailOrAMailbox) {
  const std::string line = "From a@x.test Mon May  2 16:07:05 2005\n";
  std::istringstream input(line + "A\n\n" + line + "B\n");
  std::streambuf* const real = std::cin.rdbuf(input.rdbuf());
  const auto mails = Read({"-"});
  std::cin.rdbuf(real);
  EXPECT_THAT(mails, ElementsAre("-#1=A\n", "-#2=B\n"));
}

TEST_F(Sources, AListHasAnInputOnEachLine) {
  Write("a.eml", "A");
  Write("in/b.eml", "B");
  Write("list", Path("in") + "\r\n\n" + Path("missing.eml") + "\n" + Path("a.eml"));
  EXPECT_THAT(
      Read({Path("a.eml")}, Path("list")),
      ElementsAre("a.eml=A", "in/b.eml=B", "missing.eml!No such file or directory", "a.eml=A"));
  EXPECT_THROW(MailSource({}, Path("no list")), MailError);
}

TEST_F(Sources, WhatCannotBeReadIsReportedAndTheRestGoesOn) {
  Write("a.eml", "A");
  EXPECT_THAT(Read({Path("missing"), Path("a.eml")}),
              ElementsAre("missing!No such file or directory", "a.eml=A"));
}

TEST_F(Sources, SkippingPassesOverWhatNextWouldReturn) {
  const std::string from = "From a Mon May  2 16:07:05 2005\n";
  Write("a.eml", "A");
  Write("b.mbox", from + "1\n\n" + from + "2\n");
  Write("c/c.eml", "C");
  const std::vector<std::string> inputs = {Path("a.eml"), Path("missing"), Path("b.mbox"),
                                           Path("c")};
  std::vector<std::string> names;
  MailSource all(inputs);
  while (const auto mail = all.Next()) names.push_back(mail->name);
  ASSERT_THAT(names, SizeIs(5));
  for (std::size_t i = 0; i < names.size(); ++i) {
    MailSource source(inputs);
    for (std::size_t skipped = 0; skipped < i; ++skipped) EXPECT_TRUE(source.Skip());
    const auto mail = source.Next();
    ASSERT_TRUE(mail);
    EXPECT_EQ(mail->name, names[i]);
  }
  MailSource none(inputs);
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_TRUE(none.Skip());
  EXPECT_FALSE(none.Skip());
  EXPECT_FALSE(none.Next());
}

}  // namespace
}  // namespace simulation::mail
