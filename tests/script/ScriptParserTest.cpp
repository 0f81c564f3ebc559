#include "ScriptTestUtil.h"
#include "archive/CFLArchive.h"
#include "script/LayerCommands.h"
#include "script/SceneCommands.h"
#include "script/SlotCommands.h"
#include "script/TimeCommands.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

namespace {

template <typename T>
T& itemAs(Scripter& s, std::size_t index) {
  auto* item = dynamic_cast<T*>(s.items.at(index).get());
  if (!item) throw std::runtime_error("item " + std::to_string(index) + " has another class");
  return *item;
}

using ScriptParserTest = ScriptTest;
using ScriptParserDeathTest = ScriptTest;

}  // namespace

TEST_F(ScriptParserTest, KeywordsAnyCaseSlotNamesLowerFileNamesKept) {
  writeScript("demo.vxc", "LoadImage Pics/Logo.PNG MyLogo\nloadMUSIC Tune.mp3 Song\nSetActiveCamera CamA\n"
                          "setfogcolor FF00AAx\n");
  Scripter& s = load();
  ASSERT_EQ(s.items.size(), 4u);
  EXPECT_EQ(itemAs<LoadImage>(s, 0).file, "Pics/Logo.PNG");
  EXPECT_EQ(itemAs<LoadImage>(s, 0).name, "mylogo");
  EXPECT_EQ(itemAs<LoadMusic>(s, 1).name, "song");
  EXPECT_EQ(itemAs<SetActiveCamera>(s, 2).camera, "CamA");
  EXPECT_EQ(itemAs<SetFogColor>(s, 3).color, "FF00AAx");
  EXPECT_EQ(s.items[0]->text, "LoadImage Pics/Logo.PNG MyLogo");
}

TEST_F(ScriptParserTest, ArgumentConversions) {
  writeScript("demo.vxc",
              "playscene Intro # 2\nplayscene intro\nplayscene intro 0\nsettime 1500.9\nsetgamma 1.25\n"
              "createcolor 255 -1 51 Red\nsetlayeradditive 3 -2\nxfadescene B 300 40\nshakecamera 1.5 2 7 0.25 9\n"
              "setlayerpos 1 2.5 3 4 5 6 7 8\nplayflash movie\n");
  Scripter& s = load();
  ASSERT_EQ(s.items.size(), 11u);
  EXPECT_EQ(itemAs<PlayScene>(s, 0).speed, 0.0f) << "'#' read as a number is 0, not a comment";
  EXPECT_EQ(itemAs<PlayScene>(s, 1).speed, 1.0f);
  EXPECT_EQ(itemAs<PlayScene>(s, 2).speed, 0.0f);
  EXPECT_EQ(itemAs<SetTime>(s, 3).time, 1500.0f) << "times are integers";
  EXPECT_EQ(itemAs<SetGamma>(s, 4).gamma, 1.25f);
  const CreateColor& c = itemAs<CreateColor>(s, 5);
  EXPECT_FLOAT_EQ(c.red, 1.0f);
  EXPECT_FLOAT_EQ(c.green, 4294967295.0f / 255.0f) << "negative read as a large unsigned number";
  EXPECT_FLOAT_EQ(c.blue, 0.2f);
  EXPECT_EQ(c.name, "red");
  EXPECT_TRUE(itemAs<SetLayerAdditive>(s, 6).additive);
  const PlaySceneXFade& x = itemAs<PlaySceneXFade>(s, 7);
  EXPECT_EQ(x.name, "b");
  EXPECT_EQ(x.duration, 300.0f);
  EXPECT_EQ(x.offset, 40.0f);
  EXPECT_EQ(x.speed, 1.0f);
  const ShakeCamera& shake = itemAs<ShakeCamera>(s, 8);
  EXPECT_EQ(shake.axis, 7);
  EXPECT_EQ(shake.decay, 9.0f);
  const SetLayerPos& pos = itemAs<SetLayerPos>(s, 9);
  EXPECT_EQ(pos.layer, 1);
  EXPECT_EQ(pos.x, 2.5f);
  EXPECT_EQ(pos.y, 3.0f);
  EXPECT_EQ(itemAs<PlayFlash>(s, 10).quality, 0);
}

