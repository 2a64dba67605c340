#include "config/profilereader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "platform/handles.h"
#include "tests/support/filereads.h"
#include "tests/support/seed.h"
#include "tests/support/textfile.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::Pair;
using tests::TextFile;

// What a file of this content makes of these keys and defaults.
ProfileMap Read(std::string_view content, ProfileMap wanted) {
  const TextFile file(content);
  EXPECT_TRUE(ProfileReader(file.Path(), wanted));
  return wanted;
}

// The value of "x_name" in a file of this content; "default" if it has none.
std::string XName(std::string_view content) {
  return Read(content, {{"x_name", "default"}}).at("x_name");
}

TEST(ProfileReader, SetsTheWantedKeysAndNoOthers) {
  EXPECT_THAT(Read("x_name=one\nx_value=two\nother=three\n", {{"x_name", ""}, {"x_value", "v"}}),
              ElementsAre(Pair("x_name", "one"), Pair("x_value", "two")));
}

TEST(ProfileReader, KeysMissingInTheFileKeepTheirDefaults) {
  EXPECT_THAT(Read("x_value=two\n", {{"use_challenge_response", "false"}, {"x_value", ""}}),
              ElementsAre(Pair("use_challenge_response", "false"), Pair("x_value", "two")));
}

TEST(ProfileReader, EmptyMapReturnsFalseWithoutTouchingTheFile) {
  const TextFile file("x_name=one\n");
  const tests::OpenFiles files;
  ProfileMap nothing;
  EXPECT_FALSE(ProfileReader(file.Path(), nothing));
  EXPECT_EQ(files.Opened(), 0);
  EXPECT_TRUE(nothing.empty());
}

TEST(ProfileReader, MissingFileReturnsFalseAndChangesNothing) {
  const tests::TemporaryFolder folder;
  ProfileMap wanted = {{"x_name", "default"}};
  EXPECT_FALSE(ProfileReader(folder.Entry("vrk.pro"), wanted));
  EXPECT_FALSE(ProfileReader(folder.Entry("no folder/vrk.pro"), wanted));
  EXPECT_FALSE(ProfileReader("", wanted));
  EXPECT_THAT(wanted, ElementsAre(Pair("x_name", "default")));
}

TEST(ProfileReader, FolderInsteadOfAFileReturnsFalse) {
  const tests::TemporaryFolder folder;
  ProfileMap wanted = {{"x_name", "default"}};
  EXPECT_FALSE(ProfileReader(folder.Path().string(), wanted));
}

TEST(ProfileReader, UnreadableFileReturnsFalseAndChangesNothing) {
  const TextFile file("x_name=one\n");
  const platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> denied(
      [](auto...) { return platform::kInvalidHandle; });
  const tests::OpenFiles files;
  ProfileMap wanted = {{"x_name", "default"}};
  EXPECT_FALSE(ProfileReader(file.Path(), wanted));
  EXPECT_THAT(wanted, ElementsAre(Pair("x_name", "default")));
  EXPECT_EQ(files.Closed(), 0);
}

TEST(ProfileReader, EmptyFileReturnsTrueAndTheDefaults) {
  EXPECT_EQ(XName(""), "default");
}

TEST(ProfileReader, FileWithoutTheKeysReturnsTrueAndTheDefaults) {
  EXPECT_EQ(XName("x_nam=1\nx_names=2\nname=3\n"), "default");
}

TEST(ProfileReader, OpensForReadingSharedWithReadersAndWritersAndCloses) {
  const TextFile file("x_name=one\n");
  const tests::OpenFiles files;
  ProfileMap wanted = {{"x_name", ""}};
  EXPECT_TRUE(ProfileReader(file.Path(), wanted));
  EXPECT_EQ(files.Opened(), 1);
  EXPECT_EQ(files.Closed(), 1);
  EXPECT_EQ(files.LastAccess(), platform::kGenericRead);
  EXPECT_EQ(files.LastShare(), platform::kShareReadWrite);
  EXPECT_EQ(files.LastDisposition(), platform::kOpenExisting);
}

