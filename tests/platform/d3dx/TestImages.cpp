#include "TestImages.h"

#include <cstdio>

#include <jpeglib.h>
#include <png.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace {

std::uint8_t red(D3DCOLOR c) { return std::uint8_t(c >> 16); }
std::uint8_t green(D3DCOLOR c) { return std::uint8_t(c >> 8); }
std::uint8_t blue(D3DCOLOR c) { return std::uint8_t(c); }
std::uint8_t alpha(D3DCOLOR c) { return std::uint8_t(c >> 24); }

void put16(Bytes& b, unsigned v) {
  b.push_back(std::uint8_t(v));
  b.push_back(std::uint8_t(v >> 8));
}
void put32(Bytes& b, std::uint32_t v) {
  put16(b, v & 0xFFFF);
  put16(b, v >> 16);
}

void pngWrite(png_structp png, png_bytep data, png_size_t size) {
  auto* out = static_cast<Bytes*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + size);
}
void pngFlush(png_structp) {}

}  // namespace

std::vector<D3DCOLOR> patternPixels(int width, int height) {
  std::vector<D3DCOLOR> pixels;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      pixels.push_back(D3DCOLOR_ARGB(255 - 20 * (x + y), 40 * x + 10, 60 * y + 5, 200 - 30 * x - 7 * y));
  return pixels;
}

Bytes makePng(int width, int height, const std::vector<D3DCOLOR>& argb, const PngOptions& options) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  Bytes out;
  png_set_write_fn(png, &out, pngWrite, pngFlush);

  int colorType = options.alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
  int bitDepth = options.sixteenBit ? 16 : 8;
  std::vector<D3DCOLOR> palette;
  if (options.grey) {
    colorType = PNG_COLOR_TYPE_GRAY;
    bitDepth = options.greyBits;
  } else if (options.palette) {
    colorType = PNG_COLOR_TYPE_PALETTE;
    for (D3DCOLOR c : argb)
      if (std::find(palette.begin(), palette.end(), c) == palette.end()) palette.push_back(c);
    if (palette.size() > 256) throw std::runtime_error("too many colours for a palette");
  }
  png_set_IHDR(png, info, width, height, bitDepth, colorType,
               options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (options.palette) {
    std::vector<png_color> entries;
    for (D3DCOLOR c : palette) entries.push_back({red(c), green(c), blue(c)});
    png_set_PLTE(png, info, entries.data(), int(entries.size()));
  }
  if (options.transparentFirst) {
    if (options.palette) {
      png_byte trans[1] = {0};
      png_set_tRNS(png, info, trans, 1, nullptr);
    } else {
      png_color_16 key{};
      const int shift = options.grey ? 8 - std::min(options.greyBits, 8) : 0;
      key.gray = png_uint_16(red(argb[0]) >> shift);
      key.red = red(argb[0]);
      key.green = green(argb[0]);
      key.blue = blue(argb[0]);
      if (bitDepth == 16) {
        key.gray = png_uint_16(key.gray * 257);
        key.red = png_uint_16(key.red * 257);
        key.green = png_uint_16(key.green * 257);
        key.blue = png_uint_16(key.blue * 257);
      }
      png_set_tRNS(png, info, nullptr, 0, &key);
    }
  }
  png_write_info(png, info);

  const int passes = png_set_interlace_handling(png);
  std::vector<Bytes> rows(height);
  for (int y = 0; y < height; ++y) {
    Bytes& row = rows[y];
    unsigned bitBuffer = 0, bitCount = 0;
    for (int x = 0; x < width; ++x) {
      const D3DCOLOR c = argb[std::size_t(y) * width + x];
      if (options.grey) {
        if (bitDepth == 16) {
          row.push_back(red(c));
          row.push_back(red(c));
        } else if (bitDepth == 8) {
          row.push_back(red(c));
        } else {
          bitBuffer = (bitBuffer << bitDepth) | (red(c) >> (8 - bitDepth));
          bitCount += bitDepth;
          if (bitCount == 8) {
            row.push_back(std::uint8_t(bitBuffer));
            bitBuffer = bitCount = 0;
          }
        }
      } else if (options.palette) {
        row.push_back(std::uint8_t(std::find(palette.begin(), palette.end(), c) - palette.begin()));
      } else {
        Bytes channels = {red(c), green(c), blue(c)};
        if (options.alpha) channels.push_back(alpha(c));
        for (std::uint8_t v : channels) {
          row.push_back(v);
          if (bitDepth == 16) row.push_back(v);
        }
      }
    }
    if (bitCount) row.push_back(std::uint8_t(bitBuffer << (8 - bitCount)));
  }
  for (int pass = 0; pass < passes; ++pass)
    for (int y = 0; y < height; ++y) png_write_row(png, rows[y].data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return out;
}

Bytes makeJpeg(int width, int height, const std::vector<D3DCOLOR>& argb, bool grey, int quality, bool progressive) {
  jpeg_compress_struct cinfo;
  jpeg_error_mgr err;
  cinfo.err = jpeg_std_error(&err);
  jpeg_create_compress(&cinfo);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&cinfo, &buffer, &size);
  cinfo.image_width = width;
  cinfo.image_height = height;
  cinfo.input_components = grey ? 1 : 3;
  cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, quality, TRUE);
  if (!grey) {
    // No chroma subsampling: flat colour areas come back almost exactly.
    for (int c = 0; c < 3; ++c) cinfo.comp_info[c].h_samp_factor = cinfo.comp_info[c].v_samp_factor = 1;
  }
  if (progressive) jpeg_simple_progression(&cinfo);
  jpeg_start_compress(&cinfo, TRUE);
  Bytes row;
  while (cinfo.next_scanline < cinfo.image_height) {
    row.clear();
    for (int x = 0; x < width; ++x) {
      const D3DCOLOR c = argb[std::size_t(cinfo.next_scanline) * width + x];
      row.push_back(red(c));
      if (!grey) {
        row.push_back(green(c));
        row.push_back(blue(c));
      }
    }
    JSAMPROW rowPointer = row.data();
    jpeg_write_scanlines(&cinfo, &rowPointer, 1);
  }
  jpeg_finish_compress(&cinfo);
  Bytes out(buffer, buffer + size);
  jpeg_destroy_compress(&cinfo);
  std::free(buffer);
  return out;
}

