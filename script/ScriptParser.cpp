// Scripter::LoadScript: one script file into items.
//
// Lines are split at line feeds (a run of them is one separator, so empty
// lines of an LF file are not counted); each line is trimmed of spaces, tabs,
// CR and LF; empty lines and lines starting with "#" are skipped but counted.
// Tokens are split at runs of spaces and tabs: the command (lower-cased) and
// up to five arguments, the rest ignored. Numbers read as atol / atof do.
#include "script/Scripter.h"

#include "archive/CFLArchive.h"
#include "archive/Configuration.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "script/LayerCommands.h"
#include "script/SceneCommands.h"
#include "script/SlotCommands.h"
#include "script/TimeCommands.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <unordered_map>

namespace {

struct Line {
  std::string text;  // trimmed
  std::string command;
  std::string arg[5];  // arg1..arg5, empty when absent
};

bool isTrimmed(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::int32_t atolValue(const std::string& s) { return ParseDecimalInt(s.c_str()); }
float atofValue(const std::string& s) { return float(ParseDecimalFloat(s.c_str())); }

// The whole file, or nothing when it is neither in the archive nor on disk.
// The archive is asked first: a script inside the show wins over a loose one.
bool readScript(const char* fileName, std::string* text) {
  if (g_archive && g_archive->Contains(fileName)) {
    const std::uint32_t size = g_archive->GetSize(fileName);
    if (size > 0x7FFFFFFEu) return false;
    std::vector<char> buffer(std::size_t(size) + 1, 0);
    const int copied = g_archive->ReadInto(fileName, buffer.data(), int(size));
    buffer[std::size_t(copied > 0 ? copied : 0)] = 0;
    text->assign(buffer.data());  // stops at the first zero byte, as a C string would
    return true;
  }
  // Only a regular file is a script: a device or a pipe ("/dev/zero",
  // "/dev/stdin") would never end, and a folder has no text.
  struct stat st;
  if (::stat(fileName, &st) != 0 || !S_ISREG(st.st_mode)) return false;
  std::FILE* f = std::fopen(fileName, "rb");
  if (!f) return false;
  std::string content;
  char chunk[65536];
  std::size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0) content.append(chunk, got);
  std::fclose(f);
  text->assign(content.c_str());
  return true;
}

using Builder = std::function<ScriptItem*(Scripter*, const Line&, float baseTime)>;

// Keyword -> item. Times and durations get the file's base time added;
// slot names are lower-cased; file, camera and colour texts keep their case.
const std::unordered_map<std::string, Builder>& builders() {
  static const std::unordered_map<std::string, Builder> table = {
      {"loadscene", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new LoadScene(s, l.text, l.arg[0], AsciiLower(l.arg[1])); }},
      {"loadflash", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new LoadFlash(s, l.text, l.arg[0], AsciiLower(l.arg[1])); }},
      {"loadmusic", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new LoadMusic(s, l.text, l.arg[0], AsciiLower(l.arg[1])); }},
      {"loadimage", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new LoadImage(s, l.text, l.arg[0], AsciiLower(l.arg[1])); }},
      {"createcolor", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         // Each channel: the integer taken as unsigned 32-bit, times 1/255.
         auto channel = [](const std::string& a) { return float(std::uint32_t(atolValue(a))) * (1.0f / 255.0f); };
         return new CreateColor(s, l.text, channel(l.arg[0]), channel(l.arg[1]), channel(l.arg[2]), AsciiLower(l.arg[3]));
       }},
      {"settime", [](Scripter* s, const Line& l, float b) -> ScriptItem* { return new SetTime(s, l.text, float(atolValue(l.arg[0])) + b); }},
      {"setflashtime", [](Scripter* s, const Line& l, float b) -> ScriptItem* { return new SetFlashTime(s, l.text, float(atolValue(l.arg[0])) + b); }},
      {"setscenetime", [](Scripter* s, const Line& l, float b) -> ScriptItem* { return new SetSceneTime(s, l.text, float(atolValue(l.arg[0])) + b); }},
      {"setbluramount", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetGlowAmount(s, l.text, atofValue(l.arg[0])); }},
      {"setgamma", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetGamma(s, l.text, atofValue(l.arg[0])); }},
      {"waituntil", [](Scripter* s, const Line& l, float b) -> ScriptItem* { return new WaitUntil(s, l.text, float(atolValue(l.arg[0])) + b); }},
      {"wait", [](Scripter* s, const Line& l, float b) -> ScriptItem* { return new Wait(s, l.text, float(atolValue(l.arg[0])) + b); }},
      {"playscene", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new PlayScene(s, l.text, AsciiLower(l.arg[0]), l.arg[1].empty() ? 1.0f : atofValue(l.arg[1]));
       }},
      {"xfadescene", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new PlaySceneXFade(s, l.text, AsciiLower(l.arg[0]), float(atolValue(l.arg[1])), float(atolValue(l.arg[2])),
                                   l.arg[3].empty() ? 1.0f : atofValue(l.arg[3]));
       }},
      {"setactivecamera", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetActiveCamera(s, l.text, l.arg[0]); }},
      {"setfogcolor", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetFogColor(s, l.text, l.arg[0]); }},
      {"shakecamera", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new ShakeCamera(s, l.text, atofValue(l.arg[0]), atofValue(l.arg[1]), atolValue(l.arg[2]),
                                atofValue(l.arg[3]), atofValue(l.arg[4]));
       }},
      {"playflash", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new PlayFlash(s, l.text, AsciiLower(l.arg[0]), atolValue(l.arg[1]), atolValue(l.arg[2]));
       }},
      {"playmusic", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new PlayMusic(s, l.text, AsciiLower(l.arg[0]), atolValue(l.arg[1])); }},
      {"setvolume", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetVolume(s, l.text, atolValue(l.arg[0])); }},
      {"setlayer", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetLayer(s, l.text, AsciiLower(l.arg[0]), atolValue(l.arg[1])); }},
      {"removelayer", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new RemoveLayer(s, l.text, atolValue(l.arg[0])); }},
      {"clearlayers", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new ClearLayers(s, l.text); }},
      {"setlayerpos", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new SetLayerPos(s, l.text, atolValue(l.arg[0]), atofValue(l.arg[1]), atofValue(l.arg[2]));
       }},
      {"setlayeralpha", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new SetLayerAlpha(s, l.text, atolValue(l.arg[0]), atofValue(l.arg[1])); }},
      {"setlayerposdelta", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new SetLayerPosDelta(s, l.text, atolValue(l.arg[0]), atofValue(l.arg[1]), atofValue(l.arg[2]));
       }},
      {"setlayeralphadelta", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new SetLayerAlphaDelta(s, l.text, atolValue(l.arg[0]), atofValue(l.arg[1]));
       }},
      {"setlayeradditive", [](Scripter* s, const Line& l, float) -> ScriptItem* {
         return new SetLayerAdditive(s, l.text, atolValue(l.arg[0]), atolValue(l.arg[1]) != 0);
       }},
      {"freescene", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new FreeScene(s, l.text, AsciiLower(l.arg[0])); }},
      {"freeflash", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new FreeFlash(s, l.text, AsciiLower(l.arg[0])); }},
      {"freemusic", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new FreeMusic(s, l.text, AsciiLower(l.arg[0])); }},
      {"freeimage", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new FreeImage(s, l.text, AsciiLower(l.arg[0])); }},
      {"stopscene", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new StopScene(s, l.text); }},
      {"stopflash", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new StopFlash(s, l.text); }},
      {"stopmusic", [](Scripter* s, const Line& l, float) -> ScriptItem* { return new StopMusic(s, l.text); }},
  };
  return table;
}

