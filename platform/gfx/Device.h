#pragma once
// The device: the subset of Direct3D 9's IDirect3DDevice9 that the system
// drives, as one abstract class with Direct3D's method names, argument orders,
// constants and defaults. Back ends: gl/ (OpenGL, reproduces Direct3D's
// results) and recording/ (records every call; for tests). System code holds
// a Device* (alias IDirect3DDevice9) and never knows which.
//
// Conventions every back end keeps:
// - Results are Direct3D's: D3D_OK, D3DERR_INVALIDCALL for bad arguments or
//   calls in the wrong state (invalid stage or light index, null out pointer,
//   unlock without lock), D3DERR_OUTOFVIDEOMEMORY / E_OUTOFMEMORY when a
//   resource cannot be made. A bad call never crashes.
// - A fresh device holds Direct3D 9's default states, identity transforms,
//   no lights, no textures, a viewport covering the back buffer with depth
//   0..1, and render target 0 = the back buffer. docs/device.md lists the
//   states and every other Direct3D 9 result the OpenGL back end reproduces.
// - Binding calls (SetTexture, SetStreamSource, SetIndices, SetRenderTarget,
//   SetDepthStencilSurface, SetVertexDeclaration, Set*Shader) hold a reference
//   on the bound object until it is replaced or the device goes away.
// - Matrices are row-vector matrices (v' = v x M, translation in _41.._43).
//
// Shaders. The system's shaders are GLSL; D3DX "compiles" them (selects the
// entry point, applies the defines) into a code buffer holding the finished
// GLSL text of one stage, NUL-terminated. CreateVertexShader and
// CreatePixelShader take that buffer: pFunction points at the text (read as
// bytes, not DWORDs). The text is one complete GLSL stage (#version line
// included) and keeps these conventions with the back end:
// - Vertex inputs are declared `layout(location = N) in ...`, with N =
//   vertexAttributeLocation(usage, usageIndex) of the declaration element
//   (or FVF component) that feeds them.
// - The vertex stage writes gl_Position in Direct3D clip space (depth 0..1,
//   y up); the back end applies its own pixel-centre and layout adjustments,
//   so the source does not. Point size, when drawn as points, in gl_PointSize.
// - A vertex stage may write `out float FOG;`: the fog factor 0..1 (1 = no
//   fog) that the back end applies to the pixel stage's output when
//   D3DRS_FOGENABLE is TRUE.
// - Interpolators pass between the stages by matching names.
// - The pixel stage writes `layout(location = 0) out vec4` (colour 0..1,
//   alpha in .a); samplers are declared with `layout(binding = N)`, N the
//   sampler (texture stage) index they read, so SetTexture(N, ...) feeds them.
// - Identifiers starting with `vx_` are reserved for the back end.
// Constants are set by name (setVertexShaderConstantByName and the pixel
// twin) and are device state, like Direct3D's constant registers: they outlive
// shader changes, and a program reads the current value of every uniform it
// declares when it draws. The register-numbered Set*ShaderConstantF calls
// are kept as state too and reach a program that declares `uniform vec4
// vs_c[N]` (vertex) or `ps_c[N]` (pixel), element i = register i.
#include <vector>

#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/Resources.h"

// Attribute location of a vertex element in GLSL, by Direct3D usage; -1 when
// the usage has no location (the element is then not fed to shaders).
constexpr int vertexAttributeLocation(BYTE usage, BYTE usageIndex) {
  switch (usage) {
    case D3DDECLUSAGE_POSITION: return usageIndex == 0 ? 0 : -1;
    case D3DDECLUSAGE_NORMAL: return usageIndex == 0 ? 1 : -1;
    case D3DDECLUSAGE_COLOR: return usageIndex <= 1 ? 2 + usageIndex : -1;  // 2 diffuse, 3 specular
    case D3DDECLUSAGE_PSIZE: return usageIndex == 0 ? 4 : -1;
    case D3DDECLUSAGE_TEXCOORD: return usageIndex <= 7 ? 5 + usageIndex : -1;  // 5..12
    case D3DDECLUSAGE_TANGENT: return usageIndex == 0 ? 13 : -1;
    case D3DDECLUSAGE_BINORMAL: return usageIndex == 0 ? 14 : -1;
    case D3DDECLUSAGE_BLENDWEIGHT: return usageIndex == 0 ? 15 : -1;
    default: return -1;
  }
}

