#include "tools/FileChanges.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ATTRIB |
                                  IN_DELETE_SELF | IN_MOVE_SELF;

// The real path of a file's folder and the file's own name; false when the
// folder does not exist.
bool split(const std::string& file, std::string* folder, std::string* name) {
  const std::filesystem::path path(file);
  *name = path.filename().string();
  if (name->empty() || *name == "." || *name == "..") return false;
  const std::string parent = path.has_parent_path() ? path.parent_path().string() : ".";
  char resolved[PATH_MAX];
  if (!::realpath(parent.c_str(), resolved)) return false;
  *folder = resolved;
  return std::filesystem::is_directory(*folder);
}

}  // namespace

FileChanges::FileChanges() {
  m_fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (m_fd < 0) m_error = std::strerror(errno);
}

FileChanges::~FileChanges() {
  if (m_fd >= 0) ::close(m_fd);
}

std::vector<std::string> FileChanges::watch(const std::vector<std::string>& files) {
  std::vector<std::string> missing;
  if (m_fd < 0) return files;
  readEvents();  // what happened so far belongs to the old set
  std::map<std::string, Folder> folders;
  for (std::size_t i = 0; i < files.size(); ++i) {
    std::string folder, name;
    if (!split(files[i], &folder, &name)) {
      missing.push_back(files[i]);
      continue;
    }
    folders[folder].names[name].push_back(i);
  }
  // Folders no longer needed lose their watch; the others keep it (inotify
  // gives the same descriptor for the same folder) unless it went away.
  for (const auto& [path, folder] : m_folders)
    if (!folders.count(path) && folder.wd >= 0) ::inotify_rm_watch(m_fd, folder.wd);
  m_byWatch.clear();
  for (auto& [path, folder] : folders) {
    folder.wd = ::inotify_add_watch(m_fd, path.c_str(), kEvents | IN_ONLYDIR);
    if (folder.wd < 0) {
      for (const auto& [name, indices] : folder.names)
        for (std::size_t i : indices) missing.push_back(files[i]);
      continue;
    }
    m_byWatch[folder.wd] = path;
  }
  // Pending changes of files still watched are kept, by name.
  std::set<std::string> stillChanged;
  for (std::size_t i : m_changed) stillChanged.insert(m_files[i]);
  m_changed.clear();
  m_files = files;
  for (std::size_t i = 0; i < m_files.size(); ++i)
    if (stillChanged.count(m_files[i])) m_changed.insert(i);
  m_folders = std::move(folders);
  return missing;
}

void FileChanges::markFolder(const Folder& folder) {
  for (const auto& [name, indices] : folder.names) m_changed.insert(indices.begin(), indices.end());
}

void FileChanges::markAll() {
  for (std::size_t i = 0; i < m_files.size(); ++i) m_changed.insert(i);
}

void FileChanges::readEvents() {
  if (m_fd < 0) return;
  alignas(struct inotify_event) char buffer[16 * 1024];
  for (;;) {
    const ssize_t got = ::read(m_fd, buffer, sizeof buffer);
    if (got <= 0) return;  // EAGAIN: nothing more (or an error: nothing to read)
    for (ssize_t at = 0; at + ssize_t(sizeof(struct inotify_event)) <= got;) {
      const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + at);
      at += ssize_t(sizeof(struct inotify_event)) + ssize_t(event->len);
      if (event->mask & IN_Q_OVERFLOW) {
        markAll();
        continue;
      }
      const auto path = m_byWatch.find(event->wd);
      if (path == m_byWatch.end()) continue;
      const auto folder = m_folders.find(path->second);
      if (folder == m_folders.end()) continue;
      if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) {
        markFolder(folder->second);
        if (event->mask & IN_IGNORED) {
          folder->second.wd = -1;
          m_byWatch.erase(path);
        }
        continue;
      }
      if (event->len == 0) continue;
      const auto named = folder->second.names.find(event->name);  // NUL-padded: read up to the first NUL
      if (named != folder->second.names.end()) m_changed.insert(named->second.begin(), named->second.end());
    }
  }
}

std::vector<std::string> FileChanges::changed() {
  readEvents();
  std::vector<std::string> out;
  for (std::size_t i : m_changed) out.push_back(m_files[i]);
  m_changed.clear();
  return out;
}

bool FileChanges::wait(int timeoutMs) {
  if (m_fd < 0) return false;
  struct pollfd p{m_fd, POLLIN, 0};
  return ::poll(&p, 1, timeoutMs) > 0;
}
