// The shared shaders drawing on the OpenGL device, read back as pixels: the
// per-pixel diffuse pass lit from in front and from behind, the spot cone's
// edge, attenuation at the light's range, the specular pass's exponent, the
// environment pass, and the size of cloud particles. Every expected colour
// is worked out here from the passes' formulas, including what the 8-bit
// normal map and normalising cube map give back, not taken from a run.
//
// Textures store a unit component c as the byte (c + 1) × 127.5 (normal
// maps) or int((c + 1) × 127) (the normalising cube map); the pixel programs
// read a byte b back as 2 × (b / 255 − 0.5) = b / 127.5 − 1.
#include "render/DefaultProcessor.h"

#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/SharedShaders.h"
#include "tests/platform/gfx/gl/GlTestDevice.h"
#include "tests/render/RenderTestScene.h"
#include "PixelCompare.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <string>

namespace {

using ::testing::HasSubstr;
using rtest::addCamera;
using rtest::addMaterial;
using rtest::addQuad;

constexpr UINT kWidth = 64, kHeight = 48;  // the cameras' 4:3 aspect

struct FatalExit {
  std::string text;
};
std::string g_lastBox;

float unpack(float byte) { return byte / 127.5f - 1.0f; }

// A flat normal map texel (128, 128, 255): N = (1/255·2, same, 1), almost +z.
const float kFlatN[3] = {unpack(128), unpack(128), unpack(255)};

// The light (or half) vector straight along +z or -z of tangent space looks
// up the centre of the cube map's +Z or -Z face. Its four nearest texels
// point along (±0.0039, ±0.0039, ±0.99998), which pack to 126 or 127 across
// and 253 (+Z) or 0 (-Z) along z; filtering keeps z and lands between 126
// and 127 across.
const float kAcross = unpack(126.5f);
const float kAlongPlusZ = unpack(253), kAlongMinusZ = unpack(0);

float dot3(const float a[3], const float b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

int byteOf(float value) { return int(std::lround(std::fmin(std::fmax(value, 0.0f), 1.0f) * 255.0f)); }
D3DCOLOR rgbOf(float r, float g, float b) {
  return 0xFF000000u | D3DCOLOR(byteOf(r)) << 16 | D3DCOLOR(byteOf(g)) << 8 | D3DCOLOR(byteOf(b));
}

// Scenes here get a default processor only: the passes are checked alone,
// without a glow pass drawing the scene again.
void defaultProcessorOnly(SceneGraph& scene) {
  auto* processor = new DefaultProcessor(scene.AllocateId(), &scene);
  scene.processors.push_back(processor);
  scene.defaultProcessor = processor;
}

class LitPassesGlTest : public gltest::GlDeviceTest {
 protected:
  void SetUp() override {
    // A shader the device refuses must fail the test, not end the process.
    SetMessageBoxHook([](const char* text, const char*, UINT) {
      g_lastBox = text != nullptr ? text : "";
      return IDOK;
    });
    SetExitProcessHook([](UINT) { throw FatalExit{g_lastBox}; });
    previousFactory = GetSceneProcessorFactory();
    SetSceneProcessorFactory(defaultProcessorOnly);
    open({kWidth, kHeight});
    try {
      CreateSharedShaders(m_device);
    } catch (const FatalExit& exit) {
      FAIL() << exit.text;
    }
    scene = std::make_unique<SceneGraph>(m_device);
    camera = addCamera(*scene, {0, 0, 0});
  }
  void TearDown() override {
    scene.reset();
    ReleaseSharedShaders();
    close();
    SetSceneProcessorFactory(previousFactory);
    SetExitProcessHook(nullptr);
    SetMessageBoxHook(nullptr);
  }
  void restart() {
    TearDown();
    SetUp();
  }

  std::vector<D3DCOLOR> draw(D3DCOLOR background = 0xFF000000) {
    rtest::prepareOnce(*scene);
    m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, background, 1.0f, 0);
    scene->Render();
    return frame();
  }
  static std::vector<D3DCOLOR> picture(D3DCOLOR outside, D3DCOLOR inside, UINT x0, UINT y0, UINT x1, UINT y1) {
    std::vector<D3DCOLOR> image(kWidth * kHeight, outside);
    fill(image, inside, x0, y0, x1, y1);
    return image;
  }
  static void fill(std::vector<D3DCOLOR>& image, D3DCOLOR color, UINT x0, UINT y0, UINT x1, UINT y1) {
    for (UINT y = y0; y < y1; ++y)
      for (UINT x = x0; x < x1; ++x) image[y * kWidth + x] = color;
  }
  static D3DCOLOR at(const std::vector<D3DCOLOR>& image, UINT x, UINT y) { return image[y * kWidth + x]; }

  // A texture of w × h ARGB texels in the scene's cache, and a scene
  // texture that loads it (".jpg" names: no alpha channel).
  Texture* addTexture(const std::string& name, UINT w, UINT h, const std::vector<D3DCOLOR>& texels) {
    scene->stateCache->textures[name] = texture(w, h, texels);
    Texture* sceneTexture = new Texture(scene->AllocateId(), scene.get());
    sceneTexture->load(name.c_str(), false);
    return sceneTexture;
  }
  // A normal-mapped material: a solid normal map, a solid diffuse map or
  // (diffuse 0) the material colour.
  Material* litMaterial(D3DCOLOR normal, D3DCOLOR diffuse, rtest::Rgb color = {0, 0, 0}) {
    static int serial = 0;
    const std::string tag = std::to_string(serial++);
    Material* material = addMaterial(*scene, color);
    material->normalMap.reset(std::int32_t(rtest::addSolidTexture(*scene, "normal" + tag + ".jpg", normal)->id));
    if (diffuse != 0)
      material->diffuseMap.reset(std::int32_t(rtest::addSolidTexture(*scene, "diffuse" + tag + ".jpg", diffuse)->id));
    return material;
  }
  Light* addLight(D3DLIGHTTYPE type, D3DXVECTOR3 position, rtest::Rgb color, float range,
                  rtest::Rgb shadow = {0, 0, 0}) {
    Light* light = rtest::addLight(*scene, type, position, color, range);
    const float s[4] = {shadow.r, shadow.g, shadow.b, 1.0f};
    std::memcpy(light->shadowColor, s, sizeof s);
    return light;
  }
  void setAmbient(float r, float g, float b) {
    const float a[4] = {r, g, b, 1.0f};
    std::memcpy(scene->ambientColor, a, sizeof a);
  }

  SceneProcessorFactory previousFactory = nullptr;
  std::unique_ptr<SceneGraph> scene;
  Camera* camera = nullptr;
};

// A 2 × 2 quad 3.2 units ahead: 90° vertical field of view, so one unit is
// (48 / 2) / 3.2 = 7.5 pixels; it covers x 24.5 .. 39.5 and y 16.5 .. 31.5,
// that is columns 25..39 and rows 17..31, with the picture's centre (32, 24)
// on the quad's centre.
constexpr float kQuadDistance = 3.2f;
constexpr UINT kQx0 = 25, kQx1 = 40, kQy0 = 17, kQy1 = 32;

TEST_F(LitPassesGlTest, DiffuseLightFromInFrontAndTheShadowColourFromBehind) {
  // Diffuse texture (0.8, 0.6, 1.0), light (1.5, 0.5, 0.25): shader model 1
  // clamps the pixel constant to 1. Shadow (0.2, 0.4, 0.6), ambient (0.1,
  // 0.2, 0). The light is 1000 units away along the quad's normal (range
  // 100 000, attenuation 1 − 1000² / 100 000² = 0.9999 at every corner), so
  // every pixel sees it straight along +z or -z of tangent space:
  //   k = (L · N) × 0.9999
  //   colour = (sat(k × light) + sat(−k × shadow) + ambient) × texture
  const float attenuation = 1.0f - (1000.0f * 1000.0f + 2.0f) / 1e10f;
  const struct {
    const char* name;
    float lightY;  // the quad is at y = -3.2, facing +y
    float lz;
  } cases[] = {{"lit-front", 1000.0f - kQuadDistance, kAlongPlusZ},
               {"lit-behind", -1000.0f - kQuadDistance, kAlongMinusZ}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_NO_FATAL_FAILURE(restart());
    setAmbient(0.1f, 0.2f, 0.0f);
    addLight(D3DLIGHT_POINT, {0, c.lightY, 0}, {1.5f, 0.5f, 0.25f}, 1e5f, {0.2f, 0.4f, 0.6f});
    addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {litMaterial(0xFF8080FF, 0xFFCC99FF)});
    const float L[3] = {kAcross, kAcross, c.lz};
    const float k = dot3(L, kFlatN) * attenuation;
    const float light[3] = {1.0f, 0.5f, 0.25f}, shadow[3] = {0.2f, 0.4f, 0.6f}, ambient[3] = {0.1f, 0.2f, 0.0f};
    const float texel[3] = {0.8f, 0.6f, 1.0f};
    float rgb[3];
    for (int i = 0; i < 3; ++i)
      rgb[i] = (std::fmin(std::fmax(k * light[i], 0.0f), 1.0f) + std::fmin(std::fmax(-k * shadow[i], 0.0f), 1.0f) +
                ambient[i]) *
               texel[i];
    // In front: (0.984 + 0.1) × 0.8, (0.492 + 0.2) × 0.6, 0.246: (221, 106, 63).
    // Behind: (0.2 + 0.1) × 0.8, (0.4 + 0.2) × 0.6, 0.6: (61, 92, 153).
    EXPECT_TRUE(ImagesMatch(c.name, picture(0xFF000000, rgbOf(rgb[0], rgb[1], rgb[2]), kQx0, kQy0, kQx1, kQy1),
                            draw(), kWidth, kHeight, 2));
  }
}

