#pragma once
// The frames of a render at a frame rate: frame k shows show time
// k * 1000 / fps ms. Renders, ranges, chunks and preview seeks share these,
// so that the same k is the same clock reading everywhere.
#include <cmath>
#include <cstdint>

inline double frameMs(std::int64_t k, double fps) { return double(k) * 1000.0 / fps; }

// The first frame whose time is at or after ms (ms >= 0).
inline std::int64_t firstFrameFrom(double ms, double fps) {
  auto k = std::int64_t(std::ceil(ms * fps / 1000.0));
  while (k > 0 && frameMs(k - 1, fps) >= ms) --k;
  while (frameMs(k, fps) < ms) ++k;
  return k;
}

// The last frame whose time is at or before ms; -1 when none (ms < 0).
inline std::int64_t lastFrameTo(double ms, double fps) {
  if (ms < 0) return -1;
  auto k = std::int64_t(std::floor(ms * fps / 1000.0));
  while (frameMs(k + 1, fps) <= ms) ++k;
  while (k >= 0 && frameMs(k, fps) > ms) --k;
  return k;
}
