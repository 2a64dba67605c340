// A line of the agent's log.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace inspection::logs {

// Views into the line.
struct LogLine {
  std::string_view thread;   // "12902"
  std::string_view time;     // "11/21/2026 01:47:41.928"
  std::string_view module;   // as the caller of the logger spelled it
  std::string_view level;    // "Info", "Warn", "Err", "Crit"
  std::string_view message;  // without the line end
};

// Absent for a line that doesn't begin like a line of the logger.
std::optional<LogLine> ParseLogLine(std::string_view text);

// The line's time, year first, so that it sorts as text.
std::string SortableTime(const LogLine& line);

}  // namespace inspection::logs
