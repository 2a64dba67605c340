// Behaviour that only the POSIX implementation has.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/com/comtypes.h"
#include "platform/diagnostics.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/posix/openobjects.h"
#include "platform/posix/paths.h"
#include "platform/process.h"
#include "platform/scopedreplacement.h"
#include "platform/security.h"
#include "platform/sockets.h"
#include "platform/ui.h"
#include "tests/support/scopedvariable.h"
#include "tests/support/temporaryfolder.h"

namespace {

using platform::clock;
using platform::ClockOperations;
using platform::files;
using platform::folders;
using platform::Handle;
using platform::kInvalidHandle;
using platform::kMaxPath;
using platform::ScopedReplacement;
using platform::ui;
using testing::ElementsAre;
using testing::Pair;
using tests::ScopedVariable;

std::string TempPath() {
  char buffer[4096] = {};
  folders.GetTempPathA(sizeof buffer, buffer);
  return buffer;
}

TEST(RootFolder, ContainsTheFourFoldersAndIsReadOnEachCall) {
  const tests::TemporaryFolder folder;
  const std::string base = std::filesystem::canonical(folder.Path()).string();
  for (const char* const name : {"/one", "/two"}) {
    const std::string root = base + name;
    const ScopedVariable variable("QUORVEX_ROOT", root.c_str());
    char buffer[kMaxPath] = {};
    EXPECT_EQ(TempPath(), root + "/temp/");
    folders.GetWindowsDirectoryA(buffer, kMaxPath);
    EXPECT_EQ(buffer, root + "/windows");
    folders.GetSystemDirectoryA(buffer, kMaxPath);
    EXPECT_EQ(buffer, root + "/windows/system32");
    EXPECT_EQ(folders.SHGetFolderPathA(platform::kFolderAppData, buffer), 0);
    EXPECT_EQ(buffer, root + "/appdata");
    for (const char* const made : {"/temp", "/windows/system32", "/appdata"}) {
      EXPECT_TRUE(std::filesystem::is_directory(root + made)) << made;
    }
  }
}

TEST(RootFolder, DefaultsToAStateFolderOfTheUser) {
  const tests::TemporaryFolder folder;
  const std::string base = std::filesystem::canonical(folder.Path()).string();
  const ScopedVariable root("QUORVEX_ROOT", nullptr);
  const ScopedVariable home("HOME", base.c_str());
  {
    const ScopedVariable state("XDG_STATE_HOME", (base + "/state").c_str());
    EXPECT_EQ(TempPath(), base + "/state/quorvex/temp/");
  }
  for (const char* const ignored : {static_cast<const char*>(nullptr), "", "relative"}) {
    const ScopedVariable state("XDG_STATE_HOME", ignored);
    EXPECT_EQ(TempPath(), base + "/.local/state/quorvex/temp/");
  }
}

// For a child: becomes a user without an account and ends with 0 if there is no root folder.
[[noreturn]] void LookForARootFolderWithoutAnAccount() {
  constexpr uid_t kNobodyAtAll = 3'999'999'999;
  if (getpwuid(kNobodyAtAll) != nullptr || setuid(kNobodyAtAll) != 0) _exit(2);
  _exit(platform::posix::RootFolder().empty() ? 0 : 1);
}

TEST(RootFolder, IsEmptyWithoutAHomeAndWithoutAnAccount) {
  if (getuid() != 0) GTEST_SKIP() << "only root can become another user";
  const ScopedVariable root("QUORVEX_ROOT", nullptr);
  const ScopedVariable state("XDG_STATE_HOME", nullptr);
  const ScopedVariable home("HOME", nullptr);
  EXPECT_EXIT(LookForARootFolderWithoutAnAccount(), testing::ExitedWithCode(0), "");
}

TEST(ComputerName, FailsOnAMachineWithoutOne) {
  bool isNamed = true;
  bool isPossible = false;
  // Only the thread gets another name for its machine.
  std::thread([&] {
    isPossible = unshare(CLONE_NEWUTS) == 0 && sethostname("", 0) == 0;
    platform::WideChar name[16] = {};
    auto size = static_cast<std::uint32_t>(std::size(name));
    isNamed = platform::process.GetComputerNameW(name, &size);
  }).join();
  if (!isPossible) GTEST_SKIP() << "only root can take the machine's name away";
  EXPECT_FALSE(isNamed);
}

TEST(RootFolder, FoldersThatCannotBeCreatedAreFailures) {
  const tests::TemporaryFolder folder;
  std::ofstream(folder.Path() / "file") << "x";
  const ScopedVariable root("QUORVEX_ROOT", (folder.Entry("file") + "/below").c_str());
  char buffer[kMaxPath] = "untouched";
  EXPECT_EQ(folders.GetTempPathA(kMaxPath, buffer), 0u);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(folders.GetSystemDirectoryA(buffer, kMaxPath), 0u);
  EXPECT_NE(folders.SHGetFolderPathA(platform::kFolderAppData, buffer), 0);
}

TEST(RootFolder, APathTooLongForTheBufferFails) {
  const tests::TemporaryFolder folder;
  const std::string root =
      folder.Path().string() + "/" + std::string(120, 'a') + "/" + std::string(120, 'b');
  const ScopedVariable variable("QUORVEX_ROOT", root.c_str());
  char buffer[kMaxPath] = "untouched";
  const std::uint32_t needed = folders.GetWindowsDirectoryA(buffer, kMaxPath);
  EXPECT_GT(needed, kMaxPath);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_NE(folders.SHGetFolderPathA(platform::kFolderAppData, buffer), 0);
}

// The mode of a file that was opened with or without the descriptor for everyone.
mode_t ModeAfterOpening(const std::string& path, bool everybody,
                        std::uint32_t disposition = platform::kOpenAlways) {
  platform::SecurityDescriptor* descriptor = nullptr;
  if (everybody) {
    platform::security.ConvertStringSecurityDescriptorToSecurityDescriptorW(u"D:(A;;GA;;;WD)",
                                                                            &descriptor);
    platform::security.SetSecurityDescriptorDacl(descriptor);
  }
  const Handle file =
      files.CreateFileA(path.c_str(), platform::kGenericReadWrite, platform::kShareReadWrite,
                        descriptor, disposition, platform::kFileAttributeNormal);
  platform::handles.CloseHandle(file);
  platform::security.LocalFree(descriptor);
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

TEST(FileModes, TheDescriptorForEveryoneAppliesToNewFiles) {
  const tests::TemporaryFolder folder;
  const mode_t before = umask(077);
  EXPECT_EQ(ModeAfterOpening(folder.Entry("plain"), false), 0600u);
  EXPECT_EQ(ModeAfterOpening(folder.Entry("open"), true), 0666u);
  EXPECT_EQ(ModeAfterOpening(folder.Entry("plain"), true), 0600u);
  EXPECT_EQ(ModeAfterOpening(folder.Entry("plain"), true, platform::kOpenExisting), 0600u);
  umask(before);
}

TEST(FileModes, TheReadOnlyAttributeRemovesEveryPermissionToWrite) {
  const tests::TemporaryFolder folder;
  const std::string path = folder.Entry("file");
  std::ofstream(path) << "x";
  ASSERT_EQ(chmod(path.c_str(), 0766), 0);
  constexpr std::uint32_t kReadOnly = 1;
  EXPECT_TRUE(
      files.SetFileAttributesW(folder.Path().u16string().append(u"/file").c_str(), kReadOnly));
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0544u);
}

TEST(FileSizes, OfAFolderAreZero) {
  const tests::TemporaryFolder folder;
  std::uint64_t size = 77;
  EXPECT_TRUE(files.GetFileAttributesExW(folder.Path().u16string().c_str(), &size));
  EXPECT_EQ(size, 0u);
}

TEST(FileNames, WideNamesAreUtf8) {
  const tests::TemporaryFolder folder;
  const std::u16string path = folder.Path().u16string() + u"\\\u00FC\U0001F600.txt";
  const Handle file =
      files.CreateFileW(path.c_str(), platform::kGenericReadWrite, platform::kShareReadWrite,
                        nullptr, platform::kCreateAlways, platform::kFileAttributeNormal);
  ASSERT_NE(file, kInvalidHandle);
  platform::handles.CloseHandle(file);
  EXPECT_TRUE(std::filesystem::exists(folder.Entry("\xC3\xBC\xF0\x9F\x98\x80.txt")));
  platform::FindData entry = {};
  const Handle listing = files.FindFirstFileA(folder.Entry("??.txt").c_str(), &entry);
  ASSERT_NE(listing, kInvalidHandle);
  EXPECT_STREQ(entry.cFileName, "\xC3\xBC\xF0\x9F\x98\x80.txt");
  files.FindClose(listing);
}

TEST(FileWrites, OfNothingEndAlsoAfterAnEarlierInterruption) {
  const tests::TemporaryFolder folder;
  const Handle file = files.CreateFileA(folder.Entry("file").c_str(), platform::kGenericReadWrite,
                                        platform::kShareReadWrite, nullptr, platform::kCreateAlways,
                                        platform::kFileAttributeNormal);
  std::uint32_t written = 77;
  errno = EINTR;
  EXPECT_TRUE(files.WriteFile(file, "", 0, &written));
  EXPECT_EQ(written, 0u);
  platform::handles.CloseHandle(file);
}

TEST(Handles, ReferToObjectsThatCannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<platform::posix::OpenObject>);
  EXPECT_FALSE(std::is_copy_assignable_v<platform::posix::OpenObject>);
}

