// Appending to a ring in plain memory. Tests set the cursors by hand and check raw bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "channel/agentchannel.h"
#include "channel/ringbuffer.h"
#include "tests/channel/memoryring.h"
#include "tests/support/logcapture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tests::CountingBytes;
using tests::LogCapture;
using tests::LoggedLine;
using tests::MemoryRing;

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kOld = MemoryRing::kUntouched;
const LoggedLine kFull{kLogErr, "WriteRingBuffer: synchronization problem!"};
const LoggedLine kWrongBuffer{kLogErr, "PushEntry: wrong buffer!"};

bool Push(MemoryRing& ring, const Bytes& data) {
  return AgentChannel::PushEntry(ring.Header(), data.data(), static_cast<int>(data.size()));
}

// Pushes as the add-in does, with a known view size.
bool PushBounded(MemoryRing& ring, const Bytes& data) {
  return channel::PushEntry(ring.Header(), ring.ViewSize(), data.data(),
                            static_cast<int>(data.size()));
}

Bytes Slice(const Bytes& bytes, std::size_t from, std::size_t size) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
          bytes.begin() + static_cast<std::ptrdiff_t>(from + size)};
}

TEST(GetRingSize, IsAPowerOfTwoForExponentsFrom1To20) {
  EXPECT_EQ(AgentChannel::GetRingSize(1), 2);
  EXPECT_EQ(AgentChannel::GetRingSize(18), 262144);
  EXPECT_EQ(AgentChannel::GetRingSize(20), 1048576);
}

TEST(GetRingSize, IsZeroForEveryOtherExponent) {
  EXPECT_EQ(AgentChannel::GetRingSize(0), 0);
  EXPECT_EQ(AgentChannel::GetRingSize(21), 0);
  EXPECT_EQ(AgentChannel::GetRingSize(-1), 0);
  EXPECT_EQ(AgentChannel::GetRingSize(std::numeric_limits<int>::min()), 0);
  EXPECT_EQ(AgentChannel::GetRingSize(std::numeric_limits<int>::max()), 0);
}

class RingOfCapacity : public testing::TestWithParam<std::uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Ring, RingOfCapacity, testing::Values(1024U, 262144U));

TEST_P(RingOfCapacity, FirstEntryStandsAtTheStartWithItsLengthInFront) {
  MemoryRing ring(GetParam());
  const Bytes data = CountingBytes(148);
  ASSERT_TRUE(Push(ring, data));

  const Bytes area = ring.Area();
  EXPECT_THAT(Slice(area, 0, 4), ElementsAre(148, 0, 0, 0));
  EXPECT_EQ(Slice(area, 4, 148), data);
  EXPECT_EQ(Slice(area, 152, 100), Bytes(100, kOld));
  EXPECT_EQ(ring.Header()->usedBytes, 152);
  EXPECT_EQ(ring.Header()->writeCursor, 152U);
  EXPECT_EQ(ring.Header()->capacity, static_cast<std::int32_t>(GetParam()));
  EXPECT_TRUE(ring.IsIntactOutside());
}

TEST_P(RingOfCapacity, EntriesLieBackToBack) {
  MemoryRing ring(GetParam());
  ASSERT_TRUE(Push(ring, CountingBytes(4)));
  ASSERT_TRUE(Push(ring, Bytes{9, 8, 7, 6, 5, 4, 3, 2}));
  EXPECT_THAT(Slice(ring.Area(), 0, 20),
              ElementsAre(4, 0, 0, 0, 1, 2, 3, 4, 8, 0, 0, 0, 9, 8, 7, 6, 5, 4, 3, 2));
}

TEST_P(RingOfCapacity, EntryThatFillsTheRingToTheLastByteIsAcceptedAndTheNextRefused) {
  MemoryRing ring(GetParam());
  const auto capacity = static_cast<std::int32_t>(GetParam());
  ring.Header()->usedBytes = capacity - 152;
  LogCapture log;
  EXPECT_TRUE(Push(ring, CountingBytes(148)));
  EXPECT_EQ(ring.Header()->usedBytes, capacity);
  EXPECT_THAT(log.Lines(), IsEmpty());

  const Bytes before = ring.Everything();
  EXPECT_FALSE(Push(ring, CountingBytes(1)));
  EXPECT_THAT(log.Lines(), ElementsAre(kFull));
  EXPECT_EQ(ring.Everything(), before);  // usedBytes, cursor and data are unchanged
}

