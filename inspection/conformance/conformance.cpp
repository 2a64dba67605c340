#include "inspection/conformance/conformance.h"

#include <algorithm>
#include <array>
#include <deque>
#include <vector>

#include "inspection/conformance/requester.h"
#include "platform/clock.h"

namespace inspection::conformance {
namespace {

constexpr std::uint32_t kRecipients = 3;
constexpr std::uint32_t kSender = 7;
constexpr std::uint32_t kEnvelopeEnd = 8;
constexpr std::uint32_t kMailEnd = 9;
constexpr std::uint32_t kLanes = 16;
constexpr std::uint32_t kDrainMs = 5'000;
// From here the way past 2^32 is short enough to go it always.
constexpr std::uint32_t kNear = 0U - (16U << 20);

using State = Requester::State;

std::string Text(std::uint32_t number) {
  return std::to_string(number);
}

std::string Ended(const Requester& request) {
  switch (request.Now()) {
    case State::kAnswered:
      return "answered " + std::to_string(request.Answer()) + ", block after " +
             Text(request.BlockMs()) + " ms, answer after " + Text(request.AnswerMs()) + " ms";
    case State::kRefused:
      return "no room in the ring";
    case State::kNoBlock:
      return "no block in the add-in's time";
    case State::kNoAnswer:
      return "no answer in the add-in's time";
    default:
      return "not ended";
  }
}

std::string Addresses(std::uint32_t count) {
  std::string payload;
  for (std::uint32_t i = 0; i < count; ++i) payload += "conform@a.example" + std::string(1, '\0');
  return payload;
}

class Checks {
 public:
  Checks(const Options& options, const std::atomic<bool>& stop,
         const std::function<void(const Result&)>& onResult)
      : m_options(options), m_stop(stop), m_onResult(onResult) {}

  bool Run() {
    if (!agentkit::SharedView().Open(m_options.ring, sizeof(RingHeader))) return false;
    const std::vector<Check> checks = {{"ring", &Checks::Ring},
                                       {"first-request", &Checks::FirstRequest},
                                       {"block-of-6-bytes", &Checks::SmallestBlock},
                                       {"payload-with-nuls", &Checks::Nuls},
                                       {"block-of-1-mb", &Checks::LargeBlock},
                                       {"time-out", &Checks::TimeOut},
                                       {"blocks-released", &Checks::BlocksReleased},
                                       {"many-in-a-row", &Checks::ManyInARow},
                                       {"wrap", &Checks::Wrap},
                                       {"foreign-entries", &Checks::ForeignEntries},
                                       {"split-payload", &Checks::SplitPayload},
                                       {"length-word-at-the-end", &Checks::LengthWordAtTheEnd},
                                       {"cursor-past-2-32", &Checks::CursorPastTwoToThe32},
                                       {"out-of-order", &Checks::OutOfOrder},
                                       {"dead-writer", &Checks::DeadWriter},
                                       {"dead-between-additions", &Checks::DeadBetweenAdditions}};
    for (const Check& check : checks) {
      Result result{check.name, Outcome::kNotTested, m_unfit};
      if (m_stop) {
        result.seen = "stopped by the user";
      } else if (m_unfit.empty()) {
        (this->*check.function)(result);
      }
      m_onResult(result);
    }
    return true;
  }

 private:
  struct Check {
    const char* name;
    void (Checks::*function)(Result&);
  };

  static void Say(Result& result, bool isPass, std::string seen) {
    result.outcome = isPass ? Outcome::kPass : Outcome::kFail;
    result.seen = std::move(seen);
  }

  // Takes all of them to their ends.
  void Finish(std::deque<Requester>& requests, std::uint32_t napMs = 1) const {
    bool isDone = false;
    while (!isDone && !m_stop) {
      isDone = true;
      for (Requester& request : requests) {
        isDone = request.Step(m_options.blockWaitMs, m_options.answerWaitMs) && isDone;
      }
      if (!isDone) platform::clock.Sleep(napMs);
    }
  }

  static bool AreAnswered(const std::deque<Requester>& requests) {
    return std::all_of(requests.begin(), requests.end(),
                       [](const Requester& request) { return request.Now() == State::kAnswered; });
  }

