#include "platform/gfx/gl/GlDevice.h"

#include "platform/gfx/D3D9Defaults.h"
#include "platform/gfx/ShaderCheck.h"

#include "platform/gfx/gl/GlProgram.h"
#include "platform/os/Process.h"
#include "platform/os/Window.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

D3DMATRIX identity() {
  D3DMATRIX m{};
  m._11 = m._22 = m._33 = m._44 = 1.0f;
  return m;
}

void debugLog(const std::string& text) { OutputDebugStringA((text + "\n").c_str()); }

// States whose value shapes the generated programs or the OpenGL pipeline.
bool shapesProgram(D3DRENDERSTATETYPE state) {
  switch (state) {
    case D3DRS_LIGHTING: case D3DRS_LOCALVIEWER: case D3DRS_NORMALIZENORMALS: case D3DRS_COLORVERTEX:
    case D3DRS_DIFFUSEMATERIALSOURCE: case D3DRS_SPECULARMATERIALSOURCE: case D3DRS_AMBIENTMATERIALSOURCE:
    case D3DRS_EMISSIVEMATERIALSOURCE: case D3DRS_SPECULARENABLE: case D3DRS_FOGENABLE: case D3DRS_FOGVERTEXMODE:
    case D3DRS_FOGTABLEMODE: case D3DRS_POINTSCALEENABLE: case D3DRS_POINTSPRITEENABLE:
    case D3DRS_ALPHATESTENABLE: case D3DRS_ALPHAFUNC: case D3DRS_FILLMODE:
      return true;
    default:
      return false;
  }
}

// Devices alive, oldest first: shader checks compile in one of their contexts.
std::vector<GlDevice*>& liveDevices() {
  static std::vector<GlDevice*> devices;
  return devices;
}

// The back end's shader check: compiles the stage in the context of a live
// device, the current one if a device's context is current, else the newest
// device's, which then stays current (a device makes its own context current
// before it draws, so no device is disturbed). Unchecked without a device.
ShaderCheck checkInDeviceContext(bool vertex, const std::string& code, std::string* log) {
  const std::vector<GlDevice*>& devices = liveDevices();
  if (devices.empty()) return ShaderCheck::Unchecked;
  if (std::none_of(devices.begin(), devices.end(), [](GlDevice* d) { return d->isCurrent(); }))
    devices.back()->makeCurrent();
  const GLuint shader = compileGlShader(vertex ? GL_VERTEX_SHADER : GL_FRAGMENT_SHADER, code, log);
  if (!shader) return ShaderCheck::Rejected;
  glDeleteShader(shader);
  return ShaderCheck::Accepted;
}

}  // namespace

// --- Creation ------------------------------------------------------------------------

int GlDevice::sampleCount(D3DMULTISAMPLE_TYPE type, DWORD quality, int maxSamples) {
  if (type == D3DMULTISAMPLE_NONE) return quality == 0 ? 1 : 0;
  if (type == D3DMULTISAMPLE_NONMASKABLE) {
    // Quality level q is the (q + 1)-th power of two: 2, 4, 8 ... samples.
    if (quality >= qualityLevels(type, maxSamples)) return 0;
    return 2 << quality;
  }
  if (quality != 0) return 0;
  const int samples = int(type);
  return samples >= 2 && samples <= 16 && samples <= maxSamples ? samples : 0;
}

DWORD GlDevice::qualityLevels(D3DMULTISAMPLE_TYPE type, int maxSamples) {
  if (type == D3DMULTISAMPLE_NONE) return 1;
  if (type == D3DMULTISAMPLE_NONMASKABLE) {
    DWORD levels = 0;
    for (int samples = 2; samples <= maxSamples && samples <= 16; samples *= 2) ++levels;
    return levels;
  }
  const int samples = int(type);
  return samples >= 2 && samples <= 16 && samples <= maxSamples ? 1 : 0;
}

