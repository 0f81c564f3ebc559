// vxtool check in process: shows with planted mistakes, each found once at
// its file and line; several at once; clean shows; the walk's timeline and
// texture-memory summary; the filter choice of pack --show.
#include "ArchiveTestUtil.h"
#include "TestImages.h"
#include "TestMovies.h"
#include "archive/ResourceFilter.h"
#include "tests/platform/sound/Mp3TestUtil.h"
#include "scene/VxkWriter.h"
#include "script/Scripter.h"
#include "tools/ShowChecker.h"
#include "tools/ShowPacker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using Severity = CheckProblem::Severity;

// A folder of show files, entered for the test's life.
class ShowFolder {
 public:
  ShowFolder() : m_cwd(m_dir.path()) {}
  void put(const std::string& name, const Bytes& bytes) { m_dir.write(name, bytes); }
  void put(const std::string& name, const std::string& text) { m_dir.write(name, bytesOf(text)); }
  const TempDir& dir() const { return m_dir; }

 private:
  TempDir m_dir;
  CurrentDirectory m_cwd;
};

Bytes picture(int w, int h) { return makePng(w, h, patternPixels(w, h)); }

Bytes tune(int frames) {
  TestSignal signal;
  signal.frames = frames;
  return encodeTestMp3(signal);
}

// A scene of one group and one texture chunk naming `texture`; with `child`,
// the group loads that scene file below itself.
Bytes scene(const std::string& texture, const std::string& child = "") {
  vxk::VxkWriter w;
  vxk::NodeRecord node;
  node.name = "root";
  if (!child.empty()) node.configText = "loader = 1\nfilename = " + child + "\n";
  w.group(1, node);
  if (!texture.empty()) w.texture(2, texture);
  return Bytes(w.bytes().begin(), w.bytes().end());
}

// Everything a show can load, each file fine.
void putContent(ShowFolder& show) {
  show.put("pic.png", picture(64, 32));
  show.put("f0.png", picture(16, 16));
  show.put("f1.png", picture(16, 16));
  show.put("anim.seq", "fps = 10\nf0.png\nf1.png\n");
  show.put("tune.mp3", tune(44100));
  const MovieBytes movie = plainMovie(5);
  show.put("intro.swf", Bytes(movie.begin(), movie.end()));
  show.put("wall.png", picture(32, 32));
  show.put("world.vxk", scene("wall.png"));
  show.put("bad.bmp", makeBmp(8, 8, patternPixels(8, 8), 24));
  show.put("junk.mp3", std::string(3000, 'x'));
}

// A clean script: a comment and an empty line first, so that editor lines
// and the player's count differ from line 3 on.
const char* kCleanScript =
    "# the planted line goes last\n"
    "\n"
    "loadimage pic.png pic\n"
    "loadimage anim.seq anim\n"
    "createcolor 10 20 30 tint\n"
    "loadmusic tune.mp3 tune\n"
    "loadflash intro.swf intro\n"
    "loadscene world.vxk world\n"
    "setlayer pic 1\n"
    "setlayer anim 2\n"
    "playscene world\n"
    "playflash intro 1 0\n"
    "playmusic tune\n"
    "wait 500\n"
    "stopmusic\n";
constexpr int kCleanLines = 15;

CheckReport check(const std::string& script = "demo.vxc", const std::string& archive = "") {
  CheckOptions options;
  options.script = script;
  options.archive = archive;
  CheckReport report;
  std::string error;
  EXPECT_TRUE(checkShow(options, &report, &error)) << error;
  return report;
}

std::string allProblems(const CheckReport& report) {
  std::string out;
  for (const CheckProblem& p : report.problems) out += formatProblem(p) + "\n";
  return out;
}

struct Planted {
  const char* what;
  const char* line;         // appended after the clean script
  const char* extraFile;    // optional second file "NAME\nTEXT" (an include)
  Severity severity;
  const char* file;         // where it must be reported
  bool atLine;              // at the planted line, or (false) at the content file
  const char* message;      // a part of the message
};

