#include "archive/CFLArchive.h"

#include "archive/ResourceFilter.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

CFLArchive* g_archive = nullptr;

namespace {

std::uint32_t readU32(const unsigned char* p) {
  return std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16) |
         (std::uint32_t(p[3]) << 24);
}

// A read-only regular file, read at absolute positions; closes itself.
class InputFile {
 public:
  explicit InputFile(const char* path) {
    m_fd = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat st;
    if (m_fd >= 0 && (::fstat(m_fd, &st) != 0 || !S_ISREG(st.st_mode))) {
      ::close(m_fd);
      m_fd = -1;
    }
    if (m_fd >= 0) m_size = std::uint64_t(st.st_size);
  }
  ~InputFile() {
    if (m_fd >= 0) ::close(m_fd);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool ok() const { return m_fd >= 0; }
  std::uint64_t size() const { return m_size; }

  // Reads exactly `length` bytes at `position`; false if they are not all there.
  bool read(std::uint64_t position, void* dest, std::uint64_t length) const {
    if (position > m_size || length > m_size - position) return false;
    auto* out = static_cast<unsigned char*>(dest);
    while (length > 0) {
      const ssize_t got = ::pread(m_fd, out, length, off_t(position));
      if (got <= 0) return false;
      out += got;
      position += std::uint64_t(got);
      length -= std::uint64_t(got);
    }
    return true;
  }

  bool readU32At(std::uint64_t position, std::uint32_t* value) const {
    unsigned char bytes[4];
    if (!read(position, bytes, 4)) return false;
    *value = readU32(bytes);
    return true;
  }

  int fd() const { return m_fd; }

  // Reads a block of `length` bytes into a new std::malloc'd buffer.
  unsigned char* readBlock(std::uint64_t position, std::uint32_t length) const {
    if (position > m_size || length > m_size - position) return nullptr;
    auto* block = static_cast<unsigned char*>(std::malloc(length ? length : 1));
    if (block && !read(position, block, length)) {
      std::free(block);
      return nullptr;
    }
    return block;
  }

 private:
  int m_fd = -1;
  std::uint64_t m_size = 0;
};

// A stored block in memory: large blocks are mapped straight from the page
// cache (no copy, no fresh pages), small ones read into a buffer.
class StoredBlock {
 public:
  StoredBlock(const InputFile& file, std::uint64_t position, std::uint32_t length) : m_length(length) {
    constexpr std::uint32_t kMapAbove = 1u << 20;  // bytes
    if (position > file.size() || length > file.size() - position) return;
    if (length >= kMapAbove) {
      const std::uint64_t page = std::uint64_t(::sysconf(_SC_PAGESIZE));
      const std::uint64_t start = position / page * page;
      m_mapLength = std::size_t(position - start + length);
      void* map = ::mmap(nullptr, m_mapLength, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file.fd(), off_t(start));
      if (map != MAP_FAILED) {
        m_map = map;
        m_data = static_cast<const unsigned char*>(map) + (position - start);
        return;
      }
    }
    m_buffer = file.readBlock(position, length);
    m_data = m_buffer;
  }
  ~StoredBlock() {
    if (m_map) ::munmap(m_map, m_mapLength);
    std::free(m_buffer);
  }
  StoredBlock(const StoredBlock&) = delete;
  StoredBlock& operator=(const StoredBlock&) = delete;

  const unsigned char* data() const { return m_data; }
  std::uint32_t length() const { return m_length; }

 private:
  const unsigned char* m_data = nullptr;
  unsigned char* m_buffer = nullptr;
  void* m_map = nullptr;
  std::size_t m_mapLength = 0;
  std::uint32_t m_length;
};

}  // namespace

std::uint32_t CFLArchive::HashName(const char* name) {
  std::uint32_t h = 0;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p) {
    const std::uint32_t shifted = std::uint32_t(std::int32_t(h) >> 11);  // arithmetic shift
    h = ((h << 21) + shifted) ^ *p;
  }
  return h;
}

