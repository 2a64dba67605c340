#include "tools/startedagent.h"

#include "agentkit/agentkit.h"
#include "platform/clock.h"
#include "tools/command.h"
#include "tools/system/childprocess.h"
#include "tools/text.h"

namespace tools {
namespace {

constexpr std::uint32_t kStartMs = 20'000;
constexpr std::uint32_t kStepMs = 20;
constexpr std::uint32_t kPauseMs = 500;
constexpr std::uint32_t kAgentEndMs = 5'000;

bool HasRing(const std::string& ring) {
  return agentkit::SharedView().Open(ring, sizeof(RingHeader));
}

}  // namespace

std::vector<std::string> CommandWords(const std::string& command) {
  std::vector<std::string> words;
  bool isQuoted = false;
  bool isInWord = false;
  for (const char c : command) {
    if (c == ' ' && !isQuoted) {
      isInWord = false;
      continue;
    }
    if (!isInWord) words.emplace_back();
    isInWord = true;
    if (c == '"') {
      isQuoted = !isQuoted;
    } else {
      words.back() += c;
    }
  }
  return words;
}

StartedAgent::StartedAgent(const std::string& command, const std::string& ring)
    : m_words(CommandWords(command)) {
  if (m_words.empty()) throw CommandError("--start: there is no program");
  if (HasRing(ring)) {
    throw CommandError("an agent is running already; end it, or leave out --start");
  }
  m_keeper = std::thread([this] { Keep(); });
  for (std::uint32_t waited = 0; !HasRing(ring); waited += kStepMs) {
    if (waited < kStartMs && !m_hasError) {
      platform::clock.Sleep(kStepMs);
      continue;
    }
    m_end = true;
    m_keeper.join();
    throw CommandError(m_hasError ? m_error
                                  : Printable(m_words.front()) + " made no ring within 20 s");
  }
}

StartedAgent::~StartedAgent() {
  m_end = true;
  m_keeper.join();
}

void StartedAgent::Kill() {
  m_kill = true;
  while (m_kill && !m_hasError) platform::clock.Sleep(kStepMs);
}

// A child lives no longer than the thread that started it.
void StartedAgent::Keep() {
  while (!m_end) {
    tools::system::ChildProcess agent;
    if (!agent.Start(m_words.front(), {m_words.begin() + 1, m_words.end()}, &m_error)) {
      m_hasError = true;
      return;
    }
    int status = 0;
    for (std::string line; !m_end;) {
      const auto read = agent.ReadLine(&line, kStepMs);
      if (m_kill) {
        agent.Kill();
        agent.WaitForEnd(kAgentEndMs, &status);
        m_kill = false;
        break;
      }
      const bool isSilent = read == tools::system::ChildProcess::ReadResult::kEnd;
      if (isSilent && agent.WaitForEnd(kStepMs, &status)) break;
    }
    if (m_end) agent.End(kAgentEndMs);
    for (std::uint32_t waited = 0; waited < kPauseMs && !m_end; waited += kStepMs) {
      platform::clock.Sleep(kStepMs);
    }
  }
}

}  // namespace tools
