#pragma once
// Which of a set of files changed, through inotify on the folders that hold
// them: editors often save by writing a new file and renaming it over the
// old one, which a watch on the file itself would lose.
//
// A file is named as the caller names it (relative to the current folder,
// or absolute) and reported under that name. A file need not exist yet (its
// creation is a change); one whose folder does not exist is not watched. A
// symbolic link is watched in the folder that holds the link: a change of
// its target through another folder is not seen.
#include <map>
#include <set>
#include <string>
#include <vector>

class FileChanges {
 public:
  FileChanges();  // no watches yet; ok() false when inotify is unavailable
  ~FileChanges();
  FileChanges(const FileChanges&) = delete;
  FileChanges& operator=(const FileChanges&) = delete;

  bool ok() const { return m_fd >= 0; }
  const std::string& error() const { return m_error; }

  // Replaces the watched set; returns the files whose folder does not exist
  // (not watched). Events pending for files no longer watched are dropped.
  std::vector<std::string> watch(const std::vector<std::string>& files);
  // Without blocking: the watched files written and closed, created, moved
  // in or out, deleted, or touched since the last call, each once, in the
  // order given to watch(). Every watched file when events were lost, and
  // those of a folder that went away.
  std::vector<std::string> changed();
  // Waits up to timeoutMs for an event; true when one is pending.
  bool wait(int timeoutMs);

 private:
  struct Folder {
    int wd = -1;
    std::map<std::string, std::vector<std::size_t>> names;  // file name -> indices into m_files
  };
  void readEvents();
  void markFolder(const Folder& folder);
  void markAll();

  int m_fd = -1;
  std::string m_error;
  std::vector<std::string> m_files;         // as the caller named them
  std::map<std::string, Folder> m_folders;  // by the folder's real path
  std::map<int, std::string> m_byWatch;     // watch descriptor -> folder
  std::set<std::size_t> m_changed;          // indices into m_files
};
