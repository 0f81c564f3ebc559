// Keyframe, shake, vertex and camera-activator controllers, and animations
// built from a configuration text.
#include "render/VertexBuffer.h"
#include "render/StateCache.h"
#include "scene/Camera.h"
#include "scene/CameraActivatorController.h"
#include "scene/KeyframeFloatController.h"
#include "scene/KeyframePRSController.h"
#include "scene/ShakeController.h"
#include "scene/VertexController.h"
#include "tests/scene/NodeTestSupport.h"

#include <cmath>
#include <limits>

namespace {

// A Preparable with one field "F" that counts its updates; any other name
// gives null, as an animated texture does.
class FieldOwner : public Preparable {
 public:
  void update(bool transformChanged) override { (transformChanged ? transformUpdates : plainUpdates)++; }
  float* getControlField(const char* name) override { return std::string(name) == "F" ? &value : nullptr; }
  float value = -7.0f;
  int plainUpdates = 0;
  int transformUpdates = 0;
};

KeyframeFloatController makeRamp(FieldOwner& owner, bool looping) {
  KeyframeFloatController controller(&owner, "F", looping);
  controller.addKey({0.0f, 0.0f});
  controller.addKey({1000.0f, 1.0f});
  return controller;
}

TEST(KeyframeFloatControllerTest, InterpolatesAndHoldsTheEnds) {
  FieldOwner owner;
  KeyframeFloatController ramp = makeRamp(owner, false);
  EXPECT_EQ(ramp.firstTime, 0.0f);
  EXPECT_EQ(ramp.lastTime, 1000.0f);
  const std::pair<float, float> cases[] = {{250.0f, 0.25f}, {-5.0f, 0.0f}, {1000.0f, 1.0f}, {2250.0f, 1.0f},
                                           {999.0f, 0.999f}};
  for (const auto& [t, expected] : cases) {
    ramp.update(t);
    EXPECT_FLOAT_EQ(owner.value, expected) << "t = " << t;
  }
  EXPECT_EQ(owner.plainUpdates, 5);
  EXPECT_EQ(owner.transformUpdates, 0);
}

TEST(KeyframeFloatControllerTest, LoopingRepeatsTheKeyRange) {
  FieldOwner owner;
  KeyframeFloatController ramp = makeRamp(owner, true);
  ramp.update(2250.0f);
  EXPECT_FLOAT_EQ(owner.value, 0.25f);
  // Exactly the last time wraps to the first segment with s = 0.
  ramp.update(1000.0f);
  EXPECT_EQ(owner.value, 0.0f);
  ramp.update(-5.0f);
  EXPECT_EQ(owner.value, 0.0f);

  KeyframeFloatController shifted(&owner, "F", true);
  shifted.addKey({500.0f, 10.0f});
  shifted.addKey({1500.0f, 20.0f});
  shifted.update(2750.0f);  // 1250 after the first key, minus one period
  EXPECT_FLOAT_EQ(owner.value, 12.5f);
}

TEST(KeyframeFloatControllerTest, RepeatedKeyTimeUsesItsLastKey) {
  FieldOwner owner;
  KeyframeFloatController controller(&owner, "F", false);
  controller.addKey({0.0f, 0.0f});
  controller.addKey({500.0f, 1.0f});
  controller.addKey({500.0f, 2.0f});
  controller.addKey({1000.0f, 3.0f});
  controller.update(500.0f);
  EXPECT_EQ(owner.value, 2.0f);
  controller.update(750.0f);
  EXPECT_FLOAT_EQ(owner.value, 2.5f);
}

TEST(KeyframeFloatControllerTest, UnsortedKeysNeverReadBeforeTheFirstKey) {
  FieldOwner owner;
  KeyframeFloatController controller(&owner, "F", false);
  controller.addKey({1000.0f, 1.0f});
  controller.addKey({0.0f, 5.0f});
  EXPECT_EQ(controller.firstTime, 0.0f);
  EXPECT_EQ(controller.lastTime, 1000.0f);
  // The first greater key is the first stored one: read as the start.
  controller.update(250.0f);
  EXPECT_EQ(owner.value, 1.0f);
  controller.sortKeys();
  controller.update(250.0f);
  EXPECT_FLOAT_EQ(owner.value, 4.0f);
}

TEST(KeyframeFloatControllerTest, DegenerateKeySetsLeaveOrHoldTheField) {
  FieldOwner owner;
  KeyframeFloatController empty(&owner, "F", true);
  empty.update(100.0f);
  EXPECT_EQ(owner.value, -7.0f);
  EXPECT_EQ(owner.plainUpdates, 0);

  // One key, looping: no period to repeat; the key holds everywhere.
  KeyframeFloatController single(&owner, "F", true);
  single.addKey({100.0f, 3.0f});
  single.update(5000.0f);
  EXPECT_EQ(owner.value, 3.0f);
  single.update(0.0f);
  EXPECT_EQ(owner.value, 3.0f);

  // An unknown field on a tolerant target: nothing written, no update.
  FieldOwner other;
  KeyframeFloatController unknown(&other, "G", false);
  EXPECT_EQ(unknown.field, nullptr);
  unknown.addKey({0.0f, 1.0f});
  unknown.update(0.0f);
  EXPECT_EQ(other.value, -7.0f);
  EXPECT_EQ(other.plainUpdates, 0);
}

using ControllerFatalTest = SceneTest;

TEST_F(ControllerFatalTest, FailedKeySearchIsFatal) {
  FieldOwner owner;
  KeyframeFloatController ramp = makeRamp(owner, false);
  EXPECT_FATAL(ramp.update(std::numeric_limits<float>::quiet_NaN()), "Mit\xE4hittoo");
}

TEST_F(ControllerFatalTest, UnknownFieldOfANodeIsFatalAtConstruction) {
  Group* node = makeNode<Group>("node");
  EXPECT_FATAL(KeyframeFloatController(node, "Visibility", false), "Group: Invalid control field!");
}

using KeyframePRSControllerTest = SceneTest;

TEST_F(KeyframePRSControllerTest, BlendsPositionAndScaleAndSlerpsTheRotation) {
  Group* node = makeNode<Group>("node");
  KeyframePRSController controller(node, false);
  KeyPRS from{0.0f, PRS{}};
  KeyPRS to{1000.0f, PRS{}};
  to.prs.position = D3DXVECTOR3(10, 20, 30);
  to.prs.scale = D3DXVECTOR3(3, 5, 7);
  to.prs.rotation = D3DXQUATERNION(0, 0, std::sin(D3DX_PI / 4), std::cos(D3DX_PI / 4));  // 90° about z
  controller.addKey(to);
  controller.addKey(from);
  controller.sortKeys();

  controller.update(500.0f);
  EXPECT_FLOAT_EQ(node->prs.position.x, 5.0f);
  EXPECT_FLOAT_EQ(node->prs.position.z, 15.0f);
  EXPECT_FLOAT_EQ(node->prs.scale.y, 3.0f);
  // Halfway is 45° about z, a unit quaternion (a component blend would give
  // (0, 0, 0.354, 0.854)).
  EXPECT_NEAR(node->prs.rotation.z, std::sin(D3DX_PI / 8), 1e-6f);
  EXPECT_NEAR(node->prs.rotation.w, std::cos(D3DX_PI / 8), 1e-6f);
  // The node was recomputed.
  EXPECT_FLOAT_EQ(node->world._41, 5.0f);

  controller.update(1200.0f);
  EXPECT_EQ(node->prs.position, to.prs.position);
  EXPECT_EQ(node->prs.rotation, to.prs.rotation);
  EXPECT_EQ(node->world._43, 30.0f);
  controller.update(-1.0f);
  EXPECT_EQ(node->prs.scale, D3DXVECTOR3(1, 1, 1));
}

TEST_F(KeyframePRSControllerTest, WithoutKeysTheNodeKeepsItsTransform) {
  Group* node = makeNode<Group>("node", 1, 2, 3);
  KeyframePRSController controller(node, true);
  controller.update(10.0f);
  EXPECT_EQ(node->prs.position, D3DXVECTOR3(1, 2, 3));
}

using ShakeControllerTest = SceneTest;

TEST_F(ShakeControllerTest, RisesFallsAndAccumulatesOnTheNode) {
  Group* node = makeNode<Group>("node");
  // Period parameter 1000: one oscillation per ms; at t = k + 0.25 the sine
  // is 1 and the angle equals the amplitude.
  ShakeController shake(node, 0.0f, 1000.0f, 0.5f, 2, 0.25f, 0.5f);
  EXPECT_FLOAT_EQ(shake.amplitude, 0.125f);
  const float expectedAmplitude[] = {0.25f, 0.375f, 0.5f, 0.25f, 0.0f};
  for (int frame = 0; frame < 5; ++frame) {
    ASSERT_TRUE(shake.active);
    shake.update(float(frame) + 0.25f);
    EXPECT_FLOAT_EQ(shake.amplitude, expectedAmplitude[frame]) << "frame " << frame;
  }
  EXPECT_FALSE(shake.active);
  EXPECT_TRUE(shake.decaying);
  // Angles 0.125 + 0.25 + 0.375 + 0.5 + 0.25 = 1.5 rad of roll, all kept.
  EXPECT_NEAR(node->prs.rotation.z, std::sin(0.75f), 1e-4f);
  EXPECT_NEAR(node->prs.rotation.w, std::cos(0.75f), 1e-4f);
  EXPECT_NEAR(node->world._12, std::sin(1.5f), 1e-4f);

  const D3DXQUATERNION settled = node->prs.rotation;
  shake.update(9.25f);
  EXPECT_EQ(node->prs.rotation, settled);
}

TEST_F(ShakeControllerTest, ShakeTurnsBeforeTheNodesOwnRotation) {
  Group* node = makeNode<Group>("node");
  node->prs.rotation = D3DXQUATERNION(std::sin(D3DX_PI / 4), 0, 0, std::cos(D3DX_PI / 4));  // 90° about x
  // Pitch axis, full amplitude from the first frame, sine 1 at t = 0.25.
  ShakeController shake(node, 0.0f, 1000.0f, 0.5f, 1, 1.0f, 1.0f);
  shake.update(0.25f);
  D3DXMATRIX pitch, quarter, expected, got;
  D3DXMatrixRotationX(&pitch, 0.5f);
  D3DXMatrixRotationX(&quarter, D3DX_PI / 2);
  D3DXMatrixMultiply(&expected, &pitch, &quarter);
  D3DXMatrixRotationQuaternion(&got, &node->prs.rotation);
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 3; ++c) EXPECT_NEAR(element(got, r, c), element(expected, r, c), 1e-5f);

