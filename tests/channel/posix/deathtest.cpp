// Processes that are killed at every single instruction of a push, or of a take: whatever they
// leave, the ring goes on serving, and nothing of them stays in it.
//
// The victim is a child that this process leads through its work step by step, as a debugger does,
// and kills with SIGKILL where it stands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/ringbuffer.h"
#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "tests/support/privatenames.h"

namespace {

using agentkit::OpenResult;
using agentkit::RingConsumer;
using agentkit::SharedView;
using agentkit::TakeResult;
using tests::PrivateNames;

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kArea = 1U << 18;
constexpr std::uint32_t kView = kArea + 20;
constexpr std::uint32_t kWait = 10'000;  // after which an unfinished entry is given up

Bytes Pattern(unsigned char seed) {
  Bytes bytes(sizeof(ContentRequest));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(seed + i % 99 + 1);
  }
  return bytes;
}

// A child that waits for the word to begin, and then does its work one instruction at a time.
class Victim {
 public:
  // `prepare` runs at full speed and `work` by steps.
  Victim(const std::function<void()>& prepare, const std::function<void()>& work) {
    m_process = fork();
    if (m_process == 0) {
      prepare();
      if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
      raise(SIGSTOP);
      work();
      _exit(0);
    }
    int status = 0;
    waitpid(m_process, &status, 0);
    m_runs = WIFSTOPPED(status);
  }
  ~Victim() { Kill(); }
  Victim(const Victim&) = delete;
  Victim& operator=(const Victim&) = delete;

  bool Runs() const { return m_runs; }

  // False when the work is done.
  bool Step() {
    int status = 0;
    m_runs = m_runs && ptrace(PTRACE_SINGLESTEP, m_process, nullptr, nullptr) == 0 &&
             waitpid(m_process, &status, 0) == m_process && WIFSTOPPED(status);
    if (!m_runs) m_process = -1;
    return m_runs;
  }

  void Kill() {
    if (m_process <= 0) return;
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    m_process = -1;
    m_runs = false;
  }

 private:
  pid_t m_process = -1;
  bool m_runs = false;
};

// Where to kill: so many steps into that stage of the work.
struct Place {
  int stage;
  std::size_t steps;
};

// Out of the stage that each step of the work was at: each step of a short stage and some of a long
// one, the first and the last among them. Under a sanitizer the work is so much longer that fewer
// have to do.
std::vector<Place> PlacesToDieAt(const std::vector<int>& stages) {
  const std::size_t most = stages.size() > 10000 ? 3 : stages.size() > 3000 ? 8 : 60;
  std::vector<Place> chosen;
  for (std::size_t begin = 0, end = 0; begin < stages.size(); begin = end) {
    while (end < stages.size() && stages[end] == stages[begin]) ++end;
    const std::size_t length = end - begin;
    const std::size_t picked = std::min(length, begin == 0 ? 2 : most);
    for (std::size_t i = 0; i < picked; ++i) {
      chosen.push_back({stages[begin], picked == 1 ? 0 : i * (length - 1) / (picked - 1)});
    }
  }
  return chosen;
}

// Leads the victim there. The work needn't go the same way each time, so what stage it has come to
// is for the caller to see.
template <typename Stage>
void Lead(Victim& victim, const Place& place, Stage stage) {
  while (victim.Step() && stage() < place.stage) {
  }
  for (std::size_t steps = 0; steps < place.steps && stage() == place.stage; ++steps) {
    if (!victim.Step()) return;
  }
}

class Death : public testing::Test {
 protected:
  void SetUp() override {
    const Victim probe([] {}, [] {});
    if (!probe.Runs()) GTEST_SKIP() << "this system lets no process lead another by steps";
  }

  // A new ring, whose cursors stand at `position`. Kept open by this process.
  void MakeRing(std::uint32_t position) {
    m_ring.Close();
    ASSERT_TRUE(m_ring.Create(channel::kRingName, kView));
    Header()->capacity = static_cast<std::int32_t>(kArea);
    Header()->writeCursor = position;
    Header()->consumerWord = position;
  }
  RingHeader* Header() { return reinterpret_cast<RingHeader*>(m_ring.Data()); }
  unsigned char* Area() { return m_ring.Data() + sizeof(RingHeader); }
  bool Push(const Bytes& record) {
    return channel::PushEntry(Header(), kView, record.data(), static_cast<int>(record.size()));
  }

  // What a consumer gets now and, when the wait for the dead is over, later on.
  std::vector<Bytes> Drain(RingConsumer& consumer) {
    std::vector<Bytes> taken;
    for (int round = 0; round < 3; ++round) {
      Bytes payload;
      for (TakeResult result = TakeResult::kPending;;) {
        result = consumer.Take(&payload);
        EXPECT_NE(result, TakeResult::kBroken);
        if (result == TakeResult::kTaken) taken.push_back(payload);
        if (result == TakeResult::kSkipped) ++m_skipped;
        if (result == TakeResult::kPending || result == TakeResult::kEmpty) break;
      }
      m_now += kWait;
    }
    return taken;
  }

  void ExpectRingAsNew() {
    EXPECT_EQ(Header()->usedBytes, 0);
    EXPECT_EQ(Header()->consumerWord, Header()->writeCursor);
    EXPECT_TRUE(Bytes(Area(), Area() + kArea) == Bytes(kArea, 0)) << "the data area is clear";
  }

  PrivateNames m_names;
  SharedView m_ring;
  int m_skipped = 0;
  std::uint32_t m_now = 0xFFFF0000;

