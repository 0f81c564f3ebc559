#include <utility>

#include "platform/d3dx/ImageCodecs.h"

// BMP and TGA: the headers are parsed here, to report the file's format and
// to prove that the file holds every byte the pixels need before anything is
// allocated; stb_image then decodes (it would read missing bytes as zeros and
// call a truncated file a success). Files that stb would misread are refused
// here: BMP run-length compression, TGA colour maps that start past entry 0
// or that precede true-colour data.

namespace {

std::uint16_t u16(const std::uint8_t* p) { return std::uint16_t(p[0] | (p[1] << 8)); }
std::uint32_t u32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16) | (std::uint32_t(p[3]) << 24);
}

// Decodes through stb into out.pixels: L8 as is, everything else from R G B A
// to B G R A bytes, alpha forced to 0xFF when the reported format has none.
HRESULT decodePixels(const std::uint8_t* data, std::size_t size, DecodedImage& out) {
  const int channels = out.format == D3DFMT_L8 ? 1 : 4;
  out.pixels.resize(std::size_t(out.pitch()) * out.height);
  if (!stbDecodeTgaBmp(data, size, channels, out.width, out.height, out.pixels.data())) return D3DXERR_INVALIDDATA;
  if (channels == 4) {
    const bool opaque = out.format != D3DFMT_A8R8G8B8;
    for (std::size_t i = 0; i < out.pixels.size(); i += 4) {
      std::swap(out.pixels[i], out.pixels[i + 2]);
      if (opaque) out.pixels[i + 3] = 0xFF;
    }
  }
  return D3D_OK;
}

// --- BMP -----------------------------------------------------------------------

constexpr std::uint32_t kBiRgb = 0;
constexpr std::uint32_t kBiBitfields = 3;

struct BmpLayout {
  std::uint32_t dataOffset;
  std::uint32_t headerSize;
  std::int64_t width;
  std::int64_t height;  // negative: rows stored top first
  std::uint32_t bitsPerPixel;
  std::uint32_t compression;
  std::uint32_t alphaMask;
};

bool parseBmp(const std::uint8_t* data, std::size_t size, BmpLayout& bmp) {
  if (size < 26) return false;
  bmp.dataOffset = u32(data + 10);
  bmp.headerSize = u32(data + 14);
  bmp.compression = kBiRgb;
  bmp.alphaMask = 0;
  std::uint32_t planes;
  if (bmp.headerSize == 12) {  // OS/2 core header: 16-bit sizes, always bottom-up
    bmp.width = u16(data + 18);
    bmp.height = u16(data + 20);
    planes = u16(data + 22);
    bmp.bitsPerPixel = u16(data + 24);
  } else if (bmp.headerSize == 40 || bmp.headerSize == 56 || bmp.headerSize == 108 || bmp.headerSize == 124) {
    if (size < 14 + std::size_t(bmp.headerSize)) return false;
    bmp.width = std::int32_t(u32(data + 18));
    bmp.height = std::int32_t(u32(data + 22));
    planes = u16(data + 26);
    bmp.bitsPerPixel = u16(data + 28);
    bmp.compression = u32(data + 30);
    if (bmp.compression == kBiBitfields && bmp.headerSize >= 56) bmp.alphaMask = u32(data + 66);
  } else {
    return false;
  }
  const std::uint32_t bpp = bmp.bitsPerPixel;
  if (planes != 1 || bmp.width <= 0 || bmp.height == 0) return false;
  if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32) return false;
  if (bmp.compression != kBiRgb && !(bmp.compression == kBiBitfields && (bpp == 16 || bpp == 32))) return false;
  // Bitfield masks follow a 40-byte header.
  const std::uint64_t headersEnd =
      14ull + bmp.headerSize + (bmp.headerSize == 40 && bmp.compression == kBiBitfields ? 12 : 0);
  const std::uint64_t rows = bmp.height < 0 ? std::uint64_t(-bmp.height) : std::uint64_t(bmp.height);
  const std::uint64_t stride = (std::uint64_t(bmp.width) * bpp + 31) / 32 * 4;
  if (!imageSizeAllowed(std::uint64_t(bmp.width), rows, size, 0)) return false;
  return bmp.dataOffset >= headersEnd && bmp.dataOffset + stride * rows <= size;
}

// A palette image may only name entries its palette has (stb would read
// whatever its palette buffer held).
bool bmpIndicesInPalette(const std::uint8_t* data, const BmpLayout& bmp) {
  const std::uint32_t entryBytes = bmp.headerSize == 12 ? 3 : 4;
  const std::uint64_t headersEnd = 14ull + bmp.headerSize;
  std::uint64_t entries = (bmp.dataOffset - headersEnd) / entryBytes;
  if (entries == 0) return false;
  if (entries >= (1u << bmp.bitsPerPixel)) return true;
  const std::uint64_t rows = bmp.height < 0 ? std::uint64_t(-bmp.height) : std::uint64_t(bmp.height);
  const std::uint64_t stride = (std::uint64_t(bmp.width) * bmp.bitsPerPixel + 31) / 32 * 4;
  const std::uint32_t perByte = 8 / bmp.bitsPerPixel;
  const std::uint32_t mask = (1u << bmp.bitsPerPixel) - 1;
  for (std::uint64_t y = 0; y < rows; ++y) {
    const std::uint8_t* row = data + bmp.dataOffset + y * stride;
    for (std::uint64_t x = 0; x < std::uint64_t(bmp.width); ++x) {
      const std::uint32_t shift = (perByte - 1 - std::uint32_t(x % perByte)) * bmp.bitsPerPixel;
      if (((row[x / perByte] >> shift) & mask) >= entries) return false;
    }
  }
  return true;
}

