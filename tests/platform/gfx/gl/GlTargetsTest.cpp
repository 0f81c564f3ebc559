// Back buffer, Clear, read-back, rasterisation conventions, depth, culling,
// render targets and presentation of the OpenGL device.
#include "GlTestDevice.h"

namespace gltest {
namespace {

using ::testing::Each;
using ::testing::Eq;

class GlTargets : public GlDeviceTest {};

TEST_F(GlTargets, FreshDeviceHoldsTheDirect3DDefaults) {
  DWORD value = 0;
  auto rs = [&](D3DRENDERSTATETYPE s) {
    m_device->GetRenderState(s, &value);
    return value;
  };
  EXPECT_EQ(rs(D3DRS_ZENABLE), DWORD(D3DZB_TRUE));
  EXPECT_EQ(rs(D3DRS_ZFUNC), DWORD(D3DCMP_LESSEQUAL));
  EXPECT_EQ(rs(D3DRS_CULLMODE), DWORD(D3DCULL_CCW));
  EXPECT_EQ(rs(D3DRS_ALPHAFUNC), DWORD(D3DCMP_ALWAYS));
  EXPECT_EQ(rs(D3DRS_LIGHTING), DWORD(TRUE));
  EXPECT_EQ(rs(D3DRS_DIFFUSEMATERIALSOURCE), DWORD(D3DMCS_COLOR1));
  EXPECT_EQ(rs(D3DRS_TEXTUREFACTOR), 0xFFFFFFFFu);
  EXPECT_EQ(dwordToFloat(rs(D3DRS_FOGEND)), 1.0f);
  EXPECT_EQ(dwordToFloat(rs(D3DRS_POINTSCALE_A)), 1.0f);
  m_device->GetTextureStageState(0, D3DTSS_COLOROP, &value);
  EXPECT_EQ(value, DWORD(D3DTOP_MODULATE));
  m_device->GetTextureStageState(1, D3DTSS_COLOROP, &value);
  EXPECT_EQ(value, DWORD(D3DTOP_DISABLE));
  m_device->GetTextureStageState(3, D3DTSS_TEXCOORDINDEX, &value);
  EXPECT_EQ(value, 3u);
  m_device->GetSamplerState(0, D3DSAMP_MAGFILTER, &value);
  EXPECT_EQ(value, DWORD(D3DTEXF_POINT));
  D3DVIEWPORT9 viewport{};
  m_device->GetViewport(&viewport);
  EXPECT_EQ(viewport.Width, m_width);
  EXPECT_EQ(viewport.MaxZ, 1.0f);
  EXPECT_EQ(m_device->SetRenderState(D3DRENDERSTATETYPE(500), 1), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_device->SetTextureStageState(8, D3DTSS_COLOROP, 1), D3DERR_INVALIDCALL);
}

TEST_F(GlTargets, ClearFillsTheViewportAndRectsOnly) {
  clear(0xFF102030);
  EXPECT_THAT(frame(), Each(Eq(0xFF102030u)));

  const D3DRECT rect = {2, 3, 5, 4};  // x 2..4, row 3
  ASSERT_EQ(m_device->Clear(1, &rect, D3DCLEAR_TARGET, 0xFFFF0000, 1.0f, 0), D3D_OK);
  EXPECT_EQ(pixel(2, 3), 0xFFFF0000u);
  EXPECT_EQ(pixel(4, 3), 0xFFFF0000u);
  EXPECT_EQ(pixel(5, 3), 0xFF102030u);
  EXPECT_EQ(pixel(2, 2), 0xFF102030u) << "row 0 is the top: the rect must not be flipped";
  EXPECT_EQ(pixel(2, 12), 0xFF102030u);

  D3DVIEWPORT9 viewport = {8, 8, 4, 4, 0.0f, 1.0f};
  ASSERT_EQ(m_device->SetViewport(&viewport), D3D_OK);
  ASSERT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xFF00FF00, 1.0f, 0), D3D_OK);
  EXPECT_EQ(pixel(8, 8), 0xFF00FF00u);
  EXPECT_EQ(pixel(11, 11), 0xFF00FF00u);
  EXPECT_EQ(pixel(12, 11), 0xFF102030u);
  EXPECT_EQ(pixel(7, 8), 0xFF102030u);
}

