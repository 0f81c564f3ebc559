#include <png.h>

#include <csetjmp>
#include <cstring>

#include "platform/d3dx/ImageCodecs.h"

// PNG through libpng. libpng reports errors by longjmp back to the setjmp in
// runPngDecoder, which therefore holds no object with a destructor; the
// output lives in the caller's frame. Every error and every read past the end
// of the buffer fails the call; warnings (damaged ancillary chunks, which
// libpng skips) do not. The whole file up to IEND is read, so a file cut
// anywhere fails.

namespace {

// Deflate cannot expand data more than about 1032 times.
constexpr std::uint64_t kMaxInflateRatio = 1040;
constexpr png_alloc_size_t kMaxChunkBytes = 8u << 20;

struct PngSource {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t offset;
};

void pngRead(png_structp png, png_bytep dst, png_size_t count) {
  auto* source = static_cast<PngSource*>(png_get_io_ptr(png));
  if (count > source->size - source->offset) png_error(png, "unexpected end of file");
  std::memcpy(dst, source->data + source->offset, count);
  source->offset += count;
}

void pngError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void pngWarning(png_structp, png_const_charp) {}

// The caller creates and destroys the libpng structs.
HRESULT runPngDecoder(png_structp png, png_infop info, PngSource* source, DecodedImage* out, bool wantPixels) {
  if (setjmp(png_jmpbuf(png))) return D3DXERR_INVALIDDATA;

  png_set_read_fn(png, source, pngRead);
  png_set_user_limits(png, kMaxImageSide, kMaxImageSide);
  png_set_chunk_malloc_max(png, kMaxChunkBytes);
  png_read_info(png, info);

  png_uint_32 width = 0, height = 0;
  int bitDepth = 0, colorType = 0, interlace = 0;
  png_get_IHDR(png, info, &width, &height, &bitDepth, &colorType, &interlace, nullptr, nullptr);
  const std::uint64_t fileRowBytes = (std::uint64_t(width) * png_get_channels(png, info) * bitDepth + 7) / 8;
  if (!imageSizeAllowed(width, height, source->size, 0) ||
      std::uint64_t(height) * (fileRowBytes + 1) > kMaxInflateRatio * source->size)
    return D3DXERR_INVALIDDATA;

  const bool hasTransparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  const bool grey = (colorType & PNG_COLOR_MASK_COLOR) == 0;
  out->width = width;
  out->height = height;
  out->fileFormat = D3DXIFF_PNG;
  if ((colorType & PNG_COLOR_MASK_ALPHA) || hasTransparency)
    out->format = D3DFMT_A8R8G8B8;
  else
    out->format = grey ? D3DFMT_L8 : D3DFMT_X8R8G8B8;
  if (!wantPixels) return D3D_OK;

  // Everything to 8 bits per channel: L8, or B G R A bytes.
  if (bitDepth == 16) png_set_scale_16(png);
  if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (grey && bitDepth < 8) png_set_expand_gray_1_2_4_to_8(png);
  if (hasTransparency) png_set_tRNS_to_alpha(png);
  if (out->format != D3DFMT_L8) {
    if (grey) png_set_gray_to_rgb(png);
    png_set_bgr(png);
    if (out->format == D3DFMT_X8R8G8B8) png_set_filler(png, 0xFF, PNG_FILLER_AFTER);
  }
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != out->pitch()) return D3DXERR_INVALIDDATA;

  // std::bad_alloc here leaves through the caller's handler; no libpng frame
  // is in between.
  out->pixels.resize(std::size_t(out->pitch()) * height);
  for (int pass = 0; pass < passes; ++pass)
    for (png_uint_32 y = 0; y < height; ++y)
      png_read_row(png, out->pixels.data() + std::size_t(y) * out->pitch(), nullptr);
  png_read_end(png, nullptr);
  return D3D_OK;
}

}  // namespace

HRESULT decodePng(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, pngError, pngWarning);
  if (!png) return E_OUTOFMEMORY;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    return E_OUTOFMEMORY;
  }
  PngSource source{data, size, 0};
  HRESULT hr;
  try {
    hr = runPngDecoder(png, info, &source, &out, wantPixels);
  } catch (...) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw;
  }
  png_destroy_read_struct(&png, &info, nullptr);
  return hr;
}
