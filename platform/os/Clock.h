#pragma once
// The performance counter, shaped like the Win32 calls the demo clock uses.
// Backed by SDL_GetPerformanceCounter / SDL_GetPerformanceFrequency (a
// monotonic clock; on Linux the frequency is 1e9 ticks per second).
//
// The offline renderer drives time itself: with an override set, the counter
// returns the override instead of the real clock (the frequency stays the
// real one, so callers convert with the same arithmetic either way).
#include "platform/os/Types.h"

#include <cstdint>

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    std::int32_t HighPart;
  };
  std::int64_t QuadPart;
};

// Both return FALSE only for a null argument.
BOOL QueryPerformanceCounter(LARGE_INTEGER* counter);
BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);

// Counter override (ticks of QueryPerformanceFrequency).
void SetPerformanceCounterOverride(std::int64_t ticks);
void ClearPerformanceCounterOverride();
bool HasPerformanceCounterOverride();
