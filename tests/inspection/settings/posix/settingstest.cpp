// The help for settings and the check of a property file, where there is a pattern engine.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "config/configpatterns.h"
#include "inspection/settings/settinghelp.h"
#include "inspection/settings/settingscheck.h"
#include "inspection/settings/valuejudge.h"
#include "tests/support/seed.h"
#include "tests/support/temporaryfolder.h"

namespace inspection::settings {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Returns the findings for a file with this text, each as "line severity key=value: message".
class SettingsCheckTest : public testing::Test {
 protected:
  std::vector<std::string> Check(const std::string& text) {
    const std::string path = m_folder.Entry("vrk.pro");
    std::ofstream(path, std::ios::binary) << text;
    m_report = CheckSettings(path);
    EXPECT_TRUE(m_report.opened);
    std::vector<std::string> findings;
    for (const Finding& finding : m_report.findings) {
      findings.push_back(std::to_string(finding.line) + " " + NameOf(finding.severity) + " " +
                         finding.key + "=" + finding.value + ": " + finding.message);
    }
    return findings;
  }

  tests::TemporaryFolder m_folder;
  SettingsReport m_report;
};

TEST(SettingHelp, EachSettingHasWordsAndExamplesThatItsPatternBearsOut) {
  for (const ConfigKey& setting : g_configKeyTable) {
    const SettingHelp& help = HelpOn(setting);
    EXPECT_FALSE(help.matches.empty()) << setting.publicKey;
    EXPECT_FALSE(help.refused.empty()) << setting.publicKey;
    for (const std::string_view value : help.matches) {
      EXPECT_EQ(JudgeValue(setting.pattern, value), ValueJudgement::kAccepted)
          << setting.publicKey << " = " << value;
    }
    for (const std::string_view value : help.refused) {
      EXPECT_EQ(JudgeValue(setting.pattern, value), ValueJudgement::kRefused)
          << setting.publicKey << " = " << value;
    }
  }
}

TEST(SettingHelp, PublicKeysAreFoundInAnyCase) {
  ASSERT_NE(FindByPublicKey("PTSWEEPER.maxfilesize"), nullptr);
  EXPECT_EQ(FindByPublicKey("PTSWEEPER.maxfilesize")->internalKey, "MAX_FILE_SIZE");
  EXPECT_EQ(FindByPublicKey("MAX_FILE_SIZE"), nullptr);
}

TEST(SettingHelp, OnlyAKeyThatIsCloseIsSuggested) {
  EXPECT_EQ(SuggestedKey("hide_m"), "; did you mean \"hide_me\"?");
  EXPECT_EQ(SuggestedKey("use_challenge_respond"), "; did you mean \"use_challenge_response\"?");
  EXPECT_EQ(SuggestedKey("zzzz"), "");
  EXPECT_EQ(SuggestedKey(std::string(100'000, 'a')), "");
}

TEST(ValueJudge, LineFeedAtTheEndIsNoEndOfTheValue) {
  EXPECT_EQ(JudgeValue(RE_WIN_PATH, "C:\\a"), ValueJudgement::kAccepted);
  EXPECT_EQ(JudgeValue(RE_WIN_PATH, "C:\\a\n"), ValueJudgement::kRefused);
}

TEST(ValueJudge, UnluckyAddressesAreGivenUpAndLongListsAreNot) {
  EXPECT_EQ(JudgeValue(RE_IP_LIST, std::string(30, 'a') + "!"), ValueJudgement::kTooComplex);
  EXPECT_EQ(JudgeValue(RE_IP_LIST, std::string(60'000, 'a') + "!"), ValueJudgement::kTooComplex);
  std::string list;
  for (int i = 0; i < 1000; ++i) list += "10.0." + std::to_string(i % 255) + ".1:80,";
  EXPECT_EQ(JudgeValue(RE_IP_LIST, list), ValueJudgement::kAccepted);
}

TEST(SettingHelp, EachSettingHasAMeaningOfItsOwn) {
  std::set<std::string_view> meanings;
  for (const ConfigKey& setting : g_configKeyTable) {
    EXPECT_NE(MeaningOf(setting).meaning, "not described") << setting.publicKey;
    EXPECT_TRUE(meanings.insert(MeaningOf(setting).meaning).second) << setting.publicKey;
    // Lists, names and switches have no unit; for a number it is known or not.
    const std::string_view accepted = HelpOn(setting).accepted;
    const bool isNumber = accepted.starts_with("0 to ") || accepted.starts_with("1 to ") ||
                          accepted.starts_with("2 to ") || accepted.starts_with("5 to ");
    const bool counts = isNumber && accepted.find("characters") == std::string_view::npos;
    EXPECT_EQ(MeaningOf(setting).unit.empty(), !counts) << setting.publicKey;
  }
}

// Values on both sides of each pattern's limits, and random ones.
std::set<std::string> ValuesToJudge(unsigned seed) {
  std::set<std::string> values = {"",
                                  " ",
                                  "\n",
                                  "true\n",
                                  " true\t",
                                  "0",
                                  "00",
                                  "007",
                                  "-1",
                                  "a b",
                                  "]",
                                  "[",
                                  "\x7F",
                                  "\xFF",
                                  "a:b",
                                  "\xC3\xA9",
                                  "*",
                                  "a|b",
                                  "a||b",
                                  "C:\\a",
                                  "a.example,b.example",
                                  "(x)",
                                  "\\",
                                  "a,,b",
                                  std::string(1, '\0'),
                                  std::string(50, 'x'),
                                  std::string(51, 'x'),
                                  std::string(101, 'x'),
                                  std::string(2048, '1')};
  for (int number = 0; number <= 11'000; number += 61) values.insert(std::to_string(number));
  for (const ConfigKey& setting : g_configKeyTable) {
    const SettingHelp& help = HelpOn(setting);
    for (const auto& examples : {help.matches, help.refused}) {
      for (const std::string_view example : examples) {
        values.emplace(example);
        values.insert(" " + std::string(example) + "\t");
        values.insert(std::string(example) + "\n");
        values.emplace(example.substr(1));
      }
    }
  }
  std::mt19937_64 random(seed);
  for (int i = 0; i < 300; ++i) {
    std::string value(random() % 8, ' ');
    for (char& c : value) c = static_cast<char>(random() % 256);
    values.insert(value);
  }
  return values;
}

// The engine of quorvex.exe agrees with PCRE2, or says that it can't tell.
TEST(ValueJudge, LibraryAgreesWithPcre2WhereItDecides) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  std::set<std::string_view> patterns;
  for (const ConfigKey& setting : g_configKeyTable) patterns.insert(setting.pattern);
  std::set<std::string_view> unchecked;
  const std::set<std::string> values = ValuesToJudge(seed);
  for (const std::string_view pattern : patterns) {
    for (const std::string& value : values) {
      const ValueJudgement judged = JudgeWithLibrary(pattern, value);
      if (judged == ValueJudgement::kNotChecked) {
        unchecked.insert(pattern);
      } else {
        ASSERT_EQ(judged, JudgeValue(pattern, value)) << pattern << "\n\"" << value << "\"";
      }
    }
  }
  EXPECT_THAT(unchecked, testing::UnorderedElementsAre(RE_WIN_PATH, RE_IP_LIST));
}

TEST(ValueJudge, LibraryDoesNotJudgeLongValues) {
  EXPECT_EQ(JudgeWithLibrary(RE_HOST_LIST, std::string(2049, 'a')), ValueJudgement::kNotChecked);
}

TEST_F(SettingsCheckTest, GoodFileIsClean) {
  EXPECT_THAT(Check("hide_me=true\r\n\r\n # a remark = 3\n  Dialogs_Timeout\t=  180 \n"
                    "use_challenge_response=true\nx_value=a=b"),
              IsEmpty());
  EXPECT_TRUE(m_report.IsClean());
  EXPECT_EQ(m_report.lines, 6u);
  EXPECT_EQ(m_report.settings, 4u);
}

TEST_F(SettingsCheckTest, ValueThatIsNotAcceptedSaysWhatIs) {
  EXPECT_THAT(Check("\nseconds_to_remember_inputs = 3601\n"),
              ElementsAre("2 error seconds_to_remember_inputs=3601: not accepted; accepted is: "
                          "0 to 3600"));
  EXPECT_FALSE(m_report.IsClean());
}

TEST_F(SettingsCheckTest, OnlyTheLastLineOfAKeyIsJudged) {
  EXPECT_THAT(Check("hide_me=maybe\nHIDE_ME=true\n"),
              ElementsAre("2 warning HIDE_ME=true: already set in line 1; this later line counts"));
  EXPECT_FALSE(m_report.IsClean());
  EXPECT_THAT(Check("hide_me=true\nhide_me=\n"),
              ElementsAre("2 warning hide_me=: already set in line 1; this later line counts",
                          "2 error hide_me=: not accepted; accepted is: true or false, in lower "
                          "case"));
}

TEST_F(SettingsCheckTest, QuotesAroundAValueAreAWarning) {
  EXPECT_THAT(Check("x_value=\"internal\"\n"),
              ElementsAre("1 warning x_value=\"internal\": the quotes are part of the value"));
  EXPECT_THAT(Check("x_value=5\"\n"), IsEmpty());
}

TEST_F(SettingsCheckTest, LinesThatEndWithCrAloneAreNamed) {
  EXPECT_THAT(
      Check("hide_me=true\rdisable_stop=true\r"),
      testing::Contains("1 error =: a CR without LF: the agent takes the whole file, or all "
                        "up to the next LF, for one line"));
}

// What `config show` prints can be copied into the file.
TEST_F(SettingsCheckTest, EachExampleIsAcceptedAsItIsShown) {
  for (const ConfigKey& setting : g_configKeyTable) {
    for (const std::string_view example : HelpOn(setting).matches) {
      const std::string line = std::string(setting.publicKey) + "=" + AsWritten(example);
      Check(line + "\n");
      for (const Finding& finding : m_report.findings) {
        EXPECT_EQ(finding.severity, Severity::kNote) << line << ": " << finding.message;
      }
    }
  }
}

TEST_F(SettingsCheckTest, UnknownKeyIsAnErrorWithASuggestion) {
  EXPECT_THAT(Check("dialog_timeout=5\nqwertz=1\n=3\nmax_file_size=3\n"),
              ElementsAre("1 error dialog_timeout=5: unknown key; did you mean "
                          "\"dialogs_timeout\"?",
                          "2 error qwertz=1: unknown key", "3 error =3: no key before \"=\"",
                          testing::StartsWith("4 error max_file_size=3: unknown key")));
}

TEST_F(SettingsCheckTest, ChallengeResponseIsKnownWithoutARow) {
  EXPECT_THAT(Check("use_challenge_response=false"), IsEmpty());
  EXPECT_THAT(Check("use_challenge_response=True"),
              ElementsAre("1 error use_challenge_response=True: not accepted: true or false; "
                          "anything but exactly true counts as false"));
}

TEST_F(SettingsCheckTest, ByteOrderMarkSpoilsTheFirstKeyOnly) {
  EXPECT_THAT(
      Check("\xEF\xBB\xBFhide_me=true\ndisable_stop=true\n"),
      ElementsAre("1 warning hide_me=: the file begins with a byte-order mark: it is part of "
                  "this key, which is not found"));
  EXPECT_EQ(m_report.settings, 1u);
  EXPECT_THAT(Check("\xEF\xBB\xBF\nhide_me=true\n"),
              ElementsAre("1 warning =: the file begins with a byte-order mark, which the agent "
                          "doesn't know"));
}

TEST_F(SettingsCheckTest, ValueThatDecodesToControlCharactersIsAWarning) {
  EXPECT_THAT(Check("qscan_dll_path=C:\\temp\n"),
              ElementsAre("1 warning qscan_dll_path=C:\temp: written C:\\temp: decodes to control "
                          "characters (a backslash itself is written \\\\)",
                          "1 error qscan_dll_path=C:\temp: not accepted; accepted is: a path with "
                          "a drive letter, no white space next to a \"\\\" or \"/\""));
}

TEST_F(SettingsCheckTest, DoubledBackslashesAreOnlyNoted) {
  EXPECT_THAT(Check("qscan_dll_path=C:\\\\dir\n"),
              ElementsAre("1 note qscan_dll_path=C:\\dir: written C:\\\\dir: decodes to the "
                          "value shown here"));
  EXPECT_TRUE(m_report.IsClean());
}

TEST_F(SettingsCheckTest, LineWithoutEqualsSignIsSkippedWithAWarning) {
  EXPECT_THAT(Check("[section]\n# remark\n \t\n"),
              ElementsAre("1 warning =[section]: no \"=\": the line is skipped"));
}

TEST_F(SettingsCheckTest, UnluckyValueIsTooComplexToJudge) {
  EXPECT_THAT(Check("ip_white_list=" + std::string(40, 'a') + "!\n"),
              ElementsAre("1 error ip_white_list=" + std::string(40, 'a') +
                          "!: too complex to check; accepted is: addresses divided by commas, "
                          "each with a prefix length or ports at will"));
}

TEST_F(SettingsCheckTest, BinaryAndUtf16FilesSaySo) {
  EXPECT_THAT(Check(std::string("hide_me=true\n\x7F\0x=1\nqwertz=1", 24)),
              ElementsAre("2 error =: a NUL byte: this is no text file, the rest isn't read"));
  EXPECT_THAT(Check(std::string("\xFF\xFEh\0i\0", 6)),
              ElementsAre("1 error =: the file is UTF-16; the agent reads 8-bit text and finds no "
                          "key in it"));
}

TEST_F(SettingsCheckTest, EndlessLineIsNotHeldAndTheNextIsRead) {
  EXPECT_THAT(Check("x_value=" + std::string(200'000, 'a') + "\nhide_me=no\n"),
              ElementsAre("1 error =: a line of more than 65535 characters, not checked",
                          "2 error hide_me=no: not accepted; accepted is: true or false, in lower "
                          "case"));
  EXPECT_EQ(m_report.lines, 2u);
}

TEST_F(SettingsCheckTest, FindingsBeyondTheFirstThousandAreCounted) {
  std::string text;
  for (int i = 0; i < 1500; ++i) text += "qwertz=1\n";
  EXPECT_THAT(Check(text), SizeIs(1000));
  EXPECT_EQ(m_report.left, 500u);
  EXPECT_FALSE(m_report.IsClean());
}

TEST_F(SettingsCheckTest, MissingFileIsNotOpened) {
  EXPECT_FALSE(CheckSettings(m_folder.Entry("none")).opened);
}

}  // namespace
}  // namespace inspection::settings
