// UTF-16 to and from UTF-8 for the calls of this folder.
#pragma once

#include <string>
#include <string_view>

namespace tools::system::win32 {

std::string ToUtf8(std::wstring_view wide);
std::wstring ToWide(std::string_view utf8);

}  // namespace tools::system::win32
