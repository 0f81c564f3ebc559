#pragma once
// The recording device: a complete Device that draws nothing but does
// everything else. It records every call with its arguments in order (see
// CallLog.h for the text form), keeps all state so that every Get* answers
// (a fresh device holds Direct3D 9's defaults), makes real resources with
// real memory and reference counts, fills render targets and depth surfaces
// on Clear, checks draw calls against the bound buffers, reports
// configurable capabilities, counts live resources and can be told to fail
// creation calls.
//
// Typical test use:
//   RecordingDevice* device = RecordingDevice::createOffscreen(800, 600);
//   codeUnderTest(device);
//   EXPECT_TRUE(device->log().containsSequence({"SetRenderState(D3DRS_ZENABLE, 0)",
//                                               "DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, <80 bytes>, 20)"}));
//   EXPECT_TRUE(device->log().failures().empty()) << device->log().dump();
//   device->Release();
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/gfx/Device.h"
#include "platform/gfx/recording/RecordingResources.h"

// Capabilities of a recording device unless configured: 8 texture stages,
// vertex shaders 1.1, pixel shaders 1.4, hardware transform and lighting,
// point sprites up to 256 pixels, 8 lights.
D3DCAPS9 defaultRecordingCaps();

class RecordingDevice final : public Device {
 public:
  // A device with the back buffer the presentation parameters describe
  // (BackBufferWidth / Height must be non-zero here; the recording Direct3D
  // object fills them for windowed devices) and, when asked for, an
  // automatic depth-stencil surface. Holds one reference.
  RecordingDevice(std::shared_ptr<RecordingTracker> tracker, const D3DPRESENT_PARAMETERS& params,
                  const D3DCAPS9& caps, HWND window = nullptr, DWORD behaviorFlags = 0);
  // Convenience: a new tracker, an X8R8G8B8 back buffer of that size and a
  // D24X8 automatic depth buffer, as the player's device has.
  static RecordingDevice* createOffscreen(UINT width = 800, UINT height = 600);

  // --- Test access -----------------------------------------------------------
  CallLog& log() { return m_tracker->log(); }
  RecordingTracker& tracker() { return *m_tracker; }
  std::shared_ptr<RecordingTracker> sharedTracker() { return m_tracker; }
  int liveResourceCount() const { return m_tracker->liveResourceCount(); }
  void failCreation(HRESULT result, int count = -1, const std::string& callName = {}) {
    m_tracker->failCreation(result, count, callName);
  }
  // Capabilities that GetDeviceCaps reports from now on.
  D3DCAPS9& caps() { return m_caps; }
  void setMaxSimultaneousTextures(DWORD count) { m_caps.MaxSimultaneousTextures = count; }
  void setVertexShaderVersion(DWORD major, DWORD minor) { m_caps.VertexShaderVersion = D3DVS_VERSION(major, minor); }
  void setHardwareTransformAndLight(bool on);
  const D3DPRESENT_PARAMETERS& presentParameters() const { return m_params; }
  HWND window() const { return m_window; }
  DWORD behaviorFlags() const { return m_behaviorFlags; }
  int presentCount() const { return m_presentCount; }
  int sceneCount() const { return m_sceneCount; }  // completed BeginScene / EndScene pairs
  bool inScene() const { return m_inScene; }
  int drawCount() const { return m_drawCount; }  // successful Draw* calls
  RecordingSurface* backBuffer() const { return m_backBuffer; }          // no reference added
  RecordingSurface* autoDepthStencil() const { return m_autoDepth; }      // null when not asked for
  RecordingSurface* currentRenderTarget() const { return m_renderTarget; }  // no reference added
  RecordingSurface* currentDepthStencil() const { return m_depthStencil; }  // no reference added
  // The source text of a shader made by this device; empty for others.
  static std::string shaderSource(IDirect3DVertexShader9* shader);
  static std::string shaderSource(IDirect3DPixelShader9* shader);

  // --- IUnknown ----------------------------------------------------------------
  ULONG AddRef() override;
  ULONG Release() override;

  // --- Device --------------------------------------------------------------------
  HRESULT GetDeviceCaps(D3DCAPS9* pCaps) override;
  HRESULT GetBackBuffer(UINT iSwapChain, UINT iBackBuffer, D3DBACKBUFFER_TYPE Type,
                        IDirect3DSurface9** ppBackBuffer) override;
  HRESULT BeginScene() override;
  HRESULT EndScene() override;
  HRESULT Clear(DWORD Count, const D3DRECT* pRects, DWORD Flags, D3DCOLOR Color, float Z, DWORD Stencil) override;
  HRESULT Present(const RECT* pSourceRect, const RECT* pDestRect, HWND hDestWindowOverride,
                  const void* pDirtyRegion) override;

