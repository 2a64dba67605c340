// What holds for every mail that a reader returns.
#pragma once

#include <string>

#include "fuzz/fuzzing.h"
#include "simulation/mail/mailjson.h"
#include "simulation/mail/mailmodel.h"
#include "text/textconversion.h"

namespace fuzzing {

using simulation::mail::MailAddressEntry;
using simulation::mail::MailModel;

inline void CheckText(const std::string& text) {
  Require(text.empty() || !Utf8ToWide(text).empty(), "text is valid UTF-8");
}

inline void CheckEntry(const MailAddressEntry& entry) {
  Require(entry.id.has_value(), "an entry has an id");
  CheckText(*entry.id);
  CheckText(entry.address.value_or(""));
  for (const auto& member : entry.members) CheckEntry(*member);
}

inline void CheckMail(const MailModel& mail) {
  for (const auto& recipient : mail.recipients) {
    CheckText(recipient.name);
    Require(recipient.entry != nullptr, "a recipient has an entry");
    CheckEntry(*recipient.entry);
  }
  for (const auto* text : {&mail.subject, &mail.body, &mail.htmlBody, &mail.senderName,
                           &mail.accountUserName, &mail.accountSenderName}) {
    CheckText(text->value_or(""));
  }
  Require(mail.body.has_value(), "a mail has a body, even an empty one");
  for (std::size_t at = mail.body->find('\n'); at != std::string::npos;
       at = mail.body->find('\n', at + 1)) {
    Require(at > 0 && (*mail.body)[at - 1] == '\r', "the body's lines end with CR LF");
  }
  for (const auto& attachment : mail.attachments) {
    Require(attachment.fileName.has_value() && !attachment.fileName->empty(), "a file has a name");
    CheckText(*attachment.fileName);
  }
}

// The JSON form keeps all of it.
inline void CheckJson(const MailModel& mail) {
  const std::string json = simulation::mail::MailToJson(mail);
  const MailModel again = simulation::mail::MailFromJson(json);
  Require(simulation::mail::MailToJson(again) == json, "the JSON form keeps the mail");
  Require(again.attachments.size() == mail.attachments.size(), "and its attachments");
  for (std::size_t i = 0; i < mail.attachments.size(); ++i) {
    Require(again.attachments[i].content == mail.attachments[i].content, "byte for byte");
  }
}

}  // namespace fuzzing
