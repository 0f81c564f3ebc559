#pragma once
// A node's local transform: position, rotation quaternion and scale, ten
// floats in this order (the layout the scene files and PRS keys use).
#include "platform/d3dx/D3DXMath.h"

struct PRS {
  D3DXVECTOR3 position{0.0f, 0.0f, 0.0f};
  D3DXQUATERNION rotation{0.0f, 0.0f, 0.0f, 1.0f};  // x, y, z, w; not normalised here
  D3DXVECTOR3 scale{1.0f, 1.0f, 1.0f};
};
static_assert(sizeof(PRS) == 40, "PRS is ten packed floats");

// local = S × R with the translation written into the fourth row (row
// vectors: a point maps as p × local).
void PRSLocalMatrix(const PRS& prs, D3DXMATRIX* local);
