#pragma once
// The recording back end's resources: real objects with real memory. Every
// Lock hands out the resource's own bytes, so what a caller writes is there
// at the next Lock (and in readSurfaceARGB); every public call is logged.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/gfx/Resources.h"
#include "platform/gfx/recording/RecordingTracker.h"

class RecordingSurface final : public RecordingRefCounted<IDirect3DSurface9> {
 public:
  // A surface of its own (render target, depth-stencil, plain, back buffer).
  RecordingSurface(std::shared_ptr<RecordingTracker> tracker, const std::string& kind, bool counted,
                   const D3DSURFACE_DESC& desc, bool lockable);
  // A level of a texture, living and counted with it.
  RecordingSurface(RecordingObject* container, const std::string& suffix, const D3DSURFACE_DESC& desc,
                   bool lockable);

  D3DRESOURCETYPE GetType() override;
  HRESULT GetDesc(D3DSURFACE_DESC* pDesc) override;
  HRESULT LockRect(D3DLOCKED_RECT* pLockedRect, const RECT* pRect, DWORD Flags) override;
  HRESULT UnlockRect() override;

  // The same without logging, for the containers and the device.
  HRESULT lock(D3DLOCKED_RECT* lockedRect, const RECT* rect);
  HRESULT unlock();

  const D3DSURFACE_DESC& desc() const { return m_desc; }
  bool locked() const { return m_locked; }
  bool lockable() const { return m_lockable; }
  std::uint8_t* bits() { return m_memory.data(); }
  UINT pitch() const { return m_pitch; }
  // Clear support: fills the part of `rect` inside the surface. Colour
  // surfaces take the colour converted to their format; depth surfaces take
  // depth (0..1, as 24 or 16 bits) and / or stencil (8 bits, D24S8 only).
  void fillColor(const RECT& rect, D3DCOLOR argb);
  void fillDepthStencil(const RECT& rect, bool depth, float z, bool stencil, DWORD stencilValue);
  // Reads one pixel of depth (0..1) or stencil; for tests of Clear.
  float depthAt(UINT x, UINT y) const;
  DWORD stencilAt(UINT x, UINT y) const;
  // Converts the whole surface to ARGB, top row first; false for depth and
  // compressed formats.
  bool readARGB(std::vector<D3DCOLOR>& argb) const;
  // Public so that a container frees its levels' memory when it dies.
  void freeStorage() override;

 private:
  D3DSURFACE_DESC m_desc;
  std::vector<std::uint8_t> m_memory;
  UINT m_pitch = 0;
  bool m_lockable = true;
  bool m_locked = false;
};

class RecordingTexture final : public RecordingRefCounted<IDirect3DTexture9> {
 public:
  // Levels 0 makes the full chain. Render-target and depth textures cannot
  // be locked.
  RecordingTexture(std::shared_ptr<RecordingTracker> tracker, UINT width, UINT height, UINT levels, DWORD usage,
                   D3DFORMAT format, D3DPOOL pool);

  D3DRESOURCETYPE GetType() override;
  DWORD GetLevelCount() override;
  HRESULT GetLevelDesc(UINT Level, D3DSURFACE_DESC* pDesc) override;
  HRESULT GetSurfaceLevel(UINT Level, IDirect3DSurface9** ppSurfaceLevel) override;
  HRESULT LockRect(UINT Level, D3DLOCKED_RECT* pLockedRect, const RECT* pRect, DWORD Flags) override;
  HRESULT UnlockRect(UINT Level) override;

  // Null past the last level; no reference added.
  RecordingSurface* level(UINT index) const;

 protected:
  void freeStorage() override;

 private:
  std::vector<std::unique_ptr<RecordingSurface>> m_levels;
};

class RecordingCubeTexture final : public RecordingRefCounted<IDirect3DCubeTexture9> {
 public:
  RecordingCubeTexture(std::shared_ptr<RecordingTracker> tracker, UINT edge, UINT levels, DWORD usage,
                       D3DFORMAT format, D3DPOOL pool);

  D3DRESOURCETYPE GetType() override;
  DWORD GetLevelCount() override;
  HRESULT GetLevelDesc(UINT Level, D3DSURFACE_DESC* pDesc) override;
  HRESULT GetCubeMapSurface(D3DCUBEMAP_FACES FaceType, UINT Level, IDirect3DSurface9** ppCubeMapSurface) override;
  HRESULT LockRect(D3DCUBEMAP_FACES FaceType, UINT Level, D3DLOCKED_RECT* pLockedRect, const RECT* pRect,
                   DWORD Flags) override;
  HRESULT UnlockRect(D3DCUBEMAP_FACES FaceType, UINT Level) override;