  // One question as the add-in asks it.
  Requester Ask(std::uint32_t type, std::string payload) {
    std::deque<Requester> one;
    one.emplace_back(0, type, std::move(payload));
    one.front().Push(m_writer);
    Finish(one, 20);
    m_blocks.push_back(one.front().BlockName());
    return std::move(one.front());
  }

  void AskAndSay(Result& result, std::uint32_t type, std::string payload, const std::string& what) {
    const Requester request = Ask(type, std::move(payload));
    Say(result, request.Now() == State::kAnswered,
        what + "block of " + Text(request.BlockLength()) + " bytes: " + Ended(request));
  }

  template <typename Condition>
  bool WaitFor(std::uint32_t milliseconds, Condition isTrue) const {
    const std::uint32_t began = platform::clock.GetTickCount();
    while (!isTrue()) {
      if (m_stop || platform::clock.GetTickCount() - began > milliseconds) return false;
      platform::clock.Sleep(1);
    }
    return true;
  }

  bool Drained(std::uint32_t milliseconds = kDrainMs) const {
    return WaitFor(milliseconds, [this] { return m_writer.Used() == 0; });
  }

  void Ring(Result& result) {
    if (!m_writer.Open(m_options.ring)) {
      m_unfit = "the ring is unfit";
      return Say(result, false,
                 "the mapping is smaller than the 262164 bytes that the add-in maps");
    }
    const std::int32_t capacity = m_writer.Capacity();
    const bool isRight = capacity == 1 << channel::kRingSizeExponent;
    if (!isRight) m_unfit = "the ring is unfit";
    Say(result, isRight,
        "capacity " + std::to_string(capacity) + ", used bytes " + std::to_string(m_writer.Used()) +
            ", write cursor " + Text(m_writer.Cursor()));
  }

  void FirstRequest(Result& result) {
    AskAndSay(result, kRecipients, Addresses(1), "");
    if (result.outcome != Outcome::kPass) m_unfit = "the first request was not answered";
  }

  void SmallestBlock(Result& result) { AskAndSay(result, kEnvelopeEnd, "", ""); }

  void Nuls(Result& result) {
    AskAndSay(result, kRecipients, Addresses(3), "3 addresses with a NUL behind each, ");
  }

  void LargeBlock(Result& result) {
    AskAndSay(result, kRecipients, Addresses((1U << 20) / 18 + 1), "");
    Ask(kMailEnd, "");
  }

  // The agent may be quicker than this side, and then there is no time-out to be seen.
  void TimeOut(Result& result) {
    constexpr int kTries = 20;
    constexpr std::uint32_t kLookMs = 300;
    for (int i = 0; i < kTries && !m_stop; ++i) {
      Requester request(0, kEnvelopeEnd, "");
      request.Push(m_writer);
      if (!WaitFor(m_options.blockWaitMs, [&request] { return request.OpenBlock(); })) {
        return Say(result, false, "no block in the add-in's time");
      }
      m_blocks.push_back(request.BlockName());
      request.ExchangeStatus(channel::kStatusWaiting);
      if (request.ExchangeStatus(channel::kStatusGivenUp) > channel::kStatusWaiting) continue;
      platform::clock.Sleep(kLookMs);
      const std::int32_t left = request.ExchangeStatus(channel::kStatusGivenUp);
      return Say(result, left == channel::kStatusGivenUp,
                 left == channel::kStatusGivenUp
                     ? "the 5 was left alone for " + Text(kLookMs) + " ms"
                     : "the 5 was overwritten with " + std::to_string(left));
    }
    result.seen =
        "each of " + std::to_string(kTries) + " requests was answered before it could be given up";
  }

  void BlocksReleased(Result& result) {
    std::size_t open = 0;
    const bool isPass = WaitFor(kDrainMs, [this, &open] {
      open = static_cast<std::size_t>(
          std::count_if(m_blocks.begin(), m_blocks.end(), [](const std::string& name) {
            return agentkit::SharedView().Open(name, sizeof(RequestBlock));
          }));
      return open == 0;
    });
    Say(result, isPass,
        std::to_string(open) + " of " + std::to_string(m_blocks.size()) +
            " blocks are still there " + (isPass ? "" : "5 s ") + "after their requests");
  }

