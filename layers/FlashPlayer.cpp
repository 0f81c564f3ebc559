#include "layers/FlashPlayer.h"

#include "archive/CFLArchive.h"
#include "platform/movie/FileCalls.h"
#include "platform/os/Process.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* kLoadFailed = "Couldn't load 2d content!";
constexpr int kLastFrameUnset = 0x0FFFFFFF;
// The path buffers: the current directory in bytes, the full path in UTF-16
// units, each with its terminator.
constexpr DWORD kDirectoryBuffer = 256;
constexpr int kWidePathBuffer = 256;

// Writes size bytes to a new file of that name. Never replaces an existing
// file ("x": the create fails instead). A partly written file is removed.
bool writeNewFile(const char* name, const unsigned char* bytes, std::uint32_t size) {
  std::FILE* file = std::fopen(name, "wbx");
  if (!file) return false;
  bool ok = size == 0 || std::fwrite(bytes, 1, size, file) == size;
  ok = std::fclose(file) == 0 && ok;
  if (!ok) DeleteFileA(name);
  return ok;
}

void logLine(const std::string& text) { OutputDebugStringA((text + "\n").c_str()); }

std::string hresultText(HRESULT result) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", unsigned(result));
  return text;
}

}  // namespace

CAxFlashWindow::~CAxFlashWindow() {
  if (flash) flash->Release();
  if (viewObject) viewObject->Release();
  flash = nullptr;
  viewObject = nullptr;
  DestroyWindow();
}

std::string flashMoviePath(const char* name, const char* currentDirectory) {
  const std::string file = name ? name : "";
  if ((file.size() >= 2 && file[1] == ':') || (!file.empty() && file[0] == '/')) return file;
  std::string path = currentDirectory ? currentDirectory : "";
  if (path.empty() || (path.back() != '\\' && path.back() != '/')) path += '/';
  return path + file;
}

FlashPlayer::FlashPlayer(IDirect3DDevice9* device, int width, int height, const char* fileName)
    : m_width(width > 0 ? std::uint32_t(width) : 0),
      m_height(height > 0 ? std::uint32_t(height) : 0),
      m_device(device),
      m_fileName(fileName ? fileName : "") {
  const std::size_t pixels = std::size_t(m_width) * m_height;
  m_capture.pixels.assign(pixels, 0);
  m_capture2.pixels.assign(pixels, 0);

  if (!findMovie(fileName)) failLoad("found neither as a file nor in the archive, or could not be written out");

  char directory[kDirectoryBuffer];
  const DWORD directoryLength = GetCurrentDirectoryA(kDirectoryBuffer, directory);
  if (directoryLength == 0 || directoryLength >= kDirectoryBuffer)
    failLoad("the current directory cannot be read or is longer than 255 bytes");
  const std::string path = flashMoviePath(fileName, directory);
  WCHAR widePath[kWidePathBuffer];
  if (MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, path.c_str(), -1, widePath, kWidePathBuffer) == 0)
    failLoad("the full path is not UTF-8 or longer than 255 characters");

  createTexture();
  if (!createControl()) failLoad("the movie control cannot be created");

  IShockwaveFlash* flash = m_window->flash;
  checkControlCall(flash->put_Menu(VARIANT_FALSE), "put_Menu");
  checkControlCall(flash->put_BackgroundColor(0), "put_BackgroundColor");
  checkControlCall(flash->put_Quality(0), "put_Quality");
  BSTR movie = SysAllocString(widePath);
  const HRESULT loaded = flash->put_Movie(movie);
  SysFreeString(movie);
  checkControlCall(loaded, "put_Movie");
  checkControlCall(flash->put_Playing(VARIANT_FALSE), "put_Playing");
  LONG frames = 0;
  checkControlCall(flash->get_TotalFrames(&frames), "get_TotalFrames");
  m_totalFrames = int(frames);
  m_lastFrame = kLastFrameUnset;

  if (m_temporaryFile) DeleteFileA(m_fileName.c_str());
  m_temporaryFile = false;
  m_constructed = true;
}

FlashPlayer::~FlashPlayer() {
  delete m_window;
  if (m_texture) m_texture->Release();
}

void FlashPlayer::SetQuality(int quality) { checkControlCall(m_window->flash->put_Quality(quality), "put_Quality"); }

void FlashPlayer::SetMode(int mode) {
  m_mode = mode;
  if (mode == 1) checkControlCall(m_window->flash->put_BackgroundColor(0), "put_BackgroundColor");
}

