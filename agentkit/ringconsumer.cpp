#include <algorithm>
#include <bit>
#include <cstring>

#include "agentkit/agentkit.h"
#include "platform/clock.h"

namespace agentkit {
namespace {

constexpr std::uint32_t kLeastCapacity = 256;
constexpr std::uint32_t kMostCapacity = 1U << 20;

// The most that is passed before it is freed. Little of the ring, since a consumer that dies loses
// track of it until the ring is empty.
constexpr std::uint32_t kMostPassed = 16 * channel::kRequestEntrySize;

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
  // Until this store, writers see a capacity of 0 and refuse the ring.
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
  FreePassed();
  m_view.Close();
  m_capacity = 0;
  m_position = 0;
  m_seenCursor = 0;
  m_ahead.clear();
  m_idleUsed = 0;
}

// Acquire: pairs with the release store of the length word, so that the payload is in place once
// the length is seen.
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
    FreePassed();
  }
  return result;
}

TakeResult RingConsumer::TakeHead(std::vector<unsigned char>* payload) {
  // All writers contend for the cursor's cache line, so this reads it again only when everything up
  // to the last value is taken or incomplete. The last value may also be behind the position: a
  // hostile writer can set the cursor back behind entries that were taken out of order.
  const bool isBehind = m_seenCursor - m_position > m_capacity;
  if (m_seenCursor == m_position || isBehind || LoadLength(m_position) == 0) {
    // Relaxed: the cursor only limits the search; the length words publish the entries.
    m_seenCursor = Shared(Ring()->writeCursor).load(std::memory_order_relaxed);
    if (!IsSane(m_seenCursor)) {
      Reset();
      return TakeResult::kBroken;
    }
  }
  const std::uint32_t pending = m_seenCursor - m_position;
  if (pending == 0) {
    return TakeNothing();
  }
  m_idleUsed = 0;
  const std::uint32_t length = LoadLength(m_position);
  if (length == 0) {
    return TakePastIncomplete(pending, payload);
  }
  if (length % 4 != 0 || std::uint64_t{length} + sizeof(RingEntry) > pending) {
    Reset();
    return TakeResult::kBroken;
  }
  CopyOut(m_position, length, payload);
  PassHead(length + std::uint32_t{sizeof(RingEntry)});
  if (!m_ahead.empty()) {
    PassTakenHeads();
  }
  return TakeResult::kTaken;
}

// Nothing is reserved, so a usedBytes above 0 belongs to a writer between its two additions, which
// is alive or dead.
TakeResult RingConsumer::TakeNothing() {
  FreePassed();
  m_ahead.clear();
  std::int32_t used = Shared(Ring()->usedBytes).load(std::memory_order_relaxed);
  const std::uint32_t now = platform::clock.GetTickCount();
  if (used != m_idleUsed) {
    m_idleUsed = used;
    m_idleSinceTick = now;
  } else if (used != 0 && now - m_idleSinceTick >= m_deadWriterMs) {
    // Reads the cursor again, after the clock: the writer may have continued since. The exchange
    // compares, so that an addition at this moment isn't lost.
    if (Shared(Ring()->writeCursor).load(std::memory_order_acquire) == m_position) {
      Shared(Ring()->usedBytes).compare_exchange_strong(used, 0, std::memory_order_acq_rel);
    }
    m_idleUsed = 0;
  }
  return TakeResult::kEmpty;
}

// The head is incomplete. Looks for later entries at the only distances that entries of the add-in
// have.
TakeResult RingConsumer::TakePastIncomplete(std::uint32_t pending,
                                            std::vector<unsigned char>* payload) {
  const std::uint32_t now = platform::clock.GetTickCount();
  const Ahead& head = m_ahead.try_emplace(m_position, Ahead{false, now}).first->second;
  if (now - head.firstSeenTick >= m_deadWriterMs) {
    // The writer may have completed the entry since the last look, which was before the clock.
    if (LoadLength(m_position) != 0) {
      return TakeResult::kPending;
    }
    PassHead(std::min(pending, channel::kRequestEntrySize));
    PassTakenHeads();
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
      break;  // not an entry of the add-in, so the next one's position is unknown
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

// Clears the oldest entry and moves the position past it. The order matters to a consumer that
// takes over after a death between two of the steps: the length is cleared before the payload, so
// that a half-cleared entry is an incomplete one; space that was passed but not freed is found when
// the ring is empty.
void RingConsumer::PassHead(std::uint32_t size) {
  const std::uint32_t start = m_position & (m_capacity - 1);
  // The space belongs to the consumer until it is freed, so no other thread depends on the order. A
  // death can interrupt this thread, so the fence keeps the compiler from clearing the payload
  // first.
  Shared(*reinterpret_cast<std::uint32_t*>(DataArea() + start)).store(0, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  const std::uint32_t first = std::min(size, m_capacity - start);
  std::memset(DataArea() + start, 0, first);
  if (size > first) {
    std::memset(DataArea(), 0, size - first);
  }
  if (!m_ahead.empty()) {
    m_ahead.erase(m_position);
  }
  m_position += size;
  Shared(Ring()->consumerWord).store(m_position, std::memory_order_release);
  m_passed += size;
  if (m_passed >= std::min(kMostPassed, m_capacity / 4)) {
    FreePassed();
  }
}

// Entries that were taken out of order, up to the next one that wasn't.
void RingConsumer::PassTakenHeads() {
  for (auto entry = m_ahead.find(m_position); entry != m_ahead.end() && entry->second.isTaken;
       entry = m_ahead.find(m_position)) {
    PassHead(channel::kRequestEntrySize);
  }
}

// Release: pairs with the writers' addition, which acquires. A writer that gets this space stores
// into it only after it was cleared.
void RingConsumer::FreePassed() {
  if (m_passed != 0) {
    Shared(Ring()->usedBytes)
        .fetch_sub(static_cast<std::int32_t>(m_passed), std::memory_order_acq_rel);
    m_passed = 0;
  }
}

// Starts again with an empty ring. The requests in it are lost, which costs each requester one
// wait. A writer that is in the middle of a push may cause another reset.
void RingConsumer::Reset() {
  const std::uint32_t cursor = Shared(Ring()->writeCursor).load(std::memory_order_relaxed);
  m_ahead.clear();
  std::memset(DataArea(), 0, m_capacity);
  m_position = cursor & ~3U;
  m_seenCursor = m_position;
  m_passed = 0;
  if (m_position != cursor) {
    Shared(Ring()->writeCursor).store(m_position, std::memory_order_relaxed);
  }
  Shared(Ring()->consumerWord).store(m_position, std::memory_order_release);
  Shared(Ring()->capacity).store(static_cast<std::int32_t>(m_capacity), std::memory_order_relaxed);
  Shared(Ring()->usedBytes).store(0, std::memory_order_release);
}

}  // namespace agentkit
