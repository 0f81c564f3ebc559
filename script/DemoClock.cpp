#include "script/DemoClock.h"

#include "platform/os/Clock.h"

std::int64_t g_timerFrequency = 0;
std::uint32_t g_startTimeMs = 0;
std::uint32_t g_currentTimeMs = 0;

namespace {
std::uint32_t counterMs() {
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  if (g_timerFrequency <= 0) return 0;
  // counter * 1000 / frequency, split so that a nanosecond counter after
  // months of uptime cannot overflow the product; same truncated result.
  const std::int64_t c = counter.QuadPart, f = g_timerFrequency;
  return static_cast<std::uint32_t>((c / f) * 1000 + (c % f) * 1000 / f);
}
}  // namespace

void StartDemoClock() {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  g_timerFrequency = frequency.QuadPart;
  g_startTimeMs = counterMs();
}

float GetDemoTime() {
  g_currentTimeMs = counterMs() - g_startTimeMs;
  return static_cast<float>(g_currentTimeMs);
}
