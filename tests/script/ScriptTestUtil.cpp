#include "ScriptTestUtil.h"

#include "platform/movie/AxHost.h"
#include "platform/os/Clock.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "platform/os/MessageBox.h"
#include "script/DemoClock.h"

#include <gtest/gtest.h>

void setClockMs(double ms) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  SetPerformanceCounterOverride(std::int64_t(ms * double(frequency.QuadPart) / 1000.0 + 0.5));
}

void ScriptTest::SetUp() {
  SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
  setClockMs(0);
  StartDemoClock();
  soundForceOutput(FSOUND_OUTPUT_OFFLINE);  // music mixes into memory, no device
  AtlAxWinInit();
  device = RecordingDevice::createOffscreen();
  device->BeginScene();  // draws are only valid inside a scene
  scripter = std::make_unique<Scripter>(device, 800, 600);
}

void ScriptTest::TearDown() {
  scripter.reset();
  if (device) device->Release();
  ClearPerformanceCounterOverride();
  SetMessageBoxHook(nullptr);
}

Scripter& ScriptTest::load(const std::string& name, float baseTime) {
  scripter->LoadScript(name.c_str(), baseTime);
  return *scripter;
}
