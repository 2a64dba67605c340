// The ring's consumer: what it takes, frees, skips and resets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/mappings.h"
#include "tests/agentkit/agentkitsupport.h"

namespace {

using agentkit::OpenResult;
using agentkit::RingConsumer;
using agentkit::SharedView;
using agentkit::TakeResult;
using platform::ScopedReplacement;
using tests::Bytes;
using tests::HandWriter;
using tests::Pattern;
using tests::PrivateNames;
using tests::StandingClock;

class RingConsumerTest : public testing::Test {
 protected:
  // Takes once and gives the payload, with the result checked.
  Bytes TakeOne() {
    Bytes payload;
    EXPECT_EQ(m_ring.Take(&payload), TakeResult::kTaken);
    return payload;
  }
  TakeResult Take() {
    Bytes payload;
    const TakeResult result = m_ring.Take(&payload);
    EXPECT_EQ(payload.empty(), result != TakeResult::kTaken);
    return result;
  }

  PrivateNames m_names;
  StandingClock m_clock;
  RingConsumer m_ring;
};

TEST_F(RingConsumerTest, CreatedRingIsWhatTheAddInExpects) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  SharedView view;
  ASSERT_TRUE(view.Open("Global\\VRKEXPIPE", 262164));
  const Bytes header(view.Data(), view.Data() + 16);
  EXPECT_EQ(header, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0}));
  EXPECT_EQ(Bytes(view.Data() + 16, view.Data() + 262164), Bytes(262148, 0));
}

TEST_F(RingConsumerTest, SmallRingStillHoldsWhatTheAddInMaps) {
  ASSERT_EQ(m_ring.Create({.capacity = 256}), OpenResult::kOpened);
  SharedView view;
  EXPECT_TRUE(view.Open("Global\\VRKEXPIPE", 262164));
}

TEST_F(RingConsumerTest, SecondOwnerIsRefusedUntilTheFirstHasClosed) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  RingConsumer other;
  EXPECT_EQ(other.Create({}), OpenResult::kOtherOwner);
  EXPECT_FALSE(other.IsOpen());
  m_ring.Close();
  EXPECT_EQ(other.Create({}), OpenResult::kOpened);
}

TEST_F(RingConsumerTest, MappingThatTheSystemRefusesIsAFailure) {
  ScopedReplacement<platform::mappings, &platform::MappingOperations::CreateFileMappingA> failing(
      [](auto, auto...) { return platform::Handle{nullptr}; });
  EXPECT_EQ(m_ring.Create({}), OpenResult::kFailed);
}

TEST_F(RingConsumerTest, CapacityThatIsNoPowerOfTwoInRangeIsRefused) {
  for (const std::uint32_t capacity : {0U, 128U, 1000U, 1U << 21}) {
    EXPECT_EQ(m_ring.Create({.capacity = capacity}), OpenResult::kFailed) << capacity;
  }
}

TEST_F(RingConsumerTest, EmptyOrClosedRingGivesNothing) {
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  EXPECT_EQ(Take(), TakeResult::kEmpty);
}

TEST_F(RingConsumerTest, TakenEntriesAreClearedAtOnceAndFreedTogether) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  ASSERT_TRUE(writer.Push(Pattern(1)));
  ASSERT_TRUE(writer.Push(Pattern(2)));
  EXPECT_EQ(TakeOne(), Pattern(1));
  EXPECT_EQ(writer.Header()->usedBytes, 304);
  EXPECT_EQ(writer.Header()->consumerWord, 152U);
  EXPECT_EQ(TakeOne(), Pattern(2));
  EXPECT_EQ(writer.Header()->usedBytes, 304);
  EXPECT_EQ(writer.Header()->consumerWord, 304U);
  EXPECT_EQ(writer.Header()->writeCursor, 304U);
  EXPECT_TRUE(writer.IsDataAreaClear());
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

