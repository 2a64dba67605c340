// The current process, thread and computer.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

struct ProcessOperations {
  std::uint32_t (*GetCurrentProcessId)();
  std::uint32_t (*GetCurrentThreadId)();

  // Writes this computer's name with a NUL. `*size` is the capacity in wide characters on entry and
  // the length without the NUL on return. Returns false if the name is unavailable or doesn't fit.
  bool (*GetComputerNameW)(WideChar* buffer, std::uint32_t* size);
};

extern constinit ProcessOperations process;

}  // namespace platform
