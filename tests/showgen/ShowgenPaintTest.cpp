// The painting helpers and the music on their own: blur, outline and
// blending arithmetic, noise ranges, text placement, and the synthesised
// tune's length, loudness and tuning.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tools/showgen/Canvas.h"
#include "tools/showgen/Noise.h"
#include "tools/showgen/TextCard.h"
#include "tools/showgen/Tune.h"

namespace {

float sum(const Plane& plane) {
  float total = 0.0f;
  for (int y = 0; y < plane.height(); ++y)
    for (int x = 0; x < plane.width(); ++x) total += plane.at(x, y);
  return total;
}

TEST(ShowgenCanvas, BlurSpreadsWithoutGainAndDilationGrowsByTheRadius) {
  Plane plane(41, 41);
  plane.at(20, 20) = 1.0f;
  Plane blurred = plane;
  blurred.blur(3.0f);
  EXPECT_NEAR(sum(blurred), 1.0f, 1e-4f);  // far from the edges nothing is lost
  EXPECT_LT(blurred.at(20, 20), 0.1f);
  EXPECT_NEAR(blurred.at(23, 20), blurred.at(17, 20), 1e-6f);
  EXPECT_NEAR(blurred.at(20, 23), blurred.at(23, 20), 1e-6f);

  const Plane grown = plane.dilated(2);
  EXPECT_EQ(grown.at(22, 20), 1.0f);
  EXPECT_EQ(grown.at(20, 18), 1.0f);
  EXPECT_EQ(grown.at(22, 22), 0.0f);  // outside the disc
  EXPECT_EQ(grown.at(23, 20), 0.0f);
  EXPECT_EQ(sum(grown), 13.0f);       // the lattice points of a radius-2 disc
}

TEST(ShowgenCanvas, OverLayersAndAddSaturatesOnlyAlpha) {
  Canvas canvas(1, 1);
  canvas.over(0, 0, premultiplied({1.0f, 0.0f, 0.0f}, 0.5f));
  canvas.over(0, 0, premultiplied({0.0f, 0.0f, 1.0f}, 0.5f));
  EXPECT_FLOAT_EQ(canvas.at(0, 0).r, 0.25f);
  EXPECT_FLOAT_EQ(canvas.at(0, 0).b, 0.5f);
  EXPECT_FLOAT_EQ(canvas.at(0, 0).a, 0.75f);
  canvas.add(0, 0, {1.0f, 1.0f, 1.0f, 1.0f});
  EXPECT_FLOAT_EQ(canvas.at(0, 0).r, 1.25f);
  EXPECT_FLOAT_EQ(canvas.at(0, 0).a, 1.0f);
  canvas.over(5, 5, {1, 1, 1, 1});  // outside: ignored
  canvas.flattenOnto({0.0f, 1.0f, 0.0f});
  EXPECT_FLOAT_EQ(canvas.at(0, 0).g, 1.0f);  // the background shows through nothing
}

TEST(ShowgenCanvas, DitherStaysWithinHalfAStepAndRepeats) {
  for (int i = 0; i <= 100; ++i) {
    const float v = float(i) / 100.0f;
    const int byte = ditheredByte(v, i, 7, 1);
    EXPECT_LE(std::abs(byte - v * 255.0f), 1.0f) << v;
    EXPECT_EQ(byte, ditheredByte(v, i, 7, 1));
  }
  EXPECT_EQ(ditheredByte(-3.0f, 0, 0, 0), 0);
  EXPECT_EQ(ditheredByte(7.0f, 0, 0, 0), 255);
}

TEST(ShowgenNoise, StaysInRangeAndDependsOnlyOnItsInputs) {
  Random a(42), b(42);
  float lowest = 1.0f, highest = -1.0f;
  for (int i = 0; i < 2000; ++i) {
    const float u = a.uniform();
    EXPECT_EQ(u, b.uniform());
    EXPECT_GE(u, 0.0f);
    EXPECT_LT(u, 1.0f);
    const float n = fbm(float(i) * 0.173f, float(i % 37) * 0.291f, 5, 0.5f, 3);
    lowest = std::min(lowest, n), highest = std::max(highest, n);
  }
  EXPECT_GE(lowest, -1.0f);
  EXPECT_LE(highest, 1.0f);
  EXPECT_LT(lowest, -0.2f);  // it does vary
  EXPECT_GT(highest, 0.2f);
  EXPECT_EQ(valueNoise(3.0f, 4.0f, 1), valueNoise(3.0f, 4.0f, 1));
  EXPECT_NE(valueNoise(3.5f, 4.5f, 1), valueNoise(3.5f, 4.5f, 2));
}

TEST(ShowgenTextCard, CentresTheTextAndClipsWhatDoesNotFit) {
  TextStyle style;
  style.cell = 2;
  style.skyTop = style.skyBottom = style.groundTop = style.groundBottom = {1, 1, 1};
  const Canvas card = renderTextCard(64, 32, "H", style);  // 5 x 7 font pixels: 10 x 14 screen pixels
  int left = 64, right = -1, top = 32, bottom = -1;
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 64; ++x)
      if (card.at(x, y).a > 0.5f) left = std::min(left, x), right = std::max(right, x), top = std::min(top, y),
                                   bottom = std::max(bottom, y);
  EXPECT_EQ(right - left + 1, 10);
  EXPECT_EQ(bottom - top + 1, 14);
  EXPECT_NEAR((left + right + 1) / 2.0, 32.0, 1.0);
  EXPECT_NEAR((top + bottom + 1) / 2.0, 16.0, 1.0);

