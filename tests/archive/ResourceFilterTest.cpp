#include "archive/ResourceFilter.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// Runs the decode chain and returns the result, or nullopt-like empty flag.
struct Decoded {
  bool ok = false;
  Bytes data;
};
Decoded decode(const Bytes& stored, std::uint32_t id) {
  std::uint32_t length = 0;
  unsigned char* out = CFLDecodeSized(stored.data(), std::uint32_t(stored.size()), id, &length);
  Decoded d;
  if (out) {
    d.ok = true;
    d.data.assign(out, out + length);
    std::free(out);
  }
  return d;
}

Bytes encode(const Bytes& raw, std::uint32_t id) {
  std::uint32_t length = 0;
  unsigned char* out = CFLEncode(raw.data(), std::uint32_t(raw.size()), id, &length);
  EXPECT_NE(out, nullptr);
  Bytes result(out, out + length);
  std::free(out);
  return result;
}

Bytes words16(std::initializer_list<std::uint16_t> words) {
  Bytes b;
  for (auto w : words) b.push_back(w & 0xFF), b.push_back(w >> 8);
  return b;
}

// A ZLIB block by hand: the u32 length prefix and a raw zlib stream.
Bytes zlibBlock(std::uint32_t announced, const Bytes& raw, std::size_t dropFromEnd = 0) {
  uLongf length = compressBound(uLong(raw.size()));
  Bytes stream(length);
  EXPECT_EQ(compress(stream.data(), &length, raw.data(), uLong(raw.size())), Z_OK);
  stream.resize(length - dropFromEnd);
  Bytes block;
  block.reserve(4 + stream.size());
  for (int i = 0; i < 4; ++i) block.push_back((announced >> (8 * i)) & 0xFF);
  for (unsigned char c : stream) block.push_back(c);
  return block;
}

Bytes sampleText(std::size_t size) {
  Bytes b(size);
  for (std::size_t i = 0; i < size; ++i) b[i] = "the quick brown fox "[i % 20] ^ (i / 997 & 3);
  return b;
}

}  // namespace

TEST(ResourceFilterRegistry, HoldsTheFiveFiltersNewestFirst) {
  std::vector<std::string> names;
  for (CFLResourceFilter* f = CFLFirstFilter(); f; f = f->next) names.push_back(f->name);
  EXPECT_EQ(names, (std::vector<std::string>{"ZLIB", "None", "Delta8", "Delta32", "Delta16"}));
  EXPECT_STREQ(CFLFindFilter(0x00020000)->description, "16-bit delta encoding");
  EXPECT_EQ(std::strncmp(CFLFindFilter(1)->description, "ZLIB data compression library", 29), 0);
  EXPECT_EQ(CFLFindFilter(0x00040000), nullptr);
}

TEST(DeltaFilter, Delta16EncodesDifferencesModulo65536AndDecodesBack) {
  const Bytes raw = words16({0x0001, 0x0003, 0xFFFF, 0x0002});
  const Bytes stored = encode(raw, CFL_FILTER_DELTA16);
  EXPECT_EQ(stored, words16({0x0001, 0x0002, 0xFFFC, 0x0003}));
  Decoded back = decode(stored, CFL_FILTER_DELTA16);
  ASSERT_TRUE(back.ok);
  EXPECT_EQ(back.data, raw);
}

TEST(DeltaFilter, TailAndShortInputsPassThrough) {
  for (std::uint32_t id : {CFL_FILTER_DELTA8, CFL_FILTER_DELTA16, CFL_FILTER_DELTA32}) {
    const Bytes three = {0x10, 0x20, 0x30};
    Decoded d = decode(three, id);
    ASSERT_TRUE(d.ok);
    if (id == CFL_FILTER_DELTA32) {
      EXPECT_EQ(d.data, three) << "shorter than one element";
    }
    Decoded empty = decode({}, id);
    ASSERT_TRUE(empty.ok);
    EXPECT_TRUE(empty.data.empty());
  }
  // Delta32 over 7 bytes: one element then 3 tail bytes, copied unchanged.
  const Bytes seven = {1, 0, 0, 0, 9, 8, 7};
  EXPECT_EQ(encode(seven, CFL_FILTER_DELTA32), seven);
  // Delta8 is a running sum over every byte, wrapping.
  EXPECT_EQ(decode({0xFF, 0x02, 0x01}, CFL_FILTER_DELTA8).data, (Bytes{0xFF, 0x01, 0x02}));
}

TEST(DecodeChain, NoneGivesACopyInANewBuffer) {
  const Bytes stored = {1, 2, 3, 4, 5};
  unsigned char* out = CFLDecode(stored.data(), 5, 0);
  ASSERT_NE(out, nullptr);
  EXPECT_NE(out, stored.data());
  EXPECT_EQ(Bytes(out, out + 5), stored);
  std::free(out);
}

