#pragma once
// Textures and surfaces from image files, D3DX 9 style, against the device
// interface of platform/gfx. Files are decoded as D3DXImage.h describes;
// texels are converted to the destination format (A8R8G8B8, X8R8G8B8,
// R8G8B8, R5G6B5, L8, A8L8, A8, DXT1 or DXT5; DXT blocks are compressed here).
#include "platform/d3dx/D3DXImage.h"
#include "platform/gfx/Device.h"

// Size and level arguments.
constexpr UINT D3DX_DEFAULT = 0xFFFFFFFFu;
constexpr UINT D3DX_DEFAULT_NONPOW2 = 0xFFFFFFFEu;
constexpr UINT D3DX_FROM_FILE = 0xFFFFFFFDu;
constexpr D3DFORMAT D3DFMT_FROM_FILE = static_cast<D3DFORMAT>(0xFFFFFFFDu);

// Filters: the low byte picks the filter; the flags above it are accepted
// and ignored (no mirroring, dithering or sRGB conversion is done).
constexpr DWORD D3DX_FILTER_NONE = 1;
constexpr DWORD D3DX_FILTER_POINT = 2;
constexpr DWORD D3DX_FILTER_LINEAR = 3;
constexpr DWORD D3DX_FILTER_TRIANGLE = 4;
constexpr DWORD D3DX_FILTER_BOX = 5;
constexpr DWORD D3DX_FILTER_MIRROR_U = 0x00010000;
constexpr DWORD D3DX_FILTER_MIRROR_V = 0x00020000;
constexpr DWORD D3DX_FILTER_MIRROR_W = 0x00040000;
constexpr DWORD D3DX_FILTER_MIRROR = 0x00070000;
constexpr DWORD D3DX_FILTER_DITHER = 0x00080000;

struct PALETTEENTRY {
  BYTE peRed;
  BYTE peGreen;
  BYTE peBlue;
  BYTE peFlags;
};

// Decodes the file into the destination surface (or pDestRect of it),
// converting to the surface's format. pSrcRect picks part of the image (null:
// all of it). When the sizes differ the image is scaled: D3DX_FILTER_NONE
// copies the overlapping top-left part unscaled, D3DX_FILTER_POINT takes the
// nearest texel, every other filter (D3DX_DEFAULT included) averages the
// texels each destination texel covers. ColorKey 0 means none; otherwise
// texels of exactly that ARGB value become transparent black. A DXT surface
// is written whole (pDestRect null or the whole surface). pDestPalette is
// unused and may be null. pSrcInfo, when not null, receives the file's info.
HRESULT D3DXLoadSurfaceFromFileInMemory(IDirect3DSurface9* pDestSurface, const PALETTEENTRY* pDestPalette,
                                        const RECT* pDestRect, const void* pSrcData, UINT SrcDataSize,
                                        const RECT* pSrcRect, DWORD Filter, D3DCOLOR ColorKey,
                                        D3DXIMAGE_INFO* pSrcInfo);

// Width, Height: 0 or D3DX_DEFAULT take the file's size rounded up to a power
// of two; D3DX_DEFAULT_NONPOW2 and D3DX_FROM_FILE the file's size as it is.
// MipLevels: 0 or D3DX_DEFAULT a full chain down to 1 x 1, D3DX_FROM_FILE one
// level, otherwise at most that many. Format: D3DFMT_UNKNOWN or
// D3DFMT_FROM_FILE keep the file's format (R8G8B8 files become X8R8G8B8, the
// texture format devices offer); a format the device cannot create (a DXT5
// request included) falls back to the file's. Filter scales level 0 as in
// D3DXLoadSurfaceFromFileInMemory; MipFilter D3DX_FILTER_NONE leaves the
// lower levels unwritten, any other value box-filters each level from the one
// above. pPalette is unused. On failure *ppTexture is null.
HRESULT D3DXCreateTextureFromFileInMemoryEx(Device* pDevice, const void* pSrcData, UINT SrcDataSize, UINT Width,
                                            UINT Height, UINT MipLevels, DWORD Usage, D3DFORMAT Format,
                                            D3DPOOL Pool, DWORD Filter, DWORD MipFilter, D3DCOLOR ColorKey,
                                            D3DXIMAGE_INFO* pSrcInfo, PALETTEENTRY* pPalette,
                                            IDirect3DTexture9** ppTexture);

// The Ex call with every default: power-of-two size, full mip chain, the
// file's format, D3DPOOL_MANAGED, no colour key.
HRESULT D3DXCreateTextureFromFileInMemory(Device* pDevice, const void* pSrcData, UINT SrcDataSize,
                                          IDirect3DTexture9** ppTexture);

// An empty cube texture. Size 0 or D3DX_DEFAULT gives 256; MipLevels 0 or
// D3DX_DEFAULT a full chain; Format D3DFMT_UNKNOWN gives A8R8G8B8. The
// device's own result is returned when it cannot create it.
HRESULT D3DXCreateCubeTexture(Device* pDevice, UINT Size, UINT MipLevels, DWORD Usage, D3DFORMAT Format,
                              D3DPOOL Pool, IDirect3DCubeTexture9** ppCubeTexture);
