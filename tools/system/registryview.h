// Reading the registry, also of programs of the other bitness.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tools::system {

enum class Hive { kMachine, kUser };

// All texts are UTF-8; names ignore case in the registry, but are returned as written.
struct RegistryValue {
  enum class Kind { kText, kNumber, kBytes };
  std::string name;  // empty for the default value
  Kind kind = Kind::kBytes;
  std::string text;  // REG_SZ, and REG_EXPAND_SZ with its variables replaced
  std::uint32_t number = 0;
  std::string bytes;  // of any other type
};

struct RegistryKeyContent {
  enum class Look { kFound, kMissing, kDenied };
  Look look = Look::kMissing;
  std::vector<RegistryValue> values;

  // The value with this name (ignores ASCII case), or null.
  const RegistryValue* Find(const std::string& name) const;
};

// Reads a key as a program of `view` bits (64 or 32) sees it. Never writes. On another system than
// Windows every key is missing.
RegistryKeyContent ReadRegistryKey(Hive hive, int view, const std::string& path);

}  // namespace tools::system
