// Programs of the OpenGL device: the fixed-function key of the current
// state, the program cache, and the uniforms each program receives.
//
// Matrices go to GLSL exactly as Direct3D stores them (row-major); GLSL reads
// them column-major, i.e. transposed, so `M * v` there is Direct3D's `v x M`.
#include "platform/gfx/gl/GlDevice.h"

#include "platform/gfx/gl/GlProgram.h"
#include "platform/os/Process.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

D3DMATRIX multiply(const D3DMATRIX& a, const D3DMATRIX& b) {
  D3DMATRIX r{};
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j] + a.m[i][3] * b.m[3][j];
  return r;
}

// Inverse transpose of the upper 3 x 3, in a 4 x 4 (row-vector convention:
// n_eye = n x result).
D3DMATRIX normalMatrix(const D3DMATRIX& m) {
  const float a = m._11, b = m._12, c = m._13, d = m._21, e = m._22, f = m._23, g = m._31, h = m._32, i = m._33;
  const float A = e * i - f * h, B = -(d * i - f * g), C = d * h - e * g;
  const float det = a * A + b * B + c * C;
  const float s = std::fabs(det) > 1e-30f ? 1.0f / det : 0.0f;
  // inverse = adjugate / det; its transpose is the cofactor matrix / det.
  D3DMATRIX r{};
  r._11 = A * s;
  r._12 = B * s;
  r._13 = C * s;
  r._21 = -(b * i - c * h) * s;
  r._22 = (a * i - c * g) * s;
  r._23 = -(a * h - b * g) * s;
  r._31 = (b * f - c * e) * s;
  r._32 = -(a * f - c * d) * s;
  r._33 = (a * e - b * d) * s;
  r._44 = 1.0f;
  return r;
}


// Brings a stage's operations into the one form that draws alike, so that
// equal results share a program:
// - An operation that reads the texture of a stage without one passes its
//   input through, as SELECTARG1 of CURRENT (colour and alpha each on its
//   own). Direct3D 9 drivers draw such a stage this way, not with a default
//   texel; states left behind by an earlier draw (a composite that added
//   textures on stages 1..3) then leave later untextured draws unchanged.
// - Arguments an operation does not use are dropped.
// - A texture no operation reads is not sampled.
void normalizeStage(FfpStageKey* stage, const GlTextureStorage* bound) {
  auto normalize = [&](std::uint8_t& op, std::uint8_t args[3]) {
    if (!bound && ffpReadsTexture(op, args)) {
      op = D3DTOP_SELECTARG1;
      args[1] = D3DTA_CURRENT;
    }
    const unsigned used = ffpArgumentsUsed(op);
    for (int i = 0; i < 3; ++i)
      if (!(used >> i & 1)) args[i] = 0;
  };
  normalize(stage->colorOp, stage->colorArg);
  if (stage->alphaOp == D3DTOP_DISABLE)
    std::memset(stage->alphaArg, 0, sizeof stage->alphaArg);
  else
    normalize(stage->alphaOp, stage->alphaArg);
  const bool sampled = ffpReadsTexture(stage->colorOp, stage->colorArg) ||
                       (stage->alphaOp != D3DTOP_DISABLE && ffpReadsTexture(stage->alphaOp, stage->alphaArg));
  if (bound && sampled) stage->texture = bound->cube() ? FfpKey::kTextureCube : FfpKey::kTexture2D;
}

}  // namespace

// --- Fixed-function key ------------------------------------------------------------

const GlVertexLayout* GlDevice::currentLayout() {
  if (m_declaration) return &m_declaration->layout();
  return m_fvf ? &m_fvfLayout : nullptr;
}

