#include "platform/gfx/recording/RecordingDevice.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "platform/gfx/D3D9Format.h"
#include "platform/gfx/D3D9Names.h"

// Resource creation and the back buffer. Every creation call checks its
// arguments as Direct3D does, then consults the tracker's failure plan.

namespace {

constexpr UINT kMaxDimension = 16384;

RecordedArg argUsage(DWORD usage) { return argText(usageText(usage), usage); }
RecordedArg argFormat(D3DFORMAT format) { return argText(formatText(format), format); }
RecordedArg argPool(D3DPOOL pool) { return argText(poolText(pool), pool); }
RecordedArg argMultiSample(D3DMULTISAMPLE_TYPE type) {
  const char* name = multiSampleName(type);
  return argText(name != nullptr ? name : std::to_string(type), type);
}
RecordedArg argBytes(std::size_t count) { return argText("<" + std::to_string(count) + " bytes>", count); }

bool validPool(D3DPOOL pool) { return pool <= D3DPOOL_SCRATCH; }

}  // namespace

void RecordingDevice::rebindTexture(DWORD stage, IDirect3DBaseTexture9* texture) {
  if (texture != nullptr) dynamic_cast<RecordingObject*>(texture)->addReference();
  if (m_textures[stage] != nullptr) dynamic_cast<RecordingObject*>(m_textures[stage])->releaseReference();
  m_textures[stage] = texture;
}

std::string RecordingDevice::shaderSource(IDirect3DVertexShader9* shader) {
  auto* recording = dynamic_cast<RecordingVertexShader*>(shader);
  return recording != nullptr && recording->alive() ? recording->source() : std::string();
}

std::string RecordingDevice::shaderSource(IDirect3DPixelShader9* shader) {
  auto* recording = dynamic_cast<RecordingPixelShader*>(shader);
  return recording != nullptr && recording->alive() ? recording->source() : std::string();
}

HRESULT RecordingDevice::GetBackBuffer(UINT iSwapChain, UINT iBackBuffer, D3DBACKBUFFER_TYPE Type,
                                       IDirect3DSurface9** ppBackBuffer) {
  HRESULT hr = (iSwapChain != 0 || iBackBuffer != 0 || Type != D3DBACKBUFFER_TYPE_MONO || ppBackBuffer == nullptr)
                   ? D3DERR_INVALIDCALL
                   : D3D_OK;
  if (ppBackBuffer != nullptr) *ppBackBuffer = nullptr;
  if (hr == D3D_OK) {
    m_backBuffer->addReference();
    *ppBackBuffer = m_backBuffer;
  }
  RecordedCall& call = record("GetBackBuffer", {argNumber(iSwapChain), argNumber(iBackBuffer), argNumber(Type)}, hr);
  if (hr == D3D_OK) call.created = m_backBuffer->label();
  return hr;
}

// --- Creation ------------------------------------------------------------------

HRESULT RecordingDevice::CreateTexture(UINT Width, UINT Height, UINT Levels, DWORD Usage, D3DFORMAT Format,
                                       D3DPOOL Pool, IDirect3DTexture9** ppTexture, HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(Width), argNumber(Height), argNumber(Levels),
                                argUsage(Usage),  argFormat(Format), argPool(Pool)};
  if (ppTexture != nullptr) *ppTexture = nullptr;
  HRESULT hr = D3D_OK;
  bool renderTarget = (Usage & D3DUSAGE_RENDERTARGET) != 0;
  if (ppTexture == nullptr || pSharedHandle != nullptr || Width == 0 || Height == 0 || Width > kMaxDimension ||
      Height > kMaxDimension || !validPool(Pool) || Levels > fullMipLevelCount(Width, Height)) {
    hr = D3DERR_INVALIDCALL;
  } else if (!isColorFormat(Format) || (renderTarget && (Pool != D3DPOOL_DEFAULT || isCompressedFormat(Format)))) {
    hr = D3DERR_INVALIDCALL;
  } else if ((Usage & D3DUSAGE_DYNAMIC) != 0 && Pool == D3DPOOL_MANAGED) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateTexture");
  }
  RecordingTexture* texture = nullptr;
  if (hr == D3D_OK) {
    texture = new RecordingTexture(m_tracker, Width, Height, Levels, Usage, Format, Pool);
    *ppTexture = texture;
  }
  RecordedCall& call = record("CreateTexture", std::move(args), hr);
  if (texture != nullptr) call.created = texture->label();
  return hr;
}

