#pragma once
// Mesh geometry for vxtool convert: imported meshes cut to the player's
// 16-bit indices, packed into vertex batches (one vertex and one index
// buffer, one sub-mesh per material), converted into scene axes, given
// smoothing keys, and, for skinned and morphing meshes, deformed at any
// animation time.
#include "tools/ModelAnimation.h"
#include "tools/ModelSpace.h"

#include <assimp/mesh.h>

#include <cstdint>
#include <unordered_map>
#include <vector>

// Vertices one buffer can address with 16-bit indices.
constexpr std::size_t kMaxBufferVertices = 65536;

// Triangles of one mesh whose vertices fit one buffer: source vertex indices
// in buffer order, and triangles as indices into that list (source winding).
struct MeshPiece {
  const aiMesh* mesh = nullptr;
  std::uint32_t materialId = 0;  // file id of its material
  std::vector<std::uint32_t> vertices;
  std::vector<std::uint32_t> indices;
};

// The mesh's triangles in pieces of at most `limit` vertices each. A mesh
// that fits whole stays one piece with every vertex in source order.
// Faces that are not triangles (points, lines) are skipped and counted.
std::vector<MeshPiece> splitMesh(const aiMesh& mesh, std::uint32_t materialId, std::size_t limit,
                                 std::size_t* skippedFaces);

// One vertex buffer, its index buffer and its sub-meshes, in scene axes.
struct VertexBatch {
  struct SubMesh {
    std::uint32_t materialId;
    std::uint32_t startIndex;
    std::uint32_t indexCount;
  };
  std::vector<float> positions;  // 3 a vertex
  std::vector<float> normals;    // 3 a vertex, unit length
  std::vector<float> uv1, uv2;   // 2 a vertex; v down (row 0 of an image at v = 0)
  std::vector<std::uint32_t> smoothingKeys;
  std::vector<std::uint32_t> indices;  // scene winding (front faces clockwise)
  std::vector<SubMesh> submeshes;
  // Animated batches: one position array (3 a vertex) per baked frame.
  std::vector<std::vector<float>> frames;

  std::size_t vertexCount() const { return positions.size() / 3; }
};

// Packs pieces into as few batches as the vertex limit allows; pieces of one
// material are kept together so that each batch has one sub-mesh per
// material.
std::vector<VertexBatch> packPieces(std::vector<MeshPiece> pieces, const ModelSpace& space, std::size_t limit);

// Vertices at exactly the same position share a smoothing key where their
// normals agree (the player then averages their normals) and get different
// keys where they differ (a hard edge stays hard).
void assignSmoothingKeys(VertexBatch& batch);

// Positions of a skinned and/or morphing mesh at one time, in the space of
// the node that holds the mesh (source axes): morph targets blended first,
// then bones applied. globals: every node's global transform at that time.
std::vector<aiVector3D> deformedPositions(const aiMesh& mesh, const aiNode& holder, const aiScene& scene,
                                          const ModelAnimation& animation,
                                          const std::unordered_map<const aiNode*, aiMatrix4x4>& globals, double ms);

// Whether a mesh moves on its own: bones, or morph targets.
inline bool isDeforming(const aiMesh& mesh) { return mesh.mNumBones > 0 || mesh.mNumAnimMeshes > 0; }
