// The file of `quorvex conform --expect`.
#include "tools/expectations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/temporaryfolder.h"

namespace {

using testing::ElementsAre;

class Expectations : public testing::Test {
 protected:
  Expectations() { std::ofstream(m_folder.Path() / "a.eml") << "x"; }

  tools::ExpectationFile Parse(const std::string& text) const {
    return tools::ParseExpectations(File(), text);
  }
  std::string File() const { return m_folder.Entry("expect.toml"); }

  tests::TemporaryFolder m_folder;
};

TEST_F(Expectations, EachMailHasAFileAnOutcomeAndALine) {
  const auto file = Parse(
      "# comment\n[[mail]]\nfile = 'a.eml'\nmust_be = 'blocked'\n"
      "[[mail]]\nfile = 'a.eml'\nmust_be = 'sent'\n");
  EXPECT_THAT(file.mistakes, ElementsAre());
  ASSERT_EQ(file.mails.size(), 2U);
  EXPECT_EQ(std::filesystem::path(file.mails[0].file), m_folder.Path() / "a.eml");
  EXPECT_EQ(file.mails[0].outcome, "blocked");
  EXPECT_EQ(file.mails[0].line, 2U);
  EXPECT_EQ(file.mails[1].outcome, "sent");
  EXPECT_EQ(file.mails[1].line, 5U);
}

TEST_F(Expectations, EachMistakeHasItsPlace) {
  const auto mistakesOf = [this](const std::string& text) { return Parse(text).mistakes; };
  const std::string at = File() + ":";
  EXPECT_THAT(mistakesOf(""), ElementsAre(at + "1:1: there is no [[mail]] in this file"));
  EXPECT_THAT(mistakesOf("mail = [3]\n"), ElementsAre(at + "1:9: each mail is a table: [[mail]]"));
  EXPECT_THAT(mistakesOf("[[mail]]\nfile = 'b.eml'\nmust_be = 'sent'\n"),
              ElementsAre(at + "2:8: there is no file \"b.eml\""));
  EXPECT_THAT(mistakesOf("[[mail]]\nfile = 'a.eml'\nmust_be = 'blocket'\n"),
              ElementsAre(at + "3:11: must_be is \"blocked\", \"sent\" or \"tagged\", not "
                               "\"blocket\"; did you mean \"blocked\"?"));
  EXPECT_THAT(
      mistakesOf("[[mail]]\nfil = 'a.eml'\nmust_be = 4\n"),
      ElementsAre(at + "2:1: unknown key \"fil\"; did you mean \"file\"?",
                  at + "1:1: the mail has no \"file\"", at + "3:11: \"must_be\" must be a text"));
  EXPECT_EQ(mistakesOf("[[mail\n").size(), 1U);
  EXPECT_EQ(Parse("[[mail]]\nfile = 'b.eml'\nmust_be = 'sent'\n").mails.size(), 0U);
}

}  // namespace
