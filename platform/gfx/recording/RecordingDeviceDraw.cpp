#include "platform/gfx/recording/RecordingDevice.h"

#include <algorithm>
#include <cstring>

#include "platform/gfx/D3D9Format.h"
#include "platform/gfx/D3D9Names.h"

// Bindings (render targets, textures, vertex input, shaders), shader
// constants, drawing and reading back.

namespace {

constexpr UINT kVertexRegisters = 256;
constexpr UINT kPixelRegisters = 32;

RecordedArg argPrimitive(D3DPRIMITIVETYPE type) { return argText(primitiveTypeText(type), type); }
RecordedArg argBytes(std::size_t count) { return argText("<" + std::to_string(count) + " bytes>", count); }
RecordedArg argFloats(const float* data, std::size_t count) {
  if (data == nullptr) return argText("NULL");
  std::string text = "{";
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) text += ' ';
    text += floatText(data[i]);
  }
  return argText(text + "}");
}
RecordedArg argName(const char* name) { return argText(name != nullptr ? "\"" + std::string(name) + "\"" : "NULL"); }

bool validPrimitive(D3DPRIMITIVETYPE type) { return type >= D3DPT_POINTLIST && type <= D3DPT_TRIANGLEFAN; }

std::uint32_t indexAt(const std::uint8_t* data, UINT indexSize, std::size_t i) {
  if (indexSize == 2) {
    std::uint16_t v;
    std::memcpy(&v, data + i * 2, 2);
    return v;
  }
  std::uint32_t v;
  std::memcpy(&v, data + i * 4, 4);
  return v;
}

// Whether every index of [first, first + n) lies in [minIndex, minIndex + count).
bool indicesInRange(const std::uint8_t* data, UINT indexSize, std::size_t first, std::size_t n, UINT minIndex,
                    UINT count) {
  for (std::size_t i = first; i < first + n; ++i) {
    std::uint32_t index = indexAt(data, indexSize, i);
    if (index < minIndex || index >= std::uint64_t(minIndex) + count) return false;
  }
  return true;
}

}  // namespace

// --- Render targets --------------------------------------------------------------

HRESULT RecordingDevice::SetRenderTarget(DWORD RenderTargetIndex, IDirect3DSurface9* pRenderTarget) {
  RecordingSurface* surface = own<RecordingSurface>(pRenderTarget);
  HRESULT hr = (RenderTargetIndex != 0 || surface == nullptr ||
                (surface->desc().Usage & D3DUSAGE_RENDERTARGET) == 0)
                   ? D3DERR_INVALIDCALL
                   : D3D_OK;
  if (hr == D3D_OK) {
    rebind(m_renderTarget, surface);
    m_viewport = D3DVIEWPORT9{0, 0, surface->desc().Width, surface->desc().Height, 0.0f, 1.0f};
  }
  record("SetRenderTarget", {argNumber(RenderTargetIndex), argObject(dynamic_cast<RecordingObject*>(pRenderTarget))},
         hr);
  return hr;
}

