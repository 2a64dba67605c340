// How wide text on standard output may be.
#pragma once

#include <cstddef>
#include <string_view>

namespace tools {

// The columns at which to break text: the terminal's width, or `least` if that is more. Into a file
// or another program a text stays one line (kUnbroken), so that searching finds all of it.
std::size_t OutputWidth(std::size_t least);

// Prints `text`, made printable, and a line end. Breaks it as OutputWidth says, and indents every
// line but the first.
void PrintLine(std::string_view text, std::size_t indent);

}  // namespace tools
