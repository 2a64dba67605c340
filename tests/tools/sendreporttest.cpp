// The output of `quorvex send`.

#include "tools/sendreport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/mailoutcome.h"
#include "tools/text.h"

namespace tools {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using inspection::checked::Checked;
using inspection::checked::Reason;
using inspection::logs::RequestEnd;

SentRequest Request(std::uint32_t type, std::string stage, std::string payload,
                    std::optional<std::int32_t> answer) {
  SentRequest request;
  request.itemType = type;
  request.stage = std::move(stage);
  request.payload = std::move(payload);
  request.answer = answer;
  request.end = answer ? RequestEnd::kPassedOn : RequestEnd::kTimeOut;
  request.waitMs = 20.84;
  return request;
}

MailOutcome PlainMail() {
  MailOutcome outcome;
  outcome.mail = "mails/a.eml";
  outcome.action = 4;
  outcome.milliseconds = 123.44;
  outcome.requests.push_back(Request(3, "recipients", std::string("a@x.test\0b@x.test\0", 18), 4));
  outcome.requests.push_back(Request(1, "subject", "/tmp/ExchangeSubjectContent", 4));
  outcome.requests.back().name = "ExchangeSubjectContent";
  outcome.requests.back().contentSha256 = "abc";
  outcome.requests.back().contentBytes = 31;
  outcome.requests.back().rule = "rule 2";
  outcome.requests.push_back(Request(9, "close", "", 4));
  return outcome;
}

MailOutcome MailWith(Checked checked, Reason reason) {
  MailOutcome outcome = PlainMail();
  outcome.checked = checked;
  outcome.reasons = {{reason, {"body"}}};
  return outcome;
}

TEST(OutcomeJson, HasTheAgreedFieldsInTheirOrder) {
  EXPECT_EQ(
      OutcomeJson(PlainMail()),
      R"({"mail":"mails/a.eml","outcome":"sent","action":4,"cancel":0,"checked":"yes",)"
      R"("reasons":[],"requests":[{"type":3,"stage":"recipients",)"
      R"("payload":"a@x.test\u0000b@x.test\u0000","name":"","answer":4,"end":"answered",)"
      R"("wait_ms":20.8},{"type":1,"stage":"subject","payload":"/tmp/ExchangeSubjectContent",)"
      R"("name":"ExchangeSubjectContent","answer":4,"end":"answered","wait_ms":20.8,)"
      R"("rule":"rule 2","content_sha256":"abc","content_bytes":31},)"
      R"({"type":9,"stage":"close","payload":"","name":"","answer":4,"end":"answered",)"
      R"("wait_ms":20.8}],"tag":null,"ms":123.4})");
}

TEST(OutcomeJson, SaysWhetherTheMailWasCheckedAndWhyNot) {
  EXPECT_THAT(OutcomeJson(MailWith(Checked::kPart, Reason::kFileNotWritten)),
              HasSubstr(R"("checked":"part","reasons":["a temporary file couldn't be written"])"));
  EXPECT_THAT(OutcomeJson(MailWith(Checked::kNo, Reason::kNoAgent)),
              HasSubstr(R"("checked":"no","reasons":["no agent was running"])"));
}

TEST(OutcomeJson, ABlockedAndATaggedMailSaySo) {
  MailOutcome blocked = PlainMail();
  blocked.action = 3;
  blocked.cancel = 1;
  EXPECT_THAT(OutcomeJson(blocked), HasSubstr("\"outcome\":\"blocked\",\"action\":3,\"cancel\":1"));
  MailOutcome tagged = PlainMail();
  tagged.action = 7;
  tagged.tag = MailTag{"X-Level", "high"};
  EXPECT_THAT(OutcomeJson(tagged), HasSubstr("\"outcome\":\"tagged\",\"action\":7"));
  EXPECT_THAT(OutcomeJson(tagged), HasSubstr("\"tag\":{\"name\":\"X-Level\",\"value\":\"high\"}"));
}

TEST(OutcomeJson, AnUnreadableMailIsItsPathAndTheReason) {
  MailOutcome outcome;
  outcome.mail = "x\xFF.eml";
  outcome.error = "it is a folder, not a mail";
  EXPECT_EQ(OutcomeJson(outcome),
            "{\"mail\":\"x\xEF\xBF\xBD.eml\",\"error\":\"it is a folder, not a mail\"}");
}

TEST(OutcomeJson, AMissingFileHasNoHashAndAnUnansweredRequestNoAnswer) {
  MailOutcome outcome = PlainMail();
  outcome.requests[1].contentSha256.reset();
  outcome.requests[1].contentBytes.reset();
  outcome.requests[1].answer.reset();
  outcome.requests[1].end = RequestEnd::kTimeOut;
  EXPECT_THAT(OutcomeJson(outcome),
              HasSubstr("\"answer\":null,\"end\":\"no answer in time\",\"wait_ms\":20.8,"
                        "\"rule\":\"rule 2\",\"content_sha256\":null,\"content_bytes\":null"));
}

TEST(MailReport, ShowsEachStageWithWhatWasAskedTheAnswerAndTheWait) {
  const ReportStyle style;
  EXPECT_EQ(MailReport(PlainMail(), style),
            "mails/a.eml\n"
            "  stage      asked                                            answer    wait\n"
            "  recipients a@x.test, b@x.test                               go on     21 ms\n"
            "  subject    ExchangeSubjectContent (31 bytes)                go on     21 ms\n"
            "  close                                                       go on     21 ms\n"
            "  sent after 123 ms: checked\n");
}

TEST(MailReport, FitsTheWidthWhateverTheMailHolds) {
  MailOutcome outcome = PlainMail();
  outcome.requests[0].payload = std::string(300, 'x') + "\xE6\xBC\xA2\xE5\xAD\x97";
  for (const std::size_t width : {std::size_t{40}, std::size_t{80}, std::size_t{132}}) {
    ReportStyle style;
    style.width = width;
    std::string report = MailReport(outcome, style);
    while (!report.empty()) {
      const std::size_t end = report.find('\n');
      EXPECT_LE(DisplayWidth(report.substr(0, end)), width);
      report.erase(0, end + 1);
    }
  }
}

TEST(MailReport, HasColourOnlyWhereAskedFor) {
  ReportStyle style;
  EXPECT_THAT(MailReport(PlainMail(), style), Not(HasSubstr("\x1b")));
  style.colour = true;
  EXPECT_THAT(MailReport(PlainMail(), style), HasSubstr("\x1b[32m"));
}

TEST(MailReport, AMailsOwnWordsCannotSteerTheTerminal) {
  MailOutcome outcome = PlainMail();
  outcome.requests[0].payload = "\x1b[2Jevil\x07";
  EXPECT_THAT(MailReport(outcome, {}), Not(HasSubstr("\x1b")));
  EXPECT_THAT(MailReport(outcome, {}), Not(HasSubstr("\x07")));
}

TEST(MailReport, SaysWhyAMailWasNotChecked) {
  EXPECT_THAT(MailReport(MailWith(Checked::kNo, Reason::kNoAgent), {}),
              EndsWith("  sent after 123 ms: unchecked\n"
                       "  because no agent was running (body)\n"));
  EXPECT_THAT(
      MailReport(MailWith(Checked::kPart, Reason::kContentClosed), {}),
      EndsWith("  sent after 123 ms: checked in part\n"
               "  because the recipients were answered with block or tag, which leaves the\n"
               "          content unchecked (body)\n"));
}

TEST(MailReport, ShowsHowARequestWithoutAnAnswerEnded) {
  MailOutcome outcome = PlainMail();
  outcome.requests[1].answer.reset();
  outcome.requests[1].end = RequestEnd::kNoAgent;
  EXPECT_THAT(MailReport(outcome, {}), HasSubstr(" none      no agent\n"));
  outcome.requests[1].answer = 6;
  outcome.requests[1].end = RequestEnd::kNotPassedOn;
  EXPECT_THAT(MailReport(outcome, {}), HasSubstr(" 6         21 ms\n"));
}

TEST(MailReport, SaysWhatBlocksAndWhatTags) {
  MailOutcome blocked = PlainMail();
  blocked.cancel = 1;
  EXPECT_THAT(MailReport(blocked, {}),
              EndsWith("  blocked after 123 ms: checked, the mail stays open\n"));
  MailOutcome tagged = PlainMail();
  tagged.tag = MailTag{"X", "y"};
  EXPECT_THAT(MailReport(tagged, {}),
              EndsWith("  tagged after 123 ms: checked, goes out with X: y\n"));
  MailOutcome unreadable;
  unreadable.mail = "b.eml";
  unreadable.error = "the file is empty";
  EXPECT_EQ(MailReport(unreadable, {}), "b.eml\n  unreadable: the file is empty\n");
}

void Count(Summary& summary, const MailOutcome& mail) {
  summary.Count(OutcomeOf(mail), mail.checked);
}

TEST(Summary, CountsWhatBecameOfTheMailsAndWhetherTheyWereChecked) {
  Summary summary;
  Count(summary, PlainMail());
  EXPECT_EQ(summary.Line(),
            "1 mail: 1 sent, 0 blocked, 0 tagged; 1 checked, 0 in part, 0 unchecked\n");
  MailOutcome blocked = PlainMail();
  blocked.cancel = 1;
  Count(summary, blocked);
  MailOutcome unreadable;
  unreadable.error = "";
  Count(summary, unreadable);
  Count(summary, MailWith(Checked::kNo, Reason::kNoAgent));
  Count(summary, MailWith(Checked::kPart, Reason::kNoAnswer));
  EXPECT_EQ(summary.Line(),
            "5 mails: 3 sent, 1 blocked, 0 tagged, 1 unreadable; 2 checked, 1 in part, 1 "
            "unchecked\n");
  summary.Interrupt(9);
  EXPECT_THAT(summary.Line(), EndsWith("1 unchecked; interrupted after 5 of 9\n"));
  summary.Interrupt(std::nullopt);
  EXPECT_THAT(summary.Line(), EndsWith("1 unchecked; interrupted after 5\n"));
}

TEST(Summary, TheGravestStatusWins) {
  Summary summary;
  EXPECT_EQ(summary.ExitStatus(), 0);
  Count(summary, PlainMail());
  EXPECT_EQ(summary.ExitStatus(), 0);
  Count(summary, MailWith(Checked::kPart, Reason::kNoAnswer));
  EXPECT_EQ(summary.ExitStatus(), 4);
  MailOutcome blocked = PlainMail();
  blocked.cancel = 1;
  Count(summary, blocked);
  EXPECT_EQ(summary.ExitStatus(), 1);
  MailOutcome unreadable;
  unreadable.error = "";
  Count(summary, unreadable);
  EXPECT_EQ(summary.ExitStatus(), 2);
  summary.Interrupt(9);
  EXPECT_EQ(summary.ExitStatus(), 130);
}

// A mail that was blocked isn't sent, so it doesn't matter what else would have been checked.
TEST(Summary, ABlockedMailThatWasNotCheckedCompletelyIsBlocked) {
  Summary summary;
  MailOutcome blocked = MailWith(Checked::kPart, Reason::kSubjectNotRead);
  blocked.cancel = 1;
  Count(summary, blocked);
  EXPECT_EQ(summary.ExitStatus(), 1);
}

TEST(ProgressLine, HasABarTheNumbersTheRateAndTheTimeLeft) {
  ReportStyle style;
  EXPECT_EQ(ProgressLine({.done = 0, .all = 4}, style), "[" + std::string(40, '.') + "] 0 of 4");
  EXPECT_EQ(
      ProgressLine({.done = 1, .all = 4, .seconds = 4}, style),
      "[" + std::string(10, '#') + std::string(30, '.') + "] 1 of 4, 0.2 a second, 12 s left");
  EXPECT_THAT(ProgressLine({.done = 1000, .all = 96'000, .seconds = 1}, style),
              EndsWith("] 1000 of 96000, 1000 a second, 1 min 35 s left"));
  EXPECT_THAT(ProgressLine({.done = 10, .all = 75'010, .seconds = 1}, style),
              EndsWith("] 10 of 75010, 10 a second, 2 h 05 min left"));
  EXPECT_THAT(ProgressLine({.done = 5, .all = 5, .seconds = 1}, style),
              StartsWith("[" + std::string(40, '#') + "] 5 of 5, "));
}

TEST(ProgressLine, LeavesOutWhatIsNotKnownYet) {
  EXPECT_EQ(ProgressLine({.done = 0, .all = {}}, {}), "0");
  EXPECT_EQ(ProgressLine({.done = 600, .all = {}, .seconds = 2}, {}), "600, 300 a second");
}

TEST(ProgressLine, FitsTheWidth) {
  for (const std::size_t width : {std::size_t{40}, std::size_t{50}, std::size_t{80}}) {
    const ReportStyle style = {.width = width};
    EXPECT_LT(DisplayWidth(ProgressLine({.done = 4000, .all = 123'456, .seconds = 1}, style)),
              width);
    EXPECT_LT(DisplayWidth(ProgressLine({.done = 4000, .all = 4000, .seconds = 1}, style)), width);
  }
}

}  // namespace
}  // namespace tools
