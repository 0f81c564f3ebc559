#include "archive/CFLArchive.h"

#include "ArchiveTestUtil.h"
#include "archive/ResourceFilter.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// The documented 42-byte archive: one entry "a" = "xyz", no filters.
const Bytes kExample = {
    0x43, 0x46, 0x4C, 0x33, 0x13, 0x00, 0x00, 0x00, 0x0F, 0x00, 0x00, 0x00,  // header
    0x03, 0x00, 0x00, 0x00, 0x78, 0x79, 0x7A,                                // "a" data block
    0x00, 0x00, 0x00, 0x00, 0x0F, 0x00, 0x00, 0x00,                          // directory block
    0x03, 0x00, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x61,
};

std::string extractString(CFLArchive& archive, const char* name) {
  std::uint32_t size = 0;
  unsigned char* data = archive.Extract(name, &size);
  if (!data) return "<null>";
  std::string s(reinterpret_cast<char*>(data), size);
  std::free(data);
  return s;
}

class CFLArchiveTest : public ::testing::Test {
 protected:
  TempDir dir;
  CFLArchive archive;
};

}  // namespace

TEST(CFLArchiveHash, MatchesTheArithmeticShiftDefinition) {
  EXPECT_EQ(CFLArchive::HashName(""), 0x00000000u);
  EXPECT_EQ(CFLArchive::HashName("a"), 0x00000061u);
  EXPECT_EQ(CFLArchive::HashName("ab"), 0x0C200062u);
  EXPECT_EQ(CFLArchive::HashName("abcd"), 0x8C618854u);
  EXPECT_EQ(CFLArchive::HashName("scene.cfg"), 0xC9D9216Au) << "a logical shift gives 0x49892369";
  EXPECT_EQ(CFLArchive::HashName("\xFF"), 0x000000FFu) << "bytes are unsigned";
}

TEST_F(CFLArchiveTest, WriterProducesTheDocumentedExampleByteForByte) {
  EXPECT_EQ(tinyArchive(), kExample);
}

TEST_F(CFLArchiveTest, OpensTheExampleStandAloneAndAppended) {
  ASSERT_EQ(archive.Open(dir.write("plain.cfl", kExample).c_str()), 1);
  EXPECT_EQ(extractString(archive, "a"), "xyz");
  archive.Close();

  Bytes program = bytesOf("#!/bin/sh\necho not really a program\n");
  Bytes appended = appendedArchive(program, kExample);
  ASSERT_EQ(appended.size(), program.size() + 50);
  EXPECT_EQ(appended[appended.size() - 8], 0x32) << "archiveLength = 50";
  ASSERT_EQ(archive.Open(dir.write("player", appended).c_str()), 1);
  EXPECT_EQ(extractString(archive, "a"), "xyz");
  EXPECT_EQ(archive.Entries().at(0)->file->base, program.size());
}

TEST_F(CFLArchiveTest, RejectsFilesThatAreNoArchive) {
  EXPECT_EQ(archive.Open(dir.file("missing.cfl").c_str()), 0);
  EXPECT_EQ(archive.Open(dir.write("text", bytesOf("hello world, no archive here")).c_str()), 0);
  EXPECT_EQ(archive.Open(dir.write("empty", {}).c_str()), 0);
  EXPECT_EQ(archive.Open(dir.path().c_str()), 0) << "a directory";
  // A trailer whose length points at bytes other than "CFL3".
  Bytes appended = appendedArchive(bytesOf("prefix"), kExample);
  putU32(appended, appended.size() - 8, 49);
  EXPECT_EQ(archive.Open(dir.write("bad-trailer", appended).c_str()), 0);
  // A trailer longer than the whole file.
  putU32(appended, appended.size() - 8, std::uint32_t(appended.size() + 1));
  EXPECT_EQ(archive.Open(dir.write("long-trailer", appended).c_str()), 0);
  EXPECT_TRUE(archive.Entries().empty());
}

TEST_F(CFLArchiveTest, EmptyDirectoryOpens) {
  Bytes image = buildArchive({}, 0);
  ASSERT_EQ(image.size(), 20u);
  EXPECT_EQ(archive.Open(dir.write("empty.cfl", image).c_str()), 1);
  EXPECT_TRUE(archive.Entries().empty());
  // A negative directory size reads as no entries too.
  Bytes negative = tinyArchive();
  putU32(negative, 8, 0xFFFFFFF0u);
  EXPECT_EQ(archive.Open(dir.write("negative.cfl", negative).c_str()), 1);
  EXPECT_EQ(archive.Contains("a"), 0);
}

