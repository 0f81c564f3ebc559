#include "platform/os/FileWatcher.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <unordered_set>

namespace {

// What counts as a change of a file in a watched folder, plus the folder's
// own end. IN_MODIFY is left out on purpose: a file being written is reported
// once it is closed, not half-way. IN_IGNORED, IN_UNMOUNT and IN_Q_OVERFLOW
// come without asking.
constexpr std::uint32_t kFolderMask = IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO |
                                      IN_DELETE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                      IN_ONLYDIR;

// The folder and the file name of a path; false when the path names no
// file inside a folder.
bool splitPath(const std::string& path, std::string* folder, std::string* base) {
  if (path.empty() || path.find('\0') != std::string::npos) return false;
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    *folder = ".";
    *base = path;
  } else {
    *folder = slash == 0 ? std::string("/") : path.substr(0, slash);
    *base = path.substr(slash + 1);
  }
  return !base->empty() && *base != "." && *base != "..";
}

// The canonical path of an existing folder (symbolic links, "." and ".."
// resolved); empty when it cannot be resolved.
std::string realFolder(const std::string& folder) {
  char* resolved = realpath(folder.c_str(), nullptr);
  if (!resolved) return std::string();
  std::string result(resolved);
  std::free(resolved);
  return result;
}

}  // namespace

FileWatcher::FileWatcher() {
  m_fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (m_fd < 0) m_error = std::string("inotify is unavailable: ") + std::strerror(errno);
}

FileWatcher::~FileWatcher() {
  if (m_fd >= 0) close(m_fd);  // closing drops every watch with it
}

bool FileWatcher::ok() const { return m_fd >= 0; }

const std::string& FileWatcher::error() const { return m_error; }

int FileWatcher::fd() const { return m_fd; }

std::vector<std::string> FileWatcher::watch(const std::vector<std::string>& files) {
  std::vector<std::string> unwatched;
  if (!ok()) {
    unwatched = files;
    return unwatched;
  }

  // What the queue says about the current set first, so that changes to
  // files staying in the set are not lost with a watch being replaced.
  drain();
  std::unordered_set<std::string> pendingNames;
  for (const File& file : m_files)
    if (file.pending) pendingNames.insert(file.name);

  std::vector<File> next;
  std::unordered_map<int, std::vector<std::size_t>> folders;
  std::map<std::string, int> watchOfFolder;  // real path -> wd, for this call
  std::unordered_set<std::string> seen;
  for (const std::string& name : files) {
    if (!seen.insert(name).second) continue;  // each file once
    std::string folder, base;
    if (!splitPath(name, &folder, &base)) {
      unwatched.push_back(name);
      continue;
    }
    const std::string real = realFolder(folder);
    if (real.empty()) {
      unwatched.push_back(name);
      continue;
    }
    auto known = watchOfFolder.find(real);
    if (known == watchOfFolder.end()) {
      // Adding a watch on an inode already watched gives back its wd, so a
      // folder kept from the last call keeps its watch and its queued
      // events; a folder replaced since (same path, new inode) gets a new one.
      const int wd = inotify_add_watch(m_fd, real.c_str(), kFolderMask);
      known = watchOfFolder.emplace(real, wd).first;
    }
    const int wd = known->second;
    if (wd < 0) {
      unwatched.push_back(name);
      continue;
    }
    File file;
    file.name = name;
    file.base = base;
    file.wd = wd;
    file.pending = pendingNames.count(name) > 0;
    folders[wd].push_back(next.size());
    next.push_back(std::move(file));
  }

  // Watches no file needs any more (dropped files, replaced folders). Their
  // queued events, and the IN_IGNORED that follows, then match no folder.
  for (const auto& folder : m_folders)
    if (folders.find(folder.first) == folders.end()) inotify_rm_watch(m_fd, folder.first);

  m_files = std::move(next);
  m_folders = std::move(folders);
  return unwatched;
}

std::vector<std::string> FileWatcher::changed() {
  drain();
  std::vector<std::string> result;
  for (File& file : m_files) {
    if (!file.pending) continue;
    result.push_back(file.name);
    file.pending = false;
  }
  return result;
}

bool FileWatcher::wait(int timeoutMs) {
  if (!ok()) return false;
  if (anyPending()) return true;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    int remaining = -1;
    if (timeoutMs >= 0) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      remaining = left > 0 ? static_cast<int>(left) : 0;
    }
    pollfd entry{};
    entry.fd = m_fd;
    entry.events = POLLIN;
    const int ready = poll(&entry, 1, remaining);
    if (ready > 0) return (entry.revents & POLLIN) != 0;
    if (ready == 0) return false;
    if (errno != EINTR) {
      m_error = std::string("waiting for file changes failed: ") + std::strerror(errno);
      return false;
    }
  }
}

void FileWatcher::drain() {
  if (!ok()) return;
  // Large enough for many events per read; one event with the longest name
  // always fits.
  alignas(struct inotify_event) char buffer[16 * (sizeof(struct inotify_event) + NAME_MAX + 1)];
  for (;;) {
    const ssize_t length = read(m_fd, buffer, sizeof buffer);
    if (length < 0) {
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK)
        m_error = std::string("reading file change events failed: ") + std::strerror(errno);
      return;
    }
    if (length == 0) return;
    const std::size_t size = static_cast<std::size_t>(length);
    std::size_t offset = 0;
    while (offset + sizeof(struct inotify_event) <= size) {
      struct inotify_event event;
      std::memcpy(&event, buffer + offset, sizeof event);
      const std::size_t nameAt = offset + sizeof event;
      if (event.len > size - nameAt) break;  // cut short: never from the kernel
      // The name is padded with NULs up to len.
      const char* name = buffer + nameAt;
      handleEvent(event.wd, event.mask, name, strnlen(name, event.len));
      offset = nameAt + event.len;
    }
  }
}

void FileWatcher::handleEvent(int wd, unsigned mask, const char* name, std::size_t nameLength) {
  if (mask & IN_Q_OVERFLOW) {
    // Events were lost: anything may have changed.
    for (File& file : m_files) file.pending = true;
    return;
  }
  const auto folder = m_folders.find(wd);
  if (folder == m_folders.end()) return;  // a watch given up since
  if (mask & (IN_DELETE_SELF | IN_MOVE_SELF)) {
    // A renamed folder keeps its watch under the new name, which is no longer
    // where the files are looked for; a deleted one is dropped by the kernel.
    inotify_rm_watch(m_fd, wd);
    loseFolder(wd);
    return;
  }
  if (mask & (IN_IGNORED | IN_UNMOUNT)) {
    loseFolder(wd);
    return;
  }
  if (nameLength == 0) return;
  for (std::size_t index : folder->second) {
    File& file = m_files[index];
    if (file.base.size() == nameLength && file.base.compare(0, nameLength, name, nameLength) == 0)
      file.pending = true;
  }
}

void FileWatcher::loseFolder(int wd) {
  const auto folder = m_folders.find(wd);
  if (folder == m_folders.end()) return;
  for (std::size_t index : folder->second) {
    m_files[index].pending = true;
    m_files[index].wd = -1;
  }
  m_folders.erase(folder);
}

bool FileWatcher::anyPending() const {
  for (const File& file : m_files)
    if (file.pending) return true;
  return false;
}
