#include "platform/movie/AxHost.h"

#include "platform/movie/ShockwaveFlash.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace {

class HostSite;

// What an HWND of a host window points at.
struct HostWindowRecord {
  RECT rect;
  DWORD style;
  DWORD exStyle;
  std::string title;
  HWND parent;
  HostSite* site;
};

bool g_classRegistered = false;
// Live windows by handle. Handles are numbers that are never reused, so a
// stale handle finds nothing instead of a newer window.
std::map<std::uintptr_t, std::unique_ptr<HostWindowRecord>> g_windows;
std::uintptr_t g_nextHandle = 0x10000;

HostWindowRecord* recordOf(HWND window) {
  const auto found = g_windows.find(reinterpret_cast<std::uintptr_t>(window));
  return found == g_windows.end() ? nullptr : found->second.get();
}

void destroyWindow(HWND window);

class HostSite final : public IAxWinHostWindow {
 public:
  explicit HostSite(HWND window) : m_window(window) {}

  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }

  HRESULT CreateControlEx(LPCOLESTR lpTricsData, HWND hWnd, void* pStream, void** ppUnk, REFIID riidAdvise,
                          void* punkAdvise) override {
    if (ppUnk) *ppUnk = nullptr;
    if (!m_window) return E_FAIL;  // the window is gone
    if (hWnd != m_window) return E_INVALIDARG;
    if (pStream || punkAdvise || !IsEqualGUID(riidAdvise, IID_NULL)) return E_NOTIMPL;
    CLSID clsid;
    const HRESULT parsed = CLSIDFromString(lpTricsData, &clsid);
    if (FAILED(parsed)) return parsed;
    if (clsid != CLSID_ShockwaveFlash) return REGDB_E_CLASSNOTREG;
    IShockwaveFlash* control = createFlashControl();
    if (!control) return E_OUTOFMEMORY;
    detach();
    m_control = control;
    if (ppUnk) {
      m_control->AddRef();
      *ppUnk = m_control;
    }
    return S_OK;
  }
  HRESULT CreateControl(LPCOLESTR lpTricsData, HWND hWnd, void* pStream) override {
    return CreateControlEx(lpTricsData, hWnd, pStream, nullptr, IID_NULL, nullptr);
  }
  HRESULT QueryControl(REFIID riid, void** ppvObject) override {
    if (!ppvObject) return E_POINTER;
    *ppvObject = nullptr;
    if (!m_control) return E_FAIL;
    return m_control->QueryInterface(riid, ppvObject);
  }

  // The window is being destroyed: drop the control.
  void windowDestroyed() {
    detach();
    m_window = nullptr;
  }

 private:
  ~HostSite() override { detach(); }
  void detach() {
    if (m_control) m_control->Release();
    m_control = nullptr;
  }

  ULONG m_refs = 1;
  HWND m_window;
  IShockwaveFlash* m_control = nullptr;
};

// Children go first, as in Win32.
void destroyWindow(HWND window) {
  std::vector<HWND> children;
  for (const auto& [handle, record] : g_windows)
    if (record->parent == window) children.push_back(reinterpret_cast<HWND>(handle));
  for (HWND child : children) destroyWindow(child);
  const auto found = g_windows.find(reinterpret_cast<std::uintptr_t>(window));
  if (found == g_windows.end()) return;
  const std::unique_ptr<HostWindowRecord> record = std::move(found->second);
  g_windows.erase(found);
  record->site->windowDestroyed();
  record->site->Release();
}

}  // namespace

BOOL AtlAxWinInit() {
  g_classRegistered = true;
  return TRUE;
}

void AtlAxWinTerm() { g_classRegistered = false; }

BOOL AdjustWindowRect(RECT* rect, DWORD style, BOOL menu) {
  if (!rect) return FALSE;
  (void)menu;  // a hidden host window has no menu bar to measure
  int frame = 0;
  if ((style & WS_CAPTION) == WS_CAPTION || (style & WS_DLGFRAME)) frame = 3;
  else if (style & WS_BORDER) frame = 1;
  if (style & WS_THICKFRAME) frame += 4;
  const int caption = (style & WS_CAPTION) == WS_CAPTION ? 19 : 0;
  rect->left -= frame;
  rect->right += frame;
  rect->top -= frame + caption;
  rect->bottom += frame;
  return TRUE;
}

CAxWindow::~CAxWindow() { DestroyWindow(); }

HWND CAxWindow::Create(HWND hWndParent, const RECT& rect, const char* szWindowName, DWORD dwStyle, DWORD dwExStyle) {
  if (!g_classRegistered || m_hWnd) return nullptr;
  if (hWndParent && !recordOf(hWndParent)) return nullptr;
  HWND handle = reinterpret_cast<HWND>(g_nextHandle++);
  auto record = std::make_unique<HostWindowRecord>(
      HostWindowRecord{rect, dwStyle, dwExStyle, szWindowName ? szWindowName : "", hWndParent, new HostSite(handle)});
  g_windows.emplace(reinterpret_cast<std::uintptr_t>(handle), std::move(record));
  m_hWnd = handle;
  return m_hWnd;
}

BOOL CAxWindow::DestroyWindow() {
  const HWND window = m_hWnd;
  m_hWnd = nullptr;
  if (!recordOf(window)) return FALSE;
  destroyWindow(window);
  return TRUE;
}

BOOL CAxWindow::IsWindow() const { return recordOf(m_hWnd) ? TRUE : FALSE; }

BOOL CAxWindow::IsWindowVisible() const {
  const HostWindowRecord* record = recordOf(m_hWnd);
  return record && (record->style & WS_VISIBLE) ? TRUE : FALSE;
}

DWORD CAxWindow::GetStyle() const {
  const HostWindowRecord* record = recordOf(m_hWnd);
  return record ? record->style : 0;
}

BOOL CAxWindow::GetWindowRect(RECT* rect) const {
  const HostWindowRecord* record = recordOf(m_hWnd);
  if (!record || !rect) return FALSE;
  *rect = record->rect;
  return TRUE;
}

HWND CAxWindow::GetParent() const {
  const HostWindowRecord* record = recordOf(m_hWnd);
  return record ? record->parent : nullptr;
}

HRESULT CAxWindow::QueryHost(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  HostWindowRecord* record = recordOf(m_hWnd);
  if (!record) return E_FAIL;
  if (iid != IID_IAxWinHostWindow) return E_NOINTERFACE;
  record->site->AddRef();
  *object = static_cast<IAxWinHostWindow*>(record->site);
  return S_OK;
}

HRESULT CAxWindow::QueryControl(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  HostWindowRecord* record = recordOf(m_hWnd);
  if (!record) return E_FAIL;
  return record->site->QueryControl(iid, object);
}

int liveHostWindows() { return int(g_windows.size()); }
