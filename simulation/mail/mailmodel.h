// One mail as plain data: the readers of mail files make it, the simulated host shows it.
//
// All text is UTF-8. The host returns null for an absent optional, and an empty text for an empty
// one.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulation::mail {

// The address entry of a recipient: either an address, or a personal distribution list (type 5,
// with members instead of an address). Several recipients and several lists may share one entry,
// and a list may contain itself: identity counts.
struct MailAddressEntry {
  std::optional<std::string> address;
  std::int32_t displayType = 0;   // OlDisplayType
  std::optional<std::string> id;  // a list needs one to be opened
  std::vector<std::shared_ptr<MailAddressEntry>> members;
};

struct MailRecipient {
  std::string name;                         // the display name
  std::shared_ptr<MailAddressEntry> entry;  // null: the host has none
};

struct MailAttachment {
  std::int32_t type = 1;                // OlAttachmentType: 1, 4, 5 or 6
  std::optional<std::string> fileName;  // as the mail names it
  std::optional<std::string> pathName;  // of a referenced file
  std::string content;                  // what saving it writes
  // Of an inline image: what the HTML calls it ("cid:..."), without angle brackets.
  std::optional<std::string> contentId = {};
};

struct MailModel {
  std::string source;                     // where it was read from, for messages to the user
  std::vector<MailRecipient> recipients;  // To, then Cc, then Bcc
  std::optional<std::string> subject;
  std::optional<std::string> body;      // plain form, CR LF line ends
  std::optional<std::string> htmlBody;  // HTML form
  std::vector<MailAttachment> attachments;
  std::optional<std::string> senderName;         // of the session's user; absent: no user
  std::optional<std::string> accountUserName;    // the sending account's own text
  std::optional<std::string> accountSenderName;  // of the sending account's user; absent: no user
  // With neither of the two the mail has no sending account.
};

}  // namespace simulation::mail
