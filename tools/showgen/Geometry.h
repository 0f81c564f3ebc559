#pragma once
// Triangle meshes for the example show's scenes, built in the scene's own
// units (z up) and written as VXK vertex and index records.
//
// Conventions the player's lighting relies on:
// - Winding: seen from the side a surface faces, its triangles run
//   clockwise, so (p1 - p0) x (p2 - p0) points out of the surface (the
//   player recomputes normals that way and culls counter-clockwise faces).
// - Texture space: both uv sets are equal. A surface is parameterised so
//   that du x dv points out of it (u to the right and v downwards as seen
//   from outside): the player's tangent frame then reads a normal map's red
//   as "right" and its green as "up" in the picture.
// - Smoothing: vertices that share a position and a smoothing key get one
//   averaged normal; each flat face of a box has a key of its own.
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/d3dx/D3DXMath.h"
#include "scene/VxkWriter.h"

class MeshData {
 public:
  // A run of triangles drawn with one material.
  struct Part {
    std::uint32_t startIndex = 0;
    std::uint32_t indexCount = 0;
  };

  std::uint32_t vertexCount() const { return std::uint32_t(m_positions.size()); }
  const std::vector<D3DXVECTOR3>& positions() const { return m_positions; }
  const std::vector<std::uint32_t>& indices() const { return m_indices; }
  const std::vector<Part>& parts() const { return m_parts; }

  // Starts a new part at the current end of the index list; triangles added
  // before the first call belong to an implicit first part.
  void beginPart();
  std::uint32_t addVertex(const D3DXVECTOR3& position, float u, float v, std::uint32_t smoothingKey);
  // Adds the triangle wound so that its face points along `outward`
  // (degenerate triangles keep the order given).
  void addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c, const D3DXVECTOR3& outward);

  // A (columns + 1) x (rows + 1) vertex grid over surface(u, v), u and v in
  // 0 ... 1, with texture coordinates (u × uRepeat, v × vRepeat) and one
  // smoothing key; outward(p) says which way the surface faces at p.
  void addSurface(int columns, int rows, float uRepeat, float vRepeat, std::uint32_t smoothingKey,
                  const std::function<D3DXVECTOR3(float u, float v)>& surface,
                  const std::function<D3DXVECTOR3(const D3DXVECTOR3& p)>& outward);
  // An axis-aligned box from `low` to `high`, each face textured once
  // (uRepeat × vRepeat times) with its own smoothing key; faces point out,
  // or in when `inside` (a room or a sky seen from within). With
  // `facePerPart` every face starts a part of its own, in the order +x, -x,
  // +y, -y, +z, -z. uvInset shrinks each face's texture range by that much
  // at every edge (half a texel keeps a wrapped texture from bleeding over
  // the face's border).
  void addBox(const D3DXVECTOR3& low, const D3DXVECTOR3& high, float uRepeat, float vRepeat, bool inside,
              bool facePerPart, float uvInset = 0.0f);

  vxk::VertexRecord vertexRecord() const;
  std::vector<std::uint32_t> indexRecord() const { return m_indices; }
  // Submesh records for the parts, with one material id each.
  std::vector<vxk::SubMeshRecord> submeshes(const std::vector<std::uint32_t>& materialIds) const;

 private:
  std::vector<D3DXVECTOR3> m_positions;
  std::vector<float> m_uv;
  std::vector<std::uint32_t> m_keys;
  std::vector<std::uint32_t> m_indices;
  std::vector<Part> m_parts;
};

// Sphere of `radius` about the origin: u runs once around z, v from the top
// (+z) to the bottom.
void addSphere(MeshData& mesh, float radius, int segments, int rings, float uRepeat, float vRepeat);
// Torus about the z axis: the tube of `tubeRadius` follows a circle of
// `radius` in the xy plane; `flatten` scales the tube's height (1 round).
void addTorus(MeshData& mesh, float radius, float tubeRadius, float flatten, int segments, int sides, float uRepeat,
              float vRepeat);
// (p, q) torus knot: a tube of `tubeRadius` along a curve that winds p times
// around the z axis and q times through the hole of a torus of `radius`.
void addTorusKnot(MeshData& mesh, int p, int q, float radius, float tubeRadius, int segments, int sides,
                  float uRepeat, float vRepeat);
// Flat square floor of `size` centred on the origin at z = 0, facing +z,
// `cells` quads along each side, the texture repeated `repeat` times.
void addFloor(MeshData& mesh, float size, int cells, float repeat);

// The point of face `face` (+x, -x, +y, -y, +z, -z) of the cube [-1, 1]³ at
// (u, v) in 0 ... 1, as MeshData::addBox lays out the faces: a sky painter
// looks up the direction of each texel through it.
D3DXVECTOR3 unitCubeFacePoint(int face, float u, float v);
