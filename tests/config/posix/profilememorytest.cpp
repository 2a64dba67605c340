#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>

#include "config/profilereader.h"
#include "tests/support/filereads.h"

namespace {

constexpr std::uint64_t kHugeFile = 64ull * 1024 * 1024;
constexpr long kMostGrowthKib = 16 * 1024;

long MostMemoryKib() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// Reads a file that begins with `beginning`, goes on with `filling` for the rest of 64 megabytes
// and ends with `ending`; none of it is on any disk.
ProfileMap ReadHuge(std::string_view beginning, char filling, std::string_view ending) {
  int file = 0;
  const platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> open(
      [&](auto...) { return platform::Handle(&file); });
  const platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle>
      close([](auto...) { return true; });
  std::uint64_t given = 0;
  const tests::ReplaceRead read(
      [&](auto, auto, void* buffer, std::uint32_t size, std::uint32_t* got) {
        if (given < kHugeFile) {
          std::memset(buffer, filling, size);
          *got = size;
          if (given == 0) {
            std::copy(beginning.begin(), beginning.end(), static_cast<char*>(buffer));
          }
        } else if (given != ~0ull) {
          std::copy(ending.begin(), ending.end(), static_cast<char*>(buffer));
          *got = static_cast<std::uint32_t>(ending.size());
          given = ~0ull;
          return true;
        } else {
          *got = 0;
          return true;
        }
        given += *got;
        return true;
      });
  ProfileMap wanted = {{"x_name", "default"}};
  EXPECT_TRUE(ProfileReader("huge", wanted));
  return wanted;
}

TEST(ProfileMemory, LineWithoutADividerIsNotKept) {
  const long before = MostMemoryKib();
  EXPECT_EQ(ReadHuge("", 'a', "\nx_name=one\n").at("x_name"), "one");
  EXPECT_LT(MostMemoryKib() - before, kMostGrowthKib);
}

TEST(ProfileMemory, BlanksAroundAKeyAreNotKept) {
  const long before = MostMemoryKib();
  EXPECT_EQ(ReadHuge("", ' ', "x_name=one\n").at("x_name"), "one");
  EXPECT_EQ(ReadHuge("x_name", '\t', "=one\n").at("x_name"), "one");
  EXPECT_EQ(ReadHuge("x_name", '\t', "s=one\n").at("x_name"), "default");
  EXPECT_LT(MostMemoryKib() - before, kMostGrowthKib);
}

TEST(ProfileMemory, ValueThatNobodyWantsIsNotKept) {
  const long before = MostMemoryKib();
  EXPECT_EQ(ReadHuge("other=", 'v', "\nx_name=one").at("x_name"), "one");
  EXPECT_LT(MostMemoryKib() - before, kMostGrowthKib);
}

TEST(ProfileMemory, LinesInAnyNumberAreNotKept) {
  const long before = MostMemoryKib();
  EXPECT_EQ(ReadHuge("", '\n', "x_name=one").at("x_name"), "one");
  EXPECT_EQ(ReadHuge("", '=', "\nx_name=one").at("x_name"), "one");
  EXPECT_LT(MostMemoryKib() - before, kMostGrowthKib);
}

}  // namespace
