// Resource creation on the OpenGL device: argument checks, the format
// table, and the objects of GlResources.cpp.
#include "platform/gfx/gl/GlDevice.h"

#include "platform/gfx/gl/GlProgram.h"
#include "platform/os/Process.h"

#include <string>
#include <vector>

namespace {
void debugLog(const std::string& text) { OutputDebugStringA((text + "\n").c_str()); }
}  // namespace

// --- Resource creation ----------------------------------------------------------------------

HRESULT GlDevice::CreateTexture(UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                IDirect3DTexture9** texture, HANDLE* shared) {
  if (!texture || shared) return D3DERR_INVALIDCALL;
  *texture = nullptr;
  if (width == 0 || height == 0 || width > UINT(m_limits.maxTextureSize) || height > UINT(m_limits.maxTextureSize))
    return D3DERR_INVALIDCALL;
  GlFormat glFormat;
  if (!glFormatFor(format, &glFormat) || glFormat.depth) return D3DERR_NOTAVAILABLE;
  if (usage & D3DUSAGE_RENDERTARGET) {
    if (!glFormat.renderable || pool != D3DPOOL_DEFAULT) return D3DERR_INVALIDCALL;
  }
  makeCurrent();
  auto* made = new GlTexture(this, width, height, levels, usage, format, pool, glFormat);
  if (!made->storage().valid()) {
    made->Release();
    return D3DERR_OUTOFVIDEOMEMORY;
  }
  *texture = made;
  return D3D_OK;
}

HRESULT GlDevice::CreateCubeTexture(UINT edge, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                    IDirect3DCubeTexture9** texture, HANDLE* shared) {
  if (!texture || shared) return D3DERR_INVALIDCALL;
  *texture = nullptr;
  if (edge == 0 || edge > UINT(m_limits.maxTextureSize)) return D3DERR_INVALIDCALL;
  if (usage & D3DUSAGE_RENDERTARGET) return D3DERR_INVALIDCALL;  // cube render targets are not supported
  GlFormat glFormat;
  if (!glFormatFor(format, &glFormat) || glFormat.depth) return D3DERR_NOTAVAILABLE;
  makeCurrent();
  auto* made = new GlCubeTexture(this, edge, levels, usage, format, pool, glFormat);
  if (!made->storage().valid()) {
    made->Release();
    return D3DERR_OUTOFVIDEOMEMORY;
  }
  *texture = made;
  return D3D_OK;
}

HRESULT GlDevice::CreateVertexBuffer(UINT length, DWORD usage, DWORD fvf, D3DPOOL pool,
                                     IDirect3DVertexBuffer9** buffer, HANDLE* shared) {
  if (!buffer || shared) return D3DERR_INVALIDCALL;
  *buffer = nullptr;
  if (length == 0) return D3DERR_INVALIDCALL;
  makeCurrent();
  auto* made = new GlVertexBuffer(this, length, usage, fvf, pool);
  if (!made->storage().valid()) {
    made->Release();
    return D3DERR_OUTOFVIDEOMEMORY;
  }
  *buffer = made;
  return D3D_OK;
}

HRESULT GlDevice::CreateIndexBuffer(UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                    IDirect3DIndexBuffer9** buffer, HANDLE* shared) {
  if (!buffer || shared) return D3DERR_INVALIDCALL;
  *buffer = nullptr;
  if (length == 0 || (format != D3DFMT_INDEX16 && format != D3DFMT_INDEX32)) return D3DERR_INVALIDCALL;
  makeCurrent();
  auto* made = new GlIndexBuffer(this, length, usage, format, pool);
  if (!made->storage().valid()) {
    made->Release();
    return D3DERR_OUTOFVIDEOMEMORY;
  }
  *buffer = made;
  return D3D_OK;
}

