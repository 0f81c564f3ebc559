#include "scene/Mesh.h"

#include "platform/os/Process.h"
#include "render/IndexBuffer.h"
#include "render/StateCache.h"
#include "render/VertexBuffer.h"
#include "scene/Group.h"

Mesh::Mesh(std::uint32_t objectId, SceneGraph* owner)
    : Base(objectId, owner), vertexBufferRef(owner), indexBufferRef(owner) {}

float* Mesh::getControlField(const char*) { FatalMessage("Error", 0, "Mesh: Invalid control field!"); }

void Mesh::link() {
  IndexBuffer* ib = indexBufferRef.as<IndexBuffer>();
  VertexBuffer* vb = vertexBufferRef.as<VertexBuffer>();
  // A damaged file may name no buffer, or an object of another class: such
  // a mesh stays unlinked (bound value 0, no device buffers) and draws
  // nothing, instead of ending the show.
  if (ib == nullptr || vb == nullptr) return;

  vb->BuildAdjacency(*ib);
  // Two meshes sharing a buffer would otherwise create (and leak) a second
  // device copy; the first one is reused and refreshed.
  if (vb->deviceBuffer == nullptr && !stateCache->CreateDeviceVertexBuffer(*vb))
    FatalMessage("Error", 0, "Vertex buffer creation failed!");
  boundValue = vb->BoundValue();
  vb->Upload();
  if (ib->deviceBuffer == nullptr && !stateCache->CreateDeviceIndexBuffer(*ib))
    FatalMessage("Error", 0, "Index buffer creation failed!");
  ib->Upload();
}

void Mesh::setWorldTransform(const Group* node) {
  if (node == nullptr) return;
  stateCache->device->SetTransform(D3DTS_WORLD, &node->world);
}

void Mesh::bindBuffers() {
  // An unlinked mesh binds nothing (null buffers), so a draw after it fails
  // on the device rather than drawing the previous mesh's geometry.
  VertexBuffer* vb = vertexBufferRef.as<VertexBuffer>();
  IndexBuffer* ib = indexBufferRef.as<IndexBuffer>();
  stateCache->device->SetStreamSource(0, vb != nullptr ? vb->deviceBuffer : nullptr, 0,
                                      vb != nullptr ? vb->stride : 0);
  stateCache->device->SetIndices(ib != nullptr ? ib->deviceBuffer : nullptr);
}

void SubMesh::link() {
  if (mesh != nullptr) mesh->indexBufferRef.resolve();
}
