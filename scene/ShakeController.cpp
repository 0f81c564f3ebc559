#include "scene/ShakeController.h"

#include "scene/Group.h"

#include <cmath>

ShakeController::ShakeController(Group* node, float start, float periodParameter, float maximum, int shakeAxis,
                                 float attackStep, float decayStep)
    : target(node),
      startTime(start),
      period(periodParameter),
      maxAmplitude(maximum),
      axis(shakeAxis),
      attack(attackStep),
      decay(decayStep),
      amplitude(attackStep * maximum) {}

void ShakeController::update(float t) {
  if (!active || target == nullptr) return;

  // One oscillation every `period` × 0.001 ms of scene time (6.2831855 is
  // 2π in single precision). A zero period has no oscillation: the angle
  // stays 0 rather than becoming NaN and spoiling the node's rotation.
  const float cycle = period * 0.001f;
  const float angle = cycle != 0.0f ? std::sin(((t - startTime) / cycle) * 6.2831855f) * amplitude : 0.0f;

  D3DXQUATERNION q;
  D3DXQuaternionRotationYawPitchRoll(&q, axis == 0 ? angle : 0.0f, axis == 1 ? angle : 0.0f,
                                     axis == 2 ? angle : 0.0f);
  D3DXQUATERNION& rotation = target->prs.rotation;
  D3DXQuaternionMultiply(&rotation, &q, &rotation);

  if (!decaying) {
    amplitude += attack * maxAmplitude;
    if (amplitude >= maxAmplitude) {
      amplitude = maxAmplitude;
      decaying = true;
    }
  } else {
    amplitude -= decay * maxAmplitude;
    if (amplitude <= 0.0f) {
      amplitude = 0.0f;
      active = false;
    }
  }
  target->update(true);
}
