#include "tools/mailoutcome.h"

#include <cmath>

#include "channel/agentchannel.h"
#include "tools/json.h"

namespace tools {

namespace {

Json RequestJson(const simulation::agent::JournalRequest& request) {
  Json object = Json::Object();
  object.Add("type", request.itemType)
      .Add("payload", request.payload)
      .Add("name", request.name)
      .Add("answer", request.answer);
  if (request.itemType == channel::kItemFile) {
    object.Add("content_sha256", request.contentSha256).Add("content_bytes", request.contentBytes);
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
  Json object = Json::Object();
  object.Add("mail", outcome.mail);
  if (outcome.error) return object.Add("error", *outcome.error).Text();
  Json requests = Json::Array();
  for (const auto& request : outcome.requests) requests.Add(RequestJson(request));
  Json tag;
  if (outcome.tag) {
    tag = Json::Object().Add("name", outcome.tag->name).Add("value", outcome.tag->value);
  }
  return object.Add("outcome", OutcomeWord(outcome))
      .Add("action", outcome.action)
      .Add("cancel", outcome.cancel)
      .Add("requests", requests)
      .Add("tag", tag)
      .Add("ms", std::round(outcome.milliseconds * 10) / 10)
      .Text();
}

}  // namespace tools
