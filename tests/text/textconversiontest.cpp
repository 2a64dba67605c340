#include "text/textconversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/codepages.h"
#include "platform/scopedreplacement.h"

namespace {

using platform::ScopedReplacement;
using platform::WideChar;
using platform::WideString;
using platform::WideStringView;
using testing::ElementsAre;

using ReplaceNarrowing =
    ScopedReplacement<platform::codepages, &platform::CodePageOperations::WideCharToMultiByte>;
using ReplaceWidening =
    ScopedReplacement<platform::codepages, &platform::CodePageOperations::MultiByteToWideChar>;

// A call of the system's conversion.
struct Question {
  bool narrowing;
  std::uint32_t codePage;
  std::uint32_t flags;
  int size;
  bool hasOutput;
  int capacity;

  bool operator==(const Question&) const = default;
};

// Records each call, fills the output with 'x' and returns `needed`. Call number `failingCall`,
// counted from 1, returns 0.
class RecordedSystem {
 public:
  explicit RecordedSystem(int needed, int failingCall = 0)
      : m_narrowing(
            [=, this](auto, auto codePage, auto flags, auto, int size, char* output, int capacity) {
              return Answer({true, codePage, flags, size, output != nullptr, capacity}, output,
                            needed, failingCall);
            }),
        m_widening([=, this](auto, auto codePage, auto flags, auto, int size, WideChar* output,
                             int capacity) {
          return Answer({false, codePage, flags, size, output != nullptr, capacity}, output, needed,
                        failingCall);
        }) {}

  const std::vector<Question>& Questions() const { return m_questions; }

 private:
  template <typename Character>
  int Answer(const Question& question, Character* output, int needed, int failingCall) {
    m_questions.push_back(question);
    if (static_cast<int>(m_questions.size()) == failingCall) {
      return 0;
    }
    if (output != nullptr) {
      std::fill_n(output, question.capacity, static_cast<Character>('x'));
    }
    return needed;
  }

