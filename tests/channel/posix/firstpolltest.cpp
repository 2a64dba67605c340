// An answer that is in the status word before the first poll.
//
// The add-in stores 0, copies the item and polls. In one thread, nothing can run between these
// steps. So the block is one page mapped twice in a row: the payload's bytes from offset 4096 land
// in the status word, and the copy itself stores the answer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "channel/agentchannel.h"
#include "platform/scopedreplacement.h"
#include "tests/support/logcapture.h"
#include "tests/support/scriptedagent.h"

namespace {

using platform::ScopedReplacement;
using testing::ElementsAre;
using tests::LogCapture;
using tests::LoggedLine;
using tests::Reply;
using tests::ScriptedAgent;

class PageTwice {
 public:
  PageTwice() : m_size(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
    const int file = memfd_create("twice", 0);
    if (file < 0 || ftruncate(file, static_cast<off_t>(m_size)) != 0) {
      throw std::runtime_error("no memory file");
    }
    m_view = mmap(nullptr, 2 * m_size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    for (const std::size_t offset : {std::size_t{0}, m_size}) {
      mmap(static_cast<char*>(m_view) + offset, m_size, PROT_READ | PROT_WRITE,
           MAP_SHARED | MAP_FIXED, file, 0);
    }
    close(file);
  }
  ~PageTwice() { munmap(m_view, 2 * m_size); }

  void* View() const { return m_view; }
  std::size_t Size() const { return m_size; }

 private:
  std::size_t m_size;
  void* m_view = nullptr;
};

// Sends a payload that contains its own answer. Returns the result and stores the number of sleeps
// after the block was opened in `*sleeps`.
int AskWithAnswerInPlace(std::int32_t answer, int* sleeps) {
  PageTwice block;
  ScriptedAgent agent;
  agent.SetDefault(Reply::Silent());
  ScopedReplacement<platform::mappings, &platform::MappingOperations::MapViewOfFile> map(
      [&](auto original, auto mapping, auto access, auto high, auto low, auto size) {
        const bool isBlock = agent.LastBlock() != nullptr;
        return isBlock ? block.View() : original(mapping, access, high, low, size);
      });
  ScopedReplacement<platform::mappings, &platform::MappingOperations::UnmapViewOfFile> unmap(
      [&](auto original, const void* view) { return view == block.View() || original(view); });
  std::string payload(block.Size(), 'x');
  std::memcpy(payload.data() + block.Size() - 4, &answer, 4);
  const int result = GetAgentChannel()->CheckContent(
      payload.data(), static_cast<std::uint32_t>(payload.size()), 1, nullptr);
  *sleeps = agent.Sleeps() - 1;
  return result;
}

TEST(CheckContentFirstPoll, AnswerAtFirstPollLogsFullCounterAndDoesNotSleep) {
  LogCapture log;
  int sleeps = -1;
  GetAgentChannel()->m_bChallengeResponse = false;
  EXPECT_EQ(AskWithAnswerInPlace(4, &sleeps), 4);
  EXPECT_EQ(sleeps, 0);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogInfo, "CheckContent: lActionCode=4 iTimeOut=125"}));
}

TEST(CheckContentFirstPoll, AnswerAtFirstPollOfTheLongWaitLogs9250) {
  LogCapture log;
  int sleeps = -1;
  GetAgentChannel()->m_bChallengeResponse = true;
  EXPECT_EQ(AskWithAnswerInPlace(8, &sleeps), 1);
  GetAgentChannel()->m_bChallengeResponse = false;
  EXPECT_EQ(sleeps, 0);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LoggedLine{kLogInfo, "CheckContent: lActionCode=8 iTimeOut=9250"}));
}

}  // namespace
