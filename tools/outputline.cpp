#include "tools/outputline.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {

std::size_t OutputWidth(std::size_t least) {
  if (!system::IsTerminal(system::Stream::kOutput)) return kUnbroken;
  return std::max<std::size_t>(system::TerminalWidth(), least);
}

void PrintLine(std::string_view text, std::size_t indent) {
  fmt::print("{}\n", Wrapped(text, OutputWidth(indent + 20), indent));
}

}  // namespace tools
