// The per-pixel passes and the particle-cloud constants on the recording
// device: which programs, textures and blend states each pass sets, and the
// value of every shader constant, by name, at the moment of each draw.
// Expected matrices are built here from the node's world matrix and the
// camera's view and projection (the transforms the camera put on the device).
#include "render/DefaultProcessor.h"

#include "render/SharedShaders.h"
#include "tests/render/RenderTestScene.h"
#include "tests/scene/SceneTestSupport.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

using ::testing::FloatNear;
using ::testing::Pointwise;
using rtest::addCamera;
using rtest::addMaterial;
using rtest::addQuad;

using Values = std::vector<float>;

// The by-name constants in force at a draw: the last value set for each name.
struct Constants {
  std::map<std::string, Values> vertex, pixel;
  bool has(const std::map<std::string, Values>& set, const std::string& name) const { return set.count(name) != 0; }
  Values vs(const std::string& name) const { return get(vertex, name); }
  Values ps(const std::string& name) const { return get(pixel, name); }
  static Values get(const std::map<std::string, Values>& set, const std::string& name) {
    auto it = set.find(name);
    if (it != set.end()) return it->second;
    ADD_FAILURE() << name << " was never set";
    return {};
  }
};

Values matrixValues(const D3DXMATRIX& m) { return Values(&m._11, &m._11 + 16); }
Values vec4(float x, float y, float z, float w) { return {x, y, z, w}; }
Values xyzOf(const Values& v) { return Values(v.begin(), v.begin() + std::min<std::size_t>(3, v.size())); }

std::string labelOf(IUnknown* object) {
  if (object == nullptr) return "NULL";
  auto* recorded = dynamic_cast<RecordingObject*>(object);
  return recorded != nullptr ? recorded->label() : "?";
}

// Scenes here get a default processor only: the passes are checked alone,
// without a glow pass drawing the scene again.
void defaultProcessorOnly(SceneGraph& scene) {
  auto* processor = new DefaultProcessor(scene.AllocateId(), &scene);
  scene.processors.push_back(processor);
  scene.defaultProcessor = processor;
}

class LitPassesTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    previousFactory = GetSceneProcessorFactory();
    SetSceneProcessorFactory(defaultProcessorOnly);
    CreateSharedShaders(device);
    camera = addCamera(*scene, {1, 2, 3}, 100.0f);
    device->BeginScene();
  }
  void TearDown() override {
    device->EndScene();
    rtest::releaseBindings(device);
    ReleaseSharedShaders();
    SceneTest::TearDown();
    SetSceneProcessorFactory(previousFactory);
  }

  std::size_t frame() {
    rtest::prepareOnce(*scene);
    const std::size_t mark = log().mark();
    scene->Render();
    return mark;
  }

  // Indices of the indexed draws from `from` on.
  std::vector<std::size_t> draws(std::size_t from, const char* name = "DrawIndexedPrimitive") {
    std::vector<std::size_t> at;
    for (auto found = log().findName(name, from); found; found = log().findName(name, *found + 1))
      at.push_back(*found);
    return at;
  }

  Constants constantsAt(std::size_t from, std::size_t at) {
    Constants c;
    for (std::size_t i = from; i < at; ++i) {
      const RecordedCall& call = log()[i];
      const bool vertex = call.name == "setVertexShaderConstantByName";
      if (!vertex && call.name != "setPixelShaderConstantByName") continue;
      std::string name = call.arg(0);
      name = name.substr(1, name.size() - 2);  // printed in quotes
      Values values(call.data.size() / sizeof(float));
      std::memcpy(values.data(), call.data.data(), values.size() * sizeof(float));
      (vertex ? c.vertex : c.pixel)[name] = values;
    }
    return c;
  }

  // The textures and the normal-mapped material every case starts from:
  // a diffuse map, a flat normal map, and a quad of scale 2 at (1, -6, 3),
  // 8 units in front of the eye.
  void buildLitQuad(bool withDiffuseMap = true) {
    normalMap = rtest::addSolidTexture(*scene, "bumps.jpg", 0xFF8080FF);
    material = addMaterial(*scene, {0.6f, 0.4f, 0.2f});
    material->normalMap.reset(std::int32_t(normalMap->id));
    if (withDiffuseMap) {
      diffuseMap = rtest::addSolidTexture(*scene, "wood.jpg", 0xFF808080);
      material->diffuseMap.reset(std::int32_t(diffuseMap->id));
    }
    quad = addQuad(*scene, "quad", {1, -6, 3}, 1, {material});
    quad->prs.scale = D3DXVECTOR3(2, 2, 2);
    scene->ambientColor[0] = 0.25f;
    scene->ambientColor[1] = 0.5f;
    scene->ambientColor[2] = 0.75f;
    scene->ambientColor[3] = 1.0f;
    scene->ambientIntensity = 0.5f;  // must not reach the pixel programs
  }
  Light* addLight(D3DLIGHTTYPE type, D3DXVECTOR3 position, float range) {
    Light* light = rtest::addLight(*scene, type, position, {0.9f, 0.8f, 0.7f}, range);
    const float shadow[4] = {0.1f, 0.2f, 0.3f, 0.4f};
    std::memcpy(light->shadowColor, shadow, sizeof shadow);
    return light;
  }

  D3DXMATRIX expectedWorldViewProj() const {
    D3DXMATRIX wv, wvp;
    D3DXMatrixMultiply(&wv, &quad->world, &camera->view);
    D3DXMatrixMultiply(&wvp, &wv, &camera->projection);
    return wvp;
  }

  SceneProcessorFactory previousFactory = nullptr;
  Camera* camera = nullptr;
  Texture* normalMap = nullptr;
  Texture* diffuseMap = nullptr;
  Material* material = nullptr;
  Group* quad = nullptr;
};


