// The one frame: its order on the device, and advancing without drawing.
#include "ScriptTestUtil.h"
#include "platform/movie/AxHost.h"
#include "platform/os/Clock.h"
#include "platform/os/MessageBox.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "script/Show.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace {

// A colour layer moving and fading, a jump of the script time, waits of
// both kinds, and the end of the script.
const char* kLayerShow =
    "createcolor 255 0 0 red\n"
    "setlayer red 2\n"
    "setlayerpos 2 10 20\n"
    "setlayerposdelta 2 100 -50\n"
    "setlayeralphadelta 2 -0.5\n"
    "wait 250\n"
    "settime 1000\n"
    "setlayeradditive 2 1\n"
    "waituntil 1300\n"
    "setlayerposdelta 2 -40 0\n"
    "wait 200\n";

class ShowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
    soundForceOutput(FSOUND_OUTPUT_OFFLINE);
    AtlAxWinInit();
    dir.write("demo.vxc", bytesOf(kLayerShow));
  }
  void TearDown() override {
    ClearPerformanceCounterOverride();
    SetMessageBoxHook(nullptr);
  }

  // Plays the show at 25 fps on a fresh device, drawing the frames that
  // `draws` says; returns, for each drawn frame, its layer calls.
  struct Run {
    std::vector<std::vector<std::string>> drawn;
    std::vector<std::size_t> callsOfAdvancedFrames;
    int endFrame = -1;
  };
  Run play(const std::function<bool(int)>& draws) {
    Run run;
    RecordingDevice* device = RecordingDevice::createOffscreen();
    {
      Show show(device, Show::Clock::Virtual);  // takes the creation's reference
      show.Start("demo.vxc");
      for (int k = 0; k < 60; ++k) {
        show.SetTime(k * 40.0);
        const std::size_t mark = device->log().size();
        const bool draw = draws(k);
        const bool ended = show.Frame(draw);
        if (draw) {
          std::vector<std::string> calls;
          for (std::size_t i = mark; i < device->log().size(); ++i) {
            const RecordedCall& call = device->log()[i];
            if (call.name == "SetRenderState" || call.name == "SetTransform" || call.name == "DrawPrimitiveUP")
              calls.push_back(call.text());
          }
          run.drawn.push_back(calls);
        } else {
          run.callsOfAdvancedFrames.push_back(device->log().size() - mark);
        }
        if (ended) {
          run.endFrame = k;
          break;
        }
      }
    }
    return run;
  }

  TempDir dir;
  CurrentDirectory inDir{dir.path()};
};

}  // namespace

TEST_F(ShowTest, FrameKeepsTheLoopsOrder) {
  RecordingDevice* device = RecordingDevice::createOffscreen();
  Show show(device, Show::Clock::Virtual);
  show.Start("demo.vxc");
  show.SetTime(0);
  const std::size_t mark = device->log().size();
  EXPECT_FALSE(show.Frame());
  std::vector<std::string> names;
  for (std::size_t i = mark; i < device->log().size(); ++i) {
    const std::string& name = device->log()[i].name;
    if (name == "Clear" || name == "BeginScene" || name == "DrawPrimitiveUP" || name == "EndScene" || name == "Present")
      names.push_back(name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Clear", "BeginScene", "DrawPrimitiveUP", "EndScene", "Present"}));
  EXPECT_EQ(device->log()[mark].text(), "Clear(0, NULL, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0x00000000, 1, 0)")
      << "black, depth 1";
}

TEST_F(ShowTest, AdvancedFramesLeaveTheDrawnOnesAsAFullRunDrawsThem) {
  const Run full = play([](int) { return true; });
  ASSERT_EQ(full.endFrame, 21) << "the jump at 280 ms, 1300 passed at 600 ms, 200 more";
  ASSERT_EQ(int(full.drawn.size()), full.endFrame + 1);

  // Drawn frames: one inside the first wait, the frame of the jump, one
  // inside the waituntil, the frame it lets through, and the last two.
  const std::vector<int> picks = {3, 7, 12, 15, 20, 21};
  const Run sparse = play([&](int k) { return std::find(picks.begin(), picks.end(), k) != picks.end(); });
  EXPECT_EQ(sparse.endFrame, full.endFrame) << "the script ends in the same frame";
  ASSERT_EQ(sparse.drawn.size(), picks.size());
  for (std::size_t i = 0; i < picks.size(); ++i)
    EXPECT_EQ(sparse.drawn[i], full.drawn[std::size_t(picks[i])]) << "frame " << picks[i];
  for (std::size_t calls : sparse.callsOfAdvancedFrames) EXPECT_EQ(calls, 0u) << "advancing touches no device";
}
