#pragma once
// Encoding the generator's canvases as PNG (libpng) and JPEG (libjpeg), and
// writing files. The player reads an RGBA PNG as A8R8G8B8 and a JPEG as
// X8R8G8B8; those are the only two kinds made here.
#include <cstdint>
#include <string>
#include <vector>

#include "tools/showgen/Canvas.h"

using Bytes = std::vector<std::uint8_t>;

// How the colour of a partly transparent pixel is stored in an RGBA PNG.
enum class PngColour {
  // Colour as seen through the pixel's alpha (the usual PNG meaning), for
  // layers drawn with source-alpha blending. Fully transparent pixels store
  // black.
  straight,
  // Colour already multiplied by alpha (the canvas as it is), for layers
  // drawn additively (one + one): transparent regions are black and add
  // nothing, and faint pixels add little.
  premultiplied,
};

// 8-bit RGBA, no interlacing, no time stamp (the bytes depend on the pixels
// only). False with *error on failure.
bool encodePng(const Canvas& canvas, PngColour colour, Bytes* out, std::string* error);
// 8-bit YCbCr baseline JPEG of the canvas's colour (alpha is ignored: the
// canvas should be opaque); quality 1 ... 100.
bool encodeJpeg(const Canvas& canvas, int quality, Bytes* out, std::string* error);

// Writes bytes to path, replacing the file. False with *error ("path: reason").
bool writeFile(const std::string& path, const Bytes& bytes, std::string* error);
bool writeFile(const std::string& path, const std::string& text, std::string* error);
