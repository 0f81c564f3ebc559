// Drawing on the OpenGL device: Direct3D pipeline states as OpenGL states,
// vertex layouts, and the draw calls with their checks. Programs and their
// uniforms are in GlDevicePrograms.cpp.
#include "platform/gfx/gl/GlDevice.h"

#include "platform/gfx/gl/GlProgram.h"
#include "platform/os/Process.h"
#include "platform/os/Window.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
GLenum compareFunc(DWORD f) {
  switch (f) {
    case D3DCMP_NEVER: return GL_NEVER;
    case D3DCMP_LESS: return GL_LESS;
    case D3DCMP_EQUAL: return GL_EQUAL;
    case D3DCMP_LESSEQUAL: return GL_LEQUAL;
    case D3DCMP_GREATER: return GL_GREATER;
    case D3DCMP_NOTEQUAL: return GL_NOTEQUAL;
    case D3DCMP_GREATEREQUAL: return GL_GEQUAL;
    default: return GL_ALWAYS;
  }
}

GLenum blendFactor(DWORD f) {
  switch (f) {
    case D3DBLEND_ZERO: return GL_ZERO;
    case D3DBLEND_SRCCOLOR: return GL_SRC_COLOR;
    case D3DBLEND_INVSRCCOLOR: return GL_ONE_MINUS_SRC_COLOR;
    case D3DBLEND_SRCALPHA: return GL_SRC_ALPHA;
    case D3DBLEND_INVSRCALPHA: return GL_ONE_MINUS_SRC_ALPHA;
    case D3DBLEND_DESTALPHA: return GL_DST_ALPHA;  // 1 on targets without alpha
    case D3DBLEND_INVDESTALPHA: return GL_ONE_MINUS_DST_ALPHA;
    case D3DBLEND_DESTCOLOR: return GL_DST_COLOR;
    case D3DBLEND_INVDESTCOLOR: return GL_ONE_MINUS_DST_COLOR;
    case D3DBLEND_SRCALPHASAT: return GL_SRC_ALPHA_SATURATE;
    case D3DBLEND_BLENDFACTOR: return GL_CONSTANT_COLOR;
    case D3DBLEND_INVBLENDFACTOR: return GL_ONE_MINUS_CONSTANT_COLOR;
    default: return GL_ONE;
  }
}

GLenum blendOp(DWORD op) {
  switch (op) {
    case D3DBLENDOP_SUBTRACT: return GL_FUNC_SUBTRACT;  // source - destination
    case D3DBLENDOP_REVSUBTRACT: return GL_FUNC_REVERSE_SUBTRACT;
    case D3DBLENDOP_MIN: return GL_MIN;
    case D3DBLENDOP_MAX: return GL_MAX;
    default: return GL_FUNC_ADD;
  }
}

GLenum stencilOp(DWORD op) {
  switch (op) {
    case D3DSTENCILOP_ZERO: return GL_ZERO;
    case D3DSTENCILOP_REPLACE: return GL_REPLACE;
    case D3DSTENCILOP_INCRSAT: return GL_INCR;
    case D3DSTENCILOP_DECRSAT: return GL_DECR;
    case D3DSTENCILOP_INVERT: return GL_INVERT;
    case D3DSTENCILOP_INCR: return GL_INCR_WRAP;
    case D3DSTENCILOP_DECR: return GL_DECR_WRAP;
    default: return GL_KEEP;
  }
}

GLenum addressMode(DWORD mode) {
  switch (mode) {
    case D3DTADDRESS_MIRROR: return GL_MIRRORED_REPEAT;
    case D3DTADDRESS_CLAMP: return GL_CLAMP_TO_EDGE;
    case D3DTADDRESS_BORDER: return GL_CLAMP_TO_BORDER;
    case D3DTADDRESS_MIRRORONCE: return epoxy_gl_version() >= 44 ? GL_MIRROR_CLAMP_TO_EDGE : GL_CLAMP_TO_EDGE;
    default: return GL_REPEAT;
  }
}