  // Yaw about y does not commute with the x turn: check the order.
  node->prs.rotation = D3DXQUATERNION(std::sin(D3DX_PI / 4), 0, 0, std::cos(D3DX_PI / 4));
  ShakeController yaw(node, 0.0f, 1000.0f, 0.5f, 0, 1.0f, 1.0f);
  yaw.update(0.25f);
  D3DXMATRIX turn;
  D3DXMatrixRotationY(&turn, 0.5f);
  D3DXMatrixMultiply(&expected, &turn, &quarter);
  D3DXMatrixRotationQuaternion(&got, &node->prs.rotation);
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 3; ++c) EXPECT_NEAR(element(got, r, c), element(expected, r, c), 1e-5f);
}

TEST_F(ShakeControllerTest, ZeroPeriodDoesNotSpoilTheRotation) {
  Group* node = makeNode<Group>("node");
  ShakeController shake(node, 0.0f, 0.0f, 0.5f, 0, 0.5f, 0.5f);
  shake.update(0.0f);
  shake.update(1.0f);
  EXPECT_EQ(node->prs.rotation, D3DXQUATERNION(0, 0, 0, 1));
}

class VertexControllerTest : public SceneTest {
 protected:
  // Two vertices, three frames: frame k puts vertex 0 at (k, 10k, 100k) and
  // vertex 1 at (-k, 0, 1).
  void SetUp() override {
    SceneTest::SetUp();
    buffer = new MultiVertexBuffer(scene->AllocateId(), scene, 2, 3);
    for (int k = 0; k < 3; ++k) {
      const float f = float(k);
      buffer->frames[k] = {f, 10 * f, 100 * f, -f, 0, 1};
    }
    buffer->vertexAt(0)->uv1[0] = 0.5f;
    buffer->vertexAt(1)->uv2[1] = 0.75f;
    controller = std::make_unique<VertexController>(buffer);
    controller->startTime = 1000;
    controller->endTime = 3000;
  }
  D3DXVECTOR3 position(int vertex) { return buffer->vertexAt(vertex)->position; }

