#include "agentkit/cinterface.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "agentkit/agentkit.h"

struct AgentKitAgent {
  AgentKitOnRequest onRequest = nullptr;
  AgentKitOnEnd onEnd = nullptr;
  void* context = nullptr;
  agentkit::Agent::Options options;
  std::unique_ptr<agentkit::Agent> agent;  // null until the first start
  std::atomic<bool> stop{false};
  char error[200] = "";  // no text that would need memory to report that memory is short
};

namespace {

static_assert(AGENTKIT_BLOCK == channel::kActionBlock);
static_assert(AGENTKIT_GO_ON == channel::kActionGoOn);
static_assert(AGENTKIT_TAG == channel::kActionTag);
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

int32_t ResultOf(agentkit::OpenResult result) {
  switch (result) {
    case agentkit::OpenResult::kOpened:
      return AGENTKIT_OPENED;
    case agentkit::OpenResult::kOtherOwner:
      return AGENTKIT_OTHER_OWNER;
    case agentkit::OpenResult::kUnusable:
      return AGENTKIT_UNUSABLE;
    case agentkit::OpenResult::kFailed:
      break;
  }
  return AGENTKIT_REFUSED;
}

int32_t EndingOf(agentkit::Ending ending) {
  switch (ending) {
    case agentkit::Ending::kAnswerTaken:
      return AGENTKIT_END_ANSWER_TAKEN;
    case agentkit::Ending::kGivenUp:
      return AGENTKIT_END_GIVEN_UP;
    case agentkit::Ending::kNotTaken:
      return AGENTKIT_END_NOT_TAKEN;
    case agentkit::Ending::kUnanswered:
      return AGENTKIT_END_UNANSWERED;
    case agentkit::Ending::kNeverFilled:
      return AGENTKIT_END_NEVER_FILLED;
    case agentkit::Ending::kRefused:
      return AGENTKIT_END_REFUSED;
    case agentkit::Ending::kNoBlock:
      return AGENTKIT_END_NO_BLOCK;
    case agentkit::Ending::kDropped:
      break;
  }
  return AGENTKIT_END_DROPPED;
}

AgentKitRequest RequestOf(const agentkit::Request& request) {
  return {.id = request.id,
          .itemType = request.itemType,
          .processId = request.processId,
          .threadId = request.threadId,
          .answer = request.answer,
          .payload = request.payload.c_str(),
          .payloadLength = request.payload.size(),
          .name = request.name.c_str(),
          .nameLength = request.name.size(),
          .isWellFormed = request.isWellFormed ? 1 : 0};
}

int32_t Fail(AgentKitAgent* agent, const char* why) {
  std::snprintf(agent->error, sizeof(agent->error), "%s", why);
  return AGENTKIT_ERROR;
}

// Calls `function`, which returns the result. No exception leaves it.
template <typename Function>
int32_t Guarded(AgentKitAgent* agent, Function function) {
  if (agent == nullptr) return AGENTKIT_ERROR;
  try {
    return function();
  } catch (const std::exception& error) {
    return Fail(agent, error.what());
  } catch (...) {
    return Fail(agent, "a handler threw something that is no std::exception");
  }
}

// The same for what needs a started agent.
template <typename Function>
int32_t GuardedWhenStarted(AgentKitAgent* agent, Function function) {
  return Guarded(agent, [agent, &function] {
    if (agent->agent == nullptr || !agent->agent->IsStarted()) {
      return Fail(agent, "the agent isn't started");
    }
    return static_cast<int32_t>(function());
  });
}

agentkit::Handlers HandlersOf(AgentKitAgent* agent) {
  agentkit::Handlers handlers;
  if (agent->onRequest != nullptr) {
    handlers.onRequest = [agent](const agentkit::Request& request) -> std::optional<ActionCode> {
      const AgentKitRequest seen = RequestOf(request);
      const int32_t answer = agent->onRequest(agent->context, &seen);
      return answer == AGENTKIT_LATER ? std::nullopt : std::optional<ActionCode>(answer);
    };
  }
  if (agent->onEnd != nullptr) {
    handlers.onEnd = [agent](const agentkit::Request& request, agentkit::Ending ending) {
      const AgentKitRequest seen = RequestOf(request);
      agent->onEnd(agent->context, &seen, EndingOf(ending));
    };
  }
  return handlers;
}

}  // namespace

AgentKitAgent* AgentKitCreate(AgentKitOnRequest onRequest, AgentKitOnEnd onEnd, void* context) {
  try {
    auto agent = std::make_unique<AgentKitAgent>();
    agent->onRequest = onRequest;
    agent->onEnd = onEnd;
    agent->context = context;
    return agent.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void AgentKitFree(AgentKitAgent* agent) {
  delete agent;
}

int32_t AgentKitUseRing(AgentKitAgent* agent, const char* name) {
  return Guarded(agent, [agent, name] {
    if (name == nullptr || *name == '\0') return Fail(agent, "the ring needs a name");
    agent->options.ring.name = name;
    return 0;
  });
}

int32_t AgentKitStart(AgentKitAgent* agent, int32_t takeOver) {
  return Guarded(agent, [agent, takeOver] {
    if (agent->agent != nullptr) agent->agent->Stop();
    agent->options.takeOver = takeOver != 0;
    agent->agent = std::make_unique<agentkit::Agent>(HandlersOf(agent), agent->options);
    return ResultOf(agent->agent->Start());
  });
}

int32_t AgentKitStop(AgentKitAgent* agent) {
  return Guarded(agent, [agent] {
    if (agent->agent != nullptr) agent->agent->Stop();
    return 0;
  });
}

int32_t AgentKitPoll(AgentKitAgent* agent) {
  return GuardedWhenStarted(agent, [agent] { return agent->agent->Poll() ? 1 : 0; });
}

int32_t AgentKitRun(AgentKitAgent* agent) {
  return GuardedWhenStarted(agent, [agent] {
    agent->agent->Run(agent->stop);
    agent->stop = false;
    return 0;
  });
}

void AgentKitRequestStop(AgentKitAgent* agent) {
  if (agent != nullptr) agent->stop = true;
}

int32_t AgentKitAnswer(AgentKitAgent* agent, uint64_t id, int32_t answer) {
  return GuardedWhenStarted(
      agent, [agent, id, answer] { return agent->agent->Answer(id, answer) ? 1 : 0; });
}

int32_t AgentKitDrop(AgentKitAgent* agent, uint64_t id) {
  return GuardedWhenStarted(agent, [agent, id] { return agent->agent->Drop(id) ? 1 : 0; });
}

size_t AgentKitOpenRequests(const AgentKitAgent* agent) {
  return agent == nullptr || agent->agent == nullptr ? 0 : agent->agent->OpenRequests();
}

const char* AgentKitErrorText(const AgentKitAgent* agent) {
  return agent == nullptr ? "there is no agent" : agent->error;
}
