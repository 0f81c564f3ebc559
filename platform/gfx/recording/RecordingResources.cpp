#include "platform/gfx/recording/RecordingResources.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/gfx/D3D9Format.h"
#include "platform/gfx/D3D9Names.h"

namespace {

D3DSURFACE_DESC levelDesc(D3DFORMAT format, D3DRESOURCETYPE type, DWORD usage, D3DPOOL pool, UINT width,
                          UINT height) {
  return D3DSURFACE_DESC{format, type, usage, pool, D3DMULTISAMPLE_NONE, 0, width, height};
}

std::uint8_t luminance(D3DCOLOR argb) {
  unsigned r = (argb >> 16) & 0xFF, g = (argb >> 8) & 0xFF, b = argb & 0xFF;
  return static_cast<std::uint8_t>((r * 299 + g * 587 + b * 114 + 500) / 1000);  // Rec. 601 weights
}

unsigned expand(unsigned value, unsigned bits) { return (value * 255 + ((1u << bits) - 1) / 2) / ((1u << bits) - 1); }

// Writes one pixel of `format` from ARGB; formats without a colour meaning
// are left alone.
void encodePixel(D3DFORMAT format, D3DCOLOR argb, std::uint8_t* out) {
  switch (format) {
    case D3DFMT_A8R8G8B8:
    case D3DFMT_X8R8G8B8: std::memcpy(out, &argb, 4); break;
    case D3DFMT_R8G8B8:
      out[0] = argb & 0xFF;
      out[1] = (argb >> 8) & 0xFF;
      out[2] = (argb >> 16) & 0xFF;
      break;
    case D3DFMT_R5G6B5: {
      std::uint16_t v = static_cast<std::uint16_t>((((argb >> 19) & 0x1F) << 11) | (((argb >> 10) & 0x3F) << 5) |
                                                   ((argb >> 3) & 0x1F));
      std::memcpy(out, &v, 2);
      break;
    }
    case D3DFMT_A8: out[0] = argb >> 24; break;
    case D3DFMT_L8: out[0] = luminance(argb); break;
    case D3DFMT_A8L8:
      out[0] = luminance(argb);
      out[1] = argb >> 24;
      break;
    default: break;
  }
}

D3DCOLOR decodePixel(D3DFORMAT format, const std::uint8_t* in) {
  switch (format) {
    case D3DFMT_A8R8G8B8: {
      D3DCOLOR v;
      std::memcpy(&v, in, 4);
      return v;
    }
    case D3DFMT_X8R8G8B8: {
      D3DCOLOR v;
      std::memcpy(&v, in, 4);
      return v | 0xFF000000u;
    }
    case D3DFMT_R8G8B8: return D3DCOLOR_ARGB(0xFF, in[2], in[1], in[0]);
    case D3DFMT_R5G6B5: {
      std::uint16_t v;
      std::memcpy(&v, in, 2);
      return D3DCOLOR_ARGB(0xFF, expand(v >> 11, 5), expand((v >> 5) & 0x3F, 6), expand(v & 0x1F, 5));
    }
    case D3DFMT_A8: return D3DCOLOR_ARGB(in[0], 0, 0, 0);
    case D3DFMT_L8: return D3DCOLOR_ARGB(0xFF, in[0], in[0], in[0]);
    case D3DFMT_A8L8: return D3DCOLOR_ARGB(in[1], in[0], in[0], in[0]);
    default: return 0;
  }
}

// The part of `rect` inside a width x height surface; empty when none.
RECT clampRect(const RECT& rect, UINT width, UINT height) {
  RECT r{std::max(rect.left, 0), std::max(rect.top, 0), std::min<std::int32_t>(rect.right, std::int32_t(width)),
         std::min<std::int32_t>(rect.bottom, std::int32_t(height))};
  if (r.right < r.left) r.right = r.left;
  if (r.bottom < r.top) r.bottom = r.top;
  return r;
}

RecordedArg argRect(const RECT* rect) { return argText(rectText(rect)); }
RecordedArg argLockFlags(DWORD flags) { return argText(lockFlagsText(flags), flags); }
RecordedArg argFace(DWORD face) {
  static const char* const kNames[] = {"D3DCUBEMAP_FACE_POSITIVE_X", "D3DCUBEMAP_FACE_NEGATIVE_X",
                                       "D3DCUBEMAP_FACE_POSITIVE_Y", "D3DCUBEMAP_FACE_NEGATIVE_Y",
                                       "D3DCUBEMAP_FACE_POSITIVE_Z", "D3DCUBEMAP_FACE_NEGATIVE_Z"};
  return face < 6 ? argText(kNames[face], face) : argNumber(face);
}

}  // namespace

