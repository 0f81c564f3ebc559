// The default processor's shader work: the per-pixel passes of normal-mapped
// materials and the constants of particle clouds. Every constant is set by
// name through the shared programs' constant tables, after SetDefaults.
#include "render/DefaultProcessor.h"

#include "platform/d3dx/D3DXMath.h"
#include "render/IndexBuffer.h"
#include "render/SharedShaders.h"
#include "render/StateCache.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/Group.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/Texture.h"

#include <cmath>

namespace {

D3DXVECTOR4 positionOf(const D3DXMATRIX& world) { return D3DXVECTOR4(world._41, world._42, world._43, 1.0f); }

D3DXVECTOR4 vectorOf(const float rgba[4]) { return D3DXVECTOR4(rgba[0], rgba[1], rgba[2], rgba[3]); }

D3DXMATRIX withoutTranslation(const D3DXMATRIX& m) {
  D3DXMATRIX out = m;
  out._41 = out._42 = out._43 = 0.0f;
  return out;
}

IDirect3DTexture9* deviceTextureOf(ObjectRef& ref) {
  Texture* texture = ref.as<Texture>();
  return texture != nullptr ? texture->d3dTexture : nullptr;
}

// W × V × P with the device's current view and projection.
D3DXMATRIX worldViewProjection(IDirect3DDevice9* device, const D3DXMATRIX& world) {
  D3DXMATRIX view, projection, worldView, result;
  device->GetTransform(D3DTS_VIEW, &view);
  device->GetTransform(D3DTS_PROJECTION, &projection);
  D3DXMatrixMultiply(&worldView, &world, &view);
  D3DXMatrixMultiply(&result, &worldView, &projection);
  return result;
}

}  // namespace

