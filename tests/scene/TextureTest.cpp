#include "scene/Texture.h"

#include "tests/archive/ArchiveTestUtil.h"
#include "tests/scene/TextureTestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using StateMap = std::map<DWORD, DWORD>;  // state type -> value

// The texture-stage and sampler states one bind call set on `stage`, from the
// device's call log: a later call for the same state wins, as on the device.
struct BindCalls {
  StateMap stage;
  StateMap sampler;
  int transforms = 0;
  int textures = 0;
  int total = 0;
};

BindCalls callsSince(RecordingDevice* device, std::size_t mark, DWORD stage) {
  BindCalls out;
  const auto& calls = device->log().calls();
  for (std::size_t i = mark; i < calls.size(); ++i) {
    const RecordedCall& call = calls[i];
    ++out.total;
    if (call.name == "SetTextureStageState" && call.raw(0) == stage) out.stage[DWORD(call.raw(1))] = DWORD(call.raw(2));
    if (call.name == "SetSamplerState" && call.raw(0) == stage) out.sampler[DWORD(call.raw(1))] = DWORD(call.raw(2));
    if (call.name == "SetTransform") {
      EXPECT_EQ(call.raw(0), D3DTS_TEXTURE0 + stage);
      ++out.transforms;
    }
    if (call.name == "SetTexture") {
      EXPECT_EQ(call.raw(0), stage);
      ++out.textures;
    }
  }
  return out;
}

class TextureTest : public SceneObjectTest {
 protected:
  Texture* makeTexture() { return new Texture(scene->AllocateId(), scene); }
};

// ---------------------------------------------------------------------------
// Loading

TEST_F(TextureTest, AlphaComesFromTheLastThreeLettersOfTheFileNameInAnyCase) {
  TempDir dir;
  CurrentDirectory here(dir.path());
  const auto tga = makeSolidTga(4, 4, 0x80FF0000);
  // Every file holds the same TGA: the flag must follow the name, not the
  // contents.
  for (const char* name : {"wall.TGA", "wall.jpg", "a.png", "b.PnG", "ab", "tga"}) dir.write(name, tga);

  struct Case {
    const char* name;
    bool alpha;
  };
  for (const Case& c : {Case{"wall.TGA", true}, Case{"wall.jpg", false}, Case{"a.png", true}, Case{"b.PnG", true},
                        Case{"ab", false}, Case{"tga", true}}) {
    Texture* texture = makeTexture();
    texture->load(c.name, true);
    EXPECT_EQ(texture->hasAlpha(), c.alpha) << c.name;
    EXPECT_NE(texture->d3dTexture, nullptr) << c.name;
    EXPECT_EQ(texture->d3dTexture, scene->stateCache->textures[c.name]) << c.name;
  }
  // Loading after an alpha file clears the flag again.
  Texture* texture = makeTexture();
  texture->load("a.png", true);
  texture->load("wall.jpg", true);
  EXPECT_FALSE(texture->hasAlpha());
  EXPECT_EQ(texture->name, "not loaded");  // the loader names a texture, not load
}

TEST_F(TextureTest, TexturesNamingOneFileShareOneDeviceTextureWithTheFirstCompression) {
  TempDir dir;
  CurrentDirectory here(dir.path());
  dir.write("stone.tga", makeSolidTga(8, 8, 0xFF336699));

  Texture* first = makeTexture();
  Texture* second = makeTexture();
  first->load("stone.tga", true);
  second->load("stone.tga", false);
  EXPECT_EQ(first->d3dTexture, second->d3dTexture);
  ASSERT_EQ(device->log().count("CreateTexture"), 1u);
  EXPECT_EQ(device->log().named("CreateTexture")[0]->raw(4), D3DFMT_DXT5);
  // The texture is the cache's: destroying the textures does not release it.
  EXPECT_EQ(scene->stateCache->textures.size(), 1u);
}

TEST_F(TextureTest, MissingFileEndsTheShowWithTheFileName) {
  TempDir dir;
  CurrentDirectory here(dir.path());
  Texture* texture = makeTexture();
  try {
    texture->load("nowhere.png", true);
    FAIL() << "load returned";
  } catch (const ExitCalled& exit) {
    EXPECT_EQ(exit.code, 0u);
  }
  ASSERT_EQ(recordedBoxes().size(), 1u);
  EXPECT_EQ(recordedBoxes()[0].text, "Texture load failed: nowhere.png");
  EXPECT_EQ(recordedBoxes()[0].caption, "Error");
}

