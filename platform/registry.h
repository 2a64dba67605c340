// The machine's registry, as far as a COM server registers itself: keys below HKEY_CLASSES_ROOT and
// string values.
//
// On a machine without one a registry in the process's memory stands for it, empty at first. Names
// are compared without regard to case. Any thread may call.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

// Opaque. An open key belongs to whoever opened it, until it goes through CloseKey.
using RegistryKey = void*;

// The root of all class registrations: always open, never closed.
inline const RegistryKey kClassesRoot = reinterpret_cast<RegistryKey>(std::uintptr_t{0x80000000});

// Results are the system's error codes; 0 is success.
using RegistryResult = std::int32_t;
inline constexpr RegistryResult kRegistryNotFound = 2;
inline constexpr RegistryResult kRegistryInvalidHandle = 6;
inline constexpr RegistryResult kRegistryMoreData = 234;

struct RegistryOperations {
  // Opens the key `name` below `parent` for reading and writing, made now if it isn't there.
  // `*key` is null on failure.
  RegistryResult (*CreateKey)(RegistryKey parent, const WideChar* name, RegistryKey* key);
  // Opens a key that is there, for reading. `*key` is null on failure.
  RegistryResult (*OpenKey)(RegistryKey parent, const WideChar* name, RegistryKey* key);
  // Null is allowed.
  void (*CloseKey)(RegistryKey key);

  // Deletes the key `name` below `parent` with all that it holds.
  RegistryResult (*DeleteTree)(RegistryKey parent, const WideChar* name);

  // Sets a string value; an empty name is the key's default value.
  RegistryResult (*SetString)(RegistryKey key, const WideChar* name, const WideChar* value);
  // Reads a string value into `buffer`, NUL-terminated. `*size` is the buffer's capacity in wide
  // characters on entry, and afterwards the length with the NUL; kRegistryMoreData when it doesn't
  // fit.
  RegistryResult (*GetString)(RegistryKey key, const WideChar* name, WideChar* buffer,
                              std::uint32_t* size);
};

extern constinit RegistryOperations registry;

}  // namespace platform
