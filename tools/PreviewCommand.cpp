// vxtool preview: a show in a window, in real time with its music, with
// pause, exact seeks, reloads from disk and the figures an author wants.
#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/os/FileWatcher.h"
#include "platform/os/Messages.h"
#include "platform/os/Window.h"
#include "platform/sound/FSound.h"
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/DeviceHolder.h"
#include "tools/PreviewKeys.h"
#include "tools/PreviewSession.h"
#include "tools/ToolIO.h"

#include <SDL.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

namespace {

const char* kPreviewHelp =
    "usage: vxtool preview [SCRIPT] [--archive FILE] [--dir DIR] [--size WxH] [--from MS]\n"
    "                      [--fps N] [--paused] [--watch]\n"
    "Plays a show in a window in real time with its music, drawn as the player\n"
    "draws it, from the loose files in DIR (default: the current folder) laid over\n"
    "the archive FILE: a file in the folder wins over the archive's entry, the\n"
    "script included. SCRIPT is the first script (default demo.vxc); a SCRIPT in\n"
    "another folder makes that folder DIR.\n"
    "Keys:\n"
    "  Space         pause / play (the music too)\n"
    "  Left, Right   one second back / on; with Shift ten seconds; with Ctrl one\n"
    "                frame (pauses)\n"
    "  Home          the start\n"
    "  0-9, Enter    go to that second (Backspace takes a digit back)\n"
    "  R             reload the whole show from disk, at the same time\n"
    "  F             figures: show time, frame rate, last command, loaded slots\n"
    "  L             loop: set A, set B, clear\n"
    "  Escape        quit (or close the window)\n"
    "Every jump lands exactly on the frame that vxtool render --fps N writes for\n"
    "that time (N: --fps, default 30), with the music on the matching sample:\n"
    "the show is replayed from its start without drawing.\n"
    "--watch reloads by itself when a file the show uses changes, keeping the\n"
    "time. A show that fails shows its error (FILE:LINE: COMMAND: MESSAGE) in the\n"
    "window until it loads again.\n"
    "--size is the window's drawing area (default 800x600); --from starts at that\n"
    "show time (ms); --paused starts paused.\n";

bool readNumber(const std::string& text, double* value) {
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && end && *end == 0;
}

double wallMs() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

// A sound device to play on; SDL's silent one, with a warning, when there
// is none (the preview still shows the show and keeps its time).
void chooseSoundDevice() {
  FSOUND_SetOutput(FSOUND_OUTPUT_DSOUND);
  if (FSOUND_Init(44100, 32, 0)) {
    FSOUND_Close();
    return;
  }
  std::fprintf(stderr, "vxtool: no sound device could be opened (%s); previewing without sound\n", SDL_GetError());
  ::setenv("SDL_AUDIODRIVER", "dummy", 1);
}

std::string titleOf(const PreviewSession& session, const std::string& script, const PreviewKeys& keys) {
  char time[32];
  std::snprintf(time, sizeof time, "%.3f s", session.showMs() / 1000.0);
  std::string title = "vxtool preview - " + script + " - " + time;
  if (session.failed()) title += " - error";
  if (session.paused()) title += " - paused";
  if (!keys.typed().empty()) title += " - go to " + keys.typed() + " s";
  return title;
}

}  // namespace

