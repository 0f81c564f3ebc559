#pragma once
// Math types and helpers with D3DX 9's names, layouts and results.
//
// Conventions (the same as Direct3D 9):
// - row vectors: a point p maps to p x M; matrices compose left to right,
//   world = local x parent;
// - translation sits in the fourth row (_41 _42 _43);
// - left-handed view and projection, clip-space depth 0..1;
// - quaternions are (x, y, z, w); D3DXQuaternionMultiply(q1, q2) rotates by
//   q1 first, then by q2 (the Hamilton product q2 q1);
// - angles in radians.
//
// Every function returns its output pointer, and every output may alias an
// input (D3DXQuaternionMultiply(&q, &r, &q) is allowed), as in D3DX.
// The types are trivially copyable with D3DX's sizes, so they can be read
// straight from files and copied into shader constants.
#include <type_traits>

#include "platform/gfx/D3D9Types.h"
#include "platform/os/Types.h"

constexpr float D3DX_PI = 3.141592654f;
constexpr float D3DX_1BYPI = 0.318309886f;
constexpr float D3DXToRadian(float degree) { return degree * (D3DX_PI / 180.0f); }
constexpr float D3DXToDegree(float radian) { return radian * (180.0f / D3DX_PI); }

struct D3DXMATRIX;
struct D3DXQUATERNION;

struct D3DXVECTOR2 {
  float x, y;

  D3DXVECTOR2() = default;
  D3DXVECTOR2(float vx, float vy) : x(vx), y(vy) {}
  explicit D3DXVECTOR2(const float* f) : x(f[0]), y(f[1]) {}

  operator float*() { return &x; }
  operator const float*() const { return &x; }

  D3DXVECTOR2& operator+=(const D3DXVECTOR2& v) { x += v.x; y += v.y; return *this; }
  D3DXVECTOR2& operator-=(const D3DXVECTOR2& v) { x -= v.x; y -= v.y; return *this; }
  D3DXVECTOR2& operator*=(float f) { x *= f; y *= f; return *this; }
  D3DXVECTOR2& operator/=(float f) { return *this *= 1.0f / f; }

  D3DXVECTOR2 operator+() const { return *this; }
  D3DXVECTOR2 operator-() const { return {-x, -y}; }
  D3DXVECTOR2 operator+(const D3DXVECTOR2& v) const { return {x + v.x, y + v.y}; }
  D3DXVECTOR2 operator-(const D3DXVECTOR2& v) const { return {x - v.x, y - v.y}; }
  D3DXVECTOR2 operator*(float f) const { return {x * f, y * f}; }
  D3DXVECTOR2 operator/(float f) const { return *this * (1.0f / f); }
  friend D3DXVECTOR2 operator*(float f, const D3DXVECTOR2& v) { return v * f; }

  bool operator==(const D3DXVECTOR2& v) const { return x == v.x && y == v.y; }
  bool operator!=(const D3DXVECTOR2& v) const { return !(*this == v); }
};

struct D3DXVECTOR3 : D3DVECTOR {
  D3DXVECTOR3() = default;
  D3DXVECTOR3(float vx, float vy, float vz) : D3DVECTOR{vx, vy, vz} {}
  D3DXVECTOR3(const D3DVECTOR& v) : D3DVECTOR(v) {}
  explicit D3DXVECTOR3(const float* f) : D3DVECTOR{f[0], f[1], f[2]} {}

  operator float*() { return &x; }
  operator const float*() const { return &x; }

