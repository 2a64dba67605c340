// A mail as JSON: what `quorvex import` writes and `quorvex send` reads where no mail library is.
//
// The document is one object:
//   {"quorvex_mail": 1, "source": "...", "subject": "..." or null, "body": ..., "html": ...,
//    "sender_name": ..., "account_user_name": ..., "account_sender_name": ...,
//    "entries": [{"address": "..." or null, "display_type": 0, "id": ..., "members": [1, 2]}],
//    "recipients": [{"name": "...", "entry": 0 or null}],
//    "attachments": [{"type": 1, "file_name": ..., "path_name": ..., "content": "base64"}]}
// `entry` and `members` are positions in `entries`, so that one entry may stand in many places.
#pragma once

#include <string>
#include <string_view>

#include "simulation/mail/mailmodel.h"

namespace simulation::mail {

// The document for `mail`, indented, ended by LF.
std::string MailToJson(const MailModel& mail);

// Reads such a document. Raises std::runtime_error with what is wrong and where.
MailModel MailFromJson(std::string_view json);

// True if the text looks like such a document and not like a mail: its first character behind
// white space is "{".
bool LooksLikeMailJson(std::string_view text);

}  // namespace simulation::mail