  std::vector<Question> m_questions;
  ReplaceNarrowing m_narrowing;
  ReplaceWidening m_widening;
};

constexpr bool kNarrowing = true;
constexpr bool kWidening = false;

TEST(TextConversion, WideToUtf8QueriesTheLengthAndThenConvertsIntoThatMuch) {
  const RecordedSystem system(3);
  EXPECT_EQ(WideToUtf8(QV_WIDE("four")), "xxx");
  EXPECT_THAT(system.Questions(), ElementsAre(Question{kNarrowing, 65001, 0, 4, false, 0},
                                              Question{kNarrowing, 65001, 0, 4, true, 3}));
}

TEST(TextConversion, Utf8ToWideRejectsInvalidInputInBothCalls) {
  const RecordedSystem system(3);
  EXPECT_EQ(Utf8ToWide("four"), QV_WIDE("xxx"));
  EXPECT_THAT(system.Questions(), ElementsAre(Question{kWidening, 65001, 8, 4, false, 0},
                                              Question{kWidening, 65001, 8, 4, true, 3}));
}

TEST(TextConversion, WideToAnsiUsesTheSystemCodePage) {
  const RecordedSystem system(2);
  EXPECT_EQ(WideToAnsi(QV_WIDE("abc")), "xx");
  EXPECT_THAT(system.Questions(), ElementsAre(Question{kNarrowing, 0, 0, 3, false, 0},
                                              Question{kNarrowing, 0, 0, 3, true, 2}));
}

TEST(TextConversion, AnsiToWideUsesTheSystemCodePageAndRejectsInvalidInput) {
  const RecordedSystem system(2);
  EXPECT_EQ(AnsiToWide("abc"), QV_WIDE("xx"));
  EXPECT_THAT(system.Questions(), ElementsAre(Question{kWidening, 0, 8, 3, false, 0},
                                              Question{kWidening, 0, 8, 3, true, 2}));
}

TEST(TextConversion, AnsiToUtf8GoesThroughWideText) {
  const RecordedSystem system(5);
  EXPECT_EQ(AnsiToUtf8("abc"), "xxxxx");
  EXPECT_THAT(system.Questions(), ElementsAre(Question{kWidening, 0, 8, 3, false, 0},
                                              Question{kWidening, 0, 8, 3, true, 5},
                                              Question{kNarrowing, 65001, 0, 5, false, 0},
                                              Question{kNarrowing, 65001, 0, 5, true, 5}));
}

TEST(TextConversion, Utf8ToAnsiGoesThroughWideText) {
  const RecordedSystem system(5);
  EXPECT_EQ(Utf8ToAnsi("abc"), "xxxxx");
  EXPECT_THAT(system.Questions(), ElementsAre(Question{kWidening, 65001, 8, 3, false, 0},
                                              Question{kWidening, 65001, 8, 3, true, 5},
                                              Question{kNarrowing, 0, 0, 5, false, 0},
                                              Question{kNarrowing, 0, 0, 5, true, 5}));
}

TEST(TextConversion, EmptyTextNeedsNoSystemCall) {
  const RecordedSystem system(1);
  EXPECT_EQ(WideToUtf8({}), "");
  EXPECT_EQ(Utf8ToWide(""), WideString());
  EXPECT_EQ(WideToAnsi({}), "");
  EXPECT_EQ(AnsiToWide(""), WideString());
  EXPECT_EQ(AnsiToUtf8(""), "");
  EXPECT_EQ(Utf8ToAnsi(""), "");
  EXPECT_TRUE(system.Questions().empty());
}

// The recorded system reads nothing, so one unit is enough.
TEST(TextConversion, LongestTextIsAsLongAsTheSystemCanCount) {
  constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
  const WideChar wide = 'a';
  const char narrow = 'a';
  for (const auto& [size, calls] : {std::pair(kMost, 1U), std::pair(kMost + 1, 0U)}) {
    const RecordedSystem forNarrowing(3, 1);
    EXPECT_EQ(WideToUtf8(WideStringView(&wide, size)), "");
    EXPECT_EQ(forNarrowing.Questions().size(), calls);
  }
  for (const auto& [size, calls] : {std::pair(kMost, 1U), std::pair(kMost + 1, 0U)}) {
    const RecordedSystem forWidening(3, 1);
    EXPECT_EQ(Utf8ToWide(std::string_view(&narrow, size)), WideString());
    EXPECT_EQ(forWidening.Questions().size(), calls);
  }
}

TEST(TextConversion, FailedLengthQueryReturnsEmptyTextWithoutASecondCall) {
  {
    const RecordedSystem system(3, 1);
    EXPECT_EQ(WideToUtf8(QV_WIDE("abc")), "");
    EXPECT_EQ(system.Questions().size(), 1u);
  }
  {
    const RecordedSystem system(3, 1);
    EXPECT_EQ(Utf8ToWide("abc"), WideString());
    EXPECT_EQ(system.Questions().size(), 1u);
  }
}

TEST(TextConversion, FailedConversionReturnsEmptyTextAfterTheLengthQuery) {
  {
    const RecordedSystem system(3, 2);
    EXPECT_EQ(WideToUtf8(QV_WIDE("abc")), "");
    EXPECT_EQ(system.Questions().size(), 2u);
  }
  {
    const RecordedSystem system(3, 2);
    EXPECT_EQ(Utf8ToWide("abc"), WideString());
    EXPECT_EQ(system.Questions().size(), 2u);
  }
}

TEST(TextConversion, TwoStepConversionsStopWhenTheFirstStepFails) {
  {
    const RecordedSystem system(3, 1);
    EXPECT_EQ(AnsiToUtf8("abc"), "");
    EXPECT_EQ(system.Questions().size(), 1u);
  }
  {
    const RecordedSystem system(3, 1);
    EXPECT_EQ(Utf8ToAnsi("abc"), "");
    EXPECT_EQ(system.Questions().size(), 1u);
  }
}

// One character of each length in UTF-8: U+0041, U+00FC, U+20AC, U+1F600.
const std::string kUtf8 = "A\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80";
const WideString kWide = {'A', 0x00FC, 0x20AC, 0xD83D, 0xDE00};

TEST(TextConversion, EveryLengthOfUtf8ConvertsBothWays) {
  EXPECT_EQ(WideToUtf8(kWide), kUtf8);
  EXPECT_EQ(Utf8ToWide(kUtf8), kWide);
}

TEST(TextConversion, BoundariesOfTheLengthsConvertBothWays) {
  const std::vector<std::pair<WideString, std::string>> boundaries = {
      {{0x007F}, "\x7F"},
      {{0x0080}, "\xC2\x80"},
      {{0x07FF}, "\xDF\xBF"},
      {{0x0800}, "\xE0\xA0\x80"},
      {{0xD7FF}, "\xED\x9F\xBF"},
      {{0xE000}, "\xEE\x80\x80"},
      {{0xFFFF}, "\xEF\xBF\xBF"},
      {{0xD800, 0xDC00}, "\xF0\x90\x80\x80"},
      {{0xDBFF, 0xDFFF}, "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& [wide, narrow] : boundaries) {
    EXPECT_EQ(WideToUtf8(wide), narrow);
    EXPECT_EQ(Utf8ToWide(narrow), wide);
  }
}

TEST(TextConversion, EmbeddedNulIsKept) {
  const std::string narrow("a\0b\0", 4);
  const WideString wide = {'a', 0, 'b', 0};
  EXPECT_EQ(WideToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToWide(narrow), wide);
  EXPECT_EQ(WideToAnsi(wide), narrow);
  EXPECT_EQ(AnsiToWide(narrow), wide);
}

TEST(TextConversion, InvalidUtf8AnywhereReturnsTheEmptyString) {
  const std::vector<std::string> invalid = {
      "\x80",              // a continuation without a beginning
      "\xC3",              // cut after the first byte
      "\xE2\x82",          // cut after the second
      "\xF0\x9F\x98",      // cut after the third
      "\xC0\xAF",          // "/" in two bytes
      "\xE0\x80\xAF",      // "/" in three
      "\xED\xA0\x80",      // a surrogate
      "\xF4\x90\x80\x80",  // above U+10FFFF
      "\xFF",              // never a byte of UTF-8
      "\xC3(",             // a beginning without its continuation
  };
  for (const std::string& bad : invalid) {
    EXPECT_EQ(Utf8ToWide(bad), WideString());
    EXPECT_EQ(Utf8ToWide("good" + bad), WideString());
    EXPECT_EQ(Utf8ToWide(bad + "good"), WideString());
    EXPECT_EQ(Utf8ToAnsi("good" + bad), "");
  }
}

TEST(TextConversion, UnpairedSurrogateBecomesTheReplacementCharacter) {
  const std::string replacement = "\xEF\xBF\xBD";
  EXPECT_EQ(WideToUtf8(WideString{0xD83D}), replacement);
  EXPECT_EQ(WideToUtf8(WideString{0xDE00}), replacement);
  EXPECT_EQ(WideToUtf8(WideString{'a', 0xD83D, 'b'}), "a" + replacement + "b");
  EXPECT_EQ(WideToUtf8(WideString{0xDE00, 0xD83D}), replacement + replacement);
}

TEST(TextConversion, LongTextConvertsWhole) {
  WideString wide;
  std::string narrow;
  for (int repeat = 0; repeat < 50000; ++repeat) {
    wide += kWide;
    narrow += kUtf8;
  }
  EXPECT_TRUE(WideToUtf8(wide) == narrow);
  EXPECT_TRUE(Utf8ToWide(narrow) == wide);
}

TEST(TextConversion, AsciiIsTheSameInTheAnsiCodePage) {
  std::string ascii;
  for (char character = 1; character < 0x7F; ++character) {
    ascii.push_back(character);
  }
  EXPECT_EQ(WideToAnsi(AnsiToWide(ascii)), ascii);
  EXPECT_EQ(AnsiToUtf8(ascii), ascii);
  EXPECT_EQ(Utf8ToAnsi(ascii), ascii);
}

}  // namespace
