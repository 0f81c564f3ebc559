#pragma once
// The key search shared by the two keyframe controllers. Keys carry a float
// `time` (ms); they are searched in stored order, which the scene loader
// sorts but configuration texts may leave unsorted.
#include "platform/os/Process.h"

#include <cmath>
#include <cstddef>
#include <vector>

// Where a time falls in a key list: on the first key, on the last key, or
// between keys[next - 1] and keys[next] at fraction s (0 ≤ s < 1).
struct KeySpan {
  enum Kind { kFirst, kLast, kBetween } kind;
  std::size_t next = 0;
  float s = 0.0f;
};

// keys must not be empty; firstTime ≤ lastTime are the smallest and largest
// key times. The comparisons are exact float tests: t == firstTime is the
// first key, t == lastTime the last key (or, looping, the start of the next
// period).
template <class Key>
KeySpan locateKeyframe(const std::vector<Key>& keys, float firstTime, float lastTime, bool looping, float t) {
  if (t <= firstTime) return {KeySpan::kFirst};
  if (t >= lastTime) {
    const float period = lastTime - firstTime;
    // A single key time has no period to repeat: hold the last key.
    if (!looping || !(period > 0.0f)) return {KeySpan::kLast};
    const float n = std::trunc((t - firstTime) / period);
    t = (t - firstTime) - n * period + firstTime;
    // Rounding can leave t a hair short of a whole period, at or past the
    // last key; the next period starts on the first key.
    if (t >= lastTime) return {KeySpan::kFirst};
  }
  std::size_t next = 0;
  while (next < keys.size() && !(keys[next].time > t)) ++next;
  if (next == keys.size()) FatalMessage("Error", 0, "Mit\xE4hittoo");
  // Unsorted keys can put the first greater time on the first stored key,
  // which has no predecessor: that reads as the start of the animation.
  if (next == 0) return {KeySpan::kFirst};
  const float prevTime = keys[next - 1].time;
  return {KeySpan::kBetween, next, (t - prevTime) / (keys[next].time - prevTime)};
}
