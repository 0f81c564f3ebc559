#pragma once
// Drives one float control field of a scene object through time-value keys,
// interpolating linearly between neighbouring keys and optionally repeating
// the key range.
#include "scene/Controller.h"

#include <vector>

class Preparable;

struct KeyFloat {
  float time;   // ms of scene time
  float value;
};

class KeyframeFloatController : public Controller {
 public:
  // Asks the target for the field's address once; an unknown name ends the
  // process there (or, for targets that tolerate it, leaves the field null).
  KeyframeFloatController(Preparable* target, const char* fieldName, bool looping);

  // Appends; firstTime / lastTime follow the smallest / largest time.
  void addKey(const KeyFloat& key);
  // Ascending time; keys of equal time keep no defined order.
  void sortKeys();

  // Writes the value at t into the field, then target->update(false).
  // Without keys, or without a field, nothing is written and the target is
  // not told anything.
  void update(float t) override;

  float firstTime = 1e10f;   // smallest key time; 1e10 while there is no key
  float lastTime = -1e10f;   // largest key time; -1e10 while there is no key
  bool looping;
  std::vector<KeyFloat> keys;  // in the order added
  Preparable* target;
  float* field;                // null when the target did not know the name
};
