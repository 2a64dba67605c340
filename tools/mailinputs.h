// The mails that a command is given.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulation/mail/mailsource.h"

namespace tools {

// Ends the command with CommandError if there is neither a mail nor a list.
void RequireMails(const std::vector<std::string>& mails, const std::string& filesFrom);

// Opens mails and list, and standard input for reading bytes. Ends the command with CommandError if
// there is neither a mail nor a list, or if the list can't be opened.
std::unique_ptr<simulation::mail::MailSource> OpenMails(const std::vector<std::string>& mails,
                                                        const std::string& filesFrom);

}  // namespace tools
