#pragma once
// Drawable geometry attached to a node: one vertex buffer, one index buffer,
// cut into submeshes, each a run of triangles drawn with one material.
#include "scene/Base.h"
#include "scene/ObjectRef.h"
#include "scene/Preparable.h"

#include <cstdint>
#include <vector>

class Group;
class SubMesh;
class VertexBuffer;
class IndexBuffer;

class Mesh : public Preparable, public Base {
 public:
  Mesh(std::uint32_t id, SceneGraph* scene);

  void update(bool) override {}
  // A mesh has no control fields: every name is fatal ("Mesh: Invalid
  // control field!").
  float* getControlField(const char* name) override;
  // Adjacency, device vertex buffer, bound value, upload, device index
  // buffer and its upload. Creation and lock failures are fatal.
  void link() override;

  // D3DTS_WORLD = the node's world matrix.
  void setWorldTransform(const Group* node);
  // Stream 0 = the vertex buffer (offset 0, its stride); indices = the index
  // buffer.
  void bindBuffers();

  float boundValue = 0.0f;            // the vertex buffer's BoundValue (a squared length)
  std::vector<SubMesh*> submeshes;    // file order; not owned
  ObjectRef vertexBufferRef;          // VertexBuffer or MultiVertexBuffer
  ObjectRef indexBufferRef;           // IndexBuffer
};

// Its scene id comes from the scene's counter, not from the file.
class SubMesh : public Base {
 public:
  SubMesh(std::uint32_t id, SceneGraph* scene) : Base(id, scene), materialRef(scene) {}
  void link() override;

  ObjectRef materialRef;
  Mesh* mesh = nullptr;               // owning mesh
  std::uint32_t indexCount = 0;       // three per triangle
  std::uint32_t startIndex = 0;       // first index in the mesh's index buffer
  std::uint32_t firstTriangle = 0;    // as stored in the file
};
