// Compares the ring with a floor and with two well-known queues.
//
// The floor makes the same locked additions and copies as the ring and leaves out everything else:
// the checks, the length words, the clearing. The peers are boost::lockfree::queue with a fixed
// size and moodycamel::ConcurrentQueue. All carry the same 148-byte record. The ring is the one
// that the add-in writes (channel::PushEntry, with the view checked) and that agents read
// (agentkit::RingConsumer).
//
// Pushes are timed in batches that fit, without the draining in between. A batch that the scheduler
// interrupted (five times the best) is measured again. Counters: `allocations` in the timed part.
// Use medians of many short repetitions in random order, so that what disturbs the machine disturbs
// all alike:
//
//   bench_ring --benchmark_enable_random_interleaving=true
//     --benchmark_repetitions=101 --benchmark_min_time=0.005
#include <benchmark/benchmark.h>
#include <concurrentqueue/concurrentqueue.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/lockfree/queue.hpp>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/ringbuffer.h"

namespace {

std::atomic<std::uint64_t> g_allocations{0};

void* CountedAllocation(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return CountedAllocation(size);
}
void* operator new[](std::size_t size) {
  return CountedAllocation(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kCapacity = channel::kRingCapacity;
constexpr std::uint32_t kViewSize = channel::kRingViewSize;
constexpr int kBatch = 1024;
constexpr std::size_t kSlots = kCapacity / channel::kRequestEntrySize;

ContentRequest MakeRequest() {
  ContentRequest request{};
  request.dwRequestKind = 4;
  std::strcpy(request.szBlockName, "Global\\00000abc0000123400042");
  return request;
}

// Queues that push and take one record without waiting. All but moodycamel's work in memory that
// processes share. kKeepsOrder: whether records of one writer arrive whole and in order.

class Ring {
 public:
  static constexpr bool kKeepsOrder = true;

  Ring() {
    const std::string name = "Global\\bench" + std::to_string(getpid());
    if (m_consumer.Create({.name = name}) != agentkit::OpenResult::kOpened) std::abort();
    m_header = const_cast<RingHeader*>(m_consumer.Header());
  }
  bool Push(const ContentRequest& request) {
    return channel::PushEntry(m_header, kViewSize, &request, sizeof(request));
  }
  const ContentRequest* Take() {
    if (m_consumer.Take(&m_bytes) != agentkit::TakeResult::kTaken) return nullptr;
    return reinterpret_cast<const ContentRequest*>(m_bytes.data());
  }
  RingHeader* Header() { return m_header; }

 private:
  agentkit::RingConsumer m_consumer;
  std::vector<unsigned char> m_bytes;
  // The writers read it, so it has a cache line that the consumer doesn't write to.
  alignas(64) RingHeader* m_header;
};

class Boost {
 public:
  static constexpr bool kKeepsOrder = true;

  bool Push(const ContentRequest& request) { return m_queue.push(request); }
  const ContentRequest* Take() { return m_queue.pop(m_taken) ? &m_taken : nullptr; }

 private:
  ContentRequest m_taken;
  boost::lockfree::queue<ContentRequest, boost::lockfree::capacity<kSlots>> m_queue;
};

class Moodycamel {
 public:
  static constexpr bool kKeepsOrder = true;

  bool Push(const ContentRequest& request) { return m_queue.try_enqueue(request); }
  const ContentRequest* Take() { return m_queue.try_dequeue(m_taken) ? &m_taken : nullptr; }

 private:
  ContentRequest m_taken;
  moodycamel::ConcurrentQueue<ContentRequest> m_queue{2 * kSlots};
};

// The ring's additions and copies without its protocol. It is never full, and its reader may see
// records that are only half written.
class Floor {
 public:
  static constexpr bool kKeepsOrder = false;

  bool Push(const ContentRequest& request) {
    m_usedBytes.fetch_add(152, std::memory_order_seq_cst);
    const std::uint32_t cursor = m_writeCursor.fetch_add(152, std::memory_order_seq_cst);
    std::memcpy(m_area + cursor % kCapacity + 4, &request, sizeof(request));
    return true;
  }
  const ContentRequest* Take() {
    if (m_position == m_writeCursor.load(std::memory_order_acquire)) return nullptr;
    std::memcpy(&m_taken, m_area + m_position % kCapacity + 4, sizeof(m_taken));
    m_position += 152;
    m_usedBytes.fetch_sub(152, std::memory_order_acq_rel);
    return &m_taken;
  }

 private:
  // On one cache line, as in the ring's header.
  alignas(64) std::atomic<std::int32_t> m_usedBytes{0};
  std::atomic<std::uint32_t> m_writeCursor{0};
  alignas(64) std::uint32_t m_position = 0;
  ContentRequest m_taken;
  alignas(64) unsigned char m_area[kViewSize + sizeof(ContentRequest)] = {};
};

template <typename Queue>
void Drain(Queue& queue) {
  while (queue.Take() != nullptr) {
  }
}

void CountAllocations(benchmark::State& state, std::uint64_t count) {
  state.counters["allocations"] = static_cast<double>(count);
}

template <typename Queue>
void Push(benchmark::State& state) {
  const auto queue = std::make_unique<Queue>();
  const ContentRequest request = MakeRequest();
  std::uint64_t allocations = 0;
  double best = 1;  // seconds
  while (state.KeepRunningBatch(kBatch)) {
    double seconds;
    do {
      const std::uint64_t before = g_allocations.load(std::memory_order_relaxed);
      const auto start = Clock::now();
      for (int i = 0; i < kBatch; ++i) {
        if (!queue->Push(request)) std::abort();
        benchmark::ClobberMemory();
      }
      seconds = std::chrono::duration<double>(Clock::now() - start).count();
      allocations += g_allocations.load(std::memory_order_relaxed) - before;
      Drain(*queue);
      best = std::min(best, seconds);
    } while (seconds > 5 * best);
    state.SetIterationTime(seconds);
  }
  CountAllocations(state, allocations);
}

// A number of records in a row, all pushed and then all taken. A record that is taken at once also
// waits for the processor, which still has its bytes on the way to the cache. A consumer in another
// process never sees them that early.
template <typename Queue>
void PushAndTake(benchmark::State& state) {
  const std::int64_t inARow = state.range(0);
  const auto queue = std::make_unique<Queue>();
  const ContentRequest request = MakeRequest();
  queue->Push(request);
  Drain(*queue);  // so that allocations made only once aren't counted
  const std::uint64_t before = g_allocations.load(std::memory_order_relaxed);
  while (state.KeepRunningBatch(inARow)) {
    for (std::int64_t i = 0; i < inARow; ++i) {
      if (!queue->Push(request)) std::abort();
      benchmark::ClobberMemory();
    }
    for (std::int64_t i = 0; i < inARow; ++i) {
      const ContentRequest* const taken = queue->Take();
      if (taken == nullptr) std::abort();
      benchmark::DoNotOptimize(*taken);
    }
  }
  CountAllocations(state, g_allocations.load(std::memory_order_relaxed) - before);
}

template <typename Queue>
void RefusedPush(benchmark::State& state) {
  const auto queue = std::make_unique<Queue>();
  const ContentRequest request = MakeRequest();
  while (queue->Push(request)) {
  }
  for (auto _ : state) {
    if (queue->Push(request)) std::abort();
  }
}

template <typename Queue>
void PushMany(Queue& queue, std::uint32_t writer, std::uint32_t count) {
  ContentRequest request = MakeRequest();
  request.dwProcessId = writer;
  for (std::uint32_t i = 0; i < count; ++i) {
    request.dwThreadId = i;
    while (!queue.Push(request)) std::this_thread::yield();
  }
}

// Takes everything that the writers push. False if the records of one writer are out of order.
template <typename Queue>
bool TakeMany(Queue& queue, std::uint32_t writers, std::uint32_t perWriter) {
  std::vector<std::uint32_t> next(writers, 0);
  for (std::uint32_t taken = 0; taken < writers * perWriter;) {
    const ContentRequest* const request = queue.Take();
    if (request == nullptr) {
      std::this_thread::yield();
      continue;
    }
    if (Queue::kKeepsOrder &&
        (request->dwProcessId >= writers || request->dwThreadId != next[request->dwProcessId]++)) {
      return false;
    }
    ++taken;
  }
  return true;
}

constexpr std::uint32_t kTransfer = 100'000;  // records in one iteration, from all writers

// The processors that this program may use, in order.
std::vector<int> Processors() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) std::abort();
  std::vector<int> numbers;
  for (int number = 0; number < CPU_SETSIZE; ++number) {
    if (CPU_ISSET(number, &set)) numbers.push_back(number);
  }
  return numbers;
}

// Where writers and consumer run. The scheduler would choose one of these, a different one in each
// run, and the figures differ by a factor of four.
enum class Place {
  kTogether,       // all on one processor: only one of them runs at a time
  kConsumerApart,  // the writers on one, the consumer on the other: records move between caches
  kWritersApart,   // a writer on each, the consumer with the first: the writers collide
};

class Placement {
 public:
  // Moves the calling thread, the consumer, to the first processor for the object's life.
  explicit Placement(Place place)
      : m_place(place), m_all(Processors()), m_other(m_all.size() > 1 ? m_all[1] : m_all[0]) {
    MoveTo({m_all[0]});
  }
  ~Placement() { MoveTo(m_all); }
  Placement(const Placement&) = delete;
  Placement& operator=(const Placement&) = delete;