TEST_F(LitPassesGlTest, LightFromTheSideMeetsATiltedNormalInTangentSpace) {
  // The normal map leans towards +x: bytes (204, 128, 230), N = (0.6,
  // 0.0039, 0.8039). The light is 1000 units away, 30° off the quad's normal
  // towards +x. The quad's tangent frame puts world +x on tangent x (r0 = n
  // × b), so the light vector is (0.5, 0, 0.866): on the cube map's +Z face
  // at s = 0.5 / 0.866 = 0.577, texel coordinate (s + 1) / 2 × 256 = 201.9,
  // that is 60 % of texel 201 and 40 % of texel 202. Those hold s = 0.5765
  // and 0.5843, that is (0.4994, 0, 0.8664) → (190, 127, 237) and (0.5045,
  // 0, 0.8634) → (191, 127, 236). Filtered: L = (unpack(190.4), ~0,
  // unpack(236.6)), and L · N = 0.984; a frame with tangent and binormal
  // exchanged would give 0.69.
  addLight(D3DLIGHT_POINT, {500.0f, 866.0254f - kQuadDistance, 0}, {1, 1, 1}, 1e5f);
  addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {litMaterial(0xFFCC80E6, 0, {0.8f, 0.6f, 0.4f})});
  const float N[3] = {unpack(204), unpack(128), unpack(230)};
  const float L[3] = {unpack(190.4f), kAcross, unpack(236.6f)};
  const float k = dot3(L, N) * (1.0f - 1e6f / 1e10f);
  const D3DCOLOR expected = rgbOf(k * 0.8f, k * 0.6f, k * 0.4f);  // (201, 150, 100)
  EXPECT_TRUE(ImagesMatch("lit-side", picture(0xFF000000, expected, kQx0, kQy0, kQx1, kQy1), draw(), kWidth,
                          kHeight, 3));
}

