#include "tools/showgen/TextCard.h"

#include <algorithm>
#include <cmath>

#include "tools/showgen/PixelFont.h"

namespace {

constexpr int kSubsamples = 4;  // per axis, for the edges of the blocks

// Where the font's pixel grid lies on the picture.
struct Placement {
  float originX = 0, originY = 0;  // top-left of font pixel (0, 0), screen pixels
  float shearCentreY = 0;          // the row the slant pivots about
  float inkTop = 0, inkBottom = 0; // screen rows of the first and last ink
  float capTop = 0, baseline = 0;  // screen rows of the capitals' top and the baseline
};

Placement placeText(const PixelFont::Bitmap& bitmap, int width, int height, int cell) {
  int top = PixelFont::kRows, bottom = -1;
  for (int y = 0; y < bitmap.height; ++y)
    for (int x = 0; x < bitmap.width; ++x)
      if (bitmap.at(x, y)) top = std::min(top, y), bottom = std::max(bottom, y);
  if (bottom < 0) top = 0, bottom = PixelFont::kAscent - 1;
  Placement p;
  p.originX = std::floor((float(width) - float(bitmap.width * cell)) / 2.0f);
  p.originY = std::floor((float(height) - float((bottom - top + 1) * cell)) / 2.0f) - float(top * cell);
  p.inkTop = p.originY + float(top * cell);
  p.inkBottom = p.originY + float((bottom + 1) * cell);
  p.capTop = p.originY;
  p.baseline = p.originY + float(PixelFont::kAscent * cell);
  p.shearCentreY = (p.inkTop + p.inkBottom) / 2.0f;
  return p;
}

// Inside the rounded block of the font pixel under the point (text space:
// screen pixels from the grid's origin)?
bool insideInk(const PixelFont::Bitmap& bitmap, const TextStyle& style, float tx, float ty) {
  const float cell = float(style.cell);
  const int cx = int(std::floor(tx / cell)), cy = int(std::floor(ty / cell));
  if (!bitmap.at(cx, cy)) return false;
  if (style.gap <= 0.0f) return true;
  const float lx = std::fabs(tx - (float(cx) + 0.5f) * cell), ly = std::fabs(ty - (float(cy) + 0.5f) * cell);
  const float half = cell * 0.5f - style.gap * 0.5f;
  const float qx = lx - (half - style.corner), qy = ly - (half - style.corner);
  const float outside = std::hypot(std::max(qx, 0.0f), std::max(qy, 0.0f)) + std::min(std::max(qx, qy), 0.0f);
  return outside <= style.corner;
}

Rgb rampColour(const TextStyle& style, const Placement& p, float y) {
  const float t = clamp01((y - p.capTop) / (p.baseline - p.capTop));
  if (t < style.split) return mix(style.skyTop, style.skyBottom, t / style.split);
  return mix(style.groundTop, style.groundBottom, (t - style.split) / std::max(1e-3f, 1.0f - style.split));
}

Rgb clampColour(Rgb c) { return {clamp01(c.r), clamp01(c.g), clamp01(c.b)}; }

}  // namespace

