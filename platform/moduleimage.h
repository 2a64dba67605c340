// The loaded library that contains this code: its path and resources, and the locks and hidden
// pointers that it needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/widetext.h"

namespace platform {

// The library's instance handle; null means the program itself.
using ModuleInstance = void*;
// A recursive lock.
using ModuleLock = void*;

struct ModuleImageOperations {
  // Writes the library's full path with a NUL and returns its length without the NUL. Returns 0 on
  // failure, and `size` if the path was cut.
  std::uint32_t (*GetModuleFileNameW)(ModuleInstance module, WideChar* buffer, std::uint32_t size);

  // Finds a resource by type and identifier. The bytes live as long as the library. Returns false
  // if there is none; POSIX programs have no resources.
  bool (*FindResourceBytes)(ModuleInstance module, const WideChar* type, std::uint16_t identifier,
                            const char** bytes, std::size_t* size);

  // Creates a lock, or returns null. The caller frees it with DeleteLock.
  ModuleLock (*CreateLock)();
  void (*EnterLock)(ModuleLock lock);
  void (*LeaveLock)(ModuleLock lock);
  void (*DeleteLock)(ModuleLock lock);

  // Keeps the library that contains `address` loaded until the process ends. False on failure.
  bool (*PinModule)(const void* address);

  // Encode a long-lived pointer so that overwritten memory is unlikely to become a call. Each
  // undoes the other, in the same process.
  void* (*EncodePointer)(void* pointer);
  void* (*DecodePointer)(void* pointer);
};

extern constinit ModuleImageOperations moduleImage;

}  // namespace platform
