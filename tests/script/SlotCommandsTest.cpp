// Music and movie commands through the Scripter: slots, current pointers and
// the failures of the play commands.
#include "ScriptTestUtil.h"
#include "audio/MP3Player.h"
#include "layers/FlashPlayer.h"
#include "tests/platform/movie/TestMovies.h"
#include "tests/platform/sound/Mp3TestUtil.h"

#include <gtest/gtest.h>

namespace {

class SlotCommandsTest : public ScriptTest {
 protected:
  void SetUp() override {
    ScriptTest::SetUp();
    TestSignal signal;
    signal.frames = 44100;
    dir.write("tune.mp3", encodeTestMp3(signal));
    ASSERT_TRUE(writeMovieFile(dir.file("clip.swf"), plainMovie(12)));
  }
  // Runs the whole script in one frame (it must not end with a wait).
  void runAll(const std::string& script) {
    writeScript("demo.vxc", script + "wait 100000\n");
    load();
    setClockMs(1);
    EXPECT_FALSE(scripter->Update(0));
  }
};

using SlotCommandsDeathTest = SlotCommandsTest;

}  // namespace

TEST_F(SlotCommandsTest, MusicPlaysStopsAndReplacesTheCurrentStream) {
  runAll("loadmusic tune.mp3 Song\nplaymusic song 250\nsetvolume 100\n");
  MP3Player* song = scripter->musics.at("song");
  EXPECT_EQ(scripter->currentMusic, song);
  EXPECT_TRUE(song->playing());

  scripter->items.clear();
  runAll("loadmusic tune.mp3 other\nplaymusic other 0\nstopmusic\nsetvolume 3\n");
  EXPECT_EQ(scripter->currentMusic, nullptr);
  EXPECT_FALSE(scripter->musics.at("other")->playing());
  EXPECT_FALSE(song->playing()) << "playing another stream stops the current one";

  scripter->items.clear();
  runAll("playmusic song 0\nloadmusic tune.mp3 song\nfreemusic nothing\n");
  EXPECT_EQ(scripter->currentMusic, nullptr) << "reloading the current slot stops and forgets it";
  EXPECT_EQ(scripter->musics.size(), 2u);
  scripter->items.clear();
  runAll("freemusic song\nfreemusic other\n");
  EXPECT_TRUE(scripter->musics.empty());
}

TEST_F(SlotCommandsTest, MoviesLoadAndTakeTheirSettings) {
  runAll("loadflash clip.swf Intro\nplayflash intro 3 1\n");
  FlashPlayer* intro = scripter->flashes.at("intro");
  EXPECT_EQ(scripter->currentFlash, intro);
  EXPECT_EQ(intro->mode(), 1);
  EXPECT_EQ(intro->totalFrames(), 12);
  scripter->items.clear();
  runAll("stopflash\n");
  EXPECT_EQ(scripter->currentFlash, nullptr);
  scripter->items.clear();
  runAll("playflash intro\nfreeflash intro\n");
  EXPECT_EQ(scripter->currentFlash, nullptr) << "freeing the current movie clears the pointer";
  EXPECT_TRUE(scripter->flashes.empty());
}

TEST_F(SlotCommandsDeathTest, PlayingAnEmptySlotEndsTheShow) {
  EXPECT_EXIT(runAll("playmusic Nothing 0\n"), ::testing::ExitedWithCode(0),
              "PlayMusic error: Music slot nothing is empty! PlayMusic failed.");
  EXPECT_EXIT(runAll("playflash none\n"), ::testing::ExitedWithCode(0),
              "PlayFlash error: Flash slot none is empty! PlayFlash failed.");
  EXPECT_EXIT(runAll("loadmusic missing.mp3 m\n"), ::testing::ExitedWithCode(0), "File not found");
}