 private:
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> m_ticks{
      [this](auto) { return m_now; }};
};

// Where a writer stands, by what it has left in the ring.
enum class Stage { kNothing, kCounted, kReserved, kCopying, kCopied, kComplete };

TEST_F(Death, AWriterAtAnyInstructionOfItsPush) {
  const Bytes record = Pattern(1);
  const Bytes next = Pattern(100);
  for (const std::uint32_t position : {0U, kArea - 100}) {  // in one piece, and split
    const auto byteAt = [&](std::size_t i) {
      return Area()[(position + sizeof(RingEntry) + i) % kArea];
    };
    const auto stage = [&] {
      std::size_t copied = 0;
      for (std::size_t i = 0; i < record.size(); ++i) copied += byteAt(i) == record[i] ? 1 : 0;
      if (Header()->usedBytes == 0) return Stage::kNothing;
      if (Header()->writeCursor == position) return Stage::kCounted;
      std::uint32_t length = 0;
      std::memcpy(&length, Area() + position % kArea, sizeof(length));
      if (length != 0) return Stage::kComplete;
      if (copied == 0) return Stage::kReserved;
      return copied < record.size() ? Stage::kCopying : Stage::kCopied;
    };

    MakeRing(position);
    std::vector<int> stages;
    for (Victim writer([] {}, [&] { Push(record); }); writer.Step();) {
      stages.push_back(static_cast<int>(stage()));
    }
    std::map<Stage, int> deaths;
    for (const Place& place : PlacesToDieAt(stages)) {
      SCOPED_TRACE("killed " + std::to_string(place.steps) + " instructions into stage " +
                   std::to_string(place.stage));
      MakeRing(position);
      Victim writer([] {}, [&] { Push(record); });
      Lead(writer, place, [&] { return static_cast<int>(stage()); });
      const Stage died = stage();
      writer.Kill();
      ++deaths[died];
      RingConsumer consumer;
      ASSERT_EQ(consumer.TakeOver({.deadWriterMs = kWait}), OpenResult::kOpened);
      ASSERT_TRUE(Push(next)) << "the next one isn't held up";
      m_skipped = 0;
      const std::vector<Bytes> taken = Drain(consumer);
      const bool isThere = died == Stage::kComplete;
      EXPECT_EQ(taken, isThere ? std::vector<Bytes>({record, next}) : std::vector<Bytes>({next}));
      EXPECT_EQ(m_skipped, died > Stage::kCounted && !isThere ? 1 : 0);
      ExpectRingAsNew();
      if (HasFailure()) return;
    }
    for (const Stage wanted : {Stage::kNothing, Stage::kCounted, Stage::kReserved, Stage::kCopying,
                               Stage::kCopied, Stage::kComplete}) {
      EXPECT_GT(deaths[wanted], 0) << "nobody died at stage " << static_cast<int>(wanted);
    }
  }
}

// The agent's side: the next agent takes the ring over. An entry that the dead one has read may
// arrive again or be lost; nothing else is lost, and nothing is torn.
TEST_F(Death, AConsumerAtAnyInstructionOfTakingAndFreeing) {
  const Bytes first = Pattern(1);
  const Bytes second = Pattern(100);
  for (const std::uint32_t position : {0U, kArea - 100}) {
    int repeated = 0;
    int skipped = 0;
    int gone = 0;
    const auto isCleared = [&] {
      return *reinterpret_cast<std::uint32_t*>(Area() + position % kArea) == 0;
    };
    const auto stage = [&] {
      return (isCleared() ? 1 : 0) + (Header()->consumerWord != position ? 1 : 0) +
             (Header()->usedBytes == 152 ? 1 : 0);
    };
    RingConsumer dying;
    Bytes payload(sizeof(ContentRequest));
    const auto prepare = [&] { dying.TakeOver({}); };
    const auto work = [&] {
      dying.Take(&payload);
      dying.Close();
    };
    const auto fill = [&] {
      MakeRing(position);
      ASSERT_TRUE(Push(first));
      ASSERT_TRUE(Push(second));
    };
    fill();
    std::vector<int> stages;
    for (Victim victim(prepare, work); victim.Step();) stages.push_back(stage());
    for (const Place& place : PlacesToDieAt(stages)) {
      SCOPED_TRACE("killed " + std::to_string(place.steps) + " instructions into stage " +
                   std::to_string(place.stage));
      fill();
      Victim victim(prepare, work);
      Lead(victim, place, stage);
      const bool wasRead = isCleared();
      victim.Kill();

      EXPECT_GE(Header()->usedBytes,
                static_cast<std::int32_t>(Header()->writeCursor - Header()->consumerWord));
      RingConsumer next;
      ASSERT_EQ(next.TakeOver({.deadWriterMs = kWait}), OpenResult::kOpened);
      m_skipped = 0;
      const std::vector<Bytes> taken = Drain(next);
      if (!wasRead) {
        EXPECT_THAT(taken, testing::ElementsAre(first, second));
        ++repeated;
      } else {
        EXPECT_THAT(taken, testing::ElementsAre(second));
        ++(m_skipped == 1 ? skipped : gone);
      }
      ExpectRingAsNew();
      if (HasFailure()) return;
    }
    EXPECT_GT(repeated, 0);
    EXPECT_GT(skipped, 0) << "nobody died while it cleared the entry";
    EXPECT_GT(gone, 0);
  }
}

}  // namespace