const Planted kPlanted[] = {
    {"unknown command", "playsene world", nullptr, Severity::Error, "demo.vxc", true,
     "Invalid command 'playsene world' in script demo.vxc, line 15! (did you mean \"playscene\"?)"},
    {"missing picture", "loadimage nowhere.png x", nullptr, Severity::Error, "demo.vxc", true,
     "Image load failed: nowhere.png"},
    {"24-bit picture", "loadimage bad.bmp b", nullptr, Severity::Error, "bad.bmp", false, "Unknown texture format"},
    {"sequence frame missing", "loadimage broken.seq b", "broken.seq\n0 f0.png\n100 gone.png\n", Severity::Error,
     "broken.seq", false, "Image load failed: gone.png"},
    {"missing music", "loadmusic nowhere.mp3 m", nullptr, Severity::Error, "demo.vxc", true,
     "MP3Player Error: File not found"},
    {"music that is no music", "loadmusic junk.mp3 m", nullptr, Severity::Error, "junk.mp3", false,
     "MP3Player Error"},
    {"missing movie", "loadflash nowhere.swf m", nullptr, Severity::Error, "demo.vxc", true,
     "Couldn't load 2d content!"},
    {"missing scene", "loadscene nowhere.vxk s", nullptr, Severity::Error, "demo.vxc", true,
     "Couldn't open file: nowhere.vxk"},
    {"scene texture missing", "loadscene bare.vxk s", "bare.vxk\n", Severity::Error, "bare.vxk", false,
     "Texture load failed: brick.png"},
    {"nested scene damaged", "loadscene outer.vxk s", "outer.vxk\n", Severity::Error, "inner.vxk", false,
     "inner.vxk"},
    {"playscene of an empty slot", "playscene nothing", nullptr, Severity::Error, "demo.vxc", true,
     "PlayScene error: Scene slot nothing is empty! PlayScene failed."},
    {"xfadescene of an empty slot", "xfadescene nothing 1000 0", nullptr, Severity::Error, "demo.vxc", true,
     "XFadeScene error: Scene slot nothing is empty! XFadeScene failed."},
    {"playmusic of an empty slot", "playmusic nothing", nullptr, Severity::Error, "demo.vxc", true,
     "PlayMusic error: Music slot nothing is empty! PlayMusic failed."},
    {"playflash of an empty slot", "playflash nothing", nullptr, Severity::Error, "demo.vxc", true,
     "PlayFlash error: Flash slot nothing is empty! PlayFlash failed."},
    {"include loop", "include demo.vxc 0", nullptr, Severity::Error, "demo.vxc", true,
     "Script demo.vxc includes itself again"},
    {"setlayer of a slot never loaded", "setlayer ghost 3", nullptr, Severity::Warning, "demo.vxc", true,
     "image slot ghost is not loaded by any earlier command"},
    {"setlayer of a freed slot", "freeimage pic\nsetlayer pic 3", nullptr, Severity::Warning, "demo.vxc", true,
     "image slot pic was freed at demo.vxc:16"},
    {"waituntil before a settime jump", "settime 9000\nwaituntil 4000", nullptr, Severity::Warning, "demo.vxc",
     true, "lies before the \"settime\" jump to 9000 ms at demo.vxc:16"},
    {"a # where a number is expected", "setlayeralpha 1 # fade", nullptr, Severity::Warning, "demo.vxc", true,
     "\"#\" where a number is expected (argument 2)"},
    {"music playing at the end", "playmusic tune", nullptr, Severity::Warning, "demo.vxc", true,
     "the music is still playing when the script ends"},
    {"missing include", "include nowhere.vxc 0", nullptr, Severity::Warning, "demo.vxc", true,
     "include file nowhere.vxc is neither in the archive nor a file"},
};

class PlantedMistake : public ::testing::TestWithParam<Planted> {};

}  // namespace

TEST_P(PlantedMistake, IsReportedOnceAtItsFileAndLine) {
  const Planted& planted = GetParam();
  ShowFolder show;
  putContent(show);
  show.put("demo.vxc", std::string(kCleanScript) + planted.line + "\n");
  show.put("bare.vxk", scene("brick.png"));
  show.put("outer.vxk", scene("", "inner.vxk"));
  show.put("inner.vxk", Bytes{2, 0, 3, 0, 9, 0, 0, 0, 60, 0, 0, 0, 1});  // a group chunk cut short
  if (planted.extraFile) {
    const std::string extra = planted.extraFile;
    const std::size_t newline = extra.find('\n');
    if (extra.size() > newline + 1) show.put(extra.substr(0, newline), extra.substr(newline + 1));
  }
  const CheckReport report = check();
  ASSERT_EQ(report.problems.size(), 1u) << allProblems(report);
  const CheckProblem& p = report.problems[0];
  EXPECT_EQ(p.severity, planted.severity) << formatProblem(p);
  EXPECT_EQ(p.file, planted.file) << formatProblem(p);
  // The planted line is the first after the clean script (the second for the
  // two-line plants, which report at their second line).
  const int plantedLine = kCleanLines + 1 + int(std::string(planted.line).find('\n') != std::string::npos);
  EXPECT_EQ(p.line, planted.atLine ? plantedLine : 0) << formatProblem(p);
  EXPECT_NE(p.message.find(planted.message), std::string::npos) << formatProblem(p);
  if (!planted.atLine) {
    EXPECT_EQ(p.command.rfind("demo.vxc:" + std::to_string(plantedLine) + ": ", 0), 0u)
        << "a content problem names the command that led to it: " << formatProblem(p);
  }
}

