#include "tools/PreviewSession.h"

#include "archive/CFLArchive.h"
#include "archive/ResourceFile.h"
#include "audio/MP3Player.h"
#include "platform/movie/AxHost.h"
#include "platform/sound/SoundOffline.h"
#include "render/TextOverlay.h"
#include "script/Scripter.h"
#include "script/ScriptItem.h"
#include "script/Show.h"
#include "render/DeviceStates.h"
#include "tools/DeviceHolder.h"
#include "tools/FrameGrid.h"
#include "tools/OfflineRenderer.h"
#include "tools/ShowFailure.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// The files asked for by the show of the session that lives (one at a time).
std::set<std::string>* g_filesAskedFor = nullptr;

void noteFileAskedFor(const char* name, bool) {
  if (g_filesAskedFor && name) g_filesAskedFor->insert(name);
}

bool isLooseFile(const std::string& name) {
  struct stat st;
  return ::stat(name.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string seconds(double ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f s", ms / 1000.0);
  return text;
}

// Splits a message into lines of at most width characters, at spaces where
// it can.
std::vector<std::string> wrap(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t newline = text.find('\n', start);
    std::size_t end = std::min(newline == std::string::npos ? text.size() : newline, start + width);
    if (end < text.size() && end == start + width && text[end] != '\n') {
      const std::size_t space = text.rfind(' ', end);
      if (space != std::string::npos && space > start) end = space;
    }
    lines.push_back(text.substr(start, end - start));
    start = end;
    while (start < text.size() && (text[start] == ' ' || text[start] == '\n')) ++start;
  }
  return lines;
}

}  // namespace

PreviewSession::PreviewSession(IDirect3DDevice9* device, const PreviewOptions& options)
    : m_device(device), m_options(options), m_catcher(std::make_unique<ShowFailureCatcher>()) {
  if (!(m_options.fps > 0 && m_options.fps <= 1000)) m_options.fps = 30;
  AtlAxWinInit();  // the movie host's window class, before any movie loads
  g_filesAskedFor = &m_files;
  SetResourceOpenObserver(noteFileAskedFor);
  m_text = std::make_unique<TextOverlay>(device);
  if (!m_text->ok()) m_text.reset();
}

PreviewSession::~PreviewSession() {
  m_show.reset();  // the Scripter (and the music system), then its device reference
  soundSetHeld(false);
  if (m_held) m_held->Release();
  m_text.reset();
  SetResourceOpenObserver(nullptr);
  g_filesAskedFor = nullptr;
  if (g_archive == m_archive.get()) g_archive = nullptr;
  m_catcher.reset();
}

void PreviewSession::fail(const std::string& message) {
  m_show.reset();
  m_error = message;
  m_onGrid = false;
  m_haveHeld = false;
  std::fprintf(stderr, "vxtool: %s\n", message.c_str());
  std::fflush(stderr);
}

bool PreviewSession::seek(double ms) {
  // The demo clock counts 32-bit ms: no show time lies beyond.
  constexpr double kClockLimitMs = 4294967295.0;
  return load(ms < 0 || !(ms == ms) ? 0.0 : std::min(ms, kClockLimitMs));
}

