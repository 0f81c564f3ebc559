#pragma once
// A transform node of the scene tree: position, rotation and scale, a parent,
// children, an optional attached mesh or sprite, a visibility, a name and its
// own configuration. Cameras and lights are groups.
//
// Matrices are row-vector (Direct3D) matrices: world = local × parent world,
// the world position is the fourth row. Nothing is recomputed per frame: a
// node recomputes its matrices (and its whole subtree's) when told that its
// transform changed.
#include "archive/Configuration.h"
#include "scene/Base.h"
#include "scene/ObjectRef.h"
#include "scene/PRS.h"
#include "scene/Preparable.h"

#include <string>
#include <vector>

class Processor;
class Sprite;

class Group : public Preparable, public Base {
 public:
  Group(std::uint32_t id, SceneGraph* scene);

  // false: nothing is recomputed. true: local, world and boundSq of this
  // node and its whole subtree.
  void update(bool transformChanged) override;
  // "VISTRACK" (exact case); anything else is fatal ("Group: Invalid
  // control field!").
  float* getControlField(const char* name) override;
  // Appends this node to its parent's children, unless the parent id's low
  // 16 bits are all ones (no parent) or the parent is not a group (the node
  // then stays the root of its own subtree and is drawn only if it is the
  // scene's root).
  void link() override;
  // The per-frame traversal: cull against the active camera's frustum,
  // queue this node, then the children in order.
  virtual void render(Processor* p);

  PRS prs;
  ObjectRef parentRef;
  D3DXMATRIX local;
  D3DXMATRIX world;
  std::string name;
  std::string configText;
  float boundSq = 0.0f;            // squared radius about the world position holding the subtree
  std::vector<Group*> children;    // link order; not owned
  ObjectRef meshRef;
  Sprite* sprite = nullptr;        // attached Sprite or SpriteCloud; not owned
  float visibility = 1.0f;         // "VISTRACK", 0..1
  Configuration config;
  bool flag1 = false;              // two flags of the scene file; used by mesh tools only
  bool flag2 = false;
};

// Sphere against the six frustum planes (normalised, inside positive). The
// first plane the sphere straddles ends the test with true.
bool sphereInFrustum(const D3DXPLANE planes[6], const D3DXVECTOR3& centre, float radius);
