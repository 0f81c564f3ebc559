#include "platform/d3dx/ImageDecoder.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <string>

#include "TestImages.h"

namespace {

struct FileCase {
  std::string name;
  Bytes file;
  D3DFORMAT format;
  D3DXIMAGE_FILEFORMAT fileFormat;
};

constexpr int kW = 3, kH = 2;

std::vector<FileCase> everyKindOfFile() {
  const auto p = patternPixels(kW, kH);
  PngOptions rgba, trns, palette, paletteTrns, grey, greyTrns, grey1, grey16, rgb16, interlaced;
  rgba.alpha = true;
  trns.transparentFirst = true;
  palette.palette = true;
  paletteTrns.palette = paletteTrns.transparentFirst = true;
  grey.grey = true;
  greyTrns.grey = greyTrns.transparentFirst = true;
  grey1.grey = true;
  grey1.greyBits = 1;
  grey16.grey = true;
  grey16.greyBits = 16;
  rgb16.sixteenBit = true;
  interlaced.interlaced = true;
  return {
      {"jpeg", makeJpeg(kW, kH, p), D3DFMT_X8R8G8B8, D3DXIFF_JPG},
      {"jpeg grey", makeJpeg(kW, kH, p, true), D3DFMT_L8, D3DXIFF_JPG},
      {"jpeg progressive", makeJpeg(kW, kH, p, false, 90, true), D3DFMT_X8R8G8B8, D3DXIFF_JPG},
      {"png rgb", makePng(kW, kH, p), D3DFMT_X8R8G8B8, D3DXIFF_PNG},
      {"png rgba", makePng(kW, kH, p, rgba), D3DFMT_A8R8G8B8, D3DXIFF_PNG},
      {"png rgb trns", makePng(kW, kH, p, trns), D3DFMT_A8R8G8B8, D3DXIFF_PNG},
      {"png palette", makePng(kW, kH, p, palette), D3DFMT_X8R8G8B8, D3DXIFF_PNG},
      {"png palette trns", makePng(kW, kH, p, paletteTrns), D3DFMT_A8R8G8B8, D3DXIFF_PNG},
      {"png grey", makePng(kW, kH, p, grey), D3DFMT_L8, D3DXIFF_PNG},
      {"png grey trns", makePng(kW, kH, p, greyTrns), D3DFMT_A8R8G8B8, D3DXIFF_PNG},
      {"png grey 1-bit", makePng(kW, kH, p, grey1), D3DFMT_L8, D3DXIFF_PNG},
      {"png grey 16-bit", makePng(kW, kH, p, grey16), D3DFMT_L8, D3DXIFF_PNG},
      {"png rgb 16-bit", makePng(kW, kH, p, rgb16), D3DFMT_X8R8G8B8, D3DXIFF_PNG},
      {"png interlaced", makePng(kW, kH, p, interlaced), D3DFMT_X8R8G8B8, D3DXIFF_PNG},
      {"bmp 24", makeBmp(kW, kH, p, 24), D3DFMT_R8G8B8, D3DXIFF_BMP},
      {"bmp 24 top-down", makeBmp(kW, kH, p, 24, true), D3DFMT_R8G8B8, D3DXIFF_BMP},
      {"bmp 32", makeBmp(kW, kH, p, 32), D3DFMT_X8R8G8B8, D3DXIFF_BMP},
      {"bmp 8 palette", makeBmp(kW, kH, p, 8), D3DFMT_X8R8G8B8, D3DXIFF_BMP},
      {"bmp v5 alpha", makeBmpWithAlpha(kW, kH, p), D3DFMT_A8R8G8B8, D3DXIFF_BMP},
      {"tga 24", makeTga(kW, kH, p, 24), D3DFMT_R8G8B8, D3DXIFF_TGA},
      {"tga 24 top-left", makeTga(kW, kH, p, 24, true), D3DFMT_R8G8B8, D3DXIFF_TGA},
      {"tga 32", makeTga(kW, kH, p, 32), D3DFMT_A8R8G8B8, D3DXIFF_TGA},
      {"tga 32 rle", makeTga(kW, kH, p, 32, false, true), D3DFMT_A8R8G8B8, D3DXIFF_TGA},
      {"tga grey", makeTga(kW, kH, p, 8), D3DFMT_L8, D3DXIFF_TGA},
      {"tga 16", makeTga(kW, kH, p, 16), D3DFMT_X8R8G8B8, D3DXIFF_TGA},
  };
}

DecodedImage decodeOk(const Bytes& file) {
  DecodedImage image;
  const HRESULT hr = decodeImage(file.data(), file.size(), image);
  EXPECT_EQ(hr, D3D_OK);
  return image;
}

// The texels as ARGB, rows top first.
std::vector<D3DCOLOR> texels(const DecodedImage& image) {
  std::vector<D3DCOLOR> out;
  for (UINT y = 0; y < image.height; ++y)
    for (UINT x = 0; x < image.width; ++x) out.push_back(image.texel(x, y));
  return out;
}

std::vector<D3DCOLOR> opaque(std::vector<D3DCOLOR> pixels) {
  for (D3DCOLOR& c : pixels) c |= 0xFF000000u;
  return pixels;
}

std::vector<D3DCOLOR> greyOf(const std::vector<D3DCOLOR>& pixels) {
  std::vector<D3DCOLOR> out;
  for (D3DCOLOR c : pixels) {
    const D3DCOLOR l = (c >> 16) & 0xFF;
    out.push_back(0xFF000000u | (l << 16) | (l << 8) | l);
  }
  return out;
}

void expectChannelsNear(D3DCOLOR actual, D3DCOLOR expected, int tolerance, const std::string& where) {
  for (int shift = 0; shift < 32; shift += 8) {
    const int a = int((actual >> shift) & 0xFF), e = int((expected >> shift) & 0xFF);
    EXPECT_LE(std::abs(a - e), tolerance) << where << std::hex << ": got " << actual << ", expected " << expected;
  }
}

}  // namespace

