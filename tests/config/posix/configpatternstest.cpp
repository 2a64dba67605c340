// All patterns, run by PCRE2 with values on both sides of each boundary.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <gtest/gtest.h>
#include <pcre2.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/configkeytable.h"
#include "config/configpatterns.h"

namespace {

using namespace std::string_literals;

constexpr std::uint32_t kMatchLimit = 100000;

struct Free {
  void operator()(pcre2_code* code) const { pcre2_code_free(code); }
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};

// A compiled pattern. "$" matches only the end of the value, not before a final LF. A value that
// needs more than kMatchLimit steps counts as no match and fails the test, unless the caller wants
// the engine's own result.
class Pattern {
 public:
  explicit Pattern(std::string_view text) : m_text(text) {
    int error = 0;
    std::size_t offset = 0;
    m_code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                               PCRE2_DOLLAR_ENDONLY, &error, &offset, nullptr));
    if (m_code == nullptr) {
      ADD_FAILURE() << text << " does not compile: error " << error << " at " << offset;
      return;
    }
    m_data.reset(pcre2_match_data_create_from_pattern(m_code.get(), nullptr));
    m_context.reset(pcre2_match_context_create(nullptr));
    pcre2_set_match_limit(m_context.get(), kMatchLimit);
  }

  int Match(std::string_view value) const {
    return pcre2_match(m_code.get(), reinterpret_cast<PCRE2_SPTR>(value.data()), value.size(), 0, 0,
                       m_data.get(), m_context.get());
  }

  bool Accepts(std::string_view value) const {
    if (m_code == nullptr) {
      return false;
    }
    const int result = Match(value);
    if (result < 0 && result != PCRE2_ERROR_NOMATCH) {
      ADD_FAILURE() << m_text << " fails with " << result << " on \"" << value << "\"";
    }
    return result >= 0;
  }

 private:
  std::string_view m_text;
  std::unique_ptr<pcre2_code, Free> m_code;
  std::unique_ptr<pcre2_match_data, Free> m_data;
  std::unique_ptr<pcre2_match_context, Free> m_context;
};

void ExpectAccepted(std::string_view pattern, const std::vector<std::string>& values) {
  const Pattern compiled(pattern);
  for (const std::string& value : values) {
    EXPECT_TRUE(compiled.Accepts(value)) << pattern << "\n\"" << value << "\"";
  }
}

void ExpectRejected(std::string_view pattern, const std::vector<std::string>& values) {
  const Pattern compiled(pattern);
  for (const std::string& value : values) {
    EXPECT_FALSE(compiled.Accepts(value)) << pattern << "\n\"" << value << "\"";
  }
}

// The pattern of the setting with this internal key.
std::string_view PatternOf(std::string_view internalKey) {
  const ConfigKey* const row = g_configKeyTable.Find(internalKey);
  if (row == nullptr) {
    ADD_FAILURE() << "no setting " << internalKey;
    return "";
  }
  return row->pattern;
}

TEST(ConfigPatterns, AllCompile) {
  for (const ConfigKey& row : g_configKeyTable) {
    const Pattern compiled(row.pattern);
  }
}

struct Range {
  std::string_view pattern;
  std::uint64_t least;
  std::uint64_t most;
};

const std::vector<Range> kRanges = {
    {RE_INT32, 0, 2147483647},
    {RE_0_3600, 0, 3600},
    {RE_5_180, 5, 180},
    {RE_1_20, 1, 20},
    {RE_0_30, 0, 30},
    {RE_1_5000, 1, 5000},
    {RE_1_524288, 1, 524288},
    {RE_0_1G, 0, 1073741824},
    {RE_0_10M, 0, 10485760},
    {RE_0_76800, 0, 76800},
    {RE_0_300, 0, 300},
    {RE_1_10, 1, 10},
    {RE_HOURS_NOREPEAT, 0, 8760},
    {RE_1_50, 1, 50},
    {RE_2_10, 2, 10},
    {RE_1_600, 1, 600},
};

TEST(ConfigPatterns, SmallRangesMatchEveryNumberInThemAndNoOther) {
  for (const Range& range : kRanges) {
    const Pattern compiled(range.pattern);
    for (std::uint64_t number = 0; number <= 12000; ++number) {
      ASSERT_EQ(compiled.Accepts(std::to_string(number)),
                number >= range.least && number <= range.most)
          << range.pattern << " " << number;
    }
  }
}