#define EXPECT_VALUES(actual, expected) EXPECT_THAT((actual), Pointwise(FloatNear(1e-5f), (expected)))

TEST_F(LitPassesTest, DiffusePassSetsProgramsTexturesAndEveryConstant) {
  buildLitQuad();
  addLight(D3DLIGHT_POINT, {1, 4, 3}, 20.0f);
  const std::size_t mark = frame();
  const std::vector<std::size_t> at = draws(mark);
  ASSERT_EQ(at.size(), 1u) << "no specular colour, no sphere map: one pass\n" << log().dump(mark);

  using namespace SharedShaders;
  const std::string normal = labelOf(normalMap->d3dTexture), cube = labelOf(NormalizingCubeMap);
  EXPECT_TRUE(log().containsSequence(
      {"SetVertexShader(" + labelOf(LitVS) + ")", "SetVertexDeclaration(" + labelOf(LitDecl) + ")",
       "SetTexture(7, NULL)", "SetTexture(0, " + labelOf(diffuseMap->d3dTexture) + ")",
       "SetPixelShader(" + labelOf(DiffusePS) + ")", "SetTexture(1, " + normal + ")",
       "SetSamplerState(1, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP)",
       "SetSamplerState(1, D3DSAMP_ADDRESSV, D3DTADDRESS_WRAP)", "SetTexture(2, " + cube + ")",
       "SetTexture(3, " + cube + ")", log()[at[0]].text(), "SetRenderState(D3DRS_FOGENABLE, 0)",
       "SetRenderState(D3DRS_ALPHABLENDENABLE, 0)"},
      mark))
      << log().dump(mark);
  EXPECT_EQ(log()[at[0]].text(), "DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2)");

  const Constants c = constantsAt(mark, at[0]);
  D3DXMATRIX worldAf;
  D3DXMatrixScaling(&worldAf, 2, 2, 2);
  EXPECT_VALUES(c.vs("World"), matrixValues(quad->world));
  EXPECT_EQ(quad->world._42, -6.0f);
  EXPECT_VALUES(c.vs("WorldAf"), matrixValues(worldAf));
  EXPECT_VALUES(c.vs("WorldViewProj"), matrixValues(expectedWorldViewProj()));
  EXPECT_VALUES(xyzOf(c.vs("LightPos")), (Values{1, 4, 3}));
  EXPECT_VALUES(xyzOf(c.vs("EyePos")), (Values{1, 2, 3}));
  EXPECT_VALUES(c.vs("InvLightRangeSq"), Values{1.0f / 400.0f});
  EXPECT_VALUES(c.vs("FarClip"), Values{100.0f});
  EXPECT_VALUES(c.vs("IFarClip"), Values{1.0f / 60.0f});
  EXPECT_VALUES(c.vs("FogAtten"), Values{1.0f});
  EXPECT_FALSE(c.has(c.vertex, "LightDir")) << "the plain program has no cone";
  EXPECT_FALSE(c.has(c.vertex, "cosHotSpot"));

  EXPECT_VALUES(c.ps("LightColor"), vec4(0.9f, 0.8f, 0.7f, 1.0f));
  EXPECT_VALUES(c.ps("ShadowColor"), vec4(0.1f, 0.2f, 0.3f, 0.4f));
  EXPECT_VALUES(c.ps("AmbientColor"), vec4(0.25f, 0.5f, 0.75f, 1.0f)) << "not times the intensity";
  EXPECT_FALSE(c.has(c.pixel, "DiffuseColor"));
}

