// The walk behind vxtool check. What it reports, beyond the player's own
// refusals (unknown commands, include loops, files that cannot be loaded,
// plays of empty slots):
//   errors:   a first script found nowhere (the player would play nothing);
//             an unknown command, with the nearest keyword;
//             music whose first second does not decode;
//   warnings: an include found nowhere (skipped silently by the player);
//             "setlayer" of an image slot never loaded or already freed;
//             a "waituntil" whose time has passed (after a "settime" jump
//             over it, or behind the waits before it), which lets the
//             commands after it run at once;
//             a "#" or other non-number where a number is expected (read as 0);
//             music still playing when the script ends;
//             the player's lesser messages (boxes after which loading goes on).
// A failure that only follows from an earlier one (a play of a slot whose
// load failed) is not reported again, and each problem is reported once.
#include "tools/ShowChecker.h"

#include "archive/CFLArchive.h"
#include "archive/ResourceFile.h"
#include "archive/ResourceLoader.h"
#include "audio/MP3Player.h"
#include "audio/MusicSystem.h"
#include "layers/FlashPlayer.h"
#include "layers/ImageBlitter.h"
#include "platform/gfx/D3D9Format.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/movie/AxHost.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "platform/sound/Mp3Decoder.h"
#include "platform/sound/SoundOffline.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/Texture.h"
#include "script/LayerCommands.h"
#include "script/SceneCommands.h"
#include "script/Scripter.h"
#include "script/SlotCommands.h"
#include "script/TimeCommands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>

