#pragma once
// The OpenGL device off screen (SDL_VIDEODRIVER=offscreen) as the player
// makes its device: an X8R8G8B8 back buffer of the given size with a D24X8
// depth buffer, windowed, hardware vertex processing.
#include "platform/gfx/Device.h"
#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/gl/GlDirect3D.h"

// A device and the interface that made it, released together.
struct OffscreenDevice {
  IDirect3D9* d3d = nullptr;
  IDirect3DDevice9* device = nullptr;

  OffscreenDevice(UINT width, UINT height) {
    registerGlDirect3DBackend();
    d3d = Direct3DCreate9(D3D_SDK_VERSION);
    if (!d3d) return;
    D3DPRESENT_PARAMETERS params{};
    params.BackBufferWidth = width;
    params.BackBufferHeight = height;
    params.BackBufferFormat = D3DFMT_X8R8G8B8;
    params.BackBufferCount = 1;
    params.SwapEffect = D3DSWAPEFFECT_DISCARD;
    params.Windowed = TRUE;
    params.EnableAutoDepthStencil = TRUE;
    params.AutoDepthStencilFormat = D3DFMT_D24X8;
    if (FAILED(d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, nullptr, D3DCREATE_HARDWARE_VERTEXPROCESSING,
                                 &params, &device)))
      device = nullptr;
  }
  ~OffscreenDevice() {
    if (device) device->Release();
    if (d3d) d3d->Release();
  }
  OffscreenDevice(const OffscreenDevice&) = delete;
  OffscreenDevice& operator=(const OffscreenDevice&) = delete;
};
