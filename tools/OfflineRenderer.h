#pragma once
// Plays a show off screen on a virtual clock: every clock read within frame k
// returns k * 1000 / fps ms, the OpenGL device draws into an off-screen back
// buffer, and the music mixes into memory. Frames are written as PNGs named
// by their number k ("frame%06d.png"), the music of the frames written as a
// WAV, and with ffmpeg an MP4 of both. The same inputs give the same frames
// on the same machine.
//
// A range is exact: every frame and every sample it writes is the one a full
// render from 0 writes for it. The frames before the range are replayed on
// the same clock without drawing (Scripter::Advance) and their music mixed
// but not kept, since a stream's position is where its decoder got to; the
// last kWarmUpFrames of them are drawn but not kept, because a few draws
// depend on render states that earlier frames left on the device.
#include <cstdint>
#include <optional>
#include <string>

struct RenderOptions {
  std::string archive;        // empty: loose files in the current directory
  double fps = 30;
  int width = 800, height = 600;  // back buffer, pixels
  // The range, inclusive at both ends, by show time (the frames whose time
  // k * 1000 / fps falls inside) or by frame number; at most one kind of
  // start and one kind of end. No end: until the script ends.
  double fromMs = 0;
  std::optional<double> toMs;
  std::optional<std::int64_t> fromFrame, toFrame;
  // chunkIndex 1..chunkCount: the chunkIndex-th of chunkCount ranges of
  // equal length (within a frame) that tile the show's frames, up to toMs or
  // toFrame if given, else to the frame in which the script ends (found by
  // replaying the whole show first). 0: no chunk.
  int chunkIndex = 0, chunkCount = 0;
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
  // Replace an existing WAV or MP4, and the frame*.png files already in the
  // frames folder (those only); without it such outputs are refused.
  bool force = false;
};

struct RenderResult {
  int frames = 0;             // frames written
  std::int64_t firstFrame = 0;  // number of the first one
  double lastFrameMs = 0;     // show time of the last frame
  bool scriptEnded = false;
};

// Frames drawn but not kept before a range that starts part-way: the device
// keeps render and texture-stage states from frame to frame, and some draws
// rely on what earlier ones left set. Without them the first frame of a
// range differs from the full render's; one was enough on the shows tried,
// two leave room for a state set two frames back.
constexpr int kWarmUpFrames = 2;

// Returns false with *error on a set-up failure, on an output that exists
// (without force), on a missing script, and on a show that fails (a missing
// file, a bad command): then *error is "FILE:LINE: COMMAND: MESSAGE", the
// script line that failed and the player's message. Nothing is created
// before the script has loaded.
bool renderShow(const RenderOptions& options, RenderResult* result, std::string* error);
