// What the gate answered a moment ago, so that a mail that is sent again at once isn't checked
// again.
//
// A mail is known by the value of its item pointer alone. No reference is held: a new item that
// comes to lie at the same address within the period inherits the old one's verdict. Used by
// DlpMailEvent on the host's thread only; there is no lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

struct _MailItem;

struct VerdictCacheEntry {
  std::uint32_t dwTick;  // GetTickCount when it was stored, in milliseconds
  std::int32_t lResult;  // the ActionCode that the Send handler ended with
};

// The longest life of an entry in milliseconds. At exactly this age it still counts.
inline constexpr std::uint32_t kVerdictLifetime = 5000;

class VerdictCache {
 public:
  // Erases every entry, of whichever mail, that is older than kVerdictLifetime at the tick `now`.
  // Ages are unsigned differences, so the wrap of the tick count does no harm. This is the only
  // way that an entry leaves: there is no limit on their number.
  void Purge(std::uint32_t now);

  // Null when there is none. Valid until the next call that changes the map.
  const VerdictCacheEntry* Find(const _MailItem* item) const;

  // Makes the entry or overwrites both of its fields.
  void Store(const _MailItem* item, VerdictCacheEntry entry);

  std::size_t Size() const { return m_entries.size(); }

 private:
  std::map<std::uint64_t, VerdictCacheEntry> m_entries;
};

// The process's one cache, built while the module loads and destroyed at its end.
extern VerdictCache g_verdictCache;
