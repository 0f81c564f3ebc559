#include "platform/movie/ShockwaveFlash.h"

#include "platform/os/Process.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

int g_liveControls = 0;

// One object behind both interfaces, as a real control is; the view is a
// second vtable on the same object and shares its reference count.
class FlashControl final : public IShockwaveFlash, public IViewObjectEx {
 public:
  FlashControl() { ++g_liveControls; }
  ~FlashControl() override {
    SysFreeString(m_movie);
    --g_liveControls;
  }

  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (iid == IID_IShockwaveFlash) *object = static_cast<IShockwaveFlash*>(this);
    else if (iid == IID_IViewObjectEx) *object = static_cast<IViewObjectEx*>(this);
    else {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    ++m_refs;
    return S_OK;
  }
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }

  HRESULT put_Quality(int quality) override {
    if (quality < 0 || quality > 5) return E_INVALIDARG;
    m_quality = quality;
    return S_OK;
  }
  HRESULT get_Quality(int* quality) override { return answer(quality, m_quality); }

  HRESULT put_Menu(VARIANT_BOOL menu) override {
    m_menu = menu ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  HRESULT get_Menu(VARIANT_BOOL* menu) override { return answer(menu, m_menu); }

  HRESULT put_BackgroundColor(LONG color) override {
    if (color < -1 || color > 0xFFFFFF) return E_INVALIDARG;
    m_background = color;
    return S_OK;
  }
  HRESULT get_BackgroundColor(LONG* color) override { return answer(color, m_background); }

  HRESULT put_Movie(BSTR path) override;
  HRESULT get_Movie(BSTR* path) override {
    if (!path) return E_POINTER;
    *path = nullptr;
    if (!m_movie) return S_OK;
    *path = SysAllocStringLen(m_movie, SysStringLen(m_movie));
    return *path ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT put_Playing(VARIANT_BOOL playing) override {
    m_playing = playing ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  HRESULT get_Playing(VARIANT_BOOL* playing) override { return answer(playing, m_playing); }

  HRESULT get_TotalFrames(LONG* frames) override {
    if (!frames) return E_POINTER;
    *frames = m_movie ? LONG(m_header.frameCount) : 0;
    return m_movie ? S_OK : E_FAIL;
  }
  HRESULT get_FrameRate(double* rate) override {
    if (!rate) return E_POINTER;
    *rate = m_movie ? m_header.framesPerSecond() : 0.0;
    return m_movie ? S_OK : E_FAIL;
  }

  HRESULT GetExtent(DWORD drawAspect, SIZEL* size) override {
    if (!size) return E_POINTER;
    *size = {0, 0};
    if (drawAspect != DVASPECT_CONTENT) return E_INVALIDARG;
    if (!m_movie) return E_FAIL;
    // 1 inch = 96 pixels = 2540 HIMETRIC
    size->cx = LONG(std::int64_t(m_header.widthPixels()) * 2540 / 96);
    size->cy = LONG(std::int64_t(m_header.heightPixels()) * 2540 / 96);
    return S_OK;
  }

 private:
  template <typename T>
  static HRESULT answer(T* out, T value) {
    if (!out) return E_POINTER;
    *out = value;
    return S_OK;
  }
  void unload() {
    SysFreeString(m_movie);
    m_movie = nullptr;
    m_header = SwfHeader();
  }

  ULONG m_refs = 1;
  int m_quality = 1;  // high, the control's own default
  VARIANT_BOOL m_menu = VARIANT_TRUE;
  LONG m_background = -1;  // the movie's own background
  VARIANT_BOOL m_playing = VARIANT_TRUE;  // a fresh control plays what it loads
  BSTR m_movie = nullptr;  // full path of the loaded movie; null when none
  SwfHeader m_header;
};

// Reads the whole file; false when it cannot be opened or read.
bool readFile(const std::string& path, std::vector<unsigned char>* bytes) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return false;
  bytes->clear();
  unsigned char chunk[65536];
  bool ok = true;
  for (;;) {
    const std::size_t got = std::fread(chunk, 1, sizeof chunk, file);
    bytes->insert(bytes->end(), chunk, chunk + got);
    if (got < sizeof chunk) {
      ok = !std::ferror(file);
      break;
    }
  }
  std::fclose(file);
  return ok;
}

void logMovieError(const std::string& path, const char* reason) {
  const std::string line = "movie control: " + path + ": " + reason + "\n";
  OutputDebugStringA(line.c_str());
}

HRESULT FlashControl::put_Movie(BSTR path) {
  unload();
  std::string name;
  const UINT units = SysStringLen(path);
  if (units == 0 || !wideToUtf8(path, units, &name)) {
    logMovieError(name, "the path is empty or not valid UTF-16");
    return E_INVALIDARG;
  }
  std::vector<unsigned char> bytes;
  if (!readFile(name, &bytes)) {
    logMovieError(name, "cannot be read");
    return HRESULT_FILE_NOT_FOUND;
  }
  SwfHeader header;
  const SwfStatus status = readSwfHeader(bytes.data(), bytes.size(), &header);
  if (status != SwfStatus::ok) {
    logMovieError(name, swfStatusText(status));
    return CTL_E_INVALIDFILEFORMAT;
  }
  m_movie = SysAllocStringLen(path, units);
  if (!m_movie) return E_OUTOFMEMORY;
  m_header = header;
  return S_OK;
}

}  // namespace

IShockwaveFlash* createFlashControl() { return new FlashControl(); }

int liveFlashControls() { return g_liveControls; }
