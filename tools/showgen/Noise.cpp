#include "tools/showgen/Noise.h"

#include <cmath>

std::uint32_t hash3(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
  std::uint32_t h = x * 0x8da6b343u ^ y * 0xd8163841u ^ z * 0xcb1ab31fu;
  h ^= h >> 16;
  h *= 0x7feb352du;
  h ^= h >> 15;
  h *= 0x846ca68bu;
  h ^= h >> 16;
  return h;
}

std::uint64_t Random::next() {
  std::uint64_t z = (m_state += 0x9e3779b97f4a7c15ull);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
  return z ^ (z >> 31);
}

float Random::uniform() { return float(next() >> 40) * (1.0f / 16777216.0f); }

float Random::uniform(float low, float high) { return low + (high - low) * uniform(); }

namespace {

float lattice(int x, int y, std::uint32_t seed) {
  const std::uint32_t h = hash3(std::uint32_t(x), std::uint32_t(y), seed);
  return float(h >> 8) * (2.0f / 16777216.0f) - 1.0f;
}

float quintic(float t) { return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f); }

}  // namespace

float valueNoise(float x, float y, std::uint32_t seed) {
  const float fx = std::floor(x), fy = std::floor(y);
  const int ix = int(fx), iy = int(fy);
  const float u = quintic(x - fx), v = quintic(y - fy);
  const float a = lattice(ix, iy, seed), b = lattice(ix + 1, iy, seed);
  const float c = lattice(ix, iy + 1, seed), d = lattice(ix + 1, iy + 1, seed);
  return (a + (b - a) * u) + ((c + (d - c) * u) - (a + (b - a) * u)) * v;
}

float fbm(float x, float y, int octaves, float gain, std::uint32_t seed) {
  float sum = 0.0f, amplitude = 1.0f, norm = 0.0f;
  for (int i = 0; i < octaves; ++i) {
    sum += amplitude * valueNoise(x, y, seed + std::uint32_t(i) * 101u);
    norm += amplitude;
    amplitude *= gain;
    // Rotating each octave a little hides the lattice's axis alignment.
    const float nx = 1.6f * x + 1.2f * y + 7.3f, ny = -1.2f * x + 1.6f * y + 3.1f;
    x = nx;
    y = ny;
  }
  return sum / norm;
}