TEST_P(RingOfCapacity, EntryThatIsFourBytesTooLongIsRefusedAndLeavesNoGap) {
  MemoryRing ring(GetParam());
  ring.Header()->usedBytes = static_cast<std::int32_t>(GetParam()) - 148;
  ring.Header()->writeCursor = 400;
  const Bytes before = ring.Everything();
  LogCapture log;
  EXPECT_FALSE(Push(ring, CountingBytes(148)));
  EXPECT_THAT(log.Lines(), ElementsAre(kFull));
  EXPECT_EQ(ring.Everything(), before);
}

TEST_P(RingOfCapacity, OneEntryMayTakeTheWholeRing) {
  MemoryRing ring(GetParam());
  const Bytes data = CountingBytes(GetParam() - 4);
  ASSERT_TRUE(Push(ring, data));
  EXPECT_EQ(Slice(ring.Area(), 4, data.size()), data);
  EXPECT_EQ(ring.Header()->usedBytes, static_cast<std::int32_t>(GetParam()));
  EXPECT_TRUE(ring.IsIntactOutside());
}

// Every position at which an entry can reach the end of the data area, compared with an area
// written byte by byte.
TEST_P(RingOfCapacity, EverySplitOfTheWrapPutsEachByteInItsPlace) {
  const std::uint32_t capacity = GetParam();
  const Bytes data = CountingBytes(148);
  for (std::uint32_t position = capacity - 160; position < capacity; position += 4) {
    MemoryRing ring(capacity);
    ring.Header()->writeCursor = capacity * 7 + position;
    ASSERT_TRUE(Push(ring, data)) << position;

    Bytes expected(capacity, kOld);
    std::size_t at = position;
    for (const unsigned char byte : Bytes{148, 0, 0, 0}) {
      expected[at] = byte;
      at = at + 1 == capacity ? 0 : at + 1;
    }
    for (const unsigned char byte : data) {
      expected[at] = byte;
      at = at + 1 == capacity ? 0 : at + 1;
    }
    ASSERT_EQ(ring.Area(), expected) << position;
    ASSERT_TRUE(ring.IsIntactOutside()) << position;
    ASSERT_EQ(ring.Header()->writeCursor, capacity * 7 + position + 152);
  }
}

TEST(Ring, WrapAt262100Puts40BytesAtTheEndAnd108AtTheStart) {
  MemoryRing ring(262144);
  ring.Header()->writeCursor = 262100;
  const Bytes data = CountingBytes(148);
  ASSERT_TRUE(Push(ring, data));
  const Bytes area = ring.Area();
  EXPECT_THAT(Slice(area, 262100, 4), ElementsAre(148, 0, 0, 0));
  EXPECT_EQ(Slice(area, 262104, 40), Slice(data, 0, 40));
  EXPECT_EQ(Slice(area, 0, 108), Slice(data, 40, 108));
  EXPECT_EQ(area[108], kOld);
  EXPECT_TRUE(ring.IsIntactOutside());
}

TEST(Ring, LengthWordInTheLast4BytesHasItsPayloadAtTheStart) {
  MemoryRing ring(262144);
  ring.Header()->writeCursor = 262140;
  const Bytes data = CountingBytes(148);
  ASSERT_TRUE(Push(ring, data));
  const Bytes area = ring.Area();
  EXPECT_THAT(Slice(area, 262140, 4), ElementsAre(148, 0, 0, 0));
  EXPECT_EQ(Slice(area, 0, 148), data);
  EXPECT_EQ(area[148], kOld);
  EXPECT_EQ(area[262139], kOld);
  EXPECT_TRUE(ring.IsIntactOutside());
}

TEST(Ring, PayloadThatEndsAtTheEndOfTheAreaLeavesTheStartAlone) {
  MemoryRing ring(1024);
  ring.Header()->writeCursor = 1024 - 152;
  const Bytes data = CountingBytes(148);
  ASSERT_TRUE(Push(ring, data));
  EXPECT_EQ(Slice(ring.Area(), 1024 - 148, 148), data);
  EXPECT_EQ(Slice(ring.Area(), 0, 200), Bytes(200, kOld));
  EXPECT_TRUE(ring.IsIntactOutside());
}

