#include "platform/os/FileWatcher.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

// Every case runs in a fresh folder made its current directory, so paths can
// be named relative to it the way the tool names them.
class FileWatcherTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vx_file_watcher_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_folder = pattern;
    m_previous = fs::current_path();
    fs::current_path(m_folder);
    ASSERT_TRUE(m_watcher.ok()) << m_watcher.error();
  }
  void TearDown() override {
    std::error_code ignored;
    fs::current_path(m_previous, ignored);
    fs::remove_all(m_folder, ignored);
  }

  static void write(const std::string& path, const std::string& text = "x") {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
  }

  // The changes reported until `last` is among them, or for at most five
  // seconds: events are waited for, never slept on.
  Names changesUntil(const std::string& last) {
    Names all;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    for (;;) {
      for (const std::string& name : m_watcher.changed()) all.push_back(name);
      for (const std::string& name : all)
        if (name == last) return all;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0 || !m_watcher.wait(static_cast<int>(left.count()))) return all;
    }
  }

  // The number of inotify watches the watcher holds, as the kernel lists them.
  int kernelWatches() const {
    std::ifstream info("/proc/self/fdinfo/" + std::to_string(m_watcher.fd()));
    int count = 0;
    for (std::string line; std::getline(info, line);)
      if (line.rfind("inotify wd:", 0) == 0) ++count;
    return count;
  }

  FileWatcher m_watcher;
  std::string m_folder;
  fs::path m_previous;
};

TEST_F(FileWatcherTest, ReportsAWrittenFileOnceAndNothingBeforeOrAfter) {
  write("a.vxc");
  write("b.vxc");
  EXPECT_EQ(m_watcher.watch({"a.vxc", "b.vxc"}), Names());
  EXPECT_FALSE(m_watcher.wait(0));
  EXPECT_EQ(m_watcher.changed(), Names());

  write("a.vxc", "new");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
  EXPECT_EQ(m_watcher.changed(), Names());

  // Touching counts as a change too.
  ASSERT_EQ(utimensat(AT_FDCWD, "b.vxc", nullptr, 0), 0);
  EXPECT_EQ(changesUntil("b.vxc"), Names({"b.vxc"}));
}

TEST_F(FileWatcherTest, EditorSaveByRenameReportsOnlyTheSavedFile) {
  write("a.vxc");
  m_watcher.watch({"a.vxc"});
  write("a.vxc.tmp", "saved");
  fs::rename("a.vxc.tmp", "a.vxc");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
  EXPECT_EQ(m_watcher.changed(), Names());

  // The watch is on the folder, so the new file is followed as well.
  write("a.vxc", "again");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
}

TEST_F(FileWatcherTest, DeletionCreationAndAFileMissingAtFirst) {
  write("a.vxc");
  EXPECT_EQ(m_watcher.watch({"a.vxc", "later.vxc"}), Names());

  fs::remove("a.vxc");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
  write("a.vxc");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));

  write("later.vxc");
  EXPECT_EQ(changesUntil("later.vxc"), Names({"later.vxc"}));
}

TEST_F(FileWatcherTest, OtherFilesInTheFolderAreIgnored) {
  write("a.vxc");
  m_watcher.watch({"a.vxc", "sentinel"});
  // Names sharing a prefix with the watched one, and the usual editor leftovers.
  write("a.vxc~");
  write("a.vx");
  write("other.vxc.tmp");
  fs::rename("other.vxc.tmp", "other.vxc");
  fs::remove("other.vxc");
  fs::create_directory("a.vxc.d");
  write("sentinel");
  EXPECT_EQ(changesUntil("sentinel"), Names({"sentinel"}));
}

TEST_F(FileWatcherTest, FilesInTwoFoldersOneChanged) {
  fs::create_directories("x");
  fs::create_directories("y/z");
  write("x/a.vxc");
  write("y/z/b.vxc");
  EXPECT_EQ(m_watcher.watch({"x/a.vxc", "y/z/b.vxc"}), Names());
  EXPECT_EQ(kernelWatches(), 2);
  write("y/z/b.vxc", "new");
  EXPECT_EQ(changesUntil("y/z/b.vxc"), Names({"y/z/b.vxc"}));
}

