// What lies in a ring, seen from outside: its header, its entries, and what is wrong with it.
//
// Works on a copy of the ring's bytes, which may be anything: truncated, random, hostile. Nothing
// here throws on bad bytes, and nothing is read outside the copy. The ring itself is never written.
//
//      inspection::ring::Bytes bytes;
//      std::string error;
//      if (!inspection::ring::ReadLiveRing(channel::kRingName, &bytes, &error)) ...
//      const inspection::ring::Snapshot now = inspection::ring::Decode(bytes);
//      for (const inspection::ring::Finding& finding : inspection::ring::Diagnose(now, nullptr, 0))
//      ... fputs(inspection::ring::ReportText(now, findings).c_str(), stdout);
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

// Copies the live ring `name`: header, data area and the spare word behind it, as much as its
// capacity says; a ring with an impossible capacity gives its header alone. The mapping is opened
// for reading only and let go before this returns. Traffic goes on meanwhile: the copy is taken
// again, a few times at most, until the header stood still. False, with the reason in `*error`, if
// there is no such ring.
bool ReadLiveRing(const std::string& name, Bytes* bytes, std::string* error);

// Reads a saved ring, never more of the file than a ring can have. `path` is in UTF-8.
bool ReadSavedRing(const std::string& path, Bytes* bytes, std::string* error);
// Saves a copy, for ReadSavedRing.
bool SaveRing(const std::string& path, const Bytes& bytes, std::string* error);

enum class EntryState {
  kComplete,    // its length word stands
  kIncomplete,  // reserved, its length word is still zero
  kDamaged      // its length word can't be one
};

struct Entry {
  EntryState state = EntryState::kIncomplete;
  std::uint32_t position = 0;  // counted as the cursor
  std::uint32_t offset = 0;    // of the length word in the data area
  std::uint32_t length = 0;    // the length word
  // Bytes that it takes of the ring. For an incomplete entry that isn't stored yet: it is what an
  // entry of the add-in takes, or all that is left.
  std::uint32_t size = 0;
  bool isSplit = false;                  // its payload goes on at the area's start
  std::optional<ContentRequest> record;  // a complete entry of 148 bytes
  bool isRequest = false;                // the record is one that the add-in writes
  Bytes begin;                           // the payload's first bytes, up to 16, if it is complete
};

struct Snapshot {
  // Why there is nothing to look at; everything else but the header is then empty.
  std::string unreadable;
  bool hasHeader = false;
  RingHeader header{};
  std::size_t bytesMissing = 0;  // of the data area, in a truncated copy
  // Where the oldest entry begins, counted as the cursor, and how that was learnt: from the
  // consumer's word, or for a consumer that keeps it elsewhere from cursor and used bytes.
  std::uint32_t start = 0;
  bool isStartFromWord = false;
  std::uint32_t pending = 0;  // bytes from `start` to the cursor
  std::vector<Entry> entries;
  std::size_t dirtyFreeBytes = 0;  // bytes of the free room that aren't zero
};

Snapshot Decode(const Bytes& bytes);

enum class FindingKind {
  kUnreadable,
  kTruncated,
  kBadHeader,        // words that no writer and no consumer leaves
  kOddCapacity,      // one that the add-in refuses, or that doesn't survive the cursor's wrap
  kUsedTooHigh,      // above what lies between consumer and cursor
  kUsedTooLow,       // below it: room is given out twice
  kStalledConsumer,  // a complete entry waits
  kUnfinishedEntry,  // a writer between reservation and length word
  kDamagedEntry,     // a length word that can't be one
  kNotARequest,      // an entry that the add-in doesn't write
  kRoomNotCleared,   // old bytes in the free room
  kFull              // the next request is refused
};

struct Finding {
  FindingKind kind;
  // False for what is normal for a moment, and would be a fault only if it stayed: one look can't
  // tell.
  bool isFault;
  std::string text;  // one sentence, ASCII
};

// What is wrong with `now`. With an earlier look `before` at the same ring, `elapsedMs` before,
// what hasn't moved between the two is a fault; with none (null) it is only mentioned. A saved ring
// has one look.
std::vector<Finding> Diagnose(const Snapshot& now, const Snapshot* before, std::uint32_t elapsedMs);

// A stable word for a kind, as JSON has it: "stalled-consumer".
std::string FindingWord(FindingKind kind);

// The whole for a person, 80 columns, lines ended by LF. `source` says what was looked at; at most
// `mostEntries` entries are listed, then how many there are more.
std::string ReportText(const std::string& source, const Snapshot& now,
                       const std::vector<Finding>& findings, std::size_t mostEntries = 40);

// The whole as one JSON object, without a line end, all entries in it.
std::string ReportJson(const std::string& source, const Snapshot& now,
                       const std::vector<Finding>& findings);

}  // namespace inspection::ring
