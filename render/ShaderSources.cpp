#include "render/ShaderSources.h"

// Conventions shared by the three texts:
// - Matrices arrive as Direct3D row-vector matrices (v' = v x M); the device
//   hands GLSL their transpose, so `M * v` computes v x M, and `mat3(M) * v`
//   is v times M's upper-left 3 x 3 (rotation and scale, no translation).
// - Vertex inputs sit at the device's attribute locations for their usage:
//   POSITION 0, NORMAL 1, COLOR0 2, PSIZE 4, TEXCOORDn 5 + n.
// - Interpolators are named after the registers they stood for (COLOR0,
//   TEXCOORDn, FOG) and matched by name between the stages. Each name has one
//   type in every entry point, so any vertex entry point links with any
//   pixel entry point that reads a subset of its outputs.
// - Samplers name their texture stage with layout(binding = N), which GLSL
//   3.30 has only through the 4.20 packing extension.
// - Shader model 1 rules are the device's, not repeated here: COLOR outputs
//   of a vertex stage are clamped to [0, 1] after the entry point returns,
//   pixel-stage constants are clamped to [-1, 1], the pixel output is
//   saturated, and FOG (1 = unfogged, 0 = the fog colour) drives the
//   fixed-function fog while D3DRS_FOGENABLE is on.

// Per-pixel lighting in tangent space. The light and half vectors leave the
// vertex stage unnormalised; the pixel stage normalises them by looking them
// up in the normalising cube map. Attenuation travels in COLOR0, so it is
// clamped to [0, 1] on the way: beyond the light's range (negative) and
// outside a spot cone it is 0.
const char* const LitVertexShaderSource = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 5) in vec2 uv1;       // diffuse texture coordinates
layout(location = 6) in vec2 uv2;       // normal-map coordinates
layout(location = 7) in vec3 tangent;   // stored negated by the vertex buffer
layout(location = 8) in vec3 binormal;  // stored negated by the vertex buffer

uniform mat4 WorldViewProj;     // semantic WORLDVIEWPROJ
uniform mat4 World;
uniform mat4 WorldAf;           // World without its translation
uniform mat4 WorldView;         // WorldAf x the inverse camera rotation
uniform vec4 LightPos;          // semantic LIGHTPOS; world space, w unused
uniform float InvLightRangeSq;  // 1 / range^2
uniform vec4 EyePos;            // semantic EYEPOS; world space, w unused
uniform vec4 LightDir;          // spot direction, world space, w unused
uniform float cosHotSpot;       // cos(hot-spot angle / 2)
uniform float FarClip;          // world units
uniform float IFarClip;         // 1 / (0.6 x FarClip): the fog ramp starts at 40 % of it
uniform float FogAtten;         // 1 leaves the lit passes unfaded; 0 fades by the fog factor

out float FOG;
out vec4 COLOR0;     // attenuation (environment pass: the fog ramp) in every channel
out vec2 TEXCOORD0;  // uv1 (environment pass: uv2)
out vec3 TEXCOORD1;  // uv2 in xy (environment pass: sphere-map row 0)
out vec3 TEXCOORD2;  // tangent-space light vector (environment pass: sphere-map row 1)
out vec3 TEXCOORD3;  // tangent-space half vector, not normalised

// Linear fog factor of a world-space point: 1 at 40 % of the far clip
// distance (more nearer), 0 at the far clip.
float fogRamp(vec3 p) {
  return (FarClip - length(EyePos.xyz - p)) * IFarClip;
}

// v in the frame whose rows are r0 = n x b, r1 = n x t, r2 = n.
vec3 toTangentSpace(vec3 v, vec3 n, vec3 t, vec3 b) {
  return vec3(dot(v, cross(n, b)), dot(v, cross(n, t)), dot(v, n));
}

void PPLVShader() {
  vec4 v = vec4(position, 1.0);
  gl_Position = WorldViewProj * v;
  vec3 p = (World * v).xyz;
  float fog = fogRamp(p);
  FOG = fog;

  // The frame through the world matrix without translation, unnormalised
  // (a scaled node scales the frame, as it always has).
  vec3 n = mat3(WorldAf) * normal;
  vec3 t = mat3(WorldAf) * tangent;
  vec3 b = mat3(WorldAf) * binormal;
  vec3 toLight = LightPos.xyz - p;
  vec3 l = normalize(toLight);
  vec3 e = normalize(EyePos.xyz - p);
  vec3 lightVector = toTangentSpace(l, n, t, b);
  vec3 eyeVector = toTangentSpace(e, n, t, b);

  TEXCOORD0 = uv1;
  TEXCOORD1 = vec3(uv2, 0.0);
  TEXCOORD2 = lightVector;
  TEXCOORD3 = (lightVector + eyeVector) * 0.5;

  float attenuation = 1.0 - dot(toLight, toLight) * InvLightRangeSq;
#ifdef Spot
  // A hard cone edge: a point exactly on it is lit, no fall-off inside.
  if (dot(-l, LightDir.xyz) < cosHotSpot) attenuation = 0.0;
#endif
  COLOR0 = vec4(attenuation * clamp(fog + FogAtten, 0.0, 1.0));
}

