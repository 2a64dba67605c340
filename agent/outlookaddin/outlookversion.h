// The host's version, as far as this add-in tells versions apart.
#pragma once

#include <cstdint>

// 1: "11", 2: "12", 3: "14", 4: "15", 5: "16" at the beginning of the host's version text; 0: any
// other text, and as long as the add-in isn't connected. Written only by
// CDlpAddinConnect::OnConnection, read only by DlpMailEvent::CheckSender, both on the host's
// thread.
extern std::int32_t g_outlookVersionCode;

inline constexpr std::int32_t kOutlook2007 = 2;
inline constexpr std::int32_t kOutlook2010 = 3;
inline constexpr std::int32_t kOutlook2013 = 4;
