// What happened to each mail, from the lines of the add-in's log.

#include "inspection/logs/logstory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "inspection/logs/logline.h"

namespace inspection::logs {
namespace {

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
  EXPECT_EQ(mail.verdict, "sent");
  EXPECT_EQ(mail.checked, Checked::kWhole);
  EXPECT_THAT(mail.reasons, IsEmpty());
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
  EXPECT_EQ(mail.checked, Checked::kNot);
  EXPECT_EQ(mail.verdict, "sent");
  EXPECT_THAT(mail.reasons, ElementsAre("no agent was there"));
  EXPECT_THAT(mail.requests, SizeIs(4));
  EXPECT_EQ(mail.requests[3].stage, "close");
}

TEST_F(LogStoryTest, UnreadableRecipientsLeaveTheMailUnchecked) {
  const MailStory mail =
      Story({kNew, "Get recipients failed: 0x80004005, and don't check recpients.",
             "CheckRecipients returns: 1.", Answer(4), Answer(4), Answer(4),
             "ScanSessionEnd returns: 4."});
  EXPECT_EQ(mail.checked, Checked::kNot);
  EXPECT_THAT(mail.reasons, ElementsAre("the recipients could not be read"));
}

TEST_F(LogStoryTest, RecipientsWithoutAddressLeaveTheMailUnchecked) {
  EXPECT_THAT(Story({kNew, "CheckRecipients returns: 1.", "ScanSessionEnd returns: 4."}).reasons,
              ElementsAre("no recipient had an address that the agent could be asked about"));
}

TEST_F(LogStoryTest, AgentThatDoesNotAnswerInTimeIsSilent) {
  const MailStory mail = Story({kNew, Answer(1, 0), "CheckRecipients returns: 1.", Answer(4),
                                Answer(4), Answer(4), "ScanSessionEnd returns: 4."});
  EXPECT_EQ(mail.checked, Checked::kNot);
  EXPECT_EQ(mail.requests[0].end, RequestEnd::kTimeOut);
  EXPECT_EQ(mail.requests[0].waitedMs, 2520);
  EXPECT_THAT(mail.reasons, ElementsAre("the agent was silent: no answer in time (recipients)"));
}

TEST_F(LogStoryTest, CounterThatNoWaitHasCountsAsTheNearest) {
  const MailStory mail = Story({kNew, Answer(4, -2147483647 - 1), "CheckRecipients returns: 4.",
                                "Sender: Ada", Answer(4, 2147483647)});
  ASSERT_THAT(mail.requests, SizeIs(2));
  EXPECT_EQ(mail.requests[0].waitedMs, 20 * 126);
  EXPECT_EQ(mail.requests[1].waitedMs, 20);
}

TEST_F(LogStoryTest, AgentThatMakesNoBlockIsSilent) {
  std::vector<std::string> lines = {kNew};
  lines.insert(lines.end(), 399, kNoRing);
  lines.push_back("CheckRecipients returns: 1.");
  lines.push_back("ScanSessionEnd returns: 4.");
  const MailStory mail = Story(lines);
  ASSERT_THAT(mail.requests, SizeIs(1));
  EXPECT_EQ(mail.requests[0].end, RequestEnd::kNoBlock);
  EXPECT_EQ(mail.requests[0].waitedMs, 7980);
  EXPECT_THAT(mail.reasons, ElementsAre("the agent was silent: it took no notice of the request "
                                        "(recipients)"));
}

TEST_F(LogStoryTest, FullRingIsTold) {
  EXPECT_THAT(Story({kNew, "CheckContent: cannot push entry!", "CheckRecipients returns: 1.",
                     "ScanSessionEnd returns: 4."})
                  .reasons,
              ElementsAre("the agent's ring took no request (recipients): it was full or wrong"));
}

TEST_F(LogStoryTest, AnswerThatIsNotPassedOnMakesTheCheckPartial) {
  const MailStory mail =
      Story(WithSubject({"Mail subject: [x]", Answer(6), "CheckSubject returns: 1."}));
  EXPECT_EQ(mail.checked, Checked::kInPart);
  EXPECT_EQ(mail.requests[3].end, RequestEnd::kNotPassedOn);
  EXPECT_THAT(mail.reasons, ElementsAre("the agent's answer 6 (subject) was not passed on: it "
                                        "counts as none"));
}

TEST_F(LogStoryTest, BlockInAnswerToTheRecipientsDecidesNothing) {
  const MailStory mail = Story({kNew, Answer(3), "CheckRecipients returns: 3.", Answer(4),
                                Answer(4), Answer(4), "ScanSessionEnd returns: 4."});
  EXPECT_EQ(mail.verdict, "sent");
  EXPECT_EQ(mail.checked, Checked::kNot);
  EXPECT_THAT(mail.reasons, ElementsAre("the answer 3 to the recipients keeps the content shut and "
                                        "decides nothing"));
}

TEST_F(LogStoryTest, CachedVerdictIsTakenOver) {
  const MailStory mail =
      Story({"MailItem 0x000055CAB1D12EE0 is already checked, previous result 4 "});
  EXPECT_EQ(mail.verdict, "sent");
  EXPECT_EQ(mail.checked, Checked::kNot);
  EXPECT_THAT(mail.reasons,
              ElementsAre("the verdict of the check less than 5 s before was taken over (4)"));
}

TEST_F(LogStoryTest, CachedBlockIsCheckedAgain) {
  auto lines = WithSubject({"Mail subject: [x]", Answer(4), "CheckSubject returns: 4."});
  lines[0] = "MailItem 0x000055CAB1D12EE0 is already checked, previous result 3 ";
  const MailStory mail = Story(lines);
  EXPECT_EQ(mail.verdict, "sent");
  EXPECT_EQ(mail.checked, Checked::kWhole);
}

TEST_F(LogStoryTest, BlockOnTheSubjectGoesStraightToTheClosing) {
  Take({kNew, Answer(4), "CheckRecipients returns: 4.", "Sender: Ada", Answer(4), Answer(4),
        "Mail subject: [x]", Answer(3), "CheckSubject returns: 3.", Answer(4),
        "ScanSessionEnd returns: 4.", "Block current mail sending."});
  m_stories.Finish();
  ASSERT_THAT(m_mails, SizeIs(1));
  EXPECT_EQ(m_mails[0].verdict, "blocked");
  EXPECT_EQ(m_mails[0].requests.back().stage, "close");
  EXPECT_EQ(m_mails[0].checked, Checked::kWhole);
}

TEST_F(LogStoryTest, TagComesFromTheClosingAnswer) {
  const MailStory mail = Story({kNew, Answer(4), "CheckRecipients returns: 4.", "Sender: Ada",
                                Answer(4), Answer(4), "CheckAttachments returns: 1.", Answer(7),
                                "ScanSessionEnd returns: 7.", "rolo_dbg Error setting Header."});
  EXPECT_EQ(mail.verdict, "tagged");
  EXPECT_THAT(mail.reasons, ElementsAre("the tag could not be written"));
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
  EXPECT_EQ(mail.verdict, "unknown");
  EXPECT_THAT(mail.reasons, ElementsAre("the log doesn't tell how the check ended"));
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

TEST_F(LogStoryTest, InlineResponseWithoutSinkIsCounted) {
  Take({"New InlineResponse Created.", "f> Dispatch _MailItem with ItemEvents @x.cpp(400)",
        "New InlineResponse Created."});
  EXPECT_EQ(m_stories.WithoutSink(), 1u);
}

TEST_F(LogStoryTest, RequestsOfAnEndlessMailAreCountedAndNotAllKept) {
  std::vector<std::string> lines = {kNew};
  lines.insert(lines.end(), 700, Answer(4));
  const MailStory mail = Story(lines);
  EXPECT_THAT(mail.requests, SizeIs(kMaxRequests));
  EXPECT_EQ(mail.requestCount, 700u);
}

}  // namespace
}  // namespace inspection::logs
