// The agent's settings: their names, and the patterns that their values must match.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>

// One setting. The texts are ASCII and live as long as the program.
struct ConfigKey {
  std::string_view internalKey;  // the upper-case name that code uses
  std::string_view publicKey;    // its name in the property file
  std::string_view pattern;      // a regular expression from configpatterns.h
};

// The settings of the whole agent, far more than the add-in uses: a hash map by internal key.
// Internal keys are unique, and so are public keys. The table has no defaults and no types. It
// never changes, so any thread may use it.
class ConfigKeyTable {
 public:
  // Throws std::bad_alloc when memory runs out. For the global table the module then fails to load.
  ConfigKeyTable();

  ConfigKeyTable(const ConfigKeyTable&) = delete;
  ConfigKeyTable& operator=(const ConfigKeyTable&) = delete;

  // The setting with this internal key, or null. Case matters, and public keys aren't searched.
  const ConfigKey* Find(std::string_view internalKey) const;

  // The rows in the order of their definition. They live as long as the program, so a row may
  // outlive the table that returned it.
  const ConfigKey* begin() const;
  const ConfigKey* end() const;
  std::size_t size() const { return m_rows.size(); }

 private:
  std::unordered_map<std::string_view, const ConfigKey*> m_rows;
};

// Constructed while the module loads, destroyed while it unloads.
extern const ConfigKeyTable g_configKeyTable;
