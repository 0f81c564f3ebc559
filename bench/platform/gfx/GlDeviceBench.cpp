// Cost of the OpenGL device per draw: 10,000 small indexed batches per frame
// (one quad each, its own world matrix, the same states), drawn through
// GlDevice and through bare OpenGL calls doing the same work. Both draw into
// a 64 x 64 off-screen target and finish the frame with glFinish, so the
// figures are the cost of issuing the draws, not fill rate.
//
// Frames alternate, one bare and one through the device, each in its own
// context, and every figure is a median over those pairs: this machine is
// shared, and load from other processes then weighs on both sides alike.
// Reported: speed_vs_bare = bare frame time / device frame time (1 = as fast
// as bare OpenGL), cpu_speed_vs_bare the same on the drawing thread's CPU
// time (llvmpipe rasterises on threads of its own), bare_ms and device_ms.
// Run headless with SDL_VIDEODRIVER=offscreen.
#include "platform/gfx/gl/GlDevice.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/gfx/gl/GlProgram.h"
#include "platform/os/Window.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

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

// The bare side: one program, one vertex array, a uniform and a draw per batch.
class BareScene {
 public:
  bool open() {
    WindowDesc desc;
    desc.hidden = true;
    desc.width = desc.height = 16;
    m_window = Window::create(desc);
    if (!m_window) return false;
    glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE);
    glGenTextures(1, &m_target);
    glBindTexture(GL_TEXTURE_2D, m_target);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB8, kSize, kSize, 0, GL_RGB, GL_UNSIGNED_BYTE, nullptr);
    glGenFramebuffers(1, &m_framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_target, 0);
    glViewport(0, 0, kSize, kSize);
    std::string log;
    m_program = linkGlProgram(
        "#version 330 core\nin vec4 in_Position;\nin vec4 in_Color0;\nuniform mat4 u_worldView;\n"
        "uniform mat4 u_projection;\nout vec4 color;\n"
        "void main() { gl_Position = u_projection * (u_worldView * vec4(in_Position.xyz, 1.0)); color = in_Color0; }\n",
        "#version 330 core\nin vec4 color;\nout vec4 o;\nvoid main() { o = color; }\n", &log);
    if (!m_program) return false;
    glUseProgram(m_program);
    m_worldView = glGetUniformLocation(m_program, "u_worldView");
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    glUniformMatrix4fv(glGetUniformLocation(m_program, "u_projection"), 1, GL_FALSE, identity);
    glGenVertexArrays(1, &m_vao);
    glBindVertexArray(m_vao);
    glGenBuffers(2, m_buffers);
    glBindBuffer(GL_ARRAY_BUFFER, m_buffers[0]);
    glBufferData(GL_ARRAY_BUFFER, sizeof kQuad, kQuad, GL_STATIC_DRAW);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, m_buffers[1]);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof kIndices, kIndices, GL_STATIC_DRAW);
    glVertexAttribPointer(glattr::kPosition, 3, GL_FLOAT, GL_FALSE, sizeof(Vertex), nullptr);
    glVertexAttribPointer(glattr::kColor0, GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE, sizeof(Vertex),
                          reinterpret_cast<const void*>(12));
    glEnableVertexAttribArray(glattr::kPosition);
    glEnableVertexAttribArray(glattr::kColor0);
    return true;
  }

  ~BareScene() {
    if (!m_window) return;
    m_window->makeCurrent();
    glDeleteBuffers(2, m_buffers);
    glDeleteVertexArrays(1, &m_vao);
    glDeleteProgram(m_program);
    glDeleteFramebuffers(1, &m_framebuffer);
    glDeleteTextures(1, &m_target);
  }

  void makeCurrent() { m_window->makeCurrent(); }

  void frame() {
    float world[16];
    glClear(GL_COLOR_BUFFER_BIT);
    for (int i = 0; i < kBatches; ++i) {
      batchWorld(i, world);
      glUniformMatrix4fv(m_worldView, 1, GL_FALSE, world);
      glDrawElementsBaseVertex(GL_TRIANGLES, 6, GL_UNSIGNED_SHORT, nullptr, 0);
    }
    glFinish();
  }

 private:
  std::unique_ptr<Window> m_window;
  GLuint m_target = 0, m_framebuffer = 0, m_program = 0, m_vao = 0, m_buffers[2] = {};
  GLint m_worldView = -1;
};

