#include "tools/showgen/Geometry.h"

#include <cmath>
#include <numbers>

namespace {

constexpr float kTau = 2.0f * std::numbers::pi_v<float>;

D3DXVECTOR3 cross(const D3DXVECTOR3& a, const D3DXVECTOR3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
float dot(const D3DXVECTOR3& a, const D3DXVECTOR3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
D3DXVECTOR3 normalised(const D3DXVECTOR3& v) {
  const float length = std::sqrt(dot(v, v));
  return length > 0.0f ? v / length : v;
}

// A point of the unit cube's face (+x, -x, +y, -y, +z, -z) at (u, v) in
// 0 ... 1, parameterised so that du x dv points out of the cube and, on the
// side faces, v runs from the top (+z) down.
D3DXVECTOR3 cubeFacePoint(int face, float u, float v) {
  const float s = 2.0f * u - 1.0f, t = 2.0f * v - 1.0f;
  switch (face) {
    case 0: return {1.0f, -s, -t};
    case 1: return {-1.0f, s, -t};
    case 2: return {s, 1.0f, -t};
    case 3: return {-s, -1.0f, -t};
    case 4: return {s, t, 1.0f};
    default: return {s, -t, -1.0f};
  }
}

}  // namespace

D3DXVECTOR3 unitCubeFacePoint(int face, float u, float v) { return cubeFacePoint(face, u, v); }

void MeshData::beginPart() {
  if (!m_parts.empty()) m_parts.back().indexCount = std::uint32_t(m_indices.size()) - m_parts.back().startIndex;
  else if (!m_indices.empty()) m_parts.push_back({0, std::uint32_t(m_indices.size())});
  m_parts.push_back({std::uint32_t(m_indices.size()), 0});
}

std::uint32_t MeshData::addVertex(const D3DXVECTOR3& position, float u, float v, std::uint32_t smoothingKey) {
  m_positions.push_back(position);
  m_uv.push_back(u);
  m_uv.push_back(v);
  m_keys.push_back(smoothingKey);
  return vertexCount() - 1;
}

void MeshData::addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c, const D3DXVECTOR3& outward) {
  const D3DXVECTOR3 face = cross(m_positions[b] - m_positions[a], m_positions[c] - m_positions[a]);
  if (dot(face, outward) < 0.0f) std::swap(b, c);
  m_indices.insert(m_indices.end(), {a, b, c});
  if (!m_parts.empty()) m_parts.back().indexCount = std::uint32_t(m_indices.size()) - m_parts.back().startIndex;
}

void MeshData::addSurface(int columns, int rows, float uRepeat, float vRepeat, std::uint32_t smoothingKey,
                          const std::function<D3DXVECTOR3(float, float)>& surface,
                          const std::function<D3DXVECTOR3(const D3DXVECTOR3&)>& outward) {
  // Mirror v where du x dv points into the surface, so that the texture
  // space keeps its handedness (see the header). Tested away from the
  // parameter edges, where spheres and tubes have no poles or seams.
  const float h = 1e-3f, u0 = 0.37f, v0 = 0.41f;
  const D3DXVECTOR3 p0 = surface(u0, v0);
  const D3DXVECTOR3 du = surface(u0 + h, v0) - p0, dv = surface(u0, v0 + h) - p0;
  const bool mirror = dot(cross(du, dv), outward(p0)) < 0.0f;

  const std::uint32_t first = vertexCount();
  for (int j = 0; j <= rows; ++j)
    for (int i = 0; i <= columns; ++i) {
      const float u = float(i) / float(columns), v = float(j) / float(rows);
      addVertex(surface(u, mirror ? 1.0f - v : v), u * uRepeat, v * vRepeat, smoothingKey);
    }
  auto at = [&](int i, int j) { return first + std::uint32_t(j * (columns + 1) + i); };
  // Where the surface closes on itself (a seam where u or v wraps round, a
  // pole where a whole row meets in one point) the rounding of sin and cos
  // leaves the meeting vertices a hair apart; they are made exactly equal,
  // so that the player smooths their normals together.
  auto close = [](const D3DXVECTOR3& a, const D3DXVECTOR3& b) {
    const D3DXVECTOR3 d = a - b;
    return dot(d, d) < 1e-8f;
  };
  for (int j = 0; j <= rows; ++j) {
    if (close(m_positions[at(columns, j)], m_positions[at(0, j)])) m_positions[at(columns, j)] = m_positions[at(0, j)];
    bool pole = true;
    for (int i = 1; i <= columns && pole; ++i) pole = close(m_positions[at(i, j)], m_positions[at(0, j)]);
    if (pole)
      for (int i = 1; i <= columns; ++i) m_positions[at(i, j)] = m_positions[at(0, j)];
  }
  for (int i = 0; i <= columns; ++i)
    if (close(m_positions[at(i, rows)], m_positions[at(i, 0)])) m_positions[at(i, rows)] = m_positions[at(i, 0)];
  for (int j = 0; j < rows; ++j)
    for (int i = 0; i < columns; ++i) {
      const std::uint32_t a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
      const D3DXVECTOR3 centre = (m_positions[a] + m_positions[b] + m_positions[c] + m_positions[d]) * 0.25f;
      const D3DXVECTOR3 out = outward(centre);
      addTriangle(a, b, c, out);
      addTriangle(a, c, d, out);
    }
}

void MeshData::addBox(const D3DXVECTOR3& low, const D3DXVECTOR3& high, float uRepeat, float vRepeat, bool inside,
                      bool facePerPart, float uvInset) {
  const D3DXVECTOR3 centre = (low + high) * 0.5f, half = (high - low) * 0.5f;
  const std::uint32_t firstKey = vertexCount() + 1;
  const float span = 1.0f - 2.0f * uvInset;
  for (int face = 0; face < 6; ++face) {
    if (facePerPart) beginPart();
    const D3DXVECTOR3 normal = cubeFacePoint(face, 0.5f, 0.5f);
    const std::uint32_t base = vertexCount();
    for (int corner = 0; corner < 4; ++corner) {
      const float u = float(corner == 1 || corner == 2), v = float(corner >= 2);
      const D3DXVECTOR3 p = cubeFacePoint(face, u, v);
      addVertex({centre.x + p.x * half.x, centre.y + p.y * half.y, centre.z + p.z * half.z},
                (uvInset + span * u) * uRepeat, (uvInset + span * v) * vRepeat, firstKey + std::uint32_t(face));
    }
    const D3DXVECTOR3 out = inside ? -normal : normal;
    addTriangle(base, base + 1, base + 2, out);
    addTriangle(base, base + 2, base + 3, out);
  }
}

vxk::VertexRecord MeshData::vertexRecord() const {
  vxk::VertexRecord record;
  record.attributeFlags = vxk::kVertexUv1 | vxk::kVertexUv2 | vxk::kVertexSmoothingKey;
  record.vertexCount = vertexCount();
  record.frames.emplace_back();
  for (const D3DXVECTOR3& p : m_positions) record.frames[0].insert(record.frames[0].end(), {p.x, p.y, p.z});
  record.uv1 = m_uv;
  record.uv2 = m_uv;
  record.smoothingKeys = m_keys;
  return record;
}

std::vector<vxk::SubMeshRecord> MeshData::submeshes(const std::vector<std::uint32_t>& materialIds) const {
  std::vector<Part> parts = m_parts;
  if (parts.empty()) parts.push_back({0, std::uint32_t(m_indices.size())});
  std::vector<vxk::SubMeshRecord> records;
  for (std::size_t i = 0; i < parts.size(); ++i)
    records.push_back({.firstTriangle = parts[i].startIndex / 3,
                       .materialId = materialIds[std::min(i, materialIds.size() - 1)],
                       .startIndex = parts[i].startIndex,
                       .indexCount = parts[i].indexCount});
  return records;
}

void addSphere(MeshData& mesh, float radius, int segments, int rings, float uRepeat, float vRepeat) {
  mesh.addSurface(
      segments, rings, uRepeat, vRepeat, 1,
      [=](float u, float v) {
        const float theta = std::numbers::pi_v<float> * v, phi = -kTau * u;
        return D3DXVECTOR3{radius * std::sin(theta) * std::cos(phi), radius * std::sin(theta) * std::sin(phi),
                           radius * std::cos(theta)};
      },
      [](const D3DXVECTOR3& p) { return p; });
}

void addTorus(MeshData& mesh, float radius, float tubeRadius, float flatten, int segments, int sides, float uRepeat,
              float vRepeat) {
  mesh.addSurface(
      segments, sides, uRepeat, vRepeat, 1,
      [=](float u, float v) {
        const float alpha = -kTau * u, beta = -kTau * v;
        const float ring = radius + tubeRadius * std::cos(beta);
        return D3DXVECTOR3{ring * std::cos(alpha), ring * std::sin(alpha), flatten * tubeRadius * std::sin(beta)};
      },
      [=](const D3DXVECTOR3& p) {
        const float r = std::hypot(p.x, p.y);
        return D3DXVECTOR3{p.x - p.x / r * radius, p.y - p.y / r * radius, p.z};
      });
}

namespace {

D3DXVECTOR3 knotCurve(int p, int q, float radius, float t) {
  const float phi = kTau * t;
  const float r = (2.0f + std::cos(float(q) * phi)) * radius / 3.0f;
  return {r * std::cos(float(p) * phi), r * std::sin(float(p) * phi), -std::sin(float(q) * phi) * radius / 3.0f};
}

}  // namespace

void addTorusKnot(MeshData& mesh, int p, int q, float radius, float tubeRadius, int segments, int sides, float uRepeat,
                  float vRepeat) {
  // A frame along the curve: tangent T, and N, B perpendicular to it, N
  // turned towards the curve's midpoint direction (P1 + P2), which has no
  // flips for these knots.
  auto frame = [=](float t, D3DXVECTOR3* centre, D3DXVECTOR3* n, D3DXVECTOR3* b) {
    const D3DXVECTOR3 p1 = knotCurve(p, q, radius, t), p2 = knotCurve(p, q, radius, t + 0.001f);
    const D3DXVECTOR3 tangent = p2 - p1;
    *b = normalised(cross(tangent, p2 + p1));
    *n = normalised(cross(*b, tangent));
    *centre = p1;
  };
  mesh.addSurface(
      segments, sides, uRepeat, vRepeat, 1,
      [=](float u, float v) {
        D3DXVECTOR3 centre, n, b;
        frame(u, &centre, &n, &b);
        const float angle = kTau * v;
        return centre + (n * std::cos(angle) + b * std::sin(angle)) * tubeRadius;
      },
      [=](const D3DXVECTOR3& point) {
        // The nearest point of the curve, by a search fine enough for the
        // tube's thickness.
        float best = 1e30f;
        D3DXVECTOR3 nearest{};
        for (int i = 0; i < 720; ++i) {
          const D3DXVECTOR3 c = knotCurve(p, q, radius, float(i) / 720.0f);
          const float d = dot(point - c, point - c);
          if (d < best) best = d, nearest = c;
        }
        return point - nearest;
      });
}

void addFloor(MeshData& mesh, float size, int cells, float repeat) {
  mesh.addSurface(
      cells, cells, repeat, repeat, 1,
      [=](float u, float v) { return D3DXVECTOR3{size * (u - 0.5f), size * (v - 0.5f), 0.0f}; },
      [](const D3DXVECTOR3&) { return D3DXVECTOR3{0.0f, 0.0f, 1.0f}; });
}
