#include "tools/showgen/Pictures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "tools/showgen/Noise.h"

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

// Piecewise-linear ramp through (position, colour) stops sorted by position.
template <std::size_t N>
Rgb ramp(const std::array<std::pair<float, Rgb>, N>& stops, float t) {
  if (t <= stops.front().first) return stops.front().second;
  for (std::size_t i = 1; i < N; ++i)
    if (t <= stops[i].first)
      return mix(stops[i - 1].second, stops[i].second,
                 (t - stops[i - 1].first) / (stops[i].first - stops[i - 1].first));
  return stops.back().second;
}

Rgb add(Rgb a, Rgb b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }

// Values above 0.8 roll off smoothly towards 1 instead of clipping.
float shoulder(float v) { return v <= 0.8f ? std::max(v, 0.0f) : 0.8f + 0.2f * (1.0f - std::exp(-(v - 0.8f) / 0.2f)); }

// Light on black: alpha is the strongest channel, colours are soft-clipped
// (c -> 1 - e^-c) so that overlapping light turns white instead of flat.
void finishLight(Canvas& canvas, float exposure) {
  for (int y = 0; y < canvas.height(); ++y)
    for (int x = 0; x < canvas.width(); ++x) {
      Rgba& p = canvas.at(x, y);
      p.r = 1.0f - std::exp(-p.r * exposure);
      p.g = 1.0f - std::exp(-p.g * exposure);
      p.b = 1.0f - std::exp(-p.b * exposure);
      p.a = std::max({p.r, p.g, p.b});
    }
}

// ---- backdrop -----------------------------------------------------------

constexpr int kBackdropWidth = 800, kBackdropHeight = 600;
constexpr float kHorizon = 405.0f;  // screen row of the horizon
constexpr float kSunX = 400.0f, kSunY = kHorizon - 75.0f, kSunRadius = 120.0f;

Rgb skyColour(float x, float y) {
  static const std::array<std::pair<float, Rgb>, 4> stops = {{{0.0f, {0.02f, 0.01f, 0.08f}},
                                                              {0.45f, {0.13f, 0.03f, 0.27f}},
                                                              {0.80f, {0.52f, 0.11f, 0.43f}},
                                                              {1.0f, {1.0f, 0.45f, 0.45f}}}};
  const float t = y / kHorizon;
  Rgb sky = ramp(stops, t);

  // Nebula: domain-warped fractal noise, strongest in the upper middle sky.
  const float px = x / kBackdropWidth * 3.2f, py = y / kBackdropHeight * 2.4f;
  const float qx = fbm(px, py, 4, 0.5f, 11), qy = fbm(px + 5.2f, py + 1.3f, 4, 0.5f, 12);
  const float n = fbm(px + 1.8f * qx, py + 1.8f * qy, 5, 0.5f, 13);
  const float band = smoothstep(0.0f, 0.25f, t) * (1.0f - smoothstep(0.55f, 0.95f, t));
  const float density = smoothstep(-0.05f, 0.6f, n);
  const Rgb cloud = mix({0.10f, 0.55f, 0.70f}, {0.78f, 0.20f, 0.70f}, clamp01(0.5f + qx * 1.4f));
  sky = add(sky, scale(cloud, density * density * band * 0.55f));
  const float dust = smoothstep(0.25f, 0.75f, fbm(px * 2.1f, py * 2.1f, 4, 0.5f, 14));
  sky = scale(sky, 1.0f - 0.35f * dust * band);

  // The sun's halo in the air.
  const float d = std::hypot(x - kSunX, y - kSunY);
  sky = add(sky, scale({1.0f, 0.35f, 0.55f}, 0.55f * std::exp(-std::max(0.0f, d - kSunRadius) / 45.0f)));
  sky = add(sky, scale({0.9f, 0.3f, 0.5f}, 0.22f * std::exp(-d / 230.0f)));
  return sky;
}

// The sun's disc over the sky: a yellow-to-pink ramp, cut by horizontal
// slots that widen towards the horizon. Returns coverage.
float sunDisc(float x, float y, Rgb* colour) {
  const float d = std::hypot(x - kSunX, y - kSunY);
  float cover = smoothstep(kSunRadius + 0.7f, kSunRadius - 0.7f, d);
  if (cover <= 0.0f) return 0.0f;
  static const std::array<std::pair<float, Rgb>, 3> stops = {
      {{0.0f, {1.0f, 0.95f, 0.50f}}, {0.5f, {1.0f, 0.55f, 0.32f}}, {1.0f, {1.0f, 0.22f, 0.55f}}}};
  *colour = ramp(stops, (y - (kSunY - kSunRadius)) / (2.0f * kSunRadius));
  const float slotsStart = kSunY - 0.35f * kSunRadius;  // rows, screen pixels
  if (y > slotsStart) {
    const float period = 13.0f;
    const float depth = (y - slotsStart) / (kSunY + kSunRadius - slotsStart);
    const float slot = 1.0f + depth * 7.0f;  // pixels of each period left open
    const float phase = std::fmod(y - slotsStart, period);
    cover *= clamp01(phase - slot);
  }
  return cover;
}

