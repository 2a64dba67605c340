// Mappings of this test's own.
//
// For the length of its scope every mapping that the add-in opens is looked for under a name that
// only this guard gives, so tests in parallel processes, and an agent that happens to run on the
// machine, don't meet. With no mapping made under such a name, no agent is there.
#pragma once

#include <cstdio>
#include <string>

#include "platform/mappings.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"

namespace testsupport {

class PrivateNames {
 public:
  PrivateNames()
      : m_prefix(NewPrefix()),
        m_open([this](auto original, auto access, auto inherit, const char* name) {
          return original(access, inherit, Redirected(name).c_str());
        }) {}

  // The name under which the mapping that the add-in calls `name` is really kept.
  std::string Redirected(const std::string& name) const {
    const std::string global = "Global\\";
    const bool isGlobal = name.compare(0, global.size(), global) == 0;
    return global + m_prefix + (isGlobal ? name.substr(global.size()) : name);
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
};

}  // namespace testsupport
