#include "render/SceneProcessors.h"

#include "render/DefaultProcessor.h"
#include "render/GlowProcessor.h"
#include "scene/SceneGraph.h"

void CreateSceneProcessors(SceneGraph& scene) {
  // Processors are scene objects: the constructor registers each with the
  // scene, which owns it; the processor list only orders them.
  auto* drawing = new DefaultProcessor(scene.AllocateId(), &scene);
  scene.processors.push_back(drawing);
  scene.defaultProcessor = drawing;
  scene.processors.push_back(new GlowProcessor(scene.AllocateId(), &scene));
}