void GlDevice::fillCaps(const GlLimits& limits, const GlDeviceOptions& options, D3DCAPS9* caps) {
  *caps = D3DCAPS9{};
  caps->DeviceType = D3DDEVTYPE_HAL;
  caps->AdapterOrdinal = 0;
  caps->PresentationIntervals = D3DPRESENT_INTERVAL_ONE | D3DPRESENT_INTERVAL_IMMEDIATE;
  caps->DevCaps = D3DDEVCAPS_HWTRANSFORMANDLIGHT | D3DDEVCAPS_HWRASTERIZATION;
  caps->MaxTextureWidth = caps->MaxTextureHeight = DWORD(limits.maxTextureSize);
  caps->MaxTextureRepeat = 8192;
  caps->MaxTextureAspectRatio = DWORD(limits.maxTextureSize);
  caps->MaxAnisotropy = 1;
  caps->MaxVertexW = 1e10f;
  caps->MaxTextureBlendStages = options.maxSimultaneousTextures;
  caps->MaxSimultaneousTextures = options.maxSimultaneousTextures;
  caps->MaxActiveLights = 8;
  caps->MaxPointSize = limits.maxPointSize;
  caps->MaxPrimitiveCount = 0xFFFFFF;
  caps->MaxVertexIndex = 0xFFFFFF;
  caps->MaxStreams = 16;
  caps->MaxStreamStride = 255;
  caps->VertexShaderVersion = D3DVS_VERSION(1, 1);
  caps->MaxVertexShaderConst = 256;
  caps->PixelShaderVersion = D3DPS_VERSION(1, 1);
  caps->PixelShader1xMaxValue = 1.0f;
  caps->NumSimultaneousRTs = 1;
}

GlDevice* GlDevice::create(HWND hwnd, D3DPRESENT_PARAMETERS* params, const GlDeviceOptions& options,
                           HRESULT* result) {
  *result = D3DERR_INVALIDCALL;
  if (!params || options.maxSimultaneousTextures < 1 || options.maxSimultaneousTextures > D3DTSS_STAGE_COUNT)
    return nullptr;
  Window* window = hwnd ? Window::fromHandle(hwnd) : nullptr;
  std::unique_ptr<Window> own;
  if (!window) {
    if (params->BackBufferWidth == 0 || params->BackBufferHeight == 0) return nullptr;
    WindowDesc desc;
    desc.title = "";
    desc.hidden = true;
    desc.width = 64;
    desc.height = 64;
    std::string error;
    own = Window::create(desc, &error);
    if (!own) {
      debugLog("OpenGL device: " + error);
      *result = D3DERR_NOTAVAILABLE;
      return nullptr;
    }
    window = own.get();
  } else {
    window->makeCurrent();
    if (params->Windowed && params->BackBufferWidth == 0) params->BackBufferWidth = UINT(window->drawableWidth());
    if (params->Windowed && params->BackBufferHeight == 0) params->BackBufferHeight = UINT(window->drawableHeight());
  }
  if (params->BackBufferWidth == 0 || params->BackBufferHeight == 0) return nullptr;

  GlLimits limits;
  glGetIntegerv(GL_MAX_SAMPLES, &limits.maxSamples);
  const int samples = sampleCount(params->MultiSampleType, params->MultiSampleQuality, limits.maxSamples);
  if (samples == 0) {
    *result = D3DERR_NOTAVAILABLE;
    return nullptr;
  }
  GlDevice* device = new GlDevice;
  device->m_options = options;
  device->m_stageLimit = options.maxSimultaneousTextures;
  if (!device->init(window, std::move(own), *params, samples, result)) {
    device->Release();
    return nullptr;
  }
  *result = D3D_OK;
  return device;
}

