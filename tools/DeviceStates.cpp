#include "tools/DeviceStates.h"

#include "platform/gfx/D3D9Defaults.h"

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
