#include "platform/gfx/recording/RecordingDevice.h"

#include "platform/gfx/D3D9Defaults.h"

#include <algorithm>
#include <cstring>

#include "platform/gfx/D3D9Format.h"
#include "platform/gfx/D3D9Names.h"

// State: defaults, fixed-function state, scene and presentation calls. The
// resource, binding and drawing calls are in RecordingDeviceResources.cpp.

namespace {

constexpr DWORD kMaxLightIndex = 4095;
constexpr DWORD kPresentFlagLockableBackBuffer = 0x00000001;  // D3DPRESENTFLAG_LOCKABLE_BACKBUFFER

D3DMATRIX identityMatrix() {
  D3DMATRIX m = {};
  m._11 = m._22 = m._33 = m._44 = 1.0f;
  return m;
}

// The light LightEnable stores in a slot never set: white, directional, +z.
D3DLIGHT9 defaultLight() {
  D3DLIGHT9 light = {};
  light.Type = D3DLIGHT_DIRECTIONAL;
  light.Diffuse = D3DCOLORVALUE{1.0f, 1.0f, 1.0f, 0.0f};
  light.Direction = D3DVECTOR{0.0f, 0.0f, 1.0f};
  return light;
}

bool validTransform(DWORD state) {
  return state == D3DTS_VIEW || state == D3DTS_PROJECTION ||
         (state >= D3DTS_TEXTURE0 && state <= D3DTS_TEXTURE7) || (state >= D3DTS_WORLD && state < D3DTS_WORLD + 256);
}

RecordedArg argRenderState(DWORD state) { return argText(renderStateText(state), state); }
RecordedArg argStageState(DWORD type) { return argText(textureStageStateText(type), type); }
RecordedArg argSamplerState(DWORD type) { return argText(samplerStateText(type), type); }

}  // namespace

D3DCAPS9 defaultRecordingCaps() {
  D3DCAPS9 caps = {};
  caps.DeviceType = D3DDEVTYPE_HAL;
  caps.DevCaps = D3DDEVCAPS_HWTRANSFORMANDLIGHT | D3DDEVCAPS_HWRASTERIZATION;
  caps.MaxTextureWidth = 4096;
  caps.MaxTextureHeight = 4096;
  caps.MaxTextureRepeat = 8192;
  caps.MaxTextureAspectRatio = 4096;
  caps.MaxAnisotropy = 16;
  caps.MaxVertexW = 1e10f;
  caps.MaxTextureBlendStages = 8;
  caps.MaxSimultaneousTextures = 8;
  caps.MaxActiveLights = 8;
  caps.MaxUserClipPlanes = 6;
  caps.MaxVertexBlendMatrices = 4;
  caps.MaxPointSize = 256.0f;
  caps.MaxPrimitiveCount = 0xFFFFF;
  caps.MaxVertexIndex = 0xFFFFFF;
  caps.MaxStreams = 16;
  caps.MaxStreamStride = 255;
  caps.VertexShaderVersion = D3DVS_VERSION(1, 1);
  caps.MaxVertexShaderConst = 256;
  caps.PixelShaderVersion = D3DPS_VERSION(1, 4);
  caps.PixelShader1xMaxValue = 8.0f;
  caps.NumSimultaneousRTs = 1;
  return caps;
}

