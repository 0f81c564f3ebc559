#include "platform/d3dx/D3DXMath.h"

#include <cmath>
#include <cstring>

// Matrix helpers. All products are computed into a temporary first so that
// the output may alias either input.

D3DXMATRIX::D3DXMATRIX(const float* f) { std::memcpy(m, f, sizeof(m)); }

D3DXMATRIX::D3DXMATRIX(float f11, float f12, float f13, float f14,
                       float f21, float f22, float f23, float f24,
                       float f31, float f32, float f33, float f34,
                       float f41, float f42, float f43, float f44)
    : D3DMATRIX{{{f11, f12, f13, f14, f21, f22, f23, f24, f31, f32, f33, f34, f41, f42, f43, f44}}} {}

D3DXMATRIX& D3DXMATRIX::operator*=(const D3DXMATRIX& mat) {
  D3DXMatrixMultiply(this, this, &mat);
  return *this;
}

D3DXMATRIX& D3DXMATRIX::operator+=(const D3DXMATRIX& mat) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) m[i][j] += mat.m[i][j];
  return *this;
}

D3DXMATRIX& D3DXMATRIX::operator-=(const D3DXMATRIX& mat) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) m[i][j] -= mat.m[i][j];
  return *this;
}

D3DXMATRIX& D3DXMATRIX::operator*=(float f) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) m[i][j] *= f;
  return *this;
}

D3DXMATRIX D3DXMATRIX::operator*(const D3DXMATRIX& mat) const {
  D3DXMATRIX r;
  D3DXMatrixMultiply(&r, this, &mat);
  return r;
}

bool D3DXMATRIX::operator==(const D3DXMATRIX& mat) const {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      if (m[i][j] != mat.m[i][j]) return false;
  return true;
}

D3DXMATRIX* D3DXMatrixIdentity(D3DXMATRIX* out) {
  *out = D3DXMATRIX(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
  return out;
}

BOOL D3DXMatrixIsIdentity(const D3DXMATRIX* m) {
  D3DXMATRIX identity;
  D3DXMatrixIdentity(&identity);
  return *m == identity ? 1 : 0;
}

D3DXMATRIX* D3DXMatrixMultiply(D3DXMATRIX* out, const D3DXMATRIX* m1, const D3DXMATRIX* m2) {
  D3DXMATRIX r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r.m[i][j] = m1->m[i][0] * m2->m[0][j] + m1->m[i][1] * m2->m[1][j] + m1->m[i][2] * m2->m[2][j] +
                  m1->m[i][3] * m2->m[3][j];
  *out = r;
  return out;
}

D3DXMATRIX* D3DXMatrixMultiplyTranspose(D3DXMATRIX* out, const D3DXMATRIX* m1, const D3DXMATRIX* m2) {
  D3DXMATRIX r;
  D3DXMatrixMultiply(&r, m1, m2);
  return D3DXMatrixTranspose(out, &r);
}

D3DXMATRIX* D3DXMatrixTranspose(D3DXMATRIX* out, const D3DXMATRIX* m) {
  D3DXMATRIX r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) r.m[i][j] = m->m[j][i];
  *out = r;
  return out;
}

namespace {

// Cofactor expansion in double precision: the 2x2 minors of the top two rows
// and of the bottom two rows give every 3x3 cofactor. Returns the
// determinant; fills adj with the adjugate (transposed cofactors).
double adjugate(const D3DXMATRIX& src, double adj[4][4]) {
  double a[4][4];
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) a[i][j] = src.m[i][j];

  const double s0 = a[0][0] * a[1][1] - a[1][0] * a[0][1];
  const double s1 = a[0][0] * a[1][2] - a[1][0] * a[0][2];
  const double s2 = a[0][0] * a[1][3] - a[1][0] * a[0][3];
  const double s3 = a[0][1] * a[1][2] - a[1][1] * a[0][2];
  const double s4 = a[0][1] * a[1][3] - a[1][1] * a[0][3];
  const double s5 = a[0][2] * a[1][3] - a[1][2] * a[0][3];

  const double c5 = a[2][2] * a[3][3] - a[3][2] * a[2][3];
  const double c4 = a[2][1] * a[3][3] - a[3][1] * a[2][3];
  const double c3 = a[2][1] * a[3][2] - a[3][1] * a[2][2];
  const double c2 = a[2][0] * a[3][3] - a[3][0] * a[2][3];
  const double c1 = a[2][0] * a[3][2] - a[3][0] * a[2][2];
  const double c0 = a[2][0] * a[3][1] - a[3][0] * a[2][1];

