// Text in Windows code pages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace simulation::mail {

// What Outlook assumes where a message names no code page: Western European.
inline constexpr std::uint32_t kDefaultCodePage = 1252;

// Converts text in a Windows code page to UTF-8, with U+FFFD for invalid bytes. A code page that
// the system doesn't know counts as kDefaultCodePage.
std::string CodePageToUtf8(std::uint32_t codePage, std::string_view text);

}  // namespace simulation::mail
