#include "render/StateCache.h"

#include "archive/ResourceLoader.h"
#include "platform/d3dx/D3DXTexture.h"
#include "platform/os/Process.h"
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"

#include <cstdlib>

StateCache::StateCache(IDirect3DDevice9* d) : device(d) {}

StateCache::~StateCache() {
  for (auto& entry : textures)
    if (entry.second != nullptr) entry.second->Release();
  textures.clear();
}

void StateCache::SetRenderState(D3DRENDERSTATETYPE state, DWORD value) { device->SetRenderState(state, value); }

void StateCache::SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
  device->SetTextureStageState(stage, type, value);
}

void StateCache::SetMaterial(const D3DMATERIAL9* material) { device->SetMaterial(material); }

void StateCache::SetLight(const D3DLIGHT9* light, unsigned index) {
  if (light != nullptr) {
    device->SetLight(index, light);
    device->LightEnable(index, TRUE);
  } else {
    device->LightEnable(index, FALSE);
  }
}

void StateCache::SetRenderTargetTexture(IDirect3DTexture9* texture) {
  IDirect3DSurface9* surface = nullptr;
  if (texture == nullptr || FAILED(texture->GetSurfaceLevel(0, &surface)) || surface == nullptr) return;
  device->SetRenderTarget(0, surface);
  surface->Release();
}

void StateCache::DrawIndexed(D3DPRIMITIVETYPE type, INT baseVertexIndex, UINT minIndex, UINT vertexCount,
                             UINT startIndex, UINT primitiveCount) {
  device->DrawIndexedPrimitive(type, baseVertexIndex, minIndex, vertexCount, startIndex, primitiveCount);
}

void StateCache::ResetTextureStages(DWORD first) {
  for (DWORD s = first; s < 8; ++s) {
    device->SetTexture(s, nullptr);
    device->SetTextureStageState(s, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
    device->SetTextureStageState(s, D3DTSS_TEXCOORDINDEX, s);
    device->SetSamplerState(s, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
    device->SetSamplerState(s, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
    device->SetSamplerState(s, D3DSAMP_ADDRESSW, D3DTADDRESS_CLAMP);
    device->SetSamplerState(s, D3DSAMP_MINFILTER, D3DTEXF_LINEAR);
    device->SetSamplerState(s, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  }
}

bool StateCache::CreateDeviceVertexBuffer(VertexBuffer& vb) {
  const std::uint64_t length = std::uint64_t(vb.vertexCount) * vb.stride;
  if (length > 0xFFFFFFFFu) return false;
  return SUCCEEDED(device->CreateVertexBuffer(UINT(length), D3DUSAGE_WRITEONLY, vb.fvf, D3DPOOL_MANAGED,
                                              &vb.deviceBuffer, nullptr)) &&
         vb.deviceBuffer != nullptr;
}

bool StateCache::CreateDeviceIndexBuffer(IndexBuffer& ib) {
  const std::uint64_t length = std::uint64_t(ib.triangleCount) * 6;
  if (length > 0xFFFFFFFFu) return false;
  return SUCCEEDED(device->CreateIndexBuffer(UINT(length), D3DUSAGE_WRITEONLY, D3DFMT_INDEX16, D3DPOOL_MANAGED,
                                             &ib.deviceBuffer, nullptr)) &&
         ib.deviceBuffer != nullptr;
}

IDirect3DTexture9* StateCache::GetTexture(const char* name, bool compressed) {
  auto found = textures.find(name);
  if (found != textures.end()) return found->second;

  std::int32_t size = 0;
  unsigned char* bytes = LoadWholeResource(name, kTextureFileMissing, &size, false);
  IDirect3DTexture9* texture = nullptr;
  const HRESULT hr = D3DXCreateTextureFromFileInMemoryEx(
      device, bytes, UINT(size), 0, 0, 0, 0, compressed ? D3DFMT_DXT5 : D3DFMT_UNKNOWN, D3DPOOL_DEFAULT,
      D3DX_DEFAULT, D3DX_DEFAULT, 0, nullptr, nullptr, &texture);
  std::free(bytes);
  if (FAILED(hr) || texture == nullptr) FatalMessage("Error", 0, kTextureFileMissing, name);
  textures.emplace(name, texture);
  return texture;
}