GLenum primitiveMode(D3DPRIMITIVETYPE type) {
  switch (type) {
    case D3DPT_POINTLIST: return GL_POINTS;
    case D3DPT_LINELIST: return GL_LINES;
    case D3DPT_LINESTRIP: return GL_LINE_STRIP;
    case D3DPT_TRIANGLELIST: return GL_TRIANGLES;
    case D3DPT_TRIANGLESTRIP: return GL_TRIANGLE_STRIP;
    default: return GL_TRIANGLE_FAN;  // callers check validPrimitive first
  }
}

// Bytes one vertex attribute reads.
UINT attributeBytes(const GlVertexAttribute& a) {
  const UINT components = a.size == GL_BGRA ? 4u : UINT(a.size);
  switch (a.type) {
    case GL_UNSIGNED_BYTE: return components;
    case GL_SHORT: case GL_UNSIGNED_SHORT: case GL_HALF_FLOAT: return components * 2;
    default: return components * 4;
  }
}

bool validPrimitive(D3DPRIMITIVETYPE type) { return type >= D3DPT_POINTLIST && type <= D3DPT_TRIANGLEFAN; }

template <class T>
void setIfChanged(int& shadow, int value, T apply) {
  if (shadow == value) return;
  shadow = value;
  apply();
}

}  // namespace

// --- Pipeline state ----------------------------------------------------------------------

