#pragma once
// "settime", "setflashtime", "wait", "waituntil".
#include "script/ScriptItem.h"

class SetTime final : public ScriptItem {
 public:
  SetTime(Scripter* s, std::string text, float time_) : ScriptItem(s, std::move(text)), time(time_) {}
  bool Execute(float t) override;
  float time;  // ms
};

class SetFlashTime final : public ScriptItem {
 public:
  SetFlashTime(Scripter* s, std::string text, float time_) : ScriptItem(s, std::move(text)), time(time_) {}
  bool Execute(float t) override;
  float time;  // ms
};

// Holds the timeline for `duration` ms after the frame it is first reached.
class Wait final : public ScriptItem {
 public:
  Wait(Scripter* s, std::string text, float duration_) : ScriptItem(s, std::move(text)), duration(duration_) {}
  bool Execute(float t) override;
  float duration;      // ms
  float start = -1.0f;  // script time of the first run; -1 until then
};

// Holds the timeline until the script time passes `time`.
class WaitUntil final : public ScriptItem {
 public:
  WaitUntil(Scripter* s, std::string text, float time_) : ScriptItem(s, std::move(text)), time(time_) {}
  bool Execute(float t) override;
  float time;  // ms
};