TEST(Ring, PayloadOfOneByteTakesEightBytesAndStoresTheLength4) {
  MemoryRing ring(1024);
  // One byte of payload and three readable bytes after it.
  const Bytes data = {0xA1, 0xB2, 0xC3, 0xD4};
  ASSERT_TRUE(AgentChannel::PushEntry(ring.Header(), data.data(), 1));
  EXPECT_EQ(ring.Header()->usedBytes, 8);
  EXPECT_EQ(ring.Header()->writeCursor, 8U);
  // The padding is what follows the caller's byte in memory.
  EXPECT_THAT(Slice(ring.Area(), 0, 9), ElementsAre(4, 0, 0, 0, 0xA1, 0xB2, 0xC3, 0xD4, kOld));
}

TEST(Ring, LengthsAreRoundedUpToTheNextMultipleOf4) {
  const std::vector<std::pair<int, int>> roundings = {{1, 4}, {2, 4}, {3, 4},  {4, 4},
                                                      {5, 8}, {8, 8}, {9, 12}, {147, 148}};
  for (const auto& [length, rounded] : roundings) {
    MemoryRing ring(1024);
    const Bytes data = CountingBytes(152);
    ASSERT_TRUE(AgentChannel::WriteRingBuffer(ring.Header(), data.data(), length));
    EXPECT_EQ(ring.Area()[0], rounded) << length;
    EXPECT_EQ(ring.Header()->usedBytes, rounded + 4) << length;
  }
}

TEST_P(RingOfCapacity, CursorPast2To32KeepsTheSequenceOfPositionsUnbroken) {
  const std::uint32_t capacity = GetParam();
  MemoryRing ring(capacity);
  ring.Header()->writeCursor = 0xFFFFFFFFU - 199;  // 200 bytes before the wrap
  const Bytes data = CountingBytes(148);
  ASSERT_TRUE(Push(ring, data));
  EXPECT_EQ(ring.Header()->writeCursor, 0xFFFFFFFFU - 47);
  ASSERT_TRUE(Push(ring, data));
  EXPECT_EQ(ring.Header()->writeCursor, 104U);
  ASSERT_TRUE(Push(ring, data));
  EXPECT_EQ(ring.Header()->writeCursor, 256U);

  const Bytes area = ring.Area();
  EXPECT_EQ(area[capacity - 200], 148);
  EXPECT_EQ(Slice(area, capacity - 196, 148), data);
  EXPECT_EQ(area[capacity - 48], 148);
  EXPECT_EQ(Slice(area, capacity - 44, 44), Slice(data, 0, 44));
  EXPECT_EQ(Slice(area, 0, 104), Slice(data, 44, 104));
  EXPECT_EQ(area[104], 148);
  EXPECT_EQ(Slice(area, 108, 148), data);
}

TEST(Ring, CapacityThatIsNoPowerOfTwoIsWrappedByItsRemainder) {
  MemoryRing ring(1000);
  ring.Header()->writeCursor = 5 * 1000 + 996;
  ASSERT_TRUE(Push(ring, Bytes{1, 2, 3, 4}));
  EXPECT_THAT(Slice(ring.Area(), 996, 4), ElementsAre(4, 0, 0, 0));
  EXPECT_THAT(Slice(ring.Area(), 0, 5), ElementsAre(1, 2, 3, 4, kOld));
}

TEST(Ring, NullDataOrLengthBelow1IsAWrongParameterAndTouchesNothing) {
  MemoryRing ring(1024);
  const Bytes before = ring.Everything();
  const Bytes data = CountingBytes(8);
  const LoggedLine pushLine{kLogErr, "PushEntry: wrong parameters!"};
  const LoggedLine writeLine{kLogErr, "WriteRingBuffer: wrong parameters!"};
  for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
    LogCapture log;
    EXPECT_FALSE(AgentChannel::PushEntry(ring.Header(), data.data(), length));
    EXPECT_FALSE(AgentChannel::WriteRingBuffer(ring.Header(), data.data(), length));
    EXPECT_THAT(log.Lines(), ElementsAre(pushLine, writeLine));
  }
  LogCapture log;
  EXPECT_FALSE(AgentChannel::PushEntry(ring.Header(), nullptr, 4));
  EXPECT_FALSE(AgentChannel::WriteRingBuffer(ring.Header(), nullptr, 4));
  EXPECT_FALSE(AgentChannel::PushEntry(nullptr, nullptr, 4));  // the data is checked first
  EXPECT_THAT(log.Lines(), ElementsAre(pushLine, writeLine, pushLine));
  EXPECT_EQ(ring.Everything(), before);
}

