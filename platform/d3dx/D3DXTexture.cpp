#include "platform/d3dx/D3DXTexture.h"

#include <algorithm>
#include <new>

#include "platform/d3dx/ArgbImage.h"
#include "platform/gfx/D3D9Format.h"

// Every loader decodes into an ArgbImage, keys, crops and scales it there,
// and converts only when it writes into the locked destination.

namespace {

UINT nextPowerOfTwo(UINT v) {
  UINT p = 1;
  while (p < v && p < 0x80000000u) p <<= 1;
  return p;
}

bool isNoFilter(DWORD filter) { return filter != D3DX_DEFAULT && (filter & 0xFF) == D3DX_FILTER_NONE; }
bool isPointFilter(DWORD filter) { return filter != D3DX_DEFAULT && (filter & 0xFF) == D3DX_FILTER_POINT; }

void fillInfo(const DecodedImage& decoded, D3DXIMAGE_INFO* info) {
  if (!info) return;
  info->Width = decoded.width;
  info->Height = decoded.height;
  info->Depth = 1;
  info->MipLevels = 1;
  info->Format = decoded.format;
  info->ResourceType = D3DRTYPE_TEXTURE;
  info->ImageFileFormat = decoded.fileFormat;
}

// Scaled (or, with D3DX_FILTER_NONE, cut or padded with transparent black)
// to w x h.
ArgbImage fitTo(const ArgbImage& image, UINT w, UINT h, DWORD filter) {
  if (!isNoFilter(filter)) return image.resized(w, h, isPointFilter(filter));
  ArgbImage out(w, h);
  for (UINT y = 0; y < std::min(h, image.height); ++y)
    for (UINT x = 0; x < std::min(w, image.width); ++x) out.at(x, y) = image.at(x, y);
  return out;
}

bool rectInside(const RECT& r, UINT width, UINT height) {
  return r.left >= 0 && r.top >= 0 && r.left < r.right && r.top < r.bottom && UINT(r.right) <= width &&
         UINT(r.bottom) <= height;
}

HRESULT writeTextureLevel(IDirect3DTexture9* texture, UINT level, const ArgbImage& image, D3DFORMAT format) {
  D3DLOCKED_RECT locked;
  HRESULT hr = texture->LockRect(level, &locked, nullptr, 0);
  if (FAILED(hr)) return hr;
  const bool written = writeTexels(image, format, static_cast<std::uint8_t*>(locked.pBits), std::size_t(locked.Pitch));
  hr = texture->UnlockRect(level);
  return written ? hr : D3DERR_INVALIDCALL;
}

HRESULT loadSurface(IDirect3DSurface9* surface, const RECT* destRect, const void* data, UINT size,
                    const RECT* srcRect, DWORD filter, D3DCOLOR colorKey, D3DXIMAGE_INFO* info) {
  D3DSURFACE_DESC desc;
  HRESULT hr = surface->GetDesc(&desc);
  if (FAILED(hr)) return hr;
  if (!canWriteFormat(desc.Format)) return D3DERR_INVALIDCALL;
  const RECT whole{0, 0, std::int32_t(desc.Width), std::int32_t(desc.Height)};
  const RECT dest = destRect ? *destRect : whole;
  if (!rectInside(dest, desc.Width, desc.Height)) return D3DERR_INVALIDCALL;
  const bool isWhole = dest.left == 0 && dest.top == 0 && dest.right == whole.right && dest.bottom == whole.bottom;
  if (isCompressedFormat(desc.Format) && !isWhole) return D3DERR_INVALIDCALL;

  DecodedImage decoded;
  hr = decodeImage(data, size, decoded);
  if (FAILED(hr)) return hr;
  ArgbImage image(decoded);
  if (srcRect) {
    if (!rectInside(*srcRect, image.width, image.height)) return D3DERR_INVALIDCALL;
    image = image.cropped(*srcRect);
  }
  if (colorKey != 0) image.applyColorKey(colorKey);
  const ArgbImage fitted = fitTo(image, UINT(dest.right - dest.left), UINT(dest.bottom - dest.top), filter);

  D3DLOCKED_RECT locked;
  hr = surface->LockRect(&locked, isWhole ? nullptr : &dest, 0);
  if (FAILED(hr)) return hr;
  const bool written =
      writeTexels(fitted, desc.Format, static_cast<std::uint8_t*>(locked.pBits), std::size_t(locked.Pitch));
  hr = surface->UnlockRect();
  if (!written) return D3DERR_INVALIDCALL;
  if (SUCCEEDED(hr)) fillInfo(decoded, info);
  return hr;
}

HRESULT createTexture(Device* device, const void* data, UINT size, UINT width, UINT height, UINT mipLevels,
                      DWORD usage, D3DFORMAT format, D3DPOOL pool, DWORD filter, DWORD mipFilter,
                      D3DCOLOR colorKey, D3DXIMAGE_INFO* info, IDirect3DTexture9** result) {
  const bool keepFileFormat = format == D3DFMT_UNKNOWN || format == D3DFMT_FROM_FILE;
  if (!keepFileFormat && !canWriteFormat(format)) return D3DERR_INVALIDCALL;
  DecodedImage decoded;
  HRESULT hr = decodeImage(data, size, decoded);
  if (FAILED(hr)) return hr;
  ArgbImage image(decoded);
  if (colorKey != 0) image.applyColorKey(colorKey);

  auto pickSize = [](UINT requested, UINT fromFile) {
    if (requested == 0 || requested == D3DX_DEFAULT) return nextPowerOfTwo(fromFile);
    if (requested == D3DX_DEFAULT_NONPOW2 || requested == D3DX_FROM_FILE) return fromFile;
    return requested;
  };
  UINT w = pickSize(width, decoded.width), h = pickSize(height, decoded.height);
  D3DCAPS9 caps{};
  if (SUCCEEDED(device->GetDeviceCaps(&caps))) {
    if (caps.MaxTextureWidth != 0) w = std::min<UINT>(w, caps.MaxTextureWidth);
    if (caps.MaxTextureHeight != 0) h = std::min<UINT>(h, caps.MaxTextureHeight);
  }
  const UINT fullChain = fullMipLevelCount(w, h);
  UINT levels = fullChain;
  if (mipLevels == D3DX_FROM_FILE) levels = 1;
  else if (mipLevels != 0 && mipLevels != D3DX_DEFAULT) levels = std::min(mipLevels, fullChain);

  // The requested format first, then the file's, then plain 32-bit.
  const D3DFORMAT fileFormat = decoded.format == D3DFMT_R8G8B8 ? D3DFMT_X8R8G8B8 : decoded.format;
  const D3DFORMAT candidates[] = {keepFileFormat ? fileFormat : format, fileFormat,
                                  fileFormat == D3DFMT_A8R8G8B8 ? D3DFMT_A8R8G8B8 : D3DFMT_X8R8G8B8};
  IDirect3DTexture9* texture = nullptr;
  D3DFORMAT chosen = D3DFMT_UNKNOWN;
  for (std::size_t i = 0; i < 3; ++i) {
    const D3DFORMAT candidate = candidates[i];
    if (std::find(candidates, candidates + i, candidate) != candidates + i) continue;  // already refused
    hr = device->CreateTexture(w, h, levels, usage, candidate, pool, &texture, nullptr);
    if (SUCCEEDED(hr) && texture) {
      chosen = candidate;
      break;
    }
    texture = nullptr;
  }
  if (!texture) return FAILED(hr) ? hr : D3DERR_INVALIDCALL;

  ArgbImage level = fitTo(image, w, h, filter);
  hr = writeTextureLevel(texture, 0, level, chosen);
  const bool generateMips = mipFilter == D3DX_DEFAULT || (mipFilter & 0xFF) != D3DX_FILTER_NONE;
  for (UINT i = 1; SUCCEEDED(hr) && generateMips && i < levels; ++i) {
    level = level.halved();
    hr = writeTextureLevel(texture, i, level, chosen);
  }
  if (FAILED(hr)) {
    texture->Release();
    return hr;
  }
  fillInfo(decoded, info);
  *result = texture;
  return D3D_OK;
}

}  // namespace

