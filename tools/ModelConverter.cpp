// vxtool convert: the walk over an imported model that writes the scene
// file. Geometry, materials and animation evaluation live in ModelGeometry,
// ModelMaterials and ModelAnimation; the coordinate rule in ModelSpace.
//
// Chunk order in the written file: every node in tree order (parents first),
// each followed by its vertex, index and mesh chunks; then the materials,
// then the textures (after the materials, so that normal maps load
// uncompressed), then the animations (after the nodes and buffers they
// drive).
#include "tools/ModelConverter.h"

#include "tools/ModelAnimation.h"
#include "tools/ModelGeometry.h"
#include "tools/ModelMaterials.h"
#include "tools/ModelSpace.h"
#include "tools/ToolIO.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>

using namespace vxk;

namespace {

// A key time past any show: an animation that does not repeat holds its
// last pose until then (the player loops every controller of a top-level
// scene file, over the span of its keys). 1e9 ms is about eleven days.
constexpr std::uint32_t kHoldTimeMs = 1000000000u;
// Baked vertex frames of one mesh at most, and positions over all its
// frames at most (16M positions: 200 MB as floats, held twice while baking).
constexpr std::size_t kMaxBakedFrames = 4096;
constexpr std::size_t kMaxBakedPositions = std::size_t(1) << 24;
// Where the player's light attenuation cut-off goes: the distance at which
// the model's own attenuation 1 / (c + l d + q d²) has fallen to 1/256.
constexpr float kSpentLight = 256.0f;
// A range this large or larger switches the player's attenuation off.
constexpr float kUnlimitedRange = 1e8f;
constexpr float kRadiansToDegrees = 57.29578f;

std::string lower(std::string text) {
  for (char& c : text) c = char(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string parentFolder(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseStem(const std::string& path) {
  std::string name = path.substr(path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string formatFloat(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%g", v);
  return buffer;
}

// Removes a folder this run made and the plain files in it.
void removeStaging(const std::string& dir) {
  if (DIR* d = ::opendir(dir.c_str())) {
    while (dirent* e = ::readdir(d)) {
      const std::string name = e->d_name;
      if (name != "." && name != "..") ::unlink((dir + "/" + name).c_str());
    }
    ::closedir(d);
  }
  ::rmdir(dir.c_str());
}

aiMatrix4x4 inverted(aiMatrix4x4 m) { return m.Inverse(); }

// A rotation (column vectors) whose -y is `look` and whose z is as near
// `up` as a perpendicular axis can be: the frame of the scene's cameras
// (which look along their -y, z up) pointed like the model's.
aiMatrix4x4 lookFrame(aiVector3D look, aiVector3D up) {
  look.Normalize();
  up = up - look * (up * look);
  if (up.SquareLength() < 1e-12f) {
    // Looking straight along `up`: any perpendicular axis will do.
    up = std::fabs(look.z) < 0.9f ? aiVector3D(0, 0, 1) : aiVector3D(1, 0, 0);
    up = up - look * (up * look);
  }
  up.Normalize();
  const aiVector3D right = up ^ look;  // x = y × z with y = -look
  return aiMatrix4x4(right.x, -look.x, up.x, 0,  //
                     right.y, -look.y, up.y, 0,  //
                     right.z, -look.z, up.z, 0,  //
                     0, 0, 0, 1);
}

class Converter {
 public:
  Converter(const ConvertOptions& options, const aiScene& scene, const ModelSpace& space, bool gltf,
            const std::string& staging, ConvertReport& report)
      : m_options(options), m_scene(scene), m_space(space), m_gltf(gltf), m_report(report),
        m_animation(scene, scene.mNumAnimations > 0 ? scene.mAnimations[0] : nullptr),
        m_textures(scene, parentFolder(options.model), staging, &m_nextId,
                   [this](const std::string& text) { warn(text); }) {}

  std::vector<std::uint8_t> run();
  void warn(const std::string& text) {
    if (std::find(m_report.warnings.begin(), m_report.warnings.end(), text) == m_report.warnings.end())
      m_report.warnings.push_back(text);
  }

 private:
  struct Attachment {
    const aiCamera* camera = nullptr;
    const aiLight* light = nullptr;
  };
  struct Track {
    const aiNode* node;
    std::uint32_t id;
    aiMatrix4x4 parentFrame, frame;
  };

  void emitNode(const aiNode& node, std::int32_t parentId, const aiMatrix4x4& parentFrame,
                const aiMatrix4x4& parentGlobal);
  aiMatrix4x4 cameraFrame(const aiCamera& camera) const;
  aiMatrix4x4 lightFrame(const aiLight& light, const aiMatrix4x4& global) const;
  void writeNodeChunk(std::uint32_t id, NodeRecord node, const Attachment& attachment);
  std::vector<VertexBatch> batchesOf(const aiNode& node);
  void writeBatch(const VertexBatch& batch, std::uint32_t meshId, std::uint32_t nodeId, const std::string& name);
  std::uint32_t materialId(unsigned index);
  void writeTracks();
  PRS prsOf(const aiMatrix4x4& m, const std::string& what);
  std::string nodeName(const std::string& wanted);
  bool hasContent(const aiNode& node) const;
  // The animation's length in whole ms, short of the hold time.
  std::uint32_t spanOfAnimation() const {
    return std::uint32_t(std::clamp(std::round(m_animation.durationMs()), 0.0, double(kHoldTimeMs - 1)));
  }

  const ConvertOptions& m_options;
  const aiScene& m_scene;
  const ModelSpace& m_space;
  const bool m_gltf;  // the importer's glTF cameras need their own reading
  ConvertReport& m_report;
  std::uint32_t m_nextId = 1;
  ModelAnimation m_animation;
  ModelTextures m_textures;
  VxkWriter m_nodes, m_materials, m_animations;
  std::map<unsigned, std::uint32_t> m_materialIds;
  std::map<std::string, std::vector<Attachment>> m_attachments;  // by node name
  std::set<std::string> m_names;
  std::vector<Track> m_tracks;
  aiColor3D m_ambient{0, 0, 0};
  bool m_hasAmbient = false;
  bool m_modelHasSecondUv = false;
  std::size_t m_boneTracks = 0;
};

std::string Converter::nodeName(const std::string& wanted) {
  if (m_options.keepNames) return wanted;
  // Unique and never empty, so that cameras can be picked by name.
  std::string name = wanted.empty() ? "node" : wanted;
  for (int n = 2; m_names.count(name); ++n) name = (wanted.empty() ? "node" : wanted) + "#" + std::to_string(n);
  m_names.insert(name);
  return name;
}

bool Converter::hasContent(const aiNode& node) const {
  if (node.mNumMeshes > 0 || m_attachments.count(node.mName.C_Str())) return true;
  for (unsigned i = 0; i < node.mNumChildren; ++i)
    if (hasContent(*node.mChildren[i])) return true;
  return false;
}

PRS Converter::prsOf(const aiMatrix4x4& m, const std::string& what) {
  PRS prs;
  if (!decomposeToPRS(m, &prs)) warn(what + ": shear or a flattened axis approximated by position, rotation and scale");
  return prs;
}

// The model's camera in its node's space, in scene axes: where it stands
// and which way it looks, as the frame of a scene camera.
aiMatrix4x4 Converter::cameraFrame(const aiCamera& camera) const {
  // A glTF camera stands at its node's origin looking along -z, y up; the
  // importer copies the node's translation into the camera's position as
  // well, which would count it twice.
  const aiVector3D position = m_gltf ? aiVector3D(0, 0, 0) : camera.mPosition;
  const aiVector3D look = m_gltf ? aiVector3D(0, 0, -1) : camera.mLookAt;
  const aiVector3D up = m_gltf ? aiVector3D(0, 1, 0) : camera.mUp;
  aiMatrix4x4 frame = lookFrame(m_space.direction(look), m_space.direction(up));
  const aiVector3D at = m_space.point(position);
  frame.a4 = at.x;
  frame.b4 = at.y;
  frame.c4 = at.z;
  return frame;
}

// The player aims a light along the negated second column of its row-vector
// world matrix, which is the second row of the column-vector one: the
// light's world rotation must be the inverse of the frame that turns -y onto
// the light's direction. global: the node's world transform in the model's
// rest pose (scene axes); the result is relative to it.
aiMatrix4x4 Converter::lightFrame(const aiLight& light, const aiMatrix4x4& global) const {
  aiMatrix3x3 linear(global);
  aiVector3D direction = linear * m_space.direction(light.mDirection);
  aiVector3D up = linear * m_space.direction(light.mUp);
  if (direction.SquareLength() < 1e-12f) direction = aiVector3D(0, 0, -1);
  aiMatrix4x4 world = lookFrame(direction, up);
  world.Transpose();
  const aiVector3D at = global * m_space.point(light.mPosition);
  world.a4 = at.x;
  world.b4 = at.y;
  world.c4 = at.z;
  return inverted(global) * world;
}

std::uint32_t Converter::materialId(unsigned index) {
  const auto found = m_materialIds.find(index);
  if (found != m_materialIds.end()) return found->second;
  const std::uint32_t id = m_nextId++;
  m_materialIds.emplace(index, id);
  MaterialRecord record;
  if (index < m_scene.mNumMaterials)
    record = convertMaterial(*m_scene.mMaterials[index], m_textures, m_modelHasSecondUv,
                             [this](const std::string& text) { warn(text); });
  m_materials.material(id, record);
  ++m_report.materials;
  return id;
}

// The node's meshes as vertex batches: rigid meshes packed together (one
// sub-mesh per material), each deforming mesh alone with its baked frames.
std::vector<VertexBatch> Converter::batchesOf(const aiNode& node) {
  std::vector<MeshPiece> rigid;
  std::vector<VertexBatch> batches;
  for (unsigned i = 0; i < node.mNumMeshes; ++i) {
    if (node.mMeshes[i] >= m_scene.mNumMeshes) continue;
    const aiMesh& mesh = *m_scene.mMeshes[node.mMeshes[i]];
    const std::string meshName = std::string("mesh '") + mesh.mName.C_Str() + "'";
    if (!(mesh.mPrimitiveTypes & (aiPrimitiveType_TRIANGLE | aiPrimitiveType_POLYGON))) {
      warn(meshName + ": points and lines left out (the player draws triangles)");
      continue;
    }
    std::size_t skipped = 0;
    std::vector<MeshPiece> pieces = splitMesh(mesh, materialId(mesh.mMaterialIndex), kMaxBufferVertices, &skipped);
    if (skipped) warn(meshName + ": " + std::to_string(skipped) + " points and lines left out");
    if (pieces.size() > 1)
      warn(meshName + ": " + std::to_string(mesh.mNumVertices) + " vertices split into " +
           std::to_string(pieces.size()) + " meshes (16-bit indices)");
    if (!isDeforming(mesh)) {
      rigid.insert(rigid.end(), pieces.begin(), pieces.end());
      continue;
    }

    // Deforming: positions at every frame time, in the node's space.
    const bool animated = m_animation.animation() != nullptr && m_animation.durationMs() >= 1.0;
    const std::uint32_t spanMs = animated ? spanOfAnimation() : 0;
    std::size_t frames = 1;
    if (animated) {
      frames = std::size_t(std::lround(spanMs * double(m_options.fps) / 1000.0)) + 1;
      frames = std::max<std::size_t>(frames, 2);
      const std::size_t most =
          std::max<std::size_t>(2, std::min(kMaxBakedFrames, kMaxBakedPositions / std::max(1u, mesh.mNumVertices)));
      if (frames > most) {
        warn(meshName + ": " + std::to_string(frames) + " vertex frames cut to " + std::to_string(most) +
             " (spread over the whole animation)");
        frames = most;
      }
    }
    std::vector<std::vector<aiVector3D>> positions(frames);
    std::unordered_map<const aiNode*, aiMatrix4x4> globals;
    for (std::size_t f = 0; f < frames; ++f) {
      const double ms = frames > 1 ? double(spanMs) * double(f) / double(frames - 1) : 0.0;
      globals.clear();
      m_animation.globals(ms, &globals);
      positions[f] = deformedPositions(mesh, node, m_scene, m_animation, globals, ms);
    }
    // The rest-pose mesh gives normals, uvs and triangles; frame 0 the
    // positions the player shows before the animation starts.
    for (MeshPiece& piece : pieces) {
      std::vector<VertexBatch> one = packPieces({piece}, m_space, kMaxBufferVertices);
      if (one.empty()) continue;
      VertexBatch& batch = one.front();
      if (frames > 1) {
        batch.frames.resize(frames);
        for (std::size_t f = 0; f < frames; ++f) {
          batch.frames[f].reserve(piece.vertices.size() * 3);
          for (std::uint32_t source : piece.vertices) {
            const aiVector3D p = m_space.point(positions[f][source]);
            batch.frames[f].insert(batch.frames[f].end(), {p.x, p.y, p.z});
          }
        }
      } else {
        for (std::size_t v = 0; v < piece.vertices.size(); ++v) {
          const aiVector3D p = m_space.point(positions[0][piece.vertices[v]]);
          std::copy(&p.x, &p.x + 3, batch.positions.begin() + std::ptrdiff_t(v * 3));
        }
      }
      batches.push_back(std::move(batch));
    }
  }
  std::vector<VertexBatch> packed = packPieces(std::move(rigid), m_space, kMaxBufferVertices);
  packed.insert(packed.end(), std::make_move_iterator(batches.begin()), std::make_move_iterator(batches.end()));
  return packed;
}

// Vertex, index and mesh chunks of one batch on a node already written.
void Converter::writeBatch(const VertexBatch& batch, std::uint32_t meshId, std::uint32_t nodeId,
                           const std::string& name) {
  const std::uint32_t vertexId = m_nextId++, indexId = m_nextId++;
  VertexRecord vertices;
  vertices.attributeFlags = kVertexNormal | kVertexUv1 | kVertexUv2 | kVertexSmoothingKey;
  vertices.vertexCount = std::uint32_t(batch.vertexCount());
  if (batch.frames.empty()) vertices.frames.push_back(batch.positions);
  else vertices.frames = batch.frames;
  vertices.normals = batch.normals;
  vertices.uv1 = batch.uv1;
  vertices.uv2 = batch.uv2;
  vertices.smoothingKeys = batch.smoothingKeys;
  m_nodes.vertices(vertexId, vertices);
  m_nodes.indices(indexId, batch.indices);
  MeshRecord mesh{.nodeId = nodeId, .name = name, .vertexBufferId = vertexId, .indexBufferId = indexId};
  for (const VertexBatch::SubMesh& sub : batch.submeshes)
    mesh.submeshes.push_back({.firstTriangle = sub.startIndex / 3, .materialId = sub.materialId,
                              .startIndex = sub.startIndex, .indexCount = sub.indexCount});
  m_nodes.mesh(meshId, mesh);
  ++m_report.meshes;
  m_report.vertices += batch.vertexCount();
  m_report.triangles += batch.indices.size() / 3;

  if (batch.frames.size() > 1) {
    const std::uint32_t spanMs = spanOfAnimation();
    m_animations.vertexAnimation(VertexAnimationRecord{.targetId = vertexId,
                                                       .loopLength = m_animation.repeats() ? spanMs : kHoldTimeMs,
                                                       .startTime = 0,
                                                       .endTime = spanMs});
    ++m_report.vertexAnimations;
  }
}

void Converter::writeNodeChunk(std::uint32_t id, NodeRecord node, const Attachment& attachment) {
  ++m_report.nodes;
  if (attachment.camera) {
    const aiCamera& c = *attachment.camera;
    CameraRecord camera{.node = std::move(node)};
    // The player wants the vertical angle. The import library gives a
    // horizontal one and the aspect (0: unknown): the whole horizontal angle,
    // except from glTF, whose vertical angle it multiplies by the aspect.
    const float aspect = c.mAspect > 0 ? c.mAspect : 4.0f / 3.0f;
    if (c.mOrthographicWidth > 0 || !(c.mHorizontalFOV > 0)) {
      warn("camera '" + camera.node.name + "': orthographic view shown in perspective (45 degrees)");
      camera.fov = 0.7853982f;
    } else if (m_gltf) {
      camera.fov = c.mHorizontalFOV / aspect;
    } else {
      camera.fov = 2.0f * std::atan(std::tan(c.mHorizontalFOV * 0.5f) / aspect);
    }
    if (std::fabs(aspect - 4.0f / 3.0f) > 0.01f)
      warn("camera '" + camera.node.name + "': aspect " + formatFloat(aspect) +
           " shown at the screen's; the vertical field of view is kept");
    camera.nearClip = c.mClipPlaneNear * m_space.scale();
    camera.farClip = c.mClipPlaneFar * m_space.scale();
    if (!(camera.farClip > camera.nearClip) || !std::isfinite(camera.farClip)) {
      camera.farClip = std::max(camera.nearClip, 1.0f) * 100000.0f;
      warn("camera '" + camera.node.name + "': no far clip plane; " + formatFloat(camera.farClip) + " used");
    }
    m_nodes.camera(id, camera);
    ++m_report.cameras;
    return;
  }
  if (attachment.light) {
    const aiLight& l = *attachment.light;
    LightRecord light{.node = std::move(node)};
    light.type = l.mType == aiLightSource_SPOT ? 2 : l.mType == aiLightSource_DIRECTIONAL ? 3 : 1;
    if (l.mType == aiLightSource_AREA) warn("light '" + light.node.name + "': area light shown as a point light");
    // Colour and strength apart: the colour as bytes, its brightest channel
    // as the intensity.
    const aiColor3D& c = l.mColorDiffuse;
    const float strength = std::max({c.r, c.g, c.b, 0.0f});
    light.intensity = strength;
    light.color = strength > 0 ? packArgb(c.r / strength, c.g / strength, c.b / strength, 1.0f) : 0xFF000000u;
    float range = kUnlimitedRange;
    const float c0 = l.mAttenuationConstant, c1 = l.mAttenuationLinear, c2 = l.mAttenuationQuadratic;
    if (light.type != 3 && (c1 > 0 || c2 > 0)) {
      const float d = c2 > 0 ? (-c1 + std::sqrt(c1 * c1 - 4 * c2 * (c0 - kSpentLight))) / (2 * c2)
                             : (kSpentLight - c0) / c1;
      if (d > 0 && std::isfinite(d)) {
        range = d * m_space.scale();
        warn("light '" + light.node.name + "': falloff approximated (the player attenuates as 1 / (1 + d² / range²))");
      }
    }
    light.range = range;
    light.attenuation[0] = 1.0f;
    light.attenuation[1] = 0.0f;
    light.attenuation[2] = range < 9e7f ? 1.0f / (range * range) : 0.0f;
    if (light.type == 2) {
      // Whole cone angles in degrees; the model gives them from the axis.
      light.hotspot = std::min(2.0f * l.mAngleInnerCone * kRadiansToDegrees, 180.0f);
      light.falloffAngle = std::min(2.0f * l.mAngleOuterCone * kRadiansToDegrees, 180.0f);
    }
    m_nodes.light(id, light);
    ++m_report.lights;
    return;
  }
  m_nodes.group(id, node);
}

// One model node: a group (or the camera or light it holds, when it holds
// nothing else), its meshes, then its children. parentFrame: the extra frame
// folded into the written parent (a camera's or light's), which the
// children undo; parentGlobal: the parent's world transform in the rest
// pose, scene axes, without that frame.
void Converter::emitNode(const aiNode& node, std::int32_t parentId, const aiMatrix4x4& parentFrame,
                         const aiMatrix4x4& parentGlobal) {
  const aiMatrix4x4 local = m_space.matrix(node.mTransformation);
  const aiMatrix4x4 global = parentGlobal * local;
  const std::string sourceName = node.mName.C_Str();

  std::vector<Attachment> attachments;
  if (const auto found = m_attachments.find(sourceName); found != m_attachments.end()) attachments = found->second;
  Attachment folded;
  aiMatrix4x4 frame;  // identity
  if (attachments.size() == 1 && node.mNumChildren == 0 && node.mNumMeshes == 0) {
    folded = attachments.front();
    attachments.clear();
    frame = folded.camera ? cameraFrame(*folded.camera) : lightFrame(*folded.light, global);
  }

  const std::uint32_t id = m_nextId++;
  const std::vector<VertexBatch> batches = batchesOf(node);
  NodeRecord record;
  record.parentId = parentId;
  record.name = nodeName(sourceName);
  record.prs = prsOf(inverted(parentFrame) * local * frame, "node '" + sourceName + "'");
  // The mesh chunk needs its node first; the node names its mesh by id.
  std::uint32_t firstMesh = kNoId;
  if (!batches.empty()) firstMesh = m_nextId++;
  record.meshId = firstMesh;
  writeNodeChunk(id, record, folded);
  if (m_animation.channel(&node)) {
    if (hasContent(node)) m_tracks.push_back({&node, id, parentFrame, frame});
    else ++m_boneTracks;
  }

  for (std::size_t b = 0; b < batches.size(); ++b) {
    if (b == 0) {
      writeBatch(batches[b], firstMesh, id, record.name);
      continue;
    }
    // A node holds one mesh: the others hang below it, unmoved.
    const std::uint32_t holder = m_nextId++, meshId = m_nextId++;
    writeNodeChunk(holder,
                   NodeRecord{.parentId = std::int32_t(id), .name = nodeName(record.name + "#mesh"), .meshId = meshId},
                   {});
    writeBatch(batches[b], meshId, holder, record.name);
  }

  // Cameras and lights of a node that holds more: children of their own.
  for (const Attachment& a : attachments) {
    const std::uint32_t child = m_nextId++;
    const aiMatrix4x4 childFrame = a.camera ? cameraFrame(*a.camera) : lightFrame(*a.light, global);
    NodeRecord r{.parentId = std::int32_t(id),
                 .name = nodeName(a.camera ? a.camera->mName.C_Str() : a.light->mName.C_Str())};
    r.prs = prsOf(childFrame, "node '" + r.name + "'");
    writeNodeChunk(child, r, a);
  }
  for (unsigned i = 0; i < node.mNumChildren; ++i) emitNode(*node.mChildren[i], std::int32_t(id), frame, global);
}

void Converter::writeTracks() {
  const bool repeats = m_animation.repeats();
  const std::uint32_t spanMs = spanOfAnimation();
  for (const Track& track : m_tracks) {
    std::vector<std::uint32_t> times = m_animation.keyTimes(*m_animation.channel(track.node));
    // A repeating track spans the whole animation, so that every track of
    // it loops with the same period.
    if (repeats) {
      times.push_back(0);
      times.push_back(spanMs);
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    times.erase(std::remove_if(times.begin(), times.end(), [](std::uint32_t t) { return t >= kHoldTimeMs; }),
                times.end());
    PRSAnimationRecord record{.targetId = track.id};
    D3DXQUATERNION previous(0, 0, 0, 1);
    for (std::uint32_t t : times) {
      const aiMatrix4x4 m = inverted(track.parentFrame) * m_space.matrix(m_animation.local(track.node, t)) * track.frame;
      PRS prs = prsOf(m, std::string("animation of '") + track.node->mName.C_Str() + "'");
      // Keep neighbouring quaternions on one side, as slerp prefers.
      const D3DXQUATERNION& q = prs.rotation;
      if (q.x * previous.x + q.y * previous.y + q.z * previous.z + q.w * previous.w < 0)
        prs.rotation = D3DXQUATERNION(-q.x, -q.y, -q.z, -q.w);
      previous = prs.rotation;
      record.times.push_back(t);
      record.values.push_back(prs);
    }
    if (!repeats && !record.values.empty()) {
      // Played once: the last pose holds.
      record.times.push_back(kHoldTimeMs);
      record.values.push_back(record.values.back());
    }
    if (record.times.empty()) continue;
    m_animations.prsAnimation(record);
    ++m_report.nodeAnimations;
  }
}

std::vector<std::uint8_t> Converter::run() {
  for (unsigned i = 0; i < m_scene.mNumMeshes; ++i)
    if (m_scene.mMeshes[i]->mTextureCoords[1]) m_modelHasSecondUv = true;
  for (unsigned i = 0; i < m_scene.mNumCameras; ++i)
    m_attachments[m_scene.mCameras[i]->mName.C_Str()].push_back({.camera = m_scene.mCameras[i]});
  for (unsigned i = 0; i < m_scene.mNumLights; ++i) {
    const aiLight* light = m_scene.mLights[i];
    if (light->mType == aiLightSource_AMBIENT) {
      // Ambient light has no place: it is the scene's ambient colour.
      m_ambient = m_ambient + light->mColorAmbient + light->mColorDiffuse;
      m_hasAmbient = true;
      continue;
    }
    m_attachments[light->mName.C_Str()].push_back({.light = light});
  }
  // Attachments whose node does not exist hang below the root.
  for (auto& [name, list] : m_attachments)
    if (!m_scene.mRootNode->FindNode(name.c_str())) warn("'" + name + "' has no node; placed at the root");

  emitNode(*m_scene.mRootNode, -1, aiMatrix4x4(), aiMatrix4x4());
  for (auto& [name, list] : m_attachments) {
    if (m_scene.mRootNode->FindNode(name.c_str())) continue;
    for (const Attachment& a : list) {
      NodeRecord r{.parentId = -1, .name = nodeName(name)};
      aiMatrix4x4 frame = a.camera ? cameraFrame(*a.camera) : lightFrame(*a.light, aiMatrix4x4());
      r.prs = prsOf(frame, "'" + name + "'");
      // Below the root: the root is the first node written, file id 1.
      r.parentId = 1;
      writeNodeChunk(m_nextId++, r, a);
    }
  }
  writeTracks();
  if (m_boneTracks) warn(std::to_string(m_boneTracks) + " bone tracks baked into vertex frames, not written as tracks");
  if (m_scene.mNumAnimations > 1) {
    warn(std::to_string(m_scene.mNumAnimations - 1) + " more animations left out (a scene has one timeline; the first, '" +
         std::string(m_scene.mAnimations[0]->mName.C_Str()) + "', is converted)");
  }
  if (m_animation.animation() && !m_animation.repeats() && (m_report.nodeAnimations || m_report.vertexAnimations))
    warn("the animation does not repeat: it plays once and holds its last pose");

  VxkWriter file;
  if (m_hasAmbient) file.ambient(packArgb(m_ambient.r, m_ambient.g, m_ambient.b, 1.0f));
  file.raw(m_nodes.bytes()).raw(m_materials.bytes());
  for (const ModelTextures::Written& t : m_textures.written()) {
    file.texture(t.id, t.fileName);
    m_report.files.push_back(t.fileName);
  }
  m_report.textures = m_textures.written().size();
  file.raw(m_animations.bytes());
  return file.bytes();
}

// The source's up and front axes: stated by the file (FBX axis fields), or
// fixed by its format (the importer turns glTF, Collada and 3DS models y up,
// z front), or --up, or y up.
bool chooseAxes(const aiScene& scene, const ConvertOptions& options, aiVector3D* up, aiVector3D* front,
                std::vector<std::string>* warnings) {
  const std::string model = lower(options.model);
  const std::size_t dot = model.rfind('.');
  const std::string ext = dot == std::string::npos ? "" : model.substr(dot + 1);
  auto axis = [](int index, int sign) {
    aiVector3D v(0, 0, 0);
    v[unsigned(std::clamp(index, 0, 2))] = sign < 0 ? -1.0f : 1.0f;
    return v;
  };
  int upAxis = 1, upSign = 1, frontAxis = 2, frontSign = 1;
  bool stated = false;
  if (scene.mMetaData && scene.mMetaData->Get("UpAxis", upAxis)) {
    scene.mMetaData->Get("UpAxisSign", upSign);
    scene.mMetaData->Get("FrontAxis", frontAxis);
    scene.mMetaData->Get("FrontAxisSign", frontSign);
    stated = true;
  } else if (ext == "gltf" || ext == "glb" || ext == "dae" || ext == "3ds") {
    stated = true;
  }
  *up = axis(upAxis, upSign);
  *front = axis(frontAxis, frontSign);
  if (std::fabs(*up * *front) > 0.5f) *front = upAxis == 2 ? aiVector3D(0, -1, 0) : aiVector3D(0, 0, 1);
  if (options.up) {
    const aiVector3D wanted = *options.up == 'z' ? aiVector3D(0, 0, 1) : aiVector3D(0, 1, 0);
    if (stated) {
      if (wanted != *up) warnings->push_back("--up ignored: the file states its own up axis");
    } else {
      *up = wanted;
      *front = *options.up == 'z' ? aiVector3D(0, -1, 0) : aiVector3D(0, 0, 1);
    }
  }
  return stated;
}

bool isDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

bool convertModel(const ConvertOptions& options, ConvertReport* report, std::string* error) {
  *report = ConvertReport{};
  const std::string name = options.name.empty() ? baseStem(options.model) : options.name;
  if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..")
    return *error = "bad scene name '" + name + "'", false;
  std::string outDir = options.outDir;
  while (outDir.size() > 1 && outDir.back() == '/') outDir.pop_back();
  struct stat st;
  const bool outExists = ::lstat(outDir.c_str(), &st) == 0;
  if (outExists && !options.force) return *error = "'" + outDir + "' exists (use --force to write into it)", false;
  if (outExists && !S_ISDIR(st.st_mode)) return *error = "'" + outDir + "' is not a directory", false;

  // Triangles, shared vertices joined, normals where the model has none
  // (smooth up to 80 degrees, so boxes keep their edges), uvs with v down,
  // every importer's checks.
  Assimp::Importer importer;
  importer.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, 80.0f);
  const aiScene* scene =
      importer.ReadFile(options.model, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices |
                                           aiProcess_GenSmoothNormals | aiProcess_SortByPType | aiProcess_FlipUVs |
                                           aiProcess_ValidateDataStructure | aiProcess_LimitBoneWeights);
  if (scene == nullptr || scene->mRootNode == nullptr) {
    std::string why = importer.GetErrorString();
    if (why.empty()) why = "no node tree";
    return *error = "cannot read '" + options.model + "': " + why, false;
  }
  // The importer calls a model without meshes incomplete; cameras and
  // lights alone still make a scene.
  if (scene->mNumMeshes == 0) report->warnings.push_back("the model has no meshes");

  aiVector3D up, front;
  chooseAxes(*scene, options, &up, &front, &report->warnings);
  const ModelSpace space(up, front, options.scale);

  // Everything goes into a private folder beside OUT_DIR first.
  const std::string parent = parentFolder(outDir);
  if (!isDirectory(parent) && !makeDirectories(parent, error)) return false;
  std::string staging = outDir + ".vxconvert-XXXXXX";
  if (::mkdtemp(staging.data()) == nullptr)
    return *error = "cannot create a folder beside '" + outDir + "': " + std::strerror(errno), false;
  // mkdtemp makes it private; OUT_DIR gets the user's usual permissions.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::chmod(staging.c_str(), 0777 & ~mask);

  report->sceneFile = outDir + "/" + name + ".vxk";
  std::vector<std::uint8_t> bytes;
  {
    const std::string ext = lower(options.model.substr(options.model.rfind('.') == std::string::npos
                                                            ? options.model.size()
                                                            : options.model.rfind('.')));
    Converter converter(options, *scene, space, ext == ".gltf" || ext == ".glb", staging, *report);
    bytes = converter.run();
  }
  report->axes = space.describe();
  report->files.insert(report->files.begin(), name + ".vxk");
  bool ok = writeFileSafely(staging + "/" + name + ".vxk", bytes.data(), bytes.size(), false, 0644, error);

  // Into place: a new OUT_DIR is the staging folder renamed; an existing one
  // (--force) receives the files one by one, replacing those of the same
  // names.
  if (ok) {
    for (const std::string& file : report->files) {
      struct stat f;
      if (::stat((staging + "/" + file).c_str(), &f) == 0) report->bytes += std::size_t(f.st_size);
    }
    if (!outExists) {
      if (::rename(staging.c_str(), outDir.c_str()) != 0) {
        *error = "cannot create '" + outDir + "': " + std::strerror(errno);
        ok = false;
      }
    } else {
      for (const std::string& file : report->files) {
        if (isDirectory(outDir + "/" + file)) {
          *error = "'" + outDir + "/" + file + "' is a directory";
          ok = false;
          break;
        }
      }
      for (std::size_t i = 0; ok && i < report->files.size(); ++i) {
        const std::string& file = report->files[i];
        if (::rename((staging + "/" + file).c_str(), (outDir + "/" + file).c_str()) != 0) {
          *error = "cannot write '" + outDir + "/" + file + "': " + std::strerror(errno);
          ok = false;
        }
      }
    }
  }
  if (!ok || outExists) removeStaging(staging);
  return ok;
}
