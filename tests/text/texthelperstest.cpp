#include "text/texthelpers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/diagnostics.h"
#include "platform/scopedreplacement.h"

namespace {

using platform::ScopedReplacement;
using platform::WideString;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(GuidToString, WritesTheFieldsInCapitalsAndTheBytesInOrder) {
  const GUID guid = {0x5E1B7C42, 0x9D3A, 0x4F06, {0xA8, 0xC1, 0x3B, 0x7E, 0x42, 0xD0, 0x9A, 0x16}};
  EXPECT_EQ(GuidToString(guid), "{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}");
}

TEST(GuidToString, PadsEveryFieldWithLeadingZeros) {
  const GUID guid = {0xA, 0xB, 0xC, {1, 2, 3, 4, 5, 6, 7, 8}};
  EXPECT_EQ(GuidToString(guid), "{0000000A-000B-000C-0102-030405060708}");
}

TEST(GuidToString, OfTheZeroGuidHas32ZerosFourHyphensAndBraces) {
  const std::string text = GuidToString(GUID{});
  EXPECT_EQ(text, "{00000000-0000-0000-0000-000000000000}");
  EXPECT_EQ(text.size(), 38u);
  EXPECT_EQ(std::count(text.begin(), text.end(), '0'), 32);
  EXPECT_EQ(std::count(text.begin(), text.end(), '-'), 4);
}

std::vector<std::string> Split(std::string_view text, std::string_view delimiter) {
  std::vector<std::string> pieces = {"of before"};
  SplitString(text, pieces, delimiter);
  return pieces;
}

TEST(SplitString, TextWithoutDelimiterIsTheOneEntry) {
  EXPECT_THAT(Split("a b", ";"), ElementsAre("a b"));
  EXPECT_THAT(Split("a", "longer than the text"), ElementsAre("a"));
}

TEST(SplitString, PiecesAreInOrderAndReplaceTheOldContents) {
  EXPECT_THAT(Split("one;two;three", ";"), ElementsAre("one", "two", "three"));
}

TEST(SplitString, EmptyPiecesAreDropped) {
  EXPECT_THAT(Split(";one;;two;", ";"), ElementsAre("one", "two"));
  EXPECT_THAT(Split(";;;", ";"), IsEmpty());
  EXPECT_THAT(Split(";", ";"), IsEmpty());
}

TEST(SplitString, DelimiterOfTwoCharactersDoesNotSplitOnOneOfThem) {
  EXPECT_THAT(Split("a\rb\r\nc\nd", "\r\n"), ElementsAre("a\rb", "c\nd"));
}

TEST(SplitString, OccurrencesAreFoundFromTheLeftAndDoNotOverlap) {
  EXPECT_THAT(Split("1aaa2", "aa"), ElementsAre("1", "a2"));
}

TEST(SplitString, EmptyDelimiterReturnsTheWholeTextEvenIfEmpty) {
  EXPECT_THAT(Split("a;b", ""), ElementsAre("a;b"));
  EXPECT_THAT(Split("", ""), ElementsAre(""));
}

TEST(SplitString, EmptyTextHasNoPieces) {
  EXPECT_THAT(Split("", ";"), IsEmpty());
}

TEST(SplitString, NulIsAnOrdinaryCharacter) {
  using namespace std::string_literals;
  EXPECT_THAT(Split("a\0b;c"s, ";"), ElementsAre("a\0b"s, "c"));
  EXPECT_THAT(Split("a\0b"s, "\0"s), ElementsAre("a", "b"));
}

std::vector<WideString> SplitWide(const WideString& text, const WideString& delimiter) {
  std::vector<WideString> pieces = {QV_WIDE("of before")};
  SplitWideString(text, pieces, delimiter);
  return pieces;
}

TEST(SplitWideString, SplitsLikeTheNarrowOneAndReplacesTheOldContents) {
  EXPECT_THAT(SplitWide(QV_WIDE(";\u00FCber;;\u20AC;"), QV_WIDE(";")),
              ElementsAre(QV_WIDE("\u00FCber"), QV_WIDE("\u20AC")));
  EXPECT_THAT(SplitWide(QV_WIDE("a"), QV_WIDE(";")), ElementsAre(QV_WIDE("a")));
  EXPECT_THAT(SplitWide(QV_WIDE(""), QV_WIDE(";")), IsEmpty());
  EXPECT_THAT(SplitWide(QV_WIDE(""), QV_WIDE("")), ElementsAre(WideString()));
}

TEST(SplitWideString, DelimiterMayBeAnyCharacter) {
  EXPECT_THAT(SplitWide(QV_WIDE("a\U0001F600b"), QV_WIDE("\U0001F600")),
              ElementsAre(QV_WIDE("a"), QV_WIDE("b")));
}

// The search runs over UTF-8, where half a pair is the replacement character.
TEST(SplitWideString, HalfOfAPairDoesNotSplitThePair) {
  const WideString pair = {'a', 0xD83D, 0xDE00, 'b'};
  EXPECT_THAT(SplitWide(pair, WideString{0xD83D}), ElementsAre(pair));
  EXPECT_THAT(SplitWide(WideString{'a', 0xDE00, 'b'}, WideString{0xD83D}),
              ElementsAre(QV_WIDE("a"), QV_WIDE("b")));
}

TEST(MaskCardNumber, GroupsOfSixteenDigitsStayAndSixDigitsAreMasked) {
  EXPECT_EQ(MaskCardNumber("4111 1122 3333 4444", '*'), "4111 11** **** 4444");
}

TEST(MaskCardNumber, SixteenDigitsWithoutGroupsShowSixAndFour) {
  EXPECT_EQ(MaskCardNumber("1234567890123456", 'x'), "123456xxxxxx3456");
}

TEST(MaskCardNumber, FourteenDigitsAreTheLeastToBeMasked) {
  EXPECT_EQ(MaskCardNumber("1234567890123", '*'), "1234567890123");
  EXPECT_EQ(MaskCardNumber("12345678901234", '*'), "123456****1234");
  EXPECT_EQ(MaskCardNumber("1-2-3-4-5-6-7-8-9-0-1-2-3", '*'), "1-2-3-4-5-6-7-8-9-0-1-2-3");
}

TEST(MaskCardNumber, LongerNumbersShowSixAndFourAsWell) {
  EXPECT_EQ(MaskCardNumber("12345678901234567890", '#'), "123456##########7890");
}

TEST(MaskCardNumber, BlanksAndHyphensStayInPlaceAlsoAtTheEndsAndInARow) {
  EXPECT_EQ(MaskCardNumber(" -1234--5678 90123456- ", '*'), " -1234--56** ****3456- ");
}

TEST(MaskCardNumber, AnyOtherCharacterLeavesTheTextUnchanged) {
  EXPECT_EQ(MaskCardNumber("411111223333444a", '*'), "411111223333444a");
  EXPECT_EQ(MaskCardNumber("4111111122223333 ext", '*'), "4111111122223333 ext");
  EXPECT_EQ(MaskCardNumber("4111\t1111\t2222\t3333", '*'), "4111\t1111\t2222\t3333");
  EXPECT_EQ(MaskCardNumber("4111.1111.2222.3333", '*'), "4111.1111.2222.3333");
  const std::string withNul("4111111122223333\0", 17);
  EXPECT_EQ(MaskCardNumber(withNul, '*'), withNul);
  EXPECT_EQ(MaskCardNumber("4111111122223333\xC2\xB2", '*'), "4111111122223333\xC2\xB2");
}

TEST(MaskCardNumber, TextWithoutDigitsStaysUnchanged) {
  EXPECT_EQ(MaskCardNumber("", '*'), "");
  EXPECT_EQ(MaskCardNumber(" - - ", '*'), " - - ");
}

TEST(MaskCardNumber, MaskMayBeADigitOrABlank) {
  EXPECT_EQ(MaskCardNumber("1111111111111111", '0'), "1111110000001111");
  EXPECT_EQ(MaskCardNumber("1111 1111 1111 1111", '-'), "1111 11-- ---- 1111");
}

// Counts invalid-parameter errors and lets the call return.
class CountedComplaints {
 public:
  int Count() const { return m_count; }

