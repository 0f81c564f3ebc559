// vxtool check and pack --show from the command line, on the example show:
// the packed archive holds exactly what the show uses, renders as the loose
// files do, and plays to its end with nothing beside it.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "archive/CFLArchive.h"
#include "tools/showgen/ShowGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace {

// The example show: the generated content and the scripts of examples/show.
class ExampleShow : public ::testing::Test {
 protected:
  void SetUp() override {
    std::vector<ShowFile> written;
    std::string error;
    ASSERT_TRUE(generateShow(show.path(), &written, &error)) << error;
    for (const auto& entry : std::filesystem::directory_iterator(VX_EXAMPLE_SHOW_DIR))
      std::filesystem::copy_file(entry.path(), show.file(entry.path().filename().string()),
                                 std::filesystem::copy_options::overwrite_existing);
  }
  TempDir show;  // the loose show
  TempDir other;  // the archive, renders, and nothing else
};

std::set<std::string> archiveNames(const std::string& path) {
  CFLArchive archive;
  EXPECT_TRUE(archive.Open(path.c_str())) << path;
  std::set<std::string> names;
  for (const CFLEntry* entry : archive.Entries()) names.insert(entry->name);
  return names;
}

// The "files" list of check --json (names without quotes or commas).
std::set<std::string> usedFiles(const std::string& json) {
  std::set<std::string> files;
  const std::size_t start = json.find("\"files\":[");
  if (start == std::string::npos) return files;
  const std::size_t end = json.find(']', start);
  std::string list = json.substr(start + 9, end - start - 9);
  std::erase(list, '"');
  std::size_t at = 0;
  while (at < list.size()) {
    const std::size_t comma = std::min(list.find(',', at), list.size());
    files.insert(list.substr(at, comma - at));
    at = comma + 1;
  }
  return files;
}

int countFrames(const std::string& dir) {
  int n = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) n += entry.path().extension() == ".png";
  return n;
}

}  // namespace

TEST_F(ExampleShow, PacksExactlyWhatItUsesAndPlaysAsTheLooseFilesDo) {
  ToolRun loose = vxtool(show, "check --json");
  ASSERT_EQ(loose.code, 0) << loose.out;
  const std::set<std::string> used = usedFiles(loose.out);
  ASSERT_TRUE(used.count("demo.vxc") && used.count("part2.vxc") && used.count("spin.seq") &&
              used.count("tune.mp3") && used.count("intro.swf"))
      << loose.out;

  const std::string archive = other.file("show.cfl");
  ToolRun pack = vxtool(show, "pack --show demo.vxc '" + archive + "'");
  ASSERT_EQ(pack.code, 0) << pack.err;
  EXPECT_NE(pack.out.find("none          tune.mp3"), std::string::npos) << "music does not compress\n" << pack.out;
  EXPECT_NE(pack.out.find("zlib          demo.vxc"), std::string::npos) << "text does\n" << pack.out;
  EXPECT_EQ(archiveNames(archive), used);

  // The archive alone, in a folder without the show: the check and the render
  // reach the end of the script, and the frames and sound are the loose show's.
  ToolRun packed = vxtool(other, "check --archive show.cfl");
  EXPECT_EQ(packed.code, 0) << packed.out;
  const std::string render = " --fps 2 --size 128x96 --quiet";
  ToolRun fromLoose = vxtool(show, "render" + render + " --frames '" + other.file("a") + "' --wav '" +
                                       other.file("a.wav") + "'");
  ToolRun fromArchive = vxtool(other, "render --archive show.cfl" + render + " --frames b --wav b.wav");
  ASSERT_EQ(fromLoose.code, 0) << fromLoose.err;
  ASSERT_EQ(fromArchive.code, 0) << fromArchive.err;
  EXPECT_NE(fromArchive.err.find("to the end of the script"), std::string::npos) << fromArchive.err;
  const int frames = countFrames(other.file("a"));
  ASSERT_GT(frames, 40) << "the show runs for a minute";
  ASSERT_EQ(countFrames(other.file("b")), frames);
  for (int k = 0; k < frames; ++k) {
    char name[32];
    std::snprintf(name, sizeof name, "/frame%06d.png", k);
    ASSERT_EQ(readText(other.file("a") + name), readText(other.file("b") + name)) << name;
  }
  EXPECT_EQ(readText(other.file("a.wav")), readText(other.file("b.wav")));
}

TEST_F(ExampleShow, AShowWithErrorsIsRefusedUnlessForcedAndNothingIsOverwritten) {
  {
    std::FILE* script = std::fopen(show.file("demo.vxc").c_str(), "ab");
    ASSERT_NE(script, nullptr);
    std::fputs("playscene nothing\n", script);
    std::fclose(script);
  }
  ToolRun check = vxtool(show, "check");
  EXPECT_EQ(check.code, 1);
  EXPECT_NE(check.out.find(": error: PlayScene error: Scene slot nothing is empty!"), std::string::npos)
      << check.out;

  ToolRun refused = vxtool(show, "pack --show demo.vxc '" + other.file("out.cfl") + "'");
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("PlayScene error"), std::string::npos) << refused.err;
  EXPECT_FALSE(std::filesystem::exists(other.file("out.cfl")));

  other.write("out.cfl", bytesOf("mine"));
  ToolRun forcedErrorsOnly = vxtool(show, "pack --show demo.vxc '" + other.file("out.cfl") + "' --force");
  EXPECT_EQ(forcedErrorsOnly.code, 0) << forcedErrorsOnly.err;
  EXPECT_TRUE(archiveNames(other.file("out.cfl")).count("tune.mp3"));

  // A clean show still keeps an existing archive without --force.
  other.write("keep.cfl", bytesOf("mine"));
  ToolRun kept = vxtool(show, "pack --show part2.vxc '" + other.file("keep.cfl") + "'");
  EXPECT_NE(kept.code, 0);
  EXPECT_EQ(readText(other.file("keep.cfl")), "mine");
}
