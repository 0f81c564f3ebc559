#include "render/GlowProcessor.h"

#include "platform/d3dx/D3DXMath.h"
#include "render/GlowAmount.h"
#include "render/GlowTargets.h"
#include "render/StateCache.h"
#include "scene/Camera.h"
#include "scene/SceneGraph.h"

#include <cstring>

namespace {
constexpr DWORD kQuadFVF = D3DFVF_XYZ | D3DFVF_TEX1;
constexpr UINT kQuadStride = 5 * sizeof(float);
constexpr UINT kQuadBytes = 4 * kQuadStride;
static_assert(sizeof FullscreenQuad == kQuadBytes);
}  // namespace

GlowProcessor::GlowProcessor(std::uint32_t id_, SceneGraph* scene_) : DefaultProcessor(id_, scene_) {
  IDirect3DDevice9* device = stateCache->device;
  D3DCAPS9 caps{};
  // A device that cannot report its caps is taken as the smaller kind.
  if (FAILED(device->GetDeviceCaps(&caps))) caps.MaxSimultaneousTextures = 2;
  fewStages = caps.MaxSimultaneousTextures < 4;

  if (FAILED(device->CreateVertexBuffer(kQuadBytes, D3DUSAGE_WRITEONLY, kQuadFVF, D3DPOOL_DEFAULT, &quadBuffer,
                                        nullptr))) {
    quadBuffer = nullptr;
    return;
  }
  void* bytes = nullptr;
  if (FAILED(quadBuffer->Lock(0, 0, &bytes, 0)) || bytes == nullptr) {
    // A quad buffer without its vertices would draw garbage: none at all.
    quadBuffer->Release();
    quadBuffer = nullptr;
    return;
  }
  std::memcpy(bytes, FullscreenQuad, kQuadBytes);
  quadBuffer->Unlock();
}

GlowProcessor::~GlowProcessor() {
  if (quadBuffer != nullptr) quadBuffer->Release();
  quadBuffer = nullptr;
}

void GlowProcessor::Render() {
  IDirect3DDevice9* device = stateCache->device;
  // Nothing is drawn with a missing resource: no glow, the scene stays as
  // the default processor drew it.
  if (quadBuffer == nullptr || !GlowTargetsReady(device)) return;

  IDirect3DSurface9* savedTarget = nullptr;
  IDirect3DSurface9* savedDepth = nullptr;
  device->GetRenderTarget(0, &savedTarget);
  device->GetDepthStencilSurface(&savedDepth);

  // The glow-only pass, seen through the scene's camera: the screen image
  // squeezed into the square target.
  stateCache->SetRenderTargetTexture(GlowTargets[0]);
  device->SetDepthStencilSurface(GlowDepth);
  device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, 0x00000000, 1.0f, 0x7F);
  stateCache->glowOnly = TRUE;
  DefaultProcessor::Render();
  stateCache->glowOnly = FALSE;

  // Every later draw is the quad over the whole target, unlit and without
  // depth. Nothing is saved: the camera is applied again at the end.
  SetFullscreenQuadTransforms(device);
  device->SetFVF(kQuadFVF);
  device->SetVertexShader(nullptr);
  device->SetPixelShader(nullptr);
  device->SetStreamSource(0, quadBuffer, 0, kQuadStride);
  stateCache->SetRenderState(D3DRS_ZENABLE, FALSE);
  stateCache->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
  stateCache->SetRenderState(D3DRS_LIGHTING, FALSE);
  stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, FALSE);

  // Each level blurs the one before with a radius of i × GlowAmount, so the
  // halo spreads further at every level.
  const float amount = GlowAmount;
  const int stages = fewStages ? 2 : 4;
  bool stagesReady = false;
  for (int i = 1; i < kGlowTargetCount; ++i) {
    const float r = float(i) * amount;
    IDirect3DTexture9* source = GlowTargets[i - 1];
    stateCache->SetRenderTargetTexture(GlowTargets[i]);
    if (!fewStages) {
      // The quad covers the target: no clear needed.
      BlurSetup(*stateCache, stages, r, GlowTargetSize[i], BlurHalf::First, stagesReady);
      stagesReady = true;
      for (DWORD s = 0; s < 4; ++s) device->SetTexture(s, source);
      device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2);
    } else {
      // Horizontal taps, then the vertical taps added on top.
      device->Clear(0, nullptr, D3DCLEAR_TARGET, 0x00000000, 1.0f, 0x7F);
      stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, FALSE);
      BlurSetup(*stateCache, stages, r, GlowTargetSize[i], BlurHalf::First, stagesReady);
      stagesReady = true;
      device->SetTexture(0, source);
      device->SetTexture(1, source);
      device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2);
      stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
      stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ONE);
      BlurSetup(*stateCache, stages, r, GlowTargetSize[i], BlurHalf::Second, true);
      device->SetTexture(0, source);
      device->SetTexture(1, source);
      device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2);
    }
  }

  device->SetRenderTarget(0, savedTarget);
  device->SetDepthStencilSurface(savedDepth);
  if (savedTarget != nullptr) savedTarget->Release();
  if (savedDepth != nullptr) savedDepth->Release();

  // The composite: the stages output the sum of their textures, the blend
  // adds it to the frame.
  for (int s = 0; s < stages; ++s) {
    const DWORD stage = DWORD(s);
    const DWORD op = s == 0 ? D3DTOP_SELECTARG2 : D3DTOP_ADD;
    stateCache->SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_CURRENT);
    stateCache->SetTextureStageState(stage, D3DTSS_ALPHAARG1, D3DTA_CURRENT);
    stateCache->SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_TEXTURE);
    stateCache->SetTextureStageState(stage, D3DTSS_ALPHAARG2, D3DTA_TEXTURE);
    stateCache->SetTextureStageState(stage, D3DTSS_COLOROP, op);
    stateCache->SetTextureStageState(stage, D3DTSS_ALPHAOP, op);
    stateCache->SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
    stateCache->SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, 0);
    device->SetSamplerState(stage, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
    device->SetSamplerState(stage, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
    device->SetSamplerState(stage, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  }
  stateCache->SetTextureStageState(DWORD(stages), D3DTSS_COLOROP, D3DTOP_DISABLE);
  stateCache->SetTextureStageState(DWORD(stages), D3DTSS_ALPHAOP, D3DTOP_DISABLE);
  stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
  stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
  stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ONE);
  // Targets 0..7, `stages` at a time: two draws, or four on a two-stage
  // device.
  for (int first = 0; first < kGlowTargetCount; first += stages) {
    for (int s = 0; s < stages; ++s) device->SetTexture(DWORD(s), GlowTargets[first + s]);
    device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2);
  }

  stateCache->SetRenderState(D3DRS_ZENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_LIGHTING, TRUE);
  // The quad replaced view and projection; the camera sets them again.
  if (Camera* camera = scene->activeCamera) camera->update(false);
}
