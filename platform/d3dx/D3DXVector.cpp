#include "platform/d3dx/D3DXMath.h"

#include <algorithm>
#include <cmath>

// Vector, plane and colour helpers. Results are built in locals first so that
// the output may alias an input.

// ---- 2D ---------------------------------------------------------------------

float D3DXVec2Length(const D3DXVECTOR2* v) { return std::sqrt(D3DXVec2LengthSq(v)); }
float D3DXVec2LengthSq(const D3DXVECTOR2* v) { return v->x * v->x + v->y * v->y; }
float D3DXVec2Dot(const D3DXVECTOR2* v1, const D3DXVECTOR2* v2) { return v1->x * v2->x + v1->y * v2->y; }

D3DXVECTOR2* D3DXVec2Add(D3DXVECTOR2* out, const D3DXVECTOR2* v1, const D3DXVECTOR2* v2) {
  *out = *v1 + *v2;
  return out;
}

D3DXVECTOR2* D3DXVec2Subtract(D3DXVECTOR2* out, const D3DXVECTOR2* v1, const D3DXVECTOR2* v2) {
  *out = *v1 - *v2;
  return out;
}

D3DXVECTOR2* D3DXVec2Scale(D3DXVECTOR2* out, const D3DXVECTOR2* v, float s) {
  *out = *v * s;
  return out;
}

D3DXVECTOR2* D3DXVec2Lerp(D3DXVECTOR2* out, const D3DXVECTOR2* v1, const D3DXVECTOR2* v2, float s) {
  *out = D3DXVECTOR2(v1->x + s * (v2->x - v1->x), v1->y + s * (v2->y - v1->y));
  return out;
}

D3DXVECTOR2* D3DXVec2Normalize(D3DXVECTOR2* out, const D3DXVECTOR2* v) {
  const float length = D3DXVec2Length(v);
  *out = length == 0.0f ? D3DXVECTOR2(0, 0) : *v / length;
  return out;
}

D3DXVECTOR2* D3DXVec2TransformCoord(D3DXVECTOR2* out, const D3DXVECTOR2* v, const D3DXMATRIX* m) {
  const float x = v->x * m->_11 + v->y * m->_21 + m->_41;
  const float y = v->x * m->_12 + v->y * m->_22 + m->_42;
  const float w = v->x * m->_14 + v->y * m->_24 + m->_44;
  *out = D3DXVECTOR2(x / w, y / w);
  return out;
}

D3DXVECTOR2* D3DXVec2TransformNormal(D3DXVECTOR2* out, const D3DXVECTOR2* v, const D3DXMATRIX* m) {
  *out = D3DXVECTOR2(v->x * m->_11 + v->y * m->_21, v->x * m->_12 + v->y * m->_22);
  return out;
}

// ---- 3D ---------------------------------------------------------------------

float D3DXVec3Length(const D3DXVECTOR3* v) { return std::sqrt(D3DXVec3LengthSq(v)); }
float D3DXVec3LengthSq(const D3DXVECTOR3* v) { return v->x * v->x + v->y * v->y + v->z * v->z; }

float D3DXVec3Dot(const D3DXVECTOR3* v1, const D3DXVECTOR3* v2) {
  return v1->x * v2->x + v1->y * v2->y + v1->z * v2->z;
}

D3DXVECTOR3* D3DXVec3Cross(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2) {
  *out = D3DXVECTOR3(v1->y * v2->z - v1->z * v2->y, v1->z * v2->x - v1->x * v2->z, v1->x * v2->y - v1->y * v2->x);
  return out;
}

D3DXVECTOR3* D3DXVec3Add(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2) {
  *out = *v1 + *v2;
  return out;
}

D3DXVECTOR3* D3DXVec3Subtract(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2) {
  *out = *v1 - *v2;
  return out;
}

D3DXVECTOR3* D3DXVec3Scale(D3DXVECTOR3* out, const D3DXVECTOR3* v, float s) {
  *out = *v * s;
  return out;
}