void DefaultProcessor::DrawLitSubMesh(SubMesh* subMesh, Group* node, Material* material) {
  using namespace SharedShaders;
  if (!SharedShadersReady()) return;
  IDirect3DDevice9* device = stateCache->device;
  Mesh* mesh = subMesh->mesh;
  VertexBuffer* vb = mesh != nullptr ? mesh->vertexBufferRef.as<VertexBuffer>() : nullptr;
  IndexBuffer* ib = mesh != nullptr ? mesh->indexBufferRef.as<IndexBuffer>() : nullptr;
  if (vb == nullptr || ib == nullptr || vb->deviceBuffer == nullptr || ib->deviceBuffer == nullptr) return;
  // The eye and the far clip come from the active camera, the light from the
  // scene: without either (no camera, no light within a finite range) there
  // is nothing to light with, and the sub-mesh is not drawn.
  const Camera* camera = scene->activeCamera;
  const D3DXVECTOR3 position(node->world._41, node->world._42, node->world._43);
  Light* light = scene->findDominantLight(position);
  if (camera == nullptr || light == nullptr) return;

  material->setBlendStates(node->visibility);

  // One light per per-pixel mesh; its type picks the cone test or none.
  const bool spot = light->d3dLight.Type == D3DLIGHT_SPOT;
  ID3DXConstantTable* vsTable = spot ? LitSpotVSTable : LitVSTable;
  device->SetVertexShader(spot ? LitSpotVS : LitVS);
  device->SetVertexDeclaration(LitDecl);
  stateCache->ResetTextureStages(0);

  IDirect3DTexture9* diffuse = deviceTextureOf(material->diffuseMap);
  IDirect3DTexture9* normalMap = deviceTextureOf(material->normalMap);
  ID3DXConstantTable* psTable = diffuse != nullptr ? DiffusePSTable : DiffuseNoTexPSTable;
  device->SetTexture(0, diffuse);
  device->SetPixelShader(diffuse != nullptr ? DiffusePS : DiffuseNoTexPS);
  device->SetTexture(1, normalMap);
  device->SetSamplerState(1, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
  device->SetSamplerState(1, D3DSAMP_ADDRESSV, D3DTADDRESS_WRAP);
  device->SetTexture(2, NormalizingCubeMap);
  device->SetTexture(3, NormalizingCubeMap);

  const D3DXMATRIX& world = node->world;
  const D3DXMATRIX worldAf = withoutTranslation(world);
  const D3DXMATRIX wvp = worldViewProjection(device, world);
  const D3DXVECTOR4 eye = positionOf(camera->world);
  // The fog ramp of the fixed-function fog: 1 at 40 % of the far clip, 0 at it.
  const float inverseFogSpan = 1.0f / (camera->farClip * 0.6f);
  vsTable->SetDefaults(device);
  vsTable->SetMatrix(device, "World", &world);
  vsTable->SetMatrix(device, "WorldViewProj", &wvp);
  vsTable->SetMatrix(device, "WorldAf", &worldAf);
  const D3DXVECTOR4 lightPos = positionOf(light->world);
  vsTable->SetVector(device, "LightPos", &lightPos);
  vsTable->SetVector(device, "EyePos", &eye);
  vsTable->SetFloat(device, "InvLightRangeSq", 1.0f / (light->d3dLight.Range * light->d3dLight.Range));
  vsTable->SetFloat(device, "FarClip", camera->farClip);
  vsTable->SetFloat(device, "IFarClip", inverseFogSpan);
  vsTable->SetFloat(device, "FogAtten", 1.0f);
  if (spot) {
    const D3DVECTOR& d = light->d3dLight.Direction;
    const D3DXVECTOR4 direction(d.x, d.y, d.z, 0.0f);
    vsTable->SetVector(device, "LightDir", &direction);
    vsTable->SetFloat(device, "cosHotSpot", std::cos(light->d3dLight.Theta * 0.5f));
  }

  psTable->SetDefaults(device);
  const D3DXVECTOR4 lightColor = vectorOf(light->color), shadowColor = vectorOf(light->shadowColor);
  // The scene's ambient colour as stored: the ambient intensity scales only
  // the fixed-function ambient.
  const D3DXVECTOR4 ambient = vectorOf(scene->ambientColor);
  psTable->SetVector(device, "LightColor", &lightColor);
  psTable->SetVector(device, "ShadowColor", &shadowColor);
  psTable->SetVector(device, "AmbientColor", &ambient);
  if (diffuse == nullptr) {
    const D3DXVECTOR4 diffuseColor = vectorOf(material->diffuseColor);
    psTable->SetVector(device, "DiffuseColor", &diffuseColor);
  }

  device->SetStreamSource(0, vb->deviceBuffer, 0, vb->stride);
  device->SetIndices(ib->deviceBuffer);
  auto draw = [&] {
    stateCache->DrawIndexed(D3DPT_TRIANGLELIST, 0, 0, vb->vertexCount, subMesh->startIndex, subMesh->indexCount / 3);
  };
  // The diffuse pass is fogged by the fixed-function fog Render set up; the
  // additive passes are not, or they would add the fog colour again.
  draw();
  stateCache->SetRenderState(D3DRS_FOGENABLE, FALSE);

  const float* sc = material->specularColor;
  if (material->specularLevel * (sc[0] + sc[1] + sc[2]) >= 0.01f) {
    stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
    stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
    stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
    stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_ONE);
    device->SetPixelShader(SpecularPS);
    SpecularPSTable->SetDefaults(device);
    const float level = material->specularLevel;
    const D3DXVECTOR4 specular(sc[0] * level, sc[1] * level, sc[2] * level, sc[3] * level);
    SpecularPSTable->SetVector(device, "SpecularColor", &specular);
    // With fog on, the highlight fades by the fog factor itself (the fog
    // colour is not added twice).
    if (camera->fogEnabled) vsTable->SetFloat(device, "FogAtten", 0.0f);
    draw();
  }

  if (material->sphereMap.as<Texture>() != nullptr) {
    device->SetVertexShader(EnvVS);
    device->SetPixelShader(EnvPS);
    stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
    stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
    stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
    stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCCOLOR);
    stateCache->ResetTextureStages(0);
    device->SetTexture(0, normalMap);
    device->SetTexture(2, deviceTextureOf(material->sphereMap));

    // The normal in the camera's frame: the world rotation, then the inverse
    // of the camera's rotation (its translation dropped too).
    D3DXMATRIX cameraRotation = withoutTranslation(camera->world), inverseCamera, worldView;
    D3DXMatrixInverse(&inverseCamera, nullptr, &cameraRotation);
    D3DXMatrixMultiply(&worldView, &worldAf, &inverseCamera);
    EnvVSTable->SetDefaults(device);
    EnvVSTable->SetMatrix(device, "WorldViewProj", &wvp);
    EnvVSTable->SetMatrix(device, "WorldView", &worldView);
    EnvVSTable->SetVector(device, "EyePos", &eye);
    // The ramp rides in COLOR0 (clamped to 1): with fog it fades the pass
    // like the fog; without, it runs from 1000/999 at the eye to 1 at the
    // far clip and never fades inside the view.
    if (camera->fogEnabled) {
      EnvVSTable->SetFloat(device, "FarClip", camera->farClip);
      EnvVSTable->SetFloat(device, "IFarClip", inverseFogSpan);
    } else {
      EnvVSTable->SetFloat(device, "FarClip", camera->farClip * 1000.0f);
      EnvVSTable->SetFloat(device, "IFarClip", 1.0f / (camera->farClip * 999.0f));
    }
    EnvPSTable->SetDefaults(device);
    draw();
  }

  stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, FALSE);
}

void DefaultProcessor::SetSpriteCloudConstants(Group* node) {
  using namespace SharedShaders;
  if (SpriteVSTable == nullptr) return;
  IDirect3DDevice9* device = stateCache->device;
  const D3DXMATRIX wvp = worldViewProjection(device, node->world);
  SpriteVSTable->SetDefaults(device);
  SpriteVSTable->SetMatrix(device, "World", &node->world);
  SpriteVSTable->SetMatrix(device, "WorldViewProj", &wvp);
  // Without an active camera there is no eye to fog from: the fog constants
  // keep their last values (the fog is off in such a frame anyway).
  if (const Camera* camera = scene->activeCamera) {
    const D3DXVECTOR4 eye = positionOf(camera->world);
    SpriteVSTable->SetVector(device, "EyePos", &eye);
    SpriteVSTable->SetFloat(device, "FarClip", camera->farClip);
    SpriteVSTable->SetFloat(device, "IFarClip", 1.0f / (camera->farClip * 0.6f));
  }
}