// --- TGA -----------------------------------------------------------------------

struct TgaLayout {
  std::uint32_t type;  // 1 colour-mapped, 2 true colour, 3 grey; + 8 run-length encoded
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t bitsPerPixel;
  std::uint32_t mapBits;  // colour-map entry size, colour-mapped files only
  std::uint64_t dataOffset;
};

// Walks the run-length packets: true when the file holds every texel.
bool tgaRunsComplete(const std::uint8_t* data, std::size_t size, const TgaLayout& tga) {
  const std::uint64_t texelBytes = (tga.bitsPerPixel + 7) / 8;
  const std::uint64_t texels = std::uint64_t(tga.width) * tga.height;
  std::uint64_t offset = tga.dataOffset, count = 0;
  while (count < texels) {
    if (offset >= size) return false;
    const std::uint8_t packet = data[offset++];
    const std::uint64_t run = (packet & 0x7Fu) + 1;
    offset += (packet & 0x80u) ? texelBytes : run * texelBytes;
    count += run;
  }
  return offset <= size;
}

bool parseTga(const std::uint8_t* data, std::size_t size, TgaLayout& tga) {
  if (size < 18) return false;
  const std::uint32_t idLength = data[0], mapType = data[1];
  const std::uint32_t mapFirst = u16(data + 3), mapLength = u16(data + 5);
  tga.type = data[2];
  tga.mapBits = data[7];
  tga.width = u16(data + 12);
  tga.height = u16(data + 14);
  tga.bitsPerPixel = data[16];
  const std::uint32_t baseType = tga.type & ~8u, bpp = tga.bitsPerPixel;
  if (mapType > 1 || (tga.type != baseType && tga.type != baseType + 8) || baseType < 1 || baseType > 3) return false;
  if (baseType == 1) {
    if (mapType != 1 || mapFirst != 0 || mapLength == 0 || (bpp != 8 && bpp != 16)) return false;
    if (tga.mapBits != 15 && tga.mapBits != 16 && tga.mapBits != 24 && tga.mapBits != 32) return false;
  } else {
    if (mapType != 0) return false;
    if (baseType == 2 && bpp != 15 && bpp != 16 && bpp != 24 && bpp != 32) return false;
    if (baseType == 3 && bpp != 8 && bpp != 16) return false;
  }
  if (!imageSizeAllowed(tga.width, tga.height, size, 0)) return false;
  tga.dataOffset = 18ull + idLength + (mapType ? std::uint64_t(mapLength) * ((tga.mapBits + 7) / 8) : 0);
  if (tga.type & 8) return tgaRunsComplete(data, size, tga);
  return tga.dataOffset + std::uint64_t(tga.width) * tga.height * ((bpp + 7) / 8) <= size;
}

D3DFORMAT tgaFormat(const TgaLayout& tga) {
  switch (tga.type & ~8u) {
    case 1: return tga.mapBits == 32 ? D3DFMT_A8R8G8B8 : D3DFMT_X8R8G8B8;
    case 3: return tga.bitsPerPixel == 8 ? D3DFMT_L8 : D3DFMT_A8R8G8B8;  // 16: grey and alpha
    default:
      if (tga.bitsPerPixel == 24) return D3DFMT_R8G8B8;
      return tga.bitsPerPixel == 32 ? D3DFMT_A8R8G8B8 : D3DFMT_X8R8G8B8;  // 15/16: 5-5-5, alpha bit unused
  }
}

}  // namespace

HRESULT decodeBmp(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels) {
  BmpLayout bmp;
  if (!parseBmp(data, size, bmp)) return D3DXERR_INVALIDDATA;
  out.width = UINT(bmp.width);
  out.height = UINT(bmp.height < 0 ? -bmp.height : bmp.height);
  out.fileFormat = D3DXIFF_BMP;
  if (bmp.bitsPerPixel == 24)
    out.format = D3DFMT_R8G8B8;
  else
    out.format = bmp.alphaMask != 0 ? D3DFMT_A8R8G8B8 : D3DFMT_X8R8G8B8;
  if (!wantPixels) return D3D_OK;
  if (bmp.bitsPerPixel <= 8 && !bmpIndicesInPalette(data, bmp)) return D3DXERR_INVALIDDATA;
  return decodePixels(data, size, out);
}

HRESULT decodeTga(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels) {
  TgaLayout tga;
  if (!parseTga(data, size, tga)) return D3DXERR_INVALIDDATA;
  out.width = tga.width;
  out.height = tga.height;
  out.fileFormat = D3DXIFF_TGA;
  out.format = tgaFormat(tga);
  if (!wantPixels) return D3D_OK;
  return decodePixels(data, size, out);
}
