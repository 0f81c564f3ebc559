// The default processor's decisions and state sequences on the recording
// device: what it queues, the order it draws in, the redundant states it
// skips, the sky box, ambient and fog set-up, sprites and the full-screen
// quad.
#include "render/DefaultProcessor.h"
#include "tests/render/RenderTestScene.h"
#include "tests/scene/SceneTestSupport.h"

#include <algorithm>
#include <cstring>

namespace {

using rtest::addCamera;
using rtest::addMaterial;
using rtest::addQuad;

class DefaultProcessorTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    camera = addCamera(*scene, {0, 0, 0});
    device->BeginScene();
  }
  void TearDown() override {
    device->EndScene();
    rtest::releaseBindings(device);
    SceneTest::TearDown();
  }
  // Links everything, then draws one frame and returns the log position
  // where the frame began.
  std::size_t frame() {
    rtest::prepareOnce(*scene);
    const std::size_t mark = log().mark();
    scene->Render();
    return mark;
  }
  DefaultProcessor* processor() { return static_cast<DefaultProcessor*>(scene->defaultProcessor); }

  Camera* camera = nullptr;
};

TEST_F(DefaultProcessorTest, EveryPreparedSceneGetsADefaultProcessorFirst) {
  addQuad(*scene, "quad", {0, -5, 0}, 1, {addMaterial(*scene, {1, 0, 0})});
  frame();
  ASSERT_FALSE(scene->processors.empty());
  EXPECT_EQ(scene->processors.front(), scene->defaultProcessor);
  EXPECT_NE(dynamic_cast<DefaultProcessor*>(scene->defaultProcessor), nullptr);
}

TEST_F(DefaultProcessorTest, QueuesOneEntryPerSubMeshAndSpriteOfNodesMoreThanHalfVisible) {
  Material* a = addMaterial(*scene, {1, 0, 0});
  Material* b = addMaterial(*scene, {0, 1, 0});
  Group* twoParts = addQuad(*scene, "two", {0, -5, 0}, 1, {a, b});
  Group* half = addQuad(*scene, "half", {1, -5, 0}, 1, {a});
  Group* justOver = addQuad(*scene, "over", {-1, -5, 0}, 1, {a});
  Group* child = addQuad(*scene, "child", {0, 0, 1}, 1, {b}, half);  // under a hidden parent
  Texture* texture = rtest::addSolidTexture(*scene, "spark.png", 0xFFFFFFFF);
  rtest::addSprite(*scene, "spark", {0, -5, 1}, texture, 1.0f, 0);
  half->visibility = 0.5f;
  justOver->visibility = 0.51f;
  frame();

  // The queues hold the last frame's entries until the next ClearQueues.
  std::vector<std::string> queued;
  for (const auto& [sub, node] : processor()->meshQueue) queued.push_back(node->name);
  std::sort(queued.begin(), queued.end());
  EXPECT_EQ(queued, (std::vector<std::string>{"child", "over", "two", "two"}));
  ASSERT_EQ(processor()->spriteQueue.size(), 1u);
  EXPECT_EQ(processor()->spriteQueue[0].second->name, "spark");
  (void)twoParts;
  (void)child;

  processor()->ClearQueues();
  EXPECT_TRUE(processor()->meshQueue.empty());
  EXPECT_EQ(processor()->meshQueue.capacity(), 0u);
  EXPECT_EQ(processor()->spriteQueue.capacity(), 0u);
}