TEST(ProfileReader, NextCallSeesAChangedFile) {
  const tests::TemporaryFolder folder;
  for (const std::string value : {"one", "two"}) {
    std::ofstream(folder.Path() / "vrk.pro", std::ios::binary) << "x_name=" << value;
    ProfileMap wanted = {{"x_name", ""}};
    EXPECT_TRUE(ProfileReader(folder.Entry("vrk.pro"), wanted));
    EXPECT_EQ(wanted.at("x_name"), value);
  }
}

TEST(ProfileReader, FailedReadReturnsTrueAndKeepsWhatWasRead) {
  const std::string content = "x_name=one\nx_value=two\n";
  const TextFile file(content);
  const ProfileMap defaults = {{"x_name", "n"}, {"x_value", "v"}};
  {
    const tests::BrokenRead broken(0);
    ProfileMap wanted = defaults;
    EXPECT_TRUE(ProfileReader(file.Path(), wanted));
    EXPECT_EQ(wanted, defaults);
  }
  {
    const tests::BrokenRead broken(14);  // within the second key
    ProfileMap wanted = defaults;
    EXPECT_TRUE(ProfileReader(file.Path(), wanted));
    EXPECT_THAT(wanted, ElementsAre(Pair("x_name", "one"), Pair("x_value", "v")));
  }
  {
    const tests::BrokenRead broken(20);  // within the second value: as at the end of the file
    ProfileMap wanted = defaults;
    EXPECT_TRUE(ProfileReader(file.Path(), wanted));
    EXPECT_THAT(wanted, ElementsAre(Pair("x_name", "one"), Pair("x_value", "t")));
  }
}

TEST(ProfileReader, FailingCloseIsNotReported) {
  const TextFile file("x_name=one\n");
  const platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle>
      failing([](auto original, auto handle) {
        original(handle);
        return false;
      });
  ProfileMap wanted = {{"x_name", ""}};
  EXPECT_TRUE(ProfileReader(file.Path(), wanted));
  EXPECT_EQ(wanted.at("x_name"), "one");
}

TEST(ProfileReader, FileIsClosedWhenMemoryRunsOut) {
  const TextFile file("x_name=one\n");
  const tests::OpenFiles files;
  const tests::ReplaceRead failing([](auto...) -> bool { throw std::bad_alloc(); });
  ProfileMap wanted = {{"x_name", "default"}};
  EXPECT_THROW(ProfileReader(file.Path(), wanted), std::bad_alloc);
  EXPECT_EQ(files.Opened(), 1);
  EXPECT_EQ(files.Closed(), 1);
}

TEST(ProfileReader, LineWithoutDividerIsSkipped) {
  EXPECT_EQ(XName("x_name\nx_name one\nx_name:two\n"), "default");
  EXPECT_EQ(XName("x_name\n=\nx_name=three\nx_name\n"), "three");
}

TEST(ProfileReader, EmptyLinesAndLinesOfBlanksAreSkipped) {
  EXPECT_EQ(XName("\n\r\n \t\n\n  x_name=one"), "one");
}

TEST(ProfileReader, NumberSignIsNoComment) {
  EXPECT_THAT(Read("#x_name=one\n", {{"#x_name", ""}, {"x_name", "default"}}),
              ElementsAre(Pair("#x_name", "one"), Pair("x_name", "default")));
}

TEST(ProfileReader, SectionsMeanNothing) {
  EXPECT_EQ(XName("[other]\nx_name=one\n"), "one");
}

TEST(ProfileReader, LineThatBeginsWithEqualsHasTheEmptyKey) {
  EXPECT_THAT(Read("=one\n", {{"x_name", "default"}}), ElementsAre(Pair("x_name", "default")));
  EXPECT_THAT(Read(" \t=one\n", {{"", ""}, {"x_name", "default"}}),
              ElementsAre(Pair("", "one"), Pair("x_name", "default")));
}

