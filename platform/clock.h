// Time and waiting. Product code uses no other clock, so tests can drive time without waiting.
#pragma once

#include <cstdint>

namespace platform {

struct LocalTime {
  std::uint16_t year;         // four digits
  std::uint16_t month;        // 1 to 12
  std::uint16_t day;          // 1 to 31
  std::uint16_t hour;         // 0 to 23
  std::uint16_t minute;       // 0 to 59
  std::uint16_t second;       // 0 to 59
  std::uint16_t millisecond;  // 0 to 999

  bool operator==(const LocalTime&) const = default;
};

struct ClockOperations {
  // Milliseconds since an arbitrary start. Wraps around at 2^32.
  std::uint32_t (*GetTickCount)();
  // The local time at the last system tick, so up to about 16 ms old. Two calls that close together
  // may return the same time.
  void (*GetLocalTime)(LocalTime* time);
  // Blocks the calling thread for at least this long.
  void (*Sleep)(std::uint32_t milliseconds);
};

extern constinit ClockOperations clock;

}  // namespace platform
