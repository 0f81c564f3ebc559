#include "platform/gfx/recording/RecordingDirect3D.h"

#include "platform/gfx/D3D9Names.h"

namespace {

RecordedArg argDeviceType(D3DDEVTYPE type) {
  static const char* const kNames[] = {nullptr, "D3DDEVTYPE_HAL", "D3DDEVTYPE_REF", "D3DDEVTYPE_SW",
                                       "D3DDEVTYPE_NULLREF"};
  return type >= 1 && type <= 4 ? argText(kNames[type], type) : argNumber(type);
}

RecordedArg argMultiSample(D3DMULTISAMPLE_TYPE type) {
  const char* name = multiSampleName(type);
  return argText(name != nullptr ? name : std::to_string(type), type);
}

// The presentation parameters as one readable argument.
std::string presentText(const D3DPRESENT_PARAMETERS& p) {
  return "{" + std::to_string(p.BackBufferWidth) + "x" + std::to_string(p.BackBufferHeight) + " " +
         formatText(p.BackBufferFormat) + " x" + std::to_string(p.BackBufferCount) + ", " +
         argMultiSample(p.MultiSampleType).text + " q" + std::to_string(p.MultiSampleQuality) +
         ", swap " + std::to_string(p.SwapEffect) + ", windowed " + std::to_string(p.Windowed) + ", depth " +
         (p.EnableAutoDepthStencil ? formatText(p.AutoDepthStencilFormat) : std::string("none")) + ", flags " +
         std::to_string(p.Flags) + ", refresh " + std::to_string(p.FullScreen_RefreshRateInHz) + ", interval " +
         std::to_string(p.PresentationInterval) + "}";
}

}  // namespace

RecordingDirect3D::RecordingDirect3D(const RecordingDirect3DConfig& config, std::shared_ptr<RecordingTracker> tracker)
    : m_config(config), m_tracker(std::move(tracker)) {}

RecordingDirect3D::~RecordingDirect3D() = default;

RecordedCall& RecordingDirect3D::record(const std::string& name, std::vector<RecordedArg> args, HRESULT result) {
  RecordedCall call;
  call.object = "Direct3D";
  call.name = name;
  call.args = std::move(args);
  call.result = result;
  return m_tracker->log().append(std::move(call));
}

ULONG RecordingDirect3D::AddRef() {
  ++m_refs;
  record("AddRef", {}, static_cast<HRESULT>(m_refs));
  return m_refs;
}

ULONG RecordingDirect3D::Release() {
  ULONG count = --m_refs;
  record("Release", {}, static_cast<HRESULT>(count));
  if (count == 0) delete this;
  return count;
}

UINT RecordingDirect3D::GetAdapterCount() {
  record("GetAdapterCount", {}, D3D_OK);
  return 1;
}

HRESULT RecordingDirect3D::GetAdapterDisplayMode(UINT Adapter, D3DDISPLAYMODE* pMode) {
  HRESULT hr = (Adapter != D3DADAPTER_DEFAULT || pMode == nullptr) ? D3DERR_INVALIDCALL : m_config.displayModeResult;
  if (hr == D3D_OK) *pMode = m_config.displayMode;
  record("GetAdapterDisplayMode", {argNumber(Adapter)}, hr);
  return hr;
}

HRESULT RecordingDirect3D::GetDeviceCaps(UINT Adapter, D3DDEVTYPE DeviceType, D3DCAPS9* pCaps) {
  HRESULT hr = (Adapter != D3DADAPTER_DEFAULT || pCaps == nullptr) ? D3DERR_INVALIDCALL
               : DeviceType != D3DDEVTYPE_HAL                     ? D3DERR_NOTAVAILABLE
                                                                  : D3D_OK;
  if (hr == D3D_OK) *pCaps = m_config.caps;
  record("GetDeviceCaps", {argNumber(Adapter), argDeviceType(DeviceType)}, hr);
  return hr;
}

bool RecordingDirect3D::multisampleSupported(D3DMULTISAMPLE_TYPE type, DWORD quality) const {
  if (type == D3DMULTISAMPLE_NONE) return quality == 0;
  if (type > D3DMULTISAMPLE_16_SAMPLES) return false;
  return m_config.multisampleQualityLevels != 0 && quality < m_config.multisampleQualityLevels;
}

HRESULT RecordingDirect3D::CheckDeviceMultiSampleType(UINT Adapter, D3DDEVTYPE DeviceType, D3DFORMAT SurfaceFormat,
                                                      BOOL Windowed, D3DMULTISAMPLE_TYPE MultiSampleType,
                                                      DWORD* pQualityLevels) {
  HRESULT hr = Adapter != D3DADAPTER_DEFAULT ? D3DERR_INVALIDCALL
               : (DeviceType != D3DDEVTYPE_HAL || !multisampleSupported(MultiSampleType, 0)) ? D3DERR_NOTAVAILABLE
                                                                                             : D3D_OK;
  if (pQualityLevels != nullptr) {
    *pQualityLevels = hr != D3D_OK                             ? 0
                      : MultiSampleType == D3DMULTISAMPLE_NONE ? 1
                                                               : m_config.multisampleQualityLevels;
  }
  record("CheckDeviceMultiSampleType", {argNumber(Adapter), argDeviceType(DeviceType),
                                        argText(formatText(SurfaceFormat), SurfaceFormat),
                                        argNumber(static_cast<DWORD>(Windowed)), argMultiSample(MultiSampleType)},
         hr);
  return hr;
}