bool GlDevice::init(Window* window, std::unique_ptr<Window> ownWindow, const D3DPRESENT_PARAMETERS& params,
                    int samples, HRESULT* result) {
  m_window = window;
  m_ownWindow = std::move(ownWindow);
  makeCurrent();
  liveDevices().push_back(this);
  setShaderChecker(checkInDeviceContext);
  glGetIntegerv(GL_MAX_SAMPLES, &m_limits.maxSamples);
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &m_limits.maxTextureSize);
  GLfloat pointRange[2] = {1.0f, 64.0f};
  glGetFloatv(GL_ALIASED_POINT_SIZE_RANGE, pointRange);
  m_limits.maxPointSize = pointRange[1];
  m_limits.s3tc = epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc");

  // Direct3D's conventions: row 0 at the top, depth 0..1, clockwise fronts.
  glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE);
  glFrontFace(GL_CW);
  glEnable(GL_PROGRAM_POINT_SIZE);
  // gl_PointCoord (0, 0) at the sprite's top-left: with GL_UPPER_LEFT the
  // top of the image is the lowest row, which OpenGL calls lower left.
  glPointParameteri(GL_POINT_SPRITE_COORD_ORIGIN, GL_LOWER_LEFT);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);

  glGenVertexArrays(1, &m_vertexArray);
  glBindVertexArray(m_vertexArray);
  glGenBuffers(1, &m_upVertexBuffer);
  glGenBuffers(1, &m_upIndexBuffer);
  glGenSamplers(GLsizei(D3DSAMP_SAMPLER_COUNT), m_samplers);
  for (GLuint unit = 0; unit < 8; ++unit) glBindSampler(unit, m_samplers[unit]);
  glGenFramebuffers(1, &m_readFramebuffer);

  D3DFORMAT format = params.BackBufferFormat;
  if (format == D3DFMT_UNKNOWN) format = D3DFMT_X8R8G8B8;
  GlFormat colorFormat;
  if (!glFormatFor(format, &colorFormat) || !colorFormat.renderable) return false;
  m_backBuffer = new GlSurface(this, GlSurface::Kind::BackBuffer, params.BackBufferWidth, params.BackBufferHeight,
                               format, colorFormat, D3DPOOL_DEFAULT, samples);
  if (!m_backBuffer->valid()) {
    *result = D3DERR_OUTOFVIDEOMEMORY;
    return false;
  }
  if (params.EnableAutoDepthStencil) {
    GlFormat depthFormat;
    if (!glFormatFor(params.AutoDepthStencilFormat, &depthFormat) || !depthFormat.depth) return false;
    m_autoDepth = new GlSurface(this, GlSurface::Kind::DepthStencil, params.BackBufferWidth,
                                params.BackBufferHeight, params.AutoDepthStencilFormat, depthFormat, D3DPOOL_DEFAULT,
                                samples);
    if (!m_autoDepth->valid()) {
      *result = D3DERR_OUTOFVIDEOMEMORY;
      return false;
    }
  }
  m_renderTarget = m_backBuffer;
  m_renderTarget->AddRef();
  if (m_autoDepth) {
    m_depthStencil = m_autoDepth;
    m_depthStencil->AddRef();
  }
  // Interval 0 (default) and ONE wait for the retrace; IMMEDIATE does not.
  if (!m_ownWindow) m_window->setSwapInterval(params.PresentationInterval == D3DPRESENT_INTERVAL_IMMEDIATE ? 0 : 1);

  setDefaultStates();
  m_renderStates[D3DRS_ZENABLE] = params.EnableAutoDepthStencil ? D3DZB_TRUE : D3DZB_FALSE;
  m_viewport = {0, 0, params.BackBufferWidth, params.BackBufferHeight, 0.0f, 1.0f};
  SetViewport(&m_viewport);
  return true;
}

void GlDevice::setDefaultStates() {
  // ZENABLE is set again from the presentation parameters after this.
  fillDefaultRenderStates(m_renderStates.data(), true);
  for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage) fillDefaultStageStates(m_stageStates[stage], stage);
  for (DWORD sampler = 0; sampler < D3DSAMP_SAMPLER_COUNT; ++sampler) fillDefaultSamplerStates(m_samplerStates[sampler]);
  m_view = m_projection = identity();
  for (auto& m : m_textureMatrix) m = identity();
  m_world = identity();
  m_worldSet = false;
  m_worlds.clear();
  m_material = D3DMATERIAL9{};
}

