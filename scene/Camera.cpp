#include "scene/Camera.h"

#include "render/StateCache.h"
#include "scene/SceneGraph.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// The camera looks along its node's -y with +z up: a fixed 90° turn about x
// comes before the node's own rotation. 0.7853975 is half that angle in
// radians, kept at this stored value rather than pi / 4.
constexpr float kHalfQuarterTurn = 0.7853975f;

D3DXPLANE normalisedPlane(float a, float b, float c, float d) {
  const D3DXPLANE plane(a, b, c, d);
  D3DXPLANE out;
  D3DXPlaneNormalize(&out, &plane);
  return out;
}

}  // namespace

Camera::Camera(std::uint32_t objectId, SceneGraph* owner) : Group(objectId, owner) {
  for (D3DXPLANE& plane : frustum) plane = D3DXPLANE(0.0f, 0.0f, 0.0f, 0.0f);
  D3DXMatrixIdentity(&view);
  D3DXMatrixIdentity(&projection);
}

Camera::~Camera() {
  std::vector<Camera*>& cameras = scene->cameras;
  auto it = std::find(cameras.begin(), cameras.end(), this);
  if (it != cameras.end()) cameras.erase(it);
  // The scene must not go on pointing at a camera that is gone.
  if (scene->activeCamera == this) scene->activeCamera = nullptr;
}

void Camera::update(bool transformChanged) {
  Group::update(transformChanged);
  if (!active) return;

  PRS turned = prs;
  const D3DXQUATERNION quarterTurn(std::sin(kHalfQuarterTurn), 0.0f, 0.0f, std::cos(kHalfQuarterTurn));
  D3DXQuaternionMultiply(&turned.rotation, &quarterTurn, &prs.rotation);
  // The view comes from this turned transform and the parent's world, not
  // from the node's own world matrix.
  D3DXMATRIX eye;
  PRSLocalMatrix(turned, &eye);
  if (Group* parent = parentRef.as<Group>()) D3DXMatrixMultiply(&eye, &eye, &parent->world);
  // A singular transform (a zero scale) has no inverse; the last view stays.
  D3DXMatrixInverse(&view, nullptr, &eye);

  aspect = stateCache->aspect;
  D3DXMatrixPerspectiveFovLH(&projection, fov, aspect, nearClip, farClip);

  IDirect3DDevice9* device = stateCache->device;
  device->SetRenderState(D3DRS_ZENABLE, 1);
  device->SetTransform(D3DTS_VIEW, &view);
  device->SetTransform(D3DTS_PROJECTION, &projection);

  // Planes from the columns c1..c4 of view × projection (clip space x, y in
  // [-w, w], z in [0, w]); inside is positive.
  D3DXMATRIX vp;
  D3DXMatrixMultiply(&vp, &view, &projection);
  const float c1[4] = {vp._11, vp._21, vp._31, vp._41};
  const float c2[4] = {vp._12, vp._22, vp._32, vp._42};
  const float c3[4] = {vp._13, vp._23, vp._33, vp._43};
  const float c4[4] = {vp._14, vp._24, vp._34, vp._44};
  frustum[0] = normalisedPlane(c4[0] + c1[0], c4[1] + c1[1], c4[2] + c1[2], c4[3] + c1[3]);  // left
  frustum[1] = normalisedPlane(c4[0] - c1[0], c4[1] - c1[1], c4[2] - c1[2], c4[3] - c1[3]);  // right
  frustum[2] = normalisedPlane(c4[0] - c2[0], c4[1] - c2[1], c4[2] - c2[2], c4[3] - c2[3]);  // top
  frustum[3] = normalisedPlane(c4[0] + c2[0], c4[1] + c2[1], c4[2] + c2[2], c4[3] + c2[3]);  // bottom
  frustum[4] = normalisedPlane(c3[0], c3[1], c3[2], c3[3]);                                  // near
  frustum[5] = normalisedPlane(c4[0] - c3[0], c4[1] - c3[1], c4[2] - c3[2], c4[3] - c3[3]);  // far
}

float* Camera::getControlField(const char* fieldName) {
  if (fieldName != nullptr) {
    if (std::strcmp(fieldName, "FOVTRACK") == 0) return &fov;
    if (std::strcmp(fieldName, "NearClip") == 0) return &nearClip;
    if (std::strcmp(fieldName, "FarClip") == 0) return &farClip;
  }
  return Group::getControlField(fieldName);
}

void Camera::link() {
  Group::link();
  scene->cameras.push_back(this);
  if (scene->activeCamera == nullptr) scene->SetActiveCamera(this);
}

void Camera::activate() {
  active = true;
  update(false);
}

void Camera::deactivate() { active = false; }
