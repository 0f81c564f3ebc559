#pragma once
// A tool's own drawing over a show (a preview's held frame, text panels)
// sets device states through one of these, which gives every state back as
// it found it when it goes, so that the show's next frame draws as it would
// have without that drawing.
#include "platform/gfx/Device.h"

#include <tuple>
#include <utility>
#include <vector>

// Taken when made: stage 0's texture, the vertex format or declaration, the
// shaders, the viewport and stream 0 (a draw from memory unbinds it). Each
// render, texture-stage or sampler state set through it is read first. All
// of it is set back, and the references taken dropped, when it goes. A
// state the device cannot report is left untouched rather than set and not
// given back.
class DeviceStates {
 public:
  explicit DeviceStates(IDirect3DDevice9* device);
  ~DeviceStates();
  DeviceStates(const DeviceStates&) = delete;
  DeviceStates& operator=(const DeviceStates&) = delete;

  void render(D3DRENDERSTATETYPE type, DWORD value);
  void stage(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value);
  void sampler(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value);

 private:
  IDirect3DDevice9* m_device;
  IDirect3DBaseTexture9* m_texture = nullptr;
  bool m_haveTexture = false;
  DWORD m_fvf = 0;
  bool m_haveFvf = false;
  IDirect3DVertexDeclaration9* m_declaration = nullptr;
  bool m_haveDeclaration = false;
  IDirect3DVertexShader9* m_vertexShader = nullptr;
  bool m_haveVertexShader = false;
  IDirect3DPixelShader9* m_pixelShader = nullptr;
  bool m_havePixelShader = false;
  D3DVIEWPORT9 m_viewport{};
  bool m_haveViewport = false;
  IDirect3DVertexBuffer9* m_stream = nullptr;
  UINT m_streamOffset = 0, m_streamStride = 0;
  bool m_haveStream = false;
  std::vector<std::pair<D3DRENDERSTATETYPE, DWORD>> m_render;
  std::vector<std::tuple<DWORD, D3DTEXTURESTAGESTATETYPE, DWORD>> m_stage;
  std::vector<std::tuple<DWORD, D3DSAMPLERSTATETYPE, DWORD>> m_sampler;
};

// Puts a device's states back to those of a freshly created one (render,
// texture-stage and sampler states from the shared defaults, no textures or
// shaders, identity transforms, no light on), so that a show started on a
// device that already drew another draws as on a new device: some of a
// show's draws rely on states it never sets itself. autoDepth: the device
// was created with an automatic depth-stencil surface.
void resetDeviceStates(IDirect3DDevice9* device, bool autoDepth);
