#pragma once
// Builds stand-alone CFL archives: the header, one data block per entry, then
// the directory block. The directory is written newest-first, so a reader's
// merged list shows the entries in the order they were added.
#include <cstdint>
#include <string>
#include <vector>

class ArchiveWriter {
 public:
  // Filter id the directory block is stored with.
  explicit ArchiveWriter(std::uint32_t directoryFilterId = 0x00000001) : m_directoryFilterId(directoryFilterId) {}

  // Encodes data through the filters filterId names and appends the entry.
  // False (with error()) when encoding fails or the archive would outgrow its
  // 32-bit offsets. Names are stored byte for byte; at most 65535 bytes.
  bool add(const std::string& name, const void* data, std::size_t size, std::uint32_t filterId);
  // Appends an entry block that is already encoded (for tests of damaged or
  // hand-made archives); `size` is the decoded size the directory announces.
  bool addRaw(const std::string& name, const void* stored, std::size_t storedLength, std::uint32_t size,
              std::uint32_t filterId);

  // The finished archive image. False (with error()) if the directory
  // cannot be encoded.
  bool finish(std::vector<unsigned char>* archive);

  const std::string& error() const { return m_error; }

  // The 8-byte trailer that makes an archive of `archiveSize` bytes readable
  // when appended to another file.
  static std::vector<unsigned char> trailer(std::uint32_t archiveSize);

 private:
  struct Entry {
    std::string name;
    std::uint32_t size, offset, filterId;
  };
  std::uint32_t m_directoryFilterId;
  std::vector<unsigned char> m_image = std::vector<unsigned char>(12, 0);  // header filled by finish()
  std::vector<Entry> m_entries;
  std::string m_error;
};

void appendU32(std::vector<unsigned char>& out, std::uint32_t value);
