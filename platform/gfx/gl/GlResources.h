#pragma once
// The OpenGL device's objects: textures (2D and cube), surfaces, vertex and
// index buffers, vertex declarations and shaders.
//
// Every object knows its device and is listed there while alive: when the
// device goes first (a leak in the caller), it frees the OpenGL objects and
// the survivors turn into empty shells that still count references and
// answer calls with D3DERR_INVALIDCALL, so nothing touches a dead context.
//
// Memory model: textures keep a system-memory copy of a level only while it
// is locked (managed and dynamic pools alike); Unlock uploads the locked
// rows. Buffers keep a full system-memory copy (the cheapest way to hand out
// writable memory that survives Unlock); Unlock uploads the locked range.
#include "platform/gfx/Device.h"
#include "platform/gfx/gl/FfpKey.h"
#include "platform/gfx/gl/GlFormats.h"

#include <epoxy/gl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class GlDevice;

using LONG = std::int32_t;  // RECT fields
using UINT64 = std::uint64_t;

// Membership in the device's list of live objects.
class GlResource {
 public:
  explicit GlResource(GlDevice* device);
  virtual ~GlResource();
  GlResource(const GlResource&) = delete;
  GlResource& operator=(const GlResource&) = delete;
  // Frees the OpenGL objects; called by the device when it goes first.
  virtual void releaseGl() = 0;
  GlDevice* device() const { return m_device; }
  void detachDevice() { m_device = nullptr; }

 protected:
  GlDevice* m_device;
};

template <class Interface>
class GlRefCounted : public Interface {
 public:
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }

 protected:
  ULONG m_refs = 1;
};

class GlSurface;

// The pixels of a 2D or cube texture, its levels and their locks.
class GlTextureStorage {
 public:
  GlTextureStorage(GlDevice* device, bool cube, UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                   D3DPOOL pool, const GlFormat& glFormat);
  ~GlTextureStorage();
  // False when OpenGL could not make the texture.
  bool valid() const { return m_texture != 0; }
  void releaseGl();

  GLenum target() const { return m_cube ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D; }
  GLuint texture() const { return m_texture; }
  bool cube() const { return m_cube; }
  UINT levels() const { return m_levels; }
  UINT levelWidth(UINT level) const;
  UINT levelHeight(UINT level) const;
  D3DFORMAT format() const { return m_format; }
  const GlFormat& glFormat() const { return m_glFormat; }
  DWORD usage() const { return m_usage; }
  D3DPOOL pool() const { return m_pool; }

  HRESULT levelDesc(UINT level, D3DSURFACE_DESC* desc) const;
  HRESULT lock(UINT face, UINT level, D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags);
  HRESULT unlock(UINT face, UINT level);
  // The surface of one face and level (owned here, sharing the owner's count).
  GlSurface* surface(UINT face, UINT level, IUnknown* owner);
  // The level's pixels as ARGB words, top row first.
  HRESULT readARGB(UINT face, UINT level, std::vector<D3DCOLOR>& argb);

 private:
  struct LevelLock {
    bool locked = false;
    RECT rect{};
    DWORD flags = 0;
    std::vector<std::uint8_t> memory;  // the whole level, Direct3D layout
  };
  GLenum faceTarget(UINT face) const {
    return m_cube ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : GL_TEXTURE_2D;
  }
  void readLevel(UINT face, UINT level, std::vector<std::uint8_t>& memory);

  GlDevice* m_device;
  bool m_cube;
  UINT m_width, m_height, m_levels;
  DWORD m_usage;
  D3DFORMAT m_format;
  D3DPOOL m_pool;
  GlFormat m_glFormat;
  GLuint m_texture = 0;
  std::vector<LevelLock> m_locks;                   // face * levels + level
  std::vector<std::unique_ptr<GlSurface>> m_surfaces;  // same index
};

// What SetTexture needs from either kind of texture.
class GlTextureAccess {
 public:
  virtual ~GlTextureAccess() = default;
  virtual GlTextureStorage& storage() = 0;
};

class GlTexture final : public GlRefCounted<IDirect3DTexture9>, public GlResource, public GlTextureAccess {
 public:
  GlTexture(GlDevice* device, UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
            const GlFormat& glFormat);
  ~GlTexture() override;
  void releaseGl() override { m_storage.releaseGl(); }
  GlTextureStorage& storage() override { return m_storage; }

  D3DRESOURCETYPE GetType() override { return D3DRTYPE_TEXTURE; }
  DWORD GetLevelCount() override { return m_storage.levels(); }
  HRESULT GetLevelDesc(UINT level, D3DSURFACE_DESC* desc) override { return m_storage.levelDesc(level, desc); }
  HRESULT GetSurfaceLevel(UINT level, IDirect3DSurface9** surface) override;
  HRESULT LockRect(UINT level, D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) override {
    return m_storage.lock(0, level, locked, rect, flags);
  }
  HRESULT UnlockRect(UINT level) override { return m_storage.unlock(0, level); }

 private:
  GlTextureStorage m_storage;
};

