// Folders, clock, process, timers, sockets and diagnostics: what all systems have in common.
#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/process.h"
#include "platform/sockets.h"
#include "platform/ui.h"

namespace {

using platform::clock;
using platform::folders;
using platform::kMaxPath;
using platform::process;
using platform::sockets;
using platform::ui;
using platform::WideChar;
using platform::WideString;

using NarrowQuestion = std::uint32_t (*)(char* buffer, std::uint32_t size);

const NarrowQuestion kNarrowQuestions[] = {
    [](char* buffer, std::uint32_t size) { return folders.GetTempPathA(size, buffer); },
    [](char* buffer, std::uint32_t size) { return folders.GetWindowsDirectoryA(buffer, size); },
    [](char* buffer, std::uint32_t size) { return folders.GetSystemDirectoryA(buffer, size); }};

bool IsSeparator(char character) {
  return character == '/' || character == '\\';
}

TEST(Folders, EachFolderExistsAndItsLengthIsReturned) {
  for (const NarrowQuestion ask : kNarrowQuestions) {
    char buffer[kMaxPath] = {};
    const std::uint32_t length = ask(buffer, kMaxPath);
    EXPECT_EQ(length, std::strlen(buffer));
    EXPECT_TRUE(std::filesystem::is_directory(buffer)) << buffer;
  }
}

TEST(Folders, OnlyTheTemporaryPathEndsInASeparator) {
  for (const NarrowQuestion ask : kNarrowQuestions) {
    char buffer[kMaxPath] = {};
    const std::uint32_t length = ask(buffer, kMaxPath);
    ASSERT_GT(length, 1u);
    EXPECT_EQ(IsSeparator(buffer[length - 1]), ask == kNarrowQuestions[0]) << buffer;
  }
}

TEST(Folders, TooSmallABufferReturnsTheRequiredSize) {
  for (const NarrowQuestion ask : kNarrowQuestions) {
    char buffer[kMaxPath] = {};
    const std::uint32_t length = ask(buffer, kMaxPath);
    char small[kMaxPath] = {};
    EXPECT_EQ(ask(small, length), length + 1);
    EXPECT_EQ(ask(small, length + 1), length);
    EXPECT_STREQ(small, buffer);
  }
}

TEST(Folders, WideAndNarrowTemporaryPathsAreEqual) {
  char narrow[kMaxPath] = {};
  WideChar wide[kMaxPath] = {};
  const std::uint32_t length = folders.GetTempPathA(kMaxPath, narrow);
  EXPECT_EQ(folders.GetTempPathW(kMaxPath, wide), length);
  EXPECT_EQ(WideString(wide), WideString(narrow, narrow + length));
  EXPECT_EQ(folders.GetTempPathW(length, wide), length + 1);
}

TEST(Folders, ApplicationDataExistsAndHasNoFinalSeparator) {
  char buffer[kMaxPath] = {};
  ASSERT_EQ(folders.SHGetFolderPathA(platform::kFolderAppData, buffer), 0);
  EXPECT_TRUE(std::filesystem::is_directory(buffer)) << buffer;
  EXPECT_FALSE(IsSeparator(buffer[std::strlen(buffer) - 1]));
  EXPECT_NE(folders.SHGetFolderPathA(0x7F, buffer), 0);
}

TEST(Clock, TicksAdvanceDuringSleep) {
  const std::uint32_t before = clock.GetTickCount();
  clock.Sleep(50);
  // Some systems count ticks in steps of 16 milliseconds.
  EXPECT_GE(clock.GetTickCount() - before, 50u - 16u);
  clock.Sleep(0);
}

TEST(Clock, LocalTimeEqualsTheRuntimeLibrarys) {
  const auto seconds = [](const platform::LocalTime& time) {
    std::tm parts = {};
    parts.tm_year = time.year - 1900;
    parts.tm_mon = time.month - 1;
    parts.tm_mday = time.day;
    parts.tm_hour = time.hour;
    parts.tm_min = time.minute;
    parts.tm_sec = time.second;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
  };
  const std::time_t before = std::time(nullptr);
  platform::LocalTime time = {};
  clock.GetLocalTime(&time);
  const std::time_t after = std::time(nullptr);
  EXPECT_GE(seconds(time), before - 1);
  EXPECT_LE(seconds(time), after + 1);
  EXPECT_LE(time.millisecond, 999);
}

TEST(Process, EachThreadHasItsOwnIdInOneProcess) {
  const std::uint32_t mine = process.GetCurrentThreadId();
  const std::uint32_t home = process.GetCurrentProcessId();
  std::uint32_t other = mine;
  std::uint32_t otherHome = 0;
  std::thread([&] {
    other = process.GetCurrentThreadId();
    otherHome = process.GetCurrentProcessId();
  }).join();
  EXPECT_NE(mine, 0u);
  EXPECT_NE(home, 0u);
  EXPECT_NE(other, mine);
  EXPECT_EQ(otherHome, home);
  EXPECT_EQ(process.GetCurrentThreadId(), mine);
}

TEST(Process, TheComputersNameFitsOrTheCallFails) {
  std::vector<WideChar> buffer(300, WideChar{'#'});
  std::uint32_t size = 300;
  ASSERT_TRUE(process.GetComputerNameW(buffer.data(), &size));
  EXPECT_GT(size, 0u);
  EXPECT_EQ(WideString(buffer.data()).size(), size);

  std::vector<WideChar> exact(size + 1, WideChar{'#'});
  std::uint32_t room = size + 1;
  EXPECT_TRUE(process.GetComputerNameW(exact.data(), &room));
  EXPECT_EQ(room, size);
  room = size;
  EXPECT_FALSE(process.GetComputerNameW(exact.data(), &room));
}

TEST(Cursor, SettingReturnsThePreviousOne) {
  const platform::Cursor wait = ui.LoadCursorW(platform::kWaitCursor);
  ASSERT_NE(wait, nullptr);
  const platform::Cursor before = ui.SetCursor(wait);
  EXPECT_EQ(ui.SetCursor(before), wait);
}

int s_fired = 0;
std::uintptr_t s_firedIdentifier = 0;
platform::Window s_firedWindow = nullptr;

void QV_STDCALL CountFiring(platform::Window window, std::uint32_t message,
                            std::uintptr_t identifier, std::uint32_t /*tick*/) {
  EXPECT_EQ(message, 0x0113u);
  s_firedWindow = window;
  s_firedIdentifier = identifier;
  ++s_fired;
}

TEST(Timer, FiresFromTheMessageLoopUntilItIsStopped) {
  s_fired = 0;
  s_firedWindow = &s_fired;
  const std::uintptr_t timer = ui.SetTimer(nullptr, 0, 20, &CountFiring);
  ASSERT_NE(timer, 0u);
  EXPECT_EQ(s_fired, 0);
  ui.RunMessageLoop(300);
  EXPECT_GE(s_fired, 2);
  EXPECT_EQ(s_firedIdentifier, timer);
  EXPECT_EQ(s_firedWindow, nullptr);
  EXPECT_TRUE(ui.KillTimer(nullptr, timer));
  EXPECT_FALSE(ui.KillTimer(nullptr, timer));
  const int before = s_fired;
  ui.RunMessageLoop(60);
  EXPECT_EQ(s_fired, before);
}

TEST(Timer, AnotherIdentifierDoesNotStopIt) {
  const std::uintptr_t timer = ui.SetTimer(nullptr, 0, 1000, &CountFiring);
  EXPECT_FALSE(ui.KillTimer(ui.GetActiveWindow(), reinterpret_cast<std::uintptr_t>(&timer)));
  EXPECT_FALSE(ui.KillTimer(nullptr, timer + 12345));
  EXPECT_TRUE(ui.KillTimer(nullptr, timer));
}

TEST(Timer, TimersWithoutAWindowHaveDifferentIdentifiers) {
  const std::uintptr_t first = ui.SetTimer(nullptr, 0, 1000, &CountFiring);
  const std::uintptr_t second = ui.SetTimer(nullptr, 0, 1000, &CountFiring);
  EXPECT_NE(first, second);
  EXPECT_TRUE(ui.KillTimer(nullptr, first));
  EXPECT_TRUE(ui.KillTimer(nullptr, second));
}

TEST(Sockets, DottedAddressesAreInNetworkOrder) {
  const std::uint32_t address = sockets.ParseAddress("127.0.0.1");
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(&address);
  EXPECT_THAT(std::vector<int>(bytes, bytes + 4), testing::ElementsAre(127, 0, 0, 1));
  for (const char* const text : {"", "localhost", "1.2.3.256", "1.2.3.4.5", "255.255.255.255"}) {
    EXPECT_EQ(sockets.ParseAddress(text), platform::kAddressNone) << text;
  }
}

TEST(Sockets, InvalidSocketsAreRejected) {
  EXPECT_EQ(sockets.WSAStartup(0x0202), 0);
  EXPECT_EQ(sockets.CreateSocket(12345, platform::kSocketDatagram, 0), platform::kInvalidSocket);
  EXPECT_NE(sockets.Connect(platform::kInvalidSocket, {1, 1}), 0);
  EXPECT_EQ(sockets.Send(platform::kInvalidSocket, "x", 1), -1);
  EXPECT_NE(sockets.CloseSocket(platform::kInvalidSocket), 0);
}

TEST(Sockets, SendingWithoutAReceiverDoesNotFail) {
  ASSERT_EQ(sockets.WSAStartup(0x0202), 0);
  const platform::Socket socket =
      sockets.CreateSocket(platform::kAddressFamilyInet, platform::kSocketDatagram, 17);
  ASSERT_NE(socket, platform::kInvalidSocket);
  // Port 9 in network order.
  EXPECT_EQ(sockets.Connect(socket, {0x0900, sockets.ParseAddress("127.0.0.1")}), 0);
  for (int round = 0; round < 5; ++round) EXPECT_EQ(sockets.Send(socket, "line", 4), 4);
  EXPECT_EQ(sockets.CloseSocket(socket), 0);
}

TEST(Diagnostics, AcceptsNarrowAndWideText) {
  platform::diagnostics.OutputDebugStringA("");
  platform::diagnostics.OutputDebugStringW(QV_WIDE(""));
}

}  // namespace
