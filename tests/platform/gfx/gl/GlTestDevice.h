#pragma once
// Shared set-up of the OpenGL device tests: an off-screen device (hidden
// context on SDL's offscreen driver), quads in Direct3D screen or clip space,
// textures from ARGB words, and pixel read-back.
#include "platform/gfx/gl/GlDevice.h"
#include "platform/gfx/gl/GlDirect3D.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace gltest {

struct DeviceOptions {
  UINT width = 16;
  UINT height = 16;
  D3DFORMAT format = D3DFMT_X8R8G8B8;
  bool depth = true;
  D3DFORMAT depthFormat = D3DFMT_D24S8;
  DWORD maxTextures = 8;  // GlDeviceOptions::maxSimultaneousTextures
};

// Screen-space vertex: Direct3D pixel coordinates, pixel centres on integers.
struct ScreenVertex {
  float x, y, z, rhw;
  D3DCOLOR diffuse;
  float u, v;
};
constexpr DWORD kScreenFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1;

// Untransformed vertex with normal and colour.
struct LitVertex {
  float x, y, z;
  float nx, ny, nz;
  D3DCOLOR diffuse;
};
constexpr DWORD kLitFvf = D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_DIFFUSE;

inline D3DMATRIX identity() {
  D3DMATRIX m{};
  m._11 = m._22 = m._33 = m._44 = 1.0f;
  return m;
}

// Channel distance that absorbs 8-bit rounding.
inline bool near(D3DCOLOR a, D3DCOLOR b, int tolerance = 2) {
  for (int shift = 0; shift < 32; shift += 8) {
    const int da = int((a >> shift) & 0xFF) - int((b >> shift) & 0xFF);
    if (std::abs(da) > tolerance) return false;
  }
  return true;
}

MATCHER_P2(NearColor, expected, tolerance, "") {
  *result_listener << std::hex << "0x" << arg << " vs 0x" << expected;
  return near(arg, expected, tolerance);
}

class GlDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override { open(DeviceOptions{}); }
  void TearDown() override { close(); }

  void open(const DeviceOptions& options) {
    close();
    setenv("SDL_VIDEODRIVER", "offscreen", 0);
    GlDeviceOptions deviceOptions;
    deviceOptions.maxSimultaneousTextures = options.maxTextures;
    m_d3d = createGlDirect3D(deviceOptions);
    ASSERT_NE(m_d3d, nullptr);
    D3DPRESENT_PARAMETERS pp{};
    pp.BackBufferWidth = options.width;
    pp.BackBufferHeight = options.height;
    pp.BackBufferFormat = options.format;
    pp.BackBufferCount = 1;
    pp.SwapEffect = D3DSWAPEFFECT_DISCARD;
    pp.Windowed = TRUE;
    pp.EnableAutoDepthStencil = options.depth;
    pp.AutoDepthStencilFormat = options.depthFormat;
    Device* device = nullptr;
    ASSERT_EQ(m_d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, nullptr, D3DCREATE_HARDWARE_VERTEXPROCESSING,
                                  &pp, &device),
              D3D_OK);
    m_device = static_cast<GlDevice*>(device);
    m_width = options.width;
    m_height = options.height;
    ASSERT_EQ(m_device->BeginScene(), D3D_OK);
  }

  void close() {
    if (m_device) {
      m_device->EndScene();
      EXPECT_EQ(m_device->Release(), 0u);
    }
    if (m_d3d) m_d3d->Release();
    m_device = nullptr;
    m_d3d = nullptr;
  }

  // Whole back buffer, ARGB, top row first.
  std::vector<D3DCOLOR> frame() {
    IDirect3DSurface9* back = nullptr;
    m_device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back);
    std::vector<D3DCOLOR> pixels;
    UINT w = 0, h = 0;
    EXPECT_EQ(m_device->readSurfaceARGB(back, pixels, w, h), D3D_OK);
    back->Release();
    return pixels;
  }
  D3DCOLOR pixel(UINT x, UINT y) { return frame()[y * m_width + x]; }
  D3DCOLOR rgb(UINT x, UINT y) { return pixel(x, y) & 0xFFFFFF; }

  // Unlit, untextured drawing with states the tests then change.
  void plainStates() {
    m_device->SetRenderState(D3DRS_LIGHTING, FALSE);
    m_device->SetRenderState(D3DRS_ZENABLE, D3DZB_FALSE);
    m_device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
  }

  // A rectangle in pixel coordinates, as two triangles (clockwise).
  void screenQuad(float x0, float y0, float x1, float y1, D3DCOLOR color, float z = 0.5f, float u0 = 0.0f,
                  float v0 = 0.0f, float u1 = 1.0f, float v1 = 1.0f) {
    const ScreenVertex v[4] = {{x0, y0, z, 1.0f, color, u0, v0},
                               {x1, y0, z, 1.0f, color, u1, v0},
                               {x0, y1, z, 1.0f, color, u0, v1},
                               {x1, y1, z, 1.0f, color, u1, v1}};
    m_device->SetFVF(kScreenFvf);
    ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, v, sizeof(ScreenVertex)), D3D_OK);
  }
  void fullQuad(D3DCOLOR color) { screenQuad(0.0f, 0.0f, float(m_width), float(m_height), color); }

  // A texture of ARGB words (A8R8G8B8 or X8R8G8B8), one level.
  IDirect3DTexture9* texture(UINT w, UINT h, const std::vector<D3DCOLOR>& texels,
                             D3DFORMAT format = D3DFMT_A8R8G8B8) {
    IDirect3DTexture9* t = nullptr;
    EXPECT_EQ(m_device->CreateTexture(w, h, 1, 0, format, D3DPOOL_MANAGED, &t, nullptr), D3D_OK);
    D3DLOCKED_RECT locked{};
    EXPECT_EQ(t->LockRect(0, &locked, nullptr, 0), D3D_OK);
    for (UINT y = 0; y < h; ++y)
      std::memcpy(static_cast<std::uint8_t*>(locked.pBits) + y * UINT(locked.Pitch), &texels[y * w], w * 4);
    EXPECT_EQ(t->UnlockRect(0), D3D_OK);
    return t;
  }

  void clear(D3DCOLOR color) {
    ASSERT_EQ(m_device->Clear(0, nullptr, D3DCLEAR_TARGET | (m_hasDepth ? D3DCLEAR_ZBUFFER : 0), color, 1.0f, 0),
              D3D_OK);
  }

  IDirect3D9* m_d3d = nullptr;
  GlDevice* m_device = nullptr;
  UINT m_width = 0, m_height = 0;
  bool m_hasDepth = true;
};

}  // namespace gltest