Canvas renderTextCard(int width, int height, std::string_view text, const TextStyle& style) {
  const PixelFont::Bitmap bitmap = PixelFont::layOut(text);
  const Placement place = placeText(bitmap, width, height, style.cell);

  // Coverage of the letters, supersampled.
  Plane ink(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      int hits = 0;
      for (int sy = 0; sy < kSubsamples; ++sy) {
        const float py = float(y) + (float(sy) + 0.5f) / kSubsamples;
        const float shift = style.slant * (place.shearCentreY - py);
        for (int sx = 0; sx < kSubsamples; ++sx) {
          const float px = float(x) + (float(sx) + 0.5f) / kSubsamples;
          if (insideInk(bitmap, style, px - place.originX - shift, py - place.originY)) ++hits;
        }
      }
      ink.at(x, y) = float(hits) / float(kSubsamples * kSubsamples);
    }
  }

  // A thin rule under the text: part of the glow's source, drawn in the
  // glow's colours.
  Plane rule(width, height);
  if (style.underline) {
    const int ruleY = int(place.inkBottom) + style.cell + 2;
    const float left = place.originX - float(style.cell) * 2.0f;
    const float right = place.originX + float(bitmap.width * style.cell) + float(style.cell) * 2.0f;
    const float fade = (right - left) * 0.25f;
    for (int y = ruleY; y < std::min(height, ruleY + 2); ++y)
      for (int x = 0; x < width; ++x) {
        const float fx = float(x) + 0.5f;
        rule.at(x, y) = smoothstep(left, left + fade, fx) * (1.0f - smoothstep(right - fade, right, fx));
      }
  }

  Plane glow = ink;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) glow.at(x, y) = std::max(glow.at(x, y), rule.at(x, y));
  glow.blur(style.glowSigma);
  const Plane outline = style.outlineRadius > 0 ? ink.dilated(style.outlineRadius) : Plane(width, height);
  Plane relief = ink;
  relief.blur(std::max(1.0f, float(style.cell) * 0.15f));

  Canvas canvas(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const Rgb glowColour = mix(style.glowLeft, style.glowRight, (float(x) + 0.5f) / float(width));
      canvas.over(x, y, premultiplied(glowColour, clamp01(glow.at(x, y) * style.glowStrength * 1.6f)));
      if (rule.at(x, y) > 0.0f) canvas.over(x, y, premultiplied(mix(glowColour, {1, 1, 1}, 0.6f), rule.at(x, y)));
      canvas.over(x, y, premultiplied(style.outline, outline.at(x, y)));
      const float coverage = ink.at(x, y);
      if (coverage <= 0.0f) continue;
      // The relief's slope: positive on edges facing the top-left light.
      const float light = (relief.sample(x + 1, y) - relief.sample(x - 1, y)) +
                          (relief.sample(x, y + 1) - relief.sample(x, y - 1));
      const float shade = 1.0f + style.emboss * light * 2.0f;
      Rgb fill = scale(rampColour(style, place, float(y) + 0.5f), shade);
      if (light > 0.0f) fill = mix(fill, {1, 1, 1}, clamp01(style.emboss * light));
      canvas.over(x, y, premultiplied(clampColour(fill), coverage));
    }
  }
  return canvas;
}

Canvas makeTitle() {
  TextStyle style;
  style.cell = 12;
  style.slant = 0.16f;
  // Chrome: a pale sky over a dark violet horizon that warms to pink.
  style.skyTop = {1.0f, 1.0f, 1.0f};
  style.skyBottom = {0.38f, 0.72f, 1.0f};
  style.groundTop = {0.22f, 0.06f, 0.36f};
  style.groundBottom = {1.0f, 0.55f, 0.82f};
  style.split = 0.52f;
  style.emboss = 0.9f;
  style.outline = {0.04f, 0.0f, 0.10f};
  style.outlineRadius = 2;
  style.glowLeft = {0.15f, 0.85f, 1.0f};
  style.glowRight = {1.0f, 0.25f, 0.85f};
  style.glowSigma = 7.0f;
  style.glowStrength = 0.85f;
  return renderTextCard(512, 128, "VXPLAY", style);
}

Canvas makeSubtitle() {
  TextStyle style;
  style.cell = 4;
  style.slant = 0.12f;
  style.skyTop = {1.0f, 1.0f, 1.0f};
  style.skyBottom = {0.70f, 0.92f, 1.0f};
  style.groundTop = style.skyBottom;
  style.groundBottom = {1.0f, 0.62f, 0.88f};
  style.split = 0.45f;
  style.emboss = 0.5f;
  style.outline = {0.03f, 0.0f, 0.08f};
  style.outlineRadius = 1;
  style.glowLeft = {0.25f, 0.75f, 1.0f};
  style.glowRight = {0.95f, 0.35f, 0.95f};
  style.glowSigma = 3.5f;
  style.glowStrength = 0.7f;
  return renderTextCard(512, 64, "a real-time show player", style);
}

Canvas makeCredits() {
  TextStyle style;
  style.cell = 5;
  style.skyTop = {1.0f, 0.95f, 0.80f};
  style.skyBottom = {1.0f, 0.78f, 0.45f};
  style.groundTop = style.skyBottom;
  style.groundBottom = {1.0f, 0.45f, 0.40f};
  style.split = 0.5f;
  style.emboss = 0.6f;
  style.outline = {0.06f, 0.0f, 0.06f};
  style.outlineRadius = 1;
  style.glowLeft = {1.0f, 0.55f, 0.20f};
  style.glowRight = {1.0f, 0.25f, 0.55f};
  style.glowSigma = 4.0f;
  style.glowStrength = 0.65f;
  style.underline = true;
  return renderTextCard(512, 96, "made with vxtool", style);
}