  adj[0][0] = a[1][1] * c5 - a[1][2] * c4 + a[1][3] * c3;
  adj[0][1] = -a[0][1] * c5 + a[0][2] * c4 - a[0][3] * c3;
  adj[0][2] = a[3][1] * s5 - a[3][2] * s4 + a[3][3] * s3;
  adj[0][3] = -a[2][1] * s5 + a[2][2] * s4 - a[2][3] * s3;

  adj[1][0] = -a[1][0] * c5 + a[1][2] * c2 - a[1][3] * c1;
  adj[1][1] = a[0][0] * c5 - a[0][2] * c2 + a[0][3] * c1;
  adj[1][2] = -a[3][0] * s5 + a[3][2] * s2 - a[3][3] * s1;
  adj[1][3] = a[2][0] * s5 - a[2][2] * s2 + a[2][3] * s1;

  adj[2][0] = a[1][0] * c4 - a[1][1] * c2 + a[1][3] * c0;
  adj[2][1] = -a[0][0] * c4 + a[0][1] * c2 - a[0][3] * c0;
  adj[2][2] = a[3][0] * s4 - a[3][1] * s2 + a[3][3] * s0;
  adj[2][3] = -a[2][0] * s4 + a[2][1] * s2 - a[2][3] * s0;

  adj[3][0] = -a[1][0] * c3 + a[1][1] * c1 - a[1][2] * c0;
  adj[3][1] = a[0][0] * c3 - a[0][1] * c1 + a[0][2] * c0;
  adj[3][2] = -a[3][0] * s3 + a[3][1] * s1 - a[3][2] * s0;
  adj[3][3] = a[2][0] * s3 - a[2][1] * s1 + a[2][2] * s0;

  return s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0;
}

}  // namespace

float D3DXMatrixDeterminant(const D3DXMATRIX* m) {
  double adj[4][4];
  return static_cast<float>(adjugate(*m, adj));
}

D3DXMATRIX* D3DXMatrixInverse(D3DXMATRIX* out, float* determinant, const D3DXMATRIX* m) {
  double adj[4][4];
  const double det = adjugate(*m, adj);
  if (determinant) *determinant = static_cast<float>(det);
  if (det == 0.0 || !std::isfinite(det)) return nullptr;
  const double inv = 1.0 / det;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) out->m[i][j] = static_cast<float>(adj[i][j] * inv);
  return out;
}

D3DXMATRIX* D3DXMatrixTranslation(D3DXMATRIX* out, float x, float y, float z) {
  D3DXMatrixIdentity(out);
  out->_41 = x;
  out->_42 = y;
  out->_43 = z;
  return out;
}

D3DXMATRIX* D3DXMatrixScaling(D3DXMATRIX* out, float sx, float sy, float sz) {
  D3DXMatrixIdentity(out);
  out->_11 = sx;
  out->_22 = sy;
  out->_33 = sz;
  return out;
}

D3DXMATRIX* D3DXMatrixRotationX(D3DXMATRIX* out, float angle) {
  const float c = std::cos(angle), s = std::sin(angle);
  D3DXMatrixIdentity(out);
  out->_22 = c;
  out->_23 = s;
  out->_32 = -s;
  out->_33 = c;
  return out;
}

D3DXMATRIX* D3DXMatrixRotationY(D3DXMATRIX* out, float angle) {
  const float c = std::cos(angle), s = std::sin(angle);
  D3DXMatrixIdentity(out);
  out->_11 = c;
  out->_13 = -s;
  out->_31 = s;
  out->_33 = c;
  return out;
}

D3DXMATRIX* D3DXMatrixRotationZ(D3DXMATRIX* out, float angle) {
  const float c = std::cos(angle), s = std::sin(angle);
  D3DXMatrixIdentity(out);
  out->_11 = c;
  out->_12 = s;
  out->_21 = -s;
  out->_22 = c;
  return out;
}

D3DXMATRIX* D3DXMatrixRotationAxis(D3DXMATRIX* out, const D3DXVECTOR3* axis, float angle) {
  D3DXVECTOR3 v;
  D3DXVec3Normalize(&v, axis);
  const float c = std::cos(angle), s = std::sin(angle), t = 1.0f - c;
  D3DXMatrixIdentity(out);
  out->_11 = t * v.x * v.x + c;
  out->_12 = t * v.x * v.y + s * v.z;
  out->_13 = t * v.x * v.z - s * v.y;
  out->_21 = t * v.x * v.y - s * v.z;
  out->_22 = t * v.y * v.y + c;
  out->_23 = t * v.y * v.z + s * v.x;
  out->_31 = t * v.x * v.z + s * v.y;
  out->_32 = t * v.y * v.z - s * v.x;
  out->_33 = t * v.z * v.z + c;
  return out;
}

