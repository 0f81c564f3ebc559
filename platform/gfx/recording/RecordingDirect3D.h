#pragma once
// The recording back end's Direct3D object. Devices it creates share its
// tracker, so one call log shows start-up (display mode, caps, CreateDevice
// and its retries) and everything after it.
//
// Register it for code that calls Direct3DCreate9 itself (the shell):
//   registerRecordingBackend();            // name "recording", priority -100
//   selectDirect3DBackend("recording");
// or hand a configured object out from a factory of your own.
#include <memory>

#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/recording/RecordingDevice.h"

struct RecordingDirect3DConfig {
  D3DDISPLAYMODE displayMode{1024, 768, 60, D3DFMT_X8R8G8B8};  // the desktop
  HRESULT displayModeResult = D3D_OK;                          // what GetAdapterDisplayMode returns
  D3DCAPS9 caps = defaultRecordingCaps();
  // Client area given to windowed devices asked for a 0 x 0 back buffer: an
  // 800 x 600 window less a title bar and borders.
  UINT windowClientWidth = 794;
  UINT windowClientHeight = 571;
  // Quality levels of D3DMULTISAMPLE_NONMASKABLE (and of 2..16 samples);
  // 0 refuses multisampling in CheckDeviceMultiSampleType and CreateDevice.
  DWORD multisampleQualityLevels = 4;
};

class RecordingDirect3D final : public IDirect3D9 {
 public:
  explicit RecordingDirect3D(const RecordingDirect3DConfig& config = {},
                             std::shared_ptr<RecordingTracker> tracker = std::make_shared<RecordingTracker>());

  RecordingDirect3DConfig& config() { return m_config; }
  CallLog& log() { return m_tracker->log(); }
  RecordingTracker& tracker() { return *m_tracker; }
  std::shared_ptr<RecordingTracker> sharedTracker() { return m_tracker; }
  // The most recently created device of this object that still lives (no
  // reference added); null when none.
  RecordingDevice* lastDevice() const { return m_tracker->lastLiveDevice(); }

  ULONG AddRef() override;
  ULONG Release() override;
  UINT GetAdapterCount() override;
  HRESULT GetAdapterDisplayMode(UINT Adapter, D3DDISPLAYMODE* pMode) override;
  HRESULT GetDeviceCaps(UINT Adapter, D3DDEVTYPE DeviceType, D3DCAPS9* pCaps) override;
  HRESULT CheckDeviceMultiSampleType(UINT Adapter, D3DDEVTYPE DeviceType, D3DFORMAT SurfaceFormat, BOOL Windowed,
                                     D3DMULTISAMPLE_TYPE MultiSampleType, DWORD* pQualityLevels) override;
  HRESULT CreateDevice(UINT Adapter, D3DDEVTYPE DeviceType, HWND hFocusWindow, DWORD BehaviorFlags,
                       D3DPRESENT_PARAMETERS* pPresentationParameters,
                       IDirect3DDevice9** ppReturnedDeviceInterface) override;

 private:
  ~RecordingDirect3D() override;
  RecordedCall& record(const std::string& name, std::vector<RecordedArg> args, HRESULT result);
  // Whether the sample type and quality can be had.
  bool multisampleSupported(D3DMULTISAMPLE_TYPE type, DWORD quality) const;

  RecordingDirect3DConfig m_config;
  std::shared_ptr<RecordingTracker> m_tracker;
  ULONG m_refs = 1;
};

// Registers a factory of default-configured RecordingDirect3D objects under
// the name "recording" with priority -100 (below any real back end).
void registerRecordingBackend();
