#include "tools/system/stopsignal.h"

#include <windows.h>

namespace tools::system {
namespace {

std::atomic<bool> g_stop = false;

// The system calls this on a thread of its own.
BOOL WINAPI OnControl(DWORD event) {
  g_stop.store(true, std::memory_order_relaxed);
  // For the other events the system ends the process when this returns, so give the main thread
  // time to end it first.
  constexpr DWORD kTimeToEnd = 4000;
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kTimeToEnd);
  return TRUE;
}

}  // namespace

StopSignal::StopSignal() {
  g_stop.store(false, std::memory_order_relaxed);
  SetConsoleCtrlHandler(&OnControl, TRUE);
}

StopSignal::~StopSignal() {
  SetConsoleCtrlHandler(&OnControl, FALSE);
}

bool StopSignal::IsOutputClosed() const {
  return false;
}

const std::atomic<bool>& StopSignal::Flag() const {
  return g_stop;
}

}  // namespace tools::system