TEST(DecodeChain, DeltaPlusZlibRoundTripsAnOddLength) {
  const Bytes raw = {0x10, 0x00, 0x30, 0x00, 0x05, 0xF0, 0x77};
  const Bytes stored = encode(raw, 0x00020001);
  Decoded d = decode(stored, 0x00020001);
  ASSERT_TRUE(d.ok);
  EXPECT_EQ(d.data, raw);
  EXPECT_EQ(d.data[6], 0x77);
}

TEST(DecodeChain, EveryIdPathSucceedsOrFailsAsItsFiltersAllow) {
  const Bytes raw = sampleText(1000);
  for (std::uint32_t post : {0u, 0x00010000u, 0x00020000u, 0x00030000u})
    for (std::uint32_t base : {0u, 1u}) {
      Decoded d = decode(encode(raw, post | base), post | base);
      ASSERT_TRUE(d.ok) << std::hex << (post | base);
      EXPECT_EQ(d.data, raw) << std::hex << (post | base);
    }
  EXPECT_FALSE(decode(raw, 0x01000000).ok) << "no pre filter is registered";
  EXPECT_FALSE(decode(raw, 0x00040000).ok) << "unknown post filter after the base stage";
  EXPECT_FALSE(decode(raw, 0x00000002).ok) << "unknown base filter";
  EXPECT_FALSE(decode(raw, 0x00000202).ok) << "unknown base filter, also in its low byte";
  // Bits 8-15 fall back to the low byte: 0x0101 is ZLIB.
  Decoded fallback = decode(encode(raw, CFL_FILTER_ZLIB), 0x00000101);
  ASSERT_TRUE(fallback.ok);
  EXPECT_EQ(fallback.data, raw);
}

TEST(ZlibFilter, StoredFormIsLengthPrefixAndZlibStream) {
  const Bytes raw = sampleText(300);
  const Bytes stored = encode(raw, CFL_FILTER_ZLIB);
  ASSERT_GT(stored.size(), 6u);
  EXPECT_EQ(stored[0] | stored[1] << 8 | stored[2] << 16 | stored[3] << 24, 300);
  Bytes plain(300);
  uLongf length = 300;
  ASSERT_EQ(uncompress(plain.data(), &length, stored.data() + 4, uLong(stored.size() - 4)), Z_OK);
  EXPECT_EQ(plain, raw);
}

TEST(ZlibFilter, StreamWithoutItsAdlerTrailerDecodesToTheAnnouncedLength) {
  const Bytes raw = sampleText(5000);
  Decoded d = decode(zlibBlock(5000, raw, 4), CFL_FILTER_ZLIB);
  ASSERT_TRUE(d.ok);
  EXPECT_EQ(d.data, raw);
}

TEST(ZlibFilter, CompleteStreamDecodesToItsOwnLength) {
  const Bytes raw = sampleText(100);
  Decoded d = decode(zlibBlock(180, raw), CFL_FILTER_ZLIB);
  ASSERT_TRUE(d.ok);
  EXPECT_EQ(d.data, raw) << "announced 180, the stream holds 100";
}

TEST(ZlibFilter, DamagedBlocksFail) {
  const Bytes raw = sampleText(4000);
  Bytes corrupt = zlibBlock(4000, raw);
  corrupt[4] ^= 0xFF;  // zlib header
  EXPECT_FALSE(decode(corrupt, CFL_FILTER_ZLIB).ok);
  EXPECT_FALSE(decode({1, 2, 3}, CFL_FILTER_ZLIB).ok) << "shorter than the length prefix";
  EXPECT_FALSE(decode(zlibBlock(4000, raw, 40), CFL_FILTER_ZLIB).ok) << "cut inside the data";
  // Announcing more than deflate could ever expand to is refused up front
  // (no 4 GiB allocation): 1032 x stored length + 64 is the ceiling.
  Bytes bomb = zlibBlock(0xFFFFFFF0u, raw);
  EXPECT_FALSE(decode(bomb, CFL_FILTER_ZLIB).ok);
  const Bytes zeros(100000, 0);
  Bytes dense = zlibBlock(100000, zeros);
  ASSERT_LE(100000u, (dense.size() - 4) * 1032 + 64) << "a real 1000:1 stream stays under the ceiling";
  EXPECT_TRUE(decode(dense, CFL_FILTER_ZLIB).ok);
}

TEST(ZlibFilter, EncodeOfEmptyInputRoundTrips) {
  Decoded d = decode(encode({}, CFL_FILTER_ZLIB), CFL_FILTER_ZLIB);
  ASSERT_TRUE(d.ok);
  EXPECT_TRUE(d.data.empty());
}