TEST(ConfigPatterns, MediumRangesMatchEveryNumberInThemAndNoOther) {
  for (const Range& range : kRanges) {
    if (range.most != 76800 && range.most != 524288) {
      continue;
    }
    const Pattern compiled(range.pattern);
    for (std::uint64_t number = range.least; number <= range.most + 1000; ++number) {
      ASSERT_EQ(compiled.Accepts(std::to_string(number)), number <= range.most)
          << range.pattern << " " << number;
    }
  }
}

// The alternatives of these patterns follow the digits of the largest number, so the boundaries
// between them share its first digits.
TEST(ConfigPatterns, RangesEndAtTheirLargestNumberAtEveryDigit) {
  for (const Range& range : kRanges) {
    const Pattern compiled(range.pattern);
    EXPECT_TRUE(compiled.Accepts(std::to_string(range.most))) << range.pattern;
    EXPECT_FALSE(compiled.Accepts(std::to_string(range.most + 1))) << range.pattern;
    EXPECT_TRUE(compiled.Accepts(std::to_string(range.least))) << range.pattern;
    if (range.least > 0) {
      EXPECT_FALSE(compiled.Accepts(std::to_string(range.least - 1))) << range.pattern;
    }
    for (std::uint64_t power = 1; power <= range.most; power *= 10) {
      const std::uint64_t rest = range.most / power * power;
      for (const std::uint64_t number :
           {rest - 1, rest, rest + power - 1, rest + power, power - 1, power, rest + power / 2}) {
        EXPECT_EQ(compiled.Accepts(std::to_string(number)),
                  number >= range.least && number <= range.most)
            << range.pattern << " " << number;
      }
    }
    EXPECT_FALSE(compiled.Accepts(std::to_string(range.most) + "0")) << range.pattern;
    EXPECT_FALSE(compiled.Accepts("99999999999999999999")) << range.pattern;
  }
}

TEST(ConfigPatterns, NumbersHaveNoSignNoLeadingZeroAndNothingElse) {
  for (const Range& range : kRanges) {
    const Pattern compiled(range.pattern);
    for (const char* const value :
         {"+5", "-5", "5.0", "5,0", "0x5", "5a", "a5", "5 5", "five", "\xD9\xA5", "5\n5"}) {
      EXPECT_FALSE(compiled.Accepts(value)) << range.pattern << " " << value;
    }
    if (range.pattern != RE_HOURS_NOREPEAT && range.pattern != RE_0_300) {
      EXPECT_FALSE(compiled.Accepts("")) << range.pattern;
      EXPECT_FALSE(compiled.Accepts(" ")) << range.pattern;
      EXPECT_FALSE(compiled.Accepts("05")) << range.pattern;
      EXPECT_FALSE(compiled.Accepts("00")) << range.pattern;
      EXPECT_FALSE(compiled.Accepts("007")) << range.pattern;
    }
  }
}

TEST(ConfigPatterns, FilesInAllLayersAreFourDigitsBelowFiveThousandOrTenThousand) {
  const Pattern compiled(RE_1_10000);
  for (int number = 0; number <= 20000; ++number) {
    ASSERT_EQ(compiled.Accepts(std::to_string(number)),
              (number >= 1 && number <= 4999) || number == 10000)
        << number;
  }
  ExpectRejected(RE_1_10000, {"", "01", "+1", "-1", "100000", "010000"});
}

TEST(ConfigPatterns, FileCountOfAllLayersHasAGapWhereThatOfOneLayerHasNone) {
  EXPECT_EQ(PatternOf("DECOMPRE_FILE_COUNT_ALL_LAYER"), RE_1_10000);
  EXPECT_EQ(PatternOf("DECOMPRE_FILE_COUNT"), RE_1_5000);
  ExpectAccepted(PatternOf("DECOMPRE_FILE_COUNT_ALL_LAYER"), {"4999", "10000"});
  ExpectRejected(PatternOf("DECOMPRE_FILE_COUNT_ALL_LAYER"), {"5000", "9999"});
  ExpectAccepted(PatternOf("DECOMPRE_FILE_COUNT"), {"1", "4999", "5000"});
  ExpectRejected(PatternOf("DECOMPRE_FILE_COUNT"), {"0", "5001"});
}

