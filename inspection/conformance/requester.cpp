#include "inspection/conformance/requester.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "platform/clock.h"
#include "platform/process.h"

namespace inspection::conformance {
namespace {

constexpr std::uint32_t kWord = sizeof(RingEntry);

template <typename Word>
std::atomic_ref<Word> Shared(Word& word) {
  return std::atomic_ref<Word>(word);
}

int NextSequence() {
  static int s_next = 0;
  const int sequence = s_next;
  s_next = s_next == channel::kLastSequence ? 0 : s_next + 1;
  return sequence;
}

}  // namespace

bool Writer::Open(const std::string& ring) {
  return m_view.Open(ring, channel::kRingViewSize);
}

std::int32_t Writer::Capacity() const {
  return Shared(Ring()->capacity).load();
}

std::int32_t Writer::Used() const {
  return Shared(Ring()->usedBytes).load();
}

std::uint32_t Writer::Cursor() const {
  return Shared(Ring()->writeCursor).load();
}

bool Writer::CountUsed(std::uint32_t entrySize) {
  const auto size = static_cast<std::int32_t>(entrySize);
  if (Shared(Ring()->usedBytes).fetch_add(size) + size > Capacity()) {
    Shared(Ring()->usedBytes).fetch_sub(size);
    return false;
  }
  return true;
}

std::optional<std::uint32_t> Writer::Reserve(std::uint32_t payloadLength) {
  if (!CountUsed(payloadLength + kWord)) return std::nullopt;
  return Shared(Ring()->writeCursor).fetch_add(payloadLength + kWord);
}

void Writer::Complete(std::uint32_t position, const std::vector<unsigned char>& payload) {
  const auto capacity = static_cast<std::uint32_t>(Capacity());
  const auto length = static_cast<std::uint32_t>(payload.size());
  unsigned char* const area = m_view.Data() + sizeof(RingHeader);
  const std::uint32_t start = (position + kWord) % capacity;
  const std::uint32_t first = std::min(length, capacity - start);
  std::memcpy(area + start, payload.data(), first);
  if (length > first) std::memcpy(area, payload.data() + first, length - first);
  // Release, and last of all: whoever sees the length sees the payload.
  Shared(*reinterpret_cast<std::uint32_t*>(area + position % capacity))
      .store(length, std::memory_order_release);
}

Requester::Requester(std::uint32_t lane, std::uint32_t itemType, std::string payload)
    : m_content(std::move(payload) + std::string(2, '\0')) {
  m_record.dwProcessId = platform::process.GetCurrentProcessId();
  m_record.dwThreadId = platform::process.GetCurrentThreadId() + lane;
  m_record.dwBlockLength = static_cast<std::uint32_t>(sizeof(RequestBlock) + m_content.size());
  m_record.dwRequestKind = channel::kRequestKindContent;
  m_record.dwItemType = itemType;
  std::snprintf(m_record.szBlockName, sizeof(m_record.szBlockName), channel::kBlockNameFormat,
                static_cast<unsigned>(m_record.dwProcessId),
                static_cast<unsigned>(m_record.dwThreadId), NextSequence());
}

std::vector<unsigned char> Requester::Record() const {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&m_record);
  return {bytes, bytes + sizeof(m_record)};
}

void Requester::Push(Writer& writer) {
  const std::optional<std::uint32_t> position = writer.Reserve(sizeof(m_record));
  if (!position) {
    m_state = State::kRefused;
    return;
  }
  writer.Complete(*position, Record());
  MarkPushed();
}

void Requester::MarkPushed() {
  m_state = State::kPushed;
  m_sinceTick = platform::clock.GetTickCount();
}

bool Requester::OpenBlock() {
  if (!m_block.Open(m_record.szBlockName, m_record.dwBlockLength)) return false;
  ExchangeStatus(channel::kStatusFilling);
  std::memcpy(m_block.Data() + channel::kPayloadOffset, m_content.data(), m_content.size());
  m_blockMs = platform::clock.GetTickCount() - m_sinceTick;
  m_sinceTick += m_blockMs;
  m_state = State::kAsked;
  return true;
}

std::int32_t Requester::ExchangeStatus(std::int32_t status) {
  return Shared(reinterpret_cast<RequestBlock*>(m_block.Data())->status).exchange(status);
}

bool Requester::Step(std::uint32_t blockWaitMs, std::uint32_t answerWaitMs) {
  const std::uint32_t waited = platform::clock.GetTickCount() - m_sinceTick;
  if (m_state == State::kPushed && !OpenBlock()) {
    if (waited > blockWaitMs) m_state = State::kNoBlock;
  } else if (m_state == State::kAsked) {
    m_answer = ExchangeStatus(channel::kStatusWaiting);
    m_answerMs = waited;
    if (m_answer > channel::kStatusWaiting) {
      m_state = State::kAnswered;
      CloseBlock();
    } else if (waited > answerWaitMs) {
      ExchangeStatus(channel::kStatusGivenUp);
      m_state = State::kNoAnswer;
      CloseBlock();
    }
  }
  return m_state != State::kPushed && m_state != State::kAsked;
}

}  // namespace inspection::conformance
