#pragma once
// The Direct3D object of the OpenGL back end, and its registration.
//
// The executable (and any test that wants the real device) calls
// registerGlDirect3DBackend() once at start; Direct3DCreate9 then picks the
// OpenGL back end by its priority unless another one is selected by name.
#include "platform/gfx/Direct3D9.h"

// Name and priority under which the OpenGL back end registers.
inline constexpr const char* kGlBackendName = "gl";
inline constexpr int kGlBackendPriority = 100;

// How the OpenGL back end presents itself, chosen when its Direct3D object is
// made; every device that object creates has these properties.
struct GlDeviceOptions {
  // Texture stages the device offers, 1..8 (8 is what OpenGL gives us):
  // GetDeviceCaps reports it as MaxSimultaneousTextures and as
  // MaxTextureBlendStages, so a show can be tried as a device of an older
  // kind (two stages, say) draws it. Callers are expected to stay below the
  // limit; Direct3D 9 leaves a draw that uses more stages than the caps
  // report undefined (ValidateDevice calls it TOOMANYOPERATIONS). Here:
  // - the fixed-function chain ends at the stage of that number, as if its
  //   COLOROP were DISABLE;
  // - SetTexture and SetTextureStageState on a stage at or past the limit are
  //   accepted and kept (Get* returns them, the texture stays referenced, as
  //   Direct3D accepts stages 0..7 whatever the caps say), but no texture
  //   there is ever sampled: a program of the system's own that samples such
  //   a stage reads (0, 0, 0, 1), OpenGL's value of a unit without texture.
  // Shader versions are reported as on a full device.
  DWORD maxSimultaneousTextures = 8;
};

// Registers (or registers again, replacing the earlier options) the OpenGL
// back end; every Direct3D object it makes uses `options`.
void registerGlDirect3DBackend(const GlDeviceOptions& options = {});

// A new OpenGL Direct3D object (one reference), without the registry; null
// when an option is out of its range.
IDirect3D9* createGlDirect3D(const GlDeviceOptions& options = {});
