#pragma once
// A tool's own drawing over a show (a preview's held frame, its text) sets
// device states through one of these, which gives every state back as it
// found it when it goes, so that the show's next frame draws as it would
// have without that drawing.
#include "platform/gfx/Device.h"

#include <tuple>
#include <utility>
#include <vector>

// Render, texture-stage and sampler states, stage 0's texture, the vertex
// format, the shaders, the viewport and stream 0, given back as found when
// it goes: the preview's own drawing leaves the show's device states alone.
class DeviceStates {
 public:
  explicit DeviceStates(IDirect3DDevice9* device) : m_device(device) {
    device->GetTexture(0, &m_texture);
    device->GetFVF(&m_fvf);
    device->GetVertexDeclaration(&m_declaration);
    device->GetVertexShader(&m_vertexShader);
    device->GetPixelShader(&m_pixelShader);
    device->GetViewport(&m_viewport);
    // A draw from memory unbinds stream 0; it is bound again at the end.
    device->GetStreamSource(0, &m_stream, &m_streamOffset, &m_streamStride);
  }
  ~DeviceStates() {
    for (auto it = m_render.rbegin(); it != m_render.rend(); ++it) m_device->SetRenderState(it->first, it->second);
    for (auto it = m_stage.rbegin(); it != m_stage.rend(); ++it)
      m_device->SetTextureStageState(std::get<0>(*it), std::get<1>(*it), std::get<2>(*it));
    for (auto it = m_sampler.rbegin(); it != m_sampler.rend(); ++it)
      m_device->SetSamplerState(std::get<0>(*it), std::get<1>(*it), std::get<2>(*it));
    m_device->SetTexture(0, m_texture);
    if (m_declaration)
      m_device->SetVertexDeclaration(m_declaration);
    else
      m_device->SetFVF(m_fvf);
    m_device->SetVertexShader(m_vertexShader);
    m_device->SetPixelShader(m_pixelShader);
    m_device->SetViewport(&m_viewport);
    m_device->SetStreamSource(0, m_stream, m_streamOffset, m_streamStride);
    for (IUnknown* held : {static_cast<IUnknown*>(m_texture), static_cast<IUnknown*>(m_declaration),
                           static_cast<IUnknown*>(m_stream),
                           static_cast<IUnknown*>(m_vertexShader), static_cast<IUnknown*>(m_pixelShader)})
      if (held) held->Release();
  }
  DeviceStates(const DeviceStates&) = delete;
  DeviceStates& operator=(const DeviceStates&) = delete;

  void render(D3DRENDERSTATETYPE type, DWORD value) {
    DWORD old = 0;
    m_device->GetRenderState(type, &old);
    m_render.emplace_back(type, old);
    m_device->SetRenderState(type, value);
  }
  void stage(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
    DWORD old = 0;
    m_device->GetTextureStageState(stage, type, &old);
    m_stage.emplace_back(stage, type, old);
    m_device->SetTextureStageState(stage, type, value);
  }
  void sampler(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) {
    DWORD old = 0;
    m_device->GetSamplerState(sampler, type, &old);
    m_sampler.emplace_back(sampler, type, old);
    m_device->SetSamplerState(sampler, type, value);
  }

 private:
  IDirect3DDevice9* m_device;
  IDirect3DBaseTexture9* m_texture = nullptr;
  DWORD m_fvf = 0;
  IDirect3DVertexDeclaration9* m_declaration = nullptr;
  IDirect3DVertexShader9* m_vertexShader = nullptr;
  IDirect3DPixelShader9* m_pixelShader = nullptr;
  D3DVIEWPORT9 m_viewport{};
  IDirect3DVertexBuffer9* m_stream = nullptr;
  UINT m_streamOffset = 0, m_streamStride = 0;
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
