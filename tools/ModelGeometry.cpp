#include "tools/ModelGeometry.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

std::vector<MeshPiece> splitMesh(const aiMesh& mesh, std::uint32_t materialId, std::size_t limit,
                                 std::size_t* skippedFaces) {
  std::vector<MeshPiece> pieces;
  *skippedFaces = 0;
  auto fresh = [&] {
    pieces.emplace_back();
    pieces.back().mesh = &mesh;
    pieces.back().materialId = materialId;
    return &pieces.back();
  };

  if (mesh.mNumVertices <= limit) {
    MeshPiece* piece = fresh();
    piece->vertices.resize(mesh.mNumVertices);
    for (std::uint32_t i = 0; i < mesh.mNumVertices; ++i) piece->vertices[i] = i;
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
      const aiFace& face = mesh.mFaces[f];
      if (face.mNumIndices != 3) {
        ++*skippedFaces;
        continue;
      }
      piece->indices.insert(piece->indices.end(), face.mIndices, face.mIndices + 3);
    }
    return pieces;
  }

  // Greedy: triangles in source order until the next one would need a
  // vertex beyond the limit. remap[source] = index in the current piece.
  std::vector<std::int64_t> remap(mesh.mNumVertices, -1);
  MeshPiece* piece = fresh();
  for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
    const aiFace& face = mesh.mFaces[f];
    if (face.mNumIndices != 3) {
      ++*skippedFaces;
      continue;
    }
    std::size_t added = 0;
    for (unsigned k = 0; k < 3; ++k) added += remap[face.mIndices[k]] < 0;
    if (piece->vertices.size() + added > limit) {
      for (std::uint32_t source : piece->vertices) remap[source] = -1;
      piece = fresh();
    }
    for (unsigned k = 0; k < 3; ++k) {
      const std::uint32_t source = face.mIndices[k];
      if (remap[source] < 0) {
        remap[source] = std::int64_t(piece->vertices.size());
        piece->vertices.push_back(source);
      }
      piece->indices.push_back(std::uint32_t(remap[source]));
    }
  }
  if (piece->indices.empty()) pieces.pop_back();
  return pieces;
}

namespace {

void appendPiece(VertexBatch& batch, const MeshPiece& piece, const ModelSpace& space) {
  const aiMesh& mesh = *piece.mesh;
  const std::uint32_t base = std::uint32_t(batch.vertexCount());
  // The second set is the first where the model has only one.
  const aiVector3D* uvA = mesh.mTextureCoords[0];
  const aiVector3D* uvB = mesh.mTextureCoords[1] ? mesh.mTextureCoords[1] : uvA;
  for (std::uint32_t source : piece.vertices) {
    const aiVector3D p = space.point(mesh.mVertices[source]);
    batch.positions.insert(batch.positions.end(), {p.x, p.y, p.z});
    aiVector3D n(0, 0, 0);
    if (mesh.mNormals) {
      n = space.direction(mesh.mNormals[source]);
      const float length = n.Length();
      if (length > 0) n /= length;
    }
    batch.normals.insert(batch.normals.end(), {n.x, n.y, n.z});
    batch.uv1.insert(batch.uv1.end(), {uvA ? uvA[source].x : 0.0f, uvA ? uvA[source].y : 0.0f});
    batch.uv2.insert(batch.uv2.end(), {uvB ? uvB[source].x : 0.0f, uvB ? uvB[source].y : 0.0f});
  }
  const std::uint32_t start = std::uint32_t(batch.indices.size());
  // The mirror into scene axes turns every triangle over; swapping two
  // corners turns it back so its front stays its front.
  for (std::size_t t = 0; t + 2 < piece.indices.size(); t += 3) {
    batch.indices.push_back(base + piece.indices[t]);
    batch.indices.push_back(base + piece.indices[t + 2]);
    batch.indices.push_back(base + piece.indices[t + 1]);
  }
  const std::uint32_t count = std::uint32_t(batch.indices.size()) - start;
  if (!batch.submeshes.empty() && batch.submeshes.back().materialId == piece.materialId &&
      batch.submeshes.back().startIndex + batch.submeshes.back().indexCount == start)
    batch.submeshes.back().indexCount += count;
  else
    batch.submeshes.push_back({piece.materialId, start, count});
}

}  // namespace