// The device side: the same quads and states through Direct3D calls.
class DeviceScene {
 public:
  bool open() {
    m_d3d = createGlDirect3D();
    D3DPRESENT_PARAMETERS pp{};
    pp.BackBufferWidth = kSize;
    pp.BackBufferHeight = kSize;
    pp.BackBufferFormat = D3DFMT_X8R8G8B8;
    if (!m_d3d || FAILED(m_d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, 0, &pp, &m_device))) return false;
    m_device->CreateVertexBuffer(sizeof kQuad, D3DUSAGE_WRITEONLY, D3DFVF_XYZ | D3DFVF_DIFFUSE, D3DPOOL_MANAGED,
                                 &m_vb, nullptr);
    m_device->CreateIndexBuffer(sizeof kIndices, D3DUSAGE_WRITEONLY, D3DFMT_INDEX16, D3DPOOL_MANAGED, &m_ib,
                                nullptr);
    if (!m_vb || !m_ib) return false;
    void* data = nullptr;
    m_vb->Lock(0, 0, &data, 0);
    std::memcpy(data, kQuad, sizeof kQuad);
    m_vb->Unlock();
    m_ib->Lock(0, 0, &data, 0);
    std::memcpy(data, kIndices, sizeof kIndices);
    m_ib->Unlock();
    m_device->SetRenderState(D3DRS_LIGHTING, FALSE);
    m_device->SetRenderState(D3DRS_ZENABLE, D3DZB_FALSE);
    m_device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);  // the bare side culls nothing either
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
    m_device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
    m_device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
    m_device->SetStreamSource(0, m_vb, 0, sizeof(Vertex));
    m_device->SetIndices(m_ib);
    return true;
  }

  ~DeviceScene() {
    if (m_vb) m_vb->Release();
    if (m_ib) m_ib->Release();
    if (m_device) m_device->Release();
    if (m_d3d) m_d3d->Release();
  }

  GlDevice* device() { return static_cast<GlDevice*>(m_device); }

  void frame() {
    D3DMATRIX world{};
    m_device->Clear(0, nullptr, D3DCLEAR_TARGET, 0, 1.0f, 0);
    m_device->BeginScene();
    for (int i = 0; i < kBatches; ++i) {
      batchWorld(i, &world._11);
      m_device->SetTransform(D3DTS_WORLD, &world);
      m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2);
    }
    m_device->EndScene();
    glFinish();
  }

 private:
  IDirect3D9* m_d3d = nullptr;
  Device* m_device = nullptr;
  IDirect3DVertexBuffer9* m_vb = nullptr;
  IDirect3DIndexBuffer9* m_ib = nullptr;
};

struct FrameTime {
  double wall = 0, cpu = 0;  // seconds
};

template <class Draw>
FrameTime timeFrame(Draw draw) {
  timespec cpu0{}, cpu1{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu0);
  const auto wall0 = std::chrono::steady_clock::now();
  draw();
  const auto wall1 = std::chrono::steady_clock::now();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu1);
  return {std::chrono::duration<double>(wall1 - wall0).count(),
          double(cpu1.tv_sec - cpu0.tv_sec) + double(cpu1.tv_nsec - cpu0.tv_nsec) * 1e-9};
}

double median(std::vector<double> values) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 ? values[n / 2] : 0.5 * (values[n / 2 - 1] + values[n / 2]);
}

void BM_DeviceAgainstBareOpenGL(benchmark::State& state) {
  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  BareScene bare;
  DeviceScene device;
  if (!bare.open() || !device.open()) {
    state.SkipWithError("no OpenGL context or device");
    return;
  }
  // One frame each first: programs are compiled and llvmpipe's shader
  // variants made outside the timed pairs.
  bare.makeCurrent();
  bare.frame();
  device.frame();
  std::vector<double> speed, cpuSpeed, bareMs, deviceMs;
  for (auto _ : state) {
    bare.makeCurrent();
    const FrameTime b = timeFrame([&] { bare.frame(); });
    device.device()->makeCurrent();
    const FrameTime d = timeFrame([&] { device.frame(); });
    speed.push_back(b.wall / d.wall);
    cpuSpeed.push_back(b.cpu / d.cpu);
    bareMs.push_back(b.wall * 1e3);
    deviceMs.push_back(d.wall * 1e3);
  }
  state.counters["batches"] = kBatches;
  state.counters["speed_vs_bare"] = median(speed);
  state.counters["cpu_speed_vs_bare"] = median(cpuSpeed);
  state.counters["bare_ms"] = median(bareMs);
  state.counters["device_ms"] = median(deviceMs);
  state.counters["programs_compiled"] = double(device.device()->compiledProgramCount());
}

}  // namespace

BENCHMARK(BM_DeviceAgainstBareOpenGL)->Unit(benchmark::kMillisecond)->MinTime(4.0);
