#include "platform/gfx/gl/GlResources.h"

#include "platform/gfx/gl/GlDevice.h"
#include "platform/gfx/gl/GlProgram.h"

#include <algorithm>
#include <cstring>

namespace {
// Uploads go through this unit and this buffer target, so they never disturb
// the textures bound to the stages or the index buffer of the vertex array.
constexpr GLenum kUploadUnit = GL_TEXTURE0 + 15;
constexpr GLenum kUploadTarget = GL_COPY_WRITE_BUFFER;

UINT mipCount(UINT width, UINT height) {
  UINT levels = 1;
  while (width > 1 || height > 1) {
    width = std::max(1u, width / 2);
    height = std::max(1u, height / 2);
    ++levels;
  }
  return levels;
}
}  // namespace

// --- GlResource ---------------------------------------------------------------

GlResource::GlResource(GlDevice* device) : m_device(device) {
  if (m_device) m_device->addResource(this);
}

GlResource::~GlResource() {
  if (m_device) m_device->removeResource(this);
}

// --- Pixel conversion -----------------------------------------------------------

D3DCOLOR pixelToARGB(D3DFORMAT format, const std::uint8_t* p) {
  switch (format) {
    case D3DFMT_A8R8G8B8: return D3DCOLOR(p[0]) | D3DCOLOR(p[1]) << 8 | D3DCOLOR(p[2]) << 16 | D3DCOLOR(p[3]) << 24;
    case D3DFMT_X8R8G8B8: return D3DCOLOR(p[0]) | D3DCOLOR(p[1]) << 8 | D3DCOLOR(p[2]) << 16 | 0xFF000000u;
    case D3DFMT_R8G8B8: return D3DCOLOR(p[0]) | D3DCOLOR(p[1]) << 8 | D3DCOLOR(p[2]) << 16 | 0xFF000000u;
    case D3DFMT_R5G6B5: {
      const unsigned v = unsigned(p[0]) | unsigned(p[1]) << 8;
      const unsigned r = (v >> 11) & 31, g = (v >> 5) & 63, b = v & 31;
      return D3DCOLOR_ARGB(255, (r * 255 + 15) / 31, (g * 255 + 31) / 63, (b * 255 + 15) / 31);
    }
    case D3DFMT_L8: return D3DCOLOR_ARGB(255, p[0], p[0], p[0]);
    case D3DFMT_A8: return D3DCOLOR(p[0]) << 24;
    case D3DFMT_A8L8: return D3DCOLOR_ARGB(p[1], p[0], p[0], p[0]);
    default: return 0;
  }
}

// --- GlTextureStorage -------------------------------------------------------------

GlTextureStorage::GlTextureStorage(GlDevice* device, bool cube, UINT width, UINT height, UINT levels, DWORD usage,
                                   D3DFORMAT format, D3DPOOL pool, const GlFormat& glFormat)
    : m_device(device),
      m_cube(cube),
      m_width(width),
      m_height(height),
      m_levels(levels == 0 ? mipCount(width, height) : std::min(levels, mipCount(width, height))),
      m_usage(usage),
      m_format(format),
      m_pool(pool),
      m_glFormat(glFormat) {
  const UINT faces = cube ? 6 : 1;
  m_locks.resize(faces * m_levels);
  m_surfaces.resize(faces * m_levels);
  clearGlErrors();
  glGenTextures(1, &m_texture);
  glActiveTexture(kUploadUnit);
  glBindTexture(target(), m_texture);
  glTexParameteri(target(), GL_TEXTURE_BASE_LEVEL, 0);
  glTexParameteri(target(), GL_TEXTURE_MAX_LEVEL, GLint(m_levels - 1));
  glTexParameteriv(target(), GL_TEXTURE_SWIZZLE_RGBA, m_glFormat.swizzle);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  std::vector<std::uint8_t> zeros;
  for (UINT face = 0; face < faces; ++face) {
    for (UINT level = 0; level < m_levels; ++level) {
      const GLsizei w = GLsizei(levelWidth(level)), h = GLsizei(levelHeight(level));
      if (m_glFormat.compressed) {
        const size_t bytes = formatPitch(m_glFormat, w) * size_t(formatRows(m_glFormat, h));
        zeros.assign(bytes, 0);
        glCompressedTexImage2D(faceTarget(face), GLint(level), m_glFormat.internalFormat, w, h, 0, GLsizei(bytes),
                               zeros.data());
      } else {
        glTexImage2D(faceTarget(face), GLint(level), GLint(m_glFormat.internalFormat), w, h, 0, m_glFormat.format,
                     m_glFormat.type, nullptr);
      }
    }
  }
  glBindTexture(target(), 0);
  if (glGetError() != GL_NO_ERROR) {
    glDeleteTextures(1, &m_texture);
    m_texture = 0;
  }
}

