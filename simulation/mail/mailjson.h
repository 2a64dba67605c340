// A mail as JSON: what `quorvex import` writes, and what `quorvex send` reads everywhere.
//
// The document is one object:
//   {"quorvex_mail": 1, "source": "...", "subject": "..." or null, "body": ..., "html": ...,
//    "sender_name": ..., "account_user_name": ..., "account_sender_name": ...,
//    "entries": [{"address": "..." or null, "display_type": 0, "id": ..., "members": [1, 2]}],
//    "recipients": [{"name": "...", "entry": 0 or null}],
//    "attachments": [{"type": 1, "file_name": ..., "path_name": ..., "content_id": ...,
//                     "content": "base64"}]}
// `entry` and `members` are indices into `entries`, so that one entry can be used in many places.
// At most 1000 entries have members.
#pragma once

#include <string>
#include <string_view>

#include "simulation/mail/mailmodel.h"

namespace simulation::mail {

// Returns the document for `mail`, indented, with an LF at its end.
std::string MailToJson(const MailModel& mail);

// Reads such a document. Raises std::runtime_error with what is wrong and where.
MailModel MailFromJson(std::string_view json);

// True if `text` begins with "{" after any white space, as such a document does and no mail does.
bool LooksLikeMailJson(std::string_view text);

}  // namespace simulation::mail
