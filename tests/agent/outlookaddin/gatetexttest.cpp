// Subject and body: what the agent gets and what the log says.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

class GateSubject : public GateTest {};
class GateBody : public GateTest {
 protected:
  // HTML whose first inline image has this name.
  static std::string HtmlWith(const std::string& name) {
    return "<html><img src=\"cid:" + name + "@01D0\"></html>";
  }
};

TEST_F(GateSubject, SendsTheTextInAFileWithAFixedName) {
  mail.subject =
      "Gr\xC3\xBC\xC3\x9F"
      "e";
  answers[1] = 3;
  EXPECT_EQ(Sink().CheckSubject(Item()), 3);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].type, 1U);
  EXPECT_EQ(asked[0].payload, Temp("ExchangeSubjectContent"));
  EXPECT_EQ(asked[0].name, "ExchangeSubjectContent");
  EXPECT_EQ(asked[0].file,
            "Gr\xC3\xBC\xC3\x9F"
            "e");
  EXPECT_THAT(Lines(), ElementsAre(Info("Mail subject: [Gr\xC3\xBC\xC3\x9F"
                                        "e]")));
  EXPECT_TRUE(Exists("temp/ExchangeSubjectContent")) << "the end of the check deletes it";
}

TEST_F(GateSubject, WarnsOfANullSubjectAndDoesNotSendIt) {
  mail.subject.reset();
  EXPECT_EQ(Sink().CheckSubject(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Warn("Empty mail subject might cause violation log trimmed.")));
  EXPECT_FALSE(Exists("temp/ExchangeSubjectContent"));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateSubject, LogsAnEmptySubjectAndDoesNotSendIt) {
  mail.subject = "";
  EXPECT_EQ(Sink().CheckSubject(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Info("Mail subject: []")));
  EXPECT_FALSE(Exists("temp/ExchangeSubjectContent"));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateSubject, SkipsAnUnreadableSubject) {
  mail.subject = "secret";
  Calls().FailEach("_MailItem::get_Subject", E_FAIL);
  EXPECT_EQ(Sink().CheckSubject(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Err("Cannot get subject, and don't check subject.")));
  EXPECT_FALSE(Exists("temp/ExchangeSubjectContent"));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateSubject, CutsTheTextAtItsFirstNul) {
  mail.subject = std::string("front\0back", 10);
  Sink().CheckSubject(Item());
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].file, "front");
}

TEST_F(GateSubject, TakesTextThatCannotBeConvertedForEmpty) {
  mail.subject = "text";
  mail.body = "text";
  platform::ScopedReplacement<platform::codepages,
                              &platform::CodePageOperations::WideCharToMultiByte>
      failing([](auto...) { return 0; });
  EXPECT_EQ(Sink().CheckSubject(Item()), 1);
  EXPECT_EQ(Sink().CheckBody(Item()), 1);
  EXPECT_THAT(Lines(), ElementsAre(Info("Mail subject: []"), Info("Body: ")));
  EXPECT_FALSE(Exists("temp/ExchangeSubjectContent"));
  EXPECT_FALSE(Exists("temp/ExchangeBodyContent"));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateSubject, MakesNoRequestIfTheFileCannotBeMade) {
  mail.subject = "text";
  mail.body = "text";
  platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> failing(
      [this](auto original, const char* path, auto... others) {
        if (std::string_view(path).starts_with(Temp(""))) return platform::kInvalidHandle;
        return original(path, others...);
      });
  EXPECT_EQ(Sink().CheckSubject(Item()), 1);
  EXPECT_EQ(Sink().CheckBody(Item()), 1);
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateSubject, Returns1IfTheAgentDoesNotAnswer) {
  mail.subject = "text";
  mail.body = "text";
  answers[1] = 0;
  EXPECT_EQ(Sink().CheckSubject(Item()), 1);
  EXPECT_EQ(Sink().CheckBody(Item()), 1);
  EXPECT_EQ(asked.size(), 2U);
}

TEST_F(GateBody, SendsThePlainTextUnchanged) {
  mail.body = "line one\r\n\xE2\x82\xAC two";
  mail.htmlBody = "<b>something else</b>";
  answers[1] = 7;
  EXPECT_EQ(Sink().CheckBody(Item()), 7);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].type, 1U);
  EXPECT_EQ(asked[0].payload, Temp("ExchangeBodyContent"));
  EXPECT_EQ(asked[0].name, "ExchangeBodyContent");
  EXPECT_EQ(asked[0].file, "line one\r\n\xE2\x82\xAC two");
  EXPECT_THAT(Lines(), ElementsAre(Info("Body: line one\r\n\xE2\x82\xAC two")));
  EXPECT_TRUE(Exists("temp/ExchangeBodyContent"));
}

