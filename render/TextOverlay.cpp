#include "render/TextOverlay.h"

#include "render/DeviceStates.h"
#include "render/FixedFont.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

// The atlas: glyph cells side by side, 16 to a row, code 32 first; the cell
// after the last glyph is solid white and colours the panel's background,
// so the whole panel is one textured draw with one set of states.
constexpr int kAtlasColumns = 16;
constexpr int kAtlasSize = 128;  // square, a power of two: 16 × 7 and 6 × 13 fit
constexpr int kSolidCell = kFixedFontGlyphs;
static_assert(kAtlasColumns * kFixedFontWidth <= kAtlasSize, "atlas too narrow");
static_assert((kSolidCell / kAtlasColumns + 1) * kFixedFontHeight <= kAtlasSize, "atlas too short");

constexpr DWORD kOverlayFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1;
// Quads per DrawPrimitiveUP, far below any device's primitive limit.
constexpr std::size_t kQuadsPerDraw = 2048;

int cellX(int cell) { return (cell % kAtlasColumns) * kFixedFontWidth; }
int cellY(int cell) { return (cell / kAtlasColumns) * kFixedFontHeight; }

struct RenderStateValue {
  D3DRENDERSTATETYPE state;
  DWORD value;
};
// Straight alpha blending of unlit, unfogged, untested pixels on every
// channel: whatever the show left set, the panel looks the same.
const RenderStateValue kRenderStates[] = {
    {D3DRS_ZENABLE, D3DZB_FALSE},
    {D3DRS_ZWRITEENABLE, FALSE},
    {D3DRS_FILLMODE, D3DFILL_SOLID},
    {D3DRS_CULLMODE, D3DCULL_NONE},
    {D3DRS_LIGHTING, FALSE},
    {D3DRS_SPECULARENABLE, FALSE},
    {D3DRS_FOGENABLE, FALSE},
    {D3DRS_ALPHATESTENABLE, FALSE},
    {D3DRS_STENCILENABLE, FALSE},
    {D3DRS_SCISSORTESTENABLE, FALSE},
    {D3DRS_CLIPPLANEENABLE, 0},
    {D3DRS_SRGBWRITEENABLE, FALSE},
    {D3DRS_COLORWRITEENABLE, D3DCOLORWRITEENABLE_RED | D3DCOLORWRITEENABLE_GREEN | D3DCOLORWRITEENABLE_BLUE |
                                 D3DCOLORWRITEENABLE_ALPHA},
    {D3DRS_ALPHABLENDENABLE, TRUE},
    {D3DRS_SEPARATEALPHABLENDENABLE, FALSE},
    {D3DRS_SRCBLEND, D3DBLEND_SRCALPHA},
    {D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA},
    {D3DRS_BLENDOP, D3DBLENDOP_ADD},
};

struct StageStateValue {
  DWORD stage;
  D3DTEXTURESTAGESTATETYPE type;
  DWORD value;
};
// Stage 0: atlas texel × vertex colour, for colour and alpha; nothing after.
const StageStateValue kStageStates[] = {
    {0, D3DTSS_COLOROP, D3DTOP_MODULATE},
    {0, D3DTSS_COLORARG1, D3DTA_TEXTURE},
    {0, D3DTSS_COLORARG2, D3DTA_DIFFUSE},
    {0, D3DTSS_ALPHAOP, D3DTOP_MODULATE},
    {0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE},
    {0, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE},
    {0, D3DTSS_TEXCOORDINDEX, 0},
    {0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE},
    {1, D3DTSS_COLOROP, D3DTOP_DISABLE},
    {1, D3DTSS_ALPHAOP, D3DTOP_DISABLE},
};

struct SamplerStateValue {
  D3DSAMPLERSTATETYPE type;
  DWORD value;
};
// Sampler 0: texel centres land on pixel centres, so point sampling copies
// the atlas exactly.
const SamplerStateValue kSamplerStates[] = {
    {D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP}, {D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP},
    {D3DSAMP_MAGFILTER, D3DTEXF_POINT},    {D3DSAMP_MINFILTER, D3DTEXF_POINT},
    {D3DSAMP_MIPFILTER, D3DTEXF_NONE},     {D3DSAMP_SRGBTEXTURE, FALSE},
};

