#pragma once
// Drives a node's whole PRS through keys: position and scale blend linearly,
// the rotation is interpolated spherically; the node and its subtree are
// recomputed after every write.
#include "scene/Controller.h"
#include "scene/PRS.h"

#include <vector>

class Group;

struct KeyPRS {
  float time;  // ms of scene time
  PRS prs;
};
static_assert(sizeof(KeyPRS) == 44, "a PRS key is a time and ten floats");

class KeyframePRSController : public Controller {
 public:
  KeyframePRSController(Group* target, bool looping) : looping(looping), target(target) {}

  void addKey(const KeyPRS& key);
  void sortKeys();

  // Writes the PRS at t into the target, then target->update(true). Without
  // keys nothing is written.
  void update(float t) override;

  float firstTime = 1e10f;
  float lastTime = -1e10f;
  bool looping;
  std::vector<KeyPRS> keys;
  Group* target;
};
