#include "channel/ringbuffer.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>

#include "logging/vrklogger.h"

namespace channel {
namespace {

// Other processes share the header's words, and only lock-free atomics work across processes.
static_assert(std::atomic_ref<std::int32_t>::is_always_lock_free);
static_assert(std::atomic_ref<std::uint32_t>::is_always_lock_free);

constexpr std::uint32_t kLengthWordSize = sizeof(RingEntry);

// The part of the data area that belongs to one push until it publishes its entry.
struct Claimed {
  std::uint32_t position;   // of the length word; a multiple of 4 below the capacity
  std::int32_t usedBefore;  // usedBytes before the push
};

// A division takes longer than the copy of a request. The capacity in use is a power of two, but
// the header may say something else.
std::uint32_t PositionOf(std::uint32_t cursor, std::uint32_t capacity) {
  const std::uint32_t mask = capacity - 1;
  return (capacity & mask) == 0 ? cursor & mask : cursor % capacity;
}

// Step 1: counts the entry and takes its position. Nothing, with usedBytes as before, if the entry
// doesn't fit or the header contradicts itself.
std::optional<Claimed> Claim(RingHeader* ring, std::int32_t capacity, std::uint32_t entrySize) {
  const auto signedSize = static_cast<std::int32_t>(entrySize);
  std::atomic_ref<std::int32_t> usedBytes(ring->usedBytes);
  std::atomic_ref<std::uint32_t> writeCursor(ring->writeCursor);

  // The protocol requires full barriers for both additions. The acquire half pairs with the
  // consumer's release subtraction: the copy comes after the consumer has finished with the bytes.
  const std::int32_t usedBefore = usedBytes.fetch_add(signedSize, std::memory_order_seq_cst);
  // A sane ring needs only the last comparison. A count below zero would let an entry through that
  // is longer than the data area, and a capacity that isn't a multiple of 4 one that leaves it.
  if (capacity % 4 == 0 && std::int64_t{entrySize} <= capacity &&
      std::int64_t{usedBefore} + entrySize <= capacity) {
    // Two writers may pass the two additions in different orders, so the one whose addition to
    // usedBytes saw the older subtraction can get the bytes freed by the newer. Acquire and release
    // here pass that knowledge from writer to writer, in the order of the positions.
    const std::uint32_t position =
        PositionOf(writeCursor.fetch_add(entrySize, std::memory_order_seq_cst),
                   static_cast<std::uint32_t>(capacity));
    if (position % 4 == 0) return Claimed{position, usedBefore};  // as every writer leaves it
  }
  usedBytes.fetch_sub(signedSize, std::memory_order_seq_cst);
  return std::nullopt;
}

// Step 2: copies the payload to the bytes after the length word, and on at the area's start.
void Copy(unsigned char* area, std::uint32_t capacity, std::uint32_t position, const void* data,
          std::uint32_t padded) {
  const std::uint32_t afterLength = position + kLengthWordSize;
  const std::uint32_t payload = afterLength == capacity ? 0 : afterLength;
  const std::uint32_t first = std::min(padded, capacity - payload);
  std::memcpy(area + payload, data, first);
  if (first < padded) {
    std::memcpy(area, static_cast<const unsigned char*>(data) + first, padded - first);
  }
}

// Step 3: stores the length word, which makes the entry visible. Release: pairs with the consumer's
// acquire load, so that the consumer sees the whole payload once it sees the length.
void Publish(unsigned char* area, std::uint32_t position, std::uint32_t padded) {
  std::atomic_ref<std::uint32_t>(*reinterpret_cast<std::uint32_t*>(area + position))
      .store(padded, std::memory_order_release);
}

// `capacity` was read once: nothing that the header says later changes where this push writes.
bool Append(RingHeader* ring, std::int32_t capacity, const void* data, std::uint32_t length) {
  const std::uint32_t padded = (length + 3U) & ~3U;
  const std::optional<Claimed> claimed = Claim(ring, capacity, padded + kLengthWordSize);
  if (!claimed) {
    g_logger.Log(kLogModule, kLogErr, "WriteRingBuffer: synchronization problem!");
    return false;
  }
  unsigned char* const area = reinterpret_cast<unsigned char*>(ring + 1);
  Copy(area, static_cast<std::uint32_t>(capacity), claimed->position, data, padded);
  Publish(area, claimed->position, padded);
  // Logged last, so that the consumer doesn't wait for the log.
  if (claimed->usedBefore < 0) {
    g_logger.Log(kLogModule, kLogWarn, "WriteRingBuffer: used bytes were below zero (%d)!",
                 static_cast<int>(claimed->usedBefore));
  }
  return true;
}

// Relaxed: the word doesn't change after the mapping is made, and nothing is ordered by it.
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
