// Cost of CreateSharedShaders on the OpenGL device off screen, as the
// timeline pays it once at start: eight D3DXCompileShader calls (each checked
// by the driver), eight shader objects, the lit-vertex declaration and the
// 256 × 256 × 6 normalising cube map, then ReleaseSharedShaders.
//
// Baseline, measured in the same run on the same device: one trivial vertex
// and pixel program compiled and created the same way. The shared-shader
// run reports `ratio_to_trivial_pair` = its time divided by the baseline's;
// the cube map alone is measured too, since it is the one part that is not
// compiling. Times are wall-clock milliseconds. Programs are linked (and
// llvmpipe generates their code) on first draw, not here.
//
// Run headless: SDL_VIDEODRIVER=offscreen build-.../bench/render/bench_render_shaders
#include "platform/gfx/gl/GlDirect3D.h"
#include "render/SharedShaders.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace {

// One device for the whole run, as the player has.
Device* sharedDevice() {
  static Device* device = [] {
    setenv("SDL_VIDEODRIVER", "offscreen", 0);
    IDirect3D9* d3d = createGlDirect3D();
    D3DPRESENT_PARAMETERS pp{};
    pp.BackBufferWidth = 800;
    pp.BackBufferHeight = 600;
    pp.BackBufferFormat = D3DFMT_X8R8G8B8;
    pp.BackBufferCount = 1;
    pp.SwapEffect = D3DSWAPEFFECT_DISCARD;
    pp.Windowed = TRUE;
    pp.EnableAutoDepthStencil = TRUE;
    pp.AutoDepthStencilFormat = D3DFMT_D24S8;
    Device* created = nullptr;
    if (d3d == nullptr || FAILED(d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, nullptr,
                                                   D3DCREATE_HARDWARE_VERTEXPROCESSING, &pp, &created)))
      return static_cast<Device*>(nullptr);
    return created;
  }();
  return device;
}

const char* kTrivialVertex = "#version 330 core\n"
                             "layout(location = 0) in vec3 position;\n"
                             "uniform mat4 WorldViewProj;\n"
                             "void Main() { gl_Position = WorldViewProj * vec4(position, 1.0); }\n";
const char* kTrivialPixel = "#version 330 core\n"
                            "uniform vec4 Tint;\n"
                            "layout(location = 0) out vec4 color;\n"
                            "void Main() { color = Tint; }\n";

double g_trivialSeconds = 0.0;

template <class Body>
double timeIterations(benchmark::State& state, Body body) {
  double total = 0.0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    body();
    total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  return state.iterations() > 0 ? total / double(state.iterations()) : 0.0;
}

void BM_TrivialProgramPair(benchmark::State& state) {
  Device* device = sharedDevice();
  if (device == nullptr) {
    state.SkipWithError("no OpenGL device");
    return;
  }
  g_trivialSeconds = timeIterations(state, [&] {
    ID3DXConstantTable* vsTable = nullptr;
    ID3DXConstantTable* psTable = nullptr;
    IDirect3DVertexShader9* vs = CreateSharedVertexShader(device, kTrivialVertex, "Main", nullptr, &vsTable);
    IDirect3DPixelShader9* ps = CreateSharedPixelShader(device, kTrivialPixel, "Main", &psTable);
    vs->Release();
    ps->Release();
    vsTable->Release();
    psTable->Release();
  });
}
BENCHMARK(BM_TrivialProgramPair)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_NormalizingCubeMap(benchmark::State& state) {
  Device* device = sharedDevice();
  if (device == nullptr) {
    state.SkipWithError("no OpenGL device");
    return;
  }
  const double seconds = timeIterations(state, [&] {
    IDirect3DCubeTexture9* cube = CreateNormalizingCubeMap(device, 256, 1, D3DPOOL_MANAGED);
    if (cube != nullptr) cube->Release();
  });
  if (g_trivialSeconds > 0.0) state.counters["ratio_to_trivial_pair"] = seconds / g_trivialSeconds;
}
BENCHMARK(BM_NormalizingCubeMap)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CreateSharedShaders(benchmark::State& state) {
  Device* device = sharedDevice();
  if (device == nullptr) {
    state.SkipWithError("no OpenGL device");
    return;
  }
  const double seconds = timeIterations(state, [&] {
    CreateSharedShaders(device);
    ReleaseSharedShaders();
  });
  if (g_trivialSeconds > 0.0) state.counters["ratio_to_trivial_pair"] = seconds / g_trivialSeconds;
}
BENCHMARK(BM_CreateSharedShaders)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
