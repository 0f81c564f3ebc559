// vxtool convert on glTF models written here: cameras and lights placed so
// that they see and light what they did in the model, node animation as
// transform keys, skinned and morphing meshes as baked vertex frames.
#include "ConvertTestSupport.h"

#include "scene/KeyframePRSController.h"
#include "scene/VertexController.h"

namespace {

constexpr float kYFov = 0.8f;
constexpr float kAspect = 4.0f / 3.0f;

// A red box "Box" turned `turn` (a quaternion, glTF axes) below a node
// "Spin" that turns 0, 90 and 180 degrees about the up axis (y) at 0, 1 and
// 2 s; a camera "Cam" at z = 5 looking at the origin; a point light "Lamp".
std::string spinningBoxScene(const std::vector<float>& turn = {0, 0, 0, 1}) {
  GltfBuilder gltf;
  const std::string meshes = gltfBox(gltf);
  const float h = std::sqrt(0.5f);
  const int times = gltf.floats({0, 1, 2}, "SCALAR", true);
  const int turns = gltf.floats({0, 0, 0, 1, 0, h, 0, h, 0, 1, 0, 0}, "VEC4");
  return gltf.json(
      {"\"scenes\":[{\"nodes\":[0,2,3]}]",
       "\"nodes\":[{\"name\":\"Spin\",\"children\":[1]},{\"name\":\"Box\",\"mesh\":0,\"rotation\":" +
           GltfBuilder::list(turn) +
           "},{\"name\":\"Cam\",\"camera\":0,\"translation\":[0,0,5]},"
           "{\"name\":\"Lamp\",\"translation\":[0,3,4],\"extensions\":{\"KHR_lights_punctual\":{\"light\":0}}}]",
       meshes, "\"materials\":[{\"name\":\"red\",\"pbrMetallicRoughness\":{\"baseColorFactor\":[1,0,0,1]}}]",
       "\"cameras\":[{\"type\":\"perspective\",\"perspective\":{\"yfov\":0.8,\"aspectRatio\":1.3333334,"
       "\"znear\":0.5,\"zfar\":50}}]",
       "\"extensionsUsed\":[\"KHR_lights_punctual\"]",
       "\"extensions\":{\"KHR_lights_punctual\":{\"lights\":[{\"type\":\"point\",\"color\":[1,0.5,0.25],"
       "\"intensity\":2}]}}",
       "\"animations\":[{\"name\":\"spin\",\"channels\":[{\"sampler\":0,\"target\":{\"node\":0,\"path\":"
       "\"rotation\"}}],\"samplers\":[{\"input\":" +
           std::to_string(times) + ",\"output\":" + std::to_string(turns) + "}]}]"});
}

// Where the model's own camera (at glTF z = 5, looking down -z, y up) puts a
// glTF point on screen: x, y in -1 ... 1, and its distance in front.
D3DXVECTOR3 modelCameraSees(float x, float y, float z) {
  const float depth = 5.0f - z;
  const float t = std::tan(kYFov * 0.5f);
  return D3DXVECTOR3(x / (depth * t * kAspect), y / (depth * t), depth);
}

void expectOnScreen(const D3DXVECTOR3& actual, const D3DXVECTOR3& expected, const std::string& what) {
  EXPECT_NEAR(actual.x, expected.x, 1e-4f) << what;
  EXPECT_NEAR(actual.y, expected.y, 1e-4f) << what;
  EXPECT_NEAR(actual.z, expected.z, 1e-4f) << what;
}

}  // namespace

