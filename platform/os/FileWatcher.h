#pragma once
// Tells which of a set of files changed, through inotify on their folders
// (editors often save by writing a new file and renaming it over the old
// one, which a watch on the file itself would lose).
//
// Each distinct folder is watched once, identified by its real path, so
// "a", "./a" and "sub/../a" share one watch. A watched file that is a
// symbolic link is seen through the folder holding the link: writes to the
// link's target in another folder are not reported, replacing or touching
// the link itself is.
//
// No threads: the owner asks changed() when it likes, or waits on fd() (or
// wait()) in its own loop.
#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

class FileWatcher {
 public:
  FileWatcher();  // inotify_init1(IN_NONBLOCK | IN_CLOEXEC)
  ~FileWatcher();
  FileWatcher(const FileWatcher&) = delete;
  FileWatcher& operator=(const FileWatcher&) = delete;

  // False when inotify is unavailable; error() says why.
  bool ok() const;
  // Why inotify is unavailable, or the last failure reading its events;
  // empty when nothing went wrong.
  const std::string& error() const;

  // Replaces the set of watched files. Paths are as the caller names them
  // (relative to the current folder, or absolute; "./a", "a", "sub/../a"
  // name the same file). A file need not exist yet (its creation counts as a
  // change). Returned, in the order given, are the files that are not
  // watched: their folder does not exist or cannot be watched, or the path
  // names no file in a folder ("", "sub/", "sub/.."). All of them when
  // !ok().
  //
  // Changes already seen for files that stay in the set are kept for the next
  // changed(); those for files dropped from it are forgotten. A folder whose
  // watch was lost (it was deleted or renamed) is looked up again here.
  std::vector<std::string> watch(const std::vector<std::string>& files);

  // Without blocking: the watched files (as the caller named them, each once,
  // in the order given to watch()) that were written and closed, created,
  // moved in or out, deleted, or had their attributes changed (touch) since
  // the last call. Events for other files in the same folders are ignored.
  // When the kernel lost events (its queue overflowed), or a watched folder
  // was deleted or renamed, all the files concerned are reported.
  std::vector<std::string> changed();

  // For poll()/select(): readable when events are pending; -1 when !ok().
  // Events can concern only unwatched files in the same folders, so a
  // readable fd may still give an empty changed(). watch() reads the pending
  // events itself (to keep what they say about files that stay watched), so
  // call changed() once after each watch() rather than only when the fd is
  // readable.
  int fd() const;

  // Waits up to timeoutMs (negative: without limit) for an event to be
  // pending or a change already known to changed(); true if one is.
  bool wait(int timeoutMs);

 private:
  struct File {
    std::string name;  // as the caller gave it
    std::string base;  // the last component, matched against event names
    int wd = -1;       // the folder's watch; -1 once it was lost
    bool pending = false;
  };

  // Reads every pending event (until the kernel has no more).
  void drain();
  void handleEvent(int wd, unsigned mask, const char* name, std::size_t nameLength);
  // The folder's watch is gone: its files are reported and wait for watch().
  void loseFolder(int wd);
  bool anyPending() const;

  int m_fd = -1;
  std::string m_error;
  std::vector<File> m_files;
  std::unordered_map<int, std::vector<std::size_t>> m_folders;  // wd -> m_files
};
