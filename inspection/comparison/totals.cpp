#include "inspection/comparison/totals.h"

#include "inspection/comparison/jsonwriting.h"

namespace inspection::comparison {

namespace {

void Counts(Writer& writer, const char* key, const std::map<std::string, std::uint64_t>& counts) {
  writer.Key(key);
  writer.StartObject();
  for (const auto& [text, count] : counts) Member(writer, text, count);
  writer.EndObject();
}

}  // namespace

std::string DecidedBy(const RecordedMail& mail) {
  const RecordedRequest* const request = DecidingRequest(mail);
  if (request == nullptr) return {};
  std::string words = request->stage;
  // Which of several attachments it was.
  if (request->stage == "attachment" && !request->asked.empty()) words += " " + request->asked;
  words += ": " + AnswerWord(request->answer);
  if (!request->rule.empty()) words += ", rule \"" + request->rule + "\"";
  return words;
}

void Totals::Take(const RecordedMail& mail) {
  ++m_mails;
  ++m_outcomes[static_cast<std::size_t>(mail.outcome)];
  if (mail.outcome != Outcome::kUnreadable) ++m_checked[static_cast<std::size_t>(mail.checked)];
  for (const std::string& reason : mail.reasons) ++m_reasons[reason];
  if (mail.outcome == Outcome::kBlocked || mail.outcome == Outcome::kTagged) {
    const RecordedRequest* const request = DecidingRequest(mail);
    std::string decision = "not recorded";
    if (request != nullptr && !request->rule.empty()) {
      decision = "rule \"" + request->rule + "\"";
    } else if (request != nullptr) {
      decision = request->stage + ": " + AnswerWord(request->answer);
    }
    ++m_decisions[decision];
  }
  m_requests += mail.requestCount;
  for (const RecordedRequest& request : mail.requests) {
    if (request.wait) m_requestWaits.Add(*request.wait);
  }
  if (mail.time) m_mailTimes.Add(*mail.time);
}

std::string Totals::Json() const {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  Member(writer, "mails", m_mails);
  writer.Key("outcome");
  writer.StartObject();
  for (std::size_t i = 0; i < kOutcomes; ++i) {
    Member(writer, NameOf(static_cast<Outcome>(i)), m_outcomes[i]);
  }
  writer.EndObject();
  writer.Key("checked");
  writer.StartObject();
  for (std::size_t i = 0; i < kCheckedLevels; ++i) {
    Member(writer, NameOf(static_cast<Checked>(i)), m_checked[i]);
  }
  writer.EndObject();
  Counts(writer, "reasons", m_reasons);
  Counts(writer, "decided_by", m_decisions);
  Member(writer, "requests", m_requests);
  Member(writer, "request_waits", m_requestWaits);
  Member(writer, "mail_times", m_mailTimes);
  writer.EndObject();
  return TextOf(buffer);
}

}  // namespace inspection::comparison