TEST_F(LitPassesGlTest, SpotConeHasAHardEdgeAtTheVertices) {
  // A spot light at the eye aims along -y at the quad's centre. The cone
  // test is made per vertex: the quad's corners (±1, −3.2, ±1) lie at
  // acos(3.2 / √12.24) = 23.85° off the axis. A cone 0.01° wider lights
  // the whole quad; 0.01° narrower, every corner is outside and the quad is
  // black (no ambient). A cone exactly through the corners cannot be told
  // apart from these in single precision on the GPU.
  const float edge = std::acos(kQuadDistance / std::sqrt(12.24f)) * 57.29578f;
  const float range = 1000.0f;
  const float cornerAttenuation = 1.0f - 12.24f / (range * range);
  // The centre pixel looks at the light straight along +z: k = L · N × a.
  const float L[3] = {kAcross, kAcross, kAlongPlusZ};
  const float k = dot3(L, kFlatN) * cornerAttenuation;
  const D3DCOLOR lit = rgbOf(k * 0.5f, k * 0.75f, k * 1.0f);  // (125, 188, 251)

  for (float widen : {0.01f, -0.01f}) {
    SCOPED_TRACE(widen);
    ASSERT_NO_FATAL_FAILURE(restart());
    Light* spot = addLight(D3DLIGHT_SPOT, {0, 0, 0}, {1, 1, 1}, range);
    spot->hotspot = 2.0f * (edge + widen);  // the full cone angle
    addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {litMaterial(0xFF8080FF, 0, {0.5f, 0.75f, 1.0f})});
    const std::vector<D3DCOLOR> actual = draw();
    if (widen < 0) {
      EXPECT_TRUE(ImagesMatch("spot-outside", picture(0xFF000000, 0xFF000000, 0, 0, 0, 0), actual, kWidth, kHeight, 0));
      continue;
    }
    EXPECT_TRUE(gltest::near(at(actual, 32, 24), lit, 2)) << std::hex << at(actual, 32, 24) << " vs " << lit;
    // Lit right out to the corners, nothing outside the quad.
    int litInside = 0, litOutside = 0;
    for (UINT y = 0; y < kHeight; ++y)
      for (UINT x = 0; x < kWidth; ++x) {
        const bool inside = x >= kQx0 && x < kQx1 && y >= kQy0 && y < kQy1;
        const bool isLit = (at(actual, x, y) & 0xFF) > 128;  // blue: 251 at the centre, 229 at the corners
        (inside ? litInside : litOutside) += isLit ? 1 : 0;
      }
    EXPECT_EQ(litInside, int((kQx1 - kQx0) * (kQy1 - kQy0)));
    EXPECT_EQ(litOutside, 0);
  }
}

