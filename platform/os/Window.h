#pragma once
// The one main window and its OpenGL context (SDL2).
//
// Windowed: an 800 x 600 client area, not resizable. Full screen: a borderless
// window over the whole desktop at its current resolution (no mode switch);
// the device scales its 800 x 600 back buffer into it with the aspect kept.
// The context is OpenGL 4.5 core, or 3.3 core when the driver also offers
// ARB_clip_control (the device needs glClipControl); functions are resolved
// by libepoxy on first use. The window's own framebuffer carries no depth and
// no multisampling: the device draws into its own off-screen framebuffers and
// only blits the finished frame here.
#include "platform/os/Types.h"

#include <memory>
#include <string>

struct SDL_Window;

struct WindowDesc {
  const char* title = "";
  bool fullscreen = false;
  int width = 800;   // client area, windowed mode only
  int height = 600;  // client area, windowed mode only
  // Never shown: an off-screen device's context (tests, offline rendering).
  bool hidden = false;
};

class Window {
 public:
  // Opens the window and makes its context current. On failure returns null
  // and stores the reason in *error (when given).
  static std::unique_ptr<Window> create(const WindowDesc& desc, std::string* error = nullptr);
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // The HWND that stands for this window (the Window's own address).
  HWND handle() { return this; }
  static Window* fromHandle(HWND handle) { return static_cast<Window*>(handle); }

  SDL_Window* sdlWindow() const { return m_window; }
  bool fullscreen() const { return m_fullscreen; }
  // Drawable size in pixels (the desktop size in full screen).
  int drawableWidth() const;
  int drawableHeight() const;
  // OpenGL version of the context, e.g. 45 for 4.5.
  int glVersion() const { return m_glVersion; }

  void makeCurrent();
  bool isCurrent() const;
  // Shows the window framebuffer's contents (SDL_GL_SwapWindow).
  void swap();
  // Swap interval: 1 waits for the vertical retrace, 0 does not. Drivers
  // without a choice (off-screen) ignore it; returns whether it was applied.
  bool setSwapInterval(int interval);

 private:
  Window() = default;

  SDL_Window* m_window = nullptr;
  void* m_context = nullptr;  // SDL_GLContext
  bool m_fullscreen = false;
  bool m_videoAcquired = false;
  int m_glVersion = 0;
};
