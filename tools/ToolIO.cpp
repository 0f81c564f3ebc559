#include "tools/ToolIO.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

int fail(const std::string& message) {
  std::fprintf(stderr, "vxtool: %s\n", message.c_str());
  return 1;
}

bool readFile(const std::string& path, std::vector<unsigned char>* data, std::string* error) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    *error = "cannot read '" + path + "': " + std::strerror(errno);
    return false;
  }
  if (!S_ISREG(st.st_mode)) {
    *error = "'" + path + "' is not a regular file";
    return false;
  }
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) {
    *error = "cannot read '" + path + "': " + std::strerror(errno);
    return false;
  }
  data->resize(std::size_t(st.st_size));
  const std::size_t got = data->empty() ? 0 : std::fread(data->data(), 1, data->size(), f);
  const bool ok = got == data->size() && !std::ferror(f);
  std::fclose(f);
  if (!ok) *error = "cannot read '" + path + "': short read";
  return ok;
}

bool writeFileSafely(const std::string& path, const void* data, std::size_t size, bool force, unsigned mode,
                     std::string* error) {
  struct stat st;
  if (::lstat(path.c_str(), &st) == 0) {
    if (!force) {
      *error = "'" + path + "' exists (use --force to overwrite)";
      return false;
    }
    if (S_ISDIR(st.st_mode)) {
      *error = "'" + path + "' is a directory";
      return false;
    }
  }
  std::string temp = path + ".vxtmp-XXXXXX";
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) {
    *error = "cannot write '" + path + "': " + std::strerror(errno);
    return false;
  }
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::size_t left = size;
  bool ok = true;
  while (left > 0) {
    const ssize_t wrote = ::write(fd, bytes, left);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) {
      ok = false;
      break;
    }
    bytes += wrote;
    left -= std::size_t(wrote);
  }
  const int savedErrno = errno;
  ok = ok && ::fchmod(fd, mode & ~0u) == 0;
  ok = (::close(fd) == 0) && ok;
  // Without force, link() refuses to replace a file that appeared meanwhile.
  if (ok) ok = force ? ::rename(temp.c_str(), path.c_str()) == 0 : ::link(temp.c_str(), path.c_str()) == 0;
  if (!ok) {
    *error = "cannot write '" + path + "': " + std::strerror(errno ? errno : savedErrno);
  }
  ::unlink(temp.c_str());
  return ok;
}

bool makeDirectories(const std::string& path, std::string* error) {
  std::string partial;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t slash = path.find('/', start);
    if (slash == std::string::npos) slash = path.size();
    partial = path.substr(0, slash);
    if (!partial.empty() && ::mkdir(partial.c_str(), 0777) != 0 && errno != EEXIST) {
      *error = "cannot create directory '" + partial + "': " + std::strerror(errno);
      return false;
    }
    start = slash + 1;
  }
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    *error = "'" + path + "' is not a directory";
    return false;
  }
  return true;
}
