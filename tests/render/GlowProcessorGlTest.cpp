// The glow on the OpenGL device, read back as pixels: the halo around a
// glowing object and how far it reaches, no halo around an object that does
// not glow, about eight copies of the glow image at glow amount 0, the same
// picture from four-stage and two-stage devices, and the camera's state
// after the glow.
//
// The expected pictures come from a model of the chain worked out in this
// file from Direct3D 9's rules, not from a run: a full-screen quad whose
// corners lie on the viewport's corners gives pixel (x, y) of a W × H target
// the texture coordinate (x / W, y / H) (pixel centres on integers, the
// half-texel offset the Direct3D 9 documentation describes under "Directly
// Mapping Texels to Pixels"); bilinear filtering with clamped addressing
// samples at (u·size − 0.5); every pass writes 8-bit channels, rounded; the
// stages' sum saturates at 1 and additive blending saturates in the target.
#include "platform/d3dx/D3DXMath.h"
#include "render/GlowAmount.h"
#include "render/GlowProcessor.h"
#include "render/GlowTargets.h"
#include "render/SceneProcessors.h"
#include "tests/platform/gfx/gl/GlTestDevice.h"
#include "tests/render/RenderTestScene.h"
#include "PixelCompare.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

namespace {

using rtest::addCamera;
using rtest::addMaterial;
using rtest::addQuad;

// A square screen, so that every sampling position of the composite falls
// on a texel centre or half way between two (8 texels of target 0 and 4 of
// the others per screen pixel): the device's filter weights are then exact.
constexpr UINT kScreen = 64;

// One channel image, values 0..255.
struct Plane {
  int size = 0;
  std::vector<float> v;
  float at(int x, int y) const {
    x = std::clamp(x, 0, size - 1);
    y = std::clamp(y, 0, size - 1);
    return v[std::size_t(y) * std::size_t(size) + std::size_t(x)];
  }
  // Bilinear, clamped, at texture coordinate (u, v).
  float sample(float u, float w) const {
    const float sx = u * float(size) - 0.5f, sy = w * float(size) - 0.5f;
    const float fx0 = std::floor(sx), fy0 = std::floor(sy);
    const float fx = sx - fx0, fy = sy - fy0;
    const int x0 = int(fx0), y0 = int(fy0);
    const float top = at(x0, y0) * (1 - fx) + at(x0 + 1, y0) * fx;
    const float bottom = at(x0, y0 + 1) * (1 - fx) + at(x0 + 1, y0 + 1) * fx;
    return top * (1 - fy) + bottom * fy;
  }
};

// The OpenGL device moves rows by 0.5 − 1/128 pixel instead of Direct3D's
// 0.5 (so that edges through pixel centres fall on Direct3D's side of its
// fill rule): a row's pixel centres see the texture coordinate of 1/128
// pixel further down. One screen pixel spans 8 texels of target 0, so at a
// sharp edge this moves the composite by up to 1/16 of the step; the model
// takes the device's rows as they are.
constexpr float kRowOffset = 1.0f / 128.0f;

float byteOf(float value) { return std::round(std::clamp(value, 0.0f, 255.0f)); }

// Pixels of a `size` target whose centres lie inside the clip-space
// rectangle [-hx, hx] × [-hy, hy]: centre i at clip x = 2i / size − 1; a left
// or top edge through a centre includes it.
bool inside(int x, int y, int size, float hx, float hy) {
  const float half = float(size) / 2.0f;
  const float x0 = (1 - hx) * half, x1 = (1 + hx) * half, y0 = (1 - hy) * half, y1 = (1 + hy) * half;
  return float(x) >= x0 && float(x) < x1 && float(y) >= y0 && float(y) < y1;
}

// The glow chain of one colour channel: target 0 holds `glow` inside the
// rectangle; returns the eight targets.
std::array<Plane, 8> glowChain(float glow, float hx, float hy, float amount, bool twoStage) {
  std::array<Plane, 8> t;
  t[0].size = 512;
  t[0].v.assign(512 * 512, 0.0f);
  for (int y = 0; y < 512; ++y)
    for (int x = 0; x < 512; ++x)
      if (inside(x, y, 512, hx, hy)) t[0].v[std::size_t(y) * 512 + std::size_t(x)] = glow;
  const float weight = 64.0f / 255.0f;  // the texture factor 0x40
  const float h = 0.5f / 256.0f;
  for (int i = 1; i < 8; ++i) {
    const Plane& src = t[i - 1];
    Plane& dst = t[i];
    dst.size = 256;
    dst.v.assign(256 * 256, 0.0f);
    const float r = float(i) * amount;
    for (int y = 0; y < 256; ++y) {
      for (int x = 0; x < 256; ++x) {
        const float u = float(x) / 256.0f + h, w = (float(y) + kRowOffset) / 256.0f + h;
        const float right = src.sample(u + r, w), left = src.sample(u - r, w);
        const float below = src.sample(u, w + r), above = src.sample(u, w - r);
        float value;
        if (twoStage) {
          // Two passes, each written in 8 bits, the second added by blending.
          value = std::min(255.0f, byteOf((right + left) * weight) + byteOf((below + above) * weight));
        } else {
          value = byteOf((right + left + below + above) * weight);
        }
        dst.v[std::size_t(y) * 256 + std::size_t(x)] = value;
      }
    }
  }
  return t;
}

// What the screen shows for one channel: `scene` inside the object's
// rectangle (on screen), plus the composite of the eight targets, `perDraw`
// textures per additive draw.
std::vector<float> composite(const std::array<Plane, 8>& t, float scene, float hx, float hy, int perDraw) {
  std::vector<float> out(kScreen * kScreen, 0.0f);
  for (int y = 0; y < int(kScreen); ++y) {
    for (int x = 0; x < int(kScreen); ++x) {
      float value = inside(x, y, int(kScreen), hx, hy) ? scene : 0.0f;
      const float u = float(x) / float(kScreen), w = (float(y) + kRowOffset) / float(kScreen);
      for (int first = 0; first < 8; first += perDraw) {
        float sum = 0;
        for (int s = 0; s < perDraw; ++s) sum += t[std::size_t(first + s)].sample(u, w);
        value = std::min(255.0f, value + byteOf(sum));
      }
      out[std::size_t(y) * kScreen + std::size_t(x)] = value;
    }
  }
  return out;
}

// A self-lit quad of half size 2 at distance 10 straight ahead: with the
// 90° field of view and the cameras' 4:3 aspect it covers clip x in ±0.15,
// clip y in ±0.2 (on the 64 × 64 screen columns 28..36, rows 26..38). On
// screen it shows its emissive grey `self`; in the glow pass self × diffuse
// per channel, converted as every colour is (the integer part of
// c × 255 + 0.5).
constexpr float kHalfX = 0.2f / 1.33333f, kHalfY = 0.2f;
const rtest::Rgb kDiffuse{1.0f, 0.5f, 0.25f};

struct Glowing {
  float self;       // self-illumination
  float amount;     // GlowAmount
  bool twoStage;    // the processor takes the two-stage path
};

// The model's picture of one Glowing case.
std::vector<D3DCOLOR> expectedGlow(const Glowing& g) {
  const float sceneByte = std::round(g.self * 255.0f);
  const float glowBytes[3] = {float(ColorChannelByte(g.self * kDiffuse.r)),
                              float(ColorChannelByte(g.self * kDiffuse.g)),
                              float(ColorChannelByte(g.self * kDiffuse.b))};
  std::vector<D3DCOLOR> image(kScreen * kScreen, 0xFF000000);
  for (int c = 0; c < 3; ++c) {
    const auto chain = glowChain(glowBytes[c], kHalfX, kHalfY, g.amount, g.twoStage);
    const std::vector<float> channel = composite(chain, sceneByte, kHalfX, kHalfY, g.twoStage ? 2 : 4);
    for (std::size_t i = 0; i < image.size(); ++i) image[i] |= D3DCOLOR(channel[i]) << (16 - 8 * c);
  }
  return image;
}

// Lit pixels of the centre row right of the object (columns 37 on): how
// far the halo reaches.
int reach(const std::vector<D3DCOLOR>& image) {
  int lit = 0;
  for (UINT x = 37; x < kScreen; ++x)
    if ((image[(kScreen / 2) * kScreen + x] & 0xFFFFFF) != 0) lit = int(x) - 36;
  return lit;
}

// Channel distance of two pictures at one pixel (colour only).
int channelDistance(D3DCOLOR a, D3DCOLOR b) {
  int worst = 0;
  for (int shift = 0; shift < 24; shift += 8)
    worst = std::max(worst, std::abs(int((a >> shift) & 0xFF) - int((b >> shift) & 0xFF)));
  return worst;
}

// llvmpipe's samples at the silhouette's edges land a few levels off the
// model (at most 6 seen, at about a dozen pixels of 4096); a wrong tap,
// weight, radius or level moves whole bands of the halo by far more.
constexpr int kModelTolerance = 6;

// Each case draws one frame on a fresh device, so that what one frame
// leaves in the stages cannot colour another's.
class GlowProcessorGlTest : public gltest::GlDeviceTest {
 protected:
  void SetUp() override {
    savedAmount = GlowAmount;
    SetSceneProcessorFactory(&CreateSceneProcessors);
    start();
  }
  void TearDown() override {
    finish();
    GlowAmount = savedAmount;
  }
  // maxTextures: the simultaneous textures the device reports (2 makes the
  // glow take its two-stage path).
  void start(DWORD maxTextures = 8) {
    gltest::DeviceOptions options;
    options.width = options.height = kScreen;
    options.maxTextures = maxTextures;
    open(options);
    CreateGlowTargets(m_device);
    ASSERT_TRUE(GlowTargetsReady(m_device));
    scene = std::make_unique<SceneGraph>(m_device);
    camera = addCamera(*scene, {0, 0, 0});
  }
  void finish() {
    scene.reset();
    if (m_device != nullptr) {
      for (DWORD stage = 0; stage < 8; ++stage) m_device->SetTexture(stage, nullptr);
      m_device->SetStreamSource(0, nullptr, 0, 0);
      m_device->SetIndices(nullptr);
      m_device->SetVertexShader(nullptr);
      m_device->SetPixelShader(nullptr);
    }
    ReleaseGlowTargets();
    close();
  }