TEST_F(LitPassesTest, WithoutADiffuseMapTheMaterialColourIsTheSurface) {
  buildLitQuad(false);
  addLight(D3DLIGHT_POINT, {1, 4, 3}, 20.0f);
  const std::size_t mark = frame();
  const std::vector<std::size_t> at = draws(mark);
  ASSERT_EQ(at.size(), 1u);
  EXPECT_TRUE(log().containsSequence(
      {"SetTexture(0, NULL)", "SetPixelShader(" + labelOf(SharedShaders::DiffuseNoTexPS) + ")"}, mark));
  const Constants c = constantsAt(mark, at[0]);
  // The link folded the opacity (1) into the colour's alpha.
  EXPECT_VALUES(c.ps("DiffuseColor"), vec4(0.6f, 0.4f, 0.2f, 1.0f));
}

TEST_F(LitPassesTest, ASpotLightRelativelyNearerThanAPointLightPicksTheConeProgram) {
  buildLitQuad();
  // The point light is nearer in distance (2 against 10) but farther for
  // its range (2/5 against 10/100).
  addLight(D3DLIGHT_POINT, {1, -4, 3}, 5.0f);
  Light* spot = addLight(D3DLIGHT_SPOT, {1, -6, 13}, 100.0f);
  spot->hotspot = 40.0f;
  // A quarter turn about x: the light's -y axis points along +z.
  spot->prs.rotation = D3DXQUATERNION(std::sin(0.7853982f), 0, 0, std::cos(0.7853982f));
  const std::size_t mark = frame();
  const std::vector<std::size_t> at = draws(mark);
  ASSERT_EQ(at.size(), 1u);
  EXPECT_EQ(log().last("SetVertexShader")->text(), "SetVertexShader(" + labelOf(SharedShaders::LitSpotVS) + ")");
  const Constants c = constantsAt(mark, at[0]);
  EXPECT_VALUES(xyzOf(c.vs("LightPos")), (Values{1, -6, 13}));
  EXPECT_VALUES(c.vs("InvLightRangeSq"), Values{1.0f / 10000.0f});
  EXPECT_VALUES(xyzOf(c.vs("LightDir")), (Values{0, 0, 1}));
  EXPECT_THAT(c.vs("cosHotSpot"), Pointwise(FloatNear(1e-6f), Values{0.9396926f})) << "cos(40° / 2)";
}

