// The generated show as the player will meet it: every file present, every
// picture decodable in the size and format its layer needs, the sequence
// file, the music's length and the movie header; and the same bytes on every
// run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "platform/movie/SwfHeader.h"
#include "platform/sound/Mp3Decoder.h"
#include "tests/showgen/ShowgenOutput.h"
#include "tools/showgen/ShowGenerator.h"

namespace {

using namespace showgen_test;

std::uint8_t alphaOf(D3DCOLOR c) { return std::uint8_t(c >> 24); }
std::uint8_t maxColourOf(D3DCOLOR c) { return std::max({std::uint8_t(c >> 16), std::uint8_t(c >> 8), std::uint8_t(c)}); }

void checkEveryFileWritten(const fs::path& dir, const std::vector<ShowFile>& written) {
  const std::vector<std::string> names = showFileNames();
  ASSERT_EQ(written.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(written[i].name, names[i]);
    const fs::path path = dir / names[i];
    ASSERT_TRUE(fs::is_regular_file(path)) << path;
    EXPECT_EQ(fs::file_size(path), written[i].bytes) << path;
    EXPECT_GT(fs::file_size(path), 0u) << path;
  }
  for (const char* name : {"title.png", "subtitle.png", "credits.png", "backdrop.jpg", "stars.png", "orb.png",
                           "spin.seq", "spin/frame00.png", "spin/frame11.png", "tune.mp3", "intro.swf", "orbit.vxk",
                           "hall.vxk", "sky-space-0.jpg", "sky-dusk-5.jpg", "planet-normal.png"})
    EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
}

void checkPictureFormats(const fs::path& dir) {
  struct Expected {
    const char* name;
    UINT width, height;
    D3DFORMAT format;
    D3DXIMAGE_FILEFORMAT fileFormat;
  };
  const Expected pictures[] = {
      {"title.png", 512, 128, D3DFMT_A8R8G8B8, D3DXIFF_PNG},   {"subtitle.png", 512, 64, D3DFMT_A8R8G8B8, D3DXIFF_PNG},
      {"credits.png", 512, 96, D3DFMT_A8R8G8B8, D3DXIFF_PNG},  {"backdrop.jpg", 800, 600, D3DFMT_X8R8G8B8, D3DXIFF_JPG},
      {"stars.png", 800, 600, D3DFMT_A8R8G8B8, D3DXIFF_PNG},   {"orb.png", 128, 128, D3DFMT_A8R8G8B8, D3DXIFF_PNG},
  };
  for (const Expected& e : pictures) {
    const DecodedImage image = decodeFile(dir / e.name);
    EXPECT_EQ(image.width, e.width) << e.name;
    EXPECT_EQ(image.height, e.height) << e.name;
    EXPECT_EQ(image.format, e.format) << e.name;
    EXPECT_EQ(image.fileFormat, e.fileFormat) << e.name;
  }
}

void checkTitleCardAlpha(const fs::path& dir) {
  for (const char* name : {"title.png", "subtitle.png", "credits.png"}) {
    const DecodedImage image = decodeFile(dir / name);
    ASSERT_EQ(image.format, D3DFMT_A8R8G8B8) << name;
    std::size_t clear = 0, solid = 0, partial = 0;
    for (UINT y = 0; y < image.height; ++y)
      for (UINT x = 0; x < image.width; ++x) {
        const std::uint8_t a = alphaOf(image.texel(x, y));
        (a == 0 ? clear : a == 255 ? solid : partial)++;
      }
    EXPECT_EQ(alphaOf(image.texel(0, 0)), 0) << name;
    EXPECT_EQ(alphaOf(image.texel(image.width - 1, image.height - 1)), 0) << name;
    const std::size_t all = std::size_t(image.width) * image.height;
    EXPECT_GT(clear, all / 8) << name;
    EXPECT_GT(solid, all / 50) << name;  // the letters
    EXPECT_GT(partial, all / 20) << name;  // glow and anti-aliased edges
  }
}

void checkLightPicturesPremultiplied(const fs::path& dir) {
  std::vector<std::string> names = {"stars.png", "orb.png"};
  for (int i = 0; i < 12; ++i) names.push_back("spin/frame" + std::string(i < 10 ? "0" : "") + std::to_string(i) + ".png");
  for (const std::string& name : names) {
    const DecodedImage image = decodeFile(dir / name);
    ASSERT_EQ(image.format, D3DFMT_A8R8G8B8) << name;
    std::size_t lit = 0, dark = 0;
    for (UINT y = 0; y < image.height; ++y)
      for (UINT x = 0; x < image.width; ++x) {
        const D3DCOLOR c = image.texel(x, y);
        // Premultiplied: no channel brighter than the coverage (1 step of
        // rounding allowed).
        ASSERT_LE(maxColourOf(c), alphaOf(c) + 1) << name << " at " << x << "," << y;
        (maxColourOf(c) == 0 ? dark : lit)++;
      }
    EXPECT_GT(lit, 0u) << name;
    EXPECT_GT(dark, 0u) << name;
  }
  const DecodedImage orb = decodeFile(dir / "orb.png");
  EXPECT_EQ(orb.texel(0, 0), 0u);
  EXPECT_GT(alphaOf(orb.texel(64, 64)), 240);  // a white-hot core
  EXPECT_GT(alphaOf(orb.texel(64, 64)), alphaOf(orb.texel(64, 96)));  // falls off outwards
  EXPECT_GT(alphaOf(orb.texel(64, 96)), alphaOf(orb.texel(64, 120)));
}

void checkSpinSequence(const fs::path& dir) {
  std::ifstream seq(dir / "spin.seq");
  std::string line;
  ASSERT_TRUE(std::getline(seq, line));
  EXPECT_EQ(line, "fps = 12");
  std::vector<std::string> frames;
  while (std::getline(seq, line)) frames.push_back(line);
  ASSERT_EQ(frames.size(), 12u);
  std::vector<std::uint32_t> previous;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    char expected[48];
    std::snprintf(expected, sizeof expected, "spin/frame%02zu.png", i);
    EXPECT_EQ(frames[i], expected);
    const DecodedImage image = decodeFile(dir / frames[i]);
    EXPECT_EQ(image.width, 128u);
    EXPECT_EQ(image.height, 128u);
    EXPECT_EQ(image.format, D3DFMT_A8R8G8B8);
    std::vector<std::uint32_t> texels(image.width * image.height);
    for (UINT k = 0; k < texels.size(); ++k) texels[k] = image.texel(k % image.width, k / image.width);
    EXPECT_NE(texels, previous) << "frame " << i << " repeats the one before";
    previous = texels;
  }
}

