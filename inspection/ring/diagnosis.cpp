#include <algorithm>
#include <bit>

#include "inspection/ring/ringview.h"

namespace inspection::ring {
namespace {

std::string Number(std::int64_t number) {
  return std::to_string(number);
}

class Diagnosis {
 public:
  Diagnosis(const Snapshot& now, const Snapshot* before, std::uint32_t elapsedMs)
      : m_now(now), m_before(before), m_elapsed(elapsedMs) {}

  std::vector<Finding> Take() {
    if (!m_now.unreadable.empty()) {
      Add(FindingKind::kUnreadable, true, m_now.unreadable);
      return std::move(m_findings);
    }
    LookAtCopy();
    LookAtHeader();
    LookAtCounts();
    LookAtEntries();
    return std::move(m_findings);
  }

 private:
  void Add(FindingKind kind, bool isFault, std::string text) {
    m_findings.push_back({kind, isFault, std::move(text)});
  }

  std::string ForSoLong() const { return "for " + Number(m_elapsed) + " ms and more"; }

  void LookAtCopy() {
    if (m_now.bytesMissing == 0) return;
    Add(FindingKind::kTruncated, true,
        "truncated: " + Number(static_cast<std::int64_t>(m_now.bytesMissing)) + " of the " +
            Number(m_now.header.capacity) + " bytes of the data area are missing");
  }

  void LookAtHeader() {
    const RingHeader& header = m_now.header;
    const auto capacity = static_cast<std::uint32_t>(header.capacity);
    if (!std::has_single_bit(capacity)) {
      Add(FindingKind::kOddCapacity, true,
          "the capacity is no power of two: positions jump when the cursor passes 2^32");
    }
    if (header.capacity > 1 << channel::kRingSizeExponent) {
      Add(FindingKind::kOddCapacity, true,
          "the capacity is more than the add-in maps: it refuses the ring");
    }
    if (header.writeCursor % 4 != 0) {
      Add(FindingKind::kBadHeader, true,
          "the write cursor is no multiple of 4: entries can't be found");
    } else if (!m_now.isStartFromWord && header.consumerWord != 0) {
      Add(FindingKind::kBadHeader, false,
          "the consumer's word is no position in this ring: its own affair, unless it is this "
          "project's kit");
    }
    if (header.usedBytes < 0 || header.usedBytes % 4 != 0) {
      Add(FindingKind::kBadHeader, true,
          "used bytes can't be " + Number(header.usedBytes) + ": something else writes here");
    }
  }

  bool StoodStill() const {
    return m_before != nullptr && m_before->header.writeCursor == m_now.header.writeCursor &&
           m_before->start == m_now.start && m_before->header.usedBytes == m_now.header.usedBytes;
  }

  void LookAtCounts() {
    const std::int32_t used = m_now.header.usedBytes;
    const auto isFull = [](const Snapshot& look) {
      return std::int64_t{look.header.usedBytes} + channel::kRequestEntrySize >
             look.header.capacity;
    };
    if (isFull(m_now)) {
      Add(FindingKind::kFull, m_before != nullptr && isFull(*m_before),
          "no room for another request: the add-in lets mails go unchecked");
    }
    if (!m_now.isStartFromWord || used < 0) return;
    const std::int64_t excess = std::int64_t{used} - m_now.pending;
    if (excess > 0) {
      Add(FindingKind::kUsedTooHigh, StoodStill(),
          Number(excess) + " bytes are counted as used that no entry takes" +
              (StoodStill() ? ", " + ForSoLong() + ": a writer died between its two additions"
                            : ": a writer is between its two additions, or died there"));
    } else if (excess < 0) {
      Add(FindingKind::kUsedTooLow, true,
          Number(-excess) + " bytes fewer are counted as used than entries take: cursor and used " +
              "bytes disagree, and room is given out twice");
    }
  }

  const Entry* EarlierAt(std::uint32_t position) const {
    if (m_before == nullptr) return nullptr;
    const auto found =
        std::find_if(m_before->entries.begin(), m_before->entries.end(),
                     [position](const Entry& entry) { return entry.position == position; });
    return found == m_before->entries.end() ? nullptr : &*found;
  }

  void LookAtHead(const Entry& head) {
    const Entry* const earlier = EarlierAt(head.position);
    const bool isStalled = earlier != nullptr && m_before->start == m_now.start &&
                           earlier->state == EntryState::kComplete;
    Add(FindingKind::kStalledConsumer, isStalled,
        "the entry at offset " + Number(head.offset) +
            (isStalled ? " has been complete " + ForSoLong() + ": the consumer has stalled"
                       : " is complete and waits: if it stays, the consumer has stalled"));
  }

  void LookAtEntries() {
    std::size_t foreign = 0;
    for (const Entry& entry : m_now.entries) {
      if (entry.state == EntryState::kIncomplete) {
        const Entry* const earlier = EarlierAt(entry.position);
        const bool isDead = earlier != nullptr && earlier->state == EntryState::kIncomplete;
        Add(FindingKind::kUnfinishedEntry, isDead,
            "the entry at offset " + Number(entry.offset) +
                (isDead ? " has been unfinished " + ForSoLong() +
                              ": its writer died between reservation and length word"
                        : " is unfinished: its writer is at work, or died before its length word"));
      } else if (entry.state == EntryState::kDamaged) {
        Add(FindingKind::kDamagedEntry, true,
            "the length word at offset " + Number(entry.offset) + " can't be " +
                Number(entry.length) + ": nothing behind it can be read");
      } else if (!entry.isRequest) {
        ++foreign;
      }
    }
    if (!m_now.entries.empty() && m_now.entries.front().state == EntryState::kComplete) {
      LookAtHead(m_now.entries.front());
    }
    if (foreign > 0) {
      Add(FindingKind::kNotARequest, false,
          "complete entries that are no requests of the add-in: " +
              Number(static_cast<std::int64_t>(foreign)));
    }
    if (m_now.dirtyFreeBytes > 0) {
      Add(FindingKind::kRoomNotCleared, true,
          Number(static_cast<std::int64_t>(m_now.dirtyFreeBytes)) +
              " bytes of the free room aren't zero: the consumer doesn't clear what it frees, "
              "and " +
              "will take old bytes for length words");
    }
  }

  const Snapshot& m_now;
  const Snapshot* m_before;
  std::uint32_t m_elapsed;
  std::vector<Finding> m_findings;
};

}  // namespace

std::vector<Finding> Diagnose(const Snapshot& now, const Snapshot* before,
                              std::uint32_t elapsedMs) {
  return Diagnosis(now, before, elapsedMs).Take();
}

std::string FindingWord(FindingKind kind) {
  switch (kind) {
    case FindingKind::kUnreadable:
      return "unreadable";
    case FindingKind::kTruncated:
      return "truncated";
    case FindingKind::kBadHeader:
      return "bad-header";
    case FindingKind::kOddCapacity:
      return "odd-capacity";
    case FindingKind::kUsedTooHigh:
      return "used-too-high";
    case FindingKind::kUsedTooLow:
      return "used-too-low";
    case FindingKind::kStalledConsumer:
      return "stalled-consumer";
    case FindingKind::kUnfinishedEntry:
      return "unfinished-entry";
    case FindingKind::kDamagedEntry:
      return "damaged-entry";
    case FindingKind::kNotARequest:
      return "not-a-request";
    case FindingKind::kRoomNotCleared:
      return "room-not-cleared";
    case FindingKind::kFull:
      return "full";
  }
  return "unknown";
}

}  // namespace inspection::ring