bool PreviewSession::load(double targetMs) {
  m_show.reset();
  m_error.clear();
  m_ended = false;
  m_onGrid = false;
  m_haveHeld = false;
  m_baseWallMs.reset();
  m_showMs = targetMs;
  m_files.clear();
  // The music stays silent and still until the first frame played after
  // landing (or after the pause that follows).
  soundSetHeld(true);

  // The archive afresh (the author may have repacked it), with every entry
  // that the folder holds as a loose file left out, so that the loose file
  // is read everywhere, the script included.
  m_archive = std::make_unique<CFLArchive>();
  g_archive = m_archive.get();
  if (!m_options.archive.empty()) {
    m_files.insert(m_options.archive);
    if (!m_archive->Open(m_options.archive.c_str())) {
      fail("cannot open archive '" + m_options.archive + "'");
      return false;
    }
    std::vector<std::string> shadowed;
    for (const CFLEntry* entry : m_archive->Entries())
      if (isLooseFile(entry->name)) shadowed.push_back(entry->name);
    for (const std::string& name : shadowed) m_archive->Remove(name.c_str());
  }

  // What the shows before left on the device goes, as a render starts on
  // a new device.
  resetDeviceStates(m_device, true);
  // The scripts asked for are watched whether the parse succeeds or not, so
  // that fixing a broken script reloads it.
  std::vector<std::string> scripts;
  struct WatchScripts {
    std::vector<std::string>& scripts;
    std::set<std::string>& files;
    ~WatchScripts() { files.insert(scripts.begin(), scripts.end()); }
  } watchScripts{scripts, m_files};
  try {
    m_device->AddRef();  // the show's own reference
    m_show = std::make_unique<Show>(m_device, Show::Clock::Virtual);
    std::string error;
    const bool started = startShow(*m_show, m_options.archive, &error, &scripts, m_options.script);
    if (!started) {
      fail(error);
      return false;
    }
    const ScriptRunning running(*m_show);
    const double fps = m_options.fps;
    const double step = 1000.0 / fps;
    // Frames 0 ... n-1 lie before the target; frame n is on it when the
    // target is on the grid.
    const std::int64_t n = firstFrameFrom(targetMs, fps);
    const bool onGrid = frameMs(n, fps) == targetMs;
    for (std::int64_t j = 0; j < n; ++j) {
      const double t = frameMs(j, fps);
      m_show->SetTime(t);
      const bool ended = m_show->Frame(j + kWarmUpFrames >= n);
      printHeldBox();
      if (ended) {
        // The show ends before the target: it stands on its last frame.
        m_ended = true;
        m_paused = true;
        m_showMs = t;
        m_onGrid = true;
        m_gridFrame = j;
        drawShowFrame(true);
        return !failed();
      }
      // The music of the frame's interval, in the render's steps.
      soundHeldAdvanceMs(j + 1 < n || onGrid ? step : targetMs - t);
    }
    m_onGrid = onGrid;
    m_gridFrame = onGrid ? n : n - 1;
  } catch (const ShowFatal& fatal) {
    fail(fatal.message);
    return false;
  }
  drawShowFrame(true);
  return !failed();
}

void PreviewSession::drawShowFrame(bool capture) {
  if (!m_show) return;
  try {
    const ScriptRunning running(*m_show);
    m_show->SetTime(m_showMs);
    const bool ended = m_show->Frame(true, [&] {
      if (capture) captureBackBuffer();
      drawOverlay();
    });
    printHeldBox();
    if (ended && !m_ended) {
      m_ended = true;
      if (!m_paused) setPaused(true);
    }
  } catch (const ShowFatal& fatal) {
    fail(fatal.message);
  }
}

void PreviewSession::captureBackBuffer() {
  std::vector<D3DCOLOR> pixels;
  UINT width = 0, height = 0;
  if (FAILED(readBackBuffer(m_device, pixels, width, height)) || width == 0 || height == 0) return;
  if (m_held && (m_heldWidth != width || m_heldHeight != height)) {
    m_held->Release();
    m_held = nullptr;
  }
  if (!m_held &&
      FAILED(m_device->CreateTexture(width, height, 1, 0, D3DFMT_X8R8G8B8, D3DPOOL_MANAGED, &m_held, nullptr))) {
    m_held = nullptr;
    return;
  }
  m_heldWidth = width;
  m_heldHeight = height;
  D3DLOCKED_RECT locked{};
  if (FAILED(m_held->LockRect(0, &locked, nullptr, 0))) return;
  for (UINT y = 0; y < height; ++y)
    std::memcpy(static_cast<unsigned char*>(locked.pBits) + std::size_t(y) * std::size_t(locked.Pitch),
                pixels.data() + std::size_t(y) * width, std::size_t(width) * 4);
  m_held->UnlockRect(0);
  m_haveHeld = true;
}

