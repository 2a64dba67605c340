// What has to become of a mail, worked out from the mail and from what rules.toml says, with
// nothing of the add-in and nothing of the agent.
#pragma once

#include <vector>

#include "tests/soak/randommail.h"

namespace soak {

// How one request ends.
enum class Fate {
  kAnswered,  // with whatever
  kSilent,    // the block is there, and no answer comes
  kNoBlock,   // the agent lives and doesn't make the block
  kDead,      // the agent is gone, or going
};

struct Expected {
  std::vector<Fate> requests;  // in order, each one that the add-in makes
  int verdict = 2;             // of the whole check; 3 is a block, 7 a tag
  bool isAgentDead = false;    // at the end of it
};

Expected ExpectedOf(const RandomMail& mail);

}  // namespace soak