// Top row of a range of hills at column x.
float hillTop(float x, float base, float height, std::uint32_t seed) {
  return kHorizon - base - height * clamp01(0.5f + 0.9f * fbm(x * 0.0045f, 0.5f, 5, 0.5f, seed));
}

Rgb floorColour(float x, float y) {
  const float dy = y - kHorizon;  // > 0
  static const std::array<std::pair<float, Rgb>, 2> stops = {
      {{0.0f, {0.30f, 0.07f, 0.32f}}, {1.0f, {0.03f, 0.0f, 0.07f}}}};
  Rgb floor = ramp(stops, std::pow(dy / (kBackdropHeight - kHorizon), 0.6f));

  // The grid: the camera 1 unit over the floor, focal length 300 pixels,
  // lines every 0.35 units. u, v are grid coordinates across and in depth;
  // du, dv how many grid units one pixel spans.
  constexpr float kFocal = 300.0f, kSpacing = 0.35f;
  const float u = (x - kBackdropWidth * 0.5f) / dy / kSpacing, du = 1.0f / dy / kSpacing;
  const float v = kFocal / dy / kSpacing, dv = kFocal / (dy * dy) / kSpacing;
  auto lineLight = [](float coordinate, float perPixel) {
    const float pixels = std::fabs(coordinate - std::round(coordinate)) / perPixel;
    const float sharp = std::exp(-pixels * pixels / (2.0f * 0.7f * 0.7f)) +
                        0.35f * std::exp(-pixels * pixels / (2.0f * 2.5f * 2.5f));
    // Where a pixel spans most of a period the lines blur into their mean.
    const float mean = std::min(1.0f, 3.95f * perPixel) * 0.6f;
    return sharp + (mean - sharp) * smoothstep(0.06f, 0.3f, perPixel);
  };
  const float grid = std::max(lineLight(u, du), lineLight(v, dv));
  const float fog = 1.0f - std::exp(-v * kSpacing / 6.0f);
  const Rgb lineColour = mix({1.0f, 0.22f, 0.80f}, {1.0f, 0.50f, 0.70f}, fog);
  floor = add(floor, scale(lineColour, grid * 0.95f * (1.0f - 0.6f * fog)));

  // The sun mirrored in the floor, broken into shimmering bands.
  const float across = (x - kSunX) / 70.0f;
  const float shimmer = 0.6f + 0.4f * std::sin(y * 0.9f);
  floor = add(floor, scale({1.0f, 0.45f, 0.5f}, 0.35f * std::exp(-across * across) * std::exp(-dy / 90.0f) * shimmer));
  return floor;
}

}  // namespace

Canvas makeBackdrop() {
  Canvas canvas(kBackdropWidth, kBackdropHeight);
  for (int iy = 0; iy < kBackdropHeight; ++iy) {
    for (int ix = 0; ix < kBackdropWidth; ++ix) {
      const float x = float(ix) + 0.5f, y = float(iy) + 0.5f;
      Rgb c;
      if (y < kHorizon) {
        c = skyColour(x, y);
        Rgb sun;
        const float cover = sunDisc(x, y, &sun);
        c = mix(c, sun, cover);
        // Far hills, hazy, then near hills, darker; rim-lit towards the sun.
        const float rim = 0.35f + 0.65f * std::exp(-std::pow((x - kSunX) / 260.0f, 2.0f));
        const float farTop = hillTop(x, 8.0f, 70.0f, 21), nearTop = hillTop(x, 0.0f, 34.0f, 37);
        const float far = clamp01(y - farTop + 0.5f), nearCover = clamp01(y - nearTop + 0.5f);
        const Rgb farColour = add(mix({0.10f, 0.03f, 0.18f}, {0.85f, 0.30f, 0.50f}, 0.35f),
                                  scale({0.9f, 0.35f, 0.6f}, 0.5f * rim * std::exp(-std::max(0.0f, y - farTop) / 3.0f)));
        const Rgb nearColour = add({0.06f, 0.01f, 0.11f},
                                   scale({1.0f, 0.4f, 0.65f}, 0.55f * rim * std::exp(-std::max(0.0f, y - nearTop) / 2.5f)));
        c = mix(c, farColour, far);
        c = mix(c, nearColour, nearCover);
      } else {
        // 2 x 2 samples: the grid's far lines are finer than a pixel.
        c = {};
        for (float sy : {-0.25f, 0.25f})
          for (float sx : {-0.25f, 0.25f}) c = add(c, scale(floorColour(x + sx, y + sy), 0.25f));
      }
      const float dh = std::fabs(y - kHorizon);
      c = add(c, scale({1.0f, 0.55f, 0.62f}, 0.45f * std::exp(-dh / 5.0f) + 0.18f * std::exp(-dh / 40.0f)));
      const float vx = (x / kBackdropWidth - 0.5f) * 2.0f, vy = (y / kBackdropHeight - 0.5f) * 2.0f;
      c = scale(c, 1.0f - 0.28f * (vx * vx + vy * vy) * 0.5f);
      canvas.at(ix, iy) = {shoulder(c.r), shoulder(c.g), shoulder(c.b), 1.0f};
    }
  }
  // Faint stars baked into the sky, fewer towards the horizon.
  Random random(0x5ca1ab1e);
  for (int i = 0; i < 420; ++i) {
    const float x = random.uniform(0.0f, kBackdropWidth), y = random.uniform(0.0f, kHorizon - 40.0f);
    const float r = random.uniform();
    if (std::hypot(x - kSunX, y - kSunY) < kSunRadius + 40.0f) continue;  // outshone by the sun
    const float brightness = 0.7f * r * r * r * std::pow(1.0f - y / kHorizon, 1.5f);
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx) {
        const int px = int(x) + dx, py = int(y) + dy;
        if (px < 0 || py < 0 || px >= kBackdropWidth || py >= kBackdropHeight) continue;
        const float ex = float(px) + 0.5f - x, ey = float(py) + 0.5f - y;
        const float k = brightness * std::exp(-(ex * ex + ey * ey) / (2.0f * 0.45f * 0.45f));
        Rgba& p = canvas.at(px, py);
        p.r = std::min(1.0f, p.r + k * 0.9f), p.g = std::min(1.0f, p.g + k * 0.92f), p.b = std::min(1.0f, p.b + k);
      }
  }
  return canvas;
}

