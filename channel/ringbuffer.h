// The writers' half of the ring through which every request reaches the agent.
//
// Any number of threads and processes may append at once while one consumer takes entries out; no
// writer waits for any other. Invariants that everything rests on:
//
//   1. Positions are handed out by the addition to writeCursor alone, so no two writers ever get
//      the same bytes, and entries lie back to back in the order of these additions.
//   2. usedBytes is raised before writeCursor, so it is never below what is reserved.
//   3. The length word is an entry's last store. A consumer that sees it sees the whole entry.
//
// The memory belongs to another process and is not trusted: each shared word is read once and
// checked, and nothing outside the data area is written whatever the header says.
#pragma once

#include <cstdint>

#include "channel/protocol.h"

namespace channel {

// For a ring whose memory is known to hold the capacity that its header names.
inline constexpr std::uint32_t kTrustedView = 0xFFFFFFFF;

// Appends one entry with `length` bytes of `data`, which must have its length rounded up to a
// multiple of 4 readable. `viewSize` is the number of bytes that are mapped at `ring`.
//
// False, with one line in the log and the data area untouched:
//   - `data` is null or `length` is below 1 ("wrong parameters"): the ring is untouched;
//   - `ring` is null, its capacity is below 1 or more than the view holds ("wrong buffer"): the
//     ring is untouched;
//   - there is no room, or the header contradicts itself ("synchronization problem"): usedBytes is
//     as before.
// True otherwise. A usedBytes below zero, which no sane ring has, is room enough for an entry that
// the data area can hold; a line in the log tells of it.
// Never waits and never allocates.
bool PushEntry(RingHeader* ring, std::uint32_t viewSize, const void* data, int length);

// The same without the check of the buffer. `ring` must not be null, and its memory must hold the
// capacity that its header names.
bool WriteRingBuffer(RingHeader* ring, const void* data, int length);

}  // namespace channel