TEST(Ring, NullRingOrCapacityBelow1IsAWrongBufferAndTouchesNothing) {
  MemoryRing ring(1024);
  LogCapture log;
  EXPECT_FALSE(AgentChannel::PushEntry(nullptr, "1234", 4));
  EXPECT_THAT(log.Lines(), ElementsAre(kWrongBuffer));
  for (const int capacity : {0, -1, -4, std::numeric_limits<int>::min()}) {
    log.Forget();
    ring.Header()->capacity = capacity;
    const Bytes before = ring.Everything();
    EXPECT_FALSE(Push(ring, CountingBytes(4)));
    EXPECT_THAT(log.Lines(), ElementsAre(kWrongBuffer)) << capacity;
    EXPECT_EQ(ring.Everything(), before);
  }
}

// No agent writes the headers below. Whatever they say, nothing outside the data area is written.

TEST(HostileRing, CapacityThatTheViewHoldsToItsLastByteIsAccepted) {
  MemoryRing ring(1024);
  ring.Header()->capacity = 1028;  // includes the spare word
  ring.Header()->writeCursor = 1024;
  LogCapture log;
  EXPECT_TRUE(PushBounded(ring, Bytes{1, 2, 3, 4}));
  EXPECT_THAT(log.Lines(), IsEmpty());
  EXPECT_THAT(Slice(ring.Behind(), 0, 5), ElementsAre(4, 0, 0, 0, kOld));
}

TEST(HostileRing, CapacityThatTheViewCannotHoldIsAWrongBuffer) {
  for (const int capacity : {1029, 1032, 262144, std::numeric_limits<int>::max()}) {
    MemoryRing ring(1024);
    ring.Header()->capacity = capacity;
    ring.Header()->writeCursor = 1024;
    const Bytes before = ring.Everything();
    LogCapture log;
    EXPECT_FALSE(PushBounded(ring, CountingBytes(148)));
    EXPECT_THAT(log.Lines(), ElementsAre(kWrongBuffer)) << capacity;
    EXPECT_EQ(ring.Everything(), before);
  }
}

TEST(HostileRing, ViewWithoutRoomForTheHeaderIsAWrongBuffer) {
  MemoryRing ring(1024);
  LogCapture log;
  EXPECT_FALSE(channel::PushEntry(ring.Header(), 15, "1234", 4));
  EXPECT_FALSE(channel::PushEntry(ring.Header(), 16, "1234", 4));
  EXPECT_THAT(log.Lines(), ElementsAre(kWrongBuffer, kWrongBuffer));
}

TEST(HostileRing, CapacityThatIsNoMultipleOf4IsRefusedWithUsedBytesAsBefore) {
  for (const int capacity : {1021, 1022, 1023, 1025, 1026, 1027}) {
    MemoryRing ring(1024);
    ring.Header()->capacity = capacity;
    ring.Header()->writeCursor = 1020;
    const Bytes before = ring.Everything();
    LogCapture log;
    EXPECT_FALSE(PushBounded(ring, CountingBytes(148)));
    EXPECT_THAT(log.Lines(), ElementsAre(kFull)) << capacity;
    EXPECT_EQ(ring.Everything(), before);
  }
}

TEST(HostileRing, CursorThatIsNoMultipleOf4IsRefusedAndStoresNothing) {
  for (const std::uint32_t cursor : {1U, 2U, 1021U, 1023U, 0xFFFFFFFFU}) {
    MemoryRing ring(1024);
    ring.Header()->writeCursor = cursor;
    LogCapture log;
    EXPECT_FALSE(PushBounded(ring, CountingBytes(148)));
    EXPECT_THAT(log.Lines(), ElementsAre(kFull)) << cursor;
    EXPECT_EQ(ring.Header()->usedBytes, 0);
    EXPECT_EQ(ring.Area(), Bytes(1024, kOld));
    EXPECT_TRUE(ring.IsIntactOutside());
  }
}

