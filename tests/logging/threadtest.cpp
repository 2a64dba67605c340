// Many threads, one log.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/diagnostics.h"
#include "platform/files.h"
#include "platform/scopedreplacement.h"
#include "tests/logging/loggingtest.h"
#include "tests/support/logcapture.h"
#include "tests/support/temporaryfolder.h"

namespace {

constexpr int kThreads = 4;
constexpr int kLines = 300;

std::string AllFiles(const std::filesystem::path& folder) {
  std::string text;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    text += FileBytes(entry.path());
  }
  return text;
}

// Each thread writes its own letter in varying lengths and a sequence number. A stream pauses
// within each line, so only the lock prevents other lines from getting in between.
TEST(Threads, NeverInterleaveTheirLines) {
  std::atomic<int> begun = 0;
  std::atomic<int> mostBegun = 0;
  platform::ScopedReplacement<platform::clock, &platform::ClockOperations::GetLocalTime> slow(
      [&](auto original, platform::LocalTime* time) {
        mostBegun = std::max(mostBegun.load(), ++begun);
        for (int i = 0; i < 5; ++i) std::this_thread::yield();
        original(time);
      });
  platform::ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> counting(
      [&begun](auto original, auto... arguments) {
        --begun;
        return original(arguments...);
      });
  tests::TemporaryFolder folder;
  OpenLogger logger;
  ASSERT_EQ(logger.AddStream("Outlook", 15, "File", folder.Entry("log").c_str()), 1);
  std::atomic<bool> go = false;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&logger, &go, thread] {
      while (!go) std::this_thread::yield();
      for (int number = 0; number < kLines; ++number) {
        const std::string body(static_cast<std::size_t>(1 + (number * 7) % 400),
                               static_cast<char>('a' + thread));
        logger.Log("Outlook", kLogInfo, "%d %s", number, body.c_str());
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mostBegun, 1);

  std::map<char, int> next;
  for (const tests::LoggedLine& line : tests::ParseLog(AllFiles(folder.Path()), "Outlook")) {
    const std::size_t blank = line.message.find(' ');
    ASSERT_NE(blank, std::string::npos);
    const char letter = line.message[blank + 1];
    const int number = next[letter]++;
    const std::string body(static_cast<std::size_t>(1 + (number * 7) % 400), letter);
    ASSERT_EQ(line.message, std::to_string(number) + " " + body);
  }
  ASSERT_EQ(next.size(), static_cast<std::size_t>(kThreads));
  for (const auto& [letter, count] : next) EXPECT_EQ(count, kLines) << letter;
}

TEST(Threads, ShowTheirOwnIds) {
  tests::TemporaryFolder folder;
  OpenLogger logger;
  ASSERT_EQ(logger.AddStream("Outlook", 15, "File", folder.Entry("log").c_str()), 1);
  logger.Log("Outlook", kLogInfo, "one");
  std::thread([&logger] { logger.Log("Outlook", kLogInfo, "two"); }).join();
  const std::string text = AllFiles(folder.Path());
  const std::string first = text.substr(0, text.find(')'));
  const std::size_t second = text.find("\r\n") + 2;
  EXPECT_NE(first, text.substr(second, text.find(')', second) - second));
}

// A thread that logs during a reload sees the registry as it is at that moment: an offered line
// reaches the only stream, any other line reaches none.
TEST(Threads, MayLogWhileStreamsAreAddedAndRemoved) {
  OpenLogger logger;
  int written = 0;
  platform::ScopedReplacement<platform::diagnostics,
                              &platform::DiagnosticsOperations::OutputDebugStringW>
      debugger([&written](auto, const platform::WideChar*) { ++written; });
  std::atomic<bool> stop = false;
  std::thread changing([&] {
    while (!stop) {
      logger.AddStream("Outlook", 15, "Dbg", nullptr);
      logger.RemoveAllModules();
    }
  });
  int offered = 0;
  int refused = 0;
  while (offered < 50 || refused < 50) {
    ++(logger.Log("Outlook", kLogInfo, "x") == 1 ? offered : refused);
  }
  stop = true;
  changing.join();
  EXPECT_EQ(written, offered);
}

// Two loggers behave like two processes: they share only the file.
TEST(Threads, OfTwoProcessesAppendToOneFile) {
  tests::TemporaryFolder folder;
  OpenLogger one;
  OpenLogger two;
  ASSERT_EQ(one.AddStream("Outlook", 15, "File", folder.Entry("log").c_str()), 1);
  ASSERT_EQ(two.AddStream("Outlook", 15, "File", folder.Entry("log").c_str()), 1);
  for (int i = 0; i < 3; ++i) {
    one.Log("Outlook", kLogInfo, "one %d", i);
    two.Log("Outlook", kLogWarn, "two %d", i);
  }
  const std::vector<tests::LoggedLine> lines = tests::ParseLog(AllFiles(folder.Path()), "Outlook");
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[4], (tests::LoggedLine{kLogInfo, "one 2"}));
  EXPECT_EQ(lines[5], (tests::LoggedLine{kLogWarn, "two 2"}));
}

}  // namespace