// ---------------------------------------------------------------------------
// Stage set-up

struct ModeCase {
  const char* label;
  int mode;
  bool glow;
  StateMap stage;   // for stage 2, uvSet 1
  StateMap sampler;
  int transforms;
};

std::vector<ModeCase> modeCases() {
  const StateMap common = {{D3DTSS_ALPHAARG1, D3DTA_TEXTURE}, {D3DTSS_ALPHAARG2, D3DTA_CURRENT}};
  const StateMap filters = {{D3DSAMP_MAGFILTER, D3DTEXF_LINEAR},
                            {D3DSAMP_MINFILTER, D3DTEXF_LINEAR},
                            {D3DSAMP_MIPFILTER, D3DTEXF_LINEAR},
                            {D3DSAMP_MIPMAPLODBIAS, 0}};
  auto with = [](StateMap base, const StateMap& more) {
    base.insert(more.begin(), more.end());
    return base;
  };
  const StateMap wrap = with(filters, {{D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP}, {D3DSAMP_ADDRESSV, D3DTADDRESS_WRAP}});
  const StateMap wrapMaxMip = with(wrap, {{D3DSAMP_MAXMIPLEVEL, 0}});
  const StateMap clamp = with(filters, {{D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP}, {D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP}});

  const StateMap diffuse = with(common, {{D3DTSS_COLOROP, D3DTOP_MODULATE},
                                         {D3DTSS_ALPHAOP, D3DTOP_MODULATE},
                                         {D3DTSS_COLORARG1, D3DTA_TEXTURE},
                                         {D3DTSS_COLORARG2, D3DTA_CURRENT},
                                         {D3DTSS_TEXCOORDINDEX, 1},
                                         {D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2}});
  auto sphere = [&](DWORD colorOp) {
    return with(common, {{D3DTSS_COLOROP, colorOp},
                         {D3DTSS_ALPHAOP, D3DTOP_SELECTARG2},
                         {D3DTSS_COLORARG1, D3DTA_TEXTURE},
                         {D3DTSS_COLORARG2, D3DTA_CURRENT},
                         {D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACENORMAL | 2},
                         {D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2}});
  };
  const StateMap specular = with(common, {{D3DTSS_COLOROP, D3DTOP_MULTIPLYADD},
                                          {D3DTSS_ALPHAOP, D3DTOP_MODULATE},
                                          {D3DTSS_COLORARG1, D3DTA_SPECULAR},
                                          {D3DTSS_COLORARG2, D3DTA_TEXTURE},
                                          {D3DTSS_COLORARG0, D3DTA_CURRENT},
                                          {D3DTSS_TEXCOORDINDEX, 1},
                                          {D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2}});
  const StateMap modulate = with(diffuse, {{D3DTSS_ALPHAARG0, D3DTA_CURRENT}});
  auto light = [&](DWORD colorOp) {
    return with(common, {{D3DTSS_COLOROP, colorOp},
                         {D3DTSS_ALPHAOP, D3DTOP_SELECTARG1},
                         {D3DTSS_COLORARG1, D3DTA_TEXTURE},
                         {D3DTSS_COLORARG2, D3DTA_TFACTOR},
                         {D3DTSS_TEXCOORDINDEX, 1},
                         {D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE}});
  };
  return {
      {"diffuse", kStageDiffuse, false, diffuse, wrapMaxMip, 1},
      {"diffuse, glow pass", kStageDiffuse, true, diffuse, wrapMaxMip, 1},
      {"sphere map", kStageSphereMap, false, sphere(D3DTOP_ADDSMOOTH), clamp, 1},
      {"sphere map, glow pass", kStageSphereMap, true, sphere(D3DTOP_MODULATE), clamp, 1},
      {"specular", kStageSpecular, false, specular, wrap, 1},
      {"modulate", kStageModulate, false, modulate, wrap, 1},
      {"light map", kStageLightMap, false, light(D3DTOP_MODULATE), wrapMaxMip, 0},
      {"light map, glow pass", kStageLightMap, true, light(D3DTOP_SELECTARG1), wrapMaxMip, 0},
      {"unused mode 2 as diffuse", 2, false, diffuse, wrapMaxMip, 1},
  };
}

