// The agent's settings: what each is called, and what its values look like.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// One setting. The texts are plain ASCII, and last as long as the program.
struct ConfigKey {
  std::string_view internalKey;  // the upper-case name by which code refers to the setting
  std::string_view publicKey;    // its name in the property file
  std::string_view pattern;      // the regular expression that a value must match: configpatterns.h
};

// The settings of the whole agent, far more than the add-in asks for; there are no defaults and no
// types in it. A hash map by internal key, where internal keys and public keys are each unique.
// Never changes once it is built, so any thread may use it.
class ConfigKeyTable {
 public:
  // Takes memory, and lets a failure of that pass: then the module doesn't load.
  ConfigKeyTable();

  ConfigKeyTable(const ConfigKeyTable&) = delete;
  ConfigKeyTable& operator=(const ConfigKeyTable&) = delete;

  // The setting of this internal key, upper case as it is spelled; null if there is none. Public
  // keys find nothing.
  const ConfigKey* Find(std::string_view internalKey) const;

  // The rows in the order of their definition.
  auto begin() const { return m_rows.begin(); }
  auto end() const { return m_rows.end(); }
  std::size_t size() const { return m_rows.size(); }

 private:
  std::vector<ConfigKey> m_rows;
  std::vector<std::uint8_t> m_slots;  // a row's number where its key's hash says, or behind it
};

// Built while the module loads, before anything of it runs, and destroyed at its end.
extern const ConfigKeyTable g_configKeyTable;
