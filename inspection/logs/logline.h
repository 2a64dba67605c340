// A line of the add-in's log, as the logger writes it or as it arrives by way of other programs.
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

// A line from any of the places where the log can be found.
struct SourceLine {
  LogLine line;
  std::string_view machine;  // empty if the line doesn't say
};

// Accepts a line of the logger
//   - as it is;
//   - with a syslog header in front (RFC 3164, RFC 5424, an ISO time and the host, or just the
//     host's name or address), and with trailing blanks, "#015" and "#012";
//   - as `quorvex log listen` prints it, as text or in JSON. Its text form has neither date nor
//     thread: `time` is then the time of day, and `thread` the sender's port.
// Absent for any other line. The result has views into `text` and `*buffer`, which must both
// outlive it.
std::optional<SourceLine> ParseSourceLine(std::string_view text, std::string* buffer);

// The line's time, year first, so that it sorts as text. A time without a date stays as it is.
std::string SortableTime(const LogLine& line);

}  // namespace inspection::logs
