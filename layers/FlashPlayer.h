#pragma once
// One movie loaded into the hidden movie control.
//
// A player loads its movie when it is made, switches the control's context
// menu off, sets a black background and the lowest quality, and leaves the
// movie stopped. It also prepares what copying frames into a texture would
// need (two 32-bit capture buffers of the movie surface's size, a dynamic
// texture and a full-screen quad), but nothing draws a movie, advances it or
// reads its frame count: movies are loaded and configured, and show nothing.
//
// The movie comes from a loose file of its name (relative to the current
// directory) or, failing that, from the archive: the entry is written to a
// file of that name in the current directory for the control to open and
// deleted again before the constructor returns. An existing file is never
// overwritten. The movie host's window class must be registered first
// (AtlAxWinInit, done once at start-up).
//
// Failures end the show: a movie found nowhere, a file that cannot be
// written, a file that is not a movie, or a control that cannot be created
// show "Couldn't load 2d content!" (caption "Error", exit code 0); a control
// call refused later (SetQuality with a value the control does not know)
// shows "Flash control call CALL failed (0xHRESULT)!" the same way.
#include <cstdint>
#include <string>
#include <vector>

#include "platform/gfx/Device.h"
#include "platform/movie/AxHost.h"
#include "platform/movie/ShockwaveFlash.h"

// The hidden window that hosts the control, and the control's interfaces
// (one reference each, released with the window).
class CAxFlashWindow : public CAxWindow {
 public:
  CAxFlashWindow() = default;
  ~CAxFlashWindow() override;

  IShockwaveFlash* flash = nullptr;
  IViewObjectEx* viewObject = nullptr;
};

// One corner of the full-screen quad: clip-space position, texture coordinate.
struct FlashVertex {
  float x, y, z;
  float u, v;
};

// A 32-bit capture buffer the size of the movie surface (width x height
// pixels, ARGB, top row first); it stands where the memory device context
// and its DIB section would be.
struct FlashCaptureBuffer {
  std::vector<std::uint32_t> pixels;
};

class FlashPlayer {
 public:
  // width, height: the movie surface, pixels (the script's virtual screen).
  // fileName: the movie, as the script names it.
  FlashPlayer(IDirect3DDevice9* device, int width, int height, const char* fileName);
  virtual ~FlashPlayer();
  FlashPlayer(const FlashPlayer&) = delete;
  FlashPlayer& operator=(const FlashPlayer&) = delete;

  // The control's quality (0 low .. 5 best), passed through as given.
  void SetQuality(int quality);
  // Stores mode; mode 1 also makes the control's background black again.
  void SetMode(int mode);

  // Inspection (tests, a later renderer). The control pointer adds no
  // reference.
  std::uint32_t width() const { return m_width; }
  std::uint32_t height() const { return m_height; }
  std::uint32_t textureWidth() const { return m_textureWidth; }
  std::uint32_t textureHeight() const { return m_textureHeight; }
  int mode() const { return m_mode; }
  int totalFrames() const { return m_totalFrames; }
  int lastFrame() const { return m_lastFrame; }
  IDirect3DTexture9* texture() const { return m_texture; }
  const FlashVertex* quad() const { return m_quad; }
  const FlashCaptureBuffer& captureBuffer(int index) const { return index == 0 ? m_capture : m_capture2; }
  IShockwaveFlash* control() const { return m_window ? m_window->flash : nullptr; }
  const CAxFlashWindow* window() const { return m_window; }

 private:
  bool findMovie(const char* fileName);
  void createTexture();
  bool createControl();
  [[noreturn]] void failLoad(const char* reason);
  void checkControlCall(HRESULT result, const char* call);

  std::uint32_t m_width = 0, m_height = 0;
  std::uint32_t m_textureWidth = 0, m_textureHeight = 0;
  int m_mode = 0;
  FlashCaptureBuffer m_capture, m_capture2;
  CAxFlashWindow* m_window = nullptr;
  IDirect3DTexture9* m_texture = nullptr;
  IDirect3DDevice9* m_device = nullptr;  // not owned
  FlashVertex m_quad[4] = {};
  int m_totalFrames = 0;
  int m_lastFrame = 0;

  std::string m_fileName;
  bool m_temporaryFile = false;  // the movie was written out of the archive
  bool m_constructed = false;    // control failures after this are not load failures
};

// The full path the control is given: a name with a drive ("C:...") or a
// leading "/" is already one; otherwise the current directory, "/" unless it
// already ends with "\" or "/", then the name.
std::string flashMoviePath(const char* name, const char* currentDirectory);