  GlowProcessor* glow() { return dynamic_cast<GlowProcessor*>(scene->processors.back()); }

  std::vector<D3DCOLOR> draw() {
    rtest::prepareOnce(*scene);
    m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xFF000000, 1.0f, 0);
    scene->Render();
    return frame();
  }

  // One frame of the glowing quad on a fresh device: one with eight
  // textures, or one with two for the two-stage path.
  std::vector<D3DCOLOR> drawGlowing(const Glowing& g) {
    finish();
    start(g.twoStage ? 2 : 8);
    addQuad(*scene, "glowing", {0, -10, 0}, 2, {addMaterial(*scene, kDiffuse, {0, 0, 0}, g.self)});
    scene->loaded = true;
    scene->Prepare();
    EXPECT_EQ(glow()->fewStages, g.twoStage) << "from the device's caps";
    GlowAmount = g.amount;
    return draw();
  }

  std::unique_ptr<SceneGraph> scene;
  Camera* camera = nullptr;
  float savedAmount = 0;
};

TEST_F(GlowProcessorGlTest, GlowingObjectGetsAHaloWhoseReachGrowsWithTheGlowAmount) {
  // Amounts in whole 256ths: every tap of the chain then lands on a texel
  // centre or half way between two.
  int lastReach = -1;
  for (float amount : {0.0f, 2.0f / 256.0f, 6.0f / 256.0f}) {
    const Glowing g{0.6f, amount, false};
    const std::vector<D3DCOLOR> actual = drawGlowing(g);
    const std::vector<D3DCOLOR> expected = expectedGlow(g);
    EXPECT_TRUE(ImagesMatch("glow-halo-" + std::to_string(int(amount * 256)), expected, actual, kScreen, kScreen,
                            kModelTolerance));
    // The halo lies outside the silhouette and reaches further with more
    // glow, as far as the model's.
    const int seen = reach(actual);
    EXPECT_GT(seen, lastReach) << "amount " << amount * 256 << "/256";
    EXPECT_GE(seen, reach(expected) - 1) << "amount " << amount * 256 << "/256";
    lastReach = seen;
  }
  EXPECT_GE(lastReach, 10) << "6/256 spreads the halo over ten pixels and more";
}

