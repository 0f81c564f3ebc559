#pragma once
// Shared fixture of the scene suites: a scratch folder as the current
// directory (loose files), a recording device with one scene on it, message
// boxes answered and recorded, and process exits turned into a FatalExit
// exception carrying the exit code.
#include "ArchiveTestUtil.h"
#include "archive/CFLArchive.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/Processor.h"
#include "render/StateCache.h"
#include "scene/Group.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/VxkWriter.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct FatalExit {
  UINT code;
};

struct ShownBox {
  std::string text, caption;
  UINT type;
};

inline std::vector<ShownBox>& shownBoxes() {
  static std::vector<ShownBox> boxes;
  return boxes;
}

// An uncompressed true-colour TGA of one ARGB colour, 24 or 32 bits a texel
// (the alpha byte only at 32), bottom row first. Texture files are told by
// their contents, so the same bytes serve under .png or .jpg names.
inline Bytes solidTga(int width, int height, D3DCOLOR argb, int bits = 32) {
  Bytes bytes(18, 0);
  bytes[2] = 2;
  bytes[12] = std::uint8_t(width);
  bytes[13] = std::uint8_t(width >> 8);
  bytes[14] = std::uint8_t(height);
  bytes[15] = std::uint8_t(height >> 8);
  bytes[16] = std::uint8_t(bits);
  bytes[17] = bits == 32 ? 8 : 0;
  for (int i = 0; i < width * height; ++i)
    for (int byte = 0; byte < bits / 8; ++byte) bytes.push_back(std::uint8_t(argb >> (8 * byte)));
  return bytes;
}

class SceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    shownBoxes().clear();
    SetMessageBoxHook([](const char* text, const char* caption, UINT type) {
      shownBoxes().push_back({text ? text : "", caption ? caption : "", type});
      return IDOK;
    });
    SetExitProcessHook([](UINT code) { throw FatalExit{code}; });
    cwd = std::make_unique<CurrentDirectory>(dir.path());
    device = RecordingDevice::createOffscreen(800, 600);
    resourcesBefore = device->liveResourceCount();
    scene = new SceneGraph(device);
  }
  void TearDown() override {
    delete scene;  // owns its objects and the texture cache
    EXPECT_EQ(device->liveResourceCount(), resourcesBefore) << "device resources leaked";
    device->Release();
    cwd.reset();
    SetExitProcessHook(nullptr);
    SetMessageBoxHook(nullptr);
  }

  template <class T>
  T* make() {
    return new T(scene->AllocateId(), scene);
  }
  template <class T>
  T* makeNode(const char* nodeName, float x = 0.0f, float y = 0.0f, float z = 0.0f) {
    T* node = make<T>();
    node->name = nodeName;
    node->prs.position = D3DXVECTOR3(x, y, z);
    return node;
  }
  static void attach(Group* child, Group* parent) { child->parentRef.reset(std::int32_t(parent->id)); }
  static void use(ObjectRef& ref, const Base* object) { ref.reset(std::int32_t(object->id)); }

  // Runs code that must end the show: exit code 0 and an "Error" box, whose
  // text is returned.
  std::string fatal(const std::function<void()>& code) {
    shownBoxes().clear();
    try {
      code();
    } catch (const FatalExit& exit) {
      EXPECT_EQ(exit.code, 0u);
      if (shownBoxes().empty()) return "(no message box)";
      EXPECT_EQ(shownBoxes().back().caption, "Error");
      return shownBoxes().back().text;
    }
    ADD_FAILURE() << "the show went on";
    return {};
  }

  // A device texture in the scene's cache under a file name, as if that file
  // had been loaded: nothing is read for the name afterwards.
  IDirect3DTexture9* cacheTexture(const std::string& name) {
    IDirect3DTexture9* texture = nullptr;
    EXPECT_EQ(device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture), D3D_OK);
    scene->stateCache->textures[name] = texture;
    return texture;
  }

  StateCache& cache() { return *scene->stateCache; }
  CallLog& log() { return device->log(); }

  TempDir dir;
  std::unique_ptr<CurrentDirectory> cwd;
  RecordingDevice* device = nullptr;
  SceneGraph* scene = nullptr;
  int resourcesBefore = 0;
};

// Scene files: written into the scratch folder and loaded as the script
// loads them, each into a fresh scene; optionally an archive as the
// process's archive.
class LoaderTest : public SceneTest {
 protected:
  void TearDown() override {
    g_archive = nullptr;
    archive.reset();
    SceneTest::TearDown();
  }
  void writeFile(const std::string& name, const vxk::VxkWriter& w) { dir.write(name, w.bytes()); }
  // A fresh scene (replacing the previous one) with its top-level loader.
  VXKSceneLoader* newScene() {
    delete scene;
    scene = new SceneGraph(device);
    return new VXKSceneLoader(scene->AllocateId(), scene);
  }
  SceneGraph* load(const vxk::VxkWriter& w, const std::string& name = "scene.vxk") {
    writeFile(name, w);
    newScene()->LoadScene(name.c_str());
    return scene;
  }
  // Loads a file written with an offset and scale, as a nested file is.
  void loadFile(const vxk::VxkWriter& w, float animOffset, float animScale, bool looping) {
    writeFile("scene.vxk", w);
    newScene()->LoadFile("scene.vxk", -1, animOffset, animScale, looping);
  }
  std::string loadFatal(const vxk::VxkWriter& w, const std::string& name = "scene.vxk") {
    return fatal([&] { load(w, name); });
  }
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

  TempDir archiveDir;
  std::unique_ptr<CFLArchive> archive;
};

// A processor that writes its protocol calls into an event list as
// "<label>.Begin", "<label>.Clear", "<label>.Queue <node name>", "<label>.Render".
class RecordingProcessor : public Processor {
 public:
  RecordingProcessor(std::uint32_t id, SceneGraph* scene, std::string label, std::vector<std::string>* events)
      : Processor(id, scene), m_label(std::move(label)), m_events(events) {}
  void BeginFrame() override { m_events->push_back(m_label + ".Begin"); }
  void ClearQueues() override { m_events->push_back(m_label + ".Clear"); }
  void Render() override { m_events->push_back(m_label + ".Render"); }
  void QueueNode(Group* node) override { m_events->push_back(m_label + ".Queue " + node->name); }

 private:
  std::string m_label;
  std::vector<std::string>* m_events;
};

inline void expectNear(const D3DXVECTOR3& actual, float x, float y, float z, const std::string& what = {}) {
  EXPECT_NEAR(actual.x, x, 1e-5f) << what;
  EXPECT_NEAR(actual.y, y, 1e-5f) << what;
  EXPECT_NEAR(actual.z, z, 1e-5f) << what;
}