HRESULT RecordingDevice::CreateCubeTexture(UINT EdgeLength, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                                           IDirect3DCubeTexture9** ppCubeTexture, HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(EdgeLength), argNumber(Levels), argUsage(Usage), argFormat(Format),
                                argPool(Pool)};
  if (ppCubeTexture != nullptr) *ppCubeTexture = nullptr;
  HRESULT hr = D3D_OK;
  bool renderTarget = (Usage & D3DUSAGE_RENDERTARGET) != 0;
  if (ppCubeTexture == nullptr || pSharedHandle != nullptr || EdgeLength == 0 || EdgeLength > kMaxDimension ||
      !validPool(Pool) || Levels > fullMipLevelCount(EdgeLength, EdgeLength) || !isColorFormat(Format) ||
      (renderTarget && (Pool != D3DPOOL_DEFAULT || isCompressedFormat(Format)))) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateCubeTexture");
  }
  RecordingCubeTexture* texture = nullptr;
  if (hr == D3D_OK) {
    texture = new RecordingCubeTexture(m_tracker, EdgeLength, Levels, Usage, Format, Pool);
    *ppCubeTexture = texture;
  }
  RecordedCall& call = record("CreateCubeTexture", std::move(args), hr);
  if (texture != nullptr) call.created = texture->label();
  return hr;
}

HRESULT RecordingDevice::CreateVertexBuffer(UINT Length, DWORD Usage, DWORD FVF, D3DPOOL Pool,
                                            IDirect3DVertexBuffer9** ppVertexBuffer, HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(Length), argUsage(Usage), argText(fvfText(FVF), FVF), argPool(Pool)};
  if (ppVertexBuffer != nullptr) *ppVertexBuffer = nullptr;
  HRESULT hr = D3D_OK;
  // A buffer with an FVF must hold at least one vertex.
  if (ppVertexBuffer == nullptr || pSharedHandle != nullptr || Length == 0 || !validPool(Pool) ||
      (FVF != 0 && (fvfVertexSize(FVF) == 0 || Length < fvfVertexSize(FVF)))) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateVertexBuffer");
  }
  RecordingVertexBuffer* buffer = nullptr;
  if (hr == D3D_OK) {
    buffer = new RecordingVertexBuffer(m_tracker, Length, Usage, FVF, Pool);
    *ppVertexBuffer = buffer;
  }
  RecordedCall& call = record("CreateVertexBuffer", std::move(args), hr);
  if (buffer != nullptr) call.created = buffer->label();
  return hr;
}

HRESULT RecordingDevice::CreateIndexBuffer(UINT Length, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                                           IDirect3DIndexBuffer9** ppIndexBuffer, HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(Length), argUsage(Usage), argFormat(Format), argPool(Pool)};
  if (ppIndexBuffer != nullptr) *ppIndexBuffer = nullptr;
  HRESULT hr = D3D_OK;
  if (ppIndexBuffer == nullptr || pSharedHandle != nullptr || Length == 0 || !validPool(Pool) ||
      (Format != D3DFMT_INDEX16 && Format != D3DFMT_INDEX32)) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateIndexBuffer");
  }
  RecordingIndexBuffer* buffer = nullptr;
  if (hr == D3D_OK) {
    buffer = new RecordingIndexBuffer(m_tracker, Length, Usage, Format, Pool);
    *ppIndexBuffer = buffer;
  }
  RecordedCall& call = record("CreateIndexBuffer", std::move(args), hr);
  if (buffer != nullptr) call.created = buffer->label();
  return hr;
}