  D3DXVECTOR3& operator+=(const D3DXVECTOR3& v) { x += v.x; y += v.y; z += v.z; return *this; }
  D3DXVECTOR3& operator-=(const D3DXVECTOR3& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
  D3DXVECTOR3& operator*=(float f) { x *= f; y *= f; z *= f; return *this; }
  D3DXVECTOR3& operator/=(float f) { return *this *= 1.0f / f; }

  D3DXVECTOR3 operator+() const { return *this; }
  D3DXVECTOR3 operator-() const { return {-x, -y, -z}; }
  D3DXVECTOR3 operator+(const D3DXVECTOR3& v) const { return {x + v.x, y + v.y, z + v.z}; }
  D3DXVECTOR3 operator-(const D3DXVECTOR3& v) const { return {x - v.x, y - v.y, z - v.z}; }
  D3DXVECTOR3 operator*(float f) const { return {x * f, y * f, z * f}; }
  D3DXVECTOR3 operator/(float f) const { return *this * (1.0f / f); }
  friend D3DXVECTOR3 operator*(float f, const D3DXVECTOR3& v) { return v * f; }

  bool operator==(const D3DXVECTOR3& v) const { return x == v.x && y == v.y && z == v.z; }
  bool operator!=(const D3DXVECTOR3& v) const { return !(*this == v); }
};

struct D3DXVECTOR4 {
  float x, y, z, w;

  D3DXVECTOR4() = default;
  D3DXVECTOR4(float vx, float vy, float vz, float vw) : x(vx), y(vy), z(vz), w(vw) {}
  D3DXVECTOR4(const D3DVECTOR& v, float vw) : x(v.x), y(v.y), z(v.z), w(vw) {}
  explicit D3DXVECTOR4(const float* f) : x(f[0]), y(f[1]), z(f[2]), w(f[3]) {}

  operator float*() { return &x; }
  operator const float*() const { return &x; }

  D3DXVECTOR4& operator+=(const D3DXVECTOR4& v) { x += v.x; y += v.y; z += v.z; w += v.w; return *this; }
  D3DXVECTOR4& operator-=(const D3DXVECTOR4& v) { x -= v.x; y -= v.y; z -= v.z; w -= v.w; return *this; }
  D3DXVECTOR4& operator*=(float f) { x *= f; y *= f; z *= f; w *= f; return *this; }
  D3DXVECTOR4& operator/=(float f) { return *this *= 1.0f / f; }

  D3DXVECTOR4 operator+() const { return *this; }
  D3DXVECTOR4 operator-() const { return {-x, -y, -z, -w}; }
  D3DXVECTOR4 operator+(const D3DXVECTOR4& v) const { return {x + v.x, y + v.y, z + v.z, w + v.w}; }
  D3DXVECTOR4 operator-(const D3DXVECTOR4& v) const { return {x - v.x, y - v.y, z - v.z, w - v.w}; }
  D3DXVECTOR4 operator*(float f) const { return {x * f, y * f, z * f, w * f}; }
  D3DXVECTOR4 operator/(float f) const { return *this * (1.0f / f); }
  friend D3DXVECTOR4 operator*(float f, const D3DXVECTOR4& v) { return v * f; }

  bool operator==(const D3DXVECTOR4& v) const { return x == v.x && y == v.y && z == v.z && w == v.w; }
  bool operator!=(const D3DXVECTOR4& v) const { return !(*this == v); }
};

struct D3DXMATRIX : D3DMATRIX {
  D3DXMATRIX() = default;
  D3DXMATRIX(const D3DMATRIX& mat) : D3DMATRIX(mat) {}
  explicit D3DXMATRIX(const float* f);
  D3DXMATRIX(float f11, float f12, float f13, float f14,
             float f21, float f22, float f23, float f24,
             float f31, float f32, float f33, float f34,
             float f41, float f42, float f43, float f44);

  float& operator()(UINT row, UINT col) { return m[row][col]; }
  float operator()(UINT row, UINT col) const { return m[row][col]; }

  operator float*() { return &_11; }
  operator const float*() const { return &_11; }

  D3DXMATRIX& operator*=(const D3DXMATRIX& mat);
  D3DXMATRIX& operator+=(const D3DXMATRIX& mat);
  D3DXMATRIX& operator-=(const D3DXMATRIX& mat);
  D3DXMATRIX& operator*=(float f);
  D3DXMATRIX& operator/=(float f) { return *this *= 1.0f / f; }

