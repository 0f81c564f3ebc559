#pragma once
// The commands that load, play and act on 3D scenes.
#include "script/SlotItem.h"

#include <cstdint>

class LoadScene final : public LoadSlotItem {
 public:
  using LoadSlotItem::LoadSlotItem;
  bool Execute(float t) override;
};

class FreeScene final : public SlotItem {
 public:
  using SlotItem::SlotItem;
  bool Execute(float t) override;
};

class PlayScene final : public ScriptItem {
 public:
  PlayScene(Scripter* s, std::string text, std::string name_, float speed_)
      : ScriptItem(s, std::move(text)), name(std::move(name_)), speed(speed_) {}
  bool Execute(float t) override;
  std::string name;
  float speed;  // scene time per script time
};

class PlaySceneXFade final : public ScriptItem {
 public:
  PlaySceneXFade(Scripter* s, std::string text, std::string name_, float duration_, float offset_, float speed_)
      : ScriptItem(s, std::move(text)), name(std::move(name_)), duration(duration_), offset(offset_), speed(speed_) {}
  bool Execute(float t) override;
  std::string name;
  float duration;  // ms, without the file's base time
  float offset;    // the target scene's time at the start, ms
  float speed;
};

class StopScene final : public ScriptItem {
 public:
  using ScriptItem::ScriptItem;
  bool Execute(float t) override;
};

class SetSceneTime final : public ScriptItem {
 public:
  SetSceneTime(Scripter* s, std::string text, float time_) : ScriptItem(s, std::move(text)), time(time_) {}
  bool Execute(float t) override;
  float time;  // ms
};

class SetActiveCamera final : public ScriptItem {
 public:
  SetActiveCamera(Scripter* s, std::string text, std::string camera_)
      : ScriptItem(s, std::move(text)), camera(std::move(camera_)) {}
  bool Execute(float t) override;
  std::string camera;  // as written
};

class SetFogColor final : public ScriptItem {
 public:
  SetFogColor(Scripter* s, std::string text, std::string color_)
      : ScriptItem(s, std::move(text)), color(std::move(color_)) {}
  bool Execute(float t) override;
  std::string color;  // as written
};

class ShakeCamera final : public ScriptItem {
 public:
  ShakeCamera(Scripter* s, std::string text, float period_, float amplitude_, std::int32_t axis_, float attack_,
              float decay_)
      : ScriptItem(s, std::move(text)), period(period_), amplitude(amplitude_), axis(axis_), attack(attack_),
        decay(decay_) {}
  bool Execute(float t) override;
  float period;
  float amplitude;  // degrees
  std::int32_t axis;
  float attack;
  float decay;
};

class SetGlowAmount final : public ScriptItem {
 public:
  SetGlowAmount(Scripter* s, std::string text, float amount_) : ScriptItem(s, std::move(text)), amount(amount_) {}
  bool Execute(float t) override;
  float amount;
};

class SetGamma final : public ScriptItem {
 public:
  SetGamma(Scripter* s, std::string text, float gamma_) : ScriptItem(s, std::move(text)), gamma(gamma_) {}
  bool Execute(float t) override;
  float gamma;
};
