#include "tools/system/terminal.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace tools::system {
namespace {

HANDLE HandleOf(Stream stream) {
  return GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

bool IsTerminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

bool TakesColours(Stream stream) {
  const char* const refused = std::getenv("NO_COLOR");
  if (refused != nullptr && *refused != '\0') return false;
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0 &&
         SetConsoleMode(HandleOf(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

unsigned TerminalWidth() {
  constexpr unsigned kDefault = 80;
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  if (GetConsoleScreenBufferInfo(HandleOf(Stream::kOutput), &info) == 0) return kDefault;
  const int width = info.srWindow.Right - info.srWindow.Left + 1;
  return width > 0 ? static_cast<unsigned>(width) : kDefault;
}

void ReadBinaryInput() {
  _setmode(_fileno(stdin), _O_BINARY);
}

void WriteUtf8ToConsole() {
  SetConsoleOutputCP(CP_UTF8);
}

}  // namespace tools::system