RecordingDevice::RecordingDevice(std::shared_ptr<RecordingTracker> tracker, const D3DPRESENT_PARAMETERS& params,
                                 const D3DCAPS9& caps, HWND window, DWORD behaviorFlags)
    : m_tracker(std::move(tracker)),
      m_params(params),
      m_caps(caps),
      m_window(window),
      m_behaviorFlags(behaviorFlags),
      m_vertexConstants(256 * 4, 0.0f),
      m_pixelConstants(32 * 4, 0.0f) {
  if (m_params.BackBufferFormat == D3DFMT_UNKNOWN) m_params.BackBufferFormat = D3DFMT_X8R8G8B8;
  if (m_params.BackBufferCount == 0) m_params.BackBufferCount = 1;
  D3DSURFACE_DESC back{m_params.BackBufferFormat, D3DRTYPE_SURFACE, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT,
                       m_params.MultiSampleType,  m_params.MultiSampleQuality, m_params.BackBufferWidth,
                       m_params.BackBufferHeight};
  m_backBuffer = new RecordingSurface(m_tracker, "BackBuffer", false, back,
                                      (m_params.Flags & kPresentFlagLockableBackBuffer) != 0);
  if (m_params.EnableAutoDepthStencil) {
    D3DSURFACE_DESC depth = back;
    depth.Format = m_params.AutoDepthStencilFormat;
    depth.Usage = D3DUSAGE_DEPTHSTENCIL;
    m_autoDepth = new RecordingSurface(m_tracker, "AutoDepthStencil", false, depth, false);
  }
  rebind(m_renderTarget, m_backBuffer);
  rebind(m_depthStencil, m_autoDepth);
  m_viewport = D3DVIEWPORT9{0, 0, m_params.BackBufferWidth, m_params.BackBufferHeight, 0.0f, 1.0f};
  setDefaultStates();
  m_tracker->deviceCreated(this);
  m_tracker->resourceBorn();
}

RecordingDevice* RecordingDevice::createOffscreen(UINT width, UINT height) {
  D3DPRESENT_PARAMETERS params = {};
  params.BackBufferWidth = width;
  params.BackBufferHeight = height;
  params.BackBufferFormat = D3DFMT_X8R8G8B8;
  params.BackBufferCount = 1;
  params.SwapEffect = D3DSWAPEFFECT_DISCARD;
  params.Windowed = TRUE;
  params.EnableAutoDepthStencil = TRUE;
  params.AutoDepthStencilFormat = D3DFMT_D24X8;
  return new RecordingDevice(std::make_shared<RecordingTracker>(), params, defaultRecordingCaps());
}

RecordingDevice::~RecordingDevice() {
  // Direct3D drops every binding when the device goes.
  for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage) rebindTexture(stage, nullptr);
  for (Stream& stream : m_streams) rebind(stream.buffer, static_cast<RecordingVertexBuffer*>(nullptr));
  rebind(m_renderTarget, static_cast<RecordingSurface*>(nullptr));
  rebind(m_depthStencil, static_cast<RecordingSurface*>(nullptr));
  rebind(m_declaration, static_cast<RecordingVertexDeclaration*>(nullptr));
  rebind(m_indices, static_cast<RecordingIndexBuffer*>(nullptr));
  rebind(m_vertexShader, static_cast<RecordingVertexShader*>(nullptr));
  rebind(m_pixelShader, static_cast<RecordingPixelShader*>(nullptr));
  if (m_autoDepth != nullptr) m_autoDepth->releaseReference();
  m_backBuffer->releaseReference();
  m_tracker->deviceDestroyed(this);
  m_tracker->resourceDied();
}

void RecordingDevice::setDefaultStates() {
  fillDefaultRenderStates(m_renderStates, m_params.EnableAutoDepthStencil);
  for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage) fillDefaultStageStates(m_stageStates[stage], stage);
  for (DWORD sampler = 0; sampler < D3DSAMP_SAMPLER_COUNT; ++sampler) fillDefaultSamplerStates(m_samplerStates[sampler]);
}

void RecordingDevice::setHardwareTransformAndLight(bool on) {
  if (on) {
    m_caps.DevCaps |= D3DDEVCAPS_HWTRANSFORMANDLIGHT;
  } else {
    m_caps.DevCaps &= ~D3DDEVCAPS_HWTRANSFORMANDLIGHT;
  }
}

RecordedCall& RecordingDevice::record(const std::string& name, std::vector<RecordedArg> args, HRESULT result) {
  RecordedCall call;
  call.name = name;
  call.args = std::move(args);
  call.result = result;
  return m_tracker->log().append(std::move(call));
}

ULONG RecordingDevice::AddRef() {
  ++m_refs;
  record("AddRef", {}, static_cast<HRESULT>(m_refs));
  return m_refs;
}

