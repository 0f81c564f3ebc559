// The example show's 3D scenes drawn off screen on the OpenGL device at
// 800 × 600, each scene prepared once and then drawn frame after frame at
// 30 frames per second of scene time (clear, begin, time, render, end,
// present), as the player's frame loop draws a scene without layers.
//
// Set-up, once per process: vx_showgen writes the show's files into a
// temporary folder; every scene file (*.vxk) in it is loaded with the
// player's loader, loose files, no archive. The shared shaders and the glow
// targets are created once, as the timeline does.
//
// Variants (argument "glow"): 0 draws with the default processor alone,
// 1 with the default and glow processors, as the player draws every scene.
//
// Counters:
//   fps            frames per wall-clock second, all scenes together.
//   outside_share  share of the drawing thread's wall-clock time spent
//                  outside the OpenGL driver (scene update, processors, the
//                  device's own work); driver_share is the rest. Measured by
//                  sampling the thread's stack every millisecond
//                  (bench/tools/DriverSampler.h).
#include "bench/support/GeneratedShow.h"
#include "bench/tools/DriverSampler.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "render/DefaultProcessor.h"
#include "render/GlowTargets.h"
#include "render/SceneProcessors.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kFramesPerScene = 90;  // 3 s of scene time each

// The off-screen device with the timeline's shared resources.
struct Graphics {
  Graphics() {
    setenv("SDL_VIDEODRIVER", "offscreen", 0);
    d3d = createGlDirect3D();
    device = benchshow::createShowDevice(d3d);
    if (device == nullptr) return;
    CreateGlowTargets(device);
  }
  ~Graphics() {
    if (device != nullptr) {
      ReleaseGlowTargets();
      device->Release();
    }
    d3d->Release();
  }
  IDirect3D9* d3d = nullptr;
  IDirect3DDevice9* device = nullptr;
};

void defaultProcessorOnly(SceneGraph& scene) {
  auto* drawing = new DefaultProcessor(scene.AllocateId(), &scene);
  scene.processors.push_back(drawing);
  scene.defaultProcessor = drawing;
}

using benchshow::WorkingDirectory;

void BM_DrawExampleScenes(benchmark::State& state) {
  static std::string error;  // SkipWithError keeps the pointer
  static const benchshow::GeneratedShow show(VX_SHOWGEN_PATH);
  if (!show.error().empty()) {
    state.SkipWithError(show.error().c_str());
    return;
  }
  WorkingDirectory inShow(show.path());
  Graphics gfx;
  if (gfx.device == nullptr) {
    state.SkipWithError("cannot create the off-screen device");
    return;
  }
  const SceneProcessorFactory previous = GetSceneProcessorFactory();
  SetSceneProcessorFactory(state.range(0) != 0 ? CreateSceneProcessors : defaultProcessorOnly);
  std::vector<std::unique_ptr<SceneGraph>> scenes;
  for (const std::string& file : show.files(".vxk")) {
    auto scene = std::make_unique<SceneGraph>(gfx.device);
    auto* loader = new VXKSceneLoader(scene->AllocateId(), scene.get());  // owned by the scene
    loader->LoadScene(file.c_str());
    scene->Prepare();
    scenes.push_back(std::move(scene));
  }
  SetSceneProcessorFactory(previous);

  DriverSampler sampler;
  std::int64_t frames = 0;
  double seconds = 0;
  for (auto _ : state) {
    if (!sampler.start(&error)) {
      state.SkipWithError(error.c_str());
      return;
    }
    const auto begin = std::chrono::steady_clock::now();
    for (auto& scene : scenes) {
      for (int frame = 0; frame < kFramesPerScene; ++frame) {
        gfx.device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
        gfx.device->BeginScene();
        scene->SetTime(float(frame) * 1000.0f / 30.0f);
        scene->Render();
        gfx.device->EndScene();
        gfx.device->Present(nullptr, nullptr, nullptr, nullptr);
        ++frames;
      }
    }
    // Reading a pixel back waits for the rasterizer to finish the last frame.
    IDirect3DSurface9* back = nullptr;
    gfx.device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back);
    std::vector<D3DCOLOR> pixels;
    UINT w = 0, h = 0;
    gfx.device->readSurfaceARGB(back, pixels, w, h);
    back->Release();
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    sampler.stop();
  }
  const std::size_t scenesDrawn = scenes.size();
  scenes.clear();
  state.SetItemsProcessed(frames);
  state.counters["fps"] = seconds > 0 ? double(frames) / seconds : 0.0;
  state.counters["driver_share"] = sampler.driverShare();
  state.counters["outside_share"] = 1.0 - sampler.driverShare();
  state.counters["scenes"] = double(scenesDrawn);
}
BENCHMARK(BM_DrawExampleScenes)->ArgName("glow")->Arg(0)->Arg(1)->Iterations(2)->UseRealTime()->Unit(
    benchmark::kMillisecond);

}  // namespace
