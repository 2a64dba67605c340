#include "inspection/comparison/recordedmail.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cmath>

namespace inspection::comparison {

namespace {

constexpr const char* kOutcomeNames[kOutcomes] = {"sent", "blocked", "tagged", "unreadable",
                                                  "unknown"};

// A request as its fields come, in any order.
struct RawRequest {
  std::int64_t type = 0;
  std::string stage;
  std::string payload;
  std::string name;
  std::string rule;
  std::string end;
  std::optional<ActionCode> answer;
  std::optional<Tenths> wait;
  std::optional<std::uint64_t> bytes;
  bool bytesNull = false;
};

std::string StageOf(const RawRequest& raw) {
  if (!raw.stage.empty() || raw.type == 0) return raw.stage;
  if (raw.type == channel::kItemFile) {
    if (raw.name == "ExchangeSubjectContent") return "subject";
    return raw.name == "ExchangeBodyContent" ? "body" : "attachment";
  }
  const std::string_view word = channel::ItemWord(static_cast<std::uint32_t>(raw.type));
  return word.empty() ? "type " + std::to_string(raw.type) : std::string(word);
}

// At most kMaxAsked bytes, with an ellipsis for what is cut, and no character in halves.
std::string Cut(std::string_view text) {
  if (text.size() <= kMaxAsked) return std::string(text);
  std::size_t end = kMaxAsked;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) --end;
  return std::string(text.substr(0, end)) + "\xE2\x80\xA6";
}

// A path is reduced to its file's name; in a list of recipients NUL separates.
std::string AskedOf(RawRequest& raw) {
  const bool isFile = raw.type == channel::kItemFile;
  std::string asked;
  if (isFile) {
    asked = raw.name;
    if (asked.empty()) asked = raw.payload.substr(raw.payload.find_last_of("/\\") + 1);
    if (raw.bytes) asked += " (" + std::to_string(*raw.bytes) + " bytes)";
    if (raw.bytesNull) asked += " (not found)";
  } else {
    asked = raw.payload.empty() ? raw.name : raw.payload;
    while (asked.ends_with('\0')) asked.pop_back();
    for (std::size_t at = 0; (at = asked.find('\0', at)) != std::string::npos; at += 2) {
      asked.replace(at, 1, ", ");
    }
  }
  return Cut(asked);
}

// Fills in a RecordedMail from the parser's events. What it doesn't know it passes over, however
// deep it is.
class MailHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, MailHandler> {
 public:
  explicit MailHandler(RecordedMail* mail) : m_mail(*mail) {}

  bool HasOutcome() const { return m_hasOutcome; }
  bool HasError() const { return m_hasError; }
  bool IsObject() const { return m_isObject; }

  bool Default() { return Value(); }
  bool Null() {
    if (m_skipped == 0 && m_place == Place::kRequest && m_key == "content_bytes") {
      m_request.bytesNull = true;
    }
    return Value();
  }
  bool Int(int number) { return Number(number); }
  bool Uint(unsigned number) { return Number(number); }
  bool Int64(std::int64_t number) { return Number(static_cast<double>(number)); }
  bool Uint64(std::uint64_t number) { return Number(static_cast<double>(number)); }
  bool Double(double number) { return Number(number); }

  bool String(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    if (m_skipped == 0) Text(std::string_view(text, size));
    return Value();
  }
  bool Key(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    if (m_skipped == 0) m_key.assign(text, size);
    return true;
  }

  bool StartObject() {
    if (m_skipped > 0) return Skip();
    switch (m_place) {
      case Place::kOutside:
        m_isObject = true;
        return Enter(Place::kMail);
      case Place::kMail:
        return m_key == "tag" ? Enter(Place::kTag) : Skip();
      case Place::kRequests:
        m_request = {};
        return Enter(Place::kRequest);
      default:
        return Skip();
    }
  }
  bool EndObject(rapidjson::SizeType /*members*/) {
    if (m_skipped > 0) return Leave();
    if (m_place == Place::kRequest) {
      EndRequest();
      return Enter(Place::kRequests);
    }
    if (m_place == Place::kTag && !(m_tagName.empty() && m_tagValue.empty())) {
      m_mail.tag = m_tagName + ": " + m_tagValue;
    }
    return Enter(m_place == Place::kTag ? Place::kMail : Place::kOutside);
  }
  bool StartArray() {
    if (m_skipped > 0 || m_place != Place::kMail) return Skip();
    if (m_key == "reasons") return Enter(Place::kReasons);
    if (m_key == "recipients") return Enter(Place::kRecipients);
    return m_key == "requests" ? Enter(Place::kRequests) : Skip();
  }
  bool EndArray(rapidjson::SizeType /*elements*/) {
    return m_skipped > 0 ? Leave() : Enter(Place::kMail);
  }

 private:
  enum class Place { kOutside, kMail, kReasons, kRecipients, kRequests, kRequest, kTag };

  static bool Value() { return true; }
  bool Enter(Place place) {
    m_place = place;
    return true;
  }
  bool Skip() {
    ++m_skipped;
    return true;
  }
  bool Leave() {
    --m_skipped;
    return true;
  }

