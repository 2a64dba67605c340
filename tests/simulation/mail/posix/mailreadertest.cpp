// The mail reader, with mails of many shapes written out byte by byte.

#include "simulation/mail/mailreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simulation/mail/encodedwords.h"
#include "simulation/mail/htmltext.h"
#include "simulation/mail/mailjson.h"

namespace simulation::mail {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

MailModel Read(const std::string& bytes) {
  return ReadMail(bytes);
}

std::string ErrorOf(const std::string& bytes) {
  try {
    ReadMail(bytes);
  } catch (const MailError& error) {
    return error.what();
  }
  return "";
}

std::vector<std::string> AddressesOf(const MailModel& mail) {
  std::vector<std::string> addresses;
  for (const MailRecipient& recipient : mail.recipients) {
    addresses.push_back(recipient.entry->address.value_or("(list)"));
  }
  return addresses;
}

TEST(MailReader, RecipientsComeAsToThenCcThenBccWithBareAddresses) {
  const MailModel mail = Read(
      "Bcc: <d@x.test>\r\nCc: Carl <c@x.test>\r\nTo: \"B, A\" <a@x.test>, b@x.test\r\n"
      "Subject: s\r\n\r\nbody");
  EXPECT_THAT(AddressesOf(mail), ElementsAre("a@x.test", "b@x.test", "c@x.test", "d@x.test"));
  EXPECT_EQ(mail.recipients[0].name, "B, A");
  EXPECT_EQ(mail.recipients[1].name, "b@x.test");
}

TEST(MailReader, AGroupBecomesAPersonalDistributionList) {
  const MailModel mail = Read("To: Crew: a@x.test, Bea <b@x.test>;, c@x.test\r\n\r\n");
  ASSERT_EQ(mail.recipients.size(), 2U);
  const MailAddressEntry& list = *mail.recipients[0].entry;
  EXPECT_EQ(mail.recipients[0].name, "Crew");
  EXPECT_EQ(list.displayType, 5);
  EXPECT_FALSE(list.address.has_value());
  EXPECT_TRUE(list.id.has_value());
  ASSERT_EQ(list.members.size(), 2U);
  EXPECT_EQ(list.members[0]->address, "a@x.test");
  EXPECT_EQ(list.members[1]->address, "b@x.test");
}

TEST(MailReader, AFoldedSubjectInSeveralPaddedBase64WordsComesOutWhole) {
  // "Grüße " and "aus Köln": both words end in padding.
  const MailModel mail = Read(
      "To: a@x.test\r\nSubject: =?utf-8?B?R3LDvMOfZSA=?=\r\n =?utf-8?B?YXVzIEvDtmxu?=\r\n"
      " =?utf-8?B?ICE=?=\r\n\r\n");
  EXPECT_EQ(mail.subject,
            "Gr\xC3\xBC\xC3\x9F"
            "e aus K\xC3\xB6ln !");
}

TEST(MailReader, AMissingSubjectIsNoneAndAnEmptyOneIsEmpty) {
  EXPECT_EQ(Read("To: a@x.test\r\n\r\n").subject, std::nullopt);
  EXPECT_EQ(Read("To: a@x.test\r\nSubject:\r\n\r\n").subject, "");
}

TEST(MailReader, TheSenderIsTheFirstAuthorsNameOrElseAddress) {
  const MailModel named = Read("From: =?koi8-r?B?68/SwQ==?= <k@x.test>, other@x.test\r\n\r\n");
  EXPECT_EQ(named.senderName, "\xD0\x9A\xD0\xBE\xD1\x80\xD0\xB0");  // Kora in Cyrillic
  EXPECT_EQ(named.accountUserName, "k@x.test");
  EXPECT_EQ(Read("From: k@x.test\r\n\r\n").senderName, "k@x.test");
}

TEST(MailReader, BodyTextIsUtf8WithCrLfEndsWhateverTheMailHas) {
  const MailModel mail = Read(
      "To: a@x.test\nContent-Type: text/plain; charset=iso-8859-1\n"
      "Content-Transfer-Encoding: quoted-printable\n\nZ=FCrich\nzwei=\ndrei\n");
  EXPECT_EQ(mail.body, "Z\xC3\xBCrich\r\nzweidrei\r\n");
  EXPECT_EQ(mail.htmlBody, std::nullopt);
}

TEST(MailReader, AMailOfHtmlAloneGetsItsBodyFromTheHtml) {
  const MailModel mail = Read(
      "To: a@x.test\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
      "<p>One &amp; <b>two</b></p><script>var x</script><p>three<br>four</p>");
  EXPECT_EQ(mail.body, "One & two\r\nthree\r\nfour\r\n");
  EXPECT_THAT(*mail.htmlBody, HasSubstr("<b>two</b>"));
}

TEST(MailReader, PlainAndHtmlAreTheBodiesAndAnInlineImageIsAnAttachment) {
  const MailModel mail = Read(
      "To: a@x.test\r\nContent-Type: multipart/related; boundary=R\r\n\r\n"
      "--R\r\nContent-Type: multipart/alternative; boundary=A\r\n\r\n"
      "--A\r\nContent-Type: text/plain\r\n\r\nplain\r\n"
      "--A\r\nContent-Type: text/html\r\n\r\n<img src=\"cid:logo.png@1\">\r\n--A--\r\n"
      "--R\r\nContent-Type: image/png; name=\"logo.png\"\r\nContent-ID: <logo.png@1>\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\niVBORw==\r\n--R--\r\n");
  EXPECT_EQ(mail.body, "plain");
  EXPECT_EQ(mail.htmlBody, "<img src=\"cid:logo.png@1\">");
  ASSERT_EQ(mail.attachments.size(), 1U);
  EXPECT_EQ(mail.attachments[0].type, 1);
  EXPECT_EQ(mail.attachments[0].fileName, "logo.png");
  EXPECT_EQ(mail.attachments[0].content, "\x89PNG");
}

TEST(MailReader, AttachmentsKeepTheirBytesAndTheirDecodedNames) {
  const MailModel mail = Read(
      "To: a@x.test\r\nContent-Type: multipart/mixed; boundary=M\r\n\r\n"
      "--M\r\nContent-Type: text/plain\r\n\r\nbody\r\n"
      "--M\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n"
      "Content-Disposition: attachment; filename*=UTF-8''%C3%9Cber%20uns.bin\r\n\r\nAAECDQoA\r\n"
      "--M\r\nContent-Type: text/plain\r\nContent-Disposition: attachment;\r\n"
      " filename=\"=?utf-8?B?w5w=?= =?utf-8?B?YmVyLnR4dA==?=\"\r\n\r\nline\r\n\r\n"
      "--M\r\nContent-Type: image/gif\r\n\r\nGIF\r\n--M--\r\n");
  ASSERT_EQ(mail.attachments.size(), 3U);
  EXPECT_EQ(mail.attachments[0].fileName,
            "\xC3\x9C"
            "ber uns.bin");
  EXPECT_EQ(mail.attachments[0].content, std::string("\0\1\2\r\n\0", 6));
  EXPECT_EQ(mail.attachments[1].fileName,
            "\xC3\x9C"
            "ber.txt");
  EXPECT_EQ(mail.attachments[1].content, "line\r\n");
  EXPECT_EQ(mail.attachments[2].fileName, "ATT00003.gif");
}

TEST(MailReader, AnEmbeddedMessageIsAnItemWithThatMessagesBytes) {
  const std::string inner =
      "From: b@x.test\r\nSubject:  Two  blanks\r\nX-Odd:value\r\n\r\ninner\r\n";
  const MailModel mail = Read(
      "To: a@x.test\r\nContent-Type: multipart/mixed; boundary=M\r\n\r\n"
      "--M\r\nContent-Type: message/rfc822\r\n\r\n" +
      inner + "\r\n--M--\r\n");
  ASSERT_EQ(mail.attachments.size(), 1U);
  EXPECT_EQ(mail.attachments[0].type, 5);
  EXPECT_EQ(mail.attachments[0].fileName, "Two  blanks.eml");
  EXPECT_EQ(mail.attachments[0].content, inner);
}

TEST(MailReader, SaysWhenTheBytesAreNotAMail) {
  const std::string reason = "it is not a mail: it doesn't begin with a header line";
  EXPECT_EQ(ErrorOf(""), "the file is empty");
  EXPECT_EQ(ErrorOf("just some text\nof two lines\n"), reason);
  EXPECT_EQ(ErrorOf(std::string("\x7F"
                                "ELF\0\0\x01",
                                7)),
            reason);
  EXPECT_EQ(ErrorOf(": no name\n\n"), reason);
  EXPECT_EQ(ErrorOf("From somebody\njust some text\n"), reason);
}

TEST(MailReader, AnyHeaderLineBeginsAMail) {
  EXPECT_EQ(Read("Content-Type: text/plain\n\nbody").body, "body");
  EXPECT_EQ(Read("X-Odd:\n\nbody").body, "body");
  EXPECT_EQ(Read("Subject : s\n\nbody").subject, "s");
}

TEST(MailReader, AByteOrderMarkBeforeTheHeadersIsDropped) {
  EXPECT_EQ(Read("\xEF\xBB\xBFSubject: s\n\nbody").subject, "s");
}

TEST(MailReader, AMailboxLineBeforeTheHeadersIsDropped) {
  const MailModel mail = Read("From a@x.test Mon May  2 16:07:05 2005\nSubject: s\n\nbody");
  EXPECT_EQ(mail.subject, "s");
  EXPECT_EQ(mail.body, "body");
}

std::string Nested(std::size_t groups) {
  std::string header = "To: ";
  for (std::size_t i = 0; i < groups; ++i) header += "g:\r\n ";
  return header + "a@x.test" + std::string(groups, ';') + "\r\n";
}

// The library reads them by recursion.
TEST(MailReader, TooManyGroupsAreAnErrorAndDoNotExhaustTheStack) {
  const std::string reason = "an address header has too many groups";
  EXPECT_EQ(ErrorOf(Nested(200'000) + "Subject: s\r\n\r\nbody"), reason);
  EXPECT_EQ(ErrorOf("Subject: s\r\nContent-Type: message/rfc822\r\n\r\ncC " +
                    Nested(200'000).substr(2) + "\r\nbody"),
            reason);
  EXPECT_EQ(ErrorOf(Nested(1001) + "\r\nbody"), reason);
}

TEST(MailReader, NestedGroupsAreReadAsListsWithinLists) {
  const MailModel mail = Read("Subject: s\r\n" + Nested(1000) + "\r\nbody");
  ASSERT_EQ(mail.recipients.size(), 1U);
  const MailAddressEntry* entry = mail.recipients[0].entry.get();
  std::size_t depth = 0;
  for (; !entry->members.empty(); ++depth) entry = entry->members[0].get();
  EXPECT_EQ(depth, 1000U);
  EXPECT_EQ(entry->address, "a@x.test");
}

// Many colons outside address headers.
TEST(MailReader, ColonsElsewhereAreNotGroups) {
  const std::string colons(5000, ':');
  const MailModel mail = Read("Subject: " + colons + "\r\nTo: a@x.test\r\nX-To: " + colons +
                              "\r\n\r\n" + colons + "\r\nTo the end: " + colons);
  EXPECT_EQ(mail.subject, colons);
  EXPECT_THAT(AddressesOf(mail), ElementsAre("a@x.test"));
}

TEST(MailReader, ReadsJsonToo) {
  EXPECT_EQ(Read(" {\"quorvex_mail\": 1, \"subject\": \"s\"}").subject, "s");
  EXPECT_THAT(ErrorOf("{}"), HasSubstr("not a mail in JSON"));
}

TEST(MailReader, AMailGoesThroughJsonAndBackUnchanged) {
  MailModel mail = Read(
      "From: S <s@x.test>\r\nTo: L: a@x.test;\r\nSubject: x\r\n"
      "Content-Type: multipart/mixed; boundary=M\r\n\r\n"
      "--M\r\nContent-Type: text/plain\r\n\r\nbody\r\n"
      "--M\r\nContent-Type: application/x; name=f\r\nContent-Transfer-Encoding: base64\r\n\r\n"
      "AP8=\r\n--M--\r\n");
  // A list that contains itself, which no mail file can express.
  mail.recipients[0].entry->members.push_back(mail.recipients[0].entry);
  const MailModel back = MailFromJson(MailToJson(mail));
  EXPECT_EQ(back.subject, "x");
  EXPECT_EQ(back.body, "body");
  EXPECT_EQ(back.htmlBody, std::nullopt);
  EXPECT_EQ(back.senderName, "S");
  ASSERT_EQ(back.attachments.size(), 1U);
  EXPECT_EQ(back.attachments[0].content, std::string("\0\xFF", 2));
  const auto& list = back.recipients.at(0).entry;
  ASSERT_EQ(list->members.size(), 2U);
  EXPECT_EQ(list->members[0]->address, "a@x.test");
  EXPECT_EQ(list->members[1], list);
  // Break the cycle of shared pointers.
  list->members.clear();
  mail.recipients[0].entry->members.clear();
}

// Lists that contain each other are walked and freed by recursion.
TEST(MailJson, HasAtMostThousandLists) {
  const auto nested = [](int lists) {
    std::string entries;
    for (int i = 1; i <= lists; ++i) entries += "{\"members\":[" + std::to_string(i) + "]},";
    return "{\"quorvex_mail\":1,\"recipients\":[{\"entry\":0}],\"entries\":[" + entries +
           "{\"address\":\"a@x.test\"}]}";
  };
  MailModel mail = MailFromJson(nested(1000));
  EXPECT_THAT(MailToJson(mail), HasSubstr("a@x.test"));
  try {
    MailFromJson(nested(20'000));
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "\"entries\" may have 1000 lists, and the one at index 1000 is one too many");
  }
}

TEST(MailJson, RefusesOtherDocuments) {
  EXPECT_THROW(MailFromJson("{\"quorvex_mail\": 1, \"recipients\": [{\"entry\": 3}]}"),
               std::runtime_error);
  EXPECT_THROW(MailFromJson("{}"), std::runtime_error);
  EXPECT_THROW(MailFromJson("{\"quorvex_mail\": 1"), std::runtime_error);
  EXPECT_TRUE(LooksLikeMailJson(" \r\n{"));
  EXPECT_FALSE(LooksLikeMailJson("From: {"));
}

TEST(MailJson, ANumberThatDoesNotFitIsAnErrorAndIsNotCutOff) {
  const auto error = [](const std::string& rest) -> std::string {
    try {
      MailFromJson("{" + rest + "}");
    } catch (const std::runtime_error& thrown) {
      return thrown.what();
    }
    return "";
  };
  EXPECT_EQ(error("\"quorvex_mail\": 1e22"), "\"quorvex_mail\" isn't a usable number: 1e+22");
  EXPECT_EQ(error("\"quorvex_mail\": 4294967297"),
            "\"quorvex_mail\" isn't a usable number: 4294967297");
  EXPECT_EQ(error("\"quorvex_mail\": 1, \"attachments\": [{\"type\": 1.5}]"),
            "\"type\" isn't a usable number: 1.5");
  EXPECT_EQ(error("\"quorvex_mail\": 1, \"entries\": [{\"display_type\": -2147483649}]"),
            "\"display_type\" isn't a usable number: -2147483649");
  EXPECT_EQ(error("\"quorvex_mail\": 1, \"entries\": [{\"display_type\": -2147483648}]"), "");
  EXPECT_EQ(error("\"quorvex_mail\": 1, \"entries\": [{}], \"recipients\": [{\"entry\": -1}]"),
            "\"entry\" isn't a usable number: -1");
  EXPECT_EQ(error("\"quorvex_mail\": 1, \"entries\": [{\"members\": [\"0\"]}]"),
            "\"members\" isn't a usable number: \"0\"");
}

TEST(EncodedWords, OnlyBase64WordsAreRewritten) {
  EXPECT_EQ(WithQuotedWords("a =?utf-8?B?w5w=?= b"), "a =?utf-8?Q?=C3=9C?= b");
  EXPECT_EQ(WithQuotedWords("=?utf-8?Q?=C3=9C?="), "=?utf-8?Q?=C3=9C?=");
  EXPECT_EQ(WithQuotedWords("=?x?b?VEVTVA?="), "=?x?Q?=54=45=53=54?=");
  EXPECT_EQ(WithQuotedWords("2 =? 3 ?B? 4"), "2 =? 3 ?B? 4");
  EXPECT_EQ(WithQuotedWords("=?a?B?!!?="), "=?a?B?!!?=");
}

TEST(HtmlText, FoldsWhiteSpaceAndOmitsInvisibleParts) {
  EXPECT_EQ(TextOfHtml("<title>t</title><style>p{}</style><div> a \n b </div>c"), "a b\nc\n");
  EXPECT_EQ(TextOfHtml(""), "");
  EXPECT_EQ(TextOfHtml("<p>un<b>closed"), "unclosed\n");
}

}  // namespace
}  // namespace simulation::mail
