#include "render/DefaultProcessor.h"

#include "platform/d3dx/D3DXMath.h"
#include "render/IndexBuffer.h"
#include "render/SharedShaders.h"
#include "render/StateCache.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/Group.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

Material* lastMaterial = nullptr;
float lastVisibility = 0.0f;
DWORD lastFVF = 0;

// x, y, z, u, v: the strip runs bottom-left, top-left, bottom-right,
// top-right, so both triangles are clockwise (front-facing) on screen.
const float FullscreenQuad[20] = {
    -1.0f, -1.0f, 1.0f, 0.0f, 1.0f,  //
    -1.0f, 1.0f,  1.0f, 0.0f, 0.0f,  //
    1.0f,  -1.0f, 1.0f, 1.0f, 1.0f,  //
    1.0f,  1.0f,  1.0f, 1.0f, 0.0f,
};

const float SpriteOrigin[3] = {0.0f, 0.0f, 0.0f};

namespace {

constexpr DWORD kQuadFVF = D3DFVF_XYZ | D3DFVF_TEX1;

// Render states that take a float carry its bit pattern.
DWORD floatState(float value) {
  DWORD bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

// The mesh order as one number, so that sorting compares integers rather
// than resolving references in every comparison: transparency above the
// normal-map flag above the material id. A sub-mesh without a material sorts
// as opaque, without a normal map, id 0; it is skipped when drawn.
std::uint64_t meshSortKey(const std::pair<SubMesh*, Group*>& entry) {
  Material* material = entry.first->materialRef.as<Material>();
  if (material == nullptr) return 0;
  const std::uint64_t transparent = material->isTransparent(entry.second->visibility) ? 1 : 0;
  const std::uint64_t normalMapped = material->normalMap.as<Texture>() != nullptr ? 1 : 0;
  return transparent << 33 | normalMapped << 32 | material->id;
}

// Binds the mesh's vertex buffer to stream 0 and its index buffer; null
// (nothing bound) for a mesh whose buffers are missing or were never made,
// which then draws nothing.
VertexBuffer* bindMeshBuffers(IDirect3DDevice9* device, Mesh* mesh) {
  VertexBuffer* vb = mesh->vertexBufferRef.as<VertexBuffer>();
  IndexBuffer* ib = mesh->indexBufferRef.as<IndexBuffer>();
  if (vb == nullptr || ib == nullptr || vb->deviceBuffer == nullptr || ib->deviceBuffer == nullptr) return nullptr;
  device->SetStreamSource(0, vb->deviceBuffer, 0, vb->stride);
  device->SetIndices(ib->deviceBuffer);
  return vb;
}

}  // namespace

void SetFullscreenQuadTransforms(IDirect3DDevice9* device) {
  D3DXMATRIX ortho, identity;
  D3DXMatrixOrthoLH(&ortho, 2.0f, 2.0f, 0.0f, 1.0f);
  D3DXMatrixIdentity(&identity);
  device->SetTransform(D3DTS_PROJECTION, &ortho);
  device->SetTransform(D3DTS_WORLD, &identity);
  device->SetTransform(D3DTS_VIEW, &identity);
}

bool MeshEntryComesBefore(const std::pair<SubMesh*, Group*>& a, const std::pair<SubMesh*, Group*>& b) {
  return meshSortKey(a) < meshSortKey(b);
}

DefaultProcessor::DefaultProcessor(std::uint32_t id_, SceneGraph* scene_) : Processor(id_, scene_) {}

void DefaultProcessor::ClearQueues() {
  std::vector<std::pair<SubMesh*, Group*>>().swap(meshQueue);
  std::vector<std::pair<Sprite*, Group*>>().swap(spriteQueue);
}

void DefaultProcessor::QueueNode(Group* node) {
  // Half visible or less is not drawn at all; a NaN visibility neither.
  if (!(node->visibility > 0.5f)) return;
  if (Mesh* mesh = node->meshRef.as<Mesh>()) {
    for (SubMesh* subMesh : mesh->submeshes) meshQueue.emplace_back(subMesh, node);
  }
  if (node->sprite != nullptr) spriteQueue.emplace_back(node->sprite, node);
}

void DefaultProcessor::Render() {
  lastMaterial = nullptr;
  lastVisibility = 0.0f;
  lastFVF = 0;

  DrawSkyBox();

  stateCache->SetRenderState(D3DRS_AMBIENTMATERIALSOURCE, D3DMCS_MATERIAL);
  stateCache->SetRenderState(D3DRS_COLORVERTEX, FALSE);
  if (stateCache->glowOnly) {
    stateCache->SetRenderState(D3DRS_AMBIENT, 0);
  } else {
    float ambient[4];
    for (int c = 0; c < 4; ++c) ambient[c] = scene->ambientColor[c] * scene->ambientIntensity;
    stateCache->SetRenderState(D3DRS_AMBIENT, ColorToARGB(ambient));
  }

  // Linear vertex fog from 40 % of the far clip distance to the far clip.
  const Camera* camera = scene->activeCamera;
  if (camera != nullptr && camera->fogEnabled) {
    stateCache->SetRenderState(D3DRS_FOGENABLE, TRUE);
    stateCache->SetRenderState(D3DRS_FOGCOLOR, ColorToARGB(camera->fogColor));
    stateCache->SetRenderState(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    stateCache->SetRenderState(D3DRS_FOGSTART, floatState(camera->farClip * 0.4f));
    stateCache->SetRenderState(D3DRS_FOGEND, floatState(camera->farClip));
    stateCache->SetRenderState(D3DRS_FOGTABLEMODE, D3DFOG_NONE);
  } else {
    stateCache->SetRenderState(D3DRS_FOGENABLE, FALSE);
  }

  stateCache->SetRenderState(D3DRS_SPECULARENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_SPECULARMATERIALSOURCE, D3DMCS_MATERIAL);
  stateCache->SetRenderState(D3DRS_EMISSIVEMATERIALSOURCE, D3DMCS_MATERIAL);
  stateCache->SetRenderState(D3DRS_STENCILENABLE, FALSE);
  stateCache->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_ZENABLE, D3DZB_TRUE);
  stateCache->SetRenderState(D3DRS_CULLMODE, D3DCULL_CCW);

  // Sorted by key once rather than by resolving references per comparison;
  // entries with equal keys keep no particular order.
  std::vector<std::pair<std::uint64_t, std::size_t>> order(meshQueue.size());
  for (std::size_t i = 0; i < meshQueue.size(); ++i) order[i] = {meshSortKey(meshQueue[i]), i};
  std::sort(order.begin(), order.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& entry : order) DrawSubMesh(meshQueue[entry.second].first, meshQueue[entry.second].second);

  if (!spriteQueue.empty()) {
    std::sort(spriteQueue.begin(), spriteQueue.end(),
              [](const auto& a, const auto& b) { return SpriteComesBefore(a.first, b.first); });
    stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
    stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
    stateCache->SetRenderState(D3DRS_ZENABLE, TRUE);
    stateCache->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
    stateCache->SetRenderState(D3DRS_LIGHTING, FALSE);
    stateCache->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    stateCache->SetTextureStageState(0, D3DTSS_COLORARG2, D3DTA_DIFFUSE);
    stateCache->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
    stateCache->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
    stateCache->SetTextureStageState(0, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE);
    stateCache->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
    stateCache->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
    stateCache->SetTextureStageState(1, D3DTSS_ALPHAOP, D3DTOP_DISABLE);
    for (const auto& entry : spriteQueue) DrawSprite(entry.first, entry.second);
    stateCache->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
    stateCache->SetRenderState(D3DRS_LIGHTING, TRUE);
    stateCache->SetRenderState(D3DRS_POINTSPRITEENABLE, FALSE);
  }

  stateCache->SetRenderState(D3DRS_FOGENABLE, FALSE);
}

void DefaultProcessor::DrawSkyBox() {
  // The box is drawn first, without depth test or writes and unlit, centred
  // on the eye: whatever its size it lies behind everything else.
  Group* box = scene->skybox;
  if (box == nullptr) return;
  IDirect3DDevice9* device = stateCache->device;
  stateCache->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
  stateCache->SetRenderState(D3DRS_ZENABLE, FALSE);
  if (const Camera* camera = scene->activeCamera) {
    box->world._41 = camera->world._41;
    box->world._42 = camera->world._42;
    box->world._43 = camera->world._43;
  }
  device->SetTransform(D3DTS_WORLD, &box->world);

  Mesh* mesh = box->meshRef.as<Mesh>();
  if (mesh == nullptr) return;
  VertexBuffer* vb = bindMeshBuffers(device, mesh);
  if (vb == nullptr) return;
  device->SetFVF(vb->fvf);
  device->SetVertexShader(nullptr);
  for (SubMesh* subMesh : mesh->submeshes) {
    // A sub-mesh without a material has nothing to show: skipped.
    Material* material = subMesh->materialRef.as<Material>();
    if (material == nullptr) continue;
    material->apply(1.0f);
    stateCache->SetRenderState(D3DRS_LIGHTING, FALSE);
    stateCache->DrawIndexed(D3DPT_TRIANGLELIST, 0, 0, vb->vertexCount, subMesh->startIndex,
                            subMesh->indexCount / 3);
  }
}

void DefaultProcessor::DrawSubMesh(SubMesh* subMesh, Group* node) {
  Material* material = subMesh->materialRef.as<Material>();
  if (material == nullptr) return;
  IDirect3DDevice9* device = stateCache->device;

  // Per-pixel lighting needs a light to light with and the shared programs;
  // without either the material draws fixed-function like any other.
  if (material->normalMap.as<Texture>() != nullptr && !stateCache->glowOnly && !scene->lights.empty() &&
      SharedShadersReady()) {
    DrawLitSubMesh(subMesh, node, material);
    lastMaterial = nullptr;
    lastVisibility = 0.0f;
    lastFVF = 0;
    return;
  }

  Mesh* mesh = subMesh->mesh;
  if (mesh == nullptr) return;
  VertexBuffer* vb = bindMeshBuffers(device, mesh);
  if (vb == nullptr) return;
  if (lastFVF != vb->fvf) {
    device->SetFVF(vb->fvf);
    device->SetVertexShader(nullptr);
    device->SetPixelShader(nullptr);
    lastFVF = vb->fvf;
  }
  if (material != lastMaterial || node->visibility != lastVisibility) {
    material->apply(node->visibility);
    lastMaterial = material;
    lastVisibility = node->visibility;
  }
  device->SetTransform(D3DTS_WORLD, &node->world);
  // The fixed-function lights that can reach the mesh's bounding sphere
  // (boundValue is a squared radius).
  const D3DXVECTOR3 position(node->world._41, node->world._42, node->world._43);
  scene->enableLightsNear(position, std::sqrt(mesh->boundValue));
  stateCache->DrawIndexed(D3DPT_TRIANGLELIST, 0, 0, vb->vertexCount, subMesh->startIndex, subMesh->indexCount / 3);
}

void DefaultProcessor::DrawSprite(Sprite* sprite, Group* node) {
  if (stateCache->glowOnly && !sprite->drawnInGlowPass) return;
  // A sprite without a texture would draw its squares in the previous
  // sprite's texture: skipped.
  Texture* texture = sprite->textureRef.as<Texture>();
  if (texture == nullptr) return;
  IDirect3DDevice9* device = stateCache->device;
  device->SetTransform(D3DTS_WORLD, &node->world);
  device->SetTexture(0, texture->d3dTexture);
  stateCache->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
  stateCache->SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, 0);

