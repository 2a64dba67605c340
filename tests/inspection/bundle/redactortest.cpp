#include "inspection/bundle/redactor.h"

#include <gtest/gtest.h>

namespace {

using inspection::bundle::Redactor;

const std::string kLineStart = "(12902) 11/21/2026 01:47:41.928 Outlook> Info: ";

std::string RedactedMessage(Redactor& redactor, const std::string& message) {
  const std::string line = redactor.LogLine(kLineStart + message);
  EXPECT_TRUE(line.starts_with(kLineStart)) << line;
  return line.substr(std::min(line.size(), kLineStart.size()));
}

TEST(Redactor, ReplacesEachTextOfAMail) {
  Redactor redactor(false);
  const auto redacted = [&](const std::string& message) {
    return RedactedMessage(redactor, message);
  };
  EXPECT_EQ(redacted("Get AddressEntry address: ben.ochs@partner.example"),
            "Get AddressEntry address: address-1@domain-1");
  EXPECT_EQ(redacted("Get AddressEntry address: Eva@Partner.example"),
            "Get AddressEntry address: address-2@domain-1");
  EXPECT_EQ(redacted("Get AddressEntry address: /o=Labs/cn=ada"),
            "Get AddressEntry address: address-3");
  EXPECT_EQ(redacted("Sender: Ada Winter"), "Sender: name-1");
  EXPECT_EQ(redacted("Sender: BEN.OCHS@partner.example"), "Sender: address-1@domain-1");
  EXPECT_EQ(redacted("Mail subject: [Re: [x] Three files]"), "Mail subject: [subject-1]");
  EXPECT_EQ(redacted("Mail subject: [no end"), "Mail subject: [subject-2");
  EXPECT_EQ(redacted("Mail subject: []"), "Mail subject: []");
  EXPECT_EQ(redacted("Body: Dear Ben,"), "Body: body-1");
  EXPECT_EQ(redacted("New Inspector: Three files - Message."), "New Inspector: window-1.");
  EXPECT_EQ(redacted("Referenced attachment: path:C:\\T\\OutlookAttachment.1, name:plan.docx"),
            "Referenced attachment: path:folder-1\\file-1.1, name:file-2.docx");
  EXPECT_EQ(redacted("Check [logo.png]"), "Check [file-3.png]");
  EXPECT_EQ(redacted("Find signature image: [LOGO.PNG]"), "Find signature image: [file-3.PNG]");
}

TEST(Redactor, KeepsWhatTellsTheStory) {
  Redactor redactor(false);
  for (const char* const message :
       {"CheckRecipients returns: 4.", "CheckContent: lActionCode=4 iTimeOut=124",
        "Outlook version: 2016", "DLP Addin attached.", "Block current mail sending.",
        "MailItem 0x000055CAB1D12EE0 is not checked, continue CheckMail ..."}) {
    EXPECT_EQ(RedactedMessage(redactor, message), message);
  }
  EXPECT_TRUE(redactor.Counts().empty());
}

TEST(Redactor, ReplacesLinesAndMessagesThatItDoesntKnow) {
  Redactor redactor(false);
  EXPECT_EQ(redactor.LogLine("the second line of a body"), "text-1");
  EXPECT_EQ(redactor.LogLine(""), "");
  EXPECT_EQ(RedactedMessage(redactor, "a line that a subject imitates"), "text-2");
}

TEST(Redactor, ReplacesAddressesAndUsersInOtherText) {
  Redactor redactor(false);
  EXPECT_EQ(redactor.Text("x_value = write to ada@a.example."),
            "x_value = write to address-1@domain-1.");
  EXPECT_EQ(redactor.Text("C:\\Users\\ada\\AppData, \"C:\\\\Users\\\\ada\\\\Temp\", C:\\Users"),
            "C:\\Users\\user-1\\AppData, \"C:\\\\Users\\\\user-1\\\\Temp\", C:\\Users");
  EXPECT_EQ(redactor.Text("DlpMailEvent @dlpmailevent.cpp(725) a@b @"),
            "DlpMailEvent @dlpmailevent.cpp(725) a@b @");
}

TEST(Redactor, KeepsDomainsOnRequest) {
  Redactor redactor(true);
  EXPECT_EQ(redactor.Text("ada@a.example ben@a.example"),
            "address-1@a.example address-2@a.example");
}

TEST(Redactor, FindsWhatItReplacedAnywhere) {
  Redactor redactor(false);
  RedactedMessage(redactor, "Mail subject: [Project Falcon]");
  EXPECT_EQ(redactor.CountSecrets("a.txt: project FALCON, project falcon"), 2u);
  EXPECT_EQ(redactor.WithoutSecrets("a.txt: project FALCON!"), "a.txt: subject-1!");
  EXPECT_EQ(redactor.CountSecrets(redactor.WithoutSecrets("project FALCON")), 0u);
  EXPECT_EQ(redactor.CountSecrets("project falco"), 0u);
}

TEST(Redactor, PrefersTheLongestText) {
  Redactor redactor(false);
  RedactedMessage(redactor, "Mail subject: [Falcon]");
  RedactedMessage(redactor, "Mail subject: [Falcon budget]");
  EXPECT_EQ(redactor.WithoutSecrets("falcon budget, falcon"), "subject-2, subject-1");
}

TEST(Redactor, DoesntSearchForOrdinaryWords) {
  Redactor redactor(false);
  for (const char* const subject : {"Outlook", "abc", "2026", "Falcon"}) {
    RedactedMessage(redactor, std::string("Mail subject: [") + subject + "]");
  }
  redactor.KeepWordsOf("Outlook 16.0");
  EXPECT_EQ(redactor.Unsearched(), 3u);
  EXPECT_EQ(redactor.CountSecrets("Outlook abc 2026"), 0u);
  EXPECT_EQ(redactor.CountSecrets("Falcon"), 1u);
}

}  // namespace
