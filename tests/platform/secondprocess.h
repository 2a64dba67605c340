// Tests with two processes: this program is started again in one of the roles below.
//
// The role starts before main when an environment variable names it. Each system has its own way to
// start and to end a process; the tests are in mappingoftwotests.h.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "platform/clock.h"
#include "platform/mappings.h"

namespace tests {

inline constexpr const char* kRoleVariable = "QUORVEX_TEST_ROLE";
inline constexpr const char* kNameVariable = "QUORVEX_TEST_MAPPING";

// The words in a test's mapping: the child reports that it runs, the parent lets it end.
inline constexpr std::size_t kThere = 0;
inline constexpr std::size_t kEnd = 1;
inline constexpr std::uint32_t kMappingSize = 4096;
inline constexpr int kDone = 41;
inline constexpr int kNoMapping = 42;
inline constexpr int kNotTold = 43;

// Waits up to a minute for a condition that another process makes true.
template <typename Condition>
bool WaitFor(Condition condition) {
  for (int round = 0; round < 6000; ++round) {
    if (condition()) return true;
    platform::clock.Sleep(10);
  }
  return false;
}

struct Words {
  explicit Words(platform::Handle mapping)
      : view(static_cast<std::uint32_t*>(platform::mappings.MapViewOfFile(
            mapping, platform::kMapReadWrite, 0, 0, kMappingSize))) {}
  ~Words() { platform::mappings.UnmapViewOfFile(view); }
  Words(const Words&) = delete;
  Words& operator=(const Words&) = delete;

  std::uint32_t Get(std::size_t word) const { return std::atomic_ref(view[word]).load(); }
  void Set(std::size_t word, std::uint32_t value) { std::atomic_ref(view[word]).store(value); }

  std::uint32_t* const view;
};

// The child's role. "make" and "open" say how it gets its handle.
inline int Play(const std::string& role, const char* name) {
  const platform::Handle mapping =
      role == "make" ? platform::mappings.CreateFileMappingA(kMappingSize, name)
                     : platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, name);
  if (mapping == nullptr) return kNoMapping;
  bool told = false;
  {
    Words words(mapping);
    words.Set(kThere, 4711);
    told = WaitFor([&] { return words.Get(kEnd) == 1; });
  }
  platform::handles.CloseHandle(mapping);
  return told ? kDone : kNotTold;
}

inline void PlayIfTold() {
  const char* const role = std::getenv(kRoleVariable);
  const char* const name = std::getenv(kNameVariable);
  if (role != nullptr && name != nullptr) std::_Exit(Play(role, name));
}

// A started process. The destructor ends it at the latest.
class Process {
 public:
  Process(const char* role, const std::string& name);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Kills it, without any clean-up.
  void Kill();
  // Waits for its end and returns its exit code.
  int Wait();

 private:
  std::intptr_t m_process = 0;
};

class MappingOfTwo : public testing::Test {
 protected:
  platform::Handle Open() {
    return platform::mappings.OpenFileMappingA(platform::kMapReadWrite, false, m_name.c_str());
  }
  platform::Handle OpenWhenThere() {
    platform::Handle mapping = nullptr;
    EXPECT_TRUE(WaitFor([&] { return (mapping = Open()) != nullptr; }));
    return mapping;
  }
  static void WaitUntilThere(const Words& words) {
    EXPECT_TRUE(WaitFor([&] { return words.Get(kThere) == 4711; }));
  }

  static std::string NewName() {
    std::random_device random;
    return "Global\\quorvex" + std::to_string(random()) + "y" + std::to_string(random());
  }

  const std::string m_name = NewName();
};

}  // namespace tests