TEST(ProfileReader, KeyAndEqualsAloneSetTheEmptyValue) {
  EXPECT_EQ(XName("x_name=\n"), "");
  EXPECT_EQ(XName("x_name=\r\n"), "");
  EXPECT_EQ(XName("x_name="), "");
  EXPECT_EQ(XName("x_name"), "default");
}

TEST(ProfileReader, BlanksAndCaseAreIgnoredAndTheFirstEqualsDivides) {
  EXPECT_EQ(XName(" \t X_NaMe \t = \t a = b \t \n"), "a = b");
}

TEST(ProfileReader, OnlySpacesAndTabsAreBlanks) {
  EXPECT_EQ(XName("x_name=\v\fone\v\f\n"), "\v\fone\v\f");
  EXPECT_EQ(XName("\vx_name=one\n"), "default");
  EXPECT_EQ(XName("x_name\r=one\n"), "default");
  EXPECT_EQ(XName("x_name=\xC2\xA0one\n"), "\xC2\xA0one");
}

TEST(ProfileReader, BlanksWithinKeyAndValueStay) {
  EXPECT_THAT(Read("x name = a  b\nxname=c\n", {{"x name", ""}}),
              ElementsAre(Pair("x name", "a  b")));
}

TEST(ProfileReader, LaterLineWinsEvenWithAnEmptyValue) {
  EXPECT_EQ(XName("x_name=one\nX_NAME=two\n"), "two");
  EXPECT_EQ(XName("X_NAME=one\nx_name=two\n"), "two");
  EXPECT_EQ(XName("x_name=one\nx_name=\n"), "");
}

TEST(ProfileReader, ValueOfBlanksOnlyIsEmpty) {
  EXPECT_EQ(XName("x_name= \t \n"), "");
}

TEST(ProfileReader, CaseOfTheValueStays) {
  EXPECT_EQ(XName("x_name=True\n"), "True");
}

TEST(ProfileReader, WantedKeyWithACapitalNeverMatches) {
  EXPECT_THAT(Read("X_Name=one\nx_name=two\n", {{"X_Name", "default"}}),
              ElementsAre(Pair("X_Name", "default")));
}

TEST(ProfileReader, ValueIsDecodedAfterTrimming) {
  EXPECT_EQ(XName("x_name= \\ta\\t \n"), "\ta\t");
  EXPECT_EQ(XName("x_name=a\\\n"), "a\\");
  EXPECT_EQ(XName("x_name=a\\ \n"), "a\\");
  EXPECT_EQ(XName("x_name=a\\\r\n"), "a\\");
}

TEST(ProfileReader, EscapesMeanNothingInTheKey) {
  EXPECT_THAT(Read("x\\=y=one\n", {{"x\\", ""}, {"x=y", "default"}, {"x\\=y", "default"}}),
              ElementsAre(Pair("x=y", "default"), Pair("x\\", "y=one"), Pair("x\\=y", "default")));
  EXPECT_THAT(Read("x\\ty=one\n", {{"x\\ty", ""}}), ElementsAre(Pair("x\\ty", "one")));
}

TEST(ProfileReader, ByteOrderMarkMakesTheFirstKeyAnother) {
  EXPECT_EQ(XName("\xEF\xBB\xBFx_name=one\n"), "default");
  EXPECT_EQ(XName("\xEF\xBB\xBF\nx_name=one\n"), "one");
}

TEST(ProfileReader, LastLineCountsWithoutALineEnd) {
  EXPECT_EQ(XName("x_value=one\nx_name=two"), "two");
}

TEST(ProfileReader, OnlyTheCrOfACrLfIsRemoved) {
  EXPECT_EQ(XName("x_name=one\r\nx_value=two\r\n"), "one");
  EXPECT_EQ(XName("x_name=one\r\r\n"), "one\r");
  EXPECT_EQ(XName("x_name=one \r\n"), "one");
  EXPECT_EQ(XName("x_name=one \r \n"), "one \r");
  EXPECT_EQ(XName("x_name=on\re\n"), "on\re");
  EXPECT_EQ(XName("x_name=one\r"), "one\r");
  EXPECT_EQ(XName("x_value=1\rx_name=2\n"), "default");
}

