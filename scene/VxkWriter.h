#pragma once
// Builds VXK scene files chunk by chunk: every chunk type in every layout
// version the loader reads. Used by the loader's tests, the fuzz corpus and
// the model converter.
//
//   VxkWriter w;
//   w.ambient(0xFF202020);
//   w.group(1, NodeRecord{.name = "root"});
//   w.writeFile("scene.vxk");
//
// Records are plain structs named after the fields the chunks fill. Ids are
// file ids (kNoId = none). The writer writes what it is given: version
// switches decide which fields go out, and arrays shorter than the counts
// they describe are padded with zeros. rawChunk and raw make damaged files.
#include "scene/PRS.h"
#include "scene/VxkFormat.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vxk {

// The fields shared by groups, cameras and lights.
struct NodeRecord {
  std::int32_t parentId = -1;  // file id; -1: the loader's parent (top level: the scene root)
  std::string name{};
  PRS prs{};
  std::string configText{};      // "key = value" lines
  bool flag1 = false;
  bool flag2 = false;
  float visibility = 1.0f;     // written from the type's visibility version on
  std::uint32_t meshId = kNoId;  // written from the type's mesh-id version on
};

struct CameraRecord {
  NodeRecord node{};
  float fov = 0.7853982f;      // vertical, radians
  float nearClip = 1.0f;
  float farClip = 1000.0f;
  std::vector<std::uint32_t> activationTimes{};  // ms, written in this order; none: no activator
  std::uint32_t unusedTime = 0;                // ms; kept by the activator, never used
  std::uint32_t loopLength = 0;                // ms
  bool fogEnabled = false;
  std::uint32_t fogColor = 0xFF000000u;        // ARGB
};

struct LightRecord {
  NodeRecord node{};
  std::uint8_t type = 1;                       // 1 point, 2 spot, 3 directional
  std::uint32_t color = 0xFFFFFFFFu;           // ARGB
  float intensity = 1.0f;
  float attenuation[3] = {1.0f, 0.0f, 0.0f};
  float range = 1000.0f;
  float hotspot = 30.0f;                       // degrees
  float falloffAngle = 45.0f;                  // degrees
  bool shadowFlag = false;
  std::uint32_t shadowColor = 0;               // ARGB
};

struct SubMeshRecord {
  std::uint32_t firstTriangle = 0;
  std::uint32_t materialId = kNoId;
  std::uint32_t startIndex = 0;
  std::uint32_t indexCount = 0;
};

struct MeshRecord {
  std::uint32_t nodeId = kNoId;  // the owning node, created by an earlier chunk
  std::string name{};
  std::uint32_t vertexBufferId = kNoId;
  std::uint32_t indexBufferId = kNoId;
  std::vector<SubMeshRecord> submeshes{};  // at most 65535
};

struct VertexRecord {
  std::uint32_t attributeFlags = 0;    // kVertex* bits
  std::uint32_t vertexCount = 0;
  // One entry per frame (the frame count): vertexCount × 3 position floats.
  // One frame makes a plain vertex buffer, any other count a multi-frame one.
  std::vector<std::vector<float>> frames{};
  std::vector<float> normals{};          // vertexCount × 3, with kVertexNormal
  std::vector<float> uv1{};              // vertexCount × 2, with kVertexUv1
  std::vector<float> uv2{};              // vertexCount × 2, with kVertexUv2
  std::vector<std::uint32_t> smoothingKeys{};  // vertexCount, with kVertexSmoothingKey
};

struct MaterialRecord {
  std::uint32_t diffuseColor = 0xFFFFFFFFu;   // ARGB
  std::uint32_t specularColor = 0xFFFFFFFFu;
  std::uint32_t ambientColor = 0xFF000000u;
  std::uint32_t emissiveColor = 0xFF000000u;  // red channel = self-illumination
  float specularLevel = 0.0f;
  float secondLevel = 0.0f;
  std::uint8_t blendMode = 0;
  float opacity = 1.0f;
  std::uint32_t diffuseMap = kNoId;
  std::uint32_t sphereMap = kNoId;
  std::uint32_t lightMap = kNoId;
  std::uint32_t specularMap = kNoId;
  std::uint32_t modulateMap = kNoId;          // from version 2
  std::uint32_t normalMap = kNoId;            // from version 3
};

// The old key layout: samples evenly spaced from firstSample to lastSample,
// with extra keys at the range ends when these differ from the samples'.
struct SampleRange {
  std::uint32_t rangeStart = 0;   // ms
  std::uint32_t rangeEnd = 0;
  std::uint32_t firstSample = 0;
  std::uint32_t lastSample = 0;
};

struct PRSAnimationRecord {
  std::uint32_t targetId = kNoId;        // a node created by an earlier chunk
  std::uint32_t componentFlags = kKeyPosition | kKeyRotation | kKeyScale;
  std::vector<std::uint32_t> times{};      // new layout: absolute ms, ascending (written as deltas)
  std::vector<PRS> values{};               // one per key or sample; only the flagged parts are written
  SampleRange range{};                     // old layout: the sample times
};

