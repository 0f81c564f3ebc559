#include "tools/showgen/SceneTextures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "tools/showgen/Geometry.h"
#include "tools/showgen/Noise.h"

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

struct Vec {
  float x, y, z;
};
Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec operator*(Vec a, float k) { return {a.x * k, a.y * k, a.z * k}; }
float dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vec normalised(Vec v) {
  const float length = std::sqrt(dot(v, v));
  return length > 0.0f ? v * (1.0f / length) : v;
}

Rgb add(Rgb a, Rgb b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
Rgb multiply(Rgb a, Rgb b) { return {a.r * b.r, a.g * b.g, a.b * b.b}; }

template <std::size_t N>
Rgb ramp(const std::array<std::pair<float, Rgb>, N>& stops, float t) {
  if (t <= stops.front().first) return stops.front().second;
  for (std::size_t i = 1; i < N; ++i)
    if (t <= stops[i].first)
      return mix(stops[i - 1].second, stops[i].second,
                 (t - stops[i - 1].first) / (stops[i].first - stops[i - 1].first));
  return stops.back().second;
}

// 3D value noise (about -1 ... 1) and its fractal sum: seamless over a
// sphere or across the faces of a sky box.
float lattice3(int x, int y, int z, std::uint32_t seed) {
  const std::uint32_t h = hash3(std::uint32_t(x), std::uint32_t(y), hash3(std::uint32_t(z), seed, 0x51ed27u));
  return float(h >> 8) * (2.0f / 16777216.0f) - 1.0f;
}

float smooth(float t) { return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f); }

float noise3(Vec p, std::uint32_t seed) {
  const float fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
  const int ix = int(fx), iy = int(fy), iz = int(fz);
  const float u = smooth(p.x - fx), v = smooth(p.y - fy), w = smooth(p.z - fz);
  float layer[2];
  for (int k = 0; k < 2; ++k) {
    const float a = lattice3(ix, iy, iz + k, seed), b = lattice3(ix + 1, iy, iz + k, seed);
    const float c = lattice3(ix, iy + 1, iz + k, seed), d = lattice3(ix + 1, iy + 1, iz + k, seed);
    const float top = a + (b - a) * u, bottom = c + (d - c) * u;
    layer[k] = top + (bottom - top) * v;
  }
  return layer[0] + (layer[1] - layer[0]) * w;
}

float fbm3(Vec p, int octaves, float gain, std::uint32_t seed) {
  float sum = 0.0f, amplitude = 1.0f, norm = 0.0f;
  for (int i = 0; i < octaves; ++i) {
    sum += amplitude * noise3(p, seed + std::uint32_t(i) * 131u);
    norm += amplitude;
    amplitude *= gain;
    p = {1.7f * p.x + 0.9f * p.z + 3.1f, 1.8f * p.y - 0.4f * p.x + 1.7f, 1.7f * p.z - 0.9f * p.x + 5.3f};
  }
  return sum / norm;
}

// Point stars on the sphere of directions: at most one star per cell of a
// 3D grid (cells `cell` apart), kept away from the cell's walls so that a
// star is never cut by them. Returns the light at direction d.
float starLight(Vec d, float cell, float density, std::uint32_t seed) {
  const Vec p = d * (1.0f / cell);
  const int ix = int(std::floor(p.x)), iy = int(std::floor(p.y)), iz = int(std::floor(p.z));
  const std::uint32_t h = hash3(std::uint32_t(ix), std::uint32_t(iy), hash3(std::uint32_t(iz), seed, 77u));
  if (float(h & 0xFFFF) / 65536.0f >= density) return 0.0f;
  auto jitter = [&](std::uint32_t salt) { return 0.3f + 0.4f * float(hash3(h, salt, seed) & 0xFFFF) / 65536.0f; };
  const Vec star = {float(ix) + jitter(1), float(iy) + jitter(2), float(iz) + jitter(3)};
  const Vec offset = {p.x - star.x, p.y - star.y, p.z - star.z};
  const float r2 = dot(offset, offset);
  const float brightness = std::pow(float(hash3(h, 9u, seed) & 0xFFFF) / 65536.0f, 5.0f) * 2.5f + 0.12f;
  return brightness * std::exp(-r2 / (2.0f * 0.09f * 0.09f));
}

