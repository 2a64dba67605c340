// Sorting the parts of a mail into its two bodies and its attachments.
#pragma once

#include <string>

#include "simulation/mail/mailmodel.h"

// GMime's, without its headers.
struct _GMimeObject;

namespace simulation::mail {

// Which line ends an embedded message is written with. The library doesn't remember them.
enum class LineEnds { kLf, kCrLf };

// Walks the parts of `root` in order and adds them to `mail`. The first plain text and the first
// HTML that aren't attachments become the bodies. A later plain text without a file name, such as a
// mailing list's footer, is appended to the body. Every other part becomes an attachment. The
// bodies keep the line ends they have in the mail.
void SortParts(_GMimeObject* root, LineEnds lineEnds, MailModel& mail);

// Text from GMime as valid UTF-8; null becomes the empty string.
std::string ValidUtf8(const char* text);

}  // namespace simulation::mail
