// The generated 3D scenes as the player loads them: what each shot needs is
// there (sky box, fog, lights, normal-mapped, specular, environment-mapped
// and glowing materials, clouds and sprites), every texture they name is a
// generated file, the normal maps hold unit vectors and reach the device
// uncompressed, the tangent frames read them the right way round, and the
// spot light lights what it should.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "platform/gfx/recording/RecordingDevice.h"
#include "render/Processor.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"
#include "tests/showgen/ShowgenOutput.h"
#include "tools/showgen/SceneFile.h"

namespace {

using namespace showgen_test;

float dot(const D3DXVECTOR3& a, const D3DXVECTOR3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
D3DXVECTOR3 cross(const D3DXVECTOR3& a, const D3DXVECTOR3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
float length(const D3DXVECTOR3& v) { return std::sqrt(dot(v, v)); }
D3DXVECTOR3 worldPosition(const Group* node) { return {node->world._41, node->world._42, node->world._43}; }

// A scene file of the generated folder loaded and prepared as the player
// does, with no processors (nothing is drawn here).
class LoadedScene {
 public:
  LoadedScene(const fs::path& dir, const char* file) : m_previousDir(fs::current_path()) {
    fs::current_path(dir);
    m_previousFactory = GetSceneProcessorFactory();
    SetSceneProcessorFactory(nullptr);
    device = RecordingDevice::createOffscreen(800, 600);
    scene = std::make_unique<SceneGraph>(device);
    (new VXKSceneLoader(scene->AllocateId(), scene.get()))->LoadScene(file);
    scene->Prepare();
  }
  ~LoadedScene() {
    scene.reset();
    device->Release();
    SetSceneProcessorFactory(m_previousFactory);
    fs::current_path(m_previousDir);
  }

  template <class T>
  std::vector<T*> all() const {
    std::vector<T*> found;
    for (Base* object : scene->objects)
      if (auto* t = dynamic_cast<T*>(object)) found.push_back(t);
    return found;
  }
  Group* node(const std::string& name) const {
    for (Group* g : all<Group>())
      if (g->name == name) return g;
    return nullptr;
  }
  // Materials of the sub-meshes of a node's mesh.
  static std::vector<Material*> materialsOf(Group* node) {
    std::vector<Material*> materials;
    if (Mesh* mesh = node->meshRef.as<Mesh>())
      for (SubMesh* sub : mesh->submeshes)
        if (Material* m = sub->materialRef.as<Material>()) materials.push_back(m);
    return materials;
  }

  RecordingDevice* device = nullptr;
  std::unique_ptr<SceneGraph> scene;

 private:
  fs::path m_previousDir;
  SceneProcessorFactory m_previousFactory = nullptr;
};

bool isGenerated(const std::string& name) {
  const std::vector<std::string> names = showFileNames();
  return std::find(names.begin(), names.end(), name) != names.end();
}

// What the show's shots of either scene rely on.
void checkSceneContents(const LoadedScene& s, const char* file) {
  SCOPED_TRACE(file);
  SceneGraph& scene = *s.scene;
  ASSERT_NE(scene.root, nullptr);
  ASSERT_NE(scene.activeCamera, nullptr);
  EXPECT_EQ(scene.cameras.size(), 3u);

  // The sky box: centred on the eye by the player, so it must fit between
  // every camera's near and far clip planes or its corners are cut away.
  ASSERT_NE(scene.skybox, nullptr);
  Mesh* sky = scene.skybox->meshRef.as<Mesh>();
  ASSERT_NE(sky, nullptr);
  EXPECT_EQ(sky->submeshes.size(), 6u);
  for (Material* m : LoadedScene::materialsOf(scene.skybox)) EXPECT_NE(m->diffuseMap.as<Texture>(), nullptr);
  const float corner = std::sqrt(sky->boundValue), half = corner / std::sqrt(3.0f);
  for (Camera* camera : scene.cameras) {
    EXPECT_TRUE(camera->fogEnabled) << camera->name;
    EXPECT_LT(corner, camera->farClip) << camera->name;
    EXPECT_GT(half, camera->nearClip) << camera->name;
  }

  // A normal-mapped, textured material bright enough in specular for the
  // specular pass and with a sphere map for the environment pass; a
  // self-lit material for the glow.
  bool perPixel = false, glowing = false;
  for (Material* m : s.all<Material>()) {
    const float specular = m->specularLevel * (m->specularColor[0] + m->specularColor[1] + m->specularColor[2]);
    if (m->normalMap.as<Texture>() && m->diffuseMap.as<Texture>() && m->sphereMap.as<Texture>() && specular >= 0.01f)
      perPixel = true;
    if (m->selfIllumination > 0.0f && !m->diffuseMap.as<Texture>()) glowing = true;
    if (m->normalMap.as<Texture>()) {
      EXPECT_FALSE(m->isTransparent(1.0f)) << "a lit surface would be blended";
    }
  }
  EXPECT_TRUE(perPixel);
  EXPECT_TRUE(glowing);

  // A particle cloud and single sprites that glow.
  int clouds = 0, glowSprites = 0;
  for (Sprite* sprite : s.all<Sprite>()) {
    ASSERT_NE(sprite->textureRef.as<Texture>(), nullptr);
    if (auto* cloud = dynamic_cast<SpriteCloud*>(sprite)) {
      ++clouds;
      EXPECT_NE(cloud->vertexBuffer, nullptr);
      EXPECT_GT(cloud->count, 100u);
    } else if (sprite->drawnInGlowPass) {
      ++glowSprites;
    }
  }
  EXPECT_GE(clouds, 1);
  EXPECT_GE(glowSprites, 1);

  // Every texture is one the generator writes (and so one the archive holds).
  for (Texture* texture : s.all<Texture>()) EXPECT_TRUE(isGenerated(texture->name)) << texture->name;
}

void checkBothScenes(const fs::path& dir) {
  {
    LoadedScene orbit(dir, "orbit.vxk");
    checkSceneContents(orbit, "orbit.vxk");
    ASSERT_EQ(orbit.scene->lights.size(), 1u);
    EXPECT_EQ(orbit.scene->lights[0]->d3dLight.Type, D3DLIGHT_POINT);
  }
  LoadedScene hall(dir, "hall.vxk");
  checkSceneContents(hall, "hall.vxk");
  std::vector<D3DLIGHTTYPE> types;
  for (Light* light : hall.scene->lights) types.push_back(light->d3dLight.Type);
  EXPECT_NE(std::find(types.begin(), types.end(), D3DLIGHT_SPOT), types.end());
  EXPECT_NE(std::find(types.begin(), types.end(), D3DLIGHT_POINT), types.end());
}

// 8-bit encoding of unit vectors: each channel is off by up to half a step,
// so lengths land within about 1.5 % of 1.
void checkNormalMapFiles(const fs::path& dir) {
  int maps = 0;
  for (const std::string& name : sceneTextureNames()) {
    if (name.find("-normal.png") == std::string::npos) continue;
    ++maps;
    const DecodedImage image = decodeFile(dir / name);
    std::size_t tilted = 0;
    for (UINT y = 0; y < image.height; ++y)
      for (UINT x = 0; x < image.width; ++x) {
        const D3DCOLOR c = image.texel(x, y);
        const D3DXVECTOR3 n{float((c >> 16) & 0xFF) / 127.5f - 1.0f, float((c >> 8) & 0xFF) / 127.5f - 1.0f,
                            float(c & 0xFF) / 127.5f - 1.0f};
        ASSERT_NEAR(length(n), 1.0f, 0.03f) << name << " at " << x << "," << y;
        ASSERT_GT(n.z, 0.2f) << name << " at " << x << "," << y;
        if (n.z < 0.985f) ++tilted;  // more than 10 degrees
      }
    EXPECT_GT(tilted, std::size_t(image.width) * image.height / 50) << name << " is nearly flat";
  }
  EXPECT_EQ(maps, 3);

  // The loader compresses every texture it does not know to be a normal
  // map; a normal map compressed to DXT5 loses its unit vectors.
  for (const char* file : {"orbit.vxk", "hall.vxk"}) {
    LoadedScene s(dir, file);
    for (Material* m : s.all<Material>()) {
      Texture* normals = m->normalMap.as<Texture>();
      if (normals == nullptr) continue;
      D3DSURFACE_DESC desc{};
      ASSERT_EQ(normals->d3dTexture->GetLevelDesc(0, &desc), S_OK);
      EXPECT_NE(desc.Format, D3DFMT_DXT5) << file << ": " << normals->name;
    }
  }
}

// The per-pixel shader takes the tangent frame's rows as cross(n, b),
// cross(n, t) and n, with t and b stored negated: the normal map's red must
// run along -t and its green along -b's image, that is cross(n, b) . t < 0,
// or every bump is lit from the wrong side.
void checkTangentFrames(const fs::path& dir) {
  for (const char* file : {"orbit.vxk", "hall.vxk"}) {
    LoadedScene s(dir, file);
    int meshes = 0;
    for (Mesh* mesh : s.all<Mesh>()) {
      bool normalMapped = false;
      for (SubMesh* sub : mesh->submeshes)
        if (Material* m = sub->materialRef.as<Material>(); m && m->normalMap.as<Texture>()) normalMapped = true;
      if (!normalMapped) continue;
      ++meshes;
      auto* buffer = mesh->vertexBufferRef.as<VertexBuffer>();
      ASSERT_NE(buffer, nullptr);
      const auto* vertices = reinterpret_cast<const LitVertex*>(buffer->vertices.data());
      int checked = 0, wrong = 0;
      for (std::uint32_t i = 0; i < buffer->vertexCount; ++i) {
        const LitVertex& v = vertices[i];
        // A vertex only in triangles without area (a sphere's pole) has no
        // frame to speak of.
        const auto& triangles = buffer->links[i].triangles;
        if (std::none_of(triangles.begin(), triangles.end(), [](const TriangleFrame* f) { return length(f->normal) > 0.5f; }))
          continue;
        const D3DXVECTOR3 r0 = cross(v.normal, v.binormal);
        ++checked;
        if (dot(r0, v.tangent) >= 0.0f) ++wrong;
      }
      EXPECT_GT(checked, int(buffer->vertexCount) / 2) << file;
      EXPECT_EQ(wrong, 0) << file << ": " << wrong << " of " << checked << " vertices read the map mirrored";
    }
    EXPECT_GE(meshes, 2) << file;
  }

  // Closed shapes: the recomputed normals point out of them.
  LoadedScene orbit(dir, "orbit.vxk");
  Group* planet = orbit.node("Planet");
  ASSERT_NE(planet, nullptr);
  auto* sphere = planet->meshRef.as<Mesh>()->vertexBufferRef.as<VertexBuffer>();
  const auto* vertices = reinterpret_cast<const LitVertex*>(sphere->vertices.data());
  for (std::uint32_t i = 0; i < sphere->vertexCount; ++i)
    ASSERT_GT(dot(vertices[i].normal, vertices[i].position), 0.9f * length(vertices[i].position)) << i;
}

// The hall's floor and knot are lit per pixel by their dominant light, which
// must be the spot, and the spot must keep them in its cone as it sweeps.
void checkSpotLight(const fs::path& dir) {
  LoadedScene hall(dir, "hall.vxk");
  Light* spot = nullptr;
  for (Light* light : hall.scene->lights)
    if (light->d3dLight.Type == D3DLIGHT_SPOT) spot = light;
  ASSERT_NE(spot, nullptr);
  Group* relic = hall.node("Relic");
  Group* floor = hall.node("Floor");
  ASSERT_NE(relic, nullptr);
  ASSERT_NE(floor, nullptr);
  const float halfCone = spot->hotspot * 0.5f * 3.14159265f / 180.0f;
  for (float t = 0.0f; t <= 8000.0f; t += 500.0f) {
    hall.scene->SetTime(t);
    const D3DXVECTOR3 from = worldPosition(spot);
    const D3DXVECTOR3 direction{spot->d3dLight.Direction.x, spot->d3dLight.Direction.y, spot->d3dLight.Direction.z};
    ASSERT_LT(direction.z, -0.9f * length(direction)) << "at " << t << " the spot does not point down";
    // Where its axis meets the floor.
    const D3DXVECTOR3 hit = from + direction * (-from.z / direction.z);
    EXPECT_LT(std::hypot(hit.x, hit.y), 6.0f) << "at " << t;
    const D3DXVECTOR3 toRelic = worldPosition(relic) - from;
    EXPECT_GT(dot(toRelic, direction) / (length(toRelic) * length(direction)), std::cos(halfCone)) << "at " << t;
    EXPECT_EQ(hall.scene->findDominantLight(worldPosition(relic)), spot) << "at " << t;
    EXPECT_EQ(hall.scene->findDominantLight(worldPosition(floor)), spot) << "at " << t;
    EXPECT_LT(length(toRelic), spot->d3dLight.Range * 0.5f);
  }
}

using ShowgenScenes = Generated<Generate::scenes>;

// Each test process generates the scenes once (a few seconds), so related
// checks share a case.
TEST_F(ShowgenScenes, HoldWhatTheirShotsNeedWithTheSpotLightingTheKnotAndTheFloor) {
  checkBothScenes(*s_dir);
  checkSpotLight(*s_dir);
}

TEST_F(ShowgenScenes, NormalMapsHoldUnitVectorsReadTheRightWayRoundOnOutwardSurfaces) {
  checkNormalMapFiles(*s_dir);
  checkTangentFrames(*s_dir);
}

}  // namespace
