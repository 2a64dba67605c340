#include "platform/registry.h"

#include <windows.h>

namespace platform {
namespace {

RegistryResult CreateKey(RegistryKey parent, const WideChar* name, RegistryKey* key) {
  HKEY opened = nullptr;
  const LSTATUS status = RegCreateKeyExW(static_cast<HKEY>(parent), name, 0, nullptr, 0,
                                         KEY_READ | KEY_WRITE, nullptr, &opened, nullptr);
  *key = status == ERROR_SUCCESS ? opened : nullptr;
  return status;
}

RegistryResult OpenKey(RegistryKey parent, const WideChar* name, RegistryKey* key) {
  HKEY opened = nullptr;
  const LSTATUS status = RegOpenKeyExW(static_cast<HKEY>(parent), name, 0, KEY_READ, &opened);
  *key = status == ERROR_SUCCESS ? opened : nullptr;
  return status;
}

void CloseKey(RegistryKey key) {
  if (key != nullptr) RegCloseKey(static_cast<HKEY>(key));
}

RegistryResult DeleteTree(RegistryKey parent, const WideChar* name) {
  return RegDeleteTreeW(static_cast<HKEY>(parent), name);
}

RegistryResult SetString(RegistryKey key, const WideChar* name, const WideChar* value) {
  const auto bytes = static_cast<DWORD>((wcslen(value) + 1) * sizeof(WideChar));
  return RegSetValueExW(static_cast<HKEY>(key), name, 0, REG_SZ,
                        reinterpret_cast<const BYTE*>(value), bytes);
}

RegistryResult GetString(RegistryKey key, const WideChar* name, WideChar* buffer,
                         std::uint32_t* size) {
  DWORD bytes = *size * static_cast<DWORD>(sizeof(WideChar));
  const LSTATUS status =
      RegGetValueW(static_cast<HKEY>(key), nullptr, name, RRF_RT_REG_SZ, nullptr, buffer, &bytes);
  *size = bytes / static_cast<DWORD>(sizeof(WideChar));
  return status;
}

}  // namespace

constinit RegistryOperations registry = {CreateKey,  OpenKey,   CloseKey,
                                         DeleteTree, SetString, GetString};

}  // namespace platform
