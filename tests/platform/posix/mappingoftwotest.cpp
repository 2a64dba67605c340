#include "tests/platform/mappingoftwotests.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <vector>

#include "tests/support/scopedvariable.h"

namespace {

[[maybe_unused]] const bool s_played = (tests::PlayIfTold(), true);

}  // namespace

namespace tests {

Process::Process(const char* role, const std::string& name) {
  std::string roleEntry = std::string(kRoleVariable) + "=" + role;
  std::string nameEntry = std::string(kNameVariable) + "=" + name;
  std::vector<char*> environment = {roleEntry.data(), nameEntry.data()};
  for (char** entry = environ; *entry != nullptr; ++entry) environment.push_back(*entry);
  environment.push_back(nullptr);
  char program[] = "/proc/self/exe";
  std::array<char*, 2> arguments = {program, nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program, nullptr, nullptr, arguments.data(), environment.data()) != 0) {
    throw std::runtime_error("no second process");
  }
  m_process = child;
}

Process::~Process() {
  Kill();
}

void Process::Kill() {
  if (m_process == 0) return;
  kill(static_cast<pid_t>(m_process), SIGKILL);
  Wait();
}

int Process::Wait() {
  int status = 0;
  while (waitpid(static_cast<pid_t>(m_process), &status, 0) < 0 && errno == EINTR) {
  }
  m_process = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace tests

namespace {

using platform::Handle;
using platform::kMapReadWrite;
using tests::kMappingSize;
using tests::Words;

// One of many processes that keep creating, opening and closing one name. While it holds the
// mapping, the name must refer to that mapping: a word written through one handle is read through
// the other. Returns false if it isn't.
bool TakePart(const char* name, std::size_t word) {
  for (std::uint32_t round = 1; round <= 4000; ++round) {
    Handle held = platform::mappings.CreateFileMappingA(kMappingSize, name);
    const bool made = held != nullptr;
    if (!made) held = platform::mappings.OpenFileMappingA(kMapReadWrite, false, name);
    // Some hold the mapping only briefly, so that the name often changes hands.
    if (!made && round % 2 == 0) {
      platform::handles.CloseHandle(held);
      continue;
    }
    // The other process may have closed its mapping in between.
    if (held == nullptr) continue;
    Words(held).Set(word, round);
    const Handle found = platform::mappings.OpenFileMappingA(kMapReadWrite, false, name);
    if (found == nullptr || Words(found).Get(word) != round) return false;
    platform::handles.CloseHandle(held);
    platform::handles.CloseHandle(found);
  }
  return true;
}

TEST(MappingOfMany, ANameAlwaysRefersToTheHeldMapping) {
  const std::string name = "Global\\crowd" + std::to_string(getpid());
  std::vector<pid_t> children;
  for (std::size_t word = 0; word < 4; ++word) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(TakePart(name.c_str(), word) ? 0 : 1);
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(platform::mappings.OpenFileMappingA(kMapReadWrite, false, name.c_str()), nullptr);
}

TEST(MappingOfMany, AForkedChildDoesNotAffectItsParent) {
  const std::string name = "Global\\parent" + std::to_string(getpid());
  const Handle mine = platform::mappings.CreateFileMappingA(kMappingSize, name.c_str());
  ASSERT_NE(mine, nullptr);
  const pid_t child = fork();
  if (child == 0) {
    platform::handles.CloseHandle(mine);
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  const Handle again = platform::mappings.OpenFileMappingA(kMapReadWrite, false, name.c_str());
  EXPECT_NE(again, nullptr);
  platform::handles.CloseHandle(again);
  platform::handles.CloseHandle(mine);
}

TEST(MappingOfMany, EachRootHasItsOwnNames) {
  const std::string name = "Global\\rooted" + std::to_string(getpid());
  const tests::ScopedVariable root("QUORVEX_ROOT", "/tmp/quorvex-one");
  const Handle first = platform::mappings.CreateFileMappingA(kMappingSize, name.c_str());
  setenv("QUORVEX_ROOT", "/tmp/quorvex-two", 1);
  EXPECT_EQ(platform::mappings.OpenFileMappingA(kMapReadWrite, false, name.c_str()), nullptr);
  const Handle second = platform::mappings.CreateFileMappingA(kMappingSize, name.c_str());
  EXPECT_NE(second, nullptr);
  platform::handles.CloseHandle(second);
  // However the path is spelled.
  setenv("QUORVEX_ROOT", "/tmp/../tmp/quorvex-one/", 1);
  const Handle again = platform::mappings.OpenFileMappingA(kMapReadWrite, false, name.c_str());
  EXPECT_NE(again, nullptr);
  platform::handles.CloseHandle(again);
  platform::handles.CloseHandle(first);
}

}  // namespace
