// Appends entries to the ring that carries every request to the agent.
//
// Any number of threads and processes may append at once while one consumer takes entries out. No
// writer waits for another. A push is three steps: claim a position, copy the payload, publish the
// length word. The ring relies on these invariants:
//
//   1. Only the addition to writeCursor hands out positions, so no two writers ever get the same
//      bytes, and entries follow one another in the order of these additions.
//   2. usedBytes is raised before writeCursor, so it is never below what is reserved.
//   3. The length word is an entry's last store. A consumer that sees it sees the whole entry.
//
// The memory belongs to another process and isn't trusted. A push reads each shared word once,
// checks it, and writes nothing outside the data area whatever the header says.
#pragma once

#include <cstdint>

#include "channel/protocol.h"

namespace channel {

// A view size for rings whose memory is known to hold the capacity in the header.
inline constexpr std::uint32_t kTrustedView = 0xFFFFFFFF;

// Appends one entry with `length` bytes of `data`. The bytes up to the next multiple of 4 are
// copied too, so they must be readable. `viewSize` is the number of bytes mapped at `ring`.
//
// False, with one line in the log and the data area untouched:
//   - `data` is null or `length` is below 1 ("wrong parameters"): the ring is untouched;
//   - `ring` is null, or its capacity is below 1 or larger than the view ("wrong buffer"): the ring
//     is untouched;
//   - the ring is full, or its header contradicts itself ("synchronization problem"): usedBytes is
//     as before.
// True otherwise. A usedBytes below zero, which only a damaged ring has, counts as an empty ring
// and adds a line to the log.
// Never waits and never allocates. Any thread.
bool PushEntry(RingHeader* ring, std::uint32_t viewSize, const void* data, int length);

// PushEntry without the buffer check: `ring` must not be null, and its memory must hold the
// capacity in the header.
bool WriteRingBuffer(RingHeader* ring, const void* data, int length);

}  // namespace channel
