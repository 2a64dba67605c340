#include "platform/textlines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/filereads.h"
#include "tests/support/textfile.h"

namespace {

using namespace std::string_literals;
using platform::TextLines;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::TextFile;

std::vector<std::string> LinesOf(const TextFile& file) {
  TextLines lines(file.Path().c_str());
  std::vector<std::string> all;
  for (std::string_view line; lines.Next(&line);) {
    all.emplace_back(line);
  }
  return all;
}

std::vector<std::string> LinesOf(std::string_view content) {
  return LinesOf(TextFile(content));
}

std::vector<std::string> PiecesOf(std::string_view content, std::size_t limit) {
  const TextFile file(content);
  TextLines lines(file.Path().c_str());
  std::vector<std::string> all;
  for (std::string_view piece; lines.NextPiece(limit, &piece);) {
    all.emplace_back(piece);
  }
  return all;
}

TEST(TextLines, LineEndsAreLfAndCrLf) {
  EXPECT_THAT(LinesOf("one\ntwo\r\nthree\n"), ElementsAre("one", "two", "three"));
}

TEST(TextLines, LastLineCountsWithoutALineEnd) {
  EXPECT_THAT(LinesOf("one\ntwo"), ElementsAre("one", "two"));
}

TEST(TextLines, EmptyLinesCountButNotNothingAfterTheLastLineEnd) {
  EXPECT_THAT(LinesOf("\n\r\n\nx\n\n"), ElementsAre("", "", "", "x", ""));
  EXPECT_THAT(LinesOf("\n"), ElementsAre(""));
  EXPECT_THAT(LinesOf(""), IsEmpty());
}

TEST(TextLines, OnlyTheCrBeforeAnLfIsRemoved) {
  EXPECT_THAT(LinesOf("a\rb\r\r\n\rc\n\r"), ElementsAre("a\rb\r", "\rc", "\r"));
}

TEST(TextLines, EveryOtherByteStays) {
  EXPECT_THAT(LinesOf("a\x1A"
                      "b\0c\xFF\nd\n"s),
              ElementsAre("a\x1A"
                          "b\0c\xFF"s,
                          "d"));
}

TEST(TextLines, LineLongerThanTheBufferIsReturnedWhole) {
  const std::string longLine(200000, 'x');
  EXPECT_THAT(LinesOf("a\n" + longLine + "\r\n" + longLine), ElementsAre("a", longLine, longLine));
}

TEST(TextLines, LinesAreTheSameHoweverTheBytesArrive) {
  const TextFile file("one\r\n\r\n\ntw\ro\r\r\nthree");
  const std::vector<std::string> whole = LinesOf(file);
  ASSERT_THAT(whole, ElementsAre("one", "", "", "tw\ro\r", "three"));
  for (std::uint32_t most = 1; most < 8; ++most) {
    const tests::SmallReads small(most);
    EXPECT_EQ(LinesOf(file), whole) << most << " bytes a read";
  }
}

TEST(TextLines, ManyLinesOverManyReadsComeInOrder) {
  std::string content;
  for (int line = 0; line < 20000; ++line) {
    content += "line " + std::to_string(line) + "\r\n";
  }
  const std::vector<std::string> lines = LinesOf(content);
  ASSERT_EQ(lines.size(), 20000u);
  for (int line = 0; line < 20000; ++line) {
    ASSERT_EQ(lines[static_cast<std::size_t>(line)], "line " + std::to_string(line));
  }
}

TEST(TextLines, FailedReadEndsTheFileAfterTheDataReadBefore) {
  const TextFile file("one\ntwo\nthree\n");
  {
    const tests::BrokenRead broken(6);
    EXPECT_THAT(LinesOf(file), ElementsAre("one", "tw"));
  }
  {
    const tests::BrokenRead broken(8);
    EXPECT_THAT(LinesOf(file), ElementsAre("one", "two"));
  }
  {
    const tests::BrokenRead broken(0);
    EXPECT_THAT(LinesOf(file), IsEmpty());
  }
}

TEST(TextLines, EndIsPermanent) {
  const TextFile file("one");
  TextLines lines(file.Path().c_str());
  std::string_view line;
  EXPECT_TRUE(lines.Next(&line));
  EXPECT_FALSE(lines.Next(&line));
  EXPECT_FALSE(lines.Next(&line));
  EXPECT_FALSE(lines.NextPiece(10, &line));
}

TEST(TextLines, FailedReadIsNotRetried) {
  const TextFile file("one\ntwo\n");
  int calls = 0;
  const tests::ReplaceRead onceFailing(
      [&](auto original, auto... arguments) { return ++calls != 1 && original(arguments...); });
  TextLines lines(file.Path().c_str());
  std::string_view line;
  EXPECT_FALSE(lines.Next(&line));
  EXPECT_FALSE(lines.Next(&line));
  EXPECT_EQ(calls, 1);
}

TEST(TextLines, FileThatCannotBeOpenedHasNoLines) {
  const tests::TemporaryFolder folder;
  const tests::OpenFiles calls;
  {
    TextLines missing(folder.Entry("missing.txt").c_str());
    EXPECT_FALSE(missing.IsOpen());
    std::string_view line;
    EXPECT_FALSE(missing.Next(&line));
    EXPECT_FALSE(missing.NextPiece(10, &line));
  }
  EXPECT_EQ(calls.Opened(), 1);
  EXPECT_EQ(calls.Closed(), 0);
  EXPECT_FALSE(TextLines(nullptr).IsOpen());
  EXPECT_EQ(calls.Opened(), 1);
}

TEST(TextLines, OpensForReadingSharedWithReadersAndWritersAndClosesAtTheEnd) {
  const TextFile file("one\n");
  const tests::OpenFiles calls;
  {
    TextLines lines(file.Path().c_str());
    EXPECT_TRUE(lines.IsOpen());
    EXPECT_EQ(calls.Closed(), 0);
  }
  EXPECT_EQ(calls.Opened(), 1);
  EXPECT_EQ(calls.Closed(), 1);
  EXPECT_EQ(calls.LastAccess(), platform::kGenericRead);
  EXPECT_EQ(calls.LastShare(), platform::kShareReadWrite);
  EXPECT_EQ(calls.LastDisposition(), platform::kOpenExisting);
}

TEST(TextPieces, IncludeTheLfIfItFits) {
  EXPECT_THAT(PiecesOf("one\ntwo\r\nx", 10), ElementsAre("one\n", "two\n", "x"));
}

TEST(TextPieces, LongerLineIsCutAndItsRestIsTheNextPiece) {
  EXPECT_THAT(PiecesOf("abcdefgh\nij", 3), ElementsAre("abc", "def", "gh\n", "ij"));
}

TEST(TextPieces, LineEndAfterTheLimitIsASeparatePiece) {
  EXPECT_THAT(PiecesOf("abc\nd", 4), ElementsAre("abc\n", "d"));
  EXPECT_THAT(PiecesOf("abc\nd", 3), ElementsAre("abc", "\n", "d"));
}

TEST(TextPieces, CrLfCountsAsOneCharacter) {
  EXPECT_THAT(PiecesOf("abc\r\nd", 4), ElementsAre("abc\n", "d"));
  EXPECT_THAT(PiecesOf("abc\r\nd", 3), ElementsAre("abc", "\n", "d"));
  EXPECT_THAT(PiecesOf("\r\n\r\n", 1), ElementsAre("\n", "\n"));
}

TEST(TextPieces, LoneCrAtTheLimitStays) {
  EXPECT_THAT(PiecesOf("ab\rcd\n", 3), ElementsAre("ab\r", "cd\n"));
  EXPECT_THAT(PiecesOf("ab\r\r\nc", 3), ElementsAre("ab\r", "\n", "c"));
  EXPECT_THAT(PiecesOf("ab\r", 3), ElementsAre("ab\r"));
}

TEST(TextPieces, AreTheSameHoweverTheBytesArrive) {
  const std::string content = "abc\r\n\r\nabcd\r\nabcdefg\rh\n\nxy\r";
  for (std::size_t limit = 1; limit < 12; ++limit) {
    const std::vector<std::string> whole = PiecesOf(content, limit);
    for (std::uint32_t most = 1; most < 5; ++most) {
      const tests::SmallReads small(most);
      EXPECT_EQ(PiecesOf(content, limit), whole) << limit << " characters, " << most << " a read";
    }
    std::string joined;
    for (const std::string& piece : whole) {
      EXPECT_LE(piece.size(), limit);
      joined += piece;
    }
    EXPECT_EQ(joined, "abc\n\nabcd\nabcdefg\rh\n\nxy\r");
  }
}

TEST(TextPieces, LimitMayExceedTheBuffer) {
  const std::string longLine(100000, 'x');
  EXPECT_THAT(PiecesOf(longLine + "\n" + longLine, 99999),
              ElementsAre(longLine.substr(1), "x\n", longLine.substr(1), "x"));
}

TEST(TextPieces, MayAlternateWithLines) {
  const TextFile file("abcdef\r\nsecond\nthird");
  TextLines lines(file.Path().c_str());
  std::string_view text;
  ASSERT_TRUE(lines.NextPiece(4, &text));
  EXPECT_EQ(text, "abcd");
  ASSERT_TRUE(lines.Next(&text));
  EXPECT_EQ(text, "ef");
  ASSERT_TRUE(lines.NextPiece(100, &text));
  EXPECT_EQ(text, "second\n");
  ASSERT_TRUE(lines.Next(&text));
  EXPECT_EQ(text, "third");
}

TEST(TextPieces, FailedReadEndsTheFileAfterTheDataReadBefore) {
  const TextFile file("one\ntwo\n");
  const tests::BrokenRead broken(6);
  TextLines lines(file.Path().c_str());
  std::string_view piece;
  ASSERT_TRUE(lines.NextPiece(100, &piece));
  EXPECT_EQ(piece, "one\n");
  ASSERT_TRUE(lines.NextPiece(100, &piece));
  EXPECT_EQ(piece, "tw");
  EXPECT_FALSE(lines.NextPiece(100, &piece));
}

}  // namespace
