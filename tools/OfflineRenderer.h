#pragma once
// Plays a show off screen on a virtual clock: every clock read within frame k
// returns from + k * 1000 / fps ms, the OpenGL device draws into an
// off-screen back buffer, and the music mixes into memory. Frames are
// written as numbered PNGs, the music as a WAV, and with ffmpeg an MP4 of
// both. The same inputs give the same frames on the same machine.
//
// Rendering from a later time runs every command due before it in the first
// frame, as the player catches up after a stall: music started earlier then
// begins at its own start offset in that frame, not where a full run would be.
#include <optional>
#include <string>

struct RenderOptions {
  std::string archive;        // empty: loose files in the current directory
  double fps = 30;
  int width = 800, height = 600;  // back buffer, pixels
  double fromMs = 0;
  std::optional<double> toMs;
  std::string framesDir;      // empty: no frames kept (a video still gets them)
  std::string videoPath;      // .mp4; needs ffmpeg
  std::string wavPath;
  bool progress = true;       // on standard error: a bar on a terminal, else a line per tenth
  // > 0: every statsEveryMs of show time (and at the last frame), one line on
  // standard output: "stats show_ms=N frame=N rss_kb=N heap_kb=N
  // live_resources=N" (resident memory of the process, bytes allocated and
  // not freed on the C heap, objects alive on the device).
  double statsEveryMs = 0;
  // Texture stages the OpenGL device offers, 1..8: fewer draws the show as
  // an older device would (GlDeviceOptions::maxSimultaneousTextures).
  unsigned maxTextures = 8;
};

struct RenderResult {
  int frames = 0;
  double lastFrameMs = 0;  // show time of the last frame
  bool scriptEnded = false;
};

// Returns false with *error on a set-up failure. A show that fails (a
// missing file, a bad command) reports on standard error and ends the
// process with exit code 1.
bool renderShow(const RenderOptions& options, RenderResult* result, std::string* error);
