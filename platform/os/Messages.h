#pragma once
// The window's message queue, shaped like Win32's PeekMessageA. SDL events
// are translated into the few messages the shell's window procedure handles;
// events the shell has no use for (mouse motion, focus, exposure ...) are
// dropped on the way, so one call reports at most one of:
//   WM_KEYDOWN    a key went down; wParam = the virtual key (VK_ESCAPE ...)
//   WM_SYSKEYDOWN the same with Alt held (left to the default handling)
//   WM_CLOSE      the user asked to close the window, or the process was
//                 asked to end (SIGINT / SIGTERM reach SDL as a quit event)
#include "platform/os/Types.h"

#include <cstdint>

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

struct MSG {
  HWND hwnd = nullptr;
  UINT message = 0;
  WPARAM wParam = 0;
  LPARAM lParam = 0;
  DWORD time = 0;  // ms since SDL started
};

constexpr UINT WM_NULL = 0x0000;
constexpr UINT WM_DESTROY = 0x0002;
constexpr UINT WM_PAINT = 0x000F;
constexpr UINT WM_CLOSE = 0x0010;
constexpr UINT WM_QUIT = 0x0012;
constexpr UINT WM_KEYDOWN = 0x0100;
constexpr UINT WM_SYSKEYDOWN = 0x0104;

constexpr UINT PM_NOREMOVE = 0x0000;
constexpr UINT PM_REMOVE = 0x0001;

// Virtual keys (Win32 values). Letters and digits are their upper-case
// ASCII codes; keys without a Win32 counterpart here report VK_OEM_CLEAR.
constexpr WPARAM VK_BACK = 0x08;
constexpr WPARAM VK_TAB = 0x09;
constexpr WPARAM VK_RETURN = 0x0D;
constexpr WPARAM VK_SHIFT = 0x10;
constexpr WPARAM VK_CONTROL = 0x11;
constexpr WPARAM VK_MENU = 0x12;
constexpr WPARAM VK_ESCAPE = 0x1B;
constexpr WPARAM VK_SPACE = 0x20;
constexpr WPARAM VK_PRIOR = 0x21;  // Page Up
constexpr WPARAM VK_NEXT = 0x22;   // Page Down
constexpr WPARAM VK_END = 0x23;
constexpr WPARAM VK_HOME = 0x24;
constexpr WPARAM VK_LEFT = 0x25;
constexpr WPARAM VK_UP = 0x26;
constexpr WPARAM VK_RIGHT = 0x27;
constexpr WPARAM VK_DOWN = 0x28;
constexpr WPARAM VK_NUMPAD0 = 0x60;  // VK_NUMPAD0..VK_NUMPAD9 are consecutive
constexpr WPARAM VK_F1 = 0x70;  // F1..F12 are consecutive
constexpr WPARAM VK_OEM_CLEAR = 0xFE;

// Takes the next message, if any, into *msg. The window and range filters are
// accepted for shape and ignored (there is one window). With PM_NOREMOVE the
// message stays queued. Returns FALSE when the queue holds nothing to report
// (or msg is null, or no video subsystem is running).
BOOL PeekMessageA(MSG* msg, HWND window, UINT filterMin, UINT filterMax, UINT removeFlags);

// Whether VK_SHIFT, VK_CONTROL or VK_MENU was held when the last key message
// was taken from the queue (the high bit, 0x8000, set when down), as Win32
// reports key states in step with the messages a program has read. Other
// keys read 0.
short GetKeyState(int virtualKey);
