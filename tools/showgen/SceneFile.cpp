#include "tools/showgen/SceneFile.h"

#include "scene/VxkWriter.h"

#include <cmath>

namespace {

using namespace vxk;

// File ids of the scene's objects.
enum : std::uint32_t {
  kRoot = 1,
  kCamera,
  kLight,
  kPivot,
  kBox,
  kBoxMesh,
  kBoxVertices,
  kBoxIndices,
  kBoxMaterial,
  kOrbTexture,
  kStars,
  kStarTexture,
};

// A unit box: four vertices per face (so each face keeps its own normal: one
// smoothing key per face), both uv sets covering the face.
VertexRecord boxVertices() {
  static const float kFaces[6][4][3] = {
      {{-1, -1, -1}, {-1, 1, -1}, {1, 1, -1}, {1, -1, -1}},  // -z
      {{1, -1, 1}, {1, 1, 1}, {-1, 1, 1}, {-1, -1, 1}},      // +z
      {{-1, -1, 1}, {-1, 1, 1}, {-1, 1, -1}, {-1, -1, -1}},  // -x
      {{1, -1, -1}, {1, 1, -1}, {1, 1, 1}, {1, -1, 1}},      // +x
      {{-1, 1, -1}, {-1, 1, 1}, {1, 1, 1}, {1, 1, -1}},      // +y
      {{-1, -1, 1}, {-1, -1, -1}, {1, -1, -1}, {1, -1, 1}},  // -y
  };
  static const float kUv[4][2] = {{0, 1}, {0, 0}, {1, 0}, {1, 1}};
  VertexRecord v;
  v.attributeFlags = kVertexUv1 | kVertexUv2 | kVertexSmoothingKey;
  v.vertexCount = 24;
  v.frames.emplace_back();
  for (int face = 0; face < 6; ++face) {
    for (int corner = 0; corner < 4; ++corner) {
      for (int axis = 0; axis < 3; ++axis) v.frames[0].push_back(kFaces[face][corner][axis]);
      for (int k = 0; k < 2; ++k) {
        v.uv1.push_back(kUv[corner][k]);
        v.uv2.push_back(kUv[corner][k]);
      }
      v.smoothingKeys.push_back(std::uint32_t(face + 1));
    }
  }
  return v;
}

std::vector<std::uint32_t> boxIndices() {
  std::vector<std::uint32_t> indices;
  for (std::uint32_t face = 0; face < 6; ++face) {
    const std::uint32_t b = face * 4;
    for (std::uint32_t i : {b, b + 1, b + 2, b, b + 2, b + 3}) indices.push_back(i);
  }
  return indices;
}

// Rotation of `turns` whole turns about z, as a quaternion.
D3DXQUATERNION aboutZ(float turns) {
  const float half = turns * 3.14159265f;
  return {0.0f, 0.0f, std::sin(half), std::cos(half)};
}

}  // namespace

Bytes makeOrbitScene() {
  VxkWriter w;
  w.ambient(0xFF181828);
  w.group(kRoot, NodeRecord{.name = "root"});

  // Looks down -y from 12 units out, +z up; fog fades the far stars.
  CameraRecord camera;
  camera.node.parentId = kRoot;
  camera.node.name = "Main";
  camera.node.prs.position = {0.0f, 12.0f, 1.5f};
  camera.fov = 0.9f;
  camera.nearClip = 0.5f;
  camera.farClip = 60.0f;
  camera.fogEnabled = true;
  camera.fogColor = 0xFF080818;
  w.camera(kCamera, camera);

  LightRecord light;
  light.node.parentId = kRoot;
  light.node.name = "Lamp";
  light.node.prs.position = {4.0f, 6.0f, 5.0f};
  // Pulses between half and full strength every two seconds.
  light.node.configText =
      "animations = 1\na0.field = Intensity\na0.looping = 1\na0.keyframes = 3\n"
      "a0.kf0 = 0 1\na0.kf1 = 1000 0.5\na0.kf2 = 2000 1\n";
  light.color = 0xFFFFE8C0;
  light.range = 40.0f;
  w.light(kLight, light);

  // The box orbits the origin on a pivot and spins on its own axis.
  NodeRecord pivot{.parentId = kRoot, .name = "Pivot"};
  w.group(kPivot, pivot);
  NodeRecord box{.parentId = kPivot, .name = "Box", .meshId = kBoxMesh};
  box.prs.position = {3.0f, 0.0f, 0.0f};
  w.group(kBox, box);

  MaterialRecord material;
  material.diffuseColor = 0xFFFFFFFF;
  material.specularColor = 0xFFFFFFFF;
  material.ambientColor = 0xFF404040;
  material.emissiveColor = 0xFF202020;
  material.specularLevel = 0.6f;
  material.diffuseMap = kOrbTexture;
  w.material(kBoxMaterial, material);
  w.texture(kOrbTexture, "orb.png");
  w.vertices(kBoxVertices, boxVertices());
  w.indices(kBoxIndices, boxIndices());
  MeshRecord mesh{.nodeId = kBox, .name = "BoxMesh", .vertexBufferId = kBoxVertices, .indexBufferId = kBoxIndices};
  mesh.submeshes.push_back(SubMeshRecord{.firstTriangle = 0, .materialId = kBoxMaterial, .startIndex = 0,
                                         .indexCount = 36});
  w.mesh(kBoxMesh, mesh);

  // One orbit every 8 s, one spin every 2 s (keys a quarter turn apart, so
  // the rotation never takes the short way back).
  PRSAnimationRecord orbit{.targetId = kPivot, .componentFlags = kKeyRotation};
  PRSAnimationRecord spin{.targetId = kBox, .componentFlags = kKeyRotation};
  for (int k = 0; k <= 4; ++k) {
    PRS turn;
    turn.rotation = aboutZ(0.25f * float(k));
    orbit.times.push_back(std::uint32_t(k) * 2000);
    orbit.values.push_back(turn);
    spin.times.push_back(std::uint32_t(k) * 500);
    spin.values.push_back(turn);
  }
  w.prsAnimation(orbit);
  w.prsAnimation(spin);

  // Stars: a flat, wide cloud behind the box, fading toward its rim.
  NodeRecord stars{.parentId = kRoot, .name = "Stars"};
  stars.prs.position = {0.0f, -8.0f, 0.0f};
  w.group(kStars, stars);
  CloudRecord cloud{.nodeId = kStars, .count = 600, .concentration = 0.2f, .size = 0.35f, .sizeFalloff = 0.5f,
                    .brightness = 1.0f, .brightnessFalloff = 0.8f, .textureId = kStarTexture,
                    .drawnInGlowPass = true, .blendMode = 1};
  cloud.extent[0] = 30.0f;
  cloud.extent[1] = 6.0f;
  cloud.extent[2] = 20.0f;
  w.cloud(kStars + 100, cloud);
  w.texture(kStarTexture, "stars.png");
  return w.bytes();
}