GlTextureStorage::~GlTextureStorage() { releaseGl(); }

void GlTextureStorage::releaseGl() {
  if (m_texture && m_device) {
    m_device->makeCurrent();
    m_device->forgetTexture(m_texture);
    glDeleteTextures(1, &m_texture);
  }
  m_texture = 0;
  m_device = nullptr;
}

UINT GlTextureStorage::levelWidth(UINT level) const { return std::max(1u, m_width >> level); }
UINT GlTextureStorage::levelHeight(UINT level) const { return std::max(1u, m_height >> level); }

HRESULT GlTextureStorage::levelDesc(UINT level, D3DSURFACE_DESC* desc) const {
  if (!desc || level >= m_levels) return D3DERR_INVALIDCALL;
  desc->Format = m_format;
  desc->Type = D3DRTYPE_SURFACE;
  desc->Usage = m_usage;
  desc->Pool = m_pool;
  desc->MultiSampleType = D3DMULTISAMPLE_NONE;
  desc->MultiSampleQuality = 0;
  desc->Width = levelWidth(level);
  desc->Height = levelHeight(level);
  return D3D_OK;
}

void GlTextureStorage::readLevel(UINT face, UINT level, std::vector<std::uint8_t>& memory) {
  glActiveTexture(kUploadUnit);
  glBindTexture(target(), m_texture);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glPixelStorei(GL_PACK_ROW_LENGTH, 0);
  if (m_glFormat.compressed)
    glGetCompressedTexImage(faceTarget(face), GLint(level), memory.data());
  else
    glGetTexImage(faceTarget(face), GLint(level), m_glFormat.format, m_glFormat.type, memory.data());
  glBindTexture(target(), 0);
}

HRESULT GlTextureStorage::lock(UINT face, UINT level, D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) {
  if (!locked || level >= m_levels || face >= (m_cube ? 6u : 1u) || !m_texture) return D3DERR_INVALIDCALL;
  m_device->makeCurrent();
  if (m_usage & D3DUSAGE_RENDERTARGET) return D3DERR_INVALIDCALL;  // not lockable, as in Direct3D
  LevelLock& state = m_locks[face * m_levels + level];
  if (state.locked) return D3DERR_INVALIDCALL;
  const LONG width = LONG(levelWidth(level)), height = LONG(levelHeight(level));
  RECT r = rect ? *rect : RECT{0, 0, width, height};
  if (r.left < 0 || r.top < 0 || r.right > width || r.bottom > height || r.left >= r.right || r.top >= r.bottom)
    return D3DERR_INVALIDCALL;
  if (m_glFormat.compressed) {
    auto blockEdge = [](LONG v, LONG size) { return v % 4 == 0 || v == size; };
    if (!blockEdge(r.left, width) || !blockEdge(r.top, height) || !blockEdge(r.right, width) ||
        !blockEdge(r.bottom, height))
      return D3DERR_INVALIDCALL;
  }
  const size_t pitch = formatPitch(m_glFormat, int(width));
  const size_t bytes = pitch * size_t(formatRows(m_glFormat, int(height)));
  if (state.memory.size() != bytes) {
    state.memory.assign(bytes, 0);
    if (!(flags & D3DLOCK_DISCARD)) readLevel(face, level, state.memory);
  }
  state.locked = true;
  state.rect = r;
  state.flags = flags;
  const size_t row = size_t(m_glFormat.compressed ? r.top / 4 : r.top);
  const size_t column = m_glFormat.compressed ? size_t(r.left / 4) * size_t(m_glFormat.bytesPerUnit)
                                              : size_t(r.left) * size_t(m_glFormat.bytesPerUnit);
  locked->Pitch = INT(pitch);
  locked->pBits = state.memory.data() + row * pitch + column;
  return D3D_OK;
}