  MultiVertexBuffer* buffer = nullptr;
  std::unique_ptr<VertexController> controller;
};

TEST_F(VertexControllerTest, ShowsFramesAndBlendsBetweenThem) {
  controller->update(500.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(0, 0, 0));
  controller->update(2000.0f);  // exactly frame 1
  EXPECT_EQ(position(0), D3DXVECTOR3(1, 10, 100));
  EXPECT_EQ(position(1), D3DXVECTOR3(-1, 0, 1));
  controller->update(2500.0f);  // f = 1.5
  EXPECT_FLOAT_EQ(position(0).x, 1.5f);
  EXPECT_FLOAT_EQ(position(0).z, 150.0f);
  EXPECT_FLOAT_EQ(position(1).x, -1.5f);
  controller->update(3000.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(2, 20, 200));
  controller->update(9000.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(2, 20, 200));
  // Only positions are written.
  EXPECT_EQ(buffer->vertexAt(0)->uv1[0], 0.5f);
  EXPECT_EQ(buffer->vertexAt(1)->uv2[1], 0.75f);
}

TEST_F(VertexControllerTest, LoopsAndUploadsEveryUpdate) {
  ASSERT_TRUE(scene->stateCache->CreateDeviceVertexBuffer(*buffer));
  controller->looping = true;
  controller->loopLength = 5000;
  const std::size_t mark = device->log().mark();
  controller->update(6500.0f);  // 1500 into the second loop: f = 0.5
  EXPECT_FLOAT_EQ(position(0).y, 5.0f);
  controller->update(12000.0f);  // 2000: frame 1
  EXPECT_EQ(position(0), D3DXVECTOR3(1, 10, 100));
  EXPECT_EQ(device->log().count("Lock", mark), 2u);
}

