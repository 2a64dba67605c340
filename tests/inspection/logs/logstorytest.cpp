// What happened to each mail, from the lines of the add-in's log.

#include "inspection/logs/logstory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "inspection/logs/logline.h"

namespace inspection::logs {
namespace {

using checked::Checked;
using checked::Reason;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string Line(const std::string& message, const std::string& thread = "12902") {
  return "(" + thread + ") 11/21/2026 01:47:41.928 Outlook> Info: " + message + "\r\n";
}

std::string Answer(int answer, int counter = 124) {
  return "CheckContent: lActionCode=" + std::to_string(answer) +
         " iTimeOut=" + std::to_string(counter);
}

const std::string kNew = "MailItem 0x000055CAB1D12EE0 is not checked, continue CheckMail ... ";
const std::string kNoRing = "InitializeSharedMemory: OpenFileMapping err(0X0)!";
const std::string kNoAgent = "CheckContent: cannot initialize shared memory!";

std::vector<std::string> Reasons(const MailStory& mail) {
  std::vector<std::string> reasons;
  for (const StoryReason& reason : mail.reasons) reasons.push_back(TextOf(reason));
  return reasons;
}

class LogStoryTest : public testing::Test {
 protected:
  void Take(const std::vector<std::string>& messages) {
    for (const std::string& message : messages) m_stories.Take(Line(message));
  }

  // Returns the only mail in these lines.
  MailStory Story(const std::vector<std::string>& messages) {
    Take(messages);
    m_stories.Finish();
    EXPECT_THAT(m_mails, SizeIs(1));
    return m_mails.empty() ? MailStory() : m_mails.front();
  }

  // Returns the lines of a mail whose requests are all answered with 4, with `subject` as that
  // stage's lines.
  static std::vector<std::string> WithSubject(const std::vector<std::string>& subject) {
    std::vector<std::string> lines = {kNew,          Answer(4), "CheckRecipients returns: 4.",
                                      "Sender: Ada", Answer(4), Answer(4)};
    lines.insert(lines.end(), subject.begin(), subject.end());
    const std::vector<std::string> rest = {"Body: ",
                                           "CheckBody returns: 1.",
                                           "CheckSignature returns: 1.",
                                           "Cannot get attachments' count. hr:0",
                                           "CheckAttachments returns: 1.",
                                           Answer(4),
                                           "ScanSessionEnd returns: 4."};
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
  }

