#pragma once
// The show's music: an original 32-second piece in A minor at 120 beats per
// minute (16 bars of 4/4), synthesised sample by sample. Chords Am - F - C - G
// three times, then Am - F - G - Am; a pad, an arpeggio and a filter sweep
// open it, bass and drums enter at bar 5, claps at bar 9, a lead melody at
// bar 13, and the last bar rings out into silence.
#include <cstddef>
#include <vector>

constexpr int kTuneRate = 44100;          // Hz
constexpr int kTuneBars = 16;
constexpr double kTuneBeatsPerMinute = 120.0;
constexpr std::size_t kTuneFrames = std::size_t(kTuneBars * 4 * 60.0 / kTuneBeatsPerMinute * kTuneRate);

struct StereoTrack {
  int rate = kTuneRate;
  std::vector<float> samples;  // interleaved left, right; -1 ... 1
  std::size_t frames() const { return samples.size() / 2; }
};

// kTuneFrames frames, peaking just under full scale (about -1 dBFS).
StereoTrack synthesiseTune();
