// The scene object: ids, preparation, the per-frame time and render protocol.
#include "render/StateCache.h"
#include "scene/Camera.h"
#include "scene/KeyframeFloatController.h"
#include "tests/scene/NodeTestSupport.h"

namespace {

// The processor factory is a plain function: it reaches the test's event
// list through this pointer.
std::vector<std::string>* g_events = nullptr;
int g_factoryCalls = 0;

void twoRecordingProcessors(SceneGraph& scene) {
  ++g_factoryCalls;
  auto* first = new RecordingProcessor(scene.AllocateId(), &scene, "A", g_events);
  auto* second = new RecordingProcessor(scene.AllocateId(), &scene, "B", g_events);
  scene.processors = {first, second};
  scene.defaultProcessor = first;
}

class SceneGraphTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    g_events = &events;
    g_factoryCalls = 0;
    SetSceneProcessorFactory(twoRecordingProcessors);
  }
  void TearDown() override {
    SetSceneProcessorFactory(nullptr);
    g_events = nullptr;
    SceneTest::TearDown();
  }

  // root (in front of the camera) with children "front" and "behind"; the
  // camera is linked first.
  void buildScene() {
    Camera* camera = makeNode<Camera>("camera");
    root = makeNode<Group>("root", 0, -10, 0);
    Group* front = makeNode<Group>("front", 0, -5, 0);
    Group* behind = makeNode<Group>("behind", 0, 40, 0);
    attach(front, root);
    attach(behind, root);
    scene->root = root;
    (void)camera;
  }

  std::vector<std::string> events;
  Group* root = nullptr;
};

TEST_F(SceneGraphTest, IdsAndLookup) {
  EXPECT_EQ(scene->AllocateId(), 0u);
  EXPECT_EQ(scene->AllocateId(), 1u);
  Group* a = makeNode<Group>("a");
  Group* twin = new Group(a->id, scene);  // a repeated id: the first one wins
  EXPECT_EQ(a->id, 2u);
  EXPECT_EQ(scene->findObject(2), a);
  EXPECT_EQ(scene->findObject(-1), nullptr);
  EXPECT_EQ(scene->findObject(3), nullptr);
  EXPECT_EQ(scene->objects, (std::vector<Base*>{a, twin}));
}

TEST_F(SceneGraphTest, PrepareLinksComputesAndCreatesProcessorsOnce) {
  buildScene();
  scene->Prepare();
  EXPECT_TRUE(scene->prepared);
  EXPECT_EQ(g_factoryCalls, 1);
  ASSERT_EQ(scene->processors.size(), 2u);
  EXPECT_EQ(scene->defaultProcessor, scene->processors[0]);
  // The processors took the last two ids.
  EXPECT_EQ(scene->processors[0]->id, 4u);
  EXPECT_EQ(scene->processors[1]->id, 5u);
  EXPECT_EQ(root->children.size(), 2u);
  EXPECT_EQ(root->children[0]->world._42, -15.0f);
  EXPECT_NE(scene->activeCamera, nullptr);

  scene->Prepare();
  EXPECT_EQ(g_factoryCalls, 1);
  EXPECT_EQ(scene->processors.size(), 2u);
  EXPECT_EQ(root->children.size(), 2u);  // not linked twice
}

TEST_F(SceneGraphTest, NothingHappensBeforeTheSceneIsLoaded) {
  buildScene();
  auto* fade = new KeyframeFloatController(root, "VISTRACK", false);
  fade->addKey({0.0f, 0.0f});
  scene->controllers.push_back(fade);
  scene->Prepare();
  scene->stateCache->glowOnly = TRUE;

  scene->SetTime(0.0f);
  scene->Render();
  EXPECT_EQ(root->visibility, 1.0f);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(scene->stateCache->glowOnly, TRUE);

  scene->loaded = true;
  scene->SetTime(0.0f);
  EXPECT_EQ(root->visibility, 0.0f);
}

TEST_F(SceneGraphTest, RenderRunsTheFrameProtocolPerProcessor) {
  buildScene();
  scene->Prepare();
  scene->loaded = true;
  scene->stateCache->glowOnly = TRUE;
  const std::size_t mark = device->log().mark();
  scene->Render();
  EXPECT_EQ(scene->stateCache->glowOnly, FALSE);
  // The camera was activated again before the processors began.
  EXPECT_EQ(device->log().count("SetTransform", mark), 2u);
  const std::vector<std::string> frame = {"A.Begin", "B.Begin",
                                          "A.Clear", "A.Queue root", "A.Queue front", "A.Render",
                                          "B.Clear", "B.Queue root", "B.Queue front", "B.Render"};
  EXPECT_EQ(events, frame);
}

TEST_F(SceneGraphTest, SceneWithoutCameraOrRootDrawsNothing) {
  Group* lone = makeNode<Group>("lone");
  scene->root = lone;
  scene->Prepare();
  scene->loaded = true;
  scene->Render();
  EXPECT_TRUE(events.empty());

  SceneGraph empty(device);
  empty.loaded = true;
  empty.Prepare();
  empty.Render();
  EXPECT_EQ(empty.processors.size(), 2u);
  EXPECT_TRUE(events.empty());
}

TEST_F(SceneGraphTest, TwoCamerasFirstLinkedIsActiveUntilSelected) {
  Camera* first = makeNode<Camera>("first");
  Camera* second = makeNode<Camera>("second");
  scene->root = makeNode<Group>("root");
  scene->Prepare();
  EXPECT_EQ(scene->activeCamera, first);
  scene->SetActiveCameraByName("nobody");
  EXPECT_EQ(scene->activeCamera, first);
  scene->SetActiveCameraByName("second");
  EXPECT_EQ(scene->activeCamera, second);
  EXPECT_FALSE(first->active);
}

}  // namespace