HRESULT GlTextureStorage::unlock(UINT face, UINT level) {
  if (level >= m_levels || face >= (m_cube ? 6u : 1u)) return D3DERR_INVALIDCALL;
  LevelLock& state = m_locks[face * m_levels + level];
  if (!state.locked) return D3DERR_INVALIDCALL;
  state.locked = false;
  if ((state.flags & D3DLOCK_READONLY) || !m_texture) return D3D_OK;
  m_device->makeCurrent();
  glActiveTexture(kUploadUnit);
  glBindTexture(target(), m_texture);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  const GLsizei width = GLsizei(levelWidth(level)), height = GLsizei(levelHeight(level));
  if (m_glFormat.compressed) {
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glCompressedTexSubImage2D(faceTarget(face), GLint(level), 0, 0, width, height, m_glFormat.internalFormat,
                              GLsizei(state.memory.size()), state.memory.data());
  } else {
    const RECT& r = state.rect;
    const size_t pitch = formatPitch(m_glFormat, width);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, width);
    glTexSubImage2D(faceTarget(face), GLint(level), r.left, r.top, r.right - r.left, r.bottom - r.top,
                    m_glFormat.format, m_glFormat.type,
                    state.memory.data() + size_t(r.top) * pitch + size_t(r.left) * size_t(m_glFormat.bytesPerUnit));
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  }
  glBindTexture(target(), 0);
  return D3D_OK;
}

GlSurface* GlTextureStorage::surface(UINT face, UINT level, IUnknown* owner) {
  if (level >= m_levels || face >= (m_cube ? 6u : 1u)) return nullptr;
  auto& slot = m_surfaces[face * m_levels + level];
  if (!slot) slot = std::make_unique<GlSurface>(m_device, this, owner, face, level);
  return slot.get();
}

HRESULT GlTextureStorage::readARGB(UINT face, UINT level, std::vector<D3DCOLOR>& argb) {
  if (level >= m_levels || face >= (m_cube ? 6u : 1u) || !m_texture || m_glFormat.compressed)
    return D3DERR_INVALIDCALL;
  m_device->makeCurrent();
  const UINT width = levelWidth(level), height = levelHeight(level);
  std::vector<std::uint8_t> memory(formatPitch(m_glFormat, int(width)) * height);
  readLevel(face, level, memory);
  argb.resize(size_t(width) * height);
  for (size_t i = 0; i < argb.size(); ++i)
    argb[i] = pixelToARGB(m_format, memory.data() + i * size_t(m_glFormat.bytesPerUnit));
  return D3D_OK;
}

// --- Textures -----------------------------------------------------------------------

GlTexture::GlTexture(GlDevice* device, UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                     D3DPOOL pool, const GlFormat& glFormat)
    : GlResource(device), m_storage(device, false, width, height, levels, usage, format, pool, glFormat) {}

GlTexture::~GlTexture() = default;

HRESULT GlTexture::GetSurfaceLevel(UINT level, IDirect3DSurface9** surface) {
  if (!surface) return D3DERR_INVALIDCALL;
  *surface = m_storage.surface(0, level, this);
  if (!*surface) return D3DERR_INVALIDCALL;
  (*surface)->AddRef();
  return D3D_OK;
}

GlCubeTexture::GlCubeTexture(GlDevice* device, UINT edge, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                             const GlFormat& glFormat)
    : GlResource(device), m_storage(device, true, edge, edge, levels, usage, format, pool, glFormat) {}

GlCubeTexture::~GlCubeTexture() = default;

