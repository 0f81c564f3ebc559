#include "script/Scripter.h"

#include "audio/MP3Player.h"
#include "audio/MusicSystem.h"
#include "layers/FlashPlayer.h"
#include "layers/ImageBlitter.h"
#include "platform/d3dx/D3DXMath.h"
#include "render/GlowTargets.h"
#include "render/Processor.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"
#include "script/DemoClock.h"

Scripter::Scripter(IDirect3DDevice9* device_, int width_, int height_)
    : device(device_), width(width_), height(height_) {
  InitMusicSystem();
  // The cross-fade draws its target scene at 512 x 512 whatever the screen
  // size; the results are not examined (a missing target draws nothing).
  device->CreateTexture(512, 512, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &xfadeTexture,
                        nullptr);
  device->CreateDepthStencilSurface(512, 512, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, TRUE, &xfadeDepth, nullptr);
  // The shared shaders, then the glow's targets; a shader that does not
  // compile ends the show, a target that cannot be made only skips the glow.
  CreateGlowTargets(device);
}

Scripter::~Scripter() {
  items.clear();
  while (!scenes.empty()) freeSceneSlot(scenes.begin()->first);
  while (!flashes.empty()) freeFlashSlot(flashes.begin()->first);
  while (!musics.empty()) freeMusicSlot(musics.begin()->first);
  while (!images.empty()) freeImageSlot(images.begin()->first);
  FSOUND_Close();
  if (xfadeTexture) xfadeTexture->Release();
  if (xfadeDepth) xfadeDepth->Release();
  // Also releases the shared shaders.
  ReleaseGlowTargets();
}

bool Scripter::Update(float clock) { return frame(clock, true); }

bool Scripter::Advance(float clock) { return frame(clock, false); }

bool Scripter::frame(float, bool draw) {
  if (current >= items.size()) return true;

  // Every due command runs, each with a fresh clock reading; the reading of
  // the last one is the frame's time.
  float t = GetDemoTime() - timeOffset;
  while (items[current]->Execute(t)) {
    if (++current >= items.size()) return true;
    t = GetDemoTime() - timeOffset;
  }

  auto overlays = layers.lower_bound(0);
  for (auto it = layers.begin(); it != overlays; ++it) drawLayer(it->second, t, draw);
  drawScene(t, draw);
  for (auto it = layers.lower_bound(0); it != layers.end(); ++it) drawLayer(it->second, t, draw);
  return current >= items.size();
}

void Scripter::drawLayer(LayerRecord& layer, float t, bool draw) {
  ImageBlitter* image = layer.image;
  image->x = layer.x;
  image->y = layer.y;
  image->alpha = layer.alpha >= 1.0f ? 1.0f : (layer.alpha <= 0.0f ? 0.0f : layer.alpha);
  image->additive = layer.additive;
  if (draw)
    image->Draw(t);
  else
    image->Advance(t);
  // Advance for the next frame; motion is linear and never stops by itself.
  layer.x = (t - layer.posStart) * layer.xSpeed * 0.001f + layer.baseX;
  layer.y = (t - layer.posStart) * layer.ySpeed * 0.001f + layer.baseY;
  layer.alpha = (t - layer.alphaStart) * layer.alphaSpeed * 0.001f + layer.baseAlpha;
}

// The scene, or the cross-fade: the current scene into the back buffer, the
// target into the 512 x 512 texture laid over it with the fade's opacity.
void Scripter::drawScene(float t, bool draw) {
  if (xfadeActive && xfadeStart + xfadeDuration <= t) {
    // The target's time runs on without a jump: (t − sceneStart) × speed
    // equals the fade's formula at this moment.
    sceneStart = xfadeStart - xfadeOffset;
    sceneSpeed = xfadeSpeed;
    currentScene = xfadeTarget;
    xfadeActive = false;
  }
  if (currentScene != nullptr) {
    currentScene->SetTime((t - sceneStart) * sceneSpeed);
    if (draw) currentScene->Render();
  }
  if (!xfadeActive) return;

  const float progress = (t - xfadeStart) / xfadeDuration;
  SceneGraph* target = xfadeTarget;
  target->SetTime((t - xfadeStart + xfadeOffset) * xfadeSpeed);
  if (!draw) return;

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

void Scripter::removeLayersShowing(const ImageBlitter* image) {
  std::erase_if(layers, [image](const auto& entry) { return entry.second.image == image; });
}

void Scripter::freeImageSlot(const std::string& name) {
  auto it = images.find(name);
  if (it == images.end()) return;
  removeLayersShowing(it->second);
  delete it->second;
  images.erase(it);
}

void Scripter::freeMusicSlot(const std::string& name) {
  auto it = musics.find(name);
  if (it == musics.end()) return;
  MP3Player* old = it->second;
  if (currentMusic == old) {
    currentMusic = nullptr;
    old->Stop();
  }
  old->Close();
  delete old;
  musics.erase(it);
}

void Scripter::freeFlashSlot(const std::string& name) {
  auto it = flashes.find(name);
  if (it == flashes.end()) return;
  if (currentFlash == it->second) currentFlash = nullptr;
  delete it->second;
  flashes.erase(it);
}

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
