#pragma once
// The second processor of every scene: after the default processor has drawn
// the scene to the screen, it draws the same nodes again in glow-only mode
// (self-illumination, sprites marked for the glow pass) into glow target 0,
// blurs that through targets 1..7 with a radius growing by GlowAmount per
// level, and adds target 0 and the seven blurs to the screen. Objects that
// glow thus get a soft halo; everything else adds black.
//
// The blur and the composite run on the fixed-function texture stages: four
// taps per pass where the device has at least four simultaneous textures,
// two passes of two taps otherwise.
//
// Without the shared glow targets, its depth surface or its own quad buffer
// the glow is skipped: the scene is still drawn by the default processor.
#include "render/DefaultProcessor.h"

class GlowProcessor : public DefaultProcessor {
 public:
  // Reads the device's caps for fewStages and uploads FullscreenQuad into
  // quadBuffer (80 bytes, default pool).
  GlowProcessor(std::uint32_t id, SceneGraph* scene);
  ~GlowProcessor() override;

  // The glow pass, the blur chain and the composite; afterwards the active
  // camera's view and projection, depth test and depth writes are in force
  // again.
  void Render() override;

  IDirect3DVertexBuffer9* quadBuffer = nullptr;  // owned; FullscreenQuad, stride 20
  bool fewStages = false;  // MaxSimultaneousTextures < 4: two-tap passes, two-texture composites
};
