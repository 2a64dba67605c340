#include "platform/ui.h"

#include <windows.h>

namespace platform {
namespace {

Cursor LoadCursorW(std::uint32_t identifier) {
  if (identifier > 0xFFFF) return nullptr;
  return ::LoadCursorW(nullptr, MAKEINTRESOURCEW(identifier));
}

Cursor SetCursor(Cursor cursor) {
  return ::SetCursor(static_cast<HCURSOR>(cursor));
}

Window GetActiveWindow() {
  return ::GetActiveWindow();
}

std::uintptr_t SetTimer(Window window, std::uintptr_t identifier, std::uint32_t milliseconds,
                        TimerProcedure procedure) {
  return ::SetTimer(static_cast<HWND>(window), identifier, milliseconds,
                    reinterpret_cast<TIMERPROC>(procedure));
}

bool KillTimer(Window window, std::uintptr_t identifier) {
  return ::KillTimer(static_cast<HWND>(window), identifier) != FALSE;
}

// Returns false if the thread should quit; posts the message again for the outer loop.
bool DispatchWaiting() {
  MSG message = {};
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));
      return false;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return true;
}

void RunMessageLoop(std::uint32_t milliseconds) {
  const DWORD start = ::GetTickCount();
  while (DispatchWaiting()) {
    const DWORD passed = ::GetTickCount() - start;
    if (passed >= milliseconds) return;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, milliseconds - passed, QS_ALLINPUT);
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
