// Mistyped commands and options: the nearest valid one, and where help is.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "tools/CommandLine.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> kRenderOptions = {"--archive", "--fps", "--size", "--from", "--to",  "--frames",
                                                 "--video",   "--wav", "--stats", "--quiet", "--help"};

}  // namespace

TEST(NearestName, OneOrTwoEditsOrAnUnambiguousBeginning) {
  EXPECT_EQ(nearestName("--vidoe", kRenderOptions), "--video") << "two letters swapped";
  EXPECT_EQ(nearestName("--quite", kRenderOptions), "--quiet");
  EXPECT_EQ(nearestName("--sise", kRenderOptions), "--size");
  EXPECT_EQ(nearestName("-fps", kRenderOptions), "--fps") << "one dash short";
  EXPECT_EQ(nearestName("--arch", kRenderOptions), "--archive") << "the beginning of one option";
  EXPECT_EQ(nearestName("lst", {"pack", "list", "extract"}), "list");
  EXPECT_EQ(nearestName("extrat", {"pack", "list", "extract"}), "extract");
}

TEST(NearestName, NothingWhenNothingIsNear) {
  EXPECT_EQ(nearestName("--force", kRenderOptions), "");
  EXPECT_EQ(nearestName("--x", kRenderOptions), "") << "two edits to --to change more than they keep";
  EXPECT_EQ(nearestName("--f", kRenderOptions), "") << "the beginning of three options";
  EXPECT_EQ(nearestName("frobnicate", {"pack", "list", "extract"}), "");
  EXPECT_EQ(nearestName("", {"pack"}), "");
  EXPECT_EQ(nearestName("pack", {}), "");
}

TEST(ParseArgs, UnknownOptionNamesTheNearestAndTheCommandsHelp) {
  setHelpCommand("extract");
  Parsed p = parseArgs({"a.cfl", "--forse"}, {"-o", "-C"}, {"--all", "--force"});
  EXPECT_EQ(p.error, "unknown option --forse; did you mean --force? (see vxtool extract --help)");
  p = parseArgs({"--zzz"}, {"-o"}, {"--all"});
  EXPECT_EQ(p.error, "unknown option --zzz (see vxtool extract --help)");
  setHelpCommand("");
  p = parseArgs({"-q"}, {}, {});
  EXPECT_EQ(p.error, "unknown option -q (see vxtool --help)");
}

TEST(VxtoolHints, MistypedCommandsAndOptionsPointAtHelp) {
  TempDir dir;
  ToolRun command = vxtool(dir, "lsit a.cfl");
  EXPECT_EQ(command.code, 1);
  EXPECT_EQ(command.err, "vxtool: unknown command 'lsit'; did you mean 'list'? (see vxtool --help)\n");
  ToolRun unknown = vxtool(dir, "frobnicate");
  EXPECT_EQ(unknown.code, 1);
  EXPECT_EQ(unknown.err, "vxtool: unknown command 'frobnicate' (see vxtool --help)\n");
  ToolRun option = vxtool(dir, "render --vidoe out.mp4");
  EXPECT_EQ(option.code, 1);
  EXPECT_EQ(option.err, "vxtool: unknown option --vidoe; did you mean --video? (see vxtool render --help)\n");
}
