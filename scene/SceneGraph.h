#pragma once
// One loaded 3D scene: it owns every object its file created (nodes, meshes,
// materials, textures, buffers, sprites, loaders, processors), its
// controllers and its StateCache, and knows the root node, the sky-box node,
// the cameras, the lights and the active camera.
//
// Life: created empty; filled by one SceneLoader::LoadScene (sets loaded);
// prepared once (links every object, computes every transform, creates the
// processors); then given its time and drawn every frame.
#include "platform/d3dx/D3DXMath.h"
#include "platform/gfx/Device.h"

#include <cstdint>
#include <vector>

class Base;
class Camera;
class Controller;
class Group;
class Light;
class Processor;
class StateCache;

class SceneGraph {
 public:
  explicit SceneGraph(IDirect3DDevice9* device);
  virtual ~SceneGraph();
  SceneGraph(const SceneGraph&) = delete;
  SceneGraph& operator=(const SceneGraph&) = delete;

  // The next scene id (0, 1, 2, ...).
  std::uint32_t AllocateId() { return nextId++; }

  // The first object whose id equals; -1 or no match gives null.
  Base* findObject(std::int32_t id) const;

  // Deactivates the current active camera (if any), stores and activates
  // the new one.
  void SetActiveCamera(Camera* camera);
  // The first camera of the list whose name equals exactly; none: nothing.
  void SetActiveCameraByName(const char* name);

  // Switches every light off and resets the process-wide light slot counter.
  void DisableLights();
  // Switches on, in list order and consecutive slots, every light whose
  // range + radius is strictly greater than its distance to position.
  void enableLightsNear(const D3DXVECTOR3& position, float radius);
  // The light with the smallest distance / range (first wins a tie), or
  // null when there are no lights.
  Light* findDominantLight(const D3DXVECTOR3& position) const;

  // Links every object, computes every transform, creates the processors.
  // Runs once; a scene without a root or camera is prepared as far as it
  // can be.
  void Prepare();
  // t: ms of scene time. Updates every controller in list order once
  // loaded; nothing before.
  void SetTime(float t);
  // The frame protocol: the active camera is activated again, every
  // processor begins its frame, then each in turn clears its queues,
  // collects the visible nodes from the root and draws them. Nothing before
  // the scene is loaded, and no drawing without a root node and an active
  // camera (nothing could be culled against).
  void Render();

  Group* root = nullptr;                    // not owned
  std::vector<Processor*> processors;       // drawing order; owned through objects
  std::vector<Controller*> controllers;     // owned, creation order
  std::vector<Base*> objects;               // owned, creation order
  std::vector<Camera*> cameras;             // maintained by the cameras
  std::vector<Light*> lights;               // maintained by the lights
  Camera* activeCamera = nullptr;           // not owned
  StateCache* stateCache = nullptr;         // owned
  Group* skybox = nullptr;                  // not owned
  float ambientIntensity = 1.0f;            // multiplies ambientColor for the fixed-function ambient
  Processor* defaultProcessor = nullptr;    // the first processor; not owned
  std::uint32_t nextId = 0;                 // scene id counter
  float ambientColor[4] = {0, 0, 0, 1};     // r, g, b, a; black until the file sets it
  float gamma = 1.0f;                       // set by the script while the scene is current
  bool prepared = false;
  bool loaded = false;
};

// The process-wide counter of device light slots handed out by
// enableLightsNear (shared by all scenes, reset by DisableLights).
extern std::uint32_t g_nextLightSlot;

// Creates a prepared scene's processors (registered as its objects and
// appended to its processor list, the first remembered as
// defaultProcessor). The render pipeline's CreateSceneProcessors (the
// default and glow processors) is installed from the start; tests may
// install their own, and with none a scene has no processors and its Render
// only re-activates the camera.
using SceneProcessorFactory = void (*)(SceneGraph& scene);
void SetSceneProcessorFactory(SceneProcessorFactory factory);
SceneProcessorFactory GetSceneProcessorFactory();
