#pragma once
// Fixed-function colours, up to six texture references and a transparency
// mode; knows how to set the fixed-function pipeline (material, texture
// stages, blending) for one draw.
#include "platform/gfx/D3D9Structs.h"
#include "scene/Base.h"
#include "scene/ObjectRef.h"
#include "scene/Preparable.h"

class Material : public Base, public Preparable {
 public:
  Material(std::uint32_t id, SceneGraph* scene);

  // Folds opacity into the colours' alpha, builds d3dMaterial, and switches
  // an opaque material with an alpha-channel diffuse texture to blendMode 2.
  void link() override;
  // Material, texture stages and blend states for one draw of a node with
  // this visibility (glow pass when the state cache says so).
  virtual void apply(float visibility);
  virtual void setBlendStates(float visibility);
  bool isTransparent(float visibility);

  void update(bool) override {}
  // "OPACITY"; anything else is fatal ("Material: Invalid control field!").
  float* getControlField(const char* name) override;

  D3DMATERIAL9 d3dMaterial{};
  ObjectRef diffuseMap;    // stage mode 0
  ObjectRef sphereMap;     // stage mode 1
  ObjectRef specularMap;   // stage mode 3
  ObjectRef modulateMap;   // stage mode 4
  ObjectRef lightMap;      // stage mode 5
  ObjectRef normalMap;     // per-pixel lighting only
  int blendMode = 0;       // 0 subtractive, 1 additive, 2 alpha blend; others keep the previous blend states
  float diffuseColor[4] = {0, 0, 0, 0};   // r, g, b, a
  float specularColor[4] = {0, 0, 0, 0};
  float ambientColor[4] = {0, 0, 0, 0};
  float specularLevel = 0.0f;
  float secondLevel = 0.0f;               // stored by the file after specularLevel; unused
  float selfIllumination = 0.0f;
  float opacity = 1.0f;                   // "OPACITY"
};

// Four channels (r, g, b, a) to ARGB, alpha in the top byte, each channel by
// ColorChannelByte (platform/d3dx/D3DXMath.h).
D3DCOLOR ColorToARGB(const float rgba[4]);
