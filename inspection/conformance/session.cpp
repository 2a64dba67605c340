#include "inspection/conformance/session.h"

namespace inspection::conformance {
namespace {

// Above every real thread id, and with letters among its digits, so that their case matters.
constexpr std::uint32_t kFirstThread = 0xAB00'0000;
constexpr std::uint32_t kMailsASession = 256;

std::uint32_t NextFirstThread() {
  static std::atomic<std::uint32_t> s_sessions{0};
  return kFirstThread + kMailsASession * s_sessions++;
}

}  // namespace

Session::Session(const Options& options, const std::atomic<bool>& stop)
    : m_options(options), m_stop(stop), m_firstThread(NextFirstThread()) {}

Requester Session::New(std::uint32_t mail, std::uint32_t type, std::string payload,
                       const std::string& name) const {
  return {m_firstThread + mail, type, std::move(payload), name};
}

Requester Session::Ask(std::uint32_t mail, std::uint32_t type, std::string payload,
                       const std::string& name) {
  std::deque<Requester> one;
  one.push_back(New(mail, type, std::move(payload), name));
  one.front().Push(m_writer);
  Finish(one);
  return std::move(one.front());
}

void Session::Finish(std::deque<Requester>& requests) {
  bool isDone = false;
  while (!isDone && !m_stop) {
    isDone = true;
    for (Requester& request : requests) {
      isDone = request.Step(m_options.blockWaitMs, m_options.answerWaitMs) && isDone;
    }
    if (!isDone) platform::clock.Sleep(1);
  }
}

bool Session::PushFiller(std::uint32_t entrySize) {
  constexpr std::uint32_t kLengthWord = sizeof(RingEntry);
  const std::optional<std::uint32_t> position = m_writer.Reserve(entrySize - kLengthWord);
  if (!position) return false;
  m_filler.assign(entrySize - kLengthWord, 0xA5);
  m_writer.Complete(*position, m_filler);
  return true;
}

bool Session::PlaceAt(std::uint32_t offset) {
  const auto capacity = static_cast<std::uint32_t>(m_writer.Capacity());
  while (m_writer.OffsetOfCursor() != offset && !m_stop) {
    const std::uint32_t way = (offset - m_writer.OffsetOfCursor()) % capacity;
    // An entry takes 8 bytes at least, so never leave a way of 4.
    const std::uint32_t size = way == 4 || way > capacity / 2 ? capacity / 2 - 4 : way;
    if (!PushFiller(size) || !Drained()) return false;
  }
  return !m_stop;
}

std::string Addresses(std::uint32_t count) {
  std::string payload;
  for (std::uint32_t i = 0; i < count; ++i) payload += "conform@a.example" + std::string(1, '\0');
  return payload;
}

bool Exists(const std::string& block) {
  return agentkit::SharedView().Open(block, sizeof(RequestBlock));
}

}  // namespace inspection::conformance
