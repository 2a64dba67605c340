// What the page shows of a mail, as JSON.

#include "inspection/comparison/jsonwriting.h"
#include "inspection/comparison/recordedmail.h"

namespace inspection::comparison {

namespace {

// A field that has no value is left out: the page is smaller without it.
void Text(Writer& writer, const char* key, std::string_view text) {
  if (!text.empty()) Member(writer, key, text);
}

void Time(Writer& writer, const char* key, const std::optional<Tenths>& time) {
  if (time) Member(writer, key, Milliseconds(*time));
}

void Requests(Writer& writer, const RecordedMail& mail) {
  writer.Key("requests");
  writer.StartArray();
  for (const RecordedRequest& request : mail.requests) {
    writer.StartObject();
    Text(writer, "stage", request.stage);
    Text(writer, "asked", request.asked);
    if (request.answer) Member(writer, "answer", std::int64_t{*request.answer});
    Time(writer, "wait", request.wait);
    Text(writer, "rule", request.rule);
    Text(writer, "end", request.end);
    writer.EndObject();
  }
  writer.EndArray();
  if (mail.requestCount > mail.requests.size()) {
    Member(writer, "more", std::uint64_t{mail.requestCount - mail.requests.size()});
  }
}

}  // namespace

std::string MailJson(const RecordedMail& mail) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  Text(writer, "mail", mail.mail);
  Text(writer, "error", mail.error);
  Member(writer, "outcome", std::string_view(NameOf(mail.outcome)));
  Member(writer, "checked", NameOf(mail.checked));
  Text(writer, "tag", mail.tag);
  Time(writer, "ms", mail.time);
  Text(writer, "subject", mail.subject);
  Text(writer, "sender", mail.sender);
  Text(writer, "recipients", mail.recipients);
  Text(writer, "machine", mail.machine);
  Text(writer, "when", mail.when);
  if (!mail.reasons.empty()) {
    writer.Key("reasons");
    writer.StartArray();
    for (const std::string& reason : mail.reasons) Value(writer, reason);
    writer.EndArray();
  }
  Requests(writer, mail);
  writer.EndObject();
  return TextOf(buffer);
}

}  // namespace inspection::comparison
