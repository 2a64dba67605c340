#include "platform/ui.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/clock.h"

namespace platform {
namespace {

struct Timer {
  Window window;
  std::uintptr_t identifier;
  std::uint32_t interval;
  std::uint32_t due;  // a tick count
  TimerProcedure procedure;
};

struct ThreadState {
  std::vector<Timer> timers;
  std::uintptr_t lastIdentifier = 0;
  Cursor cursor = nullptr;
};

thread_local ThreadState t_state;

// The time from one tick count to a later one; tick counts wrap around.
std::int32_t Ahead(std::uint32_t moment, std::uint32_t now) {
  return static_cast<std::int32_t>(moment - now);
}

std::vector<Timer>::iterator FindTimer(Window window, std::uintptr_t identifier) {
  return std::find_if(t_state.timers.begin(), t_state.timers.end(), [&](const Timer& timer) {
    return timer.window == window && timer.identifier == identifier;
  });
}

Cursor LoadCursorW(std::uint32_t identifier) {
  // The range of the system cursors' identifiers.
  if (identifier < 32512 || identifier > 32671) return nullptr;
  return reinterpret_cast<Cursor>(std::uintptr_t{identifier});
}

Cursor SetCursor(Cursor cursor) {
  return std::exchange(t_state.cursor, cursor);
}

Window GetActiveWindow() {
  return nullptr;
}

std::uintptr_t SetTimer(Window window, std::uintptr_t identifier, std::uint32_t milliseconds,
                        TimerProcedure procedure) {
  const std::uint32_t interval = std::clamp(milliseconds, 10u, 0x7FFFFFFFu);
  const std::uint32_t due = clock.GetTickCount() + interval;
  auto found = FindTimer(window, identifier);
  if (found == t_state.timers.end()) {
    // The caller names only timers of windows.
    const std::uintptr_t name = window == nullptr ? ++t_state.lastIdentifier : identifier;
    found = t_state.timers.insert(found, {window, name, 0, 0, nullptr});
  }
  found->interval = interval;
  found->due = due;
  found->procedure = procedure;
  return window == nullptr ? found->identifier : std::max<std::uintptr_t>(identifier, 1);
}

bool KillTimer(Window window, std::uintptr_t identifier) {
  const auto found = FindTimer(window, identifier);
  if (found == t_state.timers.end()) return false;
  t_state.timers.erase(found);
  return true;
}

std::vector<Timer>::iterator NextTimer(std::uint32_t now) {
  return std::min_element(t_state.timers.begin(), t_state.timers.end(),
                          [now](const Timer& left, const Timer& right) {
                            return Ahead(left.due, now) < Ahead(right.due, now);
                          });
}

// Fires each timer that is due at `now`, once. Procedures may start and stop timers, so no iterator
// is kept across a call.
void FireDue(std::uint32_t now) {
  for (;;) {
    const auto next = NextTimer(now);
    if (next == t_state.timers.end() || Ahead(next->due, now) > 0) return;
    next->due += next->interval;
    if (Ahead(next->due, now) <= 0) next->due = now + next->interval;
    constexpr std::uint32_t kTimerMessage = 0x0113;
    const Timer timer = *next;
    if (timer.procedure != nullptr) {
      timer.procedure(timer.window, kTimerMessage, timer.identifier, now);
    }
  }
}

void RunMessageLoop(std::uint32_t milliseconds) {
  const std::uint32_t start = clock.GetTickCount();
  std::uint32_t slept = 0;
  for (;;) {
    const std::uint32_t now = clock.GetTickCount();
    FireDue(now);
    // Count the sleeps too, so that the loop ends under a test's frozen clock.
    const std::uint32_t passed = std::max(now - start, slept);
    if (passed >= milliseconds) return;
    std::uint32_t wait = milliseconds - passed;
    const auto next = NextTimer(now);
    if (next != t_state.timers.end()) {
      wait = std::clamp(static_cast<std::uint32_t>(std::max(Ahead(next->due, now), 1)), 1u, wait);
    }
    clock.Sleep(wait);
    slept += wait;
  }
}

}  // namespace

constinit UserInterfaceOperations ui = {
    .LoadCursorW = &LoadCursorW,
    .SetCursor = &SetCursor,
    .GetActiveWindow = &GetActiveWindow,
    .SetTimer = &SetTimer,
    .KillTimer = &KillTimer,
    .RunMessageLoop = &RunMessageLoop,
};

}  // namespace platform
