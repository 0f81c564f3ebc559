#pragma once
// A render processor turns one scene into draw calls for one frame. The scene
// drives the protocol each frame: BeginFrame on every processor, then for
// each in turn ClearQueues, the root node's traversal (QueueNode for every
// visible node, depth-first, pre-order) and Render. Processors are scene
// objects: the scene's object list owns them, its processor list orders them.
#include "scene/Base.h"

class Group;

class Processor : public Base {
 public:
  Processor(std::uint32_t id, SceneGraph* scene) : Base(id, scene) {}
  virtual void BeginFrame() {}
  virtual void ClearQueues() {}
  virtual void Render() {}
  virtual void QueueNode(Group* node) { (void)node; }
  // Draws a quad over the whole viewport with the caller's texture and blend
  // states (the scene cross-fade uses the default processor's); a processor
  // that draws no quads does nothing.
  virtual void DrawFullscreenQuad() {}
};
