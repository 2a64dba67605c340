#include "tools/system/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace tools::system {

bool IsTerminal(Stream stream) {
  return isatty(stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

bool TakesColours(Stream stream) {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const kind = std::getenv("TERM");
  return IsTerminal(stream) && (refused == nullptr || *refused == '\0') && kind != nullptr &&
         std::string_view(kind) != "dumb";
}

unsigned TerminalWidth() {
  constexpr unsigned kDefault = 80;
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kDefault;
  return size.ws_col;
}

void ReadBinaryInput() {}

void WriteUtf8ToConsole() {}

}  // namespace tools::system