D3DXMATRIX* D3DXMatrixRotationYawPitchRoll(D3DXMATRIX* out, float yaw, float pitch, float roll) {
  // Rz(roll) x Rx(pitch) x Ry(yaw), multiplied out.
  const float sy = std::sin(yaw), cy = std::cos(yaw);
  const float sp = std::sin(pitch), cp = std::cos(pitch);
  const float sr = std::sin(roll), cr = std::cos(roll);
  D3DXMatrixIdentity(out);
  out->_11 = cr * cy + sr * sp * sy;
  out->_12 = sr * cp;
  out->_13 = sr * sp * cy - cr * sy;
  out->_21 = cr * sp * sy - sr * cy;
  out->_22 = cr * cp;
  out->_23 = sr * sy + cr * sp * cy;
  out->_31 = cp * sy;
  out->_32 = -sp;
  out->_33 = cp * cy;
  return out;
}

D3DXMATRIX* D3DXMatrixRotationQuaternion(D3DXMATRIX* out, const D3DXQUATERNION* q) {
  const float x = q->x, y = q->y, z = q->z, w = q->w;
  D3DXMatrixIdentity(out);
  out->_11 = 1.0f - 2.0f * (y * y + z * z);
  out->_12 = 2.0f * (x * y + z * w);
  out->_13 = 2.0f * (x * z - y * w);
  out->_21 = 2.0f * (x * y - z * w);
  out->_22 = 1.0f - 2.0f * (x * x + z * z);
  out->_23 = 2.0f * (y * z + x * w);
  out->_31 = 2.0f * (x * z + y * w);
  out->_32 = 2.0f * (y * z - x * w);
  out->_33 = 1.0f - 2.0f * (x * x + y * y);
  return out;
}

D3DXMATRIX* D3DXMatrixPerspectiveFovLH(D3DXMATRIX* out, float fovY, float aspect, float zn, float zf) {
  const float yScale = 1.0f / std::tan(fovY * 0.5f);
  const float xScale = yScale / aspect;
  *out = D3DXMATRIX(xScale, 0, 0, 0,
                    0, yScale, 0, 0,
                    0, 0, zf / (zf - zn), 1,
                    0, 0, -zn * zf / (zf - zn), 0);
  return out;
}

D3DXMATRIX* D3DXMatrixLookAtLH(D3DXMATRIX* out, const D3DXVECTOR3* eye, const D3DXVECTOR3* at,
                               const D3DXVECTOR3* up) {
  D3DXVECTOR3 zAxis = *at - *eye, xAxis, yAxis;
  D3DXVec3Normalize(&zAxis, &zAxis);
  D3DXVec3Cross(&xAxis, up, &zAxis);
  D3DXVec3Normalize(&xAxis, &xAxis);
  D3DXVec3Cross(&yAxis, &zAxis, &xAxis);
  *out = D3DXMATRIX(xAxis.x, yAxis.x, zAxis.x, 0,
                    xAxis.y, yAxis.y, zAxis.y, 0,
                    xAxis.z, yAxis.z, zAxis.z, 0,
                    -D3DXVec3Dot(&xAxis, eye), -D3DXVec3Dot(&yAxis, eye), -D3DXVec3Dot(&zAxis, eye), 1);
  return out;
}

D3DXMATRIX* D3DXMatrixOrthoLH(D3DXMATRIX* out, float w, float h, float zn, float zf) {
  *out = D3DXMATRIX(2.0f / w, 0, 0, 0,
                    0, 2.0f / h, 0, 0,
                    0, 0, 1.0f / (zf - zn), 0,
                    0, 0, zn / (zn - zf), 1);
  return out;
}

D3DXMATRIX* D3DXMatrixOrthoOffCenterLH(D3DXMATRIX* out, float l, float r, float b, float t, float zn,
                                       float zf) {
  *out = D3DXMATRIX(2.0f / (r - l), 0, 0, 0,
                    0, 2.0f / (t - b), 0, 0,
                    0, 0, 1.0f / (zf - zn), 0,
                    (l + r) / (l - r), (t + b) / (b - t), zn / (zn - zf), 1);
  return out;
}
