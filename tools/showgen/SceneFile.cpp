#include "tools/showgen/SceneFile.h"

#include <cmath>
#include <functional>
#include <numbers>

#include "scene/VxkWriter.h"
#include "tools/showgen/Geometry.h"

namespace {

using namespace vxk;

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kDegree = kPi / 180.0f;

D3DXVECTOR3 cross(const D3DXVECTOR3& a, const D3DXVECTOR3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
D3DXVECTOR3 normalised(const D3DXVECTOR3& v) {
  const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  return v / length;
}

// The rotation that turns a camera at `eye` towards `target`, +z up, then
// rolled by `roll` radians about the view direction. A camera node looks
// along its local -y with +z up (the player turns it by its fixed 90° about
// x), so the rotation's rows are: right, -forward, up.
D3DXQUATERNION lookRotation(const D3DXVECTOR3& eye, const D3DXVECTOR3& target, float roll = 0.0f) {
  const D3DXVECTOR3 forward = normalised(target - eye);
  D3DXVECTOR3 right = normalised(cross({0.0f, 0.0f, 1.0f}, forward));
  D3DXVECTOR3 up = cross(forward, right);
  if (roll != 0.0f) {
    const float c = std::cos(roll), s = std::sin(roll);
    const D3DXVECTOR3 r = right * c + up * s, u = up * c - right * s;
    right = r, up = u;
  }
  D3DXMATRIX m;
  D3DXMatrixIdentity(&m);
  m._11 = right.x, m._12 = right.y, m._13 = right.z;
  m._21 = -forward.x, m._22 = -forward.y, m._23 = -forward.z;
  m._31 = up.x, m._32 = up.y, m._33 = up.z;
  D3DXQUATERNION q;
  D3DXQuaternionRotationMatrix(&q, &m);
  return q;
}

// The rotation that aims a spot light at `eye` towards `target`. The player
// takes a light's direction from its world matrix's second column (negated),
// not from its second row as it does for cameras: so a spot wants the
// inverse (the conjugate) of the camera's rotation.
D3DXQUATERNION spotRotation(const D3DXVECTOR3& eye, const D3DXVECTOR3& target) {
  const D3DXQUATERNION q = lookRotation(eye, target);
  return {-q.x, -q.y, -q.z, q.w};
}

D3DXQUATERNION aboutAxis(D3DXVECTOR3 axis, float radians) {
  D3DXQUATERNION q;
  D3DXQuaternionRotationAxis(&q, &axis, radians);
  return q;
}

// Keys every `stepMs` from 0 to lastMs of a path giving a node's position
// and rotation at t ms; quaternions are kept in one hemisphere so that each
// step turns the short way.
PRSAnimationRecord pathAnimation(std::uint32_t target, std::uint32_t lastMs, std::uint32_t stepMs,
                                 const std::function<PRS(float t)>& path) {
  PRSAnimationRecord animation{.targetId = target, .componentFlags = kKeyPosition | kKeyRotation};
  D3DXQUATERNION previous{0.0f, 0.0f, 0.0f, 1.0f};
  for (std::uint32_t t = 0; t <= lastMs; t += stepMs) {
    PRS key = path(float(t));
    const D3DXQUATERNION& q = key.rotation;
    if (q.x * previous.x + q.y * previous.y + q.z * previous.z + q.w * previous.w < 0.0f)
      key.rotation = {-q.x, -q.y, -q.z, -q.w};
    previous = key.rotation;
    animation.times.push_back(t);
    animation.values.push_back(key);
  }
  return animation;
}

// A steady turn about `axis`: quarter-turn keys (slerp never takes the
// short way back), one turn every periodMs.
PRSAnimationRecord spinAnimation(std::uint32_t target, D3DXVECTOR3 axis, std::uint32_t periodMs,
                                 D3DXQUATERNION base = {0.0f, 0.0f, 0.0f, 1.0f}) {
  PRSAnimationRecord animation{.targetId = target, .componentFlags = kKeyRotation};
  for (int k = 0; k <= 4; ++k) {
    PRS key;
    const D3DXQUATERNION turn = aboutAxis(axis, 0.5f * kPi * float(k));
    D3DXQuaternionMultiply(&key.rotation, &base, &turn);
    animation.times.push_back(std::uint32_t(k) * periodMs / 4);
    animation.values.push_back(key);
  }
  return animation;
}

// File ids handed out in order; the scene files need no particular values.
class Ids {
 public:
  std::uint32_t next() { return m_next++; }

 private:
  std::uint32_t m_next = 1;
};

// One mesh's chunks: vertices, indices, the mesh on its node.
void writeMesh(VxkWriter& w, Ids& ids, std::uint32_t meshId, std::uint32_t nodeId, const std::string& name,
               const MeshData& data, const std::vector<std::uint32_t>& materials) {
  const std::uint32_t vertices = ids.next(), indices = ids.next();
  w.vertices(vertices, data.vertexRecord());
  w.indices(indices, data.indexRecord());
  w.mesh(meshId, MeshRecord{.nodeId = nodeId, .name = name, .vertexBufferId = vertices, .indexBufferId = indices,
                            .submeshes = data.submeshes(materials)});
}

// A texture chunk per file name, each file once per scene.
class Textures {
 public:
  Textures(VxkWriter& w, Ids& ids) : m_w(w), m_ids(ids) {}
  std::uint32_t operator()(const std::string& name) {
    for (const auto& [known, id] : m_known)
      if (known == name) return id;
    const std::uint32_t id = m_ids.next();
    m_known.emplace_back(name, id);
    m_pending.emplace_back(name, id);
    return id;
  }
  // Texture chunks go after the materials that name them, so that the
  // loader knows which are normal maps (loaded without compression).
  void write() {
    for (const auto& [name, id] : m_pending) m_w.texture(id, name);
    m_pending.clear();
  }

 private:
  VxkWriter& m_w;
  Ids& m_ids;
  std::vector<std::pair<std::string, std::uint32_t>> m_known, m_pending;
};

// The sky box: an inward-facing box about the eye with one unlit material
// per face. Half a texel of inset keeps the wrapped textures from bleeding
// across the box's edges.
void writeSky(VxkWriter& w, Ids& ids, Textures& textures, std::uint32_t parent, const std::string& sky, float half) {
  const std::uint32_t node = ids.next(), mesh = ids.next();
  w.group(node, NodeRecord{.parentId = std::int32_t(parent), .name = "Sky", .configText = "skybox = 1\n",
                           .meshId = mesh});
  std::vector<std::uint32_t> materials;
  for (int face = 0; face < 6; ++face) {
    MaterialRecord material{.diffuseColor = 0xFFFFFFFF, .specularColor = 0xFF000000, .ambientColor = 0xFFFFFFFF,
                            .emissiveColor = 0xFF000000};
    material.diffuseMap = textures(skyFaceName(sky, face));
    materials.push_back(ids.next());
    w.material(materials.back(), material);
  }
  MeshData box;
  box.addBox({-half, -half, -half}, {half, half, half}, 1.0f, 1.0f, true, true, 0.5f / 512.0f);
  writeMesh(w, ids, mesh, node, "SkyBox", box, materials);
}

CameraRecord camera(std::uint32_t parent, const std::string& name, float fov, float farClip, std::uint32_t fog,
                    std::vector<std::uint32_t> cuts) {
  CameraRecord c;
  c.node.parentId = std::int32_t(parent);
  c.node.name = name;
  c.fov = fov;
  c.nearClip = 0.3f;
  c.farClip = farClip;
  c.fogEnabled = true;
  c.fogColor = fog;
  for (std::uint32_t& cut : cuts)
    if (cut > 0) cut -= kCutLeadMs;
  c.activationTimes = cuts;
  c.loopLength = kSceneLoopMs;
  return c;
}

PRS at(const D3DXVECTOR3& eye, const D3DXVECTOR3& target, float roll = 0.0f) {
  PRS prs;
  prs.position = eye;
  prs.rotation = lookRotation(eye, target, roll);
  return prs;
}

// A sprite on its own node, added onto the picture (and onto the glow
// image when `glows`).
void writeLamp(VxkWriter& w, Ids& ids, std::uint32_t texture, std::uint32_t parent, const std::string& name,
               D3DXVECTOR3 position, float size, bool glows = true) {
  const std::uint32_t node = ids.next();
  NodeRecord record{.parentId = std::int32_t(parent), .name = name};
  record.prs.position = position;
  w.group(node, record);
  w.sprite(ids.next(), SpriteRecord{.nodeId = node, .textureId = texture, .size = size, .drawnInGlowPass = glows,
                                    .blendMode = 0});
}

}  // namespace

std::string skyFaceName(const std::string& sky, int face) { return "sky-" + sky + "-" + std::to_string(face) + ".jpg"; }

std::vector<std::string> sceneTextureNames() {
  std::vector<std::string> names;
  for (const char* sky : {"space", "dusk"})
    for (int face = 0; face < 6; ++face) names.push_back(skyFaceName(sky, face));
  for (const char* name : {"planet.jpg", "planet-normal.png", "atmosphere.png", "panels.jpg", "panels-normal.png",
                           "tiles.jpg", "tiles-normal.png", "chrome.png", "spark.png", "ember.png", "orb.png"})
    names.push_back(name);
  return names;
}

Bytes makeOrbitScene() {
  VxkWriter w;
  Ids ids;
  Textures textures(w, ids);
  w.ambient(0xFF0C0A1C);
  const std::uint32_t root = ids.next();
  w.group(root, NodeRecord{.name = "root"});
  constexpr std::uint32_t kFog = 0xFF1A0C30;
  constexpr float kFar = 60.0f;

  // The planet's system is tilted; the rings, the probes, the dust and the
  // "Ring" camera live in its plane.
  const std::uint32_t tilt = ids.next();
  NodeRecord tiltNode{.parentId = std::int32_t(root), .name = "Tilt"};
  tiltNode.prs.rotation = aboutAxis({1.0f, 0.35f, 0.0f}, 0.38f);
  w.group(tilt, tiltNode);

  // Cameras first: the first one linked is active when the scene starts.
  // "Ring" and "Close" move in the rings' plane.
  // Shots on the loop: Wide 0-8 s, Ring 8-12 s, Close 12-16 s, Wide 16-20 s,
  // Ring 20-24 s, Close 24-32 s.
  const std::uint32_t wide = ids.next(), ring = ids.next(), close = ids.next();
  w.camera(wide, camera(root, "Wide", 0.80f, kFar, kFog, {0, 16000}));
  w.camera(ring, camera(tilt, "Ring", 0.85f, kFar, kFog, {8000, 20000}));
  w.camera(close, camera(tilt, "Close", 0.75f, kFar, kFog, {12000, 24000}));
  w.prsAnimation(pathAnimation(wide, kSceneLoopMs, 250, [](float t) {
    const float a = (-62.0f + 1.6f * t / 1000.0f) * kDegree;
    return at({18.0f * std::cos(a), 18.0f * std::sin(a), 4.0f + 1.5f * std::sin(t / 5000.0f)}, {-1.5f, 1.0f, 0.0f});
  }));
  w.prsAnimation(pathAnimation(ring, kSceneLoopMs, 250, [](float t) {
    const float b = (-35.0f + 2.5f * t / 1000.0f) * kDegree;
    return at({10.5f * std::cos(b), 10.5f * std::sin(b), 0.7f}, {0.0f, 0.0f, 0.6f}, 0.06f);
  }));
  w.prsAnimation(pathAnimation(close, kSceneLoopMs, 250, [](float t) {
    // Above the rings' plane, over the planet's day side, looking along
    // its limb towards the terminator.
    const float c = (-45.0f + 1.5f * t / 1000.0f) * kDegree;
    const D3DXVECTOR3 eye{4.9f * std::cos(c), 4.9f * std::sin(c), 2.6f};
    const float limb = c + 55.0f * kDegree;
    return at(eye, {3.0f * std::cos(limb), 3.0f * std::sin(limb), 0.0f}, 0.12f);
  }));

  // The sun: a point light to the left of the wide shot and a little in
  // front of it, so that the planet shows its day side and its terminator;
  // its disc is a sprite, bright enough without the glow pass.
  const std::uint32_t sun = ids.next();
  LightRecord light;
  light.node.parentId = std::int32_t(root);
  light.node.name = "Sun";
  light.node.prs.position = {16.0f, -5.0f, 9.0f};
  light.type = 1;
  light.color = 0xFFFFE8D0;
  light.intensity = 1.2f;
  light.range = 90.0f;
  light.shadowColor = 0xFF102050;
  w.light(sun, light);
  writeLamp(w, ids, textures("orb.png"), sun, "SunGlow", {0.0f, 0.0f, 0.0f}, 12.0f, false);

  writeSky(w, ids, textures, root, "space", 20.0f);

  // The planet turns once in 40 s.
  const std::uint32_t planet = ids.next(), planetMesh = ids.next(), planetMaterial = ids.next();
  w.group(planet, NodeRecord{.parentId = std::int32_t(tilt), .name = "Planet", .meshId = planetMesh});
  MaterialRecord rock{.diffuseColor = 0xFFFFFFFF, .specularColor = 0xFFB0C8FF, .ambientColor = 0xFF303040,
                      .emissiveColor = 0xFF000000, .specularLevel = 0.45f};
  rock.diffuseMap = textures("planet.jpg");
  rock.normalMap = textures("planet-normal.png");
  rock.sphereMap = textures("atmosphere.png");
  w.material(planetMaterial, rock);
  MeshData sphere;
  addSphere(sphere, 3.0f, 48, 24, 1.0f, 1.0f);
  writeMesh(w, ids, planetMesh, planet, "Planet", sphere, {planetMaterial});
  w.prsAnimation(spinAnimation(planet, {0.0f, 0.0f, 1.0f}, 40000));

  // Two neon rings, self-lit so that they glow.
  struct RingStyle {
    const char* name;
    float radius;
    std::uint32_t colour;
  };
  for (const RingStyle& style : {RingStyle{"InnerRing", 4.6f, 0xFF38E0FF}, RingStyle{"OuterRing", 5.5f, 0xFFFF48D0}}) {
    const std::uint32_t node = ids.next(), mesh = ids.next(), material = ids.next();
    w.group(node, NodeRecord{.parentId = std::int32_t(tilt), .name = style.name, .meshId = mesh});
    w.material(material, MaterialRecord{.diffuseColor = style.colour, .specularColor = 0xFF000000,
                                        .ambientColor = 0xFF000000, .emissiveColor = 0xFF404040});
    MeshData torus;
    addTorus(torus, style.radius, 0.045f, 1.0f, 128, 6, 1.0f, 1.0f);
    writeMesh(w, ids, mesh, node, style.name, torus, {material});
  }

  // Two probes on one arm, round in 12 s, each spinning and carrying a
  // beacon.
  const std::uint32_t arm = ids.next();
  w.group(arm, NodeRecord{.parentId = std::int32_t(tilt), .name = "Arm"});
  w.prsAnimation(spinAnimation(arm, {0.0f, 0.0f, 1.0f}, 12000));
  const std::uint32_t probeMesh = ids.next(), probeMaterial = ids.next();
  MaterialRecord hull{.diffuseColor = 0xFFFFFFFF, .specularColor = 0xFFFFFFFF, .ambientColor = 0xFF404040,
                      .emissiveColor = 0xFF000000, .specularLevel = 0.9f};
  hull.diffuseMap = textures("panels.jpg");
  hull.normalMap = textures("panels-normal.png");
  hull.sphereMap = textures("chrome.png");
  w.material(probeMaterial, hull);
  const std::uint32_t beacon = textures("orb.png");
  for (int side = 0; side < 2; ++side) {
    const std::uint32_t probe = ids.next();
    NodeRecord node{.parentId = std::int32_t(arm), .name = side == 0 ? "ProbeA" : "ProbeB", .meshId = probeMesh};
    node.prs.position = {side == 0 ? 7.8f : -7.8f, 0.0f, side == 0 ? 0.5f : -0.5f};
    w.group(probe, node);
    if (side == 0) {
      MeshData box;
      box.addBox({-0.55f, -0.55f, -0.55f}, {0.55f, 0.55f, 0.55f}, 1.0f, 1.0f, false, false);
      writeMesh(w, ids, probeMesh, probe, "Probe", box, {probeMaterial});
    }
    w.prsAnimation(spinAnimation(probe, normalised({0.3f, 0.5f, 1.0f}), side == 0 ? 4000 : 5200));
    writeLamp(w, ids, beacon, probe, side == 0 ? "BeaconA" : "BeaconB", {0.0f, 0.0f, 0.95f}, 0.9f);
  }

  // A flat disc of dust in the rings' plane.
  const std::uint32_t dust = ids.next();
  w.group(dust, NodeRecord{.parentId = std::int32_t(tilt), .name = "Dust"});
  CloudRecord cloud{.nodeId = dust, .count = 1500, .concentration = 0.15f, .size = 0.22f, .sizeFalloff = 0.4f,
                    .brightness = 1.0f, .brightnessFalloff = 0.5f, .textureId = textures("spark.png"),
                    .drawnInGlowPass = false, .blendMode = 0};
  cloud.extent[0] = 30.0f;
  cloud.extent[1] = 30.0f;
  cloud.extent[2] = 0.8f;
  w.cloud(ids.next(), cloud);
  w.prsAnimation(spinAnimation(dust, {0.0f, 0.0f, 1.0f}, 60000));

  textures.write();
  return w.bytes();
}

Bytes makeHallScene() {
  VxkWriter w;
  Ids ids;
  Textures textures(w, ids);
  w.ambient(0xFF483060);
  const std::uint32_t root = ids.next();
  w.group(root, NodeRecord{.name = "root"});
  constexpr std::uint32_t kFog = 0xFF9E2B6B;  // the dusk sky's horizon
  constexpr float kFar = 75.0f;
  const D3DXVECTOR3 relicCentre{0.0f, 0.0f, 5.0f};

  // Shots on the loop: Dolly 0-8 s, Orbit 8-12 s, Crane 12-16 s, Dolly
  // 16-20 s, Orbit 20-24 s, Crane 24-32 s.
  const std::uint32_t dolly = ids.next(), orbit = ids.next(), crane = ids.next();
  w.camera(dolly, camera(root, "Dolly", 0.80f, kFar, kFog, {0, 16000}));
  w.camera(orbit, camera(root, "Orbit", 0.85f, kFar, kFog, {8000, 20000}));
  w.camera(crane, camera(root, "Crane", 0.80f, kFar, kFog, {12000, 24000}));
  w.prsAnimation(pathAnimation(dolly, kSceneLoopMs, 250, [=](float t) {
    const float s = t / 1000.0f;
    const D3DXVECTOR3 eye{2.2f * std::sin(s / 5.0f), -38.0f + 0.85f * s, 2.0f + 0.04f * s};
    return at(eye, relicCentre + D3DXVECTOR3{0.0f, 0.0f, -0.8f});
  }));
  w.prsAnimation(pathAnimation(orbit, kSceneLoopMs, 250, [=](float t) {
    // Round the knot above the pillars' lamps, clear of the pillars.
    const float a = (200.0f + 9.0f * t / 1000.0f) * kDegree;
    return at({10.0f * std::cos(a), 10.0f * std::sin(a), 10.5f + 0.5f * std::sin(t / 3000.0f)}, relicCentre, 0.05f);
  }));
  w.prsAnimation(pathAnimation(crane, kSceneLoopMs, 250, [=](float t) {
    const float e = (245.0f + 2.0f * t / 1000.0f) * kDegree;
    return at({15.0f * std::cos(e), 15.0f * std::sin(e), 17.0f - 0.15f * t / 1000.0f}, {0.0f, 3.0f, 1.5f});
  }));

  // A spot light high above the knot, its aim wandering over the floor; a
  // cyan point light at the far end of the hall.
  const std::uint32_t spot = ids.next();
  LightRecord spotLight;
  spotLight.node.parentId = std::int32_t(root);
  spotLight.node.name = "Spot";
  spotLight.node.prs.position = {0.0f, 0.0f, 16.0f};
  spotLight.node.prs.rotation = spotRotation({0.0f, 0.0f, 16.0f}, {0.0f, 0.0f, 0.0f});
  spotLight.type = 2;
  spotLight.color = 0xFFFFD0EC;
  spotLight.intensity = 1.3f;
  spotLight.range = 34.0f;
  spotLight.hotspot = 64.0f;
  spotLight.falloffAngle = 72.0f;
  spotLight.shadowColor = 0xFF200838;
  w.light(spot, spotLight);
  w.prsAnimation(pathAnimation(spot, 8000, 250, [](float t) {
    const float a = 2.0f * kPi * t / 8000.0f;
    PRS prs;
    prs.position = {0.0f, 0.0f, 16.0f};
    prs.rotation = spotRotation(prs.position, {3.0f * std::cos(a), 3.0f * std::sin(a), 0.0f});
    return prs;
  }));
  LightRecord neon;
  neon.node.parentId = std::int32_t(root);
  neon.node.name = "Neon";
  neon.node.prs.position = {0.0f, 30.0f, 3.0f};
  neon.type = 1;
  neon.color = 0xFF40D8FF;
  neon.range = 26.0f;
  neon.shadowColor = 0xFF100418;
  w.light(ids.next(), neon);
  // Two washes low in the aisle light the nearer pillars' plating from the
  // side; they stay farther (for their range) from the floor's and the
  // knot's centres than the spot, which remains those two's light.
  for (int side = 0; side < 2; ++side) {
    LightRecord wash;
    wash.node.parentId = std::int32_t(root);
    wash.node.name = side == 0 ? "WashLeft" : "WashRight";
    wash.node.prs.position = {side == 0 ? -3.5f : 3.5f, -8.0f, 3.0f};
    wash.type = 1;
    wash.color = side == 0 ? 0xFFFF70C8 : 0xFF70C8FF;
    wash.range = 18.0f;
    wash.shadowColor = 0xFF180820;
    w.light(ids.next(), wash);
  }

  writeSky(w, ids, textures, root, "dusk", 25.0f);

  // The floor: 96 units square, tiles of 2 units, fine enough a grid that
  // the spot's cone (tested per vertex) draws a round pool of light.
  const std::uint32_t floor = ids.next(), floorMesh = ids.next(), floorMaterial = ids.next();
  w.group(floor, NodeRecord{.parentId = std::int32_t(root), .name = "Floor", .meshId = floorMesh});
  MaterialRecord tile{.diffuseColor = 0xFFFFFFFF, .specularColor = 0xFFFFB0E0, .ambientColor = 0xFF404040,
                      .emissiveColor = 0xFF000000, .specularLevel = 0.8f};
  tile.diffuseMap = textures("tiles.jpg");
  tile.normalMap = textures("tiles-normal.png");
  w.material(floorMaterial, tile);
  MeshData ground;
  addFloor(ground, 96.0f, 48, 24.0f);
  writeMesh(w, ids, floorMesh, floor, "Floor", ground, {floorMaterial});

  // The neon grid just above the floor: lines every 8 units.
  const std::uint32_t grid = ids.next(), gridMesh = ids.next(), gridMaterial = ids.next();
  w.group(grid, NodeRecord{.parentId = std::int32_t(root), .name = "Grid", .meshId = gridMesh});
  w.material(gridMaterial, MaterialRecord{.diffuseColor = 0xFFFF3CC8, .specularColor = 0xFF000000,
                                          .ambientColor = 0xFF000000, .emissiveColor = 0xFF606060});
  MeshData lines;
  for (int k = -6; k <= 6; ++k) {
    const float c = 8.0f * float(k), half = 0.05f;
    for (int axis = 0; axis < 2; ++axis)
      lines.addSurface(
          1, 12, 1.0f, 1.0f, 1,
          [=](float u, float v) {
            const float across = c + half * (2.0f * u - 1.0f), along = 48.0f * (2.0f * v - 1.0f);
            return axis == 0 ? D3DXVECTOR3{across, along, 0.02f} : D3DXVECTOR3{along, across, 0.02f};
          },
          [](const D3DXVECTOR3&) { return D3DXVECTOR3{0.0f, 0.0f, 1.0f}; });
  }
  writeMesh(w, ids, gridMesh, grid, "Grid", lines, {gridMaterial});

  // Two rows of pillars sharing one mesh: a plated body and a neon band
  // near its top, and a lamp above each.
  const std::uint32_t pillarMesh = ids.next(), plating = ids.next(), band = ids.next();
  MaterialRecord body{.diffuseColor = 0xFFFFFFFF, .specularColor = 0xFFFFFFFF, .ambientColor = 0xFF404040,
                      .emissiveColor = 0xFF000000, .specularLevel = 0.6f};
  body.diffuseMap = textures("panels.jpg");
  body.normalMap = textures("panels-normal.png");
  w.material(plating, body);
  w.material(band, MaterialRecord{.diffuseColor = 0xFF40E8FF, .specularColor = 0xFF000000,
                                  .ambientColor = 0xFF000000, .emissiveColor = 0xFF606060});
  const std::uint32_t lamp = textures("orb.png");
  bool meshWritten = false;
  int index = 0;
  for (float x : {-7.0f, 7.0f})
    for (float y : {-20.0f, -12.0f, -4.0f, 4.0f, 12.0f, 20.0f}) {
      const std::uint32_t pillar = ids.next();
      const std::string name = "Pillar" + std::to_string(++index);
      NodeRecord node{.parentId = std::int32_t(root), .name = name, .meshId = pillarMesh};
      node.prs.position = {x, y, 0.0f};
      w.group(pillar, node);
      if (!meshWritten) {
        MeshData column;
        column.beginPart();
        column.addBox({-0.5f, -0.5f, 0.0f}, {0.5f, 0.5f, 7.0f}, 1.0f, 7.0f, false, false);
        column.beginPart();
        column.addBox({-0.58f, -0.58f, 6.0f}, {0.58f, 0.58f, 6.35f}, 1.0f, 1.0f, false, false);
        column.addBox({-0.58f, -0.58f, 0.25f}, {0.58f, 0.58f, 0.45f}, 1.0f, 1.0f, false, false);
        writeMesh(w, ids, pillarMesh, pillar, "Pillar", column, {plating, band});
        meshWritten = true;
      }
      writeLamp(w, ids, lamp, pillar, name + "Lamp", {0.0f, 0.0f, 7.9f}, 2.4f);
    }

  // The knot: tilted, bobbing, spinning once in 10 s; chrome over plating.
  const std::uint32_t hover = ids.next(), relic = ids.next(), relicMesh = ids.next(), chrome = ids.next();
  NodeRecord hoverNode{.parentId = std::int32_t(root), .name = "Hover"};
  hoverNode.prs.position = relicCentre;
  hoverNode.prs.rotation = aboutAxis({1.0f, 0.0f, 0.0f}, 0.45f);
  w.group(hover, hoverNode);
  PRSAnimationRecord bob{.targetId = hover, .componentFlags = kKeyPosition};
  for (std::uint32_t t = 0; t <= 4000; t += 500) {
    PRS key;
    key.position = relicCentre + D3DXVECTOR3{0.0f, 0.0f, 0.4f * std::sin(2.0f * kPi * float(t) / 4000.0f)};
    bob.times.push_back(t);
    bob.values.push_back(key);
  }
  w.prsAnimation(bob);
  w.group(relic, NodeRecord{.parentId = std::int32_t(hover), .name = "Relic", .meshId = relicMesh});
  MaterialRecord metal{.diffuseColor = 0xFFFFFFFF, .specularColor = 0xFFFFFFFF, .ambientColor = 0xFF404040,
                       .emissiveColor = 0xFF000000, .specularLevel = 1.0f};
  metal.diffuseMap = textures("panels.jpg");
  metal.normalMap = textures("panels-normal.png");
  metal.sphereMap = textures("chrome.png");
  w.material(chrome, metal);
  MeshData knot;
  addTorusKnot(knot, 2, 3, 2.6f, 0.55f, 220, 14, 24.0f, 2.0f);
  writeMesh(w, ids, relicMesh, relic, "Relic", knot, {chrome});
  w.prsAnimation(spinAnimation(relic, {0.0f, 0.0f, 1.0f}, 10000));

  // Embers drifting round the hall (the cloud turns once a minute).
  const std::uint32_t embers = ids.next();
  NodeRecord emberNode{.parentId = std::int32_t(root), .name = "Embers"};
  emberNode.prs.position = {0.0f, 0.0f, 6.0f};
  w.group(embers, emberNode);
  CloudRecord cloud{.nodeId = embers, .count = 1200, .concentration = 0.1f, .size = 0.16f, .sizeFalloff = 0.5f,
                    .brightness = 0.8f, .brightnessFalloff = 0.6f, .textureId = textures("ember.png"),
                    .drawnInGlowPass = true, .blendMode = 0};
  cloud.extent[0] = 36.0f;
  cloud.extent[1] = 50.0f;
  cloud.extent[2] = 12.0f;
  w.cloud(ids.next(), cloud);
  w.prsAnimation(spinAnimation(embers, {0.0f, 0.0f, 1.0f}, 60000));

  textures.write();
  return w.bytes();
}
