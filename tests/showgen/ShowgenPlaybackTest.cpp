// The example show played through the player's Scripter on a virtual clock
// (50 frames a second, the recording device, the music mixed offline), with
// a probe in place of each scene's processors that records what the
// traversal would draw. Checks what a viewer would notice: every slot is
// loaded before it is used, the scenes' subjects stay in the shot, the
// cameras cut on the tune's bar lines, a shake hits the camera of the shot
// it lands in, fog colours land on beats, and the show lasts about a minute.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/movie/AxHost.h"
#include "platform/os/Clock.h"
#include "platform/os/MessageBox.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "render/Processor.h"
#include "scene/Camera.h"
#include "scene/Group.h"
#include "scene/SceneGraph.h"
#include "scene/ShakeController.h"
#include "script/DemoClock.h"
#include "script/LayerCommands.h"
#include "script/SceneCommands.h"
#include "script/Scripter.h"
#include "script/SlotCommands.h"
#include "tests/showgen/ShowgenOutput.h"

namespace {

using namespace showgen_test;

constexpr double kFrameMs = 20.0;
constexpr double kBeatMs = 500.0, kBarMs = 2000.0;  // the tune: 120 beats a minute, 4/4

// Stands in for a scene's processors: the names of the nodes the last
// traversal queued (those in the active camera's view).
class Probe : public Processor {
 public:
  using Processor::Processor;
  void ClearQueues() override { names.clear(); }
  void QueueNode(Group* node) override { names.insert(node->name); }
  std::set<std::string> names;
};

void probeProcessors(SceneGraph& scene) {
  auto* probe = new Probe(scene.AllocateId(), &scene);
  scene.processors.push_back(probe);
  scene.defaultProcessor = probe;
}

void setClockMs(double ms) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  SetPerformanceCounterOverride(std::int64_t(ms * double(frequency.QuadPart) / 1000.0 + 0.5));
}

// Distance from t to the nearest multiple of period (all in ms).
double offGrid(double t, double period) {
  const double k = std::round(t / period);
  return t - k * period;
}

class ShowgenPlayback : public ShowgenOutput {
 protected:
  void SetUp() override {
    ShowgenOutput::SetUp();
    for (const auto& entry : fs::directory_iterator(VX_EXAMPLE_SHOW_DIR))
      fs::copy_file(entry.path(), *s_dir / entry.path().filename(), fs::copy_options::overwrite_existing);
    m_previousDir = fs::current_path();
    fs::current_path(*s_dir);
    m_previousFactory = GetSceneProcessorFactory();
    SetSceneProcessorFactory(probeProcessors);
    SetMessageBoxHook([](const char* text, const char* caption, UINT) {
      ADD_FAILURE() << caption << ": " << text;
      return IDOK;
    });
    setClockMs(0);
    StartDemoClock();
    soundForceOutput(FSOUND_OUTPUT_OFFLINE);
    soundOfflineSetCollect(false);
    AtlAxWinInit();
    device = RecordingDevice::createOffscreen();
    device->BeginScene();
    scripter = std::make_unique<Scripter>(device, 800, 600);
    scripter->LoadScript("demo.vxc", 0.0f);
  }
  void TearDown() override {
    scripter.reset();
    if (device) device->Release();
    ClearPerformanceCounterOverride();
    SetMessageBoxHook(nullptr);
    SetSceneProcessorFactory(m_previousFactory);
    fs::current_path(m_previousDir);
  }

  std::string slotOf(const SceneGraph* scene) const {
    for (const auto& [name, s] : scripter->scenes)
      if (s == scene) return name;
    return "?";
  }

  RecordingDevice* device = nullptr;
  std::unique_ptr<Scripter> scripter;

 private:
  fs::path m_previousDir;
  SceneProcessorFactory m_previousFactory = nullptr;
};

