// The words of a command line: what an option is called and what it takes.
#pragma once

#include <string>
#include <vector>

#include "tools/command.h"

namespace tools {

enum class ValueKind {
  kNone,   // a flag
  kFile,   // the name of a file or folder
  kOneOf,  // a word of Option::oneOf
  kOther,
};

// True for a word without dashes, such as FILE.
bool IsPositional(const Option& option);

// "-o,--output" as "-o" and "--output"; the name alone for a positional argument.
std::vector<std::string> OptionNames(const Option& option);

ValueKind KindOf(const Option& option);

// What the documents call the option's value: FILE, NUMBER, TEXT. Empty for a flag.
std::string ValueName(const Option& option);

// The value that the option has if it isn't used; empty if the help doesn't show it.
std::string ShownDefault(const Option& option);

// True if the option or argument can be given several times.
bool IsRepeatable(const Option& option);

std::string Joined(const std::vector<std::string>& words, const std::string& separator);

}  // namespace tools