ULONG RecordingDevice::Release() {
  ULONG count = --m_refs;
  record("Release", {}, static_cast<HRESULT>(count));
  if (count == 0) delete this;
  return count;
}

HRESULT RecordingDevice::GetDeviceCaps(D3DCAPS9* pCaps) {
  HRESULT hr = pCaps == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pCaps = m_caps;
  record("GetDeviceCaps", {}, hr);
  return hr;
}

HRESULT RecordingDevice::BeginScene() {
  HRESULT hr = m_inScene ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) m_inScene = true;
  record("BeginScene", {}, hr);
  return hr;
}

HRESULT RecordingDevice::EndScene() {
  HRESULT hr = m_inScene ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) {
    m_inScene = false;
    ++m_sceneCount;
  }
  record("EndScene", {}, hr);
  return hr;
}

HRESULT RecordingDevice::Clear(DWORD Count, const D3DRECT* pRects, DWORD Flags, D3DCOLOR Color, float Z,
                               DWORD Stencil) {
  std::vector<RecordedArg> args{argNumber(Count), argPointer(pRects), argText(clearFlagsText(Flags), Flags),
                                argColor(Color), argFloat(Z), argNumber(Stencil)};
  const DWORD known = D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL;
  HRESULT hr = D3D_OK;
  if (Flags == 0 || (Flags & ~known) != 0 || (Count != 0 && pRects == nullptr)) hr = D3DERR_INVALIDCALL;
  if ((Flags & (D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)) != 0 && m_depthStencil == nullptr) hr = D3DERR_INVALIDCALL;
  if ((Flags & D3DCLEAR_STENCIL) != 0 && m_depthStencil != nullptr &&
      m_depthStencil->desc().Format != D3DFMT_D24S8) {
    hr = D3DERR_INVALIDCALL;  // no stencil bits
  }
  if ((Flags & D3DCLEAR_ZBUFFER) != 0 && (Z < 0.0f || Z > 1.0f)) hr = D3DERR_INVALIDCALL;
  if (hr == D3D_OK) {
    // Direct3D clears within the viewport only; rectangles are cut to it.
    RECT view{std::int32_t(m_viewport.X), std::int32_t(m_viewport.Y),
              std::int32_t(m_viewport.X + m_viewport.Width), std::int32_t(m_viewport.Y + m_viewport.Height)};
    std::vector<RECT> areas;
    if (Count == 0) {
      areas.push_back(view);
    } else {
      for (DWORD i = 0; i < Count; ++i) {
        areas.push_back(RECT{std::max(pRects[i].x1, view.left), std::max(pRects[i].y1, view.top),
                             std::min(pRects[i].x2, view.right), std::min(pRects[i].y2, view.bottom)});
      }
    }
    for (const RECT& area : areas) {
      if (Flags & D3DCLEAR_TARGET) m_renderTarget->fillColor(area, Color);
      if (Flags & (D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)) {
        m_depthStencil->fillDepthStencil(area, (Flags & D3DCLEAR_ZBUFFER) != 0, Z, (Flags & D3DCLEAR_STENCIL) != 0,
                                         Stencil);
      }
    }
  }
  record("Clear", std::move(args), hr);
  return hr;
}

HRESULT RecordingDevice::Present(const RECT* pSourceRect, const RECT* pDestRect, HWND hDestWindowOverride,
                                 const void* pDirtyRegion) {
  HRESULT hr = (m_inScene || pDirtyRegion != nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) ++m_presentCount;
  record("Present", {argText(rectText(pSourceRect)), argText(rectText(pDestRect)), argPointer(hDestWindowOverride),
                     argPointer(pDirtyRegion)},
         hr);
  return hr;
}

