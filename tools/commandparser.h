// The parser of the command line.
#pragma once

#include <string>
#include <vector>

#include "tools/command.h"

namespace tools {

// Parses `arguments` (UTF-8, without the program's name), runs the subcommand that they name, and
// returns the exit status. `program` describes the whole program; its subcommands do the work.
// Prints the help where it is asked for, and every error on standard error, with a suggestion for a
// misspelt command or option.
//
// The arguments `--write-pages FOLDER` write the manual pages and the completion instead
// (commandpages.h).
int RunCommandLine(const Command& program, const std::vector<std::string>& arguments);

}  // namespace tools
