#pragma once
// Small scenes for the render suites, built from the scene objects directly
// (no file): a camera at a position looking along −y with z up (the camera's
// fixed quarter turn), quads in the x–z plane facing it, materials, lights,
// textures cached under a name, sprites. Works on any device; the caller
// prepares the scene (scene.Prepare()) after building it.
#include "platform/gfx/Device.h"
#include "render/IndexBuffer.h"
#include "render/StateCache.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/Group.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"

#include <cstring>
#include <string>
#include <vector>

namespace rtest {

struct Rgb {
  float r, g, b;
};

// A node under `parent` (the scene's root when null; the first node made
// becomes the root).
template <class T = Group>
T* addNode(SceneGraph& scene, const char* name, D3DXVECTOR3 position, Group* parent = nullptr) {
  T* node = new T(scene.AllocateId(), &scene);
  node->name = name;
  node->prs.position = position;
  if (scene.root == nullptr && parent == nullptr) {
    scene.root = node;
  } else {
    node->parentRef.reset(std::int32_t((parent != nullptr ? parent : scene.root)->id));
  }
  return node;
}

// The root at the origin, then a camera at `eye`: it looks along −y, z up,
// x to the right of the picture. 90° vertical field of view.
inline Camera* addCamera(SceneGraph& scene, D3DXVECTOR3 eye, float farClip = 100.0f) {
  if (scene.root == nullptr) addNode<Group>(scene, "root", {0, 0, 0});
  Camera* camera = addNode<Camera>(scene, "camera", eye);
  camera->fov = 1.5707964f;
  camera->nearClip = 0.5f;
  camera->farClip = farClip;
  return camera;
}

inline Material* addMaterial(SceneGraph& scene, Rgb diffuse, Rgb ambient = {0, 0, 0}, float selfIllumination = 0) {
  Material* material = new Material(scene.AllocateId(), &scene);
  const float d[4] = {diffuse.r, diffuse.g, diffuse.b, 1.0f}, a[4] = {ambient.r, ambient.g, ambient.b, 1.0f};
  std::memcpy(material->diffuseColor, d, sizeof d);
  std::memcpy(material->ambientColor, a, sizeof a);
  material->selfIllumination = selfIllumination;
  return material;
}

// A device texture of one colour (4 × 4, A8R8G8B8, managed) in the scene's
// cache under `name`, and a scene texture that loads it.
inline Texture* addSolidTexture(SceneGraph& scene, const std::string& name, D3DCOLOR argb) {
  IDirect3DTexture9* texture = nullptr;
  scene.stateCache->device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture);
  D3DLOCKED_RECT locked{};
  if (texture != nullptr && texture->LockRect(0, &locked, nullptr, 0) == D3D_OK) {
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 4; ++x)
        reinterpret_cast<D3DCOLOR*>(static_cast<unsigned char*>(locked.pBits) + y * locked.Pitch)[x] = argb;
    texture->UnlockRect(0);
  }
  scene.stateCache->textures[name] = texture;
  Texture* sceneTexture = new Texture(scene.AllocateId(), &scene);
  sceneTexture->load(name.c_str(), false);
  return sceneTexture;
}

// A quad of 2·halfX × 2·halfZ in the node's x–z plane, wound clockwise as
// the camera sees it (normal +y), one sub-mesh per material, each drawing
// the same two triangles.
inline Mesh* addQuadMesh(SceneGraph& scene, float halfX, float halfZ, const std::vector<Material*>& materials) {
  auto* vb = new VertexBuffer(scene.AllocateId(), &scene, 4);
  const D3DXVECTOR3 corners[4] = {{-halfX, 0, -halfZ}, {-halfX, 0, halfZ}, {halfX, 0, -halfZ}, {halfX, 0, halfZ}};
  const float uv[4][2] = {{0, 1}, {0, 0}, {1, 1}, {1, 0}};
  for (std::uint32_t i = 0; i < 4; ++i) {
    LitVertex* v = vb->vertexAt(i);
    v->position = corners[i];
    v->uv1[0] = v->uv2[0] = uv[i][0];
    v->uv1[1] = v->uv2[1] = uv[i][1];
  }
  auto* ib = new IndexBuffer(scene.AllocateId(), &scene);
  Mesh* mesh = new Mesh(scene.AllocateId(), &scene);
  mesh->vertexBufferRef.reset(std::int32_t(vb->id));
  mesh->indexBufferRef.reset(std::int32_t(ib->id));
  for (Material* material : materials) {
    auto* sub = new SubMesh(scene.AllocateId(), &scene);
    sub->materialRef.reset(material != nullptr ? std::int32_t(material->id) : -1);
    sub->mesh = mesh;
    sub->startIndex = std::uint32_t(ib->indices.size());
    sub->indexCount = 6;
    for (std::uint16_t index : {0, 1, 2, 2, 1, 3}) ib->indices.push_back(index);
    ib->triangleCount += 2;
    mesh->submeshes.push_back(sub);
  }
  return mesh;
}

// A node carrying a quad mesh.
inline Group* addQuad(SceneGraph& scene, const char* name, D3DXVECTOR3 position, float half,
                      const std::vector<Material*>& materials, Group* parent = nullptr) {
  Group* node = addNode<Group>(scene, name, position, parent);
  node->meshRef.reset(std::int32_t(addQuadMesh(scene, half, half, materials)->id));
  return node;
}

// A light node; a directional light shines along the node's −y axis.
inline Light* addLight(SceneGraph& scene, D3DLIGHTTYPE type, D3DXVECTOR3 position, Rgb color, float range) {
  Light* light = addNode<Light>(scene, "light", position);
  light->d3dLight.Type = type;
  light->d3dLight.Range = range;
  const float c[4] = {color.r, color.g, color.b, 1.0f};
  std::memcpy(light->color, c, sizeof c);
  light->intensity = 1.0f;
  return light;
}

// A sprite of `size` on a new node.
template <class T = Sprite>
T* addSprite(SceneGraph& scene, const char* name, D3DXVECTOR3 position, Texture* texture, float size, int blendMode,
             bool glows = false) {
  Group* node = addNode<Group>(scene, name, position);
  T* sprite = new T(scene.AllocateId(), &scene);
  if (texture != nullptr) sprite->textureRef.reset(std::int32_t(texture->id));
  sprite->size = size;
  sprite->blendMode = blendMode;
  sprite->drawnInGlowPass = glows;
  node->sprite = sprite;
  return sprite;
}

// Marks the scene loaded, as a loader would, and prepares it (links its
// objects, computes its transforms, creates its processors) the first time.
inline void prepareOnce(SceneGraph& scene) {
  if (scene.prepared) return;
  scene.loaded = true;
  scene.Prepare();
}

// Lets go of everything the last draws bound (streams, indices, textures,
// shaders, declaration): the device holds those references until they are
// replaced, so a test counting live resources after freeing its scene lets
// go of them first.
inline void releaseBindings(IDirect3DDevice9* device) {
  device->SetStreamSource(0, nullptr, 0, 0);
  device->SetIndices(nullptr);
  for (DWORD stage = 0; stage < 8; ++stage) device->SetTexture(stage, nullptr);
  device->SetVertexShader(nullptr);
  device->SetPixelShader(nullptr);
  device->SetVertexDeclaration(nullptr);
}

}  // namespace rtest
