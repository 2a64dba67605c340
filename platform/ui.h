// The host thread's user interface: cursor, timers, message loop.
//
// All of it belongs to one thread, the one that the host calls the add-in on.
#pragma once

#include <cstdint>

#include "platform/callingconvention.h"

namespace platform {

using Window = void*;
using Cursor = void*;

// The identifier of the system's wait cursor.
inline constexpr std::uint32_t kWaitCursor = 32514;

// Called by the message loop of the thread that set the timer: window, message, timer identifier,
// tick count.
using TimerProcedure = void(QV_STDCALL*)(Window window, std::uint32_t message,
                                         std::uintptr_t identifier, std::uint32_t tick);

struct UserInterfaceOperations {
  // A shared cursor of the system; nothing to free. Null on failure.
  Cursor (*LoadCursorW)(std::uint32_t identifier);
  // Shows a cursor and gives the one that was showing before, which may be null.
  Cursor (*SetCursor)(Cursor cursor);

  // The active window of the calling thread, or null.
  Window (*GetActiveWindow)();

  // Starts a timer that calls `procedure` every `milliseconds` from the message loop. Without a
  // window the system chooses the identifier, which is the result; 0 on failure.
  std::uintptr_t (*SetTimer)(Window window, std::uintptr_t identifier, std::uint32_t milliseconds,
                             TimerProcedure procedure);
  // Ends the timer of that window and identifier. False when there is none.
  bool (*KillTimer)(Window window, std::uintptr_t identifier);

  // Runs the calling thread's message loop for that long, firing the timers that fall due. Not
  // used by the add-in: the simulated host's side.
  void (*RunMessageLoop)(std::uint32_t milliseconds);
};

extern constinit UserInterfaceOperations ui;

}  // namespace platform