namespace {

constexpr int kMixRate = 44100;          // the music system's mixing rate, Hz
constexpr int kDecodeCheckFrames = 44100;  // the first second of a tune is decoded

// The player's fatal exit, turned into an exception while the walk runs.
struct CheckFatal {
  UINT code;
};

struct Box {
  std::string caption, text;
};
std::vector<Box> g_boxes;  // shown since the last command started

int rememberBox(const char* text, const char* caption, UINT) {
  g_boxes.push_back({caption ? caption : "", text ? text : ""});
  return IDOK;
}
[[noreturn]] void throwFatal(UINT code) { throw CheckFatal{code}; }

std::string boxMessage(const Box& box) {
  // "Error" adds nothing to a message; the music and play captions do.
  return box.caption.empty() || box.caption == "Error" ? box.text : box.caption + ": " + box.text;
}

bool isRegularFile(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Found as the resource layer would: a loose regular file, else the archive.
bool resourceExists(const std::string& name) {
  return isRegularFile(name) || (g_archive && g_archive->Contains(name.c_str()));
}

bool endsWithSeq(const std::string& name) {
  return name.size() >= 3 && AsciiLower(name.substr(name.size() - 3)) == "seq";
}

// The file a loader's message names, or empty. The loaders' formats each
// hold one %s for the file.
std::string fileNamedBy(const std::string& message) {
  static const char* const kFormats[] = {kImageFileMissing, kTextureFileMissing, kSceneFileMissing,
                                         "Damaged chunk in file %s!", "Chunk header cut off at the end of file %s!",
                                         "Chunk runs past the end of file %s!"};
  for (const char* format : kFormats) {
    const std::string f = format;
    const std::size_t at = f.find("%s");
    const std::string prefix = f.substr(0, at), suffix = f.substr(at + 2);
    if (message.size() >= prefix.size() + suffix.size() && message.compare(0, prefix.size(), prefix) == 0 &&
        message.compare(message.size() - suffix.size(), suffix.size(), suffix) == 0)
      return message.substr(prefix.size(), message.size() - prefix.size() - suffix.size());
  }
  return "";
}

std::vector<std::string> tokens(const std::string& text) {
  std::vector<std::string> out;
  std::size_t pos = 0;
  while ((pos = text.find_first_not_of(" \t", pos)) != std::string::npos) {
    const std::size_t end = text.find_first_of(" \t", pos);
    out.push_back(text.substr(pos, end == std::string::npos ? std::string::npos : end - pos));
    pos = end;
  }
  return out;
}

// Argument positions (0 = the first argument) read as numbers, per keyword.
const std::map<std::string, std::vector<int>>& numericArguments() {
  static const std::map<std::string, std::vector<int>> table = {
      {"createcolor", {0, 1, 2}},      {"settime", {0}},          {"setflashtime", {0}},
      {"setscenetime", {0}},           {"setbluramount", {0}},    {"setgamma", {0}},
      {"waituntil", {0}},              {"wait", {0}},             {"playscene", {1}},
      {"xfadescene", {1, 2, 3}},       {"shakecamera", {0, 1, 2, 3, 4}}, {"playflash", {1, 2}},
      {"playmusic", {1}},              {"setvolume", {0}},        {"setlayer", {1}},
      {"removelayer", {0}},            {"setlayerpos", {0, 1, 2}}, {"setlayeralpha", {0, 1}},
      {"setlayerposdelta", {0, 1, 2}}, {"setlayeralphadelta", {0, 1}}, {"setlayeradditive", {0, 1}},
      {"include", {1}}};
  return table;
}

// What atol / atof would read a number from: optional blanks and sign, then
// a digit (or a point and a digit).
bool looksNumeric(const std::string& token) {
  std::size_t i = 0;
  if (i < token.size() && (token[i] == '+' || token[i] == '-')) ++i;
  if (i < token.size() && token[i] == '.') ++i;
  return i < token.size() && token[i] >= '0' && token[i] <= '9';
}

std::uint64_t textureBytes(IDirect3DTexture9* texture) {
  if (!texture) return 0;
  std::uint64_t bytes = 0;
  for (DWORD level = 0; level < texture->GetLevelCount(); ++level) {
    D3DSURFACE_DESC desc{};
    if (SUCCEEDED(texture->GetLevelDesc(level, &desc))) bytes += surfaceByteSize(desc.Format, desc.Width, desc.Height);
  }
  return bytes;
}

// Keeps standard error quiet while the player's code runs: its message boxes
// and debugger lines would repeat every problem the report gives.
class QuietStderr {
 public:
  explicit QuietStderr(bool quiet) {
    if (!quiet) return;
    std::fflush(stderr);
    m_saved = ::dup(2);
    const int null = ::open("/dev/null", O_WRONLY);
    if (m_saved >= 0 && null >= 0) ::dup2(null, 2);
    if (null >= 0) ::close(null);
  }
  ~QuietStderr() {
    if (m_saved < 0) return;
    std::fflush(stderr);
    ::dup2(m_saved, 2);
    ::close(m_saved);
  }
  QuietStderr(const QuietStderr&) = delete;
  QuietStderr& operator=(const QuietStderr&) = delete;

 private:
  int m_saved = -1;
};

class Walk final : public ScriptParseObserver {
 public:
  Walk(CheckReport* report, Scripter* scripter) : m_report(report), m_scripter(scripter) {}

  void scriptFile(const std::string& file, bool found, const std::string& includedFrom, int line) override {
    if (found) {
      useFile(file);
    } else if (includedFrom.empty()) {
      add(CheckProblem::Severity::Error, file, 0, "the script is neither in the archive nor a file: the player plays nothing", "");
    } else {
      add(CheckProblem::Severity::Warning, includedFrom, line,
          "include file " + file + " is neither in the archive nor a file: the player skips it", "");
    }
  }

  void refusedLine(const std::string& file, int line, const std::string& text, const std::string& message) override {
    std::string full = message;
    const std::vector<std::string> words = tokens(text);
    if (message.rfind("Invalid command", 0) == 0 && !words.empty()) {
      const std::string suggestion = nearestKeyword(AsciiLower(words[0]), ScriptKeywords());
      if (!suggestion.empty()) full += " (did you mean \"" + suggestion + "\"?)";
    }
    add(CheckProblem::Severity::Error, file, line, full, "");
  }

  void run() {
    for (std::size_t i = 0; i < m_scripter->items.size(); ++i) {
      m_scripter->current = std::uint32_t(i);
      step(*m_scripter->items[i]);
      const std::uint64_t bytes = loadedTextureBytes();
      if (bytes > m_report->summary.peakTextureBytes) {
        m_report->summary.peakTextureBytes = bytes;
        m_report->summary.peakAt = m_scripter->items[i]->place();
      }
    }
    finish();
  }

 private:

  void add(CheckProblem::Severity severity, const std::string& file, int line, const std::string& message,
           const std::string& command) {
    const std::string key = file + "\n" + std::to_string(line) + "\n" + message;
    if (!m_seen.insert(key).second) return;
    m_report->problems.push_back({severity, file, line, message, command});
  }
  void warnAt(const ScriptItem& item, const std::string& message) {
    add(CheckProblem::Severity::Warning, item.sourceFile, item.sourceLine, message, item.text);
  }
  void errorAt(const ScriptItem& item, const std::string& message) {
    add(CheckProblem::Severity::Error, item.sourceFile, item.sourceLine, message, item.text);
  }

  void useFile(const std::string& name) {
    if (!name.empty() && m_files.insert(name).second) m_report->files.push_back(name);
  }

  void step(ScriptItem& item) {
    checkNumbers(item);
    if (auto* wait = dynamic_cast<Wait*>(&item)) {
      const double d = std::max(0.0, double(wait->duration));
      m_t += d;
      m_wall += d;
      return;
    }
    if (auto* until = dynamic_cast<WaitUntil*>(&item)) {
      waitUntil(item, until->time);
      return;
    }
    if (auto* jump = dynamic_cast<SetTime*>(&item)) {
      if (jump->time > m_t) m_jump = {item.place(), m_t, double(jump->time), true};
      m_t = jump->time;
    }
    if (auto* layer = dynamic_cast<SetLayer*>(&item)) checkSetLayer(item, layer->image, layer->layer);

    // Plays of a slot whose load failed fail too; that is the load's problem.
    std::string slot;
    if (auto* p = dynamic_cast<PlayScene*>(&item)) slot = "scene:" + p->name;
    if (auto* p = dynamic_cast<PlaySceneXFade*>(&item)) slot = "scene:" + p->name;
    if (auto* p = dynamic_cast<PlayMusic*>(&item)) slot = "music:" + p->name;
    if (auto* p = dynamic_cast<PlayFlash*>(&item)) slot = "flash:" + p->name;
    const bool quietFailure = !slot.empty() && m_failedSlots.count(slot);

    g_boxes.clear();
    bool failed = false;
    try {
      item.Execute(float(m_t));
    } catch (const CheckFatal&) {
      failed = true;
    }
    const std::size_t lesser = failed && !g_boxes.empty() ? g_boxes.size() - 1 : g_boxes.size();
    for (std::size_t b = 0; b < lesser; ++b) lesserMessage(item, g_boxes[b]);
    if (failed) {
      if (!quietFailure) loadFailed(item, g_boxes.empty() ? Box{"Error", "the show ends here"} : g_boxes.back());
      markSlot(item, false);
      if (dynamic_cast<LoadMusic*>(&item)) InitMusicSystem();  // the failed open closed the music system
      return;
    }
    markSlot(item, true);
    afterLoad(item);
    if (auto* play = dynamic_cast<PlayMusic*>(&item)) {
      m_musicItem = &item;
      m_musicStartWall = m_wall;
      m_musicStartMs = play->startPosition;
    }
  }

  void waitUntil(const ScriptItem& item, float time) {
    if (time > m_t) {
      m_wall += time - m_t;
      m_t = time;
      return;
    }
    if (time >= m_t) return;
    char text[256];
    if (m_jump.valid && m_jump.from <= time && time < m_jump.to) {
      std::snprintf(text, sizeof text,
                    "waituntil %.0f lies before the \"settime\" jump to %.0f ms at %s: it passes at once and the "
                    "commands after it run at %.0f ms",
                    time, m_jump.to, m_jump.at.c_str(), m_t);
    } else {
      std::snprintf(text, sizeof text,
                    "waituntil %.0f is already past (the script time is %.0f ms here): it passes at once", time, m_t);
    }
    warnAt(item, text);
  }

  void checkNumbers(const ScriptItem& item) {
    const std::vector<std::string> words = tokens(item.text);
    if (words.empty()) return;
    auto entry = numericArguments().find(AsciiLower(words[0]));
    if (entry == numericArguments().end()) return;
    for (int position : entry->second) {
      const std::size_t at = std::size_t(position) + 1;
      if (at >= words.size() || looksNumeric(words[at])) continue;
      if (words[at][0] == '#')
        warnAt(item, "\"#\" where a number is expected (argument " + std::to_string(position + 1) +
                         "): the player reads 0; a comment needs a line of its own");
      else
        warnAt(item, "'" + words[at] + "' is not a number (argument " + std::to_string(position + 1) +
                         "): the player reads 0");
    }
  }

  void checkSetLayer(const ScriptItem& item, const std::string& image, std::int32_t layer) {
    if (m_scripter->images.count(image) || m_failedSlots.count("image:" + image)) return;
    auto freed = m_freedImages.find(image);
    if (freed != m_freedImages.end())
      warnAt(item, "image slot " + image + " was freed at " + freed->second + ": setlayer only removes layer " +
                       std::to_string(layer));
    else
      warnAt(item, "image slot " + image + " is not loaded by any earlier command: setlayer only removes layer " +
                       std::to_string(layer));
  }

  // Where a failure is reported: at the script line when the command's own
  // file is missing (or the command names no file); otherwise at the content
  // file that is damaged or names what is missing, with the command line.
  void loadFailed(const ScriptItem& item, const Box& box) {
    const std::string message = boxMessage(box);
    const auto* load = dynamic_cast<const LoadSlotItem*>(&item);
    if (!load || !resourceExists(load->file)) return errorAt(item, message);
    std::string file = fileNamedBy(box.text);
    if (file.empty() || !resourceExists(file)) file = load->file;
    add(CheckProblem::Severity::Error, file, 0, message, item.placeAndText());
  }

  void lesserMessage(const ScriptItem& item, const Box& box) {
    const auto* load = dynamic_cast<const LoadSlotItem*>(&item);
    if (load && resourceExists(load->file))
      add(CheckProblem::Severity::Warning, load->file, 0, boxMessage(box), item.placeAndText());
    else
      warnAt(item, boxMessage(box));
  }

  void markSlot(const ScriptItem& item, bool loaded) {
    std::string key, image;
    if (auto* p = dynamic_cast<const LoadScene*>(&item)) key = "scene:" + p->name;
    if (auto* p = dynamic_cast<const LoadMusic*>(&item)) key = "music:" + p->name;
    if (auto* p = dynamic_cast<const LoadFlash*>(&item)) key = "flash:" + p->name;
    if (auto* p = dynamic_cast<const LoadImage*>(&item)) key = "image:" + (image = p->name);
    if (auto* p = dynamic_cast<const CreateColor*>(&item)) key = "image:" + (image = p->name);
    if (auto* p = dynamic_cast<const FreeImage*>(&item)) {
      if (loaded) m_freedImages[p->name] = item.place();
      m_failedSlots.erase("image:" + p->name);
    }
    if (key.empty()) return;
    if (loaded) {
      m_failedSlots.erase(key);
      if (!image.empty()) m_freedImages.erase(image);
    } else {
      m_failedSlots.insert(key);
    }
  }

  void afterLoad(const ScriptItem& item) {
    CheckSummary& s = m_report->summary;
    if (auto* load = dynamic_cast<const LoadImage*>(&item)) {
      const bool fresh = m_files.count(load->file) == 0;
      useFile(load->file);
      if (endsWithSeq(load->file)) {
        s.sequences += fresh;
        useSequenceFrames(load->file);
      } else {
        s.pictures += fresh;
      }
    } else if (auto* colour = dynamic_cast<const CreateColor*>(&item)) {
      s.colours += m_colours.insert(colour->name).second;
    } else if (auto* load = dynamic_cast<const LoadMusic*>(&item)) {
      s.tunes += m_files.count(load->file) == 0;
      useFile(load->file);
      checkDecode(item, load->file);
    } else if (auto* load = dynamic_cast<const LoadFlash*>(&item)) {
      s.movies += m_files.count(load->file) == 0;
      useFile(load->file);
    } else if (auto* load = dynamic_cast<const LoadScene*>(&item)) {
      s.scenes += m_files.count(load->file) == 0;
      auto it = m_scripter->scenes.find(load->name);
      if (it != m_scripter->scenes.end()) useSceneFiles(*it->second);
    }
  }

  void useSequenceFrames(const std::string& file) {
    ResourceFile* f = ResOpen(file.c_str());
    if (!f) return;
    const std::string text(reinterpret_cast<const char*>(f->data), std::size_t(f->size));
    ResClose(f);
    for (const ImageSequenceFrame& frame : ParseImageSequence(text.c_str())) useFile(frame.file);
  }

  // Nested scene files (their loaders stay in the scene), textures, and the
  // sequence files and images of animated textures.
  void useSceneFiles(SceneGraph& scene) {
    for (Base* object : scene.objects) {
      if (auto* loader = dynamic_cast<SceneLoader*>(object)) {
        useFile(loader->fileName);
      } else if (auto* animated = dynamic_cast<AnimatedTexture*>(object)) {
        const std::string& name = animated->name;
        if (name.size() < 3) continue;  // the loader makes none such: the sequence is the name's last three letters
        const std::string sequence = name.substr(0, name.size() - 3) + "seq";
        useFile(sequence);
        if (std::find(m_report->looseOnlyFiles.begin(), m_report->looseOnlyFiles.end(), sequence) ==
            m_report->looseOnlyFiles.end())
          m_report->looseOnlyFiles.push_back(sequence);
        const std::int32_t count = animated->config.GetInt("images");
        if (count <= 0) useFile(name);
        for (std::int32_t i = 0; i < count; ++i) {
          const char* image = animated->config.GetString(("i" + std::to_string(i)).c_str());
          if (image) useFile(image);
        }
      } else if (auto* texture = dynamic_cast<Texture*>(object)) {
        useFile(texture->name);
      }
    }
  }

  // The player opens a tune with a scan of its frames; this decodes the
  // first second through the same decoder, as playing would.
  void checkDecode(const ScriptItem& item, const std::string& file) {
    ResourceFile* f = ResOpen(file.c_str());
    if (!f) return;
    int error = 0;
    std::unique_ptr<Mp3Decoder> decoder =
        Mp3Decoder::open(StreamSource::openMemory(f->data, 0, f->size, &error), false, kMixRate, &error);
    int got = 0;
    if (decoder) {
      std::vector<float> samples(std::size_t(kDecodeCheckFrames) * 2);
      got = decoder->read(samples.data(), kDecodeCheckFrames);
      if (decoder->failed() || got <= 0) {
        char text[160];
        std::snprintf(text, sizeof text, "the music stops decoding after %d ms", got * 1000 / kMixRate);
        add(CheckProblem::Severity::Error, file, 0, text, item.placeAndText());
      }
    } else {
      add(CheckProblem::Severity::Error, file, 0, std::string("MP3Player Error: ") + GetMusicErrorText(error),
          item.placeAndText());
    }
    decoder.reset();
    ResClose(f);
  }

  std::uint64_t loadedTextureBytes() const {
    std::uint64_t bytes = 0;
    for (const auto& [name, image] : m_scripter->images) bytes += textureBytes(image->texture);
    for (const auto& [name, scene] : m_scripter->scenes)
      if (scene->stateCache)
        for (const auto& [file, texture] : scene->stateCache->textures) bytes += textureBytes(texture);
    for (const auto& [name, movie] : m_scripter->flashes) bytes += textureBytes(movie->texture());
    return bytes;
  }

  void finish() {
    m_report->summary.lengthMs = m_wall;
    m_report->summary.endScriptMs = m_t;
    MP3Player* music = m_scripter->currentMusic;
    if (!music || !music->playing() || !m_musicItem) return;
    const double playedMs = double(m_musicStartMs) + (m_wall - m_musicStartWall);
    const double lengthMs = FSOUND_Stream_GetLengthMs(music->stream());
    if (playedMs >= lengthMs) return;
    char text[200];
    std::snprintf(text, sizeof text,
                  "the music is still playing when the script ends at %.1f s: the show cuts it off %.1f s before "
                  "its end (\"stopmusic\" ends it on purpose)",
                  m_wall / 1000.0, (lengthMs - playedMs) / 1000.0);
    warnAt(*m_musicItem, text);
  }

  struct Jump {
    std::string at;
    double from = 0, to = 0;
    bool valid = false;
  };

  CheckReport* m_report;
  Scripter* m_scripter;
  double m_t = 0;     // script time, ms
  double m_wall = 0;  // time since the show started, ms
  Jump m_jump;        // the last forward "settime"
  std::set<std::string> m_seen;
  std::set<std::string> m_files;
  std::set<std::string> m_colours;
  std::set<std::string> m_failedSlots;          // "kind:name" of loads that failed
  std::map<std::string, std::string> m_freedImages;  // slot -> where it was freed
  const ScriptItem* m_musicItem = nullptr;      // the "playmusic" that started the current music
  double m_musicStartWall = 0;
  std::int32_t m_musicStartMs = 0;
};

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += char(c);
    } else if (c < 0x20 || c >= 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);  // 8-bit names: each byte as its own code point
      out += escape;
    } else {
      out += char(c);
    }
  }
  return out + "\"";
}

}  // namespace

