#include "tools/agentlook.h"

#include "inspection/conformance/requester.h"
#include "inspection/ring/ringview.h"
#include "platform/clock.h"

namespace tools {

namespace {

using inspection::conformance::Requester;

constexpr std::uint32_t kLookAgainMs = 500;
constexpr std::uint32_t kBlockMs = 1'500;
constexpr std::uint32_t kAnswerMs = 1'500;  // from the block on
constexpr std::uint32_t kStepMs = 5;

void FindFaults(const std::string& ring, inspection::doctor::Agent* agent) {
  inspection::ring::Bytes bytes;
  std::string error;
  if (!inspection::ring::ReadLiveRing(ring, &bytes, &error)) {
    agent->faults.push_back(error);
    return;
  }
  const inspection::ring::Snapshot before = inspection::ring::Decode(bytes);
  inspection::ring::Snapshot now = before;
  const bool isIdle = before.entries.empty() && before.header.usedBytes == 0;
  if (!isIdle) {
    platform::clock.Sleep(kLookAgainMs);
    if (!inspection::ring::ReadLiveRing(ring, &bytes, &error)) return;  // it ended meanwhile
    now = inspection::ring::Decode(bytes);
  }
  for (const auto& finding :
       inspection::ring::Diagnose(now, isIdle ? nullptr : &before, kLookAgainMs)) {
    if (finding.isFault) agent->faults.push_back(finding.text);
  }
}

void Ask(const std::string& ring, inspection::doctor::Agent* agent) {
  inspection::conformance::Writer writer;
  if (!writer.Open(ring)) {
    agent->request = "refused";
    return;
  }
  Requester request(0, channel::kItemClose, {});
  const std::uint32_t began = platform::clock.GetTickCount();
  request.Push(writer);
  while (request.Now() != Requester::State::kRefused && !request.Step(kBlockMs, kAnswerMs)) {
    platform::clock.Sleep(kStepMs);
  }
  agent->milliseconds = platform::clock.GetTickCount() - began;
  switch (request.Now()) {
    case Requester::State::kAnswered:
      agent->request = "answered";
      agent->answer = request.Answer();
      break;
    case Requester::State::kRefused:
      agent->request = "refused";
      break;
    case Requester::State::kNoBlock:
      agent->request = "not taken";
      break;
    default:
      agent->request = "not answered";
  }
}

}  // namespace

inspection::doctor::Agent LookAtAgent(const MachineSources& sources) {
  inspection::doctor::Agent agent;
  const system::MappingAccess access = sources.mapping(sources.ring);
  agent.isThere = access.isThere;
  agent.problem = access.problem;
  agent.access = access.list;
  if (!agent.isThere || !agent.problem.empty()) return agent;
  FindFaults(sources.ring, &agent);
  if (agent.faults.empty() && sources.asksTheAgent) Ask(sources.ring, &agent);
  return agent;
}

}  // namespace tools
