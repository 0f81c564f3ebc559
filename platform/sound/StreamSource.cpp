#include "platform/sound/StreamSource.h"

#include <algorithm>
#include <climits>
#include <cstdio>

namespace {

void* stdioOpen(const char* name) { return std::fopen(name, "rb"); }
void stdioClose(void* handle) { std::fclose(static_cast<std::FILE*>(handle)); }
int stdioRead(void* buffer, int size, void* handle) {
  if (size <= 0) return 0;
  return static_cast<int>(std::fread(buffer, 1, static_cast<std::size_t>(size), static_cast<std::FILE*>(handle)));
}
int stdioSeek(void* handle, int pos, signed char mode) {
  const int whence = mode == 0 ? SEEK_SET : mode == 1 ? SEEK_CUR : mode == 2 ? SEEK_END : -1;
  if (whence < 0) return -1;
  return std::fseek(static_cast<std::FILE*>(handle), pos, whence) == 0 ? 0 : -1;
}
int stdioTell(void* handle) {
  const long position = std::ftell(static_cast<std::FILE*>(handle));
  return position < 0 || position > INT_MAX ? -1 : static_cast<int>(position);
}

}  // namespace

FileCallbacks stdioFileCallbacks() { return {stdioOpen, stdioClose, stdioRead, stdioSeek, stdioTell}; }

std::unique_ptr<StreamSource> StreamSource::openFile(const FileCallbacks& callbacks, const char* name, int offset,
                                                     int length, int* error) {
  if (!name || offset < 0 || length < 0) {
    *error = FSOUND_ERR_INVALID_PARAM;
    return nullptr;
  }
  void* handle = callbacks.open(name);
  if (!handle) {
    *error = FSOUND_ERR_FILE_NOTFOUND;
    return nullptr;
  }
  std::unique_ptr<StreamSource> source(new StreamSource);
  source->m_callbacks = callbacks;
  source->m_handle = handle;

  // The callbacks have no size query: the end's position is the size.
  if (callbacks.seek(handle, 0, 2) != 0) {
    *error = FSOUND_ERR_FILE_BAD;
    return nullptr;
  }
  const int fileSize = callbacks.tell(handle);
  if (fileSize < 0) {
    *error = FSOUND_ERR_FILE_BAD;
    return nullptr;
  }
  if (offset > fileSize) {
    *error = FSOUND_ERR_INVALID_PARAM;
    return nullptr;
  }
  source->m_base = offset;
  source->m_size = length == 0 ? fileSize - offset : std::min<std::int64_t>(length, fileSize - offset);
  if (!source->placeFile()) {
    *error = FSOUND_ERR_FILE_BAD;
    return nullptr;
  }
  return source;
}

std::unique_ptr<StreamSource> StreamSource::openMemory(const void* data, int offset, int length, int* error) {
  if (!data || offset < 0 || length <= 0) {
    *error = FSOUND_ERR_INVALID_PARAM;
    return nullptr;
  }
  std::unique_ptr<StreamSource> source(new StreamSource);
  source->m_memory = static_cast<const unsigned char*>(data) + offset;
  source->m_size = length;
  return source;
}

StreamSource::~StreamSource() {
  if (m_handle) m_callbacks.close(m_handle);
}

bool StreamSource::placeFile() {
  const std::int64_t target = m_base + m_position;
  if (target > INT_MAX) return false;
  return m_callbacks.seek(m_handle, static_cast<int>(target), 0) == 0 &&
         m_callbacks.tell(m_handle) == static_cast<int>(target);
}

std::int64_t StreamSource::read(void* buffer, std::size_t size) {
  const std::int64_t wanted = std::min<std::int64_t>(static_cast<std::int64_t>(std::min<std::size_t>(size, INT_MAX)),
                                                     m_size - m_position);
  if (wanted <= 0) return 0;
  if (m_memory) {
    std::copy_n(m_memory + m_position, wanted, static_cast<unsigned char*>(buffer));
    m_position += wanted;
    return wanted;
  }
  // Every read re-places the file: the callbacks' position is not trusted
  // across calls (a seek callback may clamp, a read may stop short).
  if (!placeFile()) return -1;
  const int got = m_callbacks.read(buffer, static_cast<int>(wanted), m_handle);
  if (got < 0 || got > wanted) return -1;
  m_position += got;
  return got;
}

std::int64_t StreamSource::seek(std::int64_t offset, int whence) {
  std::int64_t target;
  switch (whence) {
    case SEEK_SET: target = offset; break;
    case SEEK_CUR: target = m_position + offset; break;
    case SEEK_END: target = m_size + offset; break;
    default: return -1;
  }
  if (target < 0 || target > m_size) return -1;
  m_position = target;
  return m_position;
}
