#include "simulation/agent/simulatedagent.h"

#include <cstdlib>
#include <utility>

#include "platform/clock.h"

namespace simulation::agent {
namespace {

constexpr std::uint32_t kBusyPause = 1;
constexpr std::uint32_t kIdlePause = 5;
constexpr std::uint32_t kBusyFor = 2000;

constexpr int kCrashStatus = 70;

std::string_view OutcomeOf(agentkit::Ending ending) {
  switch (ending) {
    case agentkit::Ending::kAnswerTaken:
      return kOutcomeTaken;
    case agentkit::Ending::kGivenUp:
      return kOutcomeGivenUp;
    case agentkit::Ending::kRefused:
      return kOutcomeRefused;
    case agentkit::Ending::kNotTaken:
      return "not fetched";
    case agentkit::Ending::kUnanswered:
      return "unanswered";
    case agentkit::Ending::kNeverFilled:
      return "never filled";
    case agentkit::Ending::kNoBlock:
      return "no block";
    case agentkit::Ending::kDropped:
      break;
  }
  return "dropped";
}

}  // namespace

SimulatedAgent::SimulatedAgent(RuleSet rules, Options options, Watchers watchers)
    : m_judge(std::move(rules)),
      m_options(std::move(options)),
      m_watchers(std::move(watchers)),
      m_agent(MakeHandlers(), m_options.kit) {}

agentkit::OpenResult SimulatedAgent::Start() {
  const agentkit::OpenResult result = m_agent.Start();
  if (result == agentkit::OpenResult::kOpened && !m_options.journalPath.empty()) {
    m_journal = std::make_unique<JournalWriter>(m_options.journalPath);
    if (!m_journal->IsOpen()) m_journal.reset();
  }
  m_lastMoveTick = platform::clock.GetTickCount();
  return result;
}

bool SimulatedAgent::Step() {
  const bool polled = m_agent.Poll();
  return GiveLateAnswers() || polled;
}

void SimulatedAgent::Run(const std::function<bool()>& stop) {
  while (!stop()) {
    if (Step()) {
      m_lastMoveTick = platform::clock.GetTickCount();
    } else {
      platform::clock.Sleep(Pause());
    }
  }
}

std::uint32_t SimulatedAgent::Pause() const {
  if (m_options.poll) return *m_options.poll;
  const bool busy =
      m_agent.OpenRequests() != 0 || platform::clock.GetTickCount() - m_lastMoveTick < kBusyFor;
  return busy ? kBusyPause : kIdlePause;
}

agentkit::Handlers SimulatedAgent::MakeHandlers() {
  return {
      .onRecord = [this](const agentkit::Request& request) { return OnRecord(request); },
      .onRequest = [this](const agentkit::Request& request) { return OnRequest(request); },
      .onEnd = [this](const agentkit::Request& request,
                      agentkit::Ending ending) { OnEnd(request, ending); },
      .onOddEntry = [this](agentkit::TakeResult what,
                           const std::vector<unsigned char>&) { OnOddEntry(what); },
  };
}

bool SimulatedAgent::OnRecord(const agentkit::Request& request) {
  Underway& underway = Begin(request);
  std::string because;
  if (!m_judge.RefusesBlock({request.processId, request.threadId}, request.itemType, &because)) {
    return true;
  }
  underway.line.because = because;
  return false;
}

std::optional<std::int32_t> SimulatedAgent::OnRequest(const agentkit::Request& request) {
  Underway& underway = m_underway.at(request.id);
  const Ruling ruling = m_judge.Decide(
      {{request.processId, request.threadId}, request.itemType, request.payload, request.name});
  JournalRequest& line = underway.line;
  line.stage = NameOf(ruling.stage);
  line.payload = request.payload;
  line.name = request.name;
  line.answer = ruling.answer;
  line.because = ruling.because;
  if (ruling.file) {
    line.contentSha256 = ruling.file->sha256;
    line.contentBytes = ruling.file->bytes;
  }
  WriteRequest(&underway, ruling.remarks);
  if (ruling.crash) {
    if (!m_watchers.onCrash) std::_Exit(kCrashStatus);
    m_watchers.onCrash();
    return std::nullopt;
  }
  if (ruling.late != 0 && ruling.answer) {
    m_late.push_back({request.id, *ruling.answer, platform::clock.GetTickCount(), ruling.late});
    return std::nullopt;
  }
  return ruling.answer;
}

void SimulatedAgent::OnEnd(const agentkit::Request& request, agentkit::Ending ending) {
  const auto found = m_underway.find(request.id);
  if (found == m_underway.end()) return;
  Underway underway = std::move(found->second);
  m_underway.erase(found);
  if (!underway.isWritten) WriteRequest(&underway, {});
  underway.line.outcome = OutcomeOf(ending);
  underway.line.waitedMs = platform::clock.GetTickCount() - underway.sinceTick;
  if (m_journal) {
    m_journal->WriteOutcome(request.id, underway.line.outcome, underway.line.waitedMs);
  }
  if (m_watchers.onOutcome) m_watchers.onOutcome(underway.line);
}

void SimulatedAgent::OnOddEntry(agentkit::TakeResult what) {
  if (!m_watchers.onOddity) return;
  switch (what) {
    case agentkit::TakeResult::kSkipped:
      m_watchers.onOddity("an entry that its writer left unfinished was skipped");
      break;
    case agentkit::TakeResult::kBroken:
      m_watchers.onOddity("the ring contradicted itself and was emptied");
      break;
    default:
      m_watchers.onOddity("an entry that isn't a request was dropped");
      break;
  }
}

SimulatedAgent::Underway& SimulatedAgent::Begin(const agentkit::Request& request) {
  Underway& underway = m_underway[request.id];
  underway.sinceTick = platform::clock.GetTickCount();
  JournalRequest& line = underway.line;
  line.id = request.id;
  line.time = JournalTime();
  line.processId = request.processId;
  line.threadId = request.threadId;
  line.block = request.record.szBlockName;  // a sound record's name has its NUL
  line.itemType = request.itemType;
  line.stage = NameOf(StageOf(request.itemType, {}, {}));
  return underway;
}

void SimulatedAgent::WriteRequest(Underway* underway, const std::vector<std::string>& remarks) {
  underway->isWritten = true;
  if (m_journal) m_journal->WriteRequest(underway->line);
  if (m_watchers.onRequest) m_watchers.onRequest(underway->line, remarks);
}

bool SimulatedAgent::GiveLateAnswers() {
  const std::uint32_t now = platform::clock.GetTickCount();
  const std::size_t given = std::erase_if(m_late, [&](const LateAnswer& late) {
    if (now - late.sinceTick < late.late) return false;
    // Ignore the result: the add-in may have given up already.
    m_agent.Answer(late.id, late.answer);
    return true;
  });
  return given != 0;
}

}  // namespace simulation::agent
