#include "platform/movie/FileCalls.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

DWORD GetCurrentDirectoryA(DWORD bufferLength, char* buffer) {
  std::string path(256, '\0');
  // getcwd reports ERANGE until the buffer holds the whole path
  while (!::getcwd(path.data(), path.size())) {
    if (errno != ERANGE || path.size() > (1u << 20)) return 0;
    path.resize(path.size() * 2);
  }
  const std::size_t length = std::strlen(path.c_str());
  if (!buffer || length + 1 > bufferLength) return DWORD(length + 1);
  std::memcpy(buffer, path.c_str(), length + 1);
  return DWORD(length);
}

BOOL DeleteFileA(const char* fileName) {
  if (!fileName) return 0;
  return ::unlink(fileName) == 0 ? 1 : 0;
}