HRESULT RecordingDevice::CreateRenderTarget(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                                            DWORD MultisampleQuality, BOOL Lockable, IDirect3DSurface9** ppSurface,
                                            HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(Width),           argNumber(Height),
                                argFormat(Format),          argMultiSample(MultiSample),
                                argNumber(MultisampleQuality), argNumber(static_cast<DWORD>(Lockable))};
  if (ppSurface != nullptr) *ppSurface = nullptr;
  HRESULT hr = D3D_OK;
  if (ppSurface == nullptr || pSharedHandle != nullptr || Width == 0 || Height == 0 || Width > kMaxDimension ||
      Height > kMaxDimension || !isColorFormat(Format) || isCompressedFormat(Format)) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateRenderTarget");
  }
  RecordingSurface* surface = nullptr;
  if (hr == D3D_OK) {
    D3DSURFACE_DESC desc{Format, D3DRTYPE_SURFACE, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT,
                         MultiSample, MultisampleQuality, Width, Height};
    surface = new RecordingSurface(m_tracker, "RenderTarget", true, desc, Lockable != 0);
    *ppSurface = surface;
  }
  RecordedCall& call = record("CreateRenderTarget", std::move(args), hr);
  if (surface != nullptr) call.created = surface->label();
  return hr;
}

HRESULT RecordingDevice::CreateDepthStencilSurface(UINT Width, UINT Height, D3DFORMAT Format,
                                                   D3DMULTISAMPLE_TYPE MultiSample, DWORD MultisampleQuality,
                                                   BOOL Discard, IDirect3DSurface9** ppSurface, HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(Width),           argNumber(Height),
                                argFormat(Format),          argMultiSample(MultiSample),
                                argNumber(MultisampleQuality), argNumber(static_cast<DWORD>(Discard))};
  if (ppSurface != nullptr) *ppSurface = nullptr;
  HRESULT hr = D3D_OK;
  if (ppSurface == nullptr || pSharedHandle != nullptr || Width == 0 || Height == 0 || Width > kMaxDimension ||
      Height > kMaxDimension || !isDepthFormat(Format)) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateDepthStencilSurface");
  }
  RecordingSurface* surface = nullptr;
  if (hr == D3D_OK) {
    D3DSURFACE_DESC desc{Format, D3DRTYPE_SURFACE, D3DUSAGE_DEPTHSTENCIL, D3DPOOL_DEFAULT,
                         MultiSample, MultisampleQuality, Width, Height};
    surface = new RecordingSurface(m_tracker, "DepthStencil", true, desc, false);
    *ppSurface = surface;
  }
  RecordedCall& call = record("CreateDepthStencilSurface", std::move(args), hr);
  if (surface != nullptr) call.created = surface->label();
  return hr;
}

HRESULT RecordingDevice::CreateOffscreenPlainSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DPOOL Pool,
                                                     IDirect3DSurface9** ppSurface, HANDLE* pSharedHandle) {
  std::vector<RecordedArg> args{argNumber(Width), argNumber(Height), argFormat(Format), argPool(Pool)};
  if (ppSurface != nullptr) *ppSurface = nullptr;
  HRESULT hr = D3D_OK;
  if (ppSurface == nullptr || pSharedHandle != nullptr || Width == 0 || Height == 0 || Width > kMaxDimension ||
      Height > kMaxDimension || !isColorFormat(Format) || Pool == D3DPOOL_MANAGED || !validPool(Pool)) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = plannedFailure("CreateOffscreenPlainSurface");
  }
  RecordingSurface* surface = nullptr;
  if (hr == D3D_OK) {
    D3DSURFACE_DESC desc{Format, D3DRTYPE_SURFACE, 0, Pool, D3DMULTISAMPLE_NONE, 0, Width, Height};
    surface = new RecordingSurface(m_tracker, "Surface", true, desc, true);
    *ppSurface = surface;
  }
  RecordedCall& call = record("CreateOffscreenPlainSurface", std::move(args), hr);
  if (surface != nullptr) call.created = surface->label();
  return hr;
}