TEST_F(GlTargets, ClearRejectsMissingBuffers) {
  EXPECT_EQ(m_device->Clear(1, nullptr, D3DCLEAR_TARGET, 0, 1.0f, 0), D3DERR_INVALIDCALL);
  DeviceOptions options;
  options.depth = false;
  open(options);
  EXPECT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xFF0000FF, 1.0f, 0), D3D_OK);
}

TEST_F(GlTargets, XrgbBackBufferReadsOpaqueAndArgbKeepsAlpha) {
  clear(0x40FFFFFF);
  EXPECT_EQ(pixel(0, 0), 0xFFFFFFFFu);
  DeviceOptions options;
  options.format = D3DFMT_A8R8G8B8;
  open(options);
  clear(0x40FFFFFF);
  EXPECT_EQ(pixel(0, 0), 0x40FFFFFFu);
}

// A quad whose corners sit on pixel centres covers exactly the pixels from
// its top-left corner up to, not including, its bottom-right corner.
TEST_F(GlTargets, FillConventionFollowsDirect3DPixelCentres) {
  plainStates();
  clear(0xFF000000);
  screenQuad(2.0f, 3.0f, 6.0f, 5.0f, 0xFFFFFFFF);
  for (UINT y = 0; y < m_height; ++y)
    for (UINT x = 0; x < m_width; ++x) {
      const bool inside = x >= 2 && x < 6 && y >= 3 && y < 5;
      EXPECT_EQ(rgb(x, y), inside ? 0xFFFFFFu : 0u) << x << "," << y;
    }
}

// The image layers draw through world/view/projection matrices with a
// half-pixel offset: a 2 x 2 picture at (2.5, 1.5) lands texel for pixel.
TEST_F(GlTargets, TwoByTwoPictureAtHalfPixelLandsTexelForPixel) {
  plainStates();
  clear(0xFF000000);
  IDirect3DTexture9* picture = texture(2, 2, {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF});
  m_device->SetTexture(0, picture);
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  // Orthographic off-centre projection, left 0 right W, bottom 0 top H, z 0..1.
  D3DMATRIX projection = identity();
  projection._11 = 2.0f / float(m_width);
  projection._22 = 2.0f / float(m_height);
  projection._41 = -1.0f;
  projection._42 = -1.0f;
  m_device->SetTransform(D3DTS_PROJECTION, &projection);
  D3DMATRIX world = identity();
  // Layer at x = 2, y = 2: translation (x + 0.5, (H - imageHeight) - y + 0.5),
  // which puts the picture's top-left corner at screen (2.5, 1.5).
  world._41 = 2.0f + 0.5f;
  world._42 = float(m_height) - 2.0f - 2.0f + 0.5f;
  m_device->SetTransform(D3DTS_WORLD, &world);
  struct V {
    float x, y, z, u, v;
  };
  const V quad[4] = {{0, 0, 1, 0, 1}, {0, 2, 1, 0, 0}, {2, 0, 1, 1, 1}, {2, 2, 1, 1, 0}};
  m_device->SetFVF(D3DFVF_XYZ | D3DFVF_TEX1);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V)), D3D_OK);
  EXPECT_EQ(rgb(3, 2), 0xFF0000u);
  EXPECT_EQ(rgb(4, 2), 0x00FF00u);
  EXPECT_EQ(rgb(3, 3), 0x0000FFu);
  EXPECT_EQ(rgb(4, 3), 0xFFFFFFu);
  EXPECT_EQ(rgb(2, 2), 0u);
  EXPECT_EQ(rgb(5, 2), 0u);
  EXPECT_EQ(rgb(3, 1), 0u);
  EXPECT_EQ(rgb(3, 4), 0u);
  picture->Release();
}