HRESULT GlCubeTexture::GetCubeMapSurface(D3DCUBEMAP_FACES face, UINT level, IDirect3DSurface9** surface) {
  if (!surface) return D3DERR_INVALIDCALL;
  *surface = m_storage.surface(face, level, this);
  if (!*surface) return D3DERR_INVALIDCALL;
  (*surface)->AddRef();
  return D3D_OK;
}

HRESULT GlCubeTexture::LockRect(D3DCUBEMAP_FACES face, UINT level, D3DLOCKED_RECT* locked, const RECT* rect,
                                DWORD flags) {
  return m_storage.lock(face, level, locked, rect, flags);
}

HRESULT GlCubeTexture::UnlockRect(D3DCUBEMAP_FACES face, UINT level) { return m_storage.unlock(face, level); }

// --- Surfaces --------------------------------------------------------------------------

GlSurface::GlSurface(GlDevice* device, GlTextureStorage* storage, IUnknown* owner, UINT face, UINT level)
    : GlResource(device),
      m_kind(Kind::TextureLevel),
      m_storage(storage),
      m_owner(owner),
      m_face(face),
      m_level(level),
      m_width(storage->levelWidth(level)),
      m_height(storage->levelHeight(level)),
      m_format(storage->format()),
      m_glFormat(storage->glFormat()),
      m_pool(storage->pool()) {}

GlSurface::GlSurface(GlDevice* device, Kind kind, UINT width, UINT height, D3DFORMAT format, const GlFormat& glFormat,
                     D3DPOOL pool, int samples)
    : GlResource(device),
      m_kind(kind),
      m_width(width),
      m_height(height),
      m_format(format),
      m_glFormat(glFormat),
      m_pool(pool),
      m_samples(samples < 1 ? 1 : samples) {
  clearGlErrors();
  if (kind == Kind::Plain) {
    m_memory.assign(formatPitch(glFormat, int(width)) * size_t(formatRows(glFormat, int(height))), 0);
    return;
  }
  if (kind == Kind::DepthStencil || m_samples > 1) {
    glGenRenderbuffers(1, &m_renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, m_renderbuffer);
    if (m_samples > 1)
      glRenderbufferStorageMultisample(GL_RENDERBUFFER, m_samples, glFormat.internalFormat, GLsizei(width),
                                       GLsizei(height));
    else
      glRenderbufferStorage(GL_RENDERBUFFER, glFormat.internalFormat, GLsizei(width), GLsizei(height));
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
  } else {
    glGenTextures(1, &m_texture);
    glActiveTexture(kUploadUnit);
    glBindTexture(GL_TEXTURE_2D, m_texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, GLint(glFormat.internalFormat), GLsizei(width), GLsizei(height), 0,
                 glFormat.format, glFormat.type, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
  }
  if (glGetError() != GL_NO_ERROR) releaseGl();
}

GlSurface::~GlSurface() { releaseGl(); }

bool GlSurface::valid() const {
  switch (m_kind) {
    case Kind::TextureLevel: return m_storage && m_storage->valid();
    case Kind::Plain: return true;
    default: return m_texture != 0 || m_renderbuffer != 0;
  }
}

void GlSurface::releaseGl() {
  if (m_device) {
    m_device->makeCurrent();
    m_device->forgetSurface(this);
  }
  if (m_texture) glDeleteTextures(1, &m_texture);
  if (m_renderbuffer) glDeleteRenderbuffers(1, &m_renderbuffer);
  m_texture = 0;
  m_renderbuffer = 0;
}

ULONG GlSurface::AddRef() { return m_owner ? m_owner->AddRef() : ++m_refs; }

ULONG GlSurface::Release() {
  if (m_owner) return m_owner->Release();
  const ULONG refs = --m_refs;
  if (refs == 0) delete this;
  return refs;
}

HRESULT GlSurface::GetDesc(D3DSURFACE_DESC* desc) {
  if (!desc) return D3DERR_INVALIDCALL;
  if (m_kind == Kind::TextureLevel) return m_storage->levelDesc(m_level, desc);
  desc->Format = m_format;
  desc->Type = D3DRTYPE_SURFACE;
  desc->Usage = m_kind == Kind::DepthStencil ? D3DUSAGE_DEPTHSTENCIL
                : m_kind == Kind::Plain      ? 0
                                             : D3DUSAGE_RENDERTARGET;
  desc->Pool = m_pool;
  desc->MultiSampleType = m_samples > 1 ? D3DMULTISAMPLE_TYPE(m_samples) : D3DMULTISAMPLE_NONE;
  desc->MultiSampleQuality = 0;
  desc->Width = m_width;
  desc->Height = m_height;
  return D3D_OK;
}

HRESULT GlSurface::LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) {
  if (m_kind == Kind::TextureLevel) return m_storage->lock(m_face, m_level, locked, rect, flags);
  if (m_kind != Kind::Plain || !locked || m_locked) return D3DERR_INVALIDCALL;
  RECT r = rect ? *rect : RECT{0, 0, LONG(m_width), LONG(m_height)};
  if (r.left < 0 || r.top < 0 || r.right > LONG(m_width) || r.bottom > LONG(m_height) || r.left >= r.right ||
      r.top >= r.bottom)
    return D3DERR_INVALIDCALL;
  const size_t pitch = formatPitch(m_glFormat, int(m_width));
  const size_t row = size_t(m_glFormat.compressed ? r.top / 4 : r.top);
  const size_t column = size_t(m_glFormat.compressed ? r.left / 4 : r.left) * size_t(m_glFormat.bytesPerUnit);
  locked->Pitch = INT(pitch);
  locked->pBits = m_memory.data() + row * pitch + column;
  m_locked = true;
  return D3D_OK;
}

