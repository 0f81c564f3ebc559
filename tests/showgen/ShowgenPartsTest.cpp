// The generator's parts on small inputs: the pixel font's layout, PNG and
// JPEG encoding, the MP3 encoder's length bookkeeping and the movie header.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "platform/d3dx/ImageDecoder.h"
#include "platform/movie/SwfHeader.h"
#include "platform/sound/Mp3Decoder.h"
#include "tools/showgen/ImageFiles.h"
#include "tools/showgen/Mp3Encoder.h"
#include "tools/showgen/PixelFont.h"
#include "tools/showgen/SwfFile.h"

namespace {

std::string rowOf(const PixelFont::Bitmap& bitmap, int y) {
  std::string row;
  for (int x = 0; x < bitmap.width; ++x) row += bitmap.at(x, y) ? '#' : '.';
  return row;
}

TEST(ShowgenFont, LaysOutProportionalGlyphsOneColumnApart) {
  EXPECT_EQ(PixelFont::layOut("").width, 0);
  const PixelFont::Bitmap a = PixelFont::layOut("A");
  ASSERT_EQ(a.width, 5);
  EXPECT_EQ(rowOf(a, 0), ".###.");
  EXPECT_EQ(rowOf(a, 3), "#####");
  EXPECT_EQ(rowOf(a, 7), ".....");  // nothing below the baseline
  EXPECT_EQ(PixelFont::layOut("I").width, 3);
  EXPECT_EQ(PixelFont::layOut("AI").width, 5 + 1 + 3);
  EXPECT_EQ(PixelFont::layOut("A A").width, 5 + 1 + PixelFont::kSpaceWidth + 1 + 5);
  const PixelFont::Bitmap ai = PixelFont::layOut("AI");
  EXPECT_EQ(rowOf(ai, 0), ".###..###");
}

TEST(ShowgenFont, DescendersReachBelowTheBaseline) {
  const PixelFont::Bitmap g = PixelFont::layOut("g");
  EXPECT_EQ(rowOf(g, PixelFont::kAscent + 1), ".###.");
  const PixelFont::Bitmap v = PixelFont::layOut("v");
  EXPECT_EQ(rowOf(v, PixelFont::kAscent), ".....");
}

TEST(ShowgenFont, CharactersWithoutAGlyphShowAsAHollowBox) {
  for (const char* text : {"\x01", "\xC3", "~"}) {
    EXPECT_FALSE(PixelFont::hasGlyph(text[0]));
    const PixelFont::Bitmap box = PixelFont::layOut(text);
    ASSERT_EQ(box.width, 5) << int(text[0]);
    EXPECT_EQ(rowOf(box, 0), "#####");
    EXPECT_EQ(rowOf(box, 3), "#...#");
    EXPECT_EQ(rowOf(box, 6), "#####");
  }
  for (char c : std::string("VXPLAY a real-time show player made with vxtool")) EXPECT_TRUE(PixelFont::hasGlyph(c)) << c;
}

Canvas onePixel(Rgba premultipliedColour) {
  Canvas canvas(2, 1);
  canvas.at(0, 0) = premultipliedColour;
  return canvas;
}

DecodedImage decode(const Bytes& bytes) {
  DecodedImage image;
  EXPECT_EQ(decodeImage(bytes.data(), bytes.size(), image), S_OK);
  return image;
}

TEST(ShowgenImageFiles, PngStoresStraightOrPremultipliedColour) {
  const Canvas canvas = onePixel({0.25f, 0.0f, 0.5f, 0.5f});  // straight: 0.5, 0, 1 at half cover
  Bytes bytes;
  std::string error;
  ASSERT_TRUE(encodePng(canvas, PngColour::straight, &bytes, &error)) << error;
  DecodedImage image = decode(bytes);
  ASSERT_EQ(image.format, D3DFMT_A8R8G8B8);
  D3DCOLOR c = image.texel(0, 0);
  EXPECT_NEAR(int(c >> 24), 128, 1);
  EXPECT_NEAR(int((c >> 16) & 0xFF), 127, 1);
  EXPECT_NEAR(int(c & 0xFF), 255, 1);
  EXPECT_EQ(image.texel(1, 0), 0u);  // transparent and black

  ASSERT_TRUE(encodePng(canvas, PngColour::premultiplied, &bytes, &error)) << error;
  c = decode(bytes).texel(0, 0);
  EXPECT_NEAR(int(c >> 24), 128, 1);
  EXPECT_NEAR(int((c >> 16) & 0xFF), 64, 1);
  EXPECT_NEAR(int(c & 0xFF), 128, 1);
}

TEST(ShowgenImageFiles, JpegIsOpaqueAndKeepsTheColour) {
  Canvas canvas(16, 16);
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x) canvas.at(x, y) = {0.8f, 0.4f, 0.2f, 1.0f};
  Bytes bytes;
  std::string error;
  ASSERT_TRUE(encodeJpeg(canvas, 90, &bytes, &error)) << error;
  const DecodedImage image = decode(bytes);
  EXPECT_EQ(image.format, D3DFMT_X8R8G8B8);
  const D3DCOLOR c = image.texel(8, 8);
  EXPECT_NEAR(int((c >> 16) & 0xFF), 204, 3);
  EXPECT_NEAR(int((c >> 8) & 0xFF), 102, 3);
  EXPECT_NEAR(int(c & 0xFF), 51, 3);
}