void checkSlotsLoadedBeforeUse(const Scripter& scripter) {
  ASSERT_GT(scripter.items.size(), 50u);
  std::set<std::string> images, scenes, music, movies;
  int playScenes = 0;
  for (const auto& item : scripter.items) {
    SCOPED_TRACE(item->text);
    if (auto* load = dynamic_cast<LoadSlotItem*>(item.get())) {
      EXPECT_TRUE(fs::is_regular_file(load->file)) << load->file;
      if (dynamic_cast<LoadImage*>(load)) images.insert(load->name);
      if (dynamic_cast<LoadScene*>(load)) scenes.insert(load->name);
      if (dynamic_cast<LoadMusic*>(load)) music.insert(load->name);
      if (dynamic_cast<LoadFlash*>(load)) movies.insert(load->name);
    } else if (auto* colour = dynamic_cast<CreateColor*>(item.get())) {
      images.insert(colour->name);
    } else if (auto* layer = dynamic_cast<SetLayer*>(item.get())) {
      EXPECT_TRUE(images.count(layer->image)) << "layer shows an image never loaded";
    } else if (auto* play = dynamic_cast<PlayScene*>(item.get())) {
      EXPECT_TRUE(scenes.count(play->name));
      ++playScenes;
    } else if (auto* fade = dynamic_cast<PlaySceneXFade*>(item.get())) {
      EXPECT_TRUE(scenes.count(fade->name));
      EXPECT_GT(fade->duration, 0.0f);
      ++playScenes;
    } else if (auto* play = dynamic_cast<PlayMusic*>(item.get())) {
      EXPECT_TRUE(music.count(play->name));
      EXPECT_EQ(play->startPosition, 0) << "the script's times are the tune's only if it starts at its top";
    } else if (auto* play = dynamic_cast<PlayFlash*>(item.get())) {
      EXPECT_TRUE(movies.count(play->name));
    } else if (auto* free = dynamic_cast<SlotItem*>(item.get())) {
      EXPECT_TRUE(images.count(free->name) + scenes.count(free->name) + music.count(free->name) +
                  movies.count(free->name))
          << "frees what was never loaded";
    }
  }
  EXPECT_EQ(scenes, (std::set<std::string>{"orbit", "hall"}));
  EXPECT_EQ(playScenes, 2);
}

