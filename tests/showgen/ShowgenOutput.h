#pragma once
// One generation of the example show shared by the tests of a suite (each
// test runs in a process of its own, so keep suites small), in a fresh
// temporary folder removed afterwards.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

#include "platform/d3dx/ImageDecoder.h"
#include "tools/showgen/ShowGenerator.h"

namespace showgen_test {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

inline Bytes readBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline fs::path freshFolder(const std::string& tag) {
  const fs::path path = fs::temp_directory_path() / ("vx-showgen-" + tag + "-" + std::to_string(::getpid()));
  fs::remove_all(path);
  return path;
}

inline DecodedImage decodeFile(const fs::path& path) {
  const Bytes bytes = readBytes(path);
  DecodedImage image;
  EXPECT_EQ(decodeImage(bytes.data(), bytes.size(), image), S_OK) << path;
  return image;
}

// What a suite needs generated: the whole show, or only the 3D scenes with
// their textures (a fraction of the time: no music, no 2D pictures).
enum class Generate { show, scenes };

template <Generate what>
class Generated : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_dir = new fs::path(freshFolder(what == Generate::show ? "show" : "scenes"));
    s_written = new std::vector<ShowFile>;
    std::string error;
    s_ok = what == Generate::show ? generateShow(s_dir->string(), s_written, &error)
                                  : generateScenes(s_dir->string(), s_written, &error);
    if (!s_ok) ADD_FAILURE() << error;
  }
  static void TearDownTestSuite() {
    fs::remove_all(*s_dir);
    delete s_dir;
    delete s_written;
  }
  void SetUp() override { ASSERT_TRUE(s_ok); }

  static inline fs::path* s_dir = nullptr;
  static inline std::vector<ShowFile>* s_written = nullptr;
  static inline bool s_ok = false;
};

using ShowgenOutput = Generated<Generate::show>;

}  // namespace showgen_test