  bool Number(double number) {
    if (m_skipped > 0 || !(std::abs(number) < 1e15)) return Value();
    const auto tenths = static_cast<Tenths>(std::llround(number * 10));
    if (m_place == Place::kMail && m_key == "ms" && tenths >= 0) m_mail.time = tenths;
    if (m_place != Place::kRequest) return Value();
    if (m_key == "type") m_request.type = std::llround(number);
    if (m_key == "answer" && std::abs(number) < 2147483648.0) {
      m_request.answer = static_cast<ActionCode>(number);
    }
    if ((m_key == "wait_ms" || m_key == "waited_ms") && tenths >= 0) m_request.wait = tenths;
    if (m_key == "content_bytes" && number >= 0) {
      m_request.bytes = static_cast<std::uint64_t>(number);
    }
    return Value();
  }

  void Text(std::string_view text) {
    switch (m_place) {
      case Place::kMail:
        return MailText(text);
      case Place::kReasons:
        m_mail.reasons.emplace_back(text);
        return;
      case Place::kRecipients:
        if (m_mail.recipients.size() < kMaxAsked) {
          m_mail.recipients.append(m_mail.recipients.empty() ? "" : ", ").append(Cut(text));
        }
        return;
      case Place::kRequest:
        return RequestText(text);
      case Place::kTag:
        if (m_key == "name") m_tagName = text;
        if (m_key == "value") m_tagValue = text;
        return;
      default:
        return;
    }
  }

  void MailText(std::string_view text) {
    if (m_key == "mail") m_mail.mail = text;
    if (m_key == "subject") m_mail.subject = text;
    if (m_key == "sender") m_mail.sender = text;
    if (m_key == "machine") m_mail.machine = text;
    if (m_key == "time") m_mail.when = text;
    if (m_key == "error") {
      m_mail.error = text;
      m_hasError = true;
    }
    // Older versions of log explain write "verdict", and a phrase for `checked`.
    if (m_key == "outcome" || m_key == "verdict") {
      m_hasOutcome = true;
      m_mail.outcome = Outcome::kUnknown;
      for (std::size_t i = 0; i < kOutcomes; ++i) {
        if (text == kOutcomeNames[i]) m_mail.outcome = static_cast<Outcome>(i);
      }
    }
    if (m_key == "checked") {
      m_mail.checked = Checked::kUnknown;
      for (std::size_t i = 0; i < kCheckedLevels; ++i) {
        const auto level = static_cast<Checked>(i);
        if (text == NameOf(level) || text == PhraseOf(level)) m_mail.checked = level;
      }
    }
  }

  void RequestText(std::string_view text) {
    if (m_key == "stage") m_request.stage = text;
    // All that is shown of it is its beginning, or of a path its end.
    if (m_key == "payload") m_request.payload = text;
    if (m_key == "name") m_request.name = text;
    if (m_key == "rule") m_request.rule = text;
    if (m_key == "end") m_request.end = text;
  }

  void EndRequest() {
    if (++m_mail.requestCount > kMaxRequests) return;
    RecordedRequest& request = m_mail.requests.emplace_back();
    request.stage = StageOf(m_request);
    request.asked = AskedOf(m_request);
    request.answer = m_request.answer;
    request.wait = m_request.wait;
    request.rule = std::move(m_request.rule);
    request.end = std::move(m_request.end);
  }

  RecordedMail& m_mail;
  Place m_place = Place::kOutside;
  std::size_t m_skipped = 0;  // levels inside something unknown
  std::string m_key;
  RawRequest m_request;
  std::string m_tagName;
  std::string m_tagValue;
  bool m_isObject = false;
  bool m_hasOutcome = false;
  bool m_hasError = false;
};

// The answers about these only open or close the rest of the check; those about every other item
// decide the mail.
bool IsEnvelope(const std::string& stage) {
  return stage.empty() || stage == "recipients" || stage == "sender" || stage == "envelope";
}

}  // namespace

const char* NameOf(Outcome outcome) {
  return kOutcomeNames[static_cast<std::size_t>(outcome)];
}

bool ParseRecordedMail(std::string_view line, RecordedMail* mail, std::string* why) {
  *mail = {};
  // Iterative: a line of a million brackets must not use up the stack.
  // Not in place: there the library reads up to three bytes behind the text's end if that is in the
  // middle of a character.
  constexpr unsigned kFlags =
      rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
  rapidjson::MemoryStream stream(line.data(), line.size());
  rapidjson::Reader reader;
  MailHandler handler(mail);
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
  if (!result) {
    *why = std::string("not JSON: ") + rapidjson::GetParseError_En(result.Code()) + " (byte " +
           std::to_string(result.Offset() + 1) + ")";
    return false;
  }
  if (stream.Tell() != line.size()) {
    *why = "not JSON: a NUL byte";
    return false;
  }
  if (!handler.IsObject() || (!handler.HasOutcome() && !handler.HasError())) {
    *why = "no result of a mail: neither \"outcome\" nor \"error\"";
    return false;
  }
  if (handler.HasError()) mail->outcome = Outcome::kUnreadable;
  return true;
}

const RecordedRequest* DecidingRequest(const RecordedMail& mail) {
  const RecordedRequest* deciding = nullptr;
  for (const RecordedRequest& request : mail.requests) {
    if (!request.answer || !channel::IsDecisive(*request.answer)) continue;
    if (!IsEnvelope(request.stage)) deciding = &request;
  }
  return deciding;
}

std::string AnswerWord(const std::optional<ActionCode>& answer) {
  if (!answer) return "no answer";
  const std::string_view word = channel::ActionWord(*answer);
  return word.empty() ? std::to_string(*answer) : std::string(word);
}

}  // namespace inspection::comparison