TEST(ProfileReader, EndOfFileCharacterIsAnOrdinaryOne) {
  EXPECT_EQ(XName("x_value=\x1A\nx_name=a\x1A\n"), "a\x1A");
}

TEST(ProfileReader, NulIsAnOrdinaryCharacterOfKeyAndValue) {
  EXPECT_EQ(XName("x_name=a\0b\n"s), "a\0b"s);
  EXPECT_EQ(XName("x_name\0=a\n"s), "default");
  EXPECT_THAT(Read("x\0y=a\nx=b\n"s, {{"x\0y"s, ""}, {"x", "default"}}),
              ElementsAre(Pair("x", "b"), Pair("x\0y"s, "a")));
}

TEST(ProfileReader, CapitalsAfterANulInAKeyAreNotLowered) {
  EXPECT_THAT(Read("X\0Y=a\n"s, {{"x\0Y"s, "default"}, {"x\0y"s, "default"}}),
              ElementsAre(Pair("x\0Y"s, "a"), Pair("x\0y"s, "default")));
}

TEST(ProfileReader, LineLongerThanTheBufferIsReadWhole) {
  const std::string longText(150000, 'v');
  EXPECT_EQ(XName("x_value="s + longText + "\nx_name=" + longText + "\r\n"), longText);
  EXPECT_EQ(XName(std::string(150000, ' ') + "x_name" + std::string(150000, '\t') + "=one\n"),
            "one");
  EXPECT_EQ(XName(longText + "x_name=one\nx_name" + longText + "=two\n"), "default");
  EXPECT_EQ(XName("x_name"s + std::string(150000, ' ') + "x=one\n"), "default");
  EXPECT_EQ(XName(longText + "\nx_name=one\n"), "one");
}

TEST(ProfileReader, ResultDoesNotDependOnWhereReadsEnd) {
  const TextFile file(
      "\t X_Name =  a = \\tb\r\r\n\r\nx_n  ame=1\nx_value= \t\r\n=\r\n x_last\t= 2 ");
  for (std::uint32_t most = 1; most < 70; ++most) {
    const tests::SmallReads small(most);
    ProfileMap wanted = {{"x_name", ""}, {"x_value", "v"}, {"", "e"}, {"x_last", ""}};
    ASSERT_TRUE(ProfileReader(file.Path(), wanted));
    EXPECT_THAT(wanted, ElementsAre(Pair("", ""), Pair("x_last", "2"), Pair("x_name", "a = \tb\r"),
                                    Pair("x_value", "")))
        << most << " bytes a read";
  }
}

TEST(ProfileReader, KeysOfEveryLengthAreFound) {
  std::string content;
  ProfileMap wanted;
  for (std::size_t length = 1; length <= 130; ++length) {
    content += std::string(length, 'K') + "=" + std::to_string(length) + "\n";
    wanted[std::string(length, 'k')] = "default";
  }
  for (const auto& [key, value] : Read(content, wanted)) {
    EXPECT_EQ(value, std::to_string(key.size()));
  }
}

// The reading done the long way: whole lines first, each held against each key in turn.
void ReadTheLongWay(std::string content, ProfileMap& wanted) {
  for (std::size_t at = 0; (at = content.find("\r\n", at)) != std::string::npos; ++at) {
    content.erase(at, 1);
  }
  for (std::size_t begin = 0; begin < content.size();) {
    const std::size_t end = std::min(content.find('\n', begin), content.size());
    const std::string line = content.substr(begin, end - begin);
    begin = end + 1;
    for (auto& [key, value] : wanted) {
      const std::size_t divider = line.find('=');
      if (divider == std::string::npos) {
        continue;
      }
      std::string found = line.substr(0, divider);
      TrimBlanks(found);
      ToLowerInPlace(found);
      if (found == key) {
        std::string raw = line.substr(divider + 1);
        value = UnescapeValue(TrimBlanks(raw));
      }
    }
  }
}

