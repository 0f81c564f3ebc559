#pragma once
// A camera node: its transform becomes the device's view and projection
// matrices and the six frustum planes the traversal culls against. One
// camera of a scene is active at a time; only the active one computes.
#include "scene/Group.h"

class Camera : public Group {
 public:
  Camera(std::uint32_t id, SceneGraph* scene);
  // Removes the camera from the scene's camera list.
  ~Camera() override;

  // Group update, then (when active) view, projection, frustum and the
  // device transforms.
  void update(bool transformChanged) override;
  // "FOVTRACK", "NearClip", "FarClip", then the group's names.
  float* getControlField(const char* name) override;
  // Group link, then joins the scene's camera list; the first camera linked
  // becomes the active camera.
  void link() override;

  void activate();    // active = true, then update(false)
  void deactivate();  // active = false

  D3DXPLANE frustum[6];  // left, right, top, bottom, near, far
  bool active = false;
  D3DXMATRIX view;
  D3DXMATRIX projection;
  float fov = 90.0f;                // vertical, radians (the loader always stores one)
  float aspect = 4.0f / 3.0f;       // replaced by the state cache's aspect each computation
  float nearClip = 0.1f;
  float farClip = 1000.0f;          // also the fog end
  bool fogEnabled = false;
  float fogColor[4] = {0, 0, 0, 1};  // r, g, b, a
};
