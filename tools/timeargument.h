// A time on the command line.
#pragma once

#include <string>

namespace tools {

// "2026-11-21", "2026-11-21 14:30" or "2026-11-21T14:30:05", in the form that the times of log
// lines sort in. Ends the command with CommandError for anything else; `option` is the option's
// name.
std::string TimeArgument(const std::string& text, const char* option);

}  // namespace tools