int CheckReport::errorCount() const {
  return int(std::count_if(problems.begin(), problems.end(),
                           [](const CheckProblem& p) { return p.severity == CheckProblem::Severity::Error; }));
}

int CheckReport::warningCount() const { return int(problems.size()) - errorCount(); }

bool checkShow(const CheckOptions& options, CheckReport* report, std::string* error) {
  *report = CheckReport{};
  auto archive = std::make_unique<CFLArchive>();
  if (!options.archive.empty() && !archive->Open(options.archive.c_str()))
    return *error = "cannot open archive '" + options.archive + "'", false;
  CFLArchive* previousArchive = g_archive;
  if (!options.archive.empty()) g_archive = archive.get();

  soundForceOutput(FSOUND_OUTPUT_OFFLINE);
  soundOfflineSetCollect(false);
  AtlAxWinInit();
  SetMessageBoxHook(rememberBox);
  SetExitProcessHook(throwFatal);
  bool ok = true;
  {
    QuietStderr quiet(options.quiet);
    RecordingDevice* device = RecordingDevice::createOffscreen(800, 600);
    try {
      Scripter scripter(device, 800, 600);
      Walk walk(report, &scripter);
      scripter.parseObserver = &walk;
      scripter.LoadScript(options.script.c_str(), 0.0f);
      scripter.parseObserver = nullptr;
      walk.run();
    } catch (const CheckFatal&) {
      // Only the set-up of the music system can end the walk itself.
      *error = g_boxes.empty() ? "the player's set-up failed" : boxMessage(g_boxes.back());
      ok = false;
    }
    device->Release();
  }
  SetExitProcessHook(nullptr);
  SetMessageBoxHook(nullptr);
  soundClearForcedOutput();
  g_archive = previousArchive;
  return ok;
}

