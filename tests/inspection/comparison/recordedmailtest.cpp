// Reading single recorded lines: full ones, old ones, broken ones.

#include "inspection/comparison/recordedmail.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using inspection::comparison::Checked;
using inspection::comparison::MailJson;
using inspection::comparison::Outcome;
using inspection::comparison::RecordedMail;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// The mail of a line, or null; `*why` says what is wrong with it.
std::optional<RecordedMail> Parse(const std::string& line, std::string* why = nullptr) {
  std::string ignored;
  RecordedMail mail;
  if (!ParseRecordedMail(line, &mail, why ? why : &ignored)) return {};
  return mail;
}

std::string WhyNot(const std::string& line) {
  std::string why;
  EXPECT_FALSE(Parse(line, &why)) << line;
  return why;
}

TEST(RecordedMail, HasWhatALineOfSendSays) {
  const auto mail = Parse(
      R"({"mail":"a/b.eml","outcome":"tagged","action":7,"cancel":0,"checked":"part",)"
      R"("reasons":["one","two"],"requests":[)"
      R"({"type":3,"payload":"ben@a.example\u0000cora@a.example\u0000","name":"","answer":4,"wait_ms":40.8},)"
      R"({"type":1,"payload":"C:\\Temp\\ExchangeBodyContent","name":"ExchangeBodyContent","answer":null,)"
      R"("content_sha256":null,"content_bytes":null,"wait_ms":2480},)"
      R"({"type":9,"payload":"","name":"","answer":7,"wait_ms":0.1,"rule":"marked"}],)"
      R"("tag":{"name":"X-S","value":"secret"},"ms":2530.2})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->mail, "a/b.eml");
  EXPECT_EQ(mail->outcome, Outcome::kTagged);
  EXPECT_EQ(mail->checked, Checked::kPart);
  EXPECT_THAT(mail->reasons, ElementsAre("one", "two"));
  EXPECT_EQ(mail->tag, "X-S: secret");
  EXPECT_EQ(mail->time, 25302);
  ASSERT_EQ(mail->requests.size(), 3u);
  EXPECT_EQ(mail->requests[0].stage, "recipients");
  EXPECT_EQ(mail->requests[0].asked, "ben@a.example, cora@a.example");
  EXPECT_EQ(mail->requests[0].answer, 4);
  EXPECT_EQ(mail->requests[0].wait, 408);
  EXPECT_EQ(mail->requests[1].stage, "body");
  EXPECT_EQ(mail->requests[1].asked, "ExchangeBodyContent (not found)");
  EXPECT_EQ(mail->requests[1].answer, std::nullopt);
  EXPECT_EQ(mail->requests[1].wait, 24800);
  EXPECT_EQ(mail->requests[2].stage, "close");
  EXPECT_EQ(mail->requests[2].rule, "marked");
}

TEST(RecordedMail, OfAnOldLineDoesNotSayWhatTheLineDoesNotSay) {
  const auto mail =
      Parse(R"({"mail":"a.eml","outcome":"sent","action":4,"cancel":0,"requests":[{"type":7,)"
            R"("payload":"Ada","name":"","answer":4}],"tag":null,"ms":12})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->outcome, Outcome::kSent);
  EXPECT_EQ(mail->checked, Checked::kUnknown);
  ASSERT_EQ(mail->requests.size(), 1u);
  EXPECT_EQ(mail->requests[0].wait, std::nullopt);
  EXPECT_EQ(mail->requests[0].rule, "");
}

TEST(RecordedMail, WithAWordFromAnotherVersionIsUnknownNotWell) {
  const auto mail = Parse(R"({"mail":"a","outcome":"queued","checked":"mostly"})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->outcome, Outcome::kUnknown);
  EXPECT_EQ(mail->checked, Checked::kUnknown);
}

TEST(RecordedMail, ThatCouldNotBeReadHasItsError) {
  const auto mail = Parse(R"({"mail":"a.eml","error":"no such file"})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->outcome, Outcome::kUnreadable);
  EXPECT_EQ(mail->error, "no such file");
}

TEST(RecordedMail, HasWhatALineOfALogSays) {
  const auto mail = Parse(
      R"({"time":"2026-03-01 12:00:00","machine":"PC17","sender":"ada@a.example",)"
      R"("recipients":["ben@b.example","cora@c.example"],"subject":"Offer","outcome":"sent",)"
      R"("checked":"unknown","reasons":[],"requests":[{"stage":"body","end":"no answer in time",)"
      R"("answer":null,"polls_left":0,"waited_ms":2480}]})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->mail, "");
  EXPECT_EQ(mail->machine, "PC17");
  EXPECT_EQ(mail->sender, "ada@a.example");
  EXPECT_EQ(mail->recipients, "ben@b.example, cora@c.example");
  EXPECT_EQ(mail->subject, "Offer");
  EXPECT_EQ(mail->when, "2026-03-01 12:00:00");
  EXPECT_EQ(mail->requests.at(0).stage, "body");
  EXPECT_EQ(mail->requests.at(0).end, "no answer in time");
  EXPECT_EQ(mail->requests.at(0).wait, 24800);
}

TEST(RecordedMail, HasWhatAnOlderLineOfALogSays) {
  const auto mail = Parse(R"({"verdict":"blocked","checked":"checked in part","requests":[]})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->outcome, Outcome::kBlocked);
  EXPECT_EQ(mail->checked, Checked::kPart);
}

TEST(RecordedMail, IsNotMadeFromFieldsInsideUnknownOnes) {
  const auto mail = Parse(
      R"({"later":{"mail":"wrong","outcome":"blocked","requests":[{"type":3}],"tag":{"name":"x"}},)"
      R"("mail":"right","outcome":"sent","list":[["error",{"reasons":["no"]}]],)"
      R"("requests":[{"nested":{"answer":3},"type":9,"answer":4}]})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->mail, "right");
  EXPECT_EQ(mail->outcome, Outcome::kSent);
  EXPECT_TRUE(mail->reasons.empty());
  EXPECT_EQ(mail->tag, "");
  ASSERT_EQ(mail->requests.size(), 1u);
  EXPECT_EQ(mail->requests[0].answer, 4);
}

TEST(RecordedMail, NeedsAWholeLineOfJson) {
  EXPECT_THAT(WhyNot(R"({"mail":"a","outcome":"sent")"), StartsWith("not JSON: "));
  EXPECT_THAT(WhyNot(R"({"mail":"a","outcome":"sent"} {})"), StartsWith("not JSON: "));
  EXPECT_THAT(WhyNot("{\"mail\":\"\xC3\x28\",\"outcome\":\"sent\"}"), StartsWith("not JSON: "));
  EXPECT_THAT(WhyNot(R"({"mail":"\ud800","outcome":"sent"})"), StartsWith("not JSON: "));
  const std::string nul = std::string(R"({"mail":"a","outcome":"sent"})") + '\0' + "rest";
  EXPECT_EQ(WhyNot(nul), "not JSON: a NUL byte");
  EXPECT_EQ(WhyNot("[]"), "no result of a mail: neither \"outcome\" nor \"error\"");
  EXPECT_EQ(WhyNot(R"({"summary":{}})"), "no result of a mail: neither \"outcome\" nor \"error\"");
}

TEST(RecordedMail, MayBeNestedWithoutEndAndTheStackHolds) {
  EXPECT_THAT(WhyNot(std::string(2'000'000, '[')), StartsWith("not JSON: "));
  const std::string deep =
      R"({"outcome":"sent","x":)" + std::string(1'000'000, '[') + std::string(1'000'000, ']') + "}";
  EXPECT_TRUE(Parse(deep));
}

TEST(RecordedMail, KeepsNumbersThatNoTimeCanHaveOut) {
  const auto mail =
      Parse(R"({"outcome":"sent","ms":-5,"requests":[{"type":9,"wait_ms":1e300,"answer":1e12}]})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->time, std::nullopt);
  EXPECT_EQ(mail->requests.at(0).wait, std::nullopt);
  EXPECT_EQ(mail->requests.at(0).answer, std::nullopt);
}

TEST(RecordedMail, CutsALongTextBetweenCharacters) {
  std::string address(199, 'a');
  address += "\xC3\xA4\xC3\xA4";
  const auto mail =
      Parse(R"({"outcome":"sent","requests":[{"type":3,"payload":")" + address + R"("}]})");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->requests.at(0).asked, std::string(199, 'a') + "\xE2\x80\xA6");
}

TEST(RecordedMail, CountsAllItsRequestsAndKeepsTheFirst) {
  std::string line = R"({"outcome":"sent","requests":[)";
  for (int i = 0; i < 502; ++i) line += (i > 0 ? "," : "") + std::string(R"({"type":8})");
  const auto mail = Parse(line + "]}");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->requests.size(), 500u);
  EXPECT_EQ(mail->requestCount, 502u);
  EXPECT_THAT(MailJson(*mail), HasSubstr("\"more\":2"));
}

TEST(DecidingRequest, IsTheLastOneOfContentOrTheClosingOneThatBlockedOrTagged) {
  const auto decides = [](const std::string& requests) {
    const auto mail = Parse(R"({"outcome":"sent","requests":[)" + requests + "]}");
    const auto* const request = DecidingRequest(*mail);
    return request == nullptr ? std::string("none") : request->stage;
  };
  const std::string body = R"({"type":1,"name":"ExchangeBodyContent","answer":)";
  EXPECT_EQ(decides(body + "3}"), "body");
  EXPECT_EQ(decides(body + "4}"), "none");
  EXPECT_EQ(decides(body + "6}"), "none");
  EXPECT_EQ(decides(body + R"(3},{"type":9,"answer":7})"), "close");
  EXPECT_EQ(decides(body + R"(3},{"type":9,"answer":4})"), "body");
  // Block in answer to recipients or sender decides nothing.
  EXPECT_EQ(decides(R"({"type":3,"answer":3},{"type":7,"answer":3})"), "none");
}

TEST(MailJson, LeavesOutWhatIsNotKnown) {
  const auto mail = Parse(R"({"mail":"a","outcome":"sent","requests":[{"type":9}],"ms":3})");
  EXPECT_EQ(MailJson(*mail), R"({"mail":"a","outcome":"sent","checked":"unknown","ms":3.0,)"
                             R"("requests":[{"stage":"close"}]})");
}

}  // namespace
