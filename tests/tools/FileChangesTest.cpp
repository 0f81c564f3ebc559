// Which watched files changed, as editors and authors change them.
#include "ArchiveTestUtil.h"
#include "tools/FileChanges.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Names = std::vector<std::string>;

void writeFile(const std::string& path, const std::string& text) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr) << path;
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
}

// The changes once an event is pending (waiting up to 5 s for the first);
// events that reach the watcher later come with a later call.
Names changesAfterEvent(FileChanges& watcher) {
  watcher.wait(5000);
  return watcher.changed();
}

class FileChangesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(watcher.ok()) << watcher.error();
    std::filesystem::create_directories(dir.file("sub"));
    writeFile(dir.file("demo.vxc"), "wait 1\n");
    writeFile(dir.file("sub/pic.png"), "png");
  }
  TempDir dir;
  CurrentDirectory inDir{dir.path()};
  FileChanges watcher;
};

}  // namespace

TEST_F(FileChangesTest, WritesSavesByRenameDeletesAndCreations) {
  EXPECT_TRUE(watcher.watch({"demo.vxc", "sub/pic.png", "later.vxc"}).empty());
  EXPECT_TRUE(watcher.changed().empty());

  writeFile("demo.vxc", "wait 2\n");
  EXPECT_EQ(changesAfterEvent(watcher), Names{"demo.vxc"});
  EXPECT_TRUE(watcher.changed().empty()) << "each change once";

  // An editor's save: a new file renamed over the old one.
  writeFile("demo.vxc.tmp", "wait 3\n");
  EXPECT_TRUE(changesAfterEvent(watcher).empty()) << "the scratch file is not watched";
  std::filesystem::rename("demo.vxc.tmp", "demo.vxc");
  EXPECT_EQ(changesAfterEvent(watcher), Names{"demo.vxc"});

  std::filesystem::remove("sub/pic.png");
  EXPECT_EQ(changesAfterEvent(watcher), Names{"sub/pic.png"});
  writeFile("sub/pic.png", "png again");
  EXPECT_EQ(changesAfterEvent(watcher), Names{"sub/pic.png"});

  // A file the show asked for before it existed.
  writeFile("later.vxc", "wait 4\n");
  EXPECT_EQ(changesAfterEvent(watcher), Names{"later.vxc"});

  // An unrelated file in a watched folder.
  writeFile("notes.txt", "x");
  EXPECT_TRUE(changesAfterEvent(watcher).empty());
}

TEST_F(FileChangesTest, NamesAsGivenAcrossSpellingsAndFolders) {
  EXPECT_TRUE(watcher.watch({"sub/../demo.vxc", dir.file("sub/pic.png")}).empty());
  writeFile("./demo.vxc", "x");
  writeFile("sub/pic.png", "y");
  Names seen = changesAfterEvent(watcher);
  for (int i = 0; i < 50 && seen.size() < 2; ++i) {
    const Names more = changesAfterEvent(watcher);
    seen.insert(seen.end(), more.begin(), more.end());
  }
  EXPECT_EQ(seen, (Names{"sub/../demo.vxc", dir.file("sub/pic.png")})) << "in the order watched, as named";

  // A smaller set: the dropped file is no longer reported; a folder that
  // does not exist is returned.
  EXPECT_EQ(watcher.watch({"demo.vxc", "nowhere/x.png"}), Names{"nowhere/x.png"});
  writeFile("sub/pic.png", "z");
  EXPECT_TRUE(changesAfterEvent(watcher).empty());

  // Many writes in a row: the file is reported, once.
  for (int i = 0; i < 2000; ++i) writeFile("demo.vxc", std::to_string(i));
  EXPECT_EQ(changesAfterEvent(watcher), Names{"demo.vxc"});
}

TEST_F(FileChangesTest, AFolderThatGoesAwayReportsItsFilesAndCanBeWatchedAgain) {
  EXPECT_TRUE(watcher.watch({"sub/pic.png", "demo.vxc"}).empty());
  std::filesystem::remove_all("sub");
  Names seen;
  for (int i = 0; i < 50 && seen.empty(); ++i) seen = changesAfterEvent(watcher);
  EXPECT_EQ(seen, Names{"sub/pic.png"});
  std::filesystem::create_directories("sub");
  EXPECT_TRUE(watcher.watch({"sub/pic.png", "demo.vxc"}).empty());
  writeFile("sub/pic.png", "back");
  EXPECT_EQ(changesAfterEvent(watcher), Names{"sub/pic.png"});
}
