// Named memory of this process alone, for `quorvex send --fast`.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/handles.h"
#include "platform/mappings.h"

namespace tools {

// While an object of this class lives, the mappings of platform::mappings are in ordinary memory:
// same names, sizes, contents and lives, but no other process sees them, and they take no system
// calls. Views of one mapping have the same address.
//
// One object at a time, for one thread. Close all its mappings before it is destroyed.
class PrivateMappings {
 public:
  PrivateMappings();
  ~PrivateMappings();

  PrivateMappings(const PrivateMappings&) = delete;
  PrivateMappings& operator=(const PrivateMappings&) = delete;

 private:
  using Memory = std::shared_ptr<std::vector<unsigned char>>;
  struct Named {
    Memory memory;
    int handles = 0;
  };
  using Names = std::map<std::string, Named>;

  static platform::Handle Open(std::uint32_t access, bool inheritHandle, const char* name);
  static platform::Handle Create(std::uint32_t size, const char* name);
  static void* Map(platform::Handle mapping, std::uint32_t access, std::uint32_t offsetHigh,
                   std::uint32_t offsetLow, std::uint32_t size);
  static bool Unmap(const void* view);
  static bool Close(platform::Handle handle);

  platform::Handle Publish(Names::iterator name);

  static PrivateMappings* s_current;

  const platform::MappingOperations m_systemsMappings;
  const platform::HandleOperations m_systemsHandles;
  Names m_names;
  std::unordered_map<platform::Handle, std::unique_ptr<Names::iterator>> m_opened;
  std::unordered_multimap<const void*, Memory> m_views;
};

}  // namespace tools
