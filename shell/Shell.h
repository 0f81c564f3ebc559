#pragma once
// The application shell: the process-wide objects, start-up, the frame loop
// and shut-down of the player.
#include "platform/gfx/Direct3D9.h"
#include "platform/os/Messages.h"
#include "platform/os/Types.h"

#include <memory>

class CFLArchive;
class Scripter;
class Window;

using LRESULT = std::intptr_t;

extern bool g_fullscreen;       // the user chose full screen
extern HWND g_hWnd;             // the main window; null after DestroyMainWindow
extern bool g_quit;             // ends the frame loop after the current frame
extern IDirect3D9* g_d3d;
extern IDirect3DDevice9* g_device;
extern Scripter* g_scripter;

// The full-screen question: sets g_fullscreen, or ends the process (Cancel:
// exit code 5; no box could be shown: exit code 10).
void AskFullscreen();
// Opens the main window ("Demo"); FatalError on failure.
void CreateMainWindow();
// Creates g_d3d and g_device, retrying without multisampling; FatalError on failure.
void InitDirect3D();
// Closes the main window if there is one; never ends the process.
void DestroyMainWindow();
// Handles one message of the main window.
LRESULT WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// Tears down what exists, shows the message (caption "Demo"), exits with 5.
[[noreturn]] void FatalError(const char* message);
// Creates the Scripter, loads "demo.vxc", starts the clock. Always true.
bool StartScript();
// The whole player: start-up, frame loop, shut-down. Returns the exit code.
int RunPlayer();

// The archive of a program at `programPath`: appended to the program itself,
// else beside it ("exe" replaced by "cfl", or ".cfl" appended to a name
// without that ending). Returns whether either opened.
bool OpenShowArchive(CFLArchive& archive, const char* programPath);
