// What Outlook writes down about add-ins, searched for this one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "inspection/doctor/machine.h"

namespace inspection::doctor {

// How Outlook's registry and events name the add-in, and its class.
inline constexpr char kAddInName[] = "Quorvex.Connect";
inline constexpr char kAddInClass[] = "{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}";
inline constexpr char kAddInFile[] = "DlpAddIn.dll";

// Whether a value of Outlook's resiliency lists, its name or its bytes (8-bit text or UTF-16, with
// other bytes around), is about the add-in.
bool NamesAddIn(std::string_view name, std::string_view bytes);

// What an event of the source "Outlook" says about the add-in: event 45 lists the add-ins that were
// loaded, with their times; event 59 names one that was disabled. Absent if it says nothing. Only
// English events have times.
std::optional<Connect> ConnectOf(std::uint32_t eventId, std::string_view time,
                                 std::string_view text);

}  // namespace inspection::doctor