// A loose file wins; otherwise the archive's entry is written out under the
// same name for the control to open.
bool FlashPlayer::findMovie(const char* fileName) {
  if (!fileName || !*fileName) return false;
  if (std::FILE* loose = std::fopen(fileName, "r")) {
    std::fclose(loose);
    return true;
  }
  if (!g_archive || !g_archive->Contains(fileName)) return false;
  std::uint32_t size = 0;
  unsigned char* bytes = g_archive->Extract(fileName, &size);
  if (!bytes) return false;
  const bool written = writeNewFile(fileName, bytes, size);
  std::free(bytes);
  m_temporaryFile = written;
  return written;
}

// Device results are not checked beyond not using what was not made: the
// texture is only ever a place a frame could go.
void FlashPlayer::createTexture() {
  m_textureWidth = m_width;
  m_textureHeight = m_height;
  if (m_device &&
      SUCCEEDED(m_device->CreateTexture(m_width, m_height, 1, D3DUSAGE_DYNAMIC, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT,
                                        &m_texture, nullptr))) {
    D3DSURFACE_DESC desc;
    if (SUCCEEDED(m_texture->GetLevelDesc(0, &desc))) {
      m_textureWidth = desc.Width;
      m_textureHeight = desc.Height;
    }
  } else {
    m_texture = nullptr;
  }
  // u and v reach the used part of a texture that may be larger than the
  // surface; clip space, z = 1.
  const float uScale = m_width ? float(m_textureWidth) / float(m_width) : 1.0f;
  const float vScale = m_height ? float(m_textureHeight) / float(m_height) : 1.0f;
  const FlashVertex corners[4] = {
      {-1.0f, -1.0f, 1.0f, 0.0f, 1.0f}, {-1.0f, 1.0f, 1.0f, 0.0f, 0.0f},
      {1.0f, -1.0f, 1.0f, 1.0f, 1.0f},  {1.0f, 1.0f, 1.0f, 1.0f, 0.0f}};
  for (int i = 0; i < 4; ++i) {
    m_quad[i] = corners[i];
    m_quad[i].u *= uScale;
    m_quad[i].v *= vScale;
  }
}

// A hidden top-level window with a client area of width x height and the
// control inside it. False when any step fails (no host class, no control).
bool FlashPlayer::createControl() {
  m_window = new CAxFlashWindow;
  RECT rect = {0, 0, std::int32_t(m_width), std::int32_t(m_height)};
  AdjustWindowRect(&rect, WS_POPUP, FALSE);
  if (!m_window->Create(nullptr, rect, nullptr, WS_POPUP)) return false;

  IAxWinHostWindow* host = nullptr;
  if (FAILED(m_window->QueryHost(IID_IAxWinHostWindow, reinterpret_cast<void**>(&host)))) return false;
  LPOLESTR classId = nullptr;
  HRESULT result = StringFromCLSID(CLSID_ShockwaveFlash, &classId);
  if (SUCCEEDED(result)) result = host->CreateControlEx(classId, m_window->m_hWnd, nullptr, nullptr, IID_NULL, nullptr);
  CoTaskMemFree(classId);
  host->Release();
  if (FAILED(result)) return false;
  if (FAILED(m_window->QueryControl(IID_IShockwaveFlash, reinterpret_cast<void**>(&m_window->flash)))) return false;
  if (FAILED(m_window->QueryControl(IID_IViewObjectEx, reinterpret_cast<void**>(&m_window->viewObject)))) return false;
  return true;
}

// The file written out of the archive goes before the process does. What was
// made so far is released too: a test harness's exit hook may unwind out of
// the constructor instead of ending the process, and then no destructor runs.
void FlashPlayer::failLoad(const char* reason) {
  logLine("FlashPlayer: " + m_fileName + ": " + reason);
  if (m_temporaryFile) DeleteFileA(m_fileName.c_str());
  m_temporaryFile = false;
  delete m_window;
  m_window = nullptr;
  if (m_texture) m_texture->Release();
  m_texture = nullptr;
  FatalMessage("Error", 0, "%s", kLoadFailed);
}

// A refused control call ends the show: while loading, as a movie that
// cannot be loaded; afterwards with the call and its result.
void FlashPlayer::checkControlCall(HRESULT result, const char* call) {
  if (SUCCEEDED(result)) return;
  if (!m_constructed) failLoad((std::string("the movie control refused ") + call + " with " + hresultText(result)).c_str());
  FatalMessage("Error", 0, "Flash control call %s failed (%s)!", call, hresultText(result).c_str());
}
