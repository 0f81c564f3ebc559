// Materials: the link-time colour folding and blend-mode rule, the
// transparency test, the fixed-function setup of apply for the normal and
// the glow pass, the blend states, and the colour packing helpers.
#include "scene/Material.h"
#include "scene/Texture.h"
#include "tests/scene/MeshTestScene.h"

#include <limits>
#include <vector>

namespace {

struct BindCall {
  DWORD stage;
  int mode;
  DWORD uvSet;
  bool operator==(const BindCall&) const = default;
};

std::ostream& operator<<(std::ostream& out, const BindCall& b) {
  return out << "{stage " << b.stage << ", mode " << b.mode << ", set " << b.uvSet << "}";
}

// A texture with no image whose binds are noted (and then performed, so the
// stage counter and the device see the real thing).
class ProbeTexture : public Texture {
 public:
  ProbeTexture(SceneGraph* owner, bool withAlpha, std::vector<BindCall>* binds)
      : Texture(owner->AllocateId(), owner), m_binds(binds) {
    alpha = withAlpha;
  }
  void bind(DWORD& stage, int mode, DWORD uvSet) override {
    m_binds->push_back({stage, mode, uvSet});
    Texture::bind(stage, mode, uvSet);
  }

 private:
  std::vector<BindCall>* m_binds;
};

class MaterialTest : public GeometrySceneTest {
 protected:
  Material* material(float opacity = 1.0f) {
    auto* m = new Material(scene->AllocateId(), scene);
    m->opacity = opacity;
    return m;
  }
  ProbeTexture* texture(bool withAlpha = false) { return new ProbeTexture(scene, withAlpha, &binds); }
  static void use(ObjectRef& ref, Base* object) { ref.reset(std::int32_t(object->id)); }

  DWORD renderState(D3DRENDERSTATETYPE state) {
    DWORD value = 0xDEADBEEF;
    device->GetRenderState(state, &value);
    return value;
  }
  DWORD stageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type) {
    DWORD value = 0xDEADBEEF;
    device->GetTextureStageState(stage, type, &value);
    return value;
  }
  D3DMATERIAL9 deviceMaterial() {
    D3DMATERIAL9 m{};
    device->GetMaterial(&m);
    return m;
  }

  std::vector<BindCall> binds;
};

TEST_F(MaterialTest, LinkFoldsOpacityIntoTheColoursAndBuildsTheDeviceMaterial) {
  Material* m = material(0.5f);
  const float diffuse[4] = {0.2f, 0.4f, 0.6f, 0.9f}, specular[4] = {0.5f, 0.25f, 1.0f, 0.3f};
  const float ambient[4] = {0.1f, 0.1f, 0.1f, 0.7f};
  std::copy(diffuse, diffuse + 4, m->diffuseColor);
  std::copy(specular, specular + 4, m->specularColor);
  std::copy(ambient, ambient + 4, m->ambientColor);
  m->specularLevel = 2.0f;
  m->selfIllumination = 0.25f;
  m->link();
  EXPECT_EQ(m->diffuseColor[3], 0.5f);
  EXPECT_EQ(m->specularColor[3], 0.5f);
  EXPECT_EQ(m->ambientColor[3], 0.5f);
  const D3DMATERIAL9& d = m->d3dMaterial;
  EXPECT_EQ(d.Diffuse.g, 0.4f);
  EXPECT_EQ(d.Diffuse.a, 0.5f);
  EXPECT_EQ(d.Ambient.r, 0.1f);
  EXPECT_EQ(d.Specular.r, 1.0f);
  EXPECT_EQ(d.Specular.g, 0.5f);
  EXPECT_EQ(d.Specular.b, 2.0f);
  EXPECT_EQ(d.Specular.a, 1.0f);  // 2 × the folded opacity
  EXPECT_EQ(d.Emissive.r, 0.25f);
  EXPECT_EQ(d.Emissive.b, 0.25f);
  EXPECT_EQ(d.Emissive.a, 1.0f);
  EXPECT_EQ(d.Power, 32.0f);
}

TEST_F(MaterialTest, LinkTurnsOnlyOpaqueModeMaterialsWithAlphaDiffuseMapsToBlendMode2) {
  struct Case {
    int blendMode;
    int diffuse;  // 0 none, 1 texture without alpha, 2 with alpha, 3 not a texture
    int expected;
  };
  for (const Case& c : {Case{0, 2, 2}, Case{1, 2, 1}, Case{2, 2, 2}, Case{0, 1, 0}, Case{0, 0, 0}, Case{0, 3, 0}}) {
    Material* m = material();
    m->blendMode = c.blendMode;
    if (c.diffuse == 1 || c.diffuse == 2) use(m->diffuseMap, texture(c.diffuse == 2));
    if (c.diffuse == 3) use(m->diffuseMap, material());
    m->link();
    EXPECT_EQ(m->blendMode, c.expected) << "mode " << c.blendMode << ", diffuse " << c.diffuse;
  }
}

