#include "platform/os/Messages.h"

#include <SDL.h>

namespace {
// The modifier keys as of the last key message taken from the queue.
Uint16 g_keyMods = 0;

WPARAM virtualKey(SDL_Keycode key) {
  if (key >= SDLK_a && key <= SDLK_z) return WPARAM('A' + (key - SDLK_a));
  if (key >= SDLK_0 && key <= SDLK_9) return WPARAM('0' + (key - SDLK_0));
  if (key >= SDLK_F1 && key <= SDLK_F12) return VK_F1 + WPARAM(key - SDLK_F1);
  if (key >= SDLK_KP_1 && key <= SDLK_KP_9) return VK_NUMPAD0 + 1 + WPARAM(key - SDLK_KP_1);
  switch (key) {
    case SDLK_KP_0: return VK_NUMPAD0;
    case SDLK_HOME: return VK_HOME;
    case SDLK_END: return VK_END;
    case SDLK_PAGEUP: return VK_PRIOR;
    case SDLK_PAGEDOWN: return VK_NEXT;
    case SDLK_ESCAPE: return VK_ESCAPE;
    case SDLK_RETURN: case SDLK_KP_ENTER: return VK_RETURN;
    case SDLK_SPACE: return VK_SPACE;
    case SDLK_BACKSPACE: return VK_BACK;
    case SDLK_TAB: return VK_TAB;
    case SDLK_LEFT: return VK_LEFT;
    case SDLK_UP: return VK_UP;
    case SDLK_RIGHT: return VK_RIGHT;
    case SDLK_DOWN: return VK_DOWN;
    case SDLK_LSHIFT: case SDLK_RSHIFT: return VK_SHIFT;
    case SDLK_LCTRL: case SDLK_RCTRL: return VK_CONTROL;
    case SDLK_LALT: case SDLK_RALT: return VK_MENU;
    default: return VK_OEM_CLEAR;
  }
}

// Fills msg for the events the shell handles; false for the others.
bool translate(const SDL_Event& event, MSG* msg) {
  switch (event.type) {
    case SDL_KEYDOWN:
      msg->message = (event.key.keysym.mod & KMOD_ALT) ? WM_SYSKEYDOWN : WM_KEYDOWN;
      msg->wParam = virtualKey(event.key.keysym.sym);
      msg->lParam = event.key.repeat ? (LPARAM(1) << 30) : 0;  // previous key state bit
      msg->time = event.key.timestamp;
      return true;
    case SDL_WINDOWEVENT:
      if (event.window.event != SDL_WINDOWEVENT_CLOSE) return false;
      msg->message = WM_CLOSE;
      msg->time = event.window.timestamp;
      return true;
    case SDL_QUIT:
      msg->message = WM_CLOSE;
      msg->time = event.quit.timestamp;
      return true;
    default:
      return false;
  }
}
}  // namespace

BOOL PeekMessageA(MSG* msg, HWND window, UINT, UINT, UINT removeFlags) {
  if (!msg || !SDL_WasInit(SDL_INIT_VIDEO)) return 0;
  SDL_PumpEvents();
  SDL_Event event;
  for (;;) {
    if (SDL_PeepEvents(&event, 1, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) != 1) return 0;
    MSG translated;
    translated.hwnd = window;
    if (translate(event, &translated)) {
      if (removeFlags & PM_REMOVE) {
        SDL_PeepEvents(&event, 1, SDL_GETEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT);
        if (event.type == SDL_KEYDOWN) g_keyMods = event.key.keysym.mod;
      }
      *msg = translated;
      return 1;
    }
    SDL_PeepEvents(&event, 1, SDL_GETEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT);  // not ours: drop it
  }
}

short GetKeyState(int virtualKey) {
  Uint16 mask = 0;
  switch (virtualKey) {
    case VK_SHIFT: mask = KMOD_SHIFT; break;
    case VK_CONTROL: mask = KMOD_CTRL; break;
    case VK_MENU: mask = KMOD_ALT; break;
    default: return 0;
  }
  return (g_keyMods & mask) ? short(0x8000) : short(0);
}
