#include "archive/ResourceFilter.h"

#include <zlib.h>

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

namespace {

CFLResourceFilter* g_filterHead = nullptr;  // constant-initialised before any filter registers

unsigned char* allocBytes(std::uint64_t size) { return CFLAlloc(size); }

void failed(unsigned char** out, std::uint32_t* outSize) {
  *out = nullptr;
  *outSize = 0;
}

std::uint32_t readU32(const unsigned char* p) {
  return std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16) |
         (std::uint32_t(p[3]) << 24);
}

template <typename Word>
void deltaEncode(const unsigned char* in, unsigned char* out, std::uint32_t count) {
  Word previous = 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    Word value;
    std::memcpy(&value, in + k * sizeof(Word), sizeof(Word));
    const Word stored = static_cast<Word>(value - previous);
    std::memcpy(out + k * sizeof(Word), &stored, sizeof(Word));
    previous = value;
  }
}

template <typename Word>
void deltaDecode(const unsigned char* in, unsigned char* out, std::uint32_t count) {
  Word sum = 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    Word delta;
    std::memcpy(&delta, in + k * sizeof(Word), sizeof(Word));
    sum = static_cast<Word>(sum + delta);
    std::memcpy(out + k * sizeof(Word), &sum, sizeof(Word));
  }
}

}  // namespace

unsigned char* CFLAlloc(std::uint64_t size) {
  constexpr std::uint64_t kLarge = 8u << 20;  // bytes
  constexpr std::uint64_t kHugePage = 2u << 20;
  if (size > SIZE_MAX - kHugePage) return nullptr;
  if (size < kLarge) {
    // Never null for a zero-byte request, so null always means failure.
    return static_cast<unsigned char*>(std::malloc(size ? std::size_t(size) : 1));
  }
  const std::size_t rounded = std::size_t((size + kHugePage - 1) / kHugePage * kHugePage);
  void* block = std::aligned_alloc(kHugePage, rounded);
  if (!block) return nullptr;
  // Both are hints: older kernels refuse them and the buffer works the same.
  ::madvise(block, rounded, MADV_HUGEPAGE);
#ifdef MADV_POPULATE_WRITE
  ::madvise(block, rounded, MADV_POPULATE_WRITE);
#endif
  return static_cast<unsigned char*>(block);
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "delta filters use native little-endian words");

CFLResourceFilter::CFLResourceFilter(std::uint32_t id_, const char* name_, const char* description_)
    : description(description_), name(name_), id(id_) {
  CFLRegisterFilter(this);
}

void CFLRegisterFilter(CFLResourceFilter* filter) {
  filter->next = g_filterHead;
  g_filterHead = filter;
}

CFLResourceFilter* CFLFirstFilter() { return g_filterHead; }

CFLResourceFilter* CFLFindFilter(std::uint32_t id) {
  for (CFLResourceFilter* f = g_filterHead; f; f = f->next)
    if (f->id == id) return f;
  return nullptr;
}

// ---- None ----

CFLRH_None::CFLRH_None() : CFLResourceFilter(CFL_FILTER_NONE, "None", "No compression") {}

void CFLRH_None::Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                        std::uint32_t* outSize) {
  unsigned char* copy = allocBytes(inSize);
  if (!copy) return failed(out, outSize);
  if (inSize) std::memcpy(copy, in, inSize);
  *out = copy;
  *outSize = inSize;
}

void CFLRH_None::Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                        std::uint32_t* outSize) {
  Encode(in, out, inSize, outSize);
}

// ---- ZLIB ----

CFLRH_Zlib::CFLRH_Zlib()
    : CFLResourceFilter(CFL_FILTER_ZLIB, "ZLIB",
                        "ZLIB data compression library (c) Jean-loup Gailly and Mark Adler") {}

