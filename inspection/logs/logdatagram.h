// What comes in by UDP where the add-in's log is to come in: its lines, one a datagram, and
// whatever else somebody sends there.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "inspection/logs/logline.h"

namespace inspection::logs {

// The logger's line that the datagram is, with views into it. Absent for every other datagram; a
// line lacking its end is taken for one too, since relays cut it off.
std::optional<LogLine> ParseLogDatagram(std::string_view bytes);

// How grave a line's level is: 1 Info, 2 Warn, 3 Err, 4 Crit and All, 0 None; absent for what is no
// level. Without regard to case.
std::optional<int> GravityOf(std::string_view level);

// The bytes as printable ASCII, each other byte as \x and two hexadecimal digits, a backslash as
// two of them, so that no two texts come out the same.
std::string Escaped(std::string_view bytes);

}  // namespace inspection::logs