HRESULT RecordingDevice::SetViewport(const D3DVIEWPORT9* pViewport) {
  HRESULT hr = D3D_OK;
  if (pViewport == nullptr) {
    hr = D3DERR_INVALIDCALL;
  } else {
    const D3DSURFACE_DESC& target = m_renderTarget->desc();
    const D3DVIEWPORT9& v = *pViewport;
    if (v.Width == 0 || v.Height == 0 || std::uint64_t(v.X) + v.Width > target.Width ||
        std::uint64_t(v.Y) + v.Height > target.Height || v.MinZ < 0.0f || v.MaxZ > 1.0f || v.MinZ > v.MaxZ) {
      hr = D3DERR_INVALIDCALL;
    }
  }
  if (hr == D3D_OK) m_viewport = *pViewport;
  record("SetViewport", {argText(pViewport != nullptr ? viewportText(*pViewport) : "NULL")}, hr);
  return hr;
}

HRESULT RecordingDevice::GetViewport(D3DVIEWPORT9* pViewport) {
  HRESULT hr = pViewport == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pViewport = m_viewport;
  record("GetViewport", {}, hr);
  return hr;
}

HRESULT RecordingDevice::SetRenderState(D3DRENDERSTATETYPE State, DWORD Value) {
  HRESULT hr = renderStateName(State) != nullptr ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) m_renderStates[State] = Value;
  record("SetRenderState", {argRenderState(State), argText(renderStateValueText(State, Value), Value)}, hr);
  return hr;
}

HRESULT RecordingDevice::GetRenderState(D3DRENDERSTATETYPE State, DWORD* pValue) {
  HRESULT hr = (renderStateName(State) != nullptr && pValue != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) *pValue = m_renderStates[State];
  record("GetRenderState", {argRenderState(State)}, hr);
  return hr;
}

HRESULT RecordingDevice::SetTextureStageState(DWORD Stage, D3DTEXTURESTAGESTATETYPE Type, DWORD Value) {
  HRESULT hr = (Stage < D3DTSS_STAGE_COUNT && textureStageStateName(Type) != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) m_stageStates[Stage][Type] = Value;
  record("SetTextureStageState",
         {argNumber(Stage), argStageState(Type), argText(textureStageValueText(Type, Value), Value)}, hr);
  return hr;
}

HRESULT RecordingDevice::GetTextureStageState(DWORD Stage, D3DTEXTURESTAGESTATETYPE Type, DWORD* pValue) {
  HRESULT hr = (Stage < D3DTSS_STAGE_COUNT && textureStageStateName(Type) != nullptr && pValue != nullptr)
                   ? D3D_OK
                   : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) *pValue = m_stageStates[Stage][Type];
  record("GetTextureStageState", {argNumber(Stage), argStageState(Type)}, hr);
  return hr;
}

HRESULT RecordingDevice::SetSamplerState(DWORD Sampler, D3DSAMPLERSTATETYPE Type, DWORD Value) {
  HRESULT hr = (Sampler < D3DSAMP_SAMPLER_COUNT && samplerStateName(Type) != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) m_samplerStates[Sampler][Type] = Value;
  record("SetSamplerState",
         {argNumber(Sampler), argSamplerState(Type), argText(samplerValueText(Type, Value), Value)}, hr);
  return hr;
}

HRESULT RecordingDevice::GetSamplerState(DWORD Sampler, D3DSAMPLERSTATETYPE Type, DWORD* pValue) {
  HRESULT hr = (Sampler < D3DSAMP_SAMPLER_COUNT && samplerStateName(Type) != nullptr && pValue != nullptr)
                   ? D3D_OK
                   : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) *pValue = m_samplerStates[Sampler][Type];
  record("GetSamplerState", {argNumber(Sampler), argSamplerState(Type)}, hr);
  return hr;
}

HRESULT RecordingDevice::SetTransform(D3DTRANSFORMSTATETYPE State, const D3DMATRIX* pMatrix) {
  HRESULT hr = (validTransform(State) && pMatrix != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) m_transforms[State] = *pMatrix;
  record("SetTransform",
         {argText(transformText(State), State), argText(pMatrix != nullptr ? matrixText(*pMatrix) : "NULL")}, hr);
  return hr;
}