TEST(Handles, AreRejectedAfterClosing) {
  const tests::TemporaryFolder folder;
  const Handle file = files.CreateFileA(folder.Entry("file").c_str(), platform::kGenericReadWrite,
                                        platform::kShareReadWrite, nullptr, platform::kCreateAlways,
                                        platform::kFileAttributeNormal);
  EXPECT_FALSE(files.FindClose(file));
  EXPECT_TRUE(platform::handles.CloseHandle(file));
  EXPECT_FALSE(platform::handles.CloseHandle(file));
  int anything = 0;
  EXPECT_FALSE(platform::handles.CloseHandle(&anything));
}

TEST(ProcessNumbers, AreTheKernelsAlsoInAForkedChild) {
  EXPECT_EQ(platform::process.GetCurrentProcessId(), static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(platform::process.GetCurrentThreadId(), static_cast<std::uint32_t>(gettid()));
  const pid_t child = fork();
  if (child == 0) {
    const auto own = static_cast<std::uint32_t>(getpid());
    const bool right = platform::process.GetCurrentProcessId() == own &&
                       platform::process.GetCurrentThreadId() == own;
    _exit(right ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(DebuggersOutput, IsStandardErrorInUtf8) {
  testing::internal::CaptureStderr();
  platform::diagnostics.OutputDebugStringA("narrow\n");
  platform::diagnostics.OutputDebugStringW(u"w\u00EFde\n");
  platform::diagnostics.OutputDebugStringA(nullptr);
  platform::diagnostics.OutputDebugStringW(nullptr);
  platform::diagnostics.InvalidParameter();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "narrow\nw\xC3\xAF"
            "de\n");
}

TEST(Sleeping, LastsAMillisecondIfAsked) {
  const auto nanoseconds = [] {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
  };
  const std::int64_t before = nanoseconds();
  clock.Sleep(1);
  EXPECT_GE(nanoseconds() - before, 1000000);
}

// A clock that only Sleep advances.
class StandingClock {
 public:
  explicit StandingClock(std::uint32_t start) : m_now(start) {}
  std::uint32_t Now() const { return m_now; }

 private:
  std::uint32_t m_now;
  ScopedReplacement<clock, &ClockOperations::GetTickCount> m_ticks{[this](auto) { return m_now; }};
  ScopedReplacement<clock, &ClockOperations::Sleep> m_sleeps{
      [this](auto, std::uint32_t milliseconds) { m_now += milliseconds; }};
};

std::vector<std::pair<std::uintptr_t, std::uint32_t>> s_firings;

void Record(platform::Window, std::uint32_t, std::uintptr_t identifier, std::uint32_t tick) {
  s_firings.emplace_back(identifier, tick);
}

void RecordAndEnd(platform::Window window, std::uint32_t, std::uintptr_t identifier,
                  std::uint32_t tick) {
  s_firings.emplace_back(identifier, tick);
  ui.KillTimer(window, identifier);
}

TEST(MessageLoop, FiresEachTimerWhenItIsDue) {
  const StandingClock standing(1000);
  s_firings.clear();
  const std::uintptr_t slow = ui.SetTimer(nullptr, 0, 1000, &Record);
  const std::uintptr_t fast = ui.SetTimer(nullptr, 0, 400, &Record);
  ui.RunMessageLoop(1300);
  EXPECT_THAT(s_firings, ElementsAre(Pair(fast, 1400u), Pair(fast, 1800u), Pair(slow, 2000u),
                                     Pair(fast, 2200u)));
  EXPECT_EQ(standing.Now(), 2300u);
  ui.KillTimer(nullptr, slow);
  ui.KillTimer(nullptr, fast);
}

TEST(MessageLoop, WorksAcrossTheWrapOfTheTicks) {
  const StandingClock standing(0xFFFFFE00);
  s_firings.clear();
  const std::uintptr_t timer = ui.SetTimer(nullptr, 0, 1000, &Record);
  ui.RunMessageLoop(2500);
  EXPECT_THAT(s_firings,
              ElementsAre(Pair(timer, 0xFFFFFE00u + 1000u), Pair(timer, 0xFFFFFE00u + 2000u)));
  ui.KillTimer(nullptr, timer);
}

TEST(MessageLoop, FiresALateTimerOnce) {
  const StandingClock standing(1000);
  s_firings.clear();
  const std::uintptr_t timer = ui.SetTimer(nullptr, 0, 100, &Record);
  clock.Sleep(1000);
  ui.RunMessageLoop(0);
  EXPECT_THAT(s_firings, ElementsAre(Pair(timer, 2000u)));
  ui.KillTimer(nullptr, timer);
}

TEST(MessageLoop, ATimerMayStopItself) {
  const StandingClock standing(1000);
  s_firings.clear();
  const std::uintptr_t timer = ui.SetTimer(nullptr, 0, 100, &RecordAndEnd);
  ui.RunMessageLoop(1000);
  EXPECT_THAT(s_firings, ElementsAre(Pair(timer, 1100u)));
  EXPECT_FALSE(ui.KillTimer(nullptr, timer));
}

TEST(MessageLoop, SettingATimerAgainRestartsIt) {
  const StandingClock standing(1000);
  s_firings.clear();
  const std::uintptr_t timer = ui.SetTimer(nullptr, 0, 100, &Record);
  EXPECT_EQ(ui.SetTimer(nullptr, timer, 300, &Record), timer);
  ui.RunMessageLoop(350);
  EXPECT_THAT(s_firings, ElementsAre(Pair(timer, 1300u)));
  ui.KillTimer(nullptr, timer);
}

TEST(Sockets, AreNotInheritedByChildProcesses) {
  const platform::Socket made =
      platform::sockets.CreateSocket(platform::kAddressFamilyInet, platform::kSocketDatagram, 0);
  ASSERT_NE(made, platform::kInvalidSocket);
  EXPECT_NE(fcntl(static_cast<int>(made), F_GETFD) & FD_CLOEXEC, 0);
  platform::sockets.CloseSocket(made);
}

TEST(Datagrams, ArriveUnchanged) {
  const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(receiver, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &size), 0);

  const platform::Socket sender = platform::sockets.CreateSocket(
      platform::kAddressFamilyInet, platform::kSocketDatagram, IPPROTO_UDP);
  ASSERT_EQ(platform::sockets.Connect(
                sender, {address.sin_port, platform::sockets.ParseAddress("127.0.0.1")}),
            0);
  for (const std::string& sent : {std::string("line\r\n"), std::string("\0x", 2), std::string()}) {
    EXPECT_EQ(platform::sockets.Send(sender, sent.data(), static_cast<int>(sent.size())),
              static_cast<int>(sent.size()));
    char buffer[64] = {};
    const ssize_t received = recv(receiver, buffer, sizeof buffer, 0);
    ASSERT_GE(received, 0);
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(received)), sent);
  }
  platform::sockets.CloseSocket(sender);
  close(receiver);
}

