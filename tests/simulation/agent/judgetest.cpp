// Sessions and rules without a channel: requests go straight to the judge.
#include "simulation/agent/judge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "channel/agentchannel.h"
#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "simulation/agent/sha256.h"
#include "tests/support/temporaryfolder.h"

namespace {

using simulation::agent::Judge;
using simulation::agent::Ruling;
using simulation::agent::Sender;
using simulation::agent::Stage;
using simulation::agent::StageOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr Sender kAlice = {100, 1};
constexpr Sender kBob = {100, 2};

// Sends mails' requests in the add-in's order.
class Mails {
 public:
  explicit Mails(std::string_view rules) : judge(Parse(rules)) {}

  Ruling Recipients(const std::vector<std::string>& addresses, Sender sender = kAlice) {
    std::string payload;
    for (const std::string& address : addresses) payload += address + '\0';
    return judge.Decide({sender, channel::kItemRecipients, payload, ""});
  }
  Ruling From(const std::string& name, Sender sender = kAlice) {
    return judge.Decide({sender, channel::kItemSender, name, ""});
  }
  Ruling EnvelopeEnd(Sender sender = kAlice) {
    return judge.Decide({sender, channel::kItemEnvelope, "", ""});
  }
  Ruling Subject(const std::string& text, Sender sender = kAlice) {
    return File("ExchangeSubjectContent", text, "ExchangeSubjectContent", sender);
  }
  Ruling Body(const std::string& text, Sender sender = kAlice) {
    return File("ExchangeBodyContent", text, "ExchangeBodyContent", sender);
  }
  Ruling Attachment(const std::string& name, const std::string& content, Sender sender = kAlice) {
    return File("OutlookAttachment.1", content, name, sender);
  }
  Ruling Close(Sender sender = kAlice) {
    return judge.Decide({sender, channel::kItemClose, "", ""});
  }

  Ruling File(const std::string& file, const std::string& content, const std::string& name,
              Sender sender = kAlice) {
    std::ofstream(m_folder.Path() / file, std::ios::binary) << content;
    return judge.Decide({sender, channel::kItemFile, m_folder.Entry(file.c_str()), name});
  }

  Judge judge;

 private:
  static simulation::agent::RuleSet Parse(std::string_view text) {
    simulation::agent::RulesFile file = simulation::agent::ParseRules(text);
    for (const simulation::agent::RulesRemark& mistake : file.mistakes) {
      ADD_FAILURE() << RemarkText("rules", mistake);
    }
    return std::move(file.rules);
  }