Canvas makeStars() {
  Canvas canvas(kBackdropWidth, kBackdropHeight);
  Random random(0x57a125u);
  const Rgb tints[] = {{1.0f, 1.0f, 1.0f}, {0.70f, 0.82f, 1.0f}, {1.0f, 0.86f, 0.70f}, {0.95f, 0.75f, 1.0f}};
  auto splat = [&](float cx, float cy, int reach, auto&& intensity, Rgb tint) {
    for (int py = int(cy) - reach; py <= int(cy) + reach; ++py)
      for (int px = int(cx) - reach; px <= int(cx) + reach; ++px) {
        const float k = intensity(float(px) + 0.5f - cx, float(py) + 0.5f - cy);
        if (k > 1e-4f) canvas.add(px, py, {tint.r * k, tint.g * k, tint.b * k, 0.0f});
      }
  };
  // Dust of small stars.
  for (int i = 0; i < 300; ++i) {
    const float x = random.uniform(0.0f, kBackdropWidth), y = random.uniform(0.0f, kBackdropHeight);
    const float sigma = random.uniform(0.45f, 1.0f), peak = random.uniform(0.25f, 1.0f);
    const Rgb tint = tints[random.next() % 4];
    splat(x, y, 4, [=](float dx, float dy) { return peak * std::exp(-(dx * dx + dy * dy) / (2 * sigma * sigma)); },
          tint);
  }
  // A few sparkles: a core, a halo and four-pointed flares.
  for (int i = 0; i < 16; ++i) {
    const float x = random.uniform(30.0f, kBackdropWidth - 30.0f), y = random.uniform(30.0f, kBackdropHeight - 30.0f);
    const float length = random.uniform(10.0f, 26.0f), peak = random.uniform(0.7f, 1.3f);
    const Rgb tint = tints[random.next() % 4];
    splat(x, y, int(length * 2.5f),
          [=](float dx, float dy) {
            const float r2 = dx * dx + dy * dy;
            const float core = std::exp(-r2 / (2 * 1.3f * 1.3f));
            const float halo = 0.22f * std::exp(-r2 / (2 * 5.0f * 5.0f));
            const float flareX = std::exp(-std::fabs(dx) / length) * std::exp(-dy * dy / (2 * 0.55f * 0.55f));
            const float flareY = std::exp(-std::fabs(dy) / length) * std::exp(-dx * dx / (2 * 0.55f * 0.55f));
            return peak * (core + halo + 0.8f * (flareX + flareY));
          },
          tint);
  }
  finishLight(canvas, 1.4f);
  return canvas;
}

