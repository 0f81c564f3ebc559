#include "scene/Material.h"

#include "platform/d3dx/D3DXMath.h"
#include "platform/os/Process.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"
#include "scene/Texture.h"

#include <cstring>

namespace {

D3DCOLORVALUE colorOf(const float rgba[4]) { return D3DCOLORVALUE{rgba[0], rgba[1], rgba[2], rgba[3]}; }

}  // namespace

D3DCOLOR ColorToARGB(const float rgba[4]) { return D3DXCOLOR(rgba); }

Material::Material(std::uint32_t objectId, SceneGraph* owner)
    : Base(objectId, owner),
      diffuseMap(owner),
      sphereMap(owner),
      specularMap(owner),
      modulateMap(owner),
      lightMap(owner),
      normalMap(owner) {}

void Material::link() {
  diffuseColor[3] = specularColor[3] = ambientColor[3] = opacity;
  d3dMaterial.Diffuse = colorOf(diffuseColor);
  d3dMaterial.Ambient = colorOf(ambientColor);
  d3dMaterial.Specular = D3DCOLORVALUE{specularLevel * specularColor[0], specularLevel * specularColor[1],
                                       specularLevel * specularColor[2], specularLevel * specularColor[3]};
  d3dMaterial.Emissive = D3DCOLORVALUE{selfIllumination, selfIllumination, selfIllumination, 1.0f};
  d3dMaterial.Power = 32.0f;
  // An opaque-mode material whose diffuse image has an alpha channel is
  // drawn alpha-blended with depth writes.
  Texture* diffuse = diffuseMap.as<Texture>();
  if (diffuse != nullptr && diffuse->hasAlpha() && blendMode == 0) blendMode = 2;
}

bool Material::isTransparent(float visibility) {
  if (visibility <= 0.99f) return true;
  // A specular map claims the alpha channel: never transparent through
  // opacity or texture alpha.
  if (specularMap.as<Texture>() != nullptr) return false;
  if (opacity <= 0.99f) return true;
  Texture* diffuse = diffuseMap.as<Texture>();
  if (diffuse == nullptr) return false;
  return diffuse->hasAlpha();
}

void Material::apply(float visibility) {
  // Nodes fade out over the lower half of their visibility: 0.5 and below
  // is fully transparent, 1.0 fully opaque.
  float fade = (visibility - 0.5f) * 2.0f;
  if (!(fade > 0.0f)) fade = 0.0f;
  if (fade > 1.0f) fade = 1.0f;

  // The opacity factors below accumulate on purpose (opacity is already in
  // diffuseColor's alpha after link): without a diffuse map the alpha ends
  // as fade × opacity³, with one as fade × opacity².
  D3DCOLORVALUE diffuseOut = colorOf(diffuseColor);
  diffuseOut.a *= fade;
  if (opacity <= 0.99f) diffuseOut.a *= opacity;

  Texture* diffuse = diffuseMap.as<Texture>();
  Texture* specular = specularMap.as<Texture>();
  Texture* sphere = sphereMap.as<Texture>();
  Texture* modulate = modulateMap.as<Texture>();
  Texture* light = lightMap.as<Texture>();
  const bool glow = stateCache->glowOnly != FALSE;
  DWORD stage = 0;

  if (glow) {
    // Glow pass: stage 0 outputs the self-illumination colour, unlit.
    float factor[4];
    if (diffuse != nullptr) {
      factor[0] = factor[1] = factor[2] = selfIllumination;
      factor[3] = diffuseOut.a;
    } else {
      for (int c = 0; c < 4; ++c) factor[c] = selfIllumination * diffuseColor[c];
    }
    stateCache->SetRenderState(D3DRS_TEXTUREFACTOR, ColorToARGB(factor));
    stateCache->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    stateCache->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TFACTOR);
    stateCache->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    stateCache->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
    stateCache->device->SetTexture(0, nullptr);
    stateCache->SetRenderState(D3DRS_LIGHTING, FALSE);
    stage = 1;
  } else if (light != nullptr) {
    // The light map is modulated by the scene's intensity multiplier, the
    // same byte in all four channels.
    const DWORD level = ColorChannelByte(scene->ambientIntensity);
    stateCache->SetRenderState(D3DRS_TEXTUREFACTOR, level << 24 | level << 16 | level << 8 | level);
    light->bind(stage, kStageLightMap, 1);
    stateCache->SetRenderState(D3DRS_LIGHTING, specular != nullptr ? TRUE : FALSE);
  } else {
    stateCache->SetRenderState(D3DRS_LIGHTING, TRUE);
  }

  if (diffuse != nullptr) {
    diffuse->bind(stage, kStageDiffuse, 0);
    diffuseOut = D3DCOLORVALUE{1.0f, 1.0f, 1.0f, fade * opacity};
  }
  if (specular != nullptr) {
    stateCache->SetRenderState(D3DRS_SPECULARENABLE, FALSE);
    specular->bind(stage, kStageSpecular, 0);
  } else {
    stateCache->SetRenderState(D3DRS_SPECULARENABLE, TRUE);
  }
  if (sphere != nullptr && !glow) sphere->bind(stage, kStageSphereMap, 0);
  if (modulate != nullptr) modulate->bind(stage, kStageModulate, light != nullptr ? 1 : 0);
  if (opacity <= 0.99f) diffuseOut.a *= opacity;

  stateCache->ResetTextureStages(stage);
  d3dMaterial.Diffuse = diffuseOut;
  stateCache->SetMaterial(&d3dMaterial);
  setBlendStates(visibility);
}

void Material::setBlendStates(float visibility) {
  const bool transparent = isTransparent(visibility);
  stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, transparent ? TRUE : FALSE);
  stateCache->SetRenderState(D3DRS_ALPHATESTENABLE, TRUE);
  stateCache->SetRenderState(D3DRS_ALPHAREF, 1);
  if (!transparent) {
    stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, FALSE);
    stateCache->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
    return;
  }
  stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
  // A node that is fading (visibility below 0.999) always blends
  // additively, whatever its material's mode.
  const int mode = visibility < 0.999f ? 1 : blendMode;
  switch (mode) {
    case 0:  // subtractive
      stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_SUBTRACT);
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_DESTALPHA);
      stateCache->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
      break;
    case 1:  // additive
      stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_DESTALPHA);
      stateCache->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
      break;
    case 2:  // alpha blend, depth written
      stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
      stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
      stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA);
      stateCache->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
      break;
    default:
      // Other modes keep whatever blend states the previous draw left.
      break;
  }
}

float* Material::getControlField(const char* name) {
  if (name != nullptr && std::strcmp(name, "OPACITY") == 0) return &opacity;
  FatalMessage("Error", 0, "Material: Invalid control field!");
}
