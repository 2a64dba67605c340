// Handles to what the operating system keeps open: files and mappings.
#pragma once

#include <cstdint>

namespace platform {

// Opaque. Null and kInvalidHandle are never open. A handle belongs to whoever opened it, until it
// goes through CloseHandle.
using Handle = void*;

// What CreateFileA, CreateFileW and FindFirstFileA give on failure (all bits set).
inline const Handle kInvalidHandle = reinterpret_cast<Handle>(~std::uintptr_t{0});

struct HandleOperations {
  // Ends a file or a mapping handle. False for a handle that isn't open. Views that were mapped
  // through a mapping handle stay valid.
  bool (*CloseHandle)(Handle handle);
};

extern constinit HandleOperations handles;

}  // namespace platform
