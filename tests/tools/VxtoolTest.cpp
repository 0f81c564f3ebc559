// vxtool's archive commands, run as the user runs them.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "archive/CFLArchive.h"
#include "script/Scripter.h"
#include "tools/FilterSpec.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

class VxtoolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.write("show/demo.vxc", bytesOf("settime 0\n"));
    dir.write("show/img/a.bin", Bytes(3000, 7));
  }
  TempDir dir;
};

}  // namespace

TEST(FilterSpec, NamesAndCombinations) {
  EXPECT_EQ(parseFilterSpec("none"), 0x00000000u);
  EXPECT_EQ(parseFilterSpec("zlib"), 0x00000001u);
  EXPECT_EQ(parseFilterSpec("delta8"), 0x00010000u);
  EXPECT_EQ(parseFilterSpec("delta32"), 0x00030000u);
  EXPECT_EQ(parseFilterSpec("delta16+zlib"), 0x00020001u);
  for (const char* bad : {"", "gzip", "delta16+delta8", "zlib+zlib", "none+delta8", "delta16+", "+zlib", "Zlib"})
    EXPECT_FALSE(parseFilterSpec(bad).has_value()) << bad;
}

TEST_F(VxtoolTest, PackListAndExtractRoundTrip) {
  ToolRun pack = vxtool(dir, "pack out.cfl --filter delta16+zlib -C show demo.vxc img/a.bin");
  ASSERT_EQ(pack.code, 0) << pack.err;
  ToolRun list = vxtool(dir, "list out.cfl");
  ASSERT_EQ(list.code, 0) << list.err;
  EXPECT_NE(list.out.find("        10  delta16+zlib  demo.vxc\n"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("      3000  delta16+zlib  img/a.bin\n"), std::string::npos) << list.out;
  ToolRun one = vxtool(dir, "extract out.cfl demo.vxc");
  EXPECT_EQ(one.code, 0);
  EXPECT_EQ(one.out, "settime 0\n");
  ASSERT_EQ(vxtool(dir, "extract out.cfl --all -C copy").code, 0);
  EXPECT_EQ(readText(dir.file("copy/img/a.bin")), std::string(3000, 7));
}

TEST_F(VxtoolTest, NeverOverwritesWithoutForce) {
  ASSERT_EQ(vxtool(dir, "pack out.cfl -C show demo.vxc").code, 0);
  const std::string before = readText(dir.file("out.cfl"));
  ToolRun again = vxtool(dir, "pack out.cfl -C show img/a.bin");
  EXPECT_EQ(again.code, 1);
  EXPECT_NE(again.err.find("exists"), std::string::npos) << again.err;
  EXPECT_EQ(readText(dir.file("out.cfl")), before);
  EXPECT_EQ(vxtool(dir, "pack out.cfl --force -C show img/a.bin").code, 0);

  dir.write("mine.txt", bytesOf("keep me"));
  EXPECT_EQ(vxtool(dir, "extract out.cfl img/a.bin -o mine.txt").code, 1);
  EXPECT_EQ(readText(dir.file("mine.txt")), "keep me");
  EXPECT_EQ(vxtool(dir, "extract out.cfl img/a.bin -o mine.txt --force").code, 0);
  EXPECT_EQ(readText(dir.file("mine.txt")).size(), 3000u);
}

TEST_F(VxtoolTest, ExtractAllRefusesNamesThatLeaveTheDirectory) {
  for (const char* name : {"../evil", "/tmp/evil", "a/../../evil", "dir/"}) {
    dir.write("bad.cfl", buildArchive({{"fine", bytesOf("ok"), 0}, {name, bytesOf("x"), 0}}));
    ToolRun run = vxtool(dir, "extract bad.cfl --all -C out --force");
    EXPECT_EQ(run.code, 1) << name;
    EXPECT_NE(run.err.find("refusing"), std::string::npos) << run.err;
    struct stat st;
    EXPECT_NE(::stat(dir.file("out/fine").c_str(), &st), 0) << "nothing written before the check";
  }
}

TEST_F(VxtoolTest, AppendMakesASelfContainedProgram) {
  ASSERT_EQ(vxtool(dir, "pack show.cfl -C show demo.vxc").code, 0);
  dir.write("player", bytesOf("#!/bin/sh\nexit 0\n"));
  ASSERT_EQ(vxtool(dir, "append player show.cfl myshow").code, 0);
  struct stat st;
  ASSERT_EQ(::stat(dir.file("myshow").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0111, 0111u);
  CFLArchive archive;
  ASSERT_EQ(archive.Open(dir.file("myshow").c_str()), 1);
  EXPECT_EQ(archive.GetSize("demo.vxc"), 10u);
  EXPECT_EQ(vxtool(dir, "append player player other").code, 1) << "not an archive";
}

TEST_F(VxtoolTest, FailuresPrintOneLineAndExitOne) {
  for (const char* args : {"list missing.cfl", "pack out.cfl nothere", "pack out.cfl --filter lz4 -C show demo.vxc",
                           "extract", "frobnicate", "pack out.cfl -C show demo.vxc demo.vxc"}) {
    ToolRun run = vxtool(dir, args);
    EXPECT_EQ(run.code, 1) << args;
    EXPECT_EQ(run.err.rfind("vxtool: ", 0), 0u) << args << ": " << run.err;
  }
  ToolRun help = vxtool(dir, "pack --help");
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("usage: vxtool pack"), std::string::npos);
}

// `vxtool help script` must keep up with the parser: every keyword it knows
// has its own line, and nothing else is listed as a command.
TEST_F(VxtoolTest, ScriptHelpListsExactlyTheParsersCommands) {
  ToolRun run = vxtool(dir, "help script");
  ASSERT_EQ(run.code, 0) << run.err;
  std::vector<std::string> listed;
  std::istringstream lines(run.out);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("  ", 0) != 0) continue;
    std::istringstream words(line);
    std::string keyword;
    words >> keyword;
    listed.push_back(keyword);
  }
  std::vector<std::string> keywords = ScriptKeywords();
  std::sort(keywords.begin(), keywords.end());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(listed, keywords);
  EXPECT_NE(vxtool(dir, "--help").out.find("vxtool help script"), std::string::npos);
}

// The preview refuses what it cannot do before any window opens, and a
// window nobody can see (no display) is refused, not played.
TEST_F(VxtoolTest, PreviewRefusesBadArgumentsAndAMissingDisplay) {
  const std::pair<const char*, const char*> cases[] = {
      {"preview --size 8x8", "bad --size"},
      {"preview --from -1", "bad --from"},
      {"preview --fps 0", "bad --fps"},
      {"preview --fram 3", "did you mean --from?"},
      {"preview a.vxc b.vxc", "one script at most"},
      {"preview --dir nowhere", "no folder 'nowhere'"},
      {"preview --archive missing.cfl", "no archive 'missing.cfl'"},
  };
  for (const auto& [args, message] : cases) {
    const ToolRun run = vxtool(dir, args);
    EXPECT_EQ(run.code, 1) << args;
    EXPECT_NE(run.err.find(message), std::string::npos) << args << ": " << run.err;
  }
  const ToolRun noDisplay = vxtoolWithEnv(dir, "DISPLAY= WAYLAND_DISPLAY= SDL_VIDEODRIVER=", "preview");
  EXPECT_EQ(noDisplay.code, 1);
  EXPECT_TRUE(noDisplay.err.find("no display") != std::string::npos ||
              noDisplay.err.find("cannot open a window") != std::string::npos)
      << noDisplay.err;
  const ToolRun help = vxtool(dir, "preview --help");
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("usage: vxtool preview"), std::string::npos);
}
