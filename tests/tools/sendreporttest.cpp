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

simulation::agent::JournalRequest Request(std::uint32_t type, std::string stage,
                                          std::string payload, std::optional<std::int32_t> answer) {
  simulation::agent::JournalRequest request;
  request.itemType = type;
  request.stage = std::move(stage);
  request.payload = std::move(payload);
  request.answer = answer;
  request.outcome = answer ? simulation::agent::kOutcomeTaken : simulation::agent::kOutcomeGivenUp;
  request.waitedMs = 21;
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
  outcome.requests.push_back(Request(9, "close", "", 4));
  return outcome;
}

TEST(OutcomeJson, HasTheAgreedFieldsInTheirOrder) {
  EXPECT_EQ(
      OutcomeJson(PlainMail()),
      "{\"mail\":\"mails/a.eml\",\"outcome\":\"sent\",\"action\":4,\"cancel\":0,"
      "\"requests\":["
      "{\"type\":3,\"payload\":\"a@x.test\\u0000b@x.test\\u0000\",\"name\":\"\",\"answer\":4},"
      "{\"type\":1,\"payload\":\"/tmp/ExchangeSubjectContent\","
      "\"name\":\"ExchangeSubjectContent\",\"answer\":4,\"content_sha256\":\"abc\","
      "\"content_bytes\":31},"
      "{\"type\":9,\"payload\":\"\",\"name\":\"\",\"answer\":4}],"
      "\"tag\":null,\"ms\":123.4}");
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

TEST(OutcomeJson, AFileThatTheAgentDidNotFindHasNoHashAndAnUnansweredRequestNoAnswer) {
  MailOutcome outcome = PlainMail();
  outcome.requests[1].contentSha256.reset();
  outcome.requests[1].contentBytes.reset();
  outcome.requests[1].answer.reset();
  EXPECT_THAT(OutcomeJson(outcome), HasSubstr("\"answer\":null,\"content_sha256\":null,"
                                              "\"content_bytes\":null"));
}

TEST(ActionOf, FollowsTheAnswersAsTheGateDoes) {
  std::vector<simulation::agent::JournalRequest> requests = {
      Request(3, "", "", 4), Request(7, "", "", 3), Request(8, "", "", 3)};
  EXPECT_EQ(ActionOf(requests), 2);  // the answers to the sender and the envelope are ignored
  requests.push_back(Request(1, "", "", 4));
  requests.push_back(Request(1, "", "", 6));
  EXPECT_EQ(ActionOf(requests), 1);  // from the last stage; 6 isn't accepted
  requests.push_back(Request(1, "", "", 7));
  requests.push_back(Request(9, "", "", 4));
  EXPECT_EQ(ActionOf(requests), 7);
  requests.back() = Request(9, "", "", 3);
  EXPECT_EQ(ActionOf(requests), 3);  // the answer at the close wins
}

TEST(ActionOf, AnAnswerToTheRecipientsOtherThanGoOnShutsTheContentAndDecidesNothing) {
  EXPECT_EQ(ActionOf({Request(3, "", "", 3), Request(9, "", "", 1)}), 2);
  EXPECT_EQ(ActionOf({}), 2);
}

TEST(ActionOf, AnAnswerThatCameTooLateIsNone) {
  simulation::agent::JournalRequest late = Request(9, "", "", 3);
  late.outcome = simulation::agent::kOutcomeGivenUp;
  EXPECT_EQ(ActionOf({Request(3, "", "", 4), Request(1, "", "", 4), late}), 4);
}

TEST(MailReport, ShowsEachStageWithWhatWasAskedTheAnswerAndTheWait) {
  const ReportStyle style;
  EXPECT_EQ(MailReport(PlainMail(), style),
            "mails/a.eml\n"
            "  stage      asked                                            answer    wait\n"
            "  recipients a@x.test, b@x.test                               go on     21 ms\n"
            "  subject    ExchangeSubjectContent (31 bytes)                go on     21 ms\n"
            "  close                                                       go on     21 ms\n"
            "  sent after 123 ms\n");
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

TEST(MailReport, SaysInWordsWhyAMailWentUnchecked) {
  MailOutcome none = PlainMail();
  none.requests.clear();
  none.agentThere = false;
  EXPECT_THAT(MailReport(none, {}),
              EndsWith("sent after 123 ms: unchecked, since no agent was there\n"));
  MailOutcome nobody = PlainMail();
  nobody.requests.erase(nobody.requests.begin(), nobody.requests.begin() + 2);
  EXPECT_THAT(MailReport(nobody, {}), EndsWith("since no recipient could be read\n"));
  MailOutcome shut = PlainMail();
  shut.requests[0].answer = 7;
  EXPECT_THAT(MailReport(shut, {}), EndsWith("the agent did not go on with the recipients\n"));
}

// The add-in sends the closing request even without recipients, so no request at all means
// something else.
TEST(MailReport, AnAgentThatTellsOfNoRequestIsNotTakenForAMailWithoutRecipients) {
  MailOutcome outcome = PlainMail();
  outcome.action = 2;
  outcome.requests.clear();
  EXPECT_THAT(MailReport(outcome, {}),
              EndsWith("sent after 123 ms: no word of it from the agent, which took no request or "
                       "keeps no journal\n"));
}

TEST(MailReport, SaysWhatBlocksAndWhatTags) {
  MailOutcome blocked = PlainMail();
  blocked.cancel = 1;
  EXPECT_THAT(MailReport(blocked, {}), EndsWith("  blocked after 123 ms: the mail stays open\n"));
  MailOutcome tagged = PlainMail();
  tagged.tag = MailTag{"X", "y"};
  EXPECT_THAT(MailReport(tagged, {}), EndsWith("  tagged after 123 ms: goes out with X: y\n"));
  MailOutcome unreadable;
  unreadable.mail = "b.eml";
  unreadable.error = "the file is empty";
  EXPECT_EQ(MailReport(unreadable, {}), "b.eml\n  unreadable: the file is empty\n");
}

TEST(Summary, CountsAndGivesTheExitStatus) {
  Summary summary;
  EXPECT_EQ(summary.ExitStatus(), 0);
  summary.Count(PlainMail());
  EXPECT_EQ(summary.Line(), "1 mail: 1 sent, 0 blocked, 0 tagged\n");
  EXPECT_EQ(summary.ExitStatus(), 0);
  MailOutcome blocked = PlainMail();
  blocked.cancel = 1;
  summary.Count(blocked);
  EXPECT_EQ(summary.ExitStatus(), 1);
  MailOutcome unreadable;
  unreadable.error = "";
  summary.Count(unreadable);
  EXPECT_EQ(summary.ExitStatus(), 2);
  EXPECT_EQ(summary.Line(), "3 mails: 1 sent, 1 blocked, 0 tagged, 1 unreadable\n");
}

TEST(ProgressLine, IsFullAtTheEndAndFitsTheWidth) {
  ReportStyle style;
  EXPECT_EQ(ProgressLine(0, 4, style), "[" + std::string(40, '.') + "] 0 of 4");
  EXPECT_EQ(ProgressLine(1, 4, style),
            "[" + std::string(10, '#') + std::string(30, '.') + "] 1 of 4");
  style.width = 40;
  EXPECT_LE(ProgressLine(4000, 4000, style).size(), 40U);
}

}  // namespace
}  // namespace tools
