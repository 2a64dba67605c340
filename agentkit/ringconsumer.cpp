#include <algorithm>
#include <bit>
#include <cstring>

#include "agentkit/agentkit.h"
#include "platform/clock.h"

namespace agentkit {
namespace {

constexpr std::uint32_t kLeastCapacity = 256;
constexpr std::uint32_t kMostCapacity = 1U << 20;

constexpr std::uint32_t kCacheLine = 64;
constexpr std::uint32_t kFetchedAhead = 4 * channel::kRequestEntrySize;

bool IsUsable(std::uint32_t capacity) {
  return capacity >= kLeastCapacity && capacity <= kMostCapacity && std::has_single_bit(capacity);
}

std::uint32_t ViewSize(std::uint32_t capacity) {
  return std::max(capacity + std::uint32_t{channel::kRingOverhead}, channel::kRingViewSize);
}

template <typename Word>
std::atomic_ref<Word> Shared(Word& word) {
  static_assert(std::atomic_ref<Word>::is_always_lock_free);
  return std::atomic_ref<Word>(word);
}

}  // namespace

OpenResult RingConsumer::Create(const Options& options) {
  Close();
  if (!IsUsable(options.capacity)) {
    return OpenResult::kFailed;
  }
  if (!m_view.Create(options.name, ViewSize(options.capacity))) {
    SharedView other;
    return other.Open(options.name, sizeof(RingHeader)) ? OpenResult::kOtherOwner
                                                        : OpenResult::kFailed;
  }
  m_capacity = options.capacity;
  m_deadWriterMs = options.deadWriterMs;
  // A writer that comes before this store sees a capacity of 0 and stays away.
  Shared(Ring()->capacity).store(static_cast<std::int32_t>(m_capacity), std::memory_order_release);
  return OpenResult::kOpened;
}

OpenResult RingConsumer::TakeOver(const Options& options) {
  Close();
  if (!m_view.Open(options.name, sizeof(RingHeader))) {
    return OpenResult::kUnusable;
  }
  const auto capacity =
      static_cast<std::uint32_t>(Shared(Ring()->capacity).load(std::memory_order_acquire));
  if (!IsUsable(capacity) || !m_view.Open(options.name, ViewSize(capacity))) {
    Close();
    return OpenResult::kUnusable;
  }
  m_capacity = capacity;
  m_deadWriterMs = options.deadWriterMs;
  m_position = Shared(Ring()->consumerWord).load(std::memory_order_acquire);
  m_seenCursor = m_position;
  if (m_position % 4 != 0 || !IsSane(Shared(Ring()->writeCursor).load(std::memory_order_acquire))) {
    Close();
    return OpenResult::kUnusable;
  }
  return OpenResult::kOpened;
}

void RingConsumer::Close() {
  m_view.Close();
  m_capacity = 0;
  m_position = 0;
  m_seenCursor = 0;
  m_ahead.clear();
  m_idleUsed = 0;
}

// Acquire: pairs with the release store of the length word, so that what is copied out after this
// is what the writer copied in before it.
std::uint32_t RingConsumer::LoadLength(std::uint32_t position) const {
  unsigned char* const word = DataArea() + (position & (m_capacity - 1));
  return Shared(*reinterpret_cast<std::uint32_t*>(word)).load(std::memory_order_acquire);
}

bool RingConsumer::IsSane(std::uint32_t cursor) const {
  return Shared(Ring()->capacity).load(std::memory_order_relaxed) ==
             static_cast<std::int32_t>(m_capacity) &&
         cursor % 4 == 0 && cursor - m_position <= m_capacity;
}

TakeResult RingConsumer::Take(std::vector<unsigned char>* payload) {
  const TakeResult result = IsOpen() ? TakeHead(payload) : TakeResult::kEmpty;
  if (result != TakeResult::kTaken) {
    payload->clear();
  }
  return result;
}

TakeResult RingConsumer::TakeHead(std::vector<unsigned char>* payload) {
  // The cursor lies in the word that all writers fight for, so it is read again only when what it
  // showed the last time is used up or unfinished. It may also have shown less than was taken: a
  // hostile writer can set it back behind entries that were found beyond an unfinished one.
  const bool isPassed = m_seenCursor - m_position > m_capacity;
  if (m_seenCursor == m_position || isPassed || LoadLength(m_position) == 0) {
    // Relaxed: the cursor only says how far to look; it is the length words that publish.
    m_seenCursor = Shared(Ring()->writeCursor).load(std::memory_order_relaxed);
    if (!IsSane(m_seenCursor)) {
      Mend();
      return TakeResult::kBroken;
    }
  }
  const std::uint32_t pending = m_seenCursor - m_position;
  if (pending == 0) {
    return TakeEmpty();
  }
  m_idleUsed = 0;
  const std::uint32_t length = LoadLength(m_position);
  if (length == 0) {
    return TakeBehindHole(pending, payload);
  }
  if (length % 4 != 0 || std::uint64_t{length} + sizeof(RingEntry) > pending) {
    Mend();
    return TakeResult::kBroken;
  }
  if (pending > kFetchedAhead) {
    FetchAhead();
  }
  CopyOut(m_position, length, payload);
  FreeHead(length + std::uint32_t{sizeof(RingEntry)});
  if (!m_ahead.empty()) {
    FreeTakenHeads();
  }
  return TakeResult::kTaken;
}

// Brings the bytes some entries ahead from the writers' processor while this entry is copied; to be
// written, since they will be cleared.
void RingConsumer::FetchAhead() const {
  constexpr int kForWriting = 1;
  const unsigned char* const ahead = DataArea() + ((m_position + kFetchedAhead) & (m_capacity - 1));
  for (std::uint32_t line = 0; line < channel::kRequestEntrySize; line += kCacheLine) {
    __builtin_prefetch(ahead + line, kForWriting);
  }
}

// Nothing is reserved, so what is counted as used belongs to a writer that is between its two
// additions, now or for ever.
TakeResult RingConsumer::TakeEmpty() {
  if (!m_ahead.empty()) {
    m_ahead.clear();
  }
  std::int32_t used = Shared(Ring()->usedBytes).load(std::memory_order_relaxed);
  const std::uint32_t now = platform::clock.GetTickCount();
  if (used != m_idleUsed) {
    m_idleUsed = used;
    m_idleSinceTick = now;
  } else if (used != 0 && now - m_idleSinceTick >= m_deadWriterMs) {
    // The cursor is looked at again, behind the clock: the writer may have gone on since. And the
    // word is compared, so that a writer that adds just now isn't wiped out.
    if (Shared(Ring()->writeCursor).load(std::memory_order_acquire) == m_position) {
      Shared(Ring()->usedBytes).compare_exchange_strong(used, 0, std::memory_order_acq_rel);
    }
    m_idleUsed = 0;
  }
  return TakeResult::kEmpty;
}

// The head is unfinished. Entries behind it are looked for at the only distance that the add-in's
// entries have.
TakeResult RingConsumer::TakeBehindHole(std::uint32_t pending,
                                        std::vector<unsigned char>* payload) {
  const std::uint32_t now = platform::clock.GetTickCount();
  const Ahead& head = m_ahead.try_emplace(m_position, Ahead{false, now}).first->second;
  if (now - head.firstSeenTick >= m_deadWriterMs) {
    // Its writer may have finished it since it was looked at, before the clock was.
    if (LoadLength(m_position) != 0) {
      return TakeResult::kPending;
    }
    FreeHead(std::min(pending, channel::kRequestEntrySize));
    FreeTakenHeads();
    return TakeResult::kSkipped;
  }
  for (std::uint32_t distance = channel::kRequestEntrySize;
       distance + channel::kRequestEntrySize <= pending; distance += channel::kRequestEntrySize) {
    const std::uint32_t position = m_position + distance;
    Ahead& entry = m_ahead.try_emplace(position, Ahead{false, now}).first->second;
    if (entry.isTaken) {
      continue;
    }
    const std::uint32_t length = LoadLength(position);
    if (length == sizeof(ContentRequest)) {
      CopyOut(position, length, payload);
      entry.isTaken = true;
      return TakeResult::kTaken;
    }
    if (length != 0) {
      break;  // somebody else's entry: what lies behind can't be told from here
    }
  }
  return TakeResult::kPending;
}

void RingConsumer::CopyOut(std::uint32_t position, std::uint32_t length,
                           std::vector<unsigned char>* payload) const {
  const std::uint32_t start = (position + std::uint32_t{sizeof(RingEntry)}) & (m_capacity - 1);
  const std::uint32_t first = std::min(length, m_capacity - start);
  payload->resize(length);
  std::memcpy(payload->data(), DataArea() + start, first);
  if (length > first) {
    std::memcpy(payload->data() + first, DataArea(), length - first);
  }
}

// Gives back the room of the oldest entry. The order of the steps is for whoever takes the ring
// over after a death between two of them: the length goes before the payload, so an entry that is
// cleared in part is an unfinished one, and room passed but not given back shows when the ring is
// empty.
void RingConsumer::FreeHead(std::uint32_t size) {
  const std::uint32_t start = m_position & (m_capacity - 1);
  // The room is the consumer's own until the subtraction below, so no other thread needs the order.
  // A death interrupts this one, and the fence keeps the compiler from clearing the payload first.
  Shared(*reinterpret_cast<std::uint32_t*>(DataArea() + start)).store(0, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  const std::uint32_t first = std::min(size, m_capacity - start);
  std::memset(DataArea() + start, 0, first);
  if (size > first) {
    std::memset(DataArea(), 0, size - first);
  }
  if (!m_ahead.empty()) {
    m_ahead.erase(m_position);
    if (size != channel::kRequestEntrySize) {
      m_ahead.clear();  // what was found behind it was found at wrong places
    }
  }
  m_position += size;
  Shared(Ring()->consumerWord).store(m_position, std::memory_order_release);
  // Release: pairs with the writers' addition, which acquires. A writer that gets this room stores
  // into it only after the clearing above.
  Shared(Ring()->usedBytes).fetch_sub(static_cast<std::int32_t>(size), std::memory_order_acq_rel);
}

void RingConsumer::FreeTakenHeads() {
  for (auto entry = m_ahead.find(m_position); entry != m_ahead.end() && entry->second.isTaken;
       entry = m_ahead.find(m_position)) {
    FreeHead(channel::kRequestEntrySize);
  }
}

// Starts again from an empty ring. Requests that lay in it are lost, which costs their senders a
// wait and no more; a writer at work meanwhile can bring the ring here once more.
void RingConsumer::Mend() {
  const std::uint32_t cursor = Shared(Ring()->writeCursor).load(std::memory_order_relaxed);
  m_ahead.clear();
  std::memset(DataArea(), 0, m_capacity);
  m_position = cursor & ~3U;
  m_seenCursor = m_position;
  if (m_position != cursor) {
    Shared(Ring()->writeCursor).store(m_position, std::memory_order_relaxed);
  }
  Shared(Ring()->consumerWord).store(m_position, std::memory_order_release);
  Shared(Ring()->capacity).store(static_cast<std::int32_t>(m_capacity), std::memory_order_relaxed);
  Shared(Ring()->usedBytes).store(0, std::memory_order_release);
}

}  // namespace agentkit
