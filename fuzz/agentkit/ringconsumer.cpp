// The ring's consumer with writers that die, are late, or store arbitrary words. The input gives
// the initial header and then steps: pushes, reservations, late completions, words stored anywhere,
// passing time, takes. Nothing outside the data area changes and the ring always becomes empty. As
// long as no writer stores arbitrary words, every entry completed in time arrives once and whole.
#include <algorithm>
#include <cstring>
#include <deque>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/ringbuffer.h"
#include "fuzz/fuzzing.h"
#include "fuzz/memorymappings.h"
#include "platform/clock.h"

namespace {

using fuzzing::Require;
using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kHeader = sizeof(RingHeader);
constexpr std::uint32_t kViewSize = (1U << 18) + 20;
constexpr std::uint32_t kDeadWriterMs = 1000;

class Ring {
 public:
  Ring() : m_memory(kViewSize) { m_mappings.Lend(channel::kRingName, m_memory.data(), kViewSize); }

  // False if a consumer can't take over a ring with this header.
  bool Begin(fuzzing::Input& input) {
    m_capacity = 256U << input.Byte() % 5;
    m_isHonest = input.Byte() % 2 == 0;
    RingHeader header{};
    header.writeCursor = input.Word();
    header.consumerWord = m_isHonest ? header.writeCursor : input.Word();
    header.usedBytes = m_isHonest ? 0 : static_cast<std::int32_t>(input.Word());
    header.capacity = static_cast<std::int32_t>(m_capacity);
    // Nothing after the largest data area is ever written; End checks that.
    std::memset(m_memory.data(), 0, kHeader + (256U << 4) + 20);
    std::memcpy(m_memory.data(), &header, kHeader);
    m_reserved.clear();
    m_completed.clear();
    const agentkit::OpenResult opened = m_consumer.TakeOver({.deadWriterMs = kDeadWriterMs});
    const bool isUsable = header.writeCursor % 4 == 0 && header.consumerWord % 4 == 0 &&
                          header.writeCursor - header.consumerWord <= m_capacity;
    Require((opened == agentkit::OpenResult::kOpened) == isUsable, "what can be taken over");
    return isUsable;
  }

  void Step(fuzzing::Input& input) {
    const std::uint8_t step = input.Byte();
    switch (step % 8) {
      case 0:
        Push(step);
        break;
      case 1:
        Reserve();
        break;
      case 2:
        Complete(step);
        break;
      case 3:
        m_now += input.Half() % (2 * kDeadWriterMs);
        break;
      case 4:
        if (!m_isHonest) StoreInHeader(step, input);
        break;
      case 5:
        if (!m_isHonest) Store(kHeader + 4 * (input.Half() % (m_capacity / 4)), input.Word());
        break;
      default:
        Take();
        break;
    }
  }

  // Without further writes, the ring becomes empty and as good as new.
  void End() {
    agentkit::TakeResult result = agentkit::TakeResult::kPending;
    for (std::uint32_t i = 0; i < m_capacity && result != agentkit::TakeResult::kEmpty; ++i) {
      m_now += kDeadWriterMs;
      result = Take();
    }
    Require(result == agentkit::TakeResult::kEmpty, "without writers, the ring becomes empty");
    for (int i = 0; i < 2; ++i) {
      m_now += kDeadWriterMs;
      Take();
    }
    Require(Header().usedBytes == 0, "bytes reserved by dead writers are reclaimed");
    Require(Header().writeCursor == m_consumer.Position(), "the consumer is at the write cursor");
    if (m_isHonest) {
      Require(m_completed.empty(), "every completed entry arrived");
      const auto area = m_memory.begin() + kHeader;
      Require(std::count(area, area + m_capacity, 0) == m_capacity, "free space is cleared");
    }
    m_consumer.Close();
    static const Bytes clear(kViewSize);
    const std::size_t after = kHeader + m_capacity;
    Require(std::memcmp(m_memory.data() + after, clear.data(), kViewSize - after) == 0,
            "nothing outside the data area changes");
    Require(m_mappings.OpenHandles() == 0 && m_mappings.OpenViews() == 0, "nothing stays open");
  }

 private:
  struct Reserved {
    std::uint32_t position;
    bool isLate;  // the consumer has skipped it
  };

  RingHeader* Shared() { return reinterpret_cast<RingHeader*>(m_memory.data()); }
  RingHeader Header() const {
    RingHeader header{};
    std::memcpy(&header, m_memory.data(), kHeader);
    return header;
  }
  void Store(std::uint32_t offset, std::uint32_t word) {
    std::memcpy(m_memory.data() + offset, &word, sizeof(word));
  }

