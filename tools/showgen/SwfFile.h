#pragma once
// A minimal movie file: the uncompressed ("FWS") header with a frame size,
// rate and count, one ShowFrame tag and the End tag. The player loads and
// configures movies but never draws them, so an empty one is enough for the
// example show.
#include <cstdint>

#include "tools/showgen/ImageFiles.h"  // Bytes

// width, height: pixels (1 ... 1638, what a signed 16-bit twip count holds);
// fps: whole frames per second (1 ... 255); version: file format (1 ... 255).
Bytes makeSwf(int width, int height, int fps, std::uint16_t frameCount, std::uint8_t version);
