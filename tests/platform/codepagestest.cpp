// Conversions between UTF-8 and UTF-16, with the code units spelled out.
#include "platform/codepages.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

using platform::codepages;
using platform::kCodePageAnsi;
using platform::kCodePageUtf8;
using platform::kFailOnInvalid;
using platform::WideChar;
using platform::WideString;
using platform::WideStringView;
using testing::ElementsAre;
using testing::ElementsAreArray;

using Units = std::vector<unsigned>;
using Bytes = std::vector<unsigned>;

WideString Wide(const Units& units) {
  return {units.begin(), units.end()};
}

std::string Narrow(const Bytes& bytes) {
  std::string text;
  for (const unsigned byte : bytes) text.push_back(static_cast<char>(byte));
  return text;
}

constexpr char kGuard = '\x5A';

// Makes both calls of a conversion. The second has exactly the room that the first one returned,
// and must not write after it.
Bytes ToUtf8(WideStringView text, std::uint32_t page = kCodePageUtf8) {
  const int size = static_cast<int>(text.size());
  const int length = codepages.WideCharToMultiByte(page, 0, text.data(), size, nullptr, 0);
  std::string output(static_cast<std::size_t>(length) + 8, kGuard);
  EXPECT_EQ(codepages.WideCharToMultiByte(page, 0, text.data(), size, output.data(), length),
            length);
  EXPECT_EQ(output.substr(static_cast<std::size_t>(length)), std::string(8, kGuard));
  Bytes bytes;
  for (int index = 0; index < length; ++index) {
    bytes.push_back(static_cast<unsigned char>(output[static_cast<std::size_t>(index)]));
  }
  return bytes;
}

Units ToUtf16(std::string_view text, std::uint32_t flags = 0, std::uint32_t page = kCodePageUtf8) {
  const int size = static_cast<int>(text.size());
  const int length = codepages.MultiByteToWideChar(page, flags, text.data(), size, nullptr, 0);
  WideString output(static_cast<std::size_t>(length) + 8, WideChar{0x5A5A});
  EXPECT_EQ(codepages.MultiByteToWideChar(page, flags, text.data(), size, output.data(), length),
            length);
  EXPECT_EQ(output.substr(static_cast<std::size_t>(length)), WideString(8, WideChar{0x5A5A}));
  return {output.begin(), output.begin() + length};
}

struct Pair {
  const char* name;
  Units units;
  Bytes bytes;
};

const Pair kPairs[] = {
    {"ascii", {'M', 'a', 'i', 'l'}, {'M', 'a', 'i', 'l'}},
    {"nul inside", {'a', 0, 'b'}, {'a', 0, 'b'}},
    {"last of one byte", {0x7F}, {0x7F}},
    {"first of two bytes", {0x80}, {0xC2, 0x80}},
    {"last of two bytes", {0x7FF}, {0xDF, 0xBF}},
    {"first of three bytes", {0x800}, {0xE0, 0xA0, 0x80}},
    {"last before the surrogates", {0xD7FF}, {0xED, 0x9F, 0xBF}},
    {"first behind the surrogates", {0xE000}, {0xEE, 0x80, 0x80}},
    {"byte order mark", {0xFEFF, 'a'}, {0xEF, 0xBB, 0xBF, 'a'}},
    {"replacement character", {0xFFFD}, {0xEF, 0xBF, 0xBD}},
    {"last of three bytes", {0xFFFF}, {0xEF, 0xBF, 0xBF}},
    {"first of four bytes", {0xD800, 0xDC00}, {0xF0, 0x90, 0x80, 0x80}},
    {"emoji", {0xD83D, 0xDE00}, {0xF0, 0x9F, 0x98, 0x80}},
    {"last character", {0xDBFF, 0xDFFF}, {0xF4, 0x8F, 0xBF, 0xBF}},
    {"one of each length",
     {'a', 0xE4, 0x20AC, 0xD83D, 0xDE00, 'b'},
     {'a', 0xC3, 0xA4, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80, 'b'}},
};

TEST(CodePages, OfUtf8HasTheSystemsNumber) {
  EXPECT_EQ(kCodePageUtf8, 65001u);
}

