#pragma once
// Scanning of GLSL texts without a driver: the OpenGL back end reads the
// system's stages with it, and D3DX's compile analyses sources with it. No
// preprocessing: comments and # lines are skipped, macros are not expanded.
#include <cstddef>
#include <string>
#include <vector>

struct GlslToken {
  std::string text;     // an identifier or number, or one punctuation character
  std::size_t offset;   // into the source
};
std::vector<GlslToken> tokenizeGlsl(const std::string& source);

// An interpolator a stage declares ("vec4", "TEXCOORD0").
struct ShaderVarying {
  std::string type;
  std::string name;
};
// Global declarations `in|out float|vec2|vec3|vec4 NAME;` (qualifiers such
// as layout(...) or flat in front are allowed), in source order.
std::vector<ShaderVarying> declaredVaryings(const std::string& source, const char* direction);
// Whether the identifier appears in the source outside comments.
bool mentionsIdentifier(const std::string& source, const std::string& name);
