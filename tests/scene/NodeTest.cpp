// Groups (transforms through a parent chain, bounds, linking, culling) and
// the scene object (ids, preparation, the per-frame time and render protocol).
#include "scene/Camera.h"
#include "scene/KeyframeFloatController.h"
#include "scene/Mesh.h"
#include "scene/Sprite.h"
#include "tests/scene/SceneTestSupport.h"

#include <cmath>

namespace {

using NodeTest = SceneTest;

TEST_F(NodeTest, WorldMatricesComposeLocalTimesParentWorld) {
  Group* root = makeNode<Group>("root", 10, 0, 0);
  root->prs.scale = D3DXVECTOR3(2, 2, 2);
  Group* child = makeNode<Group>("child", 1, 0, 0);
  child->prs.rotation = D3DXQUATERNION(0, 0, std::sin(D3DX_PI / 4), std::cos(D3DX_PI / 4));  // 90° about z
  Group* grandchild = makeNode<Group>("grandchild", 0, 1, 0);
  attach(child, root);
  attach(grandchild, child);
  for (Base* object : scene->objects) object->link();
  ASSERT_EQ(root->children, std::vector<Group*>{child});
  ASSERT_EQ(child->children, std::vector<Group*>{grandchild});
  root->update(true);
  // One unit along x in a space scaled by 2 at x = 10; the grandchild's +y
  // turns into -x in the child's quarter-turned space, cancelling it.
  expectNear(D3DXVECTOR3(child->world._41, child->world._42, child->world._43), 12, 0, 0, "child");
  expectNear(D3DXVECTOR3(grandchild->world._41, grandchild->world._42, grandchild->world._43), 10, 0, 0, "grandchild");
  EXPECT_NEAR(grandchild->world._12, 2.0f, 1e-5f);  // x axis: the child's y in world, scaled
  EXPECT_EQ(grandchild->local._42, 1.0f);           // local keeps the node's own transform

  // update(false) recomputes nothing, not even after the transforms changed.
  const D3DXMATRIX world = root->world, childWorld = grandchild->world;
  root->prs.position = D3DXVECTOR3(100, 100, 100);
  root->update(false);
  EXPECT_EQ(root->world, world);
  EXPECT_EQ(grandchild->world, childWorld);
  root->update(true);
  EXPECT_EQ(root->world._41, 100.0f);
  EXPECT_NEAR(grandchild->world._41, 100.0f, 1e-4f);
}

TEST_F(NodeTest, OwnBoundComesFromTheSpriteOrMeshThroughTheWorldXScale) {
  Mesh* mesh = make<Mesh>();
  mesh->boundValue = 4.0f;  // a squared length, but used as a length
  Group* notAMesh = makeNode<Group>("other");
  Sprite* sprite = make<Sprite>();
  sprite->size = 2.0f;  // bound value (2 / 2)² = 1
  struct Case {
    Base* meshObject;
    Sprite* sprite;
    D3DXVECTOR3 scale;
    float boundSq;
  };
  for (const Case& c : {Case{mesh, nullptr, {3, 3, 3}, 144.0f},  // (4 × 3)², not (2 × 3)²
                        Case{mesh, nullptr, {1, 5, 7}, 16.0f},   // only the x axis counts
                        Case{mesh, sprite, {1, 1, 1}, 1.0f},     // the sprite replaces the mesh
                        Case{notAMesh, nullptr, {1, 1, 1}, 0.0f}}) {
    Group* node = makeNode<Group>("node");
    node->prs.scale = c.scale;
    use(node->meshRef, c.meshObject);
    node->sprite = c.sprite;
    node->update(true);
    EXPECT_FLOAT_EQ(node->boundSq, c.boundSq) << c.boundSq;
  }
}

TEST_F(NodeTest, BoundHoldsEveryChildsSphere) {
  Group* root = makeNode<Group>("root");
  root->sprite = make<Sprite>();
  root->sprite->size = 4.0f;  // own boundSq 16
  Group* near = makeNode<Group>("near", 1, 0, 0);
  Group* far = makeNode<Group>("far", 0, 3, 4);
  far->sprite = make<Sprite>();
  far->sprite->size = 6.0f;  // boundSq 81
  attach(near, root);
  attach(far, root);
  near->link();
  far->link();
  root->update(true);
  // max(16, 1 + 0, 25 + 81): the far child's distance squared plus its bound.
  EXPECT_FLOAT_EQ(root->boundSq, 106.0f);
  // A child moved on its own leaves the parent's bound as it was.
  far->prs.position = D3DXVECTOR3(0, 0, 100);
  far->update(true);
  EXPECT_FLOAT_EQ(root->boundSq, 106.0f);
}

TEST_F(NodeTest, LinkIgnoresUnusableParents) {
  Group* highBitsParent = new Group(0x1234FFFFu, scene);  // exists, but low 16 bits all ones
  Group* highBits = makeNode<Group>("highBits");
  highBits->parentRef.reset(std::int32_t(0x1234FFFFu));
  ASSERT_EQ(highBits->parentRef.as<Group>(), highBitsParent);
  Group* missing = makeNode<Group>("missing");
  missing->parentRef.reset(4242);
  Group* onMesh = makeNode<Group>("onMesh", 5, 0, 0);
  use(onMesh->parentRef, make<Mesh>());
  Group* a = makeNode<Group>("a");
  Group* b = makeNode<Group>("b");
  Group* self = makeNode<Group>("self");
  attach(a, b);
  attach(b, a);
  attach(self, self);
  for (Base* object : scene->objects) object->link();
  for (Group* node : {highBitsParent, a, b, self}) EXPECT_TRUE(node->children.empty()) << node->name;
  onMesh->update(true);
  EXPECT_EQ(onMesh->world, onMesh->local);
  a->update(true);  // must end despite the cycle
  self->update(true);
}

// Planes of an axis-aligned box: |x| ≤ 1, |y| ≤ 1, 0 ≤ z ≤ 10.
const D3DXPLANE kBox[6] = {{1, 0, 0, 1}, {-1, 0, 0, 1}, {0, -1, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 0}, {0, 0, -1, 10}};

TEST(SphereInFrustum, StopsAtTheFirstStraddledPlaneAndTouchingCounts) {
  struct Case {
    D3DXVECTOR3 centre;
    float radius;
    bool inside;
  };
  for (const Case& c : {Case{{-1, 0, 50}, 0.5f, true},  // straddles the left plane, beyond the far one
                        Case{{0, 0, 50}, 0.5f, false},  // inside all but the far plane
                        Case{{-3, 0, 5}, 1.5f, false},  // wholly left
                        Case{{-2, 0, 5}, 1.0f, true},   // touches the left plane from outside
                        Case{{0, 0, 5}, 0.5f, true},
                        Case{{0, 0, 0}, 0.0f, true},  // a point on the near plane
                        Case{{0, 0, -0.001f}, 0.0f, false},
                        Case{{1, 1, 10}, 0.0f, true}})
    EXPECT_EQ(sphereInFrustum(kBox, c.centre, c.radius), c.inside)
        << c.centre.x << " " << c.centre.y << " " << c.centre.z << " r " << c.radius;
}

class TraversalTest : public SceneTest {
 protected:
  // A camera at the origin looking along world -y, made active by its link.
  void SetUp() override {
    SceneTest::SetUp();
    Camera* camera = makeNode<Camera>("camera");
    camera->fov = D3DX_PI / 2;
    camera->nearClip = 1.0f;
    camera->farClip = 100.0f;
    camera->link();
    ASSERT_EQ(scene->activeCamera, camera);
    processor = new RecordingProcessor(scene->AllocateId(), scene, "P", &events);
  }
  std::vector<std::string> events;
  RecordingProcessor* processor = nullptr;
};

TEST_F(TraversalTest, QueuesVisibleNodesDepthFirstAndCullsWholeSubtrees) {
  Group* root = makeNode<Group>("root", 0, -10, 0);
  Group* a = makeNode<Group>("a", 1, 0, 0);
  Group* a1 = makeNode<Group>("a1", 0, -1, 0);
  Group* b = makeNode<Group>("b", -1, 0, 0);
  Group* behind = makeNode<Group>("behind", 0, 30, 0);  // world y = 20
  Group* hidden = makeNode<Group>("hidden", 0, 1, 0);
  attach(a, root);
  attach(a1, a);
  attach(b, root);
  attach(behind, root);
  attach(hidden, behind);
  for (Base* object : scene->objects) object->link();
  root->update(true);
  // Moved in front of the camera on its own: the culled parent's bound is
  // only recomputed when the parent itself is updated.
  hidden->prs.position = D3DXVECTOR3(0, -60, 0);
  hidden->update(true);
  ASSERT_NEAR(hidden->world._42, -40.0f, 1e-4f);
  root->render(processor);
  EXPECT_EQ(events, (std::vector<std::string>{"P.Queue root", "P.Queue a", "P.Queue a1", "P.Queue b"}));

  events.clear();
  scene->SetActiveCamera(nullptr);
  root->render(processor);
  EXPECT_TRUE(events.empty());
}

// The processor factory is a plain function: it reaches the test's event
// list through this pointer.
std::vector<std::string>* g_events = nullptr;
int g_factoryCalls = 0;

class SceneGraphTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    g_events = &events;
    g_factoryCalls = 0;
    m_previousFactory = GetSceneProcessorFactory();
    SetSceneProcessorFactory([](SceneGraph& s) {
      ++g_factoryCalls;
      auto* first = new RecordingProcessor(s.AllocateId(), &s, "A", g_events);
      s.processors = {first, new RecordingProcessor(s.AllocateId(), &s, "B", g_events)};
      s.defaultProcessor = first;
    });
  }
  void TearDown() override {
    SetSceneProcessorFactory(m_previousFactory);
    SceneTest::TearDown();
  }
  // A camera, then root (in front of it) with children "front" and "behind".
  void buildScene() {
    makeNode<Camera>("camera");
    root = makeNode<Group>("root", 0, -10, 0);
    attach(makeNode<Group>("front", 0, -5, 0), root);
    attach(makeNode<Group>("behind", 0, 40, 0), root);
    scene->root = root;
  }
  std::vector<std::string> events;
  Group* root = nullptr;
  SceneProcessorFactory m_previousFactory = nullptr;
};