TEST(ProfileReader, RandomFilesReadLikeAReferenceReader) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  std::mt19937 random(seed);
  const std::string alphabet = "aaAbB==\n\n\r\r  \t\\n\0"s;
  const ProfileMap defaults = {{"", "e"},     {"a", "1"},   {"ab", "2"},   {"b", "3"},
                               {"a b", "4"},  {"aa", "5"},  {"n", "6"},    {"a\\", "7"},
                               {"\0A"s, "8"}, {"aab", "9"}, {"\r", "cr"},  {"b\0"s, "0"},
                               {"bb", "10"},  {"A", "11"},  {"a\r", "12"}, {"a a", "13"}};
  for (int round = 0; round < 3000; ++round) {
    std::string content(random() % 120, '\0');
    for (char& character : content) {
      character = alphabet[random() % alphabet.size()];
    }
    ProfileMap expected = defaults;
    ReadTheLongWay(content, expected);
    // From memory, in reads of random sizes: what a file system is doesn't matter here.
    std::size_t given = 0;
    const platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> open(
        [&](auto...) { return platform::Handle(&given); });
    const platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle>
        close([](auto...) { return true; });
    const tests::ReplaceRead read([&](auto, auto, void* buffer, std::uint32_t, std::uint32_t* got) {
      *got = static_cast<std::uint32_t>(
          std::min<std::size_t>(1 + random() % 40, content.size() - given));
      std::copy_n(content.data() + given, *got, static_cast<char*>(buffer));
      given += *got;
      return true;
    });
    ProfileMap wanted = defaults;
    ASSERT_TRUE(ProfileReader("from memory", wanted));
    ASSERT_EQ(wanted, expected) << testing::PrintToString(content);
  }
}

std::string Trimmed(std::string text) {
  std::string& same = TrimBlanks(text);
  EXPECT_EQ(&same, &text);
  return text;
}

TEST(TrimBlanks, RemovesSpacesAndTabsFromBothEndsInPlace) {
  EXPECT_EQ(Trimmed(" \t a b \t "), "a b");
  EXPECT_EQ(Trimmed("a"), "a");
  EXPECT_EQ(Trimmed("\t a"), "a");
  EXPECT_EQ(Trimmed("a \t"), "a");
}

TEST(TrimBlanks, RemovesATextOfBlanksOnly) {
  EXPECT_EQ(Trimmed(""), "");
  EXPECT_EQ(Trimmed(" "), "");
  EXPECT_EQ(Trimmed("\t \t"), "");
}

TEST(TrimBlanks, KeepsOtherWhiteSpace) {
  EXPECT_EQ(Trimmed(" \r\n\v\f\0 "s), "\r\n\v\f\0"s);
}

std::string Lowered(std::string text) {
  ToLowerInPlace(text);
  return text;
}

TEST(ToLowerInPlace, LowersCapitalsAndKeepsTheRest) {
  EXPECT_EQ(Lowered("X_Name-AZ[@`{9"), "x_name-az[@`{9");
  EXPECT_EQ(Lowered(""), "");
  EXPECT_EQ(Lowered("\xC3\x84\xFF"), "\xC3\x84\xFF");
}

TEST(ToLowerInPlace, StopsAtTheFirstNul) {
  EXPECT_EQ(Lowered("AB\0CD"s), "ab\0CD"s);
  EXPECT_EQ(Lowered("\0A"s), "\0A"s);
}

TEST(IsEscapeAt, FinalBackslashStartsNoPair) {
  EXPECT_FALSE(IsEscapeAt("", 0));
  EXPECT_FALSE(IsEscapeAt("\\", 0));
  EXPECT_FALSE(IsEscapeAt("a\\", 1));
  EXPECT_FALSE(IsEscapeAt("a\\", 2));
  EXPECT_FALSE(IsEscapeAt("\\n", 100));
  EXPECT_FALSE(IsEscapeAt(std::string_view("\\n", 1), 0)) << "looked behind the text's end";
}

