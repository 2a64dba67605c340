#include "tools/mailoutcome.h"

#include <cmath>

#include "tools/json.h"

namespace tools {

using inspection::comparison::Outcome;

namespace {

double Rounded(double milliseconds) {
  return std::round(milliseconds * 10) / 10;
}

Json RequestJson(const SentRequest& request) {
  Json object = Json::Object();
  object.Add("type", request.itemType)
      .Add("stage", request.stage)
      .Add("payload", request.payload)
      .Add("name", request.name)
      .Add("answer", request.answer)
      .Add("end", NameOf(request.end))
      .Add("wait_ms", Rounded(request.waitMs));
  if (!request.rule.empty()) object.Add("rule", request.rule);
  if (request.itemType == channel::kItemFile) {
    object.Add("content_sha256", request.contentSha256).Add("content_bytes", request.contentBytes);
  }
  return object;
}

}  // namespace

Outcome OutcomeOf(const MailOutcome& outcome) {
  if (outcome.error) return Outcome::kUnreadable;
  if (outcome.cancel != 0) return Outcome::kBlocked;
  return outcome.tag ? Outcome::kTagged : Outcome::kSent;
}

std::string OutcomeJson(const MailOutcome& outcome) {
  Json object = Json::Object();
  object.Add("mail", outcome.mail);
  if (outcome.error) return object.Add("error", *outcome.error).Text();
  Json reasons = Json::Array();
  for (const auto& reason : outcome.reasons) {
    reasons.Add(inspection::checked::TextOf(reason.reason));
  }
  Json requests = Json::Array();
  for (const SentRequest& request : outcome.requests) requests.Add(RequestJson(request));
  Json tag;
  if (outcome.tag) {
    tag = Json::Object().Add("name", outcome.tag->name).Add("value", outcome.tag->value);
  }
  return object.Add("outcome", NameOf(OutcomeOf(outcome)))
      .Add("action", outcome.action)
      .Add("cancel", outcome.cancel)
      .Add("checked", NameOf(outcome.checked))
      .Add("reasons", reasons)
      .Add("requests", requests)
      .Add("tag", tag)
      .Add("ms", Rounded(outcome.milliseconds))
      .Text();
}

}  // namespace tools