void GlDevice::applyRenderStates() {
  const auto& rs = m_renderStates;
  GlStateShadow& s = m_shadow;
  const bool hasDepth = m_depthStencil && m_depthStencil->samples() == m_renderTarget->samples();
  const bool hasStencil = hasDepth && m_depthStencil->glFormat().stencil;

  const int depthTest = hasDepth && rs[D3DRS_ZENABLE] != D3DZB_FALSE;
  setIfChanged(s.depthTest, depthTest, [&] { depthTest ? glEnable(GL_DEPTH_TEST) : glDisable(GL_DEPTH_TEST); });
  setIfChanged(s.depthMask, rs[D3DRS_ZWRITEENABLE] ? 1 : 0, [&] { glDepthMask(rs[D3DRS_ZWRITEENABLE] ? GL_TRUE : GL_FALSE); });
  setIfChanged(s.depthFunc, int(rs[D3DRS_ZFUNC]), [&] { glDepthFunc(compareFunc(rs[D3DRS_ZFUNC])); });

  // Fronts are clockwise (glFrontFace(GL_CW) at creation): CCW culls backs.
  const int cull = rs[D3DRS_CULLMODE] == D3DCULL_NONE ? 0 : 1;
  setIfChanged(s.cull, cull, [&] { cull ? glEnable(GL_CULL_FACE) : glDisable(GL_CULL_FACE); });
  if (cull)
    setIfChanged(s.cullFace, int(rs[D3DRS_CULLMODE]),
                 [&] { glCullFace(rs[D3DRS_CULLMODE] == D3DCULL_CW ? GL_FRONT : GL_BACK); });

  const int blend = rs[D3DRS_ALPHABLENDENABLE] ? 1 : 0;
  setIfChanged(s.blend, blend, [&] { blend ? glEnable(GL_BLEND) : glDisable(GL_BLEND); });
  if (blend) {
    DWORD src = rs[D3DRS_SRCBLEND], dst = rs[D3DRS_DESTBLEND];
    if (src == D3DBLEND_BOTHSRCALPHA) src = D3DBLEND_SRCALPHA, dst = D3DBLEND_INVSRCALPHA;
    if (src == D3DBLEND_BOTHINVSRCALPHA) src = D3DBLEND_INVSRCALPHA, dst = D3DBLEND_SRCALPHA;
    DWORD srcAlpha = src, dstAlpha = dst, opAlpha = rs[D3DRS_BLENDOP];
    if (rs[D3DRS_SEPARATEALPHABLENDENABLE]) {
      srcAlpha = rs[D3DRS_SRCBLENDALPHA];
      dstAlpha = rs[D3DRS_DESTBLENDALPHA];
      opAlpha = rs[D3DRS_BLENDOPALPHA];
    }
    if (s.blendSrc != int(src) || s.blendDst != int(dst) || s.blendSrcAlpha != int(srcAlpha) ||
        s.blendDstAlpha != int(dstAlpha)) {
      s.blendSrc = int(src), s.blendDst = int(dst), s.blendSrcAlpha = int(srcAlpha), s.blendDstAlpha = int(dstAlpha);
      glBlendFuncSeparate(blendFactor(src), blendFactor(dst), blendFactor(srcAlpha), blendFactor(dstAlpha));
    }
    if (s.blendEq != int(rs[D3DRS_BLENDOP]) || s.blendEqAlpha != int(opAlpha)) {
      s.blendEq = int(rs[D3DRS_BLENDOP]), s.blendEqAlpha = int(opAlpha);
      glBlendEquationSeparate(blendOp(rs[D3DRS_BLENDOP]), blendOp(opAlpha));
    }
    float factor[4];
    d3dColorToFloats(rs[D3DRS_BLENDFACTOR], factor);
    glBlendColor(factor[0], factor[1], factor[2], factor[3]);
  }

  const int stencil = hasStencil && rs[D3DRS_STENCILENABLE] ? 1 : 0;
  setIfChanged(s.stencil, stencil, [&] { stencil ? glEnable(GL_STENCIL_TEST) : glDisable(GL_STENCIL_TEST); });
  if (stencil) {
    const GLint ref = GLint(rs[D3DRS_STENCILREF] & 0xFF);
    const GLuint mask = rs[D3DRS_STENCILMASK] & 0xFF;
    glStencilMask(rs[D3DRS_STENCILWRITEMASK] & 0xFF);
    glStencilFuncSeparate(GL_FRONT, compareFunc(rs[D3DRS_STENCILFUNC]), ref, mask);
    glStencilOpSeparate(GL_FRONT, stencilOp(rs[D3DRS_STENCILFAIL]), stencilOp(rs[D3DRS_STENCILZFAIL]),
                        stencilOp(rs[D3DRS_STENCILPASS]));
    const bool twoSided = rs[D3DRS_TWOSIDEDSTENCILMODE] != 0;
    glStencilFuncSeparate(GL_BACK, compareFunc(rs[twoSided ? D3DRS_CCW_STENCILFUNC : D3DRS_STENCILFUNC]), ref, mask);
    glStencilOpSeparate(GL_BACK, stencilOp(rs[twoSided ? D3DRS_CCW_STENCILFAIL : D3DRS_STENCILFAIL]),
                        stencilOp(rs[twoSided ? D3DRS_CCW_STENCILZFAIL : D3DRS_STENCILZFAIL]),
                        stencilOp(rs[twoSided ? D3DRS_CCW_STENCILPASS : D3DRS_STENCILPASS]));
  }

  const int colorMask = int(rs[D3DRS_COLORWRITEENABLE] & 0xF);
  setIfChanged(s.colorMask, colorMask, [&] {
    glColorMask(colorMask & 1 ? GL_TRUE : GL_FALSE, colorMask & 2 ? GL_TRUE : GL_FALSE,
                colorMask & 4 ? GL_TRUE : GL_FALSE, colorMask & 8 ? GL_TRUE : GL_FALSE);
  });
  setIfChanged(s.polygonMode, int(rs[D3DRS_FILLMODE]), [&] {
    glPolygonMode(GL_FRONT_AND_BACK, rs[D3DRS_FILLMODE] == D3DFILL_POINT       ? GL_POINT
                                     : rs[D3DRS_FILLMODE] == D3DFILL_WIREFRAME ? GL_LINE
                                                                               : GL_FILL);
  });
  const int multisample = rs[D3DRS_MULTISAMPLEANTIALIAS] ? 1 : 0;
  setIfChanged(s.multisample, multisample, [&] { multisample ? glEnable(GL_MULTISAMPLE) : glDisable(GL_MULTISAMPLE); });
  const float bias = dwordToFloat(rs[D3DRS_DEPTHBIAS]), slope = dwordToFloat(rs[D3DRS_SLOPESCALEDEPTHBIAS]);
  const int offset = bias != 0.0f || slope != 0.0f;
  setIfChanged(s.polygonOffset, offset, [&] { offset ? glEnable(GL_POLYGON_OFFSET_FILL) : glDisable(GL_POLYGON_OFFSET_FILL); });
  // Direct3D's bias is in depth units of 1.0; OpenGL's in steps of 2^-24.
  if (offset) glPolygonOffset(slope, bias * 16777216.0f);
  m_renderStatesDirty = false;
}