TEST_F(SceneGraphTest, IdsAndLookup) {
  EXPECT_EQ(scene->AllocateId(), 0u);
  EXPECT_EQ(scene->AllocateId(), 1u);
  Group* a = makeNode<Group>("a");
  Group* twin = new Group(a->id, scene);  // a repeated id: the first one wins
  EXPECT_EQ(scene->findObject(2), a);
  EXPECT_EQ(scene->findObject(-1), nullptr);
  EXPECT_EQ(scene->findObject(3), nullptr);
  EXPECT_EQ(scene->objects, (std::vector<Base*>{a, twin}));
}

TEST_F(SceneGraphTest, PrepareLinksComputesAndCreatesProcessorsOnce) {
  buildScene();
  for (int pass = 0; pass < 2; ++pass) {
    scene->Prepare();
    EXPECT_TRUE(scene->prepared);
    EXPECT_EQ(g_factoryCalls, 1);
    ASSERT_EQ(scene->processors.size(), 2u);
    EXPECT_EQ(scene->defaultProcessor, scene->processors[0]);
    EXPECT_EQ(scene->processors[1]->id, 5u);  // the processors take the last ids
    EXPECT_EQ(root->children.size(), 2u);     // not linked twice
    EXPECT_EQ(root->children[0]->world._42, -15.0f);
    EXPECT_NE(scene->activeCamera, nullptr);
  }
}