void CFLRH_Zlib::Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                        std::uint32_t* outSize) {
  // Room for the stream: 1.01 (a single-precision constant) times the input
  // plus 12 bytes, as archives have always been built.
  const std::uint64_t capacity = 12 + std::uint64_t(double(inSize) * double(1.01f));
  if (capacity > 0xFFFFFFFFu) return failed(out, outSize);
  unsigned char* packed = allocBytes(capacity);
  if (!packed) return failed(out, outSize);
  uLongf packedLength = uLongf(capacity);
  if (compress(packed, &packedLength, in, inSize) < 0) {
    std::free(packed);
    return failed(out, outSize);
  }
  unsigned char* block = allocBytes(std::uint64_t(packedLength) + 4);
  if (!block) {
    std::free(packed);
    return failed(out, outSize);
  }
  block[0] = inSize & 0xFF;
  block[1] = (inSize >> 8) & 0xFF;
  block[2] = (inSize >> 16) & 0xFF;
  block[3] = (inSize >> 24) & 0xFF;
  std::memcpy(block + 4, packed, packedLength);
  std::free(packed);
  *out = block;
  *outSize = std::uint32_t(packedLength + 4);
}

void CFLRH_Zlib::Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                        std::uint32_t* outSize) {
  if (inSize < 4) return failed(out, outSize);
  const std::uint32_t announced = readU32(in);
  // Deflate cannot expand a stream more than about 1032:1; a block announcing
  // more is damaged, and must not make us allocate what it claims.
  if (std::uint64_t(announced) > std::uint64_t(inSize - 4) * 1032 + 64) return failed(out, outSize);

  unsigned char* data = allocBytes(announced);
  if (!data) return failed(out, outSize);
  uLongf length = announced;
  const int result = uncompress(data, &length, in + 4, inSize - 4);
  // Z_BUF_ERROR is what a stream cut off after its data (no Adler-32 trailer)
  // gives; the announced length then stands.
  if (result < 0 && result != Z_BUF_ERROR) {
    std::free(data);
    return failed(out, outSize);
  }
  if (length < announced) {
    // Hand out a buffer of exactly the decoded length (shrinking rarely moves).
    unsigned char* exact = static_cast<unsigned char*>(std::realloc(data, length ? length : 1));
    if (!exact) {
      std::free(data);
      return failed(out, outSize);
    }
    data = exact;
  }
  *out = data;
  *outSize = std::uint32_t(length);
}

// ---- Delta ----

CFLRH_DeltaBase::CFLRH_DeltaBase(std::uint32_t id_, const char* name_, const char* description_, unsigned width)
    : CFLResourceFilter(id_, name_, description_), m_width(width) {}

void CFLRH_DeltaBase::Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                             std::uint32_t* outSize) {
  unsigned char* result = allocBytes(inSize);
  if (!result) return failed(out, outSize);
  const std::uint32_t count = inSize / m_width;
  switch (m_width) {
    case 1: deltaEncode<std::uint8_t>(in, result, count); break;
    case 2: deltaEncode<std::uint16_t>(in, result, count); break;
    default: deltaEncode<std::uint32_t>(in, result, count); break;
  }
  const std::uint32_t done = count * m_width;
  if (inSize > done) std::memcpy(result + done, in + done, inSize - done);
  *out = result;
  *outSize = inSize;
}

void CFLRH_DeltaBase::Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                             std::uint32_t* outSize) {
  unsigned char* result = allocBytes(inSize);
  if (!result) return failed(out, outSize);
  const std::uint32_t count = inSize / m_width;
  switch (m_width) {
    case 1: deltaDecode<std::uint8_t>(in, result, count); break;
    case 2: deltaDecode<std::uint16_t>(in, result, count); break;
    default: deltaDecode<std::uint32_t>(in, result, count); break;
  }
  const std::uint32_t done = count * m_width;
  if (inSize > done) std::memcpy(result + done, in + done, inSize - done);
  *out = result;
  *outSize = inSize;
}

CFLRH_Delta8::CFLRH_Delta8() : CFLRH_DeltaBase(CFL_FILTER_DELTA8, "Delta8", "8-bit delta encoding", 1) {}
CFLRH_Delta16::CFLRH_Delta16() : CFLRH_DeltaBase(CFL_FILTER_DELTA16, "Delta16", "16-bit delta encoding", 2) {}
CFLRH_Delta32::CFLRH_Delta32() : CFLRH_DeltaBase(CFL_FILTER_DELTA32, "Delta32", "32-bit delta encoding", 4) {}

