#include "platform/os/System.h"

#include "platform/os/Video.h"

#include <SDL.h>
#include <unistd.h>

#include <cstring>

namespace {
int g_cursorCounter = 0;
}

int ShowCursor(BOOL show) {
  g_cursorCounter += show ? 1 : -1;
  if (SDL_WasInit(SDL_INIT_VIDEO)) SDL_ShowCursor(g_cursorCounter >= 0 ? SDL_ENABLE : SDL_DISABLE);
  return g_cursorCounter;
}

DWORD GetModuleFileNameA(HMODULE, char* buffer, DWORD size) {
  if (!buffer || size == 0) return 0;
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path) {
    buffer[0] = '\0';
    return 0;
  }
  if (static_cast<DWORD>(length) >= size) {
    std::memcpy(buffer, path, size - 1);
    buffer[size - 1] = '\0';
    return size;
  }
  std::memcpy(buffer, path, static_cast<size_t>(length));
  buffer[length] = '\0';
  return static_cast<DWORD>(length);
}

bool getDesktopDisplayMode(DesktopDisplayMode* mode) {
  if (!mode) return false;
  if (!acquireVideo()) return false;
  SDL_DisplayMode sdlMode{};
  const bool ok = SDL_GetDesktopDisplayMode(0, &sdlMode) == 0;
  releaseVideo();
  if (!ok) return false;
  mode->width = sdlMode.w;
  mode->height = sdlMode.h;
  mode->refreshRate = sdlMode.refresh_rate;
  mode->hasAlpha = SDL_ISPIXELFORMAT_ALPHA(sdlMode.format);
  return true;
}

int GetSystemMetrics(int index) {
  DesktopDisplayMode mode;
  if (!getDesktopDisplayMode(&mode)) return 0;
  switch (index) {
    case SM_CXSCREEN: return mode.width;
    case SM_CYSCREEN: return mode.height;
    default: return 0;
  }
}