 private:
  int m_count = 0;
  ScopedReplacement<platform::diagnostics, &platform::DiagnosticsOperations::InvalidParameter>
      m_guard{[this](auto) { ++m_count; }};
};

TEST(FormatToBuffer, ReturnsTheNumberOfCharactersWithoutTheNul) {
  const CountedComplaints complaints;
  char buffer[32];
  EXPECT_EQ(FormatToBuffer(buffer, sizeof buffer, "(%05d) %02u:%s", 42, 7u, "x"), 12);
  EXPECT_STREQ(buffer, "(00042) 07:x");
  EXPECT_EQ(complaints.Count(), 0);
}

TEST(FormatToBuffer, EmptyTextIsNoFailure) {
  const CountedComplaints complaints;
  char buffer[4] = "old";
  EXPECT_EQ(FormatToBuffer(buffer, sizeof buffer, "%s", ""), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(complaints.Count(), 0);
}

TEST(FormatToBuffer, TextThatFitsExactlyNeedsRoomForItsNul) {
  const CountedComplaints complaints;
  char buffer[5];
  EXPECT_EQ(FormatToBuffer(buffer, 5, "%s", "four"), 4);
  EXPECT_STREQ(buffer, "four");
  EXPECT_EQ(complaints.Count(), 0);
}

TEST(FormatToBuffer, TextThatDoesNotFitEmptiesTheBufferAndRaisesTheError) {
  const CountedComplaints complaints;
  char buffer[] = "before";
  EXPECT_EQ(FormatToBuffer(buffer, 4, "%s", "four"), -1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(complaints.Count(), 1);
  EXPECT_EQ(std::memcmp(buffer + 4, "re", 3), 0) << "written behind the size that was given";
}

TEST(FormatToBuffer, BufferOfOneByteHoldsOnlyTheEmptyText) {
  const CountedComplaints complaints;
  char buffer[1] = {'x'};
  EXPECT_EQ(FormatToBuffer(buffer, 1, "%s", ""), 0);
  EXPECT_EQ(buffer[0], '\0');
  buffer[0] = 'x';
  EXPECT_EQ(FormatToBuffer(buffer, 1, "%d", 1), -1);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(complaints.Count(), 1);
}

int FormatWith(platform::Locale locale, char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

int FormatWith(platform::Locale locale, char* buffer, std::size_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = FormatToBufferList(buffer, size, format, locale, arguments);
  va_end(arguments);
  return length;
}

TEST(FormatToBuffer, MissingBufferSizeOrFormatRaisesTheError) {
  const CountedComplaints complaints;
  char buffer[] = "old";
  EXPECT_EQ(FormatToBuffer(nullptr, 10, "text"), -1);
  EXPECT_EQ(complaints.Count(), 1);
  EXPECT_EQ(FormatToBuffer(buffer, 0, "text"), -1);
  EXPECT_EQ(complaints.Count(), 2);
  EXPECT_STREQ(buffer, "old");
  const char* const noFormat = std::getenv("QUORVEX_NO_SUCH_VARIABLE");  // hidden from warnings
  ASSERT_EQ(noFormat, nullptr);
  std::va_list none = {};
  EXPECT_EQ(FormatToBufferList(buffer, sizeof buffer, noFormat, nullptr, none), -1);
  EXPECT_EQ(complaints.Count(), 3);
  EXPECT_STREQ(buffer, "");
}

using ReplaceFormat =
    ScopedReplacement<platform::formatting, &platform::FormattingOperations::Format>;

TEST(FormatToBuffer, UnconvertibleArgumentFailsWithoutTheError) {
  const CountedComplaints complaints;
  const ReplaceFormat failing([](auto, char* output, auto...) {
    std::strcpy(output, "half");
    return -1;
  });
  char buffer[16] = "old";
  EXPECT_EQ(FormatToBuffer(buffer, sizeof buffer, "%s", "text"), -1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(complaints.Count(), 0);
}

TEST(FormatToBufferList, UsesTheGivenLocale) {
  std::vector<platform::Locale> seen;
  const ReplaceFormat recording(
      [&](auto original, char* output, auto size, auto format, auto locale, auto arguments) {
        seen.push_back(locale);
        return original(output, size, format, locale, arguments);
      });
  char buffer[16];
  const platform::Locale locale = platform::formatting.CreateLocale("C");
  ASSERT_NE(locale, nullptr);
  EXPECT_EQ(FormatWith(locale, buffer, sizeof buffer, "%.2f|%s", 1.5, "a"), 6);
  EXPECT_STREQ(buffer, "1.50|a");
  EXPECT_EQ(FormatToBuffer(buffer, sizeof buffer, "%d", -3), 2);
  EXPECT_STREQ(buffer, "-3");
  EXPECT_THAT(seen, ElementsAre(locale, nullptr));
  platform::formatting.FreeLocale(locale);
}

TEST(FormatToBufferList, TextThatDoesNotFitFailsInALocaleToo) {
  const CountedComplaints complaints;
  const platform::Locale locale = platform::formatting.CreateLocale("C");
  char buffer[] = "before";
  EXPECT_EQ(FormatWith(locale, buffer, 4, "%s", "four"), -1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(complaints.Count(), 1);
  EXPECT_EQ(FormatWith(locale, buffer, 5, "%s", "four"), 4);
  EXPECT_STREQ(buffer, "four");
  EXPECT_EQ(complaints.Count(), 1);
  platform::formatting.FreeLocale(locale);
}

}  // namespace
