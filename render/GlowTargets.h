#pragma once
// The glow's process-wide render targets and the blur kernel on the texture
// stages.
//
// Eight A8R8G8B8 render-target textures: target 0 (512 × 512) receives the
// glow-only pass, targets 1..7 (256 × 256) each hold a blur of the one
// before. One 512 × 512 D24S8 depth surface serves the glow-only pass. They
// live from the timeline's creation to its destruction and every scene's
// glow processor shares them. The targets are square whatever the screen:
// the screen image is squeezed into 512 × 512 and stretched back.
#include "platform/gfx/Device.h"

class StateCache;

inline constexpr int kGlowTargetCount = 8;

// Edge in texels of each target, by target number.
extern const UINT GlowTargetSize[kGlowTargetCount];

// Null until created, and after release; each holds one reference.
extern IDirect3DTexture9* GlowTargets[kGlowTargetCount];
extern IDirect3DSurface9* GlowDepth;

// First CreateSharedShaders(device); then, unless the depth surface exists
// already, the eight targets in order and the depth surface. Results are not
// examined: what could not be created stays null, and the glow is then
// skipped (see GlowTargetsReady).
void CreateGlowTargets(IDirect3DDevice9* device);
// Releases every target and the depth surface that exist, sets them to null,
// then ReleaseSharedShaders().
void ReleaseGlowTargets();
// True when all eight targets and the depth surface exist and were made on
// `device`: a scene on another device must not draw with them.
bool GlowTargetsReady(IDirect3DDevice9* device);

// Which taps of the cross-shaped kernel a pass takes. A four-stage device
// takes all four in its first (only) pass; a two-stage device takes the
// horizontal pair first and adds the vertical pair in a second pass.
enum class BlurHalf { First, Second };

// The blur kernel on the first `stages` texture stages (4, or 2 on a device
// with fewer simultaneous textures); the caller binds the same source
// texture to each of them. Every tap is weighted by the texture factor
// 0x40404040 (64/255 in all four channels, so four taps sum to about
// 1.004). r: tap distance in texture-coordinate units (1.0 = the whole
// width); targetEdge: the destination's edge in texels, whose half texel is
// added to every tap so that a quad over the target samples its texel
// centres. The stage operations, addressing and filters are set only when
// stagesReady is false: once per frame, they then stay for the whole chain.
void BlurSetup(StateCache& stateCache, int stages, float r, UINT targetEdge, BlurHalf half, bool stagesReady);
