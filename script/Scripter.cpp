#include "script/Scripter.h"

#include "layers/ImageBlitter.h"
#include "render/GlowTargets.h"
#include "script/DemoClock.h"

Scripter::Scripter(IDirect3DDevice9* device_, int width_, int height_)
    : device(device_), width(width_), height(height_) {
  initMusic();
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
  closeMusic();
  if (xfadeTexture) xfadeTexture->Release();
  if (xfadeDepth) xfadeDepth->Release();
  // Also releases the shared shaders.
  ReleaseGlowTargets();
}

bool Scripter::Update(float) {
  if (current >= items.size()) return true;

  // Every due command runs, each with a fresh clock reading; the reading of
  // the last one is the frame's time.
  float t = GetDemoTime() - timeOffset;
  while (items[current]->Execute(t)) {
    if (++current >= items.size()) return true;
    t = GetDemoTime() - timeOffset;
  }

  auto overlays = layers.lower_bound(0);
  for (auto it = layers.begin(); it != overlays; ++it) drawLayer(it->second, t);
  drawScene(t);
  for (auto it = layers.lower_bound(0); it != layers.end(); ++it) drawLayer(it->second, t);
  return current >= items.size();
}

void Scripter::drawLayer(LayerRecord& layer, float t) {
  ImageBlitter* image = layer.image;
  image->x = layer.x;
  image->y = layer.y;
  image->alpha = layer.alpha >= 1.0f ? 1.0f : (layer.alpha <= 0.0f ? 0.0f : layer.alpha);
  image->additive = layer.additive;
  image->Draw(t);
  // Advance for the next frame; motion is linear and never stops by itself.
  layer.x = (t - layer.posStart) * layer.xSpeed * 0.001f + layer.baseX;
  layer.y = (t - layer.posStart) * layer.ySpeed * 0.001f + layer.baseY;
  layer.alpha = (t - layer.alphaStart) * layer.alphaSpeed * 0.001f + layer.baseAlpha;
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