// Fills the atlas: white texels whose alpha is the glyph's bit, the solid
// cell opaque, everything else transparent.
bool fillAtlas(IDirect3DTexture9* texture) {
  D3DLOCKED_RECT locked{};
  if (texture->LockRect(0, &locked, nullptr, 0) != D3D_OK || locked.pBits == nullptr) return false;
  auto* bytes = static_cast<std::uint8_t*>(locked.pBits);
  for (int y = 0; y < kAtlasSize; ++y) std::memset(bytes + y * locked.Pitch, 0, kAtlasSize * 4);
  for (int cell = 0; cell <= kSolidCell; ++cell) {
    for (int y = 0; y < kFixedFontHeight; ++y) {
      auto* row = reinterpret_cast<std::uint32_t*>(bytes + (cellY(cell) + y) * locked.Pitch) + cellX(cell);
      for (int x = 0; x < kFixedFontWidth; ++x) {
        const bool ink = cell == kSolidCell || FixedFontPixel(static_cast<unsigned char>(kFixedFontFirst + cell), x, y);
        row[x] = ink ? 0xFFFFFFFFu : 0x00FFFFFFu;
      }
    }
  }
  return texture->UnlockRect(0) == D3D_OK;
}

}  // namespace

TextOverlay::TextOverlay(IDirect3DDevice9* device) : m_device(device) {
  m_device->AddRef();
  if (m_device->CreateTexture(kAtlasSize, kAtlasSize, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &m_glyphs, nullptr) !=
      D3D_OK) {
    m_glyphs = nullptr;
  } else if (!fillAtlas(m_glyphs)) {
    m_glyphs->Release();
    m_glyphs = nullptr;
  }
}

TextOverlay::~TextOverlay() {
  if (m_glyphs != nullptr) m_glyphs->Release();
  m_device->Release();
}

bool TextOverlay::ok() const { return m_glyphs != nullptr; }

int TextOverlay::glyphWidth() { return kFixedFontWidth; }

int TextOverlay::lineHeight() { return kFixedFontHeight; }

void TextOverlay::measure(const TextPanel& panel, int* width, int* height) {
  int w = 0, h = 0;
  if (!panel.lines.empty()) {
    std::size_t longest = 0;
    for (const std::string& line : panel.lines) longest = std::max(longest, line.size());
    const long long padding = std::max(panel.padding, 0);
    const long long across = 2 * padding + static_cast<long long>(longest) * kFixedFontWidth;
    const long long down = 2 * padding + static_cast<long long>(panel.lines.size()) * kFixedFontHeight;
    constexpr long long kMost = 0x7FFFFFFF;
    w = static_cast<int>(std::min(across, kMost));
    h = static_cast<int>(std::min(down, kMost));
  }
  if (width != nullptr) *width = w;
  if (height != nullptr) *height = h;
}

