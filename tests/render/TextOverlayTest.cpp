// The generated bitmap font's glyphs, panel sizes, and the text overlay on
// the recording device: states, bindings and references as found after a
// draw, geometry kept on the target, a refused texture.
#include "render/FixedFont.h"
#include "render/TextOverlay.h"
#include "platform/gfx/recording/RecordingDevice.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

std::vector<std::uint16_t> glyph(unsigned char c) {
  std::vector<std::uint16_t> rows(kFixedFontHeight);
  for (int y = 0; y < kFixedFontHeight; ++y)
    for (int x = 0; x < kFixedFontWidth; ++x) rows[y] |= FixedFontPixel(c, x, y) ? 0x8000 >> x : 0;
  return rows;
}
// First and last rows with ink; first ink column of a row.
int topInk(unsigned char c) {
  int y = 0;
  while (y < kFixedFontHeight && !glyph(c)[y]) ++y;
  return y;
}
int bottomInk(unsigned char c) {
  int y = kFixedFontHeight - 1;
  while (y >= 0 && !glyph(c)[y]) --y;
  return y;
}
int leftInk(unsigned char c, int y) {
  int x = 0;
  while (x < kFixedFontWidth && !FixedFontPixel(c, x, y)) ++x;
  return x;
}

TEST(FixedFontTest, PrintableGlyphsAreInkedDistinctAndUprightAndTheRestDrawAsQuestionMarks) {
  EXPECT_EQ(glyph(' '), std::vector<std::uint16_t>(kFixedFontHeight, 0));
  std::map<std::vector<std::uint16_t>, char> seen;
  for (int c = 33; c <= 126; ++c) {
    EXPECT_NE(glyph(c), glyph(' ')) << char(c);
    const auto [where, fresh] = seen.emplace(glyph(c), char(c));
    EXPECT_TRUE(fresh) << "'" << char(c) << "' draws like '" << where->second << "'";
  }
  EXPECT_NE(glyph('l'), glyph('I'));
  for (int c : {0, 9, 31, 127, 128, 255}) EXPECT_EQ(glyph(c), glyph('?')) << c;
  // Neither flipped nor mirrored: '_' under 'A', '^' over it, 'g' below the
  // baseline of 'a', '/' climbing to the right and '\' falling.
  EXPECT_GT(topInk('_'), bottomInk('A'));
  EXPECT_LT(bottomInk('^'), (topInk('A') + bottomInk('A')) / 2);
  EXPECT_GT(bottomInk('g'), bottomInk('a'));
  EXPECT_GT(leftInk('/', topInk('/')), leftInk('/', bottomInk('/')));
  EXPECT_LT(leftInk('\\', topInk('\\')), leftInk('\\', bottomInk('\\')));
  EXPECT_FALSE(FixedFontPixel('#', kFixedFontWidth, 5));
  EXPECT_FALSE(FixedFontPixel('#', 3, -1));
}

TEST(TextOverlayMeasureTest, LongestLineAcrossLinesDownPaddingAround) {
  auto size = [](std::vector<std::string> lines, int padding) {
    TextPanel panel;
    panel.lines = std::move(lines);
    panel.padding = padding;
    int w = -1, h = -1;
    TextOverlay::measure(panel, &w, &h);
    return std::make_pair(w, h);
  };
  EXPECT_EQ(size({"ab", "hello", ""}, 6), std::make_pair(12 + 5 * 7, 12 + 3 * 13));
  EXPECT_EQ(size({""}, 4), std::make_pair(8, 8 + 13));
  EXPECT_EQ(size({"x"}, -5), std::make_pair(7, 13));
  EXPECT_EQ(size({}, 6), std::make_pair(0, 0));
}