GlDevice::~GlDevice() {
  std::vector<GlDevice*>& devices = liveDevices();
  devices.erase(std::remove(devices.begin(), devices.end(), this), devices.end());
  if (devices.empty()) setShaderChecker(nullptr);
  makeCurrent();
  for (auto*& t : m_textures)
    if (t) t->Release(), t = nullptr;
  for (auto& s : m_streams)
    if (s.buffer) s.buffer->Release(), s.buffer = nullptr;
  if (m_indices) m_indices->Release();
  if (m_declaration) m_declaration->Release();
  if (m_vertexShader) m_vertexShader->Release();
  if (m_pixelShader) m_pixelShader->Release();
  if (m_renderTarget) m_renderTarget->Release();
  if (m_depthStencil) m_depthStencil->Release();
  if (m_backBuffer) m_backBuffer->Release();
  if (m_autoDepth) m_autoDepth->Release();
  // Objects the caller still holds outlive the device as empty shells.
  const std::vector<GlResource*> survivors(m_resources.begin(), m_resources.end());
  for (GlResource* resource : survivors) {
    resource->releaseGl();
    resource->detachDevice();
  }
  m_resources.clear();
  for (auto& entry : m_programs) glDeleteProgram(entry.second.program);
  for (auto& entry : m_framebuffers) glDeleteFramebuffers(1, &entry.second);
  if (m_readFramebuffer) glDeleteFramebuffers(1, &m_readFramebuffer);
  if (m_resolveFramebuffer) glDeleteFramebuffers(1, &m_resolveFramebuffer);
  if (m_resolveRenderbuffer) glDeleteRenderbuffers(1, &m_resolveRenderbuffer);
  glDeleteSamplers(GLsizei(D3DSAMP_SAMPLER_COUNT), m_samplers);
  glDeleteBuffers(1, &m_upVertexBuffer);
  glDeleteBuffers(1, &m_upIndexBuffer);
  glDeleteVertexArrays(1, &m_vertexArray);
}

ULONG GlDevice::Release() {
  const ULONG refs = --m_refs;
  if (refs == 0) delete this;
  return refs;
}

void GlDevice::makeCurrent() {
  if (m_window && !m_window->isCurrent()) m_window->makeCurrent();
}

bool GlDevice::isCurrent() const { return m_window && m_window->isCurrent(); }

void GlDevice::forgetShader(std::uint32_t id) {
  for (auto it = m_programs.begin(); it != m_programs.end();) {
    if (it->first.vertexShader == id || it->first.pixelShader == id) {
      if (m_program == &it->second) m_program = nullptr;
      glDeleteProgram(it->second.program);
      it = m_programs.erase(it);
    } else {
      ++it;
    }
  }
  m_programDirty = true;
}

// --- Capabilities ----------------------------------------------------------------------

HRESULT GlDevice::GetDeviceCaps(D3DCAPS9* caps) {
  if (!caps) return D3DERR_INVALIDCALL;
  fillCaps(m_limits, m_options, caps);
  return D3D_OK;
}

HRESULT GlDevice::BeginScene() {
  if (m_inScene) return D3DERR_INVALIDCALL;
  m_inScene = true;
  return D3D_OK;
}

HRESULT GlDevice::EndScene() {
  if (!m_inScene) return D3DERR_INVALIDCALL;
  m_inScene = false;
  return D3D_OK;
}

// --- Render, stage and sampler states ------------------------------------------------------------

