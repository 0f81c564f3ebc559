// fuzz_image: the image decoders behind the D3DX calls, on any bytes: the
// decoder itself, the header reader, a texture with a full mip chain and a
// surface load with scaling and format conversion, on the recording device.
//
// Checks beyond the sanitizers: a decoded image has exactly width x height
// texels, and whatever decodes has a header that reads the same.
#include "fuzz/FuzzSupport.h"
#include "platform/d3dx/D3DXTexture.h"
#include "platform/d3dx/ImageDecoder.h"
#include "platform/gfx/recording/RecordingDevice.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DecodedImage image;
  const HRESULT decoded = decodeImage(data, size, image);
  if (SUCCEEDED(decoded)) {
    if (image.width == 0 || image.height == 0 ||
        image.pixels.size() != std::size_t(image.width) * image.height * image.bytesPerTexel()) {
      std::fprintf(stderr, "fuzz_image: %ux%u image with %zu pixel bytes\n", image.width, image.height,
                   image.pixels.size());
      std::abort();
    }
    DecodedImage header;
    D3DXIMAGE_INFO info{};
    if (FAILED(readImageHeader(data, size, header)) || header.width != image.width ||
        header.height != image.height || header.format != image.format ||
        FAILED(D3DXGetImageInfoFromFileInMemory(data, UINT(size), &info)) || info.Format != image.format) {
      std::fprintf(stderr, "fuzz_image: the header reader disagrees with the decoder\n");
      std::abort();
    }
  } else if (!image.pixels.empty() || image.width != 0) {
    std::fprintf(stderr, "fuzz_image: a failed decode left an image behind\n");
    std::abort();
  }

  FuzzDevice device;
  IDirect3DTexture9* texture = nullptr;
  const HRESULT created = D3DXCreateTextureFromFileInMemory(device.get(), data, UINT(size), &texture);
  if (SUCCEEDED(created) != (texture != nullptr)) std::abort();
  if (texture) texture->Release();

  // One surface load per input, the destination format and filter picked by
  // the input's size, so that every conversion gets its share.
  static const D3DFORMAT kFormats[] = {D3DFMT_A8R8G8B8, D3DFMT_R5G6B5, D3DFMT_L8, D3DFMT_DXT1, D3DFMT_A8L8};
  static const DWORD kFilters[] = {D3DX_DEFAULT, D3DX_FILTER_NONE, D3DX_FILTER_POINT, D3DX_FILTER_BOX};
  IDirect3DSurface9* surface = nullptr;
  if (SUCCEEDED(device.get()->CreateOffscreenPlainSurface(12, 8, kFormats[size % 5], D3DPOOL_SYSTEMMEM, &surface,
                                                          nullptr))) {
    D3DXLoadSurfaceFromFileInMemory(surface, nullptr, nullptr, data, UINT(size), nullptr, kFilters[size / 5 % 4],
                                    0xFF000000u, nullptr);
    surface->Release();
  }
  return 0;
}
