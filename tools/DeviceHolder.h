#pragma once
// A tool's device and the interface that made it, released in that order
// when the holder goes, whichever way a command returns.
#include "platform/gfx/Device.h"
#include "platform/gfx/Direct3D9.h"

struct DeviceHolder {
  IDirect3D9* d3d = nullptr;
  IDirect3DDevice9* device = nullptr;
  ~DeviceHolder() {
    if (device) device->Release();
    if (d3d) d3d->Release();
  }
};
