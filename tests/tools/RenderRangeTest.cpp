// vxtool render of a part of a show: the frames and samples of any range, or
// of any chunk, are byte for byte those of the same frames in one render of
// the whole show.
//
// The show is made of the example show's generated content (vx_showgen) and
// a script of its own at 25 fps, 40 ms and exactly 1764 sample frames a
// frame: an image sequence moving, a picture fading, music started in frame
// 0 at 1.5 s into the tune, the planet scene from frame 9 with a shake and a
// camera switch in frame 19, "settime" jumping the script from 1000 to 2000
// in frame 26, a cross-fade into the hall from frame 37 (inside "wait 500"),
// a volume change in frame 50 and the end in frame 61.
#include "ArchiveTestUtil.h"
#include "RangeTestShow.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

const char* const kScript = kRangeTestScript;
constexpr int kLastFrame = 61;
constexpr std::size_t kWavBytesPerFrame = 1764 * 4;  // stereo, 16-bit
const char* kRender = "render --fps 25 --size 160x120 --quiet ";

std::string frameName(int k) {
  char name[32];
  std::snprintf(name, sizeof name, "frame%06d.png", k);
  return name;
}

// The sample bytes of a WAV that vxtool wrote (a 44-byte RIFF header).
std::string wavData(const std::string& path) {
  const std::string bytes = readText(path);
  return bytes.size() >= 44 && bytes.compare(36, 4, "data") == 0 ? bytes.substr(44) : std::string("no WAV");
}

int countFiles(const std::string& dir) {
  int n = 0;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(dir, ignored)) n += entry.is_regular_file();
  return n;
}

class RenderRangeTest : public ::testing::Test {
 protected:
  // Generated once for the suite, with the full render beside it.
  static void SetUpTestSuite() {
    s_show = std::make_unique<TempDir>();
    const std::string generate = "'" VX_SHOWGEN_PATH "' '" + s_show->path() + "' >/dev/null";
    ASSERT_EQ(std::system(generate.c_str()), 0);
    s_show->write("demo.vxc", bytesOf(kScript));
    const ToolRun full = vxtool(*s_show, std::string(kRender) + "--frames full --wav full.wav");
    ASSERT_EQ(full.code, 0) << full.err;
  }
  static void TearDownTestSuite() { s_show.reset(); }
  void SetUp() override {
    ASSERT_TRUE(s_show);
    ASSERT_EQ(countFiles(s_show->file("full")), kLastFrame + 1) << "the script ends in frame 61";
  }

  // Renders `range` into OUT (frames and WAV) and checks that it holds exactly
  // frames first ... last of the full render, bytes and samples.
  void expectSameAsFull(const std::string& range, const std::string& out, int first, int last) {
    std::filesystem::remove_all(s_show->file(out));
    const ToolRun run = vxtool(*s_show, kRender + range + " --frames " + out + " --wav " + out + "/sound.wav");
    ASSERT_EQ(run.code, 0) << range << ": " << run.err;
    EXPECT_EQ(countFiles(s_show->file(out)), last - first + 2) << range << ": the frames and the WAV";
    for (int k = first; k <= last; ++k)
      EXPECT_TRUE(readText(s_show->file(out + "/" + frameName(k))) == readText(s_show->file("full/" + frameName(k))))
          << range << ": frame " << k;
    const std::string full = wavData(s_show->file("full.wav"));
    const std::string part = wavData(s_show->file(out + "/sound.wav"));
    ASSERT_EQ(part.size(), std::size_t(last - first + 1) * kWavBytesPerFrame) << range;
    EXPECT_TRUE(part == full.substr(std::size_t(first) * kWavBytesPerFrame, part.size())) << range << ": samples";
  }

  static std::unique_ptr<TempDir> s_show;
};
std::unique_ptr<TempDir> RenderRangeTest::s_show;

}  // namespace

TEST_F(RenderRangeTest, RangesHoldTheFramesAndSamplesOfTheFullRender) {
  // On the time of a "waituntil" (frame 8 at 320 ms; it lets the script on
  // in frame 9), with the music playing since frame 0.
  expectSameAsFull("--from 320 --to 600", "on-command", 8, 15);
  // From the frame of the "settime" jump, after the shake and the camera
  // switch; the sequence has stepped on all the while.
  expectSameAsFull("--frames-from 26 --frames-to 30", "at-settime", 26, 30);
  // Inside "wait 500" and the cross-fade (times between frames: 1590 ms
  // starts at frame 40, 1770 ms ends at frame 44).
  expectSameAsFull("--from 1590 --to 1770", "in-fade", 40, 44);
  // After the volume change, to the end of the script.
  expectSameAsFull("--frames-from 55", "to-end", 55, kLastFrame);
}