TEST_F(DefaultProcessorTest, FrameSetsAmbientFogAndDepthStatesThenSwitchesFogOff) {
  scene->ambientColor[0] = 0.5f;
  scene->ambientColor[1] = 0.25f;
  scene->ambientColor[2] = 1.0f;
  scene->ambientColor[3] = 1.0f;
  scene->ambientIntensity = 0.8f;
  camera->fogEnabled = true;
  camera->farClip = 250.0f;
  const float fog[4] = {0.2f, 0.4f, 0.6f, 1.0f};
  std::memcpy(camera->fogColor, fog, sizeof fog);
  addQuad(*scene, "quad", {0, -5, 0}, 1, {addMaterial(*scene, {1, 0, 0})});
  const std::size_t mark = frame();

  // ambient × intensity per channel, alpha included: 0.4, 0.2, 0.8, 0.8.
  EXPECT_TRUE(log().containsSequence(
      {"SetRenderState(D3DRS_AMBIENTMATERIALSOURCE, D3DMCS_MATERIAL)", "SetRenderState(D3DRS_COLORVERTEX, 0)",
       "SetRenderState(D3DRS_AMBIENT, 0xCC6633CC)", "SetRenderState(D3DRS_FOGENABLE, 1)",
       "SetRenderState(D3DRS_FOGCOLOR, 0xFF336699)", "SetRenderState(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR)",
       "SetRenderState(D3DRS_FOGSTART, 1e+02)", "SetRenderState(D3DRS_FOGEND, 2.5e+02)",
       "SetRenderState(D3DRS_FOGTABLEMODE, D3DFOG_NONE)", "SetRenderState(D3DRS_SPECULARENABLE, 1)",
       "SetRenderState(D3DRS_STENCILENABLE, 0)", "SetRenderState(D3DRS_ZWRITEENABLE, 1)",
       "SetRenderState(D3DRS_ZENABLE, 1)", "SetRenderState(D3DRS_CULLMODE, D3DCULL_CCW)",
       "DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2)", "SetRenderState(D3DRS_FOGENABLE, 0)"},
      mark))
      << log().dump(mark);
  EXPECT_EQ(log().texts("SetRenderState", mark).back(), "SetRenderState(D3DRS_FOGENABLE, 0)");

  // The glow pass's ambient is black; without fog the fog stays off.
  camera->fogEnabled = false;
  const std::size_t glowMark = log().mark();
  scene->stateCache->glowOnly = TRUE;
  processor()->Render();
  EXPECT_EQ(log().countText("SetRenderState(D3DRS_AMBIENT, 0x00000000)", glowMark), 1u);
  EXPECT_EQ(log().countText("SetRenderState(D3DRS_FOGENABLE, 1)", glowMark), 0u);
}

TEST_F(DefaultProcessorTest, MeshesDrawOpaqueBeforeTransparentThenPlainBeforeNormalMappedThenByMaterialId) {
  // Created in an order that the sort must undo; every material has its own
  // red level so that the SetMaterial calls tell them apart.
  Texture* bumps = rtest::addSolidTexture(*scene, "bumps.png", 0xFF8080FF);
  Material* transparentLow = addMaterial(*scene, {0.1f, 0, 0});
  Material* normalMapped = addMaterial(*scene, {0.2f, 0, 0});
  Material* plainHigh = addMaterial(*scene, {0.3f, 0, 0});
  Material* plainLow = addMaterial(*scene, {0.4f, 0, 0});
  Material* transparentHigh = addMaterial(*scene, {0.5f, 0, 0});
  normalMapped->normalMap.reset(std::int32_t(bumps->id));
  transparentLow->opacity = 0.5f;
  transparentHigh->opacity = 0.5f;
  std::swap(plainHigh->id, plainLow->id);  // ids decide, not creation order
  // The far transparent quad has the lower id and still comes first.
  addQuad(*scene, "a", {0, -5, 0}, 1, {transparentHigh});
  addQuad(*scene, "b", {0, -50, 0}, 1, {transparentLow});
  addQuad(*scene, "c", {0, -5, 0}, 1, {normalMapped, plainHigh});
  addQuad(*scene, "d", {0, -5, 0}, 1, {plainLow});
  const std::size_t mark = frame();

  std::vector<std::string> order;
  for (const RecordedCall* call : log().named("SetMaterial", mark)) order.push_back(call->arg(0).substr(0, 40));
  std::vector<std::string> expected;
  for (Material* m : {plainLow, plainHigh, normalMapped, transparentLow, transparentHigh}) {
    log().clear();
    device->SetMaterial(&m->d3dMaterial);
    expected.push_back(log()[0].arg(0).substr(0, 40));
  }
  EXPECT_EQ(order, expected);
}

