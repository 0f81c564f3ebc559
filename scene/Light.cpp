#include "scene/Light.h"

#include "render/StateCache.h"
#include "scene/SceneGraph.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr float kRadiansPerDegree = 0.017453292f;
// Ranges from here up count as unlimited: no distance attenuation.
constexpr float kUnlimitedRange = 9e7f;
constexpr std::uint32_t kNoSlot = 0xFFFFFFFFu;
// Device light slots this system uses; lights selected beyond them are
// marked enabled but never reach the device.
constexpr std::uint32_t kDeviceLightSlots = 8;

}  // namespace

Light::Light(std::uint32_t objectId, SceneGraph* owner) : Group(objectId, owner) {
  // The loader sets the type and range; a point light is the valid default.
  d3dLight.Type = D3DLIGHT_POINT;
}

Light::~Light() {
  std::vector<Light*>& lights = scene->lights;
  auto it = std::find(lights.begin(), lights.end(), this);
  if (it != lights.end()) lights.erase(it);
}

void Light::update(bool transformChanged) {
  Group::update(transformChanged);

  const float k = intensity * scene->ambientIntensity;
  const D3DCOLORVALUE lit{color[0] * k, color[1] * k, color[2] * k, color[3] * k};
  d3dLight.Diffuse = lit;
  d3dLight.Specular = lit;
  d3dLight.Ambient = D3DCOLORVALUE{0.0f, 0.0f, 0.0f, 0.0f};
  d3dLight.Theta = hotspot * kRadiansPerDegree;
  d3dLight.Phi = falloffAngle * kRadiansPerDegree;
  d3dLight.Falloff = 1.0f;
  d3dLight.Attenuation0 = 1.0f;
  d3dLight.Attenuation1 = 0.0f;
  d3dLight.Attenuation2 = d3dLight.Range < kUnlimitedRange ? 1.0f / (d3dLight.Range * d3dLight.Range) : 0.0f;
  d3dLight.Position = D3DVECTOR{world._41, world._42, world._43};
  // The node's -y axis in world space (the negated second column).
  d3dLight.Direction = D3DVECTOR{-world._12, -world._22, -world._32};
}

float* Light::getControlField(const char* fieldName) {
  struct Named {
    const char* name;
    float* field;
  };
  const Named fields[] = {
      {"Intensity", &intensity},          {"Shadow Multiplier", &intensity},
      {"ColorR", &color[0]},              {"ColorG", &color[1]},
      {"ColorB", &color[2]},              {"ColorA", &color[3]},
      {"Shadow ColorR", &shadowColor[0]}, {"Shadow ColorG", &shadowColor[1]},
      {"Shadow ColorB", &shadowColor[2]}, {"Shadow ColorA", &shadowColor[3]},
  };
  if (fieldName != nullptr)
    for (const Named& named : fields)
      if (std::strcmp(fieldName, named.name) == 0) return named.field;
  return Group::getControlField(fieldName);
}

void Light::link() {
  Group::link();
  scene->lights.push_back(this);
}

void Light::enable(std::uint32_t index) {
  if (enabled) return;
  enabled = true;
  slot = index;
  update(false);
  if (slot < kDeviceLightSlots) stateCache->SetLight(&d3dLight, slot);
}

void Light::disable() {
  if (!enabled) return;
  enabled = false;
  if (slot != kNoSlot) stateCache->SetLight(nullptr, slot);
}