TEST(CodePages, EachLengthOfCharacterConvertsBothWays) {
  for (const Pair& pair : kPairs) {
    SCOPED_TRACE(pair.name);
    EXPECT_THAT(ToUtf8(Wide(pair.units)), ElementsAreArray(pair.bytes));
    EXPECT_THAT(ToUtf16(Narrow(pair.bytes)), ElementsAreArray(pair.units));
    EXPECT_THAT(ToUtf16(Narrow(pair.bytes), kFailOnInvalid), ElementsAreArray(pair.units));
  }
}

TEST(CodePages, UnpairedSurrogatesBecomeTheReplacementCharacter) {
  const Bytes replacement = {0xEF, 0xBF, 0xBD};
  EXPECT_EQ(ToUtf8(Wide({0xD800})), replacement);
  EXPECT_EQ(ToUtf8(Wide({0xDFFF})), replacement);
  EXPECT_THAT(ToUtf8(Wide({0xD83D, 'a'})), ElementsAre(0xEF, 0xBF, 0xBD, 'a'));
  EXPECT_THAT(ToUtf8(Wide({'a', 0xDE00})), ElementsAre('a', 0xEF, 0xBF, 0xBD));
  // In the wrong order: two of them.
  EXPECT_THAT(ToUtf8(Wide({0xDE00, 0xD83D})), ElementsAre(0xEF, 0xBF, 0xBD, 0xEF, 0xBF, 0xBD));
  // The first one is unpaired, the second isn't.
  EXPECT_THAT(ToUtf8(Wide({0xD83D, 0xD83D, 0xDE00})),
              ElementsAre(0xEF, 0xBF, 0xBD, 0xF0, 0x9F, 0x98, 0x80));
}

const Bytes kInvalid[] = {
    {0x80},                    // continuation byte without a lead byte
    {0xBF},                    //
    {0xC0, 0x80},              // overlong forms
    {0xC1, 0xBF},              //
    {0xE0, 0x80, 0x80},        //
    {0xE0, 0x9F, 0xBF},        //
    {0xF0, 0x80, 0x80, 0x80},  //
    {0xF0, 0x8F, 0xBF, 0xBF},  //
    {0xED, 0xA0, 0x80},        // surrogates
    {0xED, 0xBF, 0xBF},        //
    {0xF4, 0x90, 0x80, 0x80},  // above U+10FFFF
    {0xF5, 0x80, 0x80, 0x80},  //
    {0xFE},                    // never in UTF-8
    {0xFF},                    //
    {0xC3},                    // cut off
    {0xE2, 0x82},              //
    {0xF0, 0x9F, 0x98},        //
    {0xC3, 'a'},               // ended by the next character
    {0xE2, 0x82, 'a'},         //
    {0xE2, 'a', 0x82},         //
    {0xF0, 0x9F, 0x98, 'a'},   //
};

TEST(CodePages, InvalidUtf8FailsIfTheFlagIsSet) {
  for (const Bytes& invalid : kInvalid) {
    for (unsigned before = 0; before <= 33; ++before) {
      for (const unsigned behind : {0u, 40u}) {
        Bytes bytes(before, 'x');
        bytes.insert(bytes.end(), invalid.begin(), invalid.end());
        bytes.insert(bytes.end(), behind, 'y');
        const std::string text = Narrow(bytes);
        const int size = static_cast<int>(text.size());
        SCOPED_TRACE(testing::PrintToString(bytes));
        ASSERT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, kFailOnInvalid, text.data(), size,
                                                nullptr, 0),
                  0);
        WideString output(100, WideChar{});
        ASSERT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, kFailOnInvalid, text.data(), size,
                                                output.data(), 100),
                  0);
      }
    }
  }
}

TEST(CodePages, InvalidUtf8IsReplacedWithoutTheFlag) {
  for (const Bytes& invalid : kInvalid) {
    Bytes bytes = {'a', 'b'};
    bytes.insert(bytes.end(), invalid.begin(), invalid.end());
    bytes.push_back('c');
    const Units units = ToUtf16(Narrow(bytes));
    SCOPED_TRACE(testing::PrintToString(bytes));
    ASSERT_GE(units.size(), 4u);
    EXPECT_EQ(units[0], unsigned{'a'});
    EXPECT_EQ(units[1], unsigned{'b'});
    EXPECT_EQ(units[2], 0xFFFDu);
    EXPECT_EQ(units.back(), unsigned{'c'});
  }
}

