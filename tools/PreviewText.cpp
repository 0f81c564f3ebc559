#include "tools/PreviewText.h"

#include "tools/DeviceStates.h"
#include "tools/PreviewFont.h"

#include <algorithm>
#include <cstring>

namespace {

// The glyph texture: 16 cells across and 6 down, glyph c in cell c - 32,
// white texels whose alpha is the glyph's pixel; cell 95 is solid, for the
// panel's background.
constexpr int kColumns = 16;
constexpr int kAtlasSize = 128;
constexpr int kSolidCell = 95;
static_assert(kColumns * kPreviewGlyphWidth <= kAtlasSize && 6 * kPreviewGlyphHeight <= kAtlasSize,
              "the glyphs fit the texture");

struct Vertex {
  float x, y, z, rhw;
  D3DCOLOR colour;
  float u, v;
};
constexpr DWORD kFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1;

// Two triangles covering pixels [x0, x1) x [y0, y1) with texels [u0, u1) x
// [v0, v1) of the atlas: corners half a pixel up and to the left, so that
// each pixel centre meets one texel centre.
void addQuad(std::vector<Vertex>& out, float x0, float y0, float x1, float y1, float u0, float v0, float u1, float v1,
             D3DCOLOR colour) {
  const float s = 1.0f / kAtlasSize;
  const Vertex a{x0 - 0.5f, y0 - 0.5f, 0, 1, colour, u0 * s, v0 * s};
  const Vertex b{x1 - 0.5f, y0 - 0.5f, 0, 1, colour, u1 * s, v0 * s};
  const Vertex c{x0 - 0.5f, y1 - 0.5f, 0, 1, colour, u0 * s, v1 * s};
  const Vertex d{x1 - 0.5f, y1 - 0.5f, 0, 1, colour, u1 * s, v1 * s};
  out.insert(out.end(), {a, b, c, b, d, c});
}

void cellOrigin(int cell, float* u, float* v) {
  *u = float(cell % kColumns * kPreviewGlyphWidth);
  *v = float(cell / kColumns * kPreviewGlyphHeight);
}

}  // namespace

PreviewText::PreviewText(IDirect3DDevice9* device) : m_device(device) {
  m_device->AddRef();
  if (FAILED(m_device->CreateTexture(kAtlasSize, kAtlasSize, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &m_glyphs,
                                     nullptr))) {
    m_glyphs = nullptr;
    return;
  }
  D3DLOCKED_RECT locked{};
  if (FAILED(m_glyphs->LockRect(0, &locked, nullptr, 0))) {
    m_glyphs->Release();
    m_glyphs = nullptr;
    return;
  }
  for (int y = 0; y < kAtlasSize; ++y)
    std::memset(static_cast<unsigned char*>(locked.pBits) + y * locked.Pitch, 0, kAtlasSize * 4);
  auto texel = [&](int x, int y) {
    return reinterpret_cast<D3DCOLOR*>(static_cast<unsigned char*>(locked.pBits) + y * locked.Pitch) + x;
  };
  for (int cell = 0; cell <= kSolidCell; ++cell) {
    float u0, v0;
    cellOrigin(cell, &u0, &v0);
    for (int y = 0; y < kPreviewGlyphHeight; ++y)
      for (int x = 0; x < kPreviewGlyphWidth; ++x)
        if (cell == kSolidCell || previewFontPixel(static_cast<unsigned char>(32 + cell), x, y))
          *texel(int(u0) + x, int(v0) + y) = 0xFFFFFFFF;
  }
  m_glyphs->UnlockRect(0);
}

PreviewText::~PreviewText() {
  if (m_glyphs) m_glyphs->Release();
  m_device->Release();
}

void PreviewText::measure(const PreviewTextPanel& panel, int* width, int* height) {
  std::size_t longest = 0;
  for (const std::string& line : panel.lines) longest = std::max(longest, line.size());
  *width = int(longest) * kPreviewGlyphWidth + 2 * panel.padding;
  *height = int(panel.lines.size()) * kPreviewGlyphHeight + 2 * panel.padding;
}

void PreviewText::draw(const PreviewTextPanel& panel) {
  if (!m_glyphs || panel.lines.empty()) return;
  D3DVIEWPORT9 viewport{};
  m_device->GetViewport(&viewport);
  const int right = int(viewport.X + viewport.Width);

  std::vector<Vertex> vertices;
  int width = 0, height = 0;
  measure(panel, &width, &height);
  float su, sv;
  cellOrigin(kSolidCell, &su, &sv);
  // The solid cell's centre texel, stretched over the panel.
  addQuad(vertices, float(panel.x), float(panel.y), float(panel.x + width), float(panel.y + height), su + 3.5f,
          sv + 6.5f, su + 3.5f, sv + 6.5f, panel.background);
  for (std::size_t row = 0; row < panel.lines.size(); ++row) {
    const std::string& line = panel.lines[row];
    const int y = panel.y + panel.padding + int(row) * kPreviewGlyphHeight;
    for (std::size_t i = 0; i < line.size(); ++i) {
      const int x = panel.x + panel.padding + int(i) * kPreviewGlyphWidth;
      if (x >= right) break;
      unsigned char c = static_cast<unsigned char>(line[i]);
      if (c == ' ') continue;
      if (c < 32 || c > 126) c = '?';
      float u, v;
      cellOrigin(c - 32, &u, &v);
      addQuad(vertices, float(x), float(y), float(x + kPreviewGlyphWidth), float(y + kPreviewGlyphHeight), u, v,
              u + kPreviewGlyphWidth, v + kPreviewGlyphHeight, panel.text);
    }
  }

  DeviceStates states(m_device);
  for (auto [type, value] : {std::pair<D3DRENDERSTATETYPE, DWORD>{D3DRS_ZENABLE, FALSE},
                             {D3DRS_ZWRITEENABLE, FALSE},
                             {D3DRS_ALPHABLENDENABLE, TRUE},
                             {D3DRS_SRCBLEND, D3DBLEND_SRCALPHA},
                             {D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA},
                             {D3DRS_BLENDOP, D3DBLENDOP_ADD},
                             {D3DRS_ALPHATESTENABLE, FALSE},
                             {D3DRS_FOGENABLE, FALSE},
                             {D3DRS_LIGHTING, FALSE},
                             {D3DRS_STENCILENABLE, FALSE},
                             {D3DRS_CULLMODE, D3DCULL_NONE}})
    states.render(type, value);
  states.stage(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
  states.stage(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
  states.stage(0, D3DTSS_COLORARG2, D3DTA_DIFFUSE);
  states.stage(0, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
  states.stage(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
  states.stage(0, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE);
  states.stage(0, D3DTSS_TEXCOORDINDEX, 0);
  states.stage(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
  states.stage(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
  states.stage(1, D3DTSS_ALPHAOP, D3DTOP_DISABLE);
  states.sampler(0, D3DSAMP_MINFILTER, D3DTEXF_POINT);
  states.sampler(0, D3DSAMP_MAGFILTER, D3DTEXF_POINT);
  states.sampler(0, D3DSAMP_MIPFILTER, D3DTEXF_NONE);
  states.sampler(0, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
  states.sampler(0, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
  m_device->SetVertexShader(nullptr);
  m_device->SetPixelShader(nullptr);
  m_device->SetTexture(0, m_glyphs);
  m_device->SetFVF(kFvf);
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, UINT(vertices.size() / 3), vertices.data(), sizeof(Vertex));
}