TEST_F(FileWatcherTest, SpellingsOfOneFolderShareAWatchAndNamesAreKept) {
  fs::create_directories("sub");
  fs::create_directory_symlink("sub", "link");
  write("a.vxc");
  const std::string absolute = fs::current_path().string() + "/a.vxc";
  const Names names = {"./a.vxc", "sub/../a.vxc", absolute, "a.vxc", "sub/b.vxc", "link/b.vxc", "a.vxc"};
  EXPECT_EQ(m_watcher.watch(names), Names());
  EXPECT_EQ(kernelWatches(), 2);

  write("a.vxc", "new");
  // Each name once, as given, in the order given.
  EXPECT_EQ(changesUntil("a.vxc"), Names({"./a.vxc", "sub/../a.vxc", absolute, "a.vxc"}));
  write("sub/b.vxc");
  EXPECT_EQ(changesUntil("link/b.vxc"), Names({"sub/b.vxc", "link/b.vxc"}));
}

TEST_F(FileWatcherTest, ASmallerSetDropsFilesTheirWatchesAndTheirPendingChanges) {
  fs::create_directories("y");
  write("a.vxc");
  write("b.vxc");
  write("y/c.vxc");
  m_watcher.watch({"a.vxc", "b.vxc", "y/c.vxc"});
  EXPECT_EQ(kernelWatches(), 2);

  write("a.vxc", "seen before the new set");
  write("y/c.vxc", "seen before the new set");
  EXPECT_EQ(m_watcher.watch({"b.vxc"}), Names());
  EXPECT_EQ(kernelWatches(), 1);
  write("a.vxc", "after");
  write("y/c.vxc", "after");
  write("b.vxc", "after");
  EXPECT_EQ(changesUntil("b.vxc"), Names({"b.vxc"}));

  EXPECT_EQ(m_watcher.watch({}), Names());
  EXPECT_EQ(kernelWatches(), 0);
  EXPECT_EQ(m_watcher.changed(), Names());
}

TEST_F(FileWatcherTest, ChangesBeforeWatchingAgainAreKeptForFilesThatStay) {
  write("a.vxc");
  write("b.vxc");
  m_watcher.watch({"a.vxc"});
  write("a.vxc", "new");
  write("b.vxc", "new");  // not watched yet: not reported later either
  EXPECT_EQ(m_watcher.watch({"a.vxc", "b.vxc"}), Names());
  EXPECT_TRUE(m_watcher.wait(0));
  EXPECT_EQ(m_watcher.changed(), Names({"a.vxc"}));
}

TEST_F(FileWatcherTest, PathsThatCannotBeWatchedAreReturned) {
  write("a.vxc");
  write("plain");
  fs::create_directories("sub");
  const Names names = {"missing/a.vxc", "a.vxc", "", "sub/", "sub/..", "sub/.", "plain/a.vxc",
                       std::string("a\0b", 3), "/no/such/folder/x.vxc"};
  EXPECT_EQ(m_watcher.watch(names), Names({"missing/a.vxc", "", "sub/", "sub/..", "sub/.",
                                           "plain/a.vxc", std::string("a\0b", 3),
                                           "/no/such/folder/x.vxc"}));
  EXPECT_EQ(kernelWatches(), 1);
  write("a.vxc", "new");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
}

TEST_F(FileWatcherTest, ARemovedFolderReportsItsFilesAndCanBeWatchedAgain) {
  fs::create_directories("sub");
  write("sub/a.vxc");
  write("b.vxc");
  m_watcher.watch({"sub/a.vxc", "sub/missing.vxc", "b.vxc"});
  fs::remove_all("sub");
  const Names reported = changesUntil("sub/missing.vxc");
  EXPECT_EQ(reported, Names({"sub/a.vxc", "sub/missing.vxc"}));

  EXPECT_EQ(m_watcher.watch({"sub/a.vxc", "b.vxc"}), Names({"sub/a.vxc"}));
  fs::create_directories("sub");
  EXPECT_EQ(m_watcher.watch({"sub/a.vxc", "b.vxc"}), Names());
  EXPECT_EQ(kernelWatches(), 2);
  write("sub/a.vxc");
  EXPECT_EQ(changesUntil("sub/a.vxc"), Names({"sub/a.vxc"}));
  write("b.vxc", "new");
  EXPECT_EQ(changesUntil("b.vxc"), Names({"b.vxc"}));
}