class GlCubeTexture final : public GlRefCounted<IDirect3DCubeTexture9>, public GlResource, public GlTextureAccess {
 public:
  GlCubeTexture(GlDevice* device, UINT edge, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                const GlFormat& glFormat);
  ~GlCubeTexture() override;
  void releaseGl() override { m_storage.releaseGl(); }
  GlTextureStorage& storage() override { return m_storage; }

  D3DRESOURCETYPE GetType() override { return D3DRTYPE_CUBETEXTURE; }
  DWORD GetLevelCount() override { return m_storage.levels(); }
  HRESULT GetLevelDesc(UINT level, D3DSURFACE_DESC* desc) override { return m_storage.levelDesc(level, desc); }
  HRESULT GetCubeMapSurface(D3DCUBEMAP_FACES face, UINT level, IDirect3DSurface9** surface) override;
  HRESULT LockRect(D3DCUBEMAP_FACES face, UINT level, D3DLOCKED_RECT* locked, const RECT* rect,
                   DWORD flags) override;
  HRESULT UnlockRect(D3DCUBEMAP_FACES face, UINT level) override;

 private:
  GlTextureStorage m_storage;
};

// A surface: a texture level (owned by its texture), the back buffer, a
// render target, a depth-stencil surface or a plain system-memory surface.
class GlSurface final : public IDirect3DSurface9, public GlResource {
 public:
  enum class Kind { TextureLevel, BackBuffer, RenderTarget, DepthStencil, Plain };

  // A texture level; references go to the owner.
  GlSurface(GlDevice* device, GlTextureStorage* storage, IUnknown* owner, UINT face, UINT level);
  // A standalone surface of the other kinds.
  GlSurface(GlDevice* device, Kind kind, UINT width, UINT height, D3DFORMAT format, const GlFormat& glFormat,
            D3DPOOL pool, int samples);
  ~GlSurface() override;
  void releaseGl() override;
  bool valid() const;

  ULONG AddRef() override;
  ULONG Release() override;
  D3DRESOURCETYPE GetType() override { return D3DRTYPE_SURFACE; }
  HRESULT GetDesc(D3DSURFACE_DESC* desc) override;
  HRESULT LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) override;
  HRESULT UnlockRect() override;

  Kind kind() const { return m_kind; }
  UINT width() const { return m_width; }
  UINT height() const { return m_height; }
  D3DFORMAT format() const { return m_format; }
  const GlFormat& glFormat() const { return m_glFormat; }
  int samples() const { return m_samples; }
  GlTextureStorage* storage() const { return m_storage; }
  UINT face() const { return m_face; }
  UINT level() const { return m_level; }
  // Colour surfaces other than texture levels are textures (1 sample) or
  // renderbuffers (multisampled); depth surfaces are renderbuffers.
  GLuint texture() const { return m_texture; }
  GLuint renderbuffer() const { return m_renderbuffer; }
  std::vector<std::uint8_t>& memory() { return m_memory; }

 private:
  Kind m_kind;
  GlTextureStorage* m_storage = nullptr;
  IUnknown* m_owner = nullptr;
  UINT m_face = 0, m_level = 0;
  UINT m_width = 0, m_height = 0;
  D3DFORMAT m_format = D3DFMT_UNKNOWN;
  GlFormat m_glFormat;
  D3DPOOL m_pool = D3DPOOL_DEFAULT;
  int m_samples = 1;
  GLuint m_texture = 0;
  GLuint m_renderbuffer = 0;
  ULONG m_refs = 1;
  bool m_locked = false;
  std::vector<std::uint8_t> m_memory;  // plain surfaces: the pixels
};

// Vertex or index data: an OpenGL buffer and its system-memory copy.
// Smallest and largest of the `count` indices of indexSize bytes (2 or 4)
// from index `first` of `data`; the caller has checked they lie within it.
void scanIndexRange(const std::uint8_t* data, UINT indexSize, UINT first, UINT count, UINT* low, UINT* high);

class GlBufferStorage {
 public:
  GlBufferStorage(GLenum target, UINT size, DWORD usage);
  ~GlBufferStorage();
  bool valid() const { return m_buffer != 0; }
  void releaseGl();
  GLuint buffer() const { return m_buffer; }
  UINT size() const { return UINT(m_memory.size()); }
  const std::uint8_t* data() const { return m_memory.data(); }
  HRESULT lock(UINT offset, UINT size, void** data, DWORD flags);
  HRESULT unlock();
  // Smallest and largest of the `count` (> 0) indices of indexSize bytes (2
  // or 4) from index `first`, which the caller has checked lie within the
  // buffer. Remembered per run until the next lock for writing, so a mesh
  // drawn every frame has its indices scanned once, not on every draw.
  void indexRange(UINT indexSize, UINT first, UINT count, UINT* low, UINT* high);

 private:
  struct IndexRun {
    UINT indexSize = 0, first = 0, count = 0;  // count 0: empty
    UINT low = 0, high = 0;
  };
  GLenum m_target;
  DWORD m_usage;
  GLuint m_buffer = 0;
  std::vector<std::uint8_t> m_memory;
  int m_lockCount = 0;
  UINT m_dirtyBegin = 0, m_dirtyEnd = 0;  // bytes; empty when equal
  bool m_discard = false;
  // A few runs, placed by a hash of first and count; emptied by writes.
  IndexRun m_runs[8];
};