HRESULT D3DXLoadSurfaceFromFileInMemory(IDirect3DSurface9* pDestSurface, const PALETTEENTRY* /*pDestPalette*/,
                                        const RECT* pDestRect, const void* pSrcData, UINT SrcDataSize,
                                        const RECT* pSrcRect, DWORD Filter, D3DCOLOR ColorKey,
                                        D3DXIMAGE_INFO* pSrcInfo) {
  if (!pDestSurface || !pSrcData || SrcDataSize == 0) return D3DERR_INVALIDCALL;
  try {
    return loadSurface(pDestSurface, pDestRect, pSrcData, SrcDataSize, pSrcRect, Filter, ColorKey, pSrcInfo);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT D3DXCreateTextureFromFileInMemoryEx(Device* pDevice, const void* pSrcData, UINT SrcDataSize, UINT Width,
                                            UINT Height, UINT MipLevels, DWORD Usage, D3DFORMAT Format,
                                            D3DPOOL Pool, DWORD Filter, DWORD MipFilter, D3DCOLOR ColorKey,
                                            D3DXIMAGE_INFO* pSrcInfo, PALETTEENTRY* /*pPalette*/,
                                            IDirect3DTexture9** ppTexture) {
  if (!ppTexture) return D3DERR_INVALIDCALL;
  *ppTexture = nullptr;
  if (!pDevice || !pSrcData || SrcDataSize == 0) return D3DERR_INVALIDCALL;
  try {
    return createTexture(pDevice, pSrcData, SrcDataSize, Width, Height, MipLevels, Usage, Format, Pool, Filter,
                         MipFilter, ColorKey, pSrcInfo, ppTexture);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT D3DXCreateTextureFromFileInMemory(Device* pDevice, const void* pSrcData, UINT SrcDataSize,
                                          IDirect3DTexture9** ppTexture) {
  return D3DXCreateTextureFromFileInMemoryEx(pDevice, pSrcData, SrcDataSize, D3DX_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT,
                                             0, D3DFMT_UNKNOWN, D3DPOOL_MANAGED, D3DX_DEFAULT, D3DX_DEFAULT, 0,
                                             nullptr, nullptr, ppTexture);
}

HRESULT D3DXCreateCubeTexture(Device* pDevice, UINT Size, UINT MipLevels, DWORD Usage, D3DFORMAT Format,
                              D3DPOOL Pool, IDirect3DCubeTexture9** ppCubeTexture) {
  if (!ppCubeTexture) return D3DERR_INVALIDCALL;
  *ppCubeTexture = nullptr;
  if (!pDevice) return D3DERR_INVALIDCALL;
  const UINT size = (Size == 0 || Size == D3DX_DEFAULT) ? 256 : Size;
  const UINT fullChain = fullMipLevelCount(size, size);
  const UINT levels = (MipLevels == 0 || MipLevels == D3DX_DEFAULT) ? fullChain : std::min(MipLevels, fullChain);
  const D3DFORMAT format = Format == D3DFMT_UNKNOWN ? D3DFMT_A8R8G8B8 : Format;
  return pDevice->CreateCubeTexture(size, levels, Usage, format, Pool, ppCubeTexture, nullptr);
}
