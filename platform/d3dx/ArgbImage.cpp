#include "platform/d3dx/ArgbImage.h"

#include <algorithm>
#include <cstring>

// stb_dxt compresses 4 x 4 blocks; compiled here with its functions private.
#define STB_DXT_STATIC
#define STB_DXT_IMPLEMENTATION
#include <stb/stb_dxt.h>

namespace {

unsigned channel(D3DCOLOR c, int shift) { return (c >> shift) & 0xFFu; }

std::uint8_t luminance(D3DCOLOR c) {
  // Integer weights of 0.2125, 0.7154, 0.0721 (sum 10000): grey stays exact.
  const unsigned l = (channel(c, 16) * 2125 + channel(c, 8) * 7154 + channel(c, 0) * 721 + 5000) / 10000;
  return std::uint8_t(std::min(l, 255u));
}

void writeDxt(const ArgbImage& image, bool alpha, std::uint8_t* dst, std::size_t pitch) {
  const std::size_t blockBytes = alpha ? 16 : 8;
  for (UINT by = 0; by < image.height; by += 4) {
    std::uint8_t* out = dst + std::size_t(by / 4) * pitch;
    for (UINT bx = 0; bx < image.width; bx += 4, out += blockBytes) {
      // Blocks past the edge repeat the last row and column.
      std::uint8_t rgba[16 * 4];
      for (UINT y = 0; y < 4; ++y)
        for (UINT x = 0; x < 4; ++x) {
          const D3DCOLOR c = image.at(std::min(bx + x, image.width - 1), std::min(by + y, image.height - 1));
          std::uint8_t* p = rgba + (y * 4 + x) * 4;
          p[0] = std::uint8_t(channel(c, 16));
          p[1] = std::uint8_t(channel(c, 8));
          p[2] = std::uint8_t(channel(c, 0));
          p[3] = std::uint8_t(channel(c, 24));
        }
      stb_compress_dxt_block(out, rgba, alpha ? 1 : 0, STB_DXT_HIGHQUAL);
    }
  }
}

}  // namespace

ArgbImage::ArgbImage(const DecodedImage& decoded) : ArgbImage(decoded.width, decoded.height) {
  if (decoded.format == D3DFMT_L8) {
    for (std::size_t i = 0; i < texels.size(); ++i) {
      const D3DCOLOR l = decoded.pixels[i];
      texels[i] = 0xFF000000u | (l << 16) | (l << 8) | l;
    }
  } else {
    std::memcpy(texels.data(), decoded.pixels.data(), texels.size() * 4);  // B G R A bytes = little-endian ARGB
  }
}

ArgbImage ArgbImage::cropped(const RECT& rect) const {
  ArgbImage out(UINT(rect.right - rect.left), UINT(rect.bottom - rect.top));
  for (UINT y = 0; y < out.height; ++y)
    for (UINT x = 0; x < out.width; ++x) out.at(x, y) = at(UINT(rect.left) + x, UINT(rect.top) + y);
  return out;
}

ArgbImage ArgbImage::resized(UINT w, UINT h, bool point) const {
  if (w == width && h == height) return *this;
  ArgbImage out(w, h);
  for (UINT y = 0; y < h; ++y) {
    // Source rows [y0, y1) under destination row y; at least one.
    const UINT y0 = UINT(std::uint64_t(y) * height / h);
    const UINT y1 = point ? y0 + 1 : std::max(y0 + 1, UINT((std::uint64_t(y) + 1) * height / h));
    for (UINT x = 0; x < w; ++x) {
      const UINT x0 = UINT(std::uint64_t(x) * width / w);
      const UINT x1 = point ? x0 + 1 : std::max(x0 + 1, UINT((std::uint64_t(x) + 1) * width / w));
      std::uint64_t sum[4] = {0, 0, 0, 0};
      for (UINT sy = y0; sy < y1; ++sy)
        for (UINT sx = x0; sx < x1; ++sx) {
          const D3DCOLOR c = at(sx, sy);
          for (int k = 0; k < 4; ++k) sum[k] += channel(c, 8 * k);
        }
      const std::uint64_t count = std::uint64_t(y1 - y0) * (x1 - x0);
      D3DCOLOR c = 0;
      for (int k = 0; k < 4; ++k) c |= D3DCOLOR((sum[k] + count / 2) / count) << (8 * k);
      out.at(x, y) = c;
    }
  }
  return out;
}