std::string formatProblem(const CheckProblem& p) {
  std::string out = p.file;
  if (p.line > 0) out += ":" + std::to_string(p.line);
  out += p.severity == CheckProblem::Severity::Error ? ": error: " : ": warning: ";
  out += p.message;
  if (!p.command.empty()) out += " [" + p.command + "]";
  return out;
}

std::string reportText(const CheckReport& report) {
  std::string out;
  for (const CheckProblem& p : report.problems) out += formatProblem(p) + "\n";
  const CheckSummary& s = report.summary;
  char line[512];
  std::snprintf(line, sizeof line,
                "show: %.1f s (script time %.1f s at the end); %d scenes, %d pictures, %d sequences, %d colours, "
                "%d tunes, %d movies\n",
                s.lengthMs / 1000.0, s.endScriptMs / 1000.0, s.scenes, s.pictures, s.sequences, s.colours, s.tunes,
                s.movies);
  out += line;
  std::snprintf(line, sizeof line, "peak texture memory: %.1f MiB%s%s\n", double(s.peakTextureBytes) / 1048576.0,
                s.peakAt.empty() ? "" : " after ", s.peakAt.c_str());
  out += line;
  std::snprintf(line, sizeof line, "%d error(s), %d warning(s)\n", report.errorCount(), report.warningCount());
  out += line;
  return out;
}