void PreviewSession::drawHeldFrame() {
  m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
  m_device->BeginScene();
  {
    DeviceStates states(m_device);
    for (auto [type, value] : {std::pair<D3DRENDERSTATETYPE, DWORD>{D3DRS_ZENABLE, FALSE},
                               {D3DRS_ZWRITEENABLE, FALSE},
                               {D3DRS_ALPHABLENDENABLE, FALSE},
                               {D3DRS_ALPHATESTENABLE, FALSE},
                               {D3DRS_FOGENABLE, FALSE},
                               {D3DRS_LIGHTING, FALSE},
                               {D3DRS_STENCILENABLE, FALSE},
                               {D3DRS_CULLMODE, D3DCULL_NONE}})
      states.render(type, value);
    states.stage(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    states.stage(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    states.stage(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    states.stage(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
    states.stage(0, D3DTSS_TEXCOORDINDEX, 0);
    states.stage(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
    states.stage(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
    states.stage(1, D3DTSS_ALPHAOP, D3DTOP_DISABLE);
    states.sampler(0, D3DSAMP_MINFILTER, D3DTEXF_POINT);
    states.sampler(0, D3DSAMP_MAGFILTER, D3DTEXF_POINT);
    states.sampler(0, D3DSAMP_MIPFILTER, D3DTEXF_NONE);
    states.sampler(0, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
    states.sampler(0, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
    const D3DVIEWPORT9 whole{0, 0, m_heldWidth, m_heldHeight, 0.0f, 1.0f};
    m_device->SetViewport(&whole);
    m_device->SetVertexShader(nullptr);
    m_device->SetPixelShader(nullptr);
    m_device->SetTexture(0, m_held);
    m_device->SetFVF(D3DFVF_XYZRHW | D3DFVF_TEX1);
    // Texel centres on pixel centres: the quad's corners half a pixel up
    // and to the left, so every pixel shows its own texel.
    const float w = float(m_heldWidth) - 0.5f, h = float(m_heldHeight) - 0.5f;
    const float quad[4][6] = {{-0.5f, -0.5f, 0, 1, 0, 0}, {w, -0.5f, 0, 1, 1, 0}, {-0.5f, h, 0, 1, 0, 1}, {w, h, 0, 1, 1, 1}};
    m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof quad[0]);
  }
  drawOverlay();
  m_device->EndScene();
  m_device->Present(nullptr, nullptr, nullptr, nullptr);
}

std::size_t PreviewSession::textColumns(int x) const {
  IDirect3DSurface9* backBuffer = nullptr;
  D3DSURFACE_DESC desc{};
  if (SUCCEEDED(m_device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &backBuffer)) && backBuffer) {
    backBuffer->GetDesc(&desc);
    backBuffer->Release();
  }
  // The panel's padding on both sides and the margin on the right.
  const int room = int(desc.Width) - 2 * x - 12;
  return std::max<std::size_t>(16, std::size_t(std::max(room, 0)) / std::size_t(TextOverlay::glyphWidth()));
}

void PreviewSession::drawErrorScreen() {
  m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, D3DCOLOR_XRGB(24, 8, 8), 1.0f, 0);
  m_device->BeginScene();
  if (m_text) {
    TextPanel panel;
    panel.x = 12;
    panel.y = 12;
    panel.background = 0xE0400000;
    const std::size_t columns = textColumns(panel.x) - 2;
    for (const std::string& line : wrap("The show stopped at " + seconds(m_showMs) + ":", columns + 2))
      panel.lines.push_back(line);
    for (const std::string& line : wrap(m_error, columns)) panel.lines.push_back("  " + line);
    panel.lines.push_back("");
    for (const std::string& line : wrap(m_options.watching ? "Fix it and save: the preview reloads by itself (or press R)."
                                                           : "Fix it and press R to reload.",
                                        columns + 2))
      panel.lines.push_back(line);
    m_text->draw(panel);
  }
  m_device->EndScene();
  m_device->Present(nullptr, nullptr, nullptr, nullptr);
}

void PreviewSession::drawOverlay() {
  if (!m_overlayVisible || !m_text) return;
  TextPanel panel;
  panel.x = 8;
  panel.y = 8;
  const std::size_t columns = textColumns(panel.x);
  for (const std::string& line : overlayLines())
    for (const std::string& part : wrap(line, columns)) panel.lines.push_back(part);
  m_text->draw(panel);
}

void PreviewSession::noteFrameDrawn(double wallMs) {
  if (!m_frameTimes.empty()) m_frameInterval = wallMs - m_frameTimes.back();
  m_frameTimes.push_back(wallMs);
  const auto recent = std::find_if(m_frameTimes.begin(), m_frameTimes.end(), [&](double t) { return t > wallMs - 1000.0; });
  m_frameTimes.erase(m_frameTimes.begin(), recent);
}

void PreviewSession::tick(double wallMs) {
  m_lastWallMs = wallMs;
  if (failed()) {
    drawErrorScreen();
    return;
  }
  if (m_paused || !m_show) {
    if (m_haveHeld)
      drawHeldFrame();
    else
      drawShowFrame(true);  // the frame paused on, kept for the next turns
    return;
  }
  if (!m_baseWallMs) {
    m_baseWallMs = wallMs;
    m_baseShowMs = m_showMs;
    soundSetHeld(false);
  }
  const double t = m_baseShowMs + (wallMs - *m_baseWallMs);
  if (m_loopA && m_loopB && t >= *m_loopB) {
    seek(*m_loopA);
    return;
  }
  m_showMs = t;
  m_onGrid = false;
  m_haveHeld = false;
  drawShowFrame(false);
  noteFrameDrawn(wallMs);
}

void PreviewSession::setPaused(bool paused) {
  if (paused == m_paused) return;
  if (!paused && m_ended) {
    // Play after the end starts the show again.
    m_paused = false;
    seek(0);
    return;
  }
  m_paused = paused;
  m_baseWallMs.reset();
  if (paused) {
    soundSetHeld(true);
    m_frameTimes.clear();
  }
  // Resuming releases the music at the first frame played.
}

bool PreviewSession::step(int frames) {
  setPaused(true);
  if (frames == 0) return !failed();
  const double fps = m_options.fps;
  std::int64_t k = m_onGrid ? m_gridFrame + frames
                            : (frames > 0 ? lastFrameTo(m_showMs, fps) + frames : firstFrameFrom(m_showMs, fps) + frames);
  if (k < 0) k = 0;
  if (m_onGrid && m_show && !m_ended && k == m_gridFrame + 1) {
    // On from the frame a seek landed on: the next grid frame, with the
    // music of the frame's interval.
    soundHeldAdvanceMs(1000.0 / fps);
    m_gridFrame = k;
    m_showMs = frameMs(k, fps);
    drawShowFrame(true);
    return !failed();
  }
  return seek(frameMs(k, fps));
}

void PreviewSession::toggleLoop() {
  if (!m_loopA || (m_loopA && m_loopB)) {
    const bool clearing = m_loopA && m_loopB;
    m_loopA.reset();
    m_loopB.reset();
    if (!clearing) m_loopA = m_showMs;
    return;
  }
  if (m_showMs > *m_loopA)
    m_loopB = m_showMs;
  else
    m_loopA = m_showMs;  // not after A: A moves here instead
}

PreviewFigures PreviewSession::figures() const {
  PreviewFigures f;
  f.showMs = m_showMs;
  f.gridFrame = m_onGrid ? m_gridFrame : lastFrameTo(m_showMs, m_options.fps);
  f.paused = m_paused;
  f.ended = m_ended;
  f.framesPerSecond = double(std::count_if(m_frameTimes.begin(), m_frameTimes.end(),
                                           [&](double t) { return t > m_lastWallMs - 1000.0; }));
  f.frameMs = m_frameInterval;
  f.loopA = m_loopA;
  f.loopB = m_loopB;
  f.error = m_error;
  if (const Scripter* s = m_show ? m_show->scripter() : nullptr) {
    if (s->current > 0 && s->current <= s->items.size()) f.lastLine = s->items[s->current - 1]->placeAndText();
    auto list = [&](const char* kind, const auto& slots, auto describe) {
      if (slots.empty()) return;
      std::string line = std::string(kind) + ":";
      const char* separator = " ";
      for (const auto& [name, value] : slots) {
        line += separator + name + describe(value);
        separator = ", ";
      }
      f.slots.push_back(line);
    };
    const auto plain = [](const auto*) { return std::string(); };
    list("scenes", s->scenes,
         [&](const SceneGraph* scene) { return scene == s->currentScene ? std::string(" (on screen)") : std::string(); });
    list("images", s->images, plain);
    list("music", s->musics, [&](const MP3Player* music) {
      return music == s->currentMusic && music->playing() ? std::string(" (playing)") : std::string();
    });
    list("movies", s->flashes, plain);
  }
  return f;
}

std::vector<std::string> PreviewSession::overlayLines() const {
  const PreviewFigures f = figures();
  std::vector<std::string> lines;
  char text[160];
  std::snprintf(text, sizeof text, "%s  frame %lld at %g fps%s%s", seconds(f.showMs).c_str(),
                static_cast<long long>(f.gridFrame), m_options.fps, f.paused ? "  paused" : "",
                f.ended ? "  (the script has ended)" : "");
  lines.push_back(text);
  if (f.paused)
    std::snprintf(text, sizeof text, "drawing: paused");
  else
    std::snprintf(text, sizeof text, "drawing: %.0f frames a second, %.1f ms a frame", f.framesPerSecond, f.frameMs);
  lines.push_back(text);
  lines.push_back("last command: " + (f.lastLine.empty() ? std::string("(none yet)") : f.lastLine));
  for (const std::string& slot : f.slots) lines.push_back(slot);
  if (f.loopA && f.loopB)
    lines.push_back("loop: " + seconds(*f.loopA) + " to " + seconds(*f.loopB) + " (L clears it)");
  else if (f.loopA)
    lines.push_back("loop: from " + seconds(*f.loopA) + " (L again sets its end)");
  lines.push_back("Space pause  Left/Right 1 s  +Shift 10 s  +Ctrl a frame  Home  0-9 Enter  R reload  L loop  F");
  return lines;
}

std::vector<std::string> PreviewSession::usedFiles() const { return {m_files.begin(), m_files.end()}; }