struct FloatAnimationRecord {
  std::uint32_t targetId = kNoId;
  std::string fieldName{};                 // control field, e.g. "VISTRACK"
  std::vector<std::uint32_t> times{};      // new layout: absolute ms, ascending
  std::vector<float> values{};
  SampleRange range{};                     // old layout
};

struct VertexAnimationRecord {
  std::uint32_t targetId = kNoId;        // a multi-frame vertex buffer
  std::uint32_t unusedTime = 0;          // ms, all four scaled and shifted by the loader
  std::uint32_t loopLength = 0;
  std::uint32_t startTime = 0;
  std::uint32_t endTime = 0;
};

struct SpriteRecord {
  std::uint32_t nodeId = kNoId;
  std::uint32_t textureId = kNoId;
  float size = 1.0f;
  bool drawnInGlowPass = false;          // written as 1 for true
  std::uint8_t blendMode = 0;            // from version 2
};

struct CloudRecord {
  std::uint32_t nodeId = kNoId;
  float extent[3] = {1.0f, 1.0f, 1.0f};  // full extents; the loader halves them
  std::uint32_t count = 0;
  float concentration = 0.0f;
  float size = 1.0f;
  float sizeFalloff = 0.0f;
  float brightness = 1.0f;
  float brightnessFalloff = 0.0f;
  std::uint32_t textureId = kNoId;
  bool drawnInGlowPass = false;          // written as 0 for true (the opposite of a sprite)
  std::uint8_t blendMode = 0;            // from version 2
};

// Little-endian payload bytes, field by field.
class VxkPayload {
 public:
  VxkPayload& u8(std::uint8_t v);
  VxkPayload& u16(std::uint16_t v);
  VxkPayload& u32(std::uint32_t v);
  VxkPayload& i32(std::int32_t v) { return u32(static_cast<std::uint32_t>(v)); }
  VxkPayload& f32(float v);
  VxkPayload& string(const std::string& text);  // u16 length + bytes; longer texts are cut at 65535
  VxkPayload& color(std::uint32_t argb) { return u32(argb); }
  VxkPayload& prs(const PRS& prs);               // 10 floats
  const std::vector<std::uint8_t>& bytes() const { return m_bytes; }

 private:
  std::vector<std::uint8_t> m_bytes;
};

class VxkWriter {
 public:
  VxkWriter& ambient(std::uint32_t argb);
  VxkWriter& group(std::uint32_t id, const NodeRecord& node, std::uint16_t version = kGroupVersion);
  VxkWriter& camera(std::uint32_t id, const CameraRecord& camera, std::uint16_t version = kCameraVersion);
  VxkWriter& light(std::uint32_t id, const LightRecord& light, std::uint16_t version = kLightVersion);
  VxkWriter& mesh(std::uint32_t id, const MeshRecord& mesh, std::uint16_t version = 1);
  VxkWriter& vertices(std::uint32_t id, const VertexRecord& vertices, std::uint16_t version = 1);
  VxkWriter& indices(std::uint32_t id, const std::vector<std::uint32_t>& indices, std::uint16_t version = 1);
  VxkWriter& material(std::uint32_t id, const MaterialRecord& material, std::uint16_t version = kMaterialVersion);
  VxkWriter& texture(std::uint32_t id, const std::string& fileName, std::uint16_t version = 1);
  // Animation chunks create no object; their header id is written as kNoId.
  // Version kDeltaKeysVersion and up: times and values; below: range and values.
  VxkWriter& prsAnimation(const PRSAnimationRecord& animation, std::uint16_t version = kAnimationVersion);
  VxkWriter& floatAnimation(const FloatAnimationRecord& animation, std::uint16_t version = kAnimationVersion);
  VxkWriter& vertexAnimation(const VertexAnimationRecord& animation, std::uint16_t version = 1);
  VxkWriter& sprite(std::uint32_t id, const SpriteRecord& sprite, std::uint16_t version = kSpriteVersion);
  VxkWriter& cloud(std::uint32_t id, const CloudRecord& cloud, std::uint16_t version = kSpriteVersion);

  // A chunk with any header and payload; length = the payload's size.
  VxkWriter& rawChunk(std::uint16_t type, std::uint16_t version, std::uint32_t id,
                      const std::vector<std::uint8_t>& payload);
  // A chunk header with a length of its own, no payload (the bytes that
  // follow are the next chunk's, or the end of the file).
  VxkWriter& rawHeader(std::uint16_t type, std::uint16_t version, std::uint32_t id, std::uint32_t length);
  // Bytes appended as they are.
  VxkWriter& raw(const std::vector<std::uint8_t>& bytes);

  const std::vector<std::uint8_t>& bytes() const { return m_bytes; }
  // Writes (replacing) the file; false with *error ("path: reason").
  bool writeFile(const std::string& path, std::string* error = nullptr) const;

 private:
  VxkWriter& chunk(std::uint16_t type, std::uint16_t version, std::uint32_t id, const VxkPayload& payload);
  static void nodeRecord(VxkPayload& p, std::uint16_t type, std::uint16_t version, const NodeRecord& node);

  std::vector<std::uint8_t> m_bytes;
};

}  // namespace vxk
