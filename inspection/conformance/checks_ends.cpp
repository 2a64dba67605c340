// Checks of how requests end, of several at once, and of requesters that are late or gone.
#include <algorithm>
#include <array>

#include "inspection/conformance/session.h"

namespace inspection::conformance {
namespace {

constexpr std::uint32_t kLanes = 16;
constexpr std::array<std::uint32_t, 4> kTypes = {channel::kItemRecipients, channel::kItemSender,
                                                 channel::kItemEnvelope, channel::kItemClose};

std::string PayloadOf(std::uint32_t type) {
  if (type == channel::kItemRecipients) return Addresses(2);
  return type == channel::kItemSender ? "Conform" : "";
}

double ShareOf(const std::vector<double>& sorted, std::size_t percent) {
  return sorted[std::min(sorted.size() - 1, sorted.size() * percent / 100)];
}

Waits WaitsOf(std::vector<double> waits) {
  std::sort(waits.begin(), waits.end());
  return {ShareOf(waits, 50), ShareOf(waits, 95), ShareOf(waits, 99)};
}

// How many of these blocks still exist after the agent had its time.
std::size_t StillThere(const Session& session, const std::vector<std::string>& blocks) {
  std::size_t count = 0;
  session.WaitFor(session.Settings().drainMs, [&] {
    count = static_cast<std::size_t>(std::count_if(blocks.begin(), blocks.end(), Exists));
    return count == 0;
  });
  return count;
}

std::string There(std::size_t count, std::size_t all) {
  return std::to_string(count) + " of " + std::to_string(all) + " blocks are still there";
}

// Requests that give up between 0 and 31 ms after they were complete.
struct RacedTimeOuts {
  std::size_t answered = 0;
  std::size_t givenUp = 0;
  std::int32_t overwritten = 0;  // what was stored over a 5; 0: nothing
  std::vector<std::string> blocks;
};

RacedTimeOuts RaceTimeOuts(Session& session) {
  constexpr std::uint32_t kRaces = 32;
  constexpr std::uint32_t kLookMs = 300;
  RacedTimeOuts seen;
  std::deque<Requester> givenUp;
  for (std::uint32_t i = 0; i < kRaces && !session.IsStopped(); ++i) {
    Requester request = session.New(i, channel::kItemClose);
    request.Push(session.Ring());
    if (!session.OpenBlock(request)) continue;
    request.ExchangeStatus(channel::kStatusWaiting);
    if (i != 0) platform::clock.Sleep(i);
    if (request.ExchangeStatus(channel::kStatusGivenUp) > channel::kStatusWaiting) {
      ++seen.answered;
      continue;
    }
    ++seen.givenUp;
    seen.blocks.push_back(request.BlockName());
    givenUp.push_back(std::move(request));
  }
  if (!givenUp.empty()) session.WaitFor(kLookMs, [] { return false; });
  for (Requester& request : givenUp) {
    const std::int32_t left = request.ExchangeStatus(channel::kStatusGivenUp);
    if (left != channel::kStatusGivenUp) seen.overwritten = left;
  }
  return seen;
}

// Leaves `others` mails in the middle, with a block that is open and not complete, and sends
// another one. Empty if it is served completely; otherwise what happened.
std::string SendBeside(Session& session, std::uint32_t others) {
  std::deque<Requester> open;
  for (std::uint32_t mail = 0; mail < others; ++mail) {
    const Requester first = session.Ask(mail, channel::kItemRecipients, Addresses(1));
    if (!first.IsAnswered()) {
      return "the recipients of mail " + Text(mail + 1) + " of " + Text(others + 1) + ": " +
             EndOf(first);
    }
    open.push_back(session.New(mail, channel::kItemSender, "Conform"));
    open.back().Push(session.Ring());
    if (!session.OpenBlock(open.back())) {
      return "the sender of mail " + Text(mail + 1) + " of " + Text(others + 1) + ": no block";
    }
  }
  std::string odd;
  for (const std::uint32_t type : kTypes) {
    const Requester request = session.Ask(others, type, PayloadOf(type));
    if (request.IsAnswered()) continue;
    odd = "mail " + Text(others + 1) + ", item " + Text(type) + ": " + EndOf(request);
    break;
  }
  session.Finish(open);
  for (Requester& request : open) {
    if (odd.empty() && !request.IsAnswered()) odd = "a mail that waited: " + EndOf(request);
  }
  for (std::uint32_t mail = 0; mail < others; ++mail) session.Ask(mail, channel::kItemClose);
  return odd;
}

}  // namespace

void CheckGivenUp(Session& session, Result& result) {
  const RacedTimeOuts seen = RaceTimeOuts(session);
  const std::string counts = std::to_string(seen.answered) + " of " +
                             std::to_string(seen.answered + seen.givenUp) +
                             " requests were answered before they gave up";
  if (seen.overwritten != 0) {
    return Fail(result, Rule::kGivenUp, "the answer is stored over the 5 of a request that gave up",
                "a 5 became " + std::to_string(seen.overwritten) + "; " + counts);
  }
  if (seen.givenUp == 0) return Unknown(result, "the agent was always quicker: " + counts);
  Pass(result, counts + "; the others' 5 was left alone");
}

void CheckBlocksReleased(Session& session, Result& result) {
  constexpr std::uint32_t kBlocks = 8;
  std::deque<Requester> requests;
  std::vector<std::string> blocks;
  for (std::uint32_t mail = 0; mail < kBlocks; ++mail) {
    requests.push_back(session.New(mail, channel::kItemClose));
    requests.back().Push(session.Ring());
    blocks.push_back(requests.back().BlockName());
  }
  session.Finish(requests);
  const std::size_t count = StillThere(session, blocks);
  if (count == 0) return Pass(result, There(0, blocks.size()) + " after their requests");
  Fail(result, Rule::kTaken, "blocks aren't closed after their answer was taken",
       There(count, blocks.size()));
}

void CheckGivenUpReleased(Session& session, Result& result) {
  const RacedTimeOuts seen = RaceTimeOuts(session);
  const std::size_t count = StillThere(session, seen.blocks);
  if (seen.blocks.empty()) return Unknown(result, "no request could give up");
  if (count == 0) return Pass(result, There(0, seen.blocks.size()) + " after a 5");
  Fail(result, Rule::kReadsNoAnswer, "blocks aren't closed after the add-in has given up",
       There(count, seen.blocks.size()));
}

void CheckMailsAtOnce(Session& session, Result& result) {
  for (const std::uint32_t mails : {2U, 8U}) {
    const std::string odd = SendBeside(session, mails - 1);
    if (!odd.empty()) {
      return Fail(result, Rule::kParallel, "the agent serves one mail or request at a time", odd);
    }
  }
  Pass(result, "two and eight mails in progress, each served while the others waited");
}

// Whole mails from several senders at once.
void CheckRequestsInARow(Session& session, Result& result) {
  const std::uint32_t most = session.Settings().requestsInARow;
  const std::uint32_t began = platform::clock.GetTickCount();
  const std::uint32_t cursor = session.Ring().Cursor();
  std::vector<double> waits;
  std::uint32_t asked = 0;
  std::string odd;
  while (asked < most && !session.IsStopped() && odd.empty()) {
    for (const std::uint32_t type : kTypes) {
      std::deque<Requester> mails;
      for (std::uint32_t lane = 0; lane < kLanes && asked < most; ++lane, ++asked) {
        mails.push_back(session.New(lane, type, PayloadOf(type)));
        mails.back().Push(session.Ring());
      }
      session.Finish(mails);
      for (const Requester& request : mails) {
        if (request.IsAnswered()) {
          waits.push_back(request.BlockMs() + request.AnswerMs());
        } else {
          odd = "; one ended with: " + EndOf(request);
        }
      }
    }
  }
  const auto capacity = static_cast<std::uint32_t>(session.Ring().Capacity());
  const std::uint32_t laps = (cursor % capacity + (session.Ring().Cursor() - cursor)) / capacity;
  const std::string seen = Text(static_cast<std::uint32_t>(waits.size())) + " of " + Text(asked) +
                           " requests answered in " + Text(platform::clock.GetTickCount() - began) +
                           " ms, past the end of the ring " + Text(laps) +
                           (laps == 1 ? " time" : " times") + odd;
  if (!waits.empty()) result.waits = WaitsOf(std::move(waits));
  if (!odd.empty()) {
    return Fail(result, Rule::kInTime, "some of many requests aren't answered in time", seen);
  }
  if (session.IsStopped()) return Unknown(result, "stopped by the user");
  Pass(result, seen);
}

// Opens a block as late as a slow add-in does, and leaves another one alone.
void CheckLateRequester(Session& session, Result& result) {
  std::deque<Requester> one;
  one.push_back(session.New(0, channel::kItemClose));
  session.unopened.push_back(session.New(1, channel::kItemClose));
  one.front().Push(session.Ring());
  session.unopened.back().Push(session.Ring());
  session.unopenedSinceTick = platform::clock.GetTickCount();
  session.WaitFor(session.Settings().lateOpenMs, [] { return false; });
  const std::uint32_t after = platform::clock.GetTickCount() - session.unopenedSinceTick;
  if (!one.front().OpenBlock()) {
    return Fail(result, Rule::kUnopened, "blocks are closed before the add-in's wait is over",
                "a block that was opened after " + Text(after) + " ms was gone");
  }
  session.Finish(one);
  if (!one.front().IsAnswered()) {
    return Fail(result, Rule::kUnopened, "the agent gives up on a slow add-in",
                "a block that was opened after " + Text(after) + " ms: " + EndOf(one.front()));
  }
  Pass(result, "a block that was opened after " + Text(after) + " ms was " + EndOf(one.front()));
}

void CheckUnopenedBlock(Session& session, Result& result) {
  if (session.unopened.empty()) return Unknown(result, "no request was left open");
  const std::string block = session.unopened.front().BlockName();
  const std::uint32_t waited = platform::clock.GetTickCount() - session.unopenedSinceTick;
  const std::uint32_t most = session.Settings().goneMostMs;
  const bool isGone =
      session.WaitFor(most > waited ? most - waited : 0, [&block] { return !Exists(block); });
  const std::string seen = "a block that no add-in opened was " +
                           std::string(isGone ? "gone" : "still there") + " after " +
                           Text(platform::clock.GetTickCount() - session.unopenedSinceTick) + " ms";
  if (isGone) return Pass(result, seen);
  Fail(result, Rule::kUnopened, "blocks that no add-in opens are kept", seen);
}

// The agent dies while a mail is being checked, with a request of it in the ring.
void CheckRestart(Session& session, Result& result) {
  const Options& options = session.Settings();
  if (!options.restart) return LeaveOut(result, "takes --start, to start the agent again");
  session.Ask(0, channel::kItemRecipients, Addresses(1));
  session.New(0, channel::kItemSender, "Conform").Push(session.Ring());
  const std::uint32_t began = platform::clock.GetTickCount();
  options.restart();
  // The add-in still has the ring open for its request.
  constexpr std::uint32_t kHeldMs = 1'000;
  session.WaitFor(kHeldMs, [] { return false; });
  session.Ring().Close();
  const bool hasRing = session.WaitFor(options.restartWaitMs, [&session, &options] {
    return session.Ring().Open(options.ring) &&
           session.Ring().Capacity() == static_cast<std::int32_t>(channel::kRingCapacity);
  });
  if (!hasRing) {
    return Fail(result, Rule::kNewAgent, "the agent doesn't come back after its death",
                "no ring after " + Text(platform::clock.GetTickCount() - began) + " ms");
  }
  for (const std::uint32_t type : kTypes) {
    const Requester request = session.Ask(0, type, PayloadOf(type));
    if (request.IsAnswered()) continue;
    return Fail(result, Rule::kNewAgent, "the agent doesn't answer after its death",
                "item " + Text(type) + ": " + EndOf(request));
  }
  Pass(result, "killed in the middle of a mail; the next mail was answered " +
                   Text(platform::clock.GetTickCount() - began) + " ms later");
}

}  // namespace inspection::conformance