// --- RecordingSurface ----------------------------------------------------------

RecordingSurface::RecordingSurface(std::shared_ptr<RecordingTracker> tracker, const std::string& kind, bool counted,
                                   const D3DSURFACE_DESC& desc, bool lockable)
    : RecordingRefCounted(std::move(tracker), kind, counted),
      m_desc(desc),
      m_memory(surfaceByteSize(desc.Format, desc.Width, desc.Height)),
      m_pitch(surfacePitch(desc.Format, desc.Width)),
      m_lockable(lockable) {}

RecordingSurface::RecordingSurface(RecordingObject* container, const std::string& suffix,
                                   const D3DSURFACE_DESC& desc, bool lockable)
    : RecordingRefCounted(container, suffix),
      m_desc(desc),
      m_memory(surfaceByteSize(desc.Format, desc.Width, desc.Height)),
      m_pitch(surfacePitch(desc.Format, desc.Width)),
      m_lockable(lockable) {}

D3DRESOURCETYPE RecordingSurface::GetType() {
  record("GetType", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return D3DRTYPE_SURFACE;
}

HRESULT RecordingSurface::GetDesc(D3DSURFACE_DESC* pDesc) {
  HRESULT hr = (!alive() || pDesc == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pDesc = m_desc;
  record("GetDesc", {}, hr);
  return hr;
}

HRESULT RecordingSurface::LockRect(D3DLOCKED_RECT* pLockedRect, const RECT* pRect, DWORD Flags) {
  HRESULT hr = lock(pLockedRect, pRect);
  record("LockRect", {argRect(pRect), argLockFlags(Flags)}, hr);
  return hr;
}

HRESULT RecordingSurface::UnlockRect() {
  HRESULT hr = unlock();
  record("UnlockRect", {}, hr);
  return hr;
}

HRESULT RecordingSurface::lock(D3DLOCKED_RECT* lockedRect, const RECT* rect) {
  if (lockedRect == nullptr) return D3DERR_INVALIDCALL;
  lockedRect->pBits = nullptr;
  lockedRect->Pitch = 0;
  if (!alive() || !m_lockable || m_locked || m_memory.empty()) return D3DERR_INVALIDCALL;
  RECT r{0, 0, std::int32_t(m_desc.Width), std::int32_t(m_desc.Height)};
  if (rect != nullptr) {
    r = *rect;
    if (r.left < 0 || r.top < 0 || r.left >= r.right || r.top >= r.bottom ||
        r.right > std::int32_t(m_desc.Width) || r.bottom > std::int32_t(m_desc.Height)) {
      return D3DERR_INVALIDCALL;
    }
  }
  std::size_t offset;
  if (isCompressedFormat(m_desc.Format)) {
    // Whole blocks only: edges on multiples of 4 or on the surface's edge.
    auto onBlockEdge = [](std::int32_t v, UINT limit) { return v % 4 == 0 || v == std::int32_t(limit); };
    if (!onBlockEdge(r.left, m_desc.Width) || !onBlockEdge(r.top, m_desc.Height) ||
        !onBlockEdge(r.right, m_desc.Width) || !onBlockEdge(r.bottom, m_desc.Height)) {
      return D3DERR_INVALIDCALL;
    }
    UINT blockBytes = m_desc.Format == D3DFMT_DXT1 ? 8 : 16;
    offset = std::size_t(r.top / 4) * m_pitch + std::size_t(r.left / 4) * blockBytes;
  } else {
    offset = std::size_t(r.top) * m_pitch + std::size_t(r.left) * formatBytesPerPixel(m_desc.Format);
  }
  lockedRect->pBits = m_memory.data() + offset;
  lockedRect->Pitch = static_cast<INT>(m_pitch);
  m_locked = true;
  return D3D_OK;
}

HRESULT RecordingSurface::unlock() {
  if (!alive() || !m_locked) return D3DERR_INVALIDCALL;
  m_locked = false;
  return D3D_OK;
}

void RecordingSurface::fillColor(const RECT& rect, D3DCOLOR argb) {
  UINT bytes = formatBytesPerPixel(m_desc.Format);
  if (bytes == 0 || isDepthFormat(m_desc.Format) || m_memory.empty()) return;
  std::uint8_t pixel[4] = {};
  encodePixel(m_desc.Format, argb, pixel);
  RECT r = clampRect(rect, m_desc.Width, m_desc.Height);
  for (std::int32_t y = r.top; y < r.bottom; ++y) {
    std::uint8_t* row = m_memory.data() + std::size_t(y) * m_pitch;
    for (std::int32_t x = r.left; x < r.right; ++x) std::memcpy(row + std::size_t(x) * bytes, pixel, bytes);
  }
}

void RecordingSurface::fillDepthStencil(const RECT& rect, bool depth, float z, bool stencil, DWORD stencilValue) {
  if (!isDepthFormat(m_desc.Format) || m_memory.empty()) return;
  float clamped = std::clamp(z, 0.0f, 1.0f);
  RECT r = clampRect(rect, m_desc.Width, m_desc.Height);
  for (std::int32_t y = r.top; y < r.bottom; ++y) {
    std::uint8_t* row = m_memory.data() + std::size_t(y) * m_pitch;
    for (std::int32_t x = r.left; x < r.right; ++x) {
      if (m_desc.Format == D3DFMT_D16) {
        if (!depth) continue;
        auto v = static_cast<std::uint16_t>(std::lround(clamped * 65535.0f));
        std::memcpy(row + x * 2, &v, 2);
        continue;
      }
      // D24S8 / D24X8: depth in the top 24 bits, stencil in the low byte.
      std::uint32_t v;
      std::memcpy(&v, row + x * 4, 4);
      if (depth) v = (v & 0xFFu) | (static_cast<std::uint32_t>(std::lround(clamped * 16777215.0)) << 8);
      if (stencil && m_desc.Format == D3DFMT_D24S8) v = (v & ~0xFFu) | (stencilValue & 0xFFu);
      std::memcpy(row + x * 4, &v, 4);
    }
  }
}

float RecordingSurface::depthAt(UINT x, UINT y) const {
  if (!isDepthFormat(m_desc.Format) || x >= m_desc.Width || y >= m_desc.Height || m_memory.empty()) return 0.0f;
  const std::uint8_t* p = m_memory.data() + std::size_t(y) * m_pitch + x * formatBytesPerPixel(m_desc.Format);
  if (m_desc.Format == D3DFMT_D16) {
    std::uint16_t v;
    std::memcpy(&v, p, 2);
    return v / 65535.0f;
  }
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return static_cast<float>((v >> 8) / 16777215.0);
}

DWORD RecordingSurface::stencilAt(UINT x, UINT y) const {
  if (m_desc.Format != D3DFMT_D24S8 || x >= m_desc.Width || y >= m_desc.Height || m_memory.empty()) return 0;
  return m_memory[std::size_t(y) * m_pitch + x * 4];
}

bool RecordingSurface::readARGB(std::vector<D3DCOLOR>& argb) const {
  if (!isColorFormat(m_desc.Format) || isCompressedFormat(m_desc.Format) || m_memory.empty()) return false;
  UINT bytes = formatBytesPerPixel(m_desc.Format);
  argb.resize(std::size_t(m_desc.Width) * m_desc.Height);
  for (UINT y = 0; y < m_desc.Height; ++y) {
    const std::uint8_t* row = m_memory.data() + std::size_t(y) * m_pitch;
    for (UINT x = 0; x < m_desc.Width; ++x) {
      argb[std::size_t(y) * m_desc.Width + x] = decodePixel(m_desc.Format, row + std::size_t(x) * bytes);
    }
  }
  return true;
}

void RecordingSurface::freeStorage() {
  std::vector<std::uint8_t>().swap(m_memory);
  m_locked = false;
}

// --- RecordingTexture ----------------------------------------------------------

RecordingTexture::RecordingTexture(std::shared_ptr<RecordingTracker> tracker, UINT width, UINT height, UINT levels,
                                   DWORD usage, D3DFORMAT format, D3DPOOL pool)
    : RecordingRefCounted(std::move(tracker), "Texture", true) {
  UINT count = levels == 0 ? fullMipLevelCount(width, height) : levels;
  bool lockable = (usage & (D3DUSAGE_RENDERTARGET | D3DUSAGE_DEPTHSTENCIL)) == 0;
  for (UINT i = 0; i < count; ++i) {
    D3DSURFACE_DESC desc =
        levelDesc(format, D3DRTYPE_SURFACE, usage, pool, mipDimension(width, i), mipDimension(height, i));
    m_levels.push_back(std::make_unique<RecordingSurface>(this, ".L" + std::to_string(i), desc, lockable));
  }
}

D3DRESOURCETYPE RecordingTexture::GetType() {
  record("GetType", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return D3DRTYPE_TEXTURE;
}

DWORD RecordingTexture::GetLevelCount() {
  record("GetLevelCount", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return alive() ? static_cast<DWORD>(m_levels.size()) : 0;
}

RecordingSurface* RecordingTexture::level(UINT index) const {
  return index < m_levels.size() ? m_levels[index].get() : nullptr;
}

HRESULT RecordingTexture::GetLevelDesc(UINT Level, D3DSURFACE_DESC* pDesc) {
  RecordingSurface* surface = level(Level);
  HRESULT hr = (!alive() || surface == nullptr || pDesc == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pDesc = surface->desc();
  record("GetLevelDesc", {argNumber(Level)}, hr);
  return hr;
}

HRESULT RecordingTexture::GetSurfaceLevel(UINT Level, IDirect3DSurface9** ppSurfaceLevel) {
  RecordingSurface* surface = level(Level);
  HRESULT hr = (!alive() || surface == nullptr || ppSurfaceLevel == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (ppSurfaceLevel != nullptr) *ppSurfaceLevel = nullptr;
  if (hr == D3D_OK) {
    surface->addReference();
    *ppSurfaceLevel = surface;
  }
  RecordedCall& call = record("GetSurfaceLevel", {argNumber(Level)}, hr);
  if (hr == D3D_OK) call.created = surface->label();
  return hr;
}

HRESULT RecordingTexture::LockRect(UINT Level, D3DLOCKED_RECT* pLockedRect, const RECT* pRect, DWORD Flags) {
  RecordingSurface* surface = level(Level);
  HRESULT hr = (!alive() || surface == nullptr) ? D3DERR_INVALIDCALL : surface->lock(pLockedRect, pRect);
  if (hr != D3D_OK && surface == nullptr && pLockedRect != nullptr) *pLockedRect = D3DLOCKED_RECT{0, nullptr};
  record("LockRect", {argNumber(Level), argRect(pRect), argLockFlags(Flags)}, hr);
  return hr;
}

HRESULT RecordingTexture::UnlockRect(UINT Level) {
  RecordingSurface* surface = level(Level);
  HRESULT hr = (!alive() || surface == nullptr) ? D3DERR_INVALIDCALL : surface->unlock();
  record("UnlockRect", {argNumber(Level)}, hr);
  return hr;
}

void RecordingTexture::freeStorage() {
  for (auto& surface : m_levels) surface->freeStorage();
}

// --- RecordingCubeTexture ------------------------------------------------------

RecordingCubeTexture::RecordingCubeTexture(std::shared_ptr<RecordingTracker> tracker, UINT edge, UINT levels,
                                           DWORD usage, D3DFORMAT format, D3DPOOL pool)
    : RecordingRefCounted(std::move(tracker), "CubeTexture", true) {
  m_levelCount = levels == 0 ? fullMipLevelCount(edge, edge) : levels;
  bool lockable = (usage & (D3DUSAGE_RENDERTARGET | D3DUSAGE_DEPTHSTENCIL)) == 0;
  for (DWORD f = 0; f < 6; ++f) {
    for (UINT i = 0; i < m_levelCount; ++i) {
      UINT size = mipDimension(edge, i);
      D3DSURFACE_DESC desc = levelDesc(format, D3DRTYPE_SURFACE, usage, pool, size, size);
      m_faces[f].push_back(std::make_unique<RecordingSurface>(
          this, ".F" + std::to_string(f) + ".L" + std::to_string(i), desc, lockable));
    }
  }
}

D3DRESOURCETYPE RecordingCubeTexture::GetType() {
  record("GetType", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return D3DRTYPE_CUBETEXTURE;
}

DWORD RecordingCubeTexture::GetLevelCount() {
  record("GetLevelCount", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return alive() ? m_levelCount : 0;
}

RecordingSurface* RecordingCubeTexture::face(DWORD faceIndex, UINT level) const {
  if (faceIndex >= 6 || level >= m_levelCount) return nullptr;
  return m_faces[faceIndex][level].get();
}

HRESULT RecordingCubeTexture::GetLevelDesc(UINT Level, D3DSURFACE_DESC* pDesc) {
  RecordingSurface* surface = face(0, Level);
  HRESULT hr = (!alive() || surface == nullptr || pDesc == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pDesc = surface->desc();
  record("GetLevelDesc", {argNumber(Level)}, hr);
  return hr;
}

HRESULT RecordingCubeTexture::GetCubeMapSurface(D3DCUBEMAP_FACES FaceType, UINT Level,
                                                IDirect3DSurface9** ppCubeMapSurface) {
  RecordingSurface* surface = face(FaceType, Level);
  HRESULT hr = (!alive() || surface == nullptr || ppCubeMapSurface == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (ppCubeMapSurface != nullptr) *ppCubeMapSurface = nullptr;
  if (hr == D3D_OK) {
    surface->addReference();
    *ppCubeMapSurface = surface;
  }
  RecordedCall& call = record("GetCubeMapSurface", {argFace(FaceType), argNumber(Level)}, hr);
  if (hr == D3D_OK) call.created = surface->label();
  return hr;
}

HRESULT RecordingCubeTexture::LockRect(D3DCUBEMAP_FACES FaceType, UINT Level, D3DLOCKED_RECT* pLockedRect,
                                       const RECT* pRect, DWORD Flags) {
  RecordingSurface* surface = face(FaceType, Level);
  HRESULT hr = (!alive() || surface == nullptr) ? D3DERR_INVALIDCALL : surface->lock(pLockedRect, pRect);
  if (hr != D3D_OK && surface == nullptr && pLockedRect != nullptr) *pLockedRect = D3DLOCKED_RECT{0, nullptr};
  record("LockRect", {argFace(FaceType), argNumber(Level), argRect(pRect), argLockFlags(Flags)}, hr);
  return hr;
}

HRESULT RecordingCubeTexture::UnlockRect(D3DCUBEMAP_FACES FaceType, UINT Level) {
  RecordingSurface* surface = face(FaceType, Level);
  HRESULT hr = (!alive() || surface == nullptr) ? D3DERR_INVALIDCALL : surface->unlock();
  record("UnlockRect", {argFace(FaceType), argNumber(Level)}, hr);
  return hr;
}

void RecordingCubeTexture::freeStorage() {
  for (auto& levels : m_faces) {
    for (auto& surface : levels) surface->freeStorage();
  }
}

// --- Buffers -------------------------------------------------------------------

HRESULT BufferMemory::lock(UINT offset, UINT size, void** data) {
  if (data == nullptr) return D3DERR_INVALIDCALL;
  *data = nullptr;
  if (m_bytes.empty() || offset > m_bytes.size()) return D3DERR_INVALIDCALL;
  if (size != 0 && size > m_bytes.size() - offset) return D3DERR_INVALIDCALL;
  *data = m_bytes.data() + offset;
  ++m_lockCount;
  return D3D_OK;
}

HRESULT BufferMemory::unlock() {
  if (m_lockCount == 0) return D3DERR_INVALIDCALL;
  --m_lockCount;
  return D3D_OK;
}

void BufferMemory::free() {
  std::vector<std::uint8_t>().swap(m_bytes);
  m_lockCount = 0;
}

RecordingVertexBuffer::RecordingVertexBuffer(std::shared_ptr<RecordingTracker> tracker, UINT length, DWORD usage,
                                             DWORD fvf, D3DPOOL pool)
    : RecordingRefCounted(std::move(tracker), "VertexBuffer", true),
      m_desc{D3DFMT_UNKNOWN, D3DRTYPE_VERTEXBUFFER, usage, pool, length, fvf},
      m_memory(length) {}

D3DRESOURCETYPE RecordingVertexBuffer::GetType() {
  record("GetType", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return D3DRTYPE_VERTEXBUFFER;
}

HRESULT RecordingVertexBuffer::Lock(UINT OffsetToLock, UINT SizeToLock, void** ppbData, DWORD Flags) {
  HRESULT hr = alive() ? m_memory.lock(OffsetToLock, SizeToLock, ppbData) : D3DERR_INVALIDCALL;
  if (!alive() && ppbData != nullptr) *ppbData = nullptr;
  record("Lock", {argNumber(OffsetToLock), argNumber(SizeToLock), argLockFlags(Flags)}, hr);
  return hr;
}

HRESULT RecordingVertexBuffer::Unlock() {
  HRESULT hr = alive() ? m_memory.unlock() : D3DERR_INVALIDCALL;
  record("Unlock", {}, hr);
  return hr;
}

HRESULT RecordingVertexBuffer::GetDesc(D3DVERTEXBUFFER_DESC* pDesc) {
  HRESULT hr = (!alive() || pDesc == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pDesc = m_desc;
  record("GetDesc", {}, hr);
  return hr;
}

RecordingIndexBuffer::RecordingIndexBuffer(std::shared_ptr<RecordingTracker> tracker, UINT length, DWORD usage,
                                           D3DFORMAT format, D3DPOOL pool)
    : RecordingRefCounted(std::move(tracker), "IndexBuffer", true),
      m_desc{format, D3DRTYPE_INDEXBUFFER, usage, pool, length},
      m_memory(length) {}

D3DRESOURCETYPE RecordingIndexBuffer::GetType() {
  record("GetType", {}, alive() ? D3D_OK : D3DERR_INVALIDCALL);
  return D3DRTYPE_INDEXBUFFER;
}

HRESULT RecordingIndexBuffer::Lock(UINT OffsetToLock, UINT SizeToLock, void** ppbData, DWORD Flags) {
  HRESULT hr = alive() ? m_memory.lock(OffsetToLock, SizeToLock, ppbData) : D3DERR_INVALIDCALL;
  if (!alive() && ppbData != nullptr) *ppbData = nullptr;
  record("Lock", {argNumber(OffsetToLock), argNumber(SizeToLock), argLockFlags(Flags)}, hr);
  return hr;
}

HRESULT RecordingIndexBuffer::Unlock() {
  HRESULT hr = alive() ? m_memory.unlock() : D3DERR_INVALIDCALL;
  record("Unlock", {}, hr);
  return hr;
}

HRESULT RecordingIndexBuffer::GetDesc(D3DINDEXBUFFER_DESC* pDesc) {
  HRESULT hr = (!alive() || pDesc == nullptr) ? D3DERR_INVALIDCALL : D3D_OK;
  if (hr == D3D_OK) *pDesc = m_desc;
  record("GetDesc", {}, hr);
  return hr;
}

// --- RecordingVertexDeclaration ------------------------------------------------

RecordingVertexDeclaration::RecordingVertexDeclaration(std::shared_ptr<RecordingTracker> tracker,
                                                       std::vector<D3DVERTEXELEMENT9> elements)
    : RecordingRefCounted(std::move(tracker), "VertexDeclaration", true), m_elements(std::move(elements)) {}

HRESULT RecordingVertexDeclaration::GetDeclaration(D3DVERTEXELEMENT9* pElement, UINT* pNumElements) {
  HRESULT hr = D3D_OK;
  UINT total = static_cast<UINT>(m_elements.size()) + 1;
  if (!alive() || pNumElements == nullptr) {
    hr = D3DERR_INVALIDCALL;
  } else if (pElement == nullptr) {
    *pNumElements = total;
  } else {
    std::copy(m_elements.begin(), m_elements.end(), pElement);
    pElement[m_elements.size()] = D3DVERTEXELEMENT9 D3DDECL_END();
    *pNumElements = total;
  }
  record("GetDeclaration", {argPointer(pElement)}, hr);
  return hr;
}

UINT RecordingVertexDeclaration::streamExtent(UINT stream) const {
  UINT extent = 0;
  for (const D3DVERTEXELEMENT9& e : m_elements) {
    if (e.Stream == stream) extent = std::max(extent, UINT(e.Offset) + declTypeSize(e.Type));
  }
  return extent;
}
