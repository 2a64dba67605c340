#include "agent/outlookaddin/verdictcache.h"

VerdictCache g_verdictCache;

namespace {

std::uint64_t KeyOf(const _MailItem* item) {
  return reinterpret_cast<std::uintptr_t>(item);
}

}  // namespace

void VerdictCache::Purge(std::uint32_t now) {
  std::erase_if(m_entries, [now](const auto& keyAndEntry) {
    return now - keyAndEntry.second.dwTick > kLifetime;
  });
}

const VerdictCacheEntry* VerdictCache::Find(const _MailItem* item) const {
  const auto found = m_entries.find(KeyOf(item));
  return found == m_entries.end() ? nullptr : &found->second;
}

void VerdictCache::Store(const _MailItem* item, VerdictCacheEntry entry) {
  m_entries.insert_or_assign(KeyOf(item), entry);
}
