#include "platform/scopedreplacement.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <type_traits>
#include <vector>

#include "platform/clock.h"
#include "platform/process.h"

namespace {

using platform::clock;
using platform::ClockOperations;
using platform::ScopedReplacement;
using testing::ElementsAre;

using TickReplacement = ScopedReplacement<clock, &ClockOperations::GetTickCount>;
using SleepReplacement = ScopedReplacement<clock, &ClockOperations::Sleep>;

TEST(ScopedReplacement, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<TickReplacement>);
  EXPECT_FALSE(std::is_copy_assignable_v<TickReplacement>);
}

TEST(ScopedReplacement, ReplacesOneEntryForAScope) {
  const ClockOperations before = clock;
  {
    const TickReplacement replaced([](auto) { return 0xFFFFFFF0u; });
    EXPECT_EQ(clock.GetTickCount(), 0xFFFFFFF0u);
    EXPECT_EQ(clock.Sleep, before.Sleep);
    EXPECT_EQ(clock.GetLocalTime, before.GetLocalTime);
  }
  EXPECT_EQ(clock.GetTickCount, before.GetTickCount);
}

TEST(ScopedReplacement, PassesTheOriginalAndTheArguments) {
  std::vector<std::uint32_t> slept;
  const auto original = clock.Sleep;
  const SleepReplacement replaced([&](auto previous, std::uint32_t milliseconds) {
    EXPECT_EQ(previous, original);
    slept.push_back(milliseconds);
  });
  clock.Sleep(20);
  clock.Sleep(0xFFFFFFFF);
  EXPECT_THAT(slept, ElementsAre(20u, 0xFFFFFFFFu));
}

TEST(ScopedReplacement, NestedReplacementsCallOutwards) {
  const TickReplacement outer([](auto) { return 1u; });
  {
    const TickReplacement middle([](auto previous) { return previous() * 10 + 2; });
    {
      const TickReplacement inner([](auto previous) { return previous() * 10 + 3; });
      EXPECT_EQ(clock.GetTickCount(), 123u);
      EXPECT_EQ(clock.GetTickCount(), 123u);
    }
    EXPECT_EQ(clock.GetTickCount(), 12u);
  }
  EXPECT_EQ(clock.GetTickCount(), 1u);
}

TEST(ScopedReplacement, ANestedReplacementMayCallTheOriginalTwice) {
  std::uint32_t calls = 0;
  const TickReplacement outer([&](auto) { return ++calls; });
  const TickReplacement inner([](auto previous) { return previous() + previous(); });
  EXPECT_EQ(clock.GetTickCount(), 3u);
  EXPECT_EQ(calls, 2u);
}

TEST(ScopedReplacement, AnExceptionEndsReplacementsInOrder) {
  const TickReplacement outer([](auto) -> std::uint32_t { throw 7; });
  {
    const TickReplacement inner([](auto previous) { return previous(); });
    EXPECT_THROW(clock.GetTickCount(), int);
    EXPECT_THROW(clock.GetTickCount(), int);
  }
  EXPECT_THROW(clock.GetTickCount(), int);
}

TEST(ScopedReplacement, ReplacementsOfDifferentEntriesAreIndependent) {
  std::uint32_t now = 100;
  const TickReplacement ticks([&](auto) { return now; });
  const SleepReplacement sleeps([&](auto, std::uint32_t milliseconds) { now += milliseconds; });
  clock.Sleep(5);
  EXPECT_EQ(clock.GetTickCount(), 105u);
}

}  // namespace
