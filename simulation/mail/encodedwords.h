// Making encoded words in headers readable for the mail library.
#pragma once

#include <string>
#include <string_view>

namespace simulation::mail {

// Returns `header` with each base64 encoded word ("=?charset?B?...?=") rewritten in quoted form.
// The mail library joins neighbouring words of one charset before it decodes them and drops
// everything after a word whose base64 ends in padding, which is how most programs write long
// subjects. Quoted words don't have this problem. Text that only looks like an encoded word doesn't
// change.
std::string WithQuotedWords(std::string_view header);

}  // namespace simulation::mail
