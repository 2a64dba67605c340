// One mail as plain data: what the readers of mail files make and the simulated host shows.
//
// All text is UTF-8. An absent optional is a property that the host gives as null; an empty one is
// a property that is there and empty.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulation::mail {

// What stands behind a recipient: somebody with an address, or a personal distribution list (type
// 5, no address, members). The same object may stand behind several recipients and in several
// lists, itself included: identity counts.
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
};

struct MailModel {
  std::string source;                     // where it was read from, for messages
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
