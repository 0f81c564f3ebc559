// Control fields of every animatable class; keyframe, shake, vertex and
// camera-activator controllers; animations built from a configuration text.
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/CameraActivatorController.h"
#include "scene/KeyframeFloatController.h"
#include "scene/KeyframePRSController.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/ShakeController.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"
#include "scene/VertexController.h"
#include "tests/scene/SceneTestSupport.h"

#include <cmath>
#include <limits>

namespace {

using ControllerTest = SceneTest;

TEST_F(ControllerTest, ControlFieldNamesPerClassAreCaseSensitive) {
  auto* group = makeNode<Group>("g");
  auto* camera = makeNode<Camera>("c");
  auto* light = makeNode<Light>("l");
  auto* material = make<Material>();
  auto* sprite = make<Sprite>();
  auto* cloud = make<SpriteCloud>();
  auto* animated = make<AnimatedTexture>();
  const std::vector<std::tuple<Preparable*, const char*, float*>> known = {
      {group, "VISTRACK", &group->visibility},       {camera, "FOVTRACK", &camera->fov},
      {camera, "NearClip", &camera->nearClip},       {camera, "FarClip", &camera->farClip},
      {camera, "VISTRACK", &camera->visibility},     {light, "Intensity", &light->intensity},
      {light, "Shadow Multiplier", &light->intensity}, {light, "ColorB", &light->color[2]},
      {light, "ColorA", &light->color[3]},           {light, "Shadow ColorR", &light->shadowColor[0]},
      {light, "Shadow ColorA", &light->shadowColor[3]}, {light, "VISTRACK", &light->visibility},
      {material, "OPACITY", &material->opacity},     {sprite, "Size", &sprite->size},
      {cloud, "Size", &cloud->size},                 {animated, "Active Image", &animated->activeImage},
      {animated, "Tex U Offset", &animated->uOffset}, {animated, "Tex V Offset", &animated->vOffset},
      {animated, "Tex U Scale", &animated->uScale},  {animated, "Tex V Scale", &animated->vScale}};
  for (const auto& [owner, name, field] : known) EXPECT_EQ(owner->getControlField(name), field) << name;

  const std::vector<std::tuple<Preparable*, const char*, const char*>> unknown = {
      {group, "vistrack", "Group: Invalid control field!"},    {group, "FOVTRACK", "Group: Invalid control field!"},
      {group, nullptr, "Group: Invalid control field!"},       {camera, "farclip", "Group: Invalid control field!"},
      {light, "Shadow ColorX", "Group: Invalid control field!"}, {material, "opacity", "Material: Invalid control field!"},
      {material, "VISTRACK", "Material: Invalid control field!"}, {make<Mesh>(), "VISTRACK", "Mesh: Invalid control field!"},
      {sprite, "size", "Sprite: Invalid control field!"},      {cloud, "VISTRACK", "Sprite: Invalid control field!"}};
  for (const auto& [owner, name, message] : unknown)
    EXPECT_EQ(fatal([&, o = owner, n = name] { o->getControlField(n); }), message) << (name ? name : "(null)");

  // An animated texture shows the box but goes on, giving no field.
  shownBoxes().clear();
  EXPECT_EQ(animated->getControlField("active image"), nullptr);
  ASSERT_EQ(shownBoxes().size(), 1u);
  EXPECT_EQ(shownBoxes()[0].text, "Invalid control field in AnimatedTexture");
  EXPECT_EQ(shownBoxes()[0].caption, "Error");
}

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

TEST(KeyframeFloatControllerTest, InterpolatesHoldsTheEndsOrLoops) {
  struct Case {
    bool looping;
    float firstKey, t, expected;
  };
  // Keys (first, 0) and (first + 1000, 1).
  for (const Case& c : {Case{false, 0, 250, 0.25f}, Case{false, 0, -5, 0}, Case{false, 0, 1000, 1},
                        Case{false, 0, 2250, 1}, Case{false, 0, 999, 0.999f}, Case{true, 0, 2250, 0.25f},
                        Case{true, 0, 1000, 0},  // exactly the last time wraps to s = 0
                        Case{true, 0, -5, 0}, Case{true, 500, 2750, 0.25f}}) {
    FieldOwner owner;
    KeyframeFloatController ramp(&owner, "F", c.looping);
    ramp.addKey({c.firstKey, 0.0f});
    ramp.addKey({c.firstKey + 1000.0f, 1.0f});
    ramp.update(c.t);
    EXPECT_FLOAT_EQ(owner.value, c.expected) << "looping " << c.looping << " t " << c.t;
    EXPECT_EQ(owner.plainUpdates, 1);
    EXPECT_EQ(owner.transformUpdates, 0);
  }
}

TEST(KeyframeFloatControllerTest, RepeatedUnsortedAndDegenerateKeys) {
  FieldOwner owner;
  KeyframeFloatController repeated(&owner, "F", false);
  for (KeyFloat key : {KeyFloat{0, 0}, KeyFloat{500, 1}, KeyFloat{500, 2}, KeyFloat{1000, 3}}) repeated.addKey(key);
  repeated.update(500.0f);
  EXPECT_EQ(owner.value, 2.0f);  // a repeated time uses its last key
  repeated.update(750.0f);
  EXPECT_FLOAT_EQ(owner.value, 2.5f);

  KeyframeFloatController unsorted(&owner, "F", false);
  unsorted.addKey({1000.0f, 1.0f});
  unsorted.addKey({0.0f, 5.0f});
  EXPECT_EQ(unsorted.firstTime, 0.0f);
  EXPECT_EQ(unsorted.lastTime, 1000.0f);
  unsorted.update(250.0f);
  EXPECT_EQ(owner.value, 1.0f);  // never reads before the first stored key
  unsorted.sortKeys();
  unsorted.update(250.0f);
  EXPECT_FLOAT_EQ(owner.value, 4.0f);

  FieldOwner untouched;
  KeyframeFloatController empty(&untouched, "F", true);
  empty.update(100.0f);
  KeyframeFloatController unknown(&untouched, "G", false);  // tolerant target: no field
  EXPECT_EQ(unknown.field, nullptr);
  unknown.addKey({0.0f, 1.0f});
  unknown.update(0.0f);
  EXPECT_EQ(untouched.value, -7.0f);
  EXPECT_EQ(untouched.plainUpdates, 0);

  KeyframeFloatController single(&owner, "F", true);  // looping with no period: the key holds
  single.addKey({100.0f, 3.0f});
  for (float t : {5000.0f, 0.0f}) {
    single.update(t);
    EXPECT_EQ(owner.value, 3.0f) << t;
  }
}

TEST_F(ControllerTest, FailedKeySearchAndUnknownNodeFieldsAreFatal) {
  FieldOwner owner;
  KeyframeFloatController ramp(&owner, "F", false);
  ramp.addKey({0.0f, 0.0f});
  ramp.addKey({1000.0f, 1.0f});
  EXPECT_EQ(fatal([&] { ramp.update(std::numeric_limits<float>::quiet_NaN()); }), "Mit\xE4hittoo");
  Group* node = makeNode<Group>("node");  // resolved at construction
  EXPECT_EQ(fatal([&] { KeyframeFloatController(node, "Visibility", false); }), "Group: Invalid control field!");
}

TEST_F(ControllerTest, PRSBlendsPositionAndScaleAndSlerpsTheRotation) {
  Group* node = makeNode<Group>("node", 1, 2, 3);
  KeyframePRSController none(node, true);
  none.update(10.0f);
  EXPECT_EQ(node->prs.position, D3DXVECTOR3(1, 2, 3));  // no keys: the node keeps its transform

  KeyframePRSController controller(node, false);
  KeyPRS to{1000.0f, PRS{}};
  to.prs.position = D3DXVECTOR3(10, 20, 30);
  to.prs.scale = D3DXVECTOR3(3, 5, 7);
  to.prs.rotation = D3DXQUATERNION(0, 0, std::sin(D3DX_PI / 4), std::cos(D3DX_PI / 4));  // 90° about z
  controller.addKey(to);
  controller.addKey(KeyPRS{0.0f, PRS{}});
  controller.sortKeys();
  controller.update(500.0f);
  expectNear(node->prs.position, 5, 10, 15);
  EXPECT_FLOAT_EQ(node->prs.scale.y, 3.0f);
  // 45° about z, a unit quaternion (a component blend gives (0, 0, 0.354, 0.854)).
  EXPECT_NEAR(node->prs.rotation.z, std::sin(D3DX_PI / 8), 1e-6f);
  EXPECT_NEAR(node->prs.rotation.w, std::cos(D3DX_PI / 8), 1e-6f);
  EXPECT_FLOAT_EQ(node->world._41, 5.0f);  // the node was recomputed
  controller.update(1200.0f);
  EXPECT_EQ(node->prs.rotation, to.prs.rotation);
  EXPECT_EQ(node->world._43, 30.0f);
  controller.update(-1.0f);
  EXPECT_EQ(node->prs.scale, D3DXVECTOR3(1, 1, 1));
}

TEST_F(ControllerTest, ShakeRisesFallsAndAccumulatesOnTheNode) {
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
  // 0.125 + 0.25 + 0.375 + 0.5 + 0.25 = 1.5 rad of roll, all kept.
  EXPECT_NEAR(node->prs.rotation.z, std::sin(0.75f), 1e-4f);
  EXPECT_NEAR(node->world._12, std::sin(1.5f), 1e-4f);
  const D3DXQUATERNION settled = node->prs.rotation;
  shake.update(9.25f);
  EXPECT_EQ(node->prs.rotation, settled);

  Group* still = makeNode<Group>("still");
  ShakeController zeroPeriod(still, 0.0f, 0.0f, 0.5f, 0, 0.5f, 0.5f);
  zeroPeriod.update(0.0f);
  zeroPeriod.update(1.0f);
  EXPECT_EQ(still->prs.rotation, D3DXQUATERNION(0, 0, 0, 1));
}

TEST_F(ControllerTest, ShakeTurnsBeforeTheNodesOwnRotation) {
  Group* node = makeNode<Group>("node");
  D3DXMATRIX quarter;
  D3DXMatrixRotationX(&quarter, D3DX_PI / 2);
  // Axis 1 is pitch (about x), axis 0 yaw (about y, which does not commute
  // with the node's x turn); full amplitude from the first frame.
  for (int axis : {1, 0}) {
    node->prs.rotation = D3DXQUATERNION(std::sin(D3DX_PI / 4), 0, 0, std::cos(D3DX_PI / 4));
    ShakeController shake(node, 0.0f, 1000.0f, 0.5f, axis, 1.0f, 1.0f);
    shake.update(0.25f);
    D3DXMATRIX turn, expected, got;
    if (axis == 1) D3DXMatrixRotationX(&turn, 0.5f);
    else D3DXMatrixRotationY(&turn, 0.5f);
    D3DXMatrixMultiply(&expected, &turn, &quarter);
    D3DXMatrixRotationQuaternion(&got, &node->prs.rotation);
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) EXPECT_NEAR(got.m[r][c], expected.m[r][c], 1e-5f) << "axis " << axis;
  }
}