TEST_F(DefaultProcessorTest, SameMaterialAndVisibilityAppliesOnceAndSameFormatSetsTheFormatOnce) {
  Material* shared = addMaterial(*scene, {1, 0, 0});
  Material* other = addMaterial(*scene, {0, 1, 0});
  addQuad(*scene, "a", {0, -5, 0}, 1, {shared});
  addQuad(*scene, "b", {1, -5, 0}, 1, {shared});
  Group* faded = addQuad(*scene, "c", {-1, -5, 0}, 1, {shared});
  addQuad(*scene, "d", {0, -5, 1}, 1, {other});
  faded->visibility = 0.9f;  // transparent: drawn after the opaque ones
  const std::size_t mark = frame();

  EXPECT_EQ(log().count("DrawIndexedPrimitive", mark), 4u);
  // shared at 1.0 (twice, applied once), other, then shared at 0.9.
  EXPECT_EQ(log().count("SetMaterial", mark), 3u);
  EXPECT_EQ(log().countText("SetFVF(D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX4 | D3DFVF_TEXCOORDSIZE3(2) | "
                            "D3DFVF_TEXCOORDSIZE3(3))",
                            mark),
            1u);
  EXPECT_EQ(log().countText("SetVertexShader(NULL)", mark), 1u);
  EXPECT_EQ(log().countText("SetPixelShader(NULL)", mark), 1u);
  // Every draw sets its node's world matrix and its own buffers.
  EXPECT_EQ(log().count("SetTransform", mark), log().count("DrawIndexedPrimitive", mark) + 2);  // + view, projection
  EXPECT_EQ(log().count("SetStreamSource", mark), 4u);
}

TEST_F(DefaultProcessorTest, FixedFunctionLightsAreThoseWithinRangePlusTheMeshRadius) {
  Group* quad = addQuad(*scene, "quad", {0, -10, 0}, 3, {addMaterial(*scene, {1, 1, 1})});
  Light* nearLight = rtest::addLight(*scene, D3DLIGHT_POINT, {0, -10, 10}, {1, 1, 1}, 6.0f);  // 6 + √18 > 10
  Light* farLight = rtest::addLight(*scene, D3DLIGHT_POINT, {0, -10, 11}, {1, 1, 1}, 6.0f);   // 6 + √18 < 11
  Light* wide = rtest::addLight(*scene, D3DLIGHT_POINT, {0, 40, 0}, {1, 1, 1}, 100.0f);
  const std::size_t mark = frame();
  (void)quad;
  EXPECT_TRUE(nearLight->enabled);
  EXPECT_FALSE(farLight->enabled);
  EXPECT_TRUE(wide->enabled);
  EXPECT_EQ(nearLight->slot, 0u);
  EXPECT_EQ(wide->slot, 1u);
  const auto draw = log().findName("DrawIndexedPrimitive", mark);
  ASSERT_TRUE(draw.has_value());
  EXPECT_TRUE(log().containsSequence({"LightEnable(0, 1)", "LightEnable(1, 1)"}, mark));
}

TEST_F(DefaultProcessorTest, MissingMaterialsAndTexturesAreSkippedAndNormalMapsNeedALight) {
  Texture* bumps = rtest::addSolidTexture(*scene, "bumps.png", 0xFF8080FF);
  Material* normalMapped = addMaterial(*scene, {1, 0, 0});
  normalMapped->normalMap.reset(std::int32_t(bumps->id));
  addQuad(*scene, "bare", {0, -5, 0}, 1, {nullptr});
  addQuad(*scene, "bumpy", {0, -5, 0}, 1, {normalMapped});
  rtest::addSprite(*scene, "untextured", {0, -5, 0}, nullptr, 1.0f, 0);
  const std::size_t mark = frame();
  // No light in the scene: the normal-mapped quad draws fixed-function; the
  // quad without a material and the sprite without a texture draw nothing.
  EXPECT_EQ(log().count("DrawIndexedPrimitive", mark), 1u);
  EXPECT_EQ(log().count("SetVertexDeclaration", mark), 0u);
  EXPECT_EQ(log().count("DrawPrimitiveUP", mark), 0u);
  EXPECT_TRUE(log().failures(mark).empty()) << log().dump(mark);
}

