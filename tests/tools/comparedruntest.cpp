// Which files have to be sent for a recording's mails.

#include "tools/comparedrun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/temporaryfolder.h"

namespace {

using testing::ElementsAre;
using tools::FilesOfMails;
using tools::RunKind;
using tools::RunNamed;

TEST(ComparedRun, IsARulesFileByItsName) {
  EXPECT_EQ(RunNamed("old.toml").kind, RunKind::kRules);
  EXPECT_EQ(RunNamed("old.jsonl").kind, RunKind::kRecorded);
  EXPECT_EQ(RunNamed("-").kind, RunKind::kRecorded);
}

TEST(ComparedRun, SendsAMailboxOnceForAllItsMails) {
  EXPECT_THAT(FilesOfMails({"a.mbox#1", "a.mbox#2", "b.eml", "c.mbox#1", "b.eml"}),
              ElementsAre("a.mbox", "b.eml", "c.mbox"));
}

TEST(ComparedRun, LeavesAFileAloneThatHasTheMarkInItsName) {
  const tests::TemporaryFolder folder;
  std::ofstream(folder.Path() / "a#1");
  EXPECT_THAT(FilesOfMails({folder.Entry("a#1"), folder.Entry("b#1")}),
              ElementsAre(folder.Entry("a#1"), folder.Entry("b")));
}

}  // namespace
