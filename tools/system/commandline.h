// The process's own command line.
#pragma once

#include <string>
#include <vector>

namespace tools::system {

// The arguments that the process was started with, without the program's own name, in UTF-8
// whatever the system's code page. `argc` and `argv` are main's.
std::vector<std::string> CommandLineArguments(int argc, const char* const* argv);

// The full path of this process's program, in UTF-8; empty if the system doesn't say.
std::string OwnProgramPath();

}  // namespace tools::system
