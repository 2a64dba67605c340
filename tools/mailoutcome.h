// What became of one mail that was sent through the add-in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "channel/protocol.h"
#include "inspection/checked/checked.h"
#include "inspection/comparison/recordedmail.h"
#include "inspection/logs/logstory.h"

namespace tools {

struct MailTag {
  std::string name;
  std::string value;
};

// One request to the agent, as the add-in saw it.
struct SentRequest {
  std::uint32_t itemType = 0;
  std::string stage;                   // "recipients", "subject", ...
  std::optional<std::string> payload;  // absent if the request never reached the agent
  std::string name;
  std::optional<ActionCode> answer;  // absent if there was none in time
  inspection::logs::RequestEnd end = inspection::logs::RequestEnd::kPassedOn;
  double waitMs = 0;
  std::string rule;  // of the simulated agent; empty if unknown
  // Of a file: what was in it. Absent if there is no such file.
  std::optional<std::string> contentSha256;
  std::optional<std::uint64_t> contentBytes;
};

struct MailOutcome {
  std::string mail;                  // its path or name
  std::optional<std::string> error;  // why the mail can't be read; nothing else is set then
  ActionCode action = channel::kActionNothingDecided;  // the result of the add-in's check
  int cancel = 0;                                      // the host's Cancel flag after Send
  inspection::checked::Checked checked = inspection::checked::Checked::kYes;
  std::vector<inspection::logs::StoryReason> reasons;  // empty exactly if `checked` is kYes
  std::vector<SentRequest> requests;
  std::optional<MailTag> tag;  // what the mail carries
  double milliseconds = 0;     // how long Send held the host
};

// What became of it; never kUnknown.
inspection::comparison::Outcome OutcomeOf(const MailOutcome& outcome);

// One JSON object, without a line end: {"mail", "outcome", "action", "cancel", "checked",
// "reasons", "requests", "tag", "ms"}, or {"mail", "error"}.
std::string OutcomeJson(const MailOutcome& outcome);

}  // namespace tools
