// Checks of the ring: clearing and freeing, order, odd entries, the end of the data area, writers
// that die.
#include <array>
#include <thread>

#include "inspection/conformance/session.h"

namespace inspection::conformance {
namespace {

// From here the way past 2^32 is short enough to go it always.
constexpr std::uint32_t kNear = 0U - (16U << 20);

// How long an agent that frees or stores late may take.
constexpr std::uint32_t kRingLookMs = 200;

// Appends a request and looks at the ring at the moment when the agent frees its space.
// False if that couldn't be seen.
template <typename Look>
bool LookWhenFreed(Session& session, Look look) {
  constexpr std::uint32_t kSpinMs = 200;
  std::deque<Requester> one;
  one.push_back(session.New(0, channel::kItemClose));
  const std::uint32_t position = session.Ring().Cursor();
  one.front().Push(session.Ring());
  const std::uint32_t began = platform::clock.GetTickCount();
  bool isFree = false;
  while (!isFree && platform::clock.GetTickCount() - began < kSpinMs) {
    isFree = session.Ring().Used() == 0;
    if (!isFree) std::this_thread::yield();
  }
  if (isFree) look(position);
  session.Finish(one);
  return isFree && session.Drained();
}

// Reserves an entry; none, and the result set, if the ring is full.
std::optional<std::uint32_t> ReserveRequest(Session& session, Result& result) {
  const auto position = session.Ring().Reserve(sizeof(ContentRequest));
  if (!position) Fail(result, Rule::kFree, "the ring is full", "no room for a request");
  return position;
}

void CheckRequestAt(Session& session, Result& result, std::uint32_t beforeEnd, Rule rule,
                    const std::string& cause) {
  const auto capacity = static_cast<std::uint32_t>(session.Ring().Capacity());
  if (!session.PlaceAt(capacity - beforeEnd)) {
    return Unknown(result, "the place can't be reached: the agent doesn't free what is before it");
  }
  const std::uint32_t position = session.Ring().Cursor();
  const Requester first = session.Ask(0, channel::kItemRecipients, Addresses(1));
  const Requester second = session.Ask(0, channel::kItemClose);
  const std::string seen = "an entry at offset " + Text(position % capacity) + " was " +
                           EndOf(first) + "; the next one: " + EndOf(second);
  if (first.IsAnswered() && second.IsAnswered()) return Pass(result, seen);
  Fail(result, rule, cause, seen);
}

std::string After(std::uint32_t began) {
  return " after " + Text(platform::clock.GetTickCount() - began) + " ms";
}

// Waits until nothing is counted as used any more and says whether that took the right time.
void CheckReclaimed(Session& session, Result& result, std::uint32_t began, Rule rule,
                    const std::string& what) {
  const Options& options = session.Settings();
  const bool isFreed = session.Drained(options.goneMostMs);
  const std::uint32_t after = platform::clock.GetTickCount() - began;
  if (!isFreed) {
    return Fail(result, rule, "the space of a dead writer is never freed",
                what + " is still counted" + After(began));
  }
  const std::string seen = what + " was freed" + After(began);
  if (after < options.goneLeastMs) {
    return Fail(result, rule, "the agent gives up too early on a writer that may be alive", seen);
  }
  Pass(result, seen);
}

}  // namespace

void CheckSpaceFreed(Session& session, Result& result) {
  session.Ask(0, channel::kItemClose);
  const bool isFreed = session.Drained();
  const std::int32_t used = session.Ring().Used();
  const std::string seen = "used bytes " + std::to_string(used) + " after all was answered";
  if (isFreed) return Pass(result, seen);
  Fail(result, Rule::kFree,
       used < 0 ? "more space is freed than was used" : "the space of taken entries isn't freed",
       seen);
}

void CheckEntriesCleared(Session& session, Result& result) {
  const std::uint32_t position = session.Ring().Cursor();
  session.Ask(0, channel::kItemRecipients, Addresses(1));
  session.Ask(0, channel::kItemClose);
  constexpr std::uint32_t kSize = channel::kRequestEntrySize;
  if (session.WaitFor(kRingLookMs, [&] { return session.Ring().IsClear(position, 2 * kSize); })) {
    return Pass(result, "two entries are all zero after they were taken");
  }
  const bool isLengthClear = session.Ring().IsClear(position, sizeof(RingEntry));
  Fail(result, Rule::kClear,
       isLengthClear ? "only the length word of an entry is cleared"
                     : "entries are not cleared after being taken",
       "the entry at offset " +
           Text(position % static_cast<std::uint32_t>(session.Ring().Capacity())) +
           " isn't zero after its answer");
}

void CheckFreedLast(Session& session, Result& result) {
  constexpr int kTries = 5;
  int seen = 0;
  bool isClear = true;
  for (int i = 0; i < kTries && isClear; ++i) {
    seen += LookWhenFreed(session, [&](std::uint32_t position) {
      isClear = session.Ring().IsClear(position, channel::kRequestEntrySize);
    });
  }
  if (!isClear) {
    return Fail(result, Rule::kFree, "space is freed before its entry is cleared",
                "an entry was not zero when its bytes weren't counted any more");
  }
  if (seen == 0) return Unknown(result, "the moment of freeing couldn't be seen");
  Pass(result, "the entry was clear each of " + std::to_string(seen) + " times that it was freed");
}

void CheckPositionStored(Session& session, Result& result) {
  constexpr int kTries = 5;
  int seen = 0;
  bool isStored = true;
  std::uint32_t word = 0;
  for (int i = 0; i < kTries && isStored; ++i) {
    seen += LookWhenFreed(session, [&](std::uint32_t) {
      word = session.Ring().Consumed();
      isStored = word == session.Ring().Cursor();
    });
  }
  if (!isStored) {
    const std::string text =
        "consumerWord was " + Text(word) + ", and writeCursor " + Text(session.Ring().Cursor());
    const bool isLate = session.WaitFor(
        kRingLookMs, [&session] { return session.Ring().Consumed() == session.Ring().Cursor(); });
    return Fail(result, isLate ? Rule::kFree : Rule::kPosition,
                isLate ? "the position is stored after the space was freed"
                       : "the position isn't stored in consumerWord",
                text);
  }
  if (seen == 0) return Unknown(result, "the moment of freeing couldn't be seen");
  Pass(result, "consumerWord " + Text(word) + ", equal to writeCursor");
}

void CheckIncompleteEntry(Session& session, Result& result) {
  constexpr std::uint32_t kPauseMs = 300;
  std::deque<Requester> one;
  one.push_back(session.New(0, channel::kItemClose));
  const auto position = ReserveRequest(session, result);
  if (!position) return;
  session.WaitFor(kPauseMs, [] { return false; });
  session.Ring().Complete(*position, one.front().RecordBytes());
  one.front().MarkPushed();
  session.Finish(one);
  const std::string seen =
      "an entry that was complete after " + Text(kPauseMs) + " ms: " + EndOf(one.front());
  if (one.front().IsAnswered() && session.Drained()) return Pass(result, seen);
  Fail(result, Rule::kIncompleteEntry, "an entry that isn't complete at once is skipped", seen);
}

void CheckLaterEntries(Session& session, Result& result) {
  std::deque<Requester> two;
  two.push_back(session.New(0, channel::kItemClose));
  two.push_back(session.New(1, channel::kItemClose));
  const auto first = ReserveRequest(session, result);
  const auto second = first ? ReserveRequest(session, result) : std::nullopt;
  if (!second) return;
  const Options& options = session.Settings();
  session.Ring().Complete(*second, two[1].RecordBytes());
  two[1].MarkPushed();
  session.WaitFor(options.blockWaitMs + options.answerWaitMs,
                  [&] { return two[1].Step(options.blockWaitMs, options.answerWaitMs); });
  session.Ring().Complete(*first, two[0].RecordBytes());
  two[0].MarkPushed();
  session.Finish(two);
  const std::string seen =
      "the later entry: " + EndOf(two[1]) + "; the earlier one, complete last: " + EndOf(two[0]);
  if (!two[1].IsAnswered()) {
    return Fail(result, Rule::kLaterEntries, "an incomplete entry keeps later requests waiting",
                seen);
  }
  if (!two[0].IsAnswered() || !session.Drained()) {
    return Fail(result, Rule::kIncompleteEntry,
                "an entry that is complete after a later one is lost", seen);
  }
  Pass(result, seen);
}

// Fillers begin with 0xA5A5A5A5, so as requests they are of no kind.
void CheckForeignEntries(Session& session, Result& result) {
  const std::uint32_t position = session.Ring().Cursor();
  constexpr std::array<std::uint32_t, 3> kSizes = {12, 1004, channel::kRequestEntrySize};
  std::uint32_t all = 0;
  for (const std::uint32_t size : kSizes) {
    if (!session.PushFiller(size)) return Unknown(result, "no room in the ring");
    all += size;
  }
  const Requester request = session.Ask(0, channel::kItemClose);
  const std::string seen =
      "a request after entries of 8, 1000 and 148 bytes that are no requests: " + EndOf(request);
  if (!request.IsAnswered() || !session.Drained()) {
    return Fail(result, Rule::kForeign, "the agent stops at an entry that is no request", seen);
  }
  if (!session.WaitFor(kRingLookMs, [&] { return session.Ring().IsClear(position, all); })) {
    return Fail(result, Rule::kClear, "entries of another length aren't cleared completely", seen);
  }
  Pass(result, seen);
}

void CheckSplitPayload(Session& session, Result& result) {
  CheckRequestAt(session, result, 44, Rule::kSplit,
                 "a payload that is split by the end of the data area isn't put together");
}

void CheckLengthAtEnd(Session& session, Result& result) {
  CheckRequestAt(session, result, 4, Rule::kLengthAtEnd,
                 "an entry whose length word fills the last 4 bytes is misread");
}

void CheckCursorWraps(Session& session, Result& result) {
  if (!session.Settings().isLongTrip && session.Ring().Cursor() < kNear) {
    return LeaveOut(result, "takes --long, which sends 4 GB through the ring: the cursor is at " +
                                Text(session.Ring().Cursor()));
  }
  const char* const cause = "the agent stops where the write cursor wraps";
  const auto size = static_cast<std::uint32_t>(session.Ring().Capacity()) / 4;
  const auto failed = [&] {
    Fail(result, Rule::kCursorWraps, cause, "nothing is taken at " + Text(session.Ring().Cursor()));
  };
  while (session.Ring().Cursor() < 0U - 2 * size && !session.IsStopped()) {
    if (!session.WaitFor(session.Settings().drainMs, [&] { return session.PushFiller(size); })) {
      return failed();
    }
  }
  if (!session.Drained()) return failed();
  CheckRequestAt(session, result, 76, Rule::kCursorWraps, cause);
  if (result.outcome == CheckOutcome::kUnknown) return failed();
  result.seen += "; the cursor is now at " + Text(session.Ring().Cursor());
}

void CheckDamagedRing(Session& session, Result& result) {
  for (const std::uint32_t length : {0x7FFF'FFFCU, 150U}) {
    const auto position = ReserveRequest(session, result);
    if (!position) return;
    session.Ring().StoreLength(*position, length);
    const bool isDrained = session.Drained();
    const Requester request = session.Ask(0, channel::kItemClose);
    if (isDrained && request.IsAnswered() && session.Drained()) continue;
    return Fail(result, Rule::kDamaged, "the agent doesn't recover from an impossible length word",
                "length " + Text(length) + "; then used bytes " +
                    std::to_string(session.Ring().Used()) + ", and a request: " + EndOf(request));
  }
  Pass(result, "lengths 2147483644 and 150: the ring was reset and the next request answered");
}

void CheckDeadWriter(Session& session, Result& result) {
  if (!ReserveRequest(session, result)) return;
  const std::uint32_t began = platform::clock.GetTickCount();
  CheckReclaimed(session, result, began, Rule::kDeadWriter, "an entry that never completes");
}

void CheckDeadBetweenAdditions(Session& session, Result& result) {
  if (!session.Ring().CountUsed(channel::kRequestEntrySize)) {
    return Unknown(result, "no room in the ring");
  }
  const std::uint32_t began = platform::clock.GetTickCount();
  CheckReclaimed(session, result, began, Rule::kDeadAddition,
                 "a count of 152 bytes without an entry");
}

}  // namespace inspection::conformance
