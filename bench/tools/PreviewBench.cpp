// How long vxtool preview's jumps take on the example show at 800x600, set
// against drawing one frame of the show in the same run: every jump loads
// the show afresh and replays it from 0 at 30 fps without drawing, so its
// cost grows with the target's time and with what the show loads before it.
//
// Counters (wall ms, medians of the iterations):
//   seek_ms      one seek to the argument's show time (s), landing frame drawn
//   frame_ms     one frame played from there on (30 in a row; the baseline)
//   held_ms      one redraw of the frame held while paused (30 in a row)
//   seek_frames  seek_ms / frame_ms: how many played frames a jump costs
#include "bench/support/GeneratedShow.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "tools/DeviceHolder.h"
#include "tools/PreviewSession.h"

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

namespace {

const benchshow::GeneratedShow& showFolder() {
  static const benchshow::GeneratedShow folder(VX_SHOWGEN_PATH, VX_EXAMPLE_SHOW_DIR);
  return folder;
}

double nowMs() {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Waits for the device's queued drawing by reading the back buffer.
void finish(IDirect3DDevice9* device) {
  std::vector<D3DCOLOR> pixels;
  UINT width = 0, height = 0;
  readBackBuffer(device, pixels, width, height);
}

void BM_PreviewSeek(benchmark::State& state) {
  static std::string error;
  const benchshow::GeneratedShow& show = showFolder();
  if (!show.error().empty()) {
    error = show.error();
    state.SkipWithError(error.c_str());
    return;
  }
  ::setenv("SDL_AUDIODRIVER", "dummy", 0);
  benchshow::WorkingDirectory inShow(show.path());
  registerGlDirect3DBackend();
  IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
  IDirect3DDevice9* device = d3d ? benchshow::createShowDevice(d3d) : nullptr;
  if (!device) {
    state.SkipWithError("no OpenGL device");
    if (d3d) d3d->Release();
    return;
  }
  const double target = double(state.range(0)) * 1000.0;
  constexpr int kTurns = 30;
  std::vector<double> seeks, frames, held;
  {
    PreviewSession session(device, PreviewOptions{});
    session.setPaused(true);
    session.seek(0);  // the first load warms the driver's shader cache
    for (auto _ : state) {
      session.setPaused(true);
      double begin = nowMs();
      const bool landed = session.seek(target);
      seeks.push_back(nowMs() - begin);
      if (!landed) {
        error = session.error();
        state.SkipWithError(error.c_str());
        break;
      }
      // Drawing runs ahead of the driver: 30 turns, then a read-back that
      // waits for the driver to finish them.
      begin = nowMs();
      for (int i = 0; i < kTurns; ++i) session.tick(nowMs());
      finish(device);
      held.push_back((nowMs() - begin) / kTurns);
      session.setPaused(false);
      begin = nowMs();
      for (int i = 0; i < kTurns; ++i) session.tick(nowMs());
      finish(device);
      frames.push_back((nowMs() - begin) / kTurns);
    }
  }
  device->Release();
  d3d->Release();
  state.counters["seek_ms"] = median(seeks);
  state.counters["frame_ms"] = median(frames);
  state.counters["held_ms"] = median(held);
  state.counters["seek_frames"] = median(frames) > 0 ? median(seeks) / median(frames) : 0;
}
BENCHMARK(BM_PreviewSeek)->Arg(5)->Arg(30)->Arg(60)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
