// The default processor's fixed-function drawing on the OpenGL device, read
// back as pixels: lit meshes, the fog ramp, the sky box, fading nodes and
// point sprites. Every expected colour is worked out here from the lighting,
// fog and blending formulas of the fixed-function pipeline (the device's
// documented Direct3D 9 behaviour), not taken from a run.
#include "render/DefaultProcessor.h"
#include "tests/platform/gfx/gl/GlTestDevice.h"
#include "tests/render/RenderTestScene.h"
#include "PixelCompare.h"

#include <cmath>
#include <memory>

namespace {

using rtest::addCamera;
using rtest::addMaterial;
using rtest::addQuad;

constexpr UINT kWidth = 64, kHeight = 48;  // the cameras' 4:3 aspect

// Channel byte of a colour value as the device writes it (0..1 → 0..255,
// rounded to nearest).
int byteOf(float value) { return int(std::lround(std::fmin(std::fmax(value, 0.0f), 1.0f) * 255.0f)); }
D3DCOLOR rgbOf(float r, float g, float b) {
  return 0xFF000000u | D3DCOLOR(byteOf(r)) << 16 | D3DCOLOR(byteOf(g)) << 8 | D3DCOLOR(byteOf(b));
}

class DefaultProcessorGlTest : public gltest::GlDeviceTest {
 protected:
  void SetUp() override {
    open({kWidth, kHeight});
    scene = std::make_unique<SceneGraph>(m_device);
    camera = addCamera(*scene, {0, 0, 0});
  }
  void TearDown() override {
    scene.reset();
    close();
  }
  // Prepares the scene once, then draws one frame over a cleared target.
  std::vector<D3DCOLOR> draw(D3DCOLOR background = 0xFF000000) {
    rtest::prepareOnce(*scene);
    m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, background, 1.0f, 0);
    scene->Render();
    return frame();
  }
  // An image of one colour with a rectangle [x0, x1) × [y0, y1) of another.
  static std::vector<D3DCOLOR> picture(D3DCOLOR outside, D3DCOLOR inside, UINT x0, UINT y0, UINT x1, UINT y1) {
    std::vector<D3DCOLOR> image(kWidth * kHeight, outside);
    for (UINT y = y0; y < y1; ++y)
      for (UINT x = x0; x < x1; ++x) image[y * kWidth + x] = inside;
    return image;
  }
  // Pixels whose centres lie in [lo, hi): pixel centres are on integer
  // coordinates, and a left or top edge through a centre includes it.
  static void span(float lo, float hi, UINT& first, UINT& end) {
    first = UINT(std::ceil(lo));
    end = UINT(std::ceil(hi));
  }
  // Where a square of half size `half` at distance `d` straight ahead lands:
  // with a 90° vertical field of view (and the 4:3 picture) one unit is
  // (height / 2) / d pixels both ways, around the centre (32, 24).
  static void quadPixels(float half, float d, UINT& x0, UINT& y0, UINT& x1, UINT& y1) {
    const float r = half * (kHeight / 2.0f) / d;
    span(kWidth / 2.0f - r, kWidth / 2.0f + r, x0, x1);
    span(kHeight / 2.0f - r, kHeight / 2.0f + r, y0, y1);
  }

  std::unique_ptr<SceneGraph> scene;
  Camera* camera = nullptr;
};

TEST_F(DefaultProcessorGlTest, LitMeshIsAmbientPlusDiffuseOfADirectionalLight) {
  // Material diffuse (0.8, 0.4, 0.2), ambient (0.5, 0.5, 0.5); scene ambient
  // (0.25, 0.25, 0.25) × intensity 0.8 = 0.2; light (0.5, 1, 1) along −y,
  // straight onto the quad (N·L = 1):
  //   colour = Ma · ambient + Md · Ld = (0.1 + 0.4, 0.1 + 0.4, 0.1 + 0.2).
  scene->ambientColor[0] = scene->ambientColor[1] = scene->ambientColor[2] = 0.25f;
  scene->ambientIntensity = 0.8f;
  Light* light = rtest::addLight(*scene, D3DLIGHT_DIRECTIONAL, {0, 0, 0}, {0.5f, 1.0f, 1.0f}, 1000.0f);
  light->intensity = 1.25f;  // × the scene's 0.8 = 1
  addQuad(*scene, "quad", {0, -10, 0}, 2, {addMaterial(*scene, {0.8f, 0.4f, 0.2f}, {0.5f, 0.5f, 0.5f})});
  const std::vector<D3DCOLOR> actual = draw();
  UINT x0, y0, x1, y1;
  quadPixels(2, 10, x0, y0, x1, y1);  // 2.4 pixels per unit: columns 28..36, rows 20..28
  EXPECT_TRUE(ImagesMatch("lit-mesh", picture(0xFF000000, rgbOf(0.5f, 0.5f, 0.3f), x0, y0, x1, y1), actual, kWidth,
                          kHeight, 2));
}