TEST_F(VertexControllerTest, GuardsAgainstZeroLengthsAndMissingFrames) {
  controller->looping = true;
  controller->loopLength = 0;  // cannot wrap: plays once
  controller->update(1e9f);
  EXPECT_EQ(position(0), D3DXVECTOR3(2, 20, 200));

  controller->looping = false;
  controller->startTime = controller->endTime = 2000;
  controller->update(1999.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(0, 0, 0));
  controller->update(2000.0f);  // an empty range shows the last frame
  EXPECT_EQ(position(0), D3DXVECTOR3(2, 20, 200));

  buffer->frames.clear();
  buffer->vertexAt(0)->position = D3DXVECTOR3(7, 7, 7);
  controller->update(2500.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(7, 7, 7));
}

TEST_F(VertexControllerTest, ShortFramesFillOnlyWhatTheyHold) {
  buffer->frames[2].resize(3);  // one position only
  controller->update(5000.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(2, 20, 200));
  EXPECT_EQ(position(1), D3DXVECTOR3(0, 0, 0));  // untouched since construction
}

class CameraActivatorTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    first = makeNode<Camera>("first");
    second = makeNode<Camera>("second");
    first->link();
    second->link();
    ASSERT_EQ(scene->activeCamera, first);
  }
  // Whether the update made the second camera active; switches back.
  bool switchesAt(CameraActivatorController& controller, float t) {
    controller.update(t);
    const bool switched = scene->activeCamera == second;
    scene->SetActiveCamera(first);
    return switched;
  }
  Camera* first = nullptr;
  Camera* second = nullptr;
};

TEST_F(CameraActivatorTest, LoopingSequenceSwitchesOncePerPassedTime) {
  CameraActivatorController controller(second, true);
  controller.addTime(3000);
  controller.addTime(1000);
  controller.finish();
  controller.loopLength = 4000;
  EXPECT_EQ(controller.nextTime, 1000u);

  const std::pair<float, bool> frames[] = {{500, false},  {1000, false}, {1001, true},  {2000, false},
                                           {3001, true},  {4500, false}, {5000, false}, {5001, true},
                                           {6000, false}, {7001, true},  {9001, true},  {9500, false}};
  for (const auto& [t, switches] : frames) EXPECT_EQ(switchesAt(controller, t), switches) << "t = " << t;
  EXPECT_TRUE(second->active == false && first->active);
}

TEST_F(CameraActivatorTest, AtMostOneSwitchPerUpdate) {
  CameraActivatorController controller(second, false);
  controller.addTime(1000);
  controller.addTime(2000);
  controller.finish();
  controller.loopLength = 10000;
  EXPECT_TRUE(switchesAt(controller, 2500));
  EXPECT_EQ(controller.nextTime, 2000u);
  EXPECT_TRUE(switchesAt(controller, 2500));
  EXPECT_EQ(controller.nextTime, CameraActivatorController::kNone);
  EXPECT_FALSE(switchesAt(controller, 2600));
}

TEST_F(CameraActivatorTest, NotLoopingStopsAfterTheLoopLength) {
  CameraActivatorController controller(second, false);
  controller.addTime(1000);
  controller.finish();
  controller.loopLength = 500;
  EXPECT_FALSE(switchesAt(controller, 1500));

  CameraActivatorController none(second, true);
  none.finish();
  none.loopLength = 100;
  EXPECT_FALSE(switchesAt(none, 50000));
}

using LoadAnimationsTest = SceneTest;

