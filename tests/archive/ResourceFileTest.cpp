#include "archive/ResourceFile.h"

#include "ArchiveTestUtil.h"
#include "archive/CFLArchive.h"
#include "archive/ResourceFilter.h"
#include "archive/ResourceLoader.h"
#include "platform/os/MessageBox.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

namespace {

// Runs each test inside a fresh current directory with a global archive that
// holds "both.txt", "archived.txt" and an undecodable "broken".
class ResourceFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ArchiveWriter writer;
    ASSERT_TRUE(writer.add("both.txt", "from the archive", 16, CFL_FILTER_ZLIB));
    ASSERT_TRUE(writer.add("archived.txt", "0123456789", 10, 0x00010001));
    ASSERT_TRUE(writer.addRaw("broken", "zz", 2, 2, 0x00000009));
    Bytes image;
    ASSERT_TRUE(writer.finish(&image));
    ASSERT_EQ(m_archive.Open(m_dir.write("show.cfl", image).c_str()), 1);
    m_dir.write("both.txt", bytesOf("from disk"));
    g_archive = &m_archive;
  }
  void TearDown() override { g_archive = nullptr; }

  static std::string contents(ResourceFile* f) { return std::string(reinterpret_cast<char*>(f->data), f->size); }

  TempDir m_dir;
  CurrentDirectory m_inDir{m_dir.path()};
  CFLArchive m_archive;
};

}  // namespace

TEST_F(ResourceFileTest, LooseFileWinsOverTheArchive) {
  ResourceFile* f = ResOpen("both.txt");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "from disk");
  EXPECT_EQ(ResTell(f), 0);
  EXPECT_EQ(ResClose(f), 0);
}

TEST_F(ResourceFileTest, ArchiveEntryWhenNoLooseFile) {
  ResourceFile* f = ResOpen("archived.txt");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->size, std::int32_t(m_archive.GetSize("archived.txt")));
  EXPECT_EQ(contents(f), "0123456789");
  ResClose(f);
  EXPECT_EQ(ResOpen("absent.txt"), nullptr);
  EXPECT_EQ(ResOpen("Archived.txt"), nullptr) << "archive names are case-sensitive";
  EXPECT_EQ(ResOpen("broken"), nullptr) << "an entry that cannot be decoded";
  ASSERT_EQ(::mkdir("archived.txt", 0777), 0);
  ResourceFile* shadowed = ResOpen("archived.txt");
  ASSERT_NE(shadowed, nullptr) << "a directory of the same name is not a loose file";
  ResClose(shadowed);
}

TEST_F(ResourceFileTest, ReadCopiesPartialElementsAndCountsWholeOnes) {
  ResourceFile* f = ResOpen("archived.txt");
  ASSERT_NE(f, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(ResRead(buffer, 4, 3, f), 2) << "10 bytes left: 2 whole elements";
  EXPECT_EQ(ResTell(f), 10) << "the partial element is copied too";
  EXPECT_EQ(std::string(buffer, 10), "0123456789");
  EXPECT_EQ(ResRead(buffer, 1, 5, f), 0) << "at the end";
  EXPECT_EQ(ResTell(f), 10);
  ResSeek(f, 8, 0);
  EXPECT_EQ(ResRead(buffer, 0, 5, f), 0) << "element size 0";
  EXPECT_EQ(ResRead(buffer, 1, -1, f), 0);
  EXPECT_EQ(ResTell(f), 8);
  ResClose(f);
}

TEST_F(ResourceFileTest, SeekClampsAndIgnoresUnknownOrigins) {
  ResourceFile* f = ResOpen("archived.txt");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(ResSeek(f, -5, 0), 0);
  EXPECT_EQ(ResTell(f), 0);
  EXPECT_EQ(ResSeek(f, 100, 2), 0);
  EXPECT_EQ(ResTell(f), 10);
  EXPECT_EQ(ResSeek(f, -3, 1), 0);
  EXPECT_EQ(ResTell(f), 7);
  EXPECT_EQ(ResSeek(f, 2, 7), 0);
  EXPECT_EQ(ResTell(f), 7) << "origin 7 leaves the position";
  EXPECT_EQ(ResSeek(f, -4, 2), 0);
  EXPECT_EQ(ResTell(f), 6);
  EXPECT_EQ(ResSeek(f, INT32_MAX, 1), 0);
  EXPECT_EQ(ResTell(f), 10) << "no overflow past the end";
  ResClose(f);
}

TEST_F(ResourceFileTest, NullFileResults) {
  char buffer[4];
  EXPECT_EQ(ResTell(nullptr), -1);
  EXPECT_EQ(ResRead(buffer, 1, 4, nullptr), 0);
  EXPECT_EQ(ResSeek(nullptr, 0, 0), 1);
  EXPECT_EQ(ResClose(nullptr), -1);
}

TEST_F(ResourceFileTest, EachOpenHoldsItsOwnCopy) {
  ResourceFile* a = ResOpen("archived.txt");
  ResourceFile* b = ResOpen("archived.txt");
  ASSERT_TRUE(a && b);
  EXPECT_NE(a->data, b->data);
  a->data[0] = 'X';
  EXPECT_EQ(b->data[0], '0');
  ResClose(a);
  ResClose(b);
}

TEST_F(ResourceFileTest, WholeFileLoaderReturnsTheContents) {
  std::int32_t size = 0;
  unsigned char* data = LoadWholeResource("both.txt", kTextureFileMissing, &size, true);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), size), "from disk");
  std::free(data);
}