TEST_F(DefaultProcessorGlTest, FogRampStartsAtFortyPercentAndReachesTheFogColourAtTheFarClip) {
  // Linear fog over eye distance: f = (far − d) / (far − 0.4·far), colour =
  // f · lit + (1 − f) · fog. Far clip 100: unfogged at d = 35 (< 40), half
  // at d = 70, and all but 1/60 of the way at d = 99.
  camera->fogEnabled = true;
  camera->farClip = 100.0f;
  const float fog[4] = {0.0f, 0.0f, 1.0f, 1.0f};
  std::memcpy(camera->fogColor, fog, sizeof fog);
  Material* white = addMaterial(*scene, {0, 0, 0}, {0, 0, 0}, 1.0f);  // self-lit: white whatever the lights
  Group* quad = addQuad(*scene, "quad", {0, -35, 0}, 300, {white});  // fills the picture at every distance
  struct Case {
    float distance;
    float unfogged;  // f
  } cases[] = {{35.0f, 1.0f}, {70.0f, 0.5f}, {99.0f, 1.0f / 60.0f}};
  for (const Case& c : cases) {
    quad->prs.position.y = -c.distance;
    quad->update(true);
    const std::vector<D3DCOLOR> actual = draw();
    const D3DCOLOR expected = rgbOf(c.unfogged, c.unfogged, 1.0f);
    EXPECT_TRUE(ImagesMatch("fog-" + std::to_string(int(c.distance)), std::vector<D3DCOLOR>(kWidth * kHeight, expected),
                            actual, kWidth, kHeight, 2));
  }
}

TEST_F(DefaultProcessorGlTest, SkyBoxFollowsTheEyeAndLiesBehindEverything) {
  // The sky box's quad is 2 units ahead of the box's centre, nearer than
  // the scene's quad at 10, and unlit: its texture's colour. The box's node
  // stays at the origin while the eye is at x = 500, so only a box centred
  // on the eye is seen; drawn first without depth, it stays behind the quad.
  camera->prs.position = D3DXVECTOR3(500, 0, 0);
  Texture* skyTexture = rtest::addSolidTexture(*scene, "sky.jpg", 0xFF3366CC);
  Material* skyMaterial = addMaterial(*scene, {1, 1, 1});
  skyMaterial->diffuseMap.reset(std::int32_t(skyTexture->id));
  Group* sky = rtest::addNode<Group>(*scene, "sky", {0, 0, 0});
  sky->parentRef.reset(-1);  // not in the tree: drawn as the sky box only
  Mesh* skyMesh = rtest::addQuadMesh(*scene, 100, 100, {skyMaterial});
  for (std::uint32_t i = 0; i < 4; ++i) skyMesh->vertexBufferRef.as<VertexBuffer>()->vertexAt(i)->position.y = -2.0f;
  sky->meshRef.reset(std::int32_t(skyMesh->id));
  scene->skybox = sky;
  addQuad(*scene, "quad", {500, -10, 0}, 2, {addMaterial(*scene, {0, 0, 0}, {0, 0, 0}, 1.0f)});

  const std::vector<D3DCOLOR> actual = draw();
  UINT x0, y0, x1, y1;
  quadPixels(2, 10, x0, y0, x1, y1);
  EXPECT_TRUE(ImagesMatch("sky-box", picture(0xFF3366CC, 0xFFFFFFFF, x0, y0, x1, y1), actual, kWidth, kHeight, 2));
}