TEST_F(TextureTest, EachModeSetsExactlyItsStageStatesSamplersAndTransform) {
  Texture* texture = makeTexture();
  texture->d3dTexture = cacheTexture("t.png");
  for (const ModeCase& c : modeCases()) {
    SCOPED_TRACE(c.label);
    scene->stateCache->glowOnly = c.glow ? TRUE : FALSE;
    DWORD stage = 2;
    const std::size_t mark = device->log().mark();
    texture->bind(stage, c.mode, 1);
    EXPECT_EQ(stage, 3u);
    const BindCalls calls = callsSince(device, mark, 2);
    EXPECT_EQ(calls.stage, c.stage);
    EXPECT_EQ(calls.sampler, c.sampler);
    EXPECT_EQ(calls.transforms, c.transforms);
    EXPECT_EQ(calls.textures, 1);
    EXPECT_EQ(calls.total, int(c.stage.size() + c.sampler.size()) + c.transforms + 1) << "calls on other stages";
    IDirect3DBaseTexture9* bound = nullptr;
    ASSERT_EQ(device->GetTexture(2, &bound), D3D_OK);
    EXPECT_EQ(bound, texture->d3dTexture);
    if (bound != nullptr) bound->Release();
  }
  device->SetTexture(2, nullptr);  // the device's reference would outlive the scene's cache
  EXPECT_TRUE(device->log().failures().empty()) << device->log().dump();
}

TEST_F(TextureTest, TextureMatrixScalesAboutTheCentreAndShiftsByTheOffsets) {
  Texture* texture = makeTexture();
  D3DXMATRIX m;
  auto bindAndRead = [&](float uScale, float vScale, float uOffset, float vOffset, int mode = kStageDiffuse) {
    texture->uScale = uScale;
    texture->vScale = vScale;
    texture->uOffset = uOffset;
    texture->vOffset = vOffset;
    DWORD stage = 1;
    texture->bind(stage, mode, 0);
    device->GetTransform(D3DTS_TEXTURE1, &m);
  };
  // (u, v, 1) × M: the stage's 2D transform.
  auto mapped = [&](float u, float v) { return std::pair{u * m._11 + v * m._21 + m._31, u * m._12 + v * m._22 + m._32}; };

  bindAndRead(2.0f, 1.0f, 0.0f, 0.0f);
  EXPECT_EQ(D3DXMATRIX(m), D3DXMATRIX(2, 0, 0, 0, 0, 1, 0, 0, -0.5f, 0, 1, 0, 0, 0, 0, 1));
  EXPECT_EQ(mapped(0.5f, 0.5f), std::pair(0.5f, 0.5f)) << "the centre stays";
  EXPECT_EQ(mapped(0.0f, 0.0f), std::pair(-0.5f, 0.0f));
  EXPECT_EQ(mapped(1.0f, 1.0f), std::pair(1.5f, 1.0f)) << "twice across u, once across v";

  bindAndRead(1.0f, 1.0f, 0.25f, 0.125f);
  EXPECT_EQ(mapped(0.0f, 0.0f), std::pair(-0.25f, 0.125f)) << "v shifts against u";

  bindAndRead(2.0f, 4.0f, 0.5f, 0.25f);
  EXPECT_EQ(mapped(0.5f, 0.5f), std::pair(0.0f, 0.75f)) << "shifted after scaling";

  // The sphere map ignores scale and offsets.
  bindAndRead(3.0f, 3.0f, 0.5f, 0.5f, kStageSphereMap);
  EXPECT_EQ(D3DXMATRIX(m), D3DXMATRIX(0.4f, 0, 0, 0, 0, -0.4f, 0, 0, -0.5f, -0.5f, 1, 0, 0, 0, 0, 1));
}

TEST_F(TextureTest, StagesBeyondTheDevicesCountAreSkippedAndTheCounterStays) {
  device->setMaxSimultaneousTextures(2);
  Texture* texture = makeTexture();
  EXPECT_EQ(texture->maxStages, 2u);

  DWORD stage = 0;
  texture->bind(stage, kStageDiffuse, 0);
  texture->bind(stage, kStageSpecular, 0);
  EXPECT_EQ(stage, 2u);
  const std::size_t mark = device->log().mark();
  texture->bind(stage, kStageModulate, 0);
  texture->bind(stage, kStageLightMap, 0);
  EXPECT_EQ(stage, 2u);
  EXPECT_EQ(device->log().size(), mark) << device->log().dump(mark);

  // A driver claiming more than the fixed-function pipeline's eight stages
  // still gets at most eight.
  device->setMaxSimultaneousTextures(16);
  EXPECT_EQ(makeTexture()->maxStages, 8u);
}

}  // namespace