HRESULT GlSurface::UnlockRect() {
  if (m_kind == Kind::TextureLevel) return m_storage->unlock(m_face, m_level);
  if (m_kind != Kind::Plain || !m_locked) return D3DERR_INVALIDCALL;
  m_locked = false;
  return D3D_OK;
}

// --- Buffers ------------------------------------------------------------------------------

GlBufferStorage::GlBufferStorage(GLenum target, UINT size, DWORD usage)
    : m_target(target), m_usage(usage), m_memory(size, 0) {
  (void)m_target;
  clearGlErrors();
  glGenBuffers(1, &m_buffer);
  glBindBuffer(kUploadTarget, m_buffer);
  glBufferData(kUploadTarget, GLsizeiptr(size), m_memory.data(),
               (usage & D3DUSAGE_DYNAMIC) ? GL_DYNAMIC_DRAW : GL_STATIC_DRAW);
  glBindBuffer(kUploadTarget, 0);
  if (glGetError() != GL_NO_ERROR) releaseGl();
}

GlBufferStorage::~GlBufferStorage() { releaseGl(); }

void GlBufferStorage::releaseGl() {
  if (m_buffer) glDeleteBuffers(1, &m_buffer);
  m_buffer = 0;
}

HRESULT GlBufferStorage::lock(UINT offset, UINT size, void** data, DWORD flags) {
  if (!data || !m_buffer) return D3DERR_INVALIDCALL;
  const UINT total = UINT(m_memory.size());
  if (size == 0) size = offset <= total ? total - offset : 0;
  if (offset > total || size > total - offset) return D3DERR_INVALIDCALL;
  *data = m_memory.data() + offset;
  ++m_lockCount;
  if (flags & D3DLOCK_DISCARD) m_discard = true;
  if (!(flags & D3DLOCK_READONLY)) {
    for (IndexRun& run : m_runs) run.count = 0;
  }
  if (!(flags & D3DLOCK_READONLY) && size > 0) {
    if (m_dirtyBegin == m_dirtyEnd) {
      m_dirtyBegin = offset;
      m_dirtyEnd = offset + size;
    } else {
      m_dirtyBegin = std::min(m_dirtyBegin, offset);
      m_dirtyEnd = std::max(m_dirtyEnd, offset + size);
    }
  }
  return D3D_OK;
}