TEST_F(GlowProcessorGlTest, GlowAmountZeroAddsAboutEightTimesTheGlowImage) {
  // Self-illumination 0.05: on screen the quad is 0.05 grey = 13 (12.75
  // rounded); its glow colour is (13, 6, 3). With no blur radius every
  // level copies the one before × 256/255 (four taps of 64/255), which
  // rounds back to the same bytes, so the centre of the quad receives the
  // scene plus eight glow images:
  //   red 13 + 8 · 13 = 117, green 13 + 8 · 6 = 61, blue 13 + 8 · 3 = 37.
  const Glowing g{0.05f, 0.0f, false};
  const std::vector<D3DCOLOR> actual = drawGlowing(g);
  EXPECT_THAT(actual[32 * kScreen + 32], gltest::NearColor(0xFF753D25u, 1));
  EXPECT_TRUE(ImagesMatch("glow-amount-0", expectedGlow(g), actual, kScreen, kScreen, kModelTolerance));
}

TEST_F(GlowProcessorGlTest, ObjectThatDoesNotGlowGetsNoHalo) {
  // Lit by the ambient light only, no self-illumination: on screen the
  // scene's ambient colour (0.4, 0.6, 0.8) = (102, 153, 204); its glow
  // colour is black, so the pixels beside it stay black.
  scene->ambientColor[0] = 0.4f;
  scene->ambientColor[1] = 0.6f;
  scene->ambientColor[2] = 0.8f;
  addQuad(*scene, "dull", {0, -10, 0}, 2, {addMaterial(*scene, {1, 1, 1}, {1, 1, 1}, 0.0f)});
  GlowAmount = 6.0f / 256.0f;
  const std::vector<D3DCOLOR> actual = draw();
  std::vector<D3DCOLOR> expected(kScreen * kScreen, 0xFF000000);
  for (int y = 0; y < int(kScreen); ++y)
    for (int x = 0; x < int(kScreen); ++x)
      if (inside(x, y, int(kScreen), kHalfX, kHalfY)) expected[std::size_t(y) * kScreen + std::size_t(x)] = 0xFF6699CC;
  EXPECT_TRUE(ImagesMatch("glow-none", expected, actual, kScreen, kScreen, 1));
}

