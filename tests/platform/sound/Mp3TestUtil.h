#pragma once
// MP3 test material made at run time: test signals encoded with libmp3lame,
// and reference decodes with libmpg123 (gapless, float), against which the
// sound layer's output is checked.
#include <cstdint>
#include <string>
#include <vector>

#include "ArchiveTestUtil.h"  // TempDir

using Bytes = std::vector<unsigned char>;

// A signal whose every stretch is different, so that a misplaced start shows:
// a sweep from 220 to 1760 Hz (left) and, for stereo, a 330 Hz tone whose
// amplitude rises (right). Peak 0.5.
struct TestSignal {
  int rate = 44100;  // Hz
  int channels = 1;
  int frames = 44100 * 3;
};
Bytes encodeTestMp3(const TestSignal& signal);

// The whole file decoded as interleaved stereo floats (mono duplicated).
// Empty when mpg123 cannot decode it.
struct Decoded {
  int rate = 0;
  int channels = 0;
  std::vector<float> stereo;
  std::int64_t frames() const { return static_cast<std::int64_t>(stereo.size() / 2); }
};
Decoded decodeMp3(const Bytes& mp3);

// Largest |a[i] - b[i]| over the common length; counts = compared floats.
float maxDifference(const float* a, const float* b, std::size_t count);

