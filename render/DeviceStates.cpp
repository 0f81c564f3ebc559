#include "render/DeviceStates.h"

#include "platform/gfx/D3D9Defaults.h"

DeviceStates::DeviceStates(IDirect3DDevice9* device) : m_device(device) {
  m_haveTexture = device->GetTexture(0, &m_texture) == D3D_OK;
  m_haveFvf = device->GetFVF(&m_fvf) == D3D_OK;
  m_haveDeclaration = device->GetVertexDeclaration(&m_declaration) == D3D_OK;
  m_haveVertexShader = device->GetVertexShader(&m_vertexShader) == D3D_OK;
  m_havePixelShader = device->GetPixelShader(&m_pixelShader) == D3D_OK;
  m_haveViewport = device->GetViewport(&m_viewport) == D3D_OK;
  m_haveStream = device->GetStreamSource(0, &m_stream, &m_streamOffset, &m_streamStride) == D3D_OK;
}

DeviceStates::~DeviceStates() {
  if (m_haveStream) m_device->SetStreamSource(0, m_stream, m_streamOffset, m_streamStride);
  if (m_haveViewport) m_device->SetViewport(&m_viewport);
  if (m_havePixelShader) m_device->SetPixelShader(m_pixelShader);
  if (m_haveVertexShader) m_device->SetVertexShader(m_vertexShader);
  // An FVF and a declaration replace each other: a declaration without an
  // FVF was set by itself, otherwise the FVF (0 included) was.
  if (m_haveDeclaration && m_declaration != nullptr && (!m_haveFvf || m_fvf == 0))
    m_device->SetVertexDeclaration(m_declaration);
  else if (m_haveFvf)
    m_device->SetFVF(m_fvf);
  if (m_haveTexture) m_device->SetTexture(0, m_texture);
  for (auto it = m_sampler.rbegin(); it != m_sampler.rend(); ++it)
    m_device->SetSamplerState(std::get<0>(*it), std::get<1>(*it), std::get<2>(*it));
  for (auto it = m_stage.rbegin(); it != m_stage.rend(); ++it)
    m_device->SetTextureStageState(std::get<0>(*it), std::get<1>(*it), std::get<2>(*it));
  for (auto it = m_render.rbegin(); it != m_render.rend(); ++it) m_device->SetRenderState(it->first, it->second);
  for (IUnknown* held : {static_cast<IUnknown*>(m_texture), static_cast<IUnknown*>(m_declaration),
                         static_cast<IUnknown*>(m_vertexShader), static_cast<IUnknown*>(m_pixelShader),
                         static_cast<IUnknown*>(m_stream)})
    if (held) held->Release();
}

void DeviceStates::render(D3DRENDERSTATETYPE type, DWORD value) {
  DWORD old = 0;
  if (m_device->GetRenderState(type, &old) != D3D_OK) return;
  m_render.emplace_back(type, old);
  m_device->SetRenderState(type, value);
}

void DeviceStates::stage(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
  DWORD old = 0;
  if (m_device->GetTextureStageState(stage, type, &old) != D3D_OK) return;
  m_stage.emplace_back(stage, type, old);
  m_device->SetTextureStageState(stage, type, value);
}

void DeviceStates::sampler(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) {
  DWORD old = 0;
  if (m_device->GetSamplerState(sampler, type, &old) != D3D_OK) return;
  m_sampler.emplace_back(sampler, type, old);
  m_device->SetSamplerState(sampler, type, value);
}

void resetDeviceStates(IDirect3DDevice9* device, bool autoDepth) {
  DWORD render[D3DRS_STATE_COUNT];
  fillDefaultRenderStates(render, autoDepth);
  DWORD current = 0;
  for (DWORD state = 0; state < D3DRS_STATE_COUNT; ++state)
    if (SUCCEEDED(device->GetRenderState(D3DRENDERSTATETYPE(state), &current)) && current != render[state])
      device->SetRenderState(D3DRENDERSTATETYPE(state), render[state]);
  for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage) {
    DWORD states[D3DTSS_STATE_COUNT];
    fillDefaultStageStates(states, stage);
    for (DWORD type = 0; type < D3DTSS_STATE_COUNT; ++type)
      if (SUCCEEDED(device->GetTextureStageState(stage, D3DTEXTURESTAGESTATETYPE(type), &current)) &&
          current != states[type])
        device->SetTextureStageState(stage, D3DTEXTURESTAGESTATETYPE(type), states[type]);
    device->SetTexture(stage, nullptr);
  }
  DWORD sampler[D3DSAMP_STATE_COUNT];
  fillDefaultSamplerStates(sampler);
  for (DWORD s = 0; s < D3DSAMP_SAMPLER_COUNT; ++s)
    for (DWORD type = 0; type < D3DSAMP_STATE_COUNT; ++type)
      if (SUCCEEDED(device->GetSamplerState(s, D3DSAMPLERSTATETYPE(type), &current)) && current != sampler[type])
        device->SetSamplerState(s, D3DSAMPLERSTATETYPE(type), sampler[type]);
  device->SetVertexShader(nullptr);
  device->SetPixelShader(nullptr);
  D3DMATRIX identity{};
  identity._11 = identity._22 = identity._33 = identity._44 = 1.0f;
  for (D3DTRANSFORMSTATETYPE t : {D3DTS_WORLD, D3DTS_VIEW, D3DTS_PROJECTION}) device->SetTransform(t, &identity);
  for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage)
    device->SetTransform(D3DTRANSFORMSTATETYPE(D3DTS_TEXTURE0 + stage), &identity);
  for (DWORD light = 0; light < 8; ++light) {
    BOOL enabled = FALSE;
    if (SUCCEEDED(device->GetLightEnable(light, &enabled)) && enabled) device->LightEnable(light, FALSE);
  }
  const D3DMATERIAL9 material{};
  device->SetMaterial(&material);
}