TEST_F(ScriptParserTest, IncludeAppliesItsOwnBaseTimeToTimesAndDurations) {
  writeScript("demo.vxc", "wait 10\ninclude part.vxc 1000\nwaituntil 5\n");
  writeScript("part.vxc", "waituntil 500\nwait 200\nxfadescene s 300 0\ninclude inner.vxc 7\n");
  writeScript("inner.vxc", "settime 1\n");
  Scripter& s = load();
  ASSERT_EQ(s.items.size(), 6u);
  EXPECT_EQ(itemAs<Wait>(s, 0).duration, 10.0f);
  EXPECT_EQ(itemAs<WaitUntil>(s, 1).time, 1500.0f);
  EXPECT_EQ(itemAs<Wait>(s, 2).duration, 1200.0f) << "durations get the base time too";
  EXPECT_EQ(itemAs<PlaySceneXFade>(s, 3).duration, 300.0f) << "cross-fade durations do not";
  EXPECT_EQ(itemAs<SetTime>(s, 4).time, 8.0f) << "base times do not accumulate";
  EXPECT_EQ(itemAs<WaitUntil>(s, 5).time, 5.0f) << "the includer's base time is back";
}

TEST_F(ScriptParserTest, MissingFilesAreSkippedAndRunStateResets) {
  writeScript("demo.vxc", "include nowhere.vxc 10\nsettime 3\n");
  scripter->current = 7;
  scripter->timeOffset = 5;
  scripter->sceneStart = 6;
  scripter->flashStart = 8;
  load("absent.vxc");
  EXPECT_TRUE(scripter->items.empty());
  EXPECT_EQ(scripter->current, 0u);
  EXPECT_EQ(scripter->timeOffset + scripter->sceneStart + scripter->flashStart, 0.0f);
  load();
  EXPECT_EQ(scripter->items.size(), 1u);
}

TEST_F(ScriptParserTest, ArchiveScriptWinsOverTheLooseFile) {
  writeScript("demo.vxc", "settime 1\n");
  ArchiveWriter writer;
  ASSERT_TRUE(writer.add("demo.vxc", "settime 2\nsettime 3\n", 20, 1));
  Bytes image;
  ASSERT_TRUE(writer.finish(&image));
  CFLArchive archive;
  ASSERT_EQ(archive.Open(dir.write("show.cfl", image).c_str()), 1);
  g_archive = &archive;
  Scripter& s = load();
  g_archive = nullptr;
  ASSERT_EQ(s.items.size(), 2u);
  EXPECT_EQ(itemAs<SetTime>(s, 0).time, 2.0f);
}

TEST_F(ScriptParserDeathTest, InvalidCommandNamesLineAndFile) {
  // LF file: empty lines are not counted; comments and blank lines are.
  writeScript("lf.vxc", "settime 0\n\n\n# comment\n   \t \nsettime0 5\n");
  EXPECT_EXIT(load("lf.vxc"), ::testing::ExitedWithCode(0),
              "Error loading script: Invalid command 'settime0 5' in script lf.vxc, line 4!");
  // CR LF file: an empty line is a lone CR and is counted.
  writeScript("crlf.vxc", "settime 0\r\n\r\n\r\nbogus  a\tb\r\n");
  EXPECT_EXIT(load("crlf.vxc"), ::testing::ExitedWithCode(0),
              "Error loading script: Invalid command 'bogus  a\tb' in script crlf.vxc, line 4!");
}

TEST_F(ScriptParserDeathTest, IncludeCyclesAreRefused) {
  writeScript("a.vxc", "settime 0\ninclude b.vxc 0\n");
  writeScript("b.vxc", "include a.vxc 0\n");
  EXPECT_EXIT(load("a.vxc"), ::testing::ExitedWithCode(0),
              "Error loading script: Script a.vxc includes itself again in script b.vxc, line 1!");
  writeScript("self.vxc", "include self.vxc 10\n");
  EXPECT_EXIT(load("self.vxc"), ::testing::ExitedWithCode(0), "self.vxc includes itself");
}

TEST_F(ScriptParserTest, TheSameFileMayBeIncludedTwiceInARow) {
  writeScript("demo.vxc", "include part.vxc 0\ninclude part.vxc 100\n");
  writeScript("part.vxc", "wait 1\n");
  Scripter& s = load();
  ASSERT_EQ(s.items.size(), 2u);
  EXPECT_EQ(itemAs<Wait>(s, 1).duration, 101.0f);
}
