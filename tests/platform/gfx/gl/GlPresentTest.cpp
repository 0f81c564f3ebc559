// Devices on a window: Present's flip and aspect-kept scaling, the client
// size of a windowed device, and the back end registry.
#include "GlTestDevice.h"

#include "platform/os/Window.h"

namespace gltest {
namespace {

std::unique_ptr<Window> openWindow(int width, int height) {
  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  WindowDesc desc;
  desc.title = "Demo";
  desc.width = width;
  desc.height = height;
  std::string error;
  auto window = Window::create(desc, &error);
  EXPECT_TRUE(window) << error;
  return window;
}

// The window's framebuffer, bottom row first (OpenGL's order), as ARGB.
std::vector<D3DCOLOR> windowPixels(int width, int height) {
  std::vector<D3DCOLOR> pixels(size_t(width) * size_t(height));
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, pixels.data());
  return pixels;
}

TEST(GlPresent, BlitsFlippedAndScaledWithBlackBars) {
  auto window = openWindow(40, 20);
  ASSERT_TRUE(window);
  IDirect3D9* d3d = createGlDirect3D();
  D3DPRESENT_PARAMETERS pp{};
  pp.BackBufferWidth = 10;  // scaled by 2 into the middle 20 x 20
  pp.BackBufferHeight = 10;
  pp.BackBufferFormat = D3DFMT_X8R8G8B8;
  pp.Windowed = TRUE;
  pp.hDeviceWindow = window->handle();
  Device* device = nullptr;
  ASSERT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, window->handle(), 0, &pp, &device), D3D_OK);
  device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xFF0000FF, 1.0f, 0);
  const D3DRECT top = {0, 0, 10, 1};
  device->Clear(1, &top, D3DCLEAR_TARGET, 0xFFFF0000, 1.0f, 0);
  ASSERT_EQ(device->Present(nullptr, nullptr, nullptr, nullptr), D3D_OK);

  const std::vector<D3DCOLOR> pixels = windowPixels(40, 20);
  auto at = [&](int x, int rowFromTop) { return pixels[size_t(19 - rowFromTop) * 40 + size_t(x)] & 0xFFFFFF; };
  EXPECT_EQ(at(5, 10), 0u) << "bar on the left";
  EXPECT_EQ(at(35, 10), 0u) << "bar on the right";
  EXPECT_EQ(at(15, 10), 0x0000FFu);
  EXPECT_EQ(at(15, 0), 0xFF0000u) << "the back buffer's top row is the window's top";
  EXPECT_EQ(at(15, 19), 0x0000FFu);
  EXPECT_EQ(device->Present(nullptr, nullptr, nullptr, &pp), D3DERR_INVALIDCALL) << "no dirty regions";
  EXPECT_EQ(device->Release(), 0u);
  d3d->Release();
}

TEST(GlPresent, WindowedDeviceTakesTheClientSize) {
  auto window = openWindow(800, 600);
  ASSERT_TRUE(window);
  IDirect3D9* d3d = createGlDirect3D();
  D3DDISPLAYMODE mode{};
  ASSERT_EQ(d3d->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode), D3D_OK);
  D3DCAPS9 caps{};
  ASSERT_EQ(d3d->GetDeviceCaps(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, &caps), D3D_OK);
  EXPECT_TRUE(caps.DevCaps & D3DDEVCAPS_HWTRANSFORMANDLIGHT);
  EXPECT_GE(caps.VertexShaderVersion, D3DVS_VERSION(1, 0));
  EXPECT_EQ(caps.MaxSimultaneousTextures, 8u);
  D3DPRESENT_PARAMETERS pp{};
  pp.BackBufferFormat = mode.Format;
  pp.Windowed = TRUE;
  pp.hDeviceWindow = window->handle();
  pp.EnableAutoDepthStencil = TRUE;
  pp.AutoDepthStencilFormat = D3DFMT_D24X8;
  Device* device = nullptr;
  ASSERT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, window->handle(), D3DCREATE_HARDWARE_VERTEXPROCESSING, &pp, &device),
            D3D_OK);
  EXPECT_EQ(pp.BackBufferWidth, 800u);
  EXPECT_EQ(pp.BackBufferHeight, 600u);
  IDirect3DSurface9* back = nullptr;
  ASSERT_EQ(device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back), D3D_OK);
  D3DSURFACE_DESC desc{};
  back->GetDesc(&desc);
  EXPECT_EQ(desc.Width, 800u);
  back->Release();
  EXPECT_EQ(device->BeginScene(), D3D_OK);
  EXPECT_EQ(device->BeginScene(), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->Present(nullptr, nullptr, nullptr, nullptr), D3DERR_INVALIDCALL) << "inside a scene";
  EXPECT_EQ(device->EndScene(), D3D_OK);
  EXPECT_EQ(device->Present(nullptr, nullptr, nullptr, nullptr), D3D_OK);
  EXPECT_EQ(device->Release(), 0u);
  d3d->Release();
}

TEST(GlPresent, RegisteredBackendAnswersDirect3DCreate9) {
  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  registerGlDirect3DBackend();
  selectDirect3DBackend(kGlBackendName);
  EXPECT_EQ(chosenDirect3DBackend(), kGlBackendName);
  IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
  ASSERT_NE(d3d, nullptr);
  D3DPRESENT_PARAMETERS pp{};
  pp.BackBufferWidth = 8;
  pp.BackBufferHeight = 8;
  Device* device = nullptr;
  ASSERT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, 0, &pp, &device), D3D_OK);
  EXPECT_NE(dynamic_cast<GlDevice*>(device), nullptr);
  device->Release();
  d3d->Release();
  selectDirect3DBackend("");
  EXPECT_TRUE(unregisterDirect3DBackend(kGlBackendName));
}

}  // namespace
}  // namespace gltest
