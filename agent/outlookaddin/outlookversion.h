// Which version of Outlook the add-in runs in.
#pragma once

#include <cstdint>

// By the first two characters of the host's version text: 1 is "11", 2 "12", 3 "14", 4 "15",
// 5 "16"; 0 is any other text, and the value before OnConnection. CDlpAddinConnect::OnConnection
// writes it and DlpMailEvent::CheckSender reads it, both on the host's thread.
extern std::int32_t g_outlookVersionCode;

namespace outlookaddin {

// The codes of the versions that CheckSender treats differently.
inline constexpr std::int32_t kOutlook2007 = 2;
inline constexpr std::int32_t kOutlook2010 = 3;
inline constexpr std::int32_t kOutlook2013 = 4;

}  // namespace outlookaddin
