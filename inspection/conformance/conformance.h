// Does a running agent do what the add-in expects of it?
//
// Plays the add-in's side of the channel against the agent that owns the ring, with a writer of its
// own, since the add-in's can't die in the middle of an entry or complete two out of order. Each
// check tests one rule of docs/protocol.md and says which, if the agent breaks it.
//
// Run it while no mail is being sent. The requests carry this process's id and made-up thread ids.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "channel/protocol.h"

namespace inspection::conformance {

enum class CheckOutcome {
  kPass,
  kFail,
  kUnknown,  // tried, and nothing can be said
  kLeftOut   // takes an option that wasn't given
};

// What can be measured of many answers, in milliseconds from the push to the answer.
struct Waits {
  double p50 = 0;  // 50 % were answered within this time
  double p95 = 0;
  double p99 = 0;
};

struct Result {
  std::string check;  // a stable word: "split-payload"
  CheckOutcome outcome = CheckOutcome::kUnknown;
  std::string cause = {};  // of a failure: what the agent does wrong
  std::string seen = {};   // what was seen; why nothing can be said
  std::string rule = {};   // of a failure: the sentence of docs/protocol.md that it breaks
  std::optional<Waits> waits = {};
};

// Observes files, because nothing else shows whether an agent reads them. Paths are in UTF-8.
struct FileProbe {
  // Prepares a file for WasRead. False if this system can't tell.
  std::function<bool(const std::string& path)> watch;
  // Whether a process has read the file since.
  std::function<bool(const std::string& path)> wasRead;
};

// A check that the caller adds. It runs if requests are served, answered usefully and at once, and
// sets the result.
struct ExtraCheck {
  std::string name;
  std::function<void(Result&)> run;
};

struct Options {
  std::string ring = channel::kRingName;
  // The add-in's own waits, for the block and for the answer.
  std::uint32_t blockWaitMs = channel::ShortestWaitMs(channel::kBlockAttempts);
  std::uint32_t answerWaitMs = channel::ShortestWaitMs(channel::kAnswerPolls - 1);
  // How long the agent may take to free an entry, and to close the block of a finished request.
  std::uint32_t drainMs = 5'000;
  // How late an add-in may open a block that it gets.
  std::uint32_t lateOpenMs = 7'500;
  // The agent must not give up on a writer or requester earlier than the first, and has to by the
  // second.
  std::uint32_t goneLeastMs = channel::LongestWaitMs(channel::kBlockAttempts);
  std::uint32_t goneMostMs = 30'000;
  // At least one lap of the ring: 1725.
  std::uint32_t requestsInARow = 1'800;
  // Drive the cursor past 2^32, which takes 4 GB through the ring. Otherwise that is tested only
  // if the cursor happens to be near.
  bool isLongTrip = false;
  // A folder for the files that the agent is asked about, UTF-8, with a separator at its end.
  // Without it, files aren't tested.
  std::string folder = {};
  FileProbe probe = {};
  // Kills the agent and starts it again. Without it, that isn't tested.
  std::function<void()> restart = {};
  // How long the agent may take until it answers after that.
  std::uint32_t restartWaitMs = 40'000;
  std::vector<ExtraCheck> extra = {};
};

// The names of all checks but the extra ones, in the order in which Run runs them.
std::vector<std::string> CheckNames();

// Runs all checks and reports each result as soon as it is known. A check that depends on something
// that has failed is unknown; so is the rest when `stop` becomes true. False, with no result, if
// there is no ring to begin with. Waits on platform/clock.h. Several calls at once, for different
// rings, are fine.
bool Run(const Options& options, const std::atomic<bool>& stop,
         const std::function<void(const Result&)>& onResult);

}  // namespace inspection::conformance