void GlDevice::applySamplers() {
  for (DWORD i = 0; i < 8; ++i) {
    if (!(m_samplersDirty & (1u << i))) continue;
    const DWORD* ss = m_samplerStates[i];
    const GLuint sampler = m_samplers[i];
    glSamplerParameteri(sampler, GL_TEXTURE_WRAP_S, GLint(addressMode(ss[D3DSAMP_ADDRESSU])));
    glSamplerParameteri(sampler, GL_TEXTURE_WRAP_T, GLint(addressMode(ss[D3DSAMP_ADDRESSV])));
    glSamplerParameteri(sampler, GL_TEXTURE_WRAP_R, GLint(addressMode(ss[D3DSAMP_ADDRESSW])));
    float border[4];
    d3dColorToFloats(ss[D3DSAMP_BORDERCOLOR], border);
    glSamplerParameterfv(sampler, GL_TEXTURE_BORDER_COLOR, border);
    const bool magLinear = ss[D3DSAMP_MAGFILTER] >= D3DTEXF_LINEAR;
    const bool minLinear = ss[D3DSAMP_MINFILTER] >= D3DTEXF_LINEAR;
    glSamplerParameteri(sampler, GL_TEXTURE_MAG_FILTER, magLinear ? GL_LINEAR : GL_NEAREST);
    GLenum minFilter = minLinear ? GL_LINEAR : GL_NEAREST;
    if (ss[D3DSAMP_MIPFILTER] == D3DTEXF_POINT)
      minFilter = minLinear ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST;
    else if (ss[D3DSAMP_MIPFILTER] >= D3DTEXF_LINEAR)
      minFilter = minLinear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_LINEAR;
    glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, GLint(minFilter));
    glSamplerParameterf(sampler, GL_TEXTURE_LOD_BIAS, dwordToFloat(ss[D3DSAMP_MIPMAPLODBIAS]));
    glSamplerParameterf(sampler, GL_TEXTURE_MIN_LOD, float(ss[D3DSAMP_MAXMIPLEVEL]));
  }
  m_samplersDirty = 0;
}

void GlDevice::applyVertexLayout(const GlVertexLayout& layout, GLuint upBuffer, UINT upStride) {
  std::uint32_t enabled = 0;
  for (const GlVertexAttribute& a : layout.attributes) {
    GLuint buffer = upBuffer;
    UINT offset = 0, stride = upStride;
    if (!upBuffer) {
      const Stream& s = m_streams[a.stream];
      if (!s.buffer || !s.buffer->storage().buffer()) continue;
      buffer = s.buffer->storage().buffer();
      offset = s.offset;
      stride = s.stride;
    } else if (a.stream != 0) {
      continue;
    }
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glVertexAttribPointer(a.location, a.size, a.type, a.normalized, GLsizei(stride),
                          reinterpret_cast<const void*>(std::uintptr_t(offset + a.offset)));
    enabled |= 1u << a.location;
  }
  const std::uint32_t changed = enabled ^ m_enabledAttributes;
  for (GLuint location = 0; location < glattr::kCount; ++location) {
    if (!(changed & (1u << location))) continue;
    if (enabled & (1u << location))
      glEnableVertexAttribArray(location);
    else
      glDisableVertexAttribArray(location);
  }
  m_enabledAttributes = enabled;
}