TEST(ConfigPatterns, HoursMayBeEmptyHaveLeadingZerosOrBeTheWord) {
  const std::string_view pattern = PatternOf("FREQ_WPD_DEVCTRL_VIOLATION");
  EXPECT_EQ(pattern, RE_HOURS_NOREPEAT);
  ExpectAccepted(
      pattern, {"", " ", "0", "00", "000", "007", "07", "099", "8760", "NOREPEAT", " NOREPEAT\t"});
  ExpectRejected(
      pattern, {"8761", "9999", "0000", "0007", "norepeat", "NoRepeat", "NOREPEAT 1", "NOREPEATS"});
}

TEST(ConfigPatterns, SkipTimeOfHttpFilesAllowsALeadingZeroUnlikeClipboardTime) {
  EXPECT_EQ(PatternOf("HTTP_FILE_SKIP_TIME"), RE_0_300);
  EXPECT_EQ(PatternOf("CLIPBOARD_IDLE_TIME"), RE_0_30);
  ExpectAccepted(PatternOf("HTTP_FILE_SKIP_TIME"), {"05", "00", "5", "09"});
  ExpectRejected(PatternOf("HTTP_FILE_SKIP_TIME"), {"", "005", "000", "099", "301"});
  ExpectRejected(PatternOf("CLIPBOARD_IDLE_TIME"), {"05", "00"});
  ExpectAccepted(PatternOf("CLIPBOARD_IDLE_TIME"), {"5", "0", "30"});
}

TEST(ConfigPatterns, SizesAndTimesEndAtTheirLargestNumber) {
  ExpectAccepted(PatternOf("MAX_FILE_SIZE"), {"1073741824", "1073741823", "0"});
  ExpectRejected(PatternOf("MAX_FILE_SIZE"),
                 {"1073741825", "1073741830", "1073742000", "1073750000", "1080000000",
                  "2000000000", "10737418240"});
  ExpectAccepted(PatternOf("LDAP_TTL"), {"2147483647", "2147483646", "0"});
  ExpectRejected(PatternOf("LDAP_TTL"), {"2147483648", "2147483650", "2147484000", "2150000000",
                                         "2200000000", "3000000000", "21474836470"});
}

TEST(ConfigPatterns, BooleansAreLowerCaseWordsWithBlanksAround) {
  EXPECT_EQ(PatternOf("HIDE_ME"), RE_BOOL);
  ExpectAccepted(PatternOf("HIDE_ME"), {"true", "false", " true ", "\t\r\nfalse \n"});
  ExpectRejected(PatternOf("HIDE_ME"), {"True", "TRUE", "False", "null", "", "1", "0", "yes",
                                        "truefalse", "true false", "truee", "tru"});
  ExpectAccepted(PatternOf("ENABLE_CHROME_QUIC"), {"true", "false", "null", " null "});
  ExpectRejected(PatternOf("ENABLE_CHROME_QUIC"), {"Null", "NULL", "", "nul", "nulll"});
}

TEST(ConfigPatterns, WordsAreCaseSensitive) {
  ExpectAccepted(RE_V1_V2, {"v1", "v2", " v2 "});
  ExpectRejected(RE_V1_V2, {"v0", "v3", "V1", "v", "v12", "", "1"});
  ExpectAccepted(RE_PIPE_FUNCCALL, {"pipe", "funccall", " pipe "});
  ExpectRejected(RE_PIPE_FUNCCALL, {"Pipe", "func", "pipes", "", "pipe funccall", "pipe,funccall"});
}

TEST(ConfigPatterns, PathsBeginWithADriveLetter) {
  ExpectAccepted(RE_WIN_PATH, {"C:", "c:\\", "C:/", "Z:\\Program Files\\a.b\\c", "C:/a/b/",
                               "C:\\a/b\\", "C:\\.", "C:\\a b", "C:\\\xC3\xBC", "C:\\a;b"});
  ExpectRejected(RE_WIN_PATH, {"", "C", ":", "1:\\a", "CC:\\a", "\\a", "\\\\server\\share", "C:a",
                               "C:\\\\a", "C:\\a\\\\"});
}

TEST(ConfigPatterns, PathsContainNoCharacterForbiddenInNames) {
  const Pattern compiled(RE_WIN_PATH);
  for (const char forbidden : "*?\"<>|:"s) {
    EXPECT_FALSE(compiled.Accepts("C:\\a"s + forbidden + "b")) << forbidden;
  }
  for (char control = 0; control < 0x20; ++control) {
    EXPECT_FALSE(compiled.Accepts("C:\\a"s + control + "b")) << static_cast<int>(control);
    EXPECT_FALSE(compiled.Accepts("C:\\a"s + control)) << static_cast<int>(control);
  }
  EXPECT_TRUE(compiled.Accepts("C:\\a\x7F"));
}

