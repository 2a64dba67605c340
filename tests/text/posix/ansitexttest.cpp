#include <gtest/gtest.h>

#include "text/textconversion.h"

namespace {

// Without an ANSI code page, UTF-8 takes its place.
TEST(AnsiText, IsUtf8WithoutACodePage) {
  const std::string text = "\xC3\xBC\xE2\x82\xAC";
  EXPECT_EQ(AnsiToWide(text), (platform::WideString{0x00FC, 0x20AC}));
  EXPECT_EQ(WideToAnsi(platform::WideString{0x00FC, 0x20AC}), text);
  EXPECT_EQ(AnsiToUtf8(text), text);
  EXPECT_EQ(Utf8ToAnsi(text), text);
  EXPECT_EQ(AnsiToUtf8("\xFC"), "");
}

}  // namespace