Rgb spaceSky(Vec d) {
  // A band of nebula about a tilted great circle.
  const Vec bandNormal = normalised({0.6f, 0.45f, 0.66f});
  const float across = dot(d, bandNormal);
  const float band = std::exp(-across * across / 0.09f);
  const Vec q = d * 2.2f;
  const float warp = fbm3(q, 3, 0.5f, 401);
  const float cloud = fbm3(q * 1.3f + Vec{warp, warp, warp}, 5, 0.55f, 402);
  const float density = smoothstep(-0.15f, 0.55f, cloud) * band;
  const Rgb violet = {0.30f, 0.06f, 0.42f}, teal = {0.05f, 0.35f, 0.50f}, rose = {0.65f, 0.16f, 0.42f};
  const float hue = clamp01(0.5f + 1.2f * fbm3(q * 0.7f, 3, 0.5f, 403));
  Rgb sky = {0.006f, 0.006f, 0.020f};
  sky = add(sky, scale(mix(mix(teal, violet, hue), rose, clamp01(hue * hue - 0.2f)), 1.9f * density));
  sky = add(sky, scale({0.07f, 0.04f, 0.13f}, band));
  // Dark lanes of dust through the band.
  sky = scale(sky, 1.0f - 0.6f * smoothstep(0.2f, 0.6f, fbm3(q * 2.5f, 4, 0.5f, 404)) * band);
  const float stars = starLight(d, 0.0075f, 0.16f, 405) * (1.2f + 1.8f * band);
  const Rgb tint = mix({0.75f, 0.85f, 1.0f}, {1.0f, 0.85f, 0.75f}, clamp01(0.5f + fbm3(d * 9.0f, 2, 0.5f, 406)));
  return add(sky, scale(tint, stars));
}

// Dusk: d.z is up; the sun stands low in +y.
const Rgb kDuskHorizon = {0.62f, 0.17f, 0.42f};

Rgb duskSky(Vec d) {
  const float elevation = std::asin(std::clamp(d.z, -1.0f, 1.0f)) / (kPi / 2.0f);  // -1 ... 1
  static const std::array<std::pair<float, Rgb>, 6> stops = {{{-1.0f, {0.05f, 0.01f, 0.08f}},
                                                              {-0.08f, {0.20f, 0.05f, 0.22f}},
                                                              {0.0f, kDuskHorizon},
                                                              {0.06f, {0.95f, 0.38f, 0.40f}},
                                                              {0.30f, {0.30f, 0.07f, 0.38f}},
                                                              {1.0f, {0.03f, 0.01f, 0.10f}}}};
  Rgb sky = ramp(stops, elevation);
  // The sun: a disc low over the horizon, cut by slots that widen downwards.
  const Vec sunDir = normalised({0.0f, 1.0f, 0.16f});
  const float angle = std::acos(std::clamp(dot(d, sunDir), -1.0f, 1.0f));
  const float radius = 0.22f;
  if (elevation > -0.02f) {
    sky = add(sky, scale({1.0f, 0.35f, 0.50f}, 0.55f * std::exp(-std::max(0.0f, angle - radius) / 0.10f)));
    const float disc = smoothstep(radius + 0.004f, radius - 0.004f, angle);
    if (disc > 0.0f) {
      const float rise = (std::asin(std::clamp(d.z, -1.0f, 1.0f)) - (std::asin(sunDir.z) - radius)) / (2 * radius);
      const float slotPeriod = 0.035f + 0.02f * rise;
      const float phase = std::fmod(rise, slotPeriod) / slotPeriod;
      const float cut = rise < 0.55f ? smoothstep(0.55f, 0.0f, rise) * 0.6f : 0.0f;
      const float open = (phase < cut) ? 0.0f : 1.0f;
      const Rgb sunColour = mix({1.0f, 0.25f, 0.55f}, {1.0f, 0.92f, 0.35f}, clamp01(rise));
      sky = mix(sky, sunColour, disc * open);
    }
  }
  // Streaks of cloud along the horizon, and stars high up.
  if (elevation > 0.0f) {
    const Vec q = {d.x * 1.5f, d.y * 1.5f, d.z * 9.0f};
    const float streak = smoothstep(0.05f, 0.5f, fbm3(q, 4, 0.5f, 501)) * std::exp(-elevation / 0.12f);
    sky = mix(sky, {0.35f, 0.08f, 0.30f}, 0.7f * streak);
    sky = add(sky, scale({0.9f, 0.9f, 1.0f}, starLight(d, 0.009f, 0.06f, 502) * smoothstep(0.25f, 0.6f, elevation)));
  }
  return sky;
}

