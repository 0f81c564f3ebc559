#pragma once
// "loadflash", "playflash", "stopflash", "freeflash". Movies are loaded into
// the hidden movie host and configured; nothing draws them.
#include "script/SlotItem.h"

#include <cstdint>

class LoadFlash final : public LoadSlotItem {
 public:
  using LoadSlotItem::LoadSlotItem;
  bool Execute(float t) override;
};

class PlayFlash final : public ScriptItem {
 public:
  PlayFlash(Scripter* s, std::string text, std::string name_, std::int32_t quality_, std::int32_t mode_)
      : ScriptItem(s, std::move(text)), name(std::move(name_)), quality(quality_), mode(mode_) {}
  bool Execute(float t) override;
  std::string name;
  std::int32_t quality;
  std::int32_t mode;
};

class StopFlash final : public ScriptItem {
 public:
  using ScriptItem::ScriptItem;
  bool Execute(float t) override;
};

class FreeFlash final : public SlotItem {
 public:
  using SlotItem::SlotItem;
  bool Execute(float t) override;
};