TEST_F(LitPassesGlTest, AttenuationReachesZeroAtTheLightsRange) {
  // A point light at the eye; the corners are √12.24 away. Range = that
  // distance: a = 1 − d² / range² = 0 at every corner, the quad is black.
  // Twice that range: a = 1 − 1/4 = 0.75 at every corner and so everywhere.
  const float cornerDistance = std::sqrt(12.24f);
  const float L[3] = {kAcross, kAcross, kAlongPlusZ};
  const float k = dot3(L, kFlatN) * 0.75f;
  const struct {
    float range;
    bool black;
  } cases[] = {{cornerDistance, true}, {2.0f * cornerDistance, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.range);
    ASSERT_NO_FATAL_FAILURE(restart());
    addLight(D3DLIGHT_POINT, {0, 0, 0}, {1, 1, 1}, c.range);
    addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {litMaterial(0xFF8080FF, 0, {0.5f, 0.75f, 1.0f})});
    const std::vector<D3DCOLOR> actual = draw();
    if (c.black) {
      EXPECT_TRUE(ImagesMatch("range-edge", picture(0xFF000000, 0xFF000000, 0, 0, 0, 0), actual, kWidth, kHeight, 0));
    } else {
      // The centre pixel: (0.369, 0.554, 0.738) = (94, 141, 188).
      const D3DCOLOR expected = rgbOf(k * 0.5f, k * 0.75f, k);
      EXPECT_TRUE(gltest::near(at(actual, 32, 24), expected, 2)) << std::hex << at(actual, 32, 24) << " vs "
                                                                  << expected;
    }
  }
}