TEST_F(GlTargets, CullModesFollowDirect3DWinding) {
  plainStates();
  const ScreenVertex clockwise[3] = {{1, 1, 0.5f, 1, 0xFFFFFFFF, 0, 0},
                                     {14, 1, 0.5f, 1, 0xFFFFFFFF, 0, 0},
                                     {1, 14, 0.5f, 1, 0xFFFFFFFF, 0, 0}};
  const ScreenVertex counter[3] = {clockwise[0], clockwise[2], clockwise[1]};
  m_device->SetFVF(kScreenFvf);
  struct Case {
    DWORD cull;
    bool clockwiseDrawn, counterDrawn;
  } cases[] = {{D3DCULL_CCW, true, false}, {D3DCULL_CW, false, true}, {D3DCULL_NONE, true, true}};
  for (const Case& c : cases) {
    m_device->SetRenderState(D3DRS_CULLMODE, c.cull);
    clear(0xFF000000);
    m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, clockwise, sizeof(ScreenVertex));
    EXPECT_EQ(rgb(3, 3) != 0, c.clockwiseDrawn) << "cull " << c.cull;
    clear(0xFF000000);
    m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, counter, sizeof(ScreenVertex));
    EXPECT_EQ(rgb(3, 3) != 0, c.counterDrawn) << "cull " << c.cull;
  }
}

TEST_F(GlTargets, DepthTestAndWriteUseZeroToOneDepth) {
  plainStates();
  m_device->SetRenderState(D3DRS_ZENABLE, D3DZB_TRUE);
  clear(0xFF000000);
  screenQuad(0, 0, 8, 16, 0xFFFF0000, 0.25f);
  screenQuad(0, 0, 16, 16, 0xFF00FF00, 0.75f);  // behind the red half
  EXPECT_EQ(rgb(2, 2), 0xFF0000u);
  EXPECT_EQ(rgb(12, 2), 0x00FF00u);

  m_device->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
  screenQuad(0, 0, 16, 16, 0xFF0000FF, 0.5f);  // passes only where green (0.75) was
  EXPECT_EQ(rgb(2, 2), 0xFF0000u);
  EXPECT_EQ(rgb(12, 2), 0x0000FFu);
  screenQuad(0, 0, 16, 16, 0xFFFFFFFF, 0.6f);  // blue wrote no depth: still 0.75 there
  EXPECT_EQ(rgb(12, 2), 0xFFFFFFu);

  m_device->SetRenderState(D3DRS_ZFUNC, D3DCMP_GREATER);
  screenQuad(0, 0, 16, 16, 0xFF202020, 0.5f);
  EXPECT_EQ(rgb(2, 2), 0x202020u);   // 0.5 > 0.25
  EXPECT_EQ(rgb(12, 2), 0xFFFFFFu);  // 0.5 < 0.75
  // Depth 1.5 is clipped away, as beyond the far plane.
  m_device->SetRenderState(D3DRS_ZENABLE, D3DZB_FALSE);
  screenQuad(0, 0, 16, 16, 0xFF123456, 1.5f);
  EXPECT_EQ(rgb(2, 2), 0x202020u);
}

TEST_F(GlTargets, RenderToTextureKeepsOrientationWhenSampled) {
  plainStates();
  IDirect3DTexture9* target = nullptr;
  ASSERT_EQ(m_device->CreateTexture(8, 8, 1, D3DUSAGE_RENDERTARGET, D3DFMT_X8R8G8B8, D3DPOOL_DEFAULT, &target,
                                    nullptr),
            D3D_OK);
  IDirect3DSurface9* surface = nullptr;
  ASSERT_EQ(target->GetSurfaceLevel(0, &surface), D3D_OK);
  IDirect3DSurface9* back = nullptr;
  m_device->GetRenderTarget(0, &back);
  ASSERT_EQ(m_device->SetRenderTarget(0, surface), D3D_OK);
  D3DVIEWPORT9 viewport{};
  m_device->GetViewport(&viewport);
  EXPECT_EQ(viewport.Width, 8u) << "setting a render target resets the viewport";
  ASSERT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xFF0000FF, 1.0f, 0), D3D_OK);
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  screenQuad(0, 0, 8, 2, 0xFFFF0000);  // red band along the top rows

  std::vector<D3DCOLOR> texels;
  UINT w = 0, h = 0;
  ASSERT_EQ(m_device->readSurfaceARGB(surface, texels, w, h), D3D_OK);
  EXPECT_EQ(texels[0], 0xFFFF0000u);
  EXPECT_EQ(texels[7 * 8], 0xFF0000FFu);

  ASSERT_EQ(m_device->SetRenderTarget(0, back), D3D_OK);
  clear(0xFF000000);
  m_device->SetTexture(0, target);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
  fullQuad(0xFFFFFFFF);
  EXPECT_EQ(rgb(5, 0), 0xFF0000u) << "the top of the target stays the top";
  EXPECT_EQ(rgb(5, 15), 0x0000FFu);
  m_device->SetTexture(0, nullptr);
  surface->Release();
  back->Release();
  target->Release();
}