HRESULT GlBufferStorage::unlock() {
  if (m_lockCount == 0) return D3DERR_INVALIDCALL;
  if (--m_lockCount > 0 || !m_buffer) return D3D_OK;
  glBindBuffer(kUploadTarget, m_buffer);
  if (m_discard) {
    // Orphan the old storage so draws still reading it are not waited on.
    glBufferData(kUploadTarget, GLsizeiptr(m_memory.size()), m_memory.data(),
                 (m_usage & D3DUSAGE_DYNAMIC) ? GL_DYNAMIC_DRAW : GL_STATIC_DRAW);
  } else if (m_dirtyEnd > m_dirtyBegin) {
    glBufferSubData(kUploadTarget, GLintptr(m_dirtyBegin), GLsizeiptr(m_dirtyEnd - m_dirtyBegin),
                    m_memory.data() + m_dirtyBegin);
  }
  glBindBuffer(kUploadTarget, 0);
  m_discard = false;
  m_dirtyBegin = m_dirtyEnd = 0;
  return D3D_OK;
}

void scanIndexRange(const std::uint8_t* data, UINT indexSize, UINT first, UINT count, UINT* low, UINT* high) {
  UINT lo = 0xFFFFFFFFu, hi = 0;
  for (UINT i = first; i < first + count; ++i) {
    UINT index;
    if (indexSize == 4) {
      std::uint32_t v;
      std::memcpy(&v, data + size_t(i) * 4, 4);
      index = v;
    } else {
      std::uint16_t v;
      std::memcpy(&v, data + size_t(i) * 2, 2);
      index = v;
    }
    lo = std::min(lo, index);
    hi = std::max(hi, index);
  }
  *low = lo;
  *high = hi;
}

void GlBufferStorage::indexRange(UINT indexSize, UINT first, UINT count, UINT* low, UINT* high) {
  // While locked the caller may be writing: scan, remember nothing.
  IndexRun* run = m_lockCount == 0 ? &m_runs[(first * 0x9E3779B1u ^ count) >> 29] : nullptr;
  if (run && run->count == count && run->first == first && run->indexSize == indexSize) {
    *low = run->low;
    *high = run->high;
    return;
  }
  UINT lo = 0, hi = 0;
  scanIndexRange(m_memory.data(), indexSize, first, count, &lo, &hi);
  *low = lo;
  *high = hi;
  if (run) *run = {indexSize, first, count, lo, hi};
}

GlVertexBuffer::GlVertexBuffer(GlDevice* device, UINT length, DWORD usage, DWORD fvf, D3DPOOL pool)
    : GlResource(device), m_storage(GL_ARRAY_BUFFER, length, usage), m_usage(usage), m_fvf(fvf), m_pool(pool) {}

GlVertexBuffer::~GlVertexBuffer() {
  if (m_device) m_device->makeCurrent();
}

HRESULT GlVertexBuffer::Lock(UINT offset, UINT size, void** data, DWORD flags) {
  return m_storage.lock(offset, size, data, flags);
}

HRESULT GlVertexBuffer::Unlock() {
  if (m_device) m_device->makeCurrent();
  return m_storage.unlock();
}

HRESULT GlVertexBuffer::GetDesc(D3DVERTEXBUFFER_DESC* desc) {
  if (!desc) return D3DERR_INVALIDCALL;
  desc->Format = D3DFMT_UNKNOWN;
  desc->Type = D3DRTYPE_VERTEXBUFFER;
  desc->Usage = m_usage;
  desc->Pool = m_pool;
  desc->Size = m_storage.size();
  desc->FVF = m_fvf;
  return D3D_OK;
}

GlIndexBuffer::GlIndexBuffer(GlDevice* device, UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool)
    : GlResource(device),
      m_storage(GL_ELEMENT_ARRAY_BUFFER, length, usage),
      m_usage(usage),
      m_format(format),
      m_pool(pool) {}

GlIndexBuffer::~GlIndexBuffer() {
  if (m_device) m_device->makeCurrent();
}

HRESULT GlIndexBuffer::Lock(UINT offset, UINT size, void** data, DWORD flags) {
  return m_storage.lock(offset, size, data, flags);
}

HRESULT GlIndexBuffer::Unlock() {
  if (m_device) m_device->makeCurrent();
  return m_storage.unlock();
}