class VertexControllerTest : public SceneTest {
 protected:
  // Frame k puts vertex 0 at (k, 10k, 100k) and vertex 1 at (-k, 0, 1);
  // frames span 1000..3000 ms.
  void SetUp() override {
    SceneTest::SetUp();
    buffer = new MultiVertexBuffer(scene->AllocateId(), scene, 2, 3);
    for (int k = 0; k < 3; ++k) buffer->frames[k] = {float(k), 10.0f * k, 100.0f * k, -float(k), 0, 1};
    buffer->vertexAt(0)->uv1[0] = 0.5f;
    controller = std::make_unique<VertexController>(buffer);
    controller->startTime = 1000;
    controller->endTime = 3000;
  }
  D3DXVECTOR3 position(int vertex) { return buffer->vertexAt(vertex)->position; }
  MultiVertexBuffer* buffer = nullptr;
  std::unique_ptr<VertexController> controller;
};

TEST_F(VertexControllerTest, ShowsFramesBlendsAndLoops) {
  struct Case {
    bool looping;
    float t, x0, x1;
  };
  for (const Case& c : {Case{false, 500, 0, 0}, Case{false, 2000, 1, -1}, Case{false, 2500, 1.5f, -1.5f},
                        Case{false, 3000, 2, -2}, Case{false, 9000, 2, -2},
                        Case{true, 6500, 0.5f, -0.5f},  // loop 5000: 1500 in
                        Case{true, 12000, 1, -1}}) {
    controller->looping = c.looping;
    controller->loopLength = 5000;
    controller->update(c.t);
    EXPECT_FLOAT_EQ(position(0).x, c.x0) << c.t;
    EXPECT_FLOAT_EQ(position(0).z, 100 * c.x0) << c.t;
    EXPECT_FLOAT_EQ(position(1).x, c.x1) << c.t;
  }
  EXPECT_EQ(buffer->vertexAt(0)->uv1[0], 0.5f);  // only positions are written

  ASSERT_TRUE(cache().CreateDeviceVertexBuffer(*buffer));
  const std::size_t mark = log().mark();
  controller->update(6500.0f);
  controller->update(6500.0f);
  EXPECT_EQ(log().count("Lock", mark), 2u);  // uploaded on every update
}

