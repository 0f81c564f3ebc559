#include "PixelCompare.h"

#include "tools/MediaWriters.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace {
int channel(D3DCOLOR c, int shift) { return int((c >> shift) & 0xFF); }

std::string safeName(const std::string& name) {
  std::string out = name;
  for (char& c : out)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.')) c = '_';
  return out;
}
}  // namespace

std::string pixelFailureFolder() {
  std::filesystem::path folder = std::filesystem::current_path() / "pixel-failures";
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  return folder.string();
}

::testing::AssertionResult ImagesMatch(const std::string& name, const std::vector<D3DCOLOR>& expected,
                                       const std::vector<D3DCOLOR>& actual, unsigned width, unsigned height,
                                       int tolerance, bool ignoreAlpha) {
  const std::size_t count = std::size_t(width) * height;
  if (expected.size() != count || actual.size() != count) {
    return ::testing::AssertionFailure() << name << ": image sizes differ (expected " << expected.size()
                                         << " pixels, actual " << actual.size() << ", " << width << " x "
                                         << height << " asked)";
  }
  std::vector<D3DCOLOR> diff(count, 0);
  std::size_t misses = 0;
  int worst = 0;
  std::ostringstream first;
  for (std::size_t i = 0; i < count; ++i) {
    D3DCOLOR d = 0;
    bool miss = false;
    for (int shift = 0; shift < 32; shift += 8) {
      const int delta = std::abs(channel(expected[i], shift) - channel(actual[i], shift));
      if (shift == 24 && ignoreAlpha) continue;
      if (delta > tolerance) miss = true;
      worst = std::max(worst, delta);
      d |= D3DCOLOR(std::min(255, delta * 8)) << shift;
    }
    diff[i] = d | 0xFF000000u;
    if (miss) {
      if (misses < 5) {
        first << "\n  (" << i % width << ", " << i / width << "): expected 0x" << std::hex << expected[i]
              << ", actual 0x" << actual[i] << std::dec;
      }
      ++misses;
    }
  }
  if (misses == 0) return ::testing::AssertionSuccess();

  const std::string base = pixelFailureFolder() + "/" + safeName(name);
  std::string error;
  writePngRgb(base + "-expected.png", expected, width, height, &error);
  writePngRgb(base + "-actual.png", actual, width, height, &error);
  writePngRgb(base + "-diff.png", diff, width, height, &error);
  return ::testing::AssertionFailure() << name << ": " << misses << " of " << count
                                       << " pixels differ by more than " << tolerance << " (worst " << worst
                                       << ")" << first.str() << "\n  images: " << base
                                       << "-{expected,actual,diff}.png";
}
