#include "scene/Group.h"

#include "platform/os/Process.h"
#include "render/Processor.h"
#include "scene/Camera.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/Sprite.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// A parent id whose low 16 bits are all ones means "no parent"; -1 is the
// usual form, but the loader's id mapping can leave high bits set.
bool isNoParentId(std::int32_t id) { return (std::uint32_t(id) & 0xFFFFu) == 0xFFFFu; }

// Squared length of (b, 0, 0) taken through the world matrix's upper 3×3:
// the bound grows with the node's scale along x. b is itself a squared
// length and is deliberately used as a length here, not square-rooted.
float transformedBoundSq(float b, const D3DXMATRIX& world) {
  const D3DXVECTOR3 along(b, 0.0f, 0.0f);
  D3DXVECTOR3 v;
  D3DXVec3TransformNormal(&v, &along, &world);
  return v.x * v.x + v.y * v.y + v.z * v.z;
}

}  // namespace

Group::Group(std::uint32_t objectId, SceneGraph* owner)
    : Base(objectId, owner), parentRef(owner), meshRef(owner) {
  D3DXMatrixIdentity(&local);
  D3DXMatrixIdentity(&world);
}

void Group::update(bool transformChanged) {
  if (!transformChanged) return;

  PRSLocalMatrix(prs, &local);
  // The parent's world is used whenever the reference resolves, even for a
  // parent that link() refused (see there): such a node is not in the
  // parent's children and is only reached when it is updated directly.
  if (Group* parent = parentRef.as<Group>())
    D3DXMatrixMultiply(&world, &local, &parent->world);
  else
    world = local;

  boundSq = 0.0f;
  if (Mesh* mesh = meshRef.as<Mesh>()) boundSq = transformedBoundSq(mesh->boundValue, world);
  if (sprite != nullptr) boundSq = transformedBoundSq(sprite->boundValue(), world);

  for (Group* child : children) {
    child->update(true);
    const float dx = child->world._41 - world._41;
    const float dy = child->world._42 - world._42;
    const float dz = child->world._43 - world._43;
    boundSq = std::max(boundSq, dx * dx + dy * dy + dz * dz + child->boundSq);
  }
}

float* Group::getControlField(const char* fieldName) {
  if (fieldName != nullptr && std::strcmp(fieldName, "VISTRACK") == 0) return &visibility;
  FatalMessage("Error", 0, "Group: Invalid control field!");
}

void Group::link() {
  if (isNoParentId(parentRef.id)) return;
  Group* parent = parentRef.as<Group>();
  // A parent id that names nothing, or an object that is not a node, leaves
  // this node parentless: it becomes the top of its own subtree and is drawn
  // only if it is the scene's root. The same holds for a parent whose own
  // chain of parents leads back here: joining it would make the children
  // lists circular and every update and traversal endless.
  if (parent == nullptr) return;
  Group* above = parent;
  for (std::size_t steps = 0; above != nullptr && steps <= scene->objects.size(); ++steps) {
    if (above == this) return;
    if (isNoParentId(above->parentRef.id)) break;
    above = above->parentRef.as<Group>();
  }
  parent->children.push_back(this);
}

void Group::render(Processor* p) {
  // A scene without an active camera has nothing to cull against and
  // draws nothing.
  const Camera* camera = scene->activeCamera;
  if (camera == nullptr) return;
  const D3DXVECTOR3 centre(world._41, world._42, world._43);
  if (!sphereInFrustum(camera->frustum, centre, std::sqrt(boundSq))) return;
  p->QueueNode(this);
  for (Group* child : children) child->render(p);
}

bool sphereInFrustum(const D3DXPLANE planes[6], const D3DXVECTOR3& centre, float radius) {
  for (int i = 0; i < 6; ++i) {
    const D3DXPLANE& plane = planes[i];
    const float d = plane.a * centre.x + plane.b * centre.y + plane.c * centre.z + plane.d;
    if (d < -radius) return false;
    // Straddling one plane ends the test: the remaining planes are not
    // consulted, so such a sphere is drawn even if it lies beyond another.
    if (std::fabs(d) < radius) return true;
  }
  return true;
}
