// Time without waiting, for `quorvex send --fast`.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/clock.h"
#include "platform/scopedreplacement.h"

namespace tools {

// While an object of this class lives, platform::clock.Sleep returns at once. It moves the clock
// forward by the time asked for and calls `turn` meanwhile: whatever would have happened during the
// sleep happens there. The first turn is after the first millisecond. As long as `turn` returns
// true, each further millisecond has one; then the rest of the sleep passes at once. Everything
// else takes the time that it takes.
//
// For one thread. `turn` must not sleep.
class FastTime {
 public:
  explicit FastTime(std::function<bool()> turn);

  FastTime(const FastTime&) = delete;
  FastTime& operator=(const FastTime&) = delete;

  // The time, with all sleeps so far in it.
  std::chrono::steady_clock::time_point Now() const {
    return std::chrono::steady_clock::now() + m_slept;
  }

 private:
  std::function<bool()> m_turn;
  std::chrono::milliseconds m_slept{0};
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> m_sleep;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks;
};

}  // namespace tools
