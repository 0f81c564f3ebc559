// The VXK chunk loop and one handler per chunk type. Layouts are described
// in scene/VxkFormat.h and scene/VxkWriter.h (which writes exactly what is
// read here).
#include "archive/Configuration.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/IndexBuffer.h"
#include "render/StateCache.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/CameraActivatorController.h"
#include "scene/KeyframeFloatController.h"
#include "scene/KeyframePRSController.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"
#include "scene/VertexController.h"
#include "scene/VxkFormat.h"

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

using namespace vxk;

namespace {

// Counts that the payload cannot bound, because the elements they count take
// no payload bytes (keys that store no PRS component, vertex buffers without
// position frames, frames without vertices). Files from the tools never come
// near these; larger counts are taken as damage rather than allocated.
constexpr std::uint32_t kMaxBareKeys = 1u << 16;
constexpr std::uint32_t kMaxBareVertices = 1u << 16;
constexpr std::uint32_t kMaxBareFrames = 1u << 16;

// Nesting deeper than this is refused even when every file name differs
// (the names "a.vxk" and "./a.vxk" reach the same file).
constexpr std::size_t kMaxNesting = 64;

constexpr std::uint32_t kCameraAspectBits = 0x3FAAAAABu;  // 4/3 as the single-precision constant stored
constexpr float kMinNearClip = 1e-5f;

std::uint32_t readLe32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
}
std::uint16_t readLe16(const std::uint8_t* p) { return std::uint16_t(p[0] | p[1] << 8); }

float clampUnit(float v) {
  if (!(v > 0.0f)) return 0.0f;  // NaN too
  return v < 1.0f ? v : 1.0f;
}

// Bytes of one stored PRS key value for the component flags.
std::size_t prsValueBytes(std::uint32_t flags) {
  return ((flags & kKeyPosition) ? 12 : 0) + ((flags & kKeyRotation) ? 16 : 0) + ((flags & kKeyScale) ? 12 : 0);
}

// A sequence file: a loose regular file, read whole with a terminating zero.
// Returns false when there is no such file.
bool readSequenceFile(const std::string& path, std::vector<char>* text) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return false;
  struct stat info {};
  if (::fstat(::fileno(file), &info) != 0 || !S_ISREG(info.st_mode)) {
    std::fclose(file);
    return false;
  }
  long size = -1;
  if (std::fseek(file, 0, SEEK_END) == 0) size = std::ftell(file);
  std::size_t got = 0;
  if (size >= 0 && std::fseek(file, 0, SEEK_SET) == 0) {
    text->assign(std::size_t(size) + 1, 0);
    got = std::fread(text->data(), 1, std::size_t(size), file);
  }
  std::fclose(file);
  if (size < 0 || got != std::size_t(size)) FatalMessage("Error", 0, "Error reading sequence file to memory!");
  return true;
}

}  // namespace

std::uint32_t VxkTimeToUnsigned(float value) {
  if (std::isnan(value)) return 0;
  // Truncation toward zero through 64 bits, then the low 32 bits: the
  // unsigned wrap of the format's arithmetic without undefined conversions.
  const double t = std::trunc(double(value));
  if (t >= 9.2e18) return 0xFFFFFFFFu;
  if (t <= -9.2e18) return 0;
  return std::uint32_t(std::uint64_t(std::int64_t(t)));
}

// One chunk's payload with a read cursor. Every read checks the bytes left;
// a read past the payload refuses the file (an "Error" box naming it, exit
// code 0) instead of reading on.
class VXKSceneLoader::Chunk {
 public:
  Chunk(const std::uint8_t* data, std::size_t length, const std::string& file)
      : m_data(data), m_length(length), m_file(file) {}

  std::size_t remaining() const { return m_length - m_at; }
  [[noreturn]] void damaged() const { FatalMessage("Error", 0, "Damaged chunk in file %s!", m_file.c_str()); }
  void need(std::uint64_t bytes) const {
    if (bytes > remaining()) damaged();
  }

