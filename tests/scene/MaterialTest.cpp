// Materials: the link-time colour folding and blend-mode rule, the
// transparency test, the fixed-function setup of apply for the normal and
// the glow pass, the blend states, the texture-stage reset and the colour
// packing helpers.
#include "scene/Material.h"
#include "scene/Texture.h"
#include "tests/scene/SceneTestSupport.h"

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

class MaterialTest : public SceneTest {
 protected:
  Material* material(float opacity = 1.0f) {
    auto* m = new Material(scene->AllocateId(), scene);
    m->opacity = opacity;
    return m;
  }
  ProbeTexture* texture(bool withAlpha = false) { return new ProbeTexture(scene, withAlpha, &binds); }

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
  EXPECT_EQ(m->diffuseColor[3] + m->specularColor[3] + m->ambientColor[3], 1.5f);  // each alpha the opacity
  const D3DMATERIAL9& d = m->d3dMaterial;
  auto rgba = [](const D3DCOLORVALUE& c) { return std::vector<float>{c.r, c.g, c.b, c.a}; };
  EXPECT_EQ(rgba(d.Diffuse), (std::vector<float>{0.2f, 0.4f, 0.6f, 0.5f}));
  EXPECT_EQ(d.Ambient.r, 0.1f);
  EXPECT_EQ(rgba(d.Specular), (std::vector<float>{1.0f, 0.5f, 2.0f, 1.0f}));  // × the level, alpha included
  EXPECT_EQ(rgba(d.Emissive), (std::vector<float>{0.25f, 0.25f, 0.25f, 1.0f}));
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
  struct Case {
    float opacity;
    int diffuse;  // 0 none, 1 texture without alpha, 2 with alpha
    bool specularMap;
    float visibility;
    bool transparent;
  };
  // Visibility below 0.99, then a specular map (opaque), then opacity
  // below 1, then the diffuse map's alpha.
  for (const Case& c : {Case{1, 0, false, 1, false}, Case{1, 0, false, 0.995f, false}, Case{1, 0, false, 0.99f, true},
                        Case{0.99f, 0, false, 1, true}, Case{1, 2, false, 1, true}, Case{1, 1, false, 1, false},
                        Case{0.2f, 2, true, 1, false}, Case{0.2f, 2, true, 0.5f, true}}) {
    Material* m = material(c.opacity);
    if (c.diffuse != 0) use(m->diffuseMap, texture(c.diffuse == 2));
    if (c.specularMap) use(m->specularMap, texture());
    EXPECT_EQ(m->isTransparent(c.visibility), c.transparent)
        << "opacity " << c.opacity << " diffuse " << c.diffuse << " specular " << c.specularMap << " visibility "
        << c.visibility;
  }
}

TEST_F(MaterialTest, ApplyWithoutTexturesLightsTheColoursAndCubesTheOpacity) {
  Material* m = material(0.5f);
  m->diffuseColor[0] = 0.75f;
  m->link();
  const std::size_t mark = log().mark();
  m->apply(1.0f);
  EXPECT_TRUE(binds.empty());
  // Lighting on, every stage reset, then the material, then the blend states.
  EXPECT_TRUE(log().containsSequence({"SetRenderState(D3DRS_LIGHTING, 1)", "SetRenderState(D3DRS_SPECULARENABLE, 1)",
                                      "SetTexture(0, NULL)", "SetTexture(7, NULL)"},
                                     mark))
      << log().dump(mark);
  const auto setMaterial = log().findName("SetMaterial", mark);
  const auto lastReset = log().find("SetTexture(7, NULL)", mark);
  const auto blend = log().find("SetRenderState(D3DRS_ALPHATESTENABLE, 1)", mark);
  ASSERT_TRUE(setMaterial && lastReset && blend);
  EXPECT_LT(*lastReset, *setMaterial);
  EXPECT_LT(*setMaterial, *blend);
  EXPECT_EQ(deviceMaterial().Diffuse.r, 0.75f);
  // Alpha (opacity × fade)³ with fade = (visibility − 0.5) × 2, clamped.
  const std::pair<float, float> alphas[] = {
      {1.0f, 0.125f}, {0.75f, 0.0625f}, {0.5f, 0.0f}, {std::numeric_limits<float>::quiet_NaN(), 0.0f}};
  for (const auto& [visibility, alpha] : alphas) {
    m->apply(visibility);
    EXPECT_FLOAT_EQ(deviceMaterial().Diffuse.a, alpha) << visibility;
  }
}

