#include "tools/showgen/SwfFile.h"

#include <algorithm>
#include <bit>
#include <cassert>

namespace {

// Writes values most significant bit first, as the frame-size record packs them.
class BitWriter {
 public:
  explicit BitWriter(Bytes* out) : m_out(out) {}
  void put(std::uint32_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i) {
      if (m_used == 0) m_out->push_back(0);
      if ((value >> i) & 1u) m_out->back() |= std::uint8_t(0x80u >> m_used);
      m_used = (m_used + 1) % 8;
    }
  }

 private:
  Bytes* m_out;
  int m_used = 0;  // bits of the last byte already written
};

void putU16(Bytes& out, std::uint16_t v) {
  out.push_back(std::uint8_t(v & 0xFF));
  out.push_back(std::uint8_t(v >> 8));
}

}  // namespace

Bytes makeSwf(int width, int height, int fps, std::uint16_t frameCount, std::uint8_t version) {
  assert(width > 0 && width <= 1638 && height > 0 && height <= 1638 && fps > 0 && fps <= 255);
  const std::uint32_t xMax = std::uint32_t(width) * 20, yMax = std::uint32_t(height) * 20;  // twips
  // Signed fields: one bit more than the largest value needs.
  const int bits = int(std::bit_width(std::max(xMax, yMax))) + 1;

  Bytes out = {'F', 'W', 'S', version, 0, 0, 0, 0};  // length patched below
  BitWriter rect(&out);
  rect.put(std::uint32_t(bits), 5);
  rect.put(0, bits);
  rect.put(xMax, bits);
  rect.put(0, bits);
  rect.put(yMax, bits);
  putU16(out, std::uint16_t(fps << 8));  // 8.8 fixed point
  putU16(out, frameCount);
  // Tag headers: code << 6 | length, both tags empty.
  putU16(out, std::uint16_t(1 << 6));  // ShowFrame
  putU16(out, 0);                      // End

  const std::uint32_t length = std::uint32_t(out.size());
  for (int i = 0; i < 4; ++i) out[std::size_t(4 + i)] = std::uint8_t(length >> (8 * i));
  return out;
}
