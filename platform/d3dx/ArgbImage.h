#pragma once
// The working form of an image between decoding and a device surface: 32-bit
// ARGB texels (D3DCOLOR, alpha in the top byte), rows top first. The texture
// loaders crop, resize, colour-key and mip-filter in this form and then write
// it into a locked surface of the destination format.
#include <cstdint>
#include <vector>

#include "platform/d3dx/ImageDecoder.h"

struct ArgbImage {
  UINT width = 0;
  UINT height = 0;
  std::vector<D3DCOLOR> texels;  // width x height

  ArgbImage() = default;
  ArgbImage(UINT w, UINT h) : width(w), height(h), texels(std::size_t(w) * h) {}
  // An L8 image reads as grey with alpha 0xFF.
  explicit ArgbImage(const DecodedImage& decoded);

  D3DCOLOR at(UINT x, UINT y) const { return texels[std::size_t(y) * width + x]; }
  D3DCOLOR& at(UINT x, UINT y) { return texels[std::size_t(y) * width + x]; }

  // The part inside [left, right) x [top, bottom); the caller checks bounds.
  ArgbImage cropped(const RECT& rect) const;
  // Scaled to w x h. point: nearest texel; otherwise each destination texel
  // is the average of the source texels its area covers (a box filter; a
  // magnified image is sampled at the nearest texel either way).
  ArgbImage resized(UINT w, UINT h, bool point) const;
  // The next mip level: half size (at least 1), each texel the rounded
  // average of the 2 x 2 block below it (edge texels repeat for odd sizes).
  ArgbImage halved() const;
  // Texels equal to the key (all four channels) become transparent black.
  void applyColorKey(D3DCOLOR key);
};

// Whether writeTexels can produce that format.
bool canWriteFormat(D3DFORMAT format);
// Converts and stores the image at dst, rows pitch bytes apart (for DXT
// formats: rows of 4 x 4 blocks). X8 formats get 0xFF in the unused byte; L8
// and A8L8 take the luminance 0.2125 R + 0.7154 G + 0.0721 B (grey stays
// exact). Returns false for a format canWriteFormat refuses.
bool writeTexels(const ArgbImage& image, D3DFORMAT format, std::uint8_t* dst, std::size_t pitch);
