#include "render/VertexBuffer.h"

#include "platform/os/Process.h"
#include "render/IndexBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <unordered_map>

namespace {

// Smoothing-group identity of a vertex: its position as bit patterns plus
// its smoothing key. Float equality on finite values is bit equality except
// for the two zeros, so -0.0 is folded onto +0.0 before hashing; NaN never
// equals anything and such vertices get no twins at all.
struct TwinKey {
  std::uint32_t x, y, z, key;
  bool operator==(const TwinKey& o) const { return x == o.x && y == o.y && z == o.z && key == o.key; }
};

struct TwinKeyHash {
  std::size_t operator()(const TwinKey& k) const {
    // 64-bit mix of the four words (splitmix64 finaliser); positions on a
    // grid differ in few low mantissa bits, so plain xor would collide.
    std::uint64_t h = (std::uint64_t(k.x) << 32 | k.y) * 0x9E3779B97F4A7C15ull;
    h ^= (std::uint64_t(k.z) << 32 | k.key) + 0xBF58476D1CE4E5B9ull + (h << 6) + (h >> 2);
    h ^= h >> 30;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 27;
    h *= 0x94D049BB133111EBull;
    h ^= h >> 31;
    return std::size_t(h);
  }
};

std::uint32_t canonicalBits(float v) {
  if (v == 0.0f) return 0;  // -0.0 == +0.0
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

void trackMax(float v, float& m) {
  const float a = std::fabs(v);
  if (a > m) m = a;  // NaN never raises the maximum
}

D3DXVECTOR3 normalized(const D3DXVECTOR3& v) {
  // D3DXVec3Normalize maps the zero vector to zero (no NaN): a vertex no
  // triangle uses, or whose triangles all have a degenerate uv2 mapping,
  // gets a zero normal, tangent or binormal.
  D3DXVECTOR3 out;
  D3DXVec3Normalize(&out, &v);
  return out;
}

}  // namespace

VertexBuffer::VertexBuffer(std::uint32_t objectId, SceneGraph* owner, std::uint32_t count)
    : Base(objectId, owner), links(count), vertexCount(count), vertices(std::size_t(count) * 64, 0) {}

VertexBuffer::~VertexBuffer() {
  if (deviceBuffer != nullptr) deviceBuffer->Release();
  deviceBuffer = nullptr;
}

std::uint32_t VertexBuffer::usableVertexCount() const {
  const std::size_t inMemory = vertices.size() / sizeof(LitVertex);
  return std::uint32_t(std::min<std::size_t>({std::size_t(vertexCount), inMemory, links.size()}));
}

float VertexBuffer::BoundValue() const {
  float mx = 0.0f, my = 0.0f, mz = 0.0f;
  const std::uint32_t n = std::uint32_t(std::min<std::size_t>(vertexCount, vertices.size() / sizeof(LitVertex)));
  for (std::uint32_t i = 0; i < n; ++i) {
    const D3DXVECTOR3& p = vertexAt(i)->position;
    trackMax(p.x, mx);
    trackMax(p.y, my);
    trackMax(p.z, mz);
  }
  return mx * mx + my * my + mz * mz;
}

void VertexBuffer::BuildAdjacency(const IndexBuffer& ib) {
  // Rebuilding replaces the previous lists: the triangle pointers of the
  // old lists would point into the array that is replaced here.
  if (links.size() < vertexCount) links.resize(vertexCount);
  for (VertexLinks& link : links) {
    link.triangles.clear();
    link.twins.clear();
  }

  triangleCount = ib.triangleCount;
  triangles.assign(triangleCount, TriangleFrame{});
  const std::uint32_t n = usableVertexCount();

  // Index values at or past the vertex count (a damaged file), and indices
  // missing from a short index array, keep their triangle but get no link
  // entry: the other corners still list the triangle, and
  // ComputeTriangleFrames gives such a triangle a zero frame, so it adds
  // nothing to any vertex.
  for (std::uint32_t t = 0; t < triangleCount; ++t) {
    TriangleFrame& frame = triangles[t];
    for (int c = 0; c < 3; ++c) {
      const std::size_t at = std::size_t(t) * 3 + std::size_t(c);
      frame.index[c] = at < ib.indices.size() ? ib.indices[at] : 0xFFFFFFFFu;
      if (frame.index[c] < n) links[frame.index[c]].triangles.push_back(&frame);
    }
  }

  // Twins: vertices grouped by (position, key); each member's list is the
  // other members in ascending index order, as the pairwise loop over
  // a < b would append them. Expected time linear in the vertex count plus
  // the size of the lists written; that size is quadratic in the size of a
  // group, so a mesh with thousands of vertices on one point (a damaged or
  // collapsed export) costs as much memory as the pairwise rule implies.
  std::unordered_map<TwinKey, std::uint32_t, TwinKeyHash> groupOf;
  groupOf.reserve(n);
  std::vector<std::vector<std::uint32_t>> groups;
  for (std::uint32_t v = 0; v < n; ++v) {
    const D3DXVECTOR3& p = vertexAt(v)->position;
    if (std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z)) continue;
    const TwinKey key{canonicalBits(p.x), canonicalBits(p.y), canonicalBits(p.z), links[v].smoothingKey};
    auto [slot, inserted] = groupOf.try_emplace(key, std::uint32_t(groups.size()));
    if (inserted) groups.emplace_back();
    groups[slot->second].push_back(v);
  }
  for (const std::vector<std::uint32_t>& members : groups) {
    if (members.size() < 2) continue;
    for (std::uint32_t v : members) {
      std::vector<std::uint32_t>& twins = links[v].twins;
      twins.reserve(members.size() - 1);
      for (std::uint32_t w : members)
        if (w != v) twins.push_back(w);
    }
  }
}

