// One recorded result: a line of `quorvex send --json` or `quorvex log explain --json`.
//
// Lines of older versions lack some fields. What a line doesn't say is unknown here, never "all
// well".
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "channel/protocol.h"
#include "inspection/checked/checked.h"

namespace inspection::comparison {

enum class Outcome { kSent, kBlocked, kTagged, kUnreadable, kUnknown };
inline constexpr std::size_t kOutcomes = 5;

// The words of the recorded lines: "sent", "blocked", "tagged", "unreadable", "unknown".
const char* NameOf(Outcome outcome);

using checked::Checked;
inline constexpr std::size_t kCheckedLevels = 4;

// A time in tenths of a millisecond, as exact as the lines have it.
using Tenths = std::int64_t;

struct RecordedRequest {
  std::string
      stage;  // "recipients", "sender", "envelope", "subject", "body", "attachment", "close"
  std::string asked;  // what was asked about, in words, at most kMaxAsked bytes
  std::optional<ActionCode> answer;
  std::optional<Tenths> wait;
  std::string rule;  // the simulated agent's rule behind the answer; empty if unknown
  std::string end;   // how it ended, where the line says so; otherwise empty
};

inline constexpr std::size_t kMaxAsked = 200;
// More requests of one mail are counted, not kept.
inline constexpr std::size_t kMaxRequests = 500;

struct RecordedMail {
  std::string mail;  // its name; empty where the line has none (a log doesn't know it)
  std::string error;
  Outcome outcome = Outcome::kUnknown;
  Checked checked = Checked::kUnknown;
  std::vector<std::string> reasons;
  std::vector<RecordedRequest> requests;
  std::size_t requestCount = 0;  // of all, also those that aren't kept
  std::string tag;               // "name: value"; empty without a tag
  std::optional<Tenths> time;    // how long the host waited for the mail's check
  std::string sender;
  std::string recipients;  // joined by ", ", cut somewhere above kMaxAsked bytes
  std::string subject;
  std::string machine;
  std::string when;
};

// Reads one line. On false `*why` says in a few words what is wrong, and `*mail` is of no use.
bool ParseRecordedMail(std::string_view line, RecordedMail* mail, std::string* why);

// The request that decided the mail: the last one about content, or the closing one, that was
// answered with block or tag. Null if there is none, as with a mail that was let go.
const RecordedRequest* DecidingRequest(const RecordedMail& mail);

// "block", "go on", "tag", the number of any other answer, "no answer".
std::string AnswerWord(const std::optional<ActionCode>& answer);

// The mail as one JSON object for the page of inspection/report, without a line end. Hashes and
// other fields that no page shows aren't in it.
std::string MailJson(const RecordedMail& mail);

}  // namespace inspection::comparison
