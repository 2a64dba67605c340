// Everything the add-in and the agent must agree on: names, item types, answers, waits, records.
//
// Both ends take these values from here, and docs/protocol.md explains them to people who write an
// agent without this header. A test compares the tables of that document with this file.
//
// Both ends run on the same machine. All words are little-endian, and 32-bit and 64-bit processes
// use the same layout, so nothing is ever converted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// The agent's answer to one item, and the result of checking an item or a whole mail.
using ActionCode = std::int32_t;

namespace channel {

// ---- Names

// The mapping that holds the ring.
inline constexpr char kRingName[] = "Global\\VRKEXPIPE";

// The mapping that holds one request's block: process id, thread id, sequence number.
inline constexpr char kBlockNameFormat[] = "Global\\%08x%08x%05d";
// The sequence number runs from 0 to this value and then starts again at 0.
inline constexpr std::int32_t kLastSequence = 99999;

// Temporary files, in the user's temporary directory. An item that is a file with one of the first
// two names is the mail's subject or body; the item has the same name as the file.
inline constexpr char kSubjectFile[] = "ExchangeSubjectContent";
inline constexpr char kBodyFile[] = "ExchangeBodyContent";
// Copies of attachments: this prefix and a number. The item's name is the attachment's own.
inline constexpr char kAttachmentFilePrefix[] = "OutlookAttachment.";
// Finds every copy, and is deliberately wider than the prefix: the dot is left out.
inline constexpr char kAttachmentFilePattern[] = "OutlookAttachment*";

// ---- Item types (ContentRequest::dwItemType)

// The payload is the path of a file that the agent reads: subject, body, signature image or
// attachment.
inline constexpr std::uint32_t kItemFile = 1;
// The addresses, each followed by a NUL, in UTF-8.
inline constexpr std::uint32_t kItemRecipients = 3;
// The sender's display name, in UTF-8, without a NUL.
inline constexpr std::uint32_t kItemSender = 7;
// Empty. Recipients and sender are complete.
inline constexpr std::uint32_t kItemEnvelope = 8;
// Empty. The mail is complete.
inline constexpr std::uint32_t kItemClose = 9;

struct ItemType {
  std::uint32_t number;
  std::string_view word;  // what every tool and document calls it
};

inline constexpr ItemType kItemTypes[] = {
    {kItemFile, "file"},         {kItemRecipients, "recipients"}, {kItemSender, "sender"},
    {kItemEnvelope, "envelope"}, {kItemClose, "close"},
};

// The word for an item type; empty for one that the add-in never sends.
constexpr std::string_view ItemWord(std::uint32_t itemType) {
  for (const ItemType& known : kItemTypes) {
    if (known.number == itemType) return known.word;
  }
  return {};
}

// ContentRequest::dwRequestKind. There is no other kind.
inline constexpr std::uint32_t kRequestKindContent = 4;

// ---- Answers

// A check's result when nothing usable was learnt: no agent, no answer in time, or an answer that
// isn't accepted. Neither blocks nor tags.
inline constexpr ActionCode kActionNothingUsable = 1;
// A mail's result before any of its content was checked. Neither blocks nor tags.
inline constexpr ActionCode kActionNothingDecided = 2;
// The mail isn't sent; its window stays open.
inline constexpr ActionCode kActionBlock = 3;
// No objection: the check goes on to the next item. For the recipients it is the only answer that
// makes the add-in ask about the content.
inline constexpr ActionCode kActionGoOn = 4;
// The mail is sent with a tag.
inline constexpr ActionCode kActionTag = 7;

struct Action {
  ActionCode code;
  std::string_view word;  // what every tool and document calls it
};

// The answers that the add-in accepts. Every other value above kStatusWaiting ends its wait too,
// and then counts as kActionNothingUsable.
inline constexpr Action kAcceptedActions[] = {
    {kActionBlock, "block"}, {kActionGoOn, "go on"}, {kActionTag, "tag"}};

// The word for an accepted answer; empty for every other value.
constexpr std::string_view ActionWord(ActionCode action) {
  for (const Action& accepted : kAcceptedActions) {
    if (accepted.code == action) return accepted.word;
  }
  return {};
}

constexpr bool IsAccepted(ActionCode answer) {
  return !ActionWord(answer).empty();
}

// Whether an accepted answer decides the whole mail. To a file it ends the content checks; to
// kItemClose it replaces what the content checks decided.
constexpr bool IsDecisive(ActionCode answer) {
  return answer == kActionBlock || answer == kActionTag;
}

// ---- The status word of a block

inline constexpr std::int32_t kStatusFilling = 0;  // stored by the add-in: incomplete, don't read
inline constexpr std::int32_t kStatusWaiting = 1;  // stored by the add-in with each poll: complete
inline constexpr std::int32_t kStatusGivenUp = 5;  // stored by the add-in: it has stopped waiting

// Whether the add-in, finding this in the status word, takes it as the answer and stops waiting.
// It overwrites everything else with kStatusWaiting at its next poll.
constexpr bool EndsWait(std::int32_t status) {
  return status > kStatusWaiting;
}

// ---- Waits

// The add-in's sleep between two polls, in milliseconds.
inline constexpr std::uint32_t kPollMs = 20;
// How often it tries to open the block. It sleeps before each attempt, the first included.
inline constexpr int kBlockAttempts = 399;
// How often it polls for the answer. It doesn't sleep before the first poll.
inline constexpr int kAnswerPolls = 125;
// The same with the setting use_challenge_response.
inline constexpr int kChallengePolls = 9250;

// What `sleeps` sleeps take at least and at most, in milliseconds. With Windows' default timer a
// sleep ends at one of the ticks, which are 15.625 ms apart: one of 20 ms takes up to 31.25 ms. On
// a busy machine sleeps take longer still.
constexpr std::uint32_t ShortestWaitMs(int sleeps) {
  return static_cast<std::uint32_t>(sleeps) * kPollMs;
}
constexpr std::uint32_t LongestWaitMs(int sleeps) {
  return static_cast<std::uint32_t>(sleeps) * 125 / 4;
}

// ---- Sizes

// The ring's data area is 2 to this power.
inline constexpr int kRingSizeExponent = 18;
inline constexpr std::uint32_t kRingCapacity = 1U << kRingSizeExponent;
// What the mapping holds beyond the data area: the header, and 4 spare bytes after the area.
inline constexpr int kRingOverhead = 20;
// What the add-in maps, whatever capacity the header claims.
inline constexpr std::uint32_t kRingViewSize = kRingCapacity + std::uint32_t{kRingOverhead};

}  // namespace channel

