#pragma once
// Anything that belongs to a SceneGraph: it has a scene id, is linked once
// after the whole scene has been loaded, and is owned (and destroyed) by its
// scene, which keeps every Base in creation order.
#include <cstdint>

class SceneGraph;
class StateCache;

class Base {
 public:
  // Stores the fields and appends the object to the scene's object list;
  // from then on the scene owns it. The state cache is the scene's.
  Base(std::uint32_t id, SceneGraph* scene);
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;

  // Resolves references and creates device resources; called once for every
  // object of the scene, in creation order, before the first update.
  virtual void link() {}
  virtual ~Base() = default;

  StateCache* stateCache;  // the scene's render-state cache, not owned
  SceneGraph* scene;       // owning scene
  std::uint32_t id;        // scene id
};