void TextOverlay::addQuad(int x0, int y0, int w, int h, int u0, int v0, bool solid, D3DCOLOR color, int targetWidth,
                          int targetHeight) {
  // Clip in whole pixels (64-bit: a panel near INT_MAX must not wrap), moving
  // the texture window with the edges so that what stays is unchanged.
  const long long left = std::max<long long>(x0, 0), top = std::max<long long>(y0, 0);
  const long long right = std::min<long long>(static_cast<long long>(x0) + w, targetWidth);
  const long long bottom = std::min<long long>(static_cast<long long>(y0) + h, targetHeight);
  if (left >= right || top >= bottom) return;
  float ua, va, ub, vb;
  if (solid) {
    // Every corner on the solid cell's middle texel: exactly white.
    ua = ub = (cellX(kSolidCell) + 0.5f) / kAtlasSize;
    va = vb = (cellY(kSolidCell) + 0.5f) / kAtlasSize;
  } else {
    ua = float(u0 + (left - x0)) / kAtlasSize;
    va = float(v0 + (top - y0)) / kAtlasSize;
    ub = float(u0 + (right - x0)) / kAtlasSize;
    vb = float(v0 + (bottom - y0)) / kAtlasSize;
  }
  // Pixel edges sit half a pixel before the centres, which are integers.
  const float xa = float(left) - 0.5f, ya = float(top) - 0.5f;
  const float xb = float(right) - 0.5f, yb = float(bottom) - 0.5f;
  const Vertex a{xa, ya, 0.0f, 1.0f, color, ua, va};
  const Vertex b{xb, ya, 0.0f, 1.0f, color, ub, va};
  const Vertex c{xa, yb, 0.0f, 1.0f, color, ua, vb};
  const Vertex d{xb, yb, 0.0f, 1.0f, color, ub, vb};
  m_vertices.insert(m_vertices.end(), {a, b, c, c, b, d});
  if (m_vertices.size() >= kQuadsPerDraw * 6) flush();
}

void TextOverlay::flush() {
  if (m_vertices.empty()) return;
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, UINT(m_vertices.size() / 3), m_vertices.data(), sizeof(Vertex));
  m_vertices.clear();
}

void TextOverlay::draw(const TextPanel& panel) {
  if (!ok() || panel.lines.empty()) return;

  D3DSURFACE_DESC target{};
  IDirect3DSurface9* surface = nullptr;
  if (m_device->GetRenderTarget(0, &surface) != D3D_OK || surface == nullptr) return;
  const HRESULT described = surface->GetDesc(&target);
  surface->Release();
  if (described != D3D_OK || target.Width == 0 || target.Height == 0) return;
  const int targetWidth = int(std::min<UINT>(target.Width, 0x7FFFFFFF));
  const int targetHeight = int(std::min<UINT>(target.Height, 0x7FFFFFFF));

  int width = 0, height = 0;
  measure(panel, &width, &height);
  const long long padding = std::max(panel.padding, 0);
  m_vertices.clear();

  // Given back as found when draw returns.
  DeviceStates saved(m_device);
  for (const RenderStateValue& r : kRenderStates) saved.render(r.state, r.value);
  for (const StageStateValue& s : kStageStates) saved.stage(s.stage, s.type, s.value);
  for (const SamplerStateValue& s : kSamplerStates) saved.sampler(0, s.type, s.value);
  m_device->SetTexture(0, m_glyphs);
  m_device->SetFVF(kOverlayFvf);
  m_device->SetVertexShader(nullptr);
  m_device->SetPixelShader(nullptr);
  const D3DVIEWPORT9 whole{0, 0, target.Width, target.Height, 0.0f, 1.0f};
  m_device->SetViewport(&whole);

  if ((panel.background >> 24) != 0) {
    addQuad(panel.x, panel.y, width, height, 0, 0, true, panel.background, targetWidth, targetHeight);
  }
  if ((panel.text >> 24) != 0) {
    for (std::size_t row = 0; row < panel.lines.size(); ++row) {
      const long long top = panel.y + padding + static_cast<long long>(row) * kFixedFontHeight;
      if (top >= targetHeight) break;
      if (top + kFixedFontHeight <= 0) continue;
      const std::string& line = panel.lines[row];
      for (std::size_t column = 0; column < line.size(); ++column) {
        const long long left = panel.x + padding + static_cast<long long>(column) * kFixedFontWidth;
        if (left >= targetWidth) break;  // cut at the right edge
        if (left + kFixedFontWidth <= 0) continue;
        const unsigned char c = FixedFontDrawn(static_cast<unsigned char>(line[column]));
        if (c == ' ') continue;
        const int cell = c - kFixedFontFirst;
        addQuad(int(left), int(top), kFixedFontWidth, kFixedFontHeight, cellX(cell), cellY(cell), false, panel.text,
                targetWidth, targetHeight);
      }
    }
  }
  flush();
}
