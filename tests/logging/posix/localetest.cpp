// The locale on systems that don't know the name ".UTF8".
#include <gtest/gtest.h>

#include <clocale>

#include "logging/vrklogger.h"

namespace {

TEST(Locale, IsUtf8ForAllCategoriesOnceALoggerExists) {
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  const CVRKLogger logger;
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
}

}  // namespace
