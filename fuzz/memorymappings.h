// Replaces the system's named mappings with memory of exactly the requested size, so that the
// sanitizer sees any access outside.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzzing.h"
#include "platform/mappings.h"

namespace fuzzing {

class MemoryMappings {
 public:
  // Larger requests fail.
  static constexpr std::uint32_t kLargest = (1 << 18) + 20;

  // Makes `memory`, which the caller owns, available as an existing mapping.
  void Lend(std::string name, unsigned char* memory, std::uint32_t size) {
    m_lent[std::move(name)] = {memory, size};
  }
  void Forget() { m_lent.clear(); }

  int OpenHandles() const { return static_cast<int>(m_handles.size()); }
  int OpenViews() const { return m_views; }
  // The mappings that were created and are still open, in the order of their names.
  std::vector<std::pair<unsigned char*, std::uint32_t>> Made() const {
    std::vector<std::pair<unsigned char*, std::uint32_t>> made;
    for (const auto& [name, weak] : m_made) {
      if (const auto memory = weak.lock()) made.emplace_back(memory->bytes.get(), memory->size);
    }
    return made;
  }

 private:
  struct Lent {
    unsigned char* memory;
    std::uint32_t size;
  };
  struct Memory {
    std::unique_ptr<unsigned char[]> bytes;
    std::uint32_t size;
  };
  struct Mapping {
    Lent place;
    std::shared_ptr<Memory> memory;  // null for lent memory
  };

  platform::Handle Hold(Lent place, std::shared_ptr<Memory> memory) {
    auto mapping = std::make_unique<Mapping>(Mapping{place, std::move(memory)});
    Mapping* const handle = mapping.get();
    m_handles.emplace(handle, std::move(mapping));
    return handle;
  }
  platform::Handle Create(std::uint32_t size, const std::string& name) {
    if (size == 0 || size > kLargest || m_lent.contains(name) || !m_made[name].expired()) {
      return nullptr;
    }
    auto memory = std::make_shared<Memory>();
    memory->bytes = std::make_unique<unsigned char[]>(size);
    memory->size = size;
    m_made[name] = memory;
    const Lent place{memory->bytes.get(), size};
    return Hold(place, std::move(memory));
  }
  platform::Handle Open(const std::string& name) {
    if (const auto lent = m_lent.find(name); lent != m_lent.end()) {
      return Hold(lent->second, nullptr);
    }
    const auto made = m_made.find(name);
    auto memory = made == m_made.end() ? nullptr : made->second.lock();
    if (memory == nullptr) return nullptr;
    const Lent place{memory->bytes.get(), memory->size};
    return Hold(place, std::move(memory));
  }
  void* Map(platform::Handle handle, std::uint32_t size) {
    const auto found = m_handles.find(handle);
    Require(found != m_handles.end(), "only open mappings are mapped");
    if (size == 0 || size > found->second->place.size) return nullptr;
    ++m_views;
    return found->second->place.memory;
  }
  bool Unmap() {
    Require(m_views > 0, "only views are unmapped");
    --m_views;
    return true;
  }
  bool Close(platform::Handle handle) {
    Require(m_handles.erase(handle) == 1, "a handle is closed once");
    std::erase_if(m_made, [](const auto& entry) { return entry.second.expired(); });
    return true;
  }

  template <auto Entry>
  using Replaced = platform::ScopedReplacement<platform::mappings, Entry>;
  using Operations = platform::MappingOperations;

  std::map<std::string, Lent> m_lent;
  std::map<std::string, std::weak_ptr<Memory>> m_made;
  std::map<platform::Handle, std::unique_ptr<Mapping>> m_handles;
  int m_views = 0;
  Replaced<&Operations::OpenFileMappingA> m_open{
      [this](auto, auto, auto, auto name) { return Open(name); }};
  Replaced<&Operations::CreateFileMappingA> m_create{
      [this](auto, auto size, auto name) { return Create(size, name); }};
  Replaced<&Operations::MapViewOfFile> m_map{
      [this](auto, auto handle, auto, auto, auto, auto size) { return Map(handle, size); }};
  Replaced<&Operations::UnmapViewOfFile> m_unmap{[this](auto, auto) { return Unmap(); }};
  platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> m_close{
      [this](auto, auto handle) { return Close(handle); }};
};

}  // namespace fuzzing