void GlDevice::buildFfpKey(FfpKey* key) const {
  *key = FfpKey{};
  const GlVertexLayout* layout = m_declaration ? &m_declaration->layout() : (m_fvf ? &m_fvfLayout : nullptr);
  if (!layout) return;
  const auto& rs = m_renderStates;
  const bool userVertex = m_vertexShader != nullptr;
  const bool userPixel = m_pixelShader != nullptr;

  if (!userVertex) {
    key->transformed = layout->transformed;
    key->hasNormal = layout->hasNormal;
    key->hasDiffuse = layout->hasDiffuse;
    key->hasSpecular = layout->hasSpecular;
    key->hasPointSize = layout->hasPointSize;
    std::memcpy(key->texCoordSize, layout->texCoordSize, sizeof key->texCoordSize);
    key->lighting = rs[D3DRS_LIGHTING] && !layout->transformed;
    if (key->lighting) {
      key->localViewer = rs[D3DRS_LOCALVIEWER] != 0;
      key->normalizeNormals = rs[D3DRS_NORMALIZENORMALS] != 0;
      const bool colorVertex = rs[D3DRS_COLORVERTEX] != 0;
      // A vertex colour counts only with COLORVERTEX and when the vertex has it.
      auto source = [&](DWORD value) -> std::uint8_t {
        if (!colorVertex) return D3DMCS_MATERIAL;
        if (value == D3DMCS_COLOR1 && layout->hasDiffuse) return D3DMCS_COLOR1;
        if (value == D3DMCS_COLOR2 && layout->hasSpecular) return D3DMCS_COLOR2;
        return D3DMCS_MATERIAL;
      };
      key->diffuseSource = source(rs[D3DRS_DIFFUSEMATERIALSOURCE]);
      key->specularSource = source(rs[D3DRS_SPECULARMATERIALSOURCE]);
      key->ambientSource = source(rs[D3DRS_AMBIENTMATERIALSOURCE]);
      key->emissiveSource = source(rs[D3DRS_EMISSIVEMATERIALSOURCE]);
      key->lightCount = std::uint8_t(m_enabledLights.size());
      for (size_t i = 0; i < m_enabledLights.size() && i < 8; ++i)
        key->lightTypes[i] = std::uint8_t(m_lights.at(m_enabledLights[i]).light.Type);
    }
    key->points = m_drawingPoints || rs[D3DRS_FILLMODE] == D3DFILL_POINT;
    key->pointScale = key->points && rs[D3DRS_POINTSCALEENABLE] != 0;
  }
  if (rs[D3DRS_FOGENABLE]) {
    const DWORD table = rs[D3DRS_FOGTABLEMODE], vertex = rs[D3DRS_FOGVERTEXMODE];
    key->fogMode = std::uint8_t(table != D3DFOG_NONE ? table : vertex);
    if (userVertex && !key->fogMode) key->fogMode = std::uint8_t(D3DFOG_LINEAR);  // the program's FOG output
  }
  key->specularEnable = rs[D3DRS_SPECULARENABLE] != 0 && !userPixel;
  key->pointSprite = rs[D3DRS_POINTSPRITEENABLE] != 0 && m_drawingPoints && !userPixel;
  if (rs[D3DRS_ALPHATESTENABLE] && rs[D3DRS_ALPHAFUNC] != D3DCMP_ALWAYS && rs[D3DRS_ALPHAFUNC] >= D3DCMP_NEVER &&
      rs[D3DRS_ALPHAFUNC] <= D3DCMP_GREATEREQUAL)
    key->alphaFunc = std::uint8_t(rs[D3DRS_ALPHAFUNC]);

  int count = 0;
  for (; count < int(m_stageLimit); ++count) {
    const DWORD* ts = m_stageStates[count];
    FfpStageKey& stage = key->stages[count];
    if (userPixel) {
      // A program of the system's own samples what it likes: every stage's
      // coordinate is computed, no operation is generated.
      if (userVertex) break;
    } else {
      if (ts[D3DTSS_COLOROP] == D3DTOP_DISABLE) break;
      stage.colorOp = std::uint8_t(ts[D3DTSS_COLOROP]);
      stage.colorArg[0] = std::uint8_t(ts[D3DTSS_COLORARG0]);
      stage.colorArg[1] = std::uint8_t(ts[D3DTSS_COLORARG1]);
      stage.colorArg[2] = std::uint8_t(ts[D3DTSS_COLORARG2]);
      stage.alphaOp = std::uint8_t(ts[D3DTSS_ALPHAOP]);
      stage.alphaArg[0] = std::uint8_t(ts[D3DTSS_ALPHAARG0]);
      stage.alphaArg[1] = std::uint8_t(ts[D3DTSS_ALPHAARG1]);
      stage.alphaArg[2] = std::uint8_t(ts[D3DTSS_ALPHAARG2]);
      stage.resultTemp = ts[D3DTSS_RESULTARG] == D3DTA_TEMP;
      normalizeStage(&stage, m_textureStorage[count]);
    }
    stage.coordIndex = std::uint8_t(ts[D3DTSS_TEXCOORDINDEX] & 7);
    if (!userVertex) {
      stage.coordGen = std::uint8_t(ts[D3DTSS_TEXCOORDINDEX] >> 16);
      const DWORD flags = ts[D3DTSS_TEXTURETRANSFORMFLAGS];
      stage.transform = std::uint8_t(std::min<DWORD>(flags & 0xFF, 4));
      if (stage.transform && (flags & D3DTTFF_PROJECTED)) stage.transform |= FfpKey::kProjected;
    }
  }
  key->stageCount = std::uint8_t(count);
}

