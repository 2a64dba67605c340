// Mails of random shape. The same seed and number give the same mail on every machine.
#pragma once

#include <cstdint>
#include <string>

#include "simulation/mail/mailmodel.h"

namespace soak {

// The one signature that the machine of the soak has, in the folder "Work" of the signatures.
inline constexpr char kSignatureName[] = "logo.png";
inline constexpr char kSignatureContent[] = "the image of a signature";

// What the agent is to do wrong with this mail: "silent", "subject" and the like, as in rules.toml.
struct WishedFault {
  std::string kind;  // empty: nothing
  std::string stage;
};

// What else is to happen around the mail.
enum class Incident { kNone, kNoAgent, kAgentKilledBefore, kSentTwice };

struct RandomMail {
  simulation::mail::MailModel model;
  WishedFault fault;
  Incident incident = Incident::kNone;
};

RandomMail MakeMail(std::uint64_t seed, std::uint64_t number);

}  // namespace soak
