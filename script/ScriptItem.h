#pragma once
// One command of the show's script. The parser builds one item per command
// line; the Scripter executes items in order, once per frame, until each
// reports that it is finished.
#include <string>

class Scripter;

class ScriptItem {
 public:
  ScriptItem(Scripter* scripter_, std::string text_) : text(std::move(text_)), scripter(scripter_) {}
  virtual ~ScriptItem() = default;

  // t: script time in ms. True when the command is finished; only the waits
  // return false (they are executed again next frame).
  virtual bool Execute(float t) = 0;

  std::string text;    // the trimmed source line; waits write their progress here
  Scripter* scripter;  // not owned
  // Where the line came from: the script file as named (by the player or an
  // "include") and its line in an editor's count (1-based, every line feed
  // counted). Only tools read these; messages of the player keep its own count.
  std::string sourceFile;
  int sourceLine = 0;

  // "FILE:LINE", and "FILE:LINE: TEXT", as tools name the line.
  std::string place() const { return sourceFile + ":" + std::to_string(sourceLine); }
  std::string placeAndText() const { return place() + ": " + text; }
};