INSTANTIATE_TEST_SUITE_P(Check, PlantedMistake, ::testing::ValuesIn(kPlanted),
                         [](const ::testing::TestParamInfo<Planted>& info) {
                           std::string name;
                           for (const char* c = info.param.what; *c; ++c)
                             if (std::isalnum(static_cast<unsigned char>(*c))) name += *c;
                           return name;
                         });

TEST(Check, ACleanShowHasNoProblemsAndListsEveryFileItUses) {
  ShowFolder show;
  putContent(show);
  show.put("demo.vxc", kCleanScript);
  show.put("unused.png", picture(4, 4));
  const CheckReport report = check();
  EXPECT_TRUE(report.problems.empty()) << allProblems(report);
  const std::vector<std::string> expected = {"demo.vxc", "pic.png",   "anim.seq",  "f0.png",   "f1.png",
                                             "tune.mp3", "intro.swf", "world.vxk", "wall.png"};
  EXPECT_EQ(report.files, expected);
  const CheckSummary& s = report.summary;
  EXPECT_EQ(s.pictures, 1);
  EXPECT_EQ(s.sequences, 1);
  EXPECT_EQ(s.colours, 1);
  EXPECT_EQ(s.tunes, 1);
  EXPECT_EQ(s.movies, 1);
  EXPECT_EQ(s.scenes, 1);
  EXPECT_DOUBLE_EQ(s.lengthMs, 500.0);
}

TEST(Check, EveryMistakeOfOneShowIsReportedAndAFailedLoadIsNotBlamedAgain) {
  ShowFolder show;
  putContent(show);
  show.put("part.vxc", "# included\nloadimage nowhere.png gone\nstopmuzic\n");
  show.put("demo.vxc",
           "loadimage bad.bmp b\n"           // 1: content error in bad.bmp
           "include part.vxc 100\n"          // 2: its lines 2 and 3 fail
           "setlayer gone 1\n"               // 3: follows from part.vxc:2, not reported
           "loadscene nowhere.vxk w\n"       // 4
           "playscene w\n"                   // 5: follows from line 4, not reported
           "playmusic tune\n"                // 6: never loaded
           "setlayer ghost 2\n");            // 7: warning
  const CheckReport report = check();
  std::vector<std::string> lines;
  for (const CheckProblem& p : report.problems) lines.push_back(p.file + ":" + std::to_string(p.line));
  std::sort(lines.begin(), lines.end());
  const std::vector<std::string> expected = {"bad.bmp:0",  "demo.vxc:4", "demo.vxc:6",
                                             "demo.vxc:7", "part.vxc:2", "part.vxc:3"};
  EXPECT_EQ(lines, expected) << allProblems(report);
  EXPECT_EQ(report.errorCount(), 5);
  EXPECT_EQ(report.warningCount(), 1);
}

TEST(Check, TheScriptInTheArchiveComesFirstAndAMissingScriptIsAnError) {
  ShowFolder show;
  show.put("demo.vxc", "stopmuzic\n");  // loose and broken
  show.put("show.cfl", buildArchive({{"demo.vxc", bytesOf("wait 100\n"), 0x00000001}}));
  EXPECT_TRUE(check("demo.vxc", "show.cfl").problems.empty());
  EXPECT_EQ(check("demo.vxc").errorCount(), 1);
  const CheckReport missing = check("other.vxc");
  ASSERT_EQ(missing.problems.size(), 1u);
  EXPECT_EQ(missing.problems[0].file, "other.vxc");
  EXPECT_EQ(missing.problems[0].severity, Severity::Error);
}

