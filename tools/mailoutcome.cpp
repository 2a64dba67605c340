#include "tools/mailoutcome.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "channel/agentchannel.h"

namespace tools {

namespace {

using Json = nlohmann::ordered_json;

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

Json RequestJson(const simulation::agent::JournalRequest& request) {
  Json object = {{"type", request.itemType},
                 {"payload", OrNull(request.payload)},
                 {"name", request.name},
                 {"answer", OrNull(request.answer)}};
  if (request.itemType == channel::kItemFile) {
    object["content_sha256"] = OrNull(request.contentSha256);
    object["content_bytes"] = OrNull(request.contentBytes);
  }
  return object;
}

// What the add-in made of an answer: 3, 4 and 7 count, and only if they came in time.
ActionCode Taken(const simulation::agent::JournalRequest& request) {
  const bool taken = request.outcome == simulation::agent::kOutcomeTaken;
  const ActionCode answer = request.answer.value_or(channel::kActionNothingUsable);
  return taken && channel::IsAccepted(answer) ? answer : channel::kActionNothingUsable;
}

}  // namespace

const char* OutcomeWord(const MailOutcome& outcome) {
  if (outcome.cancel != 0) return "blocked";
  return outcome.tag ? "tagged" : "sent";
}

ActionCode ActionOf(const std::vector<simulation::agent::JournalRequest>& requests) {
  ActionCode action = channel::kActionNothingDecided;
  bool contentOpen = false;
  for (const simulation::agent::JournalRequest& request : requests) {
    if (request.itemType == channel::kItemRecipients)
      contentOpen = Taken(request) == channel::kActionGoOn;
    if (request.itemType == channel::kItemFile && contentOpen) action = Taken(request);
    if (request.itemType == channel::kItemClose && channel::IsDecisive(Taken(request)))
      action = Taken(request);
  }
  return action;
}

std::string OutcomeJson(const MailOutcome& outcome) {
  Json object = {{"mail", outcome.mail}};
  if (outcome.error) {
    object["error"] = *outcome.error;
  } else {
    Json requests = Json::array();
    for (const auto& request : outcome.requests) requests.push_back(RequestJson(request));
    object["outcome"] = OutcomeWord(outcome);
    object["action"] = outcome.action;
    object["cancel"] = outcome.cancel;
    object["requests"] = std::move(requests);
    object["tag"] = outcome.tag ? Json{{"name", outcome.tag->name}, {"value", outcome.tag->value}}
                                : Json(nullptr);
    object["ms"] = std::round(outcome.milliseconds * 10) / 10;
  }
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tools