// Sphere mapping by the per-pixel view-space normal: the two rows turn the
// tangent-space normal of the map into (u, v) = 0.5 + 0.5 x (n_x, -n_z) of
// the normal in the camera's frame (x right, z up).
void PPLVShaderEnv() {
  vec4 v = vec4(position, 1.0);
  gl_Position = WorldViewProj * v;
  vec3 p = (World * v).xyz;
  FOG = 1.0;
  COLOR0 = vec4(fogRamp(p));

  vec3 n = mat3(WorldView) * normal;
  vec3 t = mat3(WorldView) * tangent;
  vec3 b = mat3(WorldView) * binormal;
  vec3 r0 = cross(n, b);
  vec3 r1 = cross(n, t);
  TEXCOORD0 = uv2;
  TEXCOORD1 = 0.5 * vec3(r0.x, r1.x, n.x) + vec3(0.0, 0.0, 0.5);
  TEXCOORD2 = -0.5 * vec3(r0.z, r1.z, n.z) + vec3(0.0, 0.0, 0.5);
}
)";

// Normals come from 8-bit textures, 0..255 for -1..1: N = 2 x (texel - 0.5).
// The cube maps hold the unit direction through each texel the same way.
const char* const LitPixelShaderSource = R"(#version 330 core
#extension GL_ARB_shading_language_420pack : require
in vec4 COLOR0;
in vec2 TEXCOORD0;
in vec3 TEXCOORD1;
in vec3 TEXCOORD2;
in vec3 TEXCOORD3;

uniform vec4 LightColor;
uniform vec4 ShadowColor;    // what a surface facing away from the light receives
uniform vec4 SpecularColor;  // already times the material's specular level
uniform vec4 AmbientColor;
uniform vec4 DiffuseColor;   // the material colour when it has no diffuse map
uniform float SpecularPower; // kept for the table's sake; the exponent is fixed at 16

layout(binding = 0) uniform sampler2D DiffuseSampler;
layout(binding = 1) uniform sampler2D NormalMapSampler;
layout(binding = 2) uniform samplerCube NormalizingCubeMap;
layout(binding = 3) uniform samplerCube NormalizingCubeMap2;
// The environment pass binds its own textures to stages 0 and 2.
layout(binding = 0) uniform sampler2D EnvNormalSampler;
layout(binding = 2) uniform sampler2D EnvSampler;

layout(location = 0) out vec4 color;

vec3 expand(vec3 texel) {
  return 2.0 * (texel - 0.5);
}

// Light plus the back-light shadow colour plus ambient, all four channels:
// k > 0 faces the light, k < 0 faces away from it.
vec4 lightOn(vec4 surface) {
  vec3 N = expand(texture(NormalMapSampler, TEXCOORD1.xy).rgb);
  vec3 L = expand(texture(NormalizingCubeMap, TEXCOORD2).rgb);
  vec4 k = dot(L, N) * COLOR0;
  return (clamp(k * LightColor, 0.0, 1.0) + clamp(-k * ShadowColor, 0.0, 1.0) + AmbientColor) * surface;
}

void PPLPShader() {
  color = lightOn(texture(DiffuseSampler, TEXCOORD0));
}

void PPLPShaderNoTex() {
  color = lightOn(DiffuseColor);
}

// s^16 of the normal with the half vector, as (s^4)^4. A normal facing away
// from the half vector gets the same highlight as one facing it.
void PPLPShaderSpecular() {
  vec3 N = expand(texture(NormalMapSampler, TEXCOORD1.xy).rgb);
  vec3 H = expand(texture(NormalizingCubeMap2, TEXCOORD3).rgb);
  float s = dot(H, N);
  float s4 = s * s * s * s;
  color = (s4 * s4 * s4 * s4) * SpecularColor * COLOR0;
}

void PPLPShaderEnv() {
  vec3 N = expand(texture(EnvNormalSampler, TEXCOORD0).rgb);
  vec2 uv = vec2(dot(N, TEXCOORD1), dot(N, TEXCOORD2));
  color = texture(EnvSampler, uv) * COLOR0;
}
)";

// A particle is six vertices at its centre; each moves to its corner of the
// square in clip space, before the perspective divide, so the square's size
// on screen falls as 1 / depth. uv (0, 0) is the top-left corner.
const char* const SpriteShaderSource = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 2) in vec4 diffuse;
layout(location = 4) in float psize;  // edge length, world units
layout(location = 5) in vec2 uv;

uniform mat4 WorldViewProj;  // semantic WORLDVIEWPROJ
uniform mat4 World;
uniform float FarClip;
uniform float IFarClip;
uniform vec4 EyePos;

out float FOG;
out vec4 COLOR0;
out vec2 TEXCOORD0;

void SpriteShader() {
  vec4 v = vec4(position, 1.0);
  vec4 q = WorldViewProj * v;
  q.x += psize * (uv.x - 0.5);
  q.y += psize * (0.5 - uv.y);
  gl_Position = q;
  FOG = (FarClip - length(EyePos.xyz - (World * v).xyz)) * IFarClip;
  COLOR0 = diffuse;
  TEXCOORD0 = uv;
}
)";