int s_receiver = -1;

void TakeADatagram(int /*signal*/) {
  char byte = 0;
  recv(s_receiver, &byte, 1, MSG_DONTWAIT);
}

TEST(Datagrams, AreSentEvenIfASignalInterruptsTheSender) {
  int pair[2] = {};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair), 0);
  s_receiver = pair[1];
  // Now there is no space, so the sender waits until the signal's handler makes some.
  while (send(pair[0], "x", 1, MSG_DONTWAIT) == 1) {
  }
  struct sigaction taking = {};
  taking.sa_handler = &TakeADatagram;
  struct sigaction before = {};
  sigaction(SIGALRM, &taking, &before);
  itimerval every = {};
  every.it_interval.tv_usec = every.it_value.tv_usec = 20000;
  setitimer(ITIMER_REAL, &every, nullptr);
  EXPECT_EQ(platform::sockets.Send(static_cast<platform::Socket>(pair[0]), "y", 1), 1);
  every = {};
  setitimer(ITIMER_REAL, &every, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  close(pair[0]);
  close(pair[1]);
}

std::uintptr_t ReturnManyBits(void* /*object*/) {
  return 0xFFFFFFFE;
}

TEST(CallByTable, ReturnsTheLowHalfOfAWordAsASmallResult) {
  std::uintptr_t (*const table[])(void*) = {&ReturnManyBits};
  const auto* object = table;
  for (const VARTYPE type : {VT_I2, VT_BOOL}) {
    VARIANT result = {};
    EXPECT_EQ(DispCallFunc(&object, 0, CC_STDCALL, type, 0, nullptr, nullptr, &result), S_OK);
    EXPECT_EQ(result.vt, type);
    EXPECT_EQ(result.iVal, -2);
  }
}

TEST(CallByTable, RejectsUnknownConventionsAndTypes) {
  int calls = 0;
  int* table[1] = {&calls};
  VARIANTARG argument = {};
  VARIANTARG* arguments[9] = {&argument, &argument, &argument, &argument, &argument,
                              &argument, &argument, &argument, &argument};
  VARTYPE types[9] = {VT_VARIANT};
  VARIANT result = {};
  EXPECT_EQ(DispCallFunc(table, 0, CC_STDCALL, VT_I4, 1, types, arguments, &result),
            DISP_E_BADVARTYPE);
  EXPECT_EQ(DispCallFunc(table, 0, CC_STDCALL, VT_VARIANT, 0, nullptr, nullptr, &result),
            DISP_E_BADVARTYPE);
  EXPECT_EQ(DispCallFunc(table, 0, CC_STDCALL, VT_I4, 9, types, arguments, &result),
            DISP_E_BADPARAMCOUNT);
}

}  // namespace