Rgba opaque(Rgb c) { return {clamp01(c.r), clamp01(c.g), clamp01(c.b), 1.0f}; }

// Heights of the planet at the direction d: seas at 0, rock above.
float planetHeight(Vec d) {
  float h = 0.5f + 0.5f * fbm3(d * 1.6f, 6, 0.52f, 601);
  // Craters: rims around cells of a coarse grid, each with its own size.
  const Vec p = d * 4.0f;
  const int ix = int(std::floor(p.x)), iy = int(std::floor(p.y)), iz = int(std::floor(p.z));
  const std::uint32_t c = hash3(std::uint32_t(ix), std::uint32_t(iy), hash3(std::uint32_t(iz), 602u, 3u));
  const Vec centre = {float(ix) + 0.3f + 0.4f * float(c & 0xFF) / 255.0f,
                      float(iy) + 0.3f + 0.4f * float((c >> 8) & 0xFF) / 255.0f,
                      float(iz) + 0.3f + 0.4f * float((c >> 16) & 0xFF) / 255.0f};
  const float size = 0.12f + 0.16f * float((c >> 24) & 0xFF) / 255.0f;
  const Vec off = {p.x - centre.x, p.y - centre.y, p.z - centre.z};
  const float r = std::sqrt(dot(off, off)) / size;
  if (r < 1.4f) h += 0.10f * (std::exp(-(r - 1.0f) * (r - 1.0f) / 0.03f) - 0.7f * smoothstep(1.0f, 0.2f, r));
  return h;
}

constexpr float kSeaLevel = 0.49f;

