// The preview's session on an off-screen device: seeks, frame steps, pauses
// and reloads land on the frames `vxtool render` writes for the same times,
// with the music on the same sample; a broken show shows its error and
// recovers; the overlay's figures follow the clock and the script.
//
// The show is the range test's: the example show's generated content and a
// script of its own at 25 fps (40 ms and 1764 sample frames a frame), music
// from frame 0 at 1.5 s into the tune, the planet scene from frame 9, a shake
// and a camera switch in frame 19, "settime" in frame 26, a cross-fade from
// frame 37, the end in frame 61.
#include "ArchiveTestUtil.h"
#include "OffscreenDevice.h"
#include "PixelCompare.h"
#include "RangeTestShow.h"
#include "ToolRun.h"
#include "archive/CFLArchive.h"
#include "audio/MP3Player.h"
#include "platform/d3dx/ImageDecoder.h"
#include "platform/sound/SoundOffline.h"
#include "script/Show.h"
#include "tools/ArchiveWriter.h"
#include "tools/DeviceHolder.h"
#include "tools/PreviewSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace {

const char* const kScript = kRangeTestScript;
constexpr int kWidth = 160, kHeight = 120;
constexpr double kFps = 25;

std::string frameName(int k) {
  char name[32];
  std::snprintf(name, sizeof name, "frame%06d.png", k);
  return name;
}

std::vector<D3DCOLOR> pngPixels(const std::string& path) {
  const std::string bytes = readText(path);
  DecodedImage image;
  if (decodeImage(bytes.data(), bytes.size(), image) != 0 || image.width != kWidth || image.height != kHeight)
    return {};
  std::vector<D3DCOLOR> argb(image.pixels.size() / 4);
  std::memcpy(argb.data(), image.pixels.data(), argb.size() * 4);
  return argb;
}

class PreviewSessionTest : public ::testing::Test {
 protected:
  // The show and its full render, made once for the suite.
  static void SetUpTestSuite() {
    s_show = std::make_unique<TempDir>();
    const std::string generate = "'" VX_SHOWGEN_PATH "' '" + s_show->path() + "' >/dev/null";
    ASSERT_EQ(std::system(generate.c_str()), 0);
    s_show->write("demo.vxc", bytesOf(kScript));
    const ToolRun full = vxtool(*s_show, "render --fps 25 --size 160x120 --quiet --frames full");
    ASSERT_EQ(full.code, 0) << full.err;
  }
  static void TearDownTestSuite() { s_show.reset(); }

  void SetUp() override {
    ASSERT_TRUE(s_show);
    m_gfx = std::make_unique<OffscreenDevice>(kWidth, kHeight);
    m_device = m_gfx->device;
    ASSERT_NE(m_device, nullptr);
  }
  void TearDown() override { m_gfx.reset(); }

  std::vector<D3DCOLOR> screen() {
    std::vector<D3DCOLOR> pixels;
    UINT width = 0, height = 0;
    readBackBuffer(m_device, pixels, width, height);
    return pixels;
  }

  // The screen shows frame k of a render in `folder`.
  ::testing::AssertionResult showsFrame(const std::string& folder, int k, const std::string& what) {
    const std::vector<D3DCOLOR> expected = pngPixels(s_show->file(folder + "/" + frameName(k)));
    if (expected.empty()) return ::testing::AssertionFailure() << "no frame " << k << " in " << folder;
    return ImagesMatch("preview-" + what, expected, screen(), kWidth, kHeight, 0);
  }

  static std::int64_t musicPosition(const PreviewSession& session) {
    const Scripter* s = session.show() ? session.show()->scripter() : nullptr;
    if (!s || !s->currentMusic) return -1;
    return soundStreamPositionFrames(s->currentMusic->stream());
  }

  static std::unique_ptr<TempDir> s_show;
  std::unique_ptr<OffscreenDevice> m_gfx;
  IDirect3DDevice9* m_device = nullptr;  // m_gfx's
};
std::unique_ptr<TempDir> PreviewSessionTest::s_show;

PreviewOptions options25() {
  PreviewOptions options;
  options.fps = kFps;
  return options;
}

}  // namespace

