#include "platform/d3dx/ImageDecoder.h"

#include <cstring>
#include <new>

#include "platform/d3dx/ImageCodecs.h"

// The file type is told by its signature; TGA has none, so whatever is not
// recognised is tried as TGA, whose header checks reject almost anything else.

D3DCOLOR DecodedImage::texel(UINT x, UINT y) const {
  const std::size_t offset = (std::size_t(y) * width + x) * bytesPerTexel();
  if (format == D3DFMT_L8) {
    const D3DCOLOR l = pixels[offset];
    return 0xFF000000u | (l << 16) | (l << 8) | l;
  }
  return D3DCOLOR(pixels[offset]) | (D3DCOLOR(pixels[offset + 1]) << 8) | (D3DCOLOR(pixels[offset + 2]) << 16) |
         (D3DCOLOR(pixels[offset + 3]) << 24);
}

bool imageSizeAllowed(std::uint64_t width, std::uint64_t height, std::size_t fileSize,
                      std::uint64_t maxTexelsPerByte) {
  if (width == 0 || height == 0 || width > kMaxImageSide || height > kMaxImageSide) return false;
  const std::uint64_t texels = width * height;
  if (texels > kMaxImageTexels) return false;
  return maxTexelsPerByte == 0 || texels / maxTexelsPerByte <= fileSize;
}

namespace {

HRESULT decode(const void* data, std::size_t size, DecodedImage& out, bool wantPixels) {
  out = DecodedImage{};
  if (!data || size == 0) return D3DERR_INVALIDCALL;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  static const std::uint8_t pngSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};

  HRESULT hr;
  try {
    if (size >= 8 && std::memcmp(bytes, pngSignature, 8) == 0)
      hr = decodePng(bytes, size, out, wantPixels);
    else if (size >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF)
      hr = decodeJpeg(bytes, size, out, wantPixels);
    else if (size >= 2 && bytes[0] == 'B' && bytes[1] == 'M')
      hr = decodeBmp(bytes, size, out, wantPixels);
    else if (size >= 4 && std::memcmp(bytes, "DDS ", 4) == 0)
      hr = D3DXERR_INVALIDDATA;
    else
      hr = decodeTga(bytes, size, out, wantPixels);
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  }
  if (FAILED(hr)) out = DecodedImage{};
  return hr;
}

}  // namespace

HRESULT decodeImage(const void* data, std::size_t size, DecodedImage& out) { return decode(data, size, out, true); }

HRESULT readImageHeader(const void* data, std::size_t size, DecodedImage& out) {
  return decode(data, size, out, false);
}

HRESULT D3DXGetImageInfoFromFileInMemory(const void* pSrcData, UINT SrcDataSize, D3DXIMAGE_INFO* pSrcInfo) {
  if (!pSrcData || SrcDataSize == 0) return D3DERR_INVALIDCALL;
  DecodedImage image;
  const HRESULT hr = readImageHeader(pSrcData, SrcDataSize, image);
  if (FAILED(hr)) return hr;
  if (pSrcInfo) {
    pSrcInfo->Width = image.width;
    pSrcInfo->Height = image.height;
    pSrcInfo->Depth = 1;
    pSrcInfo->MipLevels = 1;
    pSrcInfo->Format = image.format;
    pSrcInfo->ResourceType = D3DRTYPE_TEXTURE;
    pSrcInfo->ImageFileFormat = image.fileFormat;
  }
  return D3D_OK;
}
