#include <cstring>
#include <utility>

#include "agentkit/agentkit.h"
#include "platform/clock.h"

namespace agentkit {
namespace {

// Limits the entries taken in one Poll, so that open blocks get their turn however fast requests
// arrive.
constexpr int kEntriesPerPoll = 64;

}  // namespace

Agent::Agent(Handlers handlers, Options options)
    : m_handlers(std::move(handlers)), m_options(std::move(options)) {}

Agent::~Agent() = default;

OpenResult Agent::Start() {
  Stop();
  const OpenResult result = m_ring.Create(m_options.ring);
  if (result == OpenResult::kOtherOwner && m_options.takeOver) {
    return m_ring.TakeOver(m_options.ring);
  }
  return result;
}

void Agent::Stop() {
  m_ring.Close();
  while (!m_open.empty()) {
    End(m_open.begin()->first, Ending::kDropped);
  }
}

bool Agent::Poll() {
  bool hasChanged = false;
  for (int i = 0; i < kEntriesPerPoll; ++i) {
    const TakeResult result = m_ring.Take(&m_entry);
    if (result == TakeResult::kEmpty || result == TakeResult::kPending) {
      break;
    }
    hasChanged = true;
    if (result == TakeResult::kTaken) {
      TakeRecord(m_entry);
    } else if (m_handlers.onOddEntry) {
      m_handlers.onOddEntry(result, m_entry);
    }
  }
  // Handlers may drop any request meanwhile, so the loop continues by id.
  for (auto next = m_open.begin(); next != m_open.end();) {
    const RequestId id = next->first;
    const std::shared_ptr<Open> open = next->second;
    hasChanged = Step(open) || hasChanged;
    next = m_open.upper_bound(id);
  }
  return hasChanged;
}

void Agent::TakeRecord(const std::vector<unsigned char>& bytes) {
  const auto open = std::make_shared<Open>();
  Request& request = open->request;
  if (bytes.size() == sizeof(request.record)) {
    std::memcpy(&request.record, bytes.data(), sizeof(request.record));
  }
  if (!IsSound(request.record)) {
    if (m_handlers.onOddEntry) {
      m_handlers.onOddEntry(TakeResult::kTaken, bytes);
    }
    return;
  }
  request.id = ++m_lastId;
  request.itemType = request.record.dwItemType;
  request.processId = request.record.dwProcessId;
  request.threadId = request.record.dwThreadId;
  const bool isAccepted = !m_handlers.onRecord || m_handlers.onRecord(request);
  if (!isAccepted || !open->block.Create(request.record)) {
    if (m_handlers.onEnd) {
      m_handlers.onEnd(request, isAccepted ? Ending::kNoBlock : Ending::kRefused);
    }
    return;
  }
  open->sinceTick = platform::clock.GetTickCount();
  m_open.emplace(request.id, open);
}

// Looks at one request's block once. True if its state has changed.
bool Agent::Step(const std::shared_ptr<Open>& open) {
  const RequestId id = open->request.id;
  const Block::State state = open->block.Look();
  if (state == open->state) {
    if (const std::optional<Ending> ending = Overdue(*open)) {
      End(id, *ending);
      return true;
    }
    return false;
  }
  open->state = state;
  open->sinceTick = platform::clock.GetTickCount();
  switch (state) {
    case Block::State::kWaiting:
      AskHandler(open);
      break;
    case Block::State::kTaken:
      End(id, Ending::kAnswerTaken);
      break;
    case Block::State::kGivenUp:
      End(id, Ending::kGivenUp);
      break;
    case Block::State::kFilling:
    case Block::State::kAnswered:
      break;
  }
  return true;
}

void Agent::AskHandler(const std::shared_ptr<Open>& open) {
  Request& request = open->request;
  request.isWellFormed = open->block.Read(&request.payload, &request.name);
  const std::optional<ActionCode> answer =
      m_handlers.onRequest ? m_handlers.onRequest(request) : channel::kActionGoOn;
  if (answer) {
    Answer(request.id, *answer);  // finds nothing if the handler has dropped the request
  }
}

bool Agent::Answer(RequestId id, ActionCode answer) {
  const auto found = m_open.find(id);
  if (found == m_open.end()) {
    return false;
  }
  Open& open = *found->second;
  if (open.state != Block::State::kWaiting || !open.block.Answer(answer)) {
    return false;
  }
  open.request.answer = answer;
  if (channel::EndsWait(answer)) {
    open.state = Block::State::kAnswered;
    open.sinceTick = platform::clock.GetTickCount();
  }
  return true;
}

bool Agent::Drop(RequestId id) {
  if (m_open.find(id) == m_open.end()) {
    return false;
  }
  End(id, Ending::kDropped);
  return true;
}

std::optional<Ending> Agent::Overdue(const Open& open) const {
  const std::uint32_t age = platform::clock.GetTickCount() - open.sinceTick;
  switch (open.state) {
    case Block::State::kFilling:
      return age >= m_options.fillWaitMs ? std::optional(Ending::kNeverFilled) : std::nullopt;
    case Block::State::kWaiting:
      return age >= m_options.answerWaitMs ? std::optional(Ending::kUnanswered) : std::nullopt;
    default:
      return age >= m_options.takenWaitMs ? std::optional(Ending::kNotTaken) : std::nullopt;
  }
}

void Agent::End(RequestId id, Ending ending) {
  const auto found = m_open.find(id);
  const std::shared_ptr<Open> open = found->second;
  m_open.erase(found);
  open->block.Close();
  if (m_handlers.onEnd) {
    m_handlers.onEnd(open->request, ending);
  }
}

void Agent::Run(const std::atomic<bool>& stop) {
  while (!stop.load(std::memory_order_relaxed)) {
    if (!Poll()) {
      platform::clock.Sleep(m_options.idleMs);
    }
  }
}

}  // namespace agentkit
