// The check of a property file where the patterns that need PCRE2 can't be run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "inspection/settings/settingscheck.h"
#include "tests/support/temporaryfolder.h"

namespace inspection::settings {
namespace {

TEST(SettingsCheckOnWindows, ValueThatCannotBeCheckedIsNeverFine) {
  const tests::TemporaryFolder folder;
  const std::string path = folder.Entry("vrk.pro");
  std::ofstream(path, std::ios::binary) << "hide_me=true\nip_white_list=10.0.0.1\n";
  SettingsReport report = CheckSettings(path);
  ASSERT_EQ(report.findings.size(), 1U);
  EXPECT_EQ(report.findings[0].severity, Severity::kNotChecked);
  EXPECT_EQ(report.findings[0].key, "ip_white_list");
  EXPECT_EQ(report.notChecked, 1U);
  EXPECT_FALSE(report.IsClean());
  EXPECT_FALSE(report.NeedsFixing());
  std::ofstream(path, std::ios::binary) << "hide_me=maybe\nx_name=X Name\nx_value=good\n";
  report = CheckSettings(path);
  EXPECT_EQ(report.findings.size(), 2U);
  EXPECT_EQ(report.notChecked, 0U);
  EXPECT_TRUE(report.NeedsFixing());
}

}  // namespace
}  // namespace inspection::settings
