#pragma once
// The compact key of a generated fixed-function program: exactly the state
// that changes the GLSL text (never a value that a uniform carries). Two draws
// with equal keys share one program. Every field is a byte so the key can be
// compared and hashed as raw memory; build it with FfpKey{} (all zero) so the
// padding is zero too.
#include "platform/gfx/D3D9Constants.h"
#include "platform/gfx/GlslScan.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

struct FfpStageKey {
  std::uint8_t colorOp = 0;  // D3DTOP_*; the chain ends at the first DISABLE
  std::uint8_t colorArg[3] = {};  // D3DTA_* of ARG0, ARG1, ARG2 (selector | modifiers)
  std::uint8_t alphaOp = 0;
  std::uint8_t alphaArg[3] = {};
  std::uint8_t texture = 0;     // kNoTexture, kTexture2D, kTextureCube
  std::uint8_t coordIndex = 0;  // texture coordinate set 0..7
  std::uint8_t coordGen = 0;    // D3DTSS_TCI_* >> 16
  std::uint8_t transform = 0;   // D3DTTFF count 0..4, | kProjected
  std::uint8_t resultTemp = 0;  // RESULTARG is TEMP
  std::uint8_t pad[3] = {};
};

struct FfpKey {
  static constexpr std::uint8_t kNoTexture = 0;
  static constexpr std::uint8_t kTexture2D = 1;
  static constexpr std::uint8_t kTextureCube = 2;
  static constexpr std::uint8_t kProjected = 0x80;
  static constexpr int kMaxLights = 8;
  static constexpr int kMaxStages = 8;

  // Vertex layout.
  std::uint8_t transformed = 0;  // positions are XYZRHW screen coordinates
  std::uint8_t hasNormal = 0;
  std::uint8_t hasDiffuse = 0;
  std::uint8_t hasSpecular = 0;
  std::uint8_t hasPointSize = 0;
  std::uint8_t texCoordSize[8] = {};  // floats per set, 0 = the vertex lacks the set

  // Vertex processing.
  std::uint8_t lighting = 0;
  std::uint8_t localViewer = 0;
  std::uint8_t normalizeNormals = 0;
  // Effective material sources (D3DMCS_*): already MATERIAL where COLORVERTEX
  // is off or the vertex lacks that colour.
  std::uint8_t diffuseSource = 0;
  std::uint8_t specularSource = 0;
  std::uint8_t ambientSource = 0;
  std::uint8_t emissiveSource = 0;
  std::uint8_t lightCount = 0;  // enabled lights, in index order
  std::uint8_t lightTypes[kMaxLights] = {};  // D3DLIGHT_*
  std::uint8_t fogMode = 0;      // D3DFOG_* in use (0 = fog off)
  std::uint8_t pointScale = 0;
  std::uint8_t pointSprite = 0;
  // Drawn as points (a point list, or FILLMODE POINT): only then does the
  // vertex program write gl_PointSize; a triangle draw would carry the size
  // through the rasteriser for nothing.
  std::uint8_t points = 0;

  // Pixel processing.
  std::uint8_t specularEnable = 0;
  std::uint8_t alphaFunc = 0;    // D3DCMP_*; 0 = alpha test off
  std::uint8_t stageCount = 0;   // stages before the first COLOROP DISABLE
  std::uint8_t pad = 0;
  FfpStageKey stages[kMaxStages];

  bool operator==(const FfpKey& other) const { return std::memcmp(this, &other, sizeof *this) == 0; }
};


// Which of ARG0, ARG1 and ARG2 (bits 0, 1, 2) a D3DTOP_* operation reads:
// SELECTARG1 reads only ARG1, SELECTARG2 only ARG2, MULTIPLYADD and LERP all
// three, DISABLE none, every other operation ARG1 and ARG2.
inline unsigned ffpArgumentsUsed(std::uint8_t op) {
  switch (op) {
    case D3DTOP_DISABLE: return 0;
    case D3DTOP_SELECTARG1: return 2;
    case D3DTOP_SELECTARG2: return 4;
    case D3DTOP_MULTIPLYADD: case D3DTOP_LERP: return 7;
    default: return 6;
  }
}

// Whether an operation with these ARG0..ARG2 reads the stage's texture: as
// an argument it uses, or by itself (the texture-alpha blends, and the bump
// operations, whose map is the stage's texture).
inline bool ffpReadsTexture(std::uint8_t op, const std::uint8_t args[3]) {
  switch (op) {
    case D3DTOP_BLENDTEXTUREALPHA: case D3DTOP_BLENDTEXTUREALPHAPM: case D3DTOP_BUMPENVMAP:
    case D3DTOP_BUMPENVMAPLUMINANCE:
      return true;
    default: break;
  }
  const unsigned used = ffpArgumentsUsed(op);
  for (int i = 0; i < 3; ++i)
    if ((used >> i & 1) && (args[i] & D3DTA_SELECTMASK) == D3DTA_TEXTURE) return true;
  return false;
}

struct FfpKeyHash {
  std::size_t operator()(const FfpKey& key) const {
    // FNV-1a over the bytes; keys are a few hundred bytes at most.
    const auto* bytes = reinterpret_cast<const unsigned char*>(&key);
    std::uint64_t hash = 1469598103934665603ull;
    for (std::size_t i = 0; i < sizeof key; ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
    return static_cast<std::size_t>(hash);
  }
};

// The GLSL of the program for a key. Uniform names are listed in
// FfpProgram.h; attribute names in GlProgram.h.
struct FfpSources {
  std::string vertex;
  std::string fragment;
};
FfpSources generateFfpSources(const FfpKey& key);

// The fixed-function pixel stages behind a vertex program of the system's
// own: stage i reads TEXCOORDn (n its TEXCOORDINDEX set), COLOR0, COLOR1 and
// FOG from the outputs that program declares.
std::string generateFfpFragment(const FfpKey& key, const std::vector<ShaderVarying>& vertexOutputs);
