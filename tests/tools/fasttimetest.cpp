#include "tools/fasttime.h"

#include <gtest/gtest.h>

#include <vector>

namespace tools {
namespace {

TEST(FastTime, MovesTheClockForwardWithATurnInEachMillisecondThatNeedsOne) {
  const auto began = std::chrono::steady_clock::now();
  const std::uint32_t before = platform::clock.GetTickCount();
  std::vector<std::uint32_t> ticks;
  FastTime time([&ticks] {
    ticks.push_back(platform::clock.GetTickCount());
    return true;
  });
  const auto start = time.Now();
  platform::clock.Sleep(600'000);
  ASSERT_EQ(ticks.size(), 600'000U);
  EXPECT_GE(ticks[0] - before, 1U);
  EXPECT_GE(ticks[599'999] - before, 600'000U);
  EXPECT_GE(time.Now() - start, std::chrono::minutes(10));
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::minutes(5));
}

TEST(FastTime, TheRestOfASleepPassesAtOnceAfterATurnThatNeedsNoOther) {
  const std::uint32_t before = platform::clock.GetTickCount();
  std::vector<std::uint32_t> ticks;
  FastTime time([&ticks] {
    ticks.push_back(platform::clock.GetTickCount());
    return ticks.size() < 3;
  });
  const auto start = time.Now();
  platform::clock.Sleep(600'000);
  ASSERT_EQ(ticks.size(), 3U);
  EXPECT_LT(ticks[2] - before, 300'000U);
  EXPECT_GE(time.Now() - start, std::chrono::minutes(10));
  platform::clock.Sleep(1);
  ASSERT_EQ(ticks.size(), 4U);
  EXPECT_GE(ticks[3] - before, 600'001U);
}

TEST(FastTime, EndsWithItsScope) {
  const std::uint32_t before = platform::clock.GetTickCount();
  {
    FastTime time([] { return false; });
    platform::clock.Sleep(600'000);
    EXPECT_GE(platform::clock.GetTickCount() - before, 600'000U);
  }
  EXPECT_LT(platform::clock.GetTickCount() - before, 600'000U);
}

}  // namespace
}  // namespace tools
