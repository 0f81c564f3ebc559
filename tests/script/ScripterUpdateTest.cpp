#include "ScriptTestUtil.h"
#include "layers/ImageBlitter.h"
#include "platform/os/Clock.h"
#include "script/DemoClock.h"
#include "script/TimeCommands.h"

#include <gtest/gtest.h>

namespace {

double g_clockMs = 0;

void clockTo(double ms) {
  g_clockMs = ms;
  setClockMs(ms);
}

// Records the script time it is run with; its run costs `costMs` on the clock.
class Probe final : public ScriptItem {
 public:
  Probe(Scripter* s, std::vector<float>* seen, double costMs) : ScriptItem(s, "probe"), m_seen(seen), m_cost(costMs) {}
  bool Execute(float t) override {
    m_seen->push_back(t);
    clockTo(g_clockMs + m_cost);
    return true;
  }

 private:
  std::vector<float>* m_seen;
  double m_cost;
};

class ScripterUpdateTest : public ScriptTest {
 protected:
  void SetUp() override {
    ScriptTest::SetUp();
    clockTo(0);
  }
  // Texture factors of the layer draws since `from`, in draw order.
  std::vector<std::string> drawnColours(std::size_t from) {
    std::vector<std::string> colours;
    std::string factor;
    for (std::size_t i = from; i < device->log().size(); ++i) {
      const RecordedCall& call = device->log()[i];
      if (call.name == "SetRenderState" && call.arg(0) == "D3DRS_TEXTUREFACTOR") factor = call.arg(1);
      if (call.name == "DrawPrimitiveUP") colours.push_back(factor);
    }
    return colours;
  }
};

}  // namespace

TEST_F(ScripterUpdateTest, EmptyScriptEndsAtOnce) {
  EXPECT_TRUE(scripter->Update(0));
  EXPECT_EQ(device->drawCount(), 0);
}

TEST_F(ScripterUpdateTest, EveryDueCommandSeesAFreshClockReading) {
  std::vector<float> seen;
  for (int i = 0; i < 3; ++i) scripter->items.emplace_back(new Probe(scripter.get(), &seen, 25));
  scripter->items.emplace_back(new Wait(scripter.get(), "wait 1000", 1000));
  clockTo(100);
  EXPECT_FALSE(scripter->Update(0));
  EXPECT_EQ(seen, (std::vector<float>{100, 125, 150}));
  EXPECT_EQ(dynamic_cast<Wait&>(*scripter->items[3]).start, 175.0f) << "the wait starts after the loads";
  EXPECT_EQ(scripter->current, 3u);
}

TEST_F(ScripterUpdateTest, WaitsHoldTheTimelineStrictly) {
  writeScript("demo.vxc", "wait 0\nwaituntil 50\nsettime 0\n");
  load();
  clockTo(10);
  EXPECT_FALSE(scripter->Update(0)) << "wait 0 needs the clock to move past its start";
  EXPECT_EQ(scripter->items[0]->text, "Wait 0 (Left: 0)");
  EXPECT_FALSE(scripter->Update(0));
  clockTo(11);
  EXPECT_FALSE(scripter->Update(0));
  EXPECT_EQ(scripter->current, 1u);
  EXPECT_EQ(scripter->items[1]->text, "Wait 50 (Left: 39)");
  clockTo(50);
  EXPECT_FALSE(scripter->Update(0)) << "waituntil needs the time strictly past";
  clockTo(51);
  EXPECT_TRUE(scripter->Update(0)) << "the last command ends the script in this frame";
  EXPECT_TRUE(scripter->Update(0));
}

TEST_F(ScripterUpdateTest, SetTimeJumpsTheScriptClock) {
  writeScript("demo.vxc", "settime 1000\nwaituntil 1100\nsettime 0\nwaituntil 200\n");
  load();
  clockTo(40);
  EXPECT_FALSE(scripter->Update(0));
  EXPECT_EQ(scripter->timeOffset, -960.0f);
  EXPECT_EQ(scripter->current, 1u);
  clockTo(141);
  EXPECT_FALSE(scripter->Update(0)) << "1101 passes 1100; then settime 0 rewinds";
  EXPECT_EQ(scripter->current, 3u);
  EXPECT_EQ(scripter->timeOffset, 141.0f);
  clockTo(341);
  EXPECT_FALSE(scripter->Update(0)) << "the later waituntil waits longer";
  clockTo(342);
  EXPECT_TRUE(scripter->Update(0));
}

TEST_F(ScripterUpdateTest, LayersBelowDrawBeforeLayersAboveInNumberOrder) {
  writeScript("demo.vxc",
              "createcolor 255 0 0 Red\ncreatecolor 0 255 0 green\ncreatecolor 0 0 255 blue\n"
              "setlayer red 0\nsetlayer GREEN -1\nsetlayer blue 7\nsetlayer blue -5\nwait 1000\n");
  load();
  clockTo(5);
  const std::size_t mark = device->log().mark();
  EXPECT_FALSE(scripter->Update(0));
  EXPECT_EQ(drawnColours(mark), (std::vector<std::string>{"0xFF0000FF", "0xFF00FF00", "0xFFFF0000", "0xFF0000FF"}));
}

