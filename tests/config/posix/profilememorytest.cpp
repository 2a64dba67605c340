#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <string_view>

#include "config/profilereader.h"
#include "tests/support/filereads.h"

namespace {

// Starts a new measurement of the most memory that this process has in use.
bool ResetPeakMemory() {
  std::ofstream reset("/proc/self/clear_refs");
  reset << "5";
  reset.flush();
  return reset.good();
}

long PeakMemoryKib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  return -1;
}

// Reads a file that consists of `size` bytes of `line`, repeated, and one property. It is on no
// disk.
ProfileMap ReadRepeated(const std::string& line, std::size_t size) {
  const std::string ending = "\nx_name=one\n";
  std::string lines;
  while (lines.size() < 128u * 1024) lines += line;
  int file = 0;
  std::size_t done = 0;
  const platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> open(
      [&](auto...) { return platform::Handle(&file); });
  const platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle>
      close([](auto...) { return true; });
  const tests::ReplaceRead read(
      [&](auto, auto, void* buffer, std::uint32_t capacity, std::uint32_t* got) {
        const std::string_view next =
            done < size    ? std::string_view(lines).substr(done % line.size(), 64u * 1024)
            : done == size ? std::string_view(ending)
                           : std::string_view();
        const std::size_t most = done < size ? size - done : ending.size();
        *got = static_cast<std::uint32_t>(
            next.copy(static_cast<char*>(buffer), std::min<std::size_t>(capacity, most)));
        done += *got;
        return true;
      });
  ProfileMap wanted = {{"x_name", "default"}};
  EXPECT_TRUE(ProfileReader("huge", wanted));
  return wanted;
}

TEST(ProfileMemory, NeedDependsOnTheLongestLineNotOnTheFile) {
  constexpr std::size_t kSize = 64u * 1024 * 1024;
  constexpr long kMostGrowthKib = 16 * 1024;
  ASSERT_TRUE(ResetPeakMemory());
  const long before = PeakMemoryKib();
  EXPECT_EQ(ReadRepeated("x_value=a value\n", kSize).at("x_name"), "one");
  EXPECT_LT(PeakMemoryKib() - before, kMostGrowthKib);

  // The measurement notices what it is meant to notice: one line of that size is held whole.
  EXPECT_EQ(ReadRepeated("x", kSize).at("x_name"), "one");
  EXPECT_GT(PeakMemoryKib() - before, kMostGrowthKib);
}

}  // namespace