HRESULT GlDevice::SetRenderState(D3DRENDERSTATETYPE state, DWORD value) {
  if (state >= D3DRS_STATE_COUNT) return D3DERR_INVALIDCALL;
  if (m_renderStates[state] == value) return D3D_OK;
  m_renderStates[state] = value;
  m_renderStatesDirty = true;
  m_miscVersion = bump();
  if (shapesProgram(state)) m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetRenderState(D3DRENDERSTATETYPE state, DWORD* value) {
  if (state >= D3DRS_STATE_COUNT || !value) return D3DERR_INVALIDCALL;
  *value = m_renderStates[state];
  return D3D_OK;
}

HRESULT GlDevice::SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
  if (stage >= D3DTSS_STAGE_COUNT || type >= D3DTSS_STATE_COUNT) return D3DERR_INVALIDCALL;
  if (m_stageStates[stage][type] == value) return D3D_OK;
  m_stageStates[stage][type] = value;
  if (type == D3DTSS_CONSTANT)
    m_miscVersion = bump();
  else
    m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD* value) {
  if (stage >= D3DTSS_STAGE_COUNT || type >= D3DTSS_STATE_COUNT || !value) return D3DERR_INVALIDCALL;
  *value = m_stageStates[stage][type];
  return D3D_OK;
}

HRESULT GlDevice::SetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) {
  if (sampler >= D3DSAMP_SAMPLER_COUNT || type >= D3DSAMP_STATE_COUNT) return D3DERR_INVALIDCALL;
  if (m_samplerStates[sampler][type] == value) return D3D_OK;
  m_samplerStates[sampler][type] = value;
  m_samplersDirty |= 1u << sampler;
  return D3D_OK;
}

HRESULT GlDevice::GetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD* value) {
  if (sampler >= D3DSAMP_SAMPLER_COUNT || type >= D3DSAMP_STATE_COUNT || !value) return D3DERR_INVALIDCALL;
  *value = m_samplerStates[sampler][type];
  return D3D_OK;
}

// --- Transforms, lights, material ---------------------------------------------------------------

HRESULT GlDevice::SetTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) {
  if (!matrix) return D3DERR_INVALIDCALL;
  if (state == D3DTS_VIEW) {
    m_view = *matrix;
    m_transformVersion = bump();
    m_lightVersion = bump();  // lights live in eye space
  } else if (state == D3DTS_PROJECTION) {
    m_projection = *matrix;
    m_projectionVersion = bump();
  } else if (state >= D3DTS_TEXTURE0 && state <= D3DTS_TEXTURE7) {
    m_textureMatrix[state - D3DTS_TEXTURE0] = *matrix;
    m_textureMatrixVersion = bump();
  } else if (state == D3DTS_WORLD) {
    m_world = *matrix;
    m_worldSet = true;
    m_transformVersion = bump();
  } else if (state > D3DTS_WORLD && state < D3DTS_WORLD + 256) {
    m_worlds[state] = *matrix;
  } else {
    return D3DERR_INVALIDCALL;
  }
  return D3D_OK;
}

HRESULT GlDevice::GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) {
  if (!matrix) return D3DERR_INVALIDCALL;
  if (state == D3DTS_VIEW) {
    *matrix = m_view;
  } else if (state == D3DTS_PROJECTION) {
    *matrix = m_projection;
  } else if (state >= D3DTS_TEXTURE0 && state <= D3DTS_TEXTURE7) {
    *matrix = m_textureMatrix[state - D3DTS_TEXTURE0];
  } else if (state == D3DTS_WORLD) {
    *matrix = m_world;
  } else if (state > D3DTS_WORLD && state < D3DTS_WORLD + 256) {
    auto it = m_worlds.find(state);
    *matrix = it == m_worlds.end() ? identity() : it->second;
  } else {
    return D3DERR_INVALIDCALL;
  }
  return D3D_OK;
}