TEST_F(DefaultProcessorGlTest, HalfVisibleIsNotDrawnAndJustOverHalfFadesInAdditively) {
  // Self-lit white material. Visibility 0.51 gives alpha (0.51 − 0.5) · 2 =
  // 0.02; a fading node blends source · alpha + destination · destination
  // alpha, and the back buffer has no alpha channel, so it reads as 1:
  // 0.02 · 255 = 5.1 levels over black. At 0.5 nothing is drawn.
  Group* quad = addQuad(*scene, "quad", {0, -10, 0}, 2, {addMaterial(*scene, {0, 0, 0}, {0, 0, 0}, 1.0f)});
  UINT x0, y0, x1, y1;
  quadPixels(2, 10, x0, y0, x1, y1);
  quad->visibility = 0.5f;
  EXPECT_TRUE(ImagesMatch("visibility-0.5", picture(0xFF000000, 0xFF000000, 0, 0, 0, 0), draw(), kWidth, kHeight, 0));
  quad->visibility = 0.51f;
  EXPECT_TRUE(ImagesMatch("visibility-0.51", picture(0xFF000000, 0xFF050505, x0, y0, x1, y1), draw(), kWidth,
                          kHeight, 1));
}

TEST_F(DefaultProcessorGlTest, SpriteBlendModesAddScreenAndDarken) {
  // Background (0.4, 0.4, 0.4), sprite texture (0.5, 0.25, 1.0), white
  // vertex colour (no lighting):
  //   mode 0: src + dst               = (0.9, 0.65, 1.0)
  //   mode 1: src + dst · (1 − src)   = (0.5 + 0.2, 0.25 + 0.3, 1.0 + 0)
  //   mode 2: dst · (1 − src)         = (0.2, 0.3, 0.0)
  Texture* texture = rtest::addSolidTexture(*scene, "spark.jpg", 0xFF8040FF);
  Sprite* sprite = rtest::addSprite(*scene, "spark", {0, -10, 0}, texture, 4.0f, 0);
  const float s[3] = {128 / 255.0f, 64 / 255.0f, 1.0f}, d = 102 / 255.0f;
  const struct {
    int mode;
    D3DCOLOR expected;
  } cases[] = {{0, rgbOf(s[0] + d, s[1] + d, 1.0f)},
               {1, rgbOf(s[0] + d * (1 - s[0]), s[1] + d * (1 - s[1]), 1.0f)},
               {2, rgbOf(d * (1 - s[0]), d * (1 - s[1]), 0.0f)}};
  for (const auto& c : cases) {
    sprite->blendMode = c.mode;
    const std::vector<D3DCOLOR> actual = draw(0xFF666666);
    // The point's centre pixel, well inside its square.
    EXPECT_TRUE(gltest::near(actual[(kHeight / 2) * kWidth + kWidth / 2], c.expected, 2))
        << "mode " << c.mode << std::hex << ": 0x" << actual[(kHeight / 2) * kWidth + kWidth / 2] << " vs 0x"
        << c.expected;
    EXPECT_EQ(actual[0], 0xFF666666u) << "mode " << c.mode;
  }
}

TEST_F(DefaultProcessorGlTest, SingleSpriteSizeFallsWithEyeDistance) {
  // Point size in pixels = viewport height × size / eye distance (scale
  // factors A = B = 0, C = 1), a square centred on the picture's centre
  // (32, 24): size 2.1 at distance 8 is 48 · 2.1 / 8 = 12.6 pixels, covering
  // centres 25.7 ≤ x < 38.3; at distance 16, 6.3 pixels.
  Texture* texture = rtest::addSolidTexture(*scene, "spark.jpg", 0xFFFFFFFF);
  Sprite* sprite = rtest::addSprite(*scene, "spark", {0, -8, 0}, texture, 2.1f, 0);
  Group* node = nullptr;
  for (Base* object : scene->objects)
    if (auto* group = dynamic_cast<Group*>(object); group != nullptr && group->sprite == sprite) node = group;
  ASSERT_NE(node, nullptr);
  for (float distance : {8.0f, 16.0f}) {
    node->prs.position.y = -distance;
    node->update(true);
    const std::vector<D3DCOLOR> actual = draw();
    const float half = kHeight * 2.1f / distance / 2.0f;
    UINT x0, x1, y0, y1;
    span(kWidth / 2.0f - half, kWidth / 2.0f + half, x0, x1);
    span(kHeight / 2.0f - half, kHeight / 2.0f + half, y0, y1);
    EXPECT_TRUE(ImagesMatch("sprite-" + std::to_string(int(distance)),
                            picture(0xFF000000, 0xFFFFFFFF, x0, y0, x1, y1), actual, kWidth, kHeight, 2));
  }
}

}  // namespace