TEST_F(LitPassesGlTest, SpecularHighlightIsTheSixteenthPowerOfTheHalfVector) {
  // Black diffuse (the diffuse pass draws black), specular colour (1, 0.5,
  // 0.25) at level 1, added with ONE, ONE. The light is 1000 units away
  // along the normal and the eye straight in front of the quad's centre, so
  // the half vector there is +z of tangent space: s = H · N, and the centre
  // pixel is s¹⁶ × colour × attenuation: 0.9843¹⁶ = 0.776 → (198, 99, 49)
  // (s⁸ would give 225, s³² 153).
  addLight(D3DLIGHT_POINT, {0, 1000.0f - kQuadDistance, 0}, {1, 1, 1}, 1e5f);
  Material* material = litMaterial(0xFF8080FF, 0, {0, 0, 0});
  const float specular[4] = {1.0f, 0.5f, 0.25f, 1.0f};
  std::memcpy(material->specularColor, specular, sizeof specular);
  material->specularLevel = 1.0f;
  addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {material});
  const float H[3] = {kAcross, kAcross, kAlongPlusZ};
  const float s = dot3(H, kFlatN);
  const float highlight = std::pow(s, 16.0f) * (1.0f - (1000.0f * 1000.0f + 2.0f) / 1e10f);
  const std::vector<D3DCOLOR> actual = draw();
  const D3DCOLOR expected = rgbOf(highlight, highlight * 0.5f, highlight * 0.25f);
  EXPECT_TRUE(gltest::near(at(actual, 32, 24), expected, 2)) << std::hex << at(actual, 32, 24) << " vs " << expected;
  EXPECT_EQ(at(actual, 2, 2), 0xFF000000u) << "nothing outside the quad";
}

TEST_F(LitPassesGlTest, FogFadesTheDiffusePassAndTheHighlightOnlyOnce) {
  // Far clip 5: the shaders' fog factor (5 − d) / 3 runs from 1 at 2 units
  // to 0 at 5. The quad's corners are √12.24 = 3.4986 from the eye, so the
  // factor is f = 0.50047 at every corner and so everywhere. Fog colour
  // blue. The black material's diffuse pass is fogged by the fixed-function
  // fog: (0, 0, 1 − f). The specular pass (fog off, FogAtten 0) is faded by
  // f itself: + s¹⁶ × (1, 0.5, 0.25) × a × f, s as in the highlight test.
  camera->farClip = 5.0f;
  camera->fogEnabled = true;
  const float blue[4] = {0, 0, 1, 1};
  std::memcpy(camera->fogColor, blue, sizeof blue);
  addLight(D3DLIGHT_POINT, {0, 1000.0f - kQuadDistance, 0}, {1, 1, 1}, 1e5f);
  Material* material = litMaterial(0xFF8080FF, 0, {0, 0, 0});
  const float specular[4] = {1.0f, 0.5f, 0.25f, 1.0f};
  std::memcpy(material->specularColor, specular, sizeof specular);
  material->specularLevel = 1.0f;
  addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {material});

  const float f = (5.0f - std::sqrt(12.24f)) / 3.0f;
  const float H[3] = {kAcross, kAcross, kAlongPlusZ};
  const float highlight = std::pow(dot3(H, kFlatN), 16.0f) * (1.0f - (1000.0f * 1000.0f + 2.0f) / 1e10f) * f;
  const D3DCOLOR expected = rgbOf(highlight, highlight * 0.5f, highlight * 0.25f + (1.0f - f));  // (99, 49, 152)
  const std::vector<D3DCOLOR> actual = draw();
  EXPECT_TRUE(gltest::near(at(actual, 32, 24), expected, 2)) << std::hex << at(actual, 32, 24) << " vs " << expected;
}

TEST_F(LitPassesGlTest, FogNearerThanItsStartLeavesBothPassesUnfogged) {
  // Far clip 10: the shaders' factor (10 − d) / 6 is 1.084 at the corners'
  // distance √12.24 = 3.4986, past 1. The vertex stage saturates it, so the
  // diffuse pass keeps its colour (black) and the highlight is not scaled
  // up: s¹⁶ × (1, 0.5, 0.25) × a, as without fog.
  camera->farClip = 10.0f;
  camera->fogEnabled = true;
  const float blue[4] = {0, 0, 1, 1};
  std::memcpy(camera->fogColor, blue, sizeof blue);
  addLight(D3DLIGHT_POINT, {0, 1000.0f - kQuadDistance, 0}, {1, 1, 1}, 1e5f);
  Material* material = litMaterial(0xFF8080FF, 0, {0, 0, 0});
  const float specular[4] = {1.0f, 0.5f, 0.25f, 1.0f};
  std::memcpy(material->specularColor, specular, sizeof specular);
  material->specularLevel = 1.0f;
  addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {material});

  const float H[3] = {kAcross, kAcross, kAlongPlusZ};
  const float highlight = std::pow(dot3(H, kFlatN), 16.0f) * (1.0f - (1000.0f * 1000.0f + 2.0f) / 1e10f);
  const D3DCOLOR expected = rgbOf(highlight, highlight * 0.5f, highlight * 0.25f);
  const std::vector<D3DCOLOR> actual = draw();
  EXPECT_TRUE(gltest::near(at(actual, 32, 24), expected, 2)) << std::hex << at(actual, 32, 24) << " vs " << expected;
}