TEST_F(LoadAnimationsTest, BuildsLoopingVisibilityFadeFromConfiguration) {
  Group* node = makeNode<Group>("node");
  node->config.Parse(
      "animations = 1\n"
      "a0.field = VISTRACK\n"
      "a0.looping = 1\n"
      "a0.keyframes = 2\n"
      "a0.kf0 = 0 0\n"
      "a0.kf1 = 1000 1\n");
  node->loadAnimations(scene, &node->config, 0.0f, 1.0f);
  ASSERT_EQ(scene->controllers.size(), 1u);
  auto* controller = dynamic_cast<KeyframeFloatController*>(scene->controllers[0]);
  ASSERT_NE(controller, nullptr);
  EXPECT_TRUE(controller->looping);
  EXPECT_EQ(controller->field, &node->visibility);

  scene->loaded = true;
  scene->SetTime(250.0f);
  EXPECT_FLOAT_EQ(node->visibility, 0.25f);
  scene->SetTime(2250.0f);
  EXPECT_FLOAT_EQ(node->visibility, 0.25f);
}

TEST_F(LoadAnimationsTest, ScalesTimesAndReadsKeyTextsLoosely) {
  Camera* camera = makeNode<Camera>("camera");
  camera->config.Parse(
      "Animations = 2\n"
      "a0.field = FOVTRACK\n"
      "a0.keyframes = 5\n"
      "a0.kf0 =   500    0.5  \n"
      "a0.kf1 = 700\n"
      "a0.kf2 =\n"
      "a0.kf4 = 900 2 extra\n"
      "a1.field = FarClip\n"
      "a1.looping = 2\n"
      "a1.keyframes = 1\n"
      "a1.kf0 = 1 50\n");
  camera->loadAnimations(scene, &camera->config, 100.0f, 2.0f);
  ASSERT_EQ(scene->controllers.size(), 2u);
  auto* fov = dynamic_cast<KeyframeFloatController*>(scene->controllers[0]);
  auto* far = dynamic_cast<KeyframeFloatController*>(scene->controllers[1]);
  ASSERT_TRUE(fov != nullptr && far != nullptr);
  ASSERT_EQ(fov->keys.size(), 3u);  // kf2 has no token, kf3 is absent
  EXPECT_EQ(fov->keys[0].time, 1100.0f);
  EXPECT_EQ(fov->keys[0].value, 0.5f);
  EXPECT_EQ(fov->keys[1].time, 1500.0f);
  EXPECT_EQ(fov->keys[1].value, 0.0f);
  EXPECT_EQ(fov->keys[2].time, 1900.0f);
  EXPECT_EQ(fov->keys[2].value, 2.0f);
  EXPECT_EQ(fov->field, &camera->fov);
  EXPECT_FALSE(fov->looping);
  EXPECT_FALSE(far->looping);  // only 1 means looping
  EXPECT_EQ(far->field, &camera->farClip);
  EXPECT_EQ(far->keys[0].time, 102.0f);
}

TEST_F(LoadAnimationsTest, KeysStayInWrittenOrder) {
  Group* node = makeNode<Group>("node");
  node->config.Parse("animations = 1\na0.field = VISTRACK\na0.keyframes = 2\na0.kf0 = 1000 1\na0.kf1 = 0 0\n");
  node->loadAnimations(scene, &node->config, 0.0f, 1.0f);
  auto* controller = dynamic_cast<KeyframeFloatController*>(scene->controllers.at(0));
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(controller->keys[0].time, 1000.0f);
  EXPECT_EQ(controller->keys[1].time, 0.0f);
}

TEST_F(LoadAnimationsTest, MissingFieldIsAnInvalidControlField) {
  Group* node = makeNode<Group>("node");
  node->config.Parse("animations = 1\na0.keyframes = 1\na0.kf0 = 0 1\n");
  EXPECT_FATAL(node->loadAnimations(scene, &node->config, 0.0f, 1.0f), "Group: Invalid control field!");
}

TEST_F(LoadAnimationsTest, AbsurdCountsEndQuickly) {
  Group* node = makeNode<Group>("node");
  node->config.Parse("animations = 1\na0.field = VISTRACK\na0.keyframes = 2000000000\na0.kf0 = 0 1\n");
  node->loadAnimations(scene, &node->config, 0.0f, 1.0f);
  auto* controller = dynamic_cast<KeyframeFloatController*>(scene->controllers.at(0));
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(controller->keys.size(), 1u);

  // A target that tolerates unknown names gets no endless run of
  // field-less controllers either.
  FieldOwner owner;
  Configuration config;
  config.Parse("animations = 2000000000\n");
  owner.loadAnimations(scene, &config, 0.0f, 1.0f);
  EXPECT_LT(scene->controllers.size(), 10u);
}

}  // namespace