  D3DXMATRIX operator+() const { return *this; }
  D3DXMATRIX operator-() const { return *this * -1.0f; }
  D3DXMATRIX operator*(const D3DXMATRIX& mat) const;
  D3DXMATRIX operator+(const D3DXMATRIX& mat) const { D3DXMATRIX r(*this); return r += mat; }
  D3DXMATRIX operator-(const D3DXMATRIX& mat) const { D3DXMATRIX r(*this); return r -= mat; }
  D3DXMATRIX operator*(float f) const { D3DXMATRIX r(*this); return r *= f; }
  D3DXMATRIX operator/(float f) const { D3DXMATRIX r(*this); return r /= f; }
  friend D3DXMATRIX operator*(float f, const D3DXMATRIX& mat) { return mat * f; }

  bool operator==(const D3DXMATRIX& mat) const;
  bool operator!=(const D3DXMATRIX& mat) const { return !(*this == mat); }
};

struct D3DXQUATERNION {
  float x, y, z, w;

  D3DXQUATERNION() = default;
  D3DXQUATERNION(float qx, float qy, float qz, float qw) : x(qx), y(qy), z(qz), w(qw) {}
  explicit D3DXQUATERNION(const float* f) : x(f[0]), y(f[1]), z(f[2]), w(f[3]) {}

  operator float*() { return &x; }
  operator const float*() const { return &x; }

  D3DXQUATERNION& operator+=(const D3DXQUATERNION& q) { x += q.x; y += q.y; z += q.z; w += q.w; return *this; }
  D3DXQUATERNION& operator-=(const D3DXQUATERNION& q) { x -= q.x; y -= q.y; z -= q.z; w -= q.w; return *this; }
  // this then q, as D3DXQuaternionMultiply(this, this, q).
  D3DXQUATERNION& operator*=(const D3DXQUATERNION& q);
  D3DXQUATERNION& operator*=(float f) { x *= f; y *= f; z *= f; w *= f; return *this; }
  D3DXQUATERNION& operator/=(float f) { return *this *= 1.0f / f; }

  D3DXQUATERNION operator+() const { return *this; }
  D3DXQUATERNION operator-() const { return {-x, -y, -z, -w}; }
  D3DXQUATERNION operator+(const D3DXQUATERNION& q) const { return {x + q.x, y + q.y, z + q.z, w + q.w}; }
  D3DXQUATERNION operator-(const D3DXQUATERNION& q) const { return {x - q.x, y - q.y, z - q.z, w - q.w}; }
  D3DXQUATERNION operator*(const D3DXQUATERNION& q) const { D3DXQUATERNION r(*this); return r *= q; }
  D3DXQUATERNION operator*(float f) const { return {x * f, y * f, z * f, w * f}; }
  D3DXQUATERNION operator/(float f) const { return *this * (1.0f / f); }
  friend D3DXQUATERNION operator*(float f, const D3DXQUATERNION& q) { return q * f; }

  bool operator==(const D3DXQUATERNION& q) const { return x == q.x && y == q.y && z == q.z && w == q.w; }
  bool operator!=(const D3DXQUATERNION& q) const { return !(*this == q); }
};

// ax + by + cz + d = 0; (a, b, c) is the normal, the positive side is "inside"
// for frustum planes.
struct D3DXPLANE {
  float a, b, c, d;

  D3DXPLANE() = default;
  D3DXPLANE(float pa, float pb, float pc, float pd) : a(pa), b(pb), c(pc), d(pd) {}
  explicit D3DXPLANE(const float* f) : a(f[0]), b(f[1]), c(f[2]), d(f[3]) {}

  operator float*() { return &a; }
  operator const float*() const { return &a; }