// The registered filters. They live in this file, next to the chain that
// uses them, so that linking the chain always links them too. Constructed in
// this order, each pushing itself onto the head: the registry then reads
// ZLIB, None, Delta8, Delta32, Delta16.
namespace {
CFLRH_Delta16 g_delta16;
CFLRH_Delta32 g_delta32;
CFLRH_Delta8 g_delta8;
CFLRH_None g_none;
CFLRH_Zlib g_zlib;
}  // namespace

// ---- The chain ----

unsigned char* CFLDecodeSized(const unsigned char* stored, std::uint32_t storedLength, std::uint32_t filterId,
                              std::uint32_t* decodedLength) {
  *decodedLength = 0;
  const unsigned char* current = stored;
  std::uint32_t currentLength = storedLength;
  auto releaseCurrent = [&] {
    if (current != stored) std::free(const_cast<unsigned char*>(current));
  };

  // Stage 1: pre filter.
  if (filterId & 0xFF000000u) {
    CFLResourceFilter* pre = CFLFindFilter(filterId & 0xFF000000u);
    if (!pre) return nullptr;
    unsigned char* out;
    std::uint32_t outLength;
    pre->Decode(current, &out, currentLength, &outLength);
    if (!out) return nullptr;
    current = out;
    currentLength = outLength;
  }

  // Stage 2: base filter, always run (None makes the result our own buffer).
  CFLResourceFilter* base = CFLFindFilter(filterId & 0x0000FFFFu);
  if (!base) base = CFLFindFilter(filterId & 0x000000FFu);
  if (!base) {
    releaseCurrent();
    return nullptr;
  }
  {
    unsigned char* out;
    std::uint32_t outLength;
    base->Decode(current, &out, currentLength, &outLength);
    releaseCurrent();
    if (!out) return nullptr;
    current = out;
    currentLength = outLength;
  }

  // Stage 3: post filter.
  if (filterId & 0x00FF0000u) {
    CFLResourceFilter* post = CFLFindFilter(filterId & 0x00FF0000u);
    unsigned char* out = nullptr;
    std::uint32_t outLength = 0;
    if (post) post->Decode(current, &out, currentLength, &outLength);
    releaseCurrent();
    if (!out) return nullptr;
    current = out;
    currentLength = outLength;
  }

  *decodedLength = currentLength;
  return const_cast<unsigned char*>(current);
}

unsigned char* CFLDecode(const unsigned char* stored, std::uint32_t storedLength, std::uint32_t filterId) {
  std::uint32_t ignored;
  return CFLDecodeSized(stored, storedLength, filterId, &ignored);
}

unsigned char* CFLEncode(const unsigned char* raw, std::uint32_t rawLength, std::uint32_t filterId,
                         std::uint32_t* encodedLength) {
  *encodedLength = 0;
  CFLResourceFilter* stages[3] = {
      (filterId & 0x00FF0000u) ? CFLFindFilter(filterId & 0x00FF0000u) : nullptr,
      CFLFindFilter(filterId & 0x0000FFFFu),
      (filterId & 0xFF000000u) ? CFLFindFilter(filterId & 0xFF000000u) : nullptr,
  };
  if (!stages[1]) stages[1] = CFLFindFilter(filterId & 0x000000FFu);
  if (((filterId & 0x00FF0000u) && !stages[0]) || !stages[1] || ((filterId & 0xFF000000u) && !stages[2]))
    return nullptr;

  const unsigned char* current = raw;
  std::uint32_t currentLength = rawLength;
  for (CFLResourceFilter* stage : stages) {
    if (!stage) continue;
    unsigned char* out;
    std::uint32_t outLength;
    stage->Encode(current, &out, currentLength, &outLength);
    if (current != raw) std::free(const_cast<unsigned char*>(current));
    if (!out) return nullptr;
    current = out;
    currentLength = outLength;
  }
  *encodedLength = currentLength;
  return const_cast<unsigned char*>(current);
}