// ---- Records
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
// The block, a named mapping that the agent makes for one request. L is the length of the payload,
// N that of the name:
//
//      0        4           4+L   5+L        5+L+N
//      +--------+-----------+-----+----------+-----+
//      | status | payload L | NUL | name N   | NUL |      6 + L + N bytes, no padding
//      +--------+-----------+-----+----------+-----+

// The head of the ring's mapping. The data area follows it.
//
//   offset  size  field
//   0       4     usedBytes    bytes of the data area that are reserved or occupied, signed; an
//                              upper bound for the consumer. Writers add, the consumer
//                              subtracts, both atomically.
//   4       4     writeCursor  count of all bytes ever appended, wraps past 2^32. Only writers
//                              change it, by atomic addition.
//   8       4     consumerWord the consumer's; writers neither read nor write it
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

// The head of one entry of the ring. The payload follows it, at the start of the data area if the
// length word is in the area's last 4 bytes.
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
//   16      4     dwItemType     what the item is, one of kItemTypes
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
//   5+L     N     name     what the item is called; absent if it has no name
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

// What one request takes of the ring: the length word and the record.
inline constexpr std::uint32_t kRequestEntrySize = sizeof(RingEntry) + sizeof(ContentRequest);
static_assert(kRequestEntrySize == 152);

}  // namespace channel