Line tokenize(std::string text) {
  Line line;
  line.text = std::move(text);
  std::size_t pos = 0;
  int index = -1;  // -1: the command
  while (index < 5) {
    while (pos < line.text.size() && (line.text[pos] == ' ' || line.text[pos] == '\t')) ++pos;
    if (pos == line.text.size()) break;
    const std::size_t end = line.text.find_first_of(" \t", pos);
    std::string token = line.text.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
    if (index < 0) line.command = AsciiLower(std::move(token));
    else line.arg[index] = std::move(token);
    ++index;
    if (end == std::string::npos) break;
    pos = end;
  }
  return line;
}

std::string scriptErrorText(const char* format, const std::string& a, const std::string& b, int lineNumber) {
  char text[1024];
  std::snprintf(text, sizeof text, format, a.c_str(), b.c_str(), lineNumber);
  return text;
}

[[noreturn]] void scriptError(const std::string& text) {
  MessageBoxA(nullptr, text.c_str(), "Error loading script", MB_OK);
  ExitProcess(0);
}

}  // namespace

std::vector<std::string> ScriptKeywords() {
  std::vector<std::string> keywords{"include"};
  for (const auto& entry : builders()) keywords.push_back(entry.first);
  return keywords;
}

void Scripter::LoadScript(const char* fileName, float baseTime) {
  loadScriptFile(fileName ? fileName : "", baseTime);
  // The run state starts over after every file, an included one included.
  current = 0;
  timeOffset = 0;
  sceneStart = 0;
  flashStart = 0;
}

void Scripter::loadScriptFile(const char* fileName, float baseTime) {
  std::string text;
  const bool found = readScript(fileName, &text);
  if (parseObserver)
    parseObserver->scriptFile(fileName, found, m_openScripts.empty() ? std::string() : m_openScripts.back(),
                              m_includeLine);
  if (!found) return;  // a missing script is not an error
  m_openScripts.push_back(fileName);

  int lineNumber = 0;  // the player's count: a run of line feeds is one
  int editorLine = 1;  // every line feed counts
  std::size_t pos = 0;
  while (pos < text.size()) {
    if (text[pos] == '\n') {  // a run of line feeds is one separator
      ++pos;
      ++editorLine;
      continue;
    }
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::size_t first = pos, last = end;
    pos = end;
    ++lineNumber;
    while (first < last && isTrimmed(text[first])) ++first;
    while (last > first && isTrimmed(text[last - 1])) --last;
    if (first == last || text[first] == '#') continue;

    const Line line = tokenize(text.substr(first, last - first));
    if (line.command == "include") {
      // An include of a file that is being parsed (itself, or one that
      // includes it) would never end: it is refused like a bad command.
      if (std::find(m_openScripts.begin(), m_openScripts.end(), line.arg[0]) != m_openScripts.end()) {
        const std::string message =
            scriptErrorText("Script %s includes itself again in script %s, line %d!", line.arg[0], fileName, lineNumber);
        if (!parseObserver) scriptError(message);
        parseObserver->refusedLine(fileName, editorLine, line.text, message);
        continue;
      }
      m_includeLine = editorLine;
      LoadScript(line.arg[0].c_str(), atofValue(line.arg[1]));
      continue;
    }
    auto builder = builders().find(line.command);
    if (builder == builders().end()) {
      const std::string message =
          scriptErrorText("Invalid command '%s' in script %s, line %d!", line.text, fileName, lineNumber);
      if (!parseObserver) scriptError(message);
      parseObserver->refusedLine(fileName, editorLine, line.text, message);
      continue;
    }
    ScriptItem* item = builder->second(this, line, baseTime);
    items.emplace_back(item);
    item->sourceFile = fileName;
    item->sourceLine = editorLine;
  }
  m_openScripts.pop_back();
}
