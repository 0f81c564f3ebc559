#pragma once
// The layer commands: put images on numbered layers, move and fade them.
// Commands on a layer number that has no layer do nothing.
#include "script/ScriptItem.h"

#include <cstdint>

class SetLayer final : public ScriptItem {
 public:
  SetLayer(Scripter* s, std::string text, std::string image_, std::int32_t layer_)
      : ScriptItem(s, std::move(text)), image(std::move(image_)), layer(layer_) {}
  bool Execute(float t) override;
  std::string image;  // slot name, lower case
  std::int32_t layer;
};

class RemoveLayer final : public ScriptItem {
 public:
  RemoveLayer(Scripter* s, std::string text, std::int32_t layer_) : ScriptItem(s, std::move(text)), layer(layer_) {}
  bool Execute(float t) override;
  std::int32_t layer;
};

class ClearLayers final : public ScriptItem {
 public:
  using ScriptItem::ScriptItem;
  bool Execute(float t) override;
};

class SetLayerPos final : public ScriptItem {
 public:
  SetLayerPos(Scripter* s, std::string text, std::int32_t layer_, float x_, float y_)
      : ScriptItem(s, std::move(text)), layer(layer_), x(x_), y(y_) {}
  bool Execute(float t) override;
  std::int32_t layer;
  float x, y;  // virtual-screen pixels
};

class SetLayerAlpha final : public ScriptItem {
 public:
  SetLayerAlpha(Scripter* s, std::string text, std::int32_t layer_, float alpha_)
      : ScriptItem(s, std::move(text)), layer(layer_), alpha(alpha_) {}
  bool Execute(float t) override;
  std::int32_t layer;
  float alpha;
};

class SetLayerPosDelta final : public ScriptItem {
 public:
  SetLayerPosDelta(Scripter* s, std::string text, std::int32_t layer_, float xSpeed_, float ySpeed_)
      : ScriptItem(s, std::move(text)), layer(layer_), xSpeed(xSpeed_), ySpeed(ySpeed_) {}
  bool Execute(float t) override;
  std::int32_t layer;
  float xSpeed, ySpeed;  // pixels per second
};

class SetLayerAlphaDelta final : public ScriptItem {
 public:
  SetLayerAlphaDelta(Scripter* s, std::string text, std::int32_t layer_, float alphaSpeed_)
      : ScriptItem(s, std::move(text)), layer(layer_), alphaSpeed(alphaSpeed_) {}
  bool Execute(float t) override;
  std::int32_t layer;
  float alphaSpeed;  // per second
};

class SetLayerAdditive final : public ScriptItem {
 public:
  SetLayerAdditive(Scripter* s, std::string text, std::int32_t layer_, bool additive_)
      : ScriptItem(s, std::move(text)), layer(layer_), additive(additive_) {}
  bool Execute(float t) override;
  std::int32_t layer;
  bool additive;
};