void VertexBuffer::ComputeTriangleFrames() {
  const std::uint32_t n = usableVertexCount();
  const D3DXVECTOR3 zero(0.0f, 0.0f, 0.0f);
  for (TriangleFrame& frame : triangles) {
    frame.normal = frame.tangent = frame.binormal = zero;
    if (frame.index[0] >= n || frame.index[1] >= n || frame.index[2] >= n) continue;
    const LitVertex& v0 = *vertexAt(frame.index[0]);
    const LitVertex& v1 = *vertexAt(frame.index[1]);
    const LitVertex& v2 = *vertexAt(frame.index[2]);

    const D3DXVECTOR3 e1 = v1.position - v0.position;
    const D3DXVECTOR3 e2 = v2.position - v0.position;
    D3DXVECTOR3 cross;
    D3DXVec3Cross(&cross, &e1, &e2);
    frame.normal = normalized(cross);

    // Tangent (direction of increasing s) and binormal (increasing u) of the
    // uv2 mapping, solved per axis from the two edges. The determinant does
    // not depend on the axis, so a degenerate mapping (|det| <= 0.0001, or
    // NaN) leaves the whole frame's tangent and binormal at zero.
    const float ds1 = v1.uv2[0] - v0.uv2[0], du1 = v1.uv2[1] - v0.uv2[1];
    const float ds2 = v2.uv2[0] - v0.uv2[0], du2 = v2.uv2[1] - v0.uv2[1];
    const float det = du2 * ds1 - ds2 * du1;
    if (!(std::fabs(det) > 0.0001f)) continue;
    const float e1k[3] = {e1.x, e1.y, e1.z};
    const float e2k[3] = {e2.x, e2.y, e2.z};
    float t[3], b[3];
    for (int k = 0; k < 3; ++k) {
      t[k] = (du2 * e1k[k] - du1 * e2k[k]) / det;
      b[k] = (ds1 * e2k[k] - ds2 * e1k[k]) / det;
    }
    frame.tangent = D3DXVECTOR3(t[0], t[1], t[2]);
    frame.binormal = D3DXVECTOR3(b[0], b[1], b[2]);
  }
}

void VertexBuffer::ComputeVertexFrames() {
  const std::uint32_t n = usableVertexCount();
  const D3DXVECTOR3 zero(0.0f, 0.0f, 0.0f);

  // Each vertex's own face-normal sum first, so that a twin adds its whole
  // sum in one step instead of walking its triangle list again.
  std::vector<D3DXVECTOR3> ownNormals(n, zero);
  for (std::uint32_t v = 0; v < n; ++v)
    for (const TriangleFrame* tri : links[v].triangles) ownNormals[v] += tri->normal;

  for (std::uint32_t v = 0; v < n; ++v) {
    D3DXVECTOR3 normal = ownNormals[v];
    for (std::uint32_t w : links[v].twins)
      if (w < n) normal += ownNormals[w];
    // Twins smooth the normal only: tangent and binormal stay per vertex.
    D3DXVECTOR3 tangent = zero, binormal = zero;
    for (const TriangleFrame* tri : links[v].triangles) {
      tangent += tri->tangent;
      binormal += tri->binormal;
    }
    LitVertex& vertex = *vertexAt(v);
    vertex.normal = normalized(normal);
    // Stored negated: the per-pixel lighting expects the reversed frame.
    vertex.tangent = -normalized(tangent);
    vertex.binormal = -normalized(binormal);
  }
}

void VertexBuffer::Upload() {
  ComputeTriangleFrames();
  ComputeVertexFrames();
  // A buffer whose mesh could not be linked has no device copy; a vertex
  // controller may still move its vertices.
  if (deviceBuffer == nullptr) return;
  void* data = nullptr;
  if (FAILED(deviceBuffer->Lock(0, 0, &data, 0)) || data == nullptr)
    FatalMessage("Error", 0, "Vertex buffer lock failed!");
  const std::size_t bytes = std::min<std::size_t>(std::size_t(vertexCount) * stride, vertices.size());
  std::memcpy(data, vertices.data(), bytes);
  deviceBuffer->Unlock();
}

MultiVertexBuffer::MultiVertexBuffer(std::uint32_t objectId, SceneGraph* owner, std::uint32_t count,
                                     std::uint32_t frameCount)
    : VertexBuffer(objectId, owner, count), frames(frameCount, std::vector<float>(std::size_t(count) * 3, 0.0f)) {}

float MultiVertexBuffer::BoundValue() const {
  float mx = 0.0f, my = 0.0f, mz = 0.0f;
  for (const std::vector<float>& frame : frames) {
    for (std::size_t i = 0; i + 2 < frame.size(); i += 3) {
      trackMax(frame[i], mx);
      trackMax(frame[i + 1], my);
      trackMax(frame[i + 2], mz);
    }
  }
  return mx * mx + my * my + mz * mz;
}