TEST_F(MaterialTest, TransparencyRulesApplyInOrder) {
  Material* plain = material();
  EXPECT_FALSE(plain->isTransparent(1.0f));
  EXPECT_FALSE(plain->isTransparent(0.995f));  // above the 0.99 threshold
  EXPECT_TRUE(plain->isTransparent(0.99f));

  Material* faint = material(0.99f);
  EXPECT_TRUE(faint->isTransparent(1.0f));

  Material* alphaMapped = material();
  use(alphaMapped->diffuseMap, texture(true));
  EXPECT_TRUE(alphaMapped->isTransparent(1.0f));
  Material* opaqueMapped = material();
  use(opaqueMapped->diffuseMap, texture(false));
  EXPECT_FALSE(opaqueMapped->isTransparent(1.0f));

  // A specular map outranks opacity and texture alpha, but not visibility.
  Material* specular = material(0.2f);
  use(specular->diffuseMap, texture(true));
  use(specular->specularMap, texture());
  EXPECT_FALSE(specular->isTransparent(1.0f));
  EXPECT_TRUE(specular->isTransparent(0.5f));
}

TEST_F(MaterialTest, ApplyWithoutTexturesLightsTheColoursAndCubesTheOpacity) {
  Material* m = material(0.5f);
  m->diffuseColor[0] = 0.75f;
  m->link();
  const std::size_t mark = log().mark();
  m->apply(1.0f);
  EXPECT_TRUE(binds.empty());
  EXPECT_TRUE(log().containsSequence({"SetRenderState(D3DRS_LIGHTING, 1)", "SetRenderState(D3DRS_SPECULARENABLE, 1)",
                                      "SetTexture(0, NULL)", "SetTexture(7, NULL)"},
                                     mark))
      << log().dump(mark);
  const auto setMaterial = log().findName("SetMaterial", mark);
  const auto lastReset = log().find("SetTexture(7, NULL)", mark);
  const auto blend = log().find("SetRenderState(D3DRS_ALPHATESTENABLE, 1)", mark);
  ASSERT_TRUE(setMaterial && lastReset && blend);
  EXPECT_LT(*lastReset, *setMaterial);  // stages reset, then the material, then the blend states
  EXPECT_LT(*setMaterial, *blend);
  EXPECT_EQ(deviceMaterial().Diffuse.r, 0.75f);
  EXPECT_FLOAT_EQ(deviceMaterial().Diffuse.a, 0.125f);  // 0.5³

  m->apply(0.75f);  // fade 0.5
  EXPECT_FLOAT_EQ(deviceMaterial().Diffuse.a, 0.0625f);
  m->apply(0.5f);  // fade 0
  EXPECT_EQ(deviceMaterial().Diffuse.a, 0.0f);
  m->apply(std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(deviceMaterial().Diffuse.a, 0.0f);
}

TEST_F(MaterialTest, ApplyWithADiffuseMapDrawsWhiteWithOpacitySquared) {
  Material* m = material(0.5f);
  m->diffuseColor[1] = 0.3f;
  use(m->diffuseMap, texture());
  m->link();
  m->apply(1.0f);
  EXPECT_EQ(binds, (std::vector<BindCall>{{0, kStageDiffuse, 0}}));
  const D3DMATERIAL9 d = deviceMaterial();
  EXPECT_EQ(d.Diffuse.g, 1.0f);
  EXPECT_FLOAT_EQ(d.Diffuse.a, 0.25f);
  // Stages from 1 on are reset.
  EXPECT_EQ(stageState(1, D3DTSS_TEXCOORDINDEX), 1u);
  EXPECT_EQ(stageState(1, D3DTSS_TEXTURETRANSFORMFLAGS), DWORD(D3DTTFF_DISABLE));
}

TEST_F(MaterialTest, NormalPassBindsEveryMapInStageOrder) {
  scene->ambientIntensity = 0.5f;
  Material* m = material();
  use(m->lightMap, texture());
  use(m->diffuseMap, texture());
  use(m->specularMap, texture());
  use(m->sphereMap, texture());
  use(m->modulateMap, texture());
  m->link();
  m->apply(1.0f);
  EXPECT_EQ(binds, (std::vector<BindCall>{{0, kStageLightMap, 1},
                                          {1, kStageDiffuse, 0},
                                          {2, kStageSpecular, 0},
                                          {3, kStageSphereMap, 0},
                                          {4, kStageModulate, 1}}));
  EXPECT_EQ(renderState(D3DRS_TEXTUREFACTOR), 0x80808080u);  // 0.5 in every byte
  EXPECT_EQ(renderState(D3DRS_LIGHTING), 1u);                 // lit because of the specular map
  EXPECT_EQ(renderState(D3DRS_SPECULARENABLE), 0u);
  EXPECT_EQ(stageState(4, D3DTSS_TEXCOORDINDEX), 1u);         // the modulate map's set, kept
  EXPECT_EQ(stageState(5, D3DTSS_TEXCOORDINDEX), 5u);         // reset from stage 5 on
}

TEST_F(MaterialTest, LightMapWithoutSpecularMapIsUnlitAndModulateUsesSetZeroWithoutLightMap) {
  Material* lightMapped = material();
  use(lightMapped->lightMap, texture());
  lightMapped->link();
  lightMapped->apply(1.0f);
  EXPECT_EQ(renderState(D3DRS_LIGHTING), 0u);
  EXPECT_EQ(renderState(D3DRS_TEXTUREFACTOR), 0xFFFFFFFFu);  // intensity multiplier 1.0

  binds.clear();
  Material* modulated = material();
  use(modulated->modulateMap, texture());
  modulated->link();
  modulated->apply(1.0f);
  EXPECT_EQ(binds, (std::vector<BindCall>{{0, kStageModulate, 0}}));
  EXPECT_EQ(renderState(D3DRS_LIGHTING), 1u);
}

TEST_F(MaterialTest, GlowPassPutsTheSelfIlluminationColourIntoStageZero) {
  cache().glowOnly = TRUE;
  Material* m = material();
  const float diffuse[4] = {1.0f, 0.5f, 0.0f, 0.0f};
  std::copy(diffuse, diffuse + 4, m->diffuseColor);
  m->selfIllumination = 0.5f;
  use(m->sphereMap, texture());
  m->link();  // diffuse alpha = opacity 1
  const std::size_t mark = log().mark();
  m->apply(1.0f);
  EXPECT_TRUE(binds.empty());  // no sphere map in the glow pass
  EXPECT_TRUE(log().containsSequence({"SetRenderState(D3DRS_TEXTUREFACTOR, 0x80804000)",
                                      "SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1)",
                                      "SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TFACTOR)",
                                      "SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1)",
                                      "SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR)",
                                      "SetTexture(0, NULL)", "SetRenderState(D3DRS_LIGHTING, 0)"},
                                     mark))
      << log().dump(mark);
  // Stage 0 is taken: the reset starts at stage 1.
  EXPECT_FALSE(log().find("SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, 0)", mark).has_value());
  EXPECT_TRUE(log().find("SetTextureStageState(1, D3DTSS_TEXCOORDINDEX, 1)", mark).has_value());
}

TEST_F(MaterialTest, GlowPassWithADiffuseMapUsesTheFadedAlpha) {
  cache().glowOnly = TRUE;
  Material* m = material(0.5f);
  m->selfIllumination = 0.5f;
  use(m->diffuseMap, texture());
  use(m->lightMap, texture());
  use(m->modulateMap, texture());
  m->link();
  m->apply(1.0f);
  // K = (0.5, 0.5, 0.5, 0.5 × 0.5): opacity folded at link and once more.
  EXPECT_EQ(renderState(D3DRS_TEXTUREFACTOR), 0x40808080u);
  // The light map is not bound in the glow pass, but still picks the
  // modulate map's coordinate set.
  EXPECT_EQ(binds, (std::vector<BindCall>{{1, kStageDiffuse, 0}, {2, kStageModulate, 1}}));
}

TEST_F(MaterialTest, BlendStatesFollowTheModeAndTheVisibility) {
  struct Case {
    int blendMode;
    float opacity;
    float visibility;
    DWORD blendOp, srcBlend, destBlend, zWrite;
  };
  const Case cases[] = {
      {0, 0.5f, 1.0f, D3DBLENDOP_SUBTRACT, D3DBLEND_SRCALPHA, D3DBLEND_DESTALPHA, FALSE},
      {1, 0.5f, 1.0f, D3DBLENDOP_ADD, D3DBLEND_SRCALPHA, D3DBLEND_DESTALPHA, FALSE},
      {2, 0.5f, 1.0f, D3DBLENDOP_ADD, D3DBLEND_SRCALPHA, D3DBLEND_INVSRCALPHA, TRUE},
      // Fading nodes blend additively whatever the mode: below 0.999, even
      // when only the opacity made the material transparent.
      {2, 0.5f, 0.995f, D3DBLENDOP_ADD, D3DBLEND_SRCALPHA, D3DBLEND_DESTALPHA, FALSE},
      {0, 1.0f, 0.4f, D3DBLENDOP_ADD, D3DBLEND_SRCALPHA, D3DBLEND_DESTALPHA, FALSE},
  };
  for (const Case& c : cases) {
    Material* m = material(c.opacity);
    m->blendMode = c.blendMode;
    m->setBlendStates(c.visibility);
    const std::string what = "mode " + std::to_string(c.blendMode) + " visibility " + std::to_string(c.visibility);
    EXPECT_EQ(renderState(D3DRS_ALPHABLENDENABLE), 1u) << what;
    EXPECT_EQ(renderState(D3DRS_ALPHATESTENABLE), 1u) << what;
    EXPECT_EQ(renderState(D3DRS_ALPHAREF), 1u) << what;
    EXPECT_EQ(renderState(D3DRS_BLENDOP), c.blendOp) << what;
    EXPECT_EQ(renderState(D3DRS_SRCBLEND), c.srcBlend) << what;
    EXPECT_EQ(renderState(D3DRS_DESTBLEND), c.destBlend) << what;
    EXPECT_EQ(renderState(D3DRS_ZWRITEENABLE), c.zWrite) << what;
  }
}

TEST_F(MaterialTest, OpaqueMaterialsWriteDepthAndUnknownModesKeepTheBlendStates) {
  Material* opaque = material();
  device->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
  device->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
  opaque->setBlendStates(1.0f);
  EXPECT_EQ(renderState(D3DRS_ALPHABLENDENABLE), 0u);
  EXPECT_EQ(renderState(D3DRS_ZWRITEENABLE), 1u);
  EXPECT_EQ(renderState(D3DRS_ALPHATESTENABLE), 1u);

  Material* odd = material(0.5f);
  odd->blendMode = 7;
  device->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_MAX);
  device->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
  device->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ZERO);
  odd->setBlendStates(1.0f);
  EXPECT_EQ(renderState(D3DRS_ALPHABLENDENABLE), 1u);
  EXPECT_EQ(renderState(D3DRS_BLENDOP), DWORD(D3DBLENDOP_MAX));
  EXPECT_EQ(renderState(D3DRS_SRCBLEND), DWORD(D3DBLEND_ONE));
  EXPECT_EQ(renderState(D3DRS_DESTBLEND), DWORD(D3DBLEND_ZERO));
  EXPECT_EQ(renderState(D3DRS_ZWRITEENABLE), 1u);  // left from the opaque draw
}

