// Render targets, viewport, Clear, Present and read-back of the OpenGL device.
//
// Framebuffer rows: with GL_UPPER_LEFT, row 0 of every framebuffer is the top
// of the image, so a Direct3D rectangle (left, top, right, bottom) is the
// OpenGL rectangle (left, top, width, height) unchanged, and glReadPixels
// returns the top row first. Only the window's own framebuffer is bottom-up;
// Present flips into it.
#include "platform/gfx/gl/GlDevice.h"

#include "platform/gfx/gl/GlProgram.h"

#include "platform/os/Window.h"

#include <algorithm>

namespace {
void attach(GLenum attachment, GlSurface* surface) {
  if (!surface) {
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, 0);
    return;
  }
  if (surface->renderbuffer()) {
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, surface->renderbuffer());
  } else if (surface->kind() == GlSurface::Kind::TextureLevel) {
    GlTextureStorage* storage = surface->storage();
    const GLenum target = storage->cube() ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + surface->face() : GL_TEXTURE_2D;
    glFramebufferTexture2D(GL_FRAMEBUFFER, attachment, target, storage->texture(), GLint(surface->level()));
  } else {
    glFramebufferTexture2D(GL_FRAMEBUFFER, attachment, GL_TEXTURE_2D, surface->texture(), 0);
  }
}

GLenum depthAttachment(const GlSurface* depth) {
  return depth->glFormat().stencil ? GL_DEPTH_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT;
}
}  // namespace

GLuint GlDevice::framebufferFor(GlSurface* color, GlSurface* depth) {
  auto key = std::make_pair(color, depth);
  auto it = m_framebuffers.find(key);
  if (it != m_framebuffers.end()) return it->second;
  GLuint framebuffer = 0;
  glGenFramebuffers(1, &framebuffer);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  attach(GL_COLOR_ATTACHMENT0, color);
  if (depth) attach(depthAttachment(depth), depth);
  m_framebuffers[key] = framebuffer;
  return framebuffer;
}

void GlDevice::bindRenderTargets() {
  GlSurface* depth = m_depthStencil;
  // OpenGL refuses attachments of different sample counts; Direct3D would
  // refuse the draw. Draw without the depth buffer instead.
  if (depth && depth->samples() != m_renderTarget->samples()) depth = nullptr;
  glBindFramebuffer(GL_FRAMEBUFFER, framebufferFor(m_renderTarget, depth));
  m_targetsDirty = false;
}

void GlDevice::forgetSurface(GlSurface* surface) {
  for (auto it = m_framebuffers.begin(); it != m_framebuffers.end();) {
    if (it->first.first == surface || it->first.second == surface) {
      glDeleteFramebuffers(1, &it->second);
      it = m_framebuffers.erase(it);
      m_targetsDirty = true;
    } else {
      ++it;
    }
  }
}

HRESULT GlDevice::GetBackBuffer(UINT swapChain, UINT backBuffer, D3DBACKBUFFER_TYPE, IDirect3DSurface9** surface) {
  if (swapChain != 0 || backBuffer != 0 || !surface) return D3DERR_INVALIDCALL;
  *surface = m_backBuffer;
  m_backBuffer->AddRef();
  return D3D_OK;
}

HRESULT GlDevice::SetRenderTarget(DWORD index, IDirect3DSurface9* target) {
  if (index != 0 || !target) return D3DERR_INVALIDCALL;
  auto* mine = dynamic_cast<GlSurface*>(target);
  if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  const bool colour = mine->kind() == GlSurface::Kind::BackBuffer || mine->kind() == GlSurface::Kind::RenderTarget ||
                      (mine->kind() == GlSurface::Kind::TextureLevel &&
                       (mine->storage()->usage() & D3DUSAGE_RENDERTARGET));
  if (!colour) return D3DERR_INVALIDCALL;
  mine->AddRef();
  m_renderTarget->Release();
  m_renderTarget = mine;
  m_targetsDirty = true;
  D3DVIEWPORT9 full = {0, 0, mine->width(), mine->height(), 0.0f, 1.0f};
  return SetViewport(&full);
}

HRESULT GlDevice::GetRenderTarget(DWORD index, IDirect3DSurface9** target) {
  if (index != 0 || !target) return D3DERR_INVALIDCALL;
  *target = m_renderTarget;
  m_renderTarget->AddRef();
  return D3D_OK;
}

HRESULT GlDevice::SetDepthStencilSurface(IDirect3DSurface9* surface) {
  GlSurface* mine = nullptr;
  if (surface) {
    mine = dynamic_cast<GlSurface*>(surface);
    if (!mine || mine->device() != this || mine->kind() != GlSurface::Kind::DepthStencil) return D3DERR_INVALIDCALL;
  }
  if (mine == m_depthStencil) return D3D_OK;
  if (mine) mine->AddRef();
  if (m_depthStencil) m_depthStencil->Release();
  m_depthStencil = mine;
  m_targetsDirty = true;
  m_renderStatesDirty = true;  // depth and stencil tests depend on the buffer
  return D3D_OK;
}