// Every state the device reports, with bindings as addresses: any key whose
// value differs after a draw is a state the overlay left changed.
std::map<std::string, std::string> snapshot(IDirect3DDevice9* device) {
  std::map<std::string, std::string> s;
  auto bytes = [](const auto& v) { return std::string(reinterpret_cast<const char*>(&v), sizeof v); };
  auto object = [&](const std::string& key, auto* p) {
    s[key] = std::to_string(reinterpret_cast<std::uintptr_t>(p));
    if (p) p->Release();
  };
  DWORD v = 0;
  for (DWORD t = 0; t < 256; ++t)
    if (device->GetRenderState(D3DRENDERSTATETYPE(t), &v) == D3D_OK) s["render " + std::to_string(t)] = bytes(v);
  for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage) {
    for (DWORD t = 0; t < 40; ++t)
      if (device->GetTextureStageState(stage, D3DTEXTURESTAGESTATETYPE(t), &v) == D3D_OK)
        s["stage " + std::to_string(stage) + "/" + std::to_string(t)] = bytes(v);
    for (DWORD t = 0; t < 16; ++t)
      if (device->GetSamplerState(stage, D3DSAMPLERSTATETYPE(t), &v) == D3D_OK)
        s["sampler " + std::to_string(stage) + "/" + std::to_string(t)] = bytes(v);
    IDirect3DBaseTexture9* texture = nullptr;
    device->GetTexture(stage, &texture);
    object("texture " + std::to_string(stage), texture);
  }
  for (DWORD t : {2u, 3u, 16u, 256u}) {
    D3DMATRIX m{};
    device->GetTransform(D3DTRANSFORMSTATETYPE(t), &m);
    s["transform " + std::to_string(t)] = bytes(m);
  }
  D3DVIEWPORT9 viewport{};
  device->GetViewport(&viewport);
  s["viewport"] = bytes(viewport);
  device->GetFVF(&v);
  s["fvf"] = bytes(v);
  IDirect3DVertexDeclaration9* declaration = nullptr;
  device->GetVertexDeclaration(&declaration);
  object("declaration", declaration);
  IDirect3DVertexShader9* vs = nullptr;
  device->GetVertexShader(&vs);
  object("vertex shader", vs);
  IDirect3DPixelShader9* ps = nullptr;
  device->GetPixelShader(&ps);
  object("pixel shader", ps);
  IDirect3DVertexBuffer9* stream = nullptr;
  UINT offset = 0, stride = 0;
  device->GetStreamSource(0, &stream, &offset, &stride);
  object("stream 0", stream);
  s["stream 0 offset, stride"] = bytes(offset) + bytes(stride);
  return s;
}

std::string changed(const std::map<std::string, std::string>& before, const std::map<std::string, std::string>& after) {
  std::string out;
  for (const auto& [key, value] : before)
    if (after.count(key) == 0 || after.at(key) != value) out += key + "; ";
  return out;
}

struct Vertex {
  float x, y, z, rhw;
  D3DCOLOR diffuse;
  float u, v;
};

class TextOverlayRecordingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    device = RecordingDevice::createOffscreen(kWidth, kHeight);
    ASSERT_EQ(device->BeginScene(), D3D_OK);
  }
  void TearDown() override {
    device->EndScene();
    EXPECT_EQ(device->Release(), 0u);
  }
  // Draws and returns the vertices handed to the device, checking that no
  // call of the draw failed.
  std::vector<Vertex> draw(TextOverlay& overlay, const TextPanel& panel) {
    const std::size_t from = device->log().mark();
    overlay.draw(panel);
    std::vector<Vertex> vertices;
    for (std::size_t i = from; i < device->log().size(); ++i) {
      const RecordedCall& call = device->log()[i];
      EXPECT_FALSE(call.failed()) << call.describe();
      if (call.name != "DrawPrimitiveUP") continue;
      const std::size_t at = vertices.size();
      vertices.resize(at + call.data.size() / sizeof(Vertex));
      std::memcpy(&vertices[at], call.data.data(), call.data.size());
    }
    return vertices;
  }

  static constexpr UINT kWidth = 64, kHeight = 48;
  RecordingDevice* device = nullptr;
};