// The script's slot use, then the show played to its end.
TEST_F(ShowgenPlayback, LoadsEverySlotBeforeUseKeepsTheSubjectsInViewAndCutsOnTheBeat) {
  checkSlotsLoadedBeforeUse(*scripter);

  // What must be in every frame of each scene's shots.
  const std::map<std::string, std::vector<std::string>> subjects = {{"orbit", {"Planet"}},
                                                                    {"hall", {"Relic", "Floor"}}};
  struct Cut {
    double time;
    std::string scene, camera;
  };
  std::vector<Cut> cuts;
  std::map<std::string, std::set<std::string>> camerasSeen;
  std::map<std::string, double> firstShown;
  std::map<std::string, int> framesShown;
  const SceneGraph* lastScene = nullptr;
  std::string lastCamera;
  double musicStart = -1.0, end = -1.0;
  int shakes = 0, fogChanges = 0;
  std::map<const SceneGraph*, std::size_t> controllerCounts;

  for (int frame = 0; frame < int(90000 / kFrameMs); ++frame) {
    setClockMs(frame * kFrameMs);
    device->log().clear();
    const std::uint32_t before = scripter->current;
    const bool done = scripter->Update(GetDemoTime());
    soundOfflineAdvanceMs(kFrameMs);
    const double t = GetDemoTime() - scripter->timeOffset;
    if (musicStart < 0.0 && scripter->currentMusic != nullptr) musicStart = t;

    // Each scene opens on its first camera at its time 0 (a cross-fade
    // target at the fade's start), where its cuts are counted from.
    auto opening = [&](SceneGraph* s, double sceneTime) {
      const std::string slot = slotOf(s);
      if (s == nullptr || firstShown.count(slot)) return;
      firstShown[slot] = t;
      ASSERT_NE(s->activeCamera, nullptr);
      EXPECT_EQ(s->activeCamera->name, s->cameras.front()->name) << slot;
      EXPECT_LT(std::fabs(sceneTime), kFrameMs + 1.0) << slot << " opens at its time " << sceneTime;
    };
    opening(scripter->currentScene, (t - scripter->sceneStart) * scripter->sceneSpeed);
    if (scripter->xfadeActive)
      opening(scripter->xfadeTarget, (t - scripter->xfadeStart + scripter->xfadeOffset) * scripter->xfadeSpeed);

    SceneGraph* scene = scripter->currentScene;
    if (scene != nullptr && scene->activeCamera != nullptr) {
      const std::string slot = slotOf(scene), camera = scene->activeCamera->name;
      if (!scripter->xfadeActive) {
        ++framesShown[slot];
        const auto& seen = static_cast<Probe*>(scene->processors.at(0))->names;
        for (const std::string& subject : subjects.at(slot))
          EXPECT_TRUE(seen.count(subject)) << subject << " out of view in " << slot << "'s shot " << camera << " at "
                                           << t << " ms";
      }
      camerasSeen[slot].insert(camera);
      if (scene == lastScene && camera != lastCamera) cuts.push_back({t, slot, camera});
      lastScene = scene;
      lastCamera = camera;

      // A shake added this frame must move the camera the viewer sees.
      std::size_t& count = controllerCounts[scene];
      if (count != 0 && scene->controllers.size() > count) {
        auto* shake = dynamic_cast<ShakeController*>(scene->controllers.back());
        ASSERT_NE(shake, nullptr);
        EXPECT_EQ(shake->target, scene->activeCamera) << "the shake at " << t << " ms moves a camera out of shot";
        EXPECT_LT(std::fabs(offGrid(t - musicStart, kBeatMs)), kFrameMs + 1.0) << "shake off the beat at " << t;
        ++shakes;
      }
      count = scene->controllers.size();
    }

    // A fog colour lands on a beat, on the camera in shot.
    for (std::uint32_t i = before; i < scripter->current && i < scripter->items.size(); ++i)
      if (auto* fog = dynamic_cast<SetFogColor*>(scripter->items[i].get())) {
        ++fogChanges;
        ASSERT_NE(scene, nullptr);
        unsigned argb = 0;
        std::sscanf(fog->color.c_str(), "%x", &argb);
        EXPECT_NEAR(scene->activeCamera->fogColor[0], float((argb >> 16) & 0xFF) / 255.0f, 1e-3f) << fog->text;
        EXPECT_LT(std::fabs(offGrid(t - musicStart, kBeatMs)), kFrameMs + 1.0) << fog->text << " off the beat";
      }
    if (done) {
      end = t;
      break;
    }
  }

  ASSERT_GE(musicStart, 0.0);
  EXPECT_GT(end, 55000.0) << "the show should last about a minute";
  EXPECT_LT(end, 70000.0);
  for (const char* slot : {"orbit", "hall"}) {
    EXPECT_GT(framesShown[slot], int(15000 / kFrameMs)) << slot << " is on screen for under 15 s";
    EXPECT_EQ(camerasSeen[slot].size(), 3u) << slot << " does not show all its cameras";
  }
  EXPECT_GE(cuts.size(), 6u);
  // The activators cut a little ahead of the bar line, so that a command on
  // the bar already meets the new camera; never more than a few frames off.
  for (const Cut& cut : cuts) {
    EXPECT_GT(cut.time - firstShown[cut.scene], 7000.0) << cut.scene << "'s opening shot is cut short";
    EXPECT_LT(std::fabs(offGrid(cut.time - musicStart, kBarMs)), 3 * kFrameMs)
        << cut.scene << " cuts to " << cut.camera << " at " << cut.time << " ms, off the bar";
  }
  EXPECT_GE(shakes, 3);
  EXPECT_GE(fogChanges, 3);
}

}  // namespace
