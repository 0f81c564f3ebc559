// vx_showgen OUTDIR: writes the example show's pictures, image sequence,
// music and movie into OUTDIR (see ShowGenerator.h).
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/showgen/ShowGenerator.h"

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '\0') {
    std::fprintf(stderr, "usage: vx_showgen OUTDIR\n  writes the example show's generated pictures and music into OUTDIR\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  std::vector<ShowFile> written;
  std::string error;
  if (!generateShow(argv[1], &written, &error)) {
    std::fprintf(stderr, "vx_showgen: %s\n", error.c_str());
    return 1;
  }
  std::uintmax_t total = 0;
  for (const ShowFile& file : written) total += file.bytes;
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  std::printf("vx_showgen: %zu files, %ju KB in %s (%lld ms)\n", written.size(), total / 1024, argv[1],
              static_cast<long long>(ms.count()));
  return 0;
}