  // Whole mails from several senders at once.
  void ManyInARow(Result& result) {
    constexpr std::array<std::uint32_t, 4> kTypes = {kRecipients, kSender, kEnvelopeEnd, kMailEnd};
    const std::uint32_t began = platform::clock.GetTickCount();
    const std::uint32_t cursor = m_writer.Cursor();
    const auto lap = static_cast<std::uint32_t>(m_writer.Capacity());
    std::uint32_t answered = 0;
    std::uint32_t asked = 0;
    std::string odd;
    while (asked < m_options.requestsInARow && !m_stop && odd.empty()) {
      for (const std::uint32_t type : kTypes) {
        std::deque<Requester> mails;
        for (std::uint32_t lane = 0; lane < kLanes && asked < m_options.requestsInARow; ++lane) {
          const std::string payload = type == kRecipients ? Addresses(2)
                                      : type == kSender   ? "Conform"
                                                          : "";
          mails.emplace_back(lane, type, payload).Push(m_writer);
          ++asked;
        }
        Finish(mails);
        for (const Requester& request : mails) {
          if (request.Now() == State::kAnswered) {
            ++answered;
          } else {
            odd = "; one ended with: " + Ended(request);
          }
        }
      }
    }
    m_lapsGone = (cursor % lap + (m_writer.Cursor() - cursor)) / lap;
    m_areManyAnswered = answered == asked;
    Say(result, m_areManyAnswered,
        Text(answered) + " of " + Text(asked) + " requests answered in " +
            Text(platform::clock.GetTickCount() - began) + " ms" + odd);
  }

  void Wrap(Result& result) {
    if (m_lapsGone == 0) {
      result.seen = "the requests in a row didn't reach the end of the ring";
      return;
    }
    Say(result, m_areManyAnswered && Drained(),
        "past the end " + Text(m_lapsGone) + " times with the requests in a row, then used bytes " +
            std::to_string(m_writer.Used()));
  }

  // An entry that is no request, of that size in all.
  bool PushFiller(std::uint32_t entrySize) {
    const std::optional<std::uint32_t> position = m_writer.Reserve(entrySize - 4);
    if (!position) return false;
    if (m_filler.size() != entrySize - 4) m_filler.assign(entrySize - 4, 0xA5);
    m_writer.Complete(*position, m_filler);
    return true;
  }

  void ForeignEntries(Result& result) {
    const bool isPushed = PushFiller(12) && PushFiller(1004);
    const Requester request = Ask(kMailEnd, "");
    m_takesFillers = isPushed && request.Now() == State::kAnswered && Drained();
    Say(result, m_takesFillers,
        "behind entries of 8 and 1000 bytes that are no requests a request was " + Ended(request) +
            ", then used bytes " + std::to_string(m_writer.Used()));
  }

  // Brings the cursor to `offset` by entries that are no requests.
  bool PlaceAt(std::uint32_t offset) {
    const auto capacity = static_cast<std::uint32_t>(m_writer.Capacity());
    while (m_writer.OffsetOfCursor() != offset && !m_stop) {
      const std::uint32_t way = (offset - m_writer.OffsetOfCursor()) % capacity;
      // An entry takes 8 bytes at least, so never leave a way of 4.
      const std::uint32_t size = way == 4 || way > capacity / 2 ? capacity / 2 - 4 : way;
      if (!PushFiller(size) || !Drained()) return false;
    }
    return !m_stop;
  }

  void RequestAt(Result& result, std::uint32_t beforeEnd) {
    const auto capacity = static_cast<std::uint32_t>(m_writer.Capacity());
    if (!m_takesFillers || !PlaceAt(capacity - beforeEnd)) {
      result.seen =
          "the place can't be reached: the agent doesn't take entries that are no "
          "requests";
      return;
    }
    const std::uint32_t position = m_writer.Cursor();
    const Requester first = Ask(kRecipients, Addresses(1));
    const Requester second = Ask(kMailEnd, "");
    Say(result, first.Now() == State::kAnswered && second.Now() == State::kAnswered,
        "entry at offset " + Text(position % capacity) + ": " + Ended(first) +
            "; the next one: " + Ended(second));
  }

  void SplitPayload(Result& result) { RequestAt(result, 44); }
  void LengthWordAtTheEnd(Result& result) { RequestAt(result, 4); }

