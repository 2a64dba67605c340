// Sending a mail while the ring's header is wrong: nothing outside the view is written, the mail
// goes out, and the log says what is wrong with the ring.
#include <atomic>
#include <cstring>
#include <limits>
#include <thread>

#include "platform/mappings.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/support/cancel.h"

namespace tests {
namespace {

constexpr std::uint32_t kArea = 1U << channel::kRingSizeExponent;
constexpr std::uint32_t kView = kArea + std::uint32_t{channel::kRingOverhead};
// Far more than the add-in maps, so that writes after the end of its view show.
constexpr std::uint32_t kMapped = 4 * kArea;
constexpr unsigned char kUntouched = 0xEE;

// The mapping of an agent that writes any header and never consumes an entry.
class LyingRing {
 public:
  LyingRing() {
    m_mapping = platform::mappings.CreateFileMappingA(kMapped, channel::kRingName);
    m_view = platform::mappings.MapViewOfFile(m_mapping, platform::kMapReadWrite, 0, 0, kMapped);
    EXPECT_NE(m_view, nullptr);
    Renew();
  }
  ~LyingRing() {
    platform::mappings.UnmapViewOfFile(m_view);
    platform::handles.CloseHandle(m_mapping);
  }

  void Renew() {
    std::memset(m_view, kUntouched, kMapped);
    *Header() = RingHeader{0, 0, 0xC0FFEE11, static_cast<std::int32_t>(kArea)};
  }
  RingHeader* Header() { return static_cast<RingHeader*>(m_view); }
  std::vector<unsigned char> Everything() {
    const auto* const begin = static_cast<const unsigned char*>(m_view);
    return {begin, begin + kMapped};
  }
  // Checks the consumer's word, the spare bytes and everything after the view.
  bool IsIntactOutside() {
    const std::vector<unsigned char> bytes = Everything();
    return Header()->consumerWord == 0xC0FFEE11 &&
           std::all_of(bytes.begin() + kView - 4, bytes.end(),
                       [](unsigned char byte) { return byte == kUntouched; });
  }

 private:
  platform::Handle m_mapping = nullptr;
  void* m_view = nullptr;
};

class GateLyingRing : public GateTest {
 protected:
  GateLyingRing() {
    const auto person = std::make_shared<simulation::mail::MailAddressEntry>();
    person->address = "a@x";
    mail.recipients = {{"A", person}};
    mail.senderName = "Sender";
    mail.subject = "subject";
    StopAgent();
    m_ring.emplace();
    m_sleep.emplace([this](auto, std::uint32_t) { ++m_sleeps; });
  }

  // Sends the mail and returns the channel's lines, without those about missing blocks.
  std::vector<std::string> Send() {
    tick += 10000;
    m_sleeps = 0;
    ForgetLines();
    VARIANT_BOOL cancel = kNotSet;
    EXPECT_EQ(Sink().OnMailSend(&cancel), S_OK);
    EXPECT_EQ(cancel, kNotSet) << "the mail goes out";
    std::vector<std::string> lines;
    for (const std::string& line : Messages()) {
      if (line.starts_with("PushEntry") || line.starts_with("WriteRingBuffer") ||
          line.starts_with("CheckContent:")) {
        lines.push_back(line);
      }
    }
    return lines;
  }

  std::optional<LyingRing> m_ring;
  int m_sleeps = 0;

