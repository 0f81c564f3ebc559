#pragma once
// Sizes of surface formats and flexible vertex formats, as Direct3D lays
// them out in memory. Shared by the back ends (lock pitches, buffer strides)
// and the D3DX layer.
#include "platform/gfx/D3D9Constants.h"

// Bytes per pixel of an uncompressed format; 0 for block-compressed and
// unknown formats.
constexpr UINT formatBytesPerPixel(D3DFORMAT format) {
  switch (format) {
    case D3DFMT_A8R8G8B8:
    case D3DFMT_X8R8G8B8:
    case D3DFMT_D24S8:
    case D3DFMT_D24X8:
    case D3DFMT_INDEX32: return 4;
    case D3DFMT_R8G8B8: return 3;
    case D3DFMT_R5G6B5:
    case D3DFMT_A8L8:
    case D3DFMT_D16:
    case D3DFMT_INDEX16: return 2;
    case D3DFMT_A8:
    case D3DFMT_L8: return 1;
    default: return 0;
  }
}

constexpr bool isCompressedFormat(D3DFORMAT format) { return format == D3DFMT_DXT1 || format == D3DFMT_DXT5; }
constexpr bool isDepthFormat(D3DFORMAT format) {
  return format == D3DFMT_D24S8 || format == D3DFMT_D24X8 || format == D3DFMT_D16;
}
// Formats a texture or plain surface may have.
constexpr bool isColorFormat(D3DFORMAT format) {
  return isCompressedFormat(format) ||
         (formatBytesPerPixel(format) != 0 && !isDepthFormat(format) && format != D3DFMT_INDEX16 &&
          format != D3DFMT_INDEX32);
}

// Bytes from one row to the next of a tightly packed surface of that width;
// for DXT formats, from one row of 4 x 4 blocks to the next (8 bytes per
// DXT1 block, 16 per DXT5 block). 0 for an unknown format.
constexpr UINT surfacePitch(D3DFORMAT format, UINT width) {
  if (format == D3DFMT_DXT1) return ((width + 3) / 4) * 8;
  if (format == D3DFMT_DXT5) return ((width + 3) / 4) * 16;
  return width * formatBytesPerPixel(format);
}

// Rows of pitch bytes the surface holds (block rows for DXT formats).
constexpr UINT surfaceRowCount(D3DFORMAT format, UINT height) {
  return isCompressedFormat(format) ? (height + 3) / 4 : height;
}

// Size in bytes of one level of that size.
constexpr UINT surfaceByteSize(D3DFORMAT format, UINT width, UINT height) {
  return surfacePitch(format, width) * surfaceRowCount(format, height);
}

// Size of mip level `level` of a dimension: halved per level, at least 1.
constexpr UINT mipDimension(UINT size, UINT level) {
  UINT shifted = level >= 32 ? 0 : size >> level;
  return shifted == 0 ? 1 : shifted;
}

// Levels of a full mip chain down to 1 x 1.
constexpr UINT fullMipLevelCount(UINT width, UINT height) {
  UINT largest = width > height ? width : height;
  UINT levels = 1;
  while (largest > 1) {
    largest >>= 1;
    ++levels;
  }
  return levels;
}

// Floats in texture coordinate set `set` of an FVF (1..4).
constexpr UINT fvfTexCoordFloats(DWORD fvf, DWORD set) {
  switch ((fvf >> (set * 2 + 16)) & 3) {
    case D3DFVF_TEXTUREFORMAT1: return 1;
    case D3DFVF_TEXTUREFORMAT3: return 3;
    case D3DFVF_TEXTUREFORMAT4: return 4;
    default: return 2;
  }
}

constexpr UINT fvfTexCoordCount(DWORD fvf) { return (fvf & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT; }

// Bytes per vertex of an FVF; 0 for an FVF without a position.
constexpr UINT fvfVertexSize(DWORD fvf) {
  UINT size = 0;
  switch (fvf & D3DFVF_POSITION_MASK) {
    case D3DFVF_XYZ: size = 12; break;
    case D3DFVF_XYZRHW:
    case D3DFVF_XYZW:
    case D3DFVF_XYZB1: size = 16; break;
    case D3DFVF_XYZB2: size = 20; break;
    case D3DFVF_XYZB3: size = 24; break;
    case D3DFVF_XYZB4: size = 28; break;
    case D3DFVF_XYZB5: size = 32; break;
    default: return 0;
  }
  if (fvf & D3DFVF_NORMAL) size += 12;
  if (fvf & D3DFVF_PSIZE) size += 4;
  if (fvf & D3DFVF_DIFFUSE) size += 4;
  if (fvf & D3DFVF_SPECULAR) size += 4;
  UINT sets = fvfTexCoordCount(fvf);
  for (UINT set = 0; set < sets && set < 8; ++set) size += 4 * fvfTexCoordFloats(fvf, set);
  return size;
}