TEST(IsEscapeAt, OddNumberOfBackslashesStartsAPair) {
  EXPECT_TRUE(IsEscapeAt("\\n", 0));
  EXPECT_FALSE(IsEscapeAt("\\\\n", 1));
  EXPECT_TRUE(IsEscapeAt("\\\\\\n", 2));
  EXPECT_TRUE(IsEscapeAt("a\\n", 1));
  EXPECT_TRUE(IsEscapeAt("\\\\a\\n", 3));
}

TEST(IsEscapeAt, OnlyTheCharactersOfTheListFollow) {
  for (int follower = 0; follower < 256; ++follower) {
    const std::string text = {'\\', static_cast<char>(follower)};
    const bool listed = ",\\=#tnrvf"s.find(static_cast<char>(follower)) != std::string::npos;
    EXPECT_EQ(IsEscapeAt(text, 0), listed) << follower;
  }
}

TEST(IsEscapeAt, OtherCharactersStartNoPair) {
  EXPECT_FALSE(IsEscapeAt("an", 0));
  EXPECT_FALSE(IsEscapeAt("\\an", 1));
}

TEST(UnescapeValue, DecodesEveryPairOfTheList) {
  EXPECT_EQ(UnescapeValue("\\n\\r\\t\\v\\f\\,\\\\\\=\\#"), "\n\r\t\v\f,\\=#");
  EXPECT_EQ(UnescapeValue("a\\tb"), "a\tb");
}

TEST(UnescapeValue, KeepsABackslashBeforeAnythingElse) {
  EXPECT_EQ(UnescapeValue("\\u0041\\x41\\\"\\ \\N\\0\\a\\b"), "\\u0041\\x41\\\"\\ \\N\\0\\a\\b");
  EXPECT_EQ(UnescapeValue("\\\0n"s), "\\\0n"s);
}

TEST(UnescapeValue, KeepsASingleBackslashAtTheEnd) {
  EXPECT_EQ(UnescapeValue("\\"), "\\");
  EXPECT_EQ(UnescapeValue("a\\"), "a\\");
  EXPECT_EQ(UnescapeValue("a\\\\"), "a\\");
  EXPECT_EQ(UnescapeValue("a\\\\\\"), "a\\\\");
  EXPECT_EQ(UnescapeValue(std::string_view("a\\n", 2)), "a\\") << "looked behind the text's end";
}

TEST(UnescapeValue, PairOfBackslashesEscapesTheNextCharacter) {
  EXPECT_EQ(UnescapeValue("\\\\n"), "\\n");
  EXPECT_EQ(UnescapeValue("\\\\\\n"), "\\\n");
  EXPECT_EQ(UnescapeValue("\\\\\\\\n"), "\\\\n");
}

TEST(UnescapeValue, EmptyTextStaysEmptyAndNulStays) {
  EXPECT_EQ(UnescapeValue(""), "");
  EXPECT_EQ(UnescapeValue("a\0\\tb"s), "a\0\tb"s);
}

// A text of a million backslashes, each of which must not count all those before it.
TEST(UnescapeValue, LongTextOfBackslashesIsHalvedInLinearTime) {
  EXPECT_EQ(UnescapeValue(std::string(1000000, '\\')), std::string(500000, '\\'));
}

TEST(UnescapeValue, DecodesExactlyWhereIsEscapeAtIsTrue) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  std::mt19937 random(seed);
  const std::string alphabet = "\\\\\\nt,x";
  for (int round = 0; round < 5000; ++round) {
    std::string text(random() % 12, '\0');
    for (char& character : text) {
      character = alphabet[random() % alphabet.size()];
    }
    std::string expected;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\\' && IsEscapeAt(text, i)) {
        ++i;
        expected += text[i] == 'n' ? '\n' : text[i] == 't' ? '\t' : text[i];
      } else {
        expected += text[i];
      }
    }
    ASSERT_EQ(UnescapeValue(text), expected) << testing::PrintToString(text);
  }
}

}  // namespace