TEST_F(CFLArchiveTest, LaterEntriesAndArchivesOverrideByName) {
  // Within one directory the last entry of a name wins, keeping the first one's place.
  ArchiveWriter writer(0);
  ASSERT_TRUE(writer.add("x", "first", 5, 0));
  ASSERT_TRUE(writer.add("y", "why", 3, 0));
  ASSERT_TRUE(writer.add("x", "second!", 7, 0));
  Bytes image;
  ASSERT_TRUE(writer.finish(&image));
  ASSERT_EQ(archive.Open(dir.write("one.cfl", image).c_str()), 1);
  EXPECT_EQ(extractString(archive, "x"), "first") << "the writer lists newest first, so 'first' is read last";

  // A second archive replaces an entry, filter id included.
  const Bytes other = buildArchive({{"y", bytesOf("replaced"), CFL_FILTER_ZLIB}, {"z", bytesOf("zed"), 0}});
  ASSERT_EQ(archive.Open(dir.write("two.cfl", other).c_str()), 1);
  EXPECT_EQ(extractString(archive, "y"), "replaced");
  EXPECT_EQ(archive.GetSize("y"), 8u);
  std::vector<std::string> order;
  for (const CFLEntry* e : archive.Entries()) order.push_back(e->name + "/" + std::to_string(e->filterId));
  EXPECT_EQ(order, (std::vector<std::string>{"z/0", "y/1", "x/0"}));
}

TEST_F(CFLArchiveTest, LookupIsExactAndCaseSensitive) {
  const Bytes image = buildArchive({{"scene.cfg", bytesOf("1"), 0}, {"Textures/wall.jpg", bytesOf("2"), 0}});
  ASSERT_EQ(archive.Open(dir.write("a.cfl", image).c_str()), 1);
  EXPECT_EQ(archive.Contains("scene.cfg"), 1);
  EXPECT_EQ(archive.Contains("Scene.cfg"), 0);
  EXPECT_EQ(archive.Contains("textures/wall.jpg"), 0);
  EXPECT_EQ(archive.Contains("Textures\\wall.jpg"), 0);
  EXPECT_EQ(archive.Contains("scene.cfg "), 0);
  EXPECT_EQ(archive.GetSize("absent"), 0u);
  EXPECT_EQ(archive.Contains("absent"), 0);
  std::uint32_t size = 77;
  EXPECT_EQ(archive.Extract("absent", &size), nullptr);
  EXPECT_EQ(size, 0u);
}

TEST_F(CFLArchiveTest, ReadIntoCopiesAtMostTheCapacity) {
  const Bytes image = buildArchive({{"ten", bytesOf("0123456789"), CFL_FILTER_ZLIB}});
  ASSERT_EQ(archive.Open(dir.write("a.cfl", image).c_str()), 1);
  char buffer[16] = {};
  EXPECT_EQ(archive.ReadInto("ten", buffer, 4), 4);
  EXPECT_EQ(std::string(buffer), "0123");
  EXPECT_EQ(archive.ReadInto("ten", buffer, 16), 10);
  EXPECT_EQ(std::string(buffer, 10), "0123456789");
  EXPECT_EQ(archive.ReadInto("ten", buffer, -3), 0);
  EXPECT_EQ(archive.ReadInto("absent", buffer, 16), 0);
}

TEST_F(CFLArchiveTest, ExtractReopensTheFileEveryTime) {
  const std::string path = dir.write("a.cfl", kExample);
  ASSERT_EQ(archive.Open(path.c_str()), 1);
  Bytes changed = kExample;
  changed[16] = 'X';
  dir.write("a.cfl", changed);
  EXPECT_EQ(extractString(archive, "a"), "Xyz");
  std::remove(path.c_str());
  std::uint32_t size = 0;
  EXPECT_EQ(archive.Extract("a", &size), nullptr);
  EXPECT_EQ(size, 3u) << "the size is known even when the file is gone";
}

TEST_F(CFLArchiveTest, CloseForgetsEverything) {
  ASSERT_EQ(archive.Open(dir.write("a.cfl", kExample).c_str()), 1);
  archive.Close();
  EXPECT_EQ(archive.Contains("a"), 0);
  EXPECT_TRUE(archive.Entries().empty());
  ASSERT_EQ(archive.Open(dir.file("a.cfl").c_str()), 1);
  EXPECT_EQ(archive.Contains("a"), 1);
}
