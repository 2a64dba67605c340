// Named memory shared between processes of one machine.
//
// A name has the form "Global\Something". A mapping exists from CreateFileMappingA until the last
// handle to it in any process is closed or its process ends; after that the name is free again.
// The memory of a new mapping is zero. 32-bit words in a view, aligned to 4, are fit for
// std::atomic_ref across processes.
#pragma once

#include <cstdint>

#include "platform/handles.h"

namespace platform {

// FILE_MAP_WRITE | FILE_MAP_READ, the only access that this system asks for.
inline constexpr std::uint32_t kMapReadWrite = 6;
// FILE_MAP_READ, for tools that only look.
inline constexpr std::uint32_t kMapRead = 4;

struct MappingOperations {
  // Opens an existing mapping. Null when there is none of that name, or no right to open it.
  Handle (*OpenFileMappingA)(std::uint32_t access, bool inheritHandle, const char* name);

  // Creates a mapping of `size` bytes, open to every process of this machine's users. Null when
  // the name exists already or the memory can't be had. Not used by the add-in: the agent's side.
  Handle (*CreateFileMappingA)(std::uint32_t size, const char* name);

  // Maps `size` bytes from the mapping's start. Null when the mapping is smaller than `size` (a
  // mapping's size is rounded up to whole pages) or the address space is full.
  void* (*MapViewOfFile)(Handle mapping, std::uint32_t access, std::uint32_t offsetHigh,
                         std::uint32_t offsetLow, std::uint32_t size);

  // Ends a view. False for an address that is no view's start.
  bool (*UnmapViewOfFile)(const void* view);
};

extern constinit MappingOperations mappings;

}  // namespace platform
