#include "tools/system/win32/utf8.h"

#include <windows.h>

namespace tools::system::win32 {

std::string ToUtf8(std::wstring_view wide) {
  const int size = static_cast<int>(wide.size());
  std::string text(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), size,
                                                                nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, text.data(), static_cast<int>(text.size()),
                      nullptr, nullptr);
  return text;
}

std::wstring ToWide(std::string_view utf8) {
  const int size = static_cast<int>(utf8.size());
  std::wstring text(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)),
      L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
  return text;
}

}  // namespace tools::system::win32
