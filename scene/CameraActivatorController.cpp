#include "scene/CameraActivatorController.h"

#include "scene/Camera.h"
#include "scene/SceneGraph.h"

#include <algorithm>

void CameraActivatorController::finish() {
  std::sort(times.begin(), times.end());
  nextTime = times.empty() ? kNone : times.front();
  base = 0;
}

void CameraActivatorController::update(float t) {
  if (camera == nullptr || times.empty()) return;
  if (float(loopLength) < t && !looping) return;
  if (float(nextTime) >= t) return;

  camera->scene->SetActiveCamera(camera);

  // Times and base are unsigned: the sums wrap modulo 2³² as stored.
  const std::uint32_t previous = nextTime;
  nextTime = kNone;
  for (std::uint32_t time : times) {
    if (time + base > previous) {
      nextTime = time + base;
      break;
    }
  }
  if (nextTime == kNone && looping) {
    base += loopLength;
    nextTime = times.front() + base;
  }
}