HRESULT GlIndexBuffer::GetDesc(D3DINDEXBUFFER_DESC* desc) {
  if (!desc) return D3DERR_INVALIDCALL;
  desc->Format = m_format;
  desc->Type = D3DRTYPE_INDEXBUFFER;
  desc->Usage = m_usage;
  desc->Pool = m_pool;
  desc->Size = m_storage.size();
  return D3D_OK;
}

// --- Vertex layouts ---------------------------------------------------------------------------

bool layoutFromFvf(DWORD fvf, GlVertexLayout* layout) {
  GlVertexLayout out;
  GLuint offset = 0;
  auto add = [&](GLuint location, GLint size, GLenum type, GLboolean normalized, GLuint bytes, BYTE usage,
                 BYTE index) {
    out.attributes.push_back({location, size, type, normalized, offset, 0, usage, index});
    offset += bytes;
  };
  switch (fvf & D3DFVF_POSITION_MASK) {
    case D3DFVF_XYZ: add(0, 3, GL_FLOAT, GL_FALSE, 12, D3DDECLUSAGE_POSITION, 0); break;
    case D3DFVF_XYZRHW:
      add(0, 4, GL_FLOAT, GL_FALSE, 16, D3DDECLUSAGE_POSITIONT, 0);
      out.transformed = true;
      break;
    case D3DFVF_XYZW: add(0, 4, GL_FLOAT, GL_FALSE, 16, D3DDECLUSAGE_POSITION, 0); break;
    case D3DFVF_XYZB1: case D3DFVF_XYZB2: case D3DFVF_XYZB3: case D3DFVF_XYZB4: case D3DFVF_XYZB5: {
      add(0, 3, GL_FLOAT, GL_FALSE, 12, D3DDECLUSAGE_POSITION, 0);
      const GLuint weights = ((fvf & D3DFVF_POSITION_MASK) - D3DFVF_XYZB1) / 2 + 1;
      offset += weights * 4;  // blend weights are not used by the fixed-function emulation
      break;
    }
    default: return false;
  }
  if (fvf & D3DFVF_NORMAL) {
    add(1, 3, GL_FLOAT, GL_FALSE, 12, D3DDECLUSAGE_NORMAL, 0);
    out.hasNormal = true;
  }
  if (fvf & D3DFVF_PSIZE) {
    add(4, 1, GL_FLOAT, GL_FALSE, 4, D3DDECLUSAGE_PSIZE, 0);
    out.hasPointSize = true;
  }
  if (fvf & D3DFVF_DIFFUSE) {
    add(2, GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE, 4, D3DDECLUSAGE_COLOR, 0);
    out.hasDiffuse = true;
  }
  if (fvf & D3DFVF_SPECULAR) {
    add(3, GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE, 4, D3DDECLUSAGE_COLOR, 1);
    out.hasSpecular = true;
  }
  const DWORD sets = (fvf & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT;
  if (sets > 8) return false;
  for (DWORD set = 0; set < sets; ++set) {
    static const GLint sizes[4] = {2, 3, 4, 1};  // D3DFVF_TEXTUREFORMAT2, 3, 4, 1
    const GLint size = sizes[(fvf >> (set * 2 + 16)) & 3];
    add(glattr::kTexCoord0 + set, size, GL_FLOAT, GL_FALSE, GLuint(size) * 4, D3DDECLUSAGE_TEXCOORD, BYTE(set));
    out.texCoordSize[set] = std::uint8_t(size);
  }
  out.fvfStride = offset;
  *layout = std::move(out);
  return true;
}

bool layoutFromDeclaration(const std::vector<D3DVERTEXELEMENT9>& elements, GlVertexLayout* layout) {
  GlVertexLayout out;
  for (const D3DVERTEXELEMENT9& e : elements) {
    if (e.Stream == 0xFF) break;
    if (e.Stream >= 16) return false;
    GlVertexAttribute a;
    a.offset = e.Offset;
    a.stream = e.Stream;
    a.usage = e.Usage;
    a.usageIndex = e.UsageIndex;
    switch (e.Type) {
      case D3DDECLTYPE_FLOAT1: a.size = 1; break;
      case D3DDECLTYPE_FLOAT2: a.size = 2; break;
      case D3DDECLTYPE_FLOAT3: a.size = 3; break;
      case D3DDECLTYPE_FLOAT4: a.size = 4; break;
      case D3DDECLTYPE_D3DCOLOR: a.size = GL_BGRA; a.type = GL_UNSIGNED_BYTE; a.normalized = GL_TRUE; break;
      case D3DDECLTYPE_UBYTE4: a.size = 4; a.type = GL_UNSIGNED_BYTE; break;
      case D3DDECLTYPE_UBYTE4N: a.size = 4; a.type = GL_UNSIGNED_BYTE; a.normalized = GL_TRUE; break;
      case D3DDECLTYPE_SHORT2: a.size = 2; a.type = GL_SHORT; break;
      case D3DDECLTYPE_SHORT4: a.size = 4; a.type = GL_SHORT; break;
      case D3DDECLTYPE_SHORT2N: a.size = 2; a.type = GL_SHORT; a.normalized = GL_TRUE; break;
      case D3DDECLTYPE_SHORT4N: a.size = 4; a.type = GL_SHORT; a.normalized = GL_TRUE; break;
      case D3DDECLTYPE_USHORT2N: a.size = 2; a.type = GL_UNSIGNED_SHORT; a.normalized = GL_TRUE; break;
      case D3DDECLTYPE_USHORT4N: a.size = 4; a.type = GL_UNSIGNED_SHORT; a.normalized = GL_TRUE; break;
      case D3DDECLTYPE_FLOAT16_2: a.size = 2; a.type = GL_HALF_FLOAT; break;
      case D3DDECLTYPE_FLOAT16_4: a.size = 4; a.type = GL_HALF_FLOAT; break;
      default: return false;
    }
    int location = vertexAttributeLocation(e.Usage, e.UsageIndex);
    if (e.Usage == D3DDECLUSAGE_POSITIONT && e.UsageIndex == 0) {
      location = 0;
      out.transformed = true;
    }
    if (location < 0) continue;  // fed to no program
    a.location = GLuint(location);
    const int components = a.size == GL_BGRA ? 4 : a.size;
    if (e.Usage == D3DDECLUSAGE_NORMAL) out.hasNormal = true;
    if (e.Usage == D3DDECLUSAGE_PSIZE) out.hasPointSize = true;
    if (e.Usage == D3DDECLUSAGE_COLOR && e.UsageIndex == 0) out.hasDiffuse = true;
    if (e.Usage == D3DDECLUSAGE_COLOR && e.UsageIndex == 1) out.hasSpecular = true;
    if (e.Usage == D3DDECLUSAGE_TEXCOORD && e.UsageIndex < 8) out.texCoordSize[e.UsageIndex] = std::uint8_t(components);
    out.attributes.push_back(a);
  }
  *layout = std::move(out);
  return true;
}

GlVertexDeclaration::GlVertexDeclaration(GlDevice* device, std::vector<D3DVERTEXELEMENT9> elements,
                                         GlVertexLayout layout)
    : GlResource(device), m_elements(std::move(elements)), m_layout(std::move(layout)) {}

HRESULT GlVertexDeclaration::GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) {
  if (!count) return D3DERR_INVALIDCALL;
  if (elements) std::copy(m_elements.begin(), m_elements.end(), elements);
  *count = UINT(m_elements.size());
  return D3D_OK;
}

// --- Shader stages --------------------------------------------------------------------------------

GlShaderStage::GlShaderStage(GlDevice* device, GLenum stage, GLuint shader, std::string source, std::uint32_t id)
    : GlResource(device), m_stage(stage), m_shader(shader), m_source(std::move(source)), m_id(id) {
  if (stage != GL_VERTEX_SHADER) return;
  m_outputs = declaredVaryings(m_source, "out");
}

GlShaderStage::~GlShaderStage() { releaseGl(); }

void GlShaderStage::releaseGl() {
  if (m_device) {
    m_device->makeCurrent();
    m_device->forgetShader(m_id);
  }
  if (m_shader) glDeleteShader(m_shader);
  m_shader = 0;
}