// Whether the bound streams hold vertices first .. first + count - 1 for
// every attribute the layout reads. OpenGL must never read past a buffer:
// a driver may crash where Direct3D would only draw garbage.
// Vertex v of an attribute ends at offset + v * stride + attribute offset +
// its bytes; the count of vertices from 0 that fit is worked out once per
// layout and set of streams, not per draw (buffer sizes never change).
bool GlDevice::streamsCover(std::int64_t first, std::int64_t count) {
  if (first < 0 || count <= 0) return count == 0;
  if (m_coverDirty) {
    std::int64_t covered = INT64_MAX;
    for (const GlVertexAttribute& a : currentLayout()->attributes) {
      const Stream& s = m_streams[a.stream];
      if (!s.buffer) continue;  // not fed: the attribute reads its constant default
      const std::int64_t room = std::int64_t(s.buffer->storage().size()) - std::int64_t(s.offset) -
                                std::int64_t(a.offset) - std::int64_t(attributeBytes(a));
      if (room < 0)
        covered = 0;
      else if (s.stride > 0)
        covered = std::min(covered, room / std::int64_t(s.stride) + 1);
    }
    m_coveredVertices = covered;
    m_coverDirty = false;
  }
  return count <= m_coveredVertices && first <= m_coveredVertices - count;
}

// Whether every attribute of stream 0 lies within one vertex of the stride.
bool GlDevice::strideCovers(UINT stride) {
  for (const GlVertexAttribute& a : currentLayout()->attributes)
    if (a.stream == 0 && a.offset + attributeBytes(a) > stride) return false;
  return true;
}

// --- Draw calls --------------------------------------------------------------------------

HRESULT GlDevice::prepareDraw(D3DPRIMITIVETYPE type) {
  if (!m_inScene || !validPrimitive(type)) return D3DERR_INVALIDCALL;
  const GlVertexLayout* layout = currentLayout();
  if (!layout) return D3DERR_INVALIDCALL;
  if (!m_window->isCurrent()) makeCurrent();
  const bool points = type == D3DPT_POINTLIST;
  if (points != m_drawingPoints) {
    m_drawingPoints = points;
    m_programDirty = true;  // the point size and sprites are part of the key
  }
  if (m_targetsDirty) bindRenderTargets();
  if (m_renderStatesDirty) applyRenderStates();
  if (m_programDirty) {
    m_program = findProgram();
    m_programDirty = false;
  }
  if (!m_program) return D3DERR_INVALIDCALL;
  if (m_currentProgram != m_program->program) {
    glUseProgram(m_program->program);
    m_currentProgram = m_program->program;
  }
  uploadUniforms(m_program);
  if (m_texturesDirty) {
    for (GLuint stage = 0; stage < 8; ++stage) {
      if (!(m_texturesDirty & (1u << stage))) continue;
      glActiveTexture(GL_TEXTURE0 + stage);
      if (GlTextureStorage* storage = m_textureStorage[stage]) {
        glBindTexture(storage->target(), storage->texture());
      } else {
        glBindTexture(GL_TEXTURE_2D, 0);
        glBindTexture(GL_TEXTURE_CUBE_MAP, 0);
      }
    }
    m_texturesDirty = 0;
  }
  if (m_samplersDirty) applySamplers();
  return D3D_OK;
}

HRESULT GlDevice::DrawPrimitive(D3DPRIMITIVETYPE type, UINT startVertex, UINT primitiveCount) {
  const HRESULT hr = prepareDraw(type);
  if (FAILED(hr)) return hr;
  const UINT count = primitiveVertexCount(type, primitiveCount);
  if (count == 0) return D3D_OK;
  if (!streamsCover(startVertex, count)) return D3DERR_INVALIDCALL;
  if (m_layoutDirty) {
    applyVertexLayout(*currentLayout(), 0, 0);
    m_layoutDirty = false;
  }
  glDrawArrays(primitiveMode(type), GLint(startVertex), GLsizei(count));
  return D3D_OK;
}

