// The loaded library that this code stands in, and what the system does for it: its path, its
// resources, and the lock and the hidden pointers that it works with from several threads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/widetext.h"

namespace platform {

// The library's instance handle; null stands for the program itself.
using ModuleInstance = void*;
// A recursive lock.
using ModuleLock = void*;

struct ModuleImageOperations {
  // Writes the library's full path, NUL-terminated, and gives its length without the NUL. 0 on
  // failure, and `size` when the buffer is too small and the path was cut.
  std::uint32_t (*GetModuleFileNameW)(ModuleInstance module, WideChar* buffer, std::uint32_t size);

  // Finds the bytes of the resource `identifier` of a named type. They live as long as the
  // library. False when there is none, as always on a machine whose programs have no resources.
  bool (*FindResourceBytes)(ModuleInstance module, const WideChar* type, std::uint16_t identifier,
                            const char** bytes, std::size_t* size);

  // Makes a lock; null on failure. It is the caller's, until DeleteLock.
  ModuleLock (*CreateLock)();
  void (*EnterLock)(ModuleLock lock);
  void (*LeaveLock)(ModuleLock lock);
  void (*DeleteLock)(ModuleLock lock);

  // Hides a pointer that is kept for long, so that overwritten memory doesn't become a call; each
  // undoes the other, within one process.
  void* (*EncodePointer)(void* pointer);
  void* (*DecodePointer)(void* pointer);
};

extern constinit ModuleImageOperations moduleImage;

}  // namespace platform