TEST_F(ConvertTest, TheConvertedCameraSeesWhatTheModelsCameraSees) {
  write("scene.gltf", spinningBoxScene());
  ToolRun run = convert("scene.gltf out");
  ASSERT_EQ(run.code, 0) << run.err;
  load("scene");
  Camera* camera = node<Camera>("Cam");
  ASSERT_NE(camera, nullptr);
  ASSERT_EQ(scene->activeCamera, camera);
  EXPECT_NEAR(camera->fov, kYFov, 1e-5f);
  EXPECT_FLOAT_EQ(camera->nearClip, 0.5f);
  EXPECT_FLOAT_EQ(camera->farClip, 50.0f);
  // glTF (x, y, z) is scene (x, z, y): the camera stands at scene y = 5.
  expectNear(D3DXVECTOR3(camera->world._41, camera->world._42, camera->world._43), 0, 5, 0, "camera position");
  Group* box = node("Box");
  ASSERT_NE(box, nullptr);
  // Corners and axes of the box land where the model's camera shows them.
  const float corners[][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 1}, {-1, -1, 1}};
  for (const auto& c : corners) {
    const D3DXVECTOR3 scenePoint = toWorld(*box, D3DXVECTOR3(c[0], c[2], c[1]));
    expectOnScreen(onScreen(scenePoint), modelCameraSees(c[0], c[1], c[2]),
                   "glTF point " + std::to_string(c[0]) + " " + std::to_string(c[1]) + " " + std::to_string(c[2]));
  }
}

TEST_F(ConvertTest, AGltfFileIsYUpWhateverUpSays) {
  write("scene.gltf", spinningBoxScene());
  ToolRun run = convert("scene.gltf out --up z");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("warning: --up ignored"), std::string::npos) << run.err;
  load("scene");
  Camera* camera = node<Camera>("Cam");
  ASSERT_NE(camera, nullptr);
  expectNear(D3DXVECTOR3(camera->world._41, camera->world._42, camera->world._43), 0, 5, 0, "camera position");
}

TEST_F(ConvertTest, ANodeTurnedAboutItsUpAxisIsSeenTurnedTheSameWay) {
  // 90 degrees about glTF y: x goes to -z (away from the camera), z to x.
  const float h = std::sqrt(0.5f);
  write("scene.gltf", spinningBoxScene({0, h, 0, h}));
  ASSERT_EQ(convert("scene.gltf out").code, 0);
  load("scene");
  Group* box = node("Box");
  ASSERT_NE(box, nullptr);
  struct Case {
    float model[3];    // a point of the box in its own glTF axes
    float turned[3];   // where the turn puts it, glTF axes
  };
  const Case cases[] = {{{1, 0, 0}, {0, 0, -1}}, {{0, 0, 1}, {1, 0, 0}}, {{1, 1, 0}, {0, 1, -1}}};
  for (const Case& c : cases) {
    const D3DXVECTOR3 p = toWorld(*box, D3DXVECTOR3(c.model[0], c.model[2], c.model[1]));
    expectOnScreen(onScreen(p), modelCameraSees(c.turned[0], c.turned[1], c.turned[2]),
                   "point " + std::to_string(c.model[0]) + " " + std::to_string(c.model[2]));
  }
}

TEST_F(ConvertTest, TheLightKeepsItsPlaceColourStrengthAndReach) {
  write("scene.gltf", spinningBoxScene());
  ASSERT_EQ(convert("scene.gltf out --scale 2").code, 0);
  load("scene");
  Light* lamp = node<Light>("Lamp");
  ASSERT_NE(lamp, nullptr);
  EXPECT_EQ(lamp->d3dLight.Type, D3DLIGHT_POINT);
  expectNear(D3DXVECTOR3(lamp->world._41, lamp->world._42, lamp->world._43), 0, 8, 6, "scaled position");
  // Colour (1, 0.5, 0.25) x 2: the brightest channel is the intensity.
  EXPECT_FLOAT_EQ(lamp->intensity, 2.0f);
  EXPECT_NEAR(lamp->color[1], 0.5f, 0.003f);
  EXPECT_NEAR(lamp->color[2], 0.25f, 0.003f);
  // glTF lights fall off as 1 / d²: spent to 1/256 at d = 16, twice that
  // scaled.
  EXPECT_FLOAT_EQ(lamp->d3dLight.Range, 32.0f);
}

