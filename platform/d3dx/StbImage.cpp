// stb_image compiled here, restricted to TGA and BMP and to images of at most
// 16384 texels a side, with its functions kept private to this file. The
// header comes from the system include path, so its own code compiles
// without our warnings.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_TGA
#define STBI_ONLY_BMP
#define STBI_NO_STDIO
#define STBI_NO_LINEAR
#define STBI_NO_HDR
#define STBI_NO_FAILURE_STRINGS
#define STBI_MAX_DIMENSIONS 16384
#include <stb/stb_image.h>

#include <climits>
#include <cstring>

#include "platform/d3dx/ImageCodecs.h"

bool stbDecodeTgaBmp(const std::uint8_t* data, std::size_t size, int channels, UINT width, UINT height,
                     std::uint8_t* dst) {
  static_assert(16384 == kMaxImageSide);
  if (size > INT_MAX) return false;
  int w = 0, h = 0, fileChannels = 0;
  stbi_uc* pixels = stbi_load_from_memory(data, static_cast<int>(size), &w, &h, &fileChannels, channels);
  if (!pixels) return false;
  const bool sizeMatches = UINT(w) == width && UINT(h) == height;
  if (sizeMatches) std::memcpy(dst, pixels, std::size_t(width) * height * channels);
  stbi_image_free(pixels);
  return sizeMatches;
}
