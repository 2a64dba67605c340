// The registry values that the library's registration must write below HKEY_CLASSES_ROOT, and how
// to read them.
#pragma once

#include <optional>
#include <string>

#include "platform/registry.h"

namespace tests {

#define QV_TEST_CLASS_KEY "CLSID\\{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}"

struct RegistryRow {
  const char* key;
  const char* name;   // empty: the key's default value
  const char* value;  // null: the key has no such value; "%MODULE%": the library's path
};

inline constexpr RegistryRow kRegistrationRows[] = {
    {"Quorvex.Connect.1", "", "QV DLP Addin Connect Class"},
    {"Quorvex.Connect.1\\CLSID", "", "{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}"},
    {"Quorvex.Connect", "", "QV DLP Addin Connect Class"},
    {"Quorvex.Connect\\CLSID", "", "{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}"},
    {"Quorvex.Connect\\CurVer", "", "Quorvex.Connect.1"},
    {"CLSID", "", nullptr},
    {QV_TEST_CLASS_KEY, "", "QV DLP Addin Connect Class"},
    {QV_TEST_CLASS_KEY "\\ProgID", "", "Quorvex.Connect.1"},
    {QV_TEST_CLASS_KEY "\\VersionIndependentProgID", "", "Quorvex.Connect"},
    {QV_TEST_CLASS_KEY "\\Programmable", "", nullptr},
    {QV_TEST_CLASS_KEY "\\InprocServer32", "", "%MODULE%"},
    {QV_TEST_CLASS_KEY "\\InprocServer32", "ThreadingModel", "Apartment"},
    {QV_TEST_CLASS_KEY "\\TypeLib", "", "{C27A40E9-16F8-4B5D-8E33-91D5F0A7C264}"},
};

// For ASCII paths.
inline platform::WideString WidePath(const std::string& text) {
  return {text.begin(), text.end()};
}

inline bool HasKey(const std::string& path) {
  platform::RegistryKey key = nullptr;
  const bool found =
      platform::registry.OpenKey(platform::kClassesRoot, WidePath(path).c_str(), &key) == 0;
  platform::registry.CloseKey(key);
  return found;
}

inline std::optional<std::string> RegistryValue(const std::string& path, const std::string& name) {
  platform::RegistryKey key = nullptr;
  if (platform::registry.OpenKey(platform::kClassesRoot, WidePath(path).c_str(), &key) != 0) {
    return std::nullopt;
  }
  platform::WideChar buffer[1024];
  std::uint32_t size = 1024;
  const auto result = platform::registry.GetString(key, WidePath(name).c_str(), buffer, &size);
  platform::registry.CloseKey(key);
  if (result != 0) return std::nullopt;
  std::string value;
  for (std::uint32_t index = 0; index + 1 < size; ++index) {
    value += static_cast<char>(buffer[index]);
  }
  return value;
}

}  // namespace tests
