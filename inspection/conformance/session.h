// What all checks share: the ring, the requests, the waits.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "inspection/conformance/conformance.h"
#include "inspection/conformance/requester.h"
#include "inspection/conformance/rules.h"
#include "platform/clock.h"

namespace inspection::conformance {

inline void Pass(Result& result, std::string seen) {
  result.outcome = CheckOutcome::kPass;
  result.seen = std::move(seen);
}

inline void Fail(Result& result, Rule rule, std::string cause, std::string seen) {
  result.outcome = CheckOutcome::kFail;
  result.cause = std::move(cause);
  result.seen = std::move(seen);
  result.rule = SentenceOf(rule);
}

inline void Unknown(Result& result, std::string why) {
  result.outcome = CheckOutcome::kUnknown;
  result.seen = std::move(why);
}

inline void LeaveOut(Result& result, std::string why) {
  result.outcome = CheckOutcome::kLeftOut;
  result.seen = std::move(why);
}

inline std::string Text(std::uint32_t number) {
  return std::to_string(number);
}

class Session {
 public:
  Session(const Options& options, const std::atomic<bool>& stop);

  const Options& Settings() const { return m_options; }
  bool IsStopped() const { return m_stop; }
  Writer& Ring() { return m_writer; }

  // A request of the mail number `mail`, 0 to 255. Nothing is pushed yet.
  Requester New(std::uint32_t mail, std::uint32_t type, std::string payload = {},
                const std::string& name = {}) const;
  // The same, pushed and taken to its end.
  Requester Ask(std::uint32_t mail, std::uint32_t type, std::string payload = {},
                const std::string& name = {});
  // Takes all to their ends.
  void Finish(std::deque<Requester>& requests);
  // Whether a request without an item is answered.
  bool IsAgentAlive() { return m_writer.IsOpen() && Ask(0, channel::kItemClose).IsAnswered(); }

  // Waits until the condition is true. False if it isn't within that time.
  template <typename Condition>
  bool WaitFor(std::uint32_t milliseconds, Condition isTrue) const {
    const std::uint32_t began = platform::clock.GetTickCount();
    while (!isTrue()) {
      if (m_stop || platform::clock.GetTickCount() - began > milliseconds) return false;
      platform::clock.Sleep(1);
    }
    return true;
  }
  bool Drained(std::uint32_t milliseconds) const {
    return WaitFor(milliseconds, [this] { return m_writer.Used() == 0; });
  }
  bool Drained() const { return Drained(m_options.drainMs); }

  // Waits until a request's block is open and filled.
  bool OpenBlock(Requester& request) const {
    return WaitFor(m_options.blockWaitMs, [&request] { return request.OpenBlock(); });
  }

  // Appends an entry of that size that is no request.
  bool PushFiller(std::uint32_t entrySize);
  // Brings the cursor to `offset` of the data area by such entries. False if the agent doesn't free
  // them.
  bool PlaceAt(std::uint32_t offset);

  // A request whose block is never opened, and when it was pushed.
  std::deque<Requester> unopened;
  std::uint32_t unopenedSinceTick = 0;

 private:
  const Options& m_options;
  const std::atomic<bool>& m_stop;
  const std::uint32_t m_firstThread;
  Writer m_writer;
  std::vector<unsigned char> m_filler;
};

// `count` addresses as the add-in sends them.
std::string Addresses(std::uint32_t count);

// Whether a mapping of that name exists.
bool Exists(const std::string& block);

// The checks, in the files that are named after their subject. Each sets the result.
void CheckRing(Session& session, Result& result);  // checks_requests.cpp
void CheckBlock(Session& session, Result& result);
void CheckAnswered(Session& session, Result& result);
void CheckItemTypes(Session& session, Result& result);
void CheckUsableAnswers(Session& session, Result& result);
void CheckUnknownTypes(Session& session, Result& result);
void CheckRecipients(Session& session, Result& result);
void CheckFilesRead(Session& session, Result& result);
void CheckMissingFile(Session& session, Result& result);
void CheckBlockSizes(Session& session, Result& result);
void CheckIncompleteBlock(Session& session, Result& result);

void CheckRecordKind(Session& session, Result& result);  // checks_records.cpp
void CheckRecordLength(Session& session, Result& result);
void CheckRecordName(Session& session, Result& result);
void CheckHugeBlock(Session& session, Result& result);
void CheckExistingName(Session& session, Result& result);
void CheckMalformedBlock(Session& session, Result& result);

void CheckGivenUp(Session& session, Result& result);  // checks_ends.cpp
void CheckBlocksReleased(Session& session, Result& result);
void CheckGivenUpReleased(Session& session, Result& result);
void CheckMailsAtOnce(Session& session, Result& result);
void CheckRequestsInARow(Session& session, Result& result);
void CheckLateRequester(Session& session, Result& result);
void CheckUnopenedBlock(Session& session, Result& result);
void CheckRestart(Session& session, Result& result);

void CheckSpaceFreed(Session& session, Result& result);  // checks_ring.cpp
void CheckEntriesCleared(Session& session, Result& result);
void CheckFreedLast(Session& session, Result& result);
void CheckPositionStored(Session& session, Result& result);
void CheckIncompleteEntry(Session& session, Result& result);
void CheckLaterEntries(Session& session, Result& result);
void CheckForeignEntries(Session& session, Result& result);
void CheckSplitPayload(Session& session, Result& result);
void CheckLengthAtEnd(Session& session, Result& result);
void CheckCursorWraps(Session& session, Result& result);
void CheckDamagedRing(Session& session, Result& result);
void CheckDeadWriter(Session& session, Result& result);
void CheckDeadBetweenAdditions(Session& session, Result& result);

}  // namespace inspection::conformance
