#pragma once
// A scene texture: a device texture shared through the scene's cache by
// file name, a texture-coordinate offset and scale, and the stage setups for
// each way a material uses it. An AnimatedTexture shows one of a list of
// images, chosen by its "Active Image" control field.
#include "archive/Configuration.h"
#include "platform/gfx/Device.h"
#include "scene/Base.h"
#include "scene/Preparable.h"

#include <string>
#include <vector>

// Stage modes of bind.
enum TextureStageMode : int {
  kStageDiffuse = 0,
  kStageSphereMap = 1,
  kStageSpecular = 3,
  kStageModulate = 4,
  kStageLightMap = 5,
};

class Texture : public Base {
 public:
  // Reads the device's MaxSimultaneousTextures into maxStages.
  Texture(std::uint32_t id, SceneGraph* scene);

  // d3dTexture = the scene cache's texture for the file (fatal when missing
  // or undecodable); hasAlpha = the name ends in "tga" or "png" (any case).
  virtual void load(const char* fileName, bool compress);
  // Sets stage `stage` for the mode and advances it; does nothing when every
  // stage is in use. uvSet: texture coordinate set.
  virtual void bind(DWORD& stage, int mode, DWORD uvSet);
  virtual bool hasAlpha() const { return alpha; }

  IDirect3DTexture9* d3dTexture = nullptr;  // the cache's; not released here
  bool alpha = false;
  std::string name = "not loaded";
  std::uint32_t maxStages = 8;
  float uScale = 1.0f, vScale = 1.0f;
  float uOffset = 0.0f, vOffset = 0.0f;
};

class AnimatedTexture : public Texture, public Preparable {
 public:
  AnimatedTexture(std::uint32_t id, SceneGraph* scene) : Texture(id, scene) {}

  // Parses the sequence text, loads its images ("images" and "i0", "i1",
  // ...; the texture's own name when there are none), always compressed,
  // and builds its animations. Times: t × animScale + animOffset.
  void loadSequence(const char* text, float animScale, float animOffset);

  // Shows image (activeImage truncated) modulo the image count, kept inside
  // the list for negative values.
  void update(bool transformChanged) override;
  // "Active Image", "Tex U Offset", "Tex V Offset", "Tex U Scale", "Tex V
  // Scale"; anything else shows "Invalid control field in AnimatedTexture"
  // and gives null (loading goes on).
  float* getControlField(const char* name) override;

  std::vector<IDirect3DTexture9*> images;  // the cache's
  int currentImage = 0;
  Configuration config;
  float activeImage = 0.0f;
};