HRESULT RecordingDevice::CreateVertexDeclaration(const D3DVERTEXELEMENT9* pVertexElements,
                                                 IDirect3DVertexDeclaration9** ppDecl) {
  if (ppDecl != nullptr) *ppDecl = nullptr;
  std::vector<D3DVERTEXELEMENT9> elements;
  HRESULT hr = (pVertexElements == nullptr || ppDecl == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  std::string listText = "{";
  if (pVertexElements != nullptr) {
    std::set<std::pair<BYTE, BYTE>> seen;  // (usage, index) pairs must be unique
    bool ended = false;
    for (UINT i = 0; i <= MAXD3DDECLLENGTH; ++i) {
      const D3DVERTEXELEMENT9& e = pVertexElements[i];
      if (i != 0) listText += ", ";
      listText += vertexElementText(e);
      if (e.Stream == 0xFF) {
        ended = true;
        break;
      }
      if (e.Stream >= 16 || e.Type >= D3DDECLTYPE_UNUSED || e.Method > D3DDECLMETHOD_LOOKUPPRESAMPLED ||
          e.Usage > D3DDECLUSAGE_SAMPLE || !seen.insert({e.Usage, e.UsageIndex}).second) {
        hr = D3DERR_INVALIDCALL;
      }
      elements.push_back(e);
    }
    if (!ended) hr = D3DERR_INVALIDCALL;  // no D3DDECL_END within the longest list
  }
  listText += "}";
  if (hr == D3D_OK) hr = plannedFailure("CreateVertexDeclaration");
  RecordingVertexDeclaration* declaration = nullptr;
  if (hr == D3D_OK) {
    declaration = new RecordingVertexDeclaration(m_tracker, std::move(elements));
    *ppDecl = declaration;
  }
  RecordedCall& call = record("CreateVertexDeclaration", {argText(listText)}, hr);
  if (declaration != nullptr) call.created = declaration->label();
  return hr;
}

HRESULT RecordingDevice::CreateVertexShader(const DWORD* pFunction, IDirect3DVertexShader9** ppShader) {
  if (ppShader != nullptr) *ppShader = nullptr;
  std::string source = pFunction != nullptr ? std::string(reinterpret_cast<const char*>(pFunction)) : std::string();
  HRESULT hr = (pFunction == nullptr || ppShader == nullptr || source.find("main") == std::string::npos)
                   ? D3DERR_INVALIDCALL
                   : plannedFailure("CreateVertexShader");
  RecordingVertexShader* shader = nullptr;
  if (hr == D3D_OK) {
    shader = new RecordingVertexShader(m_tracker, source);
    *ppShader = shader;
  }
  RecordedCall& call = record("CreateVertexShader", {argBytes(source.size())}, hr);
  call.data.assign(source.begin(), source.end());
  if (shader != nullptr) call.created = shader->label();
  return hr;
}

HRESULT RecordingDevice::CreatePixelShader(const DWORD* pFunction, IDirect3DPixelShader9** ppShader) {
  if (ppShader != nullptr) *ppShader = nullptr;
  std::string source = pFunction != nullptr ? std::string(reinterpret_cast<const char*>(pFunction)) : std::string();
  HRESULT hr = (pFunction == nullptr || ppShader == nullptr || source.find("main") == std::string::npos)
                   ? D3DERR_INVALIDCALL
                   : plannedFailure("CreatePixelShader");
  RecordingPixelShader* shader = nullptr;
  if (hr == D3D_OK) {
    shader = new RecordingPixelShader(m_tracker, source);
    *ppShader = shader;
  }
  RecordedCall& call = record("CreatePixelShader", {argBytes(source.size())}, hr);
  call.data.assign(source.begin(), source.end());
  if (shader != nullptr) call.created = shader->label();
  return hr;
}
