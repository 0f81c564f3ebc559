#pragma once
// A mesh's triangle list: 16-bit indices, three per triangle, with a
// system-memory copy filled by the loader and a managed device buffer
// created when the owning mesh is linked.
#include "platform/gfx/Device.h"
#include "scene/Base.h"

#include <cstdint>
#include <vector>

class IndexBuffer : public Base {
 public:
  IndexBuffer(std::uint32_t id, SceneGraph* scene) : Base(id, scene) {}
  ~IndexBuffer() override;

  // Locks the whole device buffer and copies triangleCount × 6 bytes. A
  // lock failure is fatal ("Index buffer lock failed!").
  void Upload();

  std::uint32_t triangleCount = 0;             // index count / 3
  IDirect3DIndexBuffer9* deviceBuffer = nullptr;  // owned
  std::vector<std::uint16_t> indices;          // 3 × triangleCount
};