TEST_F(ConvertTest, SpotAndDirectionalLightsPointWhereTheModelsDid) {
  // Both aimed down glTF -y (scene -z) after a turn of -90 degrees about x
  // from their own -z; the spot's cone 20 / 30 degrees from its axis.
  const float h = std::sqrt(0.5f);
  GltfBuilder gltf;
  write("lights.gltf",
        gltf.json({"\"scenes\":[{\"nodes\":[0,1]}]",
                   "\"nodes\":[{\"name\":\"Spot\",\"translation\":[1,4,0],\"rotation\":[" + std::to_string(-h) +
                       ",0,0," + std::to_string(h) +
                       "],\"extensions\":{\"KHR_lights_punctual\":{\"light\":0}}},"
                       "{\"name\":\"Sun\",\"rotation\":[" +
                       std::to_string(-h) + ",0,0," + std::to_string(h) +
                       "],\"extensions\":{\"KHR_lights_punctual\":{\"light\":1}}}]",
                   "\"extensionsUsed\":[\"KHR_lights_punctual\"]",
                   "\"extensions\":{\"KHR_lights_punctual\":{\"lights\":[{\"type\":\"spot\",\"spot\":{"
                   "\"innerConeAngle\":0.34906585,\"outerConeAngle\":0.52359878}},{\"type\":\"directional\"}]}}"}));
  ToolRun run = convert("lights.gltf out");
  ASSERT_EQ(run.code, 0) << run.err;
  load("lights");
  for (const char* name : {"Spot", "Sun"}) {
    Light* light = node<Light>(name);
    ASSERT_NE(light, nullptr) << name;
    light->update(true);  // the light computation: the direction the device gets
    expectNear(D3DXVECTOR3(light->d3dLight.Direction.x, light->d3dLight.Direction.y, light->d3dLight.Direction.z), 0,
               0, -1, name);
  }
  Light* spot = node<Light>("Spot");
  EXPECT_EQ(spot->d3dLight.Type, D3DLIGHT_SPOT);
  EXPECT_NEAR(spot->hotspot, 40.0f, 1e-3f);
  EXPECT_NEAR(spot->falloffAngle, 60.0f, 1e-3f);
  expectNear(D3DXVECTOR3(spot->world._41, spot->world._42, spot->world._43), 1, 0, 4, "spot position");
  Light* sun = node<Light>("Sun");
  EXPECT_EQ(sun->d3dLight.Type, D3DLIGHT_DIRECTIONAL);
  EXPECT_GE(sun->d3dLight.Range, 9e7f) << "a directional light reaches everything";
}

TEST_F(ConvertTest, NodeAnimationBecomesTransformKeysThatPlayOnceAndHold) {
  write("scene.gltf", spinningBoxScene());
  ToolRun run = convert("scene.gltf out");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find("1 node tracks"), std::string::npos) << run.out;
  load("scene");
  Group* spin = node("Spin");
  ASSERT_NE(spin, nullptr);
  ASSERT_EQ(scene->controllers.size(), 1u);
  auto* keys = dynamic_cast<KeyframePRSController*>(scene->controllers[0]);
  ASSERT_NE(keys, nullptr);
  EXPECT_EQ(keys->target, spin);
  // glTF x turns toward -z about y; in scene axes x turns toward -y about z.
  const float h = std::sqrt(0.5f);
  struct Case {
    float ms;
    float x, y;  // where scene x goes
  };
  const Case cases[] = {{0, 1, 0}, {500, h * 1.0f, -h}, {1000, 0, -1}, {2000, -1, 0}, {2500, -1, 0}, {60000, -1, 0}};
  for (const Case& c : cases) {
    scene->SetTime(c.ms);
    expectNear(toWorld(*spin, D3DXVECTOR3(1, 0, 0)), c.x, c.y, 0, "t = " + std::to_string(c.ms));
  }
}

