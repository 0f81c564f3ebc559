#pragma once
// Shared helpers for the archive tests: byte buffers, temporary directories
// and archives built with the project's own writer.
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const std::string& text);
void putU32(Bytes& bytes, std::size_t at, std::uint32_t value);

// A fresh directory below the system's temporary directory, removed with
// everything in it when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + "/" + name; }
  std::string write(const std::string& name, const Bytes& bytes) const;

 private:
  std::string m_path;
};

// Makes a folder the process's current directory for as long as it lives
// (loose files are looked up there), then returns to the previous one.
class CurrentDirectory {
 public:
  explicit CurrentDirectory(const std::string& path);
  ~CurrentDirectory();
  CurrentDirectory(const CurrentDirectory&) = delete;
  CurrentDirectory& operator=(const CurrentDirectory&) = delete;

 private:
  std::string m_previous;
};

struct TestEntry {
  std::string name;
  Bytes data;
  std::uint32_t filterId;
};
// A stand-alone archive image; the directory stored with directoryFilterId.
Bytes buildArchive(const std::vector<TestEntry>& entries, std::uint32_t directoryFilterId = 0x00000001);
// prefix + archive + trailer.
Bytes appendedArchive(const Bytes& prefix, const Bytes& archive);

// The smallest archive: one entry "a" holding "xyz", everything unfiltered.
Bytes tinyArchive();
