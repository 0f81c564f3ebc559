#pragma once
// The OpenGL device off screen (SDL_VIDEODRIVER=offscreen), made as the
// tools make theirs (createShowDevice).
#include "platform/gfx/Device.h"
#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "tools/DeviceHolder.h"

// A device and the interface that made it, released together.
struct OffscreenDevice : DeviceHolder {
  OffscreenDevice(UINT width, UINT height) {
    registerGlDirect3DBackend();
    d3d = Direct3DCreate9(D3D_SDK_VERSION);
    if (d3d && FAILED(createShowDevice(d3d, width, height, nullptr, &device))) device = nullptr;
  }
};