TEST_F(PreviewSessionTest, SeeksAndStepsLandOnTheRenderedFramesAndSamples) {
  CurrentDirectory inShow(s_show->path());
  PreviewSession session(m_device, options25());
  session.setPaused(true);
  // The tune started in frame 0 at 1.5 s (66150 samples); each frame's
  // interval moves it 1764 samples on.
  auto samplesAtFrame = [](int k) { return std::int64_t(66150 + 1764 * k); };

  ASSERT_TRUE(session.seek(1600)) << session.error();  // frame 40: in the cross-fade
  EXPECT_TRUE(showsFrame("full", 40, "seek-1600"));
  EXPECT_EQ(musicPosition(session), samplesAtFrame(40));
  // Paused, each turn redraws the held frame: the same pixels.
  session.tick(1000);
  session.tick(2000);
  EXPECT_TRUE(showsFrame("full", 40, "held-1600"));

  // Back, to before the scene is on (the replay starts from 0 each time).
  ASSERT_TRUE(session.seek(320));
  EXPECT_TRUE(showsFrame("full", 8, "seek-320"));
  // One frame on from a landing goes on without replaying; one back replays.
  ASSERT_TRUE(session.step(1));
  EXPECT_TRUE(showsFrame("full", 9, "step-9"));
  EXPECT_EQ(musicPosition(session), samplesAtFrame(9));
  ASSERT_TRUE(session.step(1));
  EXPECT_TRUE(showsFrame("full", 10, "step-10"));
  ASSERT_TRUE(session.step(-1));
  EXPECT_TRUE(showsFrame("full", 9, "step-back-9"));
  EXPECT_EQ(musicPosition(session), samplesAtFrame(9));
  // The frame of the "settime" jump, and a time between two frames: a step
  // from there goes to the next grid frame.
  ASSERT_TRUE(session.seek(1040));
  EXPECT_TRUE(showsFrame("full", 26, "seek-settime"));
  ASSERT_TRUE(session.seek(1061));
  ASSERT_TRUE(session.step(1));
  EXPECT_DOUBLE_EQ(session.showMs(), 1080);
  EXPECT_TRUE(showsFrame("full", 27, "step-from-between"));
  EXPECT_EQ(musicPosition(session), samplesAtFrame(27));
  ASSERT_TRUE(session.step(-1));
  EXPECT_TRUE(showsFrame("full", 26, "step-back-to-settime"));

  // Past the end: the show stands on its last frame, paused.
  ASSERT_TRUE(session.seek(60000));
  EXPECT_TRUE(session.figures().ended);
  EXPECT_DOUBLE_EQ(session.showMs(), 61 * 40.0);
  EXPECT_TRUE(showsFrame("full", 61, "past-the-end"));
  EXPECT_TRUE(session.seek(-5));
  EXPECT_DOUBLE_EQ(session.showMs(), 0);
  EXPECT_TRUE(showsFrame("full", 0, "before-the-start"));
}