TEST(ConfigPatterns, PathsHaveNoWhiteSpaceNextToASeparatorOrAtTheStart) {
  ExpectRejected(RE_WIN_PATH, {"C:\\ a", "C:\\a \\b", "C:\\a\\ ", "C: \\a", " C:\\a", "C:\\a \\"});
  ExpectAccepted(RE_WIN_PATH, {"C:\\a b\\c d", "C:\\a "});
}

TEST(ConfigPatterns, FilePrefixHasNoneOfTheListedPunctuation) {
  const Pattern compiled(RE_FILE_PREFIX);
  for (const char forbidden : "><*,[]{}?\\/+=|'\":;~!#$%()`"s) {
    EXPECT_FALSE(compiled.Accepts(std::string(1, forbidden))) << forbidden;
    EXPECT_FALSE(compiled.Accepts("a"s + forbidden + "b")) << forbidden;
  }
  for (const char allowed : "aZ09._-@&^ \xC3"s) {
    EXPECT_TRUE(compiled.Accepts(std::string(1, allowed))) << allowed;
  }
  EXPECT_FALSE(compiled.Accepts(""));
}

TEST(ConfigPatterns, DomainListHasItemsBetweenCommas) {
  ExpectAccepted(RE_DOMAIN_LIST, {"example.com", "example.com,example.org", "a b, c", "a@b.c",
                                  "http://a.b/c?d=e%20+(f);'_-", "\ta\n"});
  ExpectRejected(RE_DOMAIN_LIST, {"", "a!b", "a*b", "a\\b", "a|b", "\"a\"", "a<b", "\xC3\xBC",
                                  "a&b", "a#b", "[a]"});
}

TEST(ConfigPatterns, PasswordHasEightToSixtyFourPrintableCharacters) {
  ExpectAccepted(RE_GRAPH_8_64, {"12345678", std::string(64, '!'), "  12345678\t", "a~:@/\\\"'"});
  ExpectRejected(RE_GRAPH_8_64, {"1234567", std::string(65, '!'), "1234 5678", "1234567\x7F", "",
                                 "1234567\x01", "        ", "1234567\xC3\xBC"});
}

TEST(ConfigPatterns, HeaderNameHasUpToFiftyPrintableCharactersAndNoColon) {
  ExpectAccepted(RE_HEADER_NAME, {"X", "X-Header", std::string(50, 'x'), " X-Header "});
  ExpectRejected(RE_HEADER_NAME, {"", " ", std::string(51, 'x'), "X:", ":", "X-Header:1", "X Y",
                                  "X\x7F", "\xC3\xBC"});
}

TEST(ConfigPatterns, HeaderValueHasUpToAHundredCharactersBetweenBlanks) {
  ExpectAccepted(RE_HEADER_VALUE,
                 {"x", std::string(100, 'x'), "a: b\tc", " ", " " + std::string(100, 'x') + " ",
                  "a" + std::string(98, ' ') + "b"});
  ExpectRejected(RE_HEADER_VALUE, {"", std::string(101, 'x'),
                                   "a\x01"
                                   "b",
                                   "\xC3\xBC", "a" + std::string(99, ' ') + "b"});
}

TEST(ConfigPatterns, HostListHasDottedNamesBetweenCommas) {
  for (const std::string_view pattern : {RE_HOST_LIST, RE_HOST_LIST_OR_ALL}) {
    ExpectAccepted(pattern, {"a", "host", "a-b.c-d.e", "a.b,c.d,e", " a.b,c ", "1.2.3.4", "-"});
    ExpectRejected(pattern, {"", " ", ".", "a.", ".a", "a..b", "a,", ",a", "a,,b", "a, b", "a_b",
                             "a b", "*.a", "a/b", "a:1", "*,a", "a,*", "**", "\xC3\xBC"});
  }
  ExpectAccepted(RE_HOST_LIST_OR_ALL, {"*", " * "});
  ExpectRejected(RE_HOST_LIST, {"*", " * "});
}

TEST(ConfigPatterns, DeviceIdHasFourCharactersOrMore) {
  ExpectAccepted(RE_DEVICE_ID, {"abcd", "USB\\VID_0781&PID_5567,{a-b.c}#1", " abcd ",
                                std::string(500, 'x'), "\\\\\\\\"});
  ExpectRejected(RE_DEVICE_ID, {"", "abc", "a b c d", "abc;", "abcd/", "abcd*", "abcd:", " abc "});
}