TEST_F(MaterialTest, OpacityIsTheOnlyControlField) {
  Material* m = material();
  EXPECT_EQ(m->getControlField("OPACITY"), &m->opacity);
  EXPECT_EQ(fatalOf([&] { m->getControlField("opacity"); }), "Error|Material: Invalid control field!");
  EXPECT_EQ(fatalOf([&] { m->getControlField("VISTRACK"); }), "Error|Material: Invalid control field!");
}

TEST(ColorPacking, ChannelsClampRoundAndIgnoreNaN) {
  EXPECT_EQ(ColorChannelToByte(std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(ColorChannelToByte(-0.5f), 0);
  EXPECT_EQ(ColorChannelToByte(0.0f), 0);
  EXPECT_EQ(ColorChannelToByte(0.001f), 0);    // 0.755 truncated
  EXPECT_EQ(ColorChannelToByte(0.1f), 26);     // 25.5 + 0.5
  EXPECT_EQ(ColorChannelToByte(0.5f), 128);
  EXPECT_EQ(ColorChannelToByte(0.998f), 254);  // 254.99 truncated
  EXPECT_EQ(ColorChannelToByte(1.0f), 255);
  EXPECT_EQ(ColorChannelToByte(std::numeric_limits<float>::infinity()), 255);
  const float rgba[4] = {1.0f, 0.5f, 0.0f, 0.25f};
  EXPECT_EQ(ColorToARGB(rgba), 0x40FF8000u);
}

}  // namespace
