#include "platform/movie/SwfHeader.h"

#include <zlib.h>

#include <cstring>

namespace {

// Reads bits most significant first from a byte buffer; reading past the end
// sets a flag instead.
class BitReader {
 public:
  BitReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

  std::uint32_t bits(int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      const std::size_t byte = m_bit >> 3;
      if (byte >= m_size) {
        m_overrun = true;
        return 0;
      }
      value = value << 1 | ((m_data[byte] >> (7 - (m_bit & 7))) & 1u);
      ++m_bit;
    }
    return value;
  }
  std::int32_t signedBits(int count) {
    const std::uint32_t raw = bits(count);
    if (count == 0) return 0;
    const std::uint32_t sign = 1u << (count - 1);
    return std::int32_t((raw ^ sign) - sign);  // sign-extend an n-bit value
  }
  std::size_t bytesUsed() const { return (m_bit + 7) >> 3; }
  bool overrun() const { return m_overrun; }

 private:
  const std::uint8_t* m_data;
  std::size_t m_size;
  std::size_t m_bit = 0;
  bool m_overrun = false;
};

std::uint32_t readU32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
}
std::uint16_t readU16(const std::uint8_t* p) { return std::uint16_t(p[0] | p[1] << 8); }

// Inflates the start of the zlib stream in data[0..size) into out (capacity
// bytes at most). Returns how many bytes came out, or -1 when the stream is
// damaged. A stream that ends early simply yields fewer bytes.
long inflatePrefix(const std::uint8_t* data, std::size_t size, std::uint8_t* out, std::size_t capacity) {
  z_stream stream;
  std::memset(&stream, 0, sizeof stream);
  if (inflateInit(&stream) != Z_OK) return -1;
  long produced = 0;
  bool damaged = false;
  // zlib counts in uInt; feed larger inputs in slices.
  const std::uint8_t* next = data;
  std::size_t left = size;
  stream.next_out = out;
  stream.avail_out = uInt(capacity);
  while (stream.avail_out > 0) {
    if (stream.avail_in == 0) {
      if (left == 0) break;
      const std::size_t slice = left < 0x40000000u ? left : 0x40000000u;
      stream.next_in = const_cast<Bytef*>(next);
      stream.avail_in = uInt(slice);
      next += slice;
      left -= slice;
    }
    const int rc = inflate(&stream, Z_NO_FLUSH);
    if (rc == Z_STREAM_END) break;
    if (rc == Z_BUF_ERROR && stream.avail_in == 0) continue;  // wants more input
    if (rc != Z_OK) {
      damaged = true;
      break;
    }
  }
  produced = long(capacity - stream.avail_out);
  inflateEnd(&stream);
  return damaged ? -1 : produced;
}

// Fills the fields behind the 8-byte prefix from the (uncompressed) header
// bytes body[0..size).
SwfStatus readBody(const std::uint8_t* body, std::size_t size, SwfHeader* header) {
  BitReader reader(body, size);
  const int n = int(reader.bits(5));
  header->frameSize.left = reader.signedBits(n);
  header->frameSize.right = reader.signedBits(n);
  header->frameSize.top = reader.signedBits(n);
  header->frameSize.bottom = reader.signedBits(n);
  if (reader.overrun()) return SwfStatus::truncated;
  const std::size_t rectBytes = reader.bytesUsed();
  if (size < rectBytes + 4) return SwfStatus::truncated;
  header->frameRate = readU16(body + rectBytes);
  header->frameCount = readU16(body + rectBytes + 2);
  header->headerLength = std::uint32_t(8 + rectBytes + 4);
  // The length field counts the uncompressed file; it cannot be shorter than
  // the header that was just read.
  if (header->fileLength < header->headerLength) return SwfStatus::damaged;
  return SwfStatus::ok;
}

int pixelsFromTwips(std::int32_t from, std::int32_t to) {
  const std::int64_t twips = std::int64_t(to) - from;
  return twips <= 0 ? 0 : int(twips / 20);
}

}  // namespace

int SwfHeader::widthPixels() const { return pixelsFromTwips(frameSize.left, frameSize.right); }
int SwfHeader::heightPixels() const { return pixelsFromTwips(frameSize.top, frameSize.bottom); }

SwfStatus readSwfHeader(const void* data, std::size_t size, SwfHeader* header) {
  *header = SwfHeader();
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  if (!bytes || size < 3) return size == 0 || !bytes ? SwfStatus::truncated : SwfStatus::notAMovie;
  if (bytes[1] != 'W' || bytes[2] != 'S') return SwfStatus::notAMovie;
  if (bytes[0] == 'Z') return SwfStatus::unsupported;
  if (bytes[0] != 'F' && bytes[0] != 'C') return SwfStatus::notAMovie;
  header->signature = char(bytes[0]);
  if (size < 8) return SwfStatus::truncated;
  header->version = bytes[3];
  header->fileLength = readU32(bytes + 4);

  if (header->signature == 'F') return readBody(bytes + 8, size - 8, header);

  std::uint8_t body[kSwfMaxHeaderLength - 8];
  const long produced = inflatePrefix(bytes + 8, size - 8, body, sizeof body);
  if (produced < 0) return SwfStatus::damaged;
  return readBody(body, std::size_t(produced), header);
}

const char* swfStatusText(SwfStatus status) {
  switch (status) {
    case SwfStatus::ok: return "ok";
    case SwfStatus::notAMovie: return "not a movie";
    case SwfStatus::unsupported: return "LZMA-compressed movies are not supported";
    case SwfStatus::truncated: return "the file ends inside the movie header";
    case SwfStatus::damaged: return "the movie header is damaged";
  }
  return "unknown";
}