TEST_F(ConvertTest, SkinnedAndMorphingMeshesAreBakedIntoVertexFrames) {
  // One triangle twice: "Morph" with a target moving vertex 0 by +1 along
  // glTF x, its weight 0 -> 1 over a second; "Skinned" held whole by the
  // joint "Bone", which rises 2 along glTF y over the same second.
  GltfBuilder gltf;
  const int positions = gltf.floats({0, 0, 0, 1, 0, 0, 0, 1, 0}, "VEC3", true);
  const int target = gltf.floats({1, 0, 0, 0, 0, 0, 0, 0, 0}, "VEC3", true);
  const int indices = gltf.shorts({0, 1, 2});
  const int times = gltf.floats({0, 1}, "SCALAR", true);
  const int weights = gltf.floats({0, 1}, "SCALAR");
  const int joints = gltf.bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, "VEC4");
  const int jointWeights = gltf.floats({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}, "VEC4");
  const int inverseBind = gltf.floats({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, "MAT4");
  const int rise = gltf.floats({0, 0, 0, 0, 2, 0}, "VEC3");
  auto n = [](int i) { return std::to_string(i); };
  write("deform.gltf",
        gltf.json({"\"scenes\":[{\"nodes\":[0,1,2]}]",
                   "\"nodes\":[{\"name\":\"Morph\",\"mesh\":0},{\"name\":\"Skinned\",\"mesh\":1,\"skin\":0},"
                   "{\"name\":\"Bone\"}]",
                   "\"skins\":[{\"joints\":[2],\"inverseBindMatrices\":" + n(inverseBind) + "}]",
                   "\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":" + n(positions) +
                       "},\"indices\":" + n(indices) + ",\"targets\":[{\"POSITION\":" + n(target) +
                       "}]}],\"weights\":[0]},{\"primitives\":[{\"attributes\":{\"POSITION\":" + n(positions) +
                       ",\"JOINTS_0\":" + n(joints) + ",\"WEIGHTS_0\":" + n(jointWeights) + "},\"indices\":" +
                       n(indices) + "}]}]",
                   "\"animations\":[{\"channels\":[{\"sampler\":0,\"target\":{\"node\":0,\"path\":\"weights\"}},"
                   "{\"sampler\":1,\"target\":{\"node\":2,\"path\":\"translation\"}}],\"samplers\":[{\"input\":" +
                       n(times) + ",\"output\":" + n(weights) + "},{\"input\":" + n(times) + ",\"output\":" +
                       n(rise) + "}]}]"}));
  ToolRun run = convert("deform.gltf out --fps 4");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find("2 vertex animations"), std::string::npos) << run.out;
  load("deform");
  auto* morph = dynamic_cast<MultiVertexBuffer*>(vertices(node("Morph")));
  auto* skinned = dynamic_cast<MultiVertexBuffer*>(vertices(node("Skinned")));
  ASSERT_TRUE(morph && skinned);
  EXPECT_EQ(morph->frames.size(), 5u) << "one second at 4 frames a second, both ends included";
  EXPECT_EQ(skinned->frames.size(), 5u);

  // The vertex at the origin in the rest pose, found by position.
  auto atOrigin = [](const MultiVertexBuffer& vb) {
    for (std::uint32_t i = 0; i < vb.vertexCount; ++i)
      if (vb.frames[0][i * 3] == 0 && vb.frames[0][i * 3 + 1] == 0 && vb.frames[0][i * 3 + 2] == 0) return i;
    return vb.vertexCount;
  };
  const std::uint32_t m0 = atOrigin(*morph), s0 = atOrigin(*skinned);
  ASSERT_LT(m0, morph->vertexCount);
  ASSERT_LT(s0, skinned->vertexCount);
  struct Case {
    float ms;
    float morphX;   // the morphing vertex along scene x
    float skinZ;    // the skinned triangle's rise along scene z
  };
  const Case cases[] = {{0, 0, 0}, {500, 0.5f, 1}, {750, 0.75f, 1.5f}, {1000, 1, 2}, {5000, 1, 2}};
  for (const Case& c : cases) {
    scene->SetTime(c.ms);
    expectNear(morph->vertexAt(m0)->position, c.morphX, 0, 0, "morph at " + std::to_string(c.ms));
    expectNear(skinned->vertexAt(s0)->position, 0, 0, c.skinZ, "skin at " + std::to_string(c.ms));
  }
}
