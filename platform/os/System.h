#pragma once
// Process and desktop queries shaped like the Win32 calls the shell makes.
#include "platform/os/Types.h"

using HMODULE = void*;  // ignored: there is only the executable itself

// Cursor display counter as in Win32: TRUE increments, FALSE decrements, the
// cursor is visible while the counter is >= 0 (it starts at 0). Returns the
// new counter. Needs a window (the video subsystem) to have an effect.
int ShowCursor(BOOL show);

// The executable's full path (from /proc/self/exe) into buffer, always
// zero-terminated when size > 0. Returns the length copied without the
// terminator; when the path does not fit it is cut to size - 1 characters and
// size is returned. Returns 0 on failure (no buffer, no path).
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size);

// The desktop's current mode (primary display). False when no display
// exists or the video subsystem cannot start.
struct DesktopDisplayMode {
  int width = 0;        // pixels
  int height = 0;       // pixels
  int refreshRate = 0;  // Hz; 0 when unknown
  bool hasAlpha = false;
};
bool getDesktopDisplayMode(DesktopDisplayMode* mode);

// SM_CXSCREEN / SM_CYSCREEN: the primary display's size in pixels, 0 when no
// display can be queried.
constexpr int SM_CXSCREEN = 0;
constexpr int SM_CYSCREEN = 1;
int GetSystemMetrics(int index);