  switch (sprite->blendMode) {
    case 0:  // additive
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ONE);
      break;
    case 2:  // darkens by the texture's colour
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ZERO);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCCOLOR);
      break;
    default:  // 1 and anything else: screen-like, adds without overflowing
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCCOLOR);
      break;
  }

  if (sprite->isCloud()) {
    auto* cloud = static_cast<SpriteCloud*>(sprite);
    // A cloud whose buffer could not be made, or drawn before the shared
    // programs exist, has nothing to draw with.
    if (cloud->vertexBuffer == nullptr || SharedShaders::SpriteVS == nullptr) return;
    stateCache->SetRenderState(D3DRS_POINTSPRITEENABLE, FALSE);
    device->SetFVF(kParticleFVF);
    device->SetVertexShader(SharedShaders::SpriteVS);
    device->SetPixelShader(nullptr);
    device->SetStreamSource(0, cloud->vertexBuffer, 0, sizeof(ParticleVertex));
    SetSpriteCloudConstants(node);
    device->DrawPrimitive(D3DPT_TRIANGLELIST, 0, cloud->count * 2);
    return;
  }

  // One point sprite at the node's origin; its size in pixels falls off as
  // 1 / eye distance (scale A = B = 0, C = 1).
  device->SetVertexShader(nullptr);
  device->SetPixelShader(nullptr);
  stateCache->SetRenderState(D3DRS_POINTSPRITEENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_POINTSCALEENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_POINTSIZE_MIN, floatState(0.0f));
  stateCache->SetRenderState(D3DRS_POINTSIZE_MAX, floatState(1024.0f));
  stateCache->SetRenderState(D3DRS_POINTSCALE_A, floatState(0.0f));
  stateCache->SetRenderState(D3DRS_POINTSCALE_B, floatState(0.0f));
  stateCache->SetRenderState(D3DRS_POINTSCALE_C, floatState(1.0f));
  device->SetFVF(D3DFVF_XYZ);
  stateCache->SetRenderState(D3DRS_POINTSIZE, floatState(sprite->size));
  device->DrawPrimitiveUP(D3DPT_POINTLIST, 1, SpriteOrigin, 3 * sizeof(float));
}

void DefaultProcessor::DrawFullscreenQuad() {
  IDirect3DDevice9* device = stateCache->device;
  D3DMATRIX projection, view;
  device->GetTransform(D3DTS_PROJECTION, &projection);
  device->GetTransform(D3DTS_VIEW, &view);

  SetFullscreenQuadTransforms(device);
  device->SetFVF(kQuadFVF);
  stateCache->SetRenderState(D3DRS_ZENABLE, FALSE);
  stateCache->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
  stateCache->SetRenderState(D3DRS_LIGHTING, FALSE);
  // No half-pixel shift: the quad's corners are the viewport's corners.
  device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, FullscreenQuad, 5 * sizeof(float));
  stateCache->SetRenderState(D3DRS_ZENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_LIGHTING, TRUE);
  device->SetTransform(D3DTS_PROJECTION, &projection);
  device->SetTransform(D3DTS_VIEW, &view);
}
