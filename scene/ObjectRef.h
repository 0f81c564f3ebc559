#pragma once
// A reference to another object of the same scene by scene id, resolved on
// first use and cached. A failed lookup is not cached: the next use asks
// the scene again (the object may be created later in the file).
#include <cstdint>

class Base;
class SceneGraph;

class ObjectRef {
 public:
  ObjectRef() = default;
  explicit ObjectRef(SceneGraph* owner, std::int32_t objectId = -1) : id(objectId), scene(owner) {}

  // The referenced object, or null (id -1, no such object).
  Base* resolve();

  // The referenced object when it is of class T, else null: a scene file
  // that points a mesh reference at a camera gets no mesh, not a bad cast.
  template <class T>
  T* as() {
    return dynamic_cast<T*>(resolve());
  }

  // Points the reference at another id and forgets the cached object.
  void reset(std::int32_t objectId) {
    id = objectId;
    object = nullptr;
  }

  std::int32_t id = -1;      // scene id; -1 = none
  Base* object = nullptr;    // cached answer
  SceneGraph* scene = nullptr;
};