TEST_F(DefaultProcessorTest, SkyBoxIsDrawnFirstUnlitWithoutDepthAndCentredOnTheEye) {
  camera->prs.position = D3DXVECTOR3(30, 20, 10);
  Group* sky = rtest::addNode<Group>(*scene, "sky", {0, 0, 0}, nullptr);
  sky->parentRef.reset(-1);  // not in the tree: drawn only as the sky box
  sky->meshRef.reset(std::int32_t(rtest::addQuadMesh(*scene, 50, 50,
                                                       {addMaterial(*scene, {0, 0, 1}), nullptr,
                                                        addMaterial(*scene, {0, 1, 0})})
                                       ->id));
  sky->prs.scale = D3DXVECTOR3(2, 2, 2);
  scene->skybox = sky;
  addQuad(*scene, "quad", {30, 15, 10}, 1, {addMaterial(*scene, {1, 0, 0})});
  const std::size_t mark = frame();

  // The box's world keeps its scale and takes the eye's position.
  EXPECT_FLOAT_EQ(sky->world._11, 2.0f);
  EXPECT_FLOAT_EQ(sky->world._41, 30.0f);
  EXPECT_FLOAT_EQ(sky->world._42, 20.0f);
  EXPECT_FLOAT_EQ(sky->world._43, 10.0f);
  const auto first = log().findName("DrawIndexedPrimitive", mark);
  ASSERT_TRUE(first.has_value());
  EXPECT_TRUE(log().containsSequence({"SetRenderState(D3DRS_ZWRITEENABLE, 0)", "SetRenderState(D3DRS_ZENABLE, 0)"},
                                     mark));
  // Two sub-meshes with materials, each drawn unlit; the one without a
  // material is skipped; then the scene's quad with depth on again.
  const auto draws = log().named("DrawIndexedPrimitive", mark);
  ASSERT_EQ(draws.size(), 3u);
  EXPECT_EQ(draws[0]->text(), "DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2)");
  EXPECT_EQ(draws[1]->text(), "DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 12, 2)");
  const auto zOn = log().find("SetRenderState(D3DRS_ZENABLE, 1)", *first);
  ASSERT_TRUE(zOn.has_value());
  EXPECT_LT(*zOn, *log().find(draws[2]->text(), *zOn));
  for (std::size_t i = mark; i < *zOn; ++i) {
    if (log()[i].name == "DrawIndexedPrimitive") {
      EXPECT_EQ(log()[i - 1].text(), "SetRenderState(D3DRS_LIGHTING, 0)");
    }
  }
}

TEST_F(DefaultProcessorTest, SpritesDrawByTextureWithTheirBlendModesAsScaledPointSprites) {
  Texture* late = rtest::addSolidTexture(*scene, "late.png", 0xFFFFFFFF);
  Texture* early = rtest::addSolidTexture(*scene, "early.png", 0xFFFFFFFF);
  std::swap(late->id, early->id);
  rtest::addSprite(*scene, "one", {0, -5, 0}, late, 2.0f, 0);
  rtest::addSprite(*scene, "two", {0, -6, 0}, early, 3.0f, 2);
  rtest::addSprite(*scene, "three", {0, -7, 0}, early, 4.0f, 7);
  const std::size_t mark = frame();

  EXPECT_TRUE(log().containsSequence(
      {"SetRenderState(D3DRS_ALPHABLENDENABLE, 1)", "SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD)",
       "SetRenderState(D3DRS_ZENABLE, 1)", "SetRenderState(D3DRS_ZWRITEENABLE, 0)",
       "SetRenderState(D3DRS_LIGHTING, 0)", "SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE)",
       "SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE)"},
      mark))
      << log().dump(mark);
  // Sizes tell the sprites apart: early's two (in either order), then late's.
  std::vector<std::string> sizes;
  for (const RecordedCall* call : log().named("SetRenderState", mark))
    if (call->arg(0) == "D3DRS_POINTSIZE") sizes.push_back(call->arg(1));
  ASSERT_EQ(sizes.size(), 3u);
  EXPECT_EQ(sizes[2], "2");
  std::vector<std::string> blends;
  for (const RecordedCall* call : log().named("SetRenderState", mark))
    if (call->arg(0) == "D3DRS_DESTBLEND") blends.push_back(call->arg(1));
  // Mode 2 darkens (ZERO, INVSRCCOLOR); 7 falls back to mode 1; 0 adds.
  EXPECT_EQ(blends.back(), "D3DBLEND_ONE");
  EXPECT_TRUE(log().containsSequence(
      {"SetRenderState(D3DRS_POINTSPRITEENABLE, 1)", "SetRenderState(D3DRS_POINTSCALEENABLE, 1)",
       "SetRenderState(D3DRS_POINTSIZE_MIN, 0)", "SetRenderState(D3DRS_POINTSIZE_MAX, 1024)",
       "SetRenderState(D3DRS_POINTSCALE_A, 0)", "SetRenderState(D3DRS_POINTSCALE_B, 0)",
       "SetRenderState(D3DRS_POINTSCALE_C, 1)", "SetFVF(D3DFVF_XYZ)"},
      mark))
      << log().dump(mark);
  EXPECT_EQ(log().count("DrawPrimitiveUP", mark), 3u);
  EXPECT_TRUE(log().containsSequence({"SetRenderState(D3DRS_ZWRITEENABLE, 1)", "SetRenderState(D3DRS_LIGHTING, 1)",
                                      "SetRenderState(D3DRS_POINTSPRITEENABLE, 0)",
                                      "SetRenderState(D3DRS_FOGENABLE, 0)"},
                                     *log().find(log().named("DrawPrimitiveUP", mark).back()->text(), mark)));

  // In the glow pass only sprites drawn there remain.
  static_cast<Sprite*>(processor()->spriteQueue[0].first)->drawnInGlowPass = true;
  scene->stateCache->glowOnly = TRUE;
  const std::size_t glowMark = log().mark();
  processor()->Render();
  EXPECT_EQ(log().count("DrawPrimitiveUP", glowMark), 1u);
}

