#include "scene/Base.h"

#include "scene/SceneGraph.h"

Base::Base(std::uint32_t objectId, SceneGraph* owner)
    : stateCache(owner->stateCache), scene(owner), id(objectId) {
  owner->objects.push_back(this);
}