TEST_F(PreviewSessionTest, TheClockRunsPausesAndLoopsOnWallTime) {
  CurrentDirectory inShow(s_show->path());
  PreviewSession session(m_device, options25());
  session.setPaused(true);
  ASSERT_TRUE(session.seek(1040));
  PreviewFigures f = session.figures();
  EXPECT_DOUBLE_EQ(f.showMs, 1040);
  EXPECT_EQ(f.gridFrame, 26);
  EXPECT_TRUE(f.paused);
  // Frame 26 ran "settime 2000" and "setlayeralpha 12 1" (script lines 24 and
  // 25); the next command is the "waituntil" on line 26.
  EXPECT_EQ(f.lastLine, "demo.vxc:25: setlayeralpha 12 1");
  const std::vector<std::string> slots = {"scenes: hall, orbit (on screen)", "images: back, orb, spin",
                                          "music: tune (playing)"};
  EXPECT_EQ(f.slots, slots);
  EXPECT_TRUE(f.error.empty());
  const std::vector<std::string> lines = session.overlayLines();
  ASSERT_GE(lines.size(), 6u);
  EXPECT_EQ(lines[0], "1.040 s  frame 26 at 25 fps  paused");
  EXPECT_EQ(lines[2], "last command: demo.vxc:25: setlayeralpha 12 1");

  // Playing: the show time follows the wall clock from the first turn on.
  session.setPaused(false);
  session.tick(10000);
  EXPECT_DOUBLE_EQ(session.showMs(), 1040);
  session.tick(10040);
  session.tick(10100);
  EXPECT_DOUBLE_EQ(session.showMs(), 1140);
  f = session.figures();
  EXPECT_FALSE(f.paused);
  EXPECT_EQ(f.framesPerSecond, 3);
  EXPECT_DOUBLE_EQ(f.frameMs, 60);
  EXPECT_EQ(f.gridFrame, 28);
  // Only the frames of the last second count.
  session.tick(11050);
  EXPECT_EQ(session.figures().framesPerSecond, 2);

  // Paused, the time stands; played again, it goes on from there.
  session.setPaused(true);
  session.tick(12000);
  session.tick(13000);
  EXPECT_DOUBLE_EQ(session.showMs(), 2090);
  session.setPaused(false);
  session.tick(20000);
  session.tick(20010);
  EXPECT_DOUBLE_EQ(session.showMs(), 2100);

  // A-B loop: A at 2100, B 300 ms later; passing B lands on A.
  session.toggleLoop();
  session.tick(20310);
  session.toggleLoop();
  EXPECT_EQ(session.figures().loopA, 2100.0);
  EXPECT_EQ(session.figures().loopB, 2400.0);
  session.tick(20400);
  EXPECT_DOUBLE_EQ(session.showMs(), 2100) << "looped back to A";
  session.tick(20500);
  session.tick(20550);
  EXPECT_DOUBLE_EQ(session.showMs(), 2150);
  session.toggleLoop();
  EXPECT_FALSE(session.figures().loopA.has_value());
  EXPECT_FALSE(session.figures().loopB.has_value());

  const std::vector<std::string> used = session.usedFiles();
  for (const char* file : {"demo.vxc", "backdrop.jpg", "orbit.vxk", "hall.vxk", "tune.mp3", "orb.png", "spin.seq"})
    EXPECT_NE(std::find(used.begin(), used.end(), file), used.end()) << file;
}