TEST(ShowgenImageFiles, RefusesEmptyPicturesBadQualitiesAndUnwritablePaths) {
  Bytes bytes;
  std::string error;
  EXPECT_FALSE(encodePng(Canvas(0, 0), PngColour::straight, &bytes, &error));
  EXPECT_FALSE(encodeJpeg(onePixel({}), 0, &bytes, &error));
  EXPECT_FALSE(encodeJpeg(onePixel({}), 101, &bytes, &error));
  error.clear();
  EXPECT_FALSE(writeFile("/nonexistent-folder/x.png", Bytes{1, 2, 3}, &error));
  EXPECT_NE(error.find("/nonexistent-folder/x.png"), std::string::npos) << error;
}

// A 440 Hz tone: its decoded length must equal the encoded length exactly,
// which needs the Info tag's delay and padding in the first frame.
TEST(ShowgenMp3, DecodesToExactlyTheEncodedLength) {
  for (std::size_t frames : {std::size_t(44100), std::size_t(12345)}) {
    StereoTrack track;
    track.samples.resize(frames * 2);
    for (std::size_t f = 0; f < frames; ++f)
      track.samples[2 * f] = track.samples[2 * f + 1] = 0.5f * float(std::sin(2.0 * 3.14159265 * 440.0 * f / 44100.0));
    Bytes mp3;
    std::string error;
    ASSERT_TRUE(encodeMp3(track, 160, &mp3, &error)) << error;
    int code = 0;
    auto decoder = Mp3Decoder::open(StreamSource::openMemory(mp3.data(), 0, int(mp3.size()), &code), true, 44100, &code);
    ASSERT_NE(decoder, nullptr) << code;
    EXPECT_EQ(decoder->length(), std::int64_t(frames));
  }
}

TEST(ShowgenMp3, RefusesABitRateTheFormatDoesNotHaveAndOddSampleCounts) {
  StereoTrack track;
  track.samples.assign(2000, 0.0f);
  Bytes mp3;
  std::string error;
  EXPECT_FALSE(encodeMp3(track, 7, &mp3, &error));
  EXPECT_FALSE(error.empty());
  track.samples.push_back(0.0f);
  EXPECT_FALSE(encodeMp3(track, 160, &mp3, &error));
}

TEST(ShowgenSwf, HeaderReadsBackForSmallAndLargestFrameSizes) {
  struct Case {
    int width, height, fps;
    std::uint16_t frames;
  };
  for (const Case& c : {Case{1, 1, 1, 1}, Case{800, 600, 25, 50}, Case{1638, 3, 255, 65535}}) {
    const Bytes swf = makeSwf(c.width, c.height, c.fps, c.frames, 6);
    SwfHeader header;
    ASSERT_EQ(readSwfHeader(swf.data(), swf.size(), &header), SwfStatus::ok) << c.width;
    EXPECT_EQ(header.widthPixels(), c.width);
    EXPECT_EQ(header.heightPixels(), c.height);
    EXPECT_EQ(header.frameSize.right, c.width * 20);
    EXPECT_EQ(header.frameSize.bottom, c.height * 20);
    EXPECT_DOUBLE_EQ(header.framesPerSecond(), c.fps);
    EXPECT_EQ(header.frameCount, c.frames);
    EXPECT_EQ(header.fileLength, swf.size());
  }
}

}  // namespace