using ResourceFileDeathTest = ResourceFileTest;

TEST_F(ResourceFileDeathTest, MissingFileShowsTheLoadersMessageAndExitsWithZero) {
  SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
  std::int32_t size;
  EXPECT_EXIT(LoadWholeResource("nowhere.vxk", kSceneFileMissing, &size, true), ::testing::ExitedWithCode(0),
              "Error: Couldn't open file: nowhere.vxk");
  EXPECT_EXIT(LoadWholeResource("pic.png", kImageFileMissing, &size, false), ::testing::ExitedWithCode(0),
              "Error: Image load failed: pic.png");
  const std::string longName(600, 'n');
  EXPECT_EXIT(LoadWholeResource(longName.c_str(), kTextureFileMissing, &size, false), ::testing::ExitedWithCode(0),
              "Error: Texture load failed: n{200,235}\n");
  SetMessageBoxHook(nullptr);
}

namespace {
std::vector<std::pair<std::string, bool>> g_opened;
void noteOpen(const char* name, bool found) { g_opened.emplace_back(name, found); }
}  // namespace

// A watching tool hears of every open, found or not; a removed entry leaves
// the loose file, or nothing, and the other entries stay where they were.
TEST_F(ResourceFileTest, OpensAreObservedAndRemovedEntriesAreGone) {
  g_opened.clear();
  SetResourceOpenObserver(noteOpen);
  ResClose(ResOpen("both.txt"));
  ResClose(ResOpen("nowhere.txt"));
  ResClose(ResOpen("broken"));
  SetResourceOpenObserver(nullptr);
  ResClose(ResOpen("archived.txt"));
  const std::vector<std::pair<std::string, bool>> expected = {{"both.txt", true}, {"nowhere.txt", false}, {"broken", false}};
  EXPECT_EQ(g_opened, expected);

  EXPECT_EQ(m_archive.Remove("both.txt"), 1);
  EXPECT_EQ(m_archive.Remove("both.txt"), 0);
  EXPECT_EQ(m_archive.Contains("both.txt"), 0);
  EXPECT_EQ(m_archive.Contains("archived.txt"), 1);
  EXPECT_EQ(m_archive.Entries().size(), 2u);
  ResourceFile* loose = ResOpen("both.txt");
  ASSERT_NE(loose, nullptr);
  EXPECT_EQ(contents(loose), "from disk");
  ResClose(loose);
  ResourceFile* archived = ResOpen("archived.txt");
  ASSERT_NE(archived, nullptr);
  EXPECT_EQ(contents(archived), "0123456789");
  ResClose(archived);
  EXPECT_EQ(m_archive.Remove("archived.txt"), 1);
  EXPECT_EQ(ResOpen("archived.txt"), nullptr);
  EXPECT_EQ(m_archive.Remove(nullptr), 0);
}
