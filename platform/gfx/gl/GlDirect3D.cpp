#include "platform/gfx/gl/GlDirect3D.h"

#include "platform/gfx/gl/GlDevice.h"
#include "platform/os/System.h"
#include "platform/os/Window.h"

#include <SDL.h>

namespace {

// Limits read from a context: the current one, or a short-lived hidden one
// when none exists yet (before the first device).
GlLimits queryLimits() {
  GlLimits limits;
  std::unique_ptr<Window> probe;
  if (!SDL_GL_GetCurrentContext()) {
    WindowDesc desc;
    desc.hidden = true;
    desc.width = desc.height = 16;
    probe = Window::create(desc);
    if (!probe) return limits;
  }
  glGetIntegerv(GL_MAX_SAMPLES, &limits.maxSamples);
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limits.maxTextureSize);
  GLfloat range[2] = {1.0f, 64.0f};
  glGetFloatv(GL_ALIASED_POINT_SIZE_RANGE, range);
  limits.maxPointSize = range[1];
  limits.s3tc = epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc");
  return limits;
}

class GlDirect3D final : public IDirect3D9 {
 public:
  explicit GlDirect3D(const GlDeviceOptions& options) : m_options(options) {}

  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }

  UINT GetAdapterCount() override { return 1; }

  HRESULT GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) override {
    if (adapter != D3DADAPTER_DEFAULT || !mode) return D3DERR_INVALIDCALL;
    DesktopDisplayMode desktop;
    if (!getDesktopDisplayMode(&desktop)) return D3DERR_NOTAVAILABLE;
    mode->Width = UINT(desktop.width);
    mode->Height = UINT(desktop.height);
    mode->RefreshRate = UINT(desktop.refreshRate);
    mode->Format = D3DFMT_X8R8G8B8;
    return D3D_OK;
  }

  HRESULT GetDeviceCaps(UINT adapter, D3DDEVTYPE type, D3DCAPS9* caps) override {
    if (adapter != D3DADAPTER_DEFAULT || type != D3DDEVTYPE_HAL || !caps) return D3DERR_INVALIDCALL;
    GlDevice::fillCaps(limits(), m_options, caps);
    return D3D_OK;
  }

  HRESULT CheckDeviceMultiSampleType(UINT adapter, D3DDEVTYPE type, D3DFORMAT format, BOOL,
                                     D3DMULTISAMPLE_TYPE multiSample, DWORD* qualityLevels) override {
    if (adapter != D3DADAPTER_DEFAULT || type != D3DDEVTYPE_HAL) return D3DERR_INVALIDCALL;
    GlFormat glFormat;
    if (!glFormatFor(format, &glFormat)) return D3DERR_NOTAVAILABLE;
    const DWORD levels = GlDevice::qualityLevels(multiSample, limits().maxSamples);
    if (qualityLevels) *qualityLevels = levels;
    return levels > 0 ? D3D_OK : D3DERR_NOTAVAILABLE;
  }

  HRESULT CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focusWindow, DWORD, D3DPRESENT_PARAMETERS* params,
                       IDirect3DDevice9** device) override {
    if (!device) return D3DERR_INVALIDCALL;
    *device = nullptr;
    if (adapter != D3DADAPTER_DEFAULT || type != D3DDEVTYPE_HAL || !params) return D3DERR_INVALIDCALL;
    HWND window = params->hDeviceWindow ? params->hDeviceWindow : focusWindow;
    HRESULT result = D3DERR_INVALIDCALL;
    *device = GlDevice::create(window, params, m_options, &result);
    return *device ? D3D_OK : result;
  }

 private:
  const GlLimits& limits() {
    if (!m_limitsKnown) {
      m_limits = queryLimits();
      m_limitsKnown = true;
    }
    return m_limits;
  }

  ULONG m_refs = 1;
  GlDeviceOptions m_options;
  bool m_limitsKnown = false;
  GlLimits m_limits;
};

}  // namespace

IDirect3D9* createGlDirect3D(const GlDeviceOptions& options) {
  if (options.maxSimultaneousTextures < 1 || options.maxSimultaneousTextures > D3DTSS_STAGE_COUNT) return nullptr;
  return new GlDirect3D(options);
}

void registerGlDirect3DBackend(const GlDeviceOptions& options) {
  registerDirect3DBackend(kGlBackendName, kGlBackendPriority, [options] { return createGlDirect3D(options); });
}