HRESULT GlDevice::GetDepthStencilSurface(IDirect3DSurface9** surface) {
  if (!surface) return D3DERR_INVALIDCALL;
  *surface = m_depthStencil;
  if (!m_depthStencil) return D3DERR_INVALIDCALL;
  m_depthStencil->AddRef();
  return D3D_OK;
}

HRESULT GlDevice::SetViewport(const D3DVIEWPORT9* viewport) {
  if (!viewport || viewport->Width == 0 || viewport->Height == 0) return D3DERR_INVALIDCALL;
  if (viewport->X + viewport->Width > m_renderTarget->width() ||
      viewport->Y + viewport->Height > m_renderTarget->height())
    return D3DERR_INVALIDCALL;
  m_viewport = *viewport;
  makeCurrent();
  glViewport(GLint(viewport->X), GLint(viewport->Y), GLsizei(viewport->Width), GLsizei(viewport->Height));
  glDepthRangef(viewport->MinZ, viewport->MaxZ);
  m_viewportVersion = bump();
  return D3D_OK;
}

HRESULT GlDevice::GetViewport(D3DVIEWPORT9* viewport) {
  if (!viewport) return D3DERR_INVALIDCALL;
  *viewport = m_viewport;
  return D3D_OK;
}

HRESULT GlDevice::Clear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR color, float z, DWORD stencil) {
  if ((count > 0 && !rects) || (flags & ~(D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL))) {
    return D3DERR_INVALIDCALL;
  }
  GlSurface* depth = m_depthStencil && m_depthStencil->samples() == m_renderTarget->samples() ? m_depthStencil
                                                                                               : nullptr;
  if ((flags & (D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)) && !depth) return D3DERR_INVALIDCALL;
  if ((flags & D3DCLEAR_STENCIL) && !depth->glFormat().stencil) return D3DERR_INVALIDCALL;
  makeCurrent();
  if (m_targetsDirty) bindRenderTargets();

  // Clearing ignores the write masks in Direct3D: open them, and let the next
  // draw restore them.
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glDepthMask(GL_TRUE);
  glStencilMask(0xFF);
  m_shadow.colorMask = m_shadow.depthMask = -1;
  m_renderStatesDirty = true;
  glEnable(GL_SCISSOR_TEST);

  const GLfloat rgba[4] = {float((color >> 16) & 0xFF) / 255.0f, float((color >> 8) & 0xFF) / 255.0f,
                           float(color & 0xFF) / 255.0f, float(color >> 24) / 255.0f};
  const GLfloat depthValue = std::clamp(z, 0.0f, 1.0f);
  const GLint stencilValue = GLint(stencil & 0xFF);
  auto clearRect = [&](LONG left, LONG top, LONG right, LONG bottom) {
    left = std::max(left, LONG(m_viewport.X));
    top = std::max(top, LONG(m_viewport.Y));
    right = std::min(right, LONG(m_viewport.X + m_viewport.Width));
    bottom = std::min(bottom, LONG(m_viewport.Y + m_viewport.Height));
    if (left >= right || top >= bottom) return;
    glScissor(left, top, right - left, bottom - top);
    if (flags & D3DCLEAR_TARGET) glClearBufferfv(GL_COLOR, 0, rgba);
    if ((flags & D3DCLEAR_ZBUFFER) && (flags & D3DCLEAR_STENCIL))
      glClearBufferfi(GL_DEPTH_STENCIL, 0, depthValue, stencilValue);
    else if (flags & D3DCLEAR_ZBUFFER)
      glClearBufferfv(GL_DEPTH, 0, &depthValue);
    else if (flags & D3DCLEAR_STENCIL)
      glClearBufferiv(GL_STENCIL, 0, &stencilValue);
  };
  if (count == 0) {
    clearRect(LONG(m_viewport.X), LONG(m_viewport.Y), LONG(m_viewport.X + m_viewport.Width),
              LONG(m_viewport.Y + m_viewport.Height));
  } else {
    for (DWORD i = 0; i < count; ++i) clearRect(rects[i].x1, rects[i].y1, rects[i].x2, rects[i].y2);
  }
  glDisable(GL_SCISSOR_TEST);
  return D3D_OK;
}

