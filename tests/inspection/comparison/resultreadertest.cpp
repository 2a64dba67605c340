// Reading whole files of results.

#include "inspection/comparison/resultreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/support/temporaryfolder.h"

namespace {

using inspection::comparison::RecordedMail;
using inspection::comparison::ResultReader;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class ResultReaderTest : public testing::Test {
 protected:
  bool Read(const std::string& text) {
    std::istringstream stream(text);
    return m_reader.Read(stream, "run.jsonl", &m_error);
  }

  std::vector<std::string> m_names;
  std::string m_error;
  ResultReader m_reader{[this](const RecordedMail& mail) { m_names.push_back(mail.mail); }, true};
};

std::string ResultLine(const std::string& name) {
  return R"({"mail":")" + name + R"(","outcome":"sent"})";
}

TEST_F(ResultReaderTest, TakesEveryLineEndAndAnUnfinishedLastLine) {
  EXPECT_TRUE(Read("\xEF\xBB\xBF" + ResultLine("a") + "\r\n\n  \n" + ResultLine("b") + "\n" +
                   ResultLine("c")));
  EXPECT_THAT(m_names, ElementsAre("a", "b", "c"));
  EXPECT_EQ(m_reader.BadLines(), 0u);
}

TEST_F(ResultReaderTest, ReportsABadLineWithItsPlaceAndGoesOn) {
  EXPECT_TRUE(Read(ResultLine("a") + "\n\n{\"mail\":\"half\n" + ResultLine("b") + "\n" +
                   R"({"outcome":"sent"})" + "\n"));
  EXPECT_THAT(m_names, ElementsAre("a", "b"));
  EXPECT_EQ(m_reader.BadLines(), 2u);
  ASSERT_THAT(m_reader.ShownBadLines(), SizeIs(2));
  EXPECT_EQ(m_reader.ShownBadLines()[0].file, "run.jsonl");
  EXPECT_EQ(m_reader.ShownBadLines()[0].line, 3u);
  EXPECT_THAT(m_reader.ShownBadLines()[0].why, HasSubstr("not JSON"));
  EXPECT_EQ(m_reader.ShownBadLines()[1].line, 5u);
  EXPECT_EQ(m_reader.ShownBadLines()[1].why, "no \"mail\": it has no name");
}

TEST_F(ResultReaderTest, ALineThatEndsInsideACharacterLeavesTheNextOneIntact) {
  EXPECT_TRUE(Read("{\"mail\":\"\\n\xF2\n" + ResultLine("a") + "\n{\"mail\":\"\xF2"));
  EXPECT_THAT(m_names, ElementsAre("a"));
  EXPECT_EQ(m_reader.BadLines(), 2u);
}

TEST_F(ResultReaderTest, CountsAllBadLinesAndShowsTheFirst) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "nonsense\n";
  EXPECT_TRUE(Read(text));
  EXPECT_EQ(m_reader.BadLines(), 1000u);
  EXPECT_THAT(m_reader.ShownBadLines(), SizeIs(ResultReader::kShownBadLines));
}

// The buffer holds a megabyte at first.
TEST_F(ResultReaderTest, TakesLinesOfAnyLengthAcrossTheBuffersEnd) {
  std::string text;
  std::vector<std::string> names;
  for (const std::size_t size : {1u << 20, 3u, 3u << 20, (1u << 20) - 28, 100u, 5u << 20}) {
    names.push_back(std::string(size, static_cast<char>('a' + names.size())));
    text += ResultLine(names.back()) + "\n";
  }
  EXPECT_TRUE(Read(text));
  EXPECT_EQ(m_names, names);
  EXPECT_EQ(m_reader.BadLines(), 0u);
}

TEST_F(ResultReaderTest, PassesOverALineThatIsTooLong) {
  EXPECT_TRUE(Read(ResultLine("a") + "\n" + ResultLine(std::string(70u << 20, 'x')) + "\n" +
                   ResultLine("b") + "\n"));
  EXPECT_THAT(m_names, ElementsAre("a", "b"));
  ASSERT_THAT(m_reader.ShownBadLines(), SizeIs(1));
  EXPECT_EQ(m_reader.ShownBadLines()[0].line, 2u);
  EXPECT_EQ(m_reader.ShownBadLines()[0].why, "longer than 64 MiB");
}

TEST_F(ResultReaderTest, SaysThatAFileIsUtf16) {
  EXPECT_FALSE(Read(std::string("\xFF\xFE{\0\"\0", 6)));
  EXPECT_EQ(m_error, "this is UTF-16 text; results are UTF-8");
}

TEST_F(ResultReaderTest, SaysWhyAFileCannotBeRead) {
  const tests::TemporaryFolder folder;
  EXPECT_FALSE(m_reader.ReadFile(folder.Entry("missing.jsonl"), &m_error));
  EXPECT_EQ(m_error, "No such file or directory");
  EXPECT_FALSE(m_reader.ReadFile(folder.Entry(""), &m_error));
  EXPECT_EQ(m_error, "Is a directory");
}

TEST_F(ResultReaderTest, ReadsSingleLinesToo) {
  m_reader.ReadLine(ResultLine("a") + "\r", "child", 1);
  m_reader.ReadLine("", "child", 2);
  m_reader.ReadLine("bad", "child", 3);
  EXPECT_THAT(m_names, ElementsAre("a"));
  ASSERT_THAT(m_reader.ShownBadLines(), SizeIs(1));
  EXPECT_EQ(m_reader.ShownBadLines()[0].file, "child");
  EXPECT_EQ(m_reader.ShownBadLines()[0].line, 3u);
}

TEST_F(ResultReaderTest, ReadsSeveralFilesOneAfterTheOther) {
  const tests::TemporaryFolder folder;
  std::ofstream(folder.Path() / "one", std::ios::binary) << ResultLine("a");
  std::ofstream(folder.Path() / "two", std::ios::binary) << ResultLine("b") << "\nbad\n";
  EXPECT_TRUE(m_reader.ReadFile(folder.Entry("one"), &m_error));
  EXPECT_TRUE(m_reader.ReadFile(folder.Entry("two"), &m_error));
  EXPECT_THAT(m_names, ElementsAre("a", "b"));
  EXPECT_EQ(m_reader.Mails(), 2u);
  EXPECT_EQ(m_reader.ShownBadLines().at(0).file, folder.Entry("two"));
}

}  // namespace