// However many requests arrive, writers don't wait long for the space of those that were taken.
TEST_F(RingConsumerTest, NoMoreThanSixteenTakenEntriesAreKeptFromTheWriters) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  for (std::uint32_t i = 0; i < 40; ++i) ASSERT_TRUE(writer.Push(Pattern(i)));
  for (std::uint32_t i = 0; i < 40; ++i) {
    EXPECT_EQ(TakeOne(), Pattern(i));
    const std::int32_t untaken = 152 * static_cast<std::int32_t>(39 - i);
    EXPECT_LT(writer.Header()->usedBytes - untaken, 16 * 152) << i;
  }
  EXPECT_EQ(writer.Header()->usedBytes, 152 * 8);
}

TEST_F(RingConsumerTest, ClosingFreesWhatWasTaken) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  ASSERT_TRUE(writer.Push(Pattern(1)));
  EXPECT_EQ(TakeOne(), Pattern(1));
  m_ring.Close();
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

// 256 KiB isn't a multiple of 152: in each lap the entries start elsewhere, and length words are
// where payloads were.
TEST_F(RingConsumerTest, OldPayloadsAreNeverTakenForLengthWords) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  for (std::uint32_t i = 0; i < 6000; ++i) {
    const std::uint32_t position = writer.Reserve(148);
    ASSERT_EQ(Take(), TakeResult::kPending) << i;  // reserved, nothing stored
    writer.Complete(position, Pattern(i));
    ASSERT_EQ(TakeOne(), Pattern(i)) << i;
  }
}

// The consumer passes such a cursor when the entry before it is completed, and must not believe a
// length word there.
TEST_F(RingConsumerTest, CursorSetBackBehindTakenEntriesResetsTheRing) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  const std::uint32_t incomplete = writer.Reserve(148);
  ASSERT_TRUE(writer.Push(Pattern(1)));
  ASSERT_TRUE(writer.Push(Pattern(2)));
  EXPECT_EQ(TakeOne(), Pattern(1));
  EXPECT_EQ(TakeOne(), Pattern(2));
  writer.Header()->writeCursor = 152;
  EXPECT_EQ(Take(), TakeResult::kPending);
  writer.Complete(incomplete, Pattern(3));
  const std::uint32_t length = 0x7FFFFFFC;
  std::memcpy(writer.Data() + 456, &length, 4);
  EXPECT_EQ(TakeOne(), Pattern(3));
  EXPECT_EQ(Take(), TakeResult::kBroken);
  EXPECT_TRUE(writer.IsDataAreaClear());
  ASSERT_TRUE(writer.Push(Pattern(4)));
  EXPECT_EQ(TakeOne(), Pattern(4));
}

TEST_F(RingConsumerTest, PayloadsSplitAtEveryPlaceComeOutWhole) {
  ASSERT_EQ(m_ring.Create({.capacity = 1024}), OpenResult::kOpened);
  HandWriter writer(1024);
  std::vector<bool> starts(256, false);
  for (std::uint32_t i = 0; i < 5000; ++i) {
    const std::size_t size = i % 3 == 0 ? 148 : 4 + i % 29 * 4;
    starts[writer.Header()->writeCursor % 1024 / 4] = true;
    ASSERT_TRUE(writer.Push(Pattern(i, size)));
    ASSERT_EQ(TakeOne(), Pattern(i, size)) << i;
  }
  EXPECT_EQ(std::count(starts.begin(), starts.end(), false), 0);  // the last 4 bytes included
  EXPECT_TRUE(writer.IsDataAreaClear());
}

TEST_F(RingConsumerTest, FullRingIsTakenInOrder) {
  ASSERT_EQ(m_ring.Create({.capacity = 1024}), OpenResult::kOpened);
  HandWriter writer(1024);
  for (std::uint32_t i = 0; i < 6; ++i) ASSERT_TRUE(writer.Push(Pattern(i)));
  ASSERT_TRUE(writer.Push(Pattern(6, 108)));  // to the last byte
  EXPECT_FALSE(writer.Push(Pattern(7, 4)));
  for (std::uint32_t i = 0; i < 6; ++i) EXPECT_EQ(TakeOne(), Pattern(i));
  EXPECT_EQ(TakeOne(), Pattern(6, 108));
  EXPECT_EQ(Take(), TakeResult::kEmpty);
}

