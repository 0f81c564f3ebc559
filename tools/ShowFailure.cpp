#include "tools/ShowFailure.h"

#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "script/ScriptItem.h"
#include "script/Show.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace {

// The show's message boxes while a catcher lives: each is held until it is
// known whether the show goes on or ends, one line per box either way, with
// the script line it came from once the script runs.
struct HeldBoxes {
  std::string pending;
  const Scripter* scripter = nullptr;  // set while the script runs
} g_boxes;

// "FILE:LINE: COMMAND: " of the item executing, or nothing outside the run.
std::string whereInScript() {
  const Scripter* s = g_boxes.scripter;
  if (!s || s->current >= s->items.size()) return {};
  const ScriptItem& item = *s->items[s->current];
  return item.placeAndText() + ": ";
}

int holdBox(const char* text, const char* caption, UINT) {
  printHeldBox();
  // "Error" adds nothing to a message; the captions of music and movies do.
  const std::string cap = caption ? caption : "";
  g_boxes.pending = whereInScript() + (cap.empty() || cap == "Error" ? "" : cap + ": ") + (text ? text : "");
  return IDOK;
}

[[noreturn]] void throwShowFatal(UINT) {
  std::string message = g_boxes.pending.empty() ? whereInScript() + "the show stopped" : g_boxes.pending;
  g_boxes.pending.clear();
  throw ShowFatal{message};
}

// Watches the parse: a missing first script is noted, and a line the player
// would refuse ends the show with its place.
class ScriptWatch final : public ScriptParseObserver {
 public:
  void scriptFile(const std::string& file, bool found, const std::string& includedFrom, int) override {
    if (!found && includedFrom.empty()) missing = file;
    if (files) files->push_back(file);
  }
  void refusedLine(const std::string& file, int line, const std::string& text, const std::string& message) override {
    throw ShowFatal{file + ":" + std::to_string(line) + ": " + text + ": " + message};
  }
  std::string missing;
  std::vector<std::string>* files = nullptr;
};

}  // namespace

ShowFailureCatcher::ShowFailureCatcher() {
  g_boxes = HeldBoxes{};
  SetMessageBoxHook(holdBox);
  SetMessageBoxEcho(false);
  SetExitProcessHook(throwShowFatal);
}

ShowFailureCatcher::~ShowFailureCatcher() {
  printHeldBox();
  g_boxes = HeldBoxes{};
  SetExitProcessHook(nullptr);
  SetMessageBoxEcho(true);
  SetMessageBoxHook(nullptr);
}

void printHeldBox() {
  if (g_boxes.pending.empty()) return;
  std::fprintf(stderr, "vxtool: %s\n", g_boxes.pending.c_str());
  std::fflush(stderr);
  g_boxes.pending.clear();
}

ScriptRunning::ScriptRunning(const Show& show) { g_boxes.scripter = show.scripter(); }
ScriptRunning::~ScriptRunning() { g_boxes.scripter = nullptr; }

bool startShow(Show& show, const std::string& archive, std::string* error, std::vector<std::string>* scriptFiles,
               const std::string& script) {
  ScriptWatch watch;
  watch.files = scriptFiles;
  struct Unwatch {
    Show& show;
    ~Unwatch() { show.scripter()->parseObserver = nullptr; }
  } unwatch{show};
  show.scripter()->parseObserver = &watch;
  show.Start(script.c_str());
  if (watch.missing.empty()) return true;
  std::error_code ec;
  const std::string folder = std::filesystem::current_path(ec).string();
  *error = "no script '" + watch.missing + "': not in " + (archive.empty() ? "" : "the archive '" + archive + "' nor in ") +
           "the folder '" + folder + "'" + (archive.empty() ? " (and no --archive given)" : "");
  return false;
}