TEST(ImageDecoder, EveryFileReportsItsContractFormatAndSize) {
  for (const FileCase& c : everyKindOfFile()) {
    SCOPED_TRACE(c.name);
    D3DXIMAGE_INFO info{};
    ASSERT_EQ(D3DXGetImageInfoFromFileInMemory(c.file.data(), UINT(c.file.size()), &info), D3D_OK);
    EXPECT_EQ(info.Width, UINT(kW));
    EXPECT_EQ(info.Height, UINT(kH));
    EXPECT_EQ(info.Depth, 1u);
    EXPECT_EQ(info.MipLevels, 1u);
    EXPECT_EQ(info.Format, c.format);
    EXPECT_EQ(info.ResourceType, D3DRTYPE_TEXTURE);
    EXPECT_EQ(info.ImageFileFormat, c.fileFormat);

    const DecodedImage image = decodeOk(c.file);
    EXPECT_EQ(image.width, UINT(kW));
    EXPECT_EQ(image.height, UINT(kH));
    EXPECT_EQ(image.format, c.format);
    EXPECT_EQ(image.fileFormat, c.fileFormat);
    EXPECT_EQ(image.pixels.size(), std::size_t(image.pitch()) * kH);
    EXPECT_EQ(image.pitch(), c.format == D3DFMT_L8 ? UINT(kW) : UINT(kW) * 4);
  }
}

TEST(ImageDecoder, LosslessFilesDecodeToExactArgbTopRowFirst) {
  const auto p = patternPixels(kW, kH);
  PngOptions rgba;
  rgba.alpha = true;
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p, rgba))), p);
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p))), opaque(p));

  // Bottom-up and top-down BMPs, both TGA origins, raw and run-length TGAs.
  EXPECT_EQ(texels(decodeOk(makeBmp(kW, kH, p, 24))), opaque(p));
  EXPECT_EQ(texels(decodeOk(makeBmp(kW, kH, p, 24, true))), opaque(p));
  EXPECT_EQ(texels(decodeOk(makeBmp(kW, kH, p, 8))), opaque(p));
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 24))), opaque(p));
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 24, true))), opaque(p));
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 32))), p);
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 32, true))), p);
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 32, false, true))), p);
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 32, true, true))), p);

  // A 32-bit BMP's fourth byte is not alpha: X8R8G8B8 reads opaque. With an
  // alpha mask it is.
  EXPECT_EQ(texels(decodeOk(makeBmp(kW, kH, p, 32))), opaque(p));
  EXPECT_EQ(texels(decodeOk(makeBmpWithAlpha(kW, kH, p))), p);
}

