#include "platform/clock.h"

#include <windows.h>

namespace platform {
namespace {

std::uint32_t GetTickCount() {
  return ::GetTickCount();
}

void GetLocalTime(LocalTime* time) {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  *time = {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

void Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

}  // namespace

constinit ClockOperations clock = {
    .GetTickCount = &GetTickCount,
    .GetLocalTime = &GetLocalTime,
    .Sleep = &Sleep,
};

}  // namespace platform
