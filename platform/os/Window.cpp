#include "platform/os/Window.h"

#include "platform/os/Video.h"

#include <SDL.h>
#include <epoxy/gl.h>

namespace {
void setError(std::string* error, const std::string& text) {
  if (error) *error = text;
}

SDL_GLContext createContext(SDL_Window* window, int major, int minor) {
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_CORE);
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, major);
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, minor);
  return SDL_GL_CreateContext(window);
}
}  // namespace

std::unique_ptr<Window> Window::create(const WindowDesc& desc, std::string* error) {
  if (desc.width <= 0 || desc.height <= 0) {
    setError(error, "window size must be positive");
    return nullptr;
  }
  std::unique_ptr<Window> window(new Window);
  std::string reason;
  if (!acquireVideo(&reason)) {
    setError(error, "cannot start the video subsystem: " + reason);
    return nullptr;
  }
  window->m_videoAcquired = true;
  window->m_fullscreen = desc.fullscreen;

  SDL_GL_ResetAttributes();
  SDL_GL_SetAttribute(SDL_GL_RED_SIZE, 8);
  SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, 8);
  SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, 8);
  SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 0);
  SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, 0);
  SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);

  Uint32 flags = SDL_WINDOW_OPENGL | (desc.hidden ? SDL_WINDOW_HIDDEN : SDL_WINDOW_SHOWN);
  int width = desc.width;
  int height = desc.height;
  if (desc.fullscreen && !desc.hidden) {
    flags |= SDL_WINDOW_FULLSCREEN_DESKTOP | SDL_WINDOW_BORDERLESS;
    SDL_DisplayMode mode{};
    if (SDL_GetDesktopDisplayMode(0, &mode) == 0) {
      width = mode.w;
      height = mode.h;
    }
  }
  window->m_window = SDL_CreateWindow(desc.title ? desc.title : "", SDL_WINDOWPOS_CENTERED,
                                      SDL_WINDOWPOS_CENTERED, width, height, flags);
  if (!window->m_window) {
    setError(error, std::string("cannot open the window: ") + SDL_GetError());
    return nullptr;
  }

  SDL_GLContext context = createContext(window->m_window, 4, 5);
  if (!context) {
    context = createContext(window->m_window, 3, 3);
    if (context && !epoxy_has_gl_extension("GL_ARB_clip_control")) {
      SDL_GL_DeleteContext(context);
      setError(error, "OpenGL 3.3 context without ARB_clip_control");
      return nullptr;
    }
  }
  if (!context) {
    setError(error, std::string("cannot create an OpenGL 3.3 or 4.5 core context: ") + SDL_GetError());
    return nullptr;
  }
  window->m_context = context;
  window->m_glVersion = epoxy_gl_version();
  window->setSwapInterval(1);
  if (!desc.hidden) SDL_RaiseWindow(window->m_window);
  return window;
}

Window::~Window() {
  if (m_context) SDL_GL_DeleteContext(static_cast<SDL_GLContext>(m_context));
  if (m_window) SDL_DestroyWindow(m_window);
  if (m_videoAcquired) releaseVideo();
}

int Window::drawableWidth() const {
  int width = 0, height = 0;
  SDL_GL_GetDrawableSize(m_window, &width, &height);
  return width;
}

int Window::drawableHeight() const {
  int width = 0, height = 0;
  SDL_GL_GetDrawableSize(m_window, &width, &height);
  return height;
}

void Window::makeCurrent() { SDL_GL_MakeCurrent(m_window, static_cast<SDL_GLContext>(m_context)); }

bool Window::isCurrent() const { return SDL_GL_GetCurrentContext() == m_context; }

void Window::swap() { SDL_GL_SwapWindow(m_window); }

bool Window::setSwapInterval(int interval) { return SDL_GL_SetSwapInterval(interval) == 0; }