// The environment tests' sphere map: 8 × 8 texels in quadrants, top-left
// B = (0, 1, 0), top-right A = (0.2, 0.4, 0.6), bottom-left C = (0.8, 0.2,
// 0), bottom-right white.
constexpr D3DCOLOR kSphereA = 0xFF336699, kSphereB = 0xFF00FF00, kSphereC = 0xFFCC3300;
std::vector<D3DCOLOR> sphereQuadrants() {
  std::vector<D3DCOLOR> texels(8 * 8);
  for (UINT i = 0; i < texels.size(); ++i) {
    const bool right = i % 8 >= 4, bottom = i / 8 >= 4;
    texels[i] = bottom ? (right ? 0xFFFFFFFF : kSphereC) : (right ? kSphereA : kSphereB);
  }
  return texels;
}

// Normals tilted both ways: bytes (204, 204, 195) give N = (0.6, 0.6,
// 0.5294), bytes (51, 51, 195) N = (−0.6, −0.6, 0.5294). Camera and quads
// are unrotated, so the view-space frame is the world's: normal +y, stored
// tangent −x, binormal +z; r0 = n × b = +x, r1 = n × t = +z, r2 = n, and the
// rows are (0.5, 0, 0.5) and (0, −0.5, 0.5):
//   u = 0.5 N.x + 0.5 N.z, v = −0.5 N.y + 0.5 N.z
// (0.6, 0.6, 0.53) → (0.565, −0.035): top right, A (texel 4.5, clamped row 0)
// (−0.6, −0.6, 0.53) → (−0.035, 0.565): bottom left, C
constexpr D3DCOLOR kTiltedUpRight = 0xFFCCCCC3, kTiltedDownLeft = 0xFF3333C3;

TEST_F(LitPassesGlTest, EnvironmentPassLooksUpTheSphereMapByTheMappedNormal) {
  // Two quads side by side (x = ±1.5, 3.2 ahead). Without fog the pass's
  // ramp is clamped to 1 (1000/999 at the eye). Blending adds src + dst ×
  // (1 − src). The left material is black, so its diffuse pass leaves 0 and
  // the quad shows A. The right material (1, 0.5, 0.25) under a (0.4, 0.4,
  // 0.4) light along the normal gives D = k × 0.4 × colour with k = L · N ×
  // 0.9999, and the quad shows C + D × (1 − C).
  addLight(D3DLIGHT_POINT, {0, 1000.0f - kQuadDistance, 0}, {0.4f, 0.4f, 0.4f}, 1e5f);
  Texture* sphere = addTexture("chrome.jpg", 8, 8, sphereQuadrants());
  Material* left = litMaterial(kTiltedUpRight, 0, {0, 0, 0});
  Material* right = litMaterial(kTiltedDownLeft, 0, {1.0f, 0.5f, 0.25f});
  left->sphereMap.reset(std::int32_t(sphere->id));
  right->sphereMap.reset(std::int32_t(sphere->id));
  addQuad(*scene, "left", {-1.5f, -kQuadDistance, 0}, 1, {left});
  addQuad(*scene, "right", {1.5f, -kQuadDistance, 0}, 1, {right});

  const float nRight[3] = {unpack(51), unpack(51), unpack(195)};
  const float L[3] = {kAcross, kAcross, kAlongPlusZ};
  const float k = dot3(L, nRight) * (1.0f - (1000.0f * 1000.0f + 2.0f) / 1e10f);
  const float D[3] = {k * 0.4f, k * 0.4f * 0.5f, k * 0.4f * 0.25f};
  const float c[3] = {0.8f, 0.2f, 0.0f};
  const D3DCOLOR rightColor =
      rgbOf(c[0] + D[0] * (1 - c[0]), c[1] + D[1] * (1 - c[1]), c[2] + D[2] * (1 - c[2]));  // (215, 73, 14)

  // One unit is 7.5 pixels: the left quad covers x 13.25 .. 28.25, the right
  // one 35.75 .. 50.75.
  std::vector<D3DCOLOR> expected = picture(0xFF000000, kSphereA, 14, kQy0, 29, kQy1);
  fill(expected, rightColor, 36, kQy0, 51, kQy1);
  EXPECT_TRUE(ImagesMatch("environment", expected, draw(), kWidth, kHeight, 2));
}

