#pragma once
// The OpenGL device: Direct3D 9's results on OpenGL 4.5 core (or 3.3 core
// with ARB_clip_control).
//
// Frame layout: every frame is drawn into off-screen framebuffers laid out as
// Direct3D's (row 0 at the top, glClipControl(GL_UPPER_LEFT,
// GL_ZERO_TO_ONE)); Present blits the back buffer to the window, flipped and
// scaled with its aspect kept. Render-target textures hold their images top
// row first, as uploaded textures do, so v = 0 is the top everywhere.
//
// State flow: Set* calls only store Direct3D state and mark what changed; a
// draw turns the changed parts into OpenGL state, picks (or generates) the
// program for the current fixed-function state or shader pair, and uploads
// the uniform groups whose version differs from what that program last saw.
// Files: GlDevice.cpp (creation, state calls), GlDeviceResources.cpp
// (Create*), GlDeviceDraw.cpp (pipeline states, vertex layouts, draws),
// GlDevicePrograms.cpp (fixed-function key, program cache, uniforms),
// GlDeviceTargets.cpp (render targets, Clear, Present, read-back),
// GlResources.cpp (the objects), FfpGenerator.cpp (generated GLSL).
#include "platform/gfx/Device.h"
#include "platform/gfx/gl/FfpKey.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/gfx/gl/GlResources.h"

#include <epoxy/gl.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class Window;

// OpenGL limits the Direct3D object reports before a device exists.
struct GlLimits {
  int maxSamples = 1;
  int maxTextureSize = 2048;
  float maxPointSize = 64.0f;
  bool s3tc = false;
};

class GlDevice final : public Device {
 public:
  // Makes a device on the window (hwnd from platform/os), or off screen with
  // its own hidden context when hwnd is null. Fills the zero back-buffer size
  // of a windowed device. Null with *result set on failure.
  static GlDevice* create(HWND hwnd, D3DPRESENT_PARAMETERS* params, const GlDeviceOptions& options,
                          HRESULT* result);
  // The sample count a multisample type and quality give, 0 when unavailable.
  static int sampleCount(D3DMULTISAMPLE_TYPE type, DWORD quality, int maxSamples);
  static DWORD qualityLevels(D3DMULTISAMPLE_TYPE type, int maxSamples);
  static void fillCaps(const GlLimits& limits, const GlDeviceOptions& options, D3DCAPS9* caps);

  // --- IUnknown -----------------------------------------------------------
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override;

  // --- Device ---------------------------------------------------------------
  HRESULT GetDeviceCaps(D3DCAPS9* pCaps) override;
  HRESULT GetBackBuffer(UINT iSwapChain, UINT iBackBuffer, D3DBACKBUFFER_TYPE Type,
                        IDirect3DSurface9** ppBackBuffer) override;
  HRESULT BeginScene() override;
  HRESULT EndScene() override;
  HRESULT Clear(DWORD Count, const D3DRECT* pRects, DWORD Flags, D3DCOLOR Color, float Z, DWORD Stencil) override;
  HRESULT Present(const RECT* pSourceRect, const RECT* pDestRect, HWND hDestWindowOverride,
                  const void* pDirtyRegion) override;