 private:
  // Made after StopAgent, which restores the Sleep that the agent had replaced.
  std::optional<platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep>>
      m_sleep;
};

// The lines of a mail's four requests: recipients, sender and the two markers.
std::vector<std::string> FourTimes(const std::string& line) {
  std::vector<std::string> lines;
  for (int i = 0; i < 4; ++i) {
    lines.push_back(line);
    lines.push_back("CheckContent: cannot push entry!");
  }
  return lines;
}

TEST_F(GateLyingRing, TakesACapacityOutsideTheViewForAWrongBuffer) {
  const auto view = static_cast<std::int32_t>(kView);
  for (const std::int32_t capacity :
       {view - 15, view - 12, view, static_cast<std::int32_t>(kMapped), 1 << 30,
        std::numeric_limits<std::int32_t>::max(), 0, -1, -4, -262144,
        std::numeric_limits<std::int32_t>::min()}) {
    SCOPED_TRACE(capacity);
    m_ring->Renew();
    m_ring->Header()->capacity = capacity;
    m_ring->Header()->writeCursor = 262140;
    const std::vector<unsigned char> before = m_ring->Everything();
    EXPECT_EQ(Send(), FourTimes("PushEntry: wrong buffer!"));
    EXPECT_TRUE(m_ring->Everything() == before) << "the ring is unchanged";
    EXPECT_EQ(m_sleeps, 0) << "there is nothing to wait for";
  }
}

TEST_F(GateLyingRing, RefusesACapacityThatIsNoMultipleOf4) {
  for (const std::int32_t capacity : {1, 2, 3, 262141, 262142, 262143, 262145, 262147}) {
    SCOPED_TRACE(capacity);
    m_ring->Renew();
    m_ring->Header()->capacity = capacity;
    const std::vector<unsigned char> before = m_ring->Everything();
    EXPECT_EQ(Send(), FourTimes("WriteRingBuffer: synchronization problem!"));
    EXPECT_TRUE(m_ring->Everything() == before) << "the ring is unchanged";
    EXPECT_EQ(m_sleeps, 0);
  }
}

TEST_F(GateLyingRing, RefusesACapacityTooSmallForARequest) {
  for (const std::int32_t capacity : {4, 148}) {
    m_ring->Renew();
    m_ring->Header()->capacity = capacity;
    const std::vector<unsigned char> before = m_ring->Everything();
    EXPECT_EQ(Send(), FourTimes("WriteRingBuffer: synchronization problem!"));
    EXPECT_TRUE(m_ring->Everything() == before);
  }
}

TEST_F(GateLyingRing, TakesHugeUsedBytesForAFullRing) {
  for (const std::int32_t used :
       {262144 - 148, 262145, 1 << 30, std::numeric_limits<std::int32_t>::max() - 151,
        std::numeric_limits<std::int32_t>::max()}) {
    SCOPED_TRACE(used);
    m_ring->Renew();
    m_ring->Header()->usedBytes = used;
    const std::vector<unsigned char> before = m_ring->Everything();
    EXPECT_EQ(Send(), FourTimes("WriteRingBuffer: synchronization problem!"));
    EXPECT_TRUE(m_ring->Everything() == before) << "usedBytes is restored";
    EXPECT_EQ(m_sleeps, 0);
  }
}

// By that count there is space, so the entries are written. Nothing consumes them, and the mail
// goes out when the waits for the blocks have ended.
TEST_F(GateLyingRing, LogsNegativeUsedBytesAndStaysInTheDataArea) {
  m_ring->Header()->usedBytes = -1000;
  m_ring->Header()->writeCursor = 262140 - 152;
  EXPECT_THAT(Send(), ElementsAre("WriteRingBuffer: used bytes were below zero (-1000)!",
                                  "WriteRingBuffer: used bytes were below zero (-848)!",
                                  "WriteRingBuffer: used bytes were below zero (-696)!",
                                  "WriteRingBuffer: used bytes were below zero (-544)!"));
  EXPECT_EQ(m_sleeps, 4 * 399);
  EXPECT_EQ(m_ring->Header()->usedBytes, -1000 + 4 * 152);
  EXPECT_TRUE(m_ring->IsIntactOutside());
}

TEST_F(GateLyingRing, RefusesACursorThatIsNoMultipleOf4) {
  m_ring->Header()->writeCursor = 262141;
  EXPECT_EQ(Send(), FourTimes("WriteRingBuffer: synchronization problem!"));
  EXPECT_EQ(m_ring->Header()->usedBytes, 0);
  EXPECT_TRUE(m_ring->IsIntactOutside());
}

TEST_F(GateLyingRing, StaysInTheViewWhileTheCapacityChanges) {
  std::atomic<bool> stop{false};
  std::thread liar([&] {
    const std::int32_t lies[] = {262144, 1 << 30, 64, 0, -4, 1020, 1 << 20, 262143, 4096};
    for (std::size_t i = 0; !stop.load(std::memory_order_relaxed); ++i) {
      std::atomic_ref<std::int32_t>(m_ring->Header()->capacity)
          .store(lies[i % std::size(lies)], std::memory_order_relaxed);
      std::atomic_ref<std::int32_t>(m_ring->Header()->usedBytes)
          .store(0, std::memory_order_relaxed);
    }
  });
  for (int mails = 0; mails < 12; ++mails) {
    for (const std::string& line : Send()) {
      EXPECT_TRUE(line == "PushEntry: wrong buffer!" ||
                  line == "WriteRingBuffer: synchronization problem!" ||
                  line.starts_with("WriteRingBuffer: used bytes were below zero (") ||
                  line == "CheckContent: cannot push entry!")
          << line;
    }
  }
  stop.store(true);
  liar.join();
  EXPECT_TRUE(m_ring->IsIntactOutside());
}

}  // namespace
}  // namespace tests
