#pragma once
// The states of a fresh Direct3D 9 device, shared by every back end so that
// they all start from the same table.
#include "platform/gfx/D3D9Constants.h"

// rs: D3DRS_STATE_COUNT entries. autoDepth: the device was created with an
// automatic depth-stencil surface (D3DRS_ZENABLE starts TRUE only then).
void fillDefaultRenderStates(DWORD* rs, bool autoDepth);
// ts: D3DTSS_STATE_COUNT entries of one texture stage.
void fillDefaultStageStates(DWORD* ts, DWORD stage);
// ss: D3DSAMP_STATE_COUNT entries of one sampler.
void fillDefaultSamplerStates(DWORD* ss);
