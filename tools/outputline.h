// Lines of text on standard output.
#pragma once

#include <cstddef>
#include <string_view>

namespace tools {

// Prints `text`, made printable, and a line end. On a terminal, breaks it at the terminal's width
// and indents every line but the first. Into a file or another program it stays one line, so that
// searching finds all of it.
void PrintLine(std::string_view text, std::size_t indent);

}  // namespace tools
