#include "tools/outputline.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {

void PrintLine(std::string_view text, std::size_t indent) {
  if (!system::IsTerminal(system::Stream::kOutput)) {
    fmt::print("{}\n", Printable(text));
    return;
  }
  const std::size_t width = std::max<std::size_t>(system::TerminalWidth(), indent + 20);
  fmt::print("{}\n", Wrapped(text, width, indent));
}

}  // namespace tools
