// Scene commands through the Scripter: slots and their replacement, playing
// and timing, camera selection, fog colour, shakes, and the cross-fade's
// target switching and blend on the recording device.
#include "ScriptTestUtil.h"
#include "platform/d3dx/D3DXMath.h"
#include "platform/gfx/D3D9Names.h"
#include "render/GlowAmount.h"
#include "scene/Camera.h"
#include "scene/Group.h"
#include "scene/SceneGraph.h"
#include "scene/ShakeController.h"
#include "scene/VxkWriter.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using vxk::CameraRecord;
using vxk::FloatAnimationRecord;
using vxk::NodeRecord;
using vxk::VxkWriter;

// A root with two cameras below it; the root's visibility runs from 0 to 1
// over the first 1000 ms of scene time, so a frame's scene time can be read
// back from it.
std::vector<std::uint8_t> twoCameraScene() {
  VxkWriter w;
  w.ambient(0xFF102030);
  w.group(1, NodeRecord{.name = "root"});
  CameraRecord first;
  first.node.parentId = 1;
  first.node.name = "Front";
  w.camera(2, first);
  CameraRecord second;
  second.node.parentId = 1;
  second.node.name = "Side";
  w.camera(3, second);
  FloatAnimationRecord fade;
  fade.targetId = 1;
  fade.fieldName = "VISTRACK";
  fade.times = {0, 1000};
  fade.values = {0.0f, 1.0f};
  w.floatAnimation(fade);
  return w.bytes();
}

class SceneCommandsTest : public ScriptTest {
 protected:
  void SetUp() override {
    ScriptTest::SetUp();
    dir.write("world.vxk", twoCameraScene());
  }
  // Parses a script (ending in a long wait) and runs it in one frame at t.
  void runAt(float t, const std::string& script) {
    scripter->items.clear();
    scripter->current = 0;
    writeScript("demo.vxc", script + "wait 100000\n");
    load();
    frameAt(t);
  }
  void frameAt(float t) {
    setClockMs(t);
    EXPECT_FALSE(scripter->Update(0));
  }
  SceneGraph* scene(const char* name) { return scripter->scenes.at(name); }
  static float rootVisibility(SceneGraph* s) { return s->root->visibility; }
};

using SceneCommandsDeathTest = SceneCommandsTest;

// The first blur level's right-hand tap: identity but _31 = half a 256
// texel + the radius (1 × the glow amount), _32 = half a texel.
std::string firstTap(float amount) {
  D3DXMATRIX m;
  D3DXMatrixIdentity(&m);
  m._31 = 0.5f / 256.0f + amount;
  m._32 = 0.5f / 256.0f;
  return "SetTransform(D3DTS_TEXTURE0, " + matrixText(m) + ")";
}

TEST_F(SceneCommandsTest, GlowAmountIsReadEveryFrame) {
  const float saved = GlowAmount;
  GlowAmount = 0.007f;
  runAt(0, "loadscene world.vxk w\nplayscene w 1\n");
  std::size_t mark = device->log().mark();
  frameAt(10);
  EXPECT_NE(device->log().find(firstTap(0.007f), mark), std::nullopt) << "0.007 until the script sets it";
  mark = device->log().mark();
  runAt(20, "setbluramount 0.02\n");
  EXPECT_NE(device->log().find(firstTap(0.02f), mark), std::nullopt) << "the frame that sets it draws with it";
  mark = device->log().mark();
  frameAt(30);
  EXPECT_NE(device->log().find(firstTap(0.02f), mark), std::nullopt);
  GlowAmount = saved;
}

TEST_F(SceneCommandsTest, LoadedScenePlaysOnTheScriptClockWithItsSpeed) {
  runAt(100, "loadscene world.vxk World\nplayscene world 0.5\nsetscenetime 200\n");
  SceneGraph* world = scene("world");
  EXPECT_TRUE(world->loaded);
  EXPECT_TRUE(world->prepared);
  EXPECT_EQ(scripter->currentScene, world);
  EXPECT_EQ(world->activeCamera->name, "Front") << "the first camera linked is active";
  // setscenetime 200 at t = 100: scene time = (t - (100 - 200)) * 0.5.
  EXPECT_FLOAT_EQ(rootVisibility(world), 0.1f);
  frameAt(900);
  EXPECT_FLOAT_EQ(rootVisibility(world), 0.5f);
  runAt(900, "stopscene\n");
  EXPECT_EQ(scripter->currentScene, nullptr);
  frameAt(1500);
  EXPECT_FLOAT_EQ(rootVisibility(world), 0.5f) << "a stopped scene is not animated";
}

TEST_F(SceneCommandsTest, CameraFogAndGammaActOnTheCurrentSceneOnly) {
  runAt(0, "loadscene world.vxk a\nloadscene world.vxk b\nsetactivecamera Side\nsetgamma 2.5\n");
  EXPECT_EQ(scene("a")->activeCamera->name, "Front") << "no current scene: nothing changes";
  runAt(0, "playscene a 1\nsetactivecamera side\n");
  EXPECT_EQ(scene("a")->activeCamera->name, "Front") << "camera names are case-sensitive";
  runAt(0, "setactivecamera Side\nsetgamma 2.5\nsetfogcolor 80FF4020\n");
  Camera* side = scene("a")->activeCamera;
  ASSERT_EQ(side->name, "Side");
  EXPECT_FLOAT_EQ(scene("a")->gamma, 2.5f);
  EXPECT_FLOAT_EQ(scene("b")->gamma, 1.0f);
  EXPECT_FLOAT_EQ(side->fogColor[0], 1.0f);
  EXPECT_FLOAT_EQ(side->fogColor[1], 64 * 0.003921569f);
  EXPECT_FLOAT_EQ(side->fogColor[2], 32 * 0.003921569f);
  EXPECT_FLOAT_EQ(side->fogColor[3], 128 * 0.003921569f);
  runAt(0, "setfogcolor FF4020\n");
  EXPECT_FLOAT_EQ(side->fogColor[3], 0.0f) << "six digits leave alpha 0";
  runAt(0, "setfogcolor nothex\n");
  EXPECT_FLOAT_EQ(side->fogColor[0], 0.0f);
}

TEST_F(SceneCommandsTest, ShakeStartsAtTheUnscaledSceneTimeOnTheActiveCamera) {
  runAt(1300, "loadscene world.vxk w\nplayscene w 3\nsetscenetime 50\nshakecamera 100 10 1 0.5 0.25\n");
  ASSERT_EQ(scene("w")->controllers.size(), 2u) << "the file's animation, then the shake";
  auto* shake = dynamic_cast<ShakeController*>(scene("w")->controllers.back());
  ASSERT_NE(shake, nullptr);
  EXPECT_EQ(shake->target, scene("w")->activeCamera);
  EXPECT_FLOAT_EQ(shake->startTime, 50.0f) << "t - sceneStart; the speed of 3 is not applied";
  EXPECT_NEAR(shake->maxAmplitude, 10 * 0.017453292f, 1e-7);
  EXPECT_EQ(shake->axis, 1);
}

TEST_F(SceneCommandsTest, ReplacingOrFreeingASlotForgetsTheSceneEverywhere) {
  runAt(0, "loadscene world.vxk a\nloadscene world.vxk b\nplayscene a 1\nxfadescene b 1000 0 1\n");
  EXPECT_TRUE(scripter->xfadeActive);
  runAt(10, "loadscene world.vxk a\n");
  EXPECT_EQ(scripter->currentScene, nullptr) << "the replaced scene stops being drawn";
  EXPECT_TRUE(scripter->xfadeActive);
  runAt(20, "freescene b\nfreescene nothing\n");
  EXPECT_FALSE(scripter->xfadeActive) << "freeing the fade target ends the fade without switching";
  EXPECT_EQ(scripter->xfadeTarget, nullptr);
  EXPECT_EQ(scripter->currentScene, nullptr);
  EXPECT_EQ(scripter->scenes.size(), 1u);
}

TEST_F(SceneCommandsTest, CrossFadeDrawsTheTargetIntoItsTextureAndHandsOverWithoutAJump) {
  runAt(0, "loadscene world.vxk old\nloadscene world.vxk new\nplayscene old 1\n");
  const std::size_t mark = device->log().size();
  runAt(1000, "xfadescene new 1000 200 2\n");
  // Half way through the fade the target runs at (t - start + offset) × speed
  // = 1400 ms, the old scene at 1500 ms; the top-level animations loop
  // every 1000 ms.
  frameAt(1500);
  EXPECT_NEAR(rootVisibility(scene("new")), 0.4f, 1e-6);
  EXPECT_NEAR(rootVisibility(scene("old")), 0.5f, 1e-6);
  CallLog& log = device->log();
  auto clear = log.find("Clear(0, NULL, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, 0x00000000, 1, 127)",
                        mark);
  ASSERT_NE(clear, std::nullopt) << "the fade target is cleared with stencil 127";
  EXPECT_NE(log.find("SetRenderState(D3DRS_TEXTUREFACTOR, 0x80FFFFFF)", *clear), std::nullopt)
      << "progress 0.5 gives alpha 128";
  EXPECT_TRUE(log.containsSequence({"SetRenderState(D3DRS_ALPHABLENDENABLE, 1)",
                                    "SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD)",
                                    "SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA)",
                                    "SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA)"},
                                   *clear));
  EXPECT_EQ(scripter->currentScene, scene("old"));

  frameAt(2000);
  EXPECT_FALSE(scripter->xfadeActive);
  EXPECT_EQ(scripter->currentScene, scene("new"));
  EXPECT_FLOAT_EQ(scripter->sceneStart, 800.0f) << "xfadeStart - xfadeOffset";
  EXPECT_FLOAT_EQ(scripter->sceneSpeed, 2.0f);
}

TEST_F(SceneCommandsDeathTest, PlayingAnEmptySceneSlotEndsTheShow) {
  EXPECT_EXIT(runAt(0, "playscene Nothing 1\n"), ::testing::ExitedWithCode(0),
              "PlayScene error: Scene slot nothing is empty! PlayScene failed.");
  EXPECT_EXIT(runAt(0, "xfadescene none 100 0 1\n"), ::testing::ExitedWithCode(0),
              "XFadeScene error: Scene slot none is empty! XFadeScene failed.");
  EXPECT_EXIT(runAt(0, "loadscene missing.vxk m\n"), ::testing::ExitedWithCode(0),
              "Error: Couldn't open file: missing.vxk");
}

}  // namespace
