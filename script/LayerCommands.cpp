#include "script/LayerCommands.h"

#include "script/Scripter.h"

namespace {
LayerRecord* findLayer(Scripter* s, std::int32_t layer) {
  auto it = s->layers.find(layer);
  return it == s->layers.end() ? nullptr : &it->second;
}
}  // namespace

bool SetLayer::Execute(float) {
  scripter->layers.erase(layer);
  auto it = scripter->images.find(image);
  if (it != scripter->images.end()) {
    LayerRecord record;
    record.image = it->second;
    scripter->layers.emplace(layer, record);
  }
  return true;
}

bool RemoveLayer::Execute(float) {
  scripter->layers.erase(layer);
  return true;
}

bool ClearLayers::Execute(float) {
  scripter->layers.clear();
  return true;
}

bool SetLayerPos::Execute(float) {
  if (LayerRecord* r = findLayer(scripter, layer)) {
    r->x = r->baseX = x;
    r->y = r->baseY = y;
  }
  return true;
}

bool SetLayerAlpha::Execute(float) {
  if (LayerRecord* r = findLayer(scripter, layer)) r->alpha = r->baseAlpha = alpha;
  return true;
}

bool SetLayerPosDelta::Execute(float t) {
  if (LayerRecord* r = findLayer(scripter, layer)) {
    r->baseX = r->x;
    r->baseY = r->y;
    r->posStart = t;
    r->xSpeed = xSpeed;
    r->ySpeed = ySpeed;
  }
  return true;
}

bool SetLayerAlphaDelta::Execute(float t) {
  if (LayerRecord* r = findLayer(scripter, layer)) {
    r->baseAlpha = r->alpha;
    r->alphaStart = t;
    r->alphaSpeed = alphaSpeed;
  }
  return true;
}

bool SetLayerAdditive::Execute(float) {
  if (LayerRecord* r = findLayer(scripter, layer)) r->additive = additive;
  return true;
}
