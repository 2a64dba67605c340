#include "simulation/mail/codepage.h"

#include <utf8cpp/utf8.h>
#include <windows.h>

#include "platform/codepages.h"
#include "text/textconversion.h"

namespace simulation::mail {

std::string CodePageToUtf8(std::uint32_t codePage, std::string_view text) {
  if (text.empty()) return {};
  // Windows may use several replacement characters for one that isn't valid.
  if (codePage == platform::kCodePageUtf8) return utf8::replace_invalid(std::string(text));
  if (codePage == 1200) {
    std::wstring wide;
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
      wide += static_cast<wchar_t>(static_cast<unsigned char>(text[at]) |
                                   static_cast<unsigned char>(text[at + 1]) << 8);
    }
    if (text.size() % 2 != 0) wide += L'\xFFFD';
    return WideToUtf8(wide);
  }
  const int size = static_cast<int>(text.size());
  int needed = MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0);
  if (needed == 0) {
    codePage = kDefaultCodePage;
    needed = MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0);
  }
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), needed);
  return WideToUtf8(wide);
}

}  // namespace simulation::mail
