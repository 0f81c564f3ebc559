// vxtool render and what the user already has: existing outputs refused and
// kept, --force replacing only stale frames, nothing made before the script
// has loaded, and a failing show reported once with its script line.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace fs = std::filesystem;

namespace {

// 7 frames at 10 fps.
const char* kShow = "createcolor 0 0 255 blue\nsetlayer blue 1\nwait 500\n";
const char* kRender = "render --fps 10 --size 64x48 --quiet ";

std::set<std::string> namesIn(const std::string& dir) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename().string());
  return names;
}

std::size_t lineCount(const std::string& text) { return std::size_t(std::count(text.begin(), text.end(), '\n')); }

class RenderOutputTest : public ::testing::Test {
 protected:
  void SetUp() override { dir.write("demo.vxc", bytesOf(kShow)); }
  // A frames folder from an earlier, longer render, and the user's notes in it.
  void oldFrames() {
    fs::create_directories(dir.file("f"));
    dir.write("f/frame000033.png", bytesOf("old frame"));
    dir.write("f/notes.txt", bytesOf("mine"));
  }
  TempDir dir;
};

}  // namespace

TEST_F(RenderOutputTest, ExistingOutputsAreRefusedAndKept) {
  oldFrames();
  ToolRun frames = vxtool(dir, std::string(kRender) + "--frames f --wav new.wav");
  EXPECT_EQ(frames.code, 1);
  EXPECT_EQ(frames.err, "vxtool: 'f' already holds 1 frame*.png files (use --force to replace them)\n");
  EXPECT_EQ(readText(dir.file("f/frame000033.png")), "old frame");
  EXPECT_EQ(namesIn(dir.file("f")), (std::set<std::string>{"frame000033.png", "notes.txt"}));
  EXPECT_FALSE(fs::exists(dir.file("new.wav"))) << "a refusal writes nothing else either";

  dir.write("s.wav", bytesOf("old sound"));
  ToolRun wav = vxtool(dir, std::string(kRender) + "--frames g --wav s.wav");
  EXPECT_EQ(wav.code, 1);
  EXPECT_EQ(wav.err, "vxtool: 's.wav' exists (use --force to overwrite)\n");
  EXPECT_EQ(readText(dir.file("s.wav")), "old sound");
  EXPECT_FALSE(fs::exists(dir.file("g")));

  dir.write("v.mp4", bytesOf("old video"));
  ToolRun video = vxtool(dir, std::string(kRender) + "--video v.mp4 --wav t.wav");
  EXPECT_EQ(video.code, 1);
  EXPECT_EQ(video.err, "vxtool: 'v.mp4' exists (use --force to overwrite)\n");
  EXPECT_EQ(readText(dir.file("v.mp4")), "old video");
  EXPECT_FALSE(fs::exists(dir.file("t.wav")));

  dir.write("plain", bytesOf("a file"));
  ToolRun notFolder = vxtool(dir, std::string(kRender) + "--frames plain");
  EXPECT_EQ(notFolder.code, 1);
  EXPECT_EQ(notFolder.err, "vxtool: 'plain' is not a folder\n");
}

TEST_F(RenderOutputTest, AFolderWithoutFramesIsUsedAsItIs) {
  fs::create_directories(dir.file("f"));
  dir.write("f/notes.txt", bytesOf("mine"));
  dir.write("f/framework.txt", bytesOf("not a frame"));
  ToolRun run = vxtool(dir, std::string(kRender) + "--frames f");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(namesIn(dir.file("f")).size(), 9u);
  EXPECT_EQ(readText(dir.file("f/notes.txt")), "mine");
}

TEST_F(RenderOutputTest, ForceRemovesOnlyTheStaleFrames) {
  oldFrames();
  dir.write("f/frames.png", bytesOf("matches frame*.png"));
  fs::create_directories(dir.file("f/frame000099.png"));  // a folder, not a frame
  dir.write("s.wav", bytesOf("old sound"));
  ToolRun run = vxtool(dir, std::string(kRender) + "--frames f --wav s.wav --force");
  ASSERT_EQ(run.code, 0) << run.err;
  std::set<std::string> expected{"notes.txt", "frame000099.png"};
  for (int k = 0; k < 7; ++k) expected.insert("frame00000" + std::to_string(k) + ".png");
  EXPECT_EQ(namesIn(dir.file("f")), expected) << "frames 0-6 new, the stale ones gone, the rest kept";
  EXPECT_EQ(readText(dir.file("f/notes.txt")), "mine");
  EXPECT_EQ(readText(dir.file("s.wav")).substr(0, 4), "RIFF");
}