TEST_F(SceneGraphTest, NothingHappensBeforeTheSceneIsLoaded) {
  buildScene();
  auto* fade = new KeyframeFloatController(root, "VISTRACK", false);
  fade->addKey({0.0f, 0.0f});
  scene->controllers.push_back(fade);
  scene->Prepare();
  cache().glowOnly = TRUE;
  scene->SetTime(0.0f);
  scene->Render();
  EXPECT_EQ(root->visibility, 1.0f);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(cache().glowOnly, TRUE);
  scene->loaded = true;
  scene->SetTime(0.0f);
  EXPECT_EQ(root->visibility, 0.0f);
}

TEST_F(SceneGraphTest, RenderRunsTheFrameProtocolPerProcessor) {
  buildScene();
  scene->Prepare();
  scene->loaded = true;
  cache().glowOnly = TRUE;
  const std::size_t mark = log().mark();
  scene->Render();
  EXPECT_EQ(cache().glowOnly, FALSE);
  EXPECT_EQ(log().count("SetTransform", mark), 2u);  // the camera activated again first
  EXPECT_EQ(events, (std::vector<std::string>{"A.Begin", "B.Begin", "A.Clear", "A.Queue root", "A.Queue front",
                                              "A.Render", "B.Clear", "B.Queue root", "B.Queue front", "B.Render"}));
}

TEST_F(SceneGraphTest, SceneWithoutCameraOrRootDrawsNothing) {
  scene->root = makeNode<Group>("lone");
  scene->Prepare();
  scene->loaded = true;
  scene->Render();
  SceneGraph empty(device);
  empty.loaded = true;
  empty.Prepare();
  empty.Render();
  EXPECT_EQ(empty.processors.size(), 2u);
  EXPECT_TRUE(events.empty());
}

}  // namespace