  D3DXPLANE& operator*=(float f) { a *= f; b *= f; c *= f; d *= f; return *this; }
  D3DXPLANE& operator/=(float f) { return *this *= 1.0f / f; }
  D3DXPLANE operator+() const { return *this; }
  D3DXPLANE operator-() const { return {-a, -b, -c, -d}; }
  D3DXPLANE operator*(float f) const { return {a * f, b * f, c * f, d * f}; }
  D3DXPLANE operator/(float f) const { return *this * (1.0f / f); }
  friend D3DXPLANE operator*(float f, const D3DXPLANE& p) { return p * f; }

  bool operator==(const D3DXPLANE& p) const { return a == p.a && b == p.b && c == p.c && d == p.d; }
  bool operator!=(const D3DXPLANE& p) const { return !(*this == p); }
};

// Floating-point colour, 1.0 = full intensity. Converts to and from a packed
// ARGB D3DCOLOR (alpha in the top byte); it is a D3DCOLORVALUE.
struct D3DXCOLOR : D3DCOLORVALUE {
  D3DXCOLOR() = default;
  D3DXCOLOR(float cr, float cg, float cb, float ca) : D3DCOLORVALUE{cr, cg, cb, ca} {}
  D3DXCOLOR(D3DCOLOR argb);
  D3DXCOLOR(const D3DCOLORVALUE& c) : D3DCOLORVALUE(c) {}
  explicit D3DXCOLOR(const float* f) : D3DCOLORVALUE{f[0], f[1], f[2], f[3]} {}

  // Each channel: 1.0 or more gives 255, 0 or less gives 0, otherwise the
  // whole part of value x 255 + 0.5.
  operator D3DCOLOR() const;
  operator float*() { return &r; }
  operator const float*() const { return &r; }

  D3DXCOLOR& operator+=(const D3DXCOLOR& c) { r += c.r; g += c.g; b += c.b; a += c.a; return *this; }
  D3DXCOLOR& operator-=(const D3DXCOLOR& c) { r -= c.r; g -= c.g; b -= c.b; a -= c.a; return *this; }
  D3DXCOLOR& operator*=(float f) { r *= f; g *= f; b *= f; a *= f; return *this; }
  D3DXCOLOR& operator/=(float f) { return *this *= 1.0f / f; }

  D3DXCOLOR operator+() const { return *this; }
  D3DXCOLOR operator-() const { return {-r, -g, -b, -a}; }
  D3DXCOLOR operator+(const D3DXCOLOR& c) const { return {r + c.r, g + c.g, b + c.b, a + c.a}; }
  D3DXCOLOR operator-(const D3DXCOLOR& c) const { return {r - c.r, g - c.g, b - c.b, a - c.a}; }
  D3DXCOLOR operator*(float f) const { return {r * f, g * f, b * f, a * f}; }
  D3DXCOLOR operator/(float f) const { return *this * (1.0f / f); }
  friend D3DXCOLOR operator*(float f, const D3DXCOLOR& c) { return c * f; }

