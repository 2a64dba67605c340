// The exact output of `quorvex ring`.
#include "tools/ringreport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/inspection/ring/ringcopy.h"

namespace tools {
namespace {

using inspection::ring::Snapshot;
using tests::RingCopy;

TEST(RingReport, AnEmptyRingHasNothingWrong) {
  RingCopy ring;
  EXPECT_EQ(RingReportText("here", ring.Look(), Diagnose(ring.Look(), nullptr, 0)),
            "here\n"
            "  capacity           262144\n"
            "  used bytes              0  [....................] 0.0 % full\n"
            "  write cursor            0  offset 0\n"
            "  consumer                0  0 bytes behind the cursor\n"
            "\n"
            "  no entries\n"
            "\n"
            "  nothing is wrong\n");
}

TEST(RingReport, ShowsEachEntryInEachState) {
  RingCopy ring;
  ring.StartAt(262'100 - 152);
  ring.Request(7, 3);
  ring.Request(8);  // split by the end
  ring.Reserve();
  ring.Complete(ring.Reserve(8), {1, 2, 3, 4, 5, 6, 7, 8});
  const Snapshot now = ring.Look();
  EXPECT_EQ(RingReportText("a.bin", now, Diagnose(now, nullptr, 0)),
            "a.bin\n"
            "  capacity           262144\n"
            "  used bytes            468  [....................] 0.2 % full\n"
            "  write cursor       262416  offset 272\n"
            "  consumer           261948  468 bytes behind the cursor\n"
            "\n"
            "   offset state      length item              block  block's name\n"
            "   261948 complete      148 recipients           34  000012340000005600007\n"
            "   262100 complete      148 file                 34  000012340000005600008 split\n"
            "      108 incomplete      0\n"
            "      260 complete        8 no request: 01 02 03 04 05 06 07 08\n"
            "\n"
            "  note   the entry at offset 108 is unfinished: its writer is at work, or died\n"
            "         before its length word\n"
            "  note   the entry at offset 261948 is complete and waits: if it stays, the\n"
            "         consumer has stalled\n"
            "  note   complete entries that are no requests of the add-in: 1\n");
}

TEST(RingReport, TheWidestEntryHasEightyColumns) {
  RingCopy ring;
  ring.StartAt(262'100);
  ContentRequest record{0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF, 4, 0xFFFFFFFF, {}};
  std::snprintf(record.szBlockName, sizeof(record.szBlockName), "Global\\fffffffffffffffe99999");
  ring.Complete(ring.Reserve(148), tests::BytesOf(record));
  const std::string report = RingReportText("", ring.Look(), {});
  const std::string line =
      "   262100 complete      148 4294967295   4294967295  fffffffffffffffe99999 split";
  EXPECT_THAT(report, testing::HasSubstr("\n" + line + "\n"));
  EXPECT_EQ(line.size(), 80U);
}

// The consumer's word is no position in the ring.
TEST(RingReport, ThePlaceOfAConsumerThatStoresSomethingElseFitsToo) {
  Snapshot now;
  now.hasHeader = true;
  now.header = {.usedBytes = 0x7FFFFFFF,
                .writeCursor = 0xFFFFFFFF,
                .consumerWord = 0xFFFFFFFE,
                .capacity = 0x7FFFFFFC};
  now.pending = 0x7FFFFFFC;
  EXPECT_THAT(
      RingReportText("", now, {}),
      testing::HasSubstr(
          "\n  consumer       4294967294  2147483644 bytes behind the cursor, by used bytes\n"));
}

TEST(RingReport, TheSameInJson) {
  RingCopy ring;
  ring.Request(7, 9);
  const Snapshot now = ring.Look();
  EXPECT_EQ(RingReportJson("live", now, Diagnose(now, &now, 500)),
            R"({"source":"live","header":{"used_bytes":152,"write_cursor":152,"consumer_word":0,)"
            R"("capacity":262144},"pending_bytes":152,"entries":[{"position":0,"offset":0,)"
            R"("state":"complete","length":148,"split":false,"request":{"pid":4660,"tid":86,)"
            R"("type":9,"block_length":34,"block_name":"Global\\000012340000005600007",)"
            R"("block_status":null}}],)"
            R"("findings":[{"kind":"stalled-consumer","fault":true,"text":"the entry at offset 0 )"
            R"(has been complete for 500 ms and more: the consumer has stalled"}]})");
}

TEST(RingReport, ShowsTheStatusOfABlock) {
  RingCopy ring;
  ring.Request(7, 3);
  Snapshot now = ring.Look();
  const auto report = [&now](std::int32_t status) {
    now.entries[0].blockStatus = status;
    return RingReportText("", now, {});
  };
  EXPECT_THAT(report(0), testing::HasSubstr("00007\n          block: the add-in is filling it\n"));
  EXPECT_THAT(report(1), testing::HasSubstr("\n          block: waiting for the answer\n"));
  EXPECT_THAT(report(3), testing::HasSubstr("\n          block: answered with 3\n"));
  EXPECT_THAT(report(5), testing::HasSubstr("\n          block: the add-in has given up\n"));
  EXPECT_THAT(RingReportJson("", now, {}), testing::HasSubstr("\"block_status\":5"));
}

TEST(RingReport, ListsManyEntriesUpToALimitAndCountsTheRest) {
  RingCopy ring;
  for (int i = 0; i < 5; ++i) ring.Request(i);
  const std::string report = RingReportText("", ring.Look(), {}, 80, 3);
  EXPECT_THAT(report, testing::HasSubstr("000012340000005600002\n  and 2 more\n"));
  EXPECT_THAT(report, testing::Not(testing::HasSubstr("000012340000005600003")));
}

}  // namespace
}  // namespace tools