HRESULT RecordingDevice::GetRenderTarget(DWORD RenderTargetIndex, IDirect3DSurface9** ppRenderTarget) {
  HRESULT hr = (RenderTargetIndex != 0 || ppRenderTarget == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (ppRenderTarget != nullptr) *ppRenderTarget = nullptr;
  if (hr == D3D_OK) {
    m_renderTarget->addReference();
    *ppRenderTarget = m_renderTarget;
  }
  RecordedCall& call = record("GetRenderTarget", {argNumber(RenderTargetIndex)}, hr);
  if (hr == D3D_OK) call.created = m_renderTarget->label();
  return hr;
}

HRESULT RecordingDevice::SetDepthStencilSurface(IDirect3DSurface9* pNewZStencil) {
  RecordingSurface* surface = own<RecordingSurface>(pNewZStencil);
  HRESULT hr = D3D_OK;
  if (pNewZStencil != nullptr && (surface == nullptr || (surface->desc().Usage & D3DUSAGE_DEPTHSTENCIL) == 0)) {
    hr = D3DERR_INVALIDCALL;
  }
  if (hr == D3D_OK) rebind(m_depthStencil, surface);
  record("SetDepthStencilSurface", {argObject(dynamic_cast<RecordingObject*>(pNewZStencil))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetDepthStencilSurface(IDirect3DSurface9** ppZStencilSurface) {
  HRESULT hr = D3D_OK;
  if (ppZStencilSurface == nullptr) {
    hr = D3DERR_INVALIDCALL;
  } else {
    *ppZStencilSurface = nullptr;
    if (m_depthStencil == nullptr) hr = D3DERR_NOTFOUND;
  }
  if (hr == D3D_OK) {
    m_depthStencil->addReference();
    *ppZStencilSurface = m_depthStencil;
  }
  RecordedCall& call = record("GetDepthStencilSurface", {}, hr);
  if (hr == D3D_OK) call.created = m_depthStencil->label();
  return hr;
}

// --- Textures and vertex input -------------------------------------------------------

HRESULT RecordingDevice::SetTexture(DWORD Stage, IDirect3DBaseTexture9* pTexture) {
  bool ours = pTexture == nullptr || own<RecordingTexture>(pTexture) != nullptr ||
              own<RecordingCubeTexture>(pTexture) != nullptr;
  HRESULT hr = (Stage < D3DTSS_STAGE_COUNT && ours) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) rebindTexture(Stage, pTexture);
  record("SetTexture", {argNumber(Stage), argObject(dynamic_cast<RecordingObject*>(pTexture))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetTexture(DWORD Stage, IDirect3DBaseTexture9** ppTexture) {
  HRESULT hr = (Stage < D3DTSS_STAGE_COUNT && ppTexture != nullptr) ? D3D_OK : D3DERR_INVALIDCALL;
  IDirect3DBaseTexture9* texture = hr == D3D_OK ? m_textures[Stage] : nullptr;
  if (ppTexture != nullptr) *ppTexture = texture;
  if (texture != nullptr) dynamic_cast<RecordingObject*>(texture)->addReference();
  RecordedCall& call = record("GetTexture", {argNumber(Stage)}, hr);
  if (texture != nullptr) call.created = dynamic_cast<RecordingObject*>(texture)->label();
  return hr;
}

HRESULT RecordingDevice::SetVertexDeclaration(IDirect3DVertexDeclaration9* pDecl) {
  RecordingVertexDeclaration* declaration = own<RecordingVertexDeclaration>(pDecl);
  HRESULT hr = (pDecl != nullptr && declaration == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) {
    rebind(m_declaration, declaration);
    if (declaration != nullptr) m_fvf = 0;
  }
  record("SetVertexDeclaration", {argObject(dynamic_cast<RecordingObject*>(pDecl))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetVertexDeclaration(IDirect3DVertexDeclaration9** ppDecl) {
  HRESULT hr = ppDecl == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) {
    *ppDecl = m_declaration;
    if (m_declaration != nullptr) m_declaration->addReference();
  }
  RecordedCall& call = record("GetVertexDeclaration", {}, hr);
  if (hr == D3D_OK && m_declaration != nullptr) call.created = m_declaration->label();
  return hr;
}

HRESULT RecordingDevice::SetStreamSource(UINT StreamNumber, IDirect3DVertexBuffer9* pStreamData, UINT OffsetInBytes,
                                         UINT Stride) {
  RecordingVertexBuffer* buffer = own<RecordingVertexBuffer>(pStreamData);
  HRESULT hr = D3D_OK;
  if (StreamNumber >= 16 || (pStreamData != nullptr && buffer == nullptr) ||
      (buffer != nullptr && OffsetInBytes >= buffer->desc().Size)) {
    hr = D3DERR_INVALIDCALL;
  }
  if (hr == D3D_OK) {
    rebind(m_streams[StreamNumber].buffer, buffer);
    m_streams[StreamNumber].offset = OffsetInBytes;
    m_streams[StreamNumber].stride = Stride;
  }
  record("SetStreamSource", {argNumber(StreamNumber), argObject(dynamic_cast<RecordingObject*>(pStreamData)),
                             argNumber(OffsetInBytes), argNumber(Stride)},
         hr);
  return hr;
}

HRESULT RecordingDevice::GetStreamSource(UINT StreamNumber, IDirect3DVertexBuffer9** ppStreamData,
                                         UINT* pOffsetInBytes, UINT* pStride) {
  HRESULT hr = (StreamNumber >= 16 || ppStreamData == nullptr || pOffsetInBytes == nullptr || pStride == nullptr)
                   ? D3DERR_INVALIDCALL
                   : D3D_OK;
  const Stream* stream = hr == D3D_OK ? &m_streams[StreamNumber] : nullptr;
  if (stream != nullptr) {
    *ppStreamData = stream->buffer;
    if (stream->buffer != nullptr) stream->buffer->addReference();
    *pOffsetInBytes = stream->offset;
    *pStride = stream->stride;
  }
  RecordedCall& call = record("GetStreamSource", {argNumber(StreamNumber)}, hr);
  if (stream != nullptr && stream->buffer != nullptr) call.created = stream->buffer->label();
  return hr;
}

HRESULT RecordingDevice::SetIndices(IDirect3DIndexBuffer9* pIndexData) {
  RecordingIndexBuffer* buffer = own<RecordingIndexBuffer>(pIndexData);
  HRESULT hr = (pIndexData != nullptr && buffer == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) rebind(m_indices, buffer);
  record("SetIndices", {argObject(dynamic_cast<RecordingObject*>(pIndexData))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetIndices(IDirect3DIndexBuffer9** ppIndexData) {
  HRESULT hr = ppIndexData == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) {
    *ppIndexData = m_indices;
    if (m_indices != nullptr) m_indices->addReference();
  }
  RecordedCall& call = record("GetIndices", {}, hr);
  if (hr == D3D_OK && m_indices != nullptr) call.created = m_indices->label();
  return hr;
}

// --- Shaders and constants -------------------------------------------------------------

HRESULT RecordingDevice::SetVertexShader(IDirect3DVertexShader9* pShader) {
  RecordingVertexShader* shader = own<RecordingVertexShader>(pShader);
  HRESULT hr = (pShader != nullptr && shader == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) rebind(m_vertexShader, shader);
  record("SetVertexShader", {argObject(dynamic_cast<RecordingObject*>(pShader))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetVertexShader(IDirect3DVertexShader9** ppShader) {
  HRESULT hr = ppShader == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) {
    *ppShader = m_vertexShader;
    if (m_vertexShader != nullptr) m_vertexShader->addReference();
  }
  RecordedCall& call = record("GetVertexShader", {}, hr);
  if (hr == D3D_OK && m_vertexShader != nullptr) call.created = m_vertexShader->label();
  return hr;
}

HRESULT RecordingDevice::SetPixelShader(IDirect3DPixelShader9* pShader) {
  RecordingPixelShader* shader = own<RecordingPixelShader>(pShader);
  HRESULT hr = (pShader != nullptr && shader == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) rebind(m_pixelShader, shader);
  record("SetPixelShader", {argObject(dynamic_cast<RecordingObject*>(pShader))}, hr);
  return hr;
}

HRESULT RecordingDevice::GetPixelShader(IDirect3DPixelShader9** ppShader) {
  HRESULT hr = ppShader == nullptr ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) {
    *ppShader = m_pixelShader;
    if (m_pixelShader != nullptr) m_pixelShader->addReference();
  }
  RecordedCall& call = record("GetPixelShader", {}, hr);
  if (hr == D3D_OK && m_pixelShader != nullptr) call.created = m_pixelShader->label();
  return hr;
}

HRESULT RecordingDevice::SetVertexShaderConstantF(UINT StartRegister, const float* pConstantData,
                                                  UINT Vector4fCount) {
  bool ok = pConstantData != nullptr && std::uint64_t(StartRegister) + Vector4fCount <= kVertexRegisters;
  HRESULT hr = ok ? D3D_OK : D3DERR_INVALIDCALL;
  if (ok) std::copy_n(pConstantData, Vector4fCount * 4, m_vertexConstants.begin() + StartRegister * 4);
  record("SetVertexShaderConstantF",
         {argNumber(StartRegister), argFloats(ok ? pConstantData : nullptr, Vector4fCount * 4), argNumber(Vector4fCount)},
         hr);
  return hr;
}

HRESULT RecordingDevice::GetVertexShaderConstantF(UINT StartRegister, float* pConstantData, UINT Vector4fCount) {
  bool ok = pConstantData != nullptr && std::uint64_t(StartRegister) + Vector4fCount <= kVertexRegisters;
  HRESULT hr = ok ? D3D_OK : D3DERR_INVALIDCALL;
  if (ok) std::copy_n(m_vertexConstants.begin() + StartRegister * 4, Vector4fCount * 4, pConstantData);
  record("GetVertexShaderConstantF", {argNumber(StartRegister), argNumber(Vector4fCount)}, hr);
  return hr;
}

HRESULT RecordingDevice::SetPixelShaderConstantF(UINT StartRegister, const float* pConstantData, UINT Vector4fCount) {
  bool ok = pConstantData != nullptr && std::uint64_t(StartRegister) + Vector4fCount <= kPixelRegisters;
  HRESULT hr = ok ? D3D_OK : D3DERR_INVALIDCALL;
  if (ok) std::copy_n(pConstantData, Vector4fCount * 4, m_pixelConstants.begin() + StartRegister * 4);
  record("SetPixelShaderConstantF",
         {argNumber(StartRegister), argFloats(ok ? pConstantData : nullptr, Vector4fCount * 4), argNumber(Vector4fCount)},
         hr);
  return hr;
}

HRESULT RecordingDevice::GetPixelShaderConstantF(UINT StartRegister, float* pConstantData, UINT Vector4fCount) {
  bool ok = pConstantData != nullptr && std::uint64_t(StartRegister) + Vector4fCount <= kPixelRegisters;
  HRESULT hr = ok ? D3D_OK : D3DERR_INVALIDCALL;
  if (ok) std::copy_n(m_pixelConstants.begin() + StartRegister * 4, Vector4fCount * 4, pConstantData);
  record("GetPixelShaderConstantF", {argNumber(StartRegister), argNumber(Vector4fCount)}, hr);
  return hr;
}

HRESULT RecordingDevice::setNamedConstant(std::map<std::string, NamedConstant>& table, const char* function,
                                          const char* name, const float* data, UINT floatCount) {
  bool ok = name != nullptr && name[0] != '\0' && data != nullptr && floatCount != 0;
  HRESULT hr = ok ? D3D_OK : D3DERR_INVALIDCALL;
  if (ok) table[name].values.assign(data, data + floatCount);
  RecordedCall& call = record(function, {argName(name), argFloats(ok ? data : nullptr, floatCount), argNumber(floatCount)}, hr);
  if (ok) call.data.assign(reinterpret_cast<const std::uint8_t*>(data),
                           reinterpret_cast<const std::uint8_t*>(data + floatCount));
  return hr;
}

HRESULT RecordingDevice::getNamedConstant(const std::map<std::string, NamedConstant>& table, const char* function,
                                          const char* name, float* data, UINT floatCount) {
  bool ok = name != nullptr && name[0] != '\0' && data != nullptr;
  HRESULT hr = ok ? D3D_OK : D3DERR_INVALIDCALL;
  if (ok) {
    std::fill_n(data, floatCount, 0.0f);
    auto it = table.find(name);
    if (it != table.end()) {
      std::copy_n(it->second.values.begin(), std::min<std::size_t>(floatCount, it->second.values.size()), data);
    }
  }
  record(function, {argName(name), argNumber(floatCount)}, hr);
  return hr;
}

HRESULT RecordingDevice::setVertexShaderConstantByName(const char* name, const float* data, UINT floatCount) {
  return setNamedConstant(m_vertexNamed, "setVertexShaderConstantByName", name, data, floatCount);
}
HRESULT RecordingDevice::getVertexShaderConstantByName(const char* name, float* data, UINT floatCount) {
  return getNamedConstant(m_vertexNamed, "getVertexShaderConstantByName", name, data, floatCount);
}
HRESULT RecordingDevice::setPixelShaderConstantByName(const char* name, const float* data, UINT floatCount) {
  return setNamedConstant(m_pixelNamed, "setPixelShaderConstantByName", name, data, floatCount);
}
HRESULT RecordingDevice::getPixelShaderConstantByName(const char* name, float* data, UINT floatCount) {
  return getNamedConstant(m_pixelNamed, "getPixelShaderConstantByName", name, data, floatCount);
}

// --- Drawing -------------------------------------------------------------------------

HRESULT RecordingDevice::checkStreamDraw(UINT firstVertex, UINT vertexCount) const {
  const Stream& stream = m_streams[0];
  if (!hasVertexFormat() || stream.buffer == nullptr || stream.stride == 0) return D3DERR_INVALIDCALL;
  if (vertexCount == 0) return D3D_OK;
  // The last vertex read must end inside the buffer.
  UINT vertexBytes = m_declaration != nullptr ? m_declaration->streamExtent(0) : fvfVertexSize(m_fvf);
  std::uint64_t end = std::uint64_t(stream.offset) + std::uint64_t(firstVertex + vertexCount - 1) * stream.stride +
                      vertexBytes;
  return end <= stream.buffer->desc().Size ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT RecordingDevice::DrawPrimitive(D3DPRIMITIVETYPE PrimitiveType, UINT StartVertex, UINT PrimitiveCount) {
  HRESULT hr = (!m_inScene || !validPrimitive(PrimitiveType))
                   ? D3DERR_INVALIDCALL
                   : checkStreamDraw(StartVertex, primitiveVertexCount(PrimitiveType, PrimitiveCount));
  if (hr == D3D_OK) ++m_drawCount;
  record("DrawPrimitive", {argPrimitive(PrimitiveType), argNumber(StartVertex), argNumber(PrimitiveCount)}, hr);
  return hr;
}

HRESULT RecordingDevice::DrawIndexedPrimitive(D3DPRIMITIVETYPE PrimitiveType, INT BaseVertexIndex,
                                              UINT MinVertexIndex, UINT NumVertices, UINT startIndex,
                                              UINT primCount) {
  HRESULT hr = D3D_OK;
  UINT indexCount = primitiveVertexCount(PrimitiveType, primCount);
  if (!m_inScene || !validPrimitive(PrimitiveType) || m_indices == nullptr || BaseVertexIndex < 0 ||
      (NumVertices == 0 && indexCount != 0)) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = checkStreamDraw(UINT(BaseVertexIndex) + MinVertexIndex, NumVertices);
  }
  if (hr == D3D_OK && indexCount != 0) {
    UINT indexSize = m_indices->desc().Format == D3DFMT_INDEX32 ? 4 : 2;
    if ((std::uint64_t(startIndex) + indexCount) * indexSize > m_indices->desc().Size ||
        !indicesInRange(m_indices->memory().bytes(), indexSize, startIndex, indexCount, MinVertexIndex,
                        NumVertices)) {
      hr = D3DERR_INVALIDCALL;
    }
  }
  if (hr == D3D_OK) ++m_drawCount;
  record("DrawIndexedPrimitive", {argPrimitive(PrimitiveType), argSigned(BaseVertexIndex), argNumber(MinVertexIndex),
                                  argNumber(NumVertices), argNumber(startIndex), argNumber(primCount)},
         hr);
  return hr;
}

HRESULT RecordingDevice::DrawPrimitiveUP(D3DPRIMITIVETYPE PrimitiveType, UINT PrimitiveCount,
                                         const void* pVertexStreamZeroData, UINT VertexStreamZeroStride) {
  std::size_t bytes = std::size_t(primitiveVertexCount(PrimitiveType, PrimitiveCount)) * VertexStreamZeroStride;
  HRESULT hr = (!m_inScene || !validPrimitive(PrimitiveType) || pVertexStreamZeroData == nullptr ||
                VertexStreamZeroStride == 0 || !hasVertexFormat())
                   ? D3DERR_INVALIDCALL
                   : D3D_OK;
  if (hr == D3D_OK) {
    ++m_drawCount;
    rebind(m_streams[0].buffer, static_cast<RecordingVertexBuffer*>(nullptr));
    m_streams[0].offset = m_streams[0].stride = 0;
  }
  RecordedCall& call = record("DrawPrimitiveUP", {argPrimitive(PrimitiveType), argNumber(PrimitiveCount),
                                                  argBytes(hr == D3D_OK ? bytes : 0), argNumber(VertexStreamZeroStride)},
                              hr);
  if (hr == D3D_OK) call.data = std::vector<std::uint8_t>(static_cast<const std::uint8_t*>(pVertexStreamZeroData),
                                                          static_cast<const std::uint8_t*>(pVertexStreamZeroData) + bytes);
  return hr;
}

HRESULT RecordingDevice::DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE PrimitiveType, UINT MinVertexIndex, UINT NumVertices,
                                                UINT PrimitiveCount, const void* pIndexData,
                                                D3DFORMAT IndexDataFormat, const void* pVertexStreamZeroData,
                                                UINT VertexStreamZeroStride) {
  UINT indexCount = primitiveVertexCount(PrimitiveType, PrimitiveCount);
  UINT indexSize = IndexDataFormat == D3DFMT_INDEX32 ? 4 : 2;
  HRESULT hr = D3D_OK;
  if (!m_inScene || !validPrimitive(PrimitiveType) || pIndexData == nullptr || pVertexStreamZeroData == nullptr ||
      VertexStreamZeroStride == 0 || !hasVertexFormat() ||
      (IndexDataFormat != D3DFMT_INDEX16 && IndexDataFormat != D3DFMT_INDEX32) ||
      !indicesInRange(static_cast<const std::uint8_t*>(pIndexData), indexSize, 0, indexCount, MinVertexIndex,
                      NumVertices)) {
    hr = D3DERR_INVALIDCALL;
  }
  std::size_t vertexBytes = (std::size_t(MinVertexIndex) + NumVertices) * VertexStreamZeroStride;
  if (hr == D3D_OK) {
    ++m_drawCount;
    rebind(m_streams[0].buffer, static_cast<RecordingVertexBuffer*>(nullptr));
    m_streams[0].offset = m_streams[0].stride = 0;
    rebind(m_indices, static_cast<RecordingIndexBuffer*>(nullptr));
  }
  RecordedCall& call =
      record("DrawIndexedPrimitiveUP",
             {argPrimitive(PrimitiveType), argNumber(MinVertexIndex), argNumber(NumVertices), argNumber(PrimitiveCount),
              argBytes(hr == D3D_OK ? std::size_t(indexCount) * indexSize : 0),
              argText(formatText(IndexDataFormat), IndexDataFormat), argBytes(hr == D3D_OK ? vertexBytes : 0),
              argNumber(VertexStreamZeroStride)},
             hr);
  if (hr == D3D_OK) {
    const auto* vertices = static_cast<const std::uint8_t*>(pVertexStreamZeroData);
    const auto* indices = static_cast<const std::uint8_t*>(pIndexData);
    call.data.assign(vertices, vertices + vertexBytes);
    call.indices.assign(indices, indices + std::size_t(indexCount) * indexSize);
  }
  return hr;
}

// --- Reading back --------------------------------------------------------------------

HRESULT RecordingDevice::readSurfaceARGB(IDirect3DSurface9* surface, std::vector<D3DCOLOR>& argb, UINT& width,
                                         UINT& height) {
  RecordingSurface* recording = own<RecordingSurface>(surface);
  HRESULT hr = (recording != nullptr && recording->readARGB(argb)) ? D3D_OK : D3DERR_INVALIDCALL;
  if (hr == D3D_OK) {
    width = recording->desc().Width;
    height = recording->desc().Height;
  } else {
    argb.clear();
    width = height = 0;
  }
  record("readSurfaceARGB", {argObject(dynamic_cast<RecordingObject*>(surface))}, hr);
  return hr;
}