TEST_F(FileWatcherTest, ARenamedFolderIsNoLongerFollowedUnderItsNewName) {
  fs::create_directories("sub");
  write("sub/a.vxc");
  m_watcher.watch({"sub/a.vxc", "sentinel"});
  fs::rename("sub", "old");
  EXPECT_EQ(changesUntil("sub/a.vxc"), Names({"sub/a.vxc"}));
  EXPECT_EQ(kernelWatches(), 1);

  write("old/a.vxc", "new");
  write("sentinel");
  EXPECT_EQ(changesUntil("sentinel"), Names({"sentinel"}));

  // Renamed back: watching again finds it.
  fs::rename("old", "sub");
  EXPECT_EQ(m_watcher.watch({"sub/a.vxc", "sentinel"}), Names());
  write("sub/a.vxc", "back");
  EXPECT_EQ(changesUntil("sub/a.vxc"), Names({"sub/a.vxc"}));
}

TEST_F(FileWatcherTest, AFolderReplacedBetweenWatchesIsWatchedAnew) {
  fs::create_directories("sub");
  m_watcher.watch({"sub/a.vxc"});
  fs::remove_all("sub");
  fs::create_directories("sub");
  // The loss of the old folder is reported even though the new one is found.
  EXPECT_EQ(m_watcher.watch({"sub/a.vxc"}), Names());
  EXPECT_EQ(m_watcher.changed(), Names({"sub/a.vxc"}));
  EXPECT_EQ(kernelWatches(), 1);
  write("sub/a.vxc");
  EXPECT_EQ(changesUntil("sub/a.vxc"), Names({"sub/a.vxc"}));
}

TEST_F(FileWatcherTest, ManyWritesReportTheFileOnce) {
  write("a.vxc");
  m_watcher.watch({"a.vxc", "b.vxc"});
  for (int i = 0; i < 2000; ++i) write("a.vxc", std::to_string(i));
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
  EXPECT_EQ(m_watcher.changed(), Names());
}

TEST_F(FileWatcherTest, LostEventsReportEveryWatchedFile) {
  std::ifstream limitFile("/proc/sys/fs/inotify/max_queued_events");
  long limit = 0;
  if (!(limitFile >> limit) || limit <= 0 || limit > 100000)
    GTEST_SKIP() << "the kernel's event queue limit is unknown or too large to fill";
  fs::create_directories("x");
  write("a.vxc");
  m_watcher.watch({"a.vxc", "x/b.vxc"});
  // Every unrelated file makes three distinct events (create, close, delete).
  for (long i = 0; i < limit / 3 + 16; ++i) {
    const std::string name = "n" + std::to_string(i);
    const int file = open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0);
    close(file);
    ASSERT_EQ(unlink(name.c_str()), 0);
  }
  EXPECT_EQ(changesUntil("x/b.vxc"), Names({"a.vxc", "x/b.vxc"}));
  // The watcher goes on working after the overflow.
  write("x/b.vxc");
  EXPECT_EQ(changesUntil("x/b.vxc"), Names({"x/b.vxc"}));
}

TEST_F(FileWatcherTest, ALinkIsFollowedInTheFolderHoldingIt) {
  fs::create_directories("target");
  write("target/a.vxc");
  write("target/b.vxc");
  fs::create_symlink("target/a.vxc", "a.vxc");
  m_watcher.watch({"a.vxc"});
  EXPECT_EQ(kernelWatches(), 1);
  fs::remove("a.vxc");
  fs::create_symlink("target/b.vxc", "a.vxc");
  EXPECT_EQ(changesUntil("a.vxc"), Names({"a.vxc"}));
}

// Without inotify (here: no file descriptor left) the watcher says why and
// every call stays harmless.
TEST(FileWatcherUnavailable, SaysWhyAndWatchesNothing) {
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  rlimit none = saved;
  none.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  FileWatcher watcher;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);

  EXPECT_FALSE(watcher.ok());
  EXPECT_NE(watcher.error().find("inotify"), std::string::npos) << watcher.error();
  EXPECT_EQ(watcher.fd(), -1);
  EXPECT_EQ(watcher.watch({"a.vxc", "b/c.vxc"}), Names({"a.vxc", "b/c.vxc"}));
  EXPECT_EQ(watcher.changed(), Names());
  EXPECT_FALSE(watcher.wait(0));
}

}  // namespace