Vec planetDirection(float u, float v) {
  const float theta = kPi * v, phi = -2.0f * kPi * u;  // the sphere's own parameterisation
  return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

Canvas encodeNormals(int width, int height, const auto& normalAt) {
  Canvas canvas(width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const Vec n = normalised(normalAt(x, y));
      canvas.at(x, y) = {0.5f + 0.5f * n.x, 0.5f + 0.5f * n.y, 0.5f + 0.5f * n.z, 1.0f};
    }
  return canvas;
}

// Panel plating on a repeating 256 x 256 tile: height and colour.
constexpr int kPanelSize = 256, kPanelsAcross = 4;

float panelHeight(int x, int y) {
  const int cell = kPanelSize / kPanelsAcross;
  const int cx = x / cell, cy = y / cell;
  // Every other row of panels is split in two, for variety.
  const int px = x % cell, py = y % cell;
  const bool split = (cx + cy) % 3 == 0;
  const float edge = float(std::min({px, cell - 1 - px, py, cell - 1 - py}));
  const float splitEdge = split ? std::fabs(float(px) - cell / 2.0f) : 1e9f;
  float h = smoothstep(1.0f, 4.0f, std::min(edge, splitEdge));
  const std::uint32_t r = hash3(std::uint32_t(cx), std::uint32_t(cy), 701u);
  h *= 0.85f + 0.15f * float(r & 0xFF) / 255.0f;
  // Rivets in the corners.
  for (int corner = 0; corner < 4; ++corner) {
    const float rx = (corner & 1) ? cell - 7.0f : 7.0f, ry = (corner & 2) ? cell - 7.0f : 7.0f;
    const float d2 = (px + 0.5f - rx) * (px + 0.5f - rx) + (py + 0.5f - ry) * (py + 0.5f - ry);
    h += 0.25f * std::exp(-d2 / 3.0f);
  }
  return h;
}

// Floor tiles: 2 x 2 per picture, bevelled.
constexpr int kTileSize = 256;

float tileHeight(int x, int y) {
  const int cell = kTileSize / 2;
  const int px = x % cell, py = y % cell;
  const float edge = float(std::min({px, cell - 1 - px, py, cell - 1 - py}));
  return smoothstep(1.5f, 7.0f, edge) + 0.03f * fbm(float(x) / 24.0f, float(y) / 24.0f, 3, 0.5f, 801);
}

// Light on black, soft-clipped, alpha = the strongest channel (premultiplied).
Canvas particle(Rgb core, Rgb halo) {
  constexpr int kSize = 64;
  Canvas canvas(kSize, kSize);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) {
      const float r = std::hypot(float(x) + 0.5f - kSize / 2.0f, float(y) + 0.5f - kSize / 2.0f) / (kSize / 2.0f);
      const float fade = 1.0f - smoothstep(0.8f, 1.0f, r);
      const Rgb c = add(scale(core, 1.8f * std::exp(-r * r / 0.012f)), scale(halo, 0.7f * std::exp(-r * r / 0.12f)));
      const Rgb k = {1.0f - std::exp(-c.r * fade), 1.0f - std::exp(-c.g * fade), 1.0f - std::exp(-c.b * fade)};
      canvas.at(x, y) = {k.r, k.g, k.b, std::max({k.r, k.g, k.b})};
    }
  return canvas;
}

}  // namespace

Rgb duskHorizon() { return kDuskHorizon; }

Canvas makeSkyFace(Sky sky, int face) {
  Canvas canvas(kSkyFaceSize, kSkyFaceSize);
  for (int y = 0; y < kSkyFaceSize; ++y)
    for (int x = 0; x < kSkyFaceSize; ++x) {
      const D3DXVECTOR3 p = unitCubeFacePoint(face, float(x) / (kSkyFaceSize - 1), float(y) / (kSkyFaceSize - 1));
      const Vec d = normalised({p.x, p.y, p.z});
      canvas.at(x, y) = opaque(sky == Sky::space ? spaceSky(d) : duskSky(d));
    }
  return canvas;
}

Canvas makePlanet() {
  constexpr int kWidth = 1024, kHeight = 512;
  Canvas canvas(kWidth, kHeight);
  static const std::array<std::pair<float, Rgb>, 6> land = {{{kSeaLevel, {0.55f, 0.42f, 0.36f}},
                                                             {0.60f, {0.62f, 0.38f, 0.30f}},
                                                             {0.68f, {0.48f, 0.30f, 0.34f}},
                                                             {0.76f, {0.70f, 0.58f, 0.62f}},
                                                             {0.82f, {0.92f, 0.90f, 0.95f}},
                                                             {1.0f, {1.0f, 1.0f, 1.0f}}}};
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const Vec d = planetDirection((float(x) + 0.5f) / kWidth, (float(y) + 0.5f) / kHeight);
      const float h = planetHeight(d);
      Rgb c;
      if (h < kSeaLevel) {
        const float depth = clamp01((kSeaLevel - h) / 0.2f);
        c = mix({0.16f, 0.58f, 0.66f}, {0.06f, 0.22f, 0.46f}, depth);
      } else {
        c = ramp(land, h);
        c = scale(c, 0.85f + 0.3f * fbm3(d * 14.0f, 3, 0.5f, 603));
      }
      // Polar ice.
      c = mix(c, {0.92f, 0.95f, 1.0f}, smoothstep(0.80f, 0.92f, std::fabs(d.z) + 0.08f * fbm3(d * 5.0f, 3, 0.5f, 604)));
      canvas.at(x, y) = opaque(c);
    }
  return canvas;
}

