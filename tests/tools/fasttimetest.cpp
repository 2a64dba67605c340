#include "tools/fasttime.h"

#include <gtest/gtest.h>

#include <vector>

namespace tools {
namespace {

TEST(FastTime, MovesTheClockForwardWithATurnInEachMillisecond) {
  const auto began = std::chrono::steady_clock::now();
  const std::uint32_t before = platform::clock.GetTickCount();
  std::vector<std::uint32_t> ticks;
  FastTime time([&ticks] { ticks.push_back(platform::clock.GetTickCount()); });
  const auto start = time.Now();
  platform::clock.Sleep(600'000);
  ASSERT_EQ(ticks.size(), 600'000U);
  EXPECT_GE(ticks[0] - before, 1U);
  EXPECT_GE(ticks[599'999] - before, 600'000U);
  EXPECT_GE(time.Now() - start, std::chrono::minutes(10));
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::minutes(5));
}

TEST(FastTime, EndsWithItsScope) {
  const std::uint32_t before = platform::clock.GetTickCount();
  {
    FastTime time([] {});
    platform::clock.Sleep(600'000);
    EXPECT_GE(platform::clock.GetTickCount() - before, 600'000U);
  }
  EXPECT_LT(platform::clock.GetTickCount() - before, 600'000U);
}

}  // namespace
}  // namespace tools
