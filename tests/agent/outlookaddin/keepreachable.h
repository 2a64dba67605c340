// For the leak checker.
#pragma once

#include <vector>

namespace tests {

// Remembers an object that is never freed on purpose, as a CDlpAddinConnect is.
inline void KeepReachable(const void* object) {
  static auto& s_objects = *new std::vector<const void*>;
  s_objects.push_back(object);
}

}  // namespace tests