HRESULT RecordingDevice::GetTransform(D3DTRANSFORMSTATETYPE State, D3DMATRIX* pMatrix) {
  HRESULT hr = (validTransform(State) && pMatrix != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) {
    auto it = m_transforms.find(State);
    *pMatrix = it != m_transforms.end() ? it->second : identityMatrix();
  }
  record("GetTransform", {argText(transformText(State), State)}, hr);
  return hr;
}

HRESULT RecordingDevice::SetLight(DWORD Index, const D3DLIGHT9* pLight) {
  HRESULT hr = D3D_OK;
  if (Index > kMaxLightIndex || pLight == nullptr) {
    hr = D3DERR_INVALIDCALL;
  } else if (pLight->Type != D3DLIGHT_POINT && pLight->Type != D3DLIGHT_SPOT &&
             pLight->Type != D3DLIGHT_DIRECTIONAL) {
    hr = D3DERR_INVALIDCALL;
  } else if (pLight->Type != D3DLIGHT_DIRECTIONAL && pLight->Range < 0.0f) {
    hr = D3DERR_INVALIDCALL;
  }
  if (hr == D3D_OK) m_lights[Index].light = *pLight;
  record("SetLight", {argNumber(Index), argText(pLight != nullptr ? lightText(*pLight) : "NULL")}, hr);
  return hr;
}

HRESULT RecordingDevice::GetLight(DWORD Index, D3DLIGHT9* pLight) {
  auto it = m_lights.find(Index);
  HRESULT hr = (it != m_lights.end() && pLight != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) *pLight = it->second.light;
  record("GetLight", {argNumber(Index)}, hr);
  return hr;
}

HRESULT RecordingDevice::LightEnable(DWORD Index, BOOL Enable) {
  HRESULT hr = Index > kMaxLightIndex ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK && Enable) {
    auto it = m_lights.find(Index);
    bool alreadyOn = it != m_lights.end() && it->second.enabled;
    DWORD enabled = 0;
    for (const auto& [index, slot] : m_lights) enabled += slot.enabled ? 1 : 0;
    if (!alreadyOn && enabled >= m_caps.MaxActiveLights) hr = D3DERR_INVALIDCALL;
  }
  if (hr == D3D_OK) {
    auto [it, inserted] = m_lights.try_emplace(Index);
    if (inserted) it->second.light = defaultLight();
    it->second.enabled = Enable != 0;
  }
  record("LightEnable", {argNumber(Index), argNumber(static_cast<DWORD>(Enable))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetLightEnable(DWORD Index, BOOL* pEnable) {
  auto it = m_lights.find(Index);
  HRESULT hr = (it != m_lights.end() && pEnable != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) *pEnable = it->second.enabled ? TRUE : FALSE;
  record("GetLightEnable", {argNumber(Index)}, hr);
  return hr;
}

HRESULT RecordingDevice::SetMaterial(const D3DMATERIAL9* pMaterial) {
  HRESULT hr = pMaterial == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) m_material = *pMaterial;
  record("SetMaterial", {argText(pMaterial != nullptr ? materialText(*pMaterial) : "NULL")}, hr);
  return hr;
}

HRESULT RecordingDevice::GetMaterial(D3DMATERIAL9* pMaterial) {
  HRESULT hr = pMaterial == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pMaterial = m_material;
  record("GetMaterial", {}, hr);
  return hr;
}

HRESULT RecordingDevice::SetFVF(DWORD FVF) {
  // An FVF needs a position; 0 only clears it.
  HRESULT hr = (FVF != 0 && fvfVertexSize(FVF) == 0) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) {
    m_fvf = FVF;
    if (FVF != 0) rebind(m_declaration, static_cast<RecordingVertexDeclaration*>(nullptr));
  }
  record("SetFVF", {argText(fvfText(FVF), FVF)}, hr);
  return hr;
}

HRESULT RecordingDevice::GetFVF(DWORD* pFVF) {
  HRESULT hr = pFVF == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pFVF = m_fvf;
  record("GetFVF", {}, hr);
  return hr;
}
