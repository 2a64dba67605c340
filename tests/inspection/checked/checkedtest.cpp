#include "inspection/checked/checked.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace inspection::checked {
namespace {

TEST(Checked, HasAWordForEachLevel) {
  EXPECT_EQ(NameOf(Checked::kYes), "yes");
  EXPECT_EQ(NameOf(Checked::kPart), "part");
  EXPECT_EQ(NameOf(Checked::kNo), "no");
  EXPECT_EQ(NameOf(Checked::kUnknown), "unknown");
}

TEST(Reason, EachHasATextOfItsOwnAndARowInTheTroubleshootingGuide) {
  std::ifstream file(QUORVEX_TROUBLESHOOTING);
  ASSERT_TRUE(file);
  std::ostringstream document;
  document << file.rdbuf();
  std::set<std::string_view> texts;
  for (std::size_t i = 0; i < kReasons; ++i) {
    const std::string_view text = TextOf(static_cast<Reason>(i));
    EXPECT_TRUE(texts.insert(text).second) << text;
    EXPECT_NE(document.str().find("| " + std::string(text) + " | "), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace inspection::checked
