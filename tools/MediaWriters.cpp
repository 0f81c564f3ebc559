#include "tools/MediaWriters.h"

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

bool writePngRgb(const std::string& path, const std::vector<std::uint32_t>& argb, unsigned width, unsigned height,
                 std::string* error) {
  if (argb.size() < std::size_t(width) * height) {
    *error = "frame read-back is smaller than the frame";
    return false;
  }
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) {
    *error = "cannot write '" + path + "': " + std::strerror(errno);
    return false;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  std::vector<png_byte> row(std::size_t(width) * 3);
  bool ok = png && info;
  if (ok && setjmp(png_jmpbuf(png)) == 0) {
    png_init_io(png, f);
    png_set_compression_level(png, 1);  // frames are many; speed over size
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (unsigned y = 0; y < height; ++y) {
      const std::uint32_t* src = argb.data() + std::size_t(y) * width;
      for (unsigned x = 0; x < width; ++x) {
        row[x * 3 + 0] = png_byte(src[x] >> 16);
        row[x * 3 + 1] = png_byte(src[x] >> 8);
        row[x * 3 + 2] = png_byte(src[x]);
      }
      png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
  } else {
    ok = false;
  }
  png_destroy_write_struct(png ? &png : nullptr, info ? &info : nullptr);
  ok = (std::fclose(f) == 0) && ok;
  if (!ok) *error = "cannot write PNG '" + path + "'";
  return ok;
}

namespace {
void put32(std::FILE* f, std::uint32_t v) {
  const unsigned char b[4] = {std::uint8_t(v), std::uint8_t(v >> 8), std::uint8_t(v >> 16), std::uint8_t(v >> 24)};
  std::fwrite(b, 1, 4, f);
}
void put16(std::FILE* f, std::uint16_t v) {
  const unsigned char b[2] = {std::uint8_t(v), std::uint8_t(v >> 8)};
  std::fwrite(b, 1, 2, f);
}
}  // namespace

bool writeWav16(const std::string& path, const std::vector<std::int16_t>& stereo, unsigned sampleRate,
                std::string* error) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) {
    *error = "cannot write '" + path + "': " + std::strerror(errno);
    return false;
  }
  const std::uint32_t dataBytes = std::uint32_t(stereo.size() * 2);
  std::fwrite("RIFF", 1, 4, f);
  put32(f, 36 + dataBytes);
  std::fwrite("WAVEfmt ", 1, 8, f);
  put32(f, 16);
  put16(f, 1);  // PCM
  put16(f, 2);  // channels
  put32(f, sampleRate);
  put32(f, sampleRate * 4);  // bytes per second
  put16(f, 4);               // bytes per frame
  put16(f, 16);              // bits per sample
  std::fwrite("data", 1, 4, f);
  put32(f, dataBytes);
  for (std::int16_t s : stereo) put16(f, std::uint16_t(s));
  const bool ok = !std::ferror(f) && std::fclose(f) == 0;
  if (!ok) *error = "cannot write '" + path + "'";
  return ok;
}