Canvas makePlanetNormals() {
  constexpr int kWidth = 1024, kHeight = 512;
  Plane height(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      height.at(x, y) =
          std::max(kSeaLevel, planetHeight(planetDirection((float(x) + 0.5f) / kWidth, (float(y) + 0.5f) / kHeight)));
  // Slopes per unit of the sphere's surface: a texel spans 2π sin θ / width
  // across and π / height down (radius 1), so the relief keeps its look
  // towards the poles.
  constexpr float kRelief = 0.4f;
  return encodeNormals(kWidth, kHeight, [&](int x, int y) {
    const float theta = kPi * (float(y) + 0.5f) / kHeight;
    const float across = 2.0f * kPi * std::max(0.08f, std::sin(theta)) / kWidth, down = kPi / kHeight;
    float dx = kRelief * (height.at((x + 1) % kWidth, y) - height.at((x + kWidth - 1) % kWidth, y)) / (2.0f * across);
    float dy = kRelief * (height.at(x, std::min(y + 1, kHeight - 1)) - height.at(x, std::max(y - 1, 0))) / (2.0f * down);
    // Slopes steeper than 1 (45 degrees) only come from the squeezed texels
    // near the poles; they are kept at 1.
    const float slope = std::hypot(dx, dy);
    if (slope > 1.0f) dx /= slope, dy /= slope;
    // Picture right = +x, picture up = -y.
    return Vec{-dx, dy, 1.0f};
  });
}

Canvas makeAtmosphere() {
  constexpr int kSize = 256;
  Canvas canvas(kSize, kSize);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) {
      const float r = std::hypot(float(x) + 0.5f - kSize / 2.0f, float(y) + 0.5f - kSize / 2.0f) / (kSize / 2.0f);
      const float rim = std::pow(clamp01(r), 5.0f) * (1.0f - smoothstep(0.97f, 1.0f, r));
      canvas.at(x, y) = opaque(scale({0.25f, 0.55f, 1.0f}, 0.9f * rim));
    }
  return canvas;
}

Canvas makePanels() {
  Canvas canvas(kPanelSize, kPanelSize);
  const int cell = kPanelSize / kPanelsAcross;
  for (int y = 0; y < kPanelSize; ++y)
    for (int x = 0; x < kPanelSize; ++x) {
      const std::uint32_t r = hash3(std::uint32_t(x / cell), std::uint32_t(y / cell), 702u);
      const float shade = 0.75f + 0.25f * float(r & 0xFF) / 255.0f;
      const float grime = 0.12f * fbm(float(x) / 20.0f, float(y) / 20.0f, 4, 0.5f, 703);
      Rgb c = scale({0.46f, 0.48f, 0.58f}, shade + grime);
      if ((r >> 8) % 5 == 0) c = multiply(c, {1.05f, 0.62f, 0.85f});  // a few panels painted rose
      const float h = panelHeight(x, y);
      c = scale(c, 0.35f + 0.65f * clamp01(h));
      canvas.at(x, y) = opaque(c);
    }
  return canvas;
}

Canvas makePanelNormals() {
  Plane height(kPanelSize, kPanelSize);
  for (int y = 0; y < kPanelSize; ++y)
    for (int x = 0; x < kPanelSize; ++x) height.at(x, y) = panelHeight(x, y);
  return normalMapOf(height, 2.5f, true, true);
}

