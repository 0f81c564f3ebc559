#pragma once
// Image files in memory, D3DX 9 style: what a file holds (size and the
// Direct3D format it reports) without decoding its pixels.
//
// Supported files: JPEG (libjpeg), PNG (libpng), BMP and TGA (stb_image).
// The format a file reports is a contract the image layers rely on:
//   JPEG                                   -> D3DFMT_X8R8G8B8 (grey: D3DFMT_L8)
//   PNG without alpha                      -> D3DFMT_X8R8G8B8 (grey: D3DFMT_L8)
//   PNG with an alpha channel or tRNS      -> D3DFMT_A8R8G8B8
//   BMP 24-bit, TGA 24-bit                 -> D3DFMT_R8G8B8
//   BMP 32-bit                             -> D3DFMT_X8R8G8B8 (A8R8G8B8 with an alpha mask)
//   TGA 32-bit                             -> D3DFMT_A8R8G8B8
//   TGA 8-bit grey                         -> D3DFMT_L8
//   palette and 16-bit BMP / TGA           -> D3DFMT_X8R8G8B8, or A8R8G8B8 when they carry alpha
// Damaged, truncated and unsupported files (DDS included) give
// D3DXERR_INVALIDDATA; a null pointer or an empty buffer D3DERR_INVALIDCALL.
// Images are limited to 16384 texels a side and 2^26 texels in all.
#include "platform/gfx/D3D9Constants.h"

enum D3DXIMAGE_FILEFORMAT : DWORD {
  D3DXIFF_BMP = 0,
  D3DXIFF_JPG = 1,
  D3DXIFF_TGA = 2,
  D3DXIFF_PNG = 3,
  D3DXIFF_DDS = 4,
  D3DXIFF_PPM = 5,
  D3DXIFF_DIB = 6,
  D3DXIFF_HDR = 7,
  D3DXIFF_PFM = 8,
};

struct D3DXIMAGE_INFO {
  UINT Width;
  UINT Height;
  UINT Depth;       // 1 for every supported file
  UINT MipLevels;   // 1 for every supported file
  D3DFORMAT Format;
  D3DRESOURCETYPE ResourceType;  // D3DRTYPE_TEXTURE for every supported file
  D3DXIMAGE_FILEFORMAT ImageFileFormat;
};

// Reads the file's header only: a file whose pixel data is damaged can pass
// here and fail when loaded.
HRESULT D3DXGetImageInfoFromFileInMemory(const void* pSrcData, UINT SrcDataSize, D3DXIMAGE_INFO* pSrcInfo);
