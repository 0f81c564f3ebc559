#include "scene/VxkWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vxk {

namespace {

template <class T>
T at(const std::vector<T>& values, std::size_t i) {
  return i < values.size() ? values[i] : T{};
}

// The components of a key that the flags select, in file order.
void prsParts(VxkPayload& p, std::uint32_t flags, const PRS& prs) {
  if (flags & kKeyPosition) p.f32(prs.position.x).f32(prs.position.y).f32(prs.position.z);
  if (flags & kKeyRotation) p.f32(prs.rotation.x).f32(prs.rotation.y).f32(prs.rotation.z).f32(prs.rotation.w);
  if (flags & kKeyScale) p.f32(prs.scale.x).f32(prs.scale.y).f32(prs.scale.z);
}

// New-layout time: a byte, or kLongDelta and a u32 for deltas of 255 and up.
void keyDelta(VxkPayload& p, std::uint32_t delta) {
  if (delta < kLongDelta) {
    p.u8(static_cast<std::uint8_t>(delta));
  } else {
    p.u8(kLongDelta).u32(delta);
  }
}

void sampleRange(VxkPayload& p, const SampleRange& r) {
  p.u32(r.rangeStart).u32(r.rangeEnd).u32(r.firstSample).u32(r.lastSample);
}

}  // namespace

VxkPayload& VxkPayload::u8(std::uint8_t v) {
  m_bytes.push_back(v);
  return *this;
}

VxkPayload& VxkPayload::u16(std::uint16_t v) {
  m_bytes.push_back(static_cast<std::uint8_t>(v));
  m_bytes.push_back(static_cast<std::uint8_t>(v >> 8));
  return *this;
}

VxkPayload& VxkPayload::u32(std::uint32_t v) {
  for (int shift = 0; shift < 32; shift += 8) m_bytes.push_back(static_cast<std::uint8_t>(v >> shift));
  return *this;
}

VxkPayload& VxkPayload::f32(float v) {
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return u32(bits);
}

