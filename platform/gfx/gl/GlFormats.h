#pragma once
// Direct3D 9 surface formats as OpenGL texture formats.
//
// Direct3D keeps 32-bit colours as ARGB words (bytes B, G, R, A in memory on a
// little-endian machine); OpenGL reads those bytes directly as GL_BGRA with
// GL_UNSIGNED_INT_8_8_8_8_REV. Formats OpenGL lacks are stored in a wider
// format and completed by the texture swizzle: L8 is red read as (L, L, L, 1),
// A8 as (0, 0, 0, A), A8L8 as (L, L, L, A). Formats without alpha (X8R8G8B8,
// R8G8B8, R5G6B5) are stored without alpha, so sampling gives alpha 1 and a
// render target of that format reads destination alpha as 1 when blending.
#include "platform/gfx/D3D9Types.h"

#include <epoxy/gl.h>

#include <cstddef>

struct GlFormat {
  GLenum internalFormat = 0;
  GLenum format = 0;      // client layout of Direct3D's bytes (uncompressed)
  GLenum type = 0;
  GLint swizzle[4] = {GL_RED, GL_GREEN, GL_BLUE, GL_ALPHA};
  bool compressed = false;  // 4 x 4 blocks
  int bytesPerUnit = 0;     // per pixel, or per 4 x 4 block when compressed
  bool hasAlpha = false;
  bool renderable = false;  // usable as a render target
  bool depth = false;       // depth (and stencil) format
  bool stencil = false;
};

// A D3DCOLOR (ARGB) as floats r, g, b, a in 0..1.
inline void d3dColorToFloats(D3DCOLOR c, float* out) {
  out[0] = float((c >> 16) & 0xFF) / 255.0f;
  out[1] = float((c >> 8) & 0xFF) / 255.0f;
  out[2] = float(c & 0xFF) / 255.0f;
  out[3] = float(c >> 24) / 255.0f;
}

// False for formats the device does not support.
bool glFormatFor(D3DFORMAT format, GlFormat* out);

// Bytes per row of a level of the given width (rows of blocks when compressed).
std::size_t formatPitch(const GlFormat& format, int width);
// Rows of memory of a level of the given height (block rows when compressed).
int formatRows(const GlFormat& format, int height);
