#pragma once
// Switches the scene to one camera at given times (ms), optionally repeating
// the list every loopLength ms. At most one switch happens per update, even
// when several times have passed since the last one.
#include "scene/Controller.h"

#include <cstdint>
#include <vector>

class Camera;

class CameraActivatorController : public Controller {
 public:
  CameraActivatorController(Camera* camera, bool looping) : camera(camera), looping(looping) {}

  // The loader adds the times one by one, then calls finish (sorts them,
  // arms the first), then sets loopLength.
  void addTime(std::uint32_t time) { times.push_back(time); }
  void finish();

  void update(float t) override;

  static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

  std::vector<std::uint32_t> times;  // ascending after finish
  Camera* camera;
  std::uint32_t nextTime = kNone;    // the next switch, base included; kNone = no more
  std::uint32_t base = 0;            // start of the current repetition
  std::uint32_t loopLength = 0;
  bool looping;
};