D3DXVECTOR3* D3DXVec3Lerp(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2, float s) {
  *out = D3DXVECTOR3(v1->x + s * (v2->x - v1->x), v1->y + s * (v2->y - v1->y), v1->z + s * (v2->z - v1->z));
  return out;
}

D3DXVECTOR3* D3DXVec3Minimize(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2) {
  *out = D3DXVECTOR3(std::min(v1->x, v2->x), std::min(v1->y, v2->y), std::min(v1->z, v2->z));
  return out;
}

D3DXVECTOR3* D3DXVec3Maximize(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2) {
  *out = D3DXVECTOR3(std::max(v1->x, v2->x), std::max(v1->y, v2->y), std::max(v1->z, v2->z));
  return out;
}

D3DXVECTOR3* D3DXVec3Normalize(D3DXVECTOR3* out, const D3DXVECTOR3* v) {
  const float length = D3DXVec3Length(v);
  *out = length == 0.0f ? D3DXVECTOR3(0, 0, 0) : *v / length;
  return out;
}

D3DXVECTOR4* D3DXVec3Transform(D3DXVECTOR4* out, const D3DXVECTOR3* v, const D3DXMATRIX* m) {
  const D3DXVECTOR4 v4(*v, 1.0f);
  return D3DXVec4Transform(out, &v4, m);
}

D3DXVECTOR3* D3DXVec3TransformCoord(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m) {
  D3DXVECTOR4 r;
  D3DXVec3Transform(&r, v, m);
  *out = D3DXVECTOR3(r.x / r.w, r.y / r.w, r.z / r.w);
  return out;
}

D3DXVECTOR3* D3DXVec3TransformNormal(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m) {
  *out = D3DXVECTOR3(v->x * m->_11 + v->y * m->_21 + v->z * m->_31,
                     v->x * m->_12 + v->y * m->_22 + v->z * m->_32,
                     v->x * m->_13 + v->y * m->_23 + v->z * m->_33);
  return out;
}

// ---- 4D ---------------------------------------------------------------------

float D3DXVec4Length(const D3DXVECTOR4* v) { return std::sqrt(D3DXVec4LengthSq(v)); }
float D3DXVec4LengthSq(const D3DXVECTOR4* v) { return D3DXVec4Dot(v, v); }

float D3DXVec4Dot(const D3DXVECTOR4* v1, const D3DXVECTOR4* v2) {
  return v1->x * v2->x + v1->y * v2->y + v1->z * v2->z + v1->w * v2->w;
}

D3DXVECTOR4* D3DXVec4Add(D3DXVECTOR4* out, const D3DXVECTOR4* v1, const D3DXVECTOR4* v2) {
  *out = *v1 + *v2;
  return out;
}

D3DXVECTOR4* D3DXVec4Subtract(D3DXVECTOR4* out, const D3DXVECTOR4* v1, const D3DXVECTOR4* v2) {
  *out = *v1 - *v2;
  return out;
}

D3DXVECTOR4* D3DXVec4Scale(D3DXVECTOR4* out, const D3DXVECTOR4* v, float s) {
  *out = *v * s;
  return out;
}

D3DXVECTOR4* D3DXVec4Lerp(D3DXVECTOR4* out, const D3DXVECTOR4* v1, const D3DXVECTOR4* v2, float s) {
  *out = *v1 + (*v2 - *v1) * s;
  return out;
}

D3DXVECTOR4* D3DXVec4Normalize(D3DXVECTOR4* out, const D3DXVECTOR4* v) {
  const float length = D3DXVec4Length(v);
  *out = length == 0.0f ? D3DXVECTOR4(0, 0, 0, 0) : *v / length;
  return out;
}

D3DXVECTOR4* D3DXVec4Transform(D3DXVECTOR4* out, const D3DXVECTOR4* v, const D3DXMATRIX* m) {
  D3DXVECTOR4 r;
  for (int j = 0; j < 4; ++j)
    (&r.x)[j] = v->x * m->m[0][j] + v->y * m->m[1][j] + v->z * m->m[2][j] + v->w * m->m[3][j];
  *out = r;
  return out;
}

// ---- Planes -----------------------------------------------------------------

