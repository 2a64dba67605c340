// Decoding rings: healthy ones, damaged ones, and files that aren't rings.
#include "inspection/ring/ringview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "platform/mappedview.h"
#include "platform/scopedhandle.h"
#include "tests/inspection/ring/ringcopy.h"
#include "tests/support/temporaryfolder.h"

namespace {

using inspection::ring::Decode;
using inspection::ring::Diagnose;
using inspection::ring::EntryState;
using inspection::ring::Finding;
using inspection::ring::FindingKind;
using inspection::ring::Snapshot;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::Bytes;
using tests::RingCopy;

// Returns "FAULT kind" or "note kind" for each finding.
std::vector<std::string> Words(const std::vector<Finding>& findings) {
  std::vector<std::string> words;
  for (const Finding& finding : findings) {
    words.push_back((finding.isFault ? "FAULT " : "note ") +
                    inspection::ring::FindingWord(finding.kind));
  }
  return words;
}

TEST(RingView, ALengthWordInTheLastFourBytesHasItsPayloadAtTheStart) {
  RingCopy ring;
  ring.StartAt(262'140);
  ring.Request(1);
  const Snapshot now = ring.Look();
  ASSERT_EQ(now.entries.size(), 1U);
  EXPECT_TRUE(now.entries[0].isRequest);
  EXPECT_FALSE(now.entries[0].isSplit);
  EXPECT_EQ(now.entries[0].offset, 262'140U);
}

TEST(RingView, TheCursorMayHavePassedTwoToThe32) {
  RingCopy ring;
  ring.StartAt(0xFFFFFFFC);
  ring.Request(1);
  ring.Request(2);
  const Snapshot now = ring.Look();
  ASSERT_EQ(now.entries.size(), 2U);
  EXPECT_EQ(now.entries[1].position, 148U);
  EXPECT_TRUE(now.entries[1].isRequest);
}

TEST(RingView, AWriterThatStaysBeforeItsLengthWordIsAFaultAndASlowOneIsNot) {
  RingCopy ring;
  const std::uint32_t hole = ring.Reserve();
  ring.Request(2);
  const Snapshot before = ring.Look();
  EXPECT_THAT(Words(Diagnose(before, nullptr, 0)), ElementsAre("note unfinished-entry"));
  const std::vector<Finding> dead = Diagnose(before, &before, 500);
  ASSERT_THAT(Words(dead), ElementsAre("FAULT unfinished-entry"));
  EXPECT_EQ(dead[0].text,
            "the entry at offset 0 has been unfinished for 500 ms and more: its writer died "
            "between reservation and length word");
  ring.Complete(hole, RingCopy::Record(1, 1));
  EXPECT_THAT(Words(Diagnose(ring.Look(), &before, 500)), ElementsAre("note stalled-consumer"));
}

TEST(RingView, AConsumerThatMovesHasNotStalled) {
  RingCopy ring;
  ring.Request(1);
  ring.Request(2);
  const Snapshot before = ring.Look();
  ring.header.consumerWord = 152;
  ring.header.usedBytes = 152;
  ring.Complete(0, Bytes(148, 0));
  ring.PutWord(0, 0);
  EXPECT_THAT(Words(Diagnose(ring.Look(), &before, 500)), ElementsAre("note stalled-consumer"));
}

TEST(RingView, CursorAndUsedBytesThatDisagree) {
  RingCopy ring;
  ring.StartAt(15'200);
  ring.header.usedBytes = 152;
  const Snapshot high = ring.Look();
  EXPECT_THAT(Words(Diagnose(high, nullptr, 0)), ElementsAre("note used-too-high"));
  const std::vector<Finding> lost = Diagnose(high, &high, 700);
  ASSERT_THAT(Words(lost), ElementsAre("FAULT used-too-high"));
  EXPECT_EQ(lost[0].text,
            "152 bytes are counted as used that no entry takes, for 700 ms and more: a writer died "
            "between its two additions");
  ring.header.usedBytes = 0;
  ring.Request(1);
  ring.header.usedBytes = 100;
  const std::vector<Finding> low = Diagnose(ring.Look(), nullptr, 0);
  ASSERT_THAT(Words(low), ElementsAre("FAULT used-too-low", "note stalled-consumer"));
  EXPECT_EQ(low[0].text,
            "52 bytes fewer are counted as used than entries take: cursor and used bytes disagree, "
            "and room is given out twice");
  ring.header.usedBytes = -4;
  EXPECT_THAT(Words(Diagnose(ring.Look(), nullptr, 0)),
              ElementsAre("FAULT bad-header", "note stalled-consumer"));
}

TEST(RingView, AConsumerThatKeepsItsPositionElsewhereIsFoundByTheUsedBytes) {
  RingCopy ring;
  ring.header.writeCursor = 152'000;
  ring.Request(1);
  const Snapshot now = ring.Look();
  EXPECT_FALSE(now.isStartFromWord);
  ASSERT_EQ(now.entries.size(), 1U);
  EXPECT_EQ(now.entries[0].position, 152'000U);
  EXPECT_TRUE(now.entries[0].isRequest);
}

TEST(RingView, OldBytesInTheFreeSpaceShowThatTheConsumerDoesNotClear) {
  RingCopy ring;
  ring.PutWord(3000, 0x01000094);
  EXPECT_THAT(Words(Diagnose(ring.Look(), nullptr, 0)), ElementsAre("FAULT room-not-cleared"));
}

TEST(RingView, ALengthWordThatCannotBeOneEndsTheList) {
  for (const std::uint32_t word : {3U, 152U, 0xFFFFFFFCU}) {
    RingCopy sick;
    sick.PutWord(sick.Reserve(), word);
    const Snapshot now = sick.Look();
    ASSERT_EQ(now.entries.size(), 1U) << word;
    EXPECT_EQ(now.entries[0].state, EntryState::kDamaged) << word;
    EXPECT_THAT(Words(Diagnose(now, nullptr, 0)), ElementsAre("FAULT damaged-entry")) << word;
  }
}

TEST(RingView, AFullRingIsAFaultWhenItStays) {
  RingCopy ring(256);
  ring.Request(1);
  const Snapshot now = ring.Look();
  EXPECT_THAT(Words(Diagnose(now, nullptr, 0)), ElementsAre("note full", "note stalled-consumer"));
  EXPECT_THAT(Words(Diagnose(now, &now, 1)), ElementsAre("FAULT full", "FAULT stalled-consumer"));
}

TEST(RingView, CapacitiesThatTheAddInRefuses) {
  EXPECT_THAT(Words(Diagnose(RingCopy(1U << 19).Look(), nullptr, 0)),
              ElementsAre("FAULT odd-capacity"));
  EXPECT_THAT(Words(Diagnose(RingCopy(3000).Look(), nullptr, 0)),
              ElementsAre("FAULT odd-capacity"));
  RingCopy crooked;
  crooked.header.writeCursor = 6;
  EXPECT_THAT(Words(Diagnose(crooked.Look(), nullptr, 0)), ElementsAre("FAULT bad-header"));
}

TEST(RingView, AFileThatIsNoRingIsReportedAsNone) {
  EXPECT_EQ(Decode(inspection::ring::Bytes(5)).unreadable,
            "too short for a ring: 5 bytes, and the header alone has 16");
  EXPECT_EQ(Decode(inspection::ring::Bytes(300)).unreadable,
            "not a ring, or one that isn't made yet: its capacity is 0");
  EXPECT_EQ(Decode(inspection::ring::Bytes(300, 0xFF)).unreadable,
            "not a ring, or one that isn't made yet: its capacity is -1");
  EXPECT_EQ(Decode(inspection::ring::Bytes(300, 0x44)).unreadable,
            "not a ring: its capacity 1145324612 is above 1048576");
  EXPECT_EQ(Decode(inspection::ring::Bytes(300, 0x41)).unreadable,
            "not a ring: its capacity 1094795585 is not a multiple of 4");
}

TEST(RingView, ATruncatedCopyShowsWhatThereIs) {
  RingCopy ring;
  ring.Request(1);
  ring.Request(2);
  inspection::ring::Bytes bytes = ring.Take();
  bytes.resize(16 + 152 + 50);
  const Snapshot now = Decode(bytes);
  ASSERT_EQ(now.entries.size(), 2U);
  EXPECT_TRUE(now.entries[0].isRequest);
  EXPECT_FALSE(now.entries[1].record.has_value());
  const std::vector<Finding> findings = Diagnose(now, nullptr, 0);
  ASSERT_FALSE(findings.empty());
  EXPECT_EQ(findings[0].text, "truncated: 261942 of the 262144 bytes of the data area are missing");
}

TEST(RingView, RandomBytesWithAnyCapacityDoNoHarm) {
  std::mt19937 random(4711);
  for (int round = 0; round < 2000; ++round) {
    inspection::ring::Bytes bytes(16 + random() % 2000);
    for (unsigned char& byte : bytes) {
      byte = static_cast<unsigned char>(random() % 3 == 0 ? random() : 0);
    }
    const std::uint32_t capacity = random() % 1024 * 4;
    std::memcpy(bytes.data() + 12, &capacity, 4);
    const Snapshot now = Decode(bytes);
    const std::vector<Finding> findings = Diagnose(now, &now, 1);
    for (const Finding& finding : findings) EXPECT_FALSE(finding.text.empty());
  }
}

TEST(RingView, ReadsALiveRingWithoutAskingForTheRightToWrite) {
  const tests::PrivateNames names;
  agentkit::RingConsumer consumer;
  ASSERT_EQ(consumer.Create({}), agentkit::OpenResult::kOpened);
  ASSERT_TRUE(tests::HandWriter().Push(RingCopy::Record(9, 8)));
  std::vector<std::uint32_t> accesses;
  const platform::ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile>
      mapping([&accesses](auto original, auto handle, std::uint32_t access, auto... rest) {
        accesses.push_back(access);
        return original(handle, access, rest...);
      });
  inspection::ring::Bytes bytes;
  std::string error;
  ASSERT_TRUE(inspection::ring::ReadLiveRing(channel::kRingName, &bytes, &error)) << error;
  EXPECT_THAT(accesses, ElementsAre(4U, 4U));
  EXPECT_EQ(bytes.size(), 262'164U);
  const Snapshot now = Decode(bytes);
  ASSERT_EQ(now.entries.size(), 1U);
  EXPECT_EQ(now.entries[0].record->dwItemType, 8U);

  const tests::TemporaryFolder folder;
  const std::string path = folder.Entry("saved.bin");
  ASSERT_TRUE(inspection::ring::SaveRing(path, bytes));
  inspection::ring::Bytes saved;
  ASSERT_TRUE(inspection::ring::ReadSavedRing(path, &saved));
  EXPECT_EQ(saved, bytes);
}

TEST(RingView, ReadsTheStatusOfTheBlocksThatExist) {
  const tests::PrivateNames names;
  RingCopy ring;
  ring.Request(7);
  ring.Request(8);
  Snapshot now = ring.Look();
  const platform::ScopedHandle block(
      platform::mappings.CreateFileMappingA(34, "Global\\000012340000005600008"));
  ASSERT_TRUE(block.IsOpen());
  {
    const platform::MappedView view(block.Get(), platform::kMapReadWrite, 34);
    static_cast<RequestBlock*>(view.Data())->status = 1;
  }
  inspection::ring::ReadBlocks(&now);
  EXPECT_FALSE(now.entries[0].blockStatus);
  EXPECT_EQ(now.entries[1].blockStatus, 1);
}

TEST(RingView, SaysThatNoAgentIsThere) {
  const tests::PrivateNames names;
  inspection::ring::Bytes bytes;
  std::string error;
  EXPECT_FALSE(inspection::ring::ReadLiveRing("Global\\VRKEXPIPE", &bytes, &error));
  EXPECT_EQ(error, "there is no ring Global\\VRKEXPIPE: no agent is running");
  EXPECT_FALSE(inspection::ring::ReadSavedRing("/no/such/file", &bytes));
  EXPECT_FALSE(inspection::ring::SaveRing("/no/such/folder/ring.bin", bytes));
}

}  // namespace
