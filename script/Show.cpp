#include "script/Show.h"

#include "platform/os/Clock.h"
#include "render/GlowAmount.h"
#include "scene/Sprite.h"
#include "script/DemoClock.h"

#include <cmath>

namespace {
// The glow amount a process starts with (a constant initialiser, so read
// here before any show can change it).
const float kStartGlowAmount = GlowAmount;
}  // namespace

Show::Show(IDirect3DDevice9* device, Clock clock) : m_device(device), m_clock(clock) {
  // What the script and scene loading change process-wide starts over, so
  // that a second show in one process (a renderer's counting pass, a test)
  // draws as the first: the glow amount and the particle generator's seed.
  GlowAmount = kStartGlowAmount;
  sceneRandReset();
  if (m_clock == Clock::Virtual) SetTime(0);
  try {
    m_scripter = std::make_unique<Scripter>(m_device, kScreenWidth, kScreenHeight);
  } catch (...) {
    // A tool that turns the show's exit into an exception gets its reference
    // back released here, since no destructor runs for this Show.
    if (m_device) m_device->Release();
    throw;
  }
}

Show::~Show() {
  m_scripter.reset();
  if (m_device) m_device->Release();
}

void Show::Start(const char* scriptFile) {
  m_scripter->LoadScript(scriptFile, 0.0f);
  if (m_clock == Clock::Virtual) SetTime(0);
  StartDemoClock();
}

void Show::SetTime(double ms) {
  if (m_clock != Clock::Virtual) return;
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  // Rounded up so that the clock's truncating division gives the whole ms
  // of `ms` and never one less.
  SetPerformanceCounterOverride(std::int64_t(std::ceil(ms * double(frequency.QuadPart) / 1000.0)));
}

bool Show::Frame(bool draw, const std::function<void()>& overDraw) {
  if (!draw) return m_scripter->Advance(GetDemoTime());
  m_device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
  m_device->BeginScene();
  const bool ended = m_scripter->Update(GetDemoTime());
  if (overDraw) overDraw();
  m_device->EndScene();
  m_device->Present(nullptr, nullptr, nullptr, nullptr);
  return ended;
}