D3DXPLANE* D3DXPlaneNormalize(D3DXPLANE* out, const D3DXPLANE* p) {
  const float length = std::sqrt(p->a * p->a + p->b * p->b + p->c * p->c);
  *out = length == 0.0f ? D3DXPLANE(0, 0, 0, 0) : *p / length;
  return out;
}

float D3DXPlaneDotCoord(const D3DXPLANE* p, const D3DXVECTOR3* v) {
  return p->a * v->x + p->b * v->y + p->c * v->z + p->d;
}

float D3DXPlaneDotNormal(const D3DXPLANE* p, const D3DXVECTOR3* v) { return p->a * v->x + p->b * v->y + p->c * v->z; }

float D3DXPlaneDot(const D3DXPLANE* p, const D3DXVECTOR4* v) {
  return p->a * v->x + p->b * v->y + p->c * v->z + p->d * v->w;
}

D3DXPLANE* D3DXPlaneFromPointNormal(D3DXPLANE* out, const D3DXVECTOR3* point, const D3DXVECTOR3* normal) {
  D3DXVECTOR3 n;
  D3DXVec3Normalize(&n, normal);
  *out = D3DXPLANE(n.x, n.y, n.z, -D3DXVec3Dot(&n, point));
  return out;
}

D3DXPLANE* D3DXPlaneFromPoints(D3DXPLANE* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2,
                               const D3DXVECTOR3* v3) {
  const D3DXVECTOR3 e1 = *v2 - *v1, e2 = *v3 - *v1, p1 = *v1;
  D3DXVECTOR3 normal;
  D3DXVec3Cross(&normal, &e1, &e2);
  return D3DXPlaneFromPointNormal(out, &p1, &normal);
}

D3DXPLANE* D3DXPlaneTransform(D3DXPLANE* out, const D3DXPLANE* p, const D3DXMATRIX* m) {
  const D3DXVECTOR4 v(p->a, p->b, p->c, p->d);
  D3DXVECTOR4 r;
  D3DXVec4Transform(&r, &v, m);
  *out = D3DXPLANE(r.x, r.y, r.z, r.w);
  return out;
}

// ---- Colours ----------------------------------------------------------------

D3DXCOLOR::D3DXCOLOR(D3DCOLOR argb)
    : D3DCOLORVALUE{static_cast<float>((argb >> 16) & 0xFFu) / 255.0f,
                    static_cast<float>((argb >> 8) & 0xFFu) / 255.0f,
                    static_cast<float>(argb & 0xFFu) / 255.0f,
                    static_cast<float>(argb >> 24) / 255.0f} {}

D3DCOLOR ColorChannelByte(float value) {
  if (value >= 1.0f) return 0xFF;
  if (!(value > 0.0f)) return 0;  // also NaN
  return static_cast<D3DCOLOR>(value * 255.0f + 0.5f);
}

D3DXCOLOR::operator D3DCOLOR() const {
  return (ColorChannelByte(a) << 24) | (ColorChannelByte(r) << 16) | (ColorChannelByte(g) << 8) |
         ColorChannelByte(b);
}

D3DXCOLOR* D3DXColorAdd(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2) {
  *out = *c1 + *c2;
  return out;
}

D3DXCOLOR* D3DXColorSubtract(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2) {
  *out = *c1 - *c2;
  return out;
}

D3DXCOLOR* D3DXColorScale(D3DXCOLOR* out, const D3DXCOLOR* c, float s) {
  *out = *c * s;
  return out;
}

D3DXCOLOR* D3DXColorModulate(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2) {
  *out = D3DXCOLOR(c1->r * c2->r, c1->g * c2->g, c1->b * c2->b, c1->a * c2->a);
  return out;
}

D3DXCOLOR* D3DXColorLerp(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2, float s) {
  *out = *c1 + (*c2 - *c1) * s;
  return out;
}

D3DXCOLOR* D3DXColorNegative(D3DXCOLOR* out, const D3DXCOLOR* c) {
  *out = D3DXCOLOR(1.0f - c->r, 1.0f - c->g, 1.0f - c->b, c->a);
  return out;
}
