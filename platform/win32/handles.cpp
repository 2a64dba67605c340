#include "platform/handles.h"

#include <windows.h>

namespace platform {
namespace {

// All bits set is also the system's name for the current process, which it would accept.
bool CloseHandle(Handle handle) {
  return handle != nullptr && handle != kInvalidHandle && ::CloseHandle(handle) != FALSE;
}

}  // namespace

constinit HandleOperations handles = {.CloseHandle = &CloseHandle};

}  // namespace platform
