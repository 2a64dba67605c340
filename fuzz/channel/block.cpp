// A request's block with a lying agent. The input gives the item, when the block can be opened, and
// what the agent stores into the status word and the rest of the block while the add-in waits. The
// result, the number of waits, the log line and the final contents of the block must follow the
// protocol. Nothing stays open, and nothing outside the block is touched.
#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "channel/agentchannel.h"
#include "fuzz/fuzzing.h"
#include "fuzz/memorymappings.h"
#include "platform/clock.h"
#include "platform/process.h"

namespace {

using fuzzing::Require;

constexpr std::uint32_t kRingView = (1U << 18) + 20;
// What a view can hold after its header: four bytes more than a correctly made ring uses.
constexpr auto kMostCapacity = static_cast<std::int32_t>(kRingView - sizeof(RingHeader));
constexpr int kBlockAttempts = 399;

// The agent: creates the block when the input says so, and stores what the input gives.
class Liar {
 public:
  Liar() : m_ring(kRingView) {}

  void Begin(fuzzing::Input* input) {
    m_input = input;
    m_sleeps = 0;
    m_waits = 0;
    m_block.clear();
    m_mappings.Forget();
    const std::uint8_t how = input->Byte();
    m_sleepsUntilBlock = how % 4 == 3 ? 2 * input->Byte() : how % 4 + 1;
    m_isRingThere = how / 4 % 8 != 7;
    RingHeader header{0, input->Half() * 4U, 0, 1 << 18};
    if (how / 32 == 7)
      header = {static_cast<std::int32_t>(input->Word()), input->Word(), 0,
                static_cast<std::int32_t>(input->Word())};
    std::memcpy(m_ring.data(), &header, sizeof(header));
    m_isRingSane = header.capacity >= 152 && header.usedBytes <= header.capacity - 152 &&
                   header.capacity <= kMostCapacity && header.capacity % 4 == 0 &&
                   header.writeCursor % static_cast<std::uint32_t>(header.capacity) % 4 == 0;
    m_isBelowZero = header.usedBytes < 0;
    m_cursor = header.writeCursor;
    m_capacity = static_cast<std::uint32_t>(header.capacity);
    if (m_isRingThere) m_mappings.Lend(channel::kRingName, m_ring.data(), kRingView);
  }

  bool IsPushed() const { return m_isRingThere && m_isRingSane; }
  bool IsBelowZero() const { return m_isBelowZero; }
  bool IsBlockThere() const { return !m_block.empty(); }
  int Sleeps() const { return m_sleeps; }
  int Waits() const { return m_waits; }
  const std::vector<unsigned char>& Block() const { return m_block; }
  const std::vector<std::int32_t>& Statuses() const { return m_statuses; }
  const fuzzing::MemoryMappings& Mappings() const { return m_mappings; }

  // The record in the ring.
  ContentRequest Record() const {
    ContentRequest record{};
    std::vector<unsigned char> bytes(sizeof(record));
    for (std::uint32_t i = 0; i < sizeof(record); ++i) {
      bytes[i] = m_ring[16 + (m_cursor % m_capacity + 4 + i) % m_capacity];
    }
    std::memcpy(&record, bytes.data(), sizeof(record));
    return record;
  }

 private:
  // The agent acts whenever the add-in waits.
  void OnSleep(std::uint32_t milliseconds) {
    Require(milliseconds == 20, "the add-in waits in steps of 20 ms");
    if (IsBlockThere()) {
      ++m_waits;
      TamperWithBlock();
      return;
    }
    ++m_sleeps;
    if (m_sleeps < m_sleepsUntilBlock) return;
    const ContentRequest record = Record();
    m_block.assign(record.dwBlockLength, 0xEE);
    m_statuses.clear();
    m_mappings.Lend(record.szBlockName, m_block.data(), record.dwBlockLength);
  }
  // A byte selects what is stored: usually the status word, otherwise a byte after it.
  void TamperWithBlock() {
    std::int32_t status = 1;
    std::memcpy(&status, m_block.data(), sizeof(status));
    const std::uint8_t what = m_input->Byte();
    if (what >= 0xF0) {
      status = static_cast<std::int32_t>(m_input->Word());
    } else if (what != 0) {
      status = what % 16 - 2;
    }
    std::memcpy(m_block.data(), &status, sizeof(status));
    m_statuses.push_back(status);
  }

