#pragma once
// The VXK scene file: a flat run of chunks from the first byte to the last,
// no file header. Every chunk is a 12-byte header (little-endian) followed by
// its payload:
//
//   offset 0  u16 type       kChunk* below
//   offset 2  u16 version    layout version of the payload
//   offset 4  u32 objectId   file id of the object the chunk creates
//   offset 8  u32 length     payload bytes that follow
//
// Payload conventions: strings are a u16 length and that many bytes (no
// terminator); colours are u32 ARGB (alpha in bits 24-31) that become four
// floats r, g, b, a of channel × kColorScale; ids are u32 file ids, local to
// one file, with kNoId for "none"; times are u32 ms, scaled and shifted by
// the loader (time × animScale + animOffset, truncated).
#include <cstddef>
#include <cstdint>

namespace vxk {

constexpr std::uint16_t kChunkAmbient = 1;           // scene ambient colour
constexpr std::uint16_t kChunkGroup = 2;             // node record
constexpr std::uint16_t kChunkMesh = 3;              // mesh record with its submeshes
constexpr std::uint16_t kChunkCamera = 4;            // node record + camera fields
constexpr std::uint16_t kChunkLight = 5;             // node record + light fields
constexpr std::uint16_t kChunkVertices = 6;          // vertex record (one or more position frames)
constexpr std::uint16_t kChunkIndices = 7;           // index record
constexpr std::uint16_t kChunkMaterial = 8;          // material record
constexpr std::uint16_t kChunkTexture = 9;           // texture file name
constexpr std::uint16_t kChunkPRSAnimation = 10;     // keyframed node transform
constexpr std::uint16_t kChunkVertexAnimation = 11;  // vertex-frame animation times
constexpr std::uint16_t kChunkFloatAnimation = 12;   // keyframed control field
constexpr std::uint16_t kChunkSprite = 13;           // sprite record
constexpr std::uint16_t kChunkCloud = 14;            // particle cloud record
constexpr std::uint16_t kFirstChunkType = kChunkAmbient;
constexpr std::uint16_t kLastChunkType = kChunkCloud;

// Byte offsets of the chunk header.
constexpr std::size_t kChunkTypeOffset = 0;
constexpr std::size_t kChunkVersionOffset = 2;
constexpr std::size_t kChunkObjectIdOffset = 4;
constexpr std::size_t kChunkLengthOffset = 8;
constexpr std::size_t kChunkHeaderSize = 12;

// "No object" in id fields (and parent id -1 in node records).
constexpr std::uint32_t kNoId = 0xFFFFFFFFu;

// 1/255 as the single-precision constant the colour conversion uses.
constexpr float kColorScale = 0.003921569f;

// Per-vertex attributes of the vertex record (frame 0 only), in file order
// after the position. Bit 0x02 is defined by the tools but carries nothing.
constexpr std::uint32_t kVertexNormal = 0x01;        // 3 floats
constexpr std::uint32_t kVertexReserved = 0x02;      // no data
constexpr std::uint32_t kVertexUv1 = 0x04;           // 2 floats
constexpr std::uint32_t kVertexUv2 = 0x08;           // 2 floats
constexpr std::uint32_t kVertexSmoothingKey = 0x10;  // u32

// Parts of a PRS key present in a transform animation, in file order.
constexpr std::uint32_t kKeyPosition = 0x01;  // 3 floats
constexpr std::uint32_t kKeyRotation = 0x02;  // 4 floats, quaternion x y z w
constexpr std::uint32_t kKeyScale = 0x04;     // 3 floats

// New-layout key times are deltas; this byte value says a u32 delta follows.
constexpr std::uint8_t kLongDelta = 255;

// Animation chunks (types 10 and 12) of this version and later store their
// keys as time deltas; earlier ones as evenly spaced samples over a range.
constexpr std::uint16_t kDeltaKeysVersion = 2;

// The node record (types 2, 4, 5) grew two optional fields; from which chunk
// version on each is present depends on the node type.
constexpr bool nodeHasVisibility(std::uint16_t type, std::uint16_t version) {
  return type == kChunkCamera ? version >= 3 : version >= 2;
}
constexpr bool nodeHasMeshId(std::uint16_t type, std::uint16_t version) {
  return type == kChunkCamera ? version >= 5 : version >= 3;
}

// Versions that add fields to other records.
constexpr std::uint16_t kCameraActivationVersion = 2;  // activation times
constexpr std::uint16_t kCameraFogVersion = 4;         // fog flag and colour
constexpr std::uint16_t kMaterialModulateVersion = 2;  // modulate map id
constexpr std::uint16_t kMaterialNormalVersion = 3;    // normal map id
constexpr std::uint16_t kSpriteBlendVersion = 2;       // blend mode byte (sprites and clouds)

// The highest version of each chunk type that carries a field the loader
// reads (writers default to these).
constexpr std::uint16_t kGroupVersion = 3;
constexpr std::uint16_t kCameraVersion = 5;
constexpr std::uint16_t kLightVersion = 3;
constexpr std::uint16_t kMaterialVersion = 3;
constexpr std::uint16_t kAnimationVersion = 2;
constexpr std::uint16_t kSpriteVersion = 2;

}  // namespace vxk