TEST(ImageDecoder, RunLengthTgaWithLongRunsAndOddSizes) {
  // 130 x 3 of one colour with a few odd texels: runs longer than a packet
  // and packets that cross rows.
  const int w = 130, h = 3;
  std::vector<D3DCOLOR> p(std::size_t(w) * h, 0xFF102030u);
  p[5] = 0xFFFF0000u;
  p[129] = 0xFF00FF00u;
  p[130] = 0xFF0000FFu;
  for (bool topLeft : {false, true}) {
    EXPECT_EQ(texels(decodeOk(makeTga(w, h, p, 24, topLeft, true))), p);
    EXPECT_EQ(texels(decodeOk(makeTga(w, h, p, 32, topLeft, true))), p);
  }
}

TEST(ImageDecoder, GreyFilesDecodeToL8) {
  const auto p = patternPixels(kW, kH);
  PngOptions grey;
  grey.grey = true;
  DecodedImage image = decodeOk(makePng(kW, kH, p, grey));
  EXPECT_EQ(texels(image), greyOf(p));
  EXPECT_EQ(image.pixels[0], std::uint8_t(p[0] >> 16));  // one byte per texel
  grey.greyBits = 16;
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p, grey))), greyOf(p));
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 8))), greyOf(p));
  EXPECT_EQ(texels(decodeOk(makeTga(kW, kH, p, 8, true, true))), greyOf(p));

  // 1-bit grey expands to 0 and 255.
  const std::vector<D3DCOLOR> bw = {0xFF000000u, 0xFFFFFFFFu, 0xFF000000u, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF000000u};
  grey.greyBits = 1;
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, bw, grey))), bw);

  std::vector<D3DCOLOR> flat(64, 0xFF808080u);
  for (int i = 0; i < 32; ++i) flat[i] = 0xFF202020u;
  image = decodeOk(makeJpeg(8, 8, flat, true));
  ASSERT_EQ(image.format, D3DFMT_L8);
  expectChannelsNear(image.texel(0, 0), 0xFF202020u, 2, "top");
  expectChannelsNear(image.texel(7, 7), 0xFF808080u, 2, "bottom");
}

TEST(ImageDecoder, PngTransparencyVariantsBecomeAlpha) {
  const auto p = patternPixels(kW, kH);
  PngOptions options;
  options.palette = options.transparentFirst = true;
  std::vector<D3DCOLOR> expected = opaque(p);
  expected[0] &= 0x00FFFFFFu;  // the first palette entry is transparent
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p, options))), expected);

  options = {};
  options.transparentFirst = true;  // colour key: texels of that exact colour
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p, options))), expected);

  options = {};
  options.grey = options.transparentFirst = true;
  std::vector<D3DCOLOR> greyExpected = greyOf(p);
  const D3DCOLOR key = greyExpected[0];
  for (D3DCOLOR& c : greyExpected)
    if (c == key) c &= 0x00FFFFFFu;  // every texel of the key's grey level
  ASSERT_EQ(greyExpected[3] >> 24, 0u);  // the pattern repeats its first level
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p, options))), greyExpected);

  options = {};
  options.palette = true;
  EXPECT_EQ(texels(decodeOk(makePng(kW, kH, p, options))), opaque(p));
}

TEST(ImageDecoder, PngSixteenBitAndInterlacedMatchPlainFiles) {
  const int w = 11, h = 9;  // odd sizes leave some Adam7 passes nearly empty
  const auto p = patternPixels(w, h);
  PngOptions options;
  options.alpha = true;
  const auto plain = texels(decodeOk(makePng(w, h, p, options)));
  EXPECT_EQ(plain, p);
  options.interlaced = true;
  EXPECT_EQ(texels(decodeOk(makePng(w, h, p, options))), plain);
  options.sixteenBit = true;
  EXPECT_EQ(texels(decodeOk(makePng(w, h, p, options))), plain);
}

