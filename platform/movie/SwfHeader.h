#pragma once
// The header at the front of every movie file, and its reader.
//
// Layout (integers little-endian):
//   0  3 bytes  signature: "FWS" plain, "CWS" everything from byte 8 on is a
//               zlib stream, "ZWS" LZMA (not supported here)
//   3  u8       version of the file format
//   4  u32      file length in bytes once uncompressed, these 8 bytes included
//   8  RECT     frame size in twips (1/20 pixel): 5 bits n, then xMin, xMax,
//               yMin, yMax as n-bit signed values, most significant bit
//               first, padded with zero bits to a whole byte
//   .  u16      frame rate, 8.8 fixed point frames per second
//   .  u16      frame count
// The header is 8 + 13..25 bytes long (n = 0 .. 31).
//
// readSwfHeader never ends the process, never reads outside the buffer and
// inflates at most the header's bytes, so any input is safe to hand it (it is
// the entry point for fuzzing the movie loader).
#include <cstddef>
#include <cstdint>

#include "platform/gfx/D3D9Types.h"  // RECT

struct SwfHeader {
  char signature = 0;          // 'F' plain, 'C' zlib-compressed
  std::uint8_t version = 0;
  std::uint32_t fileLength = 0;    // bytes, uncompressed, header included
  RECT frameSize = {0, 0, 0, 0};   // twips
  std::uint16_t frameRate = 0;     // 8.8 fixed point frames per second
  std::uint16_t frameCount = 0;
  std::uint32_t headerLength = 0;  // bytes of the uncompressed header

  // Frame size in whole pixels (twips / 20, truncated); 0 for an inverted box.
  int widthPixels() const;
  int heightPixels() const;
  double framesPerSecond() const { return frameRate / 256.0; }
};

enum class SwfStatus {
  ok,
  notAMovie,    // no "FWS" / "CWS" / "ZWS" signature
  unsupported,  // "ZWS": LZMA-compressed
  truncated,    // the data ends inside the header
  damaged,      // the zlib stream is broken, or the length field is smaller than the header
};

// Reads the header of the movie in data[0..size). On anything but ok the
// header is left with whatever fields were read.
SwfStatus readSwfHeader(const void* data, std::size_t size, SwfHeader* header);

// A short English phrase for logs: "not a movie", ...
const char* swfStatusText(SwfStatus status);

// The largest header: 8 + 17 bytes of RECT + 4.
constexpr std::size_t kSwfMaxHeaderLength = 8 + 17 + 4;
