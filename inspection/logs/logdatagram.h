// Datagrams at the port that receives the add-in's log: its lines, one a datagram, and anything
// else that another program sends there.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "inspection/logs/logline.h"

namespace inspection::logs {

// The log line in the datagram, with views into `bytes`. Absent if the datagram is something else.
// A line without a line end counts, because relays remove it.
std::optional<LogLine> ParseLogDatagram(std::string_view bytes);

// How severe a level is: 1 Info, 2 Warn, 3 Err, 4 Crit and All, 0 None; absent for any other word.
// Ignores case.
std::optional<int> GravityOf(std::string_view level);

// The bytes as printable ASCII: any other byte becomes \x and two hexadecimal digits, a backslash
// two backslashes, so different bytes never give the same text.
std::string Escaped(std::string_view bytes);

}  // namespace inspection::logs
