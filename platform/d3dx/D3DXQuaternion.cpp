#include "platform/d3dx/D3DXMath.h"

#include <cmath>

// Quaternion helpers. A unit quaternion (x, y, z, w) = (sin(a/2) axis, cos(a/2))
// rotates by a about axis, with the same handedness as the matrix rotations.

D3DXQUATERNION& D3DXQUATERNION::operator*=(const D3DXQUATERNION& q) {
  D3DXQuaternionMultiply(this, this, &q);
  return *this;
}

D3DXQUATERNION* D3DXQuaternionIdentity(D3DXQUATERNION* out) {
  *out = D3DXQUATERNION(0, 0, 0, 1);
  return out;
}

BOOL D3DXQuaternionIsIdentity(const D3DXQUATERNION* q) {
  return *q == D3DXQUATERNION(0, 0, 0, 1) ? 1 : 0;
}

float D3DXQuaternionLength(const D3DXQUATERNION* q) { return std::sqrt(D3DXQuaternionLengthSq(q)); }
float D3DXQuaternionLengthSq(const D3DXQUATERNION* q) { return D3DXQuaternionDot(q, q); }

float D3DXQuaternionDot(const D3DXQUATERNION* q1, const D3DXQUATERNION* q2) {
  return q1->x * q2->x + q1->y * q2->y + q1->z * q2->z + q1->w * q2->w;
}

D3DXQUATERNION* D3DXQuaternionConjugate(D3DXQUATERNION* out, const D3DXQUATERNION* q) {
  *out = D3DXQUATERNION(-q->x, -q->y, -q->z, q->w);
  return out;
}

D3DXQUATERNION* D3DXQuaternionInverse(D3DXQUATERNION* out, const D3DXQUATERNION* q) {
  const float lengthSq = D3DXQuaternionLengthSq(q);
  if (lengthSq == 0.0f) {
    *out = D3DXQUATERNION(0, 0, 0, 0);
    return out;
  }
  D3DXQuaternionConjugate(out, q);
  *out /= lengthSq;
  return out;
}

D3DXQUATERNION* D3DXQuaternionNormalize(D3DXQUATERNION* out, const D3DXQUATERNION* q) {
  const float length = D3DXQuaternionLength(q);
  *out = length == 0.0f ? D3DXQUATERNION(0, 0, 0, 0) : *q / length;
  return out;
}

D3DXQUATERNION* D3DXQuaternionMultiply(D3DXQUATERNION* out, const D3DXQUATERNION* q1,
                                       const D3DXQUATERNION* q2) {
  // Hamilton product a b with a = q2, b = q1.
  const D3DXQUATERNION a = *q2, b = *q1;
  *out = D3DXQUATERNION(a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
                        a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
                        a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w,
                        a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z);
  return out;
}

D3DXQUATERNION* D3DXQuaternionRotationAxis(D3DXQUATERNION* out, const D3DXVECTOR3* axis, float angle) {
  D3DXVECTOR3 v;
  D3DXVec3Normalize(&v, axis);
  const float s = std::sin(angle * 0.5f);
  *out = D3DXQUATERNION(v.x * s, v.y * s, v.z * s, std::cos(angle * 0.5f));
  return out;
}

D3DXQUATERNION* D3DXQuaternionRotationYawPitchRoll(D3DXQUATERNION* out, float yaw, float pitch, float roll) {
  // Roll about z, then pitch about x, then yaw about y: the Hamilton product
  // qYaw qPitch qRoll, multiplied out.
  const float sy = std::sin(yaw * 0.5f), cy = std::cos(yaw * 0.5f);
  const float sp = std::sin(pitch * 0.5f), cp = std::cos(pitch * 0.5f);
  const float sr = std::sin(roll * 0.5f), cr = std::cos(roll * 0.5f);
  *out = D3DXQUATERNION(cy * sp * cr + sy * cp * sr,
                        sy * cp * cr - cy * sp * sr,
                        cy * cp * sr - sy * sp * cr,
                        cy * cp * cr + sy * sp * sr);
  return out;
}

D3DXQUATERNION* D3DXQuaternionRotationMatrix(D3DXQUATERNION* out, const D3DXMATRIX* m) {
  // Inverse of D3DXMatrixRotationQuaternion: the off-diagonal sums and
  // differences give 4xy, 4xw and so on; divide by the largest of the four
  // components, found from the diagonal, to stay accurate.
  const float trace = m->_11 + m->_22 + m->_33;
  D3DXQUATERNION q;
  if (trace > 0.0f) {
    const float s = std::sqrt(trace + 1.0f) * 2.0f;  // 4w
    q = D3DXQUATERNION((m->_23 - m->_32) / s, (m->_31 - m->_13) / s, (m->_12 - m->_21) / s, 0.25f * s);
  } else if (m->_11 >= m->_22 && m->_11 >= m->_33) {
    const float s = std::sqrt(1.0f + m->_11 - m->_22 - m->_33) * 2.0f;  // 4x
    q = D3DXQUATERNION(0.25f * s, (m->_12 + m->_21) / s, (m->_13 + m->_31) / s, (m->_23 - m->_32) / s);
  } else if (m->_22 >= m->_33) {
    const float s = std::sqrt(1.0f + m->_22 - m->_11 - m->_33) * 2.0f;  // 4y
    q = D3DXQUATERNION((m->_12 + m->_21) / s, 0.25f * s, (m->_23 + m->_32) / s, (m->_31 - m->_13) / s);
  } else {
    const float s = std::sqrt(1.0f + m->_33 - m->_11 - m->_22) * 2.0f;  // 4z
    q = D3DXQUATERNION((m->_13 + m->_31) / s, (m->_23 + m->_32) / s, 0.25f * s, (m->_12 - m->_21) / s);
  }
  *out = q;
  return out;
}

D3DXQUATERNION* D3DXQuaternionSlerp(D3DXQUATERNION* out, const D3DXQUATERNION* q1, const D3DXQUATERNION* q2,
                                    float t) {
  float dot = D3DXQuaternionDot(q1, q2);
  float sign = 1.0f;
  if (dot < 0.0f) {
    dot = -dot;
    sign = -1.0f;
  }
  float w1, w2;
  if (1.0f - dot > 0.001f) {
    const float theta = std::acos(dot);
    const float invSin = 1.0f / std::sin(theta);
    w1 = std::sin((1.0f - t) * theta) * invSin;
    w2 = std::sin(t * theta) * invSin;
  } else {
    // Nearly parallel: sin(theta) would lose all precision.
    w1 = 1.0f - t;
    w2 = t;
  }
  *out = *q1 * w1 + *q2 * (w2 * sign);
  return out;
}
