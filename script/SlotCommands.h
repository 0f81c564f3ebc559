#pragma once
// Loading, freeing and playing the named slots: images and colours, music
// streams and movies. Slot names are lower case; file names keep their case.
#include "script/ScriptItem.h"

#include <cstdint>

// A command that names a file and a slot.
class LoadSlotItem : public ScriptItem {
 public:
  LoadSlotItem(Scripter* s, std::string text, std::string file_, std::string name_)
      : ScriptItem(s, std::move(text)), file(std::move(file_)), name(std::move(name_)) {}
  std::string file;
  std::string name;
};

// A command that names a slot only.
class SlotItem : public ScriptItem {
 public:
  SlotItem(Scripter* s, std::string text, std::string name_) : ScriptItem(s, std::move(text)), name(std::move(name_)) {}
  std::string name;
};

class LoadImage final : public LoadSlotItem {
 public:
  using LoadSlotItem::LoadSlotItem;
  bool Execute(float t) override;
};

class CreateColor final : public ScriptItem {
 public:
  CreateColor(Scripter* s, std::string text, float red_, float green_, float blue_, std::string name_)
      : ScriptItem(s, std::move(text)), red(red_), green(green_), blue(blue_), name(std::move(name_)) {}
  bool Execute(float t) override;
  float red, green, blue;  // 0..1 for script values 0..255
  std::string name;
};

class FreeImage final : public SlotItem {
 public:
  using SlotItem::SlotItem;
  bool Execute(float t) override;
};

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