TEST_F(GlowProcessorGlTest, FourStageAndTwoStageDevicesDifferOnlyByTheirRounding) {
  // Two half passes (horizontal taps, then vertical taps added) equal one
  // four-tap pass but for rounding: each half is written in 8 bits. That
  // rounding compounds over the seven levels: an odd byte v becomes
  // 2 · round(v · 128/255) = v + 1 where one pass gives round(v · 256/255)
  // = v, so the two-stage picture can run several levels above the
  // four-stage one (the models differ by up to about 10 at a glow of 0.3).
  // Each path must match its own model, and the two pictures may differ
  // only by what the models' rounding explains, plus 2, but for a few
  // silhouette-edge pixels (0.1 %) where the device samples off the model.
  for (float self : {0.05f, 0.3f}) {
    const Glowing four{self, 3.0f / 256.0f, false}, two{self, 3.0f / 256.0f, true};
    const std::vector<D3DCOLOR> fourImage = drawGlowing(four);
    const std::vector<D3DCOLOR> twoImage = drawGlowing(two);
    const std::vector<D3DCOLOR> fourModel = expectedGlow(four), twoModel = expectedGlow(two);
    const std::string name = "glow-" + std::to_string(int(self * 100));
    EXPECT_TRUE(ImagesMatch(name + "-four-stage", fourModel, fourImage, kScreen, kScreen, kModelTolerance));
    EXPECT_TRUE(ImagesMatch(name + "-two-stage", twoModel, twoImage, kScreen, kScreen, kModelTolerance));
    int beyond = 0;
    for (std::size_t i = 0; i < fourImage.size(); ++i)
      if (channelDistance(fourImage[i], twoImage[i]) > channelDistance(fourModel[i], twoModel[i]) + 2) ++beyond;
    EXPECT_LE(beyond, 4) << "self-illumination " << self;
    EXPECT_NE(fourImage[32 * kScreen + 40] & 0xFF0000, 0u) << "a halo to compare";
  }
}

TEST_F(GlowProcessorGlTest, NextFrameLooksTheSame) {
  // The composite leaves stages 1..3 adding their (then unbound) textures;
  // the next frame's materials reset only the stages they use. A stage
  // that reads no texture passes the current colour on, so the second
  // frame is the first again.
  const Glowing g{0.6f, 2.0f / 256.0f, false};
  const std::vector<D3DCOLOR> first = drawGlowing(g);
  EXPECT_TRUE(ImagesMatch("glow-second-frame", first, draw(), kScreen, kScreen, 0));
}

TEST_F(GlowProcessorGlTest, CameraViewProjectionAndDepthAreBackAfterTheGlow) {
  addQuad(*scene, "glowing", {0, -10, 0}, 2, {addMaterial(*scene, {1, 1, 1}, {0, 0, 0}, 0.5f)});
  draw();
  D3DMATRIX view, projection;
  m_device->GetTransform(D3DTS_VIEW, &view);
  m_device->GetTransform(D3DTS_PROJECTION, &projection);
  EXPECT_EQ(std::memcmp(&view, &camera->view, sizeof view), 0);
  EXPECT_EQ(std::memcmp(&projection, &camera->projection, sizeof projection), 0);
  DWORD z = 0, zWrite = 0, lighting = 0;
  m_device->GetRenderState(D3DRS_ZENABLE, &z);
  m_device->GetRenderState(D3DRS_ZWRITEENABLE, &zWrite);
  m_device->GetRenderState(D3DRS_LIGHTING, &lighting);
  EXPECT_EQ(z, DWORD(TRUE));
  EXPECT_EQ(zWrite, DWORD(TRUE));
  EXPECT_EQ(lighting, DWORD(TRUE));
  IDirect3DSurface9* target = nullptr;
  IDirect3DSurface9* back = nullptr;
  m_device->GetRenderTarget(0, &target);
  m_device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back);
  EXPECT_EQ(target, back) << "the frame goes on on the back buffer";
  target->Release();
  back->Release();
}

}  // namespace
