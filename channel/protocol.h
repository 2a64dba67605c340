// The records that the add-in and the agent share, byte by byte.
//
// All words are little-endian and all records are laid out the same in 32-bit and 64-bit
// processes. Both sides run on the same machine, so no byte order is converted.
//
// The ring, a named mapping made by the agent:
//
//      0       4       8       12      16                            16+capacity     +4
//      +-------+-------+-------+-------+-------- - - - --------------+---------------+
//      | used  | write | consu-| capa- | data area: entries, back to | spare, never  |
//      | Bytes | Cursor| mer's | city  | back, wrapping at its end   | touched       |
//      +-------+-------+-------+-------+-------- - - - --------------+---------------+
//
// One entry in the data area, at a position p that is a multiple of 4:
//
//      p              (p+4) mod capacity
//      +--------------+----------------------------- - - --+
//      | paddedLength | payload, paddedLength bytes         |   only the payload can be split by
//      +--------------+----------------------------- - - --+   the wrap, never the length word
//
// The per-request block, a named mapping that the agent makes for one request. L is the length of
// the payload, N that of the name:
//
//      0        4           4+L   5+L        5+L+N
//      +--------+-----------+-----+----------+-----+
//      | status | payload L | NUL | name N   | NUL |      6 + L + N bytes, no padding
//      +--------+-----------+-----+----------+-----+
#pragma once

#include <cstddef>
#include <cstdint>

namespace channel {

// The name of the ring's mapping.
inline constexpr char kRingName[] = "Global\\VRKEXPIPE";
// The data area of the ring is 2 to this power.
inline constexpr int kRingSizeExponent = 18;
// What the mapping holds beyond the data area: the header and 4 spare bytes behind the area.
inline constexpr int kRingOverhead = 20;

// The per-request mapping's name: process id, thread id, sequence number.
inline constexpr char kBlockNameFormat[] = "Global\\%08x%08x%05d";
// The sequence number runs from 0 to this one and starts again at 0.
inline constexpr std::int32_t kLastSequence = 99999;

// ContentRequest::dwRequestKind: the only kind that there is.
inline constexpr std::uint32_t kRequestKindContent = 4;

// Words of RequestBlock::status. Every other value above 1 is an answer, an ActionCode; below 0
// is never used.
inline constexpr std::int32_t kStatusFilling = 0;  // add-in: the block isn't ready
inline constexpr std::int32_t kStatusWaiting = 1;  // add-in: complete, waiting for the answer
inline constexpr std::int32_t kStatusGivenUp = 5;  // add-in: no answer will be read

}  // namespace channel

// The head of the ring's mapping. The data area follows it.
//
//   offset  size  field
//   0       4     usedBytes    bytes of the data area that are reserved or occupied, signed; an
//                              upper bound for the consumer. Writers add, the consumer
//                              subtracts, both atomically.
//   4       4     writeCursor  count of all bytes ever appended, wraps past 2^32. Only writers
//                              change it, by atomic addition.
//   8       4     consumerWord the consumer's own; writers neither read nor write it
//   12      4     capacity     size of the data area, signed. Set once by the mapping's creator.
//   16      -     data area
struct RingHeader {
  std::int32_t usedBytes;
  std::uint32_t writeCursor;
  std::uint32_t consumerWord;
  std::int32_t capacity;
};

static_assert(sizeof(RingHeader) == 16);
static_assert(alignof(RingHeader) == 4);
static_assert(offsetof(RingHeader, usedBytes) == 0);
static_assert(offsetof(RingHeader, writeCursor) == 4);
static_assert(offsetof(RingHeader, consumerWord) == 8);
static_assert(offsetof(RingHeader, capacity) == 12);

// The head of one entry of the ring. The payload follows it, from the start of the data area on
// if the length word lies in the area's last 4 bytes.
//
//   offset  size  field
//   0       4     paddedLength  the payload's length rounded up to a multiple of 4; zero until the
//                               entry is complete
//   4       -     payload
struct RingEntry {
  std::uint32_t paddedLength;
};

static_assert(sizeof(RingEntry) == 4);
static_assert(offsetof(RingEntry, paddedLength) == 0);

// The payload of every entry that the add-in writes: one request.
//
//   offset  size  field
//   0       4     dwProcessId    of the asking process
//   4       4     dwThreadId     of the asking thread
//   8       4     dwBlockLength  size of the request's block in bytes: 6 + L + N
//   12      4     dwRequestKind  kRequestKindContent
//   16      4     dwItemType     what the payload of the block is
//   20      128   szBlockName    name of the block's mapping, NUL-terminated, the tail zero
struct ContentRequest {
  std::uint32_t dwProcessId;
  std::uint32_t dwThreadId;
  std::uint32_t dwBlockLength;
  std::uint32_t dwRequestKind;
  std::uint32_t dwItemType;
  char szBlockName[128];
};

static_assert(sizeof(ContentRequest) == 148);
static_assert(alignof(ContentRequest) == 4);
static_assert(offsetof(ContentRequest, dwProcessId) == 0);
static_assert(offsetof(ContentRequest, dwThreadId) == 4);
static_assert(offsetof(ContentRequest, dwBlockLength) == 8);
static_assert(offsetof(ContentRequest, dwRequestKind) == 12);
static_assert(offsetof(ContentRequest, dwItemType) == 16);
static_assert(offsetof(ContentRequest, szBlockName) == 20);

// The head of a request's block. What follows has no alignment.
//
//   offset  size  field
//   0       4     status   signed; changed by atomic exchange once the block is complete
//   4       L     payload  the item, byte for byte; it may hold NUL bytes
//   4+L     1     NUL
//   5+L     N     name     what the item stands for; absent if it has no name
//   5+L+N   1     NUL
struct RequestBlock {
  std::int32_t status;
};

static_assert(sizeof(RequestBlock) == 4);
static_assert(offsetof(RequestBlock, status) == 0);

namespace channel {

// What a block holds beyond payload and name: the status word and two NUL bytes.
inline constexpr std::uint32_t kBlockOverhead = 6;

// Where the payload of a block begins.
inline constexpr std::size_t kPayloadOffset = sizeof(RequestBlock);

// Where the name begins in a block with a payload of that length.
constexpr std::size_t NameOffset(std::size_t payloadLength) {
  return kPayloadOffset + payloadLength + 1;
}

// The room that the add-in's own entry takes in the ring: the length word and one request.
inline constexpr std::uint32_t kRequestEntrySize = sizeof(RingEntry) + sizeof(ContentRequest);
static_assert(kRequestEntrySize == 152);

}  // namespace channel
