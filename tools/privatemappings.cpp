#include "tools/privatemappings.h"

#include <new>
#include <utility>

namespace tools {
namespace {

constexpr std::size_t kPageSize = 4096;

}  // namespace

PrivateMappings* PrivateMappings::s_current = nullptr;

PrivateMappings::PrivateMappings()
    : m_systemsMappings(platform::mappings), m_systemsHandles(platform::handles) {
  s_current = this;
  platform::mappings = {.OpenFileMappingA = &Open,
                        .CreateFileMappingA = &Create,
                        .MapViewOfFile = &Map,
                        .UnmapViewOfFile = &Unmap};
  platform::handles.CloseHandle = &Close;
}

PrivateMappings::~PrivateMappings() {
  platform::mappings = m_systemsMappings;
  platform::handles = m_systemsHandles;
  s_current = nullptr;
}

platform::Handle PrivateMappings::Publish(Names::iterator name) {
  ++name->second.handles;
  auto opened = std::make_unique<Names::iterator>(name);
  const platform::Handle handle = opened.get();
  m_opened.emplace(handle, std::move(opened));
  return handle;
}

platform::Handle PrivateMappings::Open(std::uint32_t /*access*/, bool /*inheritHandle*/,
                                       const char* name) {
  const auto named = s_current->m_names.find(name);
  return named == s_current->m_names.end() ? nullptr : s_current->Publish(named);
}

platform::Handle PrivateMappings::Create(std::uint32_t size, const char* name) {
  if (s_current->m_names.contains(name)) return nullptr;
  const std::size_t wholePages = (std::size_t{size} + kPageSize - 1) / kPageSize * kPageSize;
  Memory memory;
  try {
    memory = std::make_shared<std::vector<unsigned char>>(wholePages);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return s_current->Publish(s_current->m_names.emplace(name, Named{std::move(memory)}).first);
}

void* PrivateMappings::Map(platform::Handle mapping, std::uint32_t /*access*/,
                           std::uint32_t /*offsetHigh*/, std::uint32_t /*offsetLow*/,
                           std::uint32_t size) {
  const auto opened = s_current->m_opened.find(mapping);
  if (opened == s_current->m_opened.end()) return nullptr;
  const Memory& memory = (*opened->second)->second.memory;
  if (size > memory->size()) return nullptr;
  s_current->m_views.emplace(memory->data(), memory);
  return memory->data();
}

bool PrivateMappings::Unmap(const void* view) {
  const auto found = s_current->m_views.find(view);
  if (found == s_current->m_views.end()) return false;
  s_current->m_views.erase(found);
  return true;
}

bool PrivateMappings::Close(platform::Handle handle) {
  const auto opened = s_current->m_opened.find(handle);
  if (opened == s_current->m_opened.end()) return s_current->m_systemsHandles.CloseHandle(handle);
  const Names::iterator name = *opened->second;
  s_current->m_opened.erase(opened);
  if (--name->second.handles == 0) s_current->m_names.erase(name);
  return true;
}

}  // namespace tools