  // Called by each writer, counted from 0.
  void MoveWriter(std::uint32_t writer) const {
    const bool isAway =
        m_place == Place::kConsumerApart || (m_place == Place::kWritersApart && writer % 2 != 0);
    MoveTo({isAway ? m_other : m_all[0]});
  }
  bool IsPossible() const { return m_place == Place::kTogether || m_all.size() > 1; }

 private:
  static void MoveTo(const std::vector<int>& numbers) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (const int number : numbers) CPU_SET(number, &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) std::abort();
  }

  const Place m_place;
  const std::vector<int> m_all;
  const int m_other;
};

// Writers in threads; this thread is the consumer. Measures the time from the start signal to the
// last record.
template <typename Queue>
void WritersInThreads(benchmark::State& state) {
  const auto writers = static_cast<std::uint32_t>(state.range(0));
  const Placement placement(static_cast<Place>(state.range(1)));
  if (!placement.IsPossible()) return state.SkipWithError("one processor only");
  for (auto _ : state) {
    const auto queue = std::make_unique<Queue>();
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (std::uint32_t writer = 0; writer < writers; ++writer) {
      threads.emplace_back([&, writer] {
        placement.MoveWriter(writer);
        while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
        PushMany(*queue, writer, kTransfer / writers);
      });
    }
    const auto start = Clock::now();
    go.store(true, std::memory_order_release);
    if (!TakeMany(*queue, writers, kTransfer / writers)) state.SkipWithError("out of order");
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    for (std::thread& thread : threads) thread.join();
  }
  state.SetItemsProcessed(state.iterations() * kTransfer);
}

