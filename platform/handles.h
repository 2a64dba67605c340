// Handles of files and mappings.
#pragma once

#include <cstdint>

namespace platform {

// Opaque. Null and kInvalidHandle are never open. The opener closes it; see ScopedHandle.
using Handle = void*;

// CreateFileA, CreateFileW and FindFirstFileA return this on failure. All bits are set.
inline const Handle kInvalidHandle = reinterpret_cast<Handle>(~std::uintptr_t{0});

struct HandleOperations {
  // Closes a file or mapping handle. Views of a mapping stay valid. Returns false if the handle
  // isn't open.
  bool (*CloseHandle)(Handle handle);
};

extern constinit HandleOperations handles;

}  // namespace platform
