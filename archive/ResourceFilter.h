#pragma once
// Resource filters: the reversible transformations a CFL block can be stored
// through, and the decode chain that undoes the ones a filter id names.
//
// Filter id layout (u32):
//   bits  0-15  base filter, undone second (0x0000 None, 0x0001 ZLIB)
//   bits 16-23  post filter, undone last  (0x01 Delta8, 0x02 Delta16, 0x03 Delta32)
//   bits 24-31  pre filter, undone first  (none registered)
//
// Every buffer a filter or the chain hands out comes from std::malloc and is
// released with std::free by its receiver; allocation failure is reported as
// a failed call, never thrown.
#include <cstdint>

class CFLResourceFilter {
 public:
  CFLResourceFilter(std::uint32_t id, const char* name, const char* description);
  virtual ~CFLResourceFilter() = default;

  // Both produce a newly allocated buffer; on failure *out is null and
  // *outSize 0. The input always stays the caller's.
  virtual void Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                      std::uint32_t* outSize) = 0;
  virtual void Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize,
                      std::uint32_t* outSize) = 0;
  // Reserved for per-filter settings; no filter has any, so it does nothing.
  virtual void Configure(std::uint32_t) {}

  CFLResourceFilter* next = nullptr;  // registry link
  const char* description;
  const char* name;
  std::uint32_t id;
};

class CFLRH_None final : public CFLResourceFilter {
 public:
  CFLRH_None();
  void Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize, std::uint32_t* outSize) override;
  void Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize, std::uint32_t* outSize) override;
};

// Stored form: u32 decoded length (little-endian), then a zlib stream. Streams
// that lack their 4-byte Adler-32 trailer (made by older builders) decode.
class CFLRH_Zlib final : public CFLResourceFilter {
 public:
  CFLRH_Zlib();
  void Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize, std::uint32_t* outSize) override;
  void Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize, std::uint32_t* outSize) override;
};

// Differences between neighbouring little-endian elements of `width` bytes;
// the first element is stored as is, a tail shorter than one element is copied.
class CFLRH_DeltaBase : public CFLResourceFilter {
 public:
  CFLRH_DeltaBase(std::uint32_t id, const char* name, const char* description, unsigned width);
  void Encode(const unsigned char* in, unsigned char** out, std::uint32_t inSize, std::uint32_t* outSize) override;
  void Decode(const unsigned char* in, unsigned char** out, std::uint32_t inSize, std::uint32_t* outSize) override;

 private:
  unsigned m_width;  // bytes per element: 1, 2 or 4
};

class CFLRH_Delta8 final : public CFLRH_DeltaBase {
 public:
  CFLRH_Delta8();
};
class CFLRH_Delta16 final : public CFLRH_DeltaBase {
 public:
  CFLRH_Delta16();
};
class CFLRH_Delta32 final : public CFLRH_DeltaBase {
 public:
  CFLRH_Delta32();
};

constexpr std::uint32_t CFL_FILTER_NONE = 0x00000000;
constexpr std::uint32_t CFL_FILTER_ZLIB = 0x00000001;
constexpr std::uint32_t CFL_FILTER_DELTA8 = 0x00010000;
constexpr std::uint32_t CFL_FILTER_DELTA16 = 0x00020000;
constexpr std::uint32_t CFL_FILTER_DELTA32 = 0x00030000;

// The one allocator of archive buffers; release with std::free. Blocks of
// several MiB are placed on huge pages where the system offers them and
// faulted in at once, which makes extracting a large entry cost little more
// than decompressing it.
unsigned char* CFLAlloc(std::uint64_t size);

// Pushes a filter onto the head of the process-wide registry (filters do it
// from their constructors).
void CFLRegisterFilter(CFLResourceFilter* filter);
// The first registered filter whose id equals `id` exactly, or null.
CFLResourceFilter* CFLFindFilter(std::uint32_t id);
// Registry head; the list runs through CFLResourceFilter::next.
CFLResourceFilter* CFLFirstFilter();

// Undoes the filters `filterId` names (pre, then base, then post). Returns a
// new buffer or null when a stage has no filter or fails.
unsigned char* CFLDecode(const unsigned char* stored, std::uint32_t storedLength, std::uint32_t filterId);
// As CFLDecode, also reporting the decoded length.
unsigned char* CFLDecodeSized(const unsigned char* stored, std::uint32_t storedLength, std::uint32_t filterId,
                              std::uint32_t* decodedLength);
// The builder's direction: post filter, then base, then pre. Null on failure.
unsigned char* CFLEncode(const unsigned char* raw, std::uint32_t rawLength, std::uint32_t filterId,
                         std::uint32_t* encodedLength);