  std::uint8_t u8() { return *take(1); }
  std::uint16_t u16() { return readLe16(take(2)); }
  std::uint32_t u32() { return readLe32(take(4)); }
  std::int32_t i32() { return std::int32_t(u32()); }
  float f32() { return std::bit_cast<float>(u32()); }
  std::string string() {
    const std::uint16_t length = u16();
    const std::uint8_t* bytes = take(length);
    return std::string(reinterpret_cast<const char*>(bytes), length);
  }
  // ARGB to r, g, b, a floats.
  void color(float out[4]) {
    const std::uint32_t argb = u32();
    out[0] = float((argb >> 16) & 0xFF) * kColorScale;
    out[1] = float((argb >> 8) & 0xFF) * kColorScale;
    out[2] = float(argb & 0xFF) * kColorScale;
    out[3] = float(argb >> 24) * kColorScale;
  }
  void vector3(D3DXVECTOR3& v) {
    v.x = f32();
    v.y = f32();
    v.z = f32();
  }
  void quaternion(D3DXQUATERNION& q) {
    q.x = f32();
    q.y = f32();
    q.z = f32();
    q.w = f32();
  }
  // The parts of a PRS the flags select; the others keep their values.
  void prsParts(PRS& prs, std::uint32_t flags) {
    if (flags & kKeyPosition) vector3(prs.position);
    if (flags & kKeyRotation) quaternion(prs.rotation);
    if (flags & kKeyScale) vector3(prs.scale);
  }

 private:
  const std::uint8_t* take(std::size_t bytes) {
    need(bytes);
    const std::uint8_t* at = m_data + m_at;
    m_at += bytes;
    return at;
  }

  const std::uint8_t* m_data;
  std::size_t m_length;
  std::size_t m_at = 0;
  const std::string& m_file;
};

std::uint32_t VXKSceneLoader::mapId(std::uint32_t fileId) {
  const auto found = idMap.find(fileId);
  if (found != idMap.end()) return found->second;
  const std::uint32_t sceneId = scene->AllocateId();
  idMap.emplace(fileId, sceneId);
  return sceneId;
}

std::int32_t VXKSceneLoader::mapRef(std::uint32_t fileId) {
  return fileId == kNoId ? -1 : std::int32_t(mapId(fileId));
}

Base* VXKSceneLoader::existing(std::uint32_t fileId) const {
  const auto found = idMap.find(fileId);
  return found == idMap.end() ? nullptr : scene->findObject(std::int32_t(found->second));
}

std::uint32_t VXKSceneLoader::scaleTime(std::uint32_t t) const {
  return VxkTimeToUnsigned(float(t) * animScale + animOffset);
}

void VXKSceneLoader::parse(const std::uint8_t* bytes, std::size_t length, std::int32_t parent, float offset,
                           float scale, bool loop) {
  parentId = parent;
  animOffset = offset;
  animScale = scale;
  looping = loop;
  normalMapIds.clear();

  // Chunks are handled strictly in file order, each (nested files included)
  // finished before the next begins.
  std::size_t at = 0;
  while (at < length) {
    if (length - at < kChunkHeaderSize)
      FatalMessage("Error", 0, "Chunk header cut off at the end of file %s!", fileName.c_str());
    const std::uint8_t* header = bytes + at;
    const std::uint16_t type = readLe16(header + kChunkTypeOffset);
    const std::uint16_t version = readLe16(header + kChunkVersionOffset);
    const std::uint32_t objectId = readLe32(header + kChunkObjectIdOffset);
    const std::uint32_t payloadLength = readLe32(header + kChunkLengthOffset);
    if (payloadLength > length - at - kChunkHeaderSize)
      FatalMessage("Error", 0, "Chunk runs past the end of file %s!", fileName.c_str());
    Chunk chunk(header + kChunkHeaderSize, payloadLength, fileName);
    at += kChunkHeaderSize + payloadLength;
    readChunk(type, version, objectId, chunk);
  }
}

void VXKSceneLoader::readChunk(std::uint16_t type, std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  switch (type) {
    case kChunkAmbient: return readAmbient(c);
    case kChunkGroup: return readGroup(version, objectId, c);
    case kChunkMesh: return readMesh(objectId, c);
    case kChunkCamera: return readCamera(version, objectId, c);
    case kChunkLight: return readLight(version, objectId, c);
    case kChunkVertices: return readVertices(objectId, c);
    case kChunkIndices: return readIndices(objectId, c);
    case kChunkMaterial: return readMaterial(version, objectId, c);
    case kChunkTexture: return readTexture(objectId, c);
    case kChunkPRSAnimation: return readPRSAnimation(version, c);
    case kChunkVertexAnimation: return readVertexAnimation(c);
    case kChunkFloatAnimation: return readFloatAnimation(version, c);
    case kChunkSprite: return readSprite(version, objectId, c);
    case kChunkCloud: return readCloud(version, objectId, c);
    default: FatalMessage("Error", 0, "Unknown chunk in file!");
  }
}

