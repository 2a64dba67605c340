#include "inspection/ring/ringview.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "agentkit/agentkit.h"

namespace inspection::ring {
namespace {

constexpr std::uint32_t kWord = sizeof(RingEntry);
constexpr std::uint32_t kShown = 16;

// The data area of a copy, which may lack its end.
class Area {
 public:
  Area(const Bytes& bytes, std::uint32_t capacity)
      : m_bytes(bytes.data() + sizeof(RingHeader)),
        m_size(std::min<std::size_t>(bytes.size() - sizeof(RingHeader), capacity)),
        m_capacity(capacity) {}

  std::size_t Missing() const { return m_capacity - m_size; }
  std::uint32_t OffsetOf(std::uint32_t position) const { return position % m_capacity; }

  // Copies `size` bytes from `position` on, around the end. False if some are missing.
  bool Copy(std::uint32_t position, std::uint32_t size, void* to) const {
    auto* out = static_cast<unsigned char*>(to);
    for (std::uint32_t i = 0; i < size; ++i) {
      const std::size_t at = (std::size_t{OffsetOf(position)} + i) % m_capacity;
      if (at >= m_size) return false;
      out[i] = m_bytes[at];
    }
    return true;
  }

  // Bytes that aren't zero among the `size` from `position` on; missing ones count as zero.
  std::size_t CountDirty(std::uint32_t position, std::uint32_t size) const {
    const std::size_t start = OffsetOf(position);
    const std::size_t untilEnd = std::min<std::size_t>(size, m_capacity - start);
    return CountDirtyBetween(start, start + untilEnd) + CountDirtyBetween(0, size - untilEnd);
  }

 private:
  std::size_t CountDirtyBetween(std::size_t begin, std::size_t end) const {
    end = std::min(end, m_size);
    if (begin >= end) return 0;
    return end - begin - static_cast<std::size_t>(std::count(m_bytes + begin, m_bytes + end, 0));
  }

  const unsigned char* m_bytes;
  std::size_t m_size;
  std::uint32_t m_capacity;
};

// Where the oldest entry begins. A consumer may keep its position in its word or elsewhere; a word
// of 0 says the second unless it fits the used bytes.
void FindStart(Snapshot& now) {
  const RingHeader& header = now.header;
  const auto capacity = static_cast<std::uint32_t>(header.capacity);
  const auto used = static_cast<std::uint32_t>(header.usedBytes);
  const std::uint32_t behindWord = header.writeCursor - header.consumerWord;
  const bool wordFits = header.consumerWord % 4 == 0 && behindWord <= capacity;
  const bool usedFits = header.usedBytes >= 0 && used % 4 == 0 && used <= capacity;
  const bool isWordUnused =
      header.consumerWord == 0 && behindWord != used && usedFits && used <= header.writeCursor;
  now.isStartFromWord = wordFits && !isWordUnused;
  if (now.isStartFromWord) {
    now.start = header.consumerWord;
  } else {
    now.start = header.writeCursor - (usedFits ? used : 0);
  }
  now.pending = header.writeCursor - now.start;
}

// Reads the entry at `position`, of which `left` bytes at most belong to it. False if the copy
// lacks its length word.
bool ReadEntry(const Area& area, std::uint32_t position, std::uint32_t left, std::uint32_t capacity,
               Entry* entry) {
  entry->position = position;
  entry->offset = area.OffsetOf(position);
  if (!area.Copy(position, kWord, &entry->length)) return false;
  if (entry->length == 0) {
    entry->size = std::min(left, channel::kRequestEntrySize);
    return true;
  }
  if (entry->length % 4 != 0 || entry->length > left - kWord) {
    entry->state = EntryState::kDamaged;
    entry->size = left;
    return true;
  }
  entry->state = EntryState::kComplete;
  entry->size = entry->length + kWord;
  const std::uint32_t payload = (entry->offset + kWord) % capacity;
  entry->isSplit = entry->length > capacity - payload;
  entry->begin.resize(std::min(entry->length, kShown));
  if (!area.Copy(position + kWord, static_cast<std::uint32_t>(entry->begin.size()),
                 entry->begin.data())) {
    entry->begin.clear();
  }
  ContentRequest record{};
  if (entry->length == sizeof(record) && area.Copy(position + kWord, sizeof(record), &record)) {
    entry->record = record;
    entry->isRequest = agentkit::IsSound(record);
  }
  return true;
}

bool IsUsable(const RingHeader& header, std::string* why) {
  const std::string capacity = std::to_string(header.capacity);
  if (header.capacity < 1) {
    *why = "not a ring, or one that isn't made yet: its capacity is " + capacity;
  } else if (header.capacity % 4 != 0) {
    *why = "not a ring: its capacity " + capacity + " is not a multiple of 4";
  } else if (header.capacity > kLargestCapacity) {
    *why = "not a ring: its capacity " + capacity + " is above " + std::to_string(kLargestCapacity);
  }
  return why->empty();
}

}  // namespace

Snapshot Decode(const Bytes& bytes) {
  Snapshot now;
  if (bytes.size() < sizeof(RingHeader)) {
    now.unreadable = "too short for a ring: " + std::to_string(bytes.size()) +
                     " bytes, and the header alone has " + std::to_string(sizeof(RingHeader));
    return now;
  }
  now.hasHeader = true;
  std::memcpy(&now.header, bytes.data(), sizeof(now.header));
  if (!IsUsable(now.header, &now.unreadable)) return now;

  const auto capacity = static_cast<std::uint32_t>(now.header.capacity);
  const Area area(bytes, capacity);
  now.bytesMissing = area.Missing();
  if (now.header.writeCursor % 4 != 0) return now;  // no entry can be found from here
  FindStart(now);
  for (std::uint32_t done = 0; done < now.pending;) {
    Entry entry;
    if (!ReadEntry(area, now.start + done, now.pending - done, capacity, &entry)) break;
    done += entry.size;
    now.entries.push_back(std::move(entry));
  }
  now.dirtyFreeBytes = area.CountDirty(now.header.writeCursor, capacity - now.pending);
  return now;
}

}  // namespace inspection::ring
