// Cursor, timers and message loop of the thread on which the host calls the add-in. Only that
// thread may use them.
#pragma once

#include <cstdint>

#include "platform/callingconvention.h"

namespace platform {

using Window = void*;
using Cursor = void*;

// The identifier of the wait cursor.
inline constexpr std::uint32_t kWaitCursor = 32514;

// The message loop of the thread that set the timer calls this with window, message, timer
// identifier and tick count.
using TimerProcedure = void(QV_STDCALL*)(Window window, std::uint32_t message,
                                         std::uintptr_t identifier, std::uint32_t tick);

struct UserInterfaceOperations {
  // Returns a shared system cursor, which isn't freed, or null on failure.
  Cursor (*LoadCursorW)(std::uint32_t identifier);
  // Shows a cursor and returns the previous one, which may be null.
  Cursor (*SetCursor)(Cursor cursor);

  // The active window of the calling thread, or null.
  Window (*GetActiveWindow)();

  // Starts a timer whose `procedure` the message loop calls every `milliseconds`. Without a window
  // the system chooses the identifier and returns it. Returns 0 on failure.
  std::uintptr_t (*SetTimer)(Window window, std::uintptr_t identifier, std::uint32_t milliseconds,
                             TimerProcedure procedure);
  // Stops the timer with that window and identifier. Returns false if there is none.
  bool (*KillTimer)(Window window, std::uintptr_t identifier);

  // Runs the calling thread's message loop for this long and fires due timers. The simulated host
  // uses this, not the add-in.
  void (*RunMessageLoop)(std::uint32_t milliseconds);
};

extern constinit UserInterfaceOperations ui;

}  // namespace platform