HRESULT GlDevice::Present(const RECT* sourceRect, const RECT* destRect, HWND overrideWindow, const void* dirty) {
  if (dirty || m_inScene) return D3DERR_INVALIDCALL;
  makeCurrent();
  if (m_ownWindow) {
    glFlush();  // off screen: the frame stays in the back buffer for read-back
    return D3D_OK;
  }
  Window* window = overrideWindow ? Window::fromHandle(overrideWindow) : m_window;
  if (window != m_window) return D3DERR_INVALIDCALL;  // one context: its own window only
  const LONG bufferWidth = LONG(m_backBuffer->width()), bufferHeight = LONG(m_backBuffer->height());
  RECT source = sourceRect ? *sourceRect : RECT{0, 0, bufferWidth, bufferHeight};
  source.left = std::clamp<LONG>(source.left, 0, bufferWidth);
  source.right = std::clamp<LONG>(source.right, source.left, bufferWidth);
  source.top = std::clamp<LONG>(source.top, 0, bufferHeight);
  source.bottom = std::clamp<LONG>(source.bottom, source.top, bufferHeight);
  const LONG windowWidth = window->drawableWidth(), windowHeight = window->drawableHeight();
  RECT dest;
  if (destRect) {
    dest = *destRect;
  } else {
    // The whole buffer, scaled to fit with its aspect kept (black bars).
    const LONG w = source.right - source.left, h = source.bottom - source.top;
    if (w <= 0 || h <= 0) return D3DERR_INVALIDCALL;
    const double scale = std::min(double(windowWidth) / double(w), double(windowHeight) / double(h));
    const LONG outW = LONG(double(w) * scale + 0.5), outH = LONG(double(h) * scale + 0.5);
    dest.left = (windowWidth - outW) / 2;
    dest.top = (windowHeight - outH) / 2;
    dest.right = dest.left + outW;
    dest.bottom = dest.top + outH;
  }

  const bool scaled = (dest.right - dest.left) != (source.right - source.left) ||
                      (dest.bottom - dest.top) != (source.bottom - source.top);
  // A multisampled buffer cannot be scaled in one blit: resolve it first.
  const GLuint sourceFramebuffer = scaled ? resolvedFramebuffer(m_backBuffer) : framebufferFor(m_backBuffer, nullptr);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDisable(GL_SCISSOR_TEST);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  m_shadow.colorMask = -1;
  glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, sourceFramebuffer);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  // The window's framebuffer is bottom-up: row 0 of the buffer goes to the
  // top of the window.
  glBlitFramebuffer(source.left, source.top, source.right, source.bottom, dest.left, windowHeight - dest.top,
                    dest.right, windowHeight - dest.bottom, GL_COLOR_BUFFER_BIT, scaled ? GL_LINEAR : GL_NEAREST);
  window->swap();
  m_targetsDirty = true;
  return D3D_OK;
}

GLuint GlDevice::resolvedFramebuffer(GlSurface* surface) {
  const GLsizei width = GLsizei(surface->width()), height = GLsizei(surface->height());
  glBindFramebuffer(GL_FRAMEBUFFER, m_readFramebuffer);
  attach(GL_COLOR_ATTACHMENT0, surface);
  if (surface->samples() <= 1) return m_readFramebuffer;
  // Resolve into a single-sample buffer of the same size.
  if (!m_resolveFramebuffer) {
    glGenFramebuffers(1, &m_resolveFramebuffer);
    glGenRenderbuffers(1, &m_resolveRenderbuffer);
  }
  if (m_resolveWidth != surface->width() || m_resolveHeight != surface->height()) {
    glBindRenderbuffer(GL_RENDERBUFFER, m_resolveRenderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    m_resolveWidth = surface->width();
    m_resolveHeight = surface->height();
  }
  glBindFramebuffer(GL_FRAMEBUFFER, m_resolveFramebuffer);
  glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, m_resolveRenderbuffer);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, m_readFramebuffer);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, m_resolveFramebuffer);
  glDisable(GL_SCISSOR_TEST);
  glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  return m_resolveFramebuffer;
}

bool GlDevice::readFramebufferARGB(GlSurface* surface, std::vector<D3DCOLOR>& argb) {
  clearGlErrors();
  const GLsizei width = GLsizei(surface->width()), height = GLsizei(surface->height());
  glBindFramebuffer(GL_FRAMEBUFFER, resolvedFramebuffer(surface));
  argb.resize(size_t(width) * size_t(height));
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  glPixelStorei(GL_PACK_ROW_LENGTH, 0);
  glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, argb.data());
  if (!surface->glFormat().hasAlpha)
    for (D3DCOLOR& c : argb) c |= 0xFF000000u;
  m_targetsDirty = true;
  return glGetError() == GL_NO_ERROR;
}

HRESULT GlDevice::readSurfaceARGB(IDirect3DSurface9* surface, std::vector<D3DCOLOR>& argb, UINT& width,
                                  UINT& height) {
  auto* mine = dynamic_cast<GlSurface*>(surface);
  if (!mine || mine->device() != this) return D3DERR_INVALIDCALL;
  if (mine->glFormat().depth || mine->glFormat().compressed) return D3DERR_INVALIDCALL;
  makeCurrent();
  width = mine->width();
  height = mine->height();
  switch (mine->kind()) {
    case GlSurface::Kind::Plain: {
      const auto& memory = mine->memory();
      argb.resize(size_t(width) * height);
      for (size_t i = 0; i < argb.size(); ++i)
        argb[i] = pixelToARGB(mine->format(), memory.data() + i * size_t(mine->glFormat().bytesPerUnit));
      return D3D_OK;
    }
    case GlSurface::Kind::TextureLevel:
      return mine->storage()->readARGB(mine->face(), mine->level(), argb);
    default:
      return readFramebufferARGB(mine, argb) ? D3D_OK : D3DERR_INVALIDCALL;
  }
}
