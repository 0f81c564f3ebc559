#include "scene/SceneGraph.h"

#include "render/Processor.h"
#include "render/SceneProcessors.h"
#include "render/StateCache.h"
#include "scene/Camera.h"
#include "scene/Controller.h"
#include "scene/Light.h"

#include <cmath>

std::uint32_t g_nextLightSlot = 0;

namespace {
SceneProcessorFactory g_processorFactory = CreateSceneProcessors;

float distanceBetween(const D3DXVECTOR3& a, const D3DXMATRIX& world) {
  const float dx = world._41 - a.x, dy = world._42 - a.y, dz = world._43 - a.z;
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}
}  // namespace

void SetSceneProcessorFactory(SceneProcessorFactory factory) { g_processorFactory = factory; }
SceneProcessorFactory GetSceneProcessorFactory() { return g_processorFactory; }

SceneGraph::SceneGraph(IDirect3DDevice9* device) : stateCache(new StateCache(device)) {}

SceneGraph::~SceneGraph() {
  // Objects go in creation order; the cameras and lights among them take
  // themselves out of their lists, which must therefore outlive them.
  for (std::size_t i = 0; i < objects.size(); ++i) {
    Base* object = objects[i];
    objects[i] = nullptr;
    delete object;
  }
  objects.clear();
  for (Controller* controller : controllers) delete controller;
  controllers.clear();
  delete stateCache;
  stateCache = nullptr;
}

Base* SceneGraph::findObject(std::int32_t id) const {
  if (id == -1) return nullptr;
  for (Base* object : objects)
    if (object != nullptr && object->id == std::uint32_t(id)) return object;
  return nullptr;
}

void SceneGraph::SetActiveCamera(Camera* camera) {
  if (activeCamera != nullptr) activeCamera->deactivate();
  activeCamera = camera;
  if (camera != nullptr) camera->activate();
}

void SceneGraph::SetActiveCameraByName(const char* name) {
  for (Camera* camera : cameras) {
    if (camera->name == name) {
      SetActiveCamera(camera);
      return;
    }
  }
}

void SceneGraph::DisableLights() {
  for (Light* light : lights) light->disable();
  g_nextLightSlot = 0;
}

void SceneGraph::enableLightsNear(const D3DXVECTOR3& position, float radius) {
  DisableLights();
  for (Light* light : lights) {
    if (light->d3dLight.Range + radius > distanceBetween(position, light->world)) light->enable(g_nextLightSlot++);
  }
}

Light* SceneGraph::findDominantLight(const D3DXVECTOR3& position) const {
  Light* best = nullptr;
  float bestRatio = 9999999.0f;
  for (Light* light : lights) {
    const float ratio = distanceBetween(position, light->world) / light->d3dLight.Range;
    if (ratio < bestRatio) {
      bestRatio = ratio;
      best = light;
    }
  }
  return best;
}

void SceneGraph::Prepare() {
  if (prepared) return;
  // Objects created while linking (none today) are linked too: the list is
  // walked by index.
  for (std::size_t i = 0; i < objects.size(); ++i) objects[i]->link();
  if (root != nullptr) root->update(true);
  if (skybox != nullptr) skybox->update(true);
  if (g_processorFactory != nullptr) g_processorFactory(*this);
  prepared = true;
}

void SceneGraph::SetTime(float t) {
  if (!loaded) return;
  for (Controller* controller : controllers) controller->update(t);
}

void SceneGraph::Render() {
  if (!loaded) return;
  stateCache->glowOnly = FALSE;
  if (activeCamera == nullptr || root == nullptr) return;
  activeCamera->activate();
  for (Processor* processor : processors) processor->BeginFrame();
  for (Processor* processor : processors) {
    processor->ClearQueues();
    root->render(processor);
    processor->Render();
  }
}
