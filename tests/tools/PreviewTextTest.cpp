// The preview's text on the OpenGL device off screen: every pixel of a panel
// worked out from the font's bits and the blending formula, and the device's
// states left as they were found.
#include "PixelCompare.h"
#include "platform/gfx/D3D9Defaults.h"
#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "tools/DeviceStates.h"
#include "tools/PreviewFont.h"
#include "tools/PreviewText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr UINT kWidth = 96, kHeight = 64;
constexpr D3DCOLOR kClear = 0xFF204060;

class PreviewTextTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerGlDirect3DBackend();
    m_d3d = Direct3DCreate9(D3D_SDK_VERSION);
    ASSERT_NE(m_d3d, nullptr);
    D3DPRESENT_PARAMETERS params{};
    params.BackBufferWidth = kWidth;
    params.BackBufferHeight = kHeight;
    params.BackBufferFormat = D3DFMT_X8R8G8B8;
    params.BackBufferCount = 1;
    params.SwapEffect = D3DSWAPEFFECT_DISCARD;
    params.Windowed = TRUE;
    params.EnableAutoDepthStencil = TRUE;
    params.AutoDepthStencilFormat = D3DFMT_D24X8;
    ASSERT_EQ(m_d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, nullptr, D3DCREATE_HARDWARE_VERTEXPROCESSING,
                                  &params, &m_device),
              D3D_OK);
  }
  void TearDown() override {
    if (m_device) m_device->Release();
    if (m_d3d) m_d3d->Release();
  }

  std::vector<D3DCOLOR> drawn(const PreviewTextPanel& panel) {
    PreviewText text(m_device);
    EXPECT_TRUE(text.ok());
    m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, kClear, 1.0f, 0);
    m_device->BeginScene();
    text.draw(panel);
    m_device->EndScene();
    IDirect3DSurface9* backBuffer = nullptr;
    m_device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &backBuffer);
    std::vector<D3DCOLOR> pixels;
    UINT w = 0, h = 0;
    m_device->readSurfaceARGB(backBuffer, pixels, w, h);
    backBuffer->Release();
    return pixels;
  }

  IDirect3D9* m_d3d = nullptr;
  IDirect3DDevice9* m_device = nullptr;
};

// Source-alpha blending of one colour over another, per 8-bit channel:
// src × a + dst × (1 − a), a = source alpha / 255, rounded.
D3DCOLOR blend(D3DCOLOR src, D3DCOLOR dst) {
  const double a = double(src >> 24) / 255.0;
  D3DCOLOR out = 0xFF000000;
  for (int shift : {0, 8, 16}) {
    const double s = double((src >> shift) & 0xFF), d = double((dst >> shift) & 0xFF);
    out |= D3DCOLOR(std::lround(s * a + d * (1.0 - a))) << shift;
  }
  return out;
}

// The panel as it should look: the background blended over the clear
// colour across the measured rectangle, glyph pixels in the text colour.
std::vector<D3DCOLOR> expected(const PreviewTextPanel& panel) {
  std::vector<D3DCOLOR> image(std::size_t(kWidth) * kHeight, kClear);
  int width = 0, height = 0;
  PreviewText::measure(panel, &width, &height);
  for (int y = panel.y; y < panel.y + height; ++y)
    for (int x = panel.x; x < panel.x + width; ++x)
      if (x >= 0 && y >= 0 && x < int(kWidth) && y < int(kHeight)) image[std::size_t(y) * kWidth + x] = blend(panel.background, kClear);
  for (std::size_t row = 0; row < panel.lines.size(); ++row)
    for (std::size_t i = 0; i < panel.lines[row].size(); ++i)
      for (int gy = 0; gy < kPreviewGlyphHeight; ++gy)
        for (int gx = 0; gx < kPreviewGlyphWidth; ++gx) {
          const int x = panel.x + panel.padding + int(i) * kPreviewGlyphWidth + gx;
          const int y = panel.y + panel.padding + int(row) * kPreviewGlyphHeight + gy;
          if (x < 0 || y < 0 || x >= int(kWidth) || y >= int(kHeight)) continue;
          if (previewFontPixel(static_cast<unsigned char>(panel.lines[row][i]), gx, gy)) {
            D3DCOLOR& pixel = image[std::size_t(y) * kWidth + x];
            pixel = blend(panel.text, pixel);
          }
        }
  return image;
}

}  // namespace

TEST(PreviewFont, GlyphsAreDistinctAndPrintableOnesHaveInk) {
  auto ink = [](unsigned char c) {
    int n = 0;
    for (int y = 0; y < kPreviewGlyphHeight; ++y)
      for (int x = 0; x < kPreviewGlyphWidth; ++x) n += previewFontPixel(c, x, y);
    return n;
  };
  EXPECT_EQ(ink(' '), 0);
  for (int c = 33; c <= 126; ++c) EXPECT_GT(ink(static_cast<unsigned char>(c)), 0) << char(c);
  auto same = [](unsigned char a, unsigned char b) {
    for (int y = 0; y < kPreviewGlyphHeight; ++y)
      for (int x = 0; x < kPreviewGlyphWidth; ++x)
        if (previewFontPixel(a, x, y) != previewFontPixel(b, x, y)) return false;
    return true;
  };
  EXPECT_FALSE(same('l', 'I'));
  EXPECT_FALSE(same('0', 'O'));
  EXPECT_TRUE(same(0x01, '?'));
  EXPECT_TRUE(same(0xE9, '?'));
  EXPECT_FALSE(previewFontPixel('A', -1, 0));
  EXPECT_FALSE(previewFontPixel('A', kPreviewGlyphWidth, 0));
}

