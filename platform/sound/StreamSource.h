#pragma once
// The bytes a stream decodes: a window (offset, length) of a file read
// through the FSOUND file callbacks, or of a block of memory. Positions are
// relative to the window's first byte and clamped into 0 ... size.
#include "platform/sound/FSound.h"

#include <cstdint>
#include <memory>

struct FileCallbacks {
  FSOUND_OPENCALLBACK open = nullptr;
  FSOUND_CLOSECALLBACK close = nullptr;
  FSOUND_READCALLBACK read = nullptr;
  FSOUND_SEEKCALLBACK seek = nullptr;
  FSOUND_TELLCALLBACK tell = nullptr;
};

// stdio-backed callbacks: the file access of streams when none are set.
FileCallbacks stdioFileCallbacks();

class StreamSource {
 public:
  // Opens name through the callbacks. offset: first byte of the window
  // (0 ... file size); length: its size, 0 for the rest of the file (cut to
  // the file). Null with *error set to an FSOUND_ERR_* code on failure.
  static std::unique_ptr<StreamSource> openFile(const FileCallbacks& callbacks, const char* name, int offset,
                                                int length, int* error);
  // A window of memory that outlives the source.
  static std::unique_ptr<StreamSource> openMemory(const void* data, int offset, int length, int* error);
  ~StreamSource();
  StreamSource(const StreamSource&) = delete;
  StreamSource& operator=(const StreamSource&) = delete;

  // Up to size bytes from the position; the count read, -1 on a read error.
  std::int64_t read(void* buffer, std::size_t size);
  // whence as lseek's (SEEK_SET / SEEK_CUR / SEEK_END); the new position, or
  // -1 (position unchanged) on failure.
  std::int64_t seek(std::int64_t offset, int whence);
  std::int64_t size() const { return m_size; }

 private:
  StreamSource() = default;
  bool placeFile();  // moves the file to m_base + m_position

  FileCallbacks m_callbacks;
  void* m_handle = nullptr;                // a callback handle, or null for memory
  const unsigned char* m_memory = nullptr; // the window's first byte, for memory
  std::int64_t m_base = 0;                 // window start in the file (bytes)
  std::int64_t m_size = 0;                 // window size (bytes)
  std::int64_t m_position = 0;             // 0 ... m_size
};
