#pragma once
// "loadmusic", "playmusic", "setvolume", "stopmusic", "freemusic".
#include "script/SlotItem.h"

#include <cstdint>

class LoadMusic final : public LoadSlotItem {
 public:
  using LoadSlotItem::LoadSlotItem;
  bool Execute(float t) override;
};

class PlayMusic final : public ScriptItem {
 public:
  PlayMusic(Scripter* s, std::string text, std::string name_, std::int32_t startPosition_)
      : ScriptItem(s, std::move(text)), name(std::move(name_)), startPosition(startPosition_) {}
  bool Execute(float t) override;
  std::string name;
  std::int32_t startPosition;  // ms into the stream
};

class SetVolume final : public ScriptItem {
 public:
  SetVolume(Scripter* s, std::string text, std::int32_t volume_) : ScriptItem(s, std::move(text)), volume(volume_) {}
  bool Execute(float t) override;
  std::int32_t volume;  // 0 silent ... 255 full
};

class StopMusic final : public ScriptItem {
 public:
  using ScriptItem::ScriptItem;
  bool Execute(float t) override;
};

class FreeMusic final : public SlotItem {
 public:
  using SlotItem::SlotItem;
  bool Execute(float t) override;
};
