// Group: transforms through a parent chain, bounds, linking, control fields
// and the culling traversal.
#include "scene/Camera.h"
#include "scene/Group.h"
#include "scene/Mesh.h"
#include "scene/Sprite.h"
#include "tests/scene/NodeTestSupport.h"

#include <cmath>

namespace {

using NodeTest = SceneTest;

D3DXQUATERNION aboutZ(float radians) { return {0.0f, 0.0f, std::sin(radians / 2), std::cos(radians / 2)}; }

TEST_F(NodeTest, WorldMatricesComposeLocalTimesParentWorld) {
  Group* root = makeNode<Group>("root", 10, 0, 0);
  root->prs.scale = D3DXVECTOR3(2, 2, 2);
  Group* child = makeNode<Group>("child", 1, 0, 0);
  child->prs.rotation = aboutZ(D3DX_PI / 2);
  Group* grandchild = makeNode<Group>("grandchild", 0, 1, 0);
  attach(child, root);
  attach(grandchild, child);
  for (Base* object : scene->objects) object->link();
  ASSERT_EQ(root->children, std::vector<Group*>{child});
  ASSERT_EQ(child->children, std::vector<Group*>{grandchild});

  root->update(true);
  // The child sits one unit along x in a space scaled by 2 at x = 10; the
  // grandchild's +y turns into -x in the child's quarter-turned space,
  // which cancels the child's offset.
  EXPECT_NEAR(child->world._41, 12.0f, 1e-5f);
  EXPECT_NEAR(child->world._42, 0.0f, 1e-5f);
  EXPECT_NEAR(grandchild->world._41, 10.0f, 1e-5f);
  EXPECT_NEAR(grandchild->world._42, 0.0f, 1e-5f);
  EXPECT_NEAR(grandchild->world._43, 0.0f, 1e-5f);
  // The grandchild's x axis is the child's y turned to world, scaled by 2.
  EXPECT_NEAR(grandchild->world._11, 0.0f, 1e-5f);
  EXPECT_NEAR(grandchild->world._12, 2.0f, 1e-5f);
  // local keeps the node's own transform only.
  EXPECT_EQ(grandchild->local._42, 1.0f);
}

TEST_F(NodeTest, UpdateWithoutTransformChangeRecomputesNothing) {
  Group* root = makeNode<Group>("root", 1, 2, 3);
  Group* child = makeNode<Group>("child", 4, 0, 0);
  attach(child, root);
  child->link();
  root->update(true);
  const D3DXMATRIX local = root->local, world = root->world, childWorld = child->world;
  const float bound = root->boundSq;

  root->prs.position = D3DXVECTOR3(100, 100, 100);
  child->prs.position = D3DXVECTOR3(-50, 0, 0);
  root->update(false);
  EXPECT_EQ(root->local, local);
  EXPECT_EQ(root->world, world);
  EXPECT_EQ(child->world, childWorld);
  EXPECT_EQ(root->boundSq, bound);

  root->update(true);
  EXPECT_EQ(root->world._41, 100.0f);
  EXPECT_EQ(child->world._41, 50.0f);
}

TEST_F(NodeTest, MeshBoundIsTakenThroughTheWorldScaleWithoutSquareRoot) {
  Mesh* mesh = make<Mesh>();
  mesh->boundValue = 4.0f;  // a squared length: the vertices reach 2 units
  Group* node = makeNode<Group>("node");
  node->prs.scale = D3DXVECTOR3(3, 3, 3);
  node->meshRef.reset(std::int32_t(mesh->id));
  node->update(true);
  // b = 4 is used as a length: (4 × 3)², not (2 × 3)².
  EXPECT_FLOAT_EQ(node->boundSq, 144.0f);

  // Only the x axis of the world matrix counts.
  node->prs.scale = D3DXVECTOR3(1, 5, 7);
  node->update(true);
  EXPECT_FLOAT_EQ(node->boundSq, 16.0f);
}

TEST_F(NodeTest, SpriteBoundReplacesTheMeshBound) {
  Mesh* mesh = make<Mesh>();
  mesh->boundValue = 100.0f;
  Sprite* sprite = make<Sprite>();
  sprite->size = 2.0f;  // bound value (2 / 2)² = 1
  Group* node = makeNode<Group>("node");
  node->meshRef.reset(std::int32_t(mesh->id));
  node->sprite = sprite;
  node->update(true);
  EXPECT_FLOAT_EQ(node->boundSq, 1.0f);
}

TEST_F(NodeTest, ReferenceToANonMeshGivesNoMeshBound) {
  Group* other = makeNode<Group>("other");
  Group* node = makeNode<Group>("node");
  node->meshRef.reset(std::int32_t(other->id));
  node->update(true);
  EXPECT_EQ(node->boundSq, 0.0f);
}

TEST_F(NodeTest, BoundHoldsEveryChildsSphere) {
  Group* root = makeNode<Group>("root");
  Sprite* sprite = make<Sprite>();
  sprite->size = 4.0f;  // bound value 4, used as a length: own boundSq 16
  root->sprite = sprite;
  Group* near = makeNode<Group>("near", 1, 0, 0);
  Group* far = makeNode<Group>("far", 0, 3, 4);
  Sprite* big = make<Sprite>();
  big->size = 6.0f;  // bound value 9: boundSq 81
  far->sprite = big;
  attach(near, root);
  attach(far, root);
  near->link();
  far->link();
  root->update(true);
  EXPECT_FLOAT_EQ(near->boundSq, 0.0f);
  EXPECT_FLOAT_EQ(far->boundSq, 81.0f);
  // max(16, 1 + 0, 25 + 81): the far child's distance squared plus its bound.
  EXPECT_FLOAT_EQ(root->boundSq, 106.0f);

  // A child moved on its own leaves the parent's bound as it was.
  far->prs.position = D3DXVECTOR3(0, 0, 100);
  far->update(true);
  EXPECT_FLOAT_EQ(root->boundSq, 106.0f);
}

TEST_F(NodeTest, LinkSkipsParentIdsWhoseLowBitsAreAllOnes) {
  Group* parent = new Group(0x1234FFFFu, scene);
  Group* minusOne = makeNode<Group>("minusOne");
  Group* highBits = makeNode<Group>("highBits");
  highBits->parentRef.reset(std::int32_t(0x1234FFFFu));
  ASSERT_EQ(highBits->parentRef.as<Group>(), parent);  // the object exists...
  minusOne->link();
  highBits->link();
  EXPECT_TRUE(parent->children.empty());  // ...but is not made the parent
}

TEST_F(NodeTest, LinkLeavesNodesWithoutAGroupParentParentless) {
  Mesh* mesh = make<Mesh>();
  Group* missing = makeNode<Group>("missing");
  missing->parentRef.reset(4242);
  Group* onMesh = makeNode<Group>("onMesh", 5, 0, 0);
  onMesh->parentRef.reset(std::int32_t(mesh->id));
  missing->link();
  onMesh->link();
  onMesh->update(true);
  EXPECT_EQ(onMesh->world._41, 5.0f);
  EXPECT_EQ(onMesh->world, onMesh->local);
}

TEST_F(NodeTest, LinkRefusesParentCycles) {
  Group* a = makeNode<Group>("a");
  Group* b = makeNode<Group>("b");
  Group* self = makeNode<Group>("self");
  attach(a, b);
  attach(b, a);
  attach(self, self);
  for (Base* object : scene->objects) object->link();
  EXPECT_TRUE(a->children.empty());
  EXPECT_TRUE(b->children.empty());
  EXPECT_TRUE(self->children.empty());
  a->update(true);  // must end
  self->update(true);
}

TEST_F(NodeTest, VisibilityIsTheOnlyControlFieldAndNamesAreCaseSensitive) {
  Group* node = makeNode<Group>("node");
  EXPECT_EQ(node->getControlField("VISTRACK"), &node->visibility);
  EXPECT_EQ(node->visibility, 1.0f);
  EXPECT_FATAL(node->getControlField("vistrack"), "Group: Invalid control field!");
  EXPECT_FATAL(node->getControlField("FOVTRACK"), "Group: Invalid control field!");
  EXPECT_FATAL(node->getControlField(nullptr), "Group: Invalid control field!");
}

// Planes of an axis-aligned box: |x| ≤ 1, |y| ≤ 1, 0 ≤ z ≤ 10.
const D3DXPLANE kBox[6] = {{1, 0, 0, 1}, {-1, 0, 0, 1}, {0, -1, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 0}, {0, 0, -1, 10}};

TEST_F(NodeTest, SphereTestStopsAtTheFirstStraddledPlane) {
  // Straddles the left plane, lies wholly beyond the far plane: drawn.
  EXPECT_TRUE(sphereInFrustum(kBox, D3DXVECTOR3(-1, 0, 50), 0.5f));
  // Inside every plane but the far one: culled there.
  EXPECT_FALSE(sphereInFrustum(kBox, D3DXVECTOR3(0, 0, 50), 0.5f));
  // Wholly left of the left plane.
  EXPECT_FALSE(sphereInFrustum(kBox, D3DXVECTOR3(-3, 0, 5), 1.5f));
  EXPECT_TRUE(sphereInFrustum(kBox, D3DXVECTOR3(0, 0, 5), 0.5f));
}

TEST_F(NodeTest, ZeroRadiusIsAPointTest) {
  EXPECT_TRUE(sphereInFrustum(kBox, D3DXVECTOR3(0, 0, 0), 0.0f));  // on the near plane
  EXPECT_FALSE(sphereInFrustum(kBox, D3DXVECTOR3(0, 0, -0.001f), 0.0f));
  EXPECT_TRUE(sphereInFrustum(kBox, D3DXVECTOR3(1, 1, 10), 0.0f));
}

class TraversalTest : public SceneTest {
 protected:
  // A camera at the origin looking along world -y (identity transform),
  // made active by its link.
  void SetUp() override {
    SceneTest::SetUp();
    camera = makeNode<Camera>("camera");
    camera->fov = D3DX_PI / 2;
    camera->nearClip = 1.0f;
    camera->farClip = 100.0f;
    camera->link();
    ASSERT_EQ(scene->activeCamera, camera);
    processor = new RecordingProcessor(scene->AllocateId(), scene, "P", &events);
  }
  std::vector<std::string> events;
  Camera* camera = nullptr;
  RecordingProcessor* processor = nullptr;
};

TEST_F(TraversalTest, QueuesVisibleNodesDepthFirstInLinkOrder) {
  Group* root = makeNode<Group>("root", 0, -10, 0);
  Group* a = makeNode<Group>("a", 1, 0, 0);
  Group* a1 = makeNode<Group>("a1", 0, -1, 0);
  Group* b = makeNode<Group>("b", -1, 0, 0);
  Group* behind = makeNode<Group>("behind", 0, 30, 0);  // world y = 20, behind the camera
  attach(a, root);
  attach(a1, a);
  attach(b, root);
  attach(behind, root);
  for (Base* object : scene->objects) object->link();
  root->update(true);
  root->render(processor);
  EXPECT_EQ(events, (std::vector<std::string>{"P.Queue root", "P.Queue a", "P.Queue a1", "P.Queue b"}));
}

TEST_F(TraversalTest, CulledNodeHidesItsWholeSubtree) {
  Group* root = makeNode<Group>("root", 0, 50, 0);  // behind the camera
  Group* child = makeNode<Group>("child", 0, 1, 0);
  attach(child, root);
  child->link();
  root->update(true);
  // The child moves in front of the camera, but the parent's bound is only
  // recomputed when the parent itself is updated.
  child->prs.position = D3DXVECTOR3(0, -100, 0);
  child->update(true);
  ASSERT_NEAR(child->world._42, -50.0f, 1e-4f);
  root->render(processor);
  EXPECT_TRUE(events.empty());

  root->update(true);  // now the bound reaches the child
  root->render(processor);
  EXPECT_EQ(events, (std::vector<std::string>{"P.Queue root", "P.Queue child"}));
}

TEST_F(TraversalTest, NothingIsDrawnWithoutAnActiveCamera) {
  Group* root = makeNode<Group>("root", 0, -10, 0);
  root->update(true);
  scene->SetActiveCamera(nullptr);
  root->render(processor);
  EXPECT_TRUE(events.empty());
}

}  // namespace