  void CursorPastTwoToThe32(Result& result) {
    if (!m_takesFillers) {
      result.seen =
          "the agent doesn't take entries that are no requests, and requests alone are "
          "28 million";
      return;
    }
    if (!m_options.isLongTrip && m_writer.Cursor() < kNear) {
      result.seen = "the cursor stands at " + Text(m_writer.Cursor()) +
                    "; --long sends 4 GB through the ring to get there";
      return;
    }
    const std::uint32_t size = static_cast<std::uint32_t>(m_writer.Capacity()) / 4;
    while (m_writer.Cursor() < 0U - 2 * size && !m_stop) {
      if (!WaitFor(kDrainMs, [this, size] { return PushFiller(size); })) {
        return Say(result, false, "the agent stopped taking at " + Text(m_writer.Cursor()));
      }
    }
    if (!Drained()) return Say(result, false, "the agent stopped taking");
    RequestAt(result, 76);
    const std::uint32_t after = m_writer.Cursor();
    if (after > kNear) result.outcome = Outcome::kFail;
    result.seen += "; the cursor now stands at " + Text(after);
  }

  void OutOfOrder(Result& result) {
    constexpr std::uint32_t kPauseMs = 200;
    std::deque<Requester> two;
    two.emplace_back(0, kMailEnd, "");
    two.emplace_back(1, kMailEnd, "");
    const auto first = m_writer.Reserve(sizeof(ContentRequest));
    const auto second = m_writer.Reserve(sizeof(ContentRequest));
    if (!first || !second) return Say(result, false, "no room in the ring");
    m_writer.Complete(*second, two[1].Record());
    two[1].MarkPushed();
    WaitFor(kPauseMs, [&] { return two[1].Step(m_options.blockWaitMs, m_options.answerWaitMs); });
    const bool isOvertaken = two[1].Now() == State::kAnswered;
    m_writer.Complete(*first, two[0].Record());
    two[0].MarkPushed();
    Finish(two);
    Say(result, AreAnswered(two) && Drained(),
        std::string("the later entry was complete first and was answered ") +
            (isOvertaken ? "first" : "when the earlier one was complete too") +
            "; earlier one: " + Ended(two[0]) + ", later one: " + Ended(two[1]));
  }

  void DeadWriter(Result& result) {
    if (!m_writer.Reserve(sizeof(ContentRequest))) return Say(result, false, "no room in the ring");
    const std::uint32_t began = platform::clock.GetTickCount();
    std::deque<Requester> behind;
    for (std::uint32_t lane = 0; lane < 2; ++lane) {
      behind.emplace_back(lane, kMailEnd, "").Push(m_writer);
    }
    Finish(behind);
    const bool isFreed = Drained(m_options.deadWriterWaitMs);
    const std::uint32_t after = platform::clock.GetTickCount() - began;
    Say(result, AreAnswered(behind) && isFreed,
        "behind an entry that never completes: " + Ended(behind[0]) + "; " +
            (isFreed ? "its room was free again after " : "its room is lost after ") + Text(after) +
            " ms");
    if (!isFreed) m_unfit = "the ring is blocked by the entry that was left unfinished";
  }

  void DeadBetweenAdditions(Result& result) {
    if (!m_writer.CountUsed(channel::kRequestEntrySize)) {
      return Say(result, false, "no room in the ring");
    }
    const std::uint32_t began = platform::clock.GetTickCount();
    const bool isFreed = Drained(m_options.deadWriterWaitMs);
    Say(result, isFreed,
        "152 bytes that were counted and never used were " +
            std::string(isFreed ? "given back after " : "still lost after ") +
            Text(platform::clock.GetTickCount() - began) + " ms");
  }

  const Options& m_options;
  const std::atomic<bool>& m_stop;
  const std::function<void(const Result&)>& m_onResult;
  Writer m_writer;
  std::string m_unfit;  // why no further check makes sense
  std::vector<std::string> m_blocks;
  std::vector<unsigned char> m_filler;
  std::uint32_t m_lapsGone = 0;
  bool m_areManyAnswered = false;
  bool m_takesFillers = false;
};

}  // namespace

bool Run(const Options& options, const std::atomic<bool>& stop,
         const std::function<void(const Result&)>& onResult) {
  return Checks(options, stop, onResult).Run();
}

}  // namespace inspection::conformance
