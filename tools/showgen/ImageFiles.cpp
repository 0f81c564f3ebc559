#include "tools/showgen/ImageFiles.h"

#include <cstdio>  // jpeglib.h needs FILE and size_t declared first
#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>
#include <png.h>

namespace {

// libpng and libjpeg report errors by calling back; both callbacks longjmp to
// the setjmp in the encoder with the message kept here. The encoders keep no
// C++ objects with destructors alive between setjmp and the jump.
struct CodecError {
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX] = {};
};

void pngWrite(png_structp png, png_bytep data, png_size_t size) {
  auto* out = static_cast<Bytes*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + size);
}

void pngFlush(png_structp) {}

void pngError(png_structp png, png_const_charp message) {
  auto* error = static_cast<CodecError*>(png_get_error_ptr(png));
  std::snprintf(error->message, sizeof error->message, "%s", message);
  std::longjmp(error->jump, 1);
}

void pngWarning(png_structp, png_const_charp) {}

// Canvas to RGBA bytes, rows top first.
Bytes rgbaBytes(const Canvas& canvas, PngColour colour) {
  Bytes bytes(std::size_t(canvas.width()) * canvas.height() * 4);
  std::uint8_t* p = bytes.data();
  for (int y = 0; y < canvas.height(); ++y) {
    for (int x = 0; x < canvas.width(); ++x, p += 4) {
      const Rgba c = canvas.at(x, y);
      const std::uint8_t a = ditheredByte(c.a, x, y, 3);
      float r = c.r, g = c.g, b = c.b;
      if (colour == PngColour::straight) {
        // Undo the premultiplication with the alpha actually stored, so the
        // colour seen through it is the canvas's.
        const float stored = float(a) / 255.0f;
        const float k = stored > 0.0f ? 1.0f / stored : 0.0f;
        r *= k, g *= k, b *= k;
      }
      p[0] = ditheredByte(r, x, y, 0);
      p[1] = ditheredByte(g, x, y, 1);
      p[2] = ditheredByte(b, x, y, 2);
      p[3] = a;
    }
  }
  return bytes;
}

bool runPngEncoder(png_structp png, png_infop info, const Canvas& canvas, const Bytes& rgba, Bytes* out) {
  auto* error = static_cast<CodecError*>(png_get_error_ptr(png));
  if (setjmp(error->jump)) return false;
  png_set_write_fn(png, out, pngWrite, pngFlush);
  png_set_IHDR(png, info, png_uint_32(canvas.width()), png_uint_32(canvas.height()), 8, PNG_COLOR_TYPE_RGBA,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const std::size_t pitch = std::size_t(canvas.width()) * 4;
  for (int y = 0; y < canvas.height(); ++y) png_write_row(png, rgba.data() + pitch * std::size_t(y));
  png_write_end(png, info);
  return true;
}

void jpegErrorExit(j_common_ptr cinfo) {
  auto* error = static_cast<CodecError*>(cinfo->client_data);
  (*cinfo->err->format_message)(cinfo, error->message);
  std::longjmp(error->jump, 1);
}

bool runJpegEncoder(jpeg_compress_struct* cinfo, const Bytes& rgb, int width, int height, int quality,
                    unsigned char** buffer, unsigned long* size) {
  auto* error = static_cast<CodecError*>(cinfo->client_data);
  if (setjmp(error->jump)) return false;
  jpeg_create_compress(cinfo);
  jpeg_mem_dest(cinfo, buffer, size);
  cinfo->image_width = JDIMENSION(width);
  cinfo->image_height = JDIMENSION(height);
  cinfo->input_components = 3;
  cinfo->in_color_space = JCS_RGB;
  jpeg_set_defaults(cinfo);
  jpeg_set_quality(cinfo, quality, TRUE);
  cinfo->optimize_coding = TRUE;
  jpeg_start_compress(cinfo, TRUE);
  const std::size_t pitch = std::size_t(width) * 3;
  while (cinfo->next_scanline < cinfo->image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(rgb.data() + pitch * cinfo->next_scanline);
    jpeg_write_scanlines(cinfo, &row, 1);
  }
  jpeg_finish_compress(cinfo);
  return true;
}

}  // namespace

bool encodePng(const Canvas& canvas, PngColour colour, Bytes* out, std::string* error) {
  out->clear();
  if (canvas.width() <= 0 || canvas.height() <= 0) {
    *error = "cannot encode an empty picture";
    return false;
  }
  const Bytes rgba = rgbaBytes(canvas, colour);
  CodecError codecError;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &codecError, pngError, pngWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    *error = "libpng: out of memory";
    return false;
  }
  const bool ok = runPngEncoder(png, info, canvas, rgba, out);
  png_destroy_write_struct(&png, &info);
  if (!ok) {
    out->clear();
    *error = std::string("libpng: ") + codecError.message;
  }
  return ok;
}

bool encodeJpeg(const Canvas& canvas, int quality, Bytes* out, std::string* error) {
  out->clear();
  if (canvas.width() <= 0 || canvas.height() <= 0 || quality < 1 || quality > 100) {
    *error = "cannot encode an empty picture or at a quality outside 1 ... 100";
    return false;
  }
  Bytes rgb(std::size_t(canvas.width()) * canvas.height() * 3);
  std::uint8_t* p = rgb.data();
  for (int y = 0; y < canvas.height(); ++y) {
    for (int x = 0; x < canvas.width(); ++x, p += 3) {
      const Rgba c = canvas.at(x, y);
      p[0] = ditheredByte(c.r, x, y, 0);
      p[1] = ditheredByte(c.g, x, y, 1);
      p[2] = ditheredByte(c.b, x, y, 2);
    }
  }
  CodecError codecError;
  jpeg_error_mgr errorManager;
  jpeg_compress_struct cinfo;
  std::memset(&cinfo, 0, sizeof cinfo);
  cinfo.err = jpeg_std_error(&errorManager);
  errorManager.error_exit = jpegErrorExit;
  cinfo.client_data = &codecError;
  unsigned char* buffer = nullptr;  // allocated by libjpeg's memory destination
  unsigned long size = 0;
  const bool ok = runJpegEncoder(&cinfo, rgb, canvas.width(), canvas.height(), quality, &buffer, &size);
  jpeg_destroy_compress(&cinfo);
  if (ok) out->assign(buffer, buffer + size);
  std::free(buffer);
  if (!ok) *error = std::string("libjpeg: ") + codecError.message;
  return ok;
}

bool writeFile(const std::string& path, const Bytes& bytes, std::string* error) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    *error = path + ": " + std::strerror(errno);
    return false;
  }
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const int writeErrno = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) {
    *error = path + ": " + std::strerror(written ? errno : writeErrno);
    return false;
  }
  return true;
}

bool writeFile(const std::string& path, const std::string& text, std::string* error) {
  return writeFile(path, Bytes(text.begin(), text.end()), error);
}