  // Null for a bad face or level; no reference added.
  RecordingSurface* face(DWORD faceIndex, UINT level) const;

 protected:
  void freeStorage() override;

 private:
  UINT m_levelCount = 0;
  std::array<std::vector<std::unique_ptr<RecordingSurface>>, 6> m_faces;
};

// Byte storage with Direct3D's buffer locking rules.
class BufferMemory {
 public:
  explicit BufferMemory(UINT size) : m_bytes(size) {}
  HRESULT lock(UINT offset, UINT size, void** data);
  HRESULT unlock();
  void free();
  UINT size() const { return static_cast<UINT>(m_bytes.size()); }
  int lockCount() const { return m_lockCount; }
  std::uint8_t* bytes() { return m_bytes.data(); }

 private:
  std::vector<std::uint8_t> m_bytes;
  int m_lockCount = 0;
};

class RecordingVertexBuffer final : public RecordingRefCounted<IDirect3DVertexBuffer9> {
 public:
  RecordingVertexBuffer(std::shared_ptr<RecordingTracker> tracker, UINT length, DWORD usage, DWORD fvf,
                        D3DPOOL pool);

  D3DRESOURCETYPE GetType() override;
  HRESULT Lock(UINT OffsetToLock, UINT SizeToLock, void** ppbData, DWORD Flags) override;
  HRESULT Unlock() override;
  HRESULT GetDesc(D3DVERTEXBUFFER_DESC* pDesc) override;

  BufferMemory& memory() { return m_memory; }
  const D3DVERTEXBUFFER_DESC& desc() const { return m_desc; }

 protected:
  void freeStorage() override { m_memory.free(); }

 private:
  D3DVERTEXBUFFER_DESC m_desc;
  BufferMemory m_memory;
};

class RecordingIndexBuffer final : public RecordingRefCounted<IDirect3DIndexBuffer9> {
 public:
  RecordingIndexBuffer(std::shared_ptr<RecordingTracker> tracker, UINT length, DWORD usage, D3DFORMAT format,
                       D3DPOOL pool);

  D3DRESOURCETYPE GetType() override;
  HRESULT Lock(UINT OffsetToLock, UINT SizeToLock, void** ppbData, DWORD Flags) override;
  HRESULT Unlock() override;
  HRESULT GetDesc(D3DINDEXBUFFER_DESC* pDesc) override;

  BufferMemory& memory() { return m_memory; }
  const D3DINDEXBUFFER_DESC& desc() const { return m_desc; }

 protected:
  void freeStorage() override { m_memory.free(); }

 private:
  D3DINDEXBUFFER_DESC m_desc;
  BufferMemory m_memory;
};

class RecordingVertexDeclaration final : public RecordingRefCounted<IDirect3DVertexDeclaration9> {
 public:
  // `elements` without the end marker, already validated.
  RecordingVertexDeclaration(std::shared_ptr<RecordingTracker> tracker, std::vector<D3DVERTEXELEMENT9> elements);

  HRESULT GetDeclaration(D3DVERTEXELEMENT9* pElement, UINT* pNumElements) override;

  const std::vector<D3DVERTEXELEMENT9>& elements() const { return m_elements; }
  // Bytes a vertex of `stream` spans: the end of its furthest element.
  UINT streamExtent(UINT stream) const;

 private:
  std::vector<D3DVERTEXELEMENT9> m_elements;
};

class RecordingVertexShader final : public RecordingRefCounted<IDirect3DVertexShader9> {
 public:
  RecordingVertexShader(std::shared_ptr<RecordingTracker> tracker, std::string source)
      : RecordingRefCounted(std::move(tracker), "VertexShader", true), m_source(std::move(source)) {}
  const std::string& source() const { return m_source; }

 private:
  std::string m_source;
};

class RecordingPixelShader final : public RecordingRefCounted<IDirect3DPixelShader9> {
 public:
  RecordingPixelShader(std::shared_ptr<RecordingTracker> tracker, std::string source)
      : RecordingRefCounted(std::move(tracker), "PixelShader", true), m_source(std::move(source)) {}
  const std::string& source() const { return m_source; }

 private:
  std::string m_source;
};