ArgbImage ArgbImage::halved() const {
  ArgbImage out(std::max(width / 2, 1u), std::max(height / 2, 1u));
  for (UINT y = 0; y < out.height; ++y) {
    const UINT sy0 = std::min(2 * y, height - 1), sy1 = std::min(2 * y + 1, height - 1);
    for (UINT x = 0; x < out.width; ++x) {
      const UINT sx0 = std::min(2 * x, width - 1), sx1 = std::min(2 * x + 1, width - 1);
      const D3DCOLOR a = at(sx0, sy0), b = at(sx1, sy0), c = at(sx0, sy1), d = at(sx1, sy1);
      D3DCOLOR result = 0;
      for (int shift = 0; shift < 32; shift += 8)
        result |= ((channel(a, shift) + channel(b, shift) + channel(c, shift) + channel(d, shift) + 2) / 4) << shift;
      out.at(x, y) = result;
    }
  }
  return out;
}

void ArgbImage::applyColorKey(D3DCOLOR key) {
  for (D3DCOLOR& c : texels)
    if (c == key) c = 0;
}

bool canWriteFormat(D3DFORMAT format) {
  switch (format) {
    case D3DFMT_A8R8G8B8:
    case D3DFMT_X8R8G8B8:
    case D3DFMT_R8G8B8:
    case D3DFMT_R5G6B5:
    case D3DFMT_L8:
    case D3DFMT_A8L8:
    case D3DFMT_A8:
    case D3DFMT_DXT1:
    case D3DFMT_DXT5: return true;
    default: return false;
  }
}

bool writeTexels(const ArgbImage& image, D3DFORMAT format, std::uint8_t* dst, std::size_t pitch) {
  if (format == D3DFMT_DXT1 || format == D3DFMT_DXT5) {
    writeDxt(image, format == D3DFMT_DXT5, dst, pitch);
    return true;
  }
  if (!canWriteFormat(format)) return false;
  for (UINT y = 0; y < image.height; ++y) {
    std::uint8_t* out = dst + std::size_t(y) * pitch;
    for (UINT x = 0; x < image.width; ++x) {
      const D3DCOLOR c = image.at(x, y);
      switch (format) {
        case D3DFMT_A8R8G8B8:
        case D3DFMT_X8R8G8B8: {
          const D3DCOLOR v = format == D3DFMT_X8R8G8B8 ? (c | 0xFF000000u) : c;
          std::memcpy(out, &v, 4);  // little-endian: B G R A
          out += 4;
          break;
        }
        case D3DFMT_R8G8B8:
          *out++ = std::uint8_t(channel(c, 0));
          *out++ = std::uint8_t(channel(c, 8));
          *out++ = std::uint8_t(channel(c, 16));
          break;
        case D3DFMT_R5G6B5: {
          const unsigned v = ((channel(c, 16) * 31 + 127) / 255) << 11 | ((channel(c, 8) * 63 + 127) / 255) << 5 |
                             ((channel(c, 0) * 31 + 127) / 255);
          *out++ = std::uint8_t(v);
          *out++ = std::uint8_t(v >> 8);
          break;
        }
        case D3DFMT_L8: *out++ = luminance(c); break;
        case D3DFMT_A8L8:
          *out++ = luminance(c);
          *out++ = std::uint8_t(channel(c, 24));
          break;
        case D3DFMT_A8: *out++ = std::uint8_t(channel(c, 24)); break;
        default: return false;
      }
    }
  }
  return true;
}
