// The part of the registry that COM registration needs: keys below HKEY_CLASSES_ROOT and string
// values.
//
// On POSIX the registry is in memory and starts empty. Names ignore case. Any thread may call.
#pragma once

#include <cstdint>

#include "platform/widetext.h"

namespace platform {

// Opaque. Close an open key with CloseKey.
using RegistryKey = void*;

// HKEY_CLASSES_ROOT: always open, never closed.
inline const RegistryKey kClassesRoot = reinterpret_cast<RegistryKey>(std::uintptr_t{0x80000000});

// All operations return the system's error code; 0 is success.
using RegistryResult = std::int32_t;
inline constexpr RegistryResult kRegistryNotFound = 2;
inline constexpr RegistryResult kRegistryInvalidHandle = 6;
inline constexpr RegistryResult kRegistryMoreData = 234;

struct RegistryOperations {
  // Opens the key `name` below `parent` for reading and writing, and creates it if necessary.
  // `*key` is null on failure.
  RegistryResult (*CreateKey)(RegistryKey parent, const WideChar* name, RegistryKey* key);
  // Opens an existing key for reading. `*key` is null on failure.
  RegistryResult (*OpenKey)(RegistryKey parent, const WideChar* name, RegistryKey* key);
  // Accepts null.
  void (*CloseKey)(RegistryKey key);

  // Deletes the key `name` below `parent`, with all its values and subkeys.
  RegistryResult (*DeleteTree)(RegistryKey parent, const WideChar* name);

  // Sets a string value. An empty name is the key's default value.
  RegistryResult (*SetString)(RegistryKey key, const WideChar* name, const WideChar* value);
  // Reads a string value with a NUL. `*size` is the capacity in wide characters on entry and the
  // length including the NUL on return. Returns kRegistryMoreData if it doesn't fit.
  RegistryResult (*GetString)(RegistryKey key, const WideChar* name, WideChar* buffer,
                              std::uint32_t* size);
};

extern constinit RegistryOperations registry;

}  // namespace platform