Canvas makeTiles() {
  Canvas canvas(kTileSize, kTileSize);
  for (int y = 0; y < kTileSize; ++y)
    for (int x = 0; x < kTileSize; ++x) {
      const float h = tileHeight(x, y);
      const float vein = 0.5f + 0.5f * fbm(float(x) / 40.0f, float(y) / 40.0f, 5, 0.55f, 802);
      const Rgb stone = mix({0.16f, 0.10f, 0.24f}, {0.34f, 0.24f, 0.44f}, vein * vein);
      const Rgb seam = {0.95f, 0.35f, 0.80f};
      canvas.at(x, y) = opaque(mix(seam, stone, smoothstep(0.0f, 0.6f, h)));
    }
  return canvas;
}

Canvas makeTileNormals() {
  Plane height(kTileSize, kTileSize);
  for (int y = 0; y < kTileSize; ++y)
    for (int x = 0; x < kTileSize; ++x) height.at(x, y) = tileHeight(x, y);
  return normalMapOf(height, 3.0f, true, true);
}

Canvas makeChrome() {
  constexpr int kSize = 256;
  Canvas canvas(kSize, kSize);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) {
      // The normal this texel stands for (x right, y up, z towards the eye)
      // and the direction it reflects the eye's view into.
      const float nx = (float(x) + 0.5f) / (kSize / 2.0f) - 1.0f, ny = 1.0f - (float(y) + 0.5f) / (kSize / 2.0f);
      const float r2 = nx * nx + ny * ny;
      const float nz = std::sqrt(std::max(0.0f, 1.0f - r2));
      // Reflection of the view ray (0, 0, -1): R = V - 2 (V.N) N, in a frame
      // where up is +y; turned into the sky's z-up frame (looking along +y).
      const Vec reflected = {2.0f * nz * nx, 2.0f * nz * ny, -1.0f + 2.0f * nz * nz};
      const Vec d = normalised({reflected.x, -reflected.z, reflected.y});
      Rgb c = duskSky(d);
      if (d.z < 0.0f) {
        // The floor beneath: dark, with the neon grid converging.
        const float gx = d.x / std::max(0.05f, -d.z), gy = d.y / std::max(0.05f, -d.z);
        const float line = std::max(std::exp(-std::pow(std::fabs(std::fmod(std::fabs(gx) + 0.5f, 1.0f) - 0.5f) / 0.03f, 2.0f)),
                                    std::exp(-std::pow(std::fabs(std::fmod(std::fabs(gy) + 0.5f, 1.0f) - 0.5f) / 0.03f, 2.0f)));
        c = add(scale({0.10f, 0.03f, 0.14f}, 1.0f), scale({1.0f, 0.3f, 0.85f}, 0.8f * line * std::exp(d.z * 2.0f)));
      }
      const float fade = 1.0f - smoothstep(0.98f, 1.0f, std::sqrt(r2));
      canvas.at(x, y) = opaque(scale(c, 1.1f * fade));
    }
  return canvas;
}

Canvas makeSpark() { return particle({0.85f, 0.92f, 1.0f}, {0.35f, 0.55f, 1.0f}); }

Canvas makeEmber() { return particle({1.0f, 0.75f, 0.45f}, {1.0f, 0.30f, 0.20f}); }

Canvas normalMapOf(const Plane& height, float strength, bool wrapX, bool wrapY) {
  const int w = height.width(), h = height.height();
  auto at = [&](int x, int y) {
    x = wrapX ? (x + w) % w : std::clamp(x, 0, w - 1);
    y = wrapY ? (y + h) % h : std::clamp(y, 0, h - 1);
    return height.at(x, y);
  };
  return encodeNormals(w, h, [&](int x, int y) {
    const float dx = (at(x + 1, y) - at(x - 1, y)) * 0.5f * strength;
    const float dy = (at(x, y + 1) - at(x, y - 1)) * 0.5f * strength;
    return Vec{-dx, dy, 1.0f};
  });
}
