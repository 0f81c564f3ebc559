#pragma once
// Float pictures the show generator paints into before they are quantised
// into PNG or JPEG files.
//
// Conventions: colours are display values (sRGB-encoded, no gamma fuss) in
// 0 ... 1 per channel; a Canvas holds them premultiplied by alpha, so painting
// with `add` is light adding up and `over` is ordinary layering. Pixel (0, 0)
// is the top-left corner, x right, y down; a pixel's centre is at (x + 0.5,
// y + 0.5) in the continuous coordinates the painters use.
#include <cstdint>
#include <vector>

struct Rgba {
  float r = 0, g = 0, b = 0, a = 0;
};

struct Rgb {
  float r = 0, g = 0, b = 0;
};

inline Rgb mix(Rgb x, Rgb y, float t) { return {x.r + (y.r - x.r) * t, x.g + (y.g - x.g) * t, x.b + (y.b - x.b) * t}; }
inline Rgb scale(Rgb c, float k) { return {c.r * k, c.g * k, c.b * k}; }
// An opaque colour with coverage a, premultiplied.
inline Rgba premultiplied(Rgb c, float a) { return {c.r * a, c.g * a, c.b * a, a}; }

float clamp01(float v);
float smoothstep(float edge0, float edge1, float v);

// One float per pixel: a mask, a coverage or an intensity (usually 0 ... 1).
class Plane {
 public:
  Plane(int width, int height) : m_width(width), m_height(height), m_values(std::size_t(width) * height, 0.0f) {}
  int width() const { return m_width; }
  int height() const { return m_height; }
  float& at(int x, int y) { return m_values[std::size_t(y) * m_width + x]; }
  float at(int x, int y) const { return m_values[std::size_t(y) * m_width + x]; }
  // 0 outside the plane.
  float sample(int x, int y) const;

  // Separable Gaussian blur; sigma in pixels (0 leaves the plane as it is).
  // Values beyond the edges count as 0, so a glow fades out at the border.
  void blur(float sigma);
  // Each value becomes the largest within radius pixels (a disc), the
  // outline of a mask grown by radius.
  Plane dilated(int radius) const;

 private:
  int m_width;
  int m_height;
  std::vector<float> m_values;
};

class Canvas {
 public:
  Canvas(int width, int height) : m_width(width), m_height(height), m_pixels(std::size_t(width) * height) {}
  int width() const { return m_width; }
  int height() const { return m_height; }
  Rgba& at(int x, int y) { return m_pixels[std::size_t(y) * m_width + x]; }
  const Rgba& at(int x, int y) const { return m_pixels[std::size_t(y) * m_width + x]; }

  // Premultiplied source over the pixel.
  void over(int x, int y, Rgba source);
  // Light added to the pixel: colour and alpha add, alpha saturates at 1.
  void add(int x, int y, Rgba source);
  // Every pixel over an opaque background: the result is opaque.
  void flattenOnto(Rgb background);

 private:
  int m_width;
  int m_height;
  std::vector<Rgba> m_pixels;
};

// Quantises v (0 ... 1) to a byte with a little deterministic noise (at most
// half a step either way, hashed from the pixel and channel) so that long
// gradients do not show bands.
std::uint8_t ditheredByte(float v, int x, int y, int channel);
