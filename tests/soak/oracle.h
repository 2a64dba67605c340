// Predicts the outcome of a mail from the mail and the contents of rules.toml. Uses no code of the
// add-in or the agent.
#pragma once

#include <vector>

#include "tests/soak/randommail.h"

namespace soak {

// How one request ends.
enum class Fate {
  kAnswered,  // with any value
  kSilent,    // the block exists, but there is no answer
  kNoBlock,   // the agent runs but doesn't create the block
  kDead,      // the agent is dead or dying
};

struct Expected {
  std::vector<Fate> requests;  // every request that the add-in makes, in order
  int verdict = 2;             // of the whole check: 3 blocks, 7 tags
  bool isAgentDead = false;    // when the check ends
};

Expected ExpectedOf(const RandomMail& mail);

}  // namespace soak