TEST_F(VertexControllerTest, GuardsAgainstZeroLengthsAndShortOrMissingFrames) {
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

  buffer->frames[2].resize(3);  // one position only
  buffer->vertexAt(1)->position = D3DXVECTOR3(7, 7, 7);
  controller->update(2500.0f);
  EXPECT_EQ(position(1), D3DXVECTOR3(7, 7, 7));

  buffer->frames.clear();
  buffer->vertexAt(0)->position = D3DXVECTOR3(7, 7, 7);
  controller->update(2500.0f);
  EXPECT_EQ(position(0), D3DXVECTOR3(7, 7, 7));
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
}

TEST_F(CameraActivatorTest, AtMostOneSwitchPerUpdateAndNoneAfterTheLoopLength) {
  CameraActivatorController once(second, false);
  once.addTime(1000);
  once.addTime(2000);
  once.finish();
  once.loopLength = 10000;
  EXPECT_TRUE(switchesAt(once, 2500));
  EXPECT_EQ(once.nextTime, 2000u);
  EXPECT_TRUE(switchesAt(once, 2500));
  EXPECT_EQ(once.nextTime, CameraActivatorController::kNone);
  EXPECT_FALSE(switchesAt(once, 2600));

  CameraActivatorController ended(second, false);
  ended.addTime(1000);
  ended.finish();
  ended.loopLength = 500;
  EXPECT_FALSE(switchesAt(ended, 1500));
  CameraActivatorController none(second, true);
  none.finish();
  none.loopLength = 100;
  EXPECT_FALSE(switchesAt(none, 50000));
}

