#include <cstdio>  // jpeglib.h needs FILE and size_t declared first

#include <jpeglib.h>

#include <csetjmp>

#include "platform/d3dx/ImageCodecs.h"

// JPEG through libjpeg(-turbo). Its default error handler ends the process;
// here errors and warnings both longjmp back to runJpegDecoder (a warning is
// corrupt or truncated data: libjpeg would pad the image and go on). The
// decompressor state and the scratch row live in JpegContext, in the caller's
// frame, so nothing that the jump skips owns memory.

namespace {

// Even a progressive file needs at least one bit per 8 x 8 block of its
// least-sampled component (factor 4 x 4 below the largest): 64 x 16 texels.
constexpr std::uint64_t kMaxTexelsPerByte = 8 * 64 * 16;
// libjpeg's own working memory (the coefficient buffer of a progressive file).
constexpr long kMaxWorkingMemory = 512L << 20;

struct JpegContext {
  jpeg_decompress_struct cinfo;
  jpeg_error_mgr errorManager;
  std::jmp_buf jump;
  std::vector<std::uint8_t> cmykRow;
};

void jpegErrorExit(j_common_ptr cinfo) {
  // errorManager is not the first member, so find the context from client_data.
  std::longjmp(static_cast<JpegContext*>(cinfo->client_data)->jump, 1);
}

void jpegEmitMessage(j_common_ptr cinfo, int level) {
  if (level < 0) jpegErrorExit(cinfo);  // -1: a warning; 0 and up: trace output
}

// Adobe writes CMYK inverted (0 = full ink); other writers do not.
void cmykToBgra(const std::uint8_t* cmyk, std::uint8_t* bgra, UINT width, bool inverted) {
  for (UINT x = 0; x < width; ++x, cmyk += 4, bgra += 4) {
    unsigned c = cmyk[0], m = cmyk[1], y = cmyk[2], k = cmyk[3];
    if (!inverted) {
      c = 255 - c;
      m = 255 - m;
      y = 255 - y;
      k = 255 - k;
    }
    bgra[0] = std::uint8_t((y * k + 127) / 255);
    bgra[1] = std::uint8_t((m * k + 127) / 255);
    bgra[2] = std::uint8_t((c * k + 127) / 255);
    bgra[3] = 0xFF;
  }
}

HRESULT runJpegDecoder(JpegContext* context, const std::uint8_t* data, std::size_t size, DecodedImage* out,
                       bool wantPixels) {
  jpeg_decompress_struct* cinfo = &context->cinfo;
  if (setjmp(context->jump)) return D3DXERR_INVALIDDATA;

  // Created here, after the jump target exists: creation itself can fail.
  jpeg_create_decompress(cinfo);
  jpeg_mem_src(cinfo, data, static_cast<unsigned long>(size));
  jpeg_read_header(cinfo, TRUE);
  if (!imageSizeAllowed(cinfo->image_width, cinfo->image_height, size, kMaxTexelsPerByte))
    return D3DXERR_INVALIDDATA;

  out->width = cinfo->image_width;
  out->height = cinfo->image_height;
  out->fileFormat = D3DXIFF_JPG;
  out->format = cinfo->jpeg_color_space == JCS_GRAYSCALE ? D3DFMT_L8 : D3DFMT_X8R8G8B8;
  if (!wantPixels) return D3D_OK;

  const bool cmyk = cinfo->jpeg_color_space == JCS_CMYK || cinfo->jpeg_color_space == JCS_YCCK;
  if (out->format == D3DFMT_L8)
    cinfo->out_color_space = JCS_GRAYSCALE;
  else
    cinfo->out_color_space = cmyk ? JCS_CMYK : JCS_EXT_BGRA;  // BGRA bytes: ARGB D3DCOLORs, alpha 0xFF
  cinfo->mem->max_memory_to_use = kMaxWorkingMemory;
  jpeg_start_decompress(cinfo);
  if (cinfo->output_width != out->width || cinfo->output_height != out->height) return D3DXERR_INVALIDDATA;

  out->pixels.resize(std::size_t(out->pitch()) * out->height);
  if (cmyk) context->cmykRow.resize(std::size_t(out->width) * 4);
  while (cinfo->output_scanline < cinfo->output_height) {
    std::uint8_t* row = out->pixels.data() + std::size_t(cinfo->output_scanline) * out->pitch();
    JSAMPROW target = cmyk ? context->cmykRow.data() : row;
    if (jpeg_read_scanlines(cinfo, &target, 1) != 1) return D3DXERR_INVALIDDATA;
    if (cmyk) cmykToBgra(context->cmykRow.data(), row, out->width, cinfo->saw_Adobe_marker);
  }
  jpeg_finish_decompress(cinfo);
  return D3D_OK;
}

}  // namespace

HRESULT decodeJpeg(const std::uint8_t* data, std::size_t size, DecodedImage& out, bool wantPixels) {
  JpegContext context{};  // zeroed: destroying a never-created decompressor is then harmless
  context.cinfo.err = jpeg_std_error(&context.errorManager);
  context.errorManager.error_exit = jpegErrorExit;
  context.errorManager.emit_message = jpegEmitMessage;
  context.cinfo.client_data = &context;  // kept by jpeg_create_decompress
  HRESULT hr;
  try {
    hr = runJpegDecoder(&context, data, size, &out, wantPixels);
  } catch (...) {
    jpeg_destroy_decompress(&context.cinfo);
    throw;
  }
  jpeg_destroy_decompress(&context.cinfo);
  return hr;
}
