// The parser of the command line.
#pragma once

#include <string>
#include <vector>

#include "tools/command.h"

namespace tools {

// Parses `arguments` (UTF-8, without the program's name), runs the subcommand that they name, and
// returns the exit status. `program` describes the whole program; its subcommands do the work.
// Prints the help where it is asked for, and every error on standard error.
int RunCommandLine(const Command& program, std::vector<std::string> arguments);

}  // namespace tools
