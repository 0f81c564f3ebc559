#pragma once
// The processor that draws a scene itself: the sky box, meshes (fixed-function
// lighting, or the per-pixel passes for normal-mapped materials), sprites and
// particle clouds, and the camera's fog. It decides first and draws after:
// QueueNode only collects (sub-mesh, node) and (sprite, node) pairs during
// the scene's traversal; Render sorts them and issues every state and draw.
//
// Every device call goes through the scene's StateCache or its device. The
// processor never clears, begins or presents: the frame loop does.
#include "platform/gfx/Device.h"
#include "render/Processor.h"

#include <cstdint>
#include <utility>
#include <vector>

class Group;
class Material;
class Sprite;
class SubMesh;

class DefaultProcessor : public Processor {
 public:
  DefaultProcessor(std::uint32_t id, SceneGraph* scene);

  // Empties both queues and gives their storage back.
  void ClearQueues() override;
  // Nodes with visibility <= 0.5 are skipped (their children are still
  // visited by the traversal); otherwise one entry per sub-mesh of the
  // node's mesh, and one for its sprite.
  void QueueNode(Group* node) override;
  // Sky box, ambient, fog, the sorted meshes, the sorted sprites; fog off.
  void Render() override;
  // FullscreenQuad over the whole viewport with the caller's texture and
  // blend states; view and projection are restored, the world stays identity.
  void DrawFullscreenQuad() override;

  std::vector<std::pair<SubMesh*, Group*>> meshQueue;   // not owned
  std::vector<std::pair<Sprite*, Group*>> spriteQueue;  // not owned

 protected:
  void DrawSkyBox();
  void DrawSubMesh(SubMesh* subMesh, Group* node);
  // The per-pixel passes of a normal-mapped material (diffuse, specular,
  // environment) with the dominant light: shaders, stages, constants, draws.
  // Defined in DefaultProcessorLit.cpp.
  void DrawLitSubMesh(SubMesh* subMesh, Group* node, Material* material);
  void DrawSprite(Sprite* sprite, Group* node);
  // The SpriteShader constants of a particle cloud on `node`. Defined in
  // DefaultProcessorLit.cpp beside the other constant recipes.
  void SetSpriteCloudConstants(Group* node);
};

// Skips of redundant fixed-function state, shared by every default processor
// and reset at the start of each Render; every per-pixel draw resets them
// too, since it changes shaders, declaration and stages behind their back.
extern Material* lastMaterial;  // material applied last; null
extern float lastVisibility;    // node visibility it was applied with; 0.0
extern DWORD lastFVF;           // FVF set last for a fixed-function mesh; 0

// Four vertices of (x, y, z, u, v), D3DFVF_XYZ | D3DFVF_TEX1, stride 20 bytes,
// a triangle strip covering clip space; v = 0 is the top of the image.
extern const float FullscreenQuad[20];
// One point at the origin, D3DFVF_XYZ, stride 12 bytes: a single sprite.
extern const float SpriteOrigin[3];

// The transforms that make FullscreenQuad cover the viewport: projection =
// D3DXMatrixOrthoLH(2, 2, 0, 1), world and view identity. Nothing is saved.
void SetFullscreenQuadTransforms(IDirect3DDevice9* device);

// The draw orders (strict: true when a goes before b).
// Meshes: opaque before transparent (the material's test with the node's
// visibility), then without a normal map before with one, then by material id.
bool MeshEntryComesBefore(const std::pair<SubMesh*, Group*>& a, const std::pair<SubMesh*, Group*>& b);
