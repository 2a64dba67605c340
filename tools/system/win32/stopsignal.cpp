#include "tools/system/stopsignal.h"

#include <windows.h>

namespace tools::system {
namespace {

std::atomic<bool> g_stop = false;

// Runs on a thread of the system's.
BOOL WINAPI OnControl(DWORD event) {
  g_stop.store(true, std::memory_order_relaxed);
  // The system ends the process as soon as the handler of these returns: leave the main thread the
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

const std::atomic<bool>& StopSignal::Flag() const {
  return g_stop;
}

}  // namespace tools::system