TEST_F(LitPassesGlTest, EnvironmentPassReadsTheNormalMapAtTheSecondCoordinates) {
  // A 2 × 1 normal map, tilted up-right on the left texel and down-left on
  // the right one, on a quad whose first coordinates run the other way (u1
  // = 1 − u2). Read at u2, the quad's left quarter (u2 < 0.25: filtering
  // takes the left texel alone) shows A and its right quarter C; read at
  // u1 they would be swapped. The quad's columns 25..39 have u2 = (x −
  // 24.5) / 15: columns 25..28 and 36..39 are the quarters.
  addLight(D3DLIGHT_POINT, {0, 1000.0f - kQuadDistance, 0}, {0, 0, 0}, 1e5f);
  Texture* sphere = addTexture("chrome.jpg", 8, 8, sphereQuadrants());
  Material* material = addMaterial(*scene, {0, 0, 0});
  material->normalMap.reset(std::int32_t(addTexture("bumps.jpg", 2, 1, {kTiltedUpRight, kTiltedDownLeft})->id));
  material->sphereMap.reset(std::int32_t(sphere->id));
  Group* quad = addQuad(*scene, "quad", {0, -kQuadDistance, 0}, 1, {material});
  auto* vb = quad->meshRef.as<Mesh>()->vertexBufferRef.as<VertexBuffer>();
  for (std::uint32_t i = 0; i < 4; ++i) vb->vertexAt(i)->uv1[0] = 1.0f - vb->vertexAt(i)->uv2[0];

  const std::vector<D3DCOLOR> actual = draw();
  for (UINT y = kQy0; y < kQy1; ++y) {
    for (UINT x : {25u, 28u}) EXPECT_TRUE(gltest::near(at(actual, x, y), kSphereA, 2)) << x << ", " << y;
    for (UINT x : {36u, 39u}) EXPECT_TRUE(gltest::near(at(actual, x, y), kSphereC, 2)) << x << ", " << y;
  }
}

TEST_F(LitPassesGlTest, CloudParticlesShrinkWithDistance) {
  // One particle per cloud, at the node (no extent), size 1.875, white. The
  // shader moves each corner by ±size / 2 in clip space before the divide
  // by the depth w: half a square is (size / 2) / w × (64 / 2) = 7.5 pixels
  // across and (size / 2) / w × (48 / 2) = 5.625 down at w = 4, half that at
  // w = 8. Centres: x = 32 + 24 × x / w.
  //   near, (−2, −4, 0): centre (20, 24): x 12.5 .. 27.5, y 18.375 .. 29.625
  //   far, (2, −8, 0): centre (38, 24): x 34.25 .. 41.75, y 21.1875 .. 26.8125
  Texture* spark = rtest::addSolidTexture(*scene, "spark.jpg", 0xFFFFFFFF);
  for (const D3DXVECTOR3& position : {D3DXVECTOR3(-2, -4, 0), D3DXVECTOR3(2, -8, 0)}) {
    auto* cloud = rtest::addSprite<SpriteCloud>(*scene, "cloud", position, spark, 1.875f, 0);
    cloud->count = 1;
    cloud->brightness = 1.0f;
  }
  std::vector<D3DCOLOR> expected = picture(0xFF000000, 0xFFFFFFFF, 13, 19, 28, 30);
  fill(expected, 0xFFFFFFFF, 35, 22, 42, 27);
  EXPECT_TRUE(ImagesMatch("cloud-sizes", expected, draw(), kWidth, kHeight, 2));
}

