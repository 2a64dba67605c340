// Private names for mappings.
//
// While a PrivateNames exists, every mapping is made and opened under a name that no other process
// uses, so that parallel tests and a real agent on the machine don't disturb each other. As long as
// the test makes no ring, the product finds no agent.
#pragma once

#include <cstdio>
#include <string>

#include "platform/mappings.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"

namespace tests {

class PrivateNames {
 public:
  PrivateNames()
      : m_prefix(NewPrefix()),
        m_open([this](auto original, auto access, auto inherit, const char* name) {
          return original(access, inherit, Redirected(name).c_str());
        }),
        m_create([this](auto original, auto size, const char* name) {
          return original(size, Redirected(name).c_str());
        }) {}

  // The private name of the mapping that the product calls `name`. A private name is returned
  // unchanged.
  std::string Redirected(const std::string& name) const {
    const std::string global = "Global\\";
    if (name.starts_with(global + m_prefix)) return name;
    return global + m_prefix + (name.starts_with(global) ? name.substr(global.size()) : name);
  }

 private:
  static std::string NewPrefix() {
    static int s_count = 0;
    char text[64];
    std::snprintf(text, sizeof(text), "test%x-%d-",
                  static_cast<unsigned>(platform::process.GetCurrentProcessId()), ++s_count);
    return text;
  }

  std::string m_prefix;
  platform::ScopedReplacement<platform::mappings, &platform::MappingOperations::OpenFileMappingA>
      m_open;
  platform::ScopedReplacement<platform::mappings, &platform::MappingOperations::CreateFileMappingA>
      m_create;
};

}  // namespace tests