TEST(ImageDecoder, JpegColoursAndOrientation) {
  // Four flat 8 x 8 quadrants, no chroma subsampling: colours come back
  // within a few levels and in place.
  const D3DCOLOR quadrant[4] = {0xFFC02010u, 0xFF10C020u, 0xFF2010C0u, 0xFFE0E0E0u};
  std::vector<D3DCOLOR> p;
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x) p.push_back(quadrant[(y / 8) * 2 + x / 8]);
  for (bool progressive : {false, true}) {
    const DecodedImage image = decodeOk(makeJpeg(16, 16, p, false, 100, progressive));
    ASSERT_EQ(image.format, D3DFMT_X8R8G8B8);
    expectChannelsNear(image.texel(2, 2), quadrant[0], 4, "top left");
    expectChannelsNear(image.texel(13, 2), quadrant[1], 4, "top right");
    expectChannelsNear(image.texel(2, 13), quadrant[2], 4, "bottom left");
    expectChannelsNear(image.texel(13, 13), quadrant[3], 4, "bottom right");
    EXPECT_EQ(image.texel(0, 0) >> 24, 0xFFu);
  }
}

TEST(ImageDecoder, TruncatedFilesFailCleanlyAtEveryLength) {
  for (const FileCase& c : everyKindOfFile()) {
    SCOPED_TRACE(c.name);
    for (std::size_t length = 0; length < c.file.size(); ++length) {
      DecodedImage image;
      image.width = 99;
      const HRESULT hr = decodeImage(c.file.data(), length, image);
      ASSERT_EQ(hr, length == 0 ? D3DERR_INVALIDCALL : D3DXERR_INVALIDDATA) << "cut at " << length;
      EXPECT_EQ(image.width, 0u);
      EXPECT_TRUE(image.pixels.empty());
    }
  }
}

TEST(ImageDecoder, FlippedBytesNeverCrashAndNeverLie) {
  // Formats without checksums may decode a damaged file into other pixels;
  // whatever comes back must be a consistent image or INVALIDDATA.
  for (const FileCase& c : everyKindOfFile()) {
    SCOPED_TRACE(c.name);
    for (std::size_t i = 0; i < c.file.size(); ++i) {
      for (std::uint8_t mask : {std::uint8_t(0xFF), std::uint8_t(0x01), std::uint8_t(0x80)}) {
        Bytes damaged = c.file;
        damaged[i] ^= mask;
        DecodedImage image;
        const HRESULT hr = decodeImage(damaged.data(), damaged.size(), image);
        if (FAILED(hr)) {
          ASSERT_EQ(hr, D3DXERR_INVALIDDATA) << "byte " << i;
          continue;
        }
        ASSERT_GT(image.width, 0u);
        ASSERT_LE(std::uint64_t(image.width) * image.height, std::uint64_t(damaged.size()) * 8 * 1040);
        ASSERT_EQ(image.pixels.size(), std::size_t(image.pitch()) * image.height) << "byte " << i;
        DecodedImage header;
        ASSERT_EQ(readImageHeader(damaged.data(), damaged.size(), header), D3D_OK);
        EXPECT_EQ(header.width, image.width);
        EXPECT_EQ(header.format, image.format);
      }
    }
  }
}

