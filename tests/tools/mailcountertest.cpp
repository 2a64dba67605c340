#include "tools/mailcounter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "tests/support/temporaryfolder.h"

namespace tools {
namespace {

TEST(MailCounter, CountsWhatARunSends) {
  const tests::TemporaryFolder folder;
  const std::string from = "From a Mon May  2 16:07:05 2005\n";
  std::ofstream(folder.Path() / "a.mbox") << from << "To: a\n\nx\n\n" << from << "To: b\n\ny\n";
  std::ofstream(folder.Path() / "b.eml") << "To: a\n\nx\n";
  std::ofstream(folder.Path() / "list") << folder.Entry("b.eml") << "\nmissing.eml\n";
  const MailCounter counter({folder.Entry("a.mbox"), folder.Entry("b.eml")}, folder.Entry("list"));
  for (int i = 0; i < 5000 && !counter.Count(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(counter.Count(), 5U);
}

TEST(MailCounter, LeavesStandardInputAlone) {
  EXPECT_EQ(MailCounter({"a.eml", "-"}, "").Count(), std::nullopt);
  EXPECT_EQ(MailCounter({}, "-").Count(), std::nullopt);
}

}  // namespace
}  // namespace tools