TEST_F(ScripterUpdateTest, LayerMotionIsLinearAndDrawsLastFramesValues) {
  writeScript("demo.vxc",
              "createcolor 255 255 255 white\nsetlayer white 2\nsetlayerpos 2 10 20\nsetlayeralpha 2 1.5\n"
              "setlayerposdelta 2 100 -50\nsetlayeralphadelta 2 -1\nwait 100000\n");
  load();
  clockTo(1000);
  EXPECT_FALSE(scripter->Update(0));
  const ImageBlitter* white = scripter->images.at("white");
  EXPECT_EQ(white->x, 10.0f) << "this frame drew the values set by the commands";
  EXPECT_EQ(white->alpha, 1.0f) << "alpha handed to the blitter is clamped";
  LayerRecord& layer = scripter->layers.at(2);
  EXPECT_EQ(layer.alpha, 1.5f) << "the stored alpha is not clamped";
  clockTo(3000);
  EXPECT_FALSE(scripter->Update(0));
  EXPECT_FLOAT_EQ(white->x, 10.0f);
  EXPECT_FLOAT_EQ(layer.x, 210.0f);
  EXPECT_FLOAT_EQ(layer.y, -80.0f);
  EXPECT_FLOAT_EQ(layer.alpha, -0.5f);
  clockTo(3500);
  EXPECT_FALSE(scripter->Update(0));
  EXPECT_FLOAT_EQ(white->x, 210.0f);
  EXPECT_EQ(white->alpha, 0.0f);
}

TEST_F(ScripterUpdateTest, ReplacingAnImageRemovesItsLayers) {
  writeScript("demo.vxc",
              "createcolor 1 2 3 pic\nsetlayer pic 1\nsetlayer pic 2\nsetlayer nothing 3\ncreatecolor 4 5 6 pic\n"
              "setlayer pic 4\nfreeimage absent\nwait 10\n");
  load();
  clockTo(1);
  scripter->Update(0);
  ASSERT_EQ(scripter->layers.size(), 1u);
  EXPECT_EQ(scripter->layers.begin()->first, 4);
  EXPECT_EQ(scripter->images.size(), 1u);
}

TEST_F(ScripterUpdateTest, CrossFadeTargetsAreCreatedAndReleasedWithTheScripter) {
  EXPECT_TRUE(device->log().containsSequence(
      {"CreateTexture(512, 512, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT)",
       "CreateDepthStencilSurface(512, 512, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, 1)"}))
      << device->log().dump();
  ASSERT_NE(scripter->xfadeTexture, nullptr);
  const int live = device->liveResourceCount();
  writeScript("demo.vxc", "createcolor 1 2 3 c\nsetlayer c 0\n");
  load();
  clockTo(1);
  scripter->Update(0);
  scripter.reset();
  // The cross-fade targets, the glow targets and the shared shaders all go
  // with the Scripter: the device holds what a fresh one holds.
  RecordingDevice* fresh = RecordingDevice::createOffscreen();
  const int bare = fresh->liveResourceCount();
  fresh->Release();
  EXPECT_LT(bare, live);
  EXPECT_EQ(device->liveResourceCount(), bare) << "everything the Scripter made is released";
}

TEST(DemoClock, CountsMillisecondsFromTheStartAndWraps) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  const std::int64_t f = frequency.QuadPart;
  SetPerformanceCounterOverride(f * 5);  // 5 s after boot
  StartDemoClock();
  EXPECT_EQ(g_startTimeMs, 5000u);
  SetPerformanceCounterOverride(f * 5 + f / 1000 * 1234 + f / 2000);  // 1234.5 ms later
  EXPECT_EQ(GetDemoTime(), 1234.0f) << "whole milliseconds, truncated";
  EXPECT_EQ(g_currentTimeMs, 1234u);
  // Milliseconds are cut to 32 bits: a start just below 2^32 wraps, and the
  // difference stays small and positive.
  SetPerformanceCounterOverride((std::int64_t(0xFFFFFFFFu) - 10) * (f / 1000));
  StartDemoClock();
  SetPerformanceCounterOverride((std::int64_t(0xFFFFFFFFu) + 20) * (f / 1000));
  EXPECT_EQ(GetDemoTime(), 30.0f);
  // Going backwards reads as a huge unsigned value, never a negative time.
  SetPerformanceCounterOverride((std::int64_t(0xFFFFFFFFu) - 11) * (f / 1000));
  EXPECT_EQ(GetDemoTime(), 4294967295.0f);
  ClearPerformanceCounterOverride();
}

TEST_F(ScripterUpdateTest, ColoursConvertEachChannelWithSaturation) {
  writeScript("demo.vxc", "createcolor 300 -1 128 odd\nsetlayer odd 0\nwait 10\n");
  load();
  clockTo(1);
  const std::size_t mark = device->log().mark();
  scripter->Update(0);
  EXPECT_EQ(drawnColours(mark), (std::vector<std::string>{"0xFFFFFF80"}))
      << "above 255 and negative (a huge unsigned) both saturate";
}