// A queue in memory that forked processes share.
template <typename Queue>
class Shared {
 public:
  Shared() {
    void* const memory =
        mmap(nullptr, sizeof(Content), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) std::abort();
    m_content = new (memory) Content;
  }
  ~Shared() {
    m_content->~Content();
    munmap(m_content, sizeof(Content));
  }
  Queue& Get() { return m_content->queue; }
  std::atomic<bool>& Go() { return m_content->go; }

 private:
  struct Content {
    std::atomic<bool> go{false};
    Queue queue;
  };
  Content* m_content;
};

// The same with writers in processes. The ring is in a named mapping, as in use; the other queues
// are in anonymous shared memory.
template <typename Queue>
void WritersInProcesses(benchmark::State& state) {
  const auto writers = static_cast<std::uint32_t>(state.range(0));
  const Placement placement(static_cast<Place>(state.range(1)));
  if (!placement.IsPossible()) return state.SkipWithError("one processor only");
  for (auto _ : state) {
    Shared<Queue> shared;
    std::vector<pid_t> children;
    for (std::uint32_t writer = 0; writer < writers; ++writer) {
      const pid_t child = fork();
      if (child == 0) {
        placement.MoveWriter(writer);
        while (!shared.Go().load(std::memory_order_acquire)) std::this_thread::yield();
        PushMany(shared.Get(), writer, kTransfer / writers);
        _exit(0);
      }
      children.push_back(child);
    }
    const auto start = Clock::now();
    shared.Go().store(true, std::memory_order_release);
    if (!TakeMany(shared.Get(), writers, kTransfer / writers)) state.SkipWithError("out of order");
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    for (const pid_t child : children) waitpid(child, nullptr, 0);
  }
  state.SetItemsProcessed(state.iterations() * kTransfer);
}

BENCHMARK(Push<Floor>)->UseManualTime();
BENCHMARK(Push<Ring>)->UseManualTime();
BENCHMARK(Push<Boost>)->UseManualTime();
BENCHMARK(Push<Moodycamel>)->UseManualTime();

BENCHMARK(PushAndTake<Ring>)->Arg(1)->Arg(16);
BENCHMARK(PushAndTake<Boost>)->Arg(1)->Arg(16);
BENCHMARK(PushAndTake<Moodycamel>)->Arg(1)->Arg(16);

BENCHMARK(RefusedPush<Ring>);
BENCHMARK(RefusedPush<Boost>);
BENCHMARK(RefusedPush<Moodycamel>);

void EachNumberAndPlace(benchmark::internal::Benchmark* transfer) {
  transfer->ArgNames({"writers", "place"});
  for (const Place place : {Place::kTogether, Place::kConsumerApart}) {
    transfer->Args({1, static_cast<int>(place)})->Args({2, static_cast<int>(place)});
  }
  transfer->Args({2, static_cast<int>(Place::kWritersApart)});
  transfer->UseManualTime()->Unit(benchmark::kMillisecond);
}
BENCHMARK(WritersInThreads<Floor>)->Apply(EachNumberAndPlace);
BENCHMARK(WritersInThreads<Ring>)->Apply(EachNumberAndPlace);
BENCHMARK(WritersInThreads<Boost>)->Apply(EachNumberAndPlace);
BENCHMARK(WritersInThreads<Moodycamel>)->Apply(EachNumberAndPlace);
BENCHMARK(WritersInProcesses<Floor>)->Apply(EachNumberAndPlace);
BENCHMARK(WritersInProcesses<Ring>)->Apply(EachNumberAndPlace);
BENCHMARK(WritersInProcesses<Boost>)->Apply(EachNumberAndPlace);

}  // namespace

BENCHMARK_MAIN();
