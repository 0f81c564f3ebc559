// The commands that load, play, time and adjust 3D scenes, and the scene
// step of the frame (the current scene, or a cross-fade into a 512 × 512
// target laid over it).
#include "script/SceneCommands.h"

#include "platform/d3dx/D3DXMath.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/GlowAmount.h"
#include "render/Processor.h"
#include "render/StateCache.h"
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

void Scripter::freeSceneSlot(const std::string& name) {
  auto it = scenes.find(name);
  if (it == scenes.end()) return;
  if (currentScene == it->second) currentScene = nullptr;
  if (xfadeTarget == it->second) {
    xfadeTarget = nullptr;
    xfadeActive = false;
  }
  delete it->second;
  scenes.erase(it);
}

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

void Scripter::drawScene(float t) {
  if (xfadeActive && xfadeStart + xfadeDuration <= t) {
    // The target's time runs on without a jump: (t − sceneStart) × speed
    // equals the fade's formula at this moment.
    sceneStart = xfadeStart - xfadeOffset;
    sceneSpeed = xfadeSpeed;
    currentScene = xfadeTarget;
    xfadeActive = false;
  }
  if (!xfadeActive) {
    if (currentScene != nullptr) {
      currentScene->SetTime((t - sceneStart) * sceneSpeed);
      currentScene->Render();
    }
    return;
  }

  if (currentScene != nullptr) {
    currentScene->SetTime((t - sceneStart) * sceneSpeed);
    currentScene->Render();
  }
  const float progress = (t - xfadeStart) / xfadeDuration;
  SceneGraph* target = xfadeTarget;
  target->SetTime((t - xfadeStart + xfadeOffset) * xfadeSpeed);

  IDirect3DSurface9* savedTarget = nullptr;
  IDirect3DSurface9* savedDepth = nullptr;
  device->GetRenderTarget(0, &savedTarget);
  device->GetDepthStencilSurface(&savedDepth);
  target->stateCache->SetRenderTargetTexture(xfadeTexture);
  device->SetDepthStencilSurface(xfadeDepth);
  device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, 0, 1.0f, 127);
  target->Render();
  device->SetRenderTarget(0, savedTarget);
  device->SetDepthStencilSurface(savedDepth);
  if (savedTarget != nullptr) savedTarget->Release();
  if (savedDepth != nullptr) savedDepth->Release();

  target->stateCache->ResetTextureStages(0);
  device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
  device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
  device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
  device->SetTexture(0, xfadeTexture);

  const DWORD a = ColorChannelByte(progress);
  target->stateCache->SetRenderState(D3DRS_TEXTUREFACTOR, (a << 24) | 0x00FFFFFFu);
  target->stateCache->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
  target->stateCache->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
  target->stateCache->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
  target->stateCache->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA);
  if (target->defaultProcessor != nullptr) target->defaultProcessor->DrawFullscreenQuad();
}
