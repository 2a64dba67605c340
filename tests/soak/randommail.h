// Random mails. The same seed and number give the same mail on every machine.
#pragma once

#include <cstdint>
#include <string>

#include "simulation/mail/mailmodel.h"

namespace soak {

// The only signature on the soak's machine, in the signature folder "Work".
inline constexpr char kSignatureName[] = "logo.png";
inline constexpr char kSignatureContent[] = "the image of a signature";

// How the agent misbehaves on this mail, in rules.toml's words: "silent" at "subject", for example.
struct WishedFault {
  std::string kind;  // empty: not at all
  std::string stage;
};

// What else happens with the mail.
enum class Incident { kNone, kNoAgent, kAgentKilledBefore, kSentTwice };

struct RandomMail {
  simulation::mail::MailModel model;
  WishedFault fault;
  Incident incident = Incident::kNone;
};

RandomMail MakeMail(std::uint64_t seed, std::uint64_t number);

}  // namespace soak
