#pragma once
// Mesh vertices in the 64-byte lit-vertex layout, with a system-memory copy
// (filled by the loader) and a managed device buffer created when the owning
// mesh is linked. Before every upload the normals, tangents and binormals
// are recomputed from the triangles, with normals smoothed across vertices
// that share a position and a smoothing key ("twins").
#include "platform/d3dx/D3DXMath.h"
#include "platform/gfx/Device.h"
#include "scene/Base.h"

#include <cstdint>
#include <vector>

class IndexBuffer;

// Byte offsets of the lit vertex (64 bytes).
struct LitVertex {
  D3DXVECTOR3 position;  // 0
  D3DXVECTOR3 normal;    // 12, recomputed
  float uv1[2];          // 24, diffuse texture
  float uv2[2];          // 32, normal map; basis of the tangent frame
  D3DXVECTOR3 tangent;   // 40, recomputed (stored negated)
  D3DXVECTOR3 binormal;  // 52, recomputed (stored negated)
};
static_assert(sizeof(LitVertex) == 64, "lit vertex is 64 bytes");

// D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX4 | D3DFVF_TEXCOORDSIZE3(2) | D3DFVF_TEXCOORDSIZE3(3)
constexpr DWORD kLitVertexFVF = 0x500412;

struct TriangleFrame {
  std::uint32_t index[3];
  D3DXVECTOR3 normal;    // unit face normal
  D3DXVECTOR3 tangent;   // not normalised; zero for a degenerate uv2 mapping
  D3DXVECTOR3 binormal;
};

struct VertexLinks {
  std::vector<TriangleFrame*> triangles;  // one entry per use (a triangle naming the vertex twice is listed twice)
  std::uint32_t smoothingKey = 0;
  std::vector<std::uint32_t> twins;       // other vertices with an equal position and key, ascending
};

class VertexBuffer : public Base {
 public:
  VertexBuffer(std::uint32_t id, SceneGraph* scene, std::uint32_t vertexCount);
  ~VertexBuffer() override;

  // max|x|² + max|y|² + max|z|² over the positions; 0 without vertices.
  virtual float BoundValue() const;

  // Triangle frames from the index buffer, each vertex's triangle list, and
  // the twins: exactly the pairs with equal positions (float equality, so
  // -0 equals +0 and NaN equals nothing) and equal smoothing keys, found by
  // hashing rather than comparing every pair. Replaces earlier lists.
  // Index values past the vertices keep their triangle but no link entry.
  void BuildAdjacency(const IndexBuffer& ib);
  void ComputeTriangleFrames();
  void ComputeVertexFrames();
  // Recomputes the frames, locks the whole device buffer and copies the
  // vertices. A lock failure is fatal ("Vertex buffer lock failed!").
  // Without a device buffer (a mesh that was never linked) only the frames
  // are recomputed.
  void Upload();

  // Vertices that both `vertices` and `links` hold (normally vertexCount);
  // indices at or past it are never followed.
  std::uint32_t usableVertexCount() const;

  LitVertex* vertexAt(std::uint32_t i) { return reinterpret_cast<LitVertex*>(vertices.data()) + i; }
  const LitVertex* vertexAt(std::uint32_t i) const {
    return reinterpret_cast<const LitVertex*>(vertices.data()) + i;
  }

  std::vector<VertexLinks> links;          // one per vertex
  std::vector<TriangleFrame> triangles;    // built by BuildAdjacency
  std::uint32_t triangleCount = 0;
  std::uint32_t vertexCount;
  std::uint32_t stride = 64;
  DWORD fvf = kLitVertexFVF;
  IDirect3DVertexBuffer9* deviceBuffer = nullptr;  // owned
  std::vector<std::uint8_t> vertices;      // vertexCount × stride bytes
};

// A vertex buffer with whole-mesh animation frames: each frame holds one
// position (three floats) per vertex. The vertex controller writes a frame
// (or a blend of two) into the positions and uploads.
class MultiVertexBuffer : public VertexBuffer {
 public:
  MultiVertexBuffer(std::uint32_t id, SceneGraph* scene, std::uint32_t vertexCount, std::uint32_t frameCount);
  // Over the positions of every frame (not of the current vertices).
  float BoundValue() const override;

  std::vector<std::vector<float>> frames;  // frameCount × (vertexCount × 3)
};
