// The dumps in docs/protocol.md match what the add-in writes.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "channel/agentchannel.h"
#include "platform/process.h"
#include "tests/channel/memoryring.h"
#include "tests/support/scriptedagent.h"

namespace {

using platform::ScopedReplacement;
using tests::MemoryRing;
using tests::ScriptedAgent;

// Returns the document's fenced block marked `hexdump <name>`.
std::string DocumentedDump(const std::string& name) {
  std::ifstream file(QUORVEX_PROTOCOL_DOCUMENT, std::ios::binary);
  std::ostringstream all;
  all << file.rdbuf();
  const std::string text = all.str();
  const std::string fence = "```hexdump " + name + "\n";
  const std::size_t begin = text.find(fence);
  if (begin == std::string::npos) return "no such dump in the document";
  const std::size_t first = begin + fence.size();
  return text.substr(first, text.find("```", first) - first);
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

}  // namespace
