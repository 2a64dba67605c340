// The plain text of an HTML document.
#pragma once

#include <string>

namespace simulation::mail {

// The text that a reader of `html` (UTF-8) sees: white space folded, a line for each block, LF line
// ends, no scripts or styles. Broken markup is read as a browser reads it. The Windows build has no
// library for HTML and returns an empty text.
std::string TextOfHtml(const std::string& html);

}  // namespace simulation::mail