TEST_F(TextOverlayRecordingTest, DrawLeavesEveryStateAsFoundFromDefaultsAndFromAShowsOwnValues) {
  TextOverlay overlay(device);
  ASSERT_TRUE(overlay.ok());
  TextPanel panel;
  panel.lines = {"12.5 s  60 fps", "line 7"};
  std::map<std::string, std::string> before = snapshot(device);
  EXPECT_FALSE(draw(overlay, panel).empty());
  EXPECT_EQ(changed(before, snapshot(device)), "");

  // What a show may have left: blending, depth, fog, alpha test, stages,
  // samplers, a texture, a declaration of its own, shaders, a stream, a
  // smaller viewport.
  for (auto [state, value] :
       std::vector<std::pair<D3DRENDERSTATETYPE, DWORD>>{{D3DRS_ZENABLE, D3DZB_TRUE},
                                                         {D3DRS_SRCBLEND, D3DBLEND_ONE},
                                                         {D3DRS_DESTBLEND, D3DBLEND_ONE},
                                                         {D3DRS_ALPHABLENDENABLE, TRUE},
                                                         {D3DRS_LIGHTING, TRUE},
                                                         {D3DRS_FOGENABLE, TRUE},
                                                         {D3DRS_CULLMODE, D3DCULL_CW},
                                                         {D3DRS_ALPHATESTENABLE, TRUE},
                                                         {D3DRS_FILLMODE, D3DFILL_WIREFRAME},
                                                         {D3DRS_COLORWRITEENABLE, D3DCOLORWRITEENABLE_RED},
                                                         {D3DRS_STENCILENABLE, TRUE}})
    device->SetRenderState(state, value);
  device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_ADD);
  device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
  device->SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, 1);
  device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
  device->SetSamplerState(0, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  device->SetSamplerState(0, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture, nullptr), D3D_OK);
  device->SetTexture(0, texture);
  const D3DVERTEXELEMENT9 elements[] = {{0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
                                        D3DDECL_END()};
  IDirect3DVertexDeclaration9* declaration = nullptr;
  ASSERT_EQ(device->CreateVertexDeclaration(elements, &declaration), D3D_OK);
  device->SetVertexDeclaration(declaration);
  IDirect3DVertexShader9* vs = nullptr;
  IDirect3DPixelShader9* ps = nullptr;
  ASSERT_EQ(device->CreateVertexShader(reinterpret_cast<const DWORD*>("void main() {}"), &vs), D3D_OK);
  ASSERT_EQ(device->CreatePixelShader(reinterpret_cast<const DWORD*>("void main() {}"), &ps), D3D_OK);
  device->SetVertexShader(vs);
  device->SetPixelShader(ps);
  IDirect3DVertexBuffer9* buffer = nullptr;
  ASSERT_EQ(device->CreateVertexBuffer(120, 0, 0, D3DPOOL_MANAGED, &buffer, nullptr), D3D_OK);
  device->SetStreamSource(0, buffer, 12, 12);
  const D3DVIEWPORT9 small{8, 4, 16, 16, 0.25f, 0.75f};
  ASSERT_EQ(device->SetViewport(&small), D3D_OK);

  before = snapshot(device);
  EXPECT_FALSE(draw(overlay, panel).empty());
  EXPECT_EQ(changed(before, snapshot(device)), "");

  // Nothing but the device's bindings holds these objects any more: every
  // reference a Get* call handed the overlay was given back.
  device->SetTexture(0, nullptr);
  device->SetVertexDeclaration(nullptr);
  device->SetVertexShader(nullptr);
  device->SetPixelShader(nullptr);
  device->SetStreamSource(0, nullptr, 0, 0);
  EXPECT_EQ(texture->Release() + declaration->Release() + vs->Release() + ps->Release() + buffer->Release(), 0u);
}

TEST_F(TextOverlayRecordingTest, HoldsTheDeviceAndOneTextureForItsLifeAndWithoutTheTextureDrawsNothing) {
  const int live = device->liveResourceCount();
  {
    TextOverlay overlay(device);
    EXPECT_TRUE(overlay.ok());
    EXPECT_EQ(device->liveResourceCount(), live + 1);
    device->AddRef();
    EXPECT_EQ(device->Release(), 2u);  // the test's reference and the overlay's
  }
  EXPECT_EQ(device->liveResourceCount(), live);
  device->AddRef();
  EXPECT_EQ(device->Release(), 1u);

  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateTexture");
  TextOverlay refused(device);
  EXPECT_FALSE(refused.ok());
  TextPanel panel;
  panel.lines = {"error"};
  const std::size_t from = device->log().mark();
  refused.draw(panel);
  EXPECT_EQ(device->log().size(), from);
}

TEST_F(TextOverlayRecordingTest, EmptyPanelsAndGeometryKeptOnTheTargetWhateverThePlaceAndLength) {
  TextOverlay overlay(device);
  TextPanel panel;
  EXPECT_TRUE(draw(overlay, panel).empty());  // no lines: nothing
  panel.lines = {"", ""};                     // empty lines: the padded box alone
  const std::vector<Vertex> box = draw(overlay, panel);
  ASSERT_EQ(box.size(), 6u);
  for (const Vertex& p : box) EXPECT_EQ(p.diffuse, panel.background);

  struct Case {
    int x, y;
    std::size_t length;
  } cases[] = {{0, 0, 100000}, {-40, -20, 30}, {60, 40, 20}, {-2000000000, 5, 10}, {2000000000, 2000000000, 3}};
  for (const Case& c : cases) {
    panel.x = c.x;
    panel.y = c.y;
    panel.lines = {std::string(c.length, 'W'), std::string(c.length, '#')};
    const std::vector<Vertex> v = draw(overlay, panel);
    // No more than the background and every cell the target can show.
    EXPECT_LE(v.size(), 6u * (1 + (kWidth / 7 + 1) * (kHeight / 13 + 1))) << c.x << ", " << c.y;
    for (const Vertex& p : v) {
      EXPECT_TRUE(p.x >= -0.5f && p.x <= kWidth - 0.5f && p.y >= -0.5f && p.y <= kHeight - 0.5f)
          << p.x << ", " << p.y << " for a panel at " << c.x << ", " << c.y;
    }
  }
}

}  // namespace
