// GLSL text of the fixed-function emulation for one FfpKey.
//
// Conventions: matrices arrive as Direct3D row-major matrices uploaded
// unchanged, so GLSL sees their transposes and `M * v` computes Direct3D's
// `v x M`. Lighting happens in eye space. Colours leave the vertex program
// saturated (Direct3D clamps its colour interpolators). The fog factor f is
// 1 for no fog and 0 for fully fogged.
#include "platform/gfx/D3D9Constants.h"
#include "platform/gfx/gl/FfpKey.h"

#include <sstream>

namespace {

const char* kHeader = "#version 330 core\n";

// kRowShift: positions move 0.5 pixel right but only 0.5 - 1/128 pixel down.
// With row 0 at the top, OpenGL's tie rule treats the image's top edges as
// bottom edges; the 1/128 keeps a horizontal edge that lies exactly on a
// row of pixel centres on Direct3D's side of the tie (top edges in, bottom
// edges out) and moves nothing else visibly. In NDC units of the viewport
// that is 2 * (0.5 - 1/128) / height = 0.984375 / height.

std::string materialSource(std::uint8_t source, const char* material) {
  switch (source) {
    case D3DMCS_COLOR1: return "in_Color0";
    case D3DMCS_COLOR2: return "in_Color1";
    default: return material;
  }
}

// The texture coordinate of a stage before its transform, as a vec4.
std::string stageCoordinate(const FfpKey& key, const FfpStageKey& stage) {
  switch (stage.coordGen) {
    case D3DTSS_TCI_CAMERASPACENORMAL >> 16: return "vec4(N, 1.0)";
    case D3DTSS_TCI_CAMERASPACEPOSITION >> 16: return "vec4(P, 1.0)";
    case D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR >> 16: return "vec4(reflect(normalize(P), N), 1.0)";
    case D3DTSS_TCI_PASSTHRU >> 16: break;
    default: return "vec4(0.0, 0.0, 0.0, 1.0)";
  }
  const int set = stage.coordIndex & 7;
  const std::string name = "in_TexCoord" + std::to_string(set);
  // The component after the last given one is 1, the rest 0: a 2D coordinate
  // becomes (u, v, 1, 0), so a texture matrix's third row translates it.
  switch (key.texCoordSize[set]) {
    case 1: return "vec4(" + name + ".x, 1.0, 0.0, 0.0)";
    case 2: return "vec4(" + name + ".xy, 1.0, 0.0)";
    case 3: return "vec4(" + name + ".xyz, 1.0)";
    case 4: return name;
    default: return "vec4(0.0, 0.0, 0.0, 1.0)";
  }
}

bool stageUsesTexture(const FfpStageKey& stage) {
  return ffpReadsTexture(stage.colorOp, stage.colorArg) ||
         (stage.alphaOp != D3DTOP_DISABLE && ffpReadsTexture(stage.alphaOp, stage.alphaArg));
}

void writeLight(std::ostringstream& s, int i, std::uint8_t type, bool specular, bool localViewer) {
  const std::string n = std::to_string(i);
  s << "  {\n";
  if (type == D3DLIGHT_DIRECTIONAL) {
    s << "    vec3 L = -u_lightDirection[" << n << "].xyz;\n    float att = 1.0;\n";
  } else {
    s << "    vec3 toLight = u_lightPosition[" << n << "].xyz - P;\n"
      << "    float d = length(toLight);\n"
      << "    vec3 L = toLight / max(d, 1e-20);\n"
      << "    vec4 a = u_lightAttenuation[" << n << "];\n"
      << "    float att = d > a.w ? 0.0 : 1.0 / max(a.x + a.y * d + a.z * d * d, 1e-20);\n";
    if (type == D3DLIGHT_SPOT) {
      // u_lightSpot = (cos(Theta/2), cos(Phi/2), Falloff).
      s << "    vec3 spot = u_lightSpot[" << n << "].xyz;\n"
        << "    float rho = dot(-L, u_lightDirection[" << n << "].xyz);\n"
        << "    float cone = rho > spot.x ? 1.0 : (rho <= spot.y ? 0.0 :\n"
        << "        pow(clamp((rho - spot.y) / max(spot.x - spot.y, 1e-20), 0.0, 1.0), spot.z));\n"
        << "    att *= cone;\n";
    }
  }
  s << "    float NdotL = dot(N, L);\n"
    << "    ambient += u_lightAmbient[" << n << "].rgb * att;\n"
    << "    diffuse += u_lightDiffuse[" << n << "].rgb * max(NdotL, 0.0) * att;\n";
  if (specular) {
    s << "    if (NdotL > 0.0) {\n";
    if (localViewer)
      s << "      vec3 H = normalize(L - normalize(P));\n";
    else
      s << "      vec3 H = normalize(L + vec3(0.0, 0.0, -1.0));\n";
    s << "      specular += u_lightSpecular[" << n << "].rgb * pow(max(dot(N, H), 0.0), u_materialPower) * att;\n"
      << "    }\n";
  }
  s << "  }\n";
}

std::string vertexProgram(const FfpKey& key) {
  std::ostringstream s;
  s << kHeader;
  s << "in vec4 in_Position;\n";
  if (key.hasNormal) s << "in vec3 in_Normal;\n";
  if (key.hasDiffuse) s << "in vec4 in_Color0;\n";
  if (key.hasSpecular) s << "in vec4 in_Color1;\n";
  if (key.hasPointSize) s << "in float in_PointSize;\n";
  for (int i = 0; i < 8; ++i)
    if (key.texCoordSize[i]) s << "in vec4 in_TexCoord" << i << ";\n";
  s << "uniform mat4 u_worldView;\n"
       "uniform mat4 u_projection;\n"
       "uniform mat4 u_normalMatrix;\n"
       "uniform mat4 u_textureMatrix[8];\n"
       "uniform vec4 u_viewport;\n"  // x, y, width, height in pixels
       "uniform vec4 u_lightDiffuse[8];\n"
       "uniform vec4 u_lightSpecular[8];\n"
       "uniform vec4 u_lightAmbient[8];\n"
       "uniform vec4 u_lightPosition[8];\n"     // eye space
       "uniform vec4 u_lightDirection[8];\n"    // eye space, normalised
       "uniform vec4 u_lightAttenuation[8];\n"  // a0, a1, a2, range
       "uniform vec4 u_lightSpot[8];\n"
       "uniform vec4 u_materialDiffuse;\n"
       "uniform vec4 u_materialAmbient;\n"
       "uniform vec4 u_materialSpecular;\n"
       "uniform vec4 u_materialEmissive;\n"
       "uniform float u_materialPower;\n"
       "uniform vec4 u_globalAmbient;\n"
       "uniform vec4 u_fog;\n"    // start, end, density
       "uniform vec4 u_point;\n"  // size, min, max
       "uniform vec4 u_pointScale;\n"  // A, B, C
       "out vec4 COLOR0;\n"
       "out vec4 COLOR1;\n"
       "out float FOG;\n";
  for (int i = 0; i < key.stageCount; ++i) s << "out vec4 TEXCOORD" << i << ";\n";
  s << "void main() {\n";

  if (key.transformed) {
    // Screen-space vertices: Direct3D pixel coordinates with centres on
    // integers, z in 0..1, w holding 1/w.
    s << "  float w = in_Position.w != 0.0 ? 1.0 / in_Position.w : 1.0;\n"
         "  vec2 ndc = vec2((in_Position.x + 0.5 - u_viewport.x) / u_viewport.z * 2.0 - 1.0,\n"
         "                  1.0 - (in_Position.y + 0.4921875 - u_viewport.y) / u_viewport.w * 2.0);\n"
         "  gl_Position = vec4(ndc * w, in_Position.z * w, w);\n"
         "  vec3 P = vec3(in_Position.xy, in_Position.z);\n"
         "  vec3 N = vec3(0.0, 0.0, 1.0);\n";
  } else {
    s << "  vec4 eye = u_worldView * vec4(in_Position.xyz, 1.0);\n"
         "  vec3 P = eye.xyz;\n"
         "  gl_Position = u_projection * eye;\n"
         // Direct3D samples pixels at integer coordinates, OpenGL at half
         // integers: move half a pixel right and (see kRowShift) down.
         "  gl_Position.xy += vec2(1.0 / u_viewport.z, -0.984375 / u_viewport.w) * gl_Position.w;\n";
    if (key.hasNormal) {
      s << "  vec3 N = mat3(u_normalMatrix) * in_Normal;\n";
      if (key.normalizeNormals) s << "  N = normalize(N);\n";
    } else {
      s << "  vec3 N = vec3(0.0);\n";
    }
  }

  const std::string vertexDiffuse = key.hasDiffuse ? "in_Color0" : "vec4(1.0)";
  const std::string vertexSpecular = key.hasSpecular ? "in_Color1" : "vec4(0.0)";
  if (key.lighting && !key.transformed) {
    s << "  vec4 md = " << materialSource(key.diffuseSource, "u_materialDiffuse") << ";\n"
      << "  vec4 ma = " << materialSource(key.ambientSource, "u_materialAmbient") << ";\n"
      << "  vec4 ms = " << materialSource(key.specularSource, "u_materialSpecular") << ";\n"
      << "  vec4 me = " << materialSource(key.emissiveSource, "u_materialEmissive") << ";\n"
      << "  vec3 ambient = u_globalAmbient.rgb;\n"
         "  vec3 diffuse = vec3(0.0);\n"
         "  vec3 specular = vec3(0.0);\n";
    for (int i = 0; i < key.lightCount && i < FfpKey::kMaxLights; ++i)
      writeLight(s, i, key.lightTypes[i], key.specularEnable != 0, key.localViewer != 0);
    s << "  COLOR0 = vec4(clamp(ma.rgb * ambient + me.rgb + md.rgb * diffuse, 0.0, 1.0), clamp(md.a, 0.0, 1.0));\n"
         "  COLOR1 = vec4(clamp(ms.rgb * specular, 0.0, 1.0), clamp(ms.a, 0.0, 1.0));\n";
  } else {
    s << "  COLOR0 = clamp(" << vertexDiffuse << ", 0.0, 1.0);\n"
      << "  COLOR1 = clamp(" << vertexSpecular << ", 0.0, 1.0);\n";
  }

  if (key.fogMode && !key.transformed) {
    s << "  float fogDistance = abs(P.z);\n";
    switch (key.fogMode) {
      case D3DFOG_EXP: s << "  FOG = clamp(exp(-u_fog.z * fogDistance), 0.0, 1.0);\n"; break;
      case D3DFOG_EXP2:
        s << "  FOG = clamp(exp(-(u_fog.z * fogDistance) * (u_fog.z * fogDistance)), 0.0, 1.0);\n";
        break;
      default:  // linear; FOGSTART == FOGEND is fully fogged
        s << "  FOG = u_fog.y == u_fog.x ? 0.0 : clamp((u_fog.y - fogDistance) / (u_fog.y - u_fog.x), 0.0, 1.0);\n";
    }
  } else {
    s << "  FOG = 1.0;\n";
  }

  if (key.points) {
    s << "  float pointSize = " << (key.hasPointSize ? "in_PointSize" : "u_point.x") << ";\n";
    if (key.pointScale && !key.transformed) {
      s << "  float De = length(P);\n"
           "  pointSize = u_viewport.w * pointSize * sqrt(1.0 / max(u_pointScale.x + u_pointScale.y * De + "
           "u_pointScale.z * De * De, 1e-20));\n";
    }
    s << "  gl_PointSize = clamp(pointSize, u_point.y, max(u_point.y, u_point.z));\n";
  }

  for (int i = 0; i < key.stageCount; ++i) {
    const FfpStageKey& stage = key.stages[i];
    s << "  {\n    vec4 tc = " << stageCoordinate(key, stage) << ";\n";
    const int count = stage.transform & 7;
    if (count) {
      s << "    tc = u_textureMatrix[" << i << "] * tc;\n";
      if (stage.transform & FfpKey::kProjected) {
        const char* last = count == 1 ? "x" : count == 2 ? "y" : count == 3 ? "z" : "w";
        s << "    tc /= (tc." << last << " != 0.0 ? tc." << last << " : 1.0);\n";
      }
    }
    s << "    TEXCOORD" << i << " = tc;\n  }\n";
  }
  s << "}\n";
  return s.str();
}

// GLSL expression of one stage argument, as a vec4.
std::string argument(std::uint8_t arg, int stage) {
  std::string value;
  switch (arg & D3DTA_SELECTMASK) {
    case D3DTA_DIFFUSE: value = "v_diffuse"; break;
    case D3DTA_CURRENT: value = "current"; break;
    case D3DTA_TEXTURE: value = "tex" + std::to_string(stage); break;
    case D3DTA_TFACTOR: value = "u_textureFactor"; break;
    case D3DTA_SPECULAR: value = "v_specular"; break;
    case D3DTA_TEMP: value = "temp"; break;
    case D3DTA_CONSTANT: value = "u_stageConstant[" + std::to_string(stage) + "]"; break;
    default: value = "vec4(1.0)"; break;
  }
  if (arg & D3DTA_COMPLEMENT) value = "(vec4(1.0) - " + value + ")";
  if (arg & D3DTA_ALPHAREPLICATE) value = value + ".aaaa";
  return value;
}

// The result of an operation on arguments a0, a1, a2 (GLSL names), for the
// swizzle `c` (".rgb" or ".a").
std::string operation(std::uint8_t op, const std::string& c, int stage) {
  const std::string a0 = "a0" + c, a1 = "a1" + c, a2 = "a2" + c;
  const std::string tex = "tex" + std::to_string(stage);
  auto sat = [](const std::string& e) { return "clamp(" + e + ", 0.0, 1.0)"; };
  auto blendBy = [&](const std::string& alpha) { return "mix(" + a2 + ", " + a1 + ", " + alpha + ")"; };
  switch (op) {
    case D3DTOP_SELECTARG1: return a1;
    case D3DTOP_SELECTARG2: return a2;
    case D3DTOP_MODULATE: return a1 + " * " + a2;
    case D3DTOP_MODULATE2X: return sat(a1 + " * " + a2 + " * 2.0");
    case D3DTOP_MODULATE4X: return sat(a1 + " * " + a2 + " * 4.0");
    case D3DTOP_ADD: return sat(a1 + " + " + a2);
    case D3DTOP_ADDSIGNED: return sat(a1 + " + " + a2 + " - 0.5");
    case D3DTOP_ADDSIGNED2X: return sat("(" + a1 + " + " + a2 + " - 0.5) * 2.0");
    case D3DTOP_SUBTRACT: return sat(a1 + " - " + a2);
    case D3DTOP_ADDSMOOTH: return sat(a1 + " + (1.0 - " + a1 + ") * " + a2);
    case D3DTOP_BLENDDIFFUSEALPHA: return blendBy("v_diffuse.a");
    case D3DTOP_BLENDTEXTUREALPHA: return blendBy(tex + ".a");
    case D3DTOP_BLENDFACTORALPHA: return blendBy("u_textureFactor.a");
    case D3DTOP_BLENDCURRENTALPHA: return blendBy("current.a");
    case D3DTOP_BLENDTEXTUREALPHAPM: return sat(a1 + " + " + a2 + " * (1.0 - " + tex + ".a)");
    case D3DTOP_PREMODULATE: return a1 + " * " + a2;
    case D3DTOP_MODULATEALPHA_ADDCOLOR:
      return c == ".a" ? a1 : sat(a1 + " + a1.a * " + a2);
    case D3DTOP_MODULATECOLOR_ADDALPHA:
      return c == ".a" ? a1 : sat(a1 + " * " + a2 + " + a1.a");
    case D3DTOP_MODULATEINVALPHA_ADDCOLOR:
      return c == ".a" ? a1 : sat("(1.0 - a1.a) * " + a2 + " + " + a1);
    case D3DTOP_MODULATEINVCOLOR_ADDALPHA:
      return c == ".a" ? a1 : sat("(1.0 - " + a1 + ") * " + a2 + " + a1.a");
    case D3DTOP_DOTPRODUCT3: {
      const std::string dot = "clamp(4.0 * dot(a1.rgb - 0.5, a2.rgb - 0.5), 0.0, 1.0)";
      return c == ".a" ? dot : "vec3(" + dot + ")";
    }
    case D3DTOP_MULTIPLYADD: return sat(a1 + " * " + a2 + " + " + a0);
    case D3DTOP_LERP: return "mix(" + a2 + ", " + a1 + ", " + a0 + ")";
    default: return a1;  // bump mapping is not emulated: the first argument passes
  }
}

const char* compareOperator(std::uint8_t func) {
  switch (func) {
    case D3DCMP_LESS: return "<";
    case D3DCMP_EQUAL: return "==";
    case D3DCMP_LESSEQUAL: return "<=";
    case D3DCMP_GREATER: return ">";
    case D3DCMP_NOTEQUAL: return "!=";
    case D3DCMP_GREATEREQUAL: return ">=";
    default: return nullptr;
  }
}

// A vertex-program output read as a vec4 (missing components 0, w 1).
std::string asVec4(const std::string& type, const std::string& name) {
  if (type == "float") return "vec4(" + name + ", 0.0, 0.0, 1.0)";
  if (type == "vec2") return "vec4(" + name + ", 0.0, 1.0)";
  if (type == "vec3") return "vec4(" + name + ", 1.0)";
  return name;
}

const ShaderVarying* findVarying(const std::vector<ShaderVarying>& varyings, const std::string& name) {
  for (const ShaderVarying& v : varyings)
    if (v.name == name) return &v;
  return nullptr;
}

std::string fragmentProgram(const FfpKey& key, const std::vector<ShaderVarying>* userOutputs) {
  std::ostringstream s;
  s << kHeader;
  std::ostringstream inputs;  // local copies, so the stage code reads one set of names
  if (!userOutputs) {
    s << "in vec4 COLOR0;\n"
         "in vec4 COLOR1;\n"
         "in float FOG;\n";
    inputs << "  vec4 v_diffuse = COLOR0;\n"
              "  vec4 v_specular = COLOR1;\n"
              "  float v_fog = FOG;\n";
    for (int i = 0; i < key.stageCount; ++i) {
      s << "in vec4 TEXCOORD" << i << ";\n";
      inputs << "  vec4 v_tex" << i << " = TEXCOORD" << i << ";\n";
    }
  } else {
    // A program of the system's own feeds the stages: read the outputs it
    // declares, with its own types. Colour interpolators are clamped.
    for (const ShaderVarying& v : *userOutputs) s << "in " << v.type << " " << v.name << ";\n";
    const ShaderVarying* color0 = findVarying(*userOutputs, "COLOR0");
    const ShaderVarying* color1 = findVarying(*userOutputs, "COLOR1");
    const ShaderVarying* fog = findVarying(*userOutputs, "FOG");
    inputs << "  vec4 v_diffuse = " << (color0 ? "clamp(" + asVec4(color0->type, "COLOR0") + ", 0.0, 1.0)" : "vec4(1.0)")
           << ";\n  vec4 v_specular = "
           << (color1 ? "clamp(" + asVec4(color1->type, "COLOR1") + ", 0.0, 1.0)" : "vec4(0.0)") << ";\n"
           << "  float v_fog = " << (fog && fog->type == "float" ? "FOG" : "1.0") << ";\n";
    for (int i = 0; i < key.stageCount; ++i) {
      const std::string name = "TEXCOORD" + std::to_string(key.stages[i].coordIndex & 7);
      const ShaderVarying* tc = findVarying(*userOutputs, name);
      inputs << "  vec4 v_tex" << i << " = " << (tc ? asVec4(tc->type, name) : "vec4(0.0, 0.0, 0.0, 1.0)") << ";\n";
    }
  }
  for (int i = 0; i < key.stageCount; ++i) {
    if (key.stages[i].texture == FfpKey::kTextureCube)
      s << "uniform samplerCube s_texture" << i << ";\n";
    else if (key.stages[i].texture == FfpKey::kTexture2D)
      s << "uniform sampler2D s_texture" << i << ";\n";
  }
  s << "uniform vec4 u_textureFactor;\n"
       "uniform vec4 u_stageConstant[8];\n"
       "uniform vec4 u_fogColor;\n"
       "uniform float u_alphaRef;\n"  // 0..255
       "out vec4 o_color;\n"
       "void main() {\n"
    << inputs.str()
    << "  vec4 current = v_diffuse;\n"
       "  vec4 temp = vec4(0.0);\n";
  for (int i = 0; i < key.stageCount; ++i) {
    const FfpStageKey& stage = key.stages[i];
    s << "  {\n";
    if (stageUsesTexture(stage)) {
      s << "    vec4 tex" << i << " = ";
      const std::string coord = key.pointSprite ? "vec4(gl_PointCoord, 0.0, 1.0)" : "v_tex" + std::to_string(i);
      if (stage.texture == FfpKey::kTextureCube)
        s << "texture(s_texture" << i << ", " << coord << ".xyz);\n";
      else if (stage.texture == FfpKey::kTexture2D)
        s << "texture(s_texture" << i << ", " << coord << ".xy);\n";
      else  // the key never asks for an unbound texture; kept total for hand-made keys
        s << "vec4(1.0);\n";
    }
    // Only the arguments an operation uses are read: an unused one may name
    // a texture the stage does not sample.
    auto arguments = [&](std::uint8_t op, const std::uint8_t args[3], bool declare) {
      const unsigned used = ffpArgumentsUsed(op);
      for (int a = 0; a < 3; ++a)
        s << "    " << (declare ? "vec4 a" : "a") << a << " = "
          << ((used >> a & 1) ? argument(args[a], i) : std::string("vec4(0.0)")) << ";\n";
    };
    arguments(stage.colorOp, stage.colorArg, true);
    s << "    vec3 rgb = " << operation(stage.colorOp, ".rgb", i) << ";\n";
    if (stage.alphaOp == D3DTOP_DISABLE) {
      s << "    float alpha = current.a;\n";
    } else {
      arguments(stage.alphaOp, stage.alphaArg, false);
      s << "    float alpha = " << operation(stage.alphaOp, ".a", i) << ";\n";
    }
    s << "    " << (stage.resultTemp ? "temp" : "current") << " = vec4(rgb, alpha);\n  }\n";
  }
  if (key.alphaFunc) {
    // Direct3D compares the 8-bit alpha with ALPHAREF's low byte.
    const char* op = compareOperator(key.alphaFunc);
    if (key.alphaFunc == D3DCMP_NEVER)
      s << "  discard;\n";
    else if (op)
      s << "  if (!(floor(clamp(current.a, 0.0, 1.0) * 255.0 + 0.5) " << op << " u_alphaRef)) discard;\n";
  }
  if (key.specularEnable) s << "  current.rgb = clamp(current.rgb + v_specular.rgb, 0.0, 1.0);\n";
  if (key.fogMode) s << "  current.rgb = mix(u_fogColor.rgb, current.rgb, v_fog);\n";
  s << "  o_color = clamp(current, 0.0, 1.0);\n}\n";
  return s.str();
}

}  // namespace

FfpSources generateFfpSources(const FfpKey& key) { return {vertexProgram(key), fragmentProgram(key, nullptr)}; }

std::string generateFfpFragment(const FfpKey& key, const std::vector<ShaderVarying>& vertexOutputs) {
  return fragmentProgram(key, &vertexOutputs);
}
