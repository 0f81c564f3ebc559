#include "tools/ModelSpace.h"

#include <assimp/matrix3x3.h>
#include <assimp/quaternion.h>

#include <cmath>

namespace {

std::string axisName(const aiVector3D& v) {
  const char* names[3] = {"x", "y", "z"};
  for (int i = 0; i < 3; ++i)
    if (v[i] != 0.0f) return std::string(v[i] < 0 ? "-" : "") + names[i];
  return "?";
}

}  // namespace

ModelSpace::ModelSpace(const aiVector3D& up, const aiVector3D& front, float scale)
    : m_up(up), m_front(front), m_scale(scale) {
  const aiVector3D right = up ^ front;  // right-handed source: R = U x F
  m_basis = aiMatrix4x4(right.x, right.y, right.z, 0,   //
                        front.x, front.y, front.z, 0,   //
                        up.x, up.y, up.z, 0,            //
                        0, 0, 0, 1);
  m_inverse = m_basis;
  m_inverse.Transpose();
}

aiVector3D ModelSpace::point(const aiVector3D& p) const { return (m_basis * p) * m_scale; }

aiVector3D ModelSpace::direction(const aiVector3D& d) const { return m_basis * d; }

aiMatrix4x4 ModelSpace::matrix(const aiMatrix4x4& m) const {
  aiMatrix4x4 out = m_basis * m * m_inverse;
  out.a4 *= m_scale;
  out.b4 *= m_scale;
  out.c4 *= m_scale;
  return out;
}

std::string ModelSpace::describe() const { return axisName(m_up) + " up, " + axisName(m_front) + " front"; }

bool decomposeToPRS(const aiMatrix4x4& m, PRS* prs) {
  prs->position = D3DXVECTOR3(m.a4, m.b4, m.c4);
  aiVector3D columns[3] = {{m.a1, m.b1, m.c1}, {m.a2, m.b2, m.c2}, {m.a3, m.b3, m.c3}};
  float scale[3];
  for (int i = 0; i < 3; ++i) scale[i] = columns[i].Length();
  bool exact = true;
  // A mirror is one negative scale; x takes it.
  const float det = columns[0] * (columns[1] ^ columns[2]);
  if (det < 0) {
    scale[0] = -scale[0];
  }
  for (int i = 0; i < 3; ++i) {
    if (scale[i] == 0.0f) {
      // A flattened axis has no direction of its own: any perpendicular one
      // rotates the same, so the rotation comes from the other two.
      exact = false;
      columns[i] = i == 0 ? columns[1] ^ columns[2] : i == 1 ? columns[2] ^ columns[0] : columns[0] ^ columns[1];
      const float length = columns[i].Length();
      if (length == 0.0f) columns[i] = aiVector3D(i == 0, i == 1, i == 2);
      else columns[i] /= length;
    } else {
      columns[i] /= scale[i];
    }
  }
  // Shear: the scaled axes are no longer perpendicular.
  const float tolerance = 1e-3f;
  if (std::fabs(columns[0] * columns[1]) > tolerance || std::fabs(columns[1] * columns[2]) > tolerance ||
      std::fabs(columns[0] * columns[2]) > tolerance)
    exact = false;
  const aiMatrix3x3 rotation(columns[0].x, columns[1].x, columns[2].x,  //
                             columns[0].y, columns[1].y, columns[2].y,  //
                             columns[0].z, columns[1].z, columns[2].z);
  aiQuaternion q(rotation);
  q.Normalize();
  // The same quaternion means the same turn to the scene's D3DX math, whose
  // row-vector matrix of it is the transpose of this column-vector one.
  prs->rotation = D3DXQUATERNION(q.x, q.y, q.z, q.w);
  prs->scale = D3DXVECTOR3(scale[0], scale[1], scale[2]);
  return exact;
}