TEST_F(DefaultProcessorTest, WithoutSpritesTheMeshPassStatesStay) {
  addQuad(*scene, "quad", {0, -5, 0}, 1, {addMaterial(*scene, {1, 0, 0})});
  const std::size_t mark = frame();
  const auto draw = log().findName("DrawIndexedPrimitive", mark);
  ASSERT_TRUE(draw.has_value());
  EXPECT_EQ(log().texts(*draw + 1), (std::vector<std::string>{"SetRenderState(D3DRS_FOGENABLE, 0)"}));
}

TEST_F(DefaultProcessorTest, FullscreenQuadDrawsOverTheViewportAndRestoresViewAndProjection) {
  addQuad(*scene, "quad", {0, -5, 0}, 1, {addMaterial(*scene, {1, 0, 0})});
  frame();
  D3DMATRIX viewBefore, projectionBefore;
  device->GetTransform(D3DTS_VIEW, &viewBefore);
  device->GetTransform(D3DTS_PROJECTION, &projectionBefore);
  const std::size_t mark = log().mark();
  processor()->DrawFullscreenQuad();

  EXPECT_TRUE(log().containsSequence({"SetFVF(D3DFVF_XYZ | D3DFVF_TEX1)", "SetRenderState(D3DRS_ZENABLE, 0)",
                                      "SetRenderState(D3DRS_ZWRITEENABLE, 0)", "SetRenderState(D3DRS_LIGHTING, 0)",
                                      "DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, <80 bytes>, 20)",
                                      "SetRenderState(D3DRS_ZENABLE, 1)", "SetRenderState(D3DRS_ZWRITEENABLE, 1)",
                                      "SetRenderState(D3DRS_LIGHTING, 1)"},
                                     mark))
      << log().dump(mark);
  const RecordedCall* draw = log().last("DrawPrimitiveUP");
  ASSERT_EQ(draw->data.size(), 80u);
  float vertices[20];
  std::memcpy(vertices, draw->data.data(), sizeof vertices);
  // Corners of clip space, v = 0 at the top.
  EXPECT_EQ(std::vector<float>(vertices, vertices + 20),
            (std::vector<float>{-1, -1, 1, 0, 1, -1, 1, 1, 0, 0, 1, -1, 1, 1, 1, 1, 1, 1, 1, 0}));

  D3DMATRIX view, projection, world;
  device->GetTransform(D3DTS_VIEW, &view);
  device->GetTransform(D3DTS_PROJECTION, &projection);
  device->GetTransform(D3DTS_WORLD, &world);
  EXPECT_EQ(std::memcmp(&view, &viewBefore, sizeof view), 0);
  EXPECT_EQ(std::memcmp(&projection, &projectionBefore, sizeof projection), 0);
  D3DXMATRIX identity;
  D3DXMatrixIdentity(&identity);
  EXPECT_EQ(std::memcmp(&world, &identity, sizeof world), 0);
  // The quad was drawn through the orthographic 2 × 2 projection.
  const auto projections = log().named("SetTransform", mark);
  ASSERT_FALSE(projections.empty());
}

}  // namespace
