#pragma once
// The two shapes of slot command: a file loaded into a named slot, and a
// named slot alone. Slot names are lower case; file names keep their case.
#include "script/ScriptItem.h"

#include <string>
#include <utility>

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
