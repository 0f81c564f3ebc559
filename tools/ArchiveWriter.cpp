#include "tools/ArchiveWriter.h"

#include "archive/ResourceFilter.h"

#include <cstdlib>
#include <cstring>

void appendU32(std::vector<unsigned char>& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back((value >> shift) & 0xFF);
}

bool ArchiveWriter::add(const std::string& name, const void* data, std::size_t size, std::uint32_t filterId) {
  if (size > 0xFFFFFFFFu) {
    m_error = "entry '" + name + "' is larger than 4 GiB";
    return false;
  }
  std::uint32_t storedLength = 0;
  unsigned char* stored =
      CFLEncode(static_cast<const unsigned char*>(data), std::uint32_t(size), filterId, &storedLength);
  if (!stored) {
    m_error = "cannot encode entry '" + name + "'";
    return false;
  }
  const bool ok = addRaw(name, stored, storedLength, std::uint32_t(size), filterId);
  std::free(stored);
  return ok;
}

bool ArchiveWriter::addRaw(const std::string& name, const void* stored, std::size_t storedLength,
                           std::uint32_t size, std::uint32_t filterId) {
  if (name.size() > 0xFFFF) {
    m_error = "entry name longer than 65535 bytes: '" + name.substr(0, 40) + "...'";
    return false;
  }
  if (m_image.size() + 4 + storedLength > 0xFFFFFFFFull) {
    m_error = "archive would exceed 4 GiB at entry '" + name + "'";
    return false;
  }
  m_entries.push_back({name, size, std::uint32_t(m_image.size()), filterId});
  appendU32(m_image, std::uint32_t(storedLength));
  const auto* bytes = static_cast<const unsigned char*>(stored);
  m_image.insert(m_image.end(), bytes, bytes + storedLength);
  return true;
}

bool ArchiveWriter::finish(std::vector<unsigned char>* archive) {
  std::vector<unsigned char> directory;
  for (auto it = m_entries.rbegin(); it != m_entries.rend(); ++it) {
    appendU32(directory, it->size);
    appendU32(directory, it->offset);
    appendU32(directory, it->filterId);
    directory.push_back(it->name.size() & 0xFF);
    directory.push_back((it->name.size() >> 8) & 0xFF);
    directory.insert(directory.end(), it->name.begin(), it->name.end());
  }
  if (directory.size() > 0x7FFFFFFF) {
    m_error = "directory too large";
    return false;
  }
  std::uint32_t storedLength = 0;
  unsigned char* stored = CFLEncode(directory.data(), std::uint32_t(directory.size()), m_directoryFilterId,
                                    &storedLength);
  if (!stored) {
    m_error = "cannot encode the directory";
    return false;
  }
  const std::uint64_t directoryOffset = m_image.size();
  if (directoryOffset + 8 + storedLength > 0xFFFFFFFFull) {
    std::free(stored);
    m_error = "archive would exceed 4 GiB";
    return false;
  }
  std::vector<unsigned char> header;
  header.insert(header.end(), {'C', 'F', 'L', '3'});
  appendU32(header, std::uint32_t(directoryOffset));
  appendU32(header, std::uint32_t(directory.size()));
  std::memcpy(m_image.data(), header.data(), 12);

  *archive = m_image;
  appendU32(*archive, m_directoryFilterId);
  appendU32(*archive, storedLength);
  archive->insert(archive->end(), stored, stored + storedLength);
  std::free(stored);
  return true;
}

std::vector<unsigned char> ArchiveWriter::trailer(std::uint32_t archiveSize) {
  std::vector<unsigned char> out;
  appendU32(out, archiveSize + 8);
  out.insert(out.end(), {'3', 'C', 'F', 'L'});
  return out;
}
