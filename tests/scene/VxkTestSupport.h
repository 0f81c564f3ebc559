#pragma once
// Set-up of the scene-file suites: a scratch folder as the current directory
// (loose files), an optional archive, a recording device, message boxes
// answered and recorded, and process exits turned into an exception.
#include "ArchiveTestUtil.h"
#include "archive/CFLArchive.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/VxkWriter.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vxktest {

struct ExitCalled {
  UINT code;
};

struct Box {
  std::string text;
  std::string caption;
  UINT type;
};

inline std::vector<Box>& boxes() {
  static std::vector<Box> shown;
  return shown;
}

inline int recordBox(const char* text, const char* caption, UINT type) {
  boxes().push_back({text ? text : "", caption ? caption : "", type});
  return IDOK;
}

[[noreturn]] inline void throwOnExit(UINT code) { throw ExitCalled{code}; }

// An uncompressed 24-bit TGA of one colour (small texture files).
inline Bytes solidTga(int width, int height, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
  Bytes bytes(18, 0);
  bytes[2] = 2;
  bytes[12] = std::uint8_t(width);
  bytes[14] = std::uint8_t(height);
  bytes[16] = 24;
  for (int i = 0; i < width * height; ++i) {
    bytes.push_back(b);
    bytes.push_back(g);
    bytes.push_back(r);
  }
  return bytes;
}

class VxkSceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    boxes().clear();
    SetMessageBoxHook(recordBox);
    SetExitProcessHook(throwOnExit);
    cwd = std::make_unique<CurrentDirectory>(dir.path());
    device = RecordingDevice::createOffscreen(800, 600);
    resourcesBefore = device->liveResourceCount();
  }
  void TearDown() override {
    delete scene;
    scene = nullptr;
    g_archive = nullptr;
    archive.reset();
    EXPECT_EQ(device->liveResourceCount(), resourcesBefore) << "device resources leaked";
    device->Release();
    cwd.reset();
    SetExitProcessHook(nullptr);
    SetMessageBoxHook(nullptr);
  }

  void writeFile(const std::string& name, const vxk::VxkWriter& w) { dir.write(name, w.bytes()); }

  // A fresh scene (replacing the previous one) with its top-level loader.
  VXKSceneLoader* newScene() {
    delete scene;
    scene = new SceneGraph(device);
    return new VXKSceneLoader(scene->AllocateId(), scene);
  }

  // Writes the file and loads it as the script does.
  SceneGraph* load(const vxk::VxkWriter& w, const std::string& name = "scene.vxk") {
    writeFile(name, w);
    newScene()->LoadScene(name.c_str());
    return scene;
  }

  // Runs code that must end the show; returns the box's text. The box must
  // have caption "Error" and the exit code must be 0.
  std::string fatal(const std::function<void()>& code) {
    boxes().clear();
    try {
      code();
    } catch (const ExitCalled& exit) {
      EXPECT_EQ(exit.code, 0u);
      if (boxes().empty()) return "(no message box)";
      EXPECT_EQ(boxes().back().caption, "Error");
      return boxes().back().text;
    }
    ADD_FAILURE() << "the show went on";
    return {};
  }
  std::string loadFatal(const vxk::VxkWriter& w, const std::string& name = "scene.vxk") {
    return fatal([&] { load(w, name); });
  }

  // Makes an archive of the entries the process's archive.
  void useArchive(const std::vector<std::pair<std::string, Bytes>>& entries) {
    ArchiveWriter writer;
    for (const auto& [name, bytes] : entries) ASSERT_TRUE(writer.add(name, bytes.data(), bytes.size(), 0));
    Bytes image;
    ASSERT_TRUE(writer.finish(&image)) << writer.error();
    const std::string path = archiveDir.write("show.cfl", image);
    archive = std::make_unique<CFLArchive>();
    ASSERT_EQ(archive->Open(path.c_str()), 1);
    g_archive = archive.get();
  }

  template <class T>
  T* object(std::uint32_t sceneId) const {
    return dynamic_cast<T*>(scene->findObject(std::int32_t(sceneId)));
  }

  TempDir dir;
  TempDir archiveDir;
  std::unique_ptr<CurrentDirectory> cwd;
  std::unique_ptr<CFLArchive> archive;
  RecordingDevice* device = nullptr;
  SceneGraph* scene = nullptr;
  int resourcesBefore = 0;
};

}  // namespace vxktest