TEST(HostileRing, NegativeUsedBytesLetNoEntryInThatIsLongerThanTheArea) {
  for (const int used : {-1, -152, -100000, std::numeric_limits<int>::min()}) {
    MemoryRing ring(1024);
    ring.Header()->usedBytes = used;
    const Bytes before = ring.Everything();
    LogCapture log;
    EXPECT_FALSE(PushBounded(ring, CountingBytes(1024)));  // 1028 with its length word
    EXPECT_THAT(log.Lines(), ElementsAre(kFull)) << used;
    EXPECT_EQ(ring.Everything(), before);
  }
}

TEST(HostileRing, NegativeUsedBytesStillLeaveAnEntryInsideTheAreaAndTheLogTells) {
  struct Row {
    int used;
    std::uint32_t cursor;  // 1000 splits the payload, 0 doesn't
    const char* line;
  };
  for (const Row& row :
       {Row{-1, 0, "WriteRingBuffer: used bytes were below zero (-1)!"},
        Row{-152, 0, "WriteRingBuffer: used bytes were below zero (-152)!"},
        Row{-100000, 1000, "WriteRingBuffer: used bytes were below zero (-100000)!"},
        Row{std::numeric_limits<int>::min(), 0,
            "WriteRingBuffer: used bytes were below zero (-2147483648)!"}}) {
    MemoryRing ring(1024);
    ring.Header()->usedBytes = row.used;
    ring.Header()->writeCursor = row.cursor;
    LogCapture log;
    EXPECT_TRUE(PushBounded(ring, CountingBytes(148))) << row.used;
    EXPECT_THAT(log.Lines(), ElementsAre(LoggedLine{kLogWarn, row.line}));
    EXPECT_EQ(ring.Header()->usedBytes, row.used + 152);
    EXPECT_EQ(ring.Header()->writeCursor, row.cursor + 152);
    EXPECT_EQ(Slice(ring.Area(), row.cursor + 4, 20), Slice(CountingBytes(148), 0, 20));
    EXPECT_TRUE(ring.IsIntactOutside());
  }
}

TEST(HostileRing, UsedBytesOfZeroAreNoLie) {
  MemoryRing ring(1024);
  LogCapture log;
  EXPECT_TRUE(PushBounded(ring, CountingBytes(148)));
  EXPECT_TRUE(PushBounded(ring, CountingBytes(148)));
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(HostileRing, UsedBytesNearTheEndOfTheirRangeMeanAFullRing) {
  for (const int used :
       {1025, std::numeric_limits<int>::max() - 151, std::numeric_limits<int>::max()}) {
    MemoryRing ring(1024);
    ring.Header()->usedBytes = used;
    const Bytes before = ring.Everything();
    LogCapture log;
    EXPECT_FALSE(PushBounded(ring, CountingBytes(148)));
    EXPECT_THAT(log.Lines(), ElementsAre(kFull)) << used;
    EXPECT_EQ(ring.Everything(), before);
  }
}

TEST(HostileRing, LengthNearTheEndOfItsRangeIsRefused) {
  MemoryRing ring(1024);
  ring.Header()->usedBytes = std::numeric_limits<int>::min();
  const Bytes before = ring.Everything();
  LogCapture log;
  for (const int length : {std::numeric_limits<int>::max(), std::numeric_limits<int>::max() - 3}) {
    EXPECT_FALSE(channel::PushEntry(ring.Header(), ring.ViewSize(), "1234", length));
  }
  EXPECT_THAT(log.Lines(), ElementsAre(kFull, kFull));
  EXPECT_EQ(ring.Everything(), before);
}

TEST(HostileRing, WriteWithoutTheCheckOfTheBufferDoesNotDivideByZeroOrLeaveTheArea) {
  for (const int capacity : {0, -1, -4, -1024, std::numeric_limits<int>::min()}) {
    for (const int used : {0, -100000, std::numeric_limits<int>::min()}) {
      MemoryRing ring(1024);
      ring.Header()->capacity = capacity;
      ring.Header()->usedBytes = used;
      const Bytes before = ring.Everything();
      LogCapture log;
      EXPECT_FALSE(AgentChannel::WriteRingBuffer(ring.Header(), CountingBytes(148).data(), 148));
      EXPECT_THAT(log.Lines(), ElementsAre(kFull));
      EXPECT_EQ(ring.Everything(), before);
    }
  }
}

}  // namespace
