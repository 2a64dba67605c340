#include "platform/process.h"

#include <windows.h>

namespace platform {
namespace {

std::uint32_t GetCurrentProcessId() {
  return ::GetCurrentProcessId();
}

std::uint32_t GetCurrentThreadId() {
  return ::GetCurrentThreadId();
}

bool GetComputerNameW(WideChar* buffer, std::uint32_t* size) {
  DWORD count = *size;
  const bool done = ::GetComputerNameW(buffer, &count) != FALSE;
  *size = count;
  return done;
}

}  // namespace

constinit ProcessOperations process = {
    .GetCurrentProcessId = &GetCurrentProcessId,
    .GetCurrentThreadId = &GetCurrentThreadId,
    .GetComputerNameW = &GetComputerNameW,
};

}  // namespace platform