  tests::TemporaryFolder m_folder;
};

TEST(Judge, StagesByTypeAndName) {
  EXPECT_EQ(StageOf(3, "", ""), Stage::kRecipients);
  EXPECT_EQ(StageOf(7, "", ""), Stage::kSender);
  EXPECT_EQ(StageOf(8, "", ""), Stage::kEnvelope);
  EXPECT_EQ(StageOf(9, "", ""), Stage::kClose);
  EXPECT_EQ(StageOf(2, "", ""), Stage::kUnknown);
  EXPECT_EQ(StageOf(1, "C:\\t\\ExchangeSubjectContent", "ExchangeSubjectContent"), Stage::kSubject);
  EXPECT_EQ(StageOf(1, "/t/ExchangeBodyContent", "ExchangeBodyContent"), Stage::kBody);
  EXPECT_EQ(StageOf(1, "C:\\t\\OutlookAttachment.1", "a.txt"), Stage::kAttachment);
  EXPECT_EQ(StageOf(1, "C:\\t\\logo.png", ""), Stage::kAttachment);
  // An attachment with the name of the subject's file is still an attachment.
  EXPECT_EQ(StageOf(1, "C:\\t\\OutlookAttachment.1", "ExchangeSubjectContent"), Stage::kAttachment);
}

TEST(Judge, SplitsRecipientsAtTheirNuls) {
  using simulation::agent::SplitRecipients;
  EXPECT_THAT(SplitRecipients(std::string_view("a\0bc\0d\0", 7)), ElementsAre("a", "bc", "d"));
  EXPECT_THAT(SplitRecipients(std::string_view("\0", 1)), ElementsAre(""));
  EXPECT_THAT(SplitRecipients(std::string_view("a\0\0b\0", 5)), ElementsAre("a", "", "b"));
  EXPECT_THAT(SplitRecipients("a"), ElementsAre("a"));
  EXPECT_THAT(SplitRecipients(""), IsEmpty());
}

TEST(Judge, WithoutRulesEverythingGoesOn) {
  Mails mails("");
  EXPECT_EQ(mails.Recipients({"a@x"}).answer, 4);
  EXPECT_EQ(mails.From("A").answer, 4);
  EXPECT_EQ(mails.EnvelopeEnd().answer, 4);
  EXPECT_EQ(mails.Subject("s").answer, 4);
  EXPECT_EQ(mails.Body("b").answer, 4);
  EXPECT_EQ(mails.Attachment("n", "c").answer, 4);
  EXPECT_EQ(mails.Close().answer, 4);
  EXPECT_EQ(mails.judge.Decide({kAlice, 77, "", ""}).answer, 4);
}

TEST(Judge, RemembersTheMailUntilItsClose) {
  Mails mails("");
  mails.Recipients({"a@x", "b@y"});
  mails.From("Alice");
  mails.Subject("Hello");
  mails.Body(std::string("w\0orld\xFF", 7));
  mails.Attachment("notes.txt", "abc");
  mails.File("logo.png", "", "");
  const simulation::agent::SeenMail* const mail = mails.judge.MailOf(kAlice);
  ASSERT_NE(mail, nullptr);
  EXPECT_THAT(mail->recipients, ElementsAre("a@x", "b@y"));
  EXPECT_EQ(mail->sender, "Alice");
  EXPECT_EQ(mail->subject, "Hello");
  EXPECT_EQ(mail->body, std::string("w\0orld\xEF\xBF\xBD", 9));
  ASSERT_EQ(mail->attachments.size(), 2U);
  EXPECT_EQ(mail->attachments[0].name, "notes.txt");
  EXPECT_EQ(mail->attachments[0].bytes, 3U);
  EXPECT_EQ(mail->attachments[0].sha256,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(mail->attachments[1].name, "logo.png");
  EXPECT_EQ(mail->attachments[1].bytes, 0U);
  mails.Close();
  EXPECT_EQ(mails.judge.MailOf(kAlice), nullptr);
  EXPECT_EQ(mails.judge.OpenSessions(), 0U);
}

TEST(Judge, ReportsTheFileAsItFoundIt) {
  Mails mails("");
  mails.Recipients({"a@x"});
  const Ruling found = mails.Attachment("n", "abc");
  ASSERT_TRUE(found.file);
  EXPECT_EQ(found.file->bytes, 3U);
  EXPECT_EQ(found.file->sha256, simulation::agent::Sha256Of("abc"));
  const Ruling absent = mails.judge.Decide({kAlice, channel::kItemFile, "/no/such/file", "n"});
  EXPECT_FALSE(absent.file);
  EXPECT_EQ(absent.answer, 4);
  EXPECT_EQ(absent.stage, Stage::kAttachment);
  // A NUL doesn't truncate a path.
  EXPECT_FALSE(
      mails.judge.Decide({kAlice, channel::kItemFile, std::string("/tmp\0x", 6), "n"}).file);
}

TEST(Judge, SendersDoNotMix) {
  Mails mails(R"(
[[rule]]
recipients = 'rival'
body = 'secret'
answer = "block"
)");
  mails.Recipients({"x@rival"}, kAlice);
  mails.Recipients({"x@friend"}, kBob);
  EXPECT_EQ(mails.Body("secret", kBob).answer, 4);
  EXPECT_EQ(mails.Body("harmless", kAlice).answer, 4);
  EXPECT_EQ(mails.judge.OpenSessions(), 2U);
  mails.Close(kBob);
  mails.Recipients({"x@friend"}, kBob);
  EXPECT_EQ(mails.Body("secret", kAlice).answer, 3);
  EXPECT_EQ(mails.Body("secret", {101, 1}).answer, 4);
}

TEST(Judge, ASendersNextMailStartsANewSession) {
  Mails mails(R"(
[[rule]]
subject = 'red'
body = 'secret'
answer = "block"
)");
  mails.Recipients({"a@x"});
  mails.Subject("red");
  mails.Close();
  mails.Recipients({"a@x"});
  mails.Subject("blue");
  EXPECT_EQ(mails.Body("secret").answer, 4);
  // Even if the closing request was lost.
  mails.Subject("red");
  mails.Recipients({"a@x"});
  mails.Subject("blue");
  EXPECT_EQ(mails.Body("secret").answer, 4);
}

TEST(Judge, ASilentSendersSessionIsForgotten) {
  std::uint32_t now = 0xFFFFFF00;
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
      clock([&](auto) { return now; });
  Mails mails("");
  mails.Recipients({"a@x"}, kAlice);
  now += 10 * 60 * 1000;
  mails.Recipients({"a@x"}, kBob);
  EXPECT_EQ(mails.judge.OpenSessions(), 2U);
  now += 1;
  mails.Recipients({"a@x"}, {1, 1});
  EXPECT_EQ(mails.judge.OpenSessions(), 2U);
  EXPECT_EQ(mails.judge.MailOf(kAlice), nullptr);
}

TEST(Judge, AnAnswerAtTheStageIsGivenOnce) {
  Mails mails("[[rule]]\nname = 'r'\nsubject = 'red'\nanswer = \"block\"\n");
  EXPECT_EQ(mails.Recipients({"a@x"}).answer, 4);
  const Ruling ruling = mails.Subject("a red one");
  EXPECT_EQ(ruling.answer, 3);
  EXPECT_EQ(ruling.because, "r");
  const Ruling close = mails.Close();
  EXPECT_EQ(close.answer, 4);
  EXPECT_EQ(close.because, "");
}

TEST(Judge, AnAnswerAtTheCloseIsHeld) {
  Mails mails("[[rule]]\nsubject = 'red'\nanswer = \"tag\"\nat = \"close\"\n");
  mails.Recipients({"a@x"});
  EXPECT_EQ(mails.Subject("red").answer, 4);
  EXPECT_EQ(mails.Body("b").answer, 4);
  EXPECT_EQ(mails.Close().answer, 7);
  mails.Recipients({"a@x"});
  mails.Subject("blue");
  EXPECT_EQ(mails.Close().answer, 4);
}

TEST(Judge, TheFirstRuleThatHoldsCounts) {
  Mails mails(R"(
[[rule]]
sender = '^Boss$'
answer = "go on"
[[rule]]
body = 'secret'
answer = "block"
[[rule]]
subject = 'red'
answer = "tag"
at = "close"
)");
  mails.Recipients({"a@x"});
  mails.From("Boss");
  EXPECT_EQ(mails.Body("secret").answer, 4);
  EXPECT_EQ(mails.Close().answer, 4);
  // The block's rule precedes the tag's, so the close keeps it.
  mails.Recipients({"a@x"});
  mails.From("Clerk");
  mails.Subject("red");
  EXPECT_EQ(mails.Body("secret").answer, 3);
  EXPECT_EQ(mails.Close().answer, 4);
}

TEST(Judge, AnEnvelopeRuleAnswersAtTheEnvelopeOrAtTheClose) {
  Mails stage("[[rule]]\nrecipients = '@rival$'\nanswer = \"block\"\n");
  EXPECT_EQ(stage.Recipients({"x@friend", "y@rival"}).answer, 3);
  EXPECT_EQ(stage.Close().answer, 4);
  Mails close("[[rule]]\nrecipients = '@rival$'\nanswer = \"block\"\nat = \"close\"\n");
  EXPECT_EQ(close.Recipients({"x@friend", "y@rival"}).answer, 4);
  EXPECT_EQ(close.Close().answer, 3);
}

TEST(Judge, SomeRecipientAndEachRecipient) {
  Mails some("[[rule]]\nrecipients = ['^a', '^b']\nanswer = 100\n");
  EXPECT_EQ(some.Recipients({"x", "b"}).answer, 100);
  EXPECT_EQ(some.Recipients({"x", "y"}).answer, 4);
  EXPECT_EQ(some.Recipients({}).answer, 4);
  Mails each("[[rule]]\nrecipients_all = ['^a', '^b']\nanswer = 100\n");
  EXPECT_EQ(each.Recipients({"a", "b", "a"}).answer, 100);
  EXPECT_EQ(each.Recipients({"a", "x"}).answer, 4);
  EXPECT_EQ(each.Recipients({}).answer, 4);
  // Even a pattern that matches everything needs a recipient.
  Mails any("[[rule]]\nrecipients_all = ''\nanswer = 100\n");
  EXPECT_EQ(any.From("A").answer, 4);
}

TEST(Judge, EachConditionLooksAtItsOwnPart) {
  const auto with = [](const char* key) {
    return std::string("[[rule]]\n") + key + " = 'word'\nanswer = 100\n";
  };
  Mails sender(with("sender"));
  EXPECT_EQ(sender.Recipients({"word"}).answer, 4);
  EXPECT_EQ(sender.From("a word").answer, 100);
  Mails subject(with("subject"));
  EXPECT_EQ(subject.From("word").answer, 4);
  EXPECT_EQ(subject.Body("word").answer, 4);
  EXPECT_EQ(subject.Attachment("word", "word").answer, 4);
  EXPECT_EQ(subject.Subject("word").answer, 100);
  Mails body(with("body"));
  EXPECT_EQ(body.Subject("word").answer, 4);
  EXPECT_EQ(body.Attachment("word", "word").answer, 4);
  EXPECT_EQ(body.Body("word").answer, 100);
  Mails content(with("content"));
  EXPECT_EQ(content.Subject("word").answer, 4);
  EXPECT_EQ(content.Attachment("word", "x").answer, 4);
  EXPECT_EQ(content.Body("word").answer, 100);
  content.Close();
  EXPECT_EQ(content.Attachment("x", "a word").answer, 100);
}

TEST(Judge, OneAttachmentHasToMeetAllConditions) {
  Mails mails(R"(
[[rule]]
attachment = { name = '\.zip$', content = '^PK', min_size = 3, max_size = 5 }
answer = "block"
)");
  mails.Recipients({"a@x"});
  EXPECT_EQ(mails.Attachment("a.zip", "PK").answer, 4);      // too small
  EXPECT_EQ(mails.Attachment("a.zip", "PK3456").answer, 4);  // too large
  EXPECT_EQ(mails.Attachment("a.txt", "PK34").answer, 4);    // another name
  EXPECT_EQ(mails.Attachment("a.zip", "xPK4").answer, 4);    // another content
  EXPECT_EQ(mails.Body("PK34").answer, 4);                   // no attachment
  EXPECT_EQ(mails.Attachment("a.zip", "PK3").answer, 3);
  mails.Close();
  EXPECT_EQ(mails.Attachment("b.zip", "PK345").answer, 3);
}

TEST(Judge, AMissingFileMeetsNoCondition) {
  Mails mails("[[rule]]\nattachment = { max_size = 10 }\nanswer = \"block\"\n");
  EXPECT_EQ(mails.judge.Decide({kAlice, channel::kItemFile, "/no/such/file", "n"}).answer, 4);
  EXPECT_EQ(mails.Attachment("n", "").answer, 3);
}

TEST(Judge, AConditionOnceMetStaysMet) {
  Mails mails(R"(
[[rule]]
attachment = { name = 'first' }
content = 'word'
answer = "block"
)");
  mails.Attachment("first", "x");
  EXPECT_EQ(mails.Attachment("second", "x").answer, 4);
  EXPECT_EQ(mails.Attachment("third", "word").answer, 3);
}

TEST(Judge, ASearchThatTakesTooLongIsReported) {
  std::uint32_t now = 0;
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
      clock([&](auto) { return now += 600; });
  Mails mails("[[rule]]\nbody = 'a[^b]*c'\nanswer = \"block\"\n");
  const Ruling ruling = mails.Body(std::string(2'000'000, 'a'));
  EXPECT_EQ(ruling.answer, 4);
  EXPECT_THAT(ruling.remarks, ElementsAre(HasSubstr("a[^b]*c")));
}

TEST(JudgeFaults, SilentAtOneStage) {
  Mails mails("[[fault]]\nname = 'f'\ndo = \"silent\"\nstage = \"sender\"\n");
  EXPECT_EQ(mails.Recipients({"a@x"}).answer, 4);
  const Ruling ruling = mails.From("A");
  EXPECT_FALSE(ruling.answer);
  EXPECT_EQ(ruling.because, "f");
  EXPECT_FALSE(ruling.crash);
  EXPECT_EQ(mails.Close().answer, 4);
}

TEST(JudgeFaults, AnAnswerOfItsOwnAndALateOne) {
  Mails mails(R"(
[[rule]]
body = 'secret'
answer = "block"
[[fault]]
stage = "subject"
answer = 8
[[fault]]
stage = "body"
late = 300
[[fault]]
stage = "close"
answer = 7
late = 20
)");
  EXPECT_EQ(mails.Subject("s").answer, 8);
  const Ruling body = mails.Body("secret");
  EXPECT_EQ(body.answer, 3);
  EXPECT_EQ(body.late, 300U);
  const Ruling close = mails.Close();
  EXPECT_EQ(close.answer, 7);
  EXPECT_EQ(close.late, 20U);
}

TEST(JudgeFaults, ACrashGivesNoAnswer) {
  Mails mails("[[fault]]\ndo = \"crash\"\nstage = \"close\"\n");
  EXPECT_FALSE(mails.From("A").crash);
  const Ruling close = mails.Close();
  EXPECT_TRUE(close.crash);
  EXPECT_FALSE(close.answer);
}

TEST(JudgeFaults, ConditionsHoldForFaultsToo) {
  Mails mails("[[fault]]\ndo = \"silent\"\nrecipients = 'slow'\n");
  EXPECT_EQ(mails.Recipients({"fast@x"}).answer, 4);
  EXPECT_EQ(mails.Close().answer, 4);
  EXPECT_FALSE(mails.Recipients({"slow@x"}).answer);
  EXPECT_FALSE(mails.Close().answer);
}

TEST(JudgeFaults, EveryNthMatchAndALimit) {
  Mails mails("[[fault]]\nanswer = 9\nstage = \"sender\"\nevery = 3\ntimes = 2\n");
  std::vector<int> answers;
  for (int i = 0; i < 10; ++i) answers.push_back(mails.From("A").answer.value_or(0));
  EXPECT_THAT(answers, ElementsAre(4, 4, 9, 4, 4, 9, 4, 4, 4, 4));
}

TEST(JudgeFaults, ABlockIsRefusedByTypeAndKnownConditions) {
  Mails mails(R"(
[[fault]]
name = "files"
do = "no block"
stage = "content"
recipients = 'x'
[[fault]]
name = "close"
do = "no block"
stage = "close"
times = 1
)");
  std::string because;
  EXPECT_FALSE(mails.judge.RefusesBlock(kAlice, channel::kItemFile, &because));
  EXPECT_FALSE(mails.judge.RefusesBlock(kAlice, channel::kItemRecipients, &because));
  mails.Recipients({"x"});
  EXPECT_FALSE(mails.judge.RefusesBlock(kAlice, channel::kItemSender, &because));
  EXPECT_FALSE(mails.judge.RefusesBlock(kBob, channel::kItemFile, &because));
  EXPECT_TRUE(mails.judge.RefusesBlock(kAlice, channel::kItemFile, &because));
  EXPECT_EQ(because, "files");
  EXPECT_EQ(mails.judge.OpenSessions(), 1U);
  EXPECT_TRUE(mails.judge.RefusesBlock(kAlice, channel::kItemClose, &because));
  EXPECT_EQ(because, "close");
  EXPECT_EQ(mails.judge.OpenSessions(), 0U) << "the mail is over, whether it was answered or not";
  EXPECT_FALSE(mails.judge.RefusesBlock(kAlice, channel::kItemClose, &because));
}

}  // namespace
