#include "platform/clock.h"

#include <sched.h>
#include <time.h>

#include <cerrno>

namespace platform {
namespace {

std::uint32_t GetTickCount() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                    static_cast<std::uint64_t>(now.tv_nsec) / 1000000);
}

void GetLocalTime(LocalTime* time) {
  // The coarse clock, a few milliseconds old, like local time on Windows. Reading the exact one
  // takes half as long as formatting a log line.
  timespec now = {};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  // localtime_r takes a lock and consults the time zone; a log asks many times a second.
  static constinit thread_local time_t converted = -1;
  static constinit thread_local tm local = {};
  if (converted != now.tv_sec) {
    localtime_r(&now.tv_sec, &local);
    converted = now.tv_sec;
  }
  time->year = static_cast<std::uint16_t>(local.tm_year + 1900);
  time->month = static_cast<std::uint16_t>(local.tm_mon + 1);
  time->day = static_cast<std::uint16_t>(local.tm_mday);
  time->hour = static_cast<std::uint16_t>(local.tm_hour);
  time->minute = static_cast<std::uint16_t>(local.tm_min);
  // A leap second is 60 here; Windows has none.
  time->second = static_cast<std::uint16_t>(local.tm_sec > 59 ? 59 : local.tm_sec);
  time->millisecond = static_cast<std::uint16_t>(now.tv_nsec / 1000000);
}

void Sleep(std::uint32_t milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  // Sleep until a point in time, so that a signal doesn't lengthen the wait.
  timespec until = {};
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += static_cast<time_t>(milliseconds / 1000);
  until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
  if (until.tv_nsec >= 1000000000) {
    until.tv_nsec -= 1000000000;
    ++until.tv_sec;
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

}  // namespace

constinit ClockOperations clock = {
    .GetTickCount = &GetTickCount,
    .GetLocalTime = &GetLocalTime,
    .Sleep = &Sleep,
};

}  // namespace platform