TEST_F(LitPassesTest, SpecularPassAddsWithTheScaledColourAndFadesByFogOnlyWhenFogIsOn) {
  for (bool fog : {false, true}) {
    SCOPED_TRACE(fog ? "fog on" : "fog off");
    TearDown();
    SetUp();
    buildLitQuad();
    addLight(D3DLIGHT_POINT, {1, 4, 3}, 20.0f);
    const float specular[4] = {0.2f, 0.4f, 0.6f, 1.0f};
    std::memcpy(material->specularColor, specular, sizeof specular);
    material->specularLevel = 0.5f;
    camera->fogEnabled = fog;
    const std::size_t mark = frame();
    const std::vector<std::size_t> at = draws(mark);
    ASSERT_EQ(at.size(), 2u) << log().dump(mark);
    EXPECT_TRUE(log().containsSequence(
        {"SetRenderState(D3DRS_FOGENABLE, 0)", "SetRenderState(D3DRS_ALPHABLENDENABLE, 1)",
         "SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD)", "SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE)",
         "SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ONE)",
         "SetPixelShader(" + labelOf(SharedShaders::SpecularPS) + ")", log()[at[1]].text(),
         "SetRenderState(D3DRS_ALPHABLENDENABLE, 0)"},
        at[0]))
        << log().dump(at[0]);
    const Constants diffuse = constantsAt(mark, at[0]), added = constantsAt(mark, at[1]);
    EXPECT_VALUES(diffuse.vs("FogAtten"), Values{1.0f});
    EXPECT_VALUES(added.vs("FogAtten"), Values{fog ? 0.0f : 1.0f});
    EXPECT_VALUES(added.ps("SpecularColor"), vec4(0.1f, 0.2f, 0.3f, 0.5f));
    // The vertex program and its other constants stay.
    EXPECT_EQ(log().count("SetVertexShader", at[0]), 0u);
    EXPECT_VALUES(added.vs("WorldViewProj"), diffuse.vs("WorldViewProj"));
  }
}

TEST_F(LitPassesTest, SpecularPassNeedsLevelTimesColourSumOfAtLeastOneHundredth) {
  const struct {
    float level;
    std::size_t draws;
  } cases[] = {{0.0033f, 1}, {0.0034f, 2}};  // × (1 + 1 + 1): 0.0099 and 0.0102
  for (const auto& c : cases) {
    SCOPED_TRACE(c.level);
    TearDown();
    SetUp();
    buildLitQuad();
    addLight(D3DLIGHT_POINT, {1, 4, 3}, 20.0f);
    const float white[4] = {1, 1, 1, 1};
    std::memcpy(material->specularColor, white, sizeof white);
    material->specularLevel = c.level;
    EXPECT_EQ(draws(frame()).size(), c.draws);
  }
}

