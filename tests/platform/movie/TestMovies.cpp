#include "TestMovies.h"

#include <zlib.h>

#include <cstdio>
#include <sys/stat.h>

namespace {

int signedBitsFor(std::int32_t v) {
  // bits of the magnitude plus a sign bit
  std::uint32_t magnitude = v < 0 ? ~std::uint32_t(v) : std::uint32_t(v);
  int bits = 1;
  while (magnitude) {
    ++bits;
    magnitude >>= 1;
  }
  return bits;
}

class BitWriter {
 public:
  void put(std::uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) {
      if (m_bit == 0) m_bytes.push_back(0);
      if ((value >> i) & 1u) m_bytes.back() |= std::uint8_t(0x80 >> m_bit);
      m_bit = (m_bit + 1) & 7;
    }
  }
  MovieBytes bytes() const { return m_bytes; }

 private:
  MovieBytes m_bytes;
  int m_bit = 0;
};

}  // namespace

MovieBytes movieBody(const TestMovie& movie) {
  int bits = movie.rectBits;
  if (bits < 0) {
    bits = 0;
    for (std::int32_t v : {movie.xMin, movie.xMax, movie.yMin, movie.yMax})
      if (signedBitsFor(v) > bits) bits = signedBitsFor(v);
  }
  BitWriter writer;
  writer.put(std::uint32_t(bits), 5);
  for (std::int32_t v : {movie.xMin, movie.xMax, movie.yMin, movie.yMax})
    writer.put(bits == 32 ? std::uint32_t(v) : std::uint32_t(v) & ((1u << bits) - 1), bits);
  MovieBytes body = writer.bytes();
  for (std::uint16_t v : {movie.frameRate, movie.frameCount}) {
    body.push_back(std::uint8_t(v));
    body.push_back(std::uint8_t(v >> 8));
  }
  body.insert(body.end(), movie.tags.begin(), movie.tags.end());
  return body;
}

MovieBytes movieFile(const TestMovie& movie) {
  const MovieBytes body = movieBody(movie);
  const std::uint32_t length =
      movie.fileLength >= 0 ? std::uint32_t(movie.fileLength) : std::uint32_t(8 + body.size());
  MovieBytes file = {std::uint8_t(movie.signature), 'W', 'S', movie.version, std::uint8_t(length),
                     std::uint8_t(length >> 8), std::uint8_t(length >> 16), std::uint8_t(length >> 24)};
  if (movie.signature == 'C') {
    uLongf packedSize = compressBound(uLong(body.size()));
    MovieBytes packed(packedSize);
    if (compress2(packed.data(), &packedSize, body.data(), uLong(body.size()), Z_BEST_COMPRESSION) != Z_OK) return {};
    file.insert(file.end(), packed.begin(), packed.begin() + long(packedSize));
  } else {
    file.insert(file.end(), body.begin(), body.end());
  }
  return file;
}

MovieBytes plainMovie(std::uint16_t frames) {
  TestMovie movie;
  movie.frameCount = frames;
  return movieFile(movie);
}

MovieBytes compressedMovie(std::uint16_t frames) {
  TestMovie movie;
  movie.signature = 'C';
  movie.frameCount = frames;
  return movieFile(movie);
}

bool writeMovieFile(const std::string& path, const MovieBytes& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && ok;
}

bool fileExists(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

std::string readWholeFile(const std::string& path) {
  std::string text;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return text;
  char chunk[4096];
  std::size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) text.append(chunk, got);
  std::fclose(file);
  return text;
}