HRESULT GlDevice::DrawIndexedPrimitive(D3DPRIMITIVETYPE type, INT baseVertex, UINT, UINT, UINT startIndex,
                                       UINT primitiveCount) {
  if (!m_indices) return D3DERR_INVALIDCALL;
  const UINT count = primitiveVertexCount(type, primitiveCount);
  const UINT indexSize = m_indices->format() == D3DFMT_INDEX32 ? 4 : 2;
  if (UINT64(startIndex + UINT64(count)) * indexSize > m_indices->storage().size()) return D3DERR_INVALIDCALL;
  const HRESULT hr = prepareDraw(type);
  if (FAILED(hr)) return hr;
  if (count == 0) return D3D_OK;
  UINT low = 0, high = 0;
  m_indices->storage().indexRange(indexSize, startIndex, count, &low, &high);
  if (!streamsCover(std::int64_t(baseVertex) + low, std::int64_t(high) - low + 1)) return D3DERR_INVALIDCALL;
  if (m_layoutDirty) {
    applyVertexLayout(*currentLayout(), 0, 0);
    m_layoutDirty = false;
  }
  const GLuint indexBuffer = m_indices->storage().buffer();
  if (m_boundIndexBuffer != indexBuffer) {
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indexBuffer);
    m_boundIndexBuffer = indexBuffer;
  }
  glDrawElementsBaseVertex(primitiveMode(type), GLsizei(count),
                           indexSize == 4 ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT,
                           reinterpret_cast<const void*>(std::uintptr_t(startIndex) * indexSize), baseVertex);
  return D3D_OK;
}

void GlDevice::endUserPointerDraw() {
  // Direct3D unsets stream 0 and the index buffer after a *UP draw.
  if (m_streams[0].buffer) m_streams[0].buffer->Release();
  m_streams[0] = Stream{};
  if (m_indices) m_indices->Release();
  m_indices = nullptr;
  m_layoutDirty = m_coverDirty = true;
}

HRESULT GlDevice::DrawPrimitiveUP(D3DPRIMITIVETYPE type, UINT primitiveCount, const void* vertices, UINT stride) {
  if (!vertices || stride == 0) return D3DERR_INVALIDCALL;
  const HRESULT hr = prepareDraw(type);
  if (FAILED(hr)) return hr;
  if (!strideCovers(stride)) return D3DERR_INVALIDCALL;
  const UINT count = primitiveVertexCount(type, primitiveCount);
  if (count > 0) {
    glBindBuffer(GL_ARRAY_BUFFER, m_upVertexBuffer);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(size_t(count) * stride), vertices, GL_STREAM_DRAW);
    applyVertexLayout(*currentLayout(), m_upVertexBuffer, stride);
    glDrawArrays(primitiveMode(type), 0, GLsizei(count));
  }
  endUserPointerDraw();
  return D3D_OK;
}

HRESULT GlDevice::DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE type, UINT minVertex, UINT numVertices,
                                         UINT primitiveCount, const void* indices, D3DFORMAT indexFormat,
                                         const void* vertices, UINT stride) {
  if (!vertices || !indices || stride == 0 || (indexFormat != D3DFMT_INDEX16 && indexFormat != D3DFMT_INDEX32))
    return D3DERR_INVALIDCALL;
  const HRESULT hr = prepareDraw(type);
  if (FAILED(hr)) return hr;
  if (!strideCovers(stride)) return D3DERR_INVALIDCALL;
  const UINT count = primitiveVertexCount(type, primitiveCount);
  const UINT indexSize = indexFormat == D3DFMT_INDEX32 ? 4 : 2;
  if (count > 0) {
    UINT low = 0, high = 0;
    scanIndexRange(static_cast<const std::uint8_t*>(indices), indexSize, 0, count, &low, &high);
    if (high >= std::uint64_t(minVertex) + numVertices) return D3DERR_INVALIDCALL;  // would read past the vertices
    glBindBuffer(GL_ARRAY_BUFFER, m_upVertexBuffer);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(size_t(minVertex + numVertices) * stride), vertices, GL_STREAM_DRAW);
    applyVertexLayout(*currentLayout(), m_upVertexBuffer, stride);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, m_upIndexBuffer);
    m_boundIndexBuffer = m_upIndexBuffer;
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(size_t(count) * indexSize), indices, GL_STREAM_DRAW);
    glDrawElements(primitiveMode(type), GLsizei(count), indexSize == 4 ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT,
                   nullptr);
  }
  endUserPointerDraw();
  return D3D_OK;
}
