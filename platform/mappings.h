// Named shared memory.
//
// A name has the form "Global\Something". A mapping exists from CreateFileMappingA until the last
// handle to it in any process is closed; a process closes its handles when it ends. Then the name
// is free again. New memory is zero. Aligned 32-bit words in a view work with std::atomic_ref
// across processes.
#pragma once

#include <cstdint>

#include "platform/handles.h"

namespace platform {

// FILE_MAP_WRITE | FILE_MAP_READ: all that the product uses.
inline constexpr std::uint32_t kMapReadWrite = 6;
// FILE_MAP_READ, for inspection.
inline constexpr std::uint32_t kMapRead = 4;

struct MappingOperations {
  // Opens an existing mapping. Returns null if it doesn't exist or access is denied.
  Handle (*OpenFileMappingA)(std::uint32_t access, bool inheritHandle, const char* name);

  // Creates a mapping of `size` bytes that interactive users, the system and administrators may
  // map. Returns null if the name exists or memory is short. Agents use this, not the add-in.
  Handle (*CreateFileMappingA)(std::uint32_t size, const char* name);

  // Maps the first `size` bytes. Returns null if the mapping, rounded up to whole pages, is smaller
  // or the address space is full.
  void* (*MapViewOfFile)(Handle mapping, std::uint32_t access, std::uint32_t offsetHigh,
                         std::uint32_t offsetLow, std::uint32_t size);

  // Unmaps a view. Returns false if `view` isn't the start of one.
  bool (*UnmapViewOfFile)(const void* view);
};

extern constinit MappingOperations mappings;

}  // namespace platform