// --- Programs -------------------------------------------------------------------------

GlDevice::Program* GlDevice::findProgram() {
  ProgramKey key;
  key.vertexShader = m_vertexShader ? m_vertexShader->id() : 0;
  key.pixelShader = m_pixelShader ? m_pixelShader->id() : 0;
  buildFfpKey(&key.ffp);
  auto it = m_programs.find(key);
  if (it != m_programs.end()) return it->second.program ? &it->second : nullptr;
  return linkProgram(key);
}

GlDevice::Program* GlDevice::linkProgram(const ProgramKey& key) {
  Program& entry = m_programs[key];  // a failed link stays cached as program 0
  std::string log;
  GLuint vertex = 0, fragment = 0;
  bool ownVertex = true;
  if (m_vertexShader) {
    vertex = m_vertexShader->shader();
    ownVertex = false;
  }
  FfpSources generated;
  if (!m_vertexShader || !m_pixelShader) generated = generateFfpSources(key.ffp);
  if (!vertex) vertex = compileGlShader(GL_VERTEX_SHADER, generated.vertex, &log);
  if (vertex) {
    std::string fragmentSource;
    if (m_pixelShader) {
      const bool fogInput = !m_vertexShader || std::any_of(m_vertexShader->outputs().begin(),
                                                           m_vertexShader->outputs().end(),
                                                           [](const ShaderVarying& v) { return v.name == "FOG"; });
      fragmentSource = wrapPixelStage(m_pixelShader->source(), key.ffp.alphaFunc, key.ffp.fogMode != 0, fogInput);
    } else if (m_vertexShader) {
      fragmentSource = generateFfpFragment(key.ffp, m_vertexShader->outputs());
    } else {
      fragmentSource = generated.fragment;
    }
    fragment = compileGlShader(GL_FRAGMENT_SHADER, fragmentSource, &log);
  }
  if (vertex && fragment) {
    entry.program = linkGlShaders(vertex, fragment, &log);
    ++m_compiledPrograms;
  }
  if (vertex && ownVertex) glDeleteShader(vertex);
  if (fragment) glDeleteShader(fragment);
  if (!entry.program) {
    OutputDebugStringA(("OpenGL device: cannot build a program: " + log + "\n").c_str());
    return nullptr;
  }
  entry.ffpVertex = !m_vertexShader;
  entry.ffpPixel = !m_pixelShader;
  lookUpUniforms(&entry, m_vertexShader);
  return &entry;
}

