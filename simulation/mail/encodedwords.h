// Making encoded words in headers readable for the mail library.
#pragma once

#include <string>
#include <string_view>

namespace simulation::mail {

// `header` with each encoded word in base64 ("=?charset?B?...?=") written as the same word in
// quoted form. The mail library joins neighbouring words of one charset before it decodes them and
// loses all that follows a word whose base64 ends in padding, which is how most programs write
// long subjects; the quoted form has no such state. Text that only looks like a word stays.
std::string WithQuotedWords(std::string_view header);

}  // namespace simulation::mail
