#pragma once
// A show run inside a tool, where the player would show a message box and
// end the process: the boxes are held, and an exit becomes a ShowFatal
// exception carrying the box's text at the script line that showed it
// ("demo.vxc:12: loadimage a.png a: ..."), so that the tool reports it and
// carries on (a render returns an error, a preview shows it in its window).
#include <string>
#include <vector>

class Show;

struct ShowFatal {
  std::string message;
};

// While one lives: every message box is held until it is known whether the
// show goes on (it is then printed as one "vxtool: " line on standard error,
// by printHeldBox or the next box) or ends (the process's exit throws
// ShowFatal with it). Message boxes do not echo themselves meanwhile. One at
// a time per process.
class ShowFailureCatcher {
 public:
  ShowFailureCatcher();
  ~ShowFailureCatcher();  // prints a box still held; hooks and echo restored
  ShowFailureCatcher(const ShowFailureCatcher&) = delete;
  ShowFailureCatcher& operator=(const ShowFailureCatcher&) = delete;
};

// Prints the box held, if any, as "vxtool: TEXT".
void printHeldBox();

// While one lives, boxes name the script line of the show's item running.
class ScriptRunning {
 public:
  explicit ScriptRunning(const Show& show);
  ~ScriptRunning();
  ScriptRunning(const ScriptRunning&) = delete;
  ScriptRunning& operator=(const ScriptRunning&) = delete;
};

// Parses the script (the player's "demo.vxc" unless a tool names another)
// into the show (Show::Start). A line the player would
// refuse throws ShowFatal with its place; a missing script returns false
// with *error naming where it was looked for (archive: the --archive given,
// empty when none). Every script file asked for, found or not, is added to
// *scriptFiles when given.
bool startShow(Show& show, const std::string& archive, std::string* error,
               std::vector<std::string>* scriptFiles = nullptr, const std::string& script = "demo.vxc");
