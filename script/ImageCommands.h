#pragma once
// "loadimage", "createcolor", "freeimage": pictures, image sequences and
// colour rectangles in the image slots, which layers show.
#include "script/SlotItem.h"

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