TEST_F(GlTargets, StencilClearAndTestOnASeparateDepthStencilSurface) {
  plainStates();
  IDirect3DSurface9* stencil = nullptr;
  ASSERT_EQ(m_device->CreateDepthStencilSurface(16, 16, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, FALSE, &stencil,
                                                nullptr),
            D3D_OK);
  ASSERT_EQ(m_device->SetDepthStencilSurface(stencil), D3D_OK);
  clear(0xFF000000);
  ASSERT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_STENCIL, 0, 1.0f, 0), D3D_OK);
  const D3DRECT left = {0, 0, 8, 16};
  ASSERT_EQ(m_device->Clear(1, &left, D3DCLEAR_STENCIL, 0, 1.0f, 1), D3D_OK);
  m_device->SetRenderState(D3DRS_STENCILENABLE, TRUE);
  m_device->SetRenderState(D3DRS_STENCILFUNC, D3DCMP_EQUAL);
  m_device->SetRenderState(D3DRS_STENCILREF, 1);
  fullQuad(0xFFFFFFFF);
  EXPECT_EQ(rgb(3, 5), 0xFFFFFFu);
  EXPECT_EQ(rgb(12, 5), 0u);

  m_device->SetRenderState(D3DRS_STENCILFUNC, D3DCMP_ALWAYS);
  m_device->SetRenderState(D3DRS_STENCILPASS, D3DSTENCILOP_INCR);
  fullQuad(0xFF000000);  // stencil now 2 on the left, 1 on the right
  m_device->SetRenderState(D3DRS_STENCILFUNC, D3DCMP_EQUAL);
  m_device->SetRenderState(D3DRS_STENCILPASS, D3DSTENCILOP_KEEP);
  fullQuad(0xFF00FF00);
  EXPECT_EQ(rgb(3, 5), 0u);
  EXPECT_EQ(rgb(12, 5), 0x00FF00u);

  IDirect3DSurface9* current = nullptr;
  ASSERT_EQ(m_device->GetDepthStencilSurface(&current), D3D_OK);
  EXPECT_EQ(current, stencil);
  current->Release();
  m_device->SetDepthStencilSurface(nullptr);
  EXPECT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_STENCIL, 0, 1.0f, 0), D3DERR_INVALIDCALL);
  stencil->Release();
}

TEST_F(GlTargets, MultisampleFallsBackWhenTheQualityIsUnavailable) {
  DWORD levels = 0;
  ASSERT_EQ(m_d3d->CheckDeviceMultiSampleType(0, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, FALSE,
                                              D3DMULTISAMPLE_NONMASKABLE, &levels),
            D3D_OK);
  ASSERT_GT(levels, 0u);
  D3DPRESENT_PARAMETERS pp{};
  pp.BackBufferWidth = 16;
  pp.BackBufferHeight = 16;
  pp.BackBufferFormat = D3DFMT_X8R8G8B8;
  pp.MultiSampleType = D3DMULTISAMPLE_NONMASKABLE;
  pp.MultiSampleQuality = levels;  // one past the last level
  pp.EnableAutoDepthStencil = TRUE;
  pp.AutoDepthStencilFormat = D3DFMT_D24X8;
  Device* device = nullptr;
  EXPECT_TRUE(FAILED(m_d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, 0, &pp, &device)));
  EXPECT_EQ(device, nullptr);

  pp.MultiSampleQuality = levels - 1;
  ASSERT_EQ(m_d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, 0, &pp, &device), D3D_OK);
  auto* multisampled = static_cast<GlDevice*>(device);
  EXPECT_EQ(multisampled->backBufferSamples(), 2 << (levels - 1));
  // A multisampled frame still reads back resolved.
  multisampled->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xFF336699, 1.0f, 0);
  IDirect3DSurface9* back = nullptr;
  multisampled->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back);
  std::vector<D3DCOLOR> pixels;
  UINT w = 0, h = 0;
  ASSERT_EQ(multisampled->readSurfaceARGB(back, pixels, w, h), D3D_OK);
  EXPECT_THAT(pixels, Each(Eq(0xFF336699u)));
  back->Release();
  EXPECT_EQ(multisampled->Release(), 0u);
}

}  // namespace
}  // namespace gltest
