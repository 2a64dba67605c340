// What is installed beside the program: its manual pages and its completion for bash. Both are made
// from the commands' own descriptions, so they always show the same as --help.
#pragma once

#include <string>
#include <vector>

#include "tools/command.h"

namespace tools {

struct ManualPage {
  std::string name;  // without the section: "quorvex-log-explain"
  std::string text;  // for groff's man macros
};

// One page for the program, then one for each command, the parts of a command after it.
std::vector<ManualPage> ManualPages(const Command& program);

// A script that bash sources. It completes commands, options, and the values of options with a
// fixed list; where a file is expected, it leaves the word to bash.
std::string BashCompletion(const Command& program);

// Writes `folder`/man1/NAME.1 for each page, and the completion as `folder`/completions/<program>.
// Throws CommandError if that fails.
void WritePages(const Command& program, const std::string& folder);

}  // namespace tools
