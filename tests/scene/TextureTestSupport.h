#pragma once
// Shared set-up of the texture and sprite suites: a recording device, one
// scene on it, message boxes answered and recorded, and process exits turned
// into an exception the test can catch.
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

struct ExitCalled {
  UINT code;
};

struct RecordedBox {
  std::string text;
  std::string caption;
};

inline std::vector<RecordedBox>& recordedBoxes() {
  static std::vector<RecordedBox> boxes;
  return boxes;
}

inline int recordBox(const char* text, const char* caption, UINT) {
  recordedBoxes().push_back({text != nullptr ? text : "", caption != nullptr ? caption : ""});
  return IDOK;
}

[[noreturn]] inline void throwOnExit(UINT code) { throw ExitCalled{code}; }

class SceneObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    recordedBoxes().clear();
    SetMessageBoxHook(recordBox);
    SetExitProcessHook(throwOnExit);
    device = RecordingDevice::createOffscreen(800, 600);
    resourcesBefore = device->liveResourceCount();
    scene = new SceneGraph(device);
  }
  void TearDown() override {
    delete scene;  // owns the objects and the texture cache
    EXPECT_EQ(device->liveResourceCount(), resourcesBefore) << "device resources leaked";
    device->Release();
    SetExitProcessHook(nullptr);
    SetMessageBoxHook(nullptr);
  }

  // A device texture placed in the scene's cache under a name, as if a file
  // of that name had been loaded: no file is read for it afterwards.
  IDirect3DTexture9* cacheTexture(const std::string& name) {
    IDirect3DTexture9* texture = nullptr;
    EXPECT_EQ(device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture), D3D_OK);
    scene->stateCache->textures[name] = texture;
    return texture;
  }

  RecordingDevice* device = nullptr;
  SceneGraph* scene = nullptr;
  int resourcesBefore = 0;
};

// An uncompressed 32-bit true-colour TGA of width × height texels of one
// ARGB colour, bottom row first (the format's default origin).
inline std::vector<unsigned char> makeSolidTga(int width, int height, D3DCOLOR argb) {
  std::vector<unsigned char> bytes(18, 0);
  bytes[2] = 2;  // uncompressed true colour
  bytes[12] = static_cast<unsigned char>(width);
  bytes[13] = static_cast<unsigned char>(width >> 8);
  bytes[14] = static_cast<unsigned char>(height);
  bytes[15] = static_cast<unsigned char>(height >> 8);
  bytes[16] = 32;
  bytes[17] = 8;  // 8 alpha bits
  for (int i = 0; i < width * height; ++i) {
    bytes.push_back(static_cast<unsigned char>(argb));
    bytes.push_back(static_cast<unsigned char>(argb >> 8));
    bytes.push_back(static_cast<unsigned char>(argb >> 16));
    bytes.push_back(static_cast<unsigned char>(argb >> 24));
  }
  return bytes;
}
