// Extraction of a 64 MiB zlib entry through CFLArchive against a bare zlib
// uncompress of the same stream, in the same run. Extraction adds the file
// read, the length check and the buffer hand-over; it should stay within 10%
// of the bare call's throughput.
//
//   build/bench/archive/bench_archive --benchmark_repetitions=5
#include "archive/CFLArchive.h"
#include "archive/ResourceFilter.h"
#include "tools/ArchiveWriter.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <vector>

namespace {

constexpr std::uint32_t kEntrySize = 64u << 20;

// Content that compresses like real show data (about 3:1): runs of text-like
// symbols mixed with noisy image-like rows.
std::vector<unsigned char> makeContent() {
  std::vector<unsigned char> data(kEntrySize);
  std::mt19937 random(1234);
  for (std::size_t i = 0; i < data.size();) {
    const std::size_t run = 64 + random() % 512;
    const bool noisy = random() % 3 == 0;
    const unsigned char base = random() & 0xFF;
    for (std::size_t k = 0; k < run && i < data.size(); ++k, ++i)
      data[i] = noisy ? static_cast<unsigned char>(base + random() % 16) : static_cast<unsigned char>("abcdefgh"[(k / 3) % 8] ^ base);
  }
  return data;
}

struct Fixture {
  std::string path;
  std::vector<unsigned char> stored;  // the entry's stored block: prefix + zlib stream
  CFLArchive archive;

  Fixture() {
    const auto content = makeContent();
    ArchiveWriter writer;
    writer.add("big.bin", content.data(), content.size(), CFL_FILTER_ZLIB);
    std::vector<unsigned char> image;
    writer.finish(&image);
    path = (std::filesystem::temp_directory_path() / "vx-bench-archive.cfl").string();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(image.data(), 1, image.size(), f);
    std::fclose(f);
    std::uint32_t storedLength = 0;
    unsigned char* block = CFLEncode(content.data(), kEntrySize, CFL_FILTER_ZLIB, &storedLength);
    stored.assign(block, block + storedLength);
    std::free(block);
    archive.Open(path.c_str());
  }
  ~Fixture() { std::remove(path.c_str()); }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

void BM_BareUncompress(benchmark::State& state) {
  Fixture& f = fixture();
  std::vector<unsigned char> out(kEntrySize);
  for (auto _ : state) {
    uLongf length = kEntrySize;
    const int rc = uncompress(out.data(), &length, f.stored.data() + 4, uLong(f.stored.size() - 4));
    if (rc != Z_OK || length != kEntrySize) state.SkipWithError("uncompress failed");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * kEntrySize);
  state.counters["ratio"] = double(f.stored.size()) / kEntrySize;
}

void BM_ArchiveExtract(benchmark::State& state) {
  Fixture& f = fixture();
  for (auto _ : state) {
    std::uint32_t size = 0;
    unsigned char* data = f.archive.Extract("big.bin", &size);
    if (!data || size != kEntrySize) state.SkipWithError("extract failed");
    benchmark::DoNotOptimize(data);
    std::free(data);
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * kEntrySize);
}

BENCHMARK(BM_BareUncompress)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ArchiveExtract)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace
