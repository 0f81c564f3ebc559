// The glow processor and the glow targets on the recording device: what is
// created and released, the call sequence of one frame on four-stage and
// two-stage devices (targets, clears, the stage set-up once per frame, the
// tap transforms per level, two or four composite draws), what the glow
// pass draws, and the frames that skip the glow because a resource is
// missing.
#include "platform/gfx/D3D9Names.h"
#include "render/GlowAmount.h"
#include "render/GlowProcessor.h"
#include "render/GlowTargets.h"
#include "render/SceneProcessors.h"
#include "tests/render/RenderTestScene.h"
#include "tests/scene/SceneTestSupport.h"

#include <string>

namespace {

using rtest::addCamera;
using rtest::addMaterial;
using rtest::addQuad;

std::string labelOf(IUnknown* object) {
  auto* recorded = dynamic_cast<RecordingObject*>(object);
  return recorded != nullptr ? recorded->label() : "NULL";
}

// A device made by a test case besides the fixture's; released at tear-down.
RecordingDevice* g_otherDevice = nullptr;

class GlowProcessorTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    savedAmount = GlowAmount;
    SetSceneProcessorFactory(&CreateSceneProcessors);
    camera = addCamera(*scene, {0, 0, 0});
    // Glows: self-illumination 0.5 of a diffuse (1, 0.5, 0) gives the glow
    // colour (0.5, 0.25, 0) = 0x80804000 with alpha 0.5.
    addQuad(*scene, "glowing", {0, -10, 0}, 2, {addMaterial(*scene, {1, 0.5f, 0}, {0, 0, 0}, 0.5f)});
    device->BeginScene();
  }
  void TearDown() override {
    device->EndScene();
    rtest::releaseBindings(device);
    ReleaseGlowTargets();
    if (g_otherDevice != nullptr) g_otherDevice->Release();
    g_otherDevice = nullptr;
    GlowAmount = savedAmount;
    SetSceneProcessorFactory(&CreateSceneProcessors);
    SceneTest::TearDown();
  }
  std::size_t frame() {
    rtest::prepareOnce(*scene);
    const std::size_t mark = log().mark();
    scene->Render();
    return mark;
  }
  GlowProcessor* glow() { return dynamic_cast<GlowProcessor*>(scene->processors.back()); }
  static std::string target(int i) { return labelOf(GlowTargets[i]); }
  CallLog& log() { return device->log(); }

  // The texture transform stage k is given: identity but (_31, _32).
  static std::string tapTransform(int k, float du, float dv) {
    D3DXMATRIX m;
    D3DXMatrixIdentity(&m);
    m._31 = du;
    m._32 = dv;
    return "SetTransform(D3DTS_TEXTURE" + std::to_string(k) + ", " + matrixText(m) + ")";
  }

  Camera* camera = nullptr;
  float savedAmount = 0;
};

TEST_F(GlowProcessorTest, TargetsAreMadeOnceInOrderAndReleasedWithTheShaders) {
  const std::size_t mark = log().mark();
  CreateGlowTargets(device);
  ASSERT_TRUE(GlowTargetsReady(device));
  const auto textures = log().named("CreateTexture", mark);
  ASSERT_EQ(textures.size(), 8u);
  for (int i = 0; i < 8; ++i) {
    const std::string edge = i == 0 ? "512" : "256";
    EXPECT_EQ(textures[i]->text(),
              "CreateTexture(" + edge + ", " + edge + ", 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT)")
        << i;
    EXPECT_EQ(textures[i]->created, target(i));
  }
  EXPECT_EQ(log().named("CreateDepthStencilSurface", mark).size(), 1u);
  EXPECT_NE(log().find("CreateDepthStencilSurface(512, 512, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, 1)", mark),
            std::nullopt);
  EXPECT_LT(*log().findName("CreateVertexShader", mark), *log().findName("CreateTexture", mark))
      << "the shared shaders come first";

  // Asked again, the shaders are made afresh but the targets stay.
  IDirect3DTexture9* first = GlowTargets[0];
  const std::size_t again = log().mark();
  CreateGlowTargets(device);
  EXPECT_EQ(log().count("CreateTexture", again), 0u);
  EXPECT_GT(log().count("CreateVertexShader", again), 0u);
  EXPECT_EQ(GlowTargets[0], first);

  ReleaseGlowTargets();
  EXPECT_FALSE(GlowTargetsReady(device));
  for (IDirect3DTexture9* t : GlowTargets) EXPECT_EQ(t, nullptr);
  EXPECT_EQ(GlowDepth, nullptr);
  EXPECT_EQ(device->liveResourceCount(), resourcesBefore) << "targets, depth and shaders all released";
}

TEST_F(GlowProcessorTest, SceneGetsTheGlowProcessorAfterTheDefaultOne) {
  frame();
  ASSERT_EQ(scene->processors.size(), 2u);
  EXPECT_EQ(scene->processors[0], scene->defaultProcessor);
  EXPECT_EQ(dynamic_cast<GlowProcessor*>(scene->processors[0]), nullptr);
  ASSERT_NE(glow(), nullptr);
  EXPECT_EQ(glow()->id, scene->processors[0]->id + 1);
  ASSERT_NE(glow()->quadBuffer, nullptr);
  void* bytes = nullptr;
  ASSERT_EQ(glow()->quadBuffer->Lock(0, 0, &bytes, D3DLOCK_READONLY), D3D_OK);
  EXPECT_EQ(std::memcmp(bytes, FullscreenQuad, sizeof FullscreenQuad), 0);
  glow()->quadBuffer->Unlock();
}

struct StageCase {
  const char* name;
  DWORD maxTextures;
  int stages;         // taps per pass, textures per composite draw
  int passesPerLevel;
};

class GlowFrameTest : public GlowProcessorTest, public ::testing::WithParamInterface<StageCase> {};

TEST_P(GlowFrameTest, OneFrameDrawsTheGlowBlursItAndAddsItToTheScreen) {
  const StageCase& c = GetParam();
  device->setMaxSimultaneousTextures(c.maxTextures);
  CreateGlowTargets(device);
  GlowAmount = 0.01f;
  device->backBuffer()->AddRef();
  const ULONG backBufferRefs = device->backBuffer()->Release();
  const std::size_t mark = frame();
  ASSERT_EQ(glow()->fewStages, c.stages == 2);
  EXPECT_TRUE(log().failures(mark).empty()) << log().dump(mark);

  // The glow pass into target 0 with the glow depth, after the default
  // processor's draw; self-illumination is what it draws.
  const std::string depth = labelOf(GlowDepth);
  const auto glowStart = log().find("SetRenderTarget(0, " + target(0) + ".L0)", mark);
  ASSERT_NE(glowStart, std::nullopt);
  EXPECT_EQ(log().count("DrawIndexedPrimitive", mark), 2u) << "the quad on screen, then in the glow pass";
  EXPECT_LT(*log().findName("DrawIndexedPrimitive", mark), *glowStart);
  EXPECT_TRUE(log().containsSequence({"SetDepthStencilSurface(" + depth + ")",
                                      "Clear(0, NULL, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, "
                                      "0x00000000, 1, 127)",
                                      "SetRenderState(D3DRS_TEXTUREFACTOR, 0x80804000)"},
                                     *glowStart))
      << log().dump(*glowStart);
  EXPECT_NE(log().findName("DrawIndexedPrimitive", *glowStart), std::nullopt);
  EXPECT_FALSE(scene->stateCache->glowOnly);

  // The chain: one target per level, in order; the stages are set up once
  // for the whole frame.
  std::size_t at = *glowStart;
  std::vector<std::string> chain;
  for (int i = 1; i < 8; ++i) chain.push_back("SetRenderTarget(0, " + target(i) + ".L0)");
  chain.push_back("SetRenderTarget(0, " + labelOf(device->backBuffer()) + ")");
  EXPECT_TRUE(log().containsSequence(chain, at)) << log().dump(at);
  EXPECT_EQ(log().countText("SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MULTIPLYADD)", mark), 1u);
  EXPECT_EQ(log().countText("SetTextureStageState(" + std::to_string(c.stages) +
                                ", D3DTSS_COLOROP, D3DTOP_DISABLE)",
                            mark),
            2u)
      << "after the blur stages and after the composite stages";
  EXPECT_EQ(log().countText("Clear(0, NULL, D3DCLEAR_TARGET, 0x00000000, 1, 127)", mark),
            c.stages == 2 ? 7u : 0u) << "only two-pass levels clear their target";

  // Tap transforms, level by level: r = i × 0.01, h = half a 256 texel.
  const float h = 0.5f / 256.0f;
  for (int i = 1; i < 8; ++i) {
    const float r = float(i) * GlowAmount;
    const auto level = log().find("SetRenderTarget(0, " + target(i) + ".L0)", at);
    ASSERT_NE(level, std::nullopt);
    at = *level;
    const float taps[4][2] = {{h + r, h}, {h - r, h}, {h, h + r}, {h, h - r}};
    std::vector<std::string> expected;
    for (int k = 0; k < 4; ++k) {
      expected.push_back(tapTransform(k % c.stages, taps[k][0], taps[k][1]));
      if (k % c.stages == c.stages - 1) expected.push_back("DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2)");
    }
    EXPECT_TRUE(log().containsSequence(expected, at)) << "level " << i << "\n" << log().dump(at);
  }
  std::size_t taps = 0;
  for (const std::string& t : log().texts("SetTransform", mark))
    if (t.rfind("SetTransform(D3DTS_TEXTURE", 0) == 0) ++taps;
  EXPECT_EQ(taps, 7u * 4u)
      << "four taps per level, whatever the pass count";

  // The composite: back on the saved target and depth, every target bound
  // once, `stages` per draw.
  const auto restored = log().find("SetRenderTarget(0, " + labelOf(device->backBuffer()) + ")", mark);
  ASSERT_NE(restored, std::nullopt);
  EXPECT_EQ(log().count("DrawPrimitive", mark), std::size_t(7 * c.passesPerLevel + 8 / c.stages));
  EXPECT_EQ(log().count("DrawPrimitive", *restored), std::size_t(8 / c.stages));
  std::vector<std::string> composite = {"SetDepthStencilSurface(" + labelOf(device->autoDepthStencil()) + ")",
                                        "SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE)",
                                        "SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ONE)"};
  for (int first = 0; first < 8; first += c.stages) {
    for (int s = 0; s < c.stages; ++s)
      composite.push_back("SetTexture(" + std::to_string(s) + ", " + target(first + s) + ")");
    composite.push_back("DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2)");
  }
  EXPECT_TRUE(log().containsSequence(composite, *restored)) << log().dump(*restored);

  // Afterwards the camera's view and projection, depth test and writes.
  D3DMATRIX view, projection;
  device->GetTransform(D3DTS_VIEW, &view);
  device->GetTransform(D3DTS_PROJECTION, &projection);
  EXPECT_EQ(matrixText(view), matrixText(camera->view));
  EXPECT_EQ(matrixText(projection), matrixText(camera->projection));
  DWORD z = 0, zWrite = 0;
  device->GetRenderState(D3DRS_ZENABLE, &z);
  device->GetRenderState(D3DRS_ZWRITEENABLE, &zWrite);
  EXPECT_EQ(z, DWORD(TRUE));
  EXPECT_EQ(zWrite, DWORD(TRUE));
  EXPECT_EQ(device->currentRenderTarget(), device->backBuffer());
  EXPECT_EQ(device->currentDepthStencil(), device->autoDepthStencil());
  // The references taken on the saved surfaces are given back.
  device->backBuffer()->AddRef();
  EXPECT_EQ(device->backBuffer()->Release(), backBufferRefs);
}

INSTANTIATE_TEST_SUITE_P(Devices, GlowFrameTest,
                         ::testing::Values(StageCase{"FourStages", 8, 4, 1}, StageCase{"TwoStages", 2, 2, 2}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(GlowProcessorTest, GlowPassSkipsSpritesNotMarkedForIt) {
  Texture* texture = rtest::addSolidTexture(*scene, "spark.png", 0xFFFFFFFF);
  rtest::addSprite(*scene, "plain", {1, -10, 0}, texture, 1.0f, 0, false);
  rtest::addSprite(*scene, "shining", {-1, -10, 0}, texture, 1.0f, 0, true);
  CreateGlowTargets(device);
  const std::size_t mark = frame();
  const auto glowStart = log().find("SetRenderTarget(0, " + target(0) + ".L0)", mark);
  ASSERT_NE(glowStart, std::nullopt);
  EXPECT_EQ(log().count("DrawPrimitiveUP", mark), 3u) << "two on screen, one in the glow pass";
  EXPECT_EQ(log().count("DrawPrimitiveUP", *glowStart), 1u);
}

// A resource the glow needs is missing: no glow, the scene as the default
// processor drew it, no error.
struct MissingCase {
  const char* name;
  void (*arrange)(RecordingDevice* device);
};

class GlowSkipTest : public GlowProcessorTest, public ::testing::WithParamInterface<MissingCase> {};

TEST_P(GlowSkipTest, SceneIsDrawnWithoutTheGlow) {
  GetParam().arrange(device);
  const std::size_t mark = frame();
  ASSERT_NE(glow(), nullptr);
  EXPECT_EQ(log().count("SetRenderTarget", mark), 0u) << log().dump(mark);
  EXPECT_EQ(log().count("DrawPrimitive", mark), 0u);
  EXPECT_EQ(log().count("DrawIndexedPrimitive", mark), 1u) << "the scene itself is drawn";
}

INSTANTIATE_TEST_SUITE_P(
    Missing, GlowSkipTest,
    ::testing::Values(
        MissingCase{"NoTargetsMade", [](RecordingDevice*) {}},
        MissingCase{"TargetFailed",
                    [](RecordingDevice* d) {
                      d->failCreation(E_OUTOFMEMORY, 1, "CreateTexture");
                      CreateGlowTargets(d);
                    }},
        MissingCase{"DepthFailed",
                    [](RecordingDevice* d) {
                      d->failCreation(E_OUTOFMEMORY, 1, "CreateDepthStencilSurface");
                      CreateGlowTargets(d);
                    }},
        MissingCase{"QuadBufferFailed",
                    [](RecordingDevice* d) {
                      CreateGlowTargets(d);
                      // The scene's own buffers are made while linking,
                      // before the processors: the failure is planned just
                      // before they are created.
                      SetSceneProcessorFactory([](SceneGraph& s) {
                        static_cast<RecordingDevice*>(s.stateCache->device)
                            ->failCreation(E_OUTOFMEMORY, 1, "CreateVertexBuffer");
                        CreateSceneProcessors(s);
                      });
                    }},
        MissingCase{"TargetsOfAnotherDevice",
                    [](RecordingDevice*) {
                      g_otherDevice = RecordingDevice::createOffscreen(64, 64);
                      CreateGlowTargets(g_otherDevice);
                    }}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
