#pragma once
// The coordinate rule of vxtool convert (docs/coordinates.md): models come
// from the import library right-handed, column vectors (p' = M p); the scene
// format is left-handed, row vectors (p' = p M), z up.
//
// A source frame is named by its up axis U and its front axis F (pointing
// from the model toward a viewer of its front); R = U x F is its right. The
// scene gets R as x, F as y and U as z: the model's front view becomes the
// view of a camera with no rotation (which looks along -y, z up). The map
// is a mirror (determinant -1), which turns right-handed into left-handed;
// every triangle's winding is reversed to keep its front face.
#include "scene/PRS.h"

#include <assimp/scene.h>  // the vector and matrix types with their operators

#include <string>

class ModelSpace {
 public:
  // up, front: unit source axes (+-x, +-y, +-z), perpendicular.
  ModelSpace(const aiVector3D& up, const aiVector3D& front, float scale);

  // A point (scaled) and a direction (unit length kept, not scaled).
  aiVector3D point(const aiVector3D& p) const;
  aiVector3D direction(const aiVector3D& d) const;
  // A source transform (column vectors) as the same transform in scene
  // axes, still column vectors: B M B^-1 with the translation scaled.
  aiMatrix4x4 matrix(const aiMatrix4x4& m) const;

  float scale() const { return m_scale; }
  // "y up, z front" and the like, for the report.
  std::string describe() const;

 private:
  aiMatrix4x4 m_basis;    // rows R, F, U
  aiMatrix4x4 m_inverse;  // its transpose
  aiVector3D m_up, m_front;
  float m_scale;
};

// A scene-axes column-vector transform as position, rotation quaternion
// and scale (row-vector local = S x R, translation in the fourth row, which
// is the same transform). False when the matrix holds shear or a mirror that
// the three parts cannot express (the parts are then the nearest fit).
bool decomposeToPRS(const aiMatrix4x4& m, PRS* prs);
