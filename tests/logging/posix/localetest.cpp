// The runtime's locale on systems that have another name for it.
#include <gtest/gtest.h>

#include <clocale>

#include "logging/vrklogger.h"

namespace {

TEST(Locale, IsUtf8ForAllCategoriesOnceALoggerStands) {
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  const CVRKLogger logger;
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
}

}  // namespace
