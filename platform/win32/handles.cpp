#include "platform/handles.h"

#include <windows.h>

namespace platform {
namespace {

// kInvalidHandle is also the pseudo handle of the current process, which CloseHandle accepts.
bool CloseHandle(Handle handle) {
  return handle != nullptr && handle != kInvalidHandle && ::CloseHandle(handle) != FALSE;
}

}  // namespace

constinit HandleOperations handles = {.CloseHandle = &CloseHandle};

}  // namespace platform