int previewCommand(const Args& args) {
  if (wantsHelp(args)) return help(kPreviewHelp);
  Parsed p = parseArgs(args, {"--archive", "--dir", "--size", "--from", "--fps"}, {"--paused", "--watch"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() > 1) return fail("preview takes one script at most (see vxtool preview --help)");

  PreviewOptions options;
  std::string dir = ".";
  if (const std::string* v = p.get("--dir")) dir = *v;
  if (!p.positional.empty()) {
    const std::filesystem::path script(p.positional[0]);
    if (script.has_parent_path() && !p.has("--dir")) {
      dir = script.parent_path().string();
      options.script = script.filename().string();
    } else {
      options.script = p.positional[0];
    }
  }
  std::error_code ec;
  if (const std::string* v = p.get("--archive")) {
    options.archive = std::filesystem::absolute(*v, ec).string();
    if (!std::filesystem::is_regular_file(options.archive, ec)) return fail("no archive '" + *v + "'");
  }
  int width = 800, height = 600;
  if (const std::string* v = p.get("--size")) {
    unsigned w = 0, h = 0;
    char tail = 0;
    if (std::sscanf(v->c_str(), "%ux%u%c", &w, &h, &tail) != 2 || w < 16 || h < 16 || w > 8192 || h > 8192)
      return fail("bad --size '" + *v + "' (WxH, 16x16 to 8192x8192)");
    width = int(w);
    height = int(h);
  }
  double fromMs = 0;
  if (const std::string* v = p.get("--from"); v && (!readNumber(*v, &fromMs) || !(fromMs >= 0 && fromMs <= 4294967295.0)))
    return fail("bad --from '" + *v + "' (ms of show time, 0 or more)");
  if (const std::string* v = p.get("--fps"); v && (!readNumber(*v, &options.fps) || !(options.fps > 0 && options.fps <= 1000)))
    return fail("bad --fps '" + *v + "' (frames a second, more than 0, at most 1000)");
  options.watching = p.has("--watch");
  if (!std::filesystem::is_directory(dir, ec)) return fail("no folder '" + dir + "'");
  if (::chdir(dir.c_str()) != 0) return fail("cannot enter the folder '" + dir + "'");

  // The window and the device on it.
  WindowDesc desc;
  desc.title = "vxtool preview";
  desc.width = width;
  desc.height = height;
  std::string reason;
  std::unique_ptr<Window> window = Window::create(desc, &reason);
  if (!window) return fail("cannot open a window: " + reason);
  // Without a display SDL may fall back to drawing nowhere; a preview that
  // nobody can see is refused unless that driver was asked for by name.
  const char* driver = SDL_GetCurrentVideoDriver();
  const char* asked = std::getenv("SDL_VIDEODRIVER");
  if (driver && (!std::strcmp(driver, "offscreen") || !std::strcmp(driver, "dummy")) &&
      !(asked && !std::strcmp(asked, driver)))
    return fail("no display to open the preview's window on (is DISPLAY set?)");
  registerGlDirect3DBackend();
  DeviceHolder gfx;
  gfx.d3d = Direct3DCreate9(D3D_SDK_VERSION);
  if (!gfx.d3d) return fail("no OpenGL device available");
  const HRESULT created = createShowDevice(gfx.d3d, UINT(width), UINT(height), window->handle(), &gfx.device);
  if (FAILED(created)) return fail("cannot create the device (" + std::to_string(created) + ")");
  chooseSoundDevice();

  {
    PreviewSession session(gfx.device, options);
    PreviewKeys keys;
    std::optional<FileWatcher> watcher;
    std::size_t watchedCount = 0;
    auto rewatch = [&] {
      if (!watcher) return;
      const std::vector<std::string> files = session.usedFiles();
      watchedCount = files.size();
      for (const std::string& missing : watcher->watch(files))
        std::fprintf(stderr, "vxtool: --watch cannot watch %s (not a file in an existing folder)\n", missing.c_str());
    };
    if (options.watching) {
      watcher.emplace();
      if (!watcher->ok()) {
        std::fprintf(stderr, "vxtool: --watch is not available: %s\n", watcher->error().c_str());
        watcher.reset();
      }
    }
    session.setPaused(p.has("--paused"));
    session.seek(fromMs);
    rewatch();

    // Several saves in a row (an editor's write, rename and touch) reload once.
    constexpr double kQuietMs = 200;
    double reloadAt = -1;  // wall time of the reload a change asked for; none while negative
    std::string title;
    for (bool quit = false; !quit;) {
      // Every key waiting is read first: jumps asked for in a row (a held
      // arrow key) add up to one replay.
      double jumpTo = -1;  // show time to land on; none while negative
      MSG msg;
      while (!quit && PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        if (msg.message == WM_CLOSE) quit = true;
        if (msg.message != WM_KEYDOWN) continue;
        const bool shift = (GetKeyState(VK_SHIFT) & 0x8000) != 0;
        const bool ctrl = (GetKeyState(VK_CONTROL) & 0x8000) != 0;
        const PreviewKeyCommand command = keys.key(msg.wParam, shift, ctrl);
        auto land = [&] {
          if (jumpTo < 0) return;
          session.seek(jumpTo);
          jumpTo = -1;
          rewatch();
        };
        switch (command.kind) {
          case PreviewKeyCommand::None: break;
          case PreviewKeyCommand::SeekBy: jumpTo = std::max(0.0, (jumpTo < 0 ? session.showMs() : jumpTo) + command.ms); break;
          case PreviewKeyCommand::GoTo: jumpTo = command.ms; break;
          case PreviewKeyCommand::Reload: jumpTo = jumpTo < 0 ? session.showMs() : jumpTo; break;
          case PreviewKeyCommand::TogglePause: land(); session.togglePause(); break;
          case PreviewKeyCommand::StepFrames: land(); session.step(command.frames); rewatch(); break;
          case PreviewKeyCommand::ToggleOverlay: session.setOverlayVisible(!session.overlayVisible()); break;
          case PreviewKeyCommand::Loop: land(); session.toggleLoop(); break;
          case PreviewKeyCommand::Quit: quit = true; break;
        }
      }
      if (jumpTo >= 0 && !quit) {
        session.seek(jumpTo);
        rewatch();
      }
      if (quit) break;
      const double now = wallMs();
      if (watcher) {
        if (!watcher->changed().empty()) reloadAt = now + kQuietMs;
        if (reloadAt >= 0 && now >= reloadAt) {
          reloadAt = -1;
          session.reload();
          rewatch();
        } else if (session.usedFileCount() != watchedCount) {
          rewatch();  // the show loaded more files as it played
        }
      }
      session.tick(now);
      const std::string wanted = titleOf(session, options.script, keys);
      if (wanted != title) {
        title = wanted;
        SDL_SetWindowTitle(window->sdlWindow(), title.c_str());
      }
      // Nothing moves while paused or failed: a redraw now and then is enough.
      if (session.paused() || session.failed()) {
        if (watcher)
          watcher->wait(30);
        else
          SDL_Delay(30);
      }
    }
  }
  return 0;
}
