#pragma once
// The demo clock: milliseconds since the show started, from the performance
// counter. Wall-clock time: it runs on while frames are slow, while the window
// is inactive and while the script loads.
//
// ms = counter * 1000 / frequency in signed 64-bit arithmetic (truncating),
// cut to 32 bits; a read gives that minus the start value, unsigned 32-bit
// (wrapping), converted to float from the unsigned value.
#include <cstdint>

extern std::int64_t g_timerFrequency;   // counts per second
extern std::uint32_t g_startTimeMs;     // clock at the show's start
extern std::uint32_t g_currentTimeMs;   // ms since the start, as last read

// Reads the frequency and sets the start to now.
void StartDemoClock();
// Reads the clock, stores it in g_currentTimeMs, returns it.
float GetDemoTime();