void checkTune(const fs::path& dir) {
  const Bytes mp3 = readBytes(dir / "tune.mp3");
  // Constant 128 kbps over 64 seconds.
  EXPECT_GE(mp3.size(), 128000u / 8u * 64u);
  EXPECT_LE(mp3.size(), 128000u / 8u * 65u);

  int error = 0;
  auto source = StreamSource::openMemory(mp3.data(), 0, int(mp3.size()), &error);
  ASSERT_NE(source, nullptr) << error;
  auto decoder = Mp3Decoder::open(std::move(source), true, 44100, &error);
  ASSERT_NE(decoder, nullptr) << error;
  EXPECT_EQ(decoder->sourceRate(), 44100);
  EXPECT_EQ(decoder->sourceChannels(), 2);
  EXPECT_NEAR(double(decoder->length()) / 44100.0, 64.0, 0.03);

  std::vector<float> pcm(std::size_t(decoder->length() + 4096) * 2);
  const int frames = decoder->read(pcm.data(), int(pcm.size() / 2));
  EXPECT_FALSE(decoder->failed());
  EXPECT_EQ(frames, decoder->length());
  // Loud in every four-second stretch but the quiet intro's start, within
  // full scale, and silent at the very end; the sides differ (stereo).
  for (int second = 4; second < 64; second += 4) {
    double energy = 0.0;
    for (int f = second * 44100 - 44100; f < second * 44100; ++f) energy += pcm[2 * f] * pcm[2 * f];
    EXPECT_GT(std::sqrt(energy / 44100.0), 0.03) << "second " << second;
  }
  float peak = 0.0f, sideDifference = 0.0f, tail = 0.0f;
  for (int f = 0; f < frames; ++f) {
    peak = std::max({peak, std::fabs(pcm[2 * f]), std::fabs(pcm[2 * f + 1])});
    sideDifference = std::max(sideDifference, std::fabs(pcm[2 * f] - pcm[2 * f + 1]));
    if (f >= frames - 441) tail = std::max(tail, std::fabs(pcm[2 * f]));
  }
  EXPECT_LE(peak, 1.0f);
  EXPECT_GT(peak, 0.5f);
  EXPECT_GT(sideDifference, 0.05f);
  EXPECT_LT(tail, 0.02f);
}

