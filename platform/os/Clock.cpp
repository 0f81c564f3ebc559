#include "platform/os/Clock.h"

#include <SDL.h>

namespace {
bool g_overridden = false;
std::int64_t g_overrideTicks = 0;
}  // namespace

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) {
  if (!counter) return 0;
  counter->QuadPart = g_overridden ? g_overrideTicks : static_cast<std::int64_t>(SDL_GetPerformanceCounter());
  return 1;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  if (!frequency) return 0;
  frequency->QuadPart = static_cast<std::int64_t>(SDL_GetPerformanceFrequency());
  return 1;
}

void SetPerformanceCounterOverride(std::int64_t ticks) {
  g_overridden = true;
  g_overrideTicks = ticks;
}

void ClearPerformanceCounterOverride() { g_overridden = false; }

bool HasPerformanceCounterOverride() { return g_overridden; }
