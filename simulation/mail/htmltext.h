// The plain text of an HTML document.
#pragma once

#include <string>

namespace simulation::mail {

// What a reader sees of `html` (UTF-8): text with its white space folded, a line for each block,
// LF line ends, scripts and styles left out. Broken markup is read as a browser would.
std::string TextOfHtml(const std::string& html);

}  // namespace simulation::mail
