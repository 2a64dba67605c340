// Reading mail files into the plain data that the simulated host shows.
//
// Recipients come in the order To, Cc, Bcc, each with its bare address; a group in a header becomes
// a personal distribution list. The subject is decoded and unfolded. The body is the mail's plain
// text with CR LF line ends, made from the HTML if the mail has no plain text. Everything else is
// an attachment: its decoded bytes under its decoded file name, and an embedded message as that
// message's bytes. All text becomes UTF-8, whatever its charset was.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "simulation/mail/mailmodel.h"

namespace simulation::mail {

// Why a mail can't be read, in words for a person, without the path.
class MailError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the bytes of a mail file: an internet message (.eml), an Outlook message (.msg, see
// msgreader.h), or the JSON that `quorvex import` writes. Raises MailError if they aren't a mail.
// Damage inside a mail is no error: what can be read is read. mailsource.h finds the bytes. For one
// thread at a time.
MailModel ReadMail(std::string_view bytes);

// True where internet messages can be read. The Windows build has no library for them.
extern const bool kReadsInternetMessages;

// Reads an internet message: headers, an empty line, a body. It has to begin with a header line,
// and otherwise MailError says that it isn't a mail. For one thread at a time.
MailModel ReadInternetMessage(std::string_view bytes);

}  // namespace simulation::mail
