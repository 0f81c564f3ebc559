#include "script/TimeCommands.h"

#include "script/Scripter.h"

#include <cstdio>

namespace {
std::string progressText(float total, float left) {
  char text[64];
  std::snprintf(text, sizeof text, "Wait %d (Left: %d)", int(total), int(left));
  return text;
}
}  // namespace

bool SetTime::Execute(float t) {
  scripter->timeOffset = t - time + scripter->timeOffset;
  return true;
}

bool SetFlashTime::Execute(float t) {
  scripter->flashStart = t - time;
  return true;
}

bool Wait::Execute(float t) {
  if (start == -1.0f) start = t;
  text = progressText(duration, start + duration - t);
  return start + duration < t;
}

bool WaitUntil::Execute(float t) {
  text = progressText(time, time - t);
  return t > time;
}
