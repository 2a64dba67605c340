#include "tools/logstorytext.h"

#include <fmt/format.h>

#include <string_view>

#include "tools/text.h"

namespace tools {

namespace {

using inspection::logs::MailStory;
using inspection::logs::RequestEnd;
using inspection::logs::StoryRequest;

bool WasAnswered(const StoryRequest& request) {
  return request.end == RequestEnd::kPassedOn || request.end == RequestEnd::kNotPassedOn;
}

std::string JoinedNames(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text.append(text.empty() ? "" : ", ").append(name);
  return text;
}

std::string Field(std::string_view name, std::string_view text, std::size_t width) {
  if (text.empty()) return {};
  return fmt::format("  {:<9}{}\n", name, Shortened(text, width - 11));
}

Json RequestJson(const StoryRequest& request) {
  const bool answered = WasAnswered(request);
  const bool polled = answered || request.end == RequestEnd::kTimeOut;
  return Json::Object()
      .Add("stage", request.stage)
      .Add("end", NameOf(request.end))
      .Add("answer", answered ? Json(request.answer) : Json())
      .Add("polls_left", polled ? Json(request.counter) : Json())
      .Add("waited_ms", request.waitedMs)
      .Add("wait_ms", request.waitedMs);
}

Json OrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

}  // namespace

std::string StoryText(const MailStory& mail, std::size_t width) {
  std::string text = mail.machine.empty() ? std::string() : Shortened(mail.machine, 40) + " ";
  text += fmt::format("{} thread {} {}\n", mail.time, Shortened(mail.thread, 10),
                      Shortened(mail.item, 24));
  text += Field("window", mail.window, width);
  text += Field("sender", mail.sender, width);
  text += Field("to", JoinedNames(mail.recipients), width);
  text += Field("subject", mail.subject, width);
  text += Field("files", JoinedNames(mail.attachments), width);
  for (const StoryRequest& request : mail.requests) {
    const std::string answer = WasAnswered(request) ? std::to_string(request.answer) : "-";
    text +=
        fmt::format("  asked    {:<13} answer {:>3}, {:>4} polls left, {:>6} ms  {}\n",
                    request.stage, answer, request.counter, request.waitedMs, NameOf(request.end));
  }
  if (mail.requestCount > mail.requests.size()) {
    text += fmt::format("  asked    ... and {} more\n", mail.requestCount - mail.requests.size());
  }
  text += fmt::format("  verdict  {}, {}\n", mail.outcome, PhraseOf(mail.checked));
  for (const inspection::logs::StoryReason& reason : mail.reasons) {
    text += Wrapped("  because  " + TextOf(reason), width, 11) + "\n";
  }
  return text + "\n";
}

Json StoryJson(const MailStory& mail) {
  Json requests = Json::Array();
  for (const StoryRequest& request : mail.requests) requests.Add(RequestJson(request));
  Json reasons = Json::Array();
  for (const auto& reason : mail.reasons) {
    reasons.Add(inspection::checked::TextOf(reason.reason));
  }
  Json json = Json::Object();
  json.Add("machine", OrNull(mail.machine))
      .Add("time", mail.time)
      .Add("thread", mail.thread)
      .Add("item", mail.item)
      .Add("window", mail.window)
      .Add("sender", OrNull(mail.sender))
      .Add("recipients", Json::ArrayOf(mail.recipients))
      .Add("subject", mail.subject)
      .Add("attachments", Json::ArrayOf(mail.attachments))
      .Add("outcome", mail.outcome)
      .Add("action", mail.action)
      .Add("checked", NameOf(mail.checked))
      .Add("reasons", reasons)
      .Add("request_count", mail.requestCount)
      .Add("requests", requests);
  return json;
}

}  // namespace tools
