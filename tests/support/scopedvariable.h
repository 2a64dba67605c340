// Environment variables.
#pragma once

#include <cstdlib>
#include <string>

namespace tests {

// Sets a variable for a scope; null removes it. POSIX only.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : m_name(name) {
    if (const char* const before = std::getenv(name)) m_before = before, m_had = true;
    Set(value);
  }
  ~ScopedVariable() { Set(m_had ? m_before.c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const char* value) {
    if (value == nullptr) {
      unsetenv(m_name);
    } else {
      setenv(m_name, value, 1);
    }
  }
  const char* m_name;
  std::string m_before;
  bool m_had = false;
};

}  // namespace tests