TEST_F(RingConsumerTest, EntryCompletedOutOfOrderIsTakenAtOnceAndFreedInOrder) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  const std::uint32_t first = writer.Reserve(148);
  const std::uint32_t second = writer.Reserve(148);
  const std::uint32_t third = writer.Reserve(148);
  writer.Complete(third, Pattern(3));
  EXPECT_EQ(TakeOne(), Pattern(3));
  EXPECT_EQ(Take(), TakeResult::kPending) << "taken once, not twice";
  EXPECT_EQ(writer.Header()->usedBytes, 456) << "space is freed in order";
  writer.Complete(first, Pattern(1));
  EXPECT_EQ(TakeOne(), Pattern(1));
  EXPECT_EQ(Take(), TakeResult::kPending);
  EXPECT_EQ(writer.Header()->usedBytes, 304);
  writer.Complete(second, Pattern(2));
  EXPECT_EQ(TakeOne(), Pattern(2));
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
  EXPECT_EQ(writer.Header()->consumerWord, 456U);
  EXPECT_TRUE(writer.IsDataAreaClear());
}

TEST_F(RingConsumerTest, EntryOfADeadWriterIsSkippedAfterTheWaitAndNotBefore) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 10'000}), OpenResult::kOpened);
  HandWriter writer;
  writer.Reserve(148);
  ASSERT_TRUE(writer.Push(Pattern(2)));
  EXPECT_EQ(TakeOne(), Pattern(2)) << "later entries don't wait for a dead writer's";
  m_clock.now += 9'999;
  EXPECT_EQ(Take(), TakeResult::kPending);
  EXPECT_EQ(writer.Header()->usedBytes, 304);
  m_clock.now += 1;
  EXPECT_EQ(Take(), TakeResult::kSkipped);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_TRUE(writer.IsDataAreaClear());
  ASSERT_TRUE(writer.Push(Pattern(3)));
  EXPECT_EQ(TakeOne(), Pattern(3));
}

TEST_F(RingConsumerTest, HalfWrittenEntryOfADeadWriterIsClearedAway) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 5}), OpenResult::kOpened);
  HandWriter writer;
  const std::uint32_t position = writer.Reserve(148);
  writer.Complete(position, Pattern(1));
  std::memset(writer.Data() + position, 0, 4);  // the copy is there, the length word isn't
  EXPECT_EQ(Take(), TakeResult::kPending);
  m_clock.now += 5;
  EXPECT_EQ(Take(), TakeResult::kSkipped);
  EXPECT_TRUE(writer.IsDataAreaClear());
}

TEST_F(RingConsumerTest, SeveralDeadWritersCostOneWaitAndOtherEntriesStayInOrder) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 100}), OpenResult::kOpened);
  HandWriter writer;
  writer.Reserve(148);
  ASSERT_TRUE(writer.Push(Pattern(1)));
  writer.Reserve(148);
  ASSERT_TRUE(writer.Push(Pattern(2)));
  EXPECT_EQ(TakeOne(), Pattern(1));
  EXPECT_EQ(TakeOne(), Pattern(2));
  EXPECT_EQ(Take(), TakeResult::kPending);
  m_clock.now += 100;
  EXPECT_EQ(Take(), TakeResult::kSkipped);
  EXPECT_EQ(Take(), TakeResult::kSkipped);
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
  EXPECT_EQ(m_ring.Position(), writer.Header()->writeCursor);
}

TEST_F(RingConsumerTest, SpaceOfAWriterThatDiedBetweenItsAdditionsIsFreed) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 100}), OpenResult::kOpened);
  HandWriter writer;
  writer.Header()->usedBytes += 152;
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  m_clock.now += 99;
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 152);
  m_clock.now += 1;
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

