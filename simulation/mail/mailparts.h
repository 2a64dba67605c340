// Sorting the parts of a mail into its two bodies and its attachments.
#pragma once

#include <gmime/gmime.h>

#include "simulation/mail/mailmodel.h"

namespace simulation::mail {

// Walks the parts of `root` in their order and puts what it finds into `mail`: the first plain and
// the first HTML text that is no attachment become the bodies (a further plain text without a file
// name, such as a mailing list's footer, goes behind the body), all else becomes an attachment.
// Line ends of the bodies stay as they are in the mail; `lineEnds` says which an embedded message
// was written with, since the library forgets them.
void SortParts(GMimeObject* root, GMimeNewLineFormat lineEnds, MailModel& mail);

// Text that GMime gave, as valid UTF-8; null gives the empty string.
std::string ValidUtf8(const char* text);

}  // namespace simulation::mail