  std::vector<unsigned char> m_ring;
  std::vector<unsigned char> m_block;
  std::vector<std::int32_t> m_statuses;  // what each poll after the first finds
  fuzzing::Input* m_input = nullptr;
  int m_sleeps = 0;
  int m_waits = 0;
  int m_sleepsUntilBlock = 1;
  bool m_isRingThere = true;
  bool m_isRingSane = true;
  bool m_isBelowZero = false;
  std::uint32_t m_cursor = 0;
  std::uint32_t m_capacity = 0;
  fuzzing::MemoryMappings m_mappings;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> m_sleep{
      [this](auto, auto milliseconds) { OnSleep(milliseconds); }};
};

// The expected result, from the status words that the polls find. The first poll finds 0.
struct Outcome {
  std::int32_t last = 0;
  int counter = 0;
};

Outcome Polled(const std::vector<std::int32_t>& statuses, int counter) {
  Outcome outcome{0, counter};
  for (std::size_t i = 0; --outcome.counter >= 1; ++i) {
    Require(i < statuses.size(), "the add-in polls for as long as it has to");
    outcome.last = statuses[i];
    if (outcome.last > 1) return outcome;
  }
  return outcome;
}

void CheckBlock(const Liar& liar, const std::string& payload, const std::string& name,
                std::int32_t status) {
  const std::string content = payload + '\0' + name + '\0';
  const auto& block = liar.Block();
  Require(block.size() == content.size() + 4, "the block has the size that the record says");
  Require(std::equal(content.begin(), content.end(), block.begin() + 4,
                     [](char want, unsigned char have) {
                       return static_cast<unsigned char>(want) == have;
                     }),
          "payload, NUL, name, NUL");
  std::int32_t left = 0;
  std::memcpy(&left, block.data(), sizeof(left));
  Require(left == status, "the final status word");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::LogLines log;
  static Liar liar;
  fuzzing::Input input(data, size);
  const std::uint8_t flags = input.Byte();
  const std::uint32_t itemType = input.Byte();
  const std::string payload(input.Bytes(input.Byte()));
  std::string name(input.Bytes(input.Byte() % 64));
  name.resize(std::strlen(name.c_str()));
  liar.Begin(&input);
  AgentChannel channel;
  channel.m_bChallengeResponse = flags % 16 == 15;
  g_requestSequence = flags / 16 == 15 ? 99999 : flags;
  const std::int32_t sequence = g_requestSequence;
  log.Clear();

  const fuzzing::ExactBytes exact(payload);
  const int result =
      channel.CheckContent(exact.View().data(), static_cast<std::uint32_t>(payload.size()),
                           itemType, name.empty() && flags % 2 == 0 ? nullptr : name.c_str());
  Require(liar.Mappings().OpenHandles() == 0 && liar.Mappings().OpenViews() == 0,
          "nothing stays open");
  if (!liar.IsPushed()) {
    Require(result == 1 && liar.Sleeps() == 0, "without a ring that takes it: 1, at once");
    Require(log.Errors() >= 1, "a line in the log says why");
    return 0;
  }
  const ContentRequest record = liar.Record();
  Require(record.dwBlockLength == payload.size() + name.size() + 6, "the size of the block");
  Require(record.dwItemType == itemType && record.dwRequestKind == 4, "what is asked");
  char expectedName[64];
  std::snprintf(expectedName, sizeof(expectedName), "Global\\%08x%08x%05d",
                static_cast<unsigned>(platform::process.GetCurrentProcessId()),
                static_cast<unsigned>(platform::process.GetCurrentThreadId()), sequence);
  Require(std::string(record.szBlockName) == expectedName, "the name of the block");
  Require(g_requestSequence == (sequence == 99999 ? 0 : sequence + 1), "the next number");
  if (!liar.IsBlockThere()) {
    Require(result == 1 && liar.Sleeps() == kBlockAttempts, "the wait for the block ends");
    const int others = liar.IsBelowZero() ? 1 : 0;
    Require(log.Warnings() == kBlockAttempts + others, "a line for each attempt");
    return 0;
  }
  const int polls = channel.m_bChallengeResponse ? 9250 : 125;
  const Outcome outcome = Polled(liar.Statuses(), polls);
  const bool isActedOn = outcome.last == 3 || outcome.last == 4 || outcome.last == 7;
  Require(result == (isActedOn ? outcome.last : 1), "the answer, or 1");
  Require(liar.Waits() == polls - (outcome.last > 1 ? outcome.counter : 1), "a wait between polls");
  Require(log.Last() == "CheckContent: lActionCode=" + std::to_string(outcome.last) +
                            " iTimeOut=" + std::to_string(outcome.counter),
          "the line in the log");
  CheckBlock(liar, payload, name, outcome.last > 1 ? 1 : 5);
  return 0;
}
