#pragma once
// The device's objects: surfaces, textures, buffers, vertex declarations and
// shaders, with Direct3D 9's interface names, method names and argument
// orders. Every back end implements them; system code only sees these.
//
// Reference counting follows Direct3D: a creating call hands out one
// reference; AddRef and Release return the new count and the object deletes
// itself when it reaches 0. Every Get* that returns an object adds a reference
// the caller must release. A surface obtained from a texture (GetSurfaceLevel,
// GetCubeMapSurface) shares its texture's count: holding the surface keeps the
// texture alive, and releasing the texture's last reference while a surface
// reference is still held is a leak, as in Direct3D.
//
// Locking: LockRect / Lock hand out the resource's memory; row 0 is the top of
// the image. Locking a locked surface or unlocking an unlocked one returns
// D3DERR_INVALIDCALL. Vertex and index buffers may be locked again while
// locked (each Lock needs its Unlock). Unlike Direct3D, textures of every
// pool may be locked (the D3DX layer fills default-pool textures that way),
// except render-target textures and depth-stencil surfaces, which give
// D3DERR_INVALIDCALL (read them with Device::readSurfaceARGB). D3DLOCK_DISCARD
// and D3DLOCK_NOOVERWRITE are hints; the contents of a locked range are the
// resource's current contents either way.
#include "platform/gfx/D3D9Structs.h"

class Device;

class IUnknown {
 public:
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  virtual ~IUnknown() = default;
};

class IDirect3DResource9 : public IUnknown {
 public:
  virtual D3DRESOURCETYPE GetType() = 0;
};

class IDirect3DSurface9 : public IDirect3DResource9 {
 public:
  virtual HRESULT GetDesc(D3DSURFACE_DESC* pDesc) = 0;
  // pRect null locks the whole surface. DXT formats lock whole 4 x 4 blocks:
  // the rectangle's edges must be multiples of 4.
  virtual HRESULT LockRect(D3DLOCKED_RECT* pLockedRect, const RECT* pRect, DWORD Flags) = 0;
  virtual HRESULT UnlockRect() = 0;
};

class IDirect3DBaseTexture9 : public IDirect3DResource9 {
 public:
  virtual DWORD GetLevelCount() = 0;
};

class IDirect3DTexture9 : public IDirect3DBaseTexture9 {
 public:
  virtual HRESULT GetLevelDesc(UINT Level, D3DSURFACE_DESC* pDesc) = 0;
  virtual HRESULT GetSurfaceLevel(UINT Level, IDirect3DSurface9** ppSurfaceLevel) = 0;
  virtual HRESULT LockRect(UINT Level, D3DLOCKED_RECT* pLockedRect, const RECT* pRect, DWORD Flags) = 0;
  virtual HRESULT UnlockRect(UINT Level) = 0;
};

class IDirect3DCubeTexture9 : public IDirect3DBaseTexture9 {
 public:
  virtual HRESULT GetLevelDesc(UINT Level, D3DSURFACE_DESC* pDesc) = 0;
  virtual HRESULT GetCubeMapSurface(D3DCUBEMAP_FACES FaceType, UINT Level, IDirect3DSurface9** ppCubeMapSurface) = 0;
  virtual HRESULT LockRect(D3DCUBEMAP_FACES FaceType, UINT Level, D3DLOCKED_RECT* pLockedRect, const RECT* pRect,
                           DWORD Flags) = 0;
  virtual HRESULT UnlockRect(D3DCUBEMAP_FACES FaceType, UINT Level) = 0;
};

class IDirect3DVertexBuffer9 : public IDirect3DResource9 {
 public:
  // OffsetToLock and SizeToLock in bytes; SizeToLock 0 with offset 0 locks
  // the whole buffer, SizeToLock 0 with an offset locks to the end.
  virtual HRESULT Lock(UINT OffsetToLock, UINT SizeToLock, void** ppbData, DWORD Flags) = 0;
  virtual HRESULT Unlock() = 0;
  virtual HRESULT GetDesc(D3DVERTEXBUFFER_DESC* pDesc) = 0;
};

class IDirect3DIndexBuffer9 : public IDirect3DResource9 {
 public:
  virtual HRESULT Lock(UINT OffsetToLock, UINT SizeToLock, void** ppbData, DWORD Flags) = 0;
  virtual HRESULT Unlock() = 0;
  virtual HRESULT GetDesc(D3DINDEXBUFFER_DESC* pDesc) = 0;
};

class IDirect3DVertexDeclaration9 : public IUnknown {
 public:
  // With pElement null, *pNumElements receives the element count including
  // the D3DDECL_END marker; otherwise that many elements are copied.
  virtual HRESULT GetDeclaration(D3DVERTEXELEMENT9* pElement, UINT* pNumElements) = 0;
};

// Shader objects own one GLSL stage each (see Device::CreateVertexShader).
class IDirect3DVertexShader9 : public IUnknown {};
class IDirect3DPixelShader9 : public IUnknown {};