int CFLArchive::Open(const char* path) {
  if (!path) return 0;
  InputFile file(path);
  if (!file.ok()) return 0;

  // Locate the archive: a header at offset 0, else a trailer at the end.
  std::uint64_t base = 0;
  unsigned char magic[4];
  if (!file.read(0, magic, 4)) return 0;
  if (std::memcmp(magic, "CFL3", 4) != 0) {
    const std::uint64_t size = file.size();
    std::uint32_t archiveLength;
    if (size < 8 || !file.read(size - 4, magic, 4) || std::memcmp(magic, "3CFL", 4) != 0) return 0;
    if (!file.readU32At(size - 8, &archiveLength) || archiveLength > size) return 0;
    base = size - archiveLength;
    if (!file.read(base, magic, 4) || std::memcmp(magic, "CFL3", 4) != 0) return 0;
  }
  if (base > 0xFFFFFFFFu) return 0;  // offsets are 32-bit

  std::uint32_t directoryOffset, directorySizeBits, directoryFilterId, storedLength;
  if (!file.readU32At(base + 4, &directoryOffset) || !file.readU32At(base + 8, &directorySizeBits)) return 0;
  const std::uint64_t directoryBlock = base + directoryOffset;
  if (!file.readU32At(directoryBlock, &directoryFilterId) || !file.readU32At(directoryBlock + 4, &storedLength))
    return 0;
  unsigned char* stored = file.readBlock(directoryBlock + 8, storedLength);
  if (!stored) return 0;

  std::uint32_t decodedLength = 0;
  unsigned char* directory = CFLDecodeSized(stored, storedLength, directoryFilterId, &decodedLength);
  std::free(stored);
  if (!directory) return 0;

  // Parse every entry before touching the directory, so a damaged one leaves
  // the archive as it was.
  const std::int32_t directorySize = std::int32_t(directorySizeBits);
  std::vector<CFLEntry> parsed;
  bool damaged = false;
  for (std::int64_t cursor = 0; cursor < directorySize;) {
    if (cursor + 14 > decodedLength) {
      damaged = true;
      break;
    }
    const unsigned char* p = directory + cursor;
    const std::uint32_t nameLength = std::uint32_t(p[12]) | (std::uint32_t(p[13]) << 8);
    if (cursor + 14 + nameLength > decodedLength) {
      damaged = true;
      break;
    }
    CFLEntry entry;
    entry.size = readU32(p);
    entry.offset = readU32(p + 4);
    entry.filterId = readU32(p + 8);
    // The name is a zero-terminated copy: a stray zero byte ends it.
    entry.name.assign(reinterpret_cast<const char*>(p + 14), nameLength);
    entry.name.resize(std::strlen(entry.name.c_str()));
    entry.hash = HashName(entry.name.c_str());
    parsed.push_back(std::move(entry));
    cursor += 14 + nameLength;
  }
  std::free(directory);
  if (damaged) return 0;

  m_files.push_back(std::make_unique<CFLArchiveFile>(CFLArchiveFile{path, std::uint32_t(base)}));
  const CFLArchiveFile* owner = m_files.back().get();
  for (CFLEntry& entry : parsed) {
    entry.file = owner;
    if (const CFLEntry* existing = find(entry.name.c_str())) {
      *const_cast<CFLEntry*>(existing) = std::move(entry);  // keeps its place in the list
    } else {
      m_byHash.emplace(entry.hash, m_entries.size());
      m_entries.push_back(std::move(entry));
    }
  }
  return 1;
}

const CFLEntry* CFLArchive::find(const char* name) const {
  if (!name) return nullptr;
  auto [first, last] = m_byHash.equal_range(HashName(name));
  for (auto it = first; it != last; ++it) {
    const CFLEntry& entry = m_entries[it->second];
    if (std::strcmp(entry.name.c_str(), name) == 0) return &entry;
  }
  return nullptr;
}

unsigned char* CFLArchive::Extract(const char* name, std::uint32_t* outSize) {
  std::uint32_t ignored;
  if (!outSize) outSize = &ignored;
  *outSize = 0;
  const CFLEntry* entry = find(name);
  if (!entry) return nullptr;
  *outSize = entry->size;

  std::uint32_t storedLength;
  InputFile file(entry->file->path.c_str());
  const std::uint64_t block = std::uint64_t(entry->file->base) + entry->offset;
  if (!file.ok() || !file.readU32At(block, &storedLength)) return nullptr;
  StoredBlock stored(file, block + 4, storedLength);
  if (!stored.data()) return nullptr;

  std::uint32_t decodedLength = 0;
  unsigned char* data = CFLDecodeSized(stored.data(), storedLength, entry->filterId, &decodedLength);
  // Callers read as many bytes as the directory promised: an entry that
  // decodes to fewer is damaged.
  if (data && decodedLength < entry->size) {
    std::free(data);
    return nullptr;
  }
  return data;
}

unsigned char* CFLArchive::Extract(const char* name) { return Extract(name, nullptr); }

int CFLArchive::ReadInto(const char* name, void* dest, int capacity) {
  std::uint32_t size = 0;
  unsigned char* data = Extract(name, &size);
  if (!data) return 0;
  int count = std::int32_t(size) < capacity ? std::int32_t(size) : capacity;
  if (count < 0) count = 0;
  if (count > 0) std::memcpy(dest, data, std::size_t(count));
  std::free(data);
  return count;
}

std::uint32_t CFLArchive::GetSize(const char* name) const {
  const CFLEntry* entry = find(name);
  return entry ? entry->size : 0;
}

int CFLArchive::Contains(const char* name) const { return find(name) ? 1 : 0; }

int CFLArchive::Remove(const char* name) {
  const CFLEntry* entry = find(name);
  if (!entry) return 0;
  m_entries.erase(m_entries.begin() + (entry - m_entries.data()));
  // Indices past the removed entry moved down by one: the index is rebuilt.
  m_byHash.clear();
  for (std::size_t i = 0; i < m_entries.size(); ++i) m_byHash.emplace(m_entries[i].hash, i);
  return 1;
}

void CFLArchive::Close() {
  m_byHash.clear();
  m_entries.clear();
  m_files.clear();
}

std::vector<const CFLEntry*> CFLArchive::Entries() const {
  std::vector<const CFLEntry*> list;
  list.reserve(m_entries.size());
  for (auto it = m_entries.rbegin(); it != m_entries.rend(); ++it) list.push_back(&*it);
  return list;
}