  bool operator==(const D3DXCOLOR& c) const { return r == c.r && g == c.g && b == c.b && a == c.a; }
  bool operator!=(const D3DXCOLOR& c) const { return !(*this == c); }
};

// One channel of that conversion: 1.0 or more gives 255, 0 or less (and NaN)
// gives 0, otherwise the whole part of value x 255 + 0.5. The show packs
// every float colour it hands the device (layers, materials, particles,
// fades) by this rule.
D3DCOLOR ColorChannelByte(float value);

static_assert(sizeof(D3DXVECTOR2) == 8 && sizeof(D3DXVECTOR3) == 12 && sizeof(D3DXVECTOR4) == 16);
static_assert(sizeof(D3DXMATRIX) == 64 && sizeof(D3DXQUATERNION) == 16);
static_assert(sizeof(D3DXPLANE) == 16 && sizeof(D3DXCOLOR) == 16);
static_assert(std::is_trivially_copyable_v<D3DXMATRIX> && std::is_trivially_copyable_v<D3DXVECTOR3> &&
              std::is_trivially_copyable_v<D3DXQUATERNION>);

// ---- Matrices (D3DXMatrix.cpp) ----------------------------------------------

D3DXMATRIX* D3DXMatrixIdentity(D3DXMATRIX* out);
BOOL D3DXMatrixIsIdentity(const D3DXMATRIX* m);
// out = m1 x m2: transforms by m1 first, then by m2.
D3DXMATRIX* D3DXMatrixMultiply(D3DXMATRIX* out, const D3DXMATRIX* m1, const D3DXMATRIX* m2);
// out = transpose(m1 x m2), the layout shader constant registers want.
D3DXMATRIX* D3DXMatrixMultiplyTranspose(D3DXMATRIX* out, const D3DXMATRIX* m1, const D3DXMATRIX* m2);
D3DXMATRIX* D3DXMatrixTranspose(D3DXMATRIX* out, const D3DXMATRIX* m);
float D3DXMatrixDeterminant(const D3DXMATRIX* m);
// Writes the determinant to *determinant when that is not null. A singular
// matrix (determinant exactly 0, or not finite) returns null and leaves out
// unchanged.
D3DXMATRIX* D3DXMatrixInverse(D3DXMATRIX* out, float* determinant, const D3DXMATRIX* m);
D3DXMATRIX* D3DXMatrixTranslation(D3DXMATRIX* out, float x, float y, float z);
D3DXMATRIX* D3DXMatrixScaling(D3DXMATRIX* out, float sx, float sy, float sz);
// Left-handed rotations: looking down the axis toward the origin, a positive
// angle turns clockwise (RotationY takes +z toward +x).
D3DXMATRIX* D3DXMatrixRotationX(D3DXMATRIX* out, float angle);
D3DXMATRIX* D3DXMatrixRotationY(D3DXMATRIX* out, float angle);
D3DXMATRIX* D3DXMatrixRotationZ(D3DXMATRIX* out, float angle);
// The axis is normalised first.
D3DXMATRIX* D3DXMatrixRotationAxis(D3DXMATRIX* out, const D3DXVECTOR3* axis, float angle);
// Roll about z first, then pitch about x, then yaw about y.
D3DXMATRIX* D3DXMatrixRotationYawPitchRoll(D3DXMATRIX* out, float yaw, float pitch, float roll);
// Uses the quaternion as given (not normalised): 1 - 2(y² + z²) and so on.
D3DXMATRIX* D3DXMatrixRotationQuaternion(D3DXMATRIX* out, const D3DXQUATERNION* q);
// fovY in radians, aspect = width / height; depth maps zn..zf to 0..1.
D3DXMATRIX* D3DXMatrixPerspectiveFovLH(D3DXMATRIX* out, float fovY, float aspect, float zn, float zf);
D3DXMATRIX* D3DXMatrixLookAtLH(D3DXMATRIX* out, const D3DXVECTOR3* eye, const D3DXVECTOR3* at,
                               const D3DXVECTOR3* up);
D3DXMATRIX* D3DXMatrixOrthoLH(D3DXMATRIX* out, float w, float h, float zn, float zf);
D3DXMATRIX* D3DXMatrixOrthoOffCenterLH(D3DXMATRIX* out, float l, float r, float b, float t, float zn,
                                       float zf);

// ---- Vectors (D3DXVector.cpp) -----------------------------------------------

float D3DXVec2Length(const D3DXVECTOR2* v);
float D3DXVec2LengthSq(const D3DXVECTOR2* v);
float D3DXVec2Dot(const D3DXVECTOR2* v1, const D3DXVECTOR2* v2);
D3DXVECTOR2* D3DXVec2Add(D3DXVECTOR2* out, const D3DXVECTOR2* v1, const D3DXVECTOR2* v2);
D3DXVECTOR2* D3DXVec2Subtract(D3DXVECTOR2* out, const D3DXVECTOR2* v1, const D3DXVECTOR2* v2);
D3DXVECTOR2* D3DXVec2Scale(D3DXVECTOR2* out, const D3DXVECTOR2* v, float s);
D3DXVECTOR2* D3DXVec2Lerp(D3DXVECTOR2* out, const D3DXVECTOR2* v1, const D3DXVECTOR2* v2, float s);
// A zero vector normalises to zero.
D3DXVECTOR2* D3DXVec2Normalize(D3DXVECTOR2* out, const D3DXVECTOR2* v);
// (x, y, 0, 1) x m, divided by the resulting w.
D3DXVECTOR2* D3DXVec2TransformCoord(D3DXVECTOR2* out, const D3DXVECTOR2* v, const D3DXMATRIX* m);
// (x, y, 0, 0) x m.
D3DXVECTOR2* D3DXVec2TransformNormal(D3DXVECTOR2* out, const D3DXVECTOR2* v, const D3DXMATRIX* m);

float D3DXVec3Length(const D3DXVECTOR3* v);
float D3DXVec3LengthSq(const D3DXVECTOR3* v);
float D3DXVec3Dot(const D3DXVECTOR3* v1, const D3DXVECTOR3* v2);
D3DXVECTOR3* D3DXVec3Cross(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2);
D3DXVECTOR3* D3DXVec3Add(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2);
D3DXVECTOR3* D3DXVec3Subtract(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2);
D3DXVECTOR3* D3DXVec3Scale(D3DXVECTOR3* out, const D3DXVECTOR3* v, float s);
D3DXVECTOR3* D3DXVec3Lerp(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2, float s);
D3DXVECTOR3* D3DXVec3Minimize(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2);
D3DXVECTOR3* D3DXVec3Maximize(D3DXVECTOR3* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2);
// A zero vector normalises to zero.
D3DXVECTOR3* D3DXVec3Normalize(D3DXVECTOR3* out, const D3DXVECTOR3* v);
// (x, y, z, 1) x m.
D3DXVECTOR4* D3DXVec3Transform(D3DXVECTOR4* out, const D3DXVECTOR3* v, const D3DXMATRIX* m);
// (x, y, z, 1) x m, divided by the resulting w (a point through a projection).
D3DXVECTOR3* D3DXVec3TransformCoord(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m);
// (x, y, z, 0) x m: a direction, the translation row ignored.
D3DXVECTOR3* D3DXVec3TransformNormal(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m);

float D3DXVec4Length(const D3DXVECTOR4* v);
float D3DXVec4LengthSq(const D3DXVECTOR4* v);
float D3DXVec4Dot(const D3DXVECTOR4* v1, const D3DXVECTOR4* v2);
D3DXVECTOR4* D3DXVec4Add(D3DXVECTOR4* out, const D3DXVECTOR4* v1, const D3DXVECTOR4* v2);
D3DXVECTOR4* D3DXVec4Subtract(D3DXVECTOR4* out, const D3DXVECTOR4* v1, const D3DXVECTOR4* v2);
D3DXVECTOR4* D3DXVec4Scale(D3DXVECTOR4* out, const D3DXVECTOR4* v, float s);
D3DXVECTOR4* D3DXVec4Lerp(D3DXVECTOR4* out, const D3DXVECTOR4* v1, const D3DXVECTOR4* v2, float s);
D3DXVECTOR4* D3DXVec4Normalize(D3DXVECTOR4* out, const D3DXVECTOR4* v);
D3DXVECTOR4* D3DXVec4Transform(D3DXVECTOR4* out, const D3DXVECTOR4* v, const D3DXMATRIX* m);

// ---- Planes and colours (D3DXVector.cpp) ------------------------------------

// Divides all four values by the length of (a, b, c); a zero normal gives a
// zero plane.
D3DXPLANE* D3DXPlaneNormalize(D3DXPLANE* out, const D3DXPLANE* p);
// a x + b y + c z + d: the signed distance for a normalised plane.
float D3DXPlaneDotCoord(const D3DXPLANE* p, const D3DXVECTOR3* v);
// a x + b y + c z.
float D3DXPlaneDotNormal(const D3DXPLANE* p, const D3DXVECTOR3* v);
float D3DXPlaneDot(const D3DXPLANE* p, const D3DXVECTOR4* v);
// The normal is normalised; d = -normal . point.
D3DXPLANE* D3DXPlaneFromPointNormal(D3DXPLANE* out, const D3DXVECTOR3* point, const D3DXVECTOR3* normal);
// Normal = normalize((v2 - v1) x (v3 - v1)): clockwise points, seen from the
// positive side in a left-handed frame.
D3DXPLANE* D3DXPlaneFromPoints(D3DXPLANE* out, const D3DXVECTOR3* v1, const D3DXVECTOR3* v2,
                               const D3DXVECTOR3* v3);
// m must be the inverse transpose of the point transform.
D3DXPLANE* D3DXPlaneTransform(D3DXPLANE* out, const D3DXPLANE* p, const D3DXMATRIX* m);

D3DXCOLOR* D3DXColorAdd(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2);
D3DXCOLOR* D3DXColorSubtract(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2);
D3DXCOLOR* D3DXColorScale(D3DXCOLOR* out, const D3DXCOLOR* c, float s);
D3DXCOLOR* D3DXColorModulate(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2);
D3DXCOLOR* D3DXColorLerp(D3DXCOLOR* out, const D3DXCOLOR* c1, const D3DXCOLOR* c2, float s);
// 1 - r, 1 - g, 1 - b; alpha kept.
D3DXCOLOR* D3DXColorNegative(D3DXCOLOR* out, const D3DXCOLOR* c);

// ---- Quaternions (D3DXQuaternion.cpp) ---------------------------------------

D3DXQUATERNION* D3DXQuaternionIdentity(D3DXQUATERNION* out);
BOOL D3DXQuaternionIsIdentity(const D3DXQUATERNION* q);
float D3DXQuaternionLength(const D3DXQUATERNION* q);
float D3DXQuaternionLengthSq(const D3DXQUATERNION* q);
float D3DXQuaternionDot(const D3DXQUATERNION* q1, const D3DXQUATERNION* q2);
// (-x, -y, -z, w).
D3DXQUATERNION* D3DXQuaternionConjugate(D3DXQUATERNION* out, const D3DXQUATERNION* q);
// Conjugate / length²; a zero quaternion gives zero.
D3DXQUATERNION* D3DXQuaternionInverse(D3DXQUATERNION* out, const D3DXQUATERNION* q);
// A zero quaternion normalises to zero.
D3DXQUATERNION* D3DXQuaternionNormalize(D3DXQUATERNION* out, const D3DXQUATERNION* q);
// Rotation by q1 followed by rotation by q2: the Hamilton product q2 q1.
D3DXQUATERNION* D3DXQuaternionMultiply(D3DXQUATERNION* out, const D3DXQUATERNION* q1,
                                       const D3DXQUATERNION* q2);
// The axis is normalised first.
D3DXQUATERNION* D3DXQuaternionRotationAxis(D3DXQUATERNION* out, const D3DXVECTOR3* axis, float angle);
// The same rotation as D3DXMatrixRotationYawPitchRoll.
D3DXQUATERNION* D3DXQuaternionRotationYawPitchRoll(D3DXQUATERNION* out, float yaw, float pitch, float roll);
// The rotation of m's upper 3x3 (assumed orthonormal: no scale).
D3DXQUATERNION* D3DXQuaternionRotationMatrix(D3DXQUATERNION* out, const D3DXMATRIX* m);
// Spherical interpolation along the shorter arc: when q1 . q2 < 0, -q2 is
// used, so t = 1 may give -q2. Nearly equal quaternions blend linearly.
D3DXQUATERNION* D3DXQuaternionSlerp(D3DXQUATERNION* out, const D3DXQUATERNION* q1, const D3DXQUATERNION* q2,
                                    float t);