void VXKSceneLoader::readAmbient(Chunk& c) { c.color(scene->ambientColor); }

// The record shared by groups, cameras and lights.
void VXKSceneLoader::readNode(Group& node, std::uint16_t type, std::uint16_t version, Chunk& c) {
  const std::int32_t parent = c.i32();
  if (parent == -1) {
    // Stored without a parent: below the node that named this file, or, in
    // a top-level file, the scene root (the last such node read wins).
    node.parentRef.reset(parentId);
    if (parentId == -1) scene->root = &node;
  } else {
    node.parentRef.reset(std::int32_t(mapId(std::uint32_t(parent))));
  }
  node.name = c.string();
  c.vector3(node.prs.position);
  c.quaternion(node.prs.rotation);
  c.vector3(node.prs.scale);
  node.configText = c.string();
  node.config.Parse(node.configText.c_str());
  node.loadAnimations(scene, &node.config, animOffset, animScale);
  node.flag1 = c.u8() != 0;
  node.flag2 = c.u8() != 0;
  if (nodeHasVisibility(type, version)) node.visibility = clampUnit(c.f32());
  if (nodeHasMeshId(type, version)) node.meshRef.reset(mapRef(c.u32()));
  nodeKeys(node);
}

// The two configuration keys that act on a node once its record is read: a
// nested scene file below it, and the sky box.
void VXKSceneLoader::nodeKeys(Group& node) {
  const Configuration& config = node.config;
  if (config.GetString("loader") != nullptr) {
    const char* named = config.GetString("filename");
    const std::string file = named ? named : "";
    const bool onChain =
        file == fileName || std::find(openFiles.begin(), openFiles.end(), file) != openFiles.end();
    if (onChain || openFiles.size() >= kMaxNesting)
      FatalMessage("Error", 0, "Scene file %s loads itself (through %s)!", file.c_str(), fileName.c_str());
    float nestedScale = float(config.GetFloat("animscale"));
    if (nestedScale == 0.0f) nestedScale = 1.0f;
    const float nestedOffset = float(config.GetFloat("animoffset")) + animOffset;
    auto* nested = new VXKSceneLoader(scene->AllocateId(), scene);  // owned by the scene
    nested->openFiles = openFiles;
    nested->openFiles.push_back(fileName);
    nested->LoadFile(file.c_str(), std::int32_t(node.id), nestedOffset, nestedScale * animScale,
                     config.GetInt("looping") != 0);
  }
  if (config.GetString("skybox") != nullptr) {
    scene->skybox = &node;
    node.parentRef.reset(-1);
  }
}

void VXKSceneLoader::readGroup(std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  auto* node = new Group(mapId(objectId), scene);
  readNode(*node, kChunkGroup, version, c);
}