namespace {

void putBigEndian32(Bytes& b, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = std::uint8_t(v >> (24 - 8 * i));
}

Bytes withPngSize(Bytes png, std::uint32_t width, std::uint32_t height) {
  putBigEndian32(png, 16, width);
  putBigEndian32(png, 20, height);
  putBigEndian32(png, 29, std::uint32_t(crc32(0, png.data() + 12, 17)));  // IHDR type + data
  return png;
}

Bytes withJpegSize(Bytes jpeg, unsigned width, unsigned height) {
  for (std::size_t i = 2; i + 9 < jpeg.size(); ++i) {
    if (jpeg[i] == 0xFF && (jpeg[i + 1] == 0xC0 || jpeg[i + 1] == 0xC2)) {
      jpeg[i + 5] = std::uint8_t(height >> 8);
      jpeg[i + 6] = std::uint8_t(height);
      jpeg[i + 7] = std::uint8_t(width >> 8);
      jpeg[i + 8] = std::uint8_t(width);
      return jpeg;
    }
  }
  ADD_FAILURE() << "no frame header";
  return jpeg;
}

HRESULT infoResult(const Bytes& file) {
  D3DXIMAGE_INFO info;
  return D3DXGetImageInfoFromFileInMemory(file.data(), UINT(file.size()), &info);
}

HRESULT decodeResult(const Bytes& file) {
  DecodedImage image;
  return decodeImage(file.data(), file.size(), image);
}

}  // namespace

TEST(ImageDecoder, LyingHeadersAreRefusedBeforeAllocating) {
  const auto p = patternPixels(kW, kH);
  const Bytes png = makePng(kW, kH, p);
  const Bytes jpeg = makeJpeg(kW, kH, p);
  const Bytes progressive = makeJpeg(kW, kH, p, false, 90, true);
  const std::vector<Bytes> lies = {
      withPngSize(png, 16384, 16384),  // within the side limit, far beyond what the data can hold
      withPngSize(png, 20000, 1),      // beyond the side limit
      withJpegSize(jpeg, 8000, 8000),
      withJpegSize(progressive, 8000, 8000),
      withJpegSize(jpeg, 65000, 2),
  };
  for (const Bytes& file : lies) {
    EXPECT_EQ(infoResult(file), D3DXERR_INVALIDDATA);
    EXPECT_EQ(decodeResult(file), D3DXERR_INVALIDDATA);
  }

  Bytes bmp = makeBmp(kW, kH, p, 24);
  bmp[18] = 0x00;
  bmp[19] = 0x40;  // width 16384
  EXPECT_EQ(infoResult(bmp), D3DXERR_INVALIDDATA);
  bmp[20] = 0x01;  // width beyond the limit
  EXPECT_EQ(decodeResult(bmp), D3DXERR_INVALIDDATA);

  Bytes tga = makeTga(kW, kH, p, 32, false, true);
  tga[12] = tga[13] = tga[14] = tga[15] = 0xFF;  // 65535 x 65535
  EXPECT_EQ(infoResult(tga), D3DXERR_INVALIDDATA);
  tga[13] = tga[15] = 0x10;  // 4351 x 4351: within limits, runs missing
  EXPECT_EQ(infoResult(tga), D3DXERR_INVALIDDATA);
}

TEST(ImageDecoder, UnsupportedAndInvalidCallsFail) {
  const Bytes dds = {'D', 'D', 'S', ' ', 124, 0, 0, 0, 7, 0x10, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0};
  EXPECT_EQ(decodeResult(dds), D3DXERR_INVALIDDATA);
  const std::string text = "this is not an image file at all, just text";
  EXPECT_EQ(decodeResult(Bytes(text.begin(), text.end())), D3DXERR_INVALIDDATA);

  D3DXIMAGE_INFO info;
  const Bytes png = makePng(kW, kH, patternPixels(kW, kH));
  EXPECT_EQ(D3DXGetImageInfoFromFileInMemory(nullptr, 10, &info), D3DERR_INVALIDCALL);
  EXPECT_EQ(D3DXGetImageInfoFromFileInMemory(png.data(), 0, &info), D3DERR_INVALIDCALL);
  DecodedImage image;
  EXPECT_EQ(decodeImage(nullptr, 0, image), D3DERR_INVALIDCALL);

  // A palette BMP whose texels name entries the palette does not have.
  Bytes bmp = makeBmp(kW, kH, {0xFF000000u, 0xFFFFFFFFu, 0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFF000000u}, 8);
  const std::size_t pixelOffset = bmp[10] | (bmp[11] << 8);
  bmp[pixelOffset] = 7;  // two entries only
  EXPECT_EQ(decodeResult(bmp), D3DXERR_INVALIDDATA);
  bmp[pixelOffset] = 1;
  EXPECT_EQ(decodeResult(bmp), D3D_OK);
}