std::string reportJson(const CheckReport& report) {
  std::string out = "{\"problems\":[";
  for (std::size_t i = 0; i < report.problems.size(); ++i) {
    const CheckProblem& p = report.problems[i];
    if (i) out += ",";
    out += "{\"file\":" + jsonString(p.file) + ",\"line\":" + (p.line > 0 ? std::to_string(p.line) : "null") +
           ",\"severity\":" + (p.severity == CheckProblem::Severity::Error ? "\"error\"" : "\"warning\"") +
           ",\"message\":" + jsonString(p.message) + ",\"command\":" + jsonString(p.command) + "}";
  }
  const CheckSummary& s = report.summary;
  char numbers[512];
  std::snprintf(numbers, sizeof numbers,
                "],\"summary\":{\"lengthMs\":%.0f,\"endScriptMs\":%.0f,\"scenes\":%d,\"pictures\":%d,\"sequences\":%d,"
                "\"colours\":%d,\"tunes\":%d,\"movies\":%d,\"peakTextureBytes\":%llu,\"peakAt\":",
                s.lengthMs, s.endScriptMs, s.scenes, s.pictures, s.sequences, s.colours, s.tunes, s.movies,
                static_cast<unsigned long long>(s.peakTextureBytes));
  out += numbers + jsonString(s.peakAt) + "},\"files\":[";
  for (std::size_t i = 0; i < report.files.size(); ++i) out += (i ? "," : "") + jsonString(report.files[i]);
  out += "],\"errors\":" + std::to_string(report.errorCount()) + ",\"warnings\":" +
         std::to_string(report.warningCount()) + "}\n";
  return out;
}

std::string nearestKeyword(const std::string& word, const std::vector<std::string>& keywords) {
  std::string best;
  std::size_t bestDistance = std::string::npos;
  for (const std::string& keyword : keywords) {
    // Levenshtein distance, one row at a time.
    std::vector<std::size_t> row(keyword.size() + 1);
    for (std::size_t j = 0; j <= keyword.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= word.size(); ++i) {
      std::size_t diagonal = row[0];
      row[0] = i;
      for (std::size_t j = 1; j <= keyword.size(); ++j) {
        const std::size_t above = row[j];
        row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (word[i - 1] == keyword[j - 1] ? 0 : 1)});
        diagonal = above;
      }
    }
    if (row.back() < bestDistance || (row.back() == bestDistance && keyword < best)) {
      bestDistance = row.back();
      best = keyword;
    }
  }
  // A slip is a few letters: up to a third of the word, at least 2.
  return bestDistance <= std::max<std::size_t>(2, word.size() / 3) ? best : "";
}