// The normalising cube map as the device samples it: a direction just
// inside each face's first texel (row 0, column 0, where s = t = -1) reads
// that texel back (point sampling, stage 0 selecting the texture). The
// faces' (s, t) follow Direct3D's cube-map layout: +X (1, -t, -s), -X (-1,
// -t, s), +Y (s, 1, t), -Y (s, -1, -t), +Z (s, -t, 1), -Z (-s, -t, -1).
// Components ±1/√3 pack to int((1 ± 0.57735) × 127) = 200 or 53.
TEST_F(LitPassesGlTest, CubeMapFacesReadBackTheirCornerDirections) {
  ASSERT_NE(SharedShaders::NormalizingCubeMap, nullptr);
  struct Vertex {
    float x, y, z, rhw;
    float u, v, w;
  };
  const struct {
    float direction[3];
    D3DCOLOR expected;
  } cases[] = {
      {{1, 0.999f, 0.999f}, 0xFFC8C8C8},      // +X: (1, 1, 1)
      {{-1, 0.999f, -0.999f}, 0xFF35C835},    // -X: (-1, 1, -1)
      {{-0.999f, 1, -0.999f}, 0xFF35C835},    // +Y: (-1, 1, -1)
      {{-0.999f, -1, 0.999f}, 0xFF3535C8},    // -Y: (-1, -1, 1)
      {{-0.999f, 0.999f, 1}, 0xFF35C8C8},     // +Z: (-1, 1, 1)
      {{0.999f, 0.999f, -1}, 0xFFC8C835},     // -Z: (1, 1, -1)
  };
  plainStates();
  m_device->SetTexture(0, SharedShaders::NormalizingCubeMap);
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
  m_device->SetFVF(D3DFVF_XYZRHW | D3DFVF_TEX1 | D3DFVF_TEXCOORDSIZE3(0));
  clear(0xFF000000);
  for (int i = 0; i < 6; ++i) {
    const float* d = cases[i].direction;
    const float x0 = 4.0f * float(i), x1 = x0 + 4.0f;
    const Vertex quad[4] = {{x0, 0, 0.5f, 1, d[0], d[1], d[2]},
                            {x1, 0, 0.5f, 1, d[0], d[1], d[2]},
                            {x0, 4, 0.5f, 1, d[0], d[1], d[2]},
                            {x1, 4, 0.5f, 1, d[0], d[1], d[2]}};
    ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(Vertex)), D3D_OK);
  }
  const std::vector<D3DCOLOR> actual = frame();
  m_device->SetTexture(0, nullptr);
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(at(actual, UINT(4 * i + 2), 2), cases[i].expected) << "face " << i << std::hex << ": 0x"
                                                                     << at(actual, UINT(4 * i + 2), 2);
}

// Compiling for real: a source that only the driver can reject (a vec3 used
// as a float on line 4) ends the show with the driver's first line.
TEST_F(LitPassesGlTest, ADriverErrorIsQuotedInTheFatalMessage) {
  const char* source = "#version 330 core\n"
                       "layout(location = 0) in vec3 position;\n"
                       "void Main() {\n"
                       "  float wrong = position;\n"
                       "  gl_Position = vec4(wrong);\n"
                       "}\n";
  ID3DXConstantTable* table = nullptr;
  try {
    CreateSharedVertexShader(m_device, source, "Main", nullptr, &table);
    ADD_FAILURE() << "the show went on";
  } catch (const FatalExit& exit) {
    EXPECT_THAT(exit.text, HasSubstr("Shader compilation failed: Main\n"));
    EXPECT_THAT(exit.text, HasSubstr("error"));
    EXPECT_THAT(exit.text, HasSubstr(":4(")) << "the source's own line number";
  }
  EXPECT_EQ(table, nullptr);
}

}  // namespace
