#pragma once
// Image files built in memory for the decoder and texture tests: PNG and JPEG
// through the libraries' encoders, BMP and TGA written byte by byte.
// Pixels are given as ARGB D3DCOLORs (or grey bytes), rows top first.
#include <cstdint>
#include <vector>

#include "platform/gfx/D3D9Types.h"

using Bytes = std::vector<std::uint8_t>;

struct PngOptions {
  bool alpha = false;        // RGBA instead of RGB
  bool grey = false;         // grey: the red channel's byte (ignores alpha)
  int greyBits = 8;          // 1, 2, 4, 8 or 16 for grey files
  bool sixteenBit = false;   // 16 bits per colour channel
  bool palette = false;      // colour-mapped (at most 256 distinct colours)
  bool transparentFirst = false;  // tRNS making the first texel's colour transparent
  bool interlaced = false;
};
Bytes makePng(int width, int height, const std::vector<D3DCOLOR>& argb, const PngOptions& options = {});

// grey: one component (the red channel's byte); quality 1..100.
Bytes makeJpeg(int width, int height, const std::vector<D3DCOLOR>& argb, bool grey = false, int quality = 100,
               bool progressive = false);

// bitsPerPixel 24, 32 (BI_RGB, the fourth byte written as given alpha), or 8
// (palette of the distinct colours, in order of first use). topDown writes a
// negative height.
Bytes makeBmp(int width, int height, const std::vector<D3DCOLOR>& argb, int bitsPerPixel, bool topDown = false);
// A 32-bit BMP with a BITMAPV5HEADER and an alpha mask.
Bytes makeBmpWithAlpha(int width, int height, const std::vector<D3DCOLOR>& argb);

// bitsPerPixel 24 or 32 (true colour), 8 (grey: the red channel's byte) or
// 16 (true colour 5-5-5). topLeft sets the top-left origin bit; rle writes
// run-length packets.
Bytes makeTga(int width, int height, const std::vector<D3DCOLOR>& argb, int bitsPerPixel, bool topLeft = false,
              bool rle = false);

// A small test pattern: distinct colour per texel, alpha varying.
std::vector<D3DCOLOR> patternPixels(int width, int height);
