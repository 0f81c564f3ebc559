#include "scene/VertexController.h"

#include "render/VertexBuffer.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Positions a frame can give: a frame shorter than the buffer (a damaged
// file) fills only what it holds.
std::size_t positionsIn(const MultiVertexBuffer& buffer, const std::vector<float>& frame) {
  const std::size_t held = buffer.stride == 0 ? 0 : buffer.vertices.size() / buffer.stride;
  return std::min({std::size_t(buffer.vertexCount), held, frame.size() / 3});
}

void copyFrame(MultiVertexBuffer& buffer, const std::vector<float>& frame) {
  const std::size_t count = positionsIn(buffer, frame);
  for (std::size_t i = 0; i < count; ++i) {
    D3DXVECTOR3& p = buffer.vertexAt(std::uint32_t(i))->position;
    p = D3DXVECTOR3(frame[3 * i], frame[3 * i + 1], frame[3 * i + 2]);
  }
}

void blendFrames(MultiVertexBuffer& buffer, const std::vector<float>& lo, const std::vector<float>& hi, float w) {
  const std::size_t count = std::min(positionsIn(buffer, lo), positionsIn(buffer, hi));
  for (std::size_t i = 0; i < count; ++i) {
    float* p = buffer.vertexAt(std::uint32_t(i))->position;
    for (std::size_t c = 0; c < 3; ++c) p[c] = (hi[3 * i + c] - lo[3 * i + c]) * w + lo[3 * i + c];
  }
}

}  // namespace

void VertexController::update(float t) {
  // A buffer without frames has nothing to show, and a NaN time no place
  // among them: the vertices stay as they are and are not uploaded again.
  if (target == nullptr || target->frames.empty() || std::isnan(t)) return;
  const std::vector<std::vector<float>>& frames = target->frames;

  const float length = float(loopLength);
  // A zero loop length cannot wrap (the loop would never end), so such a
  // controller plays once. Very long times are reduced in one step; the
  // repeated subtraction stays for the usual few periods so that results
  // match it exactly.
  if (looping && length > 0.0f) {
    if (t / length > 1e6f) t = std::fmod(t, length);
    while (t > length) t -= length;
  }

  const float start = float(startTime);
  const float end = float(endTime);
  if (t < start) {
    copyFrame(*target, frames.front());
  } else if (t > end || !(end > start)) {
    // An empty time range (endTime ≤ startTime) has no frame spacing; it
    // shows the last frame as soon as its start has come.
    copyFrame(*target, frames.back());
  } else {
    // Rounding may push t = endTime a hair past the last frame index.
    const float last = float(frames.size() - 1);
    const float f = std::min(last, last * (t - start) / (end - start));
    const float lo = std::floor(f);
    if (f == std::trunc(f)) {
      copyFrame(*target, frames[std::size_t(f)]);
    } else {
      const float hi = std::ceil(f);
      blendFrames(*target, frames[std::size_t(lo)], frames[std::size_t(hi)], f - lo);
    }
  }
  target->Upload();
}
