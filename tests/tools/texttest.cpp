#include "tools/text.h"

#include <gtest/gtest.h>

#include <string>

namespace tools {
namespace {

#define BAD "\xEF\xBF\xBD"

TEST(ValidUtf8, ValidTextStays) {
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF";
  EXPECT_EQ(ValidUtf8(text), text);
  EXPECT_EQ(ValidUtf8(""), "");
  EXPECT_EQ(ValidUtf8(std::string("a\0b\n", 4)), std::string("a\0b\n", 4));
}

TEST(ValidUtf8, EachInvalidSequenceBecomesOneReplacementCharacter) {
  EXPECT_EQ(ValidUtf8("a\x80z"), "a" BAD "z");
  EXPECT_EQ(ValidUtf8("caf\xE9 x"), "caf" BAD " x");
  EXPECT_EQ(ValidUtf8("\xFF\xFE"), BAD BAD);
  EXPECT_EQ(ValidUtf8("\xE2\x82"
                      "A"),
            BAD "A");
  EXPECT_EQ(ValidUtf8("x\xE2\x82"), "x" BAD);
}

TEST(ValidUtf8, OverlongSurrogateAndTooLarge) {
  EXPECT_EQ(ValidUtf8("\xC0\x80"), BAD);
  EXPECT_EQ(ValidUtf8("\xE0\x9F\xBF"), BAD);
  EXPECT_EQ(ValidUtf8("\xED\xA0\x80"), BAD);
  EXPECT_EQ(ValidUtf8("\xF0\x8F\xBF\xBF"), BAD);
  EXPECT_EQ(ValidUtf8("\xF4\x90\x80\x80"), BAD);
  EXPECT_EQ(ValidUtf8("\xED\x9F\xBF"), "\xED\x9F\xBF");
}

TEST(Printable, ReplacesControlCharactersAndBrokenBytes) {
  EXPECT_EQ(Printable("a\tb\nc"), "a b c");
  EXPECT_EQ(Printable("\x7F\xC2\x85\xFF"), BAD BAD BAD);
  EXPECT_EQ(Printable("\x1b[31m"), BAD "[31m");
  EXPECT_EQ(Printable("\xF0\x9F\x8D\x8F"), "\xF0\x9F\x8D\x8F");
}

TEST(Padded, CutsInTheMiddleByColumnsAndFillsUp) {
  EXPECT_EQ(Padded("abc", 5), "abc  ");
  EXPECT_EQ(Padded("abcdefghij", 7), "abc\xE2\x80\xA6hij");
  EXPECT_EQ(DisplayWidth(Padded("\xE6\xBC\xA2\xE5\xAD\x97\xE6\xBC\xA2\xE5\xAD\x97", 5)), 5U);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1U);
}

TEST(Shortened, LeavesAShortTextAloneAndCutsALongOne) {
  EXPECT_EQ(Shortened("abc", 5), "abc");
  EXPECT_EQ(Shortened("a\nbcdefghij", 7), "a b\xE2\x80\xA6hij");
}

TEST(Wrapped, BreaksAtBlanksAndIndentsTheNextLines) {
  EXPECT_EQ(Wrapped("one two three", 20, 4), "one two three");
  EXPECT_EQ(Wrapped("one two three four", 9, 2), "one two\n  three\n  four");
  EXPECT_EQ(Wrapped("  key  value of many words", 16, 7),
            "  key  value of\n       many\n       words");
}

TEST(Wrapped, LeavesAnUnbrokenTextInOneLineAndMakesItPrintable) {
  const std::string text(100'000, 'a');
  EXPECT_EQ(Wrapped(text + "  b\x1b c", kUnbroken, 4), text + "  b\xEF\xBF\xBD c");
}

TEST(Wrapped, BreaksAWordThatIsTooLongForALine) {
  EXPECT_EQ(Wrapped("abcdefghij", 4, 1), "abcd\n efg\n hij");
  EXPECT_EQ(Wrapped("\xE6\xBC\xA2\xE5\xAD\x97\xE6\xBC\xA2", 4, 0),
            "\xE6\xBC\xA2\xE5\xAD\x97\n\xE6\xBC\xA2");
}

TEST(Counted, TakesAnSForAllButOne) {
  EXPECT_EQ(Counted(0, "mail"), "0 mails");
  EXPECT_EQ(Counted(1, "mail"), "1 mail");
  EXPECT_EQ(Counted(2, "mail"), "2 mails");
}

}  // namespace
}  // namespace tools
