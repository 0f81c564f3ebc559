// Off-screen rendering of the example show (vxtool render's engine,
// renderShow) at 800x600 and 30 fps, show time 0 ... 6000 ms (181 frames),
// in this process.
//
// Set-up, once per process: vx_showgen writes the show's pictures, music and
// movie into a temporary folder, the scripts of examples/show are copied
// beside them, and the renders run with that folder as the working
// directory (loose files, no archive).
//
// Variants (argument "files"): 0 renders without keeping anything (no
// read-back, no PNG, no WAV); 1 also reads every frame back and writes it as
// a PNG, and writes the WAV, as "vxtool render --frames --wav" does.
//
// Counters:
//   fps            frames per wall-clock second of renderShow, loading of the
//                  show's files (in its first frame) included.
//   driver_share   share of the rendering thread's wall-clock time spent
//                  inside the OpenGL driver, 0 ... 1; outside_share is the
//                  rest: the script, layers, image decoding, sound mixing,
//                  PNG encoding, file writes.
//   samples        stack samples behind driver_share.
// How driver time is measured: the rendering thread's stack is sampled every
// millisecond of wall-clock time (DriverSampler.h) and a sample counts as
// driver time when any frame of it lies in the OpenGL stack's libraries
// (Mesa, its llvmpipe rasterizer and JIT-compiled shaders, the GL/EGL
// dispatch and libepoxy). With llvmpipe the driver's rasterizer threads work
// beside the rendering thread; the rendering thread's time in the driver
// covers their work only where it waits for them (at read-back, and when it
// runs ahead of them), which is the share of the frame rate that the driver
// costs. Timing only the device calls that reach the driver (Present,
// read-back, draws) would miss texture uploads through resource locks and
// state changes that the driver validates lazily; sampling sees every call.
// fps is measured while the sampler runs; its own cost (one unwind and a
// few address look-ups per sample) was about 1% of the process's CPU time
// under perf.
#include "bench/support/GeneratedShow.h"
#include "bench/tools/DriverSampler.h"
#include "tools/OfflineRenderer.h"

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

namespace fs = std::filesystem;

using benchshow::WorkingDirectory;

const benchshow::GeneratedShow& showFolder() {
  static const benchshow::GeneratedShow folder(VX_SHOWGEN_PATH, VX_EXAMPLE_SHOW_DIR);
  return folder;
}

void BM_RenderExampleShow(benchmark::State& state) {
  static std::string error;  // SkipWithError keeps the pointer
  const benchshow::GeneratedShow& show = showFolder();
  if (!show.error().empty()) {
    error = show.error();
    state.SkipWithError(error.c_str());
    return;
  }
  WorkingDirectory inShow(show.path());

  RenderOptions options;
  options.fps = 30;
  options.width = 800;
  options.height = 600;
  options.fromMs = 0;
  options.toMs = 6000;
  options.progress = false;
  if (state.range(0) != 0) {
    options.framesDir = show.path() + "/frames";
    options.wavPath = show.path() + "/show.wav";
  }

  DriverSampler sampler;
  std::int64_t frames = 0;
  double seconds = 0;
  for (auto _ : state) {
    RenderResult result;
    if (!sampler.start(&error)) {
      state.SkipWithError(error.c_str());
      return;
    }
    const auto begin = std::chrono::steady_clock::now();
    const bool ok = renderShow(options, &result, &error);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    sampler.stop();
    if (!ok) {
      state.SkipWithError(error.c_str());
      return;
    }
    frames += result.frames;
  }
  state.SetItemsProcessed(frames);
  state.counters["fps"] = seconds > 0 ? double(frames) / seconds : 0.0;
  state.counters["driver_share"] = sampler.driverShare();
  state.counters["outside_share"] = 1.0 - sampler.driverShare();
  state.counters["samples"] = double(sampler.samples());
  if (sampler.dropped() > 0) state.counters["dropped_samples"] = double(sampler.dropped());
}
BENCHMARK(BM_RenderExampleShow)
    ->ArgName("files")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(2)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);

// What an exact range costs before its first frame: reaching frame 30,000
// of the example show (at 500 fps, 60 s of show time, so that the frame lies
// inside the show) by replaying every earlier frame without drawing, against
// rendering those 30,000 frames. The rendering side is the mean cost of a
// frame of the whole show rendered at 5 fps (its 300-odd frames sample the
// same show time evenly, as the 30,000 would), times 30,000; both are
// measured in the same run, at 800x600, keeping no files.
//
// Counters:
//   replay_s         wall seconds to reach frame 30,000 (the replay, the two
//                    warm-up frames and the frame itself)
//   render_frame_ms  wall ms per rendered frame
//   replay_ratio     replay_s / (30,000 x render_frame_ms): at most 0.05 is
//                    the goal
void BM_ReplayToFrame30000(benchmark::State& state) {
  static std::string error;
  const benchshow::GeneratedShow& show = showFolder();
  if (!show.error().empty()) {
    error = show.error();
    state.SkipWithError(error.c_str());
    return;
  }
  WorkingDirectory inShow(show.path());
  constexpr std::int64_t kTarget = 30000;

  double replaySeconds = 0, renderSeconds = 0;
  std::int64_t rendered = 0;
  for (auto _ : state) {
    RenderOptions reach;
    reach.fps = 500;
    reach.fromFrame = kTarget;
    reach.toFrame = kTarget;
    reach.progress = false;
    RenderResult result;
    auto begin = std::chrono::steady_clock::now();
    if (!renderShow(reach, &result, &error) || result.frames != 1) {
      if (error.empty()) error = "frame 30000 was not rendered";
      state.SkipWithError(error.c_str());
      return;
    }
    replaySeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();

    RenderOptions whole;
    whole.fps = 5;
    whole.progress = false;
    begin = std::chrono::steady_clock::now();
    if (!renderShow(whole, &result, &error)) {
      state.SkipWithError(error.c_str());
      return;
    }
    renderSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    rendered += result.frames;
  }
  const double frameSeconds = rendered > 0 ? renderSeconds / double(rendered) : 0.0;
  const double iterations = double(state.iterations());
  state.counters["replay_s"] = replaySeconds / iterations;
  state.counters["render_frame_ms"] = frameSeconds * 1000.0;
  state.counters["replay_ratio"] = frameSeconds > 0 ? (replaySeconds / iterations) / (double(kTarget) * frameSeconds) : 0.0;
}
BENCHMARK(BM_ReplayToFrame30000)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

}  // namespace