TEST_F(PreviewTextTest, PanelPixelsAreTheBlendedBackgroundAndTheGlyphs) {
  PreviewTextPanel panel;
  panel.x = 5;
  panel.y = 7;
  panel.padding = 3;
  panel.lines = {"Ag?", "", "x\x01|"};
  panel.text = 0xFFFFFF00;        // opaque yellow
  panel.background = 0x80000080;  // half-transparent blue
  // Direct3D 9 blends in the target's 8 bits per channel; the hardware's
  // rounding of src × a + dst × (1 − a) may differ from round() by one level.
  EXPECT_TRUE(ImagesMatch("preview-text-panel", expected(panel), drawn(panel), kWidth, kHeight, 1));

  // A translucent text colour blends over the background; a line longer
  // than the target is cut at its edge, the panel too.
  panel.x = -4;
  panel.y = 40;
  panel.lines = {"a line far too long for this target"};
  panel.text = 0x80FFFFFF;
  panel.background = 0xFF000000;
  EXPECT_TRUE(ImagesMatch("preview-text-cut", expected(panel), drawn(panel), kWidth, kHeight, 1));
}

TEST_F(PreviewTextTest, DrawingLeavesEveryDeviceStateAsFound) {
  // States away from the defaults, as a show leaves them.
  m_device->SetRenderState(D3DRS_ALPHABLENDENABLE, FALSE);
  m_device->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
  m_device->SetRenderState(D3DRS_ZENABLE, TRUE);
  m_device->SetRenderState(D3DRS_CULLMODE, D3DCULL_CW);
  m_device->SetRenderState(D3DRS_FOGENABLE, TRUE);
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_ADD);
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
  m_device->SetSamplerState(0, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  m_device->SetSamplerState(0, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(m_device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture, nullptr), D3D_OK);
  m_device->SetTexture(0, texture);
  m_device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
  const D3DVIEWPORT9 part{8, 4, 40, 30, 0.0f, 1.0f};
  m_device->SetViewport(&part);

  auto snapshot = [&] {
    std::vector<DWORD> states;
    DWORD value = 0;
    for (DWORD s = 0; s < D3DRS_STATE_COUNT; ++s) states.push_back(SUCCEEDED(m_device->GetRenderState(D3DRENDERSTATETYPE(s), &value)) ? value : 0xDEAD);
    for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage)
      for (DWORD t = 0; t < D3DTSS_STATE_COUNT; ++t)
        states.push_back(SUCCEEDED(m_device->GetTextureStageState(stage, D3DTEXTURESTAGESTATETYPE(t), &value)) ? value : 0xDEAD);
    for (DWORD t = 0; t < D3DSAMP_STATE_COUNT; ++t)
      states.push_back(SUCCEEDED(m_device->GetSamplerState(0, D3DSAMPLERSTATETYPE(t), &value)) ? value : 0xDEAD);
    m_device->GetFVF(&value);
    states.push_back(value);
    D3DVIEWPORT9 viewport{};
    m_device->GetViewport(&viewport);
    states.insert(states.end(), {viewport.X, viewport.Y, viewport.Width, viewport.Height});
    return states;
  };
  const std::vector<DWORD> before = snapshot();
  {
    PreviewText text(m_device);
    PreviewTextPanel panel;
    panel.lines = {"states"};
    m_device->BeginScene();
    text.draw(panel);
    m_device->EndScene();
  }
  EXPECT_EQ(snapshot(), before);
  IDirect3DBaseTexture9* bound = nullptr;
  m_device->GetTexture(0, &bound);
  EXPECT_EQ(bound, texture);
  if (bound) bound->Release();

  // And a reset puts back the states of a new device.
  m_device->SetTexture(0, nullptr);
  texture->Release();
  resetDeviceStates(m_device, true);
  DWORD rs[D3DRS_STATE_COUNT], ts[D3DTSS_STATE_COUNT], ss[D3DSAMP_STATE_COUNT];
  fillDefaultRenderStates(rs, true);
  fillDefaultStageStates(ts, 1);
  fillDefaultSamplerStates(ss);
  DWORD value = 0;
  for (D3DRENDERSTATETYPE s : {D3DRS_ALPHABLENDENABLE, D3DRS_SRCBLEND, D3DRS_ZENABLE, D3DRS_CULLMODE, D3DRS_FOGENABLE}) {
    m_device->GetRenderState(s, &value);
    EXPECT_EQ(value, rs[s]) << "render state " << s;
  }
  m_device->GetTextureStageState(1, D3DTSS_COLOROP, &value);
  EXPECT_EQ(value, ts[D3DTSS_COLOROP]);
  m_device->GetSamplerState(0, D3DSAMP_MAGFILTER, &value);
  EXPECT_EQ(value, ss[D3DSAMP_MAGFILTER]);
  m_device->GetSamplerState(0, D3DSAMP_ADDRESSU, &value);
  EXPECT_EQ(value, ss[D3DSAMP_ADDRESSU]);
}