void VXKSceneLoader::readCamera(std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  auto* camera = new Camera(mapId(objectId), scene);
  readNode(*camera, kChunkCamera, version, c);
  camera->fov = c.f32();
  camera->nearClip = c.f32();
  camera->farClip = c.f32();
  if (camera->nearClip < kMinNearClip) camera->nearClip = camera->farClip * kMinNearClip;
  camera->aspect = std::bit_cast<float>(kCameraAspectBits);

  if (version >= kCameraActivationVersion) {
    const std::uint32_t count = c.u32();
    if (count > 0) {
      c.need(std::uint64_t(count) * 4 + 8);
      auto activator = std::make_unique<CameraActivatorController>(camera, looping);
      for (std::uint32_t i = 0; i < count; ++i) activator->addTime(c.u32());  // neither scaled nor shifted
      activator->finish();
      scaleTime(c.u32());  // a time the tools store and nothing uses
      activator->loopLength = scaleTime(c.u32());
      scene->controllers.push_back(activator.release());
    }
  }
  if (version >= kCameraFogVersion) {
    camera->fogEnabled = c.u8() != 0;
    c.color(camera->fogColor);
  } else {
    camera->fogEnabled = false;
    const float black[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    std::copy(black, black + 4, camera->fogColor);
  }
}

void VXKSceneLoader::readLight(std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  auto* light = new Light(mapId(objectId), scene);
  readNode(*light, kChunkLight, version, c);
  light->d3dLight.Type = D3DLIGHTTYPE(c.u8());
  c.color(light->color);
  light->intensity = c.f32();
  light->d3dLight.Attenuation0 = c.f32();
  light->d3dLight.Attenuation1 = c.f32();
  light->d3dLight.Attenuation2 = c.f32();
  light->d3dLight.Range = c.f32();
  light->hotspot = c.f32();
  light->falloffAngle = c.f32();
  light->shadowFlag = c.u8() != 0;
  c.color(light->shadowColor);
  if (light->shadowFlag) stateCache->shadowsUsed = true;
}

void VXKSceneLoader::readMesh(std::uint32_t objectId, Chunk& c) {
  // The owning node must come first in the file: without it there is nothing
  // to name in messages and the chunk is skipped.
  auto* node = dynamic_cast<Group*>(existing(c.u32()));
  if (node == nullptr) return;
  auto* mesh = new Mesh(mapId(objectId), scene);
  c.string();  // the mesh's own name, not kept
  mesh->vertexBufferRef.reset(mapRef(c.u32()));
  mesh->indexBufferRef.reset(mapRef(c.u32()));
  const std::uint16_t count = c.u16();
  for (std::uint16_t i = 0; i < count; ++i) {
    auto* sub = new SubMesh(scene->AllocateId(), scene);  // ids from the scene's counter, not the file
    sub->mesh = mesh;
    mesh->submeshes.push_back(sub);
    sub->firstTriangle = c.u32();
    sub->materialRef.reset(mapRef(c.u32()));
    sub->startIndex = c.u32();
    sub->indexCount = c.u32();
    c.u8();
    if (sub->indexCount == 0) {
      char text[256];
      std::snprintf(text, sizeof text, "One of the submeshes of %s has 0 vertices! Something is teh fuked!",
                    node->name.c_str());
      MessageBoxA(nullptr, text, "Teh errorz!", MB_OK);
    }
  }
}

void VXKSceneLoader::readVertices(std::uint32_t objectId, Chunk& c) {
  const std::uint32_t frameCount = c.u32();
  const std::uint32_t flags = c.u32();
  c.u16();
  const std::uint32_t vertexCount = c.u32();

  // The whole record must be there before anything is allocated for it.
  const std::uint64_t firstFrameVertex = 12 + ((flags & kVertexNormal) ? 12 : 0) + ((flags & kVertexUv1) ? 8 : 0) +
                                         ((flags & kVertexUv2) ? 8 : 0) + ((flags & kVertexSmoothingKey) ? 4 : 0);
  if (frameCount > 0) {
    c.need(firstFrameVertex * vertexCount);
    const std::uint64_t frameBytes = std::uint64_t(vertexCount) * 12;
    const std::uint64_t left = c.remaining() - firstFrameVertex * vertexCount;
    if (frameBytes != 0 && frameCount - 1 > left / frameBytes) c.damaged();
  }
  if ((frameCount == 0 && vertexCount > kMaxBareVertices) || (vertexCount == 0 && frameCount > kMaxBareFrames))
    c.damaged();

  VertexBuffer* buffer;
  MultiVertexBuffer* multi = nullptr;
  if (frameCount == 1) {
    buffer = new VertexBuffer(mapId(objectId), scene, vertexCount);
  } else {
    multi = new MultiVertexBuffer(mapId(objectId), scene, vertexCount, frameCount);
    buffer = multi;
  }
  if (buffer->links.size() < vertexCount) buffer->links.resize(vertexCount);
  for (std::uint32_t f = 0; f < frameCount; ++f) {
    for (std::uint32_t i = 0; i < vertexCount; ++i) {
      D3DXVECTOR3 position;
      c.vector3(position);
      if (multi != nullptr) {
        float* frame = multi->frames[f].data() + std::size_t(i) * 3;
        frame[0] = position.x;
        frame[1] = position.y;
        frame[2] = position.z;
      }
      if (f != 0) continue;
      LitVertex* vertex = buffer->vertexAt(i);
      vertex->position = position;
      if (flags & kVertexNormal) c.vector3(vertex->normal);
      if (flags & kVertexUv1) {
        vertex->uv1[0] = c.f32();
        vertex->uv1[1] = c.f32();
      }
      if (flags & kVertexUv2) {
        vertex->uv2[0] = c.f32();
        vertex->uv2[1] = c.f32();
      }
      if (flags & kVertexSmoothingKey) buffer->links[i].smoothingKey = c.u32();
    }
  }
}

void VXKSceneLoader::readIndices(std::uint32_t objectId, Chunk& c) {
  const std::uint32_t count = c.u32();
  c.need(std::uint64_t(count) * 4);
  auto* indices = new IndexBuffer(mapId(objectId), scene);
  indices->triangleCount = count / 3;
  const std::uint32_t kept = indices->triangleCount * 3;  // a trailing partial triangle is read and dropped
  indices->indices.resize(kept);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t index = c.u32();
    if (i < kept) indices->indices[i] = std::uint16_t(index);  // 16-bit indices: the low half
  }
}