using LoadAnimationsTest = SceneTest;

TEST_F(LoadAnimationsTest, ScalesTimesKeepsKeyOrderAndReadsKeyTextsAndLoopingLoosely) {
  Camera* camera = makeNode<Camera>("camera");
  camera->config.Parse(
      "Animations = 3\n"
      "a0.field = FOVTRACK\na0.keyframes = 5\n"
      "a0.kf0 =   900    0.5  \na0.kf1 = 700\na0.kf2 =\na0.kf4 = 500 2 extra\n"
      "a1.field = FarClip\na1.looping = 2\na1.keyframes = 1\na1.kf0 = 1 50\n"
      "a2.field = NearClip\na2.looping = 1\na2.keyframes = 1\na2.kf0 = 0 1\n");
  camera->loadAnimations(scene, &camera->config, 100.0f, 2.0f);
  ASSERT_EQ(scene->controllers.size(), 3u);
  auto* fov = dynamic_cast<KeyframeFloatController*>(scene->controllers[0]);
  auto* far = dynamic_cast<KeyframeFloatController*>(scene->controllers[1]);
  auto* near = dynamic_cast<KeyframeFloatController*>(scene->controllers[2]);
  ASSERT_TRUE(fov && far && near);
  ASSERT_EQ(fov->keys.size(), 3u);  // kf2 has no token, kf3 is absent; written order kept
  const std::pair<float, float> keys[] = {{1900, 0.5f}, {1500, 0}, {1100, 2}};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(fov->keys[i].time, keys[i].first) << i;
    EXPECT_EQ(fov->keys[i].value, keys[i].second) << i;
  }
  EXPECT_EQ(fov->field, &camera->fov);
  EXPECT_FALSE(fov->looping);
  EXPECT_FALSE(far->looping);  // only 1 means looping
  EXPECT_TRUE(near->looping);
  EXPECT_EQ(near->field, &camera->nearClip);
  EXPECT_EQ(far->field, &camera->farClip);
  EXPECT_EQ(far->keys[0].time, 102.0f);
}

TEST_F(LoadAnimationsTest, MissingFieldIsFatalAndAbsurdCountsEndQuickly) {
  Group* node = makeNode<Group>("node");
  node->config.Parse("animations = 1\na0.keyframes = 1\na0.kf0 = 0 1\n");
  EXPECT_EQ(fatal([&] { node->loadAnimations(scene, &node->config, 0.0f, 1.0f); }), "Group: Invalid control field!");

  Group* other = makeNode<Group>("other");
  other->config.Parse("animations = 1\na0.field = VISTRACK\na0.keyframes = 2000000000\na0.kf0 = 0 1\n");
  other->loadAnimations(scene, &other->config, 0.0f, 1.0f);
  auto* controller = dynamic_cast<KeyframeFloatController*>(scene->controllers.at(0));
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(controller->keys.size(), 1u);
  // A target tolerating unknown names gets no endless run of field-less
  // controllers either.
  FieldOwner owner;
  Configuration config;
  config.Parse("animations = 2000000000\n");
  owner.loadAnimations(scene, &config, 0.0f, 1.0f);
  EXPECT_LT(scene->controllers.size(), 10u);
}

}  // namespace