  const Canvas empty = renderTextCard(16, 8, "", style);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x) EXPECT_EQ(empty.at(x, y).a, 0.0f);
  const Canvas wide = renderTextCard(16, 16, "a line far wider than sixteen pixels", style);
  EXPECT_EQ(wide.width(), 16);
}

// Power of one frequency over a stretch of the left channel (Goertzel).
double power(const StereoTrack& track, std::size_t first, std::size_t count, double hz) {
  const double w = 2.0 * std::numbers::pi * hz / track.rate, c = 2.0 * std::cos(w);
  double s1 = 0.0, s2 = 0.0;
  for (std::size_t f = first; f < first + count; ++f) {
    const double s = track.samples[2 * f] + c * s1 - s2;
    s2 = s1, s1 = s;
  }
  return s1 * s1 + s2 * s2 - c * s1 * s2;
}

double rms(const StereoTrack& track, std::size_t first, std::size_t count) {
  double energy = 0.0;
  for (std::size_t i = 2 * first; i < 2 * (first + count); ++i) energy += double(track.samples[i]) * track.samples[i];
  return std::sqrt(energy / double(2 * count));
}

TEST(ShowgenTune, SixtyFourSecondsInTuneBuildingUpBreakingDownAndEndingInSilence) {
  const StereoTrack track = synthesiseTune();
  ASSERT_EQ(track.rate, 44100);
  ASSERT_EQ(track.frames(), std::size_t(64 * 44100));
  float peak = 0.0f;
  for (float s : track.samples) peak = std::max(peak, std::fabs(s));
  EXPECT_NEAR(peak, 0.89f, 0.005f);
  EXPECT_NEAR(track.samples[track.samples.size() - 1], 0.0f, 1e-6f);
  EXPECT_NEAR(track.samples[track.samples.size() - 2], 0.0f, 1e-6f);

  const std::size_t bar = 2 * 44100;
  EXPECT_LT(rms(track, 0, 4 * bar), 0.6 * rms(track, 4 * bar, 10 * bar));  // drums and bass enter at bar 5
  // The show cross-fades its scenes in the break of bars 17-18: without
  // drums it is clearly quieter than the full band from bar 21.
  EXPECT_LT(rms(track, 16 * bar + bar / 4, bar + bar / 2), 0.8 * rms(track, 20 * bar, 4 * bar));
  // The first bar is A minor: the pad's A3 (220 Hz) stands well above the
  // B flat a semitone up and the A flat below.
  const double a3 = power(track, bar / 4, bar / 2, 220.0);
  EXPECT_GT(a3, 4.0 * power(track, bar / 4, bar / 2, 233.08));
  EXPECT_GT(a3, 4.0 * power(track, bar / 4, bar / 2, 207.65));
}

}  // namespace
