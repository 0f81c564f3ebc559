#pragma once
// A tool's device and the interface that made it, released in that order
// when the holder goes, whichever way a command returns; the one recipe by
// which tools, tests and benchmarks make the player's kind of device; and
// reading its frame back.
#include "platform/gfx/Device.h"
#include "platform/gfx/Direct3D9.h"

#include <vector>

struct DeviceHolder {
  IDirect3D9* d3d = nullptr;
  IDirect3DDevice9* device = nullptr;
  DeviceHolder() = default;
  DeviceHolder(const DeviceHolder&) = delete;
  DeviceHolder& operator=(const DeviceHolder&) = delete;
  ~DeviceHolder() {
    if (device) device->Release();
    if (d3d) d3d->Release();
  }
};

// A windowed device with an X8R8G8B8 back buffer of width x height and a
// D24X8 depth buffer, hardware vertex processing, on window (null: off
// screen). Returns CreateDevice's result; *device is set on success.
inline HRESULT createShowDevice(IDirect3D9* d3d, UINT width, UINT height, HWND window, IDirect3DDevice9** device) {
  D3DPRESENT_PARAMETERS params{};
  params.BackBufferWidth = width;
  params.BackBufferHeight = height;
  params.BackBufferFormat = D3DFMT_X8R8G8B8;
  params.BackBufferCount = 1;
  params.SwapEffect = D3DSWAPEFFECT_DISCARD;
  params.hDeviceWindow = window;
  params.Windowed = TRUE;
  params.EnableAutoDepthStencil = TRUE;
  params.AutoDepthStencilFormat = D3DFMT_D24X8;
  return d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window, D3DCREATE_HARDWARE_VERTEXPROCESSING, &params,
                           device);
}

// The back buffer's pixels as ARGB words, top row first (the frame just
// drawn, or presented). Fails when there is no back buffer.
inline HRESULT readBackBuffer(IDirect3DDevice9* device, std::vector<D3DCOLOR>& argb, UINT& width, UINT& height) {
  IDirect3DSurface9* backBuffer = nullptr;
  if (FAILED(device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &backBuffer)) || !backBuffer) return D3DERR_INVALIDCALL;
  const HRESULT read = device->readSurfaceARGB(backBuffer, argb, width, height);
  backBuffer->Release();
  return read;
}
