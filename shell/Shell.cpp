#include "shell/Shell.h"

#include "archive/CFLArchive.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/movie/AxHost.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "platform/os/System.h"
#include "platform/os/Window.h"
#include "script/Scripter.h"
#include "script/Show.h"

#include <cstdio>
#include <cstring>
#include <string>

bool g_fullscreen = false;
HWND g_hWnd = nullptr;
bool g_quit = false;
IDirect3D9* g_d3d = nullptr;
IDirect3DDevice9* g_device = nullptr;
Scripter* g_scripter = nullptr;

namespace {
// The main window object behind g_hWnd. A plain pointer on purpose: no
// destructor may run at exit, since a process ending because its display
// went away would try to close the window on a dead connection and hang.
Window* g_window = nullptr;
// The frame, the Scripter (g_scripter points into it) and, from StartScript
// on, the device's reference (g_device is then the Show's).
Show* g_show = nullptr;
}  // namespace

bool OpenShowArchive(CFLArchive& archive, const char* programPath) {
  if (archive.Open(programPath)) return true;
  std::string beside = programPath;
  // A program named "...exe" has its archive at "...cfl"; a Linux program
  // has no extension, so "player" looks for "player.cfl".
  if (beside.size() >= 3 && beside.compare(beside.size() - 3, 3, "exe") == 0)
    beside.replace(beside.size() - 3, 3, "cfl");
  else
    beside += ".cfl";
  return archive.Open(beside.c_str()) != 0;
}

void AskFullscreen() {
  switch (MessageBoxA(nullptr, "Would you like to run in fullscreen mode?", "Demo", MB_YESNOCANCEL | MB_ICONQUESTION)) {
    case IDYES: g_fullscreen = true; break;
    case IDNO: g_fullscreen = false; break;
    case IDCANCEL:
      OutputDebugStringA("User Abort");
      MessageBoxA(nullptr, "User Abort", "Demo", MB_OK);
      ExitProcess(5);
    case 0:
      OutputDebugStringA("Couldn't open MessageBox, dying");
      ExitProcess(10);
    default: break;
  }
}

void CreateMainWindow() {
  WindowDesc desc;
  desc.title = "Demo";
  desc.fullscreen = g_fullscreen;
  desc.width = 800;
  desc.height = 600;
  std::string reason;
  g_window = Window::create(desc, &reason).release();
  if (!g_window) {
    OutputDebugStringA(("Window: " + reason + "\n").c_str());
    FatalError("Error opening window");
  }
  g_hWnd = g_window->handle();
}

void InitDirect3D() {
  g_d3d = Direct3DCreate9(D3D_SDK_VERSION);
  if (!g_d3d) FatalError("Error getting Direct3D");
  D3DDISPLAYMODE mode;
  if (FAILED(g_d3d->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode))) FatalError("Error getting display mode\n");

  D3DPRESENT_PARAMETERS params{};
  params.BackBufferCount = 1;
  params.SwapEffect = D3DSWAPEFFECT_DISCARD;
  params.hDeviceWindow = g_hWnd;
  params.EnableAutoDepthStencil = TRUE;
  params.AutoDepthStencilFormat = D3DFMT_D24X8;
  if (g_fullscreen) {
    params.BackBufferWidth = 800;
    params.BackBufferHeight = 600;
    params.BackBufferFormat = D3DFMT_X8R8G8B8;
    params.MultiSampleType = D3DMULTISAMPLE_NONMASKABLE;
    params.MultiSampleQuality = 2;
    params.Windowed = FALSE;
  } else {
    params.BackBufferFormat = mode.Format;  // 0 x 0: the window's client area
    params.Windowed = TRUE;
  }

  D3DCAPS9 caps{};
  g_d3d->GetDeviceCaps(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, &caps);
  DWORD vertexProcessing = D3DCREATE_SOFTWARE_VERTEXPROCESSING;
  if (caps.VertexShaderVersion >= D3DVS_VERSION(1, 0) || (caps.DevCaps & D3DDEVCAPS_HWTRANSFORMANDLIGHT))
    vertexProcessing = D3DCREATE_HARDWARE_VERTEXPROCESSING;

  HRESULT result = g_d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, g_hWnd, vertexProcessing, &params, &g_device);
  if (FAILED(result)) {
    params.MultiSampleType = D3DMULTISAMPLE_NONE;
    params.MultiSampleQuality = 0;
    result = g_d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, g_hWnd, vertexProcessing, &params, &g_device);
  }
  if (FAILED(result)) {
    char text[64];
    std::snprintf(text, sizeof text, "Error creating Device: %d\n", int(result));
    FatalError(text);
  }
}

void DestroyMainWindow() {
  if (g_window) {
    delete g_window;
    g_window = nullptr;
    // Messages still queued for the window are taken and dropped.
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
    }
  }
  g_hWnd = nullptr;
}

LRESULT WindowProc(HWND, UINT message, WPARAM wParam, LPARAM) {
  switch (message) {
    case WM_CLOSE: g_quit = true; return 0;  // the window goes at shut-down
    case WM_KEYDOWN:
      if (wParam == VK_ESCAPE) g_quit = true;
      return 0;  // every key down is consumed
    default: return 0;
  }
}

void FatalError(const char* message) {
  if (g_show) {
    delete g_show;  // the Scripter, then the device
    g_show = nullptr;
    g_scripter = nullptr;
    g_device = nullptr;
  }
  delete g_scripter;
  g_scripter = nullptr;
  if (g_device) g_device->Release();
  g_device = nullptr;
  if (g_d3d) g_d3d->Release();
  g_d3d = nullptr;
  DestroyMainWindow();
  OutputDebugStringA(message);
  OutputDebugStringA("\n");
  MessageBoxA(nullptr, message, "Demo", MB_OK);
  ExitProcess(5);
}

bool StartScript() {
  g_show = new Show(g_device, Show::Clock::Wall);
  g_scripter = g_show->scripter();
  g_show->Start("demo.vxc");  // the clock starts right after parsing
  return true;
}

int RunPlayer() {
  registerGlDirect3DBackend();
  g_archive = new CFLArchive;
  char path[1024];
  if (GetModuleFileNameA(nullptr, path, sizeof path)) OpenShowArchive(*g_archive, path);
  AtlAxWinInit();  // the movie host's window class, before any movie loads

  AskFullscreen();
  CreateMainWindow();
  if (g_fullscreen) ShowCursor(FALSE);
  InitDirect3D();
  StartScript();

  while (!g_quit) {
    MSG msg;
    if (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) WindowProc(msg.hwnd, msg.message, msg.wParam, msg.lParam);
    // Clear, BeginScene, clock and Scripter::Update, EndScene, Present.
    if (g_show->Frame()) g_quit = true;
  }

  delete g_show;  // the Scripter, then the device's reference
  g_show = nullptr;
  g_scripter = nullptr;
  g_device = nullptr;
  g_d3d->Release();
  g_d3d = nullptr;
  if (g_fullscreen) ShowCursor(TRUE);
  DestroyMainWindow();
  g_archive->Close();
  delete g_archive;
  g_archive = nullptr;
  return 0;
}
