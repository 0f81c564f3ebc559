#include "tools/showgen/Canvas.h"

#include <algorithm>
#include <cmath>

#include "tools/showgen/Noise.h"

float clamp01(float v) { return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v); }

float smoothstep(float edge0, float edge1, float v) {
  const float t = clamp01((v - edge0) / (edge1 - edge0));
  return t * t * (3.0f - 2.0f * t);
}

float Plane::sample(int x, int y) const {
  if (x < 0 || y < 0 || x >= m_width || y >= m_height) return 0.0f;
  return at(x, y);
}

void Plane::blur(float sigma) {
  if (sigma <= 0.0f || m_values.empty()) return;
  const int radius = int(std::ceil(sigma * 3.0f));
  std::vector<float> kernel(std::size_t(2 * radius + 1));
  float sum = 0.0f;
  for (int i = -radius; i <= radius; ++i) {
    kernel[std::size_t(i + radius)] = std::exp(-0.5f * float(i * i) / (sigma * sigma));
    sum += kernel[std::size_t(i + radius)];
  }
  for (float& k : kernel) k /= sum;

  std::vector<float> line(std::size_t(std::max(m_width, m_height)));
  for (int y = 0; y < m_height; ++y) {
    for (int x = 0; x < m_width; ++x) {
      float acc = 0.0f;
      for (int i = std::max(-radius, -x); i <= std::min(radius, m_width - 1 - x); ++i)
        acc += kernel[std::size_t(i + radius)] * at(x + i, y);
      line[std::size_t(x)] = acc;
    }
    for (int x = 0; x < m_width; ++x) at(x, y) = line[std::size_t(x)];
  }
  for (int x = 0; x < m_width; ++x) {
    for (int y = 0; y < m_height; ++y) {
      float acc = 0.0f;
      for (int i = std::max(-radius, -y); i <= std::min(radius, m_height - 1 - y); ++i)
        acc += kernel[std::size_t(i + radius)] * at(x, y + i);
      line[std::size_t(y)] = acc;
    }
    for (int y = 0; y < m_height; ++y) at(x, y) = line[std::size_t(y)];
  }
}

Plane Plane::dilated(int radius) const {
  Plane out(m_width, m_height);
  for (int y = 0; y < m_height; ++y) {
    for (int x = 0; x < m_width; ++x) {
      float best = 0.0f;
      for (int dy = -radius; dy <= radius; ++dy)
        for (int dx = -radius; dx <= radius; ++dx)
          if (dx * dx + dy * dy <= radius * radius) best = std::max(best, sample(x + dx, y + dy));
      out.at(x, y) = best;
    }
  }
  return out;
}

void Canvas::over(int x, int y, Rgba s) {
  if (x < 0 || y < 0 || x >= m_width || y >= m_height) return;
  Rgba& d = at(x, y);
  const float keep = 1.0f - s.a;
  d = {s.r + d.r * keep, s.g + d.g * keep, s.b + d.b * keep, s.a + d.a * keep};
}

void Canvas::add(int x, int y, Rgba s) {
  if (x < 0 || y < 0 || x >= m_width || y >= m_height) return;
  Rgba& d = at(x, y);
  d = {d.r + s.r, d.g + s.g, d.b + s.b, std::min(1.0f, d.a + s.a)};
}

void Canvas::flattenOnto(Rgb background) {
  for (Rgba& p : m_pixels) {
    const float keep = 1.0f - p.a;
    p = {p.r + background.r * keep, p.g + background.g * keep, p.b + background.b * keep, 1.0f};
  }
}

std::uint8_t ditheredByte(float v, int x, int y, int channel) {
  const std::uint32_t h = hash3(std::uint32_t(x), std::uint32_t(y), std::uint32_t(channel) + 0x5eedu);
  const float noise = float(h >> 8) * (1.0f / 16777216.0f) - 0.5f;  // -0.5 ... 0.5 of a step
  const float scaled = clamp01(v) * 255.0f + noise;
  return std::uint8_t(std::clamp(int(std::lround(scaled)), 0, 255));
}
