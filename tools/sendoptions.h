// What `quorvex send` is asked for.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "channel/protocol.h"

namespace tools {

struct SendOptions {
  std::vector<std::string> mails;
  std::string filesFrom;
  std::string rules;
  std::string log;
  std::string html;
  std::string hostVersion = "16.0.0.1234";
  std::string ring = channel::kRingName;  // the running agent's
  bool useRunningAgent = false;
  bool fast = false;
  bool json = false;
  bool summary = false;
  bool noProgress = false;  // for a command whose results the progress would disturb
  std::size_t jobs = 1;
  std::string job;  // for one of several jobs: see sendjobs.h
};

}  // namespace tools