HRESULT GlDevice::createSurface(GlSurface::Kind kind, UINT width, UINT height, D3DFORMAT format, D3DPOOL pool,
                                int samples, IDirect3DSurface9** surface) {
  if (!surface) return D3DERR_INVALIDCALL;
  *surface = nullptr;
  if (width == 0 || height == 0 || width > UINT(m_limits.maxTextureSize) || height > UINT(m_limits.maxTextureSize))
    return D3DERR_INVALIDCALL;
  GlFormat glFormat;
  if (!glFormatFor(format, &glFormat)) return D3DERR_NOTAVAILABLE;
  if (kind == GlSurface::Kind::DepthStencil && !glFormat.depth) return D3DERR_INVALIDCALL;
  if (kind == GlSurface::Kind::RenderTarget && !glFormat.renderable) return D3DERR_INVALIDCALL;
  if (kind == GlSurface::Kind::Plain && glFormat.depth) return D3DERR_INVALIDCALL;
  if (samples == 0) return D3DERR_NOTAVAILABLE;
  makeCurrent();
  auto* made = new GlSurface(this, kind, width, height, format, glFormat, pool, samples);
  if (!made->valid()) {
    made->Release();
    return D3DERR_OUTOFVIDEOMEMORY;
  }
  *surface = made;
  return D3D_OK;
}

HRESULT GlDevice::CreateRenderTarget(UINT width, UINT height, D3DFORMAT format, D3DMULTISAMPLE_TYPE multiSample,
                                     DWORD quality, BOOL, IDirect3DSurface9** surface, HANDLE* shared) {
  if (shared) return D3DERR_INVALIDCALL;
  return createSurface(GlSurface::Kind::RenderTarget, width, height, format, D3DPOOL_DEFAULT,
                       sampleCount(multiSample, quality, m_limits.maxSamples), surface);
}

HRESULT GlDevice::CreateDepthStencilSurface(UINT width, UINT height, D3DFORMAT format,
                                            D3DMULTISAMPLE_TYPE multiSample, DWORD quality, BOOL,
                                            IDirect3DSurface9** surface, HANDLE* shared) {
  if (shared) return D3DERR_INVALIDCALL;
  return createSurface(GlSurface::Kind::DepthStencil, width, height, format, D3DPOOL_DEFAULT,
                       sampleCount(multiSample, quality, m_limits.maxSamples), surface);
}

HRESULT GlDevice::CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format, D3DPOOL pool,
                                              IDirect3DSurface9** surface, HANDLE* shared) {
  if (shared || (pool != D3DPOOL_SYSTEMMEM && pool != D3DPOOL_SCRATCH)) return D3DERR_INVALIDCALL;
  return createSurface(GlSurface::Kind::Plain, width, height, format, pool, 1, surface);
}

HRESULT GlDevice::CreateVertexDeclaration(const D3DVERTEXELEMENT9* elements, IDirect3DVertexDeclaration9** decl) {
  if (!elements || !decl) return D3DERR_INVALIDCALL;
  *decl = nullptr;
  std::vector<D3DVERTEXELEMENT9> list;
  for (UINT i = 0;; ++i) {
    if (i > MAXD3DDECLLENGTH) return D3DERR_INVALIDCALL;  // no end marker in reach
    list.push_back(elements[i]);
    if (elements[i].Stream == 0xFF) break;
  }
  GlVertexLayout layout;
  if (!layoutFromDeclaration(list, &layout)) return D3DERR_INVALIDCALL;
  *decl = new GlVertexDeclaration(this, std::move(list), std::move(layout));
  return D3D_OK;
}

HRESULT GlDevice::CreateVertexShader(const DWORD* function, IDirect3DVertexShader9** shader) {
  if (!function || !shader) return D3DERR_INVALIDCALL;
  *shader = nullptr;
  makeCurrent();
  const std::string source(reinterpret_cast<const char*>(function));
  std::string log;
  const GLuint compiled = compileGlShader(GL_VERTEX_SHADER, wrapVertexStage(source), &log);
  if (!compiled) {
    debugLog(log);
    return D3DERR_INVALIDCALL;
  }
  *shader = new GlVertexShader(this, GL_VERTEX_SHADER, compiled, source, m_nextShaderId++);
  return D3D_OK;
}

HRESULT GlDevice::CreatePixelShader(const DWORD* function, IDirect3DPixelShader9** shader) {
  if (!function || !shader) return D3DERR_INVALIDCALL;
  *shader = nullptr;
  makeCurrent();
  const std::string source(reinterpret_cast<const char*>(function));
  std::string log;
  const GLuint compiled = compileGlShader(GL_FRAGMENT_SHADER, source, &log);
  if (!compiled) {
    debugLog(log);
    return D3DERR_INVALIDCALL;
  }
  *shader = new GlPixelShader(this, GL_FRAGMENT_SHADER, compiled, source, m_nextShaderId++);
  return D3D_OK;
}

