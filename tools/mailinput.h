// Reading the mails that a command is given.
#pragma once

#include <string>

#include "simulation/mail/mailmodel.h"

namespace tools {

// True where mail files (.eml) can be read; otherwise only the JSON that `quorvex import` writes.
bool ReadsMailFiles();

// Reads the mail at `path` (UTF-8), a mail file or a mail in JSON. Raises std::runtime_error with
// the reason in words, without the path.
simulation::mail::MailModel ReadMail(const std::string& path);

}  // namespace tools
