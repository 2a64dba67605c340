#include "inspection/conformance/requester.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "platform/process.h"

namespace inspection::conformance {
namespace {

constexpr std::uint32_t kWord = sizeof(RingEntry);

template <typename Word>
std::atomic_ref<Word> Shared(Word& word) {
  return std::atomic_ref<Word>(word);
}

int NextSequence() {
  static std::atomic<unsigned> s_next{0};
  return static_cast<int>(s_next++ % (channel::kLastSequence + 1));
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

std::uint32_t Writer::Consumed() const {
  return Shared(Ring()->consumerWord).load();
}

bool Writer::IsClear(std::uint32_t position, std::uint32_t size) const {
  const auto capacity = static_cast<std::uint32_t>(Capacity());
  for (std::uint32_t i = 0; i < size; i += kWord) {
    if (Shared(*reinterpret_cast<std::uint32_t*>(Area() + (position + i) % capacity)).load() != 0) {
      return false;
    }
  }
  return true;
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
  const std::uint32_t start = (position + kWord) % capacity;
  const std::uint32_t first = std::min(length, capacity - start);
  std::memcpy(Area() + start, payload.data(), first);
  if (length > first) std::memcpy(Area(), payload.data() + first, length - first);
  StoreLength(position, length);
}

// Release, and last of all: a consumer that sees the length sees the payload.
void Writer::StoreLength(std::uint32_t position, std::uint32_t length) {
  const std::uint32_t offset = position % static_cast<std::uint32_t>(Capacity());
  Shared(*reinterpret_cast<std::uint32_t*>(Area() + offset))
      .store(length, std::memory_order_release);
}

Requester::Requester(std::uint32_t threadId, std::uint32_t itemType, std::string payload,
                     const std::string& name)
    : m_content(std::move(payload) + '\0' + name + '\0') {
  m_record.dwProcessId = platform::process.GetCurrentProcessId();
  m_record.dwThreadId = threadId;
  m_record.dwBlockLength = static_cast<std::uint32_t>(sizeof(RequestBlock) + m_content.size());
  m_record.dwRequestKind = channel::kRequestKindContent;
  m_record.dwItemType = itemType;
  std::snprintf(m_record.szBlockName, sizeof(m_record.szBlockName), channel::kBlockNameFormat,
                static_cast<unsigned>(m_record.dwProcessId),
                static_cast<unsigned>(m_record.dwThreadId), NextSequence());
}

std::vector<unsigned char> Requester::RecordBytes() const {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&m_record);
  return {bytes, bytes + sizeof(m_record)};
}

void Requester::Push(Writer& writer) {
  const std::optional<std::uint32_t> position = writer.Reserve(sizeof(m_record));
  if (!position) {
    m_state = State::kRefused;
    return;
  }
  writer.Complete(*position, RecordBytes());
  MarkPushed();
}

void Requester::MarkPushed() {
  m_state = State::kPushed;
  Begin();
}

void Requester::Begin() {
  m_since = Clock::now();
  m_sinceTick = platform::clock.GetTickCount();
}

bool Requester::OpenEmptyBlock() {
  if (!m_block.Open(m_record.szBlockName, m_record.dwBlockLength)) return false;
  ExchangeStatus(channel::kStatusFilling);
  return true;
}

void Requester::Fill() {
  std::memcpy(m_block.Data() + channel::kPayloadOffset, m_content.data(), m_content.size());
  m_blockMs = MsSince();
  Begin();
  m_state = State::kAsked;
}

void Requester::Spoil(unsigned char byte) {
  std::memset(m_block.Data() + channel::kPayloadOffset, byte, m_content.size());
}

bool Requester::OpenBlock() {
  if (!OpenEmptyBlock()) return false;
  Fill();
  return true;
}

std::int32_t Requester::ExchangeStatus(std::int32_t status) {
  return Shared(reinterpret_cast<RequestBlock*>(m_block.Data())->status).exchange(status);
}

bool Requester::Step(std::uint32_t blockWaitMs, std::uint32_t answerWaitMs) {
  if (m_state == State::kPushed && !OpenBlock()) {
    if (IsOver(blockWaitMs)) m_state = State::kNoBlock;
  } else if (m_state == State::kAsked) {
    m_answer = ExchangeStatus(channel::kStatusWaiting);
    m_answerMs = MsSince();
    if (m_answer > channel::kStatusWaiting) {
      m_state = State::kAnswered;
      CloseBlock();
    } else if (IsOver(answerWaitMs)) {
      ExchangeStatus(channel::kStatusGivenUp);
      m_state = State::kNoAnswer;
      CloseBlock();
    }
  }
  return m_state != State::kPushed && m_state != State::kAsked;
}

std::string EndOf(const Requester& request) {
  char text[64];
  switch (request.Now()) {
    case Requester::State::kAnswered:
      std::snprintf(text, sizeof(text), "answered %d after %.1f ms",
                    static_cast<int>(request.Answer()), request.BlockMs() + request.AnswerMs());
      return text;
    case Requester::State::kRefused:
      return "no room in the ring";
    case Requester::State::kNoBlock:
      return "no block in the add-in's time";
    case Requester::State::kNoAnswer:
      return "no answer in the add-in's time";
    default:
      return "not ended";
  }
}

}  // namespace inspection::conformance