// The writer continues after the consumer has looked at its entry and before it looks at the clock.
TEST_F(RingConsumerTest, EntryThatIsCompletedAsItsTimeRunsOutIsNotSkipped) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 100}), OpenResult::kOpened);
  HandWriter writer;
  const std::uint32_t position = writer.Reserve(148);
  EXPECT_EQ(Take(), TakeResult::kPending);
  m_clock.now += 100;
  {
    const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
        atTheClock([&](auto original) {
          writer.Complete(position, Pattern(1));
          return original();
        });
    EXPECT_EQ(Take(), TakeResult::kPending);
  }
  EXPECT_EQ(TakeOne(), Pattern(1));
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

TEST_F(RingConsumerTest, SpaceThatIsReservedAsItsTimeRunsOutIsNotFreed) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 100}), OpenResult::kOpened);
  HandWriter writer;
  writer.Header()->usedBytes += 152;
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  m_clock.now += 100;
  {
    const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
        atTheClock([&](auto original) {
          writer.Header()->writeCursor += 152;
          return original();
        });
    EXPECT_EQ(Take(), TakeResult::kEmpty);
  }
  EXPECT_EQ(writer.Header()->usedBytes, 152);
  writer.Complete(0, Pattern(1));
  EXPECT_EQ(TakeOne(), Pattern(1));
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

TEST_F(RingConsumerTest, SpaceOfALiveWriterIsNotFreed) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 100}), OpenResult::kOpened);
  HandWriter writer;
  writer.Header()->usedBytes += 152;
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  m_clock.now += 60;
  writer.Header()->usedBytes += 152;  // a writer is active: the wait starts again
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  m_clock.now += 60;
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 304);
}

TEST_F(RingConsumerTest, ContradictingHeaderIsResetAndTheNextEntryArrives) {
  struct Case {
    const char* what;
    void (*spoil)(RingHeader*);
  };
  const Case cases[] = {
      {"capacity too large", [](RingHeader* header) { header->capacity = 1 << 30; }},
      {"capacity negative", [](RingHeader* header) { header->capacity = -4; }},
      {"cursor far ahead", [](RingHeader* header) { header->writeCursor += 0x40000000; }},
      {"cursor behind", [](RingHeader* header) { header->writeCursor -= 8; }},
      {"cursor no multiple of 4", [](RingHeader* header) { header->writeCursor += 2; }},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    m_ring.Close();
    ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
    HandWriter writer;
    ASSERT_TRUE(writer.Push(Pattern(1)));
    one.spoil(writer.Header());
    EXPECT_EQ(Take(), TakeResult::kBroken);
    EXPECT_EQ(writer.Header()->usedBytes, 0);
    EXPECT_EQ(writer.Header()->capacity, 1 << 18);
    EXPECT_EQ(Take(), TakeResult::kEmpty);
    ASSERT_TRUE(writer.Push(Pattern(2)));
    EXPECT_EQ(TakeOne(), Pattern(2));
  }
}

TEST_F(RingConsumerTest, ImpossibleLengthWordResetsTheRing) {
  for (const std::uint32_t length : {1U, 3U, 150U, 152U, 0x40000000U, 0xFFFFFFFCU, 0xFFFFFFFFU}) {
    m_ring.Close();
    ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
    HandWriter writer;
    const std::uint32_t position = writer.Reserve(148);
    std::memcpy(writer.Data() + position, &length, 4);
    EXPECT_EQ(Take(), TakeResult::kBroken) << length;
    EXPECT_TRUE(writer.IsDataAreaClear());
    ASSERT_TRUE(writer.Push(Pattern(2)));
    EXPECT_EQ(TakeOne(), Pattern(2));
  }
}

