#pragma once
// Decodes an image file held in memory into plain pixels: the layer under the
// D3DX image and texture calls. See D3DXImage.h for the formats and the format
// each file reports.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/d3dx/D3DXImage.h"

constexpr UINT kMaxImageSide = 16384;           // texels
constexpr std::uint64_t kMaxImageTexels = 1u << 26;  // width x height

struct DecodedImage {
  UINT width = 0;
  UINT height = 0;
  D3DFORMAT format = D3DFMT_UNKNOWN;  // as the file reports it
  D3DXIMAGE_FILEFORMAT fileFormat = D3DXIFF_BMP;
  // Rows top first, tightly packed (pitch = width x bytesPerTexel()). For a
  // D3DFMT_L8 image one byte per texel; for every other format 32-bit ARGB
  // (D3DCOLOR, little-endian: bytes B, G, R, A), alpha 0xFF where the file
  // has none. Empty after readImageHeader.
  std::vector<std::uint8_t> pixels;

  D3DFORMAT pixelFormat() const { return format == D3DFMT_L8 ? D3DFMT_L8 : D3DFMT_A8R8G8B8; }
  UINT bytesPerTexel() const { return format == D3DFMT_L8 ? 1 : 4; }
  UINT pitch() const { return width * bytesPerTexel(); }
  // One texel as ARGB (an L8 texel l reads as 0xFFllllll).
  D3DCOLOR texel(UINT x, UINT y) const;
};

// The whole image; on failure out is left empty (size 0, no pixels).
HRESULT decodeImage(const void* data, std::size_t size, DecodedImage& out);
// Size and formats only, from the headers.
HRESULT readImageHeader(const void* data, std::size_t size, DecodedImage& out);
