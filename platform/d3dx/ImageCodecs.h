#pragma once
// The per-format decoders behind ImageDecoder (private to platform/d3dx).
// Each fills width, height, format and fileFormat, and the pixels when
// wantPixels is set; each checks the image size against the limits before it
// allocates anything, and returns D3DXERR_INVALIDDATA for damaged data or
// E_OUTOFMEMORY.
#include "platform/d3dx/ImageDecoder.h"

HRESULT decodePng(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels);
HRESULT decodeJpeg(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels);
HRESULT decodeBmp(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels);
HRESULT decodeTga(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels);

// Within the side and texel limits, and no more texels than maxTexelsPerByte
// for each byte of the file: the most a format's compression can yield, so a
// small file with a lying header never makes a large allocation.
bool imageSizeAllowed(std::uint64_t width, std::uint64_t height, std::size_t fileSize,
                      std::uint64_t maxTexelsPerByte);

// stb_image for TGA and BMP (StbImage.cpp): decodes into dst, width x height
// texels of `channels` bytes (1: grey, 4: R G B A), rows top first. False
// when stb rejects the data or finds another size than the caller's header
// parse did.
bool stbDecodeTgaBmp(const std::uint8_t* data, std::size_t size, int channels, UINT width, UINT height,
                     std::uint8_t* dst);