TEST_F(LitPassesTest, EnvironmentPassMapsByTheViewSpaceNormal) {
  for (bool fog : {false, true}) {
    SCOPED_TRACE(fog ? "fog on" : "fog off");
    TearDown();
    SetUp();
    // The eye turned a quarter about z looks along +x; the quad sits in
    // front of it, turned to face it.
    const float half = 0.7853982f;
    camera->prs.rotation = D3DXQUATERNION(0, 0, std::sin(half), std::cos(half));
    camera->fogEnabled = fog;
    buildLitQuad();
    quad->prs.position = D3DXVECTOR3(9, 2, 3);
    quad->prs.rotation = camera->prs.rotation;
    Texture* sphere = rtest::addSolidTexture(*scene, "chrome.jpg", 0xFFC0C0C0);
    material->sphereMap.reset(std::int32_t(sphere->id));
    addLight(D3DLIGHT_POINT, {1, 4, 3}, 20.0f);
    const std::size_t mark = frame();
    const std::vector<std::size_t> at = draws(mark);
    ASSERT_EQ(at.size(), 2u) << log().dump(mark);

    using namespace SharedShaders;
    EXPECT_TRUE(log().containsSequence(
        {"SetVertexShader(" + labelOf(EnvVS) + ")", "SetPixelShader(" + labelOf(EnvPS) + ")",
         "SetRenderState(D3DRS_ALPHABLENDENABLE, 1)", "SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD)",
         "SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE)", "SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCCOLOR)",
         "SetTexture(1, NULL)", "SetTexture(7, NULL)", "SetTexture(0, " + labelOf(normalMap->d3dTexture) + ")",
         "SetTexture(2, " + labelOf(sphere->d3dTexture) + ")", log()[at[1]].text(),
         "SetRenderState(D3DRS_ALPHABLENDENABLE, 0)"},
        at[0]))
        << log().dump(at[0]);

    // WorldView = WorldAf × the inverse camera rotation. Both are the same
    // quarter turn (the quad's scale 2 aside), so the product is 2 × I.
    const Constants c = constantsAt(mark, at[1]);
    D3DXMATRIX twice;
    D3DXMatrixScaling(&twice, 2, 2, 2);
    EXPECT_VALUES(c.vs("WorldView"), matrixValues(twice));
    EXPECT_VALUES(c.vs("WorldViewProj"), matrixValues(expectedWorldViewProj()));
    EXPECT_VALUES(xyzOf(c.vs("EyePos")), (Values{1, 2, 3}));
    if (fog) {
      EXPECT_VALUES(c.vs("FarClip"), Values{100.0f});
      EXPECT_VALUES(c.vs("IFarClip"), Values{1.0f / 60.0f});
    } else {
      // 1000/999 at the eye, 1 at the far clip: never fades inside the view.
      EXPECT_VALUES(c.vs("FarClip"), Values{100000.0f});
      EXPECT_THAT(c.vs("IFarClip"), Pointwise(FloatNear(1e-10f), Values{1.0f / 99900.0f}));
    }
  }
}

TEST_F(LitPassesTest, ALightThatReachesNothingDrawsNothing) {
  // Range 0: distance / range is infinite, so no light is dominant.
  buildLitQuad();
  addLight(D3DLIGHT_POINT, {1, 4, 3}, 0.0f);
  const std::size_t mark = frame();
  EXPECT_TRUE(draws(mark).empty()) << log().dump(mark);
  EXPECT_EQ(log().count("SetVertexShader", mark), 0u);
}

TEST_F(LitPassesTest, CloudConstantsAreTheNodesTransformsAndTheFogRamp) {
  Texture* spark = rtest::addSolidTexture(*scene, "spark.jpg", 0xFFFFFFFF);
  auto* cloud = rtest::addSprite<SpriteCloud>(*scene, "cloud", {1, -6, 3}, spark, 2.0f, 0);
  cloud->count = 1;
  cloud->brightness = 1.0f;
  camera->farClip = 50.0f;
  const std::size_t mark = frame();
  const std::vector<std::size_t> at = draws(mark, "DrawPrimitive");
  ASSERT_EQ(at.size(), 1u) << log().dump(mark);
  EXPECT_EQ(log()[at[0]].text(), "DrawPrimitive(D3DPT_TRIANGLELIST, 0, 2)");
  EXPECT_EQ(log().last("SetVertexShader")->text(),
            "SetVertexShader(" + labelOf(SharedShaders::SpriteVS) + ")");

  Group* node = scene->root;
  for (Base* object : scene->objects)
    if (auto* group = dynamic_cast<Group*>(object); group != nullptr && group->sprite == cloud) node = group;
  const Constants c = constantsAt(mark, at[0]);
  D3DXMATRIX wv, wvp;
  D3DXMatrixMultiply(&wv, &node->world, &camera->view);
  D3DXMatrixMultiply(&wvp, &wv, &camera->projection);
  EXPECT_EQ(node->world._41, 1.0f);
  EXPECT_VALUES(c.vs("World"), matrixValues(node->world));
  EXPECT_VALUES(c.vs("WorldViewProj"), matrixValues(wvp));
  EXPECT_VALUES(xyzOf(c.vs("EyePos")), (Values{1, 2, 3}));
  EXPECT_VALUES(c.vs("FarClip"), Values{50.0f});
  EXPECT_VALUES(c.vs("IFarClip"), Values{1.0f / 30.0f});
}

}  // namespace