HRESULT GlDevice::SetLight(DWORD index, const D3DLIGHT9* light) {
  if (!light || index >= 4096) return D3DERR_INVALIDCALL;
  if (light->Type != D3DLIGHT_POINT && light->Type != D3DLIGHT_SPOT && light->Type != D3DLIGHT_DIRECTIONAL)
    return D3DERR_INVALIDCALL;
  LightSlot& slot = m_lights[index];
  if (slot.enabled && slot.light.Type != light->Type) m_programDirty = true;
  slot.light = *light;
  m_lightVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::GetLight(DWORD index, D3DLIGHT9* light) {
  auto it = m_lights.find(index);
  if (!light || it == m_lights.end()) return D3DERR_INVALIDCALL;
  *light = it->second.light;
  return D3D_OK;
}

HRESULT GlDevice::LightEnable(DWORD index, BOOL enable) {
  if (index >= 4096) return D3DERR_INVALIDCALL;
  auto it = m_lights.find(index);
  if (it == m_lights.end()) {
    // Direct3D's default light: white, directional, along +z.
    LightSlot slot;
    slot.light.Type = D3DLIGHT_DIRECTIONAL;
    slot.light.Diffuse = {1.0f, 1.0f, 1.0f, 0.0f};
    slot.light.Direction = {0.0f, 0.0f, 1.0f};
    it = m_lights.emplace(index, slot).first;
  }
  const bool on = enable != 0;
  if (it->second.enabled == on) return D3D_OK;
  if (on && m_enabledLights.size() >= 8) return D3DERR_INVALIDCALL;
  it->second.enabled = on;
  if (on)
    m_enabledLights.insert(std::lower_bound(m_enabledLights.begin(), m_enabledLights.end(), index), index);
  else
    m_enabledLights.erase(std::find(m_enabledLights.begin(), m_enabledLights.end(), index));
  m_programDirty = true;
  m_lightVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::GetLightEnable(DWORD index, BOOL* enable) {
  auto it = m_lights.find(index);
  if (!enable || it == m_lights.end()) return D3DERR_INVALIDCALL;
  *enable = it->second.enabled ? TRUE : FALSE;
  return D3D_OK;
}

HRESULT GlDevice::SetMaterial(const D3DMATERIAL9* material) {
  if (!material) return D3DERR_INVALIDCALL;
  m_material = *material;
  m_materialVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::GetMaterial(D3DMATERIAL9* material) {
  if (!material) return D3DERR_INVALIDCALL;
  *material = m_material;
  return D3D_OK;
}

// --- Bindings ----------------------------------------------------------------------------------

HRESULT GlDevice::SetTexture(DWORD stage, IDirect3DBaseTexture9* texture) {
  if (stage >= D3DTSS_STAGE_COUNT) return D3DERR_INVALIDCALL;
  GlTextureStorage* storage = nullptr;
  if (texture) {
    auto* access = dynamic_cast<GlTextureAccess*>(texture);
    auto* resource = dynamic_cast<GlResource*>(texture);
    if (!access || !resource || resource->device() != this) return D3DERR_INVALIDCALL;
    storage = &access->storage();
  }
  if (texture == m_textures[stage]) return D3D_OK;
  if (texture) texture->AddRef();
  if (m_textures[stage]) m_textures[stage]->Release();
  if (stage >= m_stageLimit) storage = nullptr;  // kept, never sampled
  const bool kindChanged = !m_textureStorage[stage] || !storage || m_textureStorage[stage]->cube() != storage->cube();
  m_textures[stage] = texture;
  m_textureStorage[stage] = storage;
  m_texturesDirty |= 1u << stage;
  if (kindChanged) m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetTexture(DWORD stage, IDirect3DBaseTexture9** texture) {
  if (stage >= D3DTSS_STAGE_COUNT || !texture) return D3DERR_INVALIDCALL;
  *texture = m_textures[stage];
  if (*texture) (*texture)->AddRef();
  return D3D_OK;
}

void GlDevice::forgetTexture(GLuint texture) {
  for (auto it = m_framebuffers.begin(); it != m_framebuffers.end();) {
    GlSurface* color = it->first.first;
    if (color && color->storage() && color->storage()->texture() == texture) {
      glDeleteFramebuffers(1, &it->second);
      it = m_framebuffers.erase(it);
      m_targetsDirty = true;
    } else {
      ++it;
    }
  }
}

HRESULT GlDevice::SetFVF(DWORD fvf) {
  GlVertexLayout layout;
  if (fvf != 0 && !layoutFromFvf(fvf, &layout)) return D3DERR_INVALIDCALL;
  if (m_declaration) {
    m_declaration->Release();
    m_declaration = nullptr;
  } else if (fvf == m_fvf) {
    return D3D_OK;
  }
  m_fvf = fvf;
  m_fvfLayout = std::move(layout);
  m_layoutDirty = m_coverDirty = m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetFVF(DWORD* fvf) {
  if (!fvf) return D3DERR_INVALIDCALL;
  *fvf = m_declaration ? 0 : m_fvf;
  return D3D_OK;
}

HRESULT GlDevice::SetVertexDeclaration(IDirect3DVertexDeclaration9* decl) {
  GlVertexDeclaration* mine = nullptr;
  if (decl) {
    mine = dynamic_cast<GlVertexDeclaration*>(decl);
    if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  }
  if (mine == m_declaration) return D3D_OK;
  if (mine) mine->AddRef();
  if (m_declaration) m_declaration->Release();
  m_declaration = mine;
  if (mine) m_fvf = 0;
  m_layoutDirty = m_coverDirty = m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetVertexDeclaration(IDirect3DVertexDeclaration9** decl) {
  if (!decl) return D3DERR_INVALIDCALL;
  *decl = m_declaration;
  if (m_declaration) m_declaration->AddRef();
  return D3D_OK;
}

HRESULT GlDevice::SetStreamSource(UINT stream, IDirect3DVertexBuffer9* data, UINT offset, UINT stride) {
  if (stream >= 16) return D3DERR_INVALIDCALL;
  GlVertexBuffer* mine = nullptr;
  if (data) {
    mine = dynamic_cast<GlVertexBuffer*>(data);
    if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  }
  Stream& s = m_streams[stream];
  if (mine != s.buffer) {
    if (mine) mine->AddRef();
    if (s.buffer) s.buffer->Release();
    s.buffer = mine;
  }
  s.offset = offset;
  s.stride = stride;
  m_layoutDirty = m_coverDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetStreamSource(UINT stream, IDirect3DVertexBuffer9** data, UINT* offset, UINT* stride) {
  if (stream >= 16 || !data || !offset || !stride) return D3DERR_INVALIDCALL;
  *data = m_streams[stream].buffer;
  if (*data) (*data)->AddRef();
  *offset = m_streams[stream].offset;
  *stride = m_streams[stream].stride;
  return D3D_OK;
}

HRESULT GlDevice::SetIndices(IDirect3DIndexBuffer9* indices) {
  GlIndexBuffer* mine = nullptr;
  if (indices) {
    mine = dynamic_cast<GlIndexBuffer*>(indices);
    if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  }
  if (mine == m_indices) return D3D_OK;
  if (mine) mine->AddRef();
  if (m_indices) m_indices->Release();
  m_indices = mine;
  return D3D_OK;
}

HRESULT GlDevice::GetIndices(IDirect3DIndexBuffer9** indices) {
  if (!indices) return D3DERR_INVALIDCALL;
  *indices = m_indices;
  if (m_indices) m_indices->AddRef();
  return D3D_OK;
}

// --- Shaders and their constants ---------------------------------------------------------------

HRESULT GlDevice::SetVertexShader(IDirect3DVertexShader9* shader) {
  GlVertexShader* mine = nullptr;
  if (shader) {
    mine = dynamic_cast<GlVertexShader*>(shader);
    if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  }
  if (mine == m_vertexShader) return D3D_OK;
  if (mine) mine->AddRef();
  if (m_vertexShader) m_vertexShader->Release();
  m_vertexShader = mine;
  m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetVertexShader(IDirect3DVertexShader9** shader) {
  if (!shader) return D3DERR_INVALIDCALL;
  *shader = m_vertexShader;
  if (m_vertexShader) m_vertexShader->AddRef();
  return D3D_OK;
}

HRESULT GlDevice::SetPixelShader(IDirect3DPixelShader9* shader) {
  GlPixelShader* mine = nullptr;
  if (shader) {
    mine = dynamic_cast<GlPixelShader*>(shader);
    if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  }
  if (mine == m_pixelShader) return D3D_OK;
  if (mine) mine->AddRef();
  if (m_pixelShader) m_pixelShader->Release();
  m_pixelShader = mine;
  m_programDirty = true;
  return D3D_OK;
}

HRESULT GlDevice::GetPixelShader(IDirect3DPixelShader9** shader) {
  if (!shader) return D3DERR_INVALIDCALL;
  *shader = m_pixelShader;
  if (m_pixelShader) m_pixelShader->AddRef();
  return D3D_OK;
}

HRESULT GlDevice::SetVertexShaderConstantF(UINT start, const float* data, UINT count) {
  if (!data || start > 256 || count > 256 - start) return D3DERR_INVALIDCALL;
  std::memcpy(m_vsRegisters + start * 4, data, size_t(count) * 4 * sizeof(float));
  m_registerVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::GetVertexShaderConstantF(UINT start, float* data, UINT count) {
  if (!data || start > 256 || count > 256 - start) return D3DERR_INVALIDCALL;
  std::memcpy(data, m_vsRegisters + start * 4, size_t(count) * 4 * sizeof(float));
  return D3D_OK;
}

HRESULT GlDevice::SetPixelShaderConstantF(UINT start, const float* data, UINT count) {
  if (!data || start > 32 || count > 32 - start) return D3DERR_INVALIDCALL;
  std::memcpy(m_psRegisters + start * 4, data, size_t(count) * 4 * sizeof(float));
  m_registerVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::GetPixelShaderConstantF(UINT start, float* data, UINT count) {
  if (!data || start > 32 || count > 32 - start) return D3DERR_INVALIDCALL;
  std::memcpy(data, m_psRegisters + start * 4, size_t(count) * 4 * sizeof(float));
  return D3D_OK;
}

HRESULT GlDevice::setVertexShaderConstantByName(const char* name, const float* data, UINT floatCount) {
  if (!name || !*name || (!data && floatCount)) return D3DERR_INVALIDCALL;
  NamedConstant& constant = m_vertexConstants[name];
  constant.values.assign(data, data + floatCount);
  constant.version = m_constantVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::getVertexShaderConstantByName(const char* name, float* data, UINT floatCount) {
  if (!name || (!data && floatCount)) return D3DERR_INVALIDCALL;
  auto it = m_vertexConstants.find(name);
  for (UINT i = 0; i < floatCount; ++i)
    data[i] = it != m_vertexConstants.end() && i < it->second.values.size() ? it->second.values[i] : 0.0f;
  return D3D_OK;
}

HRESULT GlDevice::setPixelShaderConstantByName(const char* name, const float* data, UINT floatCount) {
  if (!name || !*name || (!data && floatCount)) return D3DERR_INVALIDCALL;
  NamedConstant& constant = m_pixelConstants[name];
  constant.values.assign(data, data + floatCount);
  constant.version = m_constantVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::getPixelShaderConstantByName(const char* name, float* data, UINT floatCount) {
  if (!name || (!data && floatCount)) return D3DERR_INVALIDCALL;
  auto it = m_pixelConstants.find(name);
  for (UINT i = 0; i < floatCount; ++i)
    data[i] = it != m_pixelConstants.end() && i < it->second.values.size() ? it->second.values[i] : 0.0f;
  return D3D_OK;
}
