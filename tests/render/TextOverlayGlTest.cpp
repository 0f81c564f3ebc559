// Text panels on the OpenGL device off screen, read back as pixels. Every
// expected pixel is worked out here from the font's bits and Direct3D 9's
// SRCALPHA / INVSRCALPHA blend on an 8-bit target,
//   out = src · a + dst · (1 − a),  a = source alpha / 255,
// rounded to the nearest level. Devices work that product in fixed point or
// in float, so a result on or next to a half level may land one level either
// way: comparisons allow ±1. Each pixel goes through one translucent blend
// at most (opaque text on a translucent panel, or translucent text on an
// opaque one), so no rounding carries into a second blend.
#include "render/FixedFont.h"
#include "render/TextOverlay.h"
#include "tests/platform/gfx/gl/GlTestDevice.h"
#include "PixelCompare.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

constexpr UINT kWidth = 64, kHeight = 48;
constexpr D3DCOLOR kClear = 0xFF3366CC;

D3DCOLOR blend(D3DCOLOR src, D3DCOLOR dst) {
  const double a = (src >> 24) / 255.0;
  D3DCOLOR out = 0xFF000000;
  for (int shift : {16, 8, 0})
    out |= D3DCOLOR(std::lround(((src >> shift) & 0xFF) * a + ((dst >> shift) & 0xFF) * (1.0 - a))) << shift;
  return out;
}

// The frame a panel should leave over kClear: its colour over the padded box
// (7 × 13 cells), then each ink pixel of `shown` in the text colour, cut to
// the target.
std::vector<D3DCOLOR> expectedFrame(const TextPanel& panel, const std::vector<std::string>& shown) {
  std::vector<D3DCOLOR> image(kWidth * kHeight, kClear);
  auto put = [&](long x, long y, D3DCOLOR color) {
    if (x >= 0 && y >= 0 && x < long(kWidth) && y < long(kHeight))
      image[y * kWidth + x] = blend(color, image[y * kWidth + x]);
  };
  std::size_t longest = 0;
  for (const std::string& line : shown) longest = std::max(longest, line.size());
  const long w = 2 * panel.padding + long(longest) * 7, h = 2 * panel.padding + long(shown.size()) * 13;
  for (long y = panel.y; y < panel.y + h; ++y)
    for (long x = panel.x; x < panel.x + w; ++x) put(x, y, panel.background);
  for (std::size_t row = 0; row < shown.size(); ++row)
    for (std::size_t column = 0; column < shown[row].size(); ++column)
      for (int gy = 0; gy < 13; ++gy)
        for (int gx = 0; gx < 7; ++gx)
          if (FixedFontPixel(static_cast<unsigned char>(shown[row][column]), gx, gy))
            put(panel.x + panel.padding + long(column) * 7 + gx, panel.y + panel.padding + long(row) * 13 + gy,
                panel.text);
  return image;
}

class TextOverlayGlTest : public gltest::GlDeviceTest {
 protected:
  void SetUp() override {
    open({kWidth, kHeight});
    overlay = std::make_unique<TextOverlay>(m_device);
    ASSERT_TRUE(overlay->ok());
  }
  void TearDown() override {
    overlay.reset();
    close();
  }
  ::testing::AssertionResult drawsAs(const std::string& name, const TextPanel& panel,
                                     const std::vector<std::string>& shown) {
    overlay->draw(panel);
    return ImagesMatch(name, expectedFrame(panel, shown), frame(), kWidth, kHeight, 1);
  }

  std::unique_ptr<TextOverlay> overlay;
};

TEST_F(TextOverlayGlTest, TwoLinesPixelForPixelOnATranslucentPanelAndTranslucentTextOnAnOpaqueOne) {
  TextPanel panel;
  panel.x = 3;
  panel.y = 5;
  panel.lines = {"Wg|7@", "fps:60"};
  panel.text = 0xFFFFFF00;
  panel.background = 0xC0000000;
  panel.padding = 4;
  clear(kClear);
  EXPECT_TRUE(drawsAs("overlay-two-lines", panel, panel.lines));

  panel.lines = {"a:b", "", "{~}"};  // the empty line keeps its height
  panel.text = 0x80FFCC00;
  panel.background = 0xFF202040;
  clear(kClear);
  EXPECT_TRUE(drawsAs("overlay-translucent-text", panel, panel.lines));
}

TEST_F(TextOverlayGlTest, CutAtTheTargetsEdgesAndUnprintableBytesAsQuestionMarks) {
  TextPanel panel;
  panel.lines = {"ABCDEFGHIJKLMNOPQRSTUVWXYZ", "0123456789"};
  panel.padding = 3;
  panel.x = 40;  // the fourth glyph starts at 61: three of its columns show
  panel.y = 30;  // the second line starts at 46: two of its rows show
  clear(kClear);
  EXPECT_TRUE(drawsAs("overlay-cut-right-bottom", panel, panel.lines));
  panel.x = -10;  // the first glyph starts at -7: none of it shows
  panel.y = -8;   // the first line starts at -5: eight of its rows show
  clear(kClear);
  EXPECT_TRUE(drawsAs("overlay-cut-left-top", panel, panel.lines));

  panel.x = panel.y = 2;
  panel.lines = {std::string("a\x01\x7f\xc3\xa9\tz")};
  clear(kClear);
  EXPECT_TRUE(drawsAs("overlay-unprintable", panel, {"a?????z"}));
}

TEST_F(TextOverlayGlTest, LooksTheSameWhateverStatesTheShowLeft) {
  // A depth buffer of 0 that rejects everything under LESS, an alpha test
  // that passes only 255, red writes only, additive blending, clockwise
  // culling, the texture factor in stage 0 and stage 1, linear filtering and
  // a viewport of 8 × 8.
  ASSERT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, kClear, 0.0f, 0), D3D_OK);
  for (auto [state, value] :
       std::vector<std::pair<D3DRENDERSTATETYPE, DWORD>>{{D3DRS_ZENABLE, D3DZB_TRUE},
                                                         {D3DRS_ZFUNC, D3DCMP_LESS},
                                                         {D3DRS_ALPHATESTENABLE, TRUE},
                                                         {D3DRS_ALPHAREF, 0xFF},
                                                         {D3DRS_ALPHAFUNC, D3DCMP_GREATEREQUAL},
                                                         {D3DRS_COLORWRITEENABLE, D3DCOLORWRITEENABLE_RED},
                                                         {D3DRS_ALPHABLENDENABLE, TRUE},
                                                         {D3DRS_SRCBLEND, D3DBLEND_ONE},
                                                         {D3DRS_DESTBLEND, D3DBLEND_ONE},
                                                         {D3DRS_CULLMODE, D3DCULL_CW},
                                                         {D3DRS_TEXTUREFACTOR, 0xFFFF0000}})
    m_device->SetRenderState(state, value);
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TFACTOR);
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
  m_device->SetTextureStageState(1, D3DTSS_COLORARG1, D3DTA_TFACTOR);
  m_device->SetSamplerState(0, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  const D3DVIEWPORT9 small{10, 10, 8, 8, 0.0f, 1.0f};
  m_device->SetViewport(&small);

  TextPanel panel;
  panel.x = 3;
  panel.y = 5;
  panel.lines = {"Wg|7@", "fps:60"};
  panel.padding = 4;
  EXPECT_TRUE(drawsAs("overlay-show-states", panel, panel.lines));
}

}  // namespace
