// What a mail's log and requests say about it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/exchangelog.h"
#include "tools/mailrun.h"

namespace tools {
namespace {

using inspection::checked::Checked;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Line(const std::string& message) {
  return "(12902) 11/21/2026 01:47:41.928 Outlook> Info: " + message + "\r\n";
}

std::string Answer(int answer) {
  return Line("CheckContent: lActionCode=" + std::to_string(answer) + " iTimeOut=124");
}

Exchange File(const std::string& payload, std::optional<std::uint64_t> bytes = 5) {
  Exchange exchange;
  exchange.block = "Global\\1";
  exchange.payload = payload;
  exchange.contentBytes = bytes;
  exchange.waitMs = 40;
  return exchange;
}

std::vector<std::string> Reasons(const MailOutcome& outcome) {
  std::vector<std::string> reasons;
  for (const auto& reason : outcome.reasons) reasons.push_back(TextOf(reason));
  return reasons;
}

// A mail with one attachment, and an answer of 4 to everything.
class OutcomeOfTest : public testing::Test {
 protected:
  std::vector<std::string> m_lines = {Line("MailItem 0x00 is not checked, continue CheckMail ... "),
                                      Answer(4),
                                      Line("CheckRecipients returns: 4."),
                                      Line("Sender: Ada"),
                                      Answer(4),
                                      Answer(4),
                                      Line("Mail subject: [x]"),
                                      Answer(4),
                                      Line("CheckSubject returns: 4."),
                                      Line("Body: text\r\nwith lines"),
                                      Answer(4),
                                      Line("CheckBody returns: 4."),
                                      Line("CheckSignature returns: 1."),
                                      Answer(4),
                                      Line("CheckAttachments returns: 4."),
                                      Answer(4),
                                      Line("ScanSessionEnd returns: 4.")};
  std::vector<Exchange> m_exchanges = {File("a@x.test"), File("Ada"),    File(""), File("/t/S"),
                                       File("/t/B"),     File("/t/O.1"), File("")};
  std::vector<simulation::mail::MailAttachment> m_attachments =
      std::vector<simulation::mail::MailAttachment>(1);
};

TEST_F(OutcomeOfTest, AMailWhoseEveryPartWasAnsweredIsChecked) {
  const MailOutcome outcome = OutcomeOf(m_lines, m_exchanges, m_attachments);
  EXPECT_EQ(outcome.checked, Checked::kYes);
  EXPECT_THAT(Reasons(outcome), IsEmpty());
  EXPECT_EQ(outcome.action, 4);
  ASSERT_EQ(outcome.requests.size(), 7U);
  std::vector<std::uint32_t> types;
  for (const SentRequest& request : outcome.requests) types.push_back(request.itemType);
  EXPECT_THAT(types, ElementsAre(3, 7, 8, 1, 1, 1, 9));
  EXPECT_EQ(outcome.requests[5].stage, "attachment");
  EXPECT_EQ(outcome.requests[5].waitMs, 40);
  EXPECT_EQ(outcome.requests[5].answer, 4);
}

TEST_F(OutcomeOfTest, AFileThatDoesNotExistMakesItPartial) {
  m_exchanges[5].contentBytes.reset();
  const MailOutcome outcome = OutcomeOf(m_lines, m_exchanges, m_attachments);
  EXPECT_EQ(outcome.checked, Checked::kPart);
  EXPECT_THAT(Reasons(outcome), ElementsAre("the file to check can't be found (attachment)"));
}

// The add-in doesn't log what it passes over, nor a copy that Outlook couldn't save.
TEST_F(OutcomeOfTest, AnAttachmentWithoutARequestMakesItPartial) {
  m_attachments.emplace_back();
  EXPECT_THAT(Reasons(OutcomeOf(m_lines, m_exchanges, m_attachments)),
              ElementsAre("a temporary file couldn't be written (attachment)"));
  m_attachments.back().type = 6;
  EXPECT_THAT(Reasons(OutcomeOf(m_lines, m_exchanges, m_attachments)),
              ElementsAre("an attachment was of a kind that is never checked"));
}

TEST_F(OutcomeOfTest, AfterABlockTheOtherAttachmentsDoNotMatter) {
  m_attachments.emplace_back();
  m_lines[13] = Answer(3);
  m_lines[14] = Line("CheckAttachments returns: 3.");
  const MailOutcome outcome = OutcomeOf(m_lines, m_exchanges, m_attachments);
  EXPECT_EQ(outcome.checked, Checked::kYes);
  EXPECT_EQ(outcome.action, 3);
}

TEST_F(OutcomeOfTest, TextThatLooksLikeLogLinesIsText) {
  m_lines[9] = Line("Body: x\r\n" + Line("ScanSessionEnd returns: 7.") + Answer(3));
  const MailOutcome outcome = OutcomeOf(m_lines, m_exchanges, m_attachments);
  EXPECT_EQ(outcome.checked, Checked::kYes);
  EXPECT_EQ(outcome.action, 4);
  EXPECT_EQ(outcome.requests.size(), 7U);
}

TEST_F(OutcomeOfTest, WithoutAnyLineTheAddInDidNotReact) {
  const MailOutcome outcome = OutcomeOf({}, {}, {});
  EXPECT_EQ(outcome.checked, Checked::kNo);
  EXPECT_THAT(Reasons(outcome), ElementsAre("the add-in didn't react to Send"));
}

TEST(ExchangeLog, ReadsPayloadAndNameFromTheBlock) {
  ExchangeLog log;
  int ringHandle = 0;
  int blockHandle = 0;
  int ring = 0;
  const std::string block = std::string("\1\0\0\0a@x.test\0b@x.test\0\0name\0", 28);
  log.Opened("Global\\VRKEXPIPE", &ringHandle);
  log.Mapped(&ringHandle, &ring, 20);
  log.Opened("Global\\0001", nullptr);
  log.Opened("Global\\0001", &blockHandle);
  log.Mapped(&blockHandle, block.data(), static_cast<std::uint32_t>(block.size()));
  log.Unmapping(block.data());
  log.Unmapping(&ring);
  log.Opened("Global\\VRKEXPIPE", nullptr);
  const std::vector<Exchange> exchanges = log.TakeExchanges();
  ASSERT_EQ(exchanges.size(), 2U);
  EXPECT_EQ(exchanges[0].block, "Global\\0001");
  EXPECT_EQ(exchanges[0].payload, std::string("a@x.test\0b@x.test\0", 18));
  EXPECT_EQ(exchanges[0].name, "name");
  EXPECT_FALSE(exchanges[1].payload);
  EXPECT_THAT(log.TakeExchanges(), IsEmpty());
}

}  // namespace
}  // namespace tools