  HRESULT CreateTexture(UINT Width, UINT Height, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                        IDirect3DTexture9** ppTexture, HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateCubeTexture(UINT EdgeLength, UINT Levels, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                            IDirect3DCubeTexture9** ppCubeTexture, HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateVertexBuffer(UINT Length, DWORD Usage, DWORD FVF, D3DPOOL Pool, IDirect3DVertexBuffer9** ppVertexBuffer,
                             HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateIndexBuffer(UINT Length, DWORD Usage, D3DFORMAT Format, D3DPOOL Pool,
                            IDirect3DIndexBuffer9** ppIndexBuffer, HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateRenderTarget(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                             DWORD MultisampleQuality, BOOL Lockable, IDirect3DSurface9** ppSurface,
                             HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateDepthStencilSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DMULTISAMPLE_TYPE MultiSample,
                                    DWORD MultisampleQuality, BOOL Discard, IDirect3DSurface9** ppSurface,
                                    HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateOffscreenPlainSurface(UINT Width, UINT Height, D3DFORMAT Format, D3DPOOL Pool,
                                      IDirect3DSurface9** ppSurface, HANDLE* pSharedHandle = nullptr) override;
  HRESULT CreateVertexDeclaration(const D3DVERTEXELEMENT9* pVertexElements,
                                  IDirect3DVertexDeclaration9** ppDecl) override;
  // Accepts any text that defines main(); it cannot compile GLSL.
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

 private:
  struct LightSlot {
    D3DLIGHT9 light;
    bool enabled = false;
  };
  struct Stream {
    RecordingVertexBuffer* buffer = nullptr;  // holds a reference
    UINT offset = 0;
    UINT stride = 0;
  };
  struct NamedConstant {
    std::vector<float> values;
  };

  ~RecordingDevice() override;
  void setDefaultStates();
  RecordedCall& record(const std::string& name, std::vector<RecordedArg> args, HRESULT result);
  // The recording object behind an interface pointer made by this device's
  // tracker and still alive; null otherwise.
  template <class T, class I>
  T* own(I* object) const;
  // Creation prologue: the planned failure for this call, else D3D_OK.
  HRESULT plannedFailure(const std::string& callName) { return m_tracker->takeCreationFailure(callName); }
  // Checks a draw's vertex source: stream 0 holding `vertexCount` vertices
  // from `firstVertex`, and an FVF or declaration.
  HRESULT checkStreamDraw(UINT firstVertex, UINT vertexCount) const;
  bool hasVertexFormat() const { return m_fvf != 0 || m_declaration != nullptr; }
  HRESULT setNamedConstant(std::map<std::string, NamedConstant>& table, const char* function, const char* name,
                           const float* data, UINT floatCount);
  HRESULT getNamedConstant(const std::map<std::string, NamedConstant>& table, const char* function,
                           const char* name, float* data, UINT floatCount);
  // Replaces a binding: references the new object, releases the old one.
  template <class T>
  static void rebind(T*& slot, T* object);
  void rebindTexture(DWORD stage, IDirect3DBaseTexture9* texture);

  std::shared_ptr<RecordingTracker> m_tracker;
  ULONG m_refs = 1;
  D3DPRESENT_PARAMETERS m_params;
  D3DCAPS9 m_caps;
  HWND m_window;
  DWORD m_behaviorFlags;

  RecordingSurface* m_backBuffer = nullptr;  // one reference held
  RecordingSurface* m_autoDepth = nullptr;   // one reference held, or null

  DWORD m_renderStates[D3DRS_STATE_COUNT] = {};
  DWORD m_stageStates[D3DTSS_STAGE_COUNT][D3DTSS_STATE_COUNT] = {};
  DWORD m_samplerStates[D3DSAMP_SAMPLER_COUNT][D3DSAMP_STATE_COUNT] = {};
  std::map<DWORD, D3DMATRIX> m_transforms;  // only those set; the rest are identity
  std::map<DWORD, LightSlot> m_lights;
  D3DMATERIAL9 m_material = {};
  D3DVIEWPORT9 m_viewport = {};

  // Bindings; each holds one reference.
  IDirect3DBaseTexture9* m_textures[D3DTSS_STAGE_COUNT] = {};
  RecordingSurface* m_renderTarget = nullptr;
  RecordingSurface* m_depthStencil = nullptr;
  RecordingVertexDeclaration* m_declaration = nullptr;
  RecordingIndexBuffer* m_indices = nullptr;
  RecordingVertexShader* m_vertexShader = nullptr;
  RecordingPixelShader* m_pixelShader = nullptr;
  Stream m_streams[16];
  DWORD m_fvf = 0;

  std::vector<float> m_vertexConstants;  // 256 registers x 4
  std::vector<float> m_pixelConstants;   // 32 registers x 4
  std::map<std::string, NamedConstant> m_vertexNamed;
  std::map<std::string, NamedConstant> m_pixelNamed;

  bool m_inScene = false;
  int m_sceneCount = 0;
  int m_presentCount = 0;
  int m_drawCount = 0;
};

template <class T, class I>
inline T* RecordingDevice::own(I* object) const {
  if (object == nullptr) return nullptr;
  T* recording = dynamic_cast<T*>(object);
  if (recording == nullptr || &recording->tracker() != m_tracker.get() || !recording->alive()) return nullptr;
  return recording;
}

template <class T>
inline void RecordingDevice::rebind(T*& slot, T* object) {
  if (object != nullptr) object->addReference();
  if (slot != nullptr) slot->releaseReference();
  slot = object;
}
