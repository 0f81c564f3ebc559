#include "render/GlowTargets.h"

#include "platform/d3dx/D3DXMath.h"
#include "render/SharedShaders.h"
#include "render/StateCache.h"

const UINT GlowTargetSize[kGlowTargetCount] = {512, 256, 256, 256, 256, 256, 256, 256};

IDirect3DTexture9* GlowTargets[kGlowTargetCount] = {};
IDirect3DSurface9* GlowDepth = nullptr;

namespace {
// The device the targets were made on; not owned. Only compared.
IDirect3DDevice9* g_glowDevice = nullptr;
}  // namespace

void CreateGlowTargets(IDirect3DDevice9* device) {
  CreateSharedShaders(device);
  // Asked again (a second timeline), the existing set stays.
  if (GlowDepth != nullptr) return;
  for (int i = 0; i < kGlowTargetCount; ++i) {
    device->CreateTexture(GlowTargetSize[i], GlowTargetSize[i], 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8,
                          D3DPOOL_DEFAULT, &GlowTargets[i], nullptr);
  }
  device->CreateDepthStencilSurface(512, 512, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, TRUE, &GlowDepth, nullptr);
  g_glowDevice = device;
}

void ReleaseGlowTargets() {
  for (IDirect3DTexture9*& target : GlowTargets) {
    if (target != nullptr) target->Release();
    target = nullptr;
  }
  if (GlowDepth != nullptr) GlowDepth->Release();
  GlowDepth = nullptr;
  g_glowDevice = nullptr;
  ReleaseSharedShaders();
}

bool GlowTargetsReady(IDirect3DDevice9* device) {
  if (device == nullptr || device != g_glowDevice || GlowDepth == nullptr) return false;
  for (IDirect3DTexture9* target : GlowTargets)
    if (target == nullptr) return false;
  return true;
}

void BlurSetup(StateCache& stateCache, int stages, float r, UINT targetEdge, BlurHalf half, bool stagesReady) {
  IDirect3DDevice9* device = stateCache.device;
  // The kernel has four taps: all of them, or a pair per pass.
  stages = stages >= 4 ? 4 : 2;
  stateCache.SetRenderState(D3DRS_TEXTUREFACTOR, 0x40404040);
  const float h = 0.5f / float(targetEdge);

  if (!stagesReady) {
    // Stage 0 starts the sum with its tap × factor; every later stage adds
    // its own: CURRENT + TEXTURE × TFACTOR.
    stateCache.SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
    stateCache.SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
    stateCache.SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    stateCache.SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
    stateCache.SetTextureStageState(0, D3DTSS_COLORARG2, D3DTA_TFACTOR);
    stateCache.SetTextureStageState(0, D3DTSS_ALPHAARG2, D3DTA_TFACTOR);
    for (int s = 1; s < stages; ++s) {
      const DWORD stage = DWORD(s);
      stateCache.SetTextureStageState(stage, D3DTSS_COLOROP, D3DTOP_MULTIPLYADD);
      stateCache.SetTextureStageState(stage, D3DTSS_ALPHAOP, D3DTOP_MULTIPLYADD);
      stateCache.SetTextureStageState(stage, D3DTSS_COLORARG0, D3DTA_CURRENT);
      stateCache.SetTextureStageState(stage, D3DTSS_ALPHAARG0, D3DTA_CURRENT);
      stateCache.SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_TEXTURE);
      stateCache.SetTextureStageState(stage, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
      stateCache.SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_TFACTOR);
      stateCache.SetTextureStageState(stage, D3DTSS_ALPHAARG2, D3DTA_TFACTOR);
    }
    for (int s = 0; s < stages; ++s) {
      const DWORD stage = DWORD(s);
      stateCache.SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
      stateCache.SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, 0);
      device->SetSamplerState(stage, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
      device->SetSamplerState(stage, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
      device->SetSamplerState(stage, D3DSAMP_MINFILTER, D3DTEXF_LINEAR);
      device->SetSamplerState(stage, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
    }
    stateCache.SetTextureStageState(DWORD(stages), D3DTSS_COLOROP, D3DTOP_DISABLE);
    stateCache.SetTextureStageState(DWORD(stages), D3DTSS_ALPHAOP, D3DTOP_DISABLE);
  }

  // Tap offsets (du, dv): right, left, below, above. A two-stage device
  // takes the first pair in its first half and the second pair in its
  // second half.
  const float taps[4][2] = {{h + r, h}, {h - r, h}, {h, h + r}, {h, h - r}};
  const int first = half == BlurHalf::Second && stages == 2 ? 2 : 0;
  for (int k = 0; k < stages; ++k) {
    // With two-component coordinates and COUNT2, (u, v, 1, 0) × M: the
    // third row is the translation.
    D3DXMATRIX m;
    D3DXMatrixIdentity(&m);
    m._31 = taps[first + k][0];
    m._32 = taps[first + k][1];
    device->SetTransform(D3DTRANSFORMSTATETYPE(D3DTS_TEXTURE0 + k), &m);
  }
}