TEST_F(GateBody, DoesNotReadTheHtmlOfAnUnreadableBody) {
  mail.body = "text";
  mail.htmlBody = HtmlWith("logo.png");
  MakeSignature("Work/logo.png");
  for (const HRESULT result : {S_OK, E_FAIL}) {
    Calls().FailEach("_MailItem::get_Body", result);
    EXPECT_EQ(Sink().CheckBody(Item()), 1);
    EXPECT_THAT(TakeLines(), ElementsAre(Err("Cannot get body, and don't check body.")));
  }
  EXPECT_EQ(Calls().Count("_MailItem::get_HTMLBody"), 0U);
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_EQ(Sink().CheckSignature(), 1);
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateBody, ReadsTheHtmlOfAnEmptyBodyButMakesNoFile) {
  mail.body = "";
  mail.htmlBody = HtmlWith("logo.png");
  EXPECT_EQ(Sink().CheckBody(Item()), 1);
  EXPECT_FALSE(Exists("temp/ExchangeBodyContent"));
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_EQ(Lines().front(), Info("Body: "));
  EXPECT_EQ(CountLines(Info("Find signature image: [logo.png]")), 1);
}

TEST_F(GateBody, LooksForTheImageAfterADecisiveAnswer) {
  MakeSignature("Work/logo.png");
  mail.body = "text";
  mail.htmlBody = HtmlWith("logo.png");
  answers[1] = 3;
  EXPECT_EQ(Sink().CheckBody(Item()), 3);
  EXPECT_EQ(CountLines(Info("Find signature image: [logo.png]")), 1);
  asked.clear();
  Sink().CheckSignature();
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].payload, SignaturePath("Work\\logo.png"));
}

TEST_F(GateBody, ReturnsTheAnswerToTheBodyWithAndWithoutAnImage) {
  MakeSignature("Work/logo.png");
  mail.body = "text";
  for (const char* image : {"logo.png", "missing.png"}) {
    for (const int answer : {3, 4, 7}) {
      mail.htmlBody = HtmlWith(image);
      RenewHost();
      answers[1] = answer;
      EXPECT_EQ(Sink().CheckBody(Item()), answer) << image;
      const bool found = std::string_view(image) == "logo.png";
      EXPECT_EQ(CountLines(Err("Cannot find signature filepath.")), found ? 0 : 1);
      ForgetLines();
    }
  }
}

TEST_F(GateBody, LogsNothingForHtmlWithoutAnImage) {
  mail.body = "text";
  mail.htmlBody = "<html>text <img src=\"http://example.org/a.png\"></html>";
  Sink().CheckBody(Item());
  EXPECT_THAT(Lines(), ElementsAre(Info("Body: text")));
  EXPECT_EQ(Calls().Count("_MailItem::get_HTMLBody"), 1U);
}

TEST_F(GateBody, LogsNothingForUnreadableHtmlAndKeepsAnEarlierPath) {
  MakeSignature("Work/logo.png");
  mail.body = "text";
  mail.htmlBody = HtmlWith("logo.png");
  Sink().CheckBody(Item());
  ForgetLines();
  for (const HRESULT result : {S_OK, E_FAIL}) {
    Calls().FailEach("_MailItem::get_HTMLBody", result);
    EXPECT_EQ(Sink().CheckBody(Item()), 4);
    EXPECT_THAT(TakeLines(), ElementsAre(Info("Body: text")));
  }
  asked.clear();
  Sink().CheckSignature();
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].payload, SignaturePath("Work\\logo.png"));
}

TEST_F(GateBody, LogsTheTextFirstAndSendsAllOfIt) {
  const std::string longText(5000, 'x');
  mail.subject = longText;
  mail.body = longText;
  std::vector<std::string> linesWhenAsked;
  onAsked = [&](const Asked&) { linesWhenAsked.push_back(Lines().back()); };
  Sink().CheckSubject(Item());
  Sink().CheckBody(Item());
  ASSERT_EQ(asked.size(), 2U);
  EXPECT_EQ(asked[0].file, longText);
  EXPECT_EQ(asked[1].file, longText);
  ASSERT_EQ(linesWhenAsked.size(), 2U);
  EXPECT_TRUE(linesWhenAsked[0].starts_with(Info("Mail subject: [xxx")));
  EXPECT_LT(linesWhenAsked[0].size(), 2080U);
  EXPECT_TRUE(linesWhenAsked[1].starts_with(Info("Body: xxx")));
  EXPECT_LT(linesWhenAsked[1].size(), 2080U);
}

}  // namespace
}  // namespace tests