std::vector<VertexBatch> packPieces(std::vector<MeshPiece> pieces, const ModelSpace& space, std::size_t limit) {
  std::stable_sort(pieces.begin(), pieces.end(),
                   [](const MeshPiece& a, const MeshPiece& b) { return a.materialId < b.materialId; });
  std::vector<VertexBatch> batches;
  for (const MeshPiece& piece : pieces) {
    if (piece.indices.empty()) continue;
    if (batches.empty() || batches.back().vertexCount() + piece.vertices.size() > limit) batches.emplace_back();
    appendPiece(batches.back(), piece, space);
  }
  for (VertexBatch& batch : batches) assignSmoothingKeys(batch);
  return batches;
}

void assignSmoothingKeys(VertexBatch& batch) {
  // Positions compared bit for bit, as the player's twin search does.
  using Position = std::array<std::uint32_t, 3>;
  struct Known {
    float normal[3];
    std::uint32_t key;
  };
  std::map<Position, std::vector<Known>> seen;
  const std::size_t count = batch.vertexCount();
  batch.smoothingKeys.assign(count, 0);
  // Normals within about 2.5 degrees count as the same.
  constexpr float kSameDirection = 0.999f;
  for (std::size_t v = 0; v < count; ++v) {
    Position at;
    std::memcpy(at.data(), &batch.positions[v * 3], sizeof at);
    const float* n = &batch.normals[v * 3];
    std::vector<Known>& here = seen[at];
    std::uint32_t key = std::uint32_t(here.size());
    for (const Known& k : here) {
      if (k.normal[0] * n[0] + k.normal[1] * n[1] + k.normal[2] * n[2] >= kSameDirection) {
        key = k.key;
        break;
      }
    }
    if (key == here.size()) here.push_back({{n[0], n[1], n[2]}, key});
    batch.smoothingKeys[v] = key;
  }
}

std::vector<aiVector3D> deformedPositions(const aiMesh& mesh, const aiNode& holder, const aiScene& scene,
                                          const ModelAnimation& animation,
                                          const std::unordered_map<const aiNode*, aiMatrix4x4>& globals, double ms) {
  std::vector<aiVector3D> base(mesh.mVertices, mesh.mVertices + mesh.mNumVertices);

  // Morph targets hold whole positions; each adds weight × (target - base).
  if (mesh.mNumAnimMeshes > 0) {
    const aiMeshMorphAnim* channel = animation.morphChannel(&holder);
    std::vector<float> weights(mesh.mNumAnimMeshes, 0.0f);
    if (channel) weights = animation.morphWeights(*channel, mesh.mNumAnimMeshes, ms);
    else
      for (unsigned k = 0; k < mesh.mNumAnimMeshes; ++k) weights[k] = mesh.mAnimMeshes[k]->mWeight;
    std::vector<aiVector3D> morphed = base;
    for (unsigned k = 0; k < mesh.mNumAnimMeshes; ++k) {
      const aiAnimMesh* target = mesh.mAnimMeshes[k];
      if (weights[k] == 0.0f || target->mVertices == nullptr || target->mNumVertices != mesh.mNumVertices) continue;
      for (unsigned v = 0; v < mesh.mNumVertices; ++v) morphed[v] += (target->mVertices[v] - base[v]) * weights[k];
    }
    base.swap(morphed);
  }
  if (mesh.mNumBones == 0) return base;

  // Bones: mesh space -> bone space at bind (offset), then the bone's
  // global transform now, then back into the holder's space now.
  auto globalOf = [&](const aiNode* node) {
    const auto found = globals.find(node);
    return found == globals.end() ? aiMatrix4x4() : found->second;
  };
  aiMatrix4x4 toHolder = globalOf(&holder);
  toHolder.Inverse();
  std::vector<aiVector3D> skinned(mesh.mNumVertices, aiVector3D(0, 0, 0));
  std::vector<float> weightSum(mesh.mNumVertices, 0.0f);
  for (unsigned b = 0; b < mesh.mNumBones; ++b) {
    const aiBone* bone = mesh.mBones[b];
    const aiNode* node = scene.mRootNode->FindNode(bone->mName);
    if (node == nullptr) continue;
    const aiMatrix4x4 m = toHolder * globalOf(node) * bone->mOffsetMatrix;
    for (unsigned w = 0; w < bone->mNumWeights; ++w) {
      const aiVertexWeight& vw = bone->mWeights[w];
      if (vw.mVertexId >= mesh.mNumVertices) continue;
      skinned[vw.mVertexId] += (m * base[vw.mVertexId]) * vw.mWeight;
      weightSum[vw.mVertexId] += vw.mWeight;
    }
  }
  // Weights are normalised; a vertex no bone holds keeps its place.
  for (unsigned v = 0; v < mesh.mNumVertices; ++v)
    base[v] = weightSum[v] > 0 ? skinned[v] / weightSum[v] : base[v];
  return base;
}
