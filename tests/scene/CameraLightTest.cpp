// Cameras (view, projection, frustum, activation) and lights (device light
// fields, slots, selection by distance).
#include "render/StateCache.h"
#include "scene/Camera.h"
#include "scene/KeyframeFloatController.h"
#include "scene/Light.h"
#include "tests/scene/NodeTestSupport.h"

#include <algorithm>
#include <cmath>

namespace {

void expectPlane(const D3DXPLANE& plane, float a, float b, float c, float d, const char* which) {
  const float length = std::sqrt(a * a + b * b + c * c);
  EXPECT_NEAR(plane.a, a / length, 1e-5f) << which;
  EXPECT_NEAR(plane.b, b / length, 1e-5f) << which;
  EXPECT_NEAR(plane.c, c / length, 1e-5f) << which;
  EXPECT_NEAR(plane.d, d / length, 1e-5f * std::max(1.0f, std::fabs(d / length))) << which;
}

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
  // World x stays x, world z becomes view y (up), world -y becomes view z
  // (forward).
  const float expected[4][4] = {{1, 0, 0, 0}, {0, 0, -1, 0}, {0, 1, 0, 0}, {0, 0, 0, 1}};
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(camera->view.m[r][c], expected[r][c], 2e-6f) << r << "," << c;

  D3DXVECTOR3 ahead(0, -5, 0), up(0, 0, 3), out;
  D3DXVec3TransformCoord(&out, &ahead, &camera->view);
  EXPECT_NEAR(out.z, 5.0f, 1e-5f);
  D3DXVec3TransformCoord(&out, &up, &camera->view);
  EXPECT_NEAR(out.y, 3.0f, 1e-5f);

  // The device got depth testing and both transforms, in this order.
  EXPECT_TRUE(device->log().containsSequence({"SetRenderState(D3DRS_ZENABLE, 1)"}));
  const auto zenable = device->log().find("SetRenderState(D3DRS_ZENABLE, 1)");
  const auto viewSet = device->log().findName("SetTransform");
  ASSERT_TRUE(zenable && viewSet);
  EXPECT_LT(*zenable, *viewSet);
  EXPECT_EQ(deviceTransform(D3DTS_VIEW), camera->view);
  EXPECT_EQ(deviceTransform(D3DTS_PROJECTION), camera->projection);
}

TEST_F(CameraTest, ViewFollowsPositionRotationAndParent) {
  Group* rig = makeNode<Group>("rig", 0, 0, 10);
  Camera* camera = makeNode<Camera>("camera", 5, 0, 0);
  attach(camera, rig);
  // A quarter turn about z: the camera's -y view direction becomes +x.
  camera->prs.rotation = D3DXQUATERNION(0, 0, std::sin(D3DX_PI / 4), std::cos(D3DX_PI / 4));
  rig->link();
  camera->link();
  rig->update(true);
  // The eye is at (5, 0, 10); a point 4 units along +x from it is straight
  // ahead.
  D3DXVECTOR3 ahead(9, 0, 10), out;
  D3DXVec3TransformCoord(&out, &ahead, &camera->view);
  EXPECT_NEAR(out.x, 0.0f, 1e-5f);
  EXPECT_NEAR(out.y, 0.0f, 1e-5f);
  EXPECT_NEAR(out.z, 4.0f, 1e-5f);
}

TEST_F(CameraTest, FrustumPlanesOfAKnownCamera) {
  Camera* camera = linkedCamera("camera");
  EXPECT_EQ(camera->aspect, scene->stateCache->aspect);
  const float xScale = 1.0f / 1.33333f;  // fov 90°: y scale 1
  // View space (x, y, z) is world (x, z, -y).
  expectPlane(camera->frustum[0], xScale, -1, 0, 0, "left");
  expectPlane(camera->frustum[1], -xScale, -1, 0, 0, "right");
  expectPlane(camera->frustum[2], 0, -1, -1, 0, "top");
  expectPlane(camera->frustum[3], 0, -1, 1, 0, "bottom");
  expectPlane(camera->frustum[4], 0, -1, 0, -1, "near");
  expectPlane(camera->frustum[5], 0, 1, 0, 100, "far");
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
  EXPECT_FLOAT_EQ(element(deviceTransform(D3DTS_PROJECTION), 2, 2), yScale);
}

TEST_F(CameraTest, OnlyTheActiveCameraComputes) {
  Camera* first = linkedCamera("first");
  Camera* second = linkedCamera("second");
  EXPECT_EQ(scene->activeCamera, first);
  EXPECT_EQ(scene->cameras, (std::vector<Camera*>{first, second}));
  EXPECT_FALSE(second->active);

  const std::size_t mark = device->log().mark();
  second->farClip = 50.0f;
  second->update(true);
  EXPECT_EQ(device->log().count("SetTransform", mark), 0u);

  scene->SetActiveCameraByName("Second");  // names are case-sensitive
  EXPECT_EQ(scene->activeCamera, first);
  scene->SetActiveCameraByName("second");
  EXPECT_EQ(scene->activeCamera, second);
  EXPECT_FALSE(first->active);
  EXPECT_TRUE(second->active);
  EXPECT_EQ(device->log().count("SetTransform", mark), 2u);
  EXPECT_EQ(deviceTransform(D3DTS_PROJECTION), second->projection);
}

