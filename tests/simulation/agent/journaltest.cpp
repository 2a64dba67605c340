#include "simulation/agent/journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/scopedreplacement.h"
#include "tests/support/temporaryfolder.h"

namespace {

using simulation::agent::JournalReader;
using simulation::agent::JournalRequest;
using simulation::agent::JournalWriter;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

JournalRequest RequestOf(std::uint64_t id, std::uint32_t type, std::uint32_t processId = 10,
                         std::uint32_t threadId = 20) {
  JournalRequest request;
  request.id = id;
  request.time = "2026-03-01T12:00:00.123";
  request.processId = processId;
  request.threadId = threadId;
  request.block = "Global\\0000000a0000001400001";
  request.itemType = type;
  request.stage = "sender";
  request.payload = "Alice";
  request.answer = 4;
  return request;
}

class Journal : public testing::Test {
 protected:
  std::string Content() const {
    std::ifstream file(m_folder.Path() / "journal", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  tests::TemporaryFolder m_folder;
  const std::string m_path = m_folder.Entry("journal");
};

TEST_F(Journal, ARequestsLine) {
  EXPECT_EQ(JournalLine(RequestOf(7, 7)),
            R"({"event":"request","id":7,"time":"2026-03-01T12:00:00.123","pid":10,"tid":20,)"
            R"("block":"Global\\0000000a0000001400001","type":7,"stage":"sender",)"
            R"("payload":"Alice","name":"","answer":4,"because":""})");
}

TEST_F(Journal, AFilesLineDescribesItsContent) {
  JournalRequest request = RequestOf(1, 1);
  EXPECT_THAT(JournalLine(request),
              testing::EndsWith(R"(,"content_sha256":null,"content_bytes":null})"));
  request.contentSha256 = "ab";
  request.contentBytes = 5'000'000'000;
  EXPECT_THAT(JournalLine(request),
              testing::EndsWith(R"(,"content_sha256":"ab","content_bytes":5000000000})"));
}

TEST_F(Journal, NulsAndInvalidUtf8) {
  JournalRequest request = RequestOf(1, 3);
  request.payload = std::string(
      "a\0\xFF"
      "b\0",
      5);
  request.answer.reset();
  EXPECT_THAT(JournalLine(request), testing::HasSubstr("\"payload\":\"a\\u0000\xEF\xBF\xBD"
                                                       "b\\u0000\",\"name\":\"\","
                                                       "\"answer\":null,"));
  request.payload.reset();
  EXPECT_THAT(JournalLine(request), testing::HasSubstr("\"payload\":null,"));
}

TEST_F(Journal, AnOutcomesLine) {
  EXPECT_EQ(simulation::agent::OutcomeLine(7, "given up", 2480),
            R"({"event":"outcome","id":7,"outcome":"given up","waited_ms":2480})");
}

TEST_F(Journal, TimeIsLocalTimeToTheMillisecond) {
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetLocalTime>
      clock([](auto, platform::LocalTime* time) { *time = {2026, 3, 1, 4, 5, 6, 7}; });
  EXPECT_EQ(simulation::agent::JournalTime(), "2026-03-01T04:05:06.007");
}

TEST_F(Journal, EachLineIsInTheFileAtOnce) {
  JournalWriter writer(m_path);
  ASSERT_TRUE(writer.IsOpen());
  writer.WriteRequest(RequestOf(1, 7));
  EXPECT_EQ(Content(), JournalLine(RequestOf(1, 7)) + "\n");
  writer.WriteOutcome(1, "taken", 3);
  EXPECT_EQ(Content(), JournalLine(RequestOf(1, 7)) + "\n" +
                           R"({"event":"outcome","id":1,"outcome":"taken","waited_ms":3})" + "\n");
}

TEST_F(Journal, IsEmptiedByANewWriterAndRemovedInTheEnd) {
  std::ofstream(m_path) << "old\n";
  {
    const JournalWriter writer(m_path);
    EXPECT_EQ(Content(), "");
  }
  EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Journal, IsNotOpenIfTheFileCannotBeCreated) {
  const platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA>
      failing([](auto, auto...) { return platform::kInvalidHandle; });
  JournalWriter writer(m_path);
  EXPECT_FALSE(writer.IsOpen());
  writer.WriteRequest(RequestOf(1, 7));
}

TEST_F(Journal, AReaderGetsAMailUpToItsClose) {
  JournalWriter writer(m_path);
  JournalReader reader(m_path);
  JournalRequest file = RequestOf(2, 1);
  file.payload = "C:\\x";
  file.name = "n";
  file.because = "r";
  file.contentSha256 = "ab";
  file.contentBytes = 3;
  writer.WriteRequest(RequestOf(1, 3));
  writer.WriteOutcome(1, "taken", 11);
  writer.WriteRequest(file);
  writer.WriteOutcome(2, "given up", 12);
  writer.WriteRequest(RequestOf(3, 9));
  writer.WriteOutcome(3, "taken", 13);
  writer.WriteRequest(RequestOf(4, 3));
  writer.WriteOutcome(4, "taken", 14);

  const std::vector<JournalRequest> mail = reader.TakeMail(10, 20, 0);
  ASSERT_EQ(mail.size(), 3U);
  EXPECT_EQ(mail[0].itemType, 3U);
  EXPECT_EQ(mail[0].waitedMs, 11U);
  EXPECT_EQ(mail[1].payload, "C:\\x");
  EXPECT_EQ(mail[1].name, "n");
  EXPECT_EQ(mail[1].because, "r");
  EXPECT_EQ(mail[1].contentSha256, "ab");
  EXPECT_EQ(mail[1].contentBytes, 3U);
  EXPECT_EQ(mail[1].answer, 4);
  EXPECT_EQ(mail[1].outcome, "given up");
  EXPECT_EQ(mail[2].itemType, 9U);
  EXPECT_EQ(mail[2].block, "Global\\0000000a0000001400001");

  // The next mail isn't complete, so it comes when the time is over.
  EXPECT_THAT(reader.TakeMail(10, 20, 0), ElementsAre(Field(&JournalRequest::id, 4)));
  EXPECT_THAT(reader.TakeMail(10, 20, 0), IsEmpty());
}

TEST_F(Journal, AReaderSeparatesSenders) {
  JournalWriter writer(m_path);
  JournalReader reader(m_path);
  std::uint64_t id = 0;
  for (const auto& [process, thread] : {std::pair(10U, 1U), {11U, 1U}, {10U, 2U}}) {
    writer.WriteRequest(RequestOf(++id, 3, process, thread));
    writer.WriteOutcome(id, "taken", 0);
  }
  for (const auto& [process, thread] : {std::pair(11U, 1U), {10U, 2U}, {10U, 1U}}) {
    writer.WriteRequest(RequestOf(++id, 9, process, thread));
    writer.WriteOutcome(id, "taken", 0);
  }
  EXPECT_THAT(reader.TakeMail(10, 1, 0),
              ElementsAre(Field(&JournalRequest::id, 1), Field(&JournalRequest::id, 6)));
  EXPECT_THAT(reader.TakeMail(11, 0, 0),
              ElementsAre(Field(&JournalRequest::id, 2), Field(&JournalRequest::id, 4)));
  EXPECT_THAT(reader.TakeMail(10, 2, 0),
              ElementsAre(Field(&JournalRequest::id, 3), Field(&JournalRequest::id, 5)));
}

// Waits run on the replaced clock; each sleep writes what the agent would have written.
TEST_F(Journal, AReaderWaitsForTheCloseAndForEveryOutcome) {
  JournalWriter writer(m_path);
  JournalReader reader(m_path);
  int sleeps = 0;
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> agent(
      [&](auto, std::uint32_t) {
        ++sleeps;
        if (sleeps == 1) writer.WriteRequest(RequestOf(1, 3));
        if (sleeps == 2) writer.WriteRequest(RequestOf(2, 9));
        if (sleeps == 3) writer.WriteOutcome(2, "taken", 5);
        if (sleeps == 4) writer.WriteOutcome(1, "taken", 5);
      });
  EXPECT_EQ(reader.TakeMail(10, 20, 60'000).size(), 2U);
  EXPECT_EQ(sleeps, 4);
}

TEST_F(Journal, AReadersWaitIsBounded) {
  JournalReader reader(m_path);
  std::uint32_t now = 0xFFFFFFF0;
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetTickCount>
      ticks([&](auto) { return now; });
  const platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep> sleep(
      [&](auto, std::uint32_t milliseconds) { now += milliseconds; });
  EXPECT_THAT(reader.TakeMail(10, 20, 50), IsEmpty());
  EXPECT_EQ(now, 0xFFFFFFF0 + 50);
}

TEST_F(Journal, AReaderSkipsEarlierLines) {
  JournalWriter writer(m_path);
  writer.WriteRequest(RequestOf(1, 9));
  writer.WriteOutcome(1, "taken", 0);
  JournalReader reader(m_path);
  EXPECT_THAT(reader.TakeMail(10, 20, 0), IsEmpty());
}

TEST_F(Journal, AReaderFollowsANewAgentsJournal) {
  std::ofstream(m_path) << std::string(5000, 'x') << "\n";
  JournalReader reader(m_path);
  JournalWriter writer(m_path);
  writer.WriteRequest(RequestOf(1, 9));
  writer.WriteOutcome(1, "taken", 0);
  EXPECT_EQ(reader.TakeMail(10, 20, 0).size(), 1U);
}

TEST_F(Journal, AReaderSkipsOtherLines) {
  std::ofstream file(m_path, std::ios::binary);
  JournalReader reader(m_path);
  file << "not json\n[1]\n{\"event\":5}\n{\"event\":\"request\",\"id\":\"x\",\"pid\":-1}\n"
       << "{\"event\":\"outcome\"}\n\n"
       << JournalLine(RequestOf(1, 9)) << "\n"
       << simulation::agent::OutcomeLine(1, "taken", 0) << "\n"
       << JournalLine(RequestOf(2, 9)).substr(0, 20) << std::flush;
  EXPECT_EQ(reader.TakeMail(10, 20, 0).size(), 1U);
  file << JournalLine(RequestOf(2, 9)).substr(20) << "\n" << std::flush;
  EXPECT_THAT(reader.TakeMail(10, 20, 0), ElementsAre(Field(&JournalRequest::id, 2)));
}

}  // namespace
