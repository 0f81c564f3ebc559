#pragma once
// The movie control's interfaces, shaped like the Flash control's dual
// interface: the same method names, argument types and results, so the player
// drives it call for call. There is no movie runtime behind it: the control
// validates what it is given, reads the movie's header and keeps every
// setting, and draws nothing.
//
// Interfaces are reference counted as in COM: a creating or querying call
// hands out one reference; Release returns the new count and the object goes
// at 0. Every method returns an HRESULT; out parameters are set on success.
#include "platform/movie/OleTypes.h"
#include "platform/movie/SwfHeader.h"

// {D27CDB6E-AE6D-11CF-96B8-444553540000}
constexpr CLSID CLSID_ShockwaveFlash = {0xD27CDB6E, 0xAE6D, 0x11CF, {0x96, 0xB8, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
// {D27CDB6C-AE6D-11CF-96B8-444553540000}
constexpr IID IID_IShockwaveFlash = {0xD27CDB6C, 0xAE6D, 0x11CF, {0x96, 0xB8, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
// {3AF24292-0C96-11CE-A0CF-00AA00600AB8}
constexpr IID IID_IViewObjectEx = {0x3AF24292, 0x0C96, 0x11CE, {0xA0, 0xCF, 0x00, 0xAA, 0x00, 0x60, 0x0A, 0xB8}};

class IShockwaveFlash {
 public:
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

  // Playback quality: 0 low, 1 high, 2 auto-low, 3 auto-high, 4 medium,
  // 5 best. Other values give E_INVALIDARG and change nothing.
  virtual HRESULT put_Quality(int quality) = 0;
  virtual HRESULT get_Quality(int* quality) = 0;
  // Whether right-clicking the movie offers the full context menu.
  virtual HRESULT put_Menu(VARIANT_BOOL menu) = 0;
  virtual HRESULT get_Menu(VARIANT_BOOL* menu) = 0;
  // 0xRRGGBB; -1 returns to the movie's own background. Other values with
  // bits above the colour give E_INVALIDARG.
  virtual HRESULT put_BackgroundColor(LONG color) = 0;
  virtual HRESULT get_BackgroundColor(LONG* color) = 0;
  // Loads the movie at the full path (no current-directory lookup). A file
  // that cannot be read gives HRESULT_FILE_NOT_FOUND, one that is not a movie
  // (or an LZMA-compressed one) CTL_E_INVALIDFILEFORMAT; the reason goes to
  // the debugger output. On any failure the control is left with no movie.
  virtual HRESULT put_Movie(BSTR path) = 0;
  // The path of the loaded movie, a new BSTR for the caller (null and S_OK
  // when there is none).
  virtual HRESULT get_Movie(BSTR* path) = 0;
  // Nothing advances the movie; the flag is kept for whoever asks.
  virtual HRESULT put_Playing(VARIANT_BOOL playing) = 0;
  virtual HRESULT get_Playing(VARIANT_BOOL* playing) = 0;
  // The loaded movie's frame count from its header; E_FAIL (and 0) when no
  // movie is loaded.
  virtual HRESULT get_TotalFrames(LONG* frames) = 0;
  // The loaded movie's frame rate, frames per second; E_FAIL without movie.
  virtual HRESULT get_FrameRate(double* rate) = 0;

 protected:
  virtual ~IShockwaveFlash() = default;
};

struct SIZEL {
  LONG cx, cy;
};
constexpr DWORD DVASPECT_CONTENT = 1;

// The control's view: its extent, for a host that sizes a window or a
// capture surface to the movie.
class IViewObjectEx {
 public:
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
  // The loaded movie's frame size in HIMETRIC units (0.01 mm, at 96 pixels
  // per inch); E_FAIL when no movie is loaded. Aspects other than
  // DVASPECT_CONTENT give E_INVALIDARG.
  virtual HRESULT GetExtent(DWORD drawAspect, SIZEL* size) = 0;

 protected:
  virtual ~IViewObjectEx() = default;
};

// Creates a control with one reference on its IShockwaveFlash interface.
// The host window (AxHost.h) calls it; nothing else needs to.
IShockwaveFlash* createFlashControl();

// Controls alive right now (leak checks in tests).
int liveFlashControls();