TEST_F(RingConsumerTest, TakeOverContinuesWhereTheLastConsumerStopped) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;  // keeps the ring alive, as a requester does
  for (std::uint32_t i = 0; i < 3; ++i) ASSERT_TRUE(writer.Push(Pattern(i)));
  EXPECT_EQ(TakeOne(), Pattern(0));
  m_ring.Close();

  RingConsumer next;
  EXPECT_EQ(next.Create({}), OpenResult::kOtherOwner);
  ASSERT_EQ(next.TakeOver({}), OpenResult::kOpened);
  Bytes payload;
  EXPECT_EQ(next.Take(&payload), TakeResult::kTaken);
  EXPECT_EQ(payload, Pattern(1));
  EXPECT_EQ(next.Take(&payload), TakeResult::kTaken);
  EXPECT_EQ(payload, Pattern(2));
  EXPECT_EQ(next.Take(&payload), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

TEST_F(RingConsumerTest, CursorPast2To32IsFollowed) {
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  writer.Header()->writeCursor = 0xFFFFFF00;
  writer.Header()->consumerWord = 0xFFFFFF00;
  m_ring.Close();
  ASSERT_EQ(m_ring.TakeOver({}), OpenResult::kOpened);
  for (std::uint32_t i = 0; i < 4; ++i) {
    const std::uint32_t position = writer.Reserve(148);
    EXPECT_EQ(Take(), TakeResult::kPending);
    writer.Complete(position, Pattern(i));
    EXPECT_EQ(TakeOne(), Pattern(i));
  }
  EXPECT_EQ(m_ring.Position(), 352U);
  EXPECT_EQ(Take(), TakeResult::kEmpty);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

TEST_F(RingConsumerTest, ContradictingRingIsNotTakenOver) {
  EXPECT_EQ(m_ring.TakeOver({}), OpenResult::kUnusable) << "there is none";
  ASSERT_EQ(m_ring.Create({}), OpenResult::kOpened);
  HandWriter writer;
  m_ring.Close();
  const auto takeOver = [&](std::int32_t capacity, std::uint32_t cursor, std::uint32_t position) {
    *writer.Header() = RingHeader{0, cursor, position, capacity};
    const OpenResult result = m_ring.TakeOver({});
    EXPECT_EQ(m_ring.IsOpen(), result == OpenResult::kOpened);
    return result;
  };
  EXPECT_EQ(takeOver(0, 0, 0), OpenResult::kUnusable);
  EXPECT_EQ(takeOver(1000, 0, 0), OpenResult::kUnusable);
  EXPECT_EQ(takeOver(-4, 0, 0), OpenResult::kUnusable);
  EXPECT_EQ(takeOver(1 << 19, 0, 0), OpenResult::kUnusable) << "more than the mapping holds";
  EXPECT_EQ(takeOver(1 << 18, 0, 152), OpenResult::kUnusable) << "ahead of the cursor";
  EXPECT_EQ(takeOver(1 << 18, (1 << 18) + 4, 0), OpenResult::kUnusable) << "over a lap behind";
  EXPECT_EQ(takeOver(1 << 18, 4, 2), OpenResult::kUnusable);
  EXPECT_EQ(takeOver(1 << 18, 1 << 18, 0), OpenResult::kOpened);
}

// The consumer died between clearing an entry and moving past it.
TEST_F(RingConsumerTest, EntryClearedButNotPassedByADeadConsumerIsSkippedByTheNext) {
  ASSERT_EQ(m_ring.Create({.deadWriterMs = 50}), OpenResult::kOpened);
  HandWriter writer;
  writer.Reserve(148);
  ASSERT_TRUE(writer.Push(Pattern(2)));
  m_ring.Close();
  ASSERT_EQ(m_ring.TakeOver({.deadWriterMs = 50}), OpenResult::kOpened);
  EXPECT_EQ(TakeOne(), Pattern(2));
  EXPECT_EQ(Take(), TakeResult::kPending);
  m_clock.now += 50;
  EXPECT_EQ(Take(), TakeResult::kSkipped);
  EXPECT_EQ(writer.Header()->usedBytes, 0);
}

}  // namespace