namespace {

Bytes bmpFile(int width, int height, int bitsPerPixel, bool topDown, std::uint32_t headerSize,
              const Bytes& extraHeader, const Bytes& palette, const std::vector<Bytes>& rowsTopFirst) {
  const std::uint32_t stride = ((std::uint32_t(width) * bitsPerPixel + 31) / 32) * 4;
  const std::uint32_t offset = 14 + headerSize + std::uint32_t(palette.size());
  Bytes b = {'B', 'M'};
  put32(b, offset + stride * height);
  put32(b, 0);
  put32(b, offset);
  put32(b, headerSize);
  put32(b, std::uint32_t(width));
  put32(b, std::uint32_t(topDown ? -height : height));
  put16(b, 1);
  put16(b, bitsPerPixel);
  b.insert(b.end(), extraHeader.begin(), extraHeader.end());
  b.resize(14 + headerSize, 0);
  b.insert(b.end(), palette.begin(), palette.end());
  for (int i = 0; i < height; ++i) {
    Bytes row = rowsTopFirst[topDown ? i : height - 1 - i];
    row.resize(stride, 0);
    b.insert(b.end(), row.begin(), row.end());
  }
  return b;
}

}  // namespace

Bytes makeBmp(int width, int height, const std::vector<D3DCOLOR>& argb, int bitsPerPixel, bool topDown) {
  std::vector<D3DCOLOR> palette;
  Bytes paletteBytes;
  std::vector<Bytes> rows(height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const D3DCOLOR c = argb[std::size_t(y) * width + x];
      if (bitsPerPixel == 8) {
        auto it = std::find(palette.begin(), palette.end(), c);
        if (it == palette.end()) {
          palette.push_back(c);
          it = palette.end() - 1;
        }
        rows[y].push_back(std::uint8_t(it - palette.begin()));
      } else {
        rows[y].insert(rows[y].end(), {blue(c), green(c), red(c)});
        if (bitsPerPixel == 32) rows[y].push_back(alpha(c));
      }
    }
  }
  for (D3DCOLOR c : palette) paletteBytes.insert(paletteBytes.end(), {blue(c), green(c), red(c), 0});
  return bmpFile(width, height, bitsPerPixel, topDown, 40, {}, paletteBytes, rows);
}

