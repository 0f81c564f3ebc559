#include "scene/ObjectRef.h"

#include "scene/SceneGraph.h"

Base* ObjectRef::resolve() {
  if (object == nullptr && id != -1 && scene != nullptr) object = scene->findObject(id);
  return object;
}
