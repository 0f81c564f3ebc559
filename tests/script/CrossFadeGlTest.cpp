// The scene cross-fade on the OpenGL device, read back as pixels: half way
// between two scenes of known colours the screen shows the blend the fade
// computes, a fade of duration 0 shows no blended frame, and "loadscene" of
// the fade's target ends the fade without switching. Each scene fills the
// screen with its ambient colour and glows nowhere, so its glow processor
// runs and adds black.
#include "ScriptTestUtil.h"
#include "platform/movie/AxHost.h"
#include "platform/os/Clock.h"
#include "platform/os/MessageBox.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "render/SceneProcessors.h"
#include "script/DemoClock.h"
#include "tests/platform/gfx/gl/GlTestDevice.h"
#include "scene/VxkWriter.h"
#include "tests/render/RenderTestScene.h"
#include "PixelCompare.h"

#include <cmath>
#include <memory>

namespace {

constexpr UINT kWidth = 64, kHeight = 48;

// Scene colours: the ambient colour on a quad that fills the view,
// (0.4, 0.2, 0.8) = (102, 51, 204) and (0.2, 0.6, 0) = (51, 153, 0).
constexpr D3DCOLOR kOld = 0xFF6633CC, kNew = 0xFF339900;

std::vector<D3DCOLOR> solid(D3DCOLOR colour) { return std::vector<D3DCOLOR>(kWidth * kHeight, colour); }

// The fade lays the new scene over the old with source alpha a / 255:
// new · a/255 + old · (1 − a/255), per channel, rounded.
D3DCOLOR blend(D3DCOLOR oldColour, D3DCOLOR newColour, int a) {
  D3DCOLOR out = 0xFF000000;
  for (int shift = 0; shift < 24; shift += 8) {
    const float o = float((oldColour >> shift) & 0xFF), n = float((newColour >> shift) & 0xFF);
    out |= D3DCOLOR(std::lround(n * float(a) / 255.0f + o * (1.0f - float(a) / 255.0f))) << shift;
  }
  return out;
}

class CrossFadeGlTest : public gltest::GlDeviceTest {
 protected:
  void SetUp() override {
    SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
    setClockMs(0);
    StartDemoClock();
    soundForceOutput(FSOUND_OUTPUT_OFFLINE);
    AtlAxWinInit();
    SetSceneProcessorFactory(&CreateSceneProcessors);
    open({kWidth, kHeight});
    scripter = std::make_unique<Scripter>(m_device, 800, 600);
    scripter->scenes["old"] = colourScene(0.4f, 0.2f, 0.8f);
    scripter->scenes["new"] = colourScene(0.2f, 0.6f, 0.0f);
  }
  void TearDown() override {
    scripter.reset();
    for (DWORD stage = 0; stage < 8; ++stage) m_device->SetTexture(stage, nullptr);
    m_device->SetStreamSource(0, nullptr, 0, 0);
    m_device->SetIndices(nullptr);
    m_device->SetVertexShader(nullptr);
    m_device->SetPixelShader(nullptr);
    close();  // fails if anything still holds the device
    ClearPerformanceCounterOverride();
    SetMessageBoxHook(nullptr);
  }

  // A prepared scene whose quad, lit by the ambient light only, covers the
  // whole view.
  SceneGraph* colourScene(float r, float g, float b) {
    auto* scene = new SceneGraph(m_device);
    rtest::addCamera(*scene, {0, 0, 0});
    scene->ambientColor[0] = r;
    scene->ambientColor[1] = g;
    scene->ambientColor[2] = b;
    rtest::addQuad(*scene, "wall", {0, -2, 0}, 50, {rtest::addMaterial(*scene, {0, 0, 0}, {1, 1, 1})});
    scene->loaded = true;
    scene->Prepare();
    return scene;
  }

  void run(const std::string& script) {
    dir.write("demo.vxc", bytesOf(script + "wait 100000\n"));
    scripter->LoadScript("demo.vxc", 0);
  }
  // One frame at clock ms: cleared to black as the main loop does, then
  // the Scripter's update.
  std::vector<D3DCOLOR> frameAt(double ms) {
    setClockMs(ms);
    m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xFF000000, 1.0f, 0);
    EXPECT_FALSE(scripter->Update(float(ms)));
    return frame();
  }

  TempDir dir;
  CurrentDirectory inDir{dir.path()};
  std::unique_ptr<Scripter> scripter;
};

TEST_F(CrossFadeGlTest, HalfWayTheNewSceneIsLaidOverTheOldWithHalfItsOpacity) {
  run("playscene old 1\nxfadescene new 1000 0 1\n");
  // Progress 0.5 gives a = int(0.5 · 255 + 0.5) = 128:
  //   red   51 · 128/255 + 102 · 127/255 = 25.6 + 50.8 = 76
  //   green 153 · 128/255 + 51 · 127/255 = 76.8 + 25.4 = 102
  //   blue  0 + 204 · 127/255             = 101.6       → 102
  EXPECT_TRUE(ImagesMatch("xfade-start", solid(kOld), frameAt(0), kWidth, kHeight, 1)) << "progress 0: a = 0";
  EXPECT_EQ(blend(kOld, kNew, 128), 0xFF4C6666u);
  EXPECT_TRUE(ImagesMatch("xfade-half", solid(0xFF4C6666), frameAt(500), kWidth, kHeight, 1));
  // A quarter: a = int(63.75 + 0.5) = 64.
  EXPECT_TRUE(ImagesMatch("xfade-quarter", solid(blend(kOld, kNew, 64)), frameAt(250), kWidth, kHeight, 1));
  EXPECT_TRUE(ImagesMatch("xfade-over", solid(kNew), frameAt(1000), kWidth, kHeight, 1));
  EXPECT_EQ(scripter->currentScene, scripter->scenes.at("new"));
}

TEST_F(CrossFadeGlTest, FadeOfDurationZeroShowsNoBlendedFrame) {
  run("playscene old 1\nxfadescene new 0 0 1\n");
  EXPECT_TRUE(ImagesMatch("xfade-zero", solid(kNew), frameAt(0), kWidth, kHeight, 1));
  EXPECT_FALSE(scripter->xfadeActive);
  EXPECT_EQ(scripter->currentScene, scripter->scenes.at("new"));
}

TEST_F(CrossFadeGlTest, LoadingTheTargetSlotEndsTheFadeWithoutSwitching) {
  // The target slot gets a scene of its own camera and nothing else.
  vxk::VxkWriter w;
  w.group(1, vxk::NodeRecord{.name = "root"});
  vxk::CameraRecord camera;
  camera.node.parentId = 1;
  camera.node.name = "Front";
  w.camera(2, camera);
  dir.write("empty.vxk", w.bytes());
  run("playscene old 1\nxfadescene new 1000 0 1\nwait 500\nloadscene empty.vxk new\n");
  frameAt(0);  // the fade starts at 0; the wait holds the load until 500
  EXPECT_TRUE(ImagesMatch("xfade-quarter-before-load", solid(blend(kOld, kNew, 64)), frameAt(250), kWidth, kHeight,
                          1));
  EXPECT_TRUE(ImagesMatch("xfade-ended-by-load", solid(kOld), frameAt(600), kWidth, kHeight, 1));
  EXPECT_FALSE(scripter->xfadeActive);
  EXPECT_EQ(scripter->currentScene, scripter->scenes.at("old"));
  EXPECT_TRUE(ImagesMatch("xfade-never-switches", solid(kOld), frameAt(1500), kWidth, kHeight, 1));
}

}  // namespace
