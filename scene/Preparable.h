#pragma once
// Anything with named, animatable float members (control fields) that can
// build its own float animations from a configuration text.
class SceneGraph;
class Configuration;

class Preparable {
 public:
  virtual ~Preparable() = default;

  // Called by controllers after they wrote a control field (false) or a
  // transform (true), and by a parent for its children (true).
  virtual void update(bool transformChanged) = 0;

  // Address of the float member behind an exact, case-sensitive name. The
  // address stays valid for the object's lifetime; controllers keep it.
  // Unknown names are fatal for most classes (an "Error" box, exit code 0).
  virtual float* getControlField(const char* name) = 0;

  // Creates one KeyframeFloatController per "a<i>." animation of the
  // configuration and appends them to the scene's controller list. Key
  // times (ms) become time × animScale + animOffset. Keys are used in the
  // order written; they are not sorted.
  virtual void loadAnimations(SceneGraph* scene, Configuration* configuration, float animOffset,
                              float animScale);
};