void VXKSceneLoader::readMaterial(std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  auto* material = new Material(mapId(objectId), scene);
  c.color(material->diffuseColor);
  c.color(material->specularColor);
  c.color(material->ambientColor);
  float emissive[4];
  c.color(emissive);
  material->d3dMaterial.Emissive = D3DCOLORVALUE{emissive[0], emissive[1], emissive[2], emissive[3]};
  material->specularLevel = c.f32();
  material->secondLevel = c.f32();
  material->blendMode = c.u8();
  material->opacity = c.f32();
  material->selfIllumination = emissive[0];
  material->diffuseMap.reset(mapRef(c.u32()));
  material->sphereMap.reset(mapRef(c.u32()));
  material->lightMap.reset(mapRef(c.u32()));
  material->specularMap.reset(mapRef(c.u32()));
  material->modulateMap.reset(version >= kMaterialModulateVersion ? mapRef(c.u32()) : -1);
  material->normalMap.reset(-1);
  if (version >= kMaterialNormalVersion) {
    const std::uint32_t normalMap = c.u32();
    material->normalMap.reset(mapRef(normalMap));
    // Normal maps keep their exact texels: their texture chunk, if it comes
    // later in the file, loads them uncompressed.
    if (normalMap != kNoId) normalMapIds.push_back(normalMap);
  }
}

void VXKSceneLoader::readTexture(std::uint32_t objectId, Chunk& c) {
  const std::string name = c.string();
  // The sequence file is the image's name with "seq" for its last three
  // characters, and only ever a loose file (the archive is not asked). A name
  // shorter than three characters has none.
  std::vector<char> sequence;
  const bool animated =
      name.size() >= 3 && readSequenceFile(name.substr(0, name.size() - 3) + "seq", &sequence);
  if (animated) {
    auto* texture = new AnimatedTexture(mapId(objectId), scene);
    texture->name = name;
    texture->loadSequence(sequence.data(), animScale, animOffset);
  } else {
    auto* texture = new Texture(mapId(objectId), scene);
    const bool normalMap = std::find(normalMapIds.begin(), normalMapIds.end(), objectId) != normalMapIds.end();
    texture->load(name.c_str(), !normalMap);
    texture->name = name;
  }
}

// Old key layout: the four times of a sampled animation, scaled and shifted.
VXKSceneLoader::SampleTimes VXKSceneLoader::readSampleTimes(Chunk& c) const {
  SampleTimes t;
  t.rangeStart = scaleTime(c.u32());
  t.rangeEnd = scaleTime(c.u32());
  t.firstSample = scaleTime(c.u32());
  t.lastSample = scaleTime(c.u32());
  return t;
}

namespace {

// Old key layout: count samples evenly spaced over [firstSample, lastSample]
// (unsigned division; one sample has no step), with a key at each range end
// that differs from the samples' end, carrying the nearest sample's value.
// readValue() reads the next sample's value; addKey(time, value) stores a key.
template <class ReadValue, class AddKey>
void addSampledKeys(const VXKSceneLoader::SampleTimes& t, std::uint32_t count, ReadValue readValue, AddKey addKey) {
  const std::uint32_t step = count > 1 ? (t.lastSample - t.firstSample) / (count - 1) : 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    const auto value = readValue();
    if (k == 0 && t.rangeStart != t.firstSample) addKey(float(t.rangeStart), value);
    addKey(float(t.firstSample + k * step), value);
    if (k + 1 == count && t.rangeEnd != t.lastSample) addKey(float(t.rangeEnd), value);
  }
}

}  // namespace

// New key layout: a byte delta (255: a u32 delta follows instead), scaled
// and added to the running time, whole milliseconds.
std::uint32_t VXKSceneLoader::nextKeyTime(Chunk& c, std::uint32_t time) const {
  std::uint32_t delta = c.u8();
  if (delta == kLongDelta) delta = c.u32();
  return VxkTimeToUnsigned(float(delta) * animScale + float(time));
}

