// Reading Outlook's .msg files.
//
// What a mail becomes is the same as for an internet message (see mailreader.h), with these
// differences:
//
// - A recipient's address is the SMTP address if the file has one, and otherwise the address as it
// is,
//   which for an Exchange mailbox is its EX address ("/o=...").
// - The HTML comes from the HTML property or from rich text that was made from HTML. Other rich
// text
//   gives no HTML, where Outlook would convert it.
// - An embedded message's bytes are a .msg again, as when Outlook saves it.
#pragma once

#include <string_view>

#include "simulation/mail/mailmodel.h"
#include "simulation/mail/storage.h"

namespace simulation::mail {

// Reads the bytes of a .msg. Raises MailError if they aren't a readable compound file with a
// message in it. Damage inside the message is no error: what can be read is read.
MailModel ReadOutlookMessage(std::string_view bytes);

// The same for a compound file that has been read already.
MailModel ReadOutlookMessage(const Storage& file);

}  // namespace simulation::mail
