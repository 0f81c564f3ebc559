// Textures: loading through the scene's cache, the stage set-ups of every
// bind mode, the texture matrix; animated textures and sequence files.
#include "scene/Controller.h"
#include "scene/Texture.h"
#include "tests/scene/SceneTestSupport.h"

#include <filesystem>
#include <limits>
#include <map>

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

class TextureTest : public SceneTest {
 protected:
  Texture* makeTexture() { return new Texture(scene->AllocateId(), scene); }
};

TEST_F(TextureTest, AlphaComesFromTheLastThreeLettersOfTheFileNameInAnyCase) {
  // Every file holds the same TGA: the flag must follow the name.
  const std::pair<const char*, bool> cases[] = {{"wall.TGA", true}, {"wall.jpg", false}, {"a.png", true},
                                                {"b.PnG", true},     {"ab", false},      {"tga", true}};
  for (const auto& [name, alpha] : cases) {
    dir.write(name, solidTga(4, 4, 0x80FF0000));
    Texture* texture = makeTexture();
    texture->load(name, true);
    EXPECT_EQ(texture->hasAlpha(), alpha) << name;
    EXPECT_NE(texture->d3dTexture, nullptr) << name;
    EXPECT_EQ(texture->d3dTexture, cache().textures[name]) << name;
  }
  Texture* texture = makeTexture();  // loading after an alpha file clears the flag
  texture->load("a.png", true);
  texture->load("wall.jpg", true);
  EXPECT_FALSE(texture->hasAlpha());
  EXPECT_EQ(texture->name, "not loaded");  // the loader names a texture, not load
}

TEST_F(TextureTest, OneDeviceTexturePerExactFileNameWithTheFirstLoadsCompression) {
  dir.write("leaf.png", solidTga(4, 4, 0x80336699));
  dir.write("wall.tga", solidTga(4, 4, 0xFF336699, 24));
  dir.write("Wall.tga", solidTga(4, 4, 0xFF336699, 24));
  auto format = [](IDirect3DTexture9* t) {
    D3DSURFACE_DESC desc{};
    t->GetLevelDesc(0, &desc);
    return desc.Format;
  };
  Texture* first = makeTexture();
  Texture* second = makeTexture();
  first->load("leaf.png", true);
  second->load("leaf.png", false);
  EXPECT_EQ(first->d3dTexture, second->d3dTexture);
  EXPECT_EQ(format(first->d3dTexture), D3DFMT_DXT5);

  const std::size_t mark = log().mark();
  IDirect3DTexture9* plain = cache().GetTexture("wall.tga", false);
  std::filesystem::remove(dir.file("wall.tga"));  // cached: not read again
  EXPECT_EQ(cache().GetTexture("wall.tga", true), plain);
  EXPECT_NE(format(plain), D3DFMT_DXT5);
  EXPECT_NE(cache().GetTexture("Wall.tga", false), plain);
  EXPECT_EQ(log().count("CreateTexture", mark), 2u);
  EXPECT_EQ(cache().textures.size(), 3u);
}

TEST_F(TextureTest, MissingOrUndecodableFilesEndTheShowWithTheFileName) {
  dir.write("broken.png", Bytes{0x89, 'P', 'N', 'G', 1, 2, 3});
  EXPECT_EQ(fatal([&] { makeTexture()->load("nowhere.png", true); }), "Texture load failed: nowhere.png");
  EXPECT_EQ(fatal([&] { cache().GetTexture("broken.png", false); }), "Texture load failed: broken.png");
  EXPECT_TRUE(cache().textures.empty());
}

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
    cache().glowOnly = c.glow ? TRUE : FALSE;
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

class AnimatedTextureTest : public SceneTest {
 protected:
  AnimatedTexture* makeAnimated(const std::string& name = "anim.tga") {
    auto* texture = new AnimatedTexture(scene->AllocateId(), scene);
    texture->name = name;
    return texture;
  }
  // An animated texture whose images are four cached textures f0..f3.
  AnimatedTexture* fourImages() {
    for (int i = 0; i < 4; ++i) frames[i] = cacheTexture("f" + std::to_string(i) + ".jpg");
    AnimatedTexture* texture = makeAnimated();
    texture->loadSequence("images = 4\ni0 = f0.jpg\ni1 = f1.jpg\ni2 = f2.jpg\ni3 = f3.jpg\n", 1.0f, 0.0f);
    return texture;
  }
  IDirect3DTexture9* frames[4] = {};
};

