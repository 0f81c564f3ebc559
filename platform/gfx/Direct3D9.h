#pragma once
// The Direct3D object (IDirect3D9) and the registry of device back ends.
//
// System code calls Direct3DCreate9(D3D_SDK_VERSION) and CreateDevice exactly
// as on Windows; which back end answers is decided here, at run time, never
// with #ifdef in system code. A back end registers a factory under a name
// with a priority. Direct3DCreate9 uses, in this order: the back end named by
// selectDirect3DBackend, else the one named by the environment variable
// VX_GFX_BACKEND, else the registered one with the highest priority.
// Naming a back end that is not registered makes Direct3DCreate9 return null
// (the "no Direct3D" case of start-up), as does a factory that returns null.
//
// Registration is explicit: a back end's library offers a function that the
// executable calls at start (a static registrar object in a static library
// would be dropped by the linker when nothing else references its file).
//
// Windows and off-screen devices: hFocusWindow / hDeviceWindow is the window
// handle that platform/os hands out (the SDL window), or null for an
// off-screen device (tests, offline rendering); an off-screen device needs a
// back buffer size in the presentation parameters, and Present only ends the
// frame. A windowed device with a 0 x 0 back buffer takes the window's client
// size.
#include <functional>
#include <string>
#include <vector>

#include "platform/gfx/Resources.h"

using IDirect3DDevice9 = Device;

class IDirect3D9 : public IUnknown {
 public:
  virtual UINT GetAdapterCount() = 0;
  virtual HRESULT GetAdapterDisplayMode(UINT Adapter, D3DDISPLAYMODE* pMode) = 0;
  virtual HRESULT GetDeviceCaps(UINT Adapter, D3DDEVTYPE DeviceType, D3DCAPS9* pCaps) = 0;
  // D3D_OK when the sample type is available for the format; *pQualityLevels
  // (may be null) receives the number of quality levels.
  virtual HRESULT CheckDeviceMultiSampleType(UINT Adapter, D3DDEVTYPE DeviceType, D3DFORMAT SurfaceFormat,
                                             BOOL Windowed, D3DMULTISAMPLE_TYPE MultiSampleType,
                                             DWORD* pQualityLevels) = 0;
  // Fills the zero back buffer size of a windowed device in
  // *pPresentationParameters, as Direct3D does.
  virtual HRESULT CreateDevice(UINT Adapter, D3DDEVTYPE DeviceType, HWND hFocusWindow, DWORD BehaviorFlags,
                               D3DPRESENT_PARAMETERS* pPresentationParameters,
                               IDirect3DDevice9** ppReturnedDeviceInterface) = 0;
};

// Null when SDKVersion is not D3D_SDK_VERSION or no back end can be created.
IDirect3D9* Direct3DCreate9(UINT SDKVersion);

// Back end registry. Factories are called on the creating thread; each call
// returns a new IDirect3D9 holding one reference, or null.
using Direct3DFactory = std::function<IDirect3D9*()>;

// Replaces an earlier registration of the same name.
void registerDirect3DBackend(const std::string& name, int priority, Direct3DFactory factory);
// False when no back end of that name was registered.
bool unregisterDirect3DBackend(const std::string& name);
// An empty name returns to the automatic choice (environment, then priority).
void selectDirect3DBackend(const std::string& name);
// The back end Direct3DCreate9 would use now; empty when there is none.
std::string chosenDirect3DBackend();
// Registered names, highest priority first.
std::vector<std::string> direct3DBackendNames();
