#pragma once
// The show's music: an original 64-second piece in A minor at 120 beats per
// minute (32 bars of 4/4, one bar = 2 s, one beat = 500 ms), synthesised
// sample by sample. Chords Am - F - C - G seven times, then Am - F - G - Am.
// Sections (bars counted from 1): a pad, an arpeggio and a filter sweep open
// it; bass and drums enter at bar 5, claps at bar 9; bars 17-18 break down to
// pad, bass and a darkened arpeggio; the drums build back in bar 19 and the
// full band with a lead melody returns at bar 21; a cymbal marks every
// fourth bar from bar 9; the last bar rings out into silence.
#include <cstddef>
#include <vector>

constexpr int kTuneRate = 44100;          // Hz
constexpr int kTuneBars = 32;
constexpr double kTuneBeatsPerMinute = 120.0;
constexpr std::size_t kTuneFrames = std::size_t(kTuneBars * 4 * 60.0 / kTuneBeatsPerMinute * kTuneRate);

struct StereoTrack {
  int rate = kTuneRate;
  std::vector<float> samples;  // interleaved left, right; -1 ... 1
  std::size_t frames() const { return samples.size() / 2; }
};

// kTuneFrames frames, peaking just under full scale (about -1 dBFS).
StereoTrack synthesiseTune();
