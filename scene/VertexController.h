#pragma once
// Morphs a mesh by writing one animation frame, or a linear blend of two
// neighbouring frames, into the positions of a MultiVertexBuffer and
// uploading it (which recomputes normals and tangents).
#include "scene/Controller.h"

#include <cstdint>

class MultiVertexBuffer;

class VertexController : public Controller {
 public:
  explicit VertexController(MultiVertexBuffer* target) : target(target) {}

  // Before startTime: the first frame; after endTime: the last; between:
  // frames spread evenly over [startTime, endTime]. Only positions are
  // written; uv sets keep their values.
  void update(float t) override;

  MultiVertexBuffer* target;
  bool looping = false;
  std::uint32_t loopLength = 0;  // ms; 0 never wraps
  std::uint32_t startTime = 0;   // ms
  std::uint32_t endTime = 0;     // ms; expected greater than startTime
};