TEST_F(CameraTest, ControlFieldsAndDestruction) {
  Camera* camera = linkedCamera("camera");
  EXPECT_EQ(camera->getControlField("FOVTRACK"), &camera->fov);
  EXPECT_EQ(camera->getControlField("NearClip"), &camera->nearClip);
  EXPECT_EQ(camera->getControlField("FarClip"), &camera->farClip);
  EXPECT_EQ(camera->getControlField("VISTRACK"), &camera->visibility);
  EXPECT_FATAL(camera->getControlField("farclip"), "Group: Invalid control field!");

  Camera* other = linkedCamera("other");
  scene->objects.erase(std::find(scene->objects.begin(), scene->objects.end(), camera));
  delete camera;
  EXPECT_EQ(scene->cameras, std::vector<Camera*>{other});
  EXPECT_EQ(scene->activeCamera, nullptr);
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
  EXPECT_FLOAT_EQ(d.Diffuse.r, 0.5f);
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
  EXPECT_EQ(d.Position.x, 1.0f);
  EXPECT_EQ(d.Position.z, 3.0f);
  // The negated second column of the world matrix: (sin 90°, cos 90°, 0)
  // negated for a quarter turn about z.
  EXPECT_NEAR(d.Direction.x, -1.0f, 1e-6f);
  EXPECT_NEAR(d.Direction.y, 0.0f, 1e-6f);

  light->d3dLight.Range = 1e8f;
  light->update(false);  // the light part runs whatever the flag
  EXPECT_EQ(light->d3dLight.Attenuation2, 0.0f);
}

TEST_F(LightTest, ControlFieldNames) {
  Light* light = makeNode<Light>("light");
  EXPECT_EQ(light->getControlField("Intensity"), &light->intensity);
  EXPECT_EQ(light->getControlField("Shadow Multiplier"), &light->intensity);
  EXPECT_EQ(light->getControlField("ColorB"), &light->color[2]);
  EXPECT_EQ(light->getControlField("ColorA"), &light->color[3]);
  EXPECT_EQ(light->getControlField("Shadow ColorR"), &light->shadowColor[0]);
  EXPECT_EQ(light->getControlField("Shadow ColorA"), &light->shadowColor[3]);
  EXPECT_EQ(light->getControlField("VISTRACK"), &light->visibility);
  EXPECT_FATAL(light->getControlField("Shadow ColorX"), "Group: Invalid control field!");
}

TEST_F(LightTest, EnableAndDisableReachTheDeviceOnlyWhenNeeded) {
  Light* light = linkedLight("light", 0, 10);
  const std::size_t mark = device->log().mark();
  light->enable(3);  // already enabled from the start: nothing
  EXPECT_EQ(device->log().size(), mark);
  EXPECT_EQ(light->slot, 0xFFFFFFFFu);

  light->disable();  // no slot yet: only the flag
  EXPECT_FALSE(light->enabled);
  EXPECT_EQ(device->log().size(), mark);

  light->enable(2);
  EXPECT_EQ(light->slot, 2u);
  ASSERT_EQ(device->log().count("SetLight", mark), 1u);
  EXPECT_EQ(device->log().last("SetLight")->raw(0), 2u);
  BOOL on = FALSE;
  device->GetLightEnable(2, &on);
  EXPECT_TRUE(on);

  light->disable();
  EXPECT_EQ(device->log().count("SetLight", mark), 1u);
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
  EXPECT_FALSE(far->enabled);
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
  const std::size_t mark = device->log().mark();
  scene->enableLightsNear(D3DXVECTOR3(0, 0, 0), 1.0f);
  EXPECT_EQ(device->log().count("SetLight", mark), 8u);
  for (const RecordedCall* call : device->log().named("SetLight", mark)) EXPECT_LT(call->raw(0), 8u);
  EXPECT_TRUE(lights[9]->enabled);
  EXPECT_EQ(lights[9]->slot, 9u);
  // The next selection switches all ten off, the high slots included.
  scene->DisableLights();
  EXPECT_EQ(device->log().count("LightEnable", mark), 18u);
  EXPECT_TRUE(device->log().failures(mark).empty()) << device->log().dump(mark);
}

TEST_F(LightTest, DominantLightIsTheNearestRelativeToRange) {
  EXPECT_EQ(scene->findDominantLight(D3DXVECTOR3(0, 0, 0)), nullptr);
  Light* a = linkedLight("a", 10, 5);  // 2
  Light* b = linkedLight("b", 4, 2);   // 2: a tie, the earlier wins
  EXPECT_EQ(scene->findDominantLight(D3DXVECTOR3(0, 0, 0)), a);
  Light* c = linkedLight("c", 3, 2);  // 1.5
  EXPECT_EQ(scene->findDominantLight(D3DXVECTOR3(0, 0, 0)), c);
  (void)b;
}

TEST_F(LightTest, DestructionLeavesTheLightList) {
  Light* a = linkedLight("a", 0, 1);
  Light* b = linkedLight("b", 0, 1);
  scene->objects.erase(std::find(scene->objects.begin(), scene->objects.end(), a));
  delete a;
  EXPECT_EQ(scene->lights, std::vector<Light*>{b});
}

}  // namespace
