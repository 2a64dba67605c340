// What is in a ring, seen from outside: its header, its entries, and what is wrong with it.
//
// Works on a copy of the ring's bytes, which may be anything: truncated, random, hostile. Nothing
// here throws on bad bytes, and nothing reads outside the copy. The ring itself is never written.
//
//      inspection::ring::Bytes bytes;
//      std::string error;
//      if (!inspection::ring::ReadLiveRing(channel::kRingName, &bytes, &error)) ...
//      const inspection::ring::Snapshot now = inspection::ring::Decode(bytes);
//      for (const inspection::ring::Finding& finding : inspection::ring::Diagnose(now, nullptr, 0))
//        puts(finding.text.c_str());
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "channel/protocol.h"

namespace inspection::ring {

using Bytes = std::vector<unsigned char>;

// The largest data area that counts as one. The add-in's view holds a quarter of it.
inline constexpr std::int32_t kLargestCapacity = 1 << 20;

// Copies the live ring `name`: its header, its data area and the spare word after it. Copies the
// header alone if the capacity in it is impossible. Opens the mapping for reading only and closes
// it again. Traffic continues meanwhile, so this copies again, up to 8 times, until the header was
// the same before and after the copy. False, with the reason in `*error`, if there is no such ring.
bool ReadLiveRing(const std::string& name, Bytes* bytes, std::string* error);

// Reads a saved ring, at most as many bytes as a ring can have. `path` is in UTF-8. False if the
// file can't be read.
bool ReadSavedRing(const std::string& path, Bytes* bytes);
// Saves a copy for ReadSavedRing. False if the file can't be written.
bool SaveRing(const std::string& path, const Bytes& bytes);

enum class EntryState {
  kComplete,    // its length word is stored
  kIncomplete,  // reserved, its length word is still zero
  kDamaged      // its length word can't be one
};

struct Entry {
  EntryState state = EntryState::kIncomplete;
  std::uint32_t position = 0;  // counted like the cursor
  std::uint32_t offset = 0;    // of the length word in the data area
  std::uint32_t length = 0;    // the length word
  // The bytes that it takes in the ring. An incomplete entry doesn't say: assumed is the size of an
  // add-in's entry, or all that is left.
  std::uint32_t size = 0;
  bool isSplit = false;                  // its payload goes on at the area's start
  std::optional<ContentRequest> record;  // a complete entry of 148 bytes
  bool isRequest = false;                // the record is one that the add-in writes
  Bytes begin;                           // the payload's first bytes, up to 16, if it is complete
  // The status word of the request's block. Set by ReadBlocks if the block exists.
  std::optional<std::int32_t> blockStatus;
};

struct Snapshot {
  // Why this is no ring; then only the header is set. Empty for a ring.
  std::string unreadable;
  bool hasHeader = false;
  RingHeader header{};
  std::size_t bytesMissing = 0;  // of the data area, in a truncated copy
  // Where the oldest entry begins, counted like the cursor. It comes from the consumer's word; for
  // a consumer that keeps its position elsewhere, from cursor and used bytes.
  std::uint32_t start = 0;
  bool isStartFromWord = false;
  std::uint32_t pending = 0;  // bytes from `start` to the cursor
  std::vector<Entry> entries;
  std::size_t dirtyFreeBytes = 0;  // bytes of the free space that aren't zero
};

Snapshot Decode(const Bytes& bytes);

// Reads the status of each request's block, for a live ring. Opens the blocks for reading only.
void ReadBlocks(Snapshot* now);

enum class FindingKind {
  kUnreadable,
  kTruncated,
  kBadHeader,        // words that no writer and no consumer leaves
  kOddCapacity,      // one that the add-in refuses, or that doesn't survive the cursor's wrap
  kUsedTooHigh,      // more than the bytes between consumer and cursor
  kUsedTooLow,       // fewer: two writers can get the same space
  kStalledConsumer,  // a complete entry waits
  kUnfinishedEntry,  // a writer between reservation and length word
  kDamagedEntry,     // a length word that can't be one
  kNotARequest,      // an entry that the add-in doesn't write
  kRoomNotCleared,   // old bytes in the free space
  kFull              // the next request is refused
};

struct Finding {
  FindingKind kind;
  // False for what is normal in traffic and a fault only if it stays, which one look can't show.
  bool isFault;
  std::string text;  // one sentence, ASCII
};

// What is wrong with `now`. `before` is an earlier look at the same ring, `elapsedMs` ago: what
// hasn't moved since is a fault. Without one (null), as for a saved ring, it is only mentioned.
std::vector<Finding> Diagnose(const Snapshot& now, const Snapshot* before, std::uint32_t elapsedMs);

// The word for a kind in JSON, which never changes: "stalled-consumer".
std::string FindingWord(FindingKind kind);

}  // namespace inspection::ring
