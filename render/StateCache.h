#pragma once
// A scene's handle on the device: every scene object reaches the device
// through it. It holds the two render-wide values several classes read (the
// glow-only mode and the aspect ratio), forwards states, lights and draws,
// creates the device buffers of the scene's vertex and index buffers, resets
// texture stages, and shares the scene's textures by file name. It filters
// nothing: every call reaches the device.
#include "platform/gfx/Device.h"

#include <map>
#include <string>

class VertexBuffer;
class IndexBuffer;

class StateCache {
 public:
  explicit StateCache(IDirect3DDevice9* device);
  // Releases every cached texture; the device is not released.
  virtual ~StateCache();
  StateCache(const StateCache&) = delete;
  StateCache& operator=(const StateCache&) = delete;

  void SetRenderState(D3DRENDERSTATETYPE state, DWORD value);
  void SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value);
  void SetMaterial(const D3DMATERIAL9* material);
  // With a light: set it into the slot and enable the slot. Null: only
  // disable the slot (the light stored there stays stored).
  void SetLight(const D3DLIGHT9* light, unsigned index);
  // Level 0 of the texture becomes render target 0.
  void SetRenderTargetTexture(IDirect3DTexture9* texture);
  void DrawIndexed(D3DPRIMITIVETYPE type, INT baseVertexIndex, UINT minIndex, UINT vertexCount,
                   UINT startIndex, UINT primitiveCount);
  // Stages first..7: no texture, no coordinate transform, coordinate set =
  // stage, clamped addressing, linear min/mag filters. Colour and alpha
  // operations and the mip filter keep their values.
  void ResetTextureStages(DWORD first);

  // Managed, write-only device buffers sized from the scene buffer; true on
  // success (the caller reports failures).
  bool CreateDeviceVertexBuffer(VertexBuffer& vb);
  bool CreateDeviceIndexBuffer(IndexBuffer& ib);

  // The scene's texture for a file name, loaded on first use through the
  // resource layer (DXT5 when compressed, else the file's format; full mip
  // chain) and kept until the cache is destroyed. The caller gets no
  // reference of its own. A missing or undecodable file is fatal: "Texture
  // load failed: %s", caption "Error", exit code 0. Names are compared byte
  // for byte; the first load's compression choice holds.
  IDirect3DTexture9* GetTexture(const char* name, bool compressed);

  BOOL glowOnly = FALSE;             // set by the glow pass around its inner draw
  float aspect = 1.33333f;           // width / height for every camera; never changed
  bool shadowsUsed = false;          // a light of the scene file has its shadow flag set (set by the loader)
  IDirect3DDevice9* device;          // not owned
  std::map<std::string, IDirect3DTexture9*> textures;  // one reference each
};
