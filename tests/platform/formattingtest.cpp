#include "platform/formatting.h"

#include <gtest/gtest.h>

#include <cstdarg>

namespace {

int Format(char* output, std::size_t capacity, platform::Locale locale, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

int Format(char* output, std::size_t capacity, platform::Locale locale, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = platform::formatting.Format(output, capacity, format, locale, arguments);
  va_end(arguments);
  return length;
}

class FormattingInLocales : public testing::TestWithParam<const char*> {
 protected:
  platform::Locale m_locale =
      GetParam() == nullptr ? nullptr : platform::formatting.CreateLocale(GetParam());
  ~FormattingInLocales() override { platform::formatting.FreeLocale(m_locale); }
};

TEST_P(FormattingInLocales, WritesTextAndReturnsItsLength) {
  char output[32];
  EXPECT_EQ(Format(output, sizeof output, m_locale, "%s %04d %.1f", "a", -12, 2.5), 10);
  EXPECT_STREQ(output, "a -012 2.5");
}

TEST_P(FormattingInLocales, ReturnsTheLengthOfATextThatDoesNotFit) {
  char output[] = "before";
  EXPECT_EQ(Format(output, 4, m_locale, "%s", "four"), 4);
  EXPECT_STREQ(output + 4, "re") << "written behind the capacity";
  EXPECT_EQ(Format(output, 5, m_locale, "%s", "four"), 4);
  EXPECT_STREQ(output, "four");
}

INSTANTIATE_TEST_SUITE_P(CurrentAndC, FormattingInLocales, testing::Values(nullptr, "C"));

TEST(Formatting, UnknownLocaleIsNull) {
  EXPECT_EQ(platform::formatting.CreateLocale("no such locale"), nullptr);
  platform::formatting.FreeLocale(nullptr);
}

TEST(Formatting, CallWithALocaleKeepsTheCurrentOne) {
  const platform::Locale locale = platform::formatting.CreateLocale("C");
  ASSERT_NE(locale, nullptr);
  char before[16];
  char between[16];
  char after[16];
  Format(before, sizeof before, nullptr, "%.2f", 1.25);
  Format(between, sizeof between, locale, "%.2f", 1.25);
  Format(after, sizeof after, nullptr, "%.2f", 1.25);
  EXPECT_STREQ(between, "1.25");
  EXPECT_STREQ(after, before);
  platform::formatting.FreeLocale(locale);
}

}  // namespace
