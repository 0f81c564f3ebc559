#pragma once
// Shakes a node (the active camera, when the script asks for it) by a
// sinusoidal rotation about one axis whose amplitude rises, then falls to
// zero. The rotation is applied on top of whatever rotation the node has, so
// on a node that no keyframe controller resets each frame the shakes add up.
#include "scene/Controller.h"

class Group;

class ShakeController : public Controller {
 public:
  // startTime: ms of scene time; period: see update; maxAmplitude: radians;
  // axis: 0 yaw, 1 pitch, 2 roll; attack / decay: fractions of
  // maxAmplitude added / removed per update.
  ShakeController(Group* target, float startTime, float period, float maxAmplitude, int axis, float attack,
                  float decay);

  // Once per call, not per unit of time: the amplitude rises by attack ×
  // maxAmplitude until it reaches maxAmplitude, then falls by decay ×
  // maxAmplitude until 0, when the controller goes inactive for good. A shake
  // therefore lasts about 1/attack + 1/decay frames.
  void update(float t) override;

  Group* target;
  float startTime;
  float period;
  float maxAmplitude;
  int axis;
  float attack;
  float decay;
  bool active = true;
  float amplitude;        // current bound of the angle, radians
  bool decaying = false;
};
