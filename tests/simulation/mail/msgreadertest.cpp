#include "simulation/mail/msgreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simulation/mail/mailreader.h"
#include "tests/simulation/mail/msgbuilder.h"

namespace simulation::mail {
namespace {

using namespace std::string_literals;

using testing::ElementsAre;
using tests::EmbeddedMessage;
using tests::Message;
using tests::Part;

constexpr std::uint16_t kString8 = 0x001E;
constexpr std::uint16_t kUnicode = 0x001F;
constexpr std::uint16_t kBinary = 0x0102;

std::vector<std::string> NamesOf(const MailModel& mail) {
  std::vector<std::string> names;
  for (const MailRecipient& recipient : mail.recipients) names.push_back(recipient.name);
  return names;
}

tests::MsgObject RecipientNamed(const char* name, std::int32_t type) {
  return Part()
      .Text(0x3001, name)
      .Number(0x0C15, type)
      .Text(0x3002, "SMTP")
      .Text(0x3003, "a@x.test");
}

// The address of a recipient with these properties.
std::optional<std::string> AddressOf(const tests::MsgObject& recipient) {
  const MailModel mail = ReadOutlookMessage(Message().Recipient(recipient).Contents());
  return mail.recipients.at(0).entry->address;
}

TEST(OutlookMessage, RecipientsComeAsToThenCcThenBcc) {
  const MailModel mail = ReadOutlookMessage(Message()
                                                .Recipient(RecipientNamed("Cc", 2))
                                                .Recipient(RecipientNamed("Bcc", 3))
                                                .Recipient(RecipientNamed("To 1", 1))
                                                .Recipient(RecipientNamed("Sender", 0))
                                                .Recipient(RecipientNamed("To 2", 0x10000001))
                                                .Contents());
  EXPECT_THAT(NamesOf(mail), ElementsAre("To 1", "To 2", "Cc", "Bcc"));
}

TEST(OutlookMessage, AnAddressIsTheSmtpAddressIfThereIsOne) {
  EXPECT_EQ(AddressOf(Part().Text(0x3002, "SMTP").Text(0x3003, "a@x.test")), "a@x.test");
  EXPECT_EQ(AddressOf(Part().Text(0x3002, "EX").Text(0x3003, "/o=X/cn=A").Text(0x39FE, "a@x.test")),
            "a@x.test");
  EXPECT_EQ(AddressOf(Part().Text(0x3002, "EX").Text(0x3003, "/o=X/cn=A")), "/o=X/cn=A");
  EXPECT_EQ(AddressOf(Part().Text(0x3001, "A")), std::nullopt);
}

TEST(OutlookMessage, ARecipientWithoutANameHasItsAddressAsName) {
  const MailModel mail = ReadOutlookMessage(
      Message().Recipient(Part().Text(0x3002, "SMTP").Text(0x3003, "a@x.test")).Contents());
  EXPECT_THAT(NamesOf(mail), ElementsAre("a@x.test"));
}

TEST(OutlookMessage, TheSenderIsWhomTheMailRepresents) {
  const MailModel both = ReadOutlookMessage(Message()
                                                .Text(0x0042, "Boss")
                                                .Text(0x0064, "EX")
                                                .Text(0x0065, "/o=X/cn=BOSS")
                                                .Text(0x5D02, "boss@x.test")
                                                .Text(0x0C1A, "Clerk")
                                                .Text(0x0C1F, "/o=X/cn=CLERK")
                                                .Contents());
  EXPECT_EQ(both.senderName, "Boss");
  EXPECT_EQ(both.accountSenderName, "Boss");
  EXPECT_EQ(both.accountUserName, "boss@x.test");
  const MailModel one =
      ReadOutlookMessage(Message().Text(0x0C1E, "SMTP").Text(0x0C1F, "clerk@x.test").Contents());
  EXPECT_EQ(one.senderName, "clerk@x.test");
  EXPECT_EQ(one.accountUserName, "clerk@x.test");
  EXPECT_EQ(ReadOutlookMessage(Message().Contents()).senderName, std::nullopt);
}

TEST(OutlookMessage, TextIsUnicodeOrInTheMessagesCodePage) {
  EXPECT_EQ(
      ReadOutlookMessage(Message().Value(0x0037, kUnicode, "\xFC\0\x3D\xD8\0\xDE"s).Contents())
          .subject,
      "\xC3\xBC\xF0\x9F\x98\x80");
  EXPECT_EQ(ReadOutlookMessage(Message().Value(0x0037, kString8, "\xFC").Contents()).subject,
            "\xC3\xBC");
  EXPECT_EQ(ReadOutlookMessage(
                Message().Value(0x0037, kString8, "\xC0\0"s).Number(0x3FFD, 1251).Contents())
                .subject,
            "\xD0\x90");
  const tests::MsgObject chinese = Part().Value(0x3001, kString8, "\xB2\xE2").Number(0x0C15, 1);
  EXPECT_THAT(
      NamesOf(ReadOutlookMessage(Message().Number(0x3FFD, 936).Recipient(chinese).Contents())),
      ElementsAre("\xE6\xB5\x8B"));
}

TEST(OutlookMessage, TheLastLetterOfHebrewAndVietnameseIsKept) {
  // Either code page has marks that belong to the letter before them.
  const auto subject = [](std::int32_t codePage, const std::string& text) {
    return ReadOutlookMessage(
               Message().Value(0x0037, kString8, text).Number(0x3FFD, codePage).Contents())
        .subject;
  };
  EXPECT_EQ(subject(1255, "\xF9\xEC\xE5\xED"), "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D");
  EXPECT_EQ(subject(1258, "Anh \xEA"), "Anh \xC3\xAA");
}

TEST(OutlookMessage, InvalidTextBecomesReplacementCharacters) {
  EXPECT_EQ(ReadOutlookMessage(Message()
                                   .Value(0x0037, kUnicode,
                                          "\0\xD8"
                                          "a\0"s)
                                   .Contents())
                .subject,
            "\xEF\xBF\xBD"
            "a");
  EXPECT_EQ(ReadOutlookMessage(Message().Value(0x0037, kUnicode, "a\0b"s).Contents()).subject,
            "a\xEF\xBF\xBD");
  // A number beyond U+10FFFF in the form of UTF-8.
  EXPECT_EQ(
      ReadOutlookMessage(
          Message().Value(0x0037, kString8, "a\xF6\x87\x86\x93").Number(0x3FFD, 65001).Contents())
          .subject,
      "a\xEF\xBF\xBD");
}

TEST(OutlookMessage, TheBodyHasCrLfEnds) {
  EXPECT_EQ(ReadOutlookMessage(Message().Text(0x1000, "a\nb\r\n").Contents()).body, "a\r\nb\r\n");
  EXPECT_EQ(ReadOutlookMessage(Message().Contents()).body, "");
  EXPECT_EQ(ReadOutlookMessage(Message().Contents()).htmlBody, std::nullopt);
}

TEST(OutlookMessage, HtmlComesFromItsPropertyInItsCodePage) {
  EXPECT_EQ(ReadOutlookMessage(
                Message().Value(0x1013, kBinary, "<p>\xC3\xBC").Number(0x3FDE, 65001).Contents())
                .htmlBody,
            "<p>\xC3\xBC");
  EXPECT_EQ(ReadOutlookMessage(
                Message().Value(0x1013, kBinary, "<p>\xFC").Number(0x3FDE, 28591).Contents())
                .htmlBody,
            "<p>\xC3\xBC");
  EXPECT_EQ(ReadOutlookMessage(Message().Text(0x1013, "<p>").Contents()).htmlBody, "<p>");
}

TEST(OutlookMessage, HtmlComesFromRichTextOtherwise) {
  const auto rich = [](const std::string& rtf) {
    return Message().Value(0x1009, kBinary,
                           tests::LittleEndian(rtf.size() + 12, 4) +
                               tests::LittleEndian(rtf.size(), 4) + "MELA" + "\0\0\0\0"s + rtf);
  };
  EXPECT_EQ(ReadOutlookMessage(rich("{\\rtf1\\fromhtml1 {\\*\\htmltag <p>}x}").Contents()).htmlBody,
            "<p>x");
  EXPECT_EQ(ReadOutlookMessage(rich("{\\rtf1 x}").Contents()).htmlBody, std::nullopt);
}

TEST(OutlookMessage, AttachmentsByValueHaveTheirLongNameAndBytes) {
  const MailModel mail = ReadOutlookMessage(
      Message()
          .Attachment(Part()
                          .Number(0x3705, 1)
                          .Text(0x3704, "LONGNA~1.TXT")
                          .Text(0x3707, "long name.txt")
                          .Value(0x3701, kBinary, "a\0b"s))
          .Attachment(Part().Number(0x3705, 1).Text(0x3704, "short.txt").Value(0x3701, kBinary, ""))
          .Attachment(Part().Value(0x3701, kBinary, "x"))
          .Contents());
  ASSERT_EQ(mail.attachments.size(), 3U);
  EXPECT_EQ(mail.attachments[0].type, 1);
  EXPECT_EQ(mail.attachments[0].fileName, "long name.txt");
  EXPECT_EQ(mail.attachments[0].content, "a\0b"s);
  EXPECT_EQ(mail.attachments[0].contentId, std::nullopt);
  EXPECT_EQ(mail.attachments[1].fileName, "short.txt");
  EXPECT_EQ(mail.attachments[2].fileName, "ATT00003.dat");
}

TEST(OutlookMessage, AnInlineImageHasItsContentId) {
  const MailModel mail = ReadOutlookMessage(Message()
                                                .Attachment(Part()
                                                                .Number(0x3705, 1)
                                                                .Text(0x3707, "logo.png")
                                                                .Text(0x3712, "logo.png@1")
                                                                .Value(0x3701, kBinary, "PNG"))
                                                .Contents());
  EXPECT_EQ(mail.attachments.at(0).contentId, "logo.png@1");
}

TEST(OutlookMessage, AReferencedFileHasItsPath) {
  const MailModel mail = ReadOutlookMessage(
      Message()
          .Attachment(Part().Number(0x3705, 4).Text(0x3707, "a.doc").Text(0x370D, "\\\\s\\a.doc"))
          .Contents());
  EXPECT_EQ(mail.attachments.at(0).type, 4);
  EXPECT_EQ(mail.attachments.at(0).fileName, "a.doc");
  EXPECT_EQ(mail.attachments.at(0).pathName, "\\\\s\\a.doc");
}

// Its bytes can be read as a mail in turn.
TEST(OutlookMessage, AnEmbeddedMessageIsAFileOfItsOwn) {
  const tests::MsgObject inner = EmbeddedMessage()
                                     .Text(0x0037, "inner")
                                     .Number(0x3FFD, 1251)
                                     .Value(0x1000, kString8, "\xC0")
                                     .Recipient(RecipientNamed("To", 1));
  Storage file =
      Message()
          .Attachment(
              Part().Number(0x3705, 5).Text(0x3001, "inner").Object(0x3701, inner.Contents()))
          .Contents();
  file.storages["__nameid_version1.0"].streams["names"] = "n";
  const MailModel mail = ReadOutlookMessage(file);
  ASSERT_EQ(mail.attachments.size(), 1U);
  EXPECT_EQ(mail.attachments[0].type, 5);
  EXPECT_EQ(mail.attachments[0].fileName, "inner.msg");
  const MailModel read = ReadMail(mail.attachments[0].content);
  EXPECT_EQ(read.subject, "inner");
  EXPECT_EQ(read.body, "\xD0\x90");
  EXPECT_THAT(NamesOf(read), ElementsAre("To"));
  EXPECT_EQ(ReadCompoundFile(mail.attachments[0].content)
                .storages.at("__nameid_version1.0")
                .streams.at("names"),
            "n");
}

TEST(OutlookMessage, AnOleObjectKeepsItsType) {
  Storage object;
  object.streams["CONTENTS"] = "drawing";
  const MailModel mail = ReadOutlookMessage(
      Message()
          .Attachment(Part().Number(0x3705, 6).Text(0x3001, "Picture").Object(0x3701, object))
          .Contents());
  EXPECT_EQ(mail.attachments.at(0).type, 6);
  EXPECT_EQ(mail.attachments.at(0).fileName, "Picture");
  EXPECT_EQ(ReadCompoundFile(mail.attachments.at(0).content).streams.at("CONTENTS"), "drawing");
}

TEST(OutlookMessage, IsRecognisedAmongMailFiles) {
  const std::string file = WriteCompoundFile(Message().Text(0x0037, "s").Contents());
  EXPECT_EQ(ReadMail(file).subject, "s");
}

TEST(OutlookMessage, OtherCompoundFilesAreNotMails) {
  Storage other;
  other.streams["WordDocument"] = "text";
  try {
    ReadMail(WriteCompoundFile(other));
    FAIL();
  } catch (const MailError& error) {
    EXPECT_STREQ(error.what(), "it is not a mail: the compound file has no message in it");
  }
}

TEST(OutlookMessage, ATruncatedPropertyListIsReadAsFarAsItGoes) {
  Storage file = Message().Text(0x0037, "s").Number(0x3FFD, 1251).Contents();
  file.streams[kMsgPropertyStream].resize(5);
  EXPECT_EQ(ReadOutlookMessage(file).subject, "s");
}

}  // namespace
}  // namespace simulation::mail