void GlDevice::lookUpUniforms(Program* p, const GlShaderStage* vertex) {
  const GLuint program = p->program;
  glUseProgram(program);
  m_currentProgram = program;
  auto at = [&](const char* name) { return glGetUniformLocation(program, name); };
  p->worldView = at("u_worldView");
  p->projection = at("u_projection");
  p->normalMatrix = at("u_normalMatrix");
  p->textureMatrix = at("u_textureMatrix");
  p->viewport = at("u_viewport");
  p->lightDiffuse = at("u_lightDiffuse");
  p->lightSpecular = at("u_lightSpecular");
  p->lightAmbient = at("u_lightAmbient");
  p->lightPosition = at("u_lightPosition");
  p->lightDirection = at("u_lightDirection");
  p->lightAttenuation = at("u_lightAttenuation");
  p->lightSpot = at("u_lightSpot");
  p->materialDiffuse = at("u_materialDiffuse");
  p->materialAmbient = at("u_materialAmbient");
  p->materialSpecular = at("u_materialSpecular");
  p->materialEmissive = at("u_materialEmissive");
  p->materialPower = at("u_materialPower");
  p->globalAmbient = at("u_globalAmbient");
  p->fog = at("u_fog");
  p->point = at("u_point");
  p->pointScale = at("u_pointScale");
  p->textureFactor = at("u_textureFactor");
  p->stageConstant = at("u_stageConstant");
  p->fogColor = at("u_fogColor");
  p->alphaRef = at("u_alphaRef");
  p->vxFogColor = at("vx_fogColor");
  p->vxAlphaRef = at("vx_alphaRef");
  p->vxViewport = at("vx_viewport");
  for (GLint unit = 0; unit < 8; ++unit) {
    const std::string name = "s_texture" + std::to_string(unit);
    const GLint location = at(name.c_str());
    if (location >= 0) glUniform1i(location, unit);
  }
  if (p->ffpVertex && p->ffpPixel) return;

  // The system's own programs: every active uniform by name.
  GLint count = 0, maxLength = 0;
  glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
  glGetProgramiv(program, GL_ACTIVE_UNIFORM_MAX_LENGTH, &maxLength);
  std::string name(size_t(std::max(maxLength, 1)), '\0');
  for (GLint i = 0; i < count; ++i) {
    GLsizei length = 0;
    GLint size = 0;
    GLenum type = 0;
    glGetActiveUniform(program, GLuint(i), GLsizei(name.size()), &length, &size, &type, name.data());
    std::string base(name.data(), size_t(length));
    if (base.size() > 3 && base.compare(base.size() - 3, 3, "[0]") == 0) base.resize(base.size() - 3);
    if (base.find('.') != std::string::npos || base.find('[') != std::string::npos) continue;
    if (base.rfind("vx_", 0) == 0 || base.rfind("u_", 0) == 0 || base.rfind("s_texture", 0) == 0) continue;
    const GLint location = at(base.c_str());
    if (location < 0) continue;
    if (base == "vs_c") {
      p->vsRegisters = location;
      p->vsRegisterCount = std::min(size, 256);
      continue;
    }
    if (base == "ps_c") {
      p->psRegisters = location;
      p->psRegisterCount = std::min(size, 32);
      continue;
    }
    if (type == GL_SAMPLER_2D || type == GL_SAMPLER_CUBE) continue;  // bound by layout(binding)
    ProgramUniform uniform;
    uniform.location = location;
    uniform.type = type;
    uniform.size = size;
    uniform.pixel = !(vertex && mentionsIdentifier(vertex->source(), base));
    uniform.value = uniform.pixel ? &m_pixelConstants[base] : &m_vertexConstants[base];
    p->uniforms.push_back(uniform);
  }
}

