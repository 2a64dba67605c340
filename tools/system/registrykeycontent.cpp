#include <algorithm>

#include "tools/system/registryview.h"

namespace tools::system {

namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

const RegistryValue* RegistryKeyContent::Find(const std::string& name) const {
  for (const RegistryValue& value : values) {
    if (std::equal(name.begin(), name.end(), value.name.begin(), value.name.end(),
                   [](char a, char b) { return Lower(a) == Lower(b); })) {
      return &value;
    }
  }
  return nullptr;
}

}  // namespace tools::system