class Device : public IUnknown {
 public:
  // --- Capabilities and presentation -------------------------------------
  virtual HRESULT GetDeviceCaps(D3DCAPS9* pCaps) = 0;
  // The implicit swap chain has one back buffer: iSwapChain and iBackBuffer 0.
  virtual HRESULT GetBackBuffer(UINT iSwapChain, UINT iBackBuffer, D3DBACKBUFFER_TYPE Type,
                                IDirect3DSurface9** ppBackBuffer) = 0;
  virtual HRESULT BeginScene() = 0;  // INVALIDCALL inside a scene
  virtual HRESULT EndScene() = 0;    // INVALIDCALL outside a scene
  // Clears the viewport (or the given rectangles within it) of render target
  // 0 and the depth-stencil surface. Z 0..1, Stencil the 8-bit value.
  virtual HRESULT Clear(DWORD Count, const D3DRECT* pRects, DWORD Flags, D3DCOLOR Color, float Z, DWORD Stencil) = 0;
  // pDirtyRegion is an RGNDATA in Direct3D and must be null here.
  virtual HRESULT Present(const RECT* pSourceRect, const RECT* pDestRect, HWND hDestWindowOverride,
                          const void* pDirtyRegion) = 0;

  // --- Resources (pSharedHandle must be null) ------------------------------
  // Levels 0 makes a full mip chain down to 1 x 1.
  virtual HRESULT CreateTexture(UINT Width, UINT Height, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                                IDirect3DTexture9** ppTexture, HANDLE* pSharedHandle = nullptr) = 0;
  virtual HRESULT CreateCubeTexture(UINT EdgeLength, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                                    IDirect3DCubeTexture9** ppCubeTexture, HANDLE* pSharedHandle = nullptr) = 0;
  // Length in bytes. FVF 0 makes a buffer read through a vertex declaration.
  virtual HRESULT CreateVertexBuffer(UINT Length, DWORD Usage, DWORD FVF, D3DPOOL Pool,
                                     IDirect3DVertexBuffer9** ppVertexBuffer, HANDLE* pSharedHandle = nullptr) = 0;
  // Format D3DFMT_INDEX16 or D3DFMT_INDEX32.
  virtual HRESULT CreateIndexBuffer(UINT Length, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                                    IDirect3DIndexBuffer9** ppIndexBuffer, HANDLE* pSharedHandle = nullptr) = 0;
  virtual HRESULT CreateRenderTarget(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                                     DWORD MultisampleQuality, BOOL Lockable, IDirect3DSurface9** ppSurface,
                                     HANDLE* pSharedHandle = nullptr) = 0;
  virtual HRESULT CreateDepthStencilSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                                            DWORD MultisampleQuality, BOOL Discard, IDirect3DSurface9** ppSurface,
                                            HANDLE* pSharedHandle = nullptr) = 0;
  // A lockable surface in memory (D3DPOOL_SYSTEMMEM or D3DPOOL_SCRATCH).
  virtual HRESULT CreateOffscreenPlainSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DPOOL Pool,
                                              IDirect3DSurface9** ppSurface, HANDLE* pSharedHandle = nullptr) = 0;
  // The list must end with D3DDECL_END().
  virtual HRESULT CreateVertexDeclaration(const D3DVERTEXELEMENT9* pVertexElements,
                                          IDirect3DVertexDeclaration9** ppDecl) = 0;
  // pFunction: the NUL-terminated GLSL text of the stage (see the top of this
  // file). A source that does not compile gives D3DERR_INVALIDCALL; the back
  // end writes the compiler's log to the debugger output.
  virtual HRESULT CreateVertexShader(const DWORD* pFunction, IDirect3DVertexShader9** ppShader) = 0;
  virtual HRESULT CreatePixelShader(const DWORD* pFunction, IDirect3DPixelShader9** ppShader) = 0;

  // --- Render targets and viewport ----------------------------------------
  // Index 0 only (one simultaneous render target). Setting a render target
  // resets the viewport to cover it, as Direct3D does. Target 0 cannot be null.
  virtual HRESULT SetRenderTarget(DWORD RenderTargetIndex, IDirect3DSurface9* pRenderTarget) = 0;
  virtual HRESULT GetRenderTarget(DWORD RenderTargetIndex, IDirect3DSurface9** ppRenderTarget) = 0;
  // Null detaches the depth-stencil surface; GetDepthStencilSurface then
  // returns D3DERR_NOTFOUND and a null surface.
  virtual HRESULT SetDepthStencilSurface(IDirect3DSurface9* pNewZStencil) = 0;
  virtual HRESULT GetDepthStencilSurface(IDirect3DSurface9** ppZStencilSurface) = 0;
  virtual HRESULT SetViewport(const D3DVIEWPORT9* pViewport) = 0;
  virtual HRESULT GetViewport(D3DVIEWPORT9* pViewport) = 0;

  // --- Fixed-function state -------------------------------------------------
  virtual HRESULT SetRenderState(D3DRENDERSTATETYPE State, DWORD Value) = 0;
  virtual HRESULT GetRenderState(D3DRENDERSTATETYPE State, DWORD* pValue) = 0;
  // Stage 0..7.
  virtual HRESULT SetTextureStageState(DWORD Stage, D3DTEXTURESTAGESTATETYPE Type, DWORD Value) = 0;
  virtual HRESULT GetTextureStageState(DWORD Stage, D3DTEXTURESTAGESTATETYPE Type, DWORD* pValue) = 0;
  // Sampler 0..15.
  virtual HRESULT SetSamplerState(DWORD Sampler, D3DSAMPLERSTATETYPE Type, DWORD Value) = 0;
  virtual HRESULT GetSamplerState(DWORD Sampler, D3DSAMPLERSTATETYPE Type, DWORD* pValue) = 0;
  virtual HRESULT SetTransform(D3DTRANSFORMSTATETYPE State, const D3DMATRIX* pMatrix) = 0;
  virtual HRESULT GetTransform(D3DTRANSFORMSTATETYPE State, D3DMATRIX* pMatrix) = 0;
  // Light indices 0..4095 are accepted; at most 8 may be enabled at a time.
  // LightEnable on an index never set stores the default light (a white
  // directional light along +z) and enables it, as Direct3D does.
  virtual HRESULT SetLight(DWORD Index, const D3DLIGHT9* pLight) = 0;
  virtual HRESULT GetLight(DWORD Index, D3DLIGHT9* pLight) = 0;  // INVALIDCALL if never set
  virtual HRESULT LightEnable(DWORD Index, BOOL Enable) = 0;
  virtual HRESULT GetLightEnable(DWORD Index, BOOL* pEnable) = 0;  // INVALIDCALL if never set
  virtual HRESULT SetMaterial(const D3DMATERIAL9* pMaterial) = 0;
  virtual HRESULT GetMaterial(D3DMATERIAL9* pMaterial) = 0;
  // Stage 0..7 (also the sampler index); null unbinds.
  virtual HRESULT SetTexture(DWORD Stage, IDirect3DBaseTexture9* pTexture) = 0;
  virtual HRESULT GetTexture(DWORD Stage, IDirect3DBaseTexture9** ppTexture) = 0;

  // --- Vertex input ---------------------------------------------------------
  // Setting an FVF replaces the vertex declaration and the other way round
  // (GetFVF answers 0 while a declaration is set).
  virtual HRESULT SetFVF(DWORD FVF) = 0;
  virtual HRESULT GetFVF(DWORD* pFVF) = 0;
  virtual HRESULT SetVertexDeclaration(IDirect3DVertexDeclaration9* pDecl) = 0;
  virtual HRESULT GetVertexDeclaration(IDirect3DVertexDeclaration9** ppDecl) = 0;
  // Stream 0..15; OffsetInBytes and Stride in bytes.
  virtual HRESULT SetStreamSource(UINT StreamNumber, IDirect3DVertexBuffer9* pStreamData, UINT OffsetInBytes,
                                  UINT Stride) = 0;
  virtual HRESULT GetStreamSource(UINT StreamNumber, IDirect3DVertexBuffer9** ppStreamData, UINT* pOffsetInBytes,
                                  UINT* pStride) = 0;
  virtual HRESULT SetIndices(IDirect3DIndexBuffer9* pIndexData) = 0;
  virtual HRESULT GetIndices(IDirect3DIndexBuffer9** ppIndexData) = 0;

  // --- Shaders --------------------------------------------------------------
  // Null returns to the fixed-function pipeline for that stage.
  virtual HRESULT SetVertexShader(IDirect3DVertexShader9* pShader) = 0;
  virtual HRESULT GetVertexShader(IDirect3DVertexShader9** ppShader) = 0;
  virtual HRESULT SetPixelShader(IDirect3DPixelShader9* pShader) = 0;
  virtual HRESULT GetPixelShader(IDirect3DPixelShader9** ppShader) = 0;
  // Registers of 4 floats: vertex 0..255, pixel 0..31.
  virtual HRESULT SetVertexShaderConstantF(UINT StartRegister, const float* pConstantData, UINT Vector4fCount) = 0;
  virtual HRESULT GetVertexShaderConstantF(UINT StartRegister, float* pConstantData, UINT Vector4fCount) = 0;
  virtual HRESULT SetPixelShaderConstantF(UINT StartRegister, const float* pConstantData, UINT Vector4fCount) = 0;
  virtual HRESULT GetPixelShaderConstantF(UINT StartRegister, float* pConstantData, UINT Vector4fCount) = 0;

  // This system's own calls, for the D3DX constant tables: a uniform of the
  // GLSL programs by its exact, case-sensitive name. floatCount floats: 1 for
  // float, 2..4 for vecN, 16 for mat4 (a D3DMATRIX in memory order: the
  // program sees its transpose, so `M * v` in GLSL is v x M), n times that
  // for arrays. Setting replaces the whole value. Getting a name never set
  // reads zeros; getting more floats than were set pads with zeros.
  virtual HRESULT setVertexShaderConstantByName(const char* name, const float* data, UINT floatCount) = 0;
  virtual HRESULT getVertexShaderConstantByName(const char* name, float* data, UINT floatCount) = 0;
  virtual HRESULT setPixelShaderConstantByName(const char* name, const float* data, UINT floatCount) = 0;
  virtual HRESULT getPixelShaderConstantByName(const char* name, float* data, UINT floatCount) = 0;

  // --- Drawing (between BeginScene and EndScene) ------------------------------
  virtual HRESULT DrawPrimitive(D3DPRIMITIVETYPE PrimitiveType, UINT StartVertex, UINT PrimitiveCount) = 0;
  // Index i of the bound index buffer reads vertex BaseVertexIndex + index;
  // MinVertexIndex and NumVertices bound the indices used (a hint).
  virtual HRESULT DrawIndexedPrimitive(D3DPRIMITIVETYPE PrimitiveType, INT BaseVertexIndex, UINT MinVertexIndex,
                                       UINT NumVertices, UINT startIndex, UINT primCount) = 0;
  // Vertices from memory; afterwards stream 0 is unset (and, after the
  // indexed form, the index buffer too), as in Direct3D.
  virtual HRESULT DrawPrimitiveUP(D3DPRIMITIVETYPE PrimitiveType, UINT PrimitiveCount,
                                  const void* pVertexStreamZeroData, UINT VertexStreamZeroStride) = 0;
  virtual HRESULT DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE PrimitiveType, UINT MinVertexIndex, UINT NumVertices,
                                         UINT PrimitiveCount, const void* pIndexData, D3DFORMAT IndexDataFormat,
                                         const void* pVertexStreamZeroData, UINT VertexStreamZeroStride) = 0;

  // --- Reading back (this system's own call; tests and offline rendering) ----
  // The pixels of a colour surface (the back buffer, a render target, a
  // texture level or a plain surface) as 32-bit ARGB, width x height values,
  // top row first. Formats without alpha read as alpha 0xFF. Depth formats
  // and compressed formats give D3DERR_INVALIDCALL. Reading a surface that is
  // being drawn finishes the drawing first.
  virtual HRESULT readSurfaceARGB(IDirect3DSurface9* surface, std::vector<D3DCOLOR>& argb, UINT& width,
                                  UINT& height) = 0;
};

// --- Helpers for back ends and callers ------------------------------------

// Number of primitives' vertices: the vertex count a draw call reads.
constexpr UINT primitiveVertexCount(D3DPRIMITIVETYPE type, UINT primitiveCount) {
  switch (type) {
    case D3DPT_POINTLIST: return primitiveCount;
    case D3DPT_LINELIST: return primitiveCount * 2;
    case D3DPT_LINESTRIP: return primitiveCount == 0 ? 0 : primitiveCount + 1;
    case D3DPT_TRIANGLELIST: return primitiveCount * 3;
    case D3DPT_TRIANGLESTRIP:
    case D3DPT_TRIANGLEFAN: return primitiveCount == 0 ? 0 : primitiveCount + 2;
    default: return 0;
  }
}

// interface: complete
