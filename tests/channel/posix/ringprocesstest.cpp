// Writers in several processes on one named ring, one of them the real AgentChannel, with the
// agent's kit as the consumer in this process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "agentkit/agentkit.h"
#include "channel/agentchannel.h"
#include "channel/ringbuffer.h"
#include "platform/clock.h"
#include "platform/scopedreplacement.h"
#include "tests/support/privatenames.h"

namespace {

using agentkit::Agent;
using agentkit::OpenResult;
using agentkit::Request;
using agentkit::SharedView;
using agentkit::TakeResult;
using platform::ScopedReplacement;
using tests::PrivateNames;

constexpr std::uint32_t kForeignKind = 77;  // entries of the bare writers
constexpr std::uint32_t kWriters = 3;
constexpr std::uint32_t kPerWriter = 6000;  // several laps
constexpr int kQuestions = 300;

// A record of which every byte follows from its writer and count.
ContentRequest MakeForeign(std::uint32_t writer, std::uint32_t count) {
  ContentRequest record{};
  record.dwProcessId = writer;
  record.dwThreadId = count;
  record.dwRequestKind = kForeignKind;
  for (std::size_t i = 0; i < sizeof(record.szBlockName); ++i) {
    record.szBlockName[i] = static_cast<char>(writer * 31 + count * 7 + i);
  }
  return record;
}

// The work of a bare writer's process. Its exit status is 0 when everything went in.
int PushAll(std::uint32_t writer) {
  SharedView ring;
  const std::uint32_t size = (1U << 18) + 20;
  if (!ring.Open(channel::kRingName, size)) return 1;
  auto* const header = reinterpret_cast<RingHeader*>(ring.Data());
  for (std::uint32_t count = 0; count < kPerWriter; ++count) {
    const ContentRequest record = MakeForeign(writer, count);
    while (!channel::PushEntry(header, size, &record, sizeof(record))) {
      std::this_thread::yield();
    }
  }
  return 0;
}

// The work of the add-in's process: asks, with the waits shortened, and expects the answer that the
// agent's rule gives.
int AskAll() {
  ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> sleep(
      [](auto, auto) { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
  GetAgentChannel()->m_bChallengeResponse = true;
  const int answers[] = {3, 4, 7};
  for (int i = 0; i < kQuestions; ++i) {
    const std::string payload(static_cast<std::size_t>(i * 37 % 5000), static_cast<char>(i));
    const int expected = answers[payload.size() % 3];
    // A ring that the bare writers have filled is a failure of the moment: ask again.
    int answer = 1;
    for (int tries = 0; tries < 1000 && answer == 1; ++tries) {
      answer = GetAgentChannel()->CheckContent(
          payload.data(), static_cast<std::uint32_t>(payload.size()), 1, "name");
      if (answer == 1) std::this_thread::yield();
    }
    if (answer != expected) return 2;
  }
  return 0;
}

template <typename Work>
pid_t InAnotherProcess(Work work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  return child;
}

TEST(RingAcrossProcesses, EveryEntryOfEveryWriterArrivesWholeAndInItsOrder) {
  PrivateNames names;
  std::vector<std::uint32_t> next(kWriters, 0);
  int wrong = 0;
  int asked = 0;
  Agent agent({.onRequest =
                   [&](const Request& request) {
                     ++asked;
                     const int answers[] = {3, 4, 7};
                     return std::optional<std::int32_t>(answers[request.payload.size() % 3]);
                   },
               .onOddEntry =
                   [&](TakeResult what, const std::vector<unsigned char>& bytes) {
                     ContentRequest record{};
                     if (what != TakeResult::kTaken || bytes.size() != sizeof(record)) {
                       ++wrong;
                       return;
                     }
                     std::memcpy(&record, bytes.data(), sizeof(record));
                     const std::uint32_t writer = record.dwProcessId;
                     const ContentRequest expected =
                         MakeForeign(writer, writer < kWriters ? next[writer]++ : 0);
                     wrong += std::memcmp(&record, &expected, sizeof(record)) != 0 ? 1 : 0;
                   }});
  ASSERT_EQ(agent.Start(), OpenResult::kOpened);

  std::vector<pid_t> children;
  for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
    children.push_back(InAnotherProcess([&] { return PushAll(writer); }));
  }
  children.push_back(InAnotherProcess(AskAll));
  std::size_t running = children.size();
  while (running > 0) {
    if (!agent.Poll()) std::this_thread::yield();
    for (pid_t& child : children) {
      int status = 0;
      if (child > 0 && waitpid(child, &status, WNOHANG) == child) {
        EXPECT_EQ(status, 0) << "writer " << (&child - children.data());
        child = 0;
        --running;
      }
    }
  }
  while (agent.Poll()) {
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(next, std::vector<std::uint32_t>(kWriters, kPerWriter));
  EXPECT_EQ(asked, kQuestions);
  EXPECT_EQ(agent.Ring().Header()->usedBytes, 0);
  EXPECT_EQ(agent.Ring().Header()->writeCursor, agent.Ring().Position());
}

// A process that is killed while it pushes as fast as it can: wherever it was, the next one is
// served.
TEST(RingAcrossProcesses, WriterKilledAnywhereLeavesARingThatServesTheNext) {
  std::uint32_t ticks = 0;
  ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount> clock(
      [&](auto) { return ticks; });
  for (int round = 0; round < 20; ++round) {
    PrivateNames names;
    int odd = 0;
    Agent agent({.onOddEntry = [&](TakeResult, const std::vector<unsigned char>&) { ++odd; }});
    ASSERT_EQ(agent.Start(), OpenResult::kOpened);
    const pid_t child = InAnotherProcess([&] {
      for (;;) PushAll(0);
      return 0;
    });
    while (odd < 50 * (round + 1)) agent.Poll();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (agent.Poll()) {
    }
    ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> sleep(
        [&](auto, auto) { agent.Poll(); });
    EXPECT_EQ(ScanEnvelopeEnd(), 4) << "at once, though the dead one's entry may be unfinished";
    ticks += 15'000;
    while (agent.Poll()) {
    }
    ticks += 15'000;
    agent.Poll();
    EXPECT_EQ(agent.Ring().Header()->usedBytes, 0) << round;
    EXPECT_EQ(agent.Ring().Header()->writeCursor, agent.Ring().Position()) << round;
  }
}

}  // namespace
