// Time without waiting, for `quorvex send --fast`.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/clock.h"
#include "platform/scopedreplacement.h"

namespace tools {

// While an object of this class lives, platform::clock.Sleep returns at once. It moves the clock
// forward by the time asked for, one millisecond after the other, and calls `turn` after each of
// them: whatever would have happened during the sleep happens there. Everything else takes the time
// that it takes.
//
// For one thread. `turn` must not sleep.
class FastTime {
 public:
  explicit FastTime(std::function<void()> turn);

  FastTime(const FastTime&) = delete;
  FastTime& operator=(const FastTime&) = delete;

  // The time, with all sleeps so far in it.
  std::chrono::steady_clock::time_point Now() const {
    return std::chrono::steady_clock::now() + m_slept;
  }

 private:
  std::function<void()> m_turn;
  std::chrono::milliseconds m_slept{0};
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> m_sleep;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks;
};

}  // namespace tools
