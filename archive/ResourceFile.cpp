#include "archive/ResourceFile.h"

#include "archive/CFLArchive.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Reads a whole loose file. Not-a-file (a directory, say) counts as absent,
// so the archive is asked instead; a file too large for the 32-bit size or a
// short read fails the open.
enum class Loose { Absent, Loaded, Failed };

Loose readLooseFile(const char* name, ResourceFile* out) {
  struct stat st;
  if (::stat(name, &st) != 0 || !S_ISREG(st.st_mode)) return Loose::Absent;
  std::FILE* f = std::fopen(name, "rb");
  if (!f) return Loose::Absent;
  Loose result = Loose::Failed;
  if (std::fseek(f, 0, SEEK_END) == 0) {
    const long size = std::ftell(f);
    if (size >= 0 && size <= INT32_MAX && std::fseek(f, 0, SEEK_SET) == 0) {
      auto* data = static_cast<unsigned char*>(std::malloc(size ? std::size_t(size) : 1));
      if (data && std::fread(data, 1, std::size_t(size), f) == std::size_t(size)) {
        out->data = data;
        out->size = std::int32_t(size);
        result = Loose::Loaded;
      } else {
        std::free(data);
      }
    }
  }
  std::fclose(f);
  return result;
}

ResourceOpenObserver g_openObserver = nullptr;

ResourceFile* openResource(const char* name) {
  auto* file = new ResourceFile;
  switch (readLooseFile(name, file)) {
    case Loose::Loaded: return file;
    case Loose::Failed: delete file; return nullptr;
    case Loose::Absent: break;
  }
  if (g_archive && g_archive->Contains(name)) {
    std::uint32_t size = 0;
    file->data = g_archive->Extract(name, &size);
    if (file->data && size <= INT32_MAX) {
      file->size = std::int32_t(size);
      return file;
    }
    std::free(file->data);
  }
  delete file;
  return nullptr;
}

}  // namespace

ResourceFile* ResOpen(const char* name) {
  if (!name) return nullptr;
  ResourceFile* file = openResource(name);
  if (g_openObserver) g_openObserver(name, file != nullptr);
  return file;
}

void SetResourceOpenObserver(ResourceOpenObserver observer) { g_openObserver = observer; }

int ResRead(void* dest, int elementSize, int count, ResourceFile* file) {
  if (!file || elementSize <= 0 || count <= 0) return 0;
  const std::int64_t wanted = std::int64_t(elementSize) * count;
  const std::int64_t left = std::int64_t(file->size) - file->position;
  const std::int64_t bytes = wanted < left ? wanted : left;
  if (bytes <= 0) return 0;
  std::memcpy(dest, file->data + file->position, std::size_t(bytes));
  file->position += std::int32_t(bytes);
  return int(bytes / elementSize);
}

int ResSeek(ResourceFile* file, int offset, int origin) {
  if (!file) return 1;
  std::int64_t position = file->position;
  switch (origin) {
    case 0: position = offset; break;
    case 1: position = std::int64_t(file->position) + offset; break;
    case 2: position = std::int64_t(file->size) + offset; break;
    default: break;
  }
  if (position < 0) position = 0;
  if (position > file->size) position = file->size;
  file->position = std::int32_t(position);
  return 0;
}

int ResTell(ResourceFile* file) { return file ? file->position : -1; }

int ResClose(ResourceFile* file) {
  if (!file) return -1;
  std::free(file->data);
  delete file;
  return 0;
}