HRESULT RecordingDirect3D::CreateDevice(UINT Adapter, D3DDEVTYPE DeviceType, HWND hFocusWindow, DWORD BehaviorFlags,
                                        D3DPRESENT_PARAMETERS* pPresentationParameters,
                                        IDirect3DDevice9** ppReturnedDeviceInterface) {
  std::vector<RecordedArg> args{argNumber(Adapter), argDeviceType(DeviceType), argPointer(hFocusWindow),
                                argText(createFlagsText(BehaviorFlags), BehaviorFlags),
                                argText(pPresentationParameters != nullptr ? presentText(*pPresentationParameters)
                                                                           : std::string("NULL"))};
  if (ppReturnedDeviceInterface != nullptr) *ppReturnedDeviceInterface = nullptr;
  HRESULT hr = D3D_OK;
  D3DPRESENT_PARAMETERS* p = pPresentationParameters;
  const DWORD vertexProcessing = D3DCREATE_SOFTWARE_VERTEXPROCESSING | D3DCREATE_HARDWARE_VERTEXPROCESSING |
                                 D3DCREATE_MIXED_VERTEXPROCESSING;
  DWORD processing = BehaviorFlags & vertexProcessing;
  if (Adapter != D3DADAPTER_DEFAULT || p == nullptr || ppReturnedDeviceInterface == nullptr) {
    hr = D3DERR_INVALIDCALL;
  } else if (processing != D3DCREATE_SOFTWARE_VERTEXPROCESSING && processing != D3DCREATE_HARDWARE_VERTEXPROCESSING &&
             processing != D3DCREATE_MIXED_VERTEXPROCESSING) {
    hr = D3DERR_INVALIDCALL;  // exactly one vertex processing flag
  } else if (DeviceType != D3DDEVTYPE_HAL) {
    hr = D3DERR_NOTAVAILABLE;
  } else if (processing != D3DCREATE_SOFTWARE_VERTEXPROCESSING &&
             (m_config.caps.DevCaps & D3DDEVCAPS_HWTRANSFORMANDLIGHT) == 0) {
    hr = D3DERR_INVALIDCALL;  // hardware vertex processing without hardware T&L
  } else if (!multisampleSupported(p->MultiSampleType, p->MultiSampleQuality)) {
    hr = D3DERR_INVALIDCALL;
  } else if (p->hDeviceWindow == nullptr && hFocusWindow == nullptr &&
             (p->BackBufferWidth == 0 || p->BackBufferHeight == 0)) {
    hr = D3DERR_INVALIDCALL;  // an off-screen device needs a size
  } else if (!p->Windowed && (p->BackBufferWidth == 0 || p->BackBufferHeight == 0)) {
    hr = D3DERR_INVALIDCALL;
  } else if (p->EnableAutoDepthStencil && p->AutoDepthStencilFormat != D3DFMT_D24S8 &&
             p->AutoDepthStencilFormat != D3DFMT_D24X8 && p->AutoDepthStencilFormat != D3DFMT_D16) {
    hr = D3DERR_INVALIDCALL;
  } else {
    hr = m_tracker->takeCreationFailure("CreateDevice");
  }
  RecordingDevice* device = nullptr;
  if (hr == D3D_OK) {
    // A windowed device takes the window's client size and the desktop's
    // format where the parameters leave them open, and says so in them.
    if (p->Windowed && p->BackBufferWidth == 0) p->BackBufferWidth = m_config.windowClientWidth;
    if (p->Windowed && p->BackBufferHeight == 0) p->BackBufferHeight = m_config.windowClientHeight;
    if (p->BackBufferFormat == D3DFMT_UNKNOWN) p->BackBufferFormat = m_config.displayMode.Format;
    if (p->BackBufferCount == 0) p->BackBufferCount = 1;
    HWND window = p->hDeviceWindow != nullptr ? p->hDeviceWindow : hFocusWindow;
    device = new RecordingDevice(m_tracker, *p, m_config.caps, window, BehaviorFlags);
    *ppReturnedDeviceInterface = device;
  }
  RecordedCall& call = record("CreateDevice", std::move(args), hr);
  if (device != nullptr) call.created = "Device";
  return hr;
}

void registerRecordingBackend() {
  registerDirect3DBackend("recording", -100, [] { return new RecordingDirect3D(); });
}