Bytes makeBmpWithAlpha(int width, int height, const std::vector<D3DCOLOR>& argb) {
  std::vector<Bytes> rows(height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const D3DCOLOR c = argb[std::size_t(y) * width + x];
      rows[y].insert(rows[y].end(), {blue(c), green(c), red(c), alpha(c)});
    }
  Bytes extra;
  put32(extra, 3);  // BI_BITFIELDS
  put32(extra, std::uint32_t(width * height * 4));
  put32(extra, 2835);
  put32(extra, 2835);
  put32(extra, 0);
  put32(extra, 0);
  put32(extra, 0x00FF0000);
  put32(extra, 0x0000FF00);
  put32(extra, 0x000000FF);
  put32(extra, 0xFF000000);
  put32(extra, 0x73524742);  // 'sRGB'
  return bmpFile(width, height, 32, false, 124, extra, {}, rows);
}

Bytes makeTga(int width, int height, const std::vector<D3DCOLOR>& argb, int bitsPerPixel, bool topLeft, bool rle) {
  const bool grey = bitsPerPixel == 8;
  Bytes b = {0, 0, std::uint8_t((grey ? 3 : 2) + (rle ? 8 : 0)), 0, 0, 0, 0, 0, 0, 0, 0, 0};
  put16(b, width);
  put16(b, height);
  b.push_back(std::uint8_t(bitsPerPixel));
  b.push_back(std::uint8_t((bitsPerPixel == 32 ? 8 : 0) | (topLeft ? 0x20 : 0)));

  auto texel = [&](D3DCOLOR c) {
    Bytes t;
    if (grey) {
      t.push_back(red(c));
    } else if (bitsPerPixel == 16) {
      put16(t, ((red(c) >> 3) << 10) | ((green(c) >> 3) << 5) | (blue(c) >> 3));
    } else {
      t.insert(t.end(), {blue(c), green(c), red(c)});
      if (bitsPerPixel == 32) t.push_back(alpha(c));
    }
    return t;
  };
  std::vector<D3DCOLOR> ordered;  // in file order
  for (int i = 0; i < height; ++i) {
    const int y = topLeft ? i : height - 1 - i;
    for (int x = 0; x < width; ++x) ordered.push_back(argb[std::size_t(y) * width + x]);
  }
  if (!rle) {
    for (D3DCOLOR c : ordered) {
      const Bytes t = texel(c);
      b.insert(b.end(), t.begin(), t.end());
    }
    return b;
  }
  // Runs of equal texels become run packets, the rest raw packets.
  std::size_t i = 0;
  while (i < ordered.size()) {
    std::size_t run = 1;
    while (i + run < ordered.size() && run < 128 && ordered[i + run] == ordered[i]) ++run;
    if (run > 1) {
      b.push_back(std::uint8_t(0x80 | (run - 1)));
      const Bytes t = texel(ordered[i]);
      b.insert(b.end(), t.begin(), t.end());
      i += run;
      continue;
    }
    std::size_t raw = 1;
    while (i + raw < ordered.size() && raw < 128 &&
           !(i + raw + 1 < ordered.size() && ordered[i + raw] == ordered[i + raw + 1]))
      ++raw;
    b.push_back(std::uint8_t(raw - 1));
    for (std::size_t k = 0; k < raw; ++k) {
      const Bytes t = texel(ordered[i + k]);
      b.insert(b.end(), t.begin(), t.end());
    }
    i += raw;
  }
  return b;
}
