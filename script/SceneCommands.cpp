// The commands that load, play, time and adjust 3D scenes.
#include "script/SceneCommands.h"

#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/GlowAmount.h"
#include "scene/Camera.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/ShakeController.h"
#include "script/Scripter.h"

#include <cmath>
#include <cstdio>
#include <memory>

namespace {
[[noreturn]] void emptySlot(const std::string& name, const char* command, const char* caption) {
  char text[512];
  std::snprintf(text, sizeof text, "Scene slot %s is empty! %s failed.", name.c_str(), command);
  MessageBoxA(nullptr, text, caption, MB_OK);
  ExitProcess(0);
}

// The integer part of a float, kept as a float; values beyond the 32-bit
// range keep their integral value instead of overflowing a conversion.
float wholeMs(float ms) { return std::trunc(ms); }
}  // namespace

bool LoadScene::Execute(float) {
  scripter->freeSceneSlot(name);
  // Owned here until stored: a damaged file ends the show from inside
  // LoadScene, and a harness's exit hook may unwind through here instead.
  auto scene = std::make_unique<SceneGraph>(scripter->device);
  auto* loader = new VXKSceneLoader(scene->AllocateId(), scene.get());  // owned by the scene
  loader->LoadScene(file.c_str());
  scene->Prepare();
  scripter->scenes[name] = scene.release();
  return true;
}

bool FreeScene::Execute(float) {
  scripter->freeSceneSlot(name);
  return true;
}

bool PlayScene::Execute(float) {
  auto it = scripter->scenes.find(name);
  if (it == scripter->scenes.end()) emptySlot(name, "PlayScene", "PlayScene error");
  scripter->currentScene = it->second;
  scripter->sceneSpeed = speed;
  return true;
}

bool PlaySceneXFade::Execute(float t) {
  auto it = scripter->scenes.find(name);
  if (it == scripter->scenes.end()) emptySlot(name, "XFadeScene", "XFadeScene error");
  scripter->xfadeTarget = it->second;
  scripter->xfadeActive = true;
  scripter->xfadeSpeed = speed;
  scripter->xfadeDuration = duration;
  scripter->xfadeOffset = offset;
  scripter->xfadeStart = t;
  return true;
}

bool StopScene::Execute(float) {
  scripter->currentScene = nullptr;
  return true;
}

bool SetSceneTime::Execute(float t) {
  scripter->sceneStart = t - time;
  return true;
}

bool SetGlowAmount::Execute(float) {
  GlowAmount = amount;
  return true;
}

bool SetGamma::Execute(float) {
  if (scripter->currentScene != nullptr) scripter->currentScene->gamma = gamma;
  return true;
}

bool SetActiveCamera::Execute(float) {
  if (scripter->currentScene != nullptr) scripter->currentScene->SetActiveCameraByName(camera.c_str());
  return true;
}

// A scene without an active camera has nowhere to put a fog colour or a
// shake: both commands then do nothing.
bool SetFogColor::Execute(float) {
  SceneGraph* scene = scripter->currentScene;
  if (scene == nullptr || scene->activeCamera == nullptr) return true;
  unsigned int argb = 0;
  if (std::sscanf(color.c_str(), "%x", &argb) != 1) argb = 0;
  Camera* camera = scene->activeCamera;
  camera->fogColor[0] = float((argb >> 16) & 0xFF) * 0.003921569f;
  camera->fogColor[1] = float((argb >> 8) & 0xFF) * 0.003921569f;
  camera->fogColor[2] = float(argb & 0xFF) * 0.003921569f;
  camera->fogColor[3] = float((argb >> 24) & 0xFF) * 0.003921569f;
  return true;
}

bool ShakeCamera::Execute(float t) {
  SceneGraph* scene = scripter->currentScene;
  if (scene == nullptr || scene->activeCamera == nullptr) return true;
  scene->controllers.push_back(new ShakeController(scene->activeCamera, wholeMs(t - scripter->sceneStart), period,
                                                   amplitude * 0.017453292f, axis, attack, decay));
  return true;
}

