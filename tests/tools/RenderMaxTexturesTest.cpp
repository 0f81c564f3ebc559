// vxtool render --max-textures: a show drawn on a device with fewer texture
// stages, and the values the flag refuses.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

namespace {

// Image layers draw with one texture stage, so two stages give the same
// frames as eight; a colour layer over a picture layer fades in.
const char* kShow =
    "createcolor 0 128 255 sky\ncreatecolor 255 64 0 sun\nsetlayer sky -1\nsetlayer sun 1\n"
    "setlayerpos 1 200 150\nsetlayeralpha 1 0.25\nsetlayeralphadelta 1 1\nwait 300\n";

class RenderMaxTextures : public ::testing::Test {
 protected:
  void SetUp() override { dir.write("demo.vxc", bytesOf(kShow)); }
  TempDir dir;
};

TEST_F(RenderMaxTextures, TwoStagesDrawTheFramesOfAFullDevice) {
  ToolRun few = vxtool(dir, "render --fps 10 --size 160x120 --max-textures 2 --frames few --quiet");
  ASSERT_EQ(few.code, 0) << few.err;
  ToolRun full = vxtool(dir, "render --fps 10 --size 160x120 --frames full --quiet");
  ASSERT_EQ(full.code, 0) << full.err;
  int frames = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir.file("full"))) {
    const std::string name = entry.path().filename().string();
    EXPECT_EQ(readText(dir.file("few/" + name)), readText(entry.path().string())) << name;
    ++frames;
  }
  EXPECT_EQ(frames, 5);  // 0, 100, 200, 300 and 400 ms: the wait ends in the first frame past 300
}

TEST_F(RenderMaxTextures, RefusesCountsOutsideOneToEight) {
  for (const char* bad : {"0", "9", "2.5", "-1", "x", "nan", "1e30", ""}) {
    ToolRun run = vxtool(dir, std::string("render --frames f --quiet --max-textures '") + bad + "'");
    EXPECT_NE(run.code, 0) << bad;
    EXPECT_NE(run.err.find("bad --max-textures"), std::string::npos) << bad << ": " << run.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("f")));
}

TEST_F(RenderMaxTextures, HelpNamesTheFlag) {
  ToolRun run = vxtool(dir, "render --help");
  EXPECT_EQ(run.code, 0);
  EXPECT_NE((run.out + run.err).find("--max-textures N"), std::string::npos);
}

}  // namespace
