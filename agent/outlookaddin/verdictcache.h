// The verdicts of the last few seconds, so that a mail that is sent again at once isn't checked
// again.
//
// The value of its item pointer is all that identifies a mail. The cache holds no reference, so a
// new item that the host puts at the same address in time inherits the old one's verdict. Only
// DlpMailEvent uses it, on the host's thread; there is no lock.
#pragma once

#include <cstdint>
#include <map>

struct _MailItem;

struct VerdictCacheEntry {
  std::uint32_t dwTick;  // GetTickCount when it was stored, in milliseconds
  std::int32_t lResult;  // the ActionCode that the Send handler ended with
};

class VerdictCache {
 public:
  // The longest life of an entry, in milliseconds. An entry of exactly this age still counts.
  static constexpr std::uint32_t kLifetime = 5000;

  // Erases every entry, of any mail, that is older than kLifetime at the tick `now`. Ages are
  // unsigned differences, so the tick count may wrap. Nothing else removes entries, and their
  // number has no limit.
  void Purge(std::uint32_t now);

  // The mail's entry, or null. Valid until the next call that changes the map.
  const VerdictCacheEntry* Find(const _MailItem* item) const;

  // Adds the entry, or overwrites the one that the mail has.
  void Store(const _MailItem* item, VerdictCacheEntry entry);

 private:
  std::map<std::uint64_t, VerdictCacheEntry> m_entries;
};

// The process's one cache, built while the library loads.
extern VerdictCache g_verdictCache;
