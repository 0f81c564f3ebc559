#pragma once
// A light node: its fields become a fixed-function device light, and it
// carries the colours the per-pixel lighting reads.
#include "platform/gfx/D3D9Structs.h"
#include "scene/Group.h"

class Light : public Group {
 public:
  Light(std::uint32_t id, SceneGraph* scene);
  // Removes the light from the scene's light list.
  ~Light() override;

  // Group update, then the device light (always, whatever the flag).
  void update(bool transformChanged) override;
  // "Intensity", "Shadow Multiplier" (the same value), "ColorR/G/B/A",
  // "Shadow ColorR/G/B/A", then the group's names.
  float* getControlField(const char* name) override;
  // Group link, then joins the scene's light list.
  void link() override;

  // Switches the light on in a device slot (slots 8 and up are marked on but
  // not given to the device).
  void enable(std::uint32_t index);
  void disable();

  D3DLIGHT9 d3dLight{};               // Type and Range from the file; the rest rewritten by update
  std::uint32_t slot = 0xFFFFFFFFu;   // device slot while enabled; none yet
  bool enabled = true;
  float color[4] = {0, 0, 0, 0};      // r, g, b, a
  float intensity = 0.0f;
  float hotspot = 0.0f;               // inner cone, degrees
  float falloffAngle = 0.0f;          // outer cone, degrees
  bool shadowFlag = false;
  float shadowColor[4] = {0, 0, 0, 0};
};
