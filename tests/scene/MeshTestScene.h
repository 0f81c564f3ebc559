#pragma once
// A scene on a recording device for the geometry tests (buffers, meshes,
// materials, the state cache), with the fatal-error path caught: the message
// box is recorded and the exit throws FatalExit instead of ending the run.
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

struct FatalExit {
  UINT code;
};

struct FatalBox {
  std::string text;
  std::string caption;
};

inline FatalBox& lastFatalBox() {
  static FatalBox box;
  return box;
}

inline int recordFatalBox(const char* text, const char* caption, UINT) {
  lastFatalBox() = FatalBox{text != nullptr ? text : "", caption != nullptr ? caption : ""};
  return IDOK;
}

[[noreturn]] inline void throwFatalExit(UINT code) { throw FatalExit{code}; }

class GeometrySceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    lastFatalBox() = FatalBox{};
    SetMessageBoxHook(recordFatalBox);
    SetExitProcessHook(throwFatalExit);
    device = RecordingDevice::createOffscreen(800, 600);
    resourcesBefore = device->liveResourceCount();
    scene = new SceneGraph(device);
  }
  void TearDown() override {
    delete scene;
    // Every device buffer and texture a scene object made goes with it.
    EXPECT_EQ(device->liveResourceCount(), resourcesBefore);
    device->Release();
    SetExitProcessHook(nullptr);
    SetMessageBoxHook(nullptr);
  }

  // Runs f, which must end in a fatal error; returns "caption|text" of its
  // box (exit code 0 checked here).
  template <class F>
  std::string fatalOf(F&& f) {
    try {
      std::forward<F>(f)();
    } catch (const FatalExit& exit) {
      EXPECT_EQ(exit.code, 0u);
      return lastFatalBox().caption + "|" + lastFatalBox().text;
    }
    ADD_FAILURE() << "expected a fatal error";
    return {};
  }

  StateCache& cache() { return *scene->stateCache; }
  CallLog& log() { return device->log(); }

  RecordingDevice* device = nullptr;
  SceneGraph* scene = nullptr;
  int resourcesBefore = 0;
};
