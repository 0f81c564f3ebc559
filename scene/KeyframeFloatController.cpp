#include "scene/KeyframeFloatController.h"

#include "scene/KeyframeSearch.h"
#include "scene/Preparable.h"

#include <algorithm>

KeyframeFloatController::KeyframeFloatController(Preparable* owner, const char* fieldName, bool repeat)
    : looping(repeat), target(owner), field(owner->getControlField(fieldName)) {}

void KeyframeFloatController::addKey(const KeyFloat& key) {
  keys.push_back(key);
  firstTime = std::min(firstTime, key.time);
  lastTime = std::max(lastTime, key.time);
}

void KeyframeFloatController::sortKeys() {
  std::sort(keys.begin(), keys.end(), [](const KeyFloat& a, const KeyFloat& b) { return a.time < b.time; });
}

void KeyframeFloatController::update(float t) {
  // A field the target did not know (an animated texture's unknown name) has
  // nowhere to go; nothing changed, so the target is not updated either.
  if (keys.empty() || field == nullptr) return;
  const KeySpan span = locateKeyframe(keys, firstTime, lastTime, looping, t);
  switch (span.kind) {
    case KeySpan::kFirst:
      *field = keys.front().value;
      break;
    case KeySpan::kLast:
      *field = keys.back().value;
      break;
    case KeySpan::kBetween: {
      const KeyFloat& prev = keys[span.next - 1];
      const KeyFloat& next = keys[span.next];
      *field = (1.0f - span.s) * prev.value + span.s * next.value;
      break;
    }
  }
  target->update(false);
}