void checkMovie(const fs::path& dir) {
  const Bytes swf = readBytes(dir / "intro.swf");
  SwfHeader header;
  ASSERT_EQ(readSwfHeader(swf.data(), swf.size(), &header), SwfStatus::ok);
  EXPECT_EQ(header.signature, 'F');
  EXPECT_EQ(header.version, 6);
  EXPECT_EQ(header.fileLength, swf.size());
  EXPECT_EQ(header.frameSize.left, 0);
  EXPECT_EQ(header.frameSize.top, 0);
  EXPECT_EQ(header.frameSize.right, 16000);
  EXPECT_EQ(header.frameSize.bottom, 12000);
  EXPECT_EQ(header.widthPixels(), 800);
  EXPECT_EQ(header.heightPixels(), 600);
  EXPECT_DOUBLE_EQ(header.framesPerSecond(), 25.0);
  EXPECT_EQ(header.frameCount, 50);
  // After the header: ShowFrame (code 1, empty), then End.
  ASSERT_EQ(swf.size(), header.headerLength + 4u);
  EXPECT_EQ(Bytes(swf.end() - 4, swf.end()), (Bytes{0x40, 0x00, 0x00, 0x00}));
}

// One test per concern; each ctest process generates the show once (two
// seconds or so), so related checks share a case.
TEST_F(ShowgenOutput, EveryFileIsWrittenAndDecodesInTheFormatItsLayerNeeds) {
  checkEveryFileWritten(*s_dir, *s_written);
  checkPictureFormats(*s_dir);
  checkSpinSequence(*s_dir);
}

TEST_F(ShowgenOutput, TitleCardsAreSeeThroughAndLightPicturesPremultipliedForAdditiveLayers) {
  checkTitleCardAlpha(*s_dir);
  checkLightPicturesPremultiplied(*s_dir);
}

TEST_F(ShowgenOutput, TuneIsSixtyFourSecondsOfStereoAndMovieAnEmpty800x600Movie) {
  checkTune(*s_dir);
  checkMovie(*s_dir);
}

TEST_F(ShowgenOutput, SecondRunWritesTheSameBytes) {
  const fs::path again = freshFolder("again");
  std::vector<ShowFile> written;
  std::string error;
  ASSERT_TRUE(generateShow(again.string(), &written, &error)) << error;
  for (const std::string& name : showFileNames())
    EXPECT_TRUE(readBytes(*s_dir / name) == readBytes(again / name)) << name << " differs between runs";
  fs::remove_all(again);
}

TEST(ShowgenErrors, ReportsAnOutputFolderThatCannotBeMade) {
  const fs::path blocker = freshFolder("blocker");
  std::ofstream(blocker) << "a file where a folder should go";
  std::vector<ShowFile> written;
  std::string error;
  EXPECT_FALSE(generateShow((blocker / "show").string(), &written, &error));
  EXPECT_NE(error.find((blocker / "show").string()), std::string::npos) << error;
  EXPECT_TRUE(written.empty());
  fs::remove(blocker);
}

TEST(ShowgenCommand, UsageErrorWithoutExactlyOneFolderAndFailureForABadFolder) {
  EXPECT_EQ(WEXITSTATUS(std::system(VX_SHOWGEN_PATH " 2>/dev/null")), 2);
  EXPECT_EQ(WEXITSTATUS(std::system(VX_SHOWGEN_PATH " a b 2>/dev/null")), 2);
  EXPECT_EQ(WEXITSTATUS(std::system(VX_SHOWGEN_PATH " /dev/null/show 2>/dev/null")), 1);
}

}  // namespace