TEST_F(MaterialTest, NormalPassBindsTheMapsInStageOrderWithTheirCoordinateSets) {
  struct Case {
    const char* maps;  // l light, d diffuse, s specular, p sphere, m modulate
    std::vector<BindCall> binds;
    DWORD lighting, textureFactor;
  };
  const Case cases[] = {
      // Lit because of the specular map; the factor is the ambient intensity.
      {"ldspm", {{0, kStageLightMap, 1}, {1, kStageDiffuse, 0}, {2, kStageSpecular, 0}, {3, kStageSphereMap, 0},
                 {4, kStageModulate, 1}}, 1, 0x80808080u},
      {"l", {{0, kStageLightMap, 1}}, 0, 0x80808080u},
      {"m", {{0, kStageModulate, 0}}, 1, 0xFFFFFFFFu},  // no light map: set 0
      {"d", {{0, kStageDiffuse, 0}}, 1, 0xFFFFFFFFu},
  };
  for (const Case& c : cases) {
    scene->ambientIntensity = c.textureFactor == 0xFFFFFFFFu ? 1.0f : 0.5f;
    Material* m = material(0.5f);
    m->diffuseColor[1] = 0.3f;
    const std::string maps = c.maps;
    if (maps.find('l') != std::string::npos) use(m->lightMap, texture());
    if (maps.find('d') != std::string::npos) use(m->diffuseMap, texture());
    if (maps.find('s') != std::string::npos) use(m->specularMap, texture());
    if (maps.find('p') != std::string::npos) use(m->sphereMap, texture());
    if (maps.find('m') != std::string::npos) use(m->modulateMap, texture());
    m->link();
    binds.clear();
    m->apply(1.0f);
    EXPECT_EQ(binds, c.binds) << maps;
    EXPECT_EQ(renderState(D3DRS_LIGHTING), c.lighting) << maps;
    if (maps.find('l') != std::string::npos) {
      EXPECT_EQ(renderState(D3DRS_TEXTUREFACTOR), c.textureFactor) << maps;
    }
    EXPECT_EQ(renderState(D3DRS_SPECULARENABLE), maps.find('s') == std::string::npos) << maps;
    const DWORD used = DWORD(c.binds.size());
    EXPECT_EQ(stageState(used - 1, D3DTSS_TEXCOORDINDEX), c.binds.back().uvSet) << maps << ": the last map's set, kept";
    EXPECT_EQ(stageState(used, D3DTSS_TEXCOORDINDEX), used) << maps << ": reset from the next stage on";
    EXPECT_EQ(stageState(used, D3DTSS_TEXTURETRANSFORMFLAGS), DWORD(D3DTTFF_DISABLE)) << maps;
    // With a diffuse map the material draws white with opacity²; without it
    // the colour stays.
    const bool mapped = maps.find('d') != std::string::npos;
    EXPECT_EQ(deviceMaterial().Diffuse.g, mapped ? 1.0f : 0.3f) << maps;
    EXPECT_FLOAT_EQ(deviceMaterial().Diffuse.a, mapped ? 0.25f : 0.125f) << maps;
  }
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

  // With a diffuse map: K = (0.5, 0.5, 0.5, 0.5 × 0.5), opacity folded at
  // link and once more. The light map is not bound, but still picks the
  // modulate map's coordinate set.
  Material* mapped = material(0.5f);
  mapped->selfIllumination = 0.5f;
  use(mapped->diffuseMap, texture());
  use(mapped->lightMap, texture());
  use(mapped->modulateMap, texture());
  mapped->link();
  mapped->apply(1.0f);
  EXPECT_EQ(renderState(D3DRS_TEXTUREFACTOR), 0x40808080u);
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

TEST(ColorPacking, ChannelsClampRoundAndIgnoreNaN) {
  // 0.001 gives 0.755 and 0.998 gives 254.99, both truncated; 0.1 gives 25.5 + 0.5.
  const std::pair<float, int> cases[] = {{std::numeric_limits<float>::quiet_NaN(), 0}, {-0.5f, 0}, {0.001f, 0},
                                         {0.1f, 26}, {0.5f, 128}, {0.998f, 254}, {1.0f, 255},
                                         {std::numeric_limits<float>::infinity(), 255}};
  for (const auto& [channel, byte] : cases) EXPECT_EQ(ColorChannelByte(channel), DWORD(byte)) << channel;
  const float rgba[4] = {1.0f, 0.5f, 0.0f, 0.25f};
  EXPECT_EQ(ColorToARGB(rgba), 0x40FF8000u);
}

TEST_F(MaterialTest, ResetTextureStagesRestoresCoordinateSetsAndClampFromTheFirstStage) {
  for (DWORD s = 0; s < 8; ++s) {
    device->SetTextureStageState(s, D3DTSS_TEXCOORDINDEX, 7 - s);
    device->SetTextureStageState(s, D3DTSS_COLOROP, D3DTOP_ADD);
    device->SetSamplerState(s, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
  }
  cache().ResetTextureStages(3);
  DWORD value = 0;
  for (DWORD s = 0; s < 8; ++s) {
    EXPECT_EQ(stageState(s, D3DTSS_TEXCOORDINDEX), s < 3 ? 7 - s : s) << "stage " << s;
    device->GetSamplerState(s, D3DSAMP_ADDRESSU, &value);
    EXPECT_EQ(value, DWORD(s < 3 ? D3DTADDRESS_WRAP : D3DTADDRESS_CLAMP)) << "stage " << s;
    EXPECT_EQ(stageState(s, D3DTSS_COLOROP), DWORD(D3DTOP_ADD)) << "colour ops are left alone";
  }
  cache().ResetTextureStages(0);
  for (DWORD s = 0; s < 8; ++s) EXPECT_EQ(stageState(s, D3DTSS_TEXCOORDINDEX), s);
}

}  // namespace