  HRESULT CreateTexture(UINT Width, UINT Height, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                        IDirect3DTexture9** ppTexture, HANDLE* pSharedHandle) override;
  HRESULT CreateCubeTexture(UINT EdgeLength, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                            IDirect3DCubeTexture9** ppCubeTexture, HANDLE* pSharedHandle) override;
  HRESULT CreateVertexBuffer(UINT Length, DWORD Usage, DWORD FVF, D3DPOOL Pool,
                             IDirect3DVertexBuffer9** ppVertexBuffer, HANDLE* pSharedHandle) override;
  HRESULT CreateIndexBuffer(UINT Length, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                            IDirect3DIndexBuffer9** ppIndexBuffer, HANDLE* pSharedHandle) override;
  HRESULT CreateRenderTarget(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                             DWORD MultisampleQuality, BOOL Lockable, IDirect3DSurface9** ppSurface,
                             HANDLE* pSharedHandle) override;
  HRESULT CreateDepthStencilSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                                    DWORD MultisampleQuality, BOOL Discard, IDirect3DSurface9** ppSurface,
                                    HANDLE* pSharedHandle) override;
  HRESULT CreateOffscreenPlainSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DPOOL Pool,
                                      IDirect3DSurface9** ppSurface, HANDLE* pSharedHandle) override;
  HRESULT CreateVertexDeclaration(const D3DVERTEXELEMENT9* pVertexElements,
                                  IDirect3DVertexDeclaration9** ppDecl) override;
  HRESULT CreateVertexShader(const DWORD* pFunction, IDirect3DVertexShader9** ppShader) override;
  HRESULT CreatePixelShader(const DWORD* pFunction, IDirect3DPixelShader9** ppShader) override;

  HRESULT SetRenderTarget(DWORD RenderTargetIndex, IDirect3DSurface9* pRenderTarget) override;
  HRESULT GetRenderTarget(DWORD RenderTargetIndex, IDirect3DSurface9** ppRenderTarget) override;
  HRESULT SetDepthStencilSurface(IDirect3DSurface9* pNewZStencil) override;
  HRESULT GetDepthStencilSurface(IDirect3DSurface9** ppZStencilSurface) override;
  HRESULT SetViewport(const D3DVIEWPORT9* pViewport) override;
  HRESULT GetViewport(D3DVIEWPORT9* pViewport) override;

  HRESULT SetRenderState(D3DRENDERSTATETYPE State, DWORD Value) override;
  HRESULT GetRenderState(D3DRENDERSTATETYPE State, DWORD* pValue) override;
  HRESULT SetTextureStageState(DWORD Stage, D3DTEXTURESTAGESTATETYPE Type, DWORD Value) override;
  HRESULT GetTextureStageState(DWORD Stage, D3DTEXTURESTAGESTATETYPE Type, DWORD* pValue) override;
  HRESULT SetSamplerState(DWORD Sampler, D3DSAMPLERSTATETYPE Type, DWORD Value) override;
  HRESULT GetSamplerState(DWORD Sampler, D3DSAMPLERSTATETYPE Type, DWORD* pValue) override;
  HRESULT SetTransform(D3DTRANSFORMSTATETYPE State, const D3DMATRIX* pMatrix) override;
  HRESULT GetTransform(D3DTRANSFORMSTATETYPE State, D3DMATRIX* pMatrix) override;
  HRESULT SetLight(DWORD Index, const D3DLIGHT9* pLight) override;
  HRESULT GetLight(DWORD Index, D3DLIGHT9* pLight) override;
  HRESULT LightEnable(DWORD Index, BOOL Enable) override;
  HRESULT GetLightEnable(DWORD Index, BOOL* pEnable) override;
  HRESULT SetMaterial(const D3DMATERIAL9* pMaterial) override;
  HRESULT GetMaterial(D3DMATERIAL9* pMaterial) override;
  HRESULT SetTexture(DWORD Stage, IDirect3DBaseTexture9* pTexture) override;
  HRESULT GetTexture(DWORD Stage, IDirect3DBaseTexture9** ppTexture) override;

  HRESULT SetFVF(DWORD FVF) override;
  HRESULT GetFVF(DWORD* pFVF) override;
  HRESULT SetVertexDeclaration(IDirect3DVertexDeclaration9* pDecl) override;
  HRESULT GetVertexDeclaration(IDirect3DVertexDeclaration9** ppDecl) override;
  HRESULT SetStreamSource(UINT StreamNumber, IDirect3DVertexBuffer9* pStreamData, UINT OffsetInBytes,
                          UINT Stride) override;
  HRESULT GetStreamSource(UINT StreamNumber, IDirect3DVertexBuffer9** ppStreamData, UINT* pOffsetInBytes,
                          UINT* pStride) override;
  HRESULT SetIndices(IDirect3DIndexBuffer9* pIndexData) override;
  HRESULT GetIndices(IDirect3DIndexBuffer9** ppIndexData) override;

  HRESULT SetVertexShader(IDirect3DVertexShader9* pShader) override;
  HRESULT GetVertexShader(IDirect3DVertexShader9** ppShader) override;
  HRESULT SetPixelShader(IDirect3DPixelShader9* pShader) override;
  HRESULT GetPixelShader(IDirect3DPixelShader9** ppShader) override;
  HRESULT SetVertexShaderConstantF(UINT StartRegister, const float* pConstantData, UINT Vector4fCount) override;
  HRESULT GetVertexShaderConstantF(UINT StartRegister, float* pConstantData, UINT Vector4fCount) override;
  HRESULT SetPixelShaderConstantF(UINT StartRegister, const float* pConstantData, UINT Vector4fCount) override;
  HRESULT GetPixelShaderConstantF(UINT StartRegister, float* pConstantData, UINT Vector4fCount) override;
  HRESULT setVertexShaderConstantByName(const char* name, const float* data, UINT floatCount) override;
  HRESULT getVertexShaderConstantByName(const char* name, float* data, UINT floatCount) override;
  HRESULT setPixelShaderConstantByName(const char* name, const float* data, UINT floatCount) override;
  HRESULT getPixelShaderConstantByName(const char* name, float* data, UINT floatCount) override;

  HRESULT DrawPrimitive(D3DPRIMITIVETYPE PrimitiveType, UINT StartVertex, UINT PrimitiveCount) override;
  HRESULT DrawIndexedPrimitive(D3DPRIMITIVETYPE PrimitiveType, INT BaseVertexIndex, UINT MinVertexIndex,
                               UINT NumVertices, UINT startIndex, UINT primCount) override;
  HRESULT DrawPrimitiveUP(D3DPRIMITIVETYPE PrimitiveType, UINT PrimitiveCount, const void* pVertexStreamZeroData,
                          UINT VertexStreamZeroStride) override;
  HRESULT DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE PrimitiveType, UINT MinVertexIndex, UINT NumVertices,
                                 UINT PrimitiveCount, const void* pIndexData, D3DFORMAT IndexDataFormat,
                                 const void* pVertexStreamZeroData, UINT VertexStreamZeroStride) override;

  HRESULT readSurfaceARGB(IDirect3DSurface9* surface, std::vector<D3DCOLOR>& argb, UINT& width,
                          UINT& height) override;

  // --- For tests, the benchmark and the objects ------------------------------
  // Programs compiled and linked so far (generated and the system's own).
  std::uint64_t compiledProgramCount() const { return m_compiledPrograms; }
  int backBufferSamples() const { return m_backBuffer ? m_backBuffer->samples() : 0; }
  // Makes the device's context current if it is not (several devices may
  // live side by side, each with its own context).
  void makeCurrent();
  bool isCurrent() const;
  // Objects made by Create* calls and not yet released (the soak run checks
  // that a show which frees what it loads keeps this flat).
  std::size_t liveResourceCount() const { return m_resources.size(); }
  void addResource(GlResource* resource) { m_resources.insert(resource); }
  void removeResource(GlResource* resource) { m_resources.erase(resource); }
  void forgetSurface(GlSurface* surface);
  void forgetTexture(GLuint texture);
  void forgetShader(std::uint32_t id);

 private:
  GlDevice() = default;
  ~GlDevice() override;
  bool init(Window* window, std::unique_ptr<Window> ownWindow, const D3DPRESENT_PARAMETERS& params, int samples,
            HRESULT* result);
  void setDefaultStates();
  HRESULT createSurface(GlSurface::Kind kind, UINT width, UINT height, D3DFORMAT format, D3DPOOL pool,
                        int samples, IDirect3DSurface9** surface);

  // A program and the uniform values it last received.
  struct NamedConstant {
    std::vector<float> values;
    std::uint64_t version = 0;
  };
  struct ProgramUniform {
    GLint location = -1;
    GLenum type = 0;
    GLint size = 0;
    bool pixel = false;  // read only by the pixel stage: clamped to [-1, 1]
    NamedConstant* value = nullptr;
  };
  struct Program {
    GLuint program = 0;
    bool ffpVertex = false;  // generated vertex stage: the u_* uniforms below
    bool ffpPixel = false;
    // Fixed-function uniform locations.
    GLint worldView = -1, projection = -1, normalMatrix = -1, textureMatrix = -1, viewport = -1;
    GLint lightDiffuse = -1, lightSpecular = -1, lightAmbient = -1, lightPosition = -1, lightDirection = -1;
    GLint lightAttenuation = -1, lightSpot = -1;
    GLint materialDiffuse = -1, materialAmbient = -1, materialSpecular = -1, materialEmissive = -1;
    GLint materialPower = -1, globalAmbient = -1, fog = -1, point = -1, pointScale = -1;
    GLint textureFactor = -1, stageConstant = -1, fogColor = -1, alphaRef = -1;
    GLint vxFogColor = -1, vxAlphaRef = -1, vxViewport = -1;
    GLint vsRegisters = -1, psRegisters = -1;
    GLint vsRegisterCount = 0, psRegisterCount = 0;
    std::vector<ProgramUniform> uniforms;  // the system's own programs
    // Versions of the state last uploaded (0 = never).
    std::uint64_t transformVersion = 0, projectionVersion = 0, textureMatrixVersion = 0, lightVersion = 0, materialVersion = 0, miscVersion = 0;
    std::uint64_t viewportVersion = 0, constantVersion = 0, registerVersion = 0;
  };
  struct ProgramKey {
    std::uint32_t vertexShader = 0;  // 0 = generated
    std::uint32_t pixelShader = 0;
    FfpKey ffp;
    bool operator==(const ProgramKey& other) const {
      return vertexShader == other.vertexShader && pixelShader == other.pixelShader && ffp == other.ffp;
    }
  };
  struct ProgramKeyHash {
    std::size_t operator()(const ProgramKey& key) const {
      return FfpKeyHash()(key.ffp) ^ (std::size_t(key.vertexShader) * 0x9E3779B97F4A7C15ull) ^
             (std::size_t(key.pixelShader) << 17);
    }
  };

  // GlDeviceDraw.cpp and GlDevicePrograms.cpp
  HRESULT prepareDraw(D3DPRIMITIVETYPE type);
  void endUserPointerDraw();
  bool streamsCover(std::int64_t first, std::int64_t count);
  bool strideCovers(UINT stride);
  void buildFfpKey(FfpKey* key) const;
  Program* findProgram();
  Program* linkProgram(const ProgramKey& key);
  void lookUpUniforms(Program* program, const GlShaderStage* vertex);
  void uploadUniforms(Program* program);
  void applyRenderStates();
  void applySamplers();
  void applyVertexLayout(const GlVertexLayout& layout, GLuint upBuffer, UINT upStride);
  const GlVertexLayout* currentLayout();
  std::uint64_t bump() { return ++m_versionCounter; }

  // GlDeviceTargets.cpp
  GLuint framebufferFor(GlSurface* color, GlSurface* depth);
  void bindRenderTargets();
  // A read framebuffer holding the surface's pixels in one sample.
  GLuint resolvedFramebuffer(GlSurface* surface);
  bool readFramebufferARGB(GlSurface* surface, std::vector<D3DCOLOR>& argb);

  ULONG m_refs = 1;
  Window* m_window = nullptr;
  std::unique_ptr<Window> m_ownWindow;  // off-screen devices
  GlLimits m_limits;
  GlDeviceOptions m_options;
  // Stages that take part in drawing (m_options.maxSimultaneousTextures).
  DWORD m_stageLimit = D3DTSS_STAGE_COUNT;
  std::unordered_set<GlResource*> m_resources;
  bool m_inScene = false;

  // Direct3D state.
  std::array<DWORD, D3DRS_STATE_COUNT> m_renderStates{};
  DWORD m_stageStates[D3DTSS_STAGE_COUNT][D3DTSS_STATE_COUNT] = {};
  DWORD m_samplerStates[D3DSAMP_SAMPLER_COUNT][D3DSAMP_STATE_COUNT] = {};
  D3DMATRIX m_view{}, m_projection{}, m_textureMatrix[8]{};
  // D3DTS_WORLD, the one world matrix that draws read; m_worldSet false
  // while it has never been set (the view alone is then world x view).
  D3DMATRIX m_world{};
  bool m_worldSet = false;
  std::map<DWORD, D3DMATRIX> m_worlds;  // D3DTS_WORLDMATRIX(1..255); identity when absent
  struct LightSlot {
    D3DLIGHT9 light{};
    bool enabled = false;
  };
  std::unordered_map<DWORD, LightSlot> m_lights;
  std::vector<DWORD> m_enabledLights;  // indices in ascending order, at most 8
  D3DMATERIAL9 m_material{};
  IDirect3DBaseTexture9* m_textures[D3DTSS_STAGE_COUNT] = {};
  // The storage of m_textures[i] for stages below m_stageLimit, null at and
  // past it: what draws sample.
  GlTextureStorage* m_textureStorage[D3DTSS_STAGE_COUNT] = {};
  DWORD m_fvf = 0;
  GlVertexLayout m_fvfLayout;
  GlVertexDeclaration* m_declaration = nullptr;
  struct Stream {
    GlVertexBuffer* buffer = nullptr;
    UINT offset = 0;
    UINT stride = 0;
  };
  Stream m_streams[16];
  GlIndexBuffer* m_indices = nullptr;
  GlVertexShader* m_vertexShader = nullptr;
  GlPixelShader* m_pixelShader = nullptr;
  float m_vsRegisters[256 * 4] = {};
  float m_psRegisters[32 * 4] = {};
  std::unordered_map<std::string, NamedConstant> m_vertexConstants, m_pixelConstants;
  GlSurface* m_renderTarget = nullptr;
  GlSurface* m_depthStencil = nullptr;
  GlSurface* m_backBuffer = nullptr;
  GlSurface* m_autoDepth = nullptr;
  D3DVIEWPORT9 m_viewport{};

  // What changed since the last draw.
  bool m_programDirty = true;
  bool m_renderStatesDirty = true;
  bool m_targetsDirty = true;
  bool m_layoutDirty = true;
  // m_coveredVertices needs computing again (layout or streams changed).
  bool m_coverDirty = true;
  // Vertices 0 .. n - 1 lie within the bound streams for every attribute
  // the layout reads (INT64_MAX when no stream limits it).
  std::int64_t m_coveredVertices = 0;
  std::uint32_t m_samplersDirty = 0xFFFF;
  std::uint32_t m_texturesDirty = 0xFF;
  std::uint64_t m_versionCounter = 1;
  std::uint64_t m_transformVersion = 1, m_projectionVersion = 1, m_textureMatrixVersion = 1, m_lightVersion = 1, m_materialVersion = 1, m_miscVersion = 1;
  std::uint64_t m_viewportVersion = 1, m_constantVersion = 1, m_registerVersion = 1;

  // OpenGL objects and shadows.
  GLuint m_vertexArray = 0;
  GLuint m_upVertexBuffer = 0, m_upIndexBuffer = 0;
  GLuint m_samplers[D3DSAMP_SAMPLER_COUNT] = {};
  GLuint m_readFramebuffer = 0;
  GLuint m_resolveFramebuffer = 0, m_resolveRenderbuffer = 0;
  UINT m_resolveWidth = 0, m_resolveHeight = 0;
  std::map<std::pair<GlSurface*, GlSurface*>, GLuint> m_framebuffers;
  std::unordered_map<ProgramKey, Program, ProgramKeyHash> m_programs;
  Program* m_program = nullptr;
  GLuint m_currentProgram = 0;
  bool m_drawingPoints = false;
  std::uint64_t m_compiledPrograms = 0;
  std::uint32_t m_nextShaderId = 1;
  struct BoundStream {
    GLuint buffer = 0;
    UINT offset = 0;
    UINT stride = 0;
  };
  BoundStream m_boundStreams[16];
  std::uint32_t m_enabledAttributes = 0;
  const GlVertexLayout* m_boundLayout = nullptr;
  GLuint m_boundIndexBuffer = 0;
  // Render state shadow: the OpenGL values set last (-1 = unknown).
  struct GlStateShadow {
    int depthTest = -1, depthMask = -1, depthFunc = -1, cull = -1, cullFace = -1;
    int blend = -1, blendSrc = -1, blendDst = -1, blendSrcAlpha = -1, blendDstAlpha = -1, blendEq = -1,
        blendEqAlpha = -1;
    int stencil = -1, colorMask = -1, polygonMode = -1, multisample = -1, polygonOffset = -1;
  } m_shadow;
};