// Key times: the new layout accumulates deltas from the whole part of the
// offset (each step truncated, unsigned); the old layout spaces the samples
// evenly over [firstSample, lastSample] (unsigned division) and adds keys at
// the range ends where they differ from the samples'.
void VXKSceneLoader::readPRSAnimation(std::uint16_t version, Chunk& c) {
  auto* node = dynamic_cast<Group*>(existing(c.u32()));
  if (node == nullptr) return;  // nothing to animate
  auto controller = std::make_unique<KeyframePRSController>(node, looping);
  PRS value = node->prs;  // parts a key does not store carry over from the previous key
  if (version >= kDeltaKeysVersion) {
    const std::uint32_t flags = c.u32();
    const std::uint32_t count = c.u32();
    std::uint32_t time = VxkTimeToUnsigned(animOffset);
    for (std::uint32_t k = 0; k < count; ++k) {
      time = nextKeyTime(c, time);
      c.prsParts(value, flags);
      controller->addKey(KeyPRS{float(time), value});
    }
  } else {
    const SampleTimes times = readSampleTimes(c);
    const std::uint32_t flags = c.u32();
    const std::uint32_t count = c.u32();
    const std::size_t valueBytes = prsValueBytes(flags);
    if (valueBytes == 0 ? count > kMaxBareKeys : count > c.remaining() / valueBytes) c.damaged();
    addSampledKeys(
        times, count,
        [&] {
          c.prsParts(value, flags);
          return value;
        },
        [&](float time, const PRS& prs) { controller->addKey(KeyPRS{time, prs}); });
  }
  controller->sortKeys();
  scene->controllers.push_back(controller.release());
}

void VXKSceneLoader::readFloatAnimation(std::uint16_t version, Chunk& c) {
  // Any object with control fields; buffers, textures without animation and
  // loaders have none.
  auto* target = dynamic_cast<Preparable*>(existing(c.u32()));
  if (target == nullptr) return;
  const std::string field = c.string();
  auto controller = std::make_unique<KeyframeFloatController>(target, field.c_str(), looping);
  if (version >= kDeltaKeysVersion) {
    const std::uint32_t count = c.u32();
    std::uint32_t time = VxkTimeToUnsigned(animOffset);
    for (std::uint32_t k = 0; k < count; ++k) {
      time = nextKeyTime(c, time);
      controller->addKey(KeyFloat{float(time), c.f32()});
    }
  } else {
    const SampleTimes times = readSampleTimes(c);
    const std::uint32_t count = c.u32();
    c.need(std::uint64_t(count) * 4);
    addSampledKeys(
        times, count, [&] { return c.f32(); },
        [&](float time, float value) { controller->addKey(KeyFloat{time, value}); });
  }
  controller->sortKeys();
  scene->controllers.push_back(controller.release());
}

void VXKSceneLoader::readVertexAnimation(Chunk& c) {
  auto* target = dynamic_cast<MultiVertexBuffer*>(existing(c.u32()));
  if (target == nullptr) return;  // a single-frame buffer has nothing to morph between
  auto controller = std::make_unique<VertexController>(target);
  controller->looping = looping;
  scaleTime(c.u32());  // a time the tools store and nothing uses
  controller->loopLength = scaleTime(c.u32());
  controller->startTime = scaleTime(c.u32());
  controller->endTime = scaleTime(c.u32());
  scene->controllers.push_back(controller.release());
}

void VXKSceneLoader::readSprite(std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  auto* node = dynamic_cast<Group*>(existing(c.u32()));
  if (node == nullptr) return;
  auto* sprite = new Sprite(mapId(objectId), scene);
  node->sprite = sprite;
  sprite->textureRef.reset(mapRef(c.u32()));
  sprite->size = c.f32();
  sprite->drawnInGlowPass = c.u8() != 0;
  sprite->blendMode = version >= kSpriteBlendVersion ? c.u8() : 0;
}

void VXKSceneLoader::readCloud(std::uint16_t version, std::uint32_t objectId, Chunk& c) {
  auto* node = dynamic_cast<Group*>(existing(c.u32()));
  if (node == nullptr) return;
  auto* cloud = new SpriteCloud(mapId(objectId), scene);
  node->sprite = cloud;
  for (float& half : cloud->halfExtent) half = c.f32() * 0.5f;  // the file stores full extents
  cloud->count = c.u32();
  cloud->concentration = c.f32();
  cloud->size = c.f32();
  cloud->sizeFalloff = c.f32();
  cloud->brightness = c.f32();
  cloud->brightnessFalloff = c.f32();
  cloud->textureRef.reset(mapRef(c.u32()));
  cloud->drawnInGlowPass = c.u8() == 0;  // the opposite of the sprite record's byte
  cloud->blendMode = version >= kSpriteBlendVersion ? c.u8() : 0;
}
