// Time and waiting. Everything above this floor that waits or stamps goes through here, so that a
// test drives it without waiting.
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
  // Milliseconds since some fixed moment; wraps past 2^32.
  std::uint32_t (*GetTickCount)();
  // The local time of day at the system's last tick: up to some 16 ms ago, so two moments that lie
  // closer together may read the same.
  void (*GetLocalTime)(LocalTime* time);
  // Holds the calling thread for at least that many milliseconds.
  void (*Sleep)(std::uint32_t milliseconds);
};

extern constinit ClockOperations clock;

}  // namespace platform