TEST_F(PreviewSessionTest, EditsReloadAtTheSameTimeAndBrokenShowsRecover) {
  TempDir dir;
  for (const auto& entry : std::filesystem::directory_iterator(s_show->path()))
    if (entry.path().filename() != "full")
      std::filesystem::copy(entry.path(), dir.file(entry.path().filename().string()),
                            std::filesystem::copy_options::recursive);
  // The edit: the orb layer somewhere else, rendered whole for comparison.
  std::string edited = kScript;
  edited.replace(edited.find("setlayer orb 12\n"), 16, "setlayer orb 12\nsetlayerpos 12 40 300\n");
  dir.write("demo.vxc", bytesOf(edited));
  const ToolRun render = vxtool(dir, "render --fps 25 --size 160x120 --quiet --frames-to 20 --frames edited");
  ASSERT_EQ(render.code, 0) << render.err;
  std::filesystem::rename(dir.file("edited/" + frameName(20)), s_show->file("edited-20.png"));
  dir.write("demo.vxc", bytesOf(kScript));

  CurrentDirectory inDir(dir.path());
  PreviewSession session(m_device, options25());
  session.setPaused(true);
  ASSERT_TRUE(session.seek(800));
  EXPECT_TRUE(showsFrame("full", 20, "before-edit"));

  dir.write("demo.vxc", bytesOf(edited));
  ASSERT_TRUE(session.reload()) << session.error();
  EXPECT_DOUBLE_EQ(session.showMs(), 800);
  {
    const std::vector<D3DCOLOR> expected = pngPixels(s_show->file("edited-20.png"));
    ASSERT_FALSE(expected.empty());
    EXPECT_TRUE(ImagesMatch("preview-after-edit", expected, screen(), kWidth, kHeight, 0));
  }

  // A slip: the window shows the error and keeps the time.
  std::string broken = edited;
  broken.replace(broken.find("settime 0\n"), 10, "settime 0\nsetlayr back -20\n");
  dir.write("demo.vxc", bytesOf(broken));
  EXPECT_FALSE(session.reload());
  EXPECT_TRUE(session.failed());
  EXPECT_NE(session.error().find("demo.vxc:8: setlayr back -20"), std::string::npos) << session.error();
  EXPECT_EQ(session.figures().error, session.error());
  EXPECT_DOUBLE_EQ(session.showMs(), 800);
  {
    const std::vector<std::string> used = session.usedFiles();
    EXPECT_NE(std::find(used.begin(), used.end(), "demo.vxc"), used.end()) << "the broken script is watched for its fix";
  }
  session.tick(5000);
  const std::vector<D3DCOLOR> errorScreen = screen();
  ASSERT_EQ(errorScreen.size(), std::size_t(kWidth) * kHeight);
  EXPECT_EQ(errorScreen[0] & 0xFFFFFF, 0x180808u) << "the error screen's background, left of the message";
  // Fixed: back at the same time, the frame of the edited show.
  dir.write("demo.vxc", bytesOf(edited));
  ASSERT_TRUE(session.reload()) << session.error();
  EXPECT_FALSE(session.failed());
  {
    const std::vector<D3DCOLOR> expected = pngPixels(s_show->file("edited-20.png"));
    EXPECT_TRUE(ImagesMatch("preview-after-fix", expected, screen(), kWidth, kHeight, 0));
  }

  // A failure while playing: a picture that is not there, loaded at 400 ms.
  std::string late = kScript;
  late.replace(late.find("waituntil 720\n"), 14, "waituntil 400\nloadimage gone.png gone\nwaituntil 720\n");
  dir.write("demo.vxc", bytesOf(late));
  ASSERT_TRUE(session.seek(300));
  session.setPaused(false);
  session.tick(100);
  session.tick(250);
  EXPECT_TRUE(session.failed());
  EXPECT_NE(session.error().find("gone.png"), std::string::npos) << session.error();
  EXPECT_NE(session.error().find("demo.vxc:21: loadimage gone.png gone"), std::string::npos) << session.error();
  const std::vector<std::string> used = session.usedFiles();
  EXPECT_NE(std::find(used.begin(), used.end(), "gone.png"), used.end()) << "a missing file is watched too";
}

TEST_F(PreviewSessionTest, LooseFilesWinOverTheArchiveScriptIncluded) {
  TempDir dir;
  ArchiveWriter writer;
  const std::string packed = "createcolor 0 0 255 blue\nsetlayer blue 1\nwait 1000\n";
  ASSERT_TRUE(writer.add("demo.vxc", packed.data(), std::uint32_t(packed.size()), 0));
  Bytes image;
  ASSERT_TRUE(writer.finish(&image));
  const std::string archive = dir.write("show.cfl", image);
  std::filesystem::create_directory(dir.file("work"));
  CurrentDirectory inDir(dir.file("work"));

  PreviewOptions options = options25();
  options.archive = archive;
  PreviewSession session(m_device, options);
  session.setPaused(true);
  ASSERT_TRUE(session.seek(0)) << session.error();
  constexpr std::size_t kCentre = std::size_t(kHeight / 2) * kWidth + kWidth / 2;
  EXPECT_EQ(screen()[kCentre] & 0xFFFFFF, 0x0000FFu) << "the archive's script";

  dir.write("work/demo.vxc", bytesOf("createcolor 255 0 0 red\nsetlayer red 1\nwait 1000\n"));
  ASSERT_TRUE(session.reload()) << session.error();
  EXPECT_EQ(screen()[kCentre] & 0xFFFFFF, 0xFF0000u) << "the loose script";
  const std::vector<std::string> used = session.usedFiles();
  EXPECT_NE(std::find(used.begin(), used.end(), archive), used.end()) << "the archive is watched";

  options.archive = dir.file("missing.cfl");
  PreviewSession without(m_device, options);
  EXPECT_FALSE(without.seek(0));
  EXPECT_NE(without.error().find("cannot open archive"), std::string::npos);
}
