// Who and where this process is.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

struct ProcessOperations {
  std::uint32_t (*GetCurrentProcessId)();
  std::uint32_t (*GetCurrentThreadId)();

  // Fills `buffer` with this computer's name, NUL-terminated. `*size` is the buffer's capacity in
  // wide characters on entry and the name's length without the NUL afterwards. False when the name
  // can't be had or doesn't fit.
  bool (*GetComputerNameW)(WideChar* buffer, std::uint32_t* size);
};

extern constinit ProcessOperations process;

}  // namespace platform
