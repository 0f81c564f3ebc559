#include "scene/KeyframePRSController.h"

#include "scene/Group.h"
#include "scene/KeyframeSearch.h"

#include <algorithm>

void KeyframePRSController::addKey(const KeyPRS& key) {
  keys.push_back(key);
  firstTime = std::min(firstTime, key.time);
  lastTime = std::max(lastTime, key.time);
}

void KeyframePRSController::sortKeys() {
  std::sort(keys.begin(), keys.end(), [](const KeyPRS& a, const KeyPRS& b) { return a.time < b.time; });
}

void KeyframePRSController::update(float t) {
  if (keys.empty() || target == nullptr) return;
  const KeySpan span = locateKeyframe(keys, firstTime, lastTime, looping, t);
  PRS& out = target->prs;
  switch (span.kind) {
    case KeySpan::kFirst:
      out = keys.front().prs;
      break;
    case KeySpan::kLast:
      out = keys.back().prs;
      break;
    case KeySpan::kBetween: {
      const PRS& prev = keys[span.next - 1].prs;
      const PRS& next = keys[span.next].prs;
      const float s = span.s;
      out.position = prev.position + (next.position - prev.position) * s;
      out.scale = prev.scale + (next.scale - prev.scale) * s;
      D3DXQuaternionSlerp(&out.rotation, &prev.rotation, &next.rotation, s);
      break;
    }
  }
  target->update(true);
}
