#pragma once
// Movie files made by the tests: the 8-byte prefix, the frame-size RECT, the
// frame rate and count, then a little tag data; compressed with zlib for
// "CWS" movies.
#include <cstdint>
#include <string>
#include <vector>

using MovieBytes = std::vector<unsigned char>;

struct TestMovie {
  char signature = 'F';  // 'F', 'C' or anything else for broken files
  std::uint8_t version = 10;
  std::int32_t xMin = 0, xMax = 800 * 20, yMin = 0, yMax = 600 * 20;  // twips
  int rectBits = -1;              // -1: the fewest bits that hold the four values
  std::uint16_t frameRate = 25 << 8;  // 8.8 fixed point
  std::uint16_t frameCount = 1;
  MovieBytes tags = {0x40, 0x00, 0x00, 0x00};  // a show-frame tag, then the end tag
  std::int64_t fileLength = -1;   // -1: the real uncompressed length
};

// The uncompressed header body (RECT, rate, count) followed by the tags.
MovieBytes movieBody(const TestMovie& movie);
// The whole file.
MovieBytes movieFile(const TestMovie& movie);
// A plain movie with the given frame count (and default everything else).
MovieBytes plainMovie(std::uint16_t frames);
MovieBytes compressedMovie(std::uint16_t frames);

// Writes bytes to path; false on failure.
bool writeMovieFile(const std::string& path, const MovieBytes& bytes);
bool fileExists(const std::string& path);
std::string readWholeFile(const std::string& path);
