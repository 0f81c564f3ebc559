#include "platform/gfx/gl/GlFormats.h"

bool glFormatFor(D3DFORMAT format, GlFormat* out) {
  GlFormat f;
  switch (format) {
    case D3DFMT_A8R8G8B8:
      f.internalFormat = GL_RGBA8;
      f.format = GL_BGRA;
      f.type = GL_UNSIGNED_INT_8_8_8_8_REV;
      f.bytesPerUnit = 4;
      f.hasAlpha = true;
      f.renderable = true;
      break;
    case D3DFMT_X8R8G8B8:
      f.internalFormat = GL_RGB8;
      f.format = GL_BGRA;
      f.type = GL_UNSIGNED_INT_8_8_8_8_REV;
      f.bytesPerUnit = 4;
      f.renderable = true;
      break;
    case D3DFMT_R8G8B8:  // bytes B, G, R
      f.internalFormat = GL_RGB8;
      f.format = GL_BGR;
      f.type = GL_UNSIGNED_BYTE;
      f.bytesPerUnit = 3;
      break;
    case D3DFMT_R5G6B5:
      f.internalFormat = GL_RGB565;
      f.format = GL_RGB;
      f.type = GL_UNSIGNED_SHORT_5_6_5;
      f.bytesPerUnit = 2;
      f.renderable = true;
      break;
    case D3DFMT_L8:
      f.internalFormat = GL_R8;
      f.format = GL_RED;
      f.type = GL_UNSIGNED_BYTE;
      f.bytesPerUnit = 1;
      f.swizzle[0] = f.swizzle[1] = f.swizzle[2] = GL_RED;
      f.swizzle[3] = GL_ONE;
      break;
    case D3DFMT_A8:
      f.internalFormat = GL_R8;
      f.format = GL_RED;
      f.type = GL_UNSIGNED_BYTE;
      f.bytesPerUnit = 1;
      f.swizzle[0] = f.swizzle[1] = f.swizzle[2] = GL_ZERO;
      f.swizzle[3] = GL_RED;
      f.hasAlpha = true;
      break;
    case D3DFMT_A8L8:  // bytes L, A
      f.internalFormat = GL_RG8;
      f.format = GL_RG;
      f.type = GL_UNSIGNED_BYTE;
      f.bytesPerUnit = 2;
      f.swizzle[0] = f.swizzle[1] = f.swizzle[2] = GL_RED;
      f.swizzle[3] = GL_GREEN;
      f.hasAlpha = true;
      break;
    case D3DFMT_DXT1:
      if (!epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc")) return false;
      f.internalFormat = GL_COMPRESSED_RGBA_S3TC_DXT1_EXT;
      f.compressed = true;
      f.bytesPerUnit = 8;
      f.hasAlpha = true;
      break;
    case D3DFMT_DXT5:
      if (!epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc")) return false;
      f.internalFormat = GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;
      f.compressed = true;
      f.bytesPerUnit = 16;
      f.hasAlpha = true;
      break;
    case D3DFMT_D24S8:
      f.internalFormat = GL_DEPTH24_STENCIL8;
      f.depth = f.stencil = true;
      break;
    case D3DFMT_D24X8:
      f.internalFormat = GL_DEPTH_COMPONENT24;
      f.depth = true;
      break;
    case D3DFMT_D16:
      f.internalFormat = GL_DEPTH_COMPONENT16;
      f.depth = true;
      break;
    default:
      return false;
  }
  *out = f;
  return true;
}

std::size_t formatPitch(const GlFormat& format, int width) {
  if (width < 1) width = 1;
  if (format.compressed) return std::size_t((width + 3) / 4) * std::size_t(format.bytesPerUnit);
  return std::size_t(width) * std::size_t(format.bytesPerUnit);
}

int formatRows(const GlFormat& format, int height) {
  if (height < 1) height = 1;
  return format.compressed ? (height + 3) / 4 : height;
}
