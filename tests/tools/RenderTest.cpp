// vxtool render: frames, sound and timing of a small show, rendered twice.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "platform/d3dx/ImageDecoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

namespace {

// A blue underlay, a half-transparent red overlay moving right at 200 virtual
// pixels per second, and a music-free script of 500 ms.
const char* kShow =
    "createcolor 0 0 255 blue\ncreatecolor 255 0 0 red\nsetlayer blue -1\nsetlayer red 1\n"
    "setlayerpos 1 100 100\nsetlayeralpha 1 0.5\nsetlayerposdelta 1 200 0\nwait 500\n";

std::vector<std::uint32_t> framePixels(const std::string& path, int* width, int* height) {
  const std::string bytes = readText(path);
  DecodedImage image;
  EXPECT_EQ(decodeImage(bytes.data(), bytes.size(), image), 0) << path;
  *width = int(image.width);
  *height = int(image.height);
  std::vector<std::uint32_t> argb(image.pixels.size() / 4);
  std::memcpy(argb.data(), image.pixels.data(), argb.size() * 4);
  return argb;
}

int countFrames(const std::string& dir) {
  int n = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) n += entry.path().extension() == ".png";
  return n;
}

class RenderTest : public ::testing::Test {
 protected:
  void SetUp() override { dir.write("demo.vxc", bytesOf(kShow)); }
  TempDir dir;
};

}  // namespace

TEST_F(RenderTest, RendersTheShowToItsEndWithSoundOfTheSameLength) {
  ToolRun run = vxtool(dir, "render --fps 10 --size 200x150 --frames f --wav s.wav --quiet");
  ASSERT_EQ(run.code, 0) << run.err;
  // The wait starts at 0 and ends in the first frame past 500 ms: 0..600.
  EXPECT_EQ(countFrames(dir.file("f")), 7);
  const std::string wav = readText(dir.file("s.wav"));
  ASSERT_GT(wav.size(), 44u);
  EXPECT_EQ(wav.substr(0, 4), "RIFF");
  EXPECT_EQ(wav.size() - 44, 7u * 4410u * 4u) << "100 ms of 16-bit 44.1 kHz stereo per frame";

  int w = 0, h = 0;
  const auto first = framePixels(dir.file("f/frame000000.png"), &w, &h);
  ASSERT_EQ(w, 200);
  ASSERT_EQ(h, 150);
  EXPECT_EQ(first[std::size_t(5) * 200 + 5] & 0xFFFFFF, 0x0000FFu) << "the underlay covers the screen";
  // The overlay's top-left corner is at virtual (100, 100): (25, 25) here.
  const std::uint32_t mixed = first[std::size_t(60) * 200 + 60] & 0xFFFFFF;
  EXPECT_NEAR(int(mixed >> 16), 127, 3) << std::hex << mixed;
  EXPECT_NEAR(int(mixed & 0xFF), 128, 3) << std::hex << mixed;
  // Frame 3 draws the position of frame 2: 100 + 200 * 0.2 = 140 virtual pixels.
  const auto third = framePixels(dir.file("f/frame000003.png"), &w, &h);
  EXPECT_EQ(third[std::size_t(60) * 200 + 33] & 0xFFFFFF, 0x0000FFu);
  EXPECT_NE(third[std::size_t(60) * 200 + 37] & 0xFFFFFF, 0x0000FFu);
}

TEST_F(RenderTest, FramesAreIdenticalFromRunToRun) {
  ASSERT_EQ(vxtool(dir, "render --fps 25 --size 160x120 --frames a --quiet").code, 0);
  ASSERT_EQ(vxtool(dir, "render --fps 25 --size 160x120 --frames b --quiet").code, 0);
  const int frames = countFrames(dir.file("a"));
  ASSERT_GT(frames, 10);
  for (int k = 0; k < frames; ++k) {
    char name[32];
    std::snprintf(name, sizeof name, "/frame%06d.png", k);
    EXPECT_EQ(readText(dir.file("a") + name), readText(dir.file("b") + name)) << name;
  }
}

TEST_F(RenderTest, FromAndToSelectAStretchOfTheShow) {
  ToolRun run = vxtool(dir, "render --fps 10 --from 200 --to 400 --size 64x48 --frames f --quiet");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(countFrames(dir.file("f")), 3) << "200, 300 and 400 ms";
}

TEST_F(RenderTest, BadShowsAndOptionsFail) {
  dir.write("demo.vxc", bytesOf("settime 0\nnonsense\n"));
  ToolRun bad = vxtool(dir, "render --frames f --quiet");
  EXPECT_EQ(bad.code, 1);
  EXPECT_NE(bad.err.find("Invalid command 'nonsense'"), std::string::npos) << bad.err;
  EXPECT_EQ(vxtool(dir, "render --frames f --fps 0").code, 1);
  EXPECT_EQ(vxtool(dir, "render --frames f --size 10").code, 1);
  EXPECT_EQ(vxtool(dir, "render").code, 1) << "nothing to write";
  EXPECT_EQ(vxtool(dir, "render --frames f --from 500 --to 100").code, 1);
  EXPECT_EQ(vxtool(dir, "render --frames f --archive missing.cfl").code, 1);
}
