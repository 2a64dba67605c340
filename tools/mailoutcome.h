// What became of one mail that was sent through the add-in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "channel/protocol.h"
#include "simulation/agent/journal.h"

namespace tools {

struct MailTag {
  std::string name;
  std::string value;
};

struct MailOutcome {
  std::string mail;                  // the path as it was given
  std::optional<std::string> error;  // why the mail can't be read; nothing else is then filled in
  ActionCode action = channel::kActionNothingDecided;  // what the add-in's check came to
  int cancel = 0;  // the host's Cancel flag behind the Send event
  std::vector<simulation::agent::JournalRequest> requests;
  std::optional<MailTag> tag;  // what the mail carries
  double milliseconds = 0;     // how long the Send event held the host
  bool agentThere = true;      // false: nobody owned the ring when the mail was sent
};

// "sent", "blocked" or "tagged".
const char* OutcomeWord(const MailOutcome& outcome);

// What the add-in's check comes to, by the requests and answers that the agent saw. It stands in
// where the add-in can't be asked: inside a DLL, whose verdicts are its own.
ActionCode ActionOf(const std::vector<simulation::agent::JournalRequest>& requests);

// One JSON object, without a line end: {"mail", "outcome", "action", "cancel", "requests", "tag",
// "ms"}, or {"mail", "error"}.
std::string OutcomeJson(const MailOutcome& outcome);

}  // namespace tools
