// The reading of mail files, as far as this build has it.
#pragma once

#include <string>

#include "simulation/mail/mailmodel.h"

namespace tools {

// False where the mail library isn't there.
extern const bool kMailFilesAreRead;

// Reads a mail file. Raises std::runtime_error with the reason in words, without the path.
simulation::mail::MailModel ReadMailFile(const std::string& path);

}  // namespace tools
