// The files that named mappings are on Linux: agents in other languages share them, and other
// processes leave things in their places.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "platform/mappings.h"
#include "tests/support/scopedvariable.h"
#include "tests/support/temporaryfolder.h"

namespace {

using platform::Handle;
using platform::handles;
using platform::kMapReadWrite;
using platform::mappings;

class MappingFiles : public testing::Test {
 protected:
  ~MappingFiles() override { unlink(m_path.c_str()); }

  Handle Create() { return mappings.CreateFileMappingA(4096, m_name.c_str()); }
  Handle Open() { return mappings.OpenFileMappingA(kMapReadWrite, false, m_name.c_str()); }

  // The thread's computing time in milliseconds for 50 refused attempts to create the mapping.
  double RefusalTime() {
    const auto now = [] {
      timespec time = {};
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
      return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    };
    const double start = now();
    for (int round = 0; round < 50; ++round) EXPECT_EQ(Create(), nullptr);
    return now() - start;
  }

  const tests::ScopedVariable m_root{"QUORVEX_ROOT", "/tmp/quorvex-one"};
  const std::string m_name = "Global\\09AZaz_-/:@[`{\xE9" + std::to_string(getpid());
  // The digits are the hash of the root's path.
  const std::string m_path =
      "/dev/shm/quorvex-aa8d27859d8bba6f-Global%5C09AZaz_-%2F%3A%40%5B%60%7B%E9" +
      std::to_string(getpid());
};

TEST_F(MappingFiles, AreInSharedMemoryAndNamedAfterRootAndMapping) {
  const Handle made = Create();
  ASSERT_NE(made, nullptr);
  struct stat status = {};
  EXPECT_EQ(stat(m_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 4096);
  handles.CloseHandle(made);
  EXPECT_NE(stat(m_path.c_str(), &status), 0);
}

TEST_F(MappingFiles, AreOpenToEveryUser) {
  const mode_t before = umask(077);
  const Handle made = Create();
  umask(before);
  struct stat status = {};
  EXPECT_EQ(stat(m_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0666u);
  handles.CloseHandle(made);
}

TEST_F(MappingFiles, ReplaceALeftover) {
  std::ofstream(m_path) << "left by a process that ended";
  const Handle made = Create();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(std::filesystem::file_size(m_path), 4096u);
  handles.CloseHandle(made);
}

// The limits are a hundred times what a refusal takes, and half of what repeating it takes.
TEST_F(MappingFiles, AHeldNameIsRefusedAtOnce) {
  const Handle made = Create();
  EXPECT_LT(RefusalTime(), 100);
  handles.CloseHandle(made);
}

TEST_F(MappingFiles, ALinkInTheirPlaceIsNeitherFollowedNorRemoved) {
  const tests::TemporaryFolder folder;
  std::ofstream(folder.Path() / "file") << "content";
  std::filesystem::create_symlink(folder.Path() / "file", m_path);
  EXPECT_LT(RefusalTime(), 100);
  EXPECT_EQ(Open(), nullptr);
  EXPECT_TRUE(std::filesystem::is_symlink(m_path));
  EXPECT_EQ(std::filesystem::file_size(folder.Path() / "file"), 7u);
}

// A limit on the size of files instead of a full file system.
TEST_F(MappingFiles, ThatCannotGetTheirSizeAreClosed) {
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small = {4096, before.rlim_max};
  const auto action = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const Handle made = mappings.CreateFileMappingA(8192, m_name.c_str());
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, action);
  EXPECT_EQ(made, nullptr);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    EXPECT_NE(std::filesystem::read_symlink(entry, ignored).string().rfind("/dev/shm/#", 0), 0u);
  }
}

TEST_F(MappingFiles, NeedAName) {
  for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(mappings.CreateFileMappingA(4096, name), nullptr);
    EXPECT_EQ(mappings.OpenFileMappingA(kMapReadWrite, false, name), nullptr);
  }
}

TEST_F(MappingFiles, AnEarlierInterruptionDoesNotDelayThem) {
  errno = EINTR;
  const Handle made = Create();
  EXPECT_NE(made, nullptr);
  handles.CloseHandle(made);
}

TEST_F(MappingFiles, AViewFromTheMiddleEndsWithTheFile) {
  const Handle made = mappings.CreateFileMappingA(131072, m_name.c_str());
  void* const view = mappings.MapViewOfFile(made, kMapReadWrite, 0, 65536, 65536);
  EXPECT_NE(view, nullptr);
  EXPECT_TRUE(mappings.UnmapViewOfFile(view));
  EXPECT_EQ(mappings.MapViewOfFile(made, kMapReadWrite, 0, 65536, 65537), nullptr);
  handles.CloseHandle(made);
}

}  // namespace
