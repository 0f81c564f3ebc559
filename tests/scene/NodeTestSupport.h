#pragma once
// Shared fixture of the node, controller, camera, light and scene tests: a
// recording device, one scene on it, and fatal errors turned into a C++
// exception carrying the exit code, with the message box text kept.
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/Processor.h"
#include "scene/Group.h"
#include "scene/SceneGraph.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

struct FatalExit {
  UINT code;
};

class SceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    boxes().clear();
    SetMessageBoxHook(recordBox);
    SetExitProcessHook(throwOnExit);
    device = RecordingDevice::createOffscreen(800, 600);
    scene = new SceneGraph(device);
  }
  void TearDown() override {
    delete scene;
    device->Release();
    SetMessageBoxHook(nullptr);
    SetExitProcessHook(nullptr);
  }

  // A new object of the scene with the next scene id.
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

  struct Box {
    std::string text, caption;
  };
  static std::vector<Box>& boxes() {
    static std::vector<Box> shown;
    return shown;
  }

  RecordingDevice* device = nullptr;
  SceneGraph* scene = nullptr;

 private:
  static int recordBox(const char* text, const char* caption, UINT) {
    boxes().push_back({text, caption});
    return IDOK;
  }
  [[noreturn]] static void throwOnExit(UINT code) { throw FatalExit{code}; }
};

// Runs a statement that must end the process; checks the exit code, the
// caption "Error" and the text of the last message box.
#define EXPECT_FATAL(statement, message)                                  \
  do {                                                                    \
    bool exited = false;                                                  \
    try {                                                                 \
      statement;                                                          \
    } catch (const FatalExit& exit) {                                     \
      exited = true;                                                      \
      EXPECT_EQ(exit.code, 0u);                                           \
    }                                                                     \
    EXPECT_TRUE(exited) << "no fatal exit";                               \
    ASSERT_FALSE(boxes().empty());                                        \
    EXPECT_EQ(boxes().back().text, std::string(message));                 \
    EXPECT_EQ(boxes().back().caption, "Error");                           \
  } while (false)

// A processor that writes its protocol calls into a shared event list as
// "<name>.Begin", "<name>.Clear", "<name>.Queue <node name>", "<name>.Render".
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

// The matrix element (row, column), both 1-based as in _11.._44.
inline float element(const D3DMATRIX& m, int row, int column) { return m.m[row - 1][column - 1]; }
