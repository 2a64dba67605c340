// Reading a mail file (.eml) into the plain data that the simulated host shows.
//
// Recipients come in the order To, Cc, Bcc, each with its bare address; a group in a header becomes
// a personal distribution list. The subject is decoded and unfolded. The body is the mail's plain
// form, with CR LF line ends, made from the HTML where the mail has no plain form. Everything else
// is an attachment: with its decoded bytes under its decoded file name, an embedded message as that
// message's bytes. Text in any charset comes out as UTF-8.
#pragma once

#include <stdexcept>
#include <string>

#include "simulation/mail/mailmodel.h"

namespace simulation::mail {

// Why a mail can't be read, in words for a person, without the path.
class MailError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the mail in the file at `path` (UTF-8). Raises MailError for a file that can't be read and
// for one that isn't a mail: a file with none of the headers by which mails are known. What is
// merely broken inside a mail is read as far as it goes. Not for use by two threads at once.
MailModel ReadMailFile(const std::string& path);

}  // namespace simulation::mail
