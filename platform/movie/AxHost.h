#pragma once
// The control-hosting window: a hidden window of the "AtlAxWin7" class with a
// host site that creates a control by its class id and hands out its
// interfaces, shaped like ATL's CAxWindow and IAxWinHostWindow.
//
// The windows are never shown (the movie player only needs somewhere for the
// control to live), so a window here is bookkeeping: its style, rectangle
// and hosted control. The class must be registered with AtlAxWinInit before
// the first window is created; start-up does that once.
#include <string>

#include "platform/movie/OleTypes.h"

// Window styles, Win32 values.
constexpr DWORD WS_POPUP = 0x80000000;
constexpr DWORD WS_CHILD = 0x40000000;
constexpr DWORD WS_VISIBLE = 0x10000000;
constexpr DWORD WS_CLIPSIBLINGS = 0x04000000;
constexpr DWORD WS_CLIPCHILDREN = 0x02000000;
constexpr DWORD WS_CAPTION = 0x00C00000;  // WS_BORDER | WS_DLGFRAME
constexpr DWORD WS_BORDER = 0x00800000;
constexpr DWORD WS_DLGFRAME = 0x00400000;
constexpr DWORD WS_THICKFRAME = 0x00040000;

// Registers the host window class "AtlAxWin7". TRUE (also when it already is).
BOOL AtlAxWinInit();
// Unregisters it again (tests); windows that exist keep working.
void AtlAxWinTerm();

// Grows a client rectangle to the window rectangle for the style, with this
// platform's frame metrics: 1 pixel for WS_BORDER, 3 for WS_DLGFRAME,
// 4 more for WS_THICKFRAME on each side, and a 19-pixel caption on top for
// WS_CAPTION. A plain WS_POPUP window has no frame. FALSE for a null rect.
BOOL AdjustWindowRect(RECT* rect, DWORD style, BOOL menu);

// {B6EA2050-048A-11D1-82B9-00C04FB9942E}
constexpr IID IID_IAxWinHostWindow = {0xB6EA2050, 0x048A, 0x11D1, {0x82, 0xB9, 0x00, 0xC0, 0x4F, 0xB9, 0x94, 0x2E}};

// A host window's site. Reference counted like the control it holds.
class IAxWinHostWindow {
 public:
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
  // Creates the control named by its class id in registry form
  // ("{D27CDB6E-...}") inside the window hWnd (this site's own window),
  // replacing a control created before. pStream (persisted state) and the
  // advise sink are not supported: they must be null and riidAdvise IID_NULL,
  // else E_NOTIMPL. A malformed string gives CO_E_CLASSSTRING, a class no
  // control here implements REGDB_E_CLASSNOTREG. ppUnk, when not null,
  // receives the control's primary interface with one reference.
  virtual HRESULT CreateControlEx(LPCOLESTR lpTricsData, HWND hWnd, void* pStream, void** ppUnk, REFIID riidAdvise,
                                  void* punkAdvise) = 0;
  virtual HRESULT CreateControl(LPCOLESTR lpTricsData, HWND hWnd, void* pStream) = 0;
  // Queries the hosted control; E_FAIL when there is none.
  virtual HRESULT QueryControl(REFIID riid, void** ppvObject) = 0;

 protected:
  virtual ~IAxWinHostWindow() = default;
};

// A host window. Unlike ATL's CWindow, the object owns its window: the
// destructor destroys a window that is still there (and with it the site and
// its reference on the control).
class CAxWindow {
 public:
  CAxWindow() = default;
  virtual ~CAxWindow();
  CAxWindow(const CAxWindow&) = delete;
  CAxWindow& operator=(const CAxWindow&) = delete;

  static const char* GetWndClassName() { return "AtlAxWin7"; }

  // Creates the window with rect as its window rectangle (screen pixels).
  // Null (and no window) when the class is not registered, when this object
  // already has a window, or for a parent that is not a host window.
  HWND Create(HWND hWndParent, const RECT& rect, const char* szWindowName = nullptr, DWORD dwStyle = 0,
              DWORD dwExStyle = 0);
  // Destroys the window, releasing its site and control. FALSE when there is
  // no window.
  BOOL DestroyWindow();

  BOOL IsWindow() const;
  BOOL IsWindowVisible() const;  // WS_VISIBLE; nothing shows it later
  DWORD GetStyle() const;        // 0 without a window
  BOOL GetWindowRect(RECT* rect) const;
  HWND GetParent() const;

  // The window's site (IID_IAxWinHostWindow only), with one reference.
  HRESULT QueryHost(REFIID iid, void** object);
  // Shorthand for the site's QueryControl.
  HRESULT QueryControl(REFIID iid, void** object);

  HWND m_hWnd = nullptr;
};

// Host windows alive right now (leak checks in tests).
int liveHostWindows();
