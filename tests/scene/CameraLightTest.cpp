// Cameras (view, projection, frustum, activation) and lights (device light
// fields, slots, selection by distance).
#include "scene/Camera.h"
#include "scene/KeyframeFloatController.h"
#include "scene/Light.h"
#include "tests/scene/SceneTestSupport.h"

#include <algorithm>
#include <cmath>

namespace {

class CameraTest : public SceneTest {
 protected:
  Camera* linkedCamera(const char* cameraName) {
    Camera* camera = makeNode<Camera>(cameraName);
    camera->fov = D3DX_PI / 2;
    camera->nearClip = 1.0f;
    camera->farClip = 100.0f;
    camera->link();
    return camera;
  }
  D3DMATRIX deviceTransform(D3DTRANSFORMSTATETYPE state) {
    D3DMATRIX m{};
    EXPECT_EQ(device->GetTransform(state, &m), D3D_OK);
    return m;
  }
};

TEST_F(CameraTest, IdentityCameraLooksAlongMinusYWithZUp) {
  Camera* camera = linkedCamera("camera");
  ASSERT_TRUE(camera->active);
  // World x stays x, world z becomes view y (up), world -y view z (forward).
  const float expected[4][4] = {{1, 0, 0, 0}, {0, 0, -1, 0}, {0, 1, 0, 0}, {0, 0, 0, 1}};
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(camera->view.m[r][c], expected[r][c], 2e-6f) << r << "," << c;
  // Depth testing first, then both transforms.
  const auto zenable = log().find("SetRenderState(D3DRS_ZENABLE, 1)");
  const auto viewSet = log().findName("SetTransform");
  ASSERT_TRUE(zenable && viewSet);
  EXPECT_LT(*zenable, *viewSet);
  EXPECT_EQ(deviceTransform(D3DTS_VIEW), camera->view);
  EXPECT_EQ(deviceTransform(D3DTS_PROJECTION), camera->projection);
}

TEST_F(CameraTest, ViewFollowsPositionRotationAndParent) {
  Group* rig = makeNode<Group>("rig", 0, 0, 10);
  Camera* camera = makeNode<Camera>("camera", 5, 0, 0);
  attach(camera, rig);
  // A quarter turn about z: the -y view direction becomes +x.
  camera->prs.rotation = D3DXQUATERNION(0, 0, std::sin(D3DX_PI / 4), std::cos(D3DX_PI / 4));
  rig->link();
  camera->link();
  rig->update(true);
  // The eye is at (5, 0, 10): 4 units along +x from it is straight ahead.
  D3DXVECTOR3 ahead(9, 0, 10), out;
  D3DXVec3TransformCoord(&out, &ahead, &camera->view);
  expectNear(out, 0, 0, 4);
}

TEST_F(CameraTest, FrustumPlanesOfAKnownCamera) {
  Camera* camera = linkedCamera("camera");
  EXPECT_EQ(camera->aspect, cache().aspect);
  const float xScale = 1.0f / 1.33333f;  // fov 90°: y scale 1
  // Unnormalised (a, b, c, d) in world space; view (x, y, z) is world (x, z, -y).
  const float planes[6][4] = {{xScale, -1, 0, 0}, {-xScale, -1, 0, 0}, {0, -1, -1, 0},
                              {0, -1, 1, 0},      {0, -1, 0, -1},      {0, 1, 0, 100}};
  for (int i = 0; i < 6; ++i) {
    const float* p = planes[i];
    const float length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    const D3DXPLANE& got = camera->frustum[i];
    EXPECT_NEAR(got.a, p[0] / length, 1e-5f) << "plane " << i;
    EXPECT_NEAR(got.b, p[1] / length, 1e-5f) << "plane " << i;
    EXPECT_NEAR(got.c, p[2] / length, 1e-5f) << "plane " << i;
    EXPECT_NEAR(got.d, p[3] / length, 1e-5f * std::max(1.0f, std::fabs(p[3] / length))) << "plane " << i;
  }
}

TEST_F(CameraTest, FrustumPlanesOfATurnedCameraPassThroughItsCorners) {
  // A turned, moved camera leaves no plane coefficient zero. The corners
  // come from inverting view × projection at the clip-space corners.
  Camera* camera = makeNode<Camera>("camera", 3, -2, 5);
  D3DXQuaternionRotationYawPitchRoll(&camera->prs.rotation, 0.4f, -0.3f, 0.7f);
  camera->fov = 1.1f;
  camera->nearClip = 0.5f;
  camera->farClip = 40.0f;
  camera->link();
  D3DXMATRIX viewProjection, inverse;
  D3DXMatrixMultiply(&viewProjection, &camera->view, &camera->projection);
  ASSERT_NE(D3DXMatrixInverse(&inverse, nullptr, &viewProjection), nullptr);
  // Plane i holds the corners whose clip coordinate `axis` equals `value`:
  // left, right, top, bottom, near, far.
  const int axis[6] = {0, 0, 1, 1, 2, 2};
  const float value[6] = {-1, 1, 1, -1, 0, 1};
  for (int corner = 0; corner < 8; ++corner) {
    const float clip[3] = {corner & 1 ? 1.0f : -1.0f, corner & 2 ? 1.0f : -1.0f, corner & 4 ? 1.0f : 0.0f};
    D3DXVECTOR3 ndc(clip[0], clip[1], clip[2]), world;
    D3DXVec3TransformCoord(&world, &ndc, &inverse);
    for (int i = 0; i < 6; ++i) {
      const D3DXPLANE& p = camera->frustum[i];
      const float distance = p.a * world.x + p.b * world.y + p.c * world.z + p.d;
      if (clip[axis[i]] == value[i]) {
        EXPECT_NEAR(distance, 0.0f, 1e-3f) << "plane " << i << " corner " << corner;
      } else {
        EXPECT_GT(distance, 1e-3f) << "plane " << i << " corner " << corner << " must be inside";
      }
    }
  }
}

TEST_F(CameraTest, FovAnimationReachesTheDeviceInTheSameFrame) {
  Camera* camera = linkedCamera("camera");
  auto* zoom = new KeyframeFloatController(camera, "FOVTRACK", false);
  zoom->addKey({0.0f, D3DX_PI / 2});
  zoom->addKey({1000.0f, D3DX_PI / 4});
  scene->controllers.push_back(zoom);
  scene->loaded = true;
  scene->SetTime(1000.0f);
  const float yScale = 1.0f / std::tan(D3DX_PI / 8);
  EXPECT_FLOAT_EQ(camera->projection._22, yScale);
  EXPECT_FLOAT_EQ(deviceTransform(D3DTS_PROJECTION).m[1][1], yScale);
}

TEST_F(CameraTest, OnlyTheActiveCameraComputes) {
  Camera* first = linkedCamera("first");
  Camera* second = linkedCamera("second");
  EXPECT_EQ(scene->activeCamera, first);
  EXPECT_EQ(scene->cameras, (std::vector<Camera*>{first, second}));
  EXPECT_FALSE(second->active);
  const std::size_t mark = log().mark();
  second->farClip = 50.0f;
  second->update(true);
  EXPECT_EQ(log().count("SetTransform", mark), 0u);
  for (const char* unknown : {"Second", "nobody"}) {  // names are case-sensitive
    scene->SetActiveCameraByName(unknown);
    EXPECT_EQ(scene->activeCamera, first) << unknown;
  }
  scene->SetActiveCameraByName("second");
  EXPECT_EQ(scene->activeCamera, second);
  EXPECT_FALSE(first->active);
  EXPECT_TRUE(second->active);
  EXPECT_EQ(log().count("SetTransform", mark), 2u);
  EXPECT_EQ(deviceTransform(D3DTS_PROJECTION), second->projection);
}

class LightTest : public SceneTest {
 protected:
  Light* linkedLight(const char* lightName, float x, float range) {
    Light* light = makeNode<Light>(lightName, x, 0, 0);
    light->d3dLight.Range = range;
    light->color[0] = 1.0f;
    light->intensity = 1.0f;
    light->link();
    light->update(true);
    return light;
  }
};

TEST_F(LightTest, UpdateFillsTheDeviceLight) {
  Light* light = makeNode<Light>("light", 1, 2, 3);
  light->prs.rotation = D3DXQUATERNION(0, 0, std::sin(D3DX_PI / 4), std::cos(D3DX_PI / 4));  // 90° about z
  light->d3dLight.Type = D3DLIGHT_SPOT;
  light->d3dLight.Range = 10.0f;
  const float rgba[4] = {0.5f, 0.25f, 1.0f, 0.75f};
  std::copy(rgba, rgba + 4, light->color);
  light->intensity = 2.0f;
  light->hotspot = 30.0f;
  light->falloffAngle = 45.0f;
  scene->ambientIntensity = 0.5f;
  light->update(true);
  const D3DLIGHT9& d = light->d3dLight;
  EXPECT_EQ(d.Type, D3DLIGHT_SPOT);
  EXPECT_FLOAT_EQ(d.Diffuse.g, 0.25f);
  EXPECT_FLOAT_EQ(d.Specular.b, 1.0f);
  EXPECT_FLOAT_EQ(d.Specular.a, 0.75f);
  EXPECT_EQ(d.Ambient.r + d.Ambient.g + d.Ambient.b + d.Ambient.a, 0.0f);
  EXPECT_FLOAT_EQ(d.Theta, 30.0f * 0.017453292f);
  EXPECT_FLOAT_EQ(d.Phi, 45.0f * 0.017453292f);
  EXPECT_EQ(d.Falloff, 1.0f);
  EXPECT_EQ(d.Attenuation0, 1.0f);
  EXPECT_EQ(d.Attenuation1, 0.0f);
  EXPECT_FLOAT_EQ(d.Attenuation2, 0.01f);
  expectNear(D3DXVECTOR3(d.Position.x, d.Position.y, d.Position.z), 1, 2, 3, "position");
  // The negated second column of the world matrix.
  expectNear(D3DXVECTOR3(d.Direction.x, d.Direction.y, d.Direction.z), -1, 0, 0, "direction");
  light->d3dLight.Range = 1e8f;
  light->update(false);  // the light part runs whatever the flag
  EXPECT_EQ(light->d3dLight.Attenuation2, 0.0f);
}

TEST_F(LightTest, EnableAndDisableReachTheDeviceOnlyWhenNeeded) {
  Light* light = linkedLight("light", 0, 10);
  const std::size_t mark = log().mark();
  light->enable(3);  // already enabled from the start: nothing
  EXPECT_EQ(light->slot, 0xFFFFFFFFu);
  light->disable();  // no slot yet: only the flag
  EXPECT_FALSE(light->enabled);
  EXPECT_EQ(log().size(), mark);

  light->enable(2);
  EXPECT_EQ(light->slot, 2u);
  ASSERT_EQ(log().count("SetLight", mark), 1u);
  EXPECT_EQ(log().last("SetLight")->raw(0), 2u);
  BOOL on = FALSE;
  device->GetLightEnable(2, &on);
  EXPECT_TRUE(on);
  light->disable();
  EXPECT_EQ(log().count("SetLight", mark), 1u);
  device->GetLightEnable(2, &on);
  EXPECT_FALSE(on);
  D3DLIGHT9 stored{};
  EXPECT_EQ(device->GetLight(2, &stored), D3D_OK);  // still stored
  EXPECT_EQ(stored.Range, 10.0f);
}

TEST_F(LightTest, LightsNearAnObjectTakeConsecutiveSlots) {
  Light* exact = linkedLight("exact", 10, 4);   // range + 6 equals the distance
  Light* inside = linkedLight("inside", 5, 1);  // 1 + 6 > 5
  Light* far = linkedLight("far", 50, 1);
  scene->enableLightsNear(D3DXVECTOR3(0, 0, 0), 6.0f);
  EXPECT_FALSE(exact->enabled);
  EXPECT_TRUE(inside->enabled);
  EXPECT_EQ(inside->slot, 0u);
  EXPECT_EQ(g_nextLightSlot, 1u);
  scene->enableLightsNear(D3DXVECTOR3(0, 0, 0), 7.0f);
  EXPECT_TRUE(exact->enabled);
  EXPECT_EQ(exact->slot, 0u);
  EXPECT_EQ(inside->slot, 1u);
  EXPECT_FALSE(far->enabled);
}

TEST_F(LightTest, SlotsFromEightOnAreNotGivenToTheDevice) {
  std::vector<Light*> lights;
  for (int i = 0; i < 10; ++i) lights.push_back(linkedLight("l", float(i), 100));
  const std::size_t mark = log().mark();
  scene->enableLightsNear(D3DXVECTOR3(0, 0, 0), 1.0f);
  EXPECT_EQ(log().count("SetLight", mark), 8u);
  for (const RecordedCall* call : log().named("SetLight", mark)) EXPECT_LT(call->raw(0), 8u);
  EXPECT_TRUE(lights[9]->enabled);
  EXPECT_EQ(lights[9]->slot, 9u);
  scene->DisableLights();  // all ten off, the high slots included
  EXPECT_EQ(log().count("LightEnable", mark), 18u);
  EXPECT_TRUE(log().failures(mark).empty()) << log().dump(mark);
}

TEST_F(LightTest, DominantLightIsTheNearestRelativeToRange) {
  EXPECT_EQ(scene->findDominantLight(D3DXVECTOR3(0, 0, 0)), nullptr);
  Light* a = linkedLight("a", 10, 5);  // 2
  linkedLight("b", 4, 2);              // 2: a tie, the earlier wins
  EXPECT_EQ(scene->findDominantLight(D3DXVECTOR3(0, 0, 0)), a);
  Light* c = linkedLight("c", 3, 2);  // 1.5
  EXPECT_EQ(scene->findDominantLight(D3DXVECTOR3(0, 0, 0)), c);
}

TEST_F(LightTest, DestroyedCamerasAndLightsLeaveTheSceneLists) {
  auto destroy = [&](Base* object) {
    scene->objects.erase(std::find(scene->objects.begin(), scene->objects.end(), object));
    delete object;
  };
  Light* a = linkedLight("a", 0, 1);
  Light* b = linkedLight("b", 0, 1);
  destroy(a);
  EXPECT_EQ(scene->lights, std::vector<Light*>{b});
  Camera* active = makeNode<Camera>("active");
  Camera* other = makeNode<Camera>("other");
  active->link();
  other->link();
  destroy(active);
  EXPECT_EQ(scene->cameras, std::vector<Camera*>{other});
  EXPECT_EQ(scene->activeCamera, nullptr);
}

}  // namespace