TEST(ConfigPatterns, SkippedNamesHaveTheListedCharacters) {
  ExpectAccepted(RE_SKIP_NAME, {"a", "Z09,._-@~#$%+=|^\\", " a.txt,b.txt ", ","});
  ExpectRejected(RE_SKIP_NAME, {"", " ", "a b", "a*", "a?", "a/b", "a:b", "a;b", "a&b", "(a)",
                                "a!b", "\xC3\xBC"});
}

TEST(ConfigPatterns, PipeListHasNamesBetweenPipes) {
  ExpectAccepted(RE_PIPE_LIST, {"a", "a|b", "a_b.c-d|e", " a|b ", "1|2|3"});
  ExpectRejected(RE_PIPE_LIST, {"", "|", "a|", "|a", "a||b", "a | b", "a,b", "a/b", "a b"});
}

TEST(ConfigPatterns, AddressListAllowsPrefixesAndPorts) {
  ExpectAccepted(RE_IP_LIST, {"", " ", "10.0.0.1", "10.0.0.0/8", "10.0.0.1,10.0.0.2", "[::1]:80",
                              "fe80::1/64", "10.0.0.1:1", "10.0.0.1:65535", "10.0.0.1:1000-2000",
                              "host", " 10.0.0.1 ", "10.0.0.1:80:443", "[fe80::1]/128"});
}

TEST(ConfigPatterns, AddressListRejectsOtherCharacters) {
  ExpectRejected(RE_IP_LIST, {"1;2", "1 2", "1*2", "1\\8", "a@b", "(1)", "1|2"});
}

// The groups of an address need no separator, so surplus digits of a port or prefix match as
// groups.
TEST(ConfigPatterns, AddressListMatchesTooLargePortsAndPrefixesAsGroups) {
  ExpectAccepted(RE_IP_LIST, {"1.2.3.4:65536", "1.2.3.4:0", "1.2.3.4/129", "12345", "1.2.3.4,"});
}

// Programs that run this pattern must expect this.
TEST(ConfigPatterns, AddressListNeedsAMatchLimit) {
  const Pattern compiled(RE_IP_LIST);
  EXPECT_EQ(compiled.Match(std::string(30, 'a') + "!"), PCRE2_ERROR_MATCHLIMIT);
}

TEST(ConfigPatterns, WhiteSpaceIsAllowedAtBothEndsOfAllButThree) {
  const std::map<std::string_view, std::string> examples = {
      {RE_BOOL, "true"},
      {RE_BOOL_NULL, "null"},
      {RE_INT32, "10"},
      {RE_0_3600, "10"},
      {RE_5_180, "10"},
      {RE_1_20, "10"},
      {RE_0_30, "10"},
      {RE_1_5000, "10"},
      {RE_1_10000, "10"},
      {RE_1_524288, "10"},
      {RE_0_1G, "10"},
      {RE_0_10M, "10"},
      {RE_V1_V2, "v1"},
      {RE_0_76800, "10"},
      {RE_0_300, "10"},
      {RE_1_10, "10"},
      {RE_GRAPH_8_64, "12345678"},
      {RE_HEADER_NAME, "X"},
      {RE_HEADER_VALUE, "x"},
      {RE_IP_LIST, "1.2.3.4"},
      {RE_HOST_LIST, "a.b"},
      {RE_HOST_LIST_OR_ALL, "*"},
      {RE_PIPE_FUNCCALL, "pipe"},
      {RE_HOURS_NOREPEAT, "10"},
      {RE_1_50, "10"},
      {RE_2_10, "10"},
      {RE_1_600, "10"},
      {RE_DEVICE_ID, "abcd"},
      {RE_SKIP_NAME, "a"},
      {RE_PIPE_LIST, "a"},
  };
  EXPECT_EQ(examples.size(), 30u);
  for (const auto& [pattern, value] : examples) {
    ExpectAccepted(pattern, {value, " \t" + value, value + "\r\n ", " \v" + value + "\f "});
  }
  for (const ConfigKey& row : g_configKeyTable) {
    const bool without = row.pattern == RE_WIN_PATH || row.pattern == RE_FILE_PREFIX ||
                         row.pattern == RE_DOMAIN_LIST;
    EXPECT_EQ(examples.count(row.pattern), without ? 0u : 1u) << row.internalKey;
  }
}

}  // namespace