TEST_F(RenderRangeTest, ChunksTileTheShowWithoutGapsOrOverlaps) {
  // 62 frames in 3 chunks: 0-19, 20-40, 41-61.
  expectSameAsFull("--chunk 1/3", "chunk1", 0, 19);
  expectSameAsFull("--chunk 2/3", "chunk2", 20, 40);
  expectSameAsFull("--chunk 3/3", "chunk3", 41, kLastFrame);
  // With an end, the chunks divide the frames up to it.
  expectSameAsFull("--chunk 2/2 --to 400", "half", 5, 10);

  // Joined in any order: the whole render's frames and its WAV, byte for byte.
  ToolRun gap = vxtool(*s_show, "join chunk3 chunk1 --frames joined --wav joined.wav");
  EXPECT_EQ(gap.code, 1);
  EXPECT_NE(gap.err.find("no chunk holds frame000020.png"), std::string::npos) << gap.err;
  ToolRun overlap = vxtool(*s_show, "join chunk1 half --wav joined.wav");
  EXPECT_NE(overlap.err.find("both hold frame000005.png"), std::string::npos) << overlap.err;
  EXPECT_FALSE(std::filesystem::exists(s_show->file("joined.wav"))) << "nothing written on a refusal";

  ToolRun join = vxtool(*s_show, "join chunk3 chunk1 chunk2 --frames joined --wav joined.wav");
  ASSERT_EQ(join.code, 0) << join.err;
  EXPECT_EQ(countFiles(s_show->file("joined")), kLastFrame + 1);
  for (int k = 0; k <= kLastFrame; ++k)
    EXPECT_TRUE(readText(s_show->file("joined/" + frameName(k))) == readText(s_show->file("full/" + frameName(k))))
        << "joined frame " << k;
  EXPECT_TRUE(readText(s_show->file("joined.wav")) == readText(s_show->file("full.wav"))) << "the joined WAV";
  EXPECT_EQ(countFiles(s_show->file("chunk2")), 1) << "the frames were moved, the chunk's sound.wav stays";

  // What the user has is not replaced without --force.
  expectSameAsFull("--chunk 1/3", "again", 0, 19);
  ToolRun again = vxtool(*s_show, "join again --frames joined");
  EXPECT_EQ(again.code, 1);
  EXPECT_NE(again.err.find("frame000000.png' exists"), std::string::npos) << again.err;
  EXPECT_EQ(countFiles(s_show->file("again")), 21) << "no frame moved";
  EXPECT_EQ(vxtool(*s_show, "join again --wav joined.wav").code, 1);
  EXPECT_EQ(vxtool(*s_show, "join again --frames joined --wav joined.wav --force").code, 0);
  EXPECT_EQ(vxtool(*s_show, "join --frames x").code, 1) << "no chunks";
  EXPECT_EQ(vxtool(*s_show, "join again").code, 1) << "nothing to write";
  EXPECT_EQ(vxtool(*s_show, "join again --video v.mp4").code, 1) << "a video needs --fps";
}

TEST_F(RenderRangeTest, RefusesRangesThatCannotBeRendered) {
  const auto refused = [](const std::string& args, const std::string& says) {
    const ToolRun run = vxtool(*s_show, kRender + args + " --frames refused");
    EXPECT_EQ(run.code, 1) << args;
    EXPECT_NE(run.err.find(says), std::string::npos) << args << ": " << run.err;
  };
  refused("--frames-from 70", "the show ends at frame 61 (2440 ms), before the range starts");
  refused("--from 100 --frames-from 3", "--from or --frames-from");
  refused("--to 100 --frames-to 3", "--to or --frames-to");
  refused("--frames-from 5 --frames-to 4", "no frame");
  refused("--frames-from -1", "bad --frames-from");
  refused("--frames-to 1e3", "bad --frames-to");
  refused("--chunk 1/3 --from 40", "drop --from");
  for (const char* bad : {"0/3", "4/3", "1/0", "1", "a/b", "1/3x", "-1/3", "1/ 3"}) refused(std::string("--chunk '") + bad + "'", "bad --chunk");
  refused("--chunk 3/70", "the show has 62 frames, fewer than 70 chunks");
  refused("--from 5000000000", "between 0 and 4294967295 ms");
}