Canvas makeOrb() {
  constexpr int kSize = 128;
  Canvas canvas(kSize, kSize);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) {
      // r: 0 at the centre, 1 at the picture's inscribed circle.
      const float r = std::hypot(float(x) + 0.5f - kSize / 2.0f, float(y) + 0.5f - kSize / 2.0f) / (kSize / 2.0f);
      const float core = 1.6f * std::exp(-std::pow(r / 0.13f, 2.0f));
      const float halo = 0.65f * std::exp(-std::pow(r / 0.36f, 2.0f));
      const float wide = 0.25f * std::pow(std::max(0.0f, 1.0f - r), 3.0f);
      const float ring = 0.08f * std::exp(-std::pow((r - 0.62f) / 0.05f, 2.0f));
      const float fade = 1.0f - smoothstep(0.85f, 1.0f, r);
      const Rgb edge = {0.35f, 0.70f, 1.0f}, inner = {0.85f, 0.75f, 1.0f};
      const Rgb c = add(scale({1, 1, 1}, core), add(scale(mix(inner, edge, clamp01(r * 1.8f)), halo + wide),
                                                    scale({0.9f, 0.5f, 1.0f}, ring)));
      canvas.at(x, y) = {c.r * fade, c.g * fade, c.b * fade, 0.0f};
    }
  finishLight(canvas, 1.3f);
  return canvas;
}

Canvas makeSpinFrame(int frame, int frameCount) {
  constexpr int kSize = 128;
  struct Vec3 {
    float x, y, z;
  };
  struct Point {
    float x, y, depth;  // screen pixels; depth 0 (front) ... 1 (back)
  };
  // Both shapes look the same after a quarter turn about the vertical axis,
  // so turning them by a quarter over the loop makes it seamless.
  const float turn = frameCount > 0 ? (kPi / 2.0f) * float(frame % frameCount) / float(frameCount) : 0.0f;
  constexpr float kTilt = 0.50f;  // radians about x: seen from a little above
  auto project = [&](Vec3 p, float angle) {
    const float c = std::cos(angle), s = std::sin(angle);
    const Vec3 r = {c * p.x + s * p.z, p.y, -s * p.x + c * p.z};
    const float ct = std::cos(kTilt), st = std::sin(kTilt);
    const Vec3 t = {r.x, ct * r.y - st * r.z, st * r.y + ct * r.z};
    const float w = 140.0f / (t.z + 5.0f);
    return Point{kSize / 2.0f + t.x * w, kSize / 2.0f - t.y * w, clamp01((t.z + 1.8f) / 3.6f)};
  };

  struct Edge {
    Point a, b;
    Rgb colour;
  };
  std::vector<Edge> edges;
  std::vector<Point> corners;
  const Rgb cubeColour = {1.0f, 0.32f, 0.85f}, octaColour = {0.30f, 0.85f, 1.0f};
  for (int i = 0; i < 8; ++i) {
    const Vec3 v = {i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : -1.0f};
    corners.push_back(project(v, turn));
    for (int bit = 1; bit < 8; bit <<= 1)
      if (!(i & bit)) {
        const int j = i | bit;
        const Vec3 w = {j & 1 ? 1.0f : -1.0f, j & 2 ? 1.0f : -1.0f, j & 4 ? 1.0f : -1.0f};
        edges.push_back({project(v, turn), project(w, turn), cubeColour});
      }
  }
  const float o = 0.95f;
  const Vec3 octa[6] = {{o, 0, 0}, {-o, 0, 0}, {0, o, 0}, {0, -o, 0}, {0, 0, o}, {0, 0, -o}};
  for (int i = 0; i < 6; ++i)
    for (int j = i + 1; j < 6; ++j)
      if (j != (i ^ 1)) edges.push_back({project(octa[i], -turn), project(octa[j], -turn), octaColour});

  Canvas canvas(kSize, kSize);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) {
      const float px = float(x) + 0.5f, py = float(y) + 0.5f;
      Rgb light;
      for (const Edge& e : edges) {
        const float ex = e.b.x - e.a.x, ey = e.b.y - e.a.y;
        const float t = clamp01(((px - e.a.x) * ex + (py - e.a.y) * ey) / std::max(1e-6f, ex * ex + ey * ey));
        const float dx = px - (e.a.x + ex * t), dy = py - (e.a.y + ey * t);
        const float d2 = dx * dx + dy * dy;
        const float near = 1.0f - 0.65f * (e.a.depth + (e.b.depth - e.a.depth) * t);
        const float k = (1.0f - smoothstep(0.5f, 1.4f, std::sqrt(d2))) * 0.9f + 0.40f * std::exp(-d2 / 12.5f) +
                        0.12f * std::exp(-d2 / 98.0f);
        light = add(light, scale(e.colour, k * near));
      }
      for (const Point& c : corners) {
        const float d2 = (px - c.x) * (px - c.x) + (py - c.y) * (py - c.y);
        light = add(light, scale({1, 1, 1}, 1.2f * (1.0f - 0.65f * c.depth) * std::exp(-d2 / 3.4f)));
      }
      canvas.at(x, y) = {light.r, light.g, light.b, 0.0f};
    }
  finishLight(canvas, 1.2f);
  return canvas;
}
