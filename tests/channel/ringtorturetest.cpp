// Writers in several threads and one consumer, in plain memory.
//
// Each writer pushes records with its number and a count, and tries again when the ring is full.
// This test has its own consumer: it takes an entry when its length word isn't zero, checks that
// the record is whole and that each writer's count goes up by one, clears the entry and frees its
// space. The ring is small, so it wraps and fills constantly.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "channel/ringbuffer.h"
#include "tests/channel/memoryring.h"
#include "tests/support/seed.h"

namespace {

using tests::MemoryRing;

constexpr std::uint32_t kWords = sizeof(ContentRequest) / 4;
using Record = std::array<std::uint32_t, kWords>;

// A record's words depend on its writer and count, so a torn record is noticed.
Record MakeRecord(std::uint32_t writer, std::uint32_t count) {
  Record record{};
  record[0] = writer;
  record[1] = count;
  for (std::uint32_t i = 2; i < kWords; ++i) {
    record[i] = (writer * 0x9E3779B9U + count) ^ (i * 0x85EBCA6BU);
  }
  return record;
}

class Consumer {
 public:
  Consumer(RingHeader* ring, std::uint32_t position) : m_ring(ring), m_position(position) {}

  bool Take(Record* record) {
    const auto capacity = static_cast<std::uint32_t>(m_ring->capacity);
    std::uint32_t* const data = reinterpret_cast<std::uint32_t*>(m_ring + 1);
    const std::uint32_t words = capacity / 4;
    const std::uint32_t start = m_position % capacity / 4;
    if (std::atomic_ref<std::uint32_t>(data[start]).load(std::memory_order_acquire) !=
        sizeof(ContentRequest)) {
      return false;
    }
    for (std::uint32_t i = 0; i < kWords; ++i) {
      (*record)[i] = data[(start + 1 + i) % words];
    }
    for (std::uint32_t i = 0; i <= kWords; ++i) {
      data[(start + i) % words] = 0;
    }
    m_position += channel::kRequestEntrySize;
    std::atomic_ref<std::int32_t>(m_ring->usedBytes)
        .fetch_sub(static_cast<std::int32_t>(channel::kRequestEntrySize),
                   std::memory_order_release);
    return true;
  }

 private:
  RingHeader* m_ring;
  std::uint32_t m_position;
};

void Torture(std::uint32_t capacity, std::uint32_t writers, std::uint32_t perWriter) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  MemoryRing ring(capacity);
  std::memset(ring.Data(), 0, capacity);
  const std::uint32_t start = 0U - perWriter * 152 / 2 / capacity * capacity;
  ring.Header()->writeCursor = start;  // the cursor passes 2^32 about half-way

  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (std::uint32_t writer = 0; writer < writers; ++writer) {
    threads.emplace_back([&, writer] {
      std::minstd_rand random(seed + writer);
      while (!go.load(std::memory_order_acquire)) {
        std::this_thread::yield();
      }
      for (std::uint32_t count = 0; count < perWriter; ++count) {
        const Record record = MakeRecord(writer, count);
        while (!channel::PushEntry(ring.Header(), ring.ViewSize(), record.data(),
                                   sizeof(ContentRequest))) {
          std::this_thread::yield();
        }
        if (random() % 64 == 0) {
          std::this_thread::yield();
        }
      }
    });
  }

  Consumer consumer(ring.Header(), start);
  std::vector<std::uint32_t> next(writers, 0);
  std::uint32_t taken = 0;
  std::uint32_t wrong = 0;
  go.store(true, std::memory_order_release);
  while (taken < writers * perWriter) {
    Record record{};
    if (!consumer.Take(&record)) {
      std::this_thread::yield();
      continue;
    }
    ++taken;
    if (record[0] >= writers || record != MakeRecord(record[0], next[record[0]])) {
      ++wrong;
      break;
    }
    ++next[record[0]];
  }
  if (wrong != 0) {  // let the writers finish before the test ends
    ring.Header()->capacity = static_cast<std::int32_t>(capacity);
    std::thread drain([&] {
      Record record{};
      while (std::atomic_ref<std::uint32_t>(ring.Header()->writeCursor).load() - start <
             writers * perWriter * 152) {
        consumer.Take(&record);
        std::this_thread::yield();
      }
    });
    drain.join();
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0U) << "an entry was torn, lost or out of its writer's order";
  EXPECT_EQ(next, std::vector<std::uint32_t>(writers, perWriter));
  EXPECT_EQ(ring.Header()->usedBytes, 0);
  EXPECT_TRUE(ring.IsIntactOutside());
}

TEST(RingTorture, OneWriterAndTheConsumerMeetOverASmallRing) {
  Torture(512, 1, 20000);
}
TEST(RingTorture, ThreeWritersLoseAndTearNothingOverASmallRing) {
  Torture(1024, 3, 8000);
}
TEST(RingTorture, FourWritersLoseAndTearNothingOverTheFullRing) {
  Torture(262144, 4, 8000);
}

// Another thread keeps changing the header's capacity. The push uses the one value that it read and
// stays inside its view.
TEST(RingTorture, CapacityThatChangesBetweenReadsNeverLeadsOutsideTheView) {
  MemoryRing ring(1024);
  std::atomic<bool> stop{false};
  std::thread liar([&] {
    const std::int32_t lies[] = {1024, 1 << 30, 64, 0, -4, 1020, 262144, 1023};
    for (std::size_t i = 0; !stop.load(std::memory_order_relaxed); ++i) {
      std::atomic_ref<std::int32_t>(ring.Header()->capacity)
          .store(lies[i % std::size(lies)], std::memory_order_relaxed);
    }
  });
  const Record record = MakeRecord(1, 1);
  std::uint32_t pushed = 0;
  // On a busy machine, the other thread may be suspended for long with an invalid value stored.
  for (int i = 0; i < 200000 || (pushed == 0 && i < 100000000); ++i) {
    if (i % 256 == 0) std::this_thread::yield();
    if (channel::PushEntry(ring.Header(), ring.ViewSize(), record.data(), sizeof(ContentRequest))) {
      ++pushed;
      std::atomic_ref<std::int32_t>(ring.Header()->usedBytes).store(0);
    }
  }
  stop.store(true);
  liar.join();
  EXPECT_GT(pushed, 0U);
  EXPECT_TRUE(ring.IsIntactOutside());
}

}  // namespace
