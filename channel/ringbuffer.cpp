#include "channel/ringbuffer.h"

#include <atomic>
#include <cstring>

#include "logging/vrklogger.h"

namespace channel {
namespace {

// The header's words are shared with other processes, which only lock-free atomics reach.
static_assert(std::atomic_ref<std::int32_t>::is_always_lock_free);
static_assert(std::atomic_ref<std::uint32_t>::is_always_lock_free);

constexpr std::uint32_t kLengthWordSize = sizeof(RingEntry);

// The cursor's position in the data area. A division costs more than the copy of a request, and
// the capacity in use is a power of two.
std::uint32_t PositionOf(std::uint32_t cursor, std::uint32_t capacity) {
  const std::uint32_t mask = capacity - 1;
  return (capacity & mask) == 0 ? cursor & mask : cursor % capacity;
}

// Release: pairs with the consumer's acquire load of the length word, which makes the payload that
// was stored before it visible to whoever sees the length.
void StoreLength(unsigned char* area, std::uint32_t entryPos, std::uint32_t padded) {
  std::atomic_ref<std::uint32_t>(*reinterpret_cast<std::uint32_t*>(area + entryPos))
      .store(padded, std::memory_order_release);
}

// Stores the entry at `entryPos`, a multiple of 4 below `capacity`, which is one too. The entry
// is no longer than the data area.
[[gnu::noinline]] bool StoreEntry(unsigned char* area, std::uint32_t capacity,
                                  std::uint32_t entryPos, const unsigned char* data,
                                  std::uint32_t padded) {
  const std::uint32_t behindLength = entryPos + kLengthWordSize;
  const std::uint32_t payloadPos = behindLength == capacity ? 0 : behindLength;
  const std::uint32_t untilEnd = capacity - payloadPos;
  if (padded > untilEnd) {
    std::memcpy(area + payloadPos, data, untilEnd);
    std::memcpy(area, data + untilEnd, padded - untilEnd);
  } else {
    std::memcpy(area + payloadPos, data, padded);
  }
  StoreLength(area, entryPos, padded);
  return true;
}

// Takes back what was added to usedBytes.
[[gnu::noinline, gnu::cold]] bool Refuse(RingHeader* ring, std::int32_t entrySize) {
  std::atomic_ref<std::int32_t>(ring->usedBytes).fetch_sub(entrySize, std::memory_order_seq_cst);
  g_logger.Log(kLogModule, kLogErr, "WriteRingBuffer: synchronization problem!");
  return false;
}

// Reserves room and stores the entry there. The room is counted already.
inline bool ReserveAndStore(RingHeader* ring, std::uint32_t area, const void* data,
                            std::uint32_t padded) {
  const std::uint32_t entrySize = padded + kLengthWordSize;
  // Two writers may pass the two additions in different orders, so the one whose addition to
  // usedBytes saw the older subtraction can get the bytes freed by the newer. Acquire and release
  // here hand that knowledge from writer to writer, with the order of the positions.
  std::atomic_ref<std::uint32_t> writeCursor(ring->writeCursor);
  const std::uint32_t entryPos =
      PositionOf(writeCursor.fetch_add(entrySize, std::memory_order_seq_cst), area);
  if (entryPos % 4 != 0) {  // no writer leaves the cursor there
    return Refuse(ring, static_cast<std::int32_t>(entrySize));
  }

  unsigned char* const bytes = reinterpret_cast<unsigned char*>(ring + 1);
  // The usual case, a request that isn't split, is copied here with its length known to the
  // compiler, and the function then saves no registers: each of these stores would have to leave
  // the processor before the locked additions can begin.
  if (padded == sizeof(ContentRequest) && area - entryPos >= channel::kRequestEntrySize) {
    std::memcpy(bytes + entryPos + kLengthWordSize, data, sizeof(ContentRequest));
    StoreLength(bytes, entryPos, sizeof(ContentRequest));
    return true;
  }
  return StoreEntry(bytes, area, entryPos, static_cast<const unsigned char*>(data), padded);
}

// By a count below zero, which no sane ring has, there is room. The consumer may well read the
// entry, and a question asked is better than none, so it goes in, and the log tells.
[[gnu::noinline, gnu::cold]] bool AppendBelowZero(RingHeader* ring, std::uint32_t area,
                                                  const void* data, std::uint32_t padded,
                                                  std::int32_t usedBefore) {
  if (!ReserveAndStore(ring, area, data, padded)) return false;
  g_logger.Log(kLogModule, kLogWarn, "WriteRingBuffer: used bytes were below zero (%d)!",
               static_cast<int>(usedBefore));
  return true;
}

// The append itself, with a capacity that was read once for all that follows.
bool Append(RingHeader* ring, std::int32_t capacity, const void* data, std::uint32_t length) {
  const std::uint32_t padded = (length + 3U) & ~3U;
  const std::uint32_t entrySize = padded + kLengthWordSize;
  const auto signedSize = static_cast<std::int32_t>(entrySize);

  // Acquire: pairs with the consumer's release subtraction, so that the copy comes after the
  // consumer has finished with the bytes it freed. The full barrier is what the protocol says.
  std::atomic_ref<std::int32_t> usedBytes(ring->usedBytes);
  const std::int32_t usedBefore = usedBytes.fetch_add(signedSize, std::memory_order_seq_cst);
  // In a sane ring the count alone decides. A count below zero would let an entry through that is
  // longer than the data area, and a crooked capacity one that leaves it.
  const std::int64_t most = std::int64_t{capacity} - entrySize;
  if (most < 0 || capacity % 4 != 0) {
    return Refuse(ring, signedSize);
  }
  const auto area = static_cast<std::uint32_t>(capacity);
  // One comparison for both: below zero is far above everything here.
  if (static_cast<std::uint32_t>(usedBefore) > static_cast<std::uint32_t>(most)) {
    return usedBefore < 0 ? AppendBelowZero(ring, area, data, padded, usedBefore)
                          : Refuse(ring, signedSize);
  }
  return ReserveAndStore(ring, area, data, padded);
}

// Relaxed: the word doesn't change after the mapping is made, and nothing is ordered by it. It is
// read once a push, so a header that changes it meanwhile gains nothing.
std::int32_t ReadCapacity(RingHeader* ring) {
  return std::atomic_ref<std::int32_t>(ring->capacity).load(std::memory_order_relaxed);
}

bool AreWrong(const void* data, int length) {
  return data == nullptr || length < 1;
}

}  // namespace

bool PushEntry(RingHeader* ring, std::uint32_t viewSize, const void* data, int length) {
  if (AreWrong(data, length)) {
    g_logger.Log(kLogModule, kLogErr, "PushEntry: wrong parameters!");
    return false;
  }
  const std::int32_t capacity =
      ring == nullptr || viewSize < sizeof(RingHeader) ? 0 : ReadCapacity(ring);
  if (capacity < 1 || static_cast<std::uint32_t>(capacity) > viewSize - sizeof(RingHeader)) {
    g_logger.Log(kLogModule, kLogErr, "PushEntry: wrong buffer!");
    return false;
  }
  return Append(ring, capacity, data, static_cast<std::uint32_t>(length));
}

bool WriteRingBuffer(RingHeader* ring, const void* data, int length) {
  if (AreWrong(data, length)) {
    g_logger.Log(kLogModule, kLogErr, "WriteRingBuffer: wrong parameters!");
    return false;
  }
  return Append(ring, ReadCapacity(ring), data, static_cast<std::uint32_t>(length));
}

}  // namespace channel
