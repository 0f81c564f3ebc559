// Cost of the OpenGL device per draw: 10,000 small indexed batches per frame
// (one quad each, its own world matrix, the same states), drawn through
// GlDevice and through bare OpenGL calls doing the same work, in one run.
// Both draw into a 64 x 64 off-screen target and finish the frame with
// glFinish, so the figures are CPU cost per frame, not fill rate.
// The GlDevice run reports `ratio_to_bare` = its time per frame divided by
// the bare run's. Run headless with SDL_VIDEODRIVER=offscreen.
#include "platform/gfx/gl/GlDevice.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/gfx/gl/GlProgram.h"
#include "platform/os/Window.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kBatches = 10000;
constexpr int kSize = 64;

struct Vertex {
  float x, y, z;
  D3DCOLOR diffuse;
};
const Vertex kQuad[4] = {{-0.01f, 0.01f, 0.5f, 0xFFFF8040},
                         {0.01f, 0.01f, 0.5f, 0xFFFF8040},
                         {-0.01f, -0.01f, 0.5f, 0xFFFF8040},
                         {0.01f, -0.01f, 0.5f, 0xFFFF8040}};
const std::uint16_t kIndices[6] = {0, 1, 2, 2, 1, 3};

// The world matrix of batch i: a translation over a 100 x 100 grid.
void batchWorld(int i, float* m) {
  std::memset(m, 0, 16 * sizeof(float));
  m[0] = m[5] = m[10] = m[15] = 1.0f;
  m[12] = float(i % 100) * 0.02f - 0.99f;
  m[13] = float(i / 100) * 0.02f - 0.99f;
}

double g_bareSecondsPerFrame = 0.0;

void BM_BareOpenGL(benchmark::State& state) {
  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  WindowDesc desc;
  desc.hidden = true;
  desc.width = desc.height = 16;
  auto window = Window::create(desc);
  if (!window) {
    state.SkipWithError("no OpenGL context");
    return;
  }
  glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE);
  GLuint target = 0, framebuffer = 0;
  glGenTextures(1, &target);
  glBindTexture(GL_TEXTURE_2D, target);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB8, kSize, kSize, 0, GL_RGB, GL_UNSIGNED_BYTE, nullptr);
  glGenFramebuffers(1, &framebuffer);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
  glViewport(0, 0, kSize, kSize);
  std::string log;
  const GLuint program = linkGlProgram(
      "#version 330 core\nin vec4 in_Position;\nin vec4 in_Color0;\nuniform mat4 u_worldView;\n"
      "uniform mat4 u_projection;\nout vec4 color;\n"
      "void main() { gl_Position = u_projection * (u_worldView * vec4(in_Position.xyz, 1.0)); color = in_Color0; }\n",
      "#version 330 core\nin vec4 color;\nout vec4 o;\nvoid main() { o = color; }\n", &log);
  glUseProgram(program);
  const GLint worldView = glGetUniformLocation(program, "u_worldView");
  const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  glUniformMatrix4fv(glGetUniformLocation(program, "u_projection"), 1, GL_FALSE, identity);
  GLuint vao = 0, buffers[2] = {};
  glGenVertexArrays(1, &vao);
  glBindVertexArray(vao);
  glGenBuffers(2, buffers);
  glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
  glBufferData(GL_ARRAY_BUFFER, sizeof kQuad, kQuad, GL_STATIC_DRAW);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffers[1]);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof kIndices, kIndices, GL_STATIC_DRAW);
  glVertexAttribPointer(glattr::kPosition, 3, GL_FLOAT, GL_FALSE, sizeof(Vertex), nullptr);
  glVertexAttribPointer(glattr::kColor0, GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE, sizeof(Vertex),
                        reinterpret_cast<const void*>(12));
  glEnableVertexAttribArray(glattr::kPosition);
  glEnableVertexAttribArray(glattr::kColor0);
  float world[16];
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    glClear(GL_COLOR_BUFFER_BIT);
    for (int i = 0; i < kBatches; ++i) {
      batchWorld(i, world);
      glUniformMatrix4fv(worldView, 1, GL_FALSE, world);
      glDrawElementsBaseVertex(GL_TRIANGLES, 6, GL_UNSIGNED_SHORT, nullptr, 0);
    }
    glFinish();
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  g_bareSecondsPerFrame = seconds / double(state.iterations());
  state.counters["batches"] = kBatches;
  glDeleteBuffers(2, buffers);
  glDeleteVertexArrays(1, &vao);
  glDeleteProgram(program);
  glDeleteFramebuffers(1, &framebuffer);
  glDeleteTextures(1, &target);
}

void BM_GlDevice(benchmark::State& state) {
  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  IDirect3D9* d3d = createGlDirect3D();
  D3DPRESENT_PARAMETERS pp{};
  pp.BackBufferWidth = kSize;
  pp.BackBufferHeight = kSize;
  pp.BackBufferFormat = D3DFMT_X8R8G8B8;
  Device* device = nullptr;
  if (FAILED(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, 0, &pp, &device))) {
    d3d->Release();
    state.SkipWithError("no device");
    return;
  }
  IDirect3DVertexBuffer9* vb = nullptr;
  IDirect3DIndexBuffer9* ib = nullptr;
  device->CreateVertexBuffer(sizeof kQuad, D3DUSAGE_WRITEONLY, D3DFVF_XYZ | D3DFVF_DIFFUSE, D3DPOOL_MANAGED, &vb);
  device->CreateIndexBuffer(sizeof kIndices, D3DUSAGE_WRITEONLY, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib);
  void* data = nullptr;
  vb->Lock(0, 0, &data, 0);
  std::memcpy(data, kQuad, sizeof kQuad);
  vb->Unlock();
  ib->Lock(0, 0, &data, 0);
  std::memcpy(data, kIndices, sizeof kIndices);
  ib->Unlock();
  device->SetRenderState(D3DRS_LIGHTING, FALSE);
  device->SetRenderState(D3DRS_ZENABLE, D3DZB_FALSE);
  device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
  device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
  device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
  device->SetStreamSource(0, vb, 0, sizeof(Vertex));
  device->SetIndices(ib);
  D3DMATRIX world{};
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0, 1.0f, 0);
    device->BeginScene();
    for (int i = 0; i < kBatches; ++i) {
      batchWorld(i, &world._11);
      device->SetTransform(D3DTS_WORLD, &world);
      device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2);
    }
    device->EndScene();
    glFinish();
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  state.counters["batches"] = kBatches;
  if (g_bareSecondsPerFrame > 0.0)
    state.counters["ratio_to_bare"] = seconds / double(state.iterations()) / g_bareSecondsPerFrame;
  state.counters["programs_compiled"] = double(static_cast<GlDevice*>(device)->compiledProgramCount());
  vb->Release();
  ib->Release();
  device->Release();
  d3d->Release();
}

}  // namespace

// The bare run first: the device run divides by its time.
BENCHMARK(BM_BareOpenGL)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_GlDevice)->Unit(benchmark::kMillisecond)->MinTime(2.0);