TEST_F(AnimatedTextureTest, ActiveImagePicksAnImageModuloTheCountAndStaysInTheList) {
  AnimatedTexture* texture = fourImages();
  ASSERT_EQ(texture->images.size(), 4u);
  EXPECT_EQ(texture->d3dTexture, frames[0]);

  struct Case {
    float activeImage;
    int index;
  };
  const float huge = 1e30f;
  for (const Case& c : {Case{2.0f, 2}, Case{5.9f, 1}, Case{3.999f, 3}, Case{-0.5f, 0}, Case{-1.0f, 3},
                        Case{-4.5f, 0}, Case{-6.0f, 2}, Case{huge, 2147483647 % 4}, Case{-huge, 0},
                        Case{std::numeric_limits<float>::quiet_NaN(), 0}}) {
    texture->activeImage = c.activeImage;
    texture->update(false);
    EXPECT_EQ(texture->currentImage, c.index) << c.activeImage;
    EXPECT_EQ(texture->d3dTexture, frames[c.index]) << c.activeImage;
  }
}

TEST_F(AnimatedTextureTest, SequenceLoadsItsImagesCompressedInOrderAndAnimatesThem) {
  dir.write("a.png", solidTga(4, 4, 0xFF0000FF));
  dir.write("b.png", solidTga(4, 4, 0xFF00FF00));
  dir.write("c.jpg", solidTga(4, 4, 0xFFFF0000));
  AnimatedTexture* texture = makeAnimated("clip.tga");
  // Keys at 0 and 1000 ms, scaled by 2 and shifted by 100: 100 and 2100.
  texture->loadSequence(
      "images = 3\n"
      "i0 = a.png\ni1 = b.png\ni2 = c.jpg\n"
      "animations = 2\n"
      "a0.field = Active Image\na0.keyframes = 2\na0.kf0 = 0 0\na0.kf1 = 1000 3\n"
      "a1.field = Tex U Offset\na1.keyframes = 1\na1.kf0 = 0 0.25\n",
      2.0f, 100.0f);

  const auto& cached = cache().textures;
  ASSERT_EQ(texture->images.size(), 3u);
  EXPECT_EQ(texture->images[0], cached.at("a.png"));
  EXPECT_EQ(texture->images[1], cached.at("b.png"));
  EXPECT_EQ(texture->images[2], cached.at("c.jpg"));
  EXPECT_EQ(texture->d3dTexture, texture->images[0]);
  EXPECT_EQ(texture->currentImage, 0);
  EXPECT_FALSE(texture->hasAlpha()) << "the last image loaded decides";
  for (const RecordedCall* call : device->log().named("CreateTexture")) EXPECT_EQ(call->raw(4), D3DFMT_DXT5);
  EXPECT_EQ(texture->config.GetInt("images"), 3);

  ASSERT_EQ(scene->controllers.size(), 2u);
  Controller* image = scene->controllers[0];
  image->update(1100.0f);  // halfway: 1.5
  EXPECT_FLOAT_EQ(texture->activeImage, 1.5f);
  EXPECT_EQ(texture->d3dTexture, texture->images[1]);
  image->update(2100.0f);
  EXPECT_EQ(texture->d3dTexture, texture->images[0]) << "3 modulo 3";
  scene->controllers[1]->update(0.0f);
  EXPECT_FLOAT_EQ(texture->uOffset, 0.25f);
}

TEST_F(AnimatedTextureTest, WithoutUsableImageKeysTheTextureShowsItsOwnFileAndBadFieldsAreSkipped) {
  IDirect3DTexture9* own = cacheTexture("own.tga");
  IDirect3DTexture9* second = cacheTexture("second.jpg");
  struct Case {
    const char* text;
    std::vector<IDirect3DTexture9*> images;
  };
  for (const Case& c : {Case{"", {own}},
                        Case{"images = 0\ni0 = second.jpg", {own}},
                        Case{"images = -5\ni0 = second.jpg", {own}},
                        Case{"images = 2\ni5 = second.jpg", {own}},
                        Case{"images = 3\ni1 = second.jpg", {second}},
                        // A damaged count must end quickly, not walk two
                        // billion keys.
                        Case{"images = 2147483647\ni0 = second.jpg", {second}}}) {
    AnimatedTexture* texture = makeAnimated("own.tga");
    texture->loadSequence(c.text, 1.0f, 0.0f);
    EXPECT_EQ(texture->images, c.images) << c.text;
    EXPECT_EQ(texture->d3dTexture, c.images[0]) << c.text;
  }
  EXPECT_TRUE(scene->controllers.empty());
  EXPECT_TRUE(shownBoxes().empty());

  // An unknown field only costs its animation, after a box.
  AnimatedTexture* animated = makeAnimated("own.tga");
  animated->loadSequence("animations = 1\na0.field = Opacity\na0.keyframes = 1\na0.kf0 = 0 1\n", 1.0f, 0.0f);
  ASSERT_EQ(shownBoxes().size(), 1u);
  EXPECT_EQ(shownBoxes()[0].text, "Invalid control field in AnimatedTexture");
  EXPECT_EQ(animated->images.size(), 1u);
  for (Controller* controller : scene->controllers) controller->update(0.0f);
  EXPECT_EQ(animated->activeImage, 0.0f);
}

}  // namespace
