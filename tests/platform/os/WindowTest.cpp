#include "platform/os/Window.h"

#include "platform/os/Messages.h"
#include "platform/os/System.h"

#include <SDL.h>
#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// Run directly (not through ctest) the tests still need no X server.
const bool g_offscreen = setenv("SDL_VIDEODRIVER", "offscreen", 0) == 0;

std::unique_ptr<Window> openWindow(bool fullscreen = false) {
  WindowDesc desc;
  desc.title = "Demo";
  desc.fullscreen = fullscreen;
  std::string error;
  auto window = Window::create(desc, &error);
  EXPECT_TRUE(window) << error;
  return window;
}

void pushKey(SDL_Keycode key, Uint16 mod = KMOD_NONE) {
  SDL_Event event{};
  event.type = SDL_KEYDOWN;
  event.key.keysym.sym = key;
  event.key.keysym.mod = mod;
  SDL_PushEvent(&event);
}

void pushEvent(Uint32 type) {
  SDL_Event event{};
  event.type = type;
  SDL_PushEvent(&event);
}

void drain() {
  MSG msg;
  while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
  }
}

TEST(Window, WindowedHasAn800By600ClientAreaAndACoreContext) {
  ASSERT_TRUE(g_offscreen);
  auto window = openWindow();
  ASSERT_TRUE(window);
  EXPECT_FALSE(window->fullscreen());
  EXPECT_EQ(window->drawableWidth(), 800);
  EXPECT_EQ(window->drawableHeight(), 600);
  EXPECT_FALSE(SDL_GetWindowFlags(window->sdlWindow()) & SDL_WINDOW_RESIZABLE);
  EXPECT_STREQ(SDL_GetWindowTitle(window->sdlWindow()), "Demo");
  EXPECT_GE(window->glVersion(), 33);
  EXPECT_TRUE(window->glVersion() >= 45 || epoxy_has_gl_extension("GL_ARB_clip_control"));
  GLint profile = 0;
  glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
  EXPECT_TRUE(profile & GL_CONTEXT_CORE_PROFILE_BIT);
  EXPECT_EQ(Window::fromHandle(window->handle()), window.get());
}

TEST(Window, ContextDrawsIntoTheWindowFramebuffer) {
  auto window = openWindow();
  ASSERT_TRUE(window);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  unsigned char pixel[4] = {};
  glReadPixels(400, 300, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
  EXPECT_EQ(pixel[0], 0);
  EXPECT_EQ(pixel[1], 255);
  EXPECT_EQ(pixel[2], 0);
  EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
  window->swap();
}

TEST(Window, FullScreenCoversTheDesktop) {
  DesktopDisplayMode mode;
  ASSERT_TRUE(getDesktopDisplayMode(&mode));
  auto window = openWindow(true);
  ASSERT_TRUE(window);
  EXPECT_TRUE(window->fullscreen());
  EXPECT_EQ(window->drawableWidth(), mode.width);
  EXPECT_EQ(window->drawableHeight(), mode.height);
}

TEST(Window, RejectsAnEmptySize) {
  WindowDesc desc;
  desc.width = 0;
  std::string error;
  EXPECT_FALSE(Window::create(desc, &error));
  EXPECT_FALSE(error.empty());
}

TEST(PeekMessageA, ReportsOneMessageAtATimeInOrder) {
  auto window = openWindow();
  ASSERT_TRUE(window);
  drain();
  MSG msg;
  EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) << "empty queue";

  pushEvent(SDL_MOUSEMOTION);  // not reported: dropped on the way
  pushKey(SDLK_ESCAPE);
  pushKey(SDLK_a);
  pushKey(SDLK_F4, KMOD_LALT);
  pushEvent(SDL_QUIT);

  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE));
  EXPECT_EQ(msg.message, WM_KEYDOWN);
  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) << "PM_NOREMOVE left it queued";
  EXPECT_EQ(msg.message, WM_KEYDOWN);
  EXPECT_EQ(msg.wParam, VK_ESCAPE);

  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.message, WM_KEYDOWN);
  EXPECT_EQ(msg.wParam, WPARAM('A'));

  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.message, WM_SYSKEYDOWN);
  EXPECT_EQ(msg.wParam, VK_F1 + 3);

  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.message, WM_CLOSE);

  EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_FALSE(PeekMessageA(nullptr, nullptr, 0, 0, PM_REMOVE));
}

TEST(PeekMessageA, WindowCloseRequestIsWmClose) {
  auto window = openWindow();
  ASSERT_TRUE(window);
  drain();
  SDL_Event event{};
  event.type = SDL_WINDOWEVENT;
  event.window.event = SDL_WINDOWEVENT_CLOSE;
  event.window.windowID = SDL_GetWindowID(window->sdlWindow());
  SDL_PushEvent(&event);
  MSG msg;
  ASSERT_TRUE(PeekMessageA(&msg, window->handle(), 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.message, WM_CLOSE);
  EXPECT_EQ(msg.hwnd, window->handle());
}

}  // namespace

// Keys a tool window uses beyond the player's, and the modifier state read
// in step with the messages taken (not with the keyboard as it is now).
TEST(PeekMessageA, NavigationKeysAndModifiersAsOfTheMessageTaken) {
  auto window = openWindow();
  ASSERT_TRUE(window);
  drain();
  pushKey(SDLK_HOME);
  pushKey(SDLK_RIGHT, KMOD_LSHIFT);
  pushKey(SDLK_LEFT, KMOD_RCTRL);
  pushKey(SDLK_KP_7);
  MSG msg;
  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.wParam, VK_HOME);
  EXPECT_EQ(GetKeyState(VK_SHIFT), 0);
  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE));
  EXPECT_EQ(GetKeyState(VK_SHIFT), 0) << "a message only looked at does not change the state";
  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.wParam, VK_RIGHT);
  EXPECT_NE(GetKeyState(VK_SHIFT) & 0x8000, 0);
  EXPECT_EQ(GetKeyState(VK_CONTROL), 0);
  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.wParam, VK_LEFT);
  EXPECT_EQ(GetKeyState(VK_SHIFT), 0);
  EXPECT_NE(GetKeyState(VK_CONTROL) & 0x8000, 0);
  EXPECT_EQ(GetKeyState(VK_MENU), 0);
  ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.wParam, VK_NUMPAD0 + 7);
  EXPECT_EQ(GetKeyState(VK_CONTROL), 0);
  EXPECT_EQ(GetKeyState('A'), 0) << "only the modifiers are tracked";
}
