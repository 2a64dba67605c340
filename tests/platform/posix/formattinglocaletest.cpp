#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "platform/formatting.h"

namespace {

int FormatWide(char* output, std::size_t capacity, platform::Locale locale, ...) {
  std::va_list arguments;
  va_start(arguments, locale);
  const int length = platform::formatting.Format(output, capacity, "%ls", locale, arguments);
  va_end(arguments);
  return length;
}

// The only difference between locales that are always installed is the encoding of wide arguments.
TEST(FormattingLocale, DecidesHowWideArgumentsAreWritten) {
  const platform::Locale plain = platform::formatting.CreateLocale("C");
  const platform::Locale utf8 = platform::formatting.CreateLocale("C.UTF-8");
  ASSERT_NE(plain, nullptr);
  ASSERT_NE(utf8, nullptr);
  const std::wstring text = {wchar_t{0x20AC}};
  char output[16];
  EXPECT_LT(FormatWide(output, sizeof output, plain, text.c_str()), 0);
  EXPECT_EQ(FormatWide(output, sizeof output, utf8, text.c_str()), 3);
  EXPECT_STREQ(output, "\xE2\x82\xAC");
  platform::formatting.FreeLocale(plain);
  platform::formatting.FreeLocale(utf8);
}

}  // namespace
