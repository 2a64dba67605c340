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

#include <cerrno>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "channel/ringbuffer.h"
#include "devkit/agentkit/agentkit.h"
#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "tests/support/privatenames.h"

namespace {

using agentkit::OpenResult;
using agentkit::RingConsumer;
using agentkit::SharedView;
using agentkit::TakeResult;
using testsupport::PrivateNames;

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

// Leads a writer `steps` instructions into its push and kills it there. Nothing if it was done
// before.
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

    std::map<Stage, int> deaths;
    bool isNear = false;
    int stride = 1;
    for (int steps = 0;; steps += stride) {
      SCOPED_TRACE("killed behind " + std::to_string(steps) + " instructions");
      MakeRing(position);
      Victim writer([] {}, [&] { Push(record); });
      int done = 0;
      while (done < steps && writer.Step()) ++done;
      if (!writer.Runs()) break;
      const Stage died = stage();
      writer.Kill();
      ++deaths[died];
      // Outside the push an instruction now and then is enough. Where it has begun meanwhile, back
      // to where it hadn't.
      if (!isNear && died != Stage::kNothing) {
        isNear = true;
        steps -= stride;
      }
      stride = died == Stage::kComplete || !isNear ? 32 : 1;

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

// The agent's side: the next agent takes the ring over. What the dead one has read may come once
// more or be gone with it; nothing else is lost, and nothing is torn.
TEST_F(Death, AConsumerAtAnyInstructionOfItsTake) {
  const Bytes first = Pattern(1);
  const Bytes second = Pattern(100);
  for (const std::uint32_t position : {0U, kArea - 100}) {
    int repeated = 0;
    int skipped = 0;
    int gone = 0;
    int stride = 1;
    for (int steps = 0;; steps += stride) {
      SCOPED_TRACE("killed behind " + std::to_string(steps) + " instructions");
      MakeRing(position);
      ASSERT_TRUE(Push(first));
      ASSERT_TRUE(Push(second));
      RingConsumer dying;
      Bytes payload(sizeof(ContentRequest));
      Victim victim([&] { dying.TakeOver({}); }, [&] { dying.Take(&payload); });
      int done = 0;
      while (done < steps && victim.Step()) ++done;
      if (!victim.Runs()) break;
      const bool isCleared = *reinterpret_cast<std::uint32_t*>(Area() + position % kArea) == 0;
      const bool isFreed = Header()->usedBytes == 152;
      victim.Kill();
      // The clearing and all behind it at every instruction, the rest now and then.
      stride = isCleared && !isFreed ? 1 : 16;

      EXPECT_GE(Header()->usedBytes,
                static_cast<std::int32_t>(Header()->writeCursor - Header()->consumerWord));
      RingConsumer next;
      ASSERT_EQ(next.TakeOver({.deadWriterMs = kWait}), OpenResult::kOpened);
      m_skipped = 0;
      const std::vector<Bytes> taken = Drain(next);
      if (!isCleared) {
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