TEST(CodePages, EmptyInputReturnsZero) {
  char narrow[4] = {};
  WideChar wide[4] = {};
  const WideString text(3, WideChar{'a'});
  for (const int capacity : {0, 4}) {
    EXPECT_EQ(codepages.WideCharToMultiByte(kCodePageUtf8, 0, text.data(), 0, narrow, capacity), 0);
    EXPECT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, 0, "abc", 0, wide, capacity), 0);
  }
}

TEST(CodePages, NegativeSizesReturnZero) {
  char narrow[8] = {};
  WideChar wide[8] = {};
  const WideChar text[] = {'a', 'b', 'c', 0};
  for (const int size : {-1, INT_MIN}) {
    EXPECT_EQ(codepages.WideCharToMultiByte(kCodePageUtf8, 0, text, size, narrow, 8), 0);
    EXPECT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, 0, "abc", size, wide, 8), 0);
    EXPECT_EQ(codepages.WideCharToMultiByte(kCodePageUtf8, 0, text, 3, narrow, size), 0);
    EXPECT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, 0, "abc", 3, wide, size), 0);
  }
}

// Nothing is written after the capacity, whatever it is.
TEST(CodePages, TooLittleRoomReturnsZeroAndWritesNothingAfterTheCapacity) {
  for (const Pair& pair : kPairs) {
    for (const unsigned before : {0u, 5u, 30u}) {
      Units units(before, 'x');
      units.insert(units.end(), pair.units.begin(), pair.units.end());
      units.insert(units.end(), 20, 'y');
      const WideString text = Wide(units);
      const int size = static_cast<int>(text.size());
      const int length =
          codepages.WideCharToMultiByte(kCodePageUtf8, 0, text.data(), size, nullptr, 0);
      for (int capacity = 1; capacity < length; ++capacity) {
        std::string output(static_cast<std::size_t>(length) + 32, kGuard);
        ASSERT_EQ(codepages.WideCharToMultiByte(kCodePageUtf8, 0, text.data(), size, output.data(),
                                                capacity),
                  0);
        ASSERT_EQ(output.find_first_not_of(kGuard, static_cast<std::size_t>(capacity)),
                  std::string::npos);
      }
    }
  }
}

TEST(CodePages, TooLittleRoomForUnitsReturnsZeroAndWritesNothingAfterTheCapacity) {
  for (const Pair& pair : kPairs) {
    for (const unsigned before : {0u, 5u, 30u}) {
      Bytes bytes(before, 'x');
      bytes.insert(bytes.end(), pair.bytes.begin(), pair.bytes.end());
      bytes.insert(bytes.end(), 20, 'y');
      const std::string text = Narrow(bytes);
      const int size = static_cast<int>(text.size());
      const int length =
          codepages.MultiByteToWideChar(kCodePageUtf8, 0, text.data(), size, nullptr, 0);
      for (int capacity = 1; capacity < length; ++capacity) {
        WideString output(static_cast<std::size_t>(length) + 32, WideChar{0x5A5A});
        ASSERT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, 0, text.data(), size, output.data(),
                                                capacity),
                  0);
        ASSERT_EQ(output.find_first_not_of(WideChar{0x5A5A}, static_cast<std::size_t>(capacity)),
                  WideString::npos);
      }
    }
  }
}

TEST(CodePages, MoreRoomThanNeededReturnsTheLength) {
  const WideString text = Wide({'a', 0x20AC, 0xD83D, 0xDE00});
  std::string narrow(40, kGuard);
  EXPECT_EQ(codepages.WideCharToMultiByte(kCodePageUtf8, 0, text.data(), 4, narrow.data(), 40), 8);
  EXPECT_EQ(narrow.substr(0, 9), "a\xE2\x82\xAC\xF0\x9F\x98\x80\x5A");
  WideString wide(40, WideChar{0x5A5A});
  EXPECT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, 0, narrow.data(), 8, wide.data(), 40), 4);
  EXPECT_EQ(wide.substr(0, 5), text + WideChar{0x5A5A});
}

TEST(CodePages, AsciiIsTheSameInTheAnsiCodePage) {
  const WideString text = Wide({'a', 0, '~', 0x7F});
  EXPECT_THAT(ToUtf8(text, kCodePageAnsi), ElementsAre('a', 0, '~', 0x7F));
  EXPECT_THAT(ToUtf16(std::string_view("a\0~\x7F", 4), 0, kCodePageAnsi),
              ElementsAre('a', 0, '~', 0x7F));
}

}  // namespace
