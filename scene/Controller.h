#pragma once
// The moving parts of a scene. Each controller is told the scene time once
// per frame (in list order, before the scene is drawn) and writes into one
// scene object. The scene owns its controllers.
class Controller {
 public:
  virtual ~Controller() = default;
  // t: ms of scene time.
  virtual void update(float t) = 0;
};