  std::vector<MailStory> m_mails;
  LogStories m_stories{[this](const MailStory& mail) { m_mails.push_back(mail); }};
};

TEST(LogLine, IsTakenApart) {
  const auto line = ParseLogLine("(00042) 01/02/2026 03:04:05.006 OUTLOOK> Err : a> b: c\r\n");
  ASSERT_TRUE(line);
  EXPECT_EQ(line->thread, "00042");
  EXPECT_EQ(line->module, "OUTLOOK");
  EXPECT_EQ(line->level, "Err");
  EXPECT_EQ(line->message, "a> b: c");
  EXPECT_EQ(SortableTime(*line), "2026010203:04:05.006");
}

TEST(LogLine, OtherTextIsNone) {
  for (const char* text :
       {"", "(", "() ", "(1) ", "(1) 01/02/2026", "(x) 01/02/2026 03:04:05.006 O> Err : a",
        "(1) 01/02/2026 03:04:05,006 O> Err : a", "(1) 01/02/2026 03:04:05.006 O",
        "(1) 01/02/2026 03:04:05.006 O> Error: a", "(1) 01/02/2026 03:04:05.006"}) {
    EXPECT_FALSE(ParseLogLine(text)) << text;
  }
}

TEST_F(LogStoryTest, MailThatWasCheckedHasItsStagesAnswersAndWaits) {
  auto lines = WithSubject({"Mail subject: [Offer]", Answer(4, 120), "CheckSubject returns: 4."});
  lines.insert(lines.begin(), "New Inspector Created.");
  const MailStory mail = Story(lines);
  EXPECT_EQ(mail.window, "new window");
  EXPECT_EQ(mail.item, "0x000055CAB1D12EE0");
  EXPECT_EQ(mail.subject, "Offer");
  EXPECT_EQ(mail.outcome, "sent");
  EXPECT_EQ(mail.checked, Checked::kYes);
  EXPECT_THAT(Reasons(mail), IsEmpty());
  std::vector<std::string> stages;
  for (const StoryRequest& request : mail.requests) stages.push_back(request.stage);
  EXPECT_THAT(stages, ElementsAre("recipients", "sender", "envelope", "subject", "close"));
  EXPECT_EQ(mail.requests[0].waitedMs, 40);
  EXPECT_EQ(mail.requests[3].counter, 120);
  EXPECT_EQ(mail.requests[3].waitedMs, 120);
}

TEST_F(LogStoryTest, WithoutAgentTheMailIsUnchecked) {
  const MailStory mail =
      Story({kNew, kNoRing, kNoAgent, "CheckRecipients returns: 1.", "Sender: Ada", kNoRing,
             kNoAgent, kNoRing, kNoAgent, kNoRing, kNoAgent, "ScanSessionEnd returns: 1."});
  EXPECT_EQ(mail.checked, Checked::kNo);
  EXPECT_EQ(mail.outcome, "sent");
  EXPECT_THAT(Reasons(mail),
              ElementsAre("no agent was running (recipients, sender, envelope, close)"));
  EXPECT_THAT(mail.requests, SizeIs(4));
  EXPECT_EQ(mail.requests[3].stage, "close");
}

TEST_F(LogStoryTest, UnreadableRecipientsLeaveTheMailUnchecked) {
  const MailStory mail =
      Story({kNew, "Get recipients failed: 0x80004005, and don't check recpients.",
             "CheckRecipients returns: 1.", Answer(4), Answer(4), Answer(4),
             "ScanSessionEnd returns: 4."});
  EXPECT_EQ(mail.checked, Checked::kNo);
  EXPECT_THAT(Reasons(mail), ElementsAre("a recipient couldn't be read"));
}

TEST_F(LogStoryTest, RecipientsWithoutAddressLeaveTheMailUnchecked) {
  EXPECT_THAT(Reasons(Story({kNew, "CheckRecipients returns: 1.", "ScanSessionEnd returns: 4."})),
              ElementsAre("no recipient had an address"));
}

TEST_F(LogStoryTest, AgentThatDoesNotAnswerInTime) {
  const MailStory mail = Story({kNew, Answer(1, 0), "CheckRecipients returns: 1.", Answer(4),
                                Answer(4), Answer(4), "ScanSessionEnd returns: 4."});
  EXPECT_EQ(mail.checked, Checked::kNo);
  EXPECT_EQ(mail.requests[0].end, RequestEnd::kTimeOut);
  EXPECT_EQ(mail.requests[0].waitedMs, 2520);
  EXPECT_THAT(Reasons(mail), ElementsAre("the agent didn't answer in time (recipients)"));
}

TEST_F(LogStoryTest, CounterThatNoWaitHasCountsAsTheNearest) {
  const MailStory mail = Story({kNew, Answer(4, -2147483647 - 1), "CheckRecipients returns: 4.",
                                "Sender: Ada", Answer(4, 2147483647)});
  ASSERT_THAT(mail.requests, SizeIs(2));
  EXPECT_EQ(mail.requests[0].waitedMs, 20 * 126);
  EXPECT_EQ(mail.requests[1].waitedMs, 20);
}

TEST_F(LogStoryTest, AgentThatDoesNotTakeTheRequest) {
  std::vector<std::string> lines = {kNew};
  lines.insert(lines.end(), 399, kNoRing);
  lines.push_back("CheckRecipients returns: 1.");
  lines.push_back("ScanSessionEnd returns: 4.");
  const MailStory mail = Story(lines);
  ASSERT_THAT(mail.requests, SizeIs(1));
  EXPECT_EQ(mail.requests[0].end, RequestEnd::kNoBlock);
  EXPECT_EQ(mail.requests[0].waitedMs, 7980);
  EXPECT_THAT(Reasons(mail), ElementsAre("the agent didn't take the request (recipients)"));
}

TEST_F(LogStoryTest, FullRing) {
  EXPECT_THAT(Reasons(Story({kNew, "CheckContent: cannot push entry!",
                             "CheckRecipients returns: 1.", "ScanSessionEnd returns: 4."})),
              ElementsAre("the ring was full or damaged (recipients)"));
}

TEST_F(LogStoryTest, AnswerThatIsNotPassedOnMakesTheCheckPartial) {
  const MailStory mail =
      Story(WithSubject({"Mail subject: [x]", Answer(6), "CheckSubject returns: 1."}));
  EXPECT_EQ(mail.checked, Checked::kPart);
  EXPECT_EQ(mail.requests[3].end, RequestEnd::kNotPassedOn);
  EXPECT_THAT(Reasons(mail), ElementsAre("the agent's answer wasn't 3, 4 or 7 (subject)"));
}

TEST_F(LogStoryTest, BlockInAnswerToTheRecipientsDecidesNothing) {
  const MailStory mail = Story({kNew, Answer(3), "CheckRecipients returns: 3.", Answer(4),
                                Answer(4), Answer(4), "ScanSessionEnd returns: 4."});
  EXPECT_EQ(mail.outcome, "sent");
  EXPECT_EQ(mail.checked, Checked::kNo);
  EXPECT_THAT(Reasons(mail), ElementsAre("the recipients were answered with block or tag, which "
                                         "leaves the content unchecked"));
}

TEST_F(LogStoryTest, ReusedVerdictLeavesTheMailUnchecked) {
  const MailStory mail =
      Story({"MailItem 0x000055CAB1D12EE0 is already checked, previous result 4 "});
  EXPECT_EQ(mail.outcome, "sent");
  EXPECT_EQ(mail.checked, Checked::kNo);
  EXPECT_THAT(Reasons(mail), ElementsAre("the verdict of a check in the last 5 s was reused"));
}

TEST_F(LogStoryTest, CachedBlockIsCheckedAgain) {
  auto lines = WithSubject({"Mail subject: [x]", Answer(4), "CheckSubject returns: 4."});
  lines[0] = "MailItem 0x000055CAB1D12EE0 is already checked, previous result 3 ";
  const MailStory mail = Story(lines);
  EXPECT_EQ(mail.outcome, "sent");
  EXPECT_EQ(mail.checked, Checked::kYes);
}

TEST_F(LogStoryTest, BlockOnTheSubjectGoesStraightToTheClosing) {
  Take({kNew, Answer(4), "CheckRecipients returns: 4.", "Sender: Ada", Answer(4), Answer(4),
        "Mail subject: [x]", Answer(3), "CheckSubject returns: 3.", Answer(4),
        "ScanSessionEnd returns: 4.", "Block current mail sending."});
  m_stories.Finish();
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_EQ(m_mails[0].outcome, "blocked");
  EXPECT_EQ(m_mails[0].requests.back().stage, "close");
  EXPECT_EQ(m_mails[0].checked, Checked::kYes);
}

TEST_F(LogStoryTest, TagComesFromTheClosingAnswer) {
  const MailStory mail = Story({kNew, Answer(4), "CheckRecipients returns: 4.", "Sender: Ada",
                                Answer(4), Answer(4), "CheckAttachments returns: 1.", Answer(7),
                                "ScanSessionEnd returns: 7.", "rolo_dbg Error setting Header."});
  EXPECT_EQ(mail.outcome, "tagged");
  EXPECT_THAT(Reasons(mail), ElementsAre("the tag couldn't be written"));
}

TEST_F(LogStoryTest, LongWaitCountsFromTheLongCounter) {
  const MailStory mail = Story({kNew,
                                "[DlpMailEvent::CheckEmail] Get key_challenge_response = true "
                                "@dlpmailevent.cpp(731)",
                                Answer(4, 9249)});
  ASSERT_THAT(mail.requests, SizeIs(1));
  EXPECT_EQ(mail.requests[0].waitedMs, 40);
}

TEST_F(LogStoryTest, LogThatEndsWithinACheckGivesNoVerdict) {
  const MailStory mail = Story({kNew, Answer(4)});
  EXPECT_EQ(mail.outcome, "unknown");
  EXPECT_THAT(Reasons(mail), ElementsAre("the log doesn't say how the check ended"));
}

TEST_F(LogStoryTest, ThreadsAreKeptApart) {
  m_stories.Take(Line(kNew, "1"));
  m_stories.Take(Line(kNew, "2"));
  m_stories.Take(Line(Answer(6), "2"));
  m_stories.Take(Line(Answer(4), "1"));
  m_stories.Finish();
  ASSERT_THAT(m_mails, SizeIs(2));
  for (const MailStory& mail : m_mails) {
    ASSERT_THAT(mail.requests, SizeIs(1));
    EXPECT_EQ(mail.requests[0].answer, mail.thread == "1" ? 4 : 6);
  }
}

TEST_F(LogStoryTest, ForeignLinesAreCountedAndAMailsTextIsNot) {
  m_stories.Take("something else\n");
  m_stories.Take("(1) 11/21/2026 01:47:41.928 Other> Info: CheckSubject returns: 3.\n");
  m_stories.Take(Line("Body: first"));
  m_stories.Take("second\n");
  m_stories.Take(Line("CheckBody returns: 4."));
  m_stories.Take("something else\n");
  m_stories.Finish();
  EXPECT_EQ(m_stories.Lines(), 6u);
  EXPECT_EQ(m_stories.Foreign(), 3u);
  EXPECT_THAT(m_mails, IsEmpty());
}

TEST_F(LogStoryTest, InlineResponseThatIsNotWatchedIsCounted) {
  Take({"New InlineResponse Created.", "f> Dispatch _MailItem with ItemEvents @x.cpp(400)",
        "New InlineResponse Created."});
  EXPECT_EQ(m_stories.Unwatched(), 1u);
}

TEST_F(LogStoryTest, RequestsOfAnEndlessMailAreCountedAndNotAllKept) {
  std::vector<std::string> lines = {kNew};
  lines.insert(lines.end(), 700, Answer(4));
  const MailStory mail = Story(lines);
  EXPECT_THAT(mail.requests, SizeIs(kMaxRequests));
  EXPECT_EQ(mail.requestCount, 700u);
}

TEST_F(LogStoryTest, NamesSenderRecipientsAndReferencedFiles) {
  auto lines = WithSubject({"Mail subject: [x]", Answer(4), "CheckSubject returns: 4."});
  lines.insert(lines.begin() + 1, "Get AddressEntry address: b@x.test");
  lines.insert(lines.begin() + 1, "Get AddressEntry address: a@x.test");
  lines.insert(lines.end() - 4, "Referenced attachment: path:\\\\srv\\p, name:plan.pdf");
  const MailStory mail = Story(lines);
  EXPECT_EQ(mail.sender, "Ada");
  EXPECT_THAT(mail.recipients, ElementsAre("a@x.test", "b@x.test"));
  EXPECT_THAT(mail.attachments, ElementsAre("plan.pdf"));
  EXPECT_EQ(mail.action, 1);  // what the last stage returned, for there is no attachment
}

std::string ErrLine(const std::string& message) {
  return "(12902) 11/21/2026 01:47:41.928 Outlook> Err : " + message + "\r\n";
}

// What the levels recommended for daily use leave of a mail that was checked.
TEST_F(LogStoryTest, LogWithoutInfoLinesCannotTellWhetherAMailWasChecked) {
  m_stories.Take(ErrLine(
      "[DlpMailEvent::CheckEmail] Get key_challenge_response = false @dlpmailevent.cpp(731)"));
  m_stories.Take(ErrLine("Cannot get attachments' count. hr:0"));
  m_stories.Finish();
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_EQ(m_mails[0].checked, Checked::kUnknown);
  EXPECT_EQ(m_mails[0].outcome, "unknown");
  EXPECT_THAT(Reasons(m_mails[0]), ElementsAre("the log has no Info lines"));
  EXPECT_EQ(m_stories.InfoLines(), 0U);
}

TEST_F(LogStoryTest, LogWithoutInfoLinesStillSaysWhatWentWrong) {
  m_stories.Take(ErrLine(
      "[DlpMailEvent::CheckEmail] Get key_challenge_response = false @dlpmailevent.cpp(731)"));
  m_stories.Take(ErrLine(kNoAgent));
  m_stories.Finish();
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_EQ(m_mails[0].checked, Checked::kPart);
  EXPECT_THAT(Reasons(m_mails[0]),
              ElementsAre("no agent was running", "the log has no Info lines"));
}

TEST_F(LogStoryTest, MachinesAreKeptApart) {
  m_stories.Take("PC17 " + Line(kNew));
  m_stories.Take("PC18 " + Line(kNew));
  m_stories.Take("PC17 " + Line(Answer(6)));
  m_stories.Finish();
  ASSERT_THAT(m_mails, SizeIs(2));
  for (const MailStory& mail : m_mails) {
    EXPECT_THAT(mail.requests, SizeIs(mail.machine == "PC17" ? 1 : 0)) << mail.machine;
  }
}

std::string At(const std::string& time, const std::string& message) {
  return "(12902) 11/21/2026 " + time + " Outlook> Info: " + message + "\r\n";
}

// The lines of a mail up to its body, which the mail's author writes.
std::string UpToBody() {
  std::string log;
  for (const std::string& message :
       {kNew, Answer(4), std::string("CheckRecipients returns: 4."), std::string("Sender: Ada"),
        Answer(4), Answer(4), std::string("Mail subject: [x]"), Answer(4),
        std::string("CheckSubject returns: 4.")}) {
    log += At("01:47:41.000", message);
  }
  return log;
}

// The agent's silence about the body, as the add-in really logs it.
std::string AfterBody() {
  return At("01:47:44.000", Answer(1, 0)) + At("01:47:44.000", "CheckBody returns: 1.") +
         At("01:47:44.000", "CheckSignature returns: 1.") +
         At("01:47:44.000", "CheckAttachments returns: 1.") + At("01:47:44.000", Answer(4)) +
         At("01:47:44.000", "ScanSessionEnd returns: 4.");
}

class ForgedStoryTest : public LogStoryTest {
 protected:
  void TakeAll(const std::string& log) {
    for (std::size_t at = 0; at < log.size();) {
      const std::size_t end = log.find('\n', at) + 1;
      m_stories.Take(std::string_view(log).substr(at, end - at));
      at = end;
    }
    m_stories.Finish();
  }
};

TEST_F(ForgedStoryTest, TextWithoutLogLinesIsNotSuspect) {
  TakeAll(UpToBody() + At("01:47:41.000", "Body: Dear Ben,\r\n\r\nregards (Ada)") + AfterBody());
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_THAT(Reasons(m_mails[0]), ElementsAre("the agent didn't answer in time (body)"));
}

TEST_F(ForgedStoryTest, LinesThatEndTheCheckEarly) {
  TakeAll(UpToBody() +
          At("01:47:41.000", "Body: x\r\n" + At("01:47:41.000", Answer(4)) +
                                 At("01:47:41.000", "CheckBody returns: 4.") +
                                 At("01:47:41.000", "CheckSignature returns: 1.") +
                                 At("01:47:41.000", "CheckAttachments returns: 1.") +
                                 At("01:47:41.000", "ScanSessionEnd returns: 4.") +
                                 At("01:47:41.000", "OnInspectorClose")) +
          AfterBody());
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_EQ(m_mails[0].checked, Checked::kUnknown);
  EXPECT_TRUE(m_mails[0].Has(Reason::kForged));
}

TEST_F(ForgedStoryTest, LinesOfAnotherMail) {
  TakeAll(UpToBody() +
          At("01:47:41.000", "Body: x\r\n" + At("01:47:41.000", kNew) +
                                 At("01:47:41.000", "CheckRecipients returns: 4.")) +
          AfterBody());
  ASSERT_THAT(m_mails, SizeIs(2));
  EXPECT_TRUE(m_mails[0].Has(Reason::kForged));
  EXPECT_TRUE(m_mails[1].Has(Reason::kForged));
}

TEST_F(ForgedStoryTest, LinesOfAnotherTime) {
  for (const std::string time : {"01:00:00.000", "23:00:00.000"}) {
    m_mails.clear();
    TakeAll(UpToBody() + At("01:47:41.000", "Body: x\r\n" + At(time, Answer(4))) + AfterBody());
    ASSERT_THAT(m_mails, SizeIs(1));
    EXPECT_TRUE(m_mails[0].Has(Reason::kForged)) << time;
  }
}

TEST_F(ForgedStoryTest, TextAfterALogLine) {
  TakeAll(UpToBody() +
          At("01:47:41.000", "Body: x\r\n" + At("01:47:41.000", "CheckContent: x") + "regards") +
          AfterBody());
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_TRUE(m_mails[0].Has(Reason::kForged));
}

}  // namespace
}  // namespace inspection::logs