  // Stores an arbitrary word in the header, or one that is off by some entries.
  void StoreInHeader(std::uint8_t step, fuzzing::Input& input) {
    const std::uint32_t offset = 4 * (step / 8 % 4U);
    std::uint32_t word = 0;
    std::memcpy(&word, m_memory.data() + offset, sizeof(word));
    const auto entries = static_cast<std::uint32_t>(static_cast<std::int8_t>(input.Byte()) / 8);
    Store(offset, step < 128 ? input.Word() : word + entries * channel::kRequestEntrySize);
  }

  Bytes NextPayload() {
    Bytes payload(sizeof(ContentRequest));
    ++m_serial;
    for (std::size_t i = 0; i < payload.size(); ++i) {
      payload[i] = static_cast<unsigned char>((m_serial * 7 + i * 13) % 255 + 1);
    }
    return payload;
  }
  // Honest writers push entries of the add-in's size, others of any size.
  void Push(std::uint8_t step) {
    Bytes payload = NextPayload();
    if (!m_isHonest) payload.resize(step / 8 == 0 ? payload.size() : step / 8 * 4U);
    if (channel::PushEntry(Shared(), kHeader + m_capacity, payload.data(),
                           static_cast<int>(payload.size()))) {
      m_completed.push_back(payload);
    }
  }
  // A writer between its reservation and its length word.
  void Reserve() {
    RingHeader header = Header();
    constexpr auto kEntry = static_cast<std::int32_t>(channel::kRequestEntrySize);
    if (header.usedBytes < 0 || header.usedBytes + std::int64_t{kEntry} > header.capacity) return;
    m_reserved.push_back({header.writeCursor, false});
    header.usedBytes += kEntry;
    header.writeCursor += channel::kRequestEntrySize;
    std::memcpy(m_memory.data(), &header, kHeader);
  }
  void Complete(std::uint8_t step) {
    if (m_reserved.empty()) return;
    const auto chosen =
        m_reserved.begin() + static_cast<std::ptrdiff_t>(step / 8U % m_reserved.size());
    // A writer that resumes after its entry was skipped may overwrite another's entry.
    if (m_isHonest && chosen->isLate) return;
    const Bytes payload = NextPayload();
    for (std::uint32_t i = 0; i < payload.size(); ++i) {
      m_memory[kHeader + (chosen->position + 4 + i) % m_capacity] = payload[i];
    }
    Store(kHeader + chosen->position % m_capacity / 4 * 4, sizeof(ContentRequest));
    m_completed.push_back(payload);
    m_reserved.erase(chosen);
  }
  agentkit::TakeResult Take() {
    const agentkit::TakeResult result = m_consumer.Take(&m_payload);
    const bool isTaken = result == agentkit::TakeResult::kTaken;
    Require(isTaken != m_payload.empty(), "there is a payload if and only if an entry was taken");
    Require(m_payload.size() % 4 == 0 && m_payload.size() + 4 <= m_capacity, "an entry's size");
    if (!m_isHonest) return result;
    Require(result != agentkit::TakeResult::kBroken, "honest writers don't damage the ring");
    if (isTaken) {
      const auto found = std::find(m_completed.begin(), m_completed.end(), m_payload);
      Require(found != m_completed.end(), "each entry arrives once, unchanged");
      m_completed.erase(found);
    }
    if (result == agentkit::TakeResult::kSkipped) {
      const auto oldest = std::find_if(m_reserved.begin(), m_reserved.end(),
                                       [](const Reserved& entry) { return !entry.isLate; });
      Require(oldest != m_reserved.end(), "only an unfinished entry is skipped");
      oldest->isLate = true;
    }
    return result;
  }

  Bytes m_memory;
  std::uint32_t m_capacity = 0;
  bool m_isHonest = true;
  std::uint32_t m_now = 0xFFFFF000;
  std::size_t m_serial = 0;
  std::deque<Reserved> m_reserved;
  std::deque<Bytes> m_completed;
  Bytes m_payload;
  fuzzing::MemoryMappings m_mappings;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks{
      [this](auto) { return m_now; }};
  agentkit::RingConsumer m_consumer;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Ring ring;
  fuzzing::Input input(data, size);
  if (!ring.Begin(input)) return 0;
  while (!input.IsEmpty()) ring.Step(input);
  ring.End();
  return 0;
}
