// Start-up of the example show up to its first presented frame, as the
// player starts: the device (800 × 600, off screen), the Scripter (music
// system, cross-fade target, shared shaders with the normalising cube map,
// glow targets), the script parsed, and the first frame (clear, begin,
// Update at the clock's first reading, which loads everything the script
// loads at time 0 (pictures, tune, movie and both scenes), end, present),
// read back so that the driver has really finished it.
//
// Baseline, in the same run: the device alone, with one cleared frame
// presented and read back. Both are "warm": the first iteration, which
// fills the file cache and the driver's shader cache, is left out by a
// warm-up run.
//
// Set-up, once per process: vx_showgen writes the show's files into a
// temporary folder and the scripts of examples/show are copied beside them
// (loose files, no archive). Music plays through the offline output.
#include "bench/support/GeneratedShow.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/movie/AxHost.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "script/DemoClock.h"
#include "script/Scripter.h"

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Waits for the driver to finish the presented frame.
void finish(IDirect3DDevice9* device) {
  IDirect3DSurface9* back = nullptr;
  device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back);
  std::vector<D3DCOLOR> pixels;
  UINT w = 0, h = 0;
  device->readSurfaceARGB(back, pixels, w, h);
  back->Release();
}

void presentFrame(IDirect3DDevice9* device, Scripter* scripter) {
  device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
  device->BeginScene();
  if (scripter != nullptr) scripter->Update(GetDemoTime());
  device->EndScene();
  device->Present(nullptr, nullptr, nullptr, nullptr);
  finish(device);
}

// Argument "show": 0 is the baseline (device and one empty frame), 1 the
// example show up to its first frame.
void BM_StartupToFirstFrame(benchmark::State& state) {
  static const benchshow::GeneratedShow show(VX_SHOWGEN_PATH, VX_EXAMPLE_SHOW_DIR);
  if (!show.error().empty()) {
    state.SkipWithError(show.error().c_str());
    return;
  }
  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  const fs::path old = fs::current_path();
  fs::current_path(show.path());
  soundForceOutput(FSOUND_OUTPUT_OFFLINE);
  AtlAxWinInit();
  const bool withShow = state.range(0) != 0;
  // One start and stop of the whole sequence; false when no device.
  auto startOnce = [&](bool timed) {
    IDirect3D9* d3d = createGlDirect3D();
    IDirect3DDevice9* device = benchshow::createShowDevice(d3d);
    if (device == nullptr) {
      d3d->Release();
      return false;
    }
    Scripter* scripter = nullptr;
    if (withShow) {
      scripter = new Scripter(device, 800, 600);
      scripter->LoadScript("demo.vxc", 0.0f);
      StartDemoClock();
    }
    presentFrame(device, scripter);
    if (timed) state.PauseTiming();
    delete scripter;
    device->Release();
    d3d->Release();
    if (timed) state.ResumeTiming();
    return true;
  };
  if (!startOnce(false)) {
    state.SkipWithError("cannot create the off-screen device");
  } else {
    for (auto _ : state) startOnce(true);
  }
  std::error_code ignored;
  fs::current_path(old, ignored);
}
BENCHMARK(BM_StartupToFirstFrame)
    ->ArgName("show")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
