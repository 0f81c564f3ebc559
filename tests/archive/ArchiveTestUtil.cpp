#include "ArchiveTestUtil.h"

#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

void putU32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes.at(at + i) = (value >> (8 * i)) & 0xFF;
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vxtest-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) std::abort();
  m_path = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::write(const std::string& name, const Bytes& bytes) const {
  const std::string path = file(name);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::FILE* f = std::fopen(path.c_str(), "wb");
  EXPECT_NE(f, nullptr) << path;
  if (f) {
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
  return path;
}

CurrentDirectory::CurrentDirectory(const std::string& path) {
  char cwd[4096];
  if (!::getcwd(cwd, sizeof cwd)) ADD_FAILURE() << "cannot read the current directory";
  m_previous = cwd;
  if (::chdir(path.c_str()) != 0) ADD_FAILURE() << "cannot enter " << path;
}

CurrentDirectory::~CurrentDirectory() {
  if (::chdir(m_previous.c_str()) != 0) ADD_FAILURE() << "cannot return to " << m_previous;
}

Bytes buildArchive(const std::vector<TestEntry>& entries, std::uint32_t directoryFilterId) {
  ArchiveWriter writer(directoryFilterId);
  for (const auto& e : entries) EXPECT_TRUE(writer.add(e.name, e.data.data(), e.data.size(), e.filterId)) << writer.error();
  Bytes image;
  EXPECT_TRUE(writer.finish(&image)) << writer.error();
  return image;
}

Bytes appendedArchive(const Bytes& prefix, const Bytes& archive) {
  Bytes out = prefix;
  out.insert(out.end(), archive.begin(), archive.end());
  const Bytes trailer = ArchiveWriter::trailer(std::uint32_t(archive.size()));
  out.insert(out.end(), trailer.begin(), trailer.end());
  return out;
}

Bytes tinyArchive() { return buildArchive({{"a", bytesOf("xyz"), 0}}, 0); }
