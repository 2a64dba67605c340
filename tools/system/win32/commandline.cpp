#include "tools/system/commandline.h"

#include <windows.h>
// After windows.h, whose types it uses.
#include <shellapi.h>

#include "tools/system/win32/utf8.h"

namespace tools::system {

std::vector<std::string> CommandLineArguments(int argc, const char* const* argv) {
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) return {argv + (argc > 0 ? 1 : 0), argv + argc};
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(win32::ToUtf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

std::string OwnProgramPath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return win32::ToUtf8({path.data(), length});
    path.resize(path.size() * 2);
  }
}

}  // namespace tools::system
