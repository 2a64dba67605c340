#include "inspection/conformance/conformance.h"

#include <array>
#include <utility>

#include "inspection/conformance/session.h"

namespace inspection::conformance {
namespace {

// What a check needs, and what is lost when it fails.
enum Trait : unsigned {
  kServed = 1,     // requests get a block and an answer
  kUsable = 2,     // the answers are 3, 4 or 7
  kReusable = 4,   // the ring is as good as new after its entries were taken
  kForeign = 8,    // entries that are no requests are freed
  kTogether = 16,  // several mails at once are served
  kOpen = 32       // the answer to the recipients opens the content
};
constexpr std::size_t kTraits = 6;

struct Check {
  const char* name;
  void (*function)(Session&, Result&);
  unsigned needs;
  unsigned loses = 0;
};

// In the order of the checks: what many others need comes early, what may damage the ring late.
constexpr Check kChecks[] = {
    {"ring", CheckRing, 0, kServed},
    {"block-created", CheckBlock, kServed, kServed},
    {"answered", CheckAnswered, kServed, kServed},
    {"item-types", CheckItemTypes, kServed, kUsable},
    {"usable-answers", CheckUsableAnswers, kServed | kUsable, kUsable},
    {"unknown-types", CheckUnknownTypes, kServed | kUsable},
    {"recipients-open", CheckRecipients, kServed | kUsable, kOpen},
    {"files-read", CheckFilesRead, kServed | kUsable},
    {"missing-files", CheckMissingFile, kServed | kUsable},
    {"block-sizes", CheckBlockSizes, kServed},
    {"incomplete-block", CheckIncompleteBlock, kServed},
    {"given-up", CheckGivenUp, kServed},
    {"blocks-released", CheckBlocksReleased, kServed},
    {"given-up-released", CheckGivenUpReleased, kServed},
    {"mails-at-once", CheckMailsAtOnce, kServed | kUsable, kTogether},
    {"record-kind", CheckRecordKind, kServed},
    {"record-length", CheckRecordLength, kServed},
    {"record-name", CheckRecordName, kServed},
    {"huge-block", CheckHugeBlock, kServed},
    {"existing-name", CheckExistingName, kServed},
    {"malformed-block", CheckMalformedBlock, kServed},
    {"space-freed", CheckSpaceFreed, kServed, kReusable},
    {"entries-cleared", CheckEntriesCleared, kServed | kReusable, kReusable},
    {"freed-last", CheckFreedLast, kServed | kReusable},
    {"position-stored", CheckPositionStored, kServed | kReusable},
    {"incomplete-entry", CheckIncompleteEntry, kServed | kReusable, kReusable},
    {"later-entries", CheckLaterEntries, kServed | kReusable},
    {"foreign-entries", CheckForeignEntries, kServed | kReusable, kForeign | kReusable},
    {"split-payload", CheckSplitPayload, kServed | kReusable | kForeign, kReusable},
    {"length-word-at-the-end", CheckLengthAtEnd, kServed | kReusable | kForeign, kReusable},
    {"requests-in-a-row", CheckRequestsInARow, kServed | kUsable | kReusable | kTogether},
    {"cursor-past-2-32", CheckCursorWraps, kServed | kReusable | kForeign, kReusable},
    {"damaged-ring", CheckDamagedRing, kServed | kReusable, kReusable},
    {"late-requester", CheckLateRequester, kServed | kTogether},
    {"dead-writer", CheckDeadWriter, kServed | kReusable, kReusable},
    {"dead-between-additions", CheckDeadBetweenAdditions, kServed | kReusable, kReusable},
    {"unopened-block", CheckUnopenedBlock, kServed},
    {"restart", CheckRestart, kServed | kUsable},
};

class Checks {
 public:
  Checks(const Options& options, const std::atomic<bool>& stop) : m_session(options, stop) {}

  Result Do(const Check& check) {
    return Do(check.name, check.needs, check.loses,
              [&](Result& result) { check.function(m_session, result); });
  }

  Result Do(const ExtraCheck& check) {
    return Do(check.name, kServed | kUsable | kTogether | kOpen, 0, check.run);
  }

 private:
  template <typename Function>
  Result Do(const std::string& name, unsigned needs, unsigned loses, Function function) {
    Result result{.check = name};
    if ((needs & m_lost) != 0) {
      result.seen = WhyNot(needs);
      return result;
    }
    if (!m_session.IsStopped()) function(result);
    if (m_session.IsStopped()) return {.check = name, .seen = "stopped by the user"};
    if (result.outcome == CheckOutcome::kFail) {
      Lose(name, loses);
      const bool isServed = (m_lost & kServed) == 0;
      if (isServed && !m_session.IsAgentAlive()) Lose(name, kServed);
    }
    return result;
  }

  void Lose(const std::string& check, unsigned traits) {
    for (std::size_t bit = 0; bit < m_blamed.size(); ++bit) {
      const unsigned trait = 1U << bit;
      if ((traits & trait) != 0 && (m_lost & trait) == 0) m_blamed[bit] = check;
    }
    m_lost |= traits;
  }

  std::string WhyNot(unsigned needs) const {
    for (std::size_t bit = 0; bit < m_blamed.size(); ++bit) {
      if ((needs & m_lost & (1U << bit)) != 0) {
        return "can't be tried because " + m_blamed[bit] + " failed";
      }
    }
    return {};
  }

  Session m_session;
  unsigned m_lost = 0;
  std::array<std::string, kTraits> m_blamed{};  // for each lost trait, the check that failed
};

}  // namespace

std::vector<std::string> CheckNames() {
  std::vector<std::string> names;
  for (const Check& check : kChecks) names.emplace_back(check.name);
  return names;
}

bool Run(const Options& options, const std::atomic<bool>& stop,
         const std::function<void(const Result&)>& onResult) {
  if (!agentkit::SharedView().Open(options.ring, sizeof(RingHeader))) return false;
  Checks checks(options, stop);
  for (const Check& check : kChecks) {
    // These belong before the checks that may damage the ring.
    if (check.function == CheckSpaceFreed) {
      for (const ExtraCheck& extra : options.extra) onResult(checks.Do(extra));
    }
    onResult(checks.Do(check));
  }
  return true;
}

}  // namespace inspection::conformance