class GlVertexBuffer final : public GlRefCounted<IDirect3DVertexBuffer9>, public GlResource {
 public:
  GlVertexBuffer(GlDevice* device, UINT length, DWORD usage, DWORD fvf, D3DPOOL pool);
  ~GlVertexBuffer() override;
  void releaseGl() override { m_storage.releaseGl(); }
  GlBufferStorage& storage() { return m_storage; }
  D3DRESOURCETYPE GetType() override { return D3DRTYPE_VERTEXBUFFER; }
  HRESULT Lock(UINT offset, UINT size, void** data, DWORD flags) override;
  HRESULT Unlock() override;
  HRESULT GetDesc(D3DVERTEXBUFFER_DESC* desc) override;

 private:
  GlBufferStorage m_storage;
  DWORD m_usage, m_fvf;
  D3DPOOL m_pool;
};

class GlIndexBuffer final : public GlRefCounted<IDirect3DIndexBuffer9>, public GlResource {
 public:
  GlIndexBuffer(GlDevice* device, UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool);
  ~GlIndexBuffer() override;
  void releaseGl() override { m_storage.releaseGl(); }
  GlBufferStorage& storage() { return m_storage; }
  D3DFORMAT format() const { return m_format; }
  D3DRESOURCETYPE GetType() override { return D3DRTYPE_INDEXBUFFER; }
  HRESULT Lock(UINT offset, UINT size, void** data, DWORD flags) override;
  HRESULT Unlock() override;
  HRESULT GetDesc(D3DINDEXBUFFER_DESC* desc) override;

 private:
  GlBufferStorage m_storage;
  DWORD m_usage;
  D3DFORMAT m_format;
  D3DPOOL m_pool;
};

// One vertex attribute as OpenGL reads it.
struct GlVertexAttribute {
  GLuint location = 0;
  GLint size = 0;  // components, or GL_BGRA for D3DCOLOR
  GLenum type = GL_FLOAT;
  GLboolean normalized = GL_FALSE;
  GLuint offset = 0;  // bytes into the vertex
  UINT stream = 0;
  BYTE usage = 0;
  BYTE usageIndex = 0;
};

// The vertex layout of an FVF or a declaration.
struct GlVertexLayout {
  std::vector<GlVertexAttribute> attributes;
  UINT fvfStride = 0;  // stride the FVF implies (0 for declarations)
  bool transformed = false;  // XYZRHW / POSITIONT
  bool hasNormal = false, hasDiffuse = false, hasSpecular = false, hasPointSize = false;
  std::uint8_t texCoordSize[8] = {};
};
// False for an FVF with components that cannot be drawn.
bool layoutFromFvf(DWORD fvf, GlVertexLayout* layout);
// False for an element type that OpenGL cannot read.
bool layoutFromDeclaration(const std::vector<D3DVERTEXELEMENT9>& elements, GlVertexLayout* layout);

class GlVertexDeclaration final : public GlRefCounted<IDirect3DVertexDeclaration9>, public GlResource {
 public:
  GlVertexDeclaration(GlDevice* device, std::vector<D3DVERTEXELEMENT9> elements, GlVertexLayout layout);
  void releaseGl() override {}
  HRESULT GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) override;
  const GlVertexLayout& layout() const { return m_layout; }

 private:
  std::vector<D3DVERTEXELEMENT9> m_elements;  // with the end marker
  GlVertexLayout m_layout;
};

// A compiled GLSL stage of the system's own. Programs pairing it with other
// stages are made on demand and cached by the device.
class GlShaderStage : public GlResource {
 public:
  GlShaderStage(GlDevice* device, GLenum stage, GLuint shader, std::string source, std::uint32_t id);
  ~GlShaderStage() override;
  void releaseGl() override;
  GLenum stage() const { return m_stage; }  // GL_VERTEX_SHADER or GL_FRAGMENT_SHADER
  GLuint shader() const { return m_shader; }
  const std::string& source() const { return m_source; }
  std::uint32_t id() const { return m_id; }  // unique per device, never reused
  // Vertex stages: the outputs declared (`out vec4 TEXCOORD0;` ...).
  const std::vector<ShaderVarying>& outputs() const { return m_outputs; }

 private:
  GLenum m_stage;
  GLuint m_shader;
  std::string m_source;
  std::uint32_t m_id;
  std::vector<ShaderVarying> m_outputs;
};

class GlVertexShader final : public GlRefCounted<IDirect3DVertexShader9>, public GlShaderStage {
 public:
  using GlShaderStage::GlShaderStage;
};

class GlPixelShader final : public GlRefCounted<IDirect3DPixelShader9>, public GlShaderStage {
 public:
  using GlShaderStage::GlShaderStage;
};

// The ARGB word of a pixel in a Direct3D format's memory (uncompressed
// colour formats); alpha 0xFF for formats without alpha.
D3DCOLOR pixelToARGB(D3DFORMAT format, const std::uint8_t* pixel);
