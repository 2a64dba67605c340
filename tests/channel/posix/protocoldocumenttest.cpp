// docs/protocol.md agrees with channel/protocol.h and with what the add-in writes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "channel/agentchannel.h"
#include "platform/process.h"
#include "tests/channel/memoryring.h"
#include "tests/support/scriptedagent.h"

namespace {

using platform::ScopedReplacement;
using tests::MemoryRing;
using tests::ScriptedAgent;

std::string Document() {
  std::ifstream file(QUORVEX_PROTOCOL_DOCUMENT, std::ios::binary);
  std::ostringstream all;
  all << file.rdbuf();
  return all.str();
}

// The text between `begin` and the next `end`.
std::string Between(const std::string& begin, const std::string& end) {
  const std::string text = Document();
  const std::size_t found = text.find(begin);
  if (found == std::string::npos) return "not in the document: " + begin;
  const std::size_t first = found + begin.size();
  return text.substr(first, text.find(end, first) - first);
}

// The document's fenced block marked `hexdump <name>`.
std::string DocumentedDump(const std::string& name) {
  return Between("```hexdump " + name + "\n", "```");
}

using Row = std::vector<std::string>;

// The rows of the table marked `table: <name>`, without its head, and the cells without backticks.
std::vector<Row> DocumentedTable(const std::string& name) {
  std::istringstream lines(Between("<!-- table: " + name + " -->\n", "<!-- end -->"));
  std::vector<Row> rows;
  for (std::string line; std::getline(lines, line);) {
    Row& row = rows.emplace_back();
    std::string cell;
    for (const char c : line.substr(1)) {
      if (c == '|') {
        const std::size_t first = cell.find_first_not_of(' ');
        row.push_back(first == std::string::npos
                          ? ""
                          : cell.substr(first, cell.find_last_not_of(' ') - first + 1));
        cell.clear();
      } else if (c != '`') {
        cell += c;
      }
    }
  }
  if (rows.size() > 2) rows.erase(rows.begin(), rows.begin() + 2);
  return rows;
}

// The first `columns` cells of each row.
std::vector<Row> Columns(std::vector<Row> rows, std::size_t columns) {
  for (Row& row : rows) row.resize(columns);
  return rows;
}

template <typename Field>
Row FieldRow(std::size_t offset, const char* name) {
  return {std::to_string(offset), std::to_string(sizeof(Field)), name};
}

#define FIELD_ROW(record, field) FieldRow<decltype(record::field)>(offsetof(record, field), #field)

// Seconds with `decimals` decimals, rounded up.
std::string Seconds(std::uint32_t milliseconds, int decimals) {
  char text[16];
  const double scale = std::pow(10, decimals);
  std::snprintf(text, sizeof(text), "%.*f s", decimals,
                std::ceil(milliseconds * scale / 1000) / scale);
  return text;
}

// In the form of `hexdump -C`, with the offsets counted from `offset`.
std::string Dump(const unsigned char* bytes, std::size_t size, std::size_t offset) {
  std::string text;
  for (std::size_t line = 0; line < size; line += 16) {
    char piece[16];
    std::snprintf(piece, sizeof(piece), "%08zx ", offset + line);
    text += piece;
    std::string shown;
    for (std::size_t i = line; i < line + 16; ++i) {
      if (i % 16 == 8) text += ' ';
      if (i >= size) {
        text += "   ";
        continue;
      }
      std::snprintf(piece, sizeof(piece), " %02x", static_cast<unsigned>(bytes[i]));
      text += piece;
      shown += std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    text += "  |" + shown + "|\n";
  }
  return text;
}

// The add-in in the state of the document's example.
class ProtocolDocument : public testing::Test {
 protected:
  ProtocolDocument()
      : m_process([](auto) { return std::uint32_t{0x1234}; }),
        m_thread([](auto) { return std::uint32_t{0x56}; }) {
    g_requestSequence = 7;
  }
  ~ProtocolDocument() override { g_requestSequence = 0; }

  static int Ask() {
    constexpr char kRecipients[] = "ada@a.example\0ben@b.example";  // and its own NUL
    return GetAgentChannel()->CheckContent(kRecipients, sizeof(kRecipients),
                                           channel::kItemRecipients, nullptr);
  }

 private:
  ScopedReplacement<platform::process, &platform::ProcessOperations::GetCurrentProcessId> m_process;
  ScopedReplacement<platform::process, &platform::ProcessOperations::GetCurrentThreadId> m_thread;
};

TEST_F(ProtocolDocument, ShowsTheRingAfterThePush) {
  constexpr std::size_t kShown = 168;
  ScriptedAgent agent;
  std::string dump;
  bool isRestZero = true;
  agent.onSleep = [&] {
    if (!dump.empty())
      return;  // the first sleep is after the push, before the agent takes the entry
    dump = Dump(reinterpret_cast<const unsigned char*>(agent.Ring()), kShown, 0);
    for (std::size_t i = kShown - 16; i < (1U << 18); ++i) {
      isRestZero = isRestZero && agent.RingData()[i] == 0;
    }
  };
  EXPECT_EQ(Ask(), 4);
  EXPECT_EQ(dump, DocumentedDump("ring"));
  EXPECT_TRUE(isRestZero);
}

TEST_F(ProtocolDocument, ShowsTheBlockAsTheAgentReadsIt) {
  ScriptedAgent agent;
  EXPECT_EQ(Ask(), 4);
  ASSERT_EQ(agent.Requests().size(), 1U);
  const std::string& block = agent.Requests()[0].block;
  EXPECT_EQ(Dump(reinterpret_cast<const unsigned char*>(block.data()), block.size(), 0),
            DocumentedDump("block"));
}

TEST_F(ProtocolDocument, ShowsAnEntryThatTheEndOfTheAreaSplits) {
  ScriptedAgent agent;
  std::string record;
  agent.onRequest = [&](const tests::SeenRequest& seen) {
    record.assign(reinterpret_cast<const char*>(&seen.record), sizeof(seen.record));
    return std::nullopt;
  };
  ASSERT_EQ(Ask(), 4);
  MemoryRing ring(1U << 18);
  std::memset(ring.Data(), 0, 1U << 18);
  ring.Header()->writeCursor = 262'100;
  ASSERT_TRUE(AgentChannel::PushEntry(ring.Header(), record.data(), 148));
  const auto* const mapping = reinterpret_cast<const unsigned char*>(ring.Header());
  EXPECT_EQ(Dump(mapping + 262'112, 48, 262'112) + Dump(mapping + 16, 112, 16),
            DocumentedDump("wrapped"));
}

TEST(ProtocolTables, RecordsHaveTheOffsetsOfTheHeader) {
  using testing::ElementsAre;
  EXPECT_THAT(Columns(DocumentedTable("ring"), 3),
              ElementsAre(FIELD_ROW(RingHeader, usedBytes), FIELD_ROW(RingHeader, writeCursor),
                          FIELD_ROW(RingHeader, consumerWord), FIELD_ROW(RingHeader, capacity),
                          Row{std::to_string(sizeof(RingHeader)), "capacity", "data area"}));
  EXPECT_THAT(Columns(DocumentedTable("entry"), 3),
              ElementsAre(FIELD_ROW(RingEntry, paddedLength),
                          Row{std::to_string(sizeof(RingEntry)), "paddedLength", "payload"}));
  EXPECT_THAT(
      Columns(DocumentedTable("record"), 3),
      ElementsAre(FIELD_ROW(ContentRequest, dwProcessId), FIELD_ROW(ContentRequest, dwThreadId),
                  FIELD_ROW(ContentRequest, dwBlockLength),
                  FIELD_ROW(ContentRequest, dwRequestKind), FIELD_ROW(ContentRequest, dwItemType),
                  FIELD_ROW(ContentRequest, szBlockName)));
}

TEST(ProtocolTables, EveryItemTypeIsThereWithItsWord) {
  std::set<Row> documented;
  for (const Row& row : Columns(DocumentedTable("items"), 2)) documented.insert(row);
  std::set<Row> defined;
  for (const channel::ItemType& item : channel::kItemTypes) {
    defined.insert({std::to_string(item.number), std::string(item.word)});
  }
  EXPECT_EQ(documented, defined);
}

TEST(ProtocolTables, FilesHaveTheirNames) {
  const std::vector<Row> items = DocumentedTable("items");
  ASSERT_GE(items.size(), 2U);
  EXPECT_EQ(items[0][3], channel::kSubjectFile);
  EXPECT_EQ(items[1][3], channel::kBodyFile);
  EXPECT_NE(Document().find(std::string("`") + channel::kAttachmentFilePattern + "`"),
            std::string::npos);
}

TEST(ProtocolTables, EveryAcceptedAnswerIsThereWithItsWord) {
  std::vector<Row> defined;
  for (const channel::Action& action : channel::kAcceptedActions) {
    defined.push_back({std::to_string(action.code), std::string(action.word)});
  }
  EXPECT_EQ(Columns(DocumentedTable("answers"), 2), defined);
}

TEST(ProtocolTables, StatusWordsAreThoseOfTheHeader) {
  EXPECT_THAT(Columns(DocumentedTable("status"), 1),
              testing::ElementsAre(Row{std::to_string(channel::kStatusFilling)},
                                   Row{std::to_string(channel::kStatusWaiting)},
                                   Row{std::to_string(channel::kStatusGivenUp)}));
}

TEST(ProtocolTables, WaitsFollowFromTheNumberOfPolls) {
  const std::vector<Row> waits = DocumentedTable("waits");
  ASSERT_EQ(waits.size(), 3U);
  const auto wait = [](int polls, int sleeps) {
    return Row{std::to_string(polls), Seconds(channel::ShortestWaitMs(sleeps), 2),
               Seconds(channel::LongestWaitMs(sleeps), 1)};
  };
  const auto shown = [&](std::size_t row) { return Row(waits[row].begin() + 1, waits[row].end()); };
  EXPECT_EQ(shown(0), wait(channel::kBlockAttempts, channel::kBlockAttempts));
  EXPECT_EQ(shown(1), wait(channel::kAnswerPolls, channel::kAnswerPolls - 1));
  EXPECT_EQ(shown(2), wait(channel::kChallengePolls, channel::kChallengePolls - 1));
}

}  // namespace