VxkPayload& VxkPayload::string(const std::string& text) {
  const std::size_t length = text.size() < 0xFFFF ? text.size() : 0xFFFF;
  u16(static_cast<std::uint16_t>(length));
  m_bytes.insert(m_bytes.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
  return *this;
}

VxkPayload& VxkPayload::prs(const PRS& prs) {
  prsParts(*this, kKeyPosition | kKeyRotation | kKeyScale, prs);
  return *this;
}

VxkWriter& VxkWriter::chunk(std::uint16_t type, std::uint16_t version, std::uint32_t id, const VxkPayload& payload) {
  const auto& bytes = payload.bytes();
  return rawChunk(type, version, id, bytes);
}

VxkWriter& VxkWriter::rawHeader(std::uint16_t type, std::uint16_t version, std::uint32_t id, std::uint32_t length) {
  VxkPayload header;
  header.u16(type).u16(version).u32(id).u32(length);
  return raw(header.bytes());
}

VxkWriter& VxkWriter::rawChunk(std::uint16_t type, std::uint16_t version, std::uint32_t id,
                               const std::vector<std::uint8_t>& payload) {
  rawHeader(type, version, id, static_cast<std::uint32_t>(payload.size()));
  return raw(payload);
}

VxkWriter& VxkWriter::raw(const std::vector<std::uint8_t>& bytes) {
  m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
  return *this;
}

void VxkWriter::nodeRecord(VxkPayload& p, std::uint16_t type, std::uint16_t version, const NodeRecord& node) {
  p.i32(node.parentId).string(node.name).prs(node.prs).string(node.configText);
  p.u8(node.flag1 ? 1 : 0).u8(node.flag2 ? 1 : 0);
  if (nodeHasVisibility(type, version)) p.f32(node.visibility);
  if (nodeHasMeshId(type, version)) p.u32(node.meshId);
}

VxkWriter& VxkWriter::ambient(std::uint32_t argb) {
  VxkPayload p;
  p.color(argb);
  return chunk(kChunkAmbient, 1, kNoId, p);
}

VxkWriter& VxkWriter::group(std::uint32_t id, const NodeRecord& node, std::uint16_t version) {
  VxkPayload p;
  nodeRecord(p, kChunkGroup, version, node);
  return chunk(kChunkGroup, version, id, p);
}

VxkWriter& VxkWriter::camera(std::uint32_t id, const CameraRecord& camera, std::uint16_t version) {
  VxkPayload p;
  nodeRecord(p, kChunkCamera, version, camera.node);
  p.f32(camera.fov).f32(camera.nearClip).f32(camera.farClip);
  if (version >= kCameraActivationVersion) {
    p.u32(static_cast<std::uint32_t>(camera.activationTimes.size()));
    if (!camera.activationTimes.empty()) {
      for (std::uint32_t t : camera.activationTimes) p.u32(t);
      p.u32(camera.unusedTime).u32(camera.loopLength);
    }
  }
  if (version >= kCameraFogVersion) p.u8(camera.fogEnabled ? 1 : 0).color(camera.fogColor);
  return chunk(kChunkCamera, version, id, p);
}

VxkWriter& VxkWriter::light(std::uint32_t id, const LightRecord& light, std::uint16_t version) {
  VxkPayload p;
  nodeRecord(p, kChunkLight, version, light.node);
  p.u8(light.type).color(light.color).f32(light.intensity);
  p.f32(light.attenuation[0]).f32(light.attenuation[1]).f32(light.attenuation[2]);
  p.f32(light.range).f32(light.hotspot).f32(light.falloffAngle);
  p.u8(light.shadowFlag ? 1 : 0).color(light.shadowColor);
  return chunk(kChunkLight, version, id, p);
}

VxkWriter& VxkWriter::mesh(std::uint32_t id, const MeshRecord& mesh, std::uint16_t version) {
  VxkPayload p;
  p.u32(mesh.nodeId).string(mesh.name).u32(mesh.vertexBufferId).u32(mesh.indexBufferId);
  const std::size_t count = mesh.submeshes.size() < 0xFFFF ? mesh.submeshes.size() : 0xFFFF;
  p.u16(static_cast<std::uint16_t>(count));
  for (std::size_t i = 0; i < count; ++i) {
    const SubMeshRecord& s = mesh.submeshes[i];
    p.u32(s.firstTriangle).u32(s.materialId).u32(s.startIndex).u32(s.indexCount).u8(0);
  }
  return chunk(kChunkMesh, version, id, p);
}

VxkWriter& VxkWriter::vertices(std::uint32_t id, const VertexRecord& v, std::uint16_t version) {
  VxkPayload p;
  p.u32(static_cast<std::uint32_t>(v.frames.size())).u32(v.attributeFlags).u16(0).u32(v.vertexCount);
  for (std::size_t f = 0; f < v.frames.size(); ++f) {
    for (std::size_t i = 0; i < v.vertexCount; ++i) {
      for (std::size_t k = 0; k < 3; ++k) p.f32(at(v.frames[f], i * 3 + k));
      if (f != 0) continue;
      if (v.attributeFlags & kVertexNormal)
        for (std::size_t k = 0; k < 3; ++k) p.f32(at(v.normals, i * 3 + k));
      if (v.attributeFlags & kVertexUv1) p.f32(at(v.uv1, i * 2)).f32(at(v.uv1, i * 2 + 1));
      if (v.attributeFlags & kVertexUv2) p.f32(at(v.uv2, i * 2)).f32(at(v.uv2, i * 2 + 1));
      if (v.attributeFlags & kVertexSmoothingKey) p.u32(at(v.smoothingKeys, i));
    }
  }
  return chunk(kChunkVertices, version, id, p);
}

VxkWriter& VxkWriter::indices(std::uint32_t id, const std::vector<std::uint32_t>& indices, std::uint16_t version) {
  VxkPayload p;
  p.u32(static_cast<std::uint32_t>(indices.size()));
  for (std::uint32_t index : indices) p.u32(index);
  return chunk(kChunkIndices, version, id, p);
}

VxkWriter& VxkWriter::material(std::uint32_t id, const MaterialRecord& m, std::uint16_t version) {
  VxkPayload p;
  p.color(m.diffuseColor).color(m.specularColor).color(m.ambientColor).color(m.emissiveColor);
  p.f32(m.specularLevel).f32(m.secondLevel).u8(m.blendMode).f32(m.opacity);
  p.u32(m.diffuseMap).u32(m.sphereMap).u32(m.lightMap).u32(m.specularMap);
  if (version >= kMaterialModulateVersion) p.u32(m.modulateMap);
  if (version >= kMaterialNormalVersion) p.u32(m.normalMap);
  return chunk(kChunkMaterial, version, id, p);
}

VxkWriter& VxkWriter::texture(std::uint32_t id, const std::string& fileName, std::uint16_t version) {
  VxkPayload p;
  p.string(fileName);
  return chunk(kChunkTexture, version, id, p);
}

VxkWriter& VxkWriter::prsAnimation(const PRSAnimationRecord& a, std::uint16_t version) {
  VxkPayload p;
  p.u32(a.targetId);
  if (version >= kDeltaKeysVersion) {
    p.u32(a.componentFlags).u32(static_cast<std::uint32_t>(a.times.size()));
    std::uint32_t previous = 0;
    for (std::size_t k = 0; k < a.times.size(); ++k) {
      keyDelta(p, a.times[k] - previous);
      previous = a.times[k];
      prsParts(p, a.componentFlags, at(a.values, k));
    }
  } else {
    sampleRange(p, a.range);
    p.u32(a.componentFlags).u32(static_cast<std::uint32_t>(a.values.size()));
    for (const PRS& value : a.values) prsParts(p, a.componentFlags, value);
  }
  return chunk(kChunkPRSAnimation, version, kNoId, p);
}

VxkWriter& VxkWriter::floatAnimation(const FloatAnimationRecord& a, std::uint16_t version) {
  VxkPayload p;
  p.u32(a.targetId).string(a.fieldName);
  if (version >= kDeltaKeysVersion) {
    p.u32(static_cast<std::uint32_t>(a.times.size()));
    std::uint32_t previous = 0;
    for (std::size_t k = 0; k < a.times.size(); ++k) {
      keyDelta(p, a.times[k] - previous);
      previous = a.times[k];
      p.f32(at(a.values, k));
    }
  } else {
    sampleRange(p, a.range);
    p.u32(static_cast<std::uint32_t>(a.values.size()));
    for (float value : a.values) p.f32(value);
  }
  return chunk(kChunkFloatAnimation, version, kNoId, p);
}

VxkWriter& VxkWriter::vertexAnimation(const VertexAnimationRecord& a, std::uint16_t version) {
  VxkPayload p;
  p.u32(a.targetId).u32(a.unusedTime).u32(a.loopLength).u32(a.startTime).u32(a.endTime);
  return chunk(kChunkVertexAnimation, version, kNoId, p);
}

VxkWriter& VxkWriter::sprite(std::uint32_t id, const SpriteRecord& s, std::uint16_t version) {
  VxkPayload p;
  p.u32(s.nodeId).u32(s.textureId).f32(s.size).u8(s.drawnInGlowPass ? 1 : 0);
  if (version >= kSpriteBlendVersion) p.u8(s.blendMode);
  return chunk(kChunkSprite, version, id, p);
}

VxkWriter& VxkWriter::cloud(std::uint32_t id, const CloudRecord& c, std::uint16_t version) {
  VxkPayload p;
  p.u32(c.nodeId).f32(c.extent[0]).f32(c.extent[1]).f32(c.extent[2]).u32(c.count);
  p.f32(c.concentration).f32(c.size).f32(c.sizeFalloff).f32(c.brightness).f32(c.brightnessFalloff);
  p.u32(c.textureId).u8(c.drawnInGlowPass ? 0 : 1);
  if (version >= kSpriteBlendVersion) p.u8(c.blendMode);
  return chunk(kChunkCloud, version, id, p);
}

bool VxkWriter::writeFile(const std::string& path, std::string* error) const {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    if (error) *error = path + ": " + std::strerror(errno);
    return false;
  }
  const bool written = std::fwrite(m_bytes.data(), 1, m_bytes.size(), file) == m_bytes.size();
  const int savedErrno = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) {
    if (error) *error = path + ": " + std::strerror(written ? errno : savedErrno);
    return false;
  }
  return true;
}

}  // namespace vxk