void GlDevice::uploadUniforms(Program* p) {
  const auto& rs = m_renderStates;
  if (p->viewportVersion != m_viewportVersion) {
    p->viewportVersion = m_viewportVersion;
    const float viewport[4] = {float(m_viewport.X), float(m_viewport.Y), float(m_viewport.Width),
                               float(m_viewport.Height)};
    if (p->viewport >= 0) glUniform4fv(p->viewport, 1, viewport);
    if (p->vxViewport >= 0) glUniform4fv(p->vxViewport, 1, viewport);
  }
  if (p->ffpVertex && p->transformVersion != m_transformVersion) {
    p->transformVersion = m_transformVersion;
    const D3DMATRIX worldView = m_worldSet ? multiply(m_world, m_view) : m_view;
    glUniformMatrix4fv(p->worldView, 1, GL_FALSE, &worldView._11);
    if (p->normalMatrix >= 0) {  // only programs that read normals
      const D3DMATRIX normals = normalMatrix(worldView);
      glUniformMatrix4fv(p->normalMatrix, 1, GL_FALSE, &normals._11);
    }
  }
  if (p->ffpVertex && p->projectionVersion != m_projectionVersion) {
    p->projectionVersion = m_projectionVersion;
    glUniformMatrix4fv(p->projection, 1, GL_FALSE, &m_projection._11);
  }
  if (p->ffpVertex && p->textureMatrixVersion != m_textureMatrixVersion) {
    p->textureMatrixVersion = m_textureMatrixVersion;
    if (p->textureMatrix >= 0) glUniformMatrix4fv(p->textureMatrix, 8, GL_FALSE, &m_textureMatrix[0]._11);
  }
  if (p->ffpVertex && p->lightVersion != m_lightVersion && p->lightDiffuse >= 0) {
    p->lightVersion = m_lightVersion;
    float diffuse[32] = {}, specular[32] = {}, ambient[32] = {}, position[32] = {}, direction[32] = {};
    float attenuation[32] = {}, spot[32] = {};
    for (size_t i = 0; i < m_enabledLights.size() && i < 8; ++i) {
      const D3DLIGHT9& l = m_lights.at(m_enabledLights[i]).light;
      std::memcpy(diffuse + i * 4, &l.Diffuse, 16);
      std::memcpy(specular + i * 4, &l.Specular, 16);
      std::memcpy(ambient + i * 4, &l.Ambient, 16);
      const D3DVECTOR& pos = l.Position;
      for (int c = 0; c < 3; ++c)
        position[i * 4 + c] = pos.x * m_view.m[0][c] + pos.y * m_view.m[1][c] + pos.z * m_view.m[2][c] + m_view.m[3][c];
      float d[3];
      for (int c = 0; c < 3; ++c)
        d[c] = l.Direction.x * m_view.m[0][c] + l.Direction.y * m_view.m[1][c] + l.Direction.z * m_view.m[2][c];
      const float length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
      for (int c = 0; c < 3; ++c) direction[i * 4 + c] = length > 0.0f ? d[c] / length : 0.0f;
      attenuation[i * 4 + 0] = l.Attenuation0;
      attenuation[i * 4 + 1] = l.Attenuation1;
      attenuation[i * 4 + 2] = l.Attenuation2;
      attenuation[i * 4 + 3] = l.Range;
      spot[i * 4 + 0] = std::cos(l.Theta * 0.5f);
      spot[i * 4 + 1] = std::cos(l.Phi * 0.5f);
      spot[i * 4 + 2] = l.Falloff;
    }
    glUniform4fv(p->lightDiffuse, 8, diffuse);
    glUniform4fv(p->lightSpecular, 8, specular);
    glUniform4fv(p->lightAmbient, 8, ambient);
    glUniform4fv(p->lightPosition, 8, position);
    glUniform4fv(p->lightDirection, 8, direction);
    glUniform4fv(p->lightAttenuation, 8, attenuation);
    glUniform4fv(p->lightSpot, 8, spot);
  }
  // Every material colour goes up whichever of them the program reads: a
  // program without lights and without a use of the diffuse alpha still
  // reads the emissive and ambient colours.
  if (p->ffpVertex && p->materialVersion != m_materialVersion) {
    p->materialVersion = m_materialVersion;
    glUniform4fv(p->materialDiffuse, 1, &m_material.Diffuse.r);
    glUniform4fv(p->materialAmbient, 1, &m_material.Ambient.r);
    glUniform4fv(p->materialSpecular, 1, &m_material.Specular.r);
    glUniform4fv(p->materialEmissive, 1, &m_material.Emissive.r);
    glUniform1f(p->materialPower, m_material.Power);
  }
  if (p->miscVersion != m_miscVersion) {
    p->miscVersion = m_miscVersion;
    float color[4];
    if (p->globalAmbient >= 0) {
      d3dColorToFloats(rs[D3DRS_AMBIENT], color);
      glUniform4fv(p->globalAmbient, 1, color);
    }
    if (p->fog >= 0)
      glUniform4f(p->fog, dwordToFloat(rs[D3DRS_FOGSTART]), dwordToFloat(rs[D3DRS_FOGEND]),
                  dwordToFloat(rs[D3DRS_FOGDENSITY]), 0.0f);
    if (p->point >= 0)
      glUniform4f(p->point, dwordToFloat(rs[D3DRS_POINTSIZE]), dwordToFloat(rs[D3DRS_POINTSIZE_MIN]),
                  std::min(dwordToFloat(rs[D3DRS_POINTSIZE_MAX]), m_limits.maxPointSize), 0.0f);
    if (p->pointScale >= 0)
      glUniform4f(p->pointScale, dwordToFloat(rs[D3DRS_POINTSCALE_A]), dwordToFloat(rs[D3DRS_POINTSCALE_B]),
                  dwordToFloat(rs[D3DRS_POINTSCALE_C]), 0.0f);
    if (p->textureFactor >= 0) {
      d3dColorToFloats(rs[D3DRS_TEXTUREFACTOR], color);
      glUniform4fv(p->textureFactor, 1, color);
    }
    if (p->stageConstant >= 0) {
      float constants[32];
      for (int i = 0; i < 8; ++i) d3dColorToFloats(m_stageStates[i][D3DTSS_CONSTANT], constants + i * 4);
      glUniform4fv(p->stageConstant, 8, constants);
    }
    d3dColorToFloats(rs[D3DRS_FOGCOLOR], color);
    if (p->fogColor >= 0) glUniform4fv(p->fogColor, 1, color);
    if (p->vxFogColor >= 0) glUniform4fv(p->vxFogColor, 1, color);
    if (p->alphaRef >= 0) glUniform1f(p->alphaRef, float(rs[D3DRS_ALPHAREF] & 0xFF));
    if (p->vxAlphaRef >= 0) glUniform1f(p->vxAlphaRef, float(rs[D3DRS_ALPHAREF] & 0xFF));
  }
  if (p->registerVersion != m_registerVersion) {
    p->registerVersion = m_registerVersion;
    if (p->vsRegisters >= 0) glUniform4fv(p->vsRegisters, p->vsRegisterCount, m_vsRegisters);
    if (p->psRegisters >= 0) {
      float clamped[32 * 4];
      for (int i = 0; i < 32 * 4; ++i) clamped[i] = std::clamp(m_psRegisters[i], -1.0f, 1.0f);
      glUniform4fv(p->psRegisters, p->psRegisterCount, clamped);
    }
  }
  if (!p->uniforms.empty() && p->constantVersion != m_constantVersion) {
    const std::uint64_t seen = p->constantVersion;
    p->constantVersion = m_constantVersion;
    std::vector<float> values;
    for (const ProgramUniform& u : p->uniforms) {
      if (u.value->version <= seen) continue;
      GLint components = 1;
      switch (u.type) {
        case GL_FLOAT_VEC2: components = 2; break;
        case GL_FLOAT_VEC3: components = 3; break;
        case GL_FLOAT_VEC4: components = 4; break;
        case GL_FLOAT_MAT3: components = 9; break;
        case GL_FLOAT_MAT4: components = 16; break;
        default: break;
      }
      values.assign(size_t(components) * size_t(u.size), 0.0f);
      std::copy_n(u.value->values.begin(), std::min(values.size(), u.value->values.size()), values.begin());
      if (u.pixel)  // shader-model-1 pixel programs see constants in [-1, 1]
        for (float& v : values) v = std::clamp(v, -1.0f, 1.0f);
      switch (u.type) {
        case GL_FLOAT: glUniform1fv(u.location, u.size, values.data()); break;
        case GL_FLOAT_VEC2: glUniform2fv(u.location, u.size, values.data()); break;
        case GL_FLOAT_VEC3: glUniform3fv(u.location, u.size, values.data()); break;
        case GL_FLOAT_VEC4: glUniform4fv(u.location, u.size, values.data()); break;
        case GL_FLOAT_MAT3: glUniformMatrix3fv(u.location, u.size, GL_FALSE, values.data()); break;
        case GL_FLOAT_MAT4: glUniformMatrix4fv(u.location, u.size, GL_FALSE, values.data()); break;
        case GL_INT: case GL_BOOL: glUniform1i(u.location, GLint(values[0])); break;
        default: break;
      }
    }
  }
}

