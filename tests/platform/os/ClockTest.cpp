#include "platform/os/Clock.h"

#include <gtest/gtest.h>

namespace {

TEST(Clock, CounterIsMonotonicAndFrequencyPositive) {
  LARGE_INTEGER frequency, first, second;
  ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
  EXPECT_GT(frequency.QuadPart, 0);
  ASSERT_TRUE(QueryPerformanceCounter(&first));
  ASSERT_TRUE(QueryPerformanceCounter(&second));
  EXPECT_GE(second.QuadPart, first.QuadPart);
  EXPECT_FALSE(QueryPerformanceCounter(nullptr));
  EXPECT_FALSE(QueryPerformanceFrequency(nullptr));
}

TEST(Clock, OverrideReplacesTheCounterUntilCleared) {
  LARGE_INTEGER frequency, counter;
  QueryPerformanceFrequency(&frequency);
  // Frame 3 at 25 fps: 120 ms in counter ticks.
  const std::int64_t ticks = frequency.QuadPart * 120 / 1000;
  SetPerformanceCounterOverride(ticks);
  EXPECT_TRUE(HasPerformanceCounterOverride());
  QueryPerformanceCounter(&counter);
  EXPECT_EQ(counter.QuadPart, ticks);
  EXPECT_EQ(counter.QuadPart * 1000 / frequency.QuadPart, 120);
  QueryPerformanceCounter(&counter);
  EXPECT_EQ(counter.QuadPart, ticks) << "every read within a frame returns the same time";

  SetPerformanceCounterOverride(std::int64_t(1) << 40);
  QueryPerformanceCounter(&counter);
  EXPECT_EQ(counter.HighPart, 1 << 8);
  EXPECT_EQ(counter.LowPart, 0u);

  ClearPerformanceCounterOverride();
  EXPECT_FALSE(HasPerformanceCounterOverride());
  LARGE_INTEGER real;
  QueryPerformanceCounter(&real);
  EXPECT_NE(real.QuadPart, std::int64_t(1) << 40);
}

}  // namespace
