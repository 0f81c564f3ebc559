#include "render/IndexBuffer.h"

#include "platform/os/Process.h"

#include <algorithm>
#include <cstring>

IndexBuffer::~IndexBuffer() {
  if (deviceBuffer != nullptr) deviceBuffer->Release();
  deviceBuffer = nullptr;
}

void IndexBuffer::Upload() {
  if (deviceBuffer == nullptr) return;
  void* data = nullptr;
  if (FAILED(deviceBuffer->Lock(0, 0, &data, 0)) || data == nullptr)
    FatalMessage("Error", 0, "Index buffer lock failed!");
  // triangleCount × 6 bytes of 16-bit indices. A system copy shorter than
  // the count claims (a damaged file) fills the rest with index 0 rather
  // than reading past its end.
  const std::size_t bytes = std::size_t(triangleCount) * 6;
  const std::size_t have = std::min(bytes, indices.size() * sizeof(std::uint16_t));
  std::memcpy(data, indices.data(), have);
  std::memset(static_cast<std::uint8_t*>(data) + have, 0, bytes - have);
  deviceBuffer->Unlock();
}
