#pragma once
// The show inside vxtool preview's window, without the window: loading and
// reloading from the author's folder, the preview's own clock, pause, exact
// seeks, the A-B loop, the figures of the overlay, and the screen shown when
// the show fails. The command (PreviewCommand.cpp) feeds it keys and wall
// time; tests drive it the same way on an off-screen device.
//
// Time. The show runs on a virtual demo clock that the session sets every
// frame: while playing, the show time at the last seek plus the wall time
// since; while paused, standing still. Music plays on the sound device and is
// held (silent, not moving) while paused and while a seek replays.
//
// Exact seeks. A seek loads the show afresh and replays it from 0 on the grid
// of frames that `vxtool render --fps` uses (frame k at k * 1000 / fps ms),
// without drawing but for the last two frames, then draws the frame at the
// target: the same frame a render writes there (a target between two grid
// frames is drawn after the grid frames before it). The music's streams
// stand on the samples a render mixed up to the target. Every way of
// landing somewhere (Home, the arrows, a typed second, R, a file changed
// under --watch, the loop) is such a seek; frame steps forward from a frame
// a seek landed on go on from it instead of replaying, which lands on the
// same frame.
//
// Failure. A show that cannot load, or fails while it plays, is dropped and
// its message kept (file, line, command, message); the window then shows it
// until a reload succeeds. The show time stays where it was.
#include "platform/gfx/Device.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class CFLArchive;
class Show;
class ShowFailureCatcher;
class TextOverlay;

struct PreviewOptions {
  std::string script = "demo.vxc";  // the first script, as the player names it
  std::string archive;              // absolute path, or empty: loose files only
  double fps = 30;                  // the frame grid of seeks and frame steps
  bool watching = false;            // files are watched (the error screen says so)
};

// What the overlay shows, from the clock and the script.
struct PreviewFigures {
  double showMs = 0;           // show time of the frame on screen
  std::int64_t gridFrame = 0;  // the last grid frame at or before it
  bool paused = false;
  bool ended = false;          // the script has run to its end
  double framesPerSecond = 0;  // frames drawn in the last second of wall time
  double frameMs = 0;          // wall time between the last two frames drawn
  // "FILE:LINE: COMMAND" of the command that ran last; empty before any.
  std::string lastLine;
  // The loaded slots by kind: "scenes: a, b" ... (kinds without slots left out).
  std::vector<std::string> slots;
  std::optional<double> loopA, loopB;  // the A-B loop's ends, as far as set
  std::string error;                   // non-empty while the show has failed
};

class PreviewSession {
 public:
  // The device is not owned; each show takes a reference of its own. The
  // session owns the archive (opened at every load) and g_archive points at
  // it while the session lives.
  PreviewSession(IDirect3DDevice9* device, const PreviewOptions& options);
  ~PreviewSession();
  PreviewSession(const PreviewSession&) = delete;
  PreviewSession& operator=(const PreviewSession&) = delete;

  // Loads the show afresh and lands exactly on ms (clamped at 0), keeping
  // the paused state. False when the show failed (error() tells).
  bool seek(double ms);
  // The whole show again from disk, at the same show time.
  bool reload() { return seek(m_showMs); }
  // Frames of the grid forward or back from the frame on screen; pauses.
  bool step(int frames);
  void setPaused(bool paused);
  void togglePause() { setPaused(!m_paused); }
  // First press: A at the current time; second: B (later than A), and the
  // loop runs: reaching B seeks to A; third: no loop.
  void toggleLoop();
  void setOverlayVisible(bool visible) { m_overlayVisible = visible; }
  bool overlayVisible() const { return m_overlayVisible; }

  // One turn of the window's loop at wall time wallMs (any monotonic ms):
  // playing, the show's frame at its time; paused, the held frame again;
  // failed, the error screen. The overlay goes over either, then Present.
  void tick(double wallMs);

  double showMs() const { return m_showMs; }
  bool paused() const { return m_paused; }
  bool failed() const { return !m_error.empty(); }
  const std::string& error() const { return m_error; }
  PreviewFigures figures() const;
  // Every file the show asked for since its last load (scripts, pictures,
  // scenes, textures, music; found or not) and the archive, for --watch.
  std::vector<std::string> usedFiles() const;
  std::size_t usedFileCount() const { return m_files.size(); }
  // The overlay's text as drawn.
  std::vector<std::string> overlayLines() const;
  // The show, for tests; null while failed.
  const Show* show() const { return m_show.get(); }

 private:
  bool load(double targetMs);
  void fail(const std::string& message);
  void drawShowFrame(bool capture);
  void drawHeldFrame();
  void drawErrorScreen();
  void drawOverlay();
  // Characters of text that fit across the window from x, for wrapping.
  std::size_t textColumns(int x) const;
  void captureBackBuffer();
  void noteFrameDrawn(double wallMs);
  void resumeClock(double wallMs);

  IDirect3DDevice9* m_device;
  PreviewOptions m_options;
  std::unique_ptr<CFLArchive> m_archive;
  std::unique_ptr<ShowFailureCatcher> m_catcher;
  std::unique_ptr<Show> m_show;
  std::unique_ptr<TextOverlay> m_text;
  std::string m_error;

  double m_showMs = 0;
  bool m_paused = false;
  bool m_ended = false;
  // Playing: show time = m_baseShowMs + (wall - m_baseWallMs); the base is
  // taken at the first tick after a seek or a resume.
  std::optional<double> m_baseWallMs;
  double m_baseShowMs = 0;
  double m_lastWallMs = 0;
  // The show stands exactly on grid frame m_gridFrame, reached by a seek and
  // grid steps only.
  bool m_onGrid = false;
  std::int64_t m_gridFrame = 0;

  std::optional<double> m_loopA, m_loopB;
  bool m_overlayVisible = false;

  // The frame on screen without the overlay, for redrawing while paused.
  IDirect3DTexture9* m_held = nullptr;
  UINT m_heldWidth = 0, m_heldHeight = 0;
  bool m_haveHeld = false;

  std::vector<double> m_frameTimes;  // wall ms of the frames drawn in the last second
  double m_frameInterval = 0;

  std::set<std::string> m_files;  // asked for since the last load
};