TEST_F(RenderOutputTest, ChunksOfOneRenderShareNoFolderButMayRerunWithForce) {
  ASSERT_EQ(vxtool(dir, std::string(kRender) + "--chunk 1/2 --frames c1 --wav c1/sound.wav").code, 0);
  ASSERT_EQ(vxtool(dir, std::string(kRender) + "--chunk 2/2 --frames c2 --wav c2/sound.wav").code, 0);
  EXPECT_EQ(namesIn(dir.file("c2")).count("frame000004.png"), 1u) << "named by their number in the whole render";
  // A chunk run again (a job runner's retry) needs --force, and gets the same frames.
  const std::string before = readText(dir.file("c2/frame000004.png"));
  EXPECT_EQ(vxtool(dir, std::string(kRender) + "--chunk 2/2 --frames c2 --wav c2/sound.wav").code, 1);
  ASSERT_EQ(vxtool(dir, std::string(kRender) + "--chunk 2/2 --frames c2 --wav c2/sound.wav --force").code, 0);
  EXPECT_EQ(readText(dir.file("c2/frame000004.png")), before);
  ToolRun join = vxtool(dir, "join c1 c2 --frames all --wav all.wav");
  ASSERT_EQ(join.code, 0) << join.err;
  EXPECT_EQ(namesIn(dir.file("all")).size(), 7u);
}

TEST_F(RenderOutputTest, AMissingScriptSaysWhereItLookedAndMakesNothing) {
  std::remove(dir.file("demo.vxc").c_str());
  ToolRun loose = vxtool(dir, std::string(kRender) + "--frames f --wav s.wav");
  EXPECT_EQ(loose.code, 1);
  EXPECT_EQ(loose.err, "vxtool: no script 'demo.vxc': not in the folder '" + fs::canonical(dir.path()).string() +
                           "' (and no --archive given)\n");
  EXPECT_FALSE(fs::exists(dir.file("f")));
  EXPECT_FALSE(fs::exists(dir.file("s.wav")));

  dir.write("other.txt", bytesOf("not a script"));
  ASSERT_EQ(vxtool(dir, "pack a.cfl other.txt").code, 0);
  ToolRun archived = vxtool(dir, std::string(kRender) + "--archive a.cfl --frames f");
  EXPECT_EQ(archived.code, 1);
  EXPECT_NE(archived.err.find("no script 'demo.vxc': not in the archive 'a.cfl' nor in the folder '"), std::string::npos)
      << archived.err;
  EXPECT_FALSE(fs::exists(dir.file("f")));
}

TEST_F(RenderOutputTest, ARefusedScriptLineSaysWhereOnceAndMakesNothing) {
  dir.write("demo.vxc", bytesOf("createcolor 0 0 255 blue\n\n  nonsense here  \nwait 100\n"));
  ToolRun run = vxtool(dir, std::string(kRender) + "--frames f --wav s.wav");
  EXPECT_EQ(run.code, 1);
  // The editor's line 3; the player's own message counts runs of line feeds as one.
  EXPECT_EQ(run.err, "vxtool: demo.vxc:3: nonsense here: Invalid command 'nonsense here' in script demo.vxc, line 2!\n");
  EXPECT_FALSE(fs::exists(dir.file("f")));
  EXPECT_FALSE(fs::exists(dir.file("s.wav")));
}

TEST_F(RenderOutputTest, AFatalErrorInAnIncludedFileNamesItsLineOnce) {
  dir.write("demo.vxc", bytesOf("createcolor 0 0 255 blue\ninclude part.vxc\nwait 500\n"));
  dir.write("part.vxc", bytesOf("setlayer blue 1\n# a picture\nloadimage bleu.png pic\n"));
  ToolRun run = vxtool(dir, std::string(kRender) + "--frames f");
  EXPECT_EQ(run.code, 1);
  EXPECT_EQ(run.err, "vxtool: part.vxc:3: loadimage bleu.png pic: Image load failed: bleu.png\n");

  // A caption other than "Error" stays with its message.
  dir.write("demo.vxc", bytesOf("wait 100\nplayscene nowhere\n"));
  ToolRun scene = vxtool(dir, std::string(kRender) + "--frames g --force");
  EXPECT_EQ(scene.code, 1);
  EXPECT_EQ(lineCount(scene.err), 1u) << scene.err;
  EXPECT_EQ(scene.err.rfind("vxtool: demo.vxc:2: playscene nowhere: ", 0), 0u) << scene.err;
  EXPECT_NE(scene.err.find("PlayScene error: Scene slot nowhere is empty! PlayScene failed."), std::string::npos)
      << scene.err;
}

TEST_F(RenderOutputTest, AVideoWithoutFfmpegIsAnErrorOnlyWhenItIsTheOnlyOutput) {
  const std::string noFfmpeg = "PATH=/nonexistent";
  ToolRun alone = vxtoolWithEnv(dir, noFfmpeg, std::string(kRender) + "--video v.mp4");
  EXPECT_EQ(alone.code, 1);
  EXPECT_EQ(alone.err, "vxtool: ffmpeg is not installed, and the video is the only output asked for\n");
  EXPECT_EQ(namesIn(dir.path()), (std::set<std::string>{"demo.vxc", ".stderr"}));

  ToolRun withSound = vxtoolWithEnv(dir, noFfmpeg, std::string(kRender) + "--video v.mp4 --wav s.wav");
  EXPECT_EQ(withSound.code, 0) << withSound.err;
  EXPECT_NE(withSound.err.find("ffmpeg is not installed; no video is written"), std::string::npos) << withSound.err;
  EXPECT_TRUE(fs::exists(dir.file("s.wav")));
  EXPECT_FALSE(fs::exists(dir.file("v.mp4")));
}