TEST(Check, TheTimelineCountsWaitsAndJumpsAndIncludeBaseTimes) {
  ShowFolder show;
  // Script time: 1000 after the wait; the jump to 5000 takes no time;
  // waituntil 6000 waits 1000; the include's wait 200 lasts 200 + 300.
  show.put("part.vxc", "wait 200\n");
  show.put("demo.vxc", "wait 1000\nsettime 5000\nwaituntil 6000\ninclude part.vxc 300\n");
  const CheckReport report = check();
  EXPECT_TRUE(report.problems.empty()) << allProblems(report);
  EXPECT_DOUBLE_EQ(report.summary.lengthMs, 2500.0);
  EXPECT_DOUBLE_EQ(report.summary.endScriptMs, 6500.0);
}

TEST(Check, PeakTextureMemoryIsWhatIsLoadedAtOnce) {
  ShowFolder show;
  show.put("big.png", picture(64, 32));    // 64 x 32 x 4 bytes
  show.put("small.png", picture(16, 16));  // 16 x 16 x 4 bytes
  show.put("demo.vxc",
           "loadimage big.png a\nfreeimage a\nloadimage small.png b\nloadimage small.png c\n");
  const CheckReport report = check();
  EXPECT_EQ(report.summary.peakTextureBytes, 64u * 32u * 4u);
  EXPECT_EQ(report.summary.peakAt, "demo.vxc:1");
  // Both small ones at once never reach the big one alone.
  show.put("demo.vxc", "loadimage big.png a\nloadimage small.png b\n");
  EXPECT_EQ(check().summary.peakTextureBytes, 64u * 32u * 4u + 16u * 16u * 4u);
}

TEST(Check, TheJsonFormHasEveryProblemAndTheSummary) {
  ShowFolder show;
  show.put("demo.vxc", "playscene x\nsetlayer \"odd\" 1\n");
  const std::string json = reportJson(check());
  EXPECT_NE(json.find("{\"file\":\"demo.vxc\",\"line\":1,\"severity\":\"error\",\"message\":\"PlayScene error: "),
            std::string::npos)
      << json;
  EXPECT_NE(json.find("\"severity\":\"warning\",\"message\":\"image slot \\\"odd\\\" is not loaded"),
            std::string::npos)
      << json;
  EXPECT_NE(json.find("\"summary\":{\"lengthMs\":0,"), std::string::npos) << json;
  EXPECT_NE(json.find("\"errors\":1,\"warnings\":1}"), std::string::npos) << json;
}

TEST(Check, AnUnknownWordGetsTheNearestKeywordOnlyWhenItIsNear) {
  const std::vector<std::string> keywords = ScriptKeywords();
  const struct {
    const char* word;
    const char* expected;
  } cases[] = {{"playsene", "playscene"}, {"setlayeralfa", "setlayeralpha"}, {"wiat", "wait"},
               {"inclde", "include"},     {"xyzzy", ""},                     {"loadeverything", ""}};
  for (const auto& c : cases) EXPECT_EQ(nearestKeyword(c.word, keywords), c.expected) << c.word;
}

TEST(PackFilter, EachKindOfContentGetsTheFilterThatStoresItSmallest) {
  std::mt19937 random(7);
  Bytes noise(20000);
  for (auto& b : noise) b = std::uint8_t(random());
  std::string text;
  for (int i = 0; i < 400; ++i) text += "setlayerpos 1 " + std::to_string(i) + " 0\n";
  // A slow 16-bit sine: the differences of neighbours are small and alike.
  Bytes wave;
  for (int i = 0; i < 10000; ++i) {
    const auto s = std::int16_t(12000 * std::sin(i * 0.01));
    wave.push_back(std::uint8_t(s & 0xFF));
    wave.push_back(std::uint8_t(std::uint16_t(s) >> 8));
  }
  const struct {
    const char* what;
    Bytes data;
    std::uint32_t filter;
  } cases[] = {{"noise", noise, CFL_FILTER_NONE},
               {"text", bytesOf(text), CFL_FILTER_ZLIB},
               {"16-bit wave", wave, CFL_FILTER_DELTA16 | CFL_FILTER_ZLIB},
               {"empty", Bytes{}, CFL_FILTER_NONE}};
  for (const auto& c : cases) {
    const FilterChoice choice = chooseFilter(c.data.data(), c.data.size());
    EXPECT_EQ(filterSpecName(choice.filterId), filterSpecName(c.filter)) << c.what;
    if (choice.filterId == CFL_FILTER_NONE) {
      EXPECT_EQ(choice.storedSize, c.data.size()) << c.what;
    } else {
      EXPECT_LT(choice.storedSize, c.data.size()) << c.what;
    }
  }
}
