// Does a running agent do what the add-in expects of it?
//
// Plays the add-in's side of the channel against whoever owns the ring, with a writer of its own,
// since the add-in's can't die in the middle of an entry or complete two out of order. Each
// expectation comes out as passed, failed or not tested, with what was seen. What an agent does
// with the bytes that it reads can't be seen from here; that it answers can.
//
// Run it while no mail is being sent. The requests carry this process's id; those that stand for
// several senders at once carry made-up thread ids.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "channel/protocol.h"

namespace inspection::conformance {

enum class Outcome { kPass, kFail, kNotTested };

struct Result {
  std::string check;  // a stable word: "split-payload"
  Outcome outcome = Outcome::kNotTested;
  std::string seen;  // one sentence
};

struct Options {
  std::string ring = channel::kRingName;
  // The add-in's own waits, for the block and for the answer.
  std::uint32_t blockWaitMs = channel::kPollMs * channel::kBlockAttempts;
  std::uint32_t answerWaitMs = channel::kPollMs * (channel::kAnswerPolls - 1);
  // How long the room of a dead writer may stay lost.
  std::uint32_t deadWriterWaitMs = 30'000;
  // At least one lap of the ring: 1725.
  std::uint32_t requestsInARow = 1'800;
  // Drive the cursor past 2^32, which takes 4 GB through the ring. Otherwise that is tested only
  // if the cursor happens to be near.
  bool isLongTrip = false;
};

// Runs all checks in a fixed order and gives each result as soon as it is there; ends early, the
// rest not tested, when `stop` becomes true or the first request gets no answer. False, with no
// result, if there is no ring to begin with. Waits on platform/clock.h.
bool Run(const Options& options, const std::atomic<bool>& stop,
         const std::function<void(const Result&)>& onResult);

}  // namespace inspection::conformance
