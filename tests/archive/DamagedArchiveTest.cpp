// Archives damaged in every field must fail cleanly: no crash, no read
// outside a buffer (run under the sanitizers), no allocation of a size that
// only a damaged length announces.
#include "archive/CFLArchive.h"

#include "ArchiveTestUtil.h"
#include "archive/ResourceFilter.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

Bytes sample(std::size_t n) {
  Bytes b(n);
  for (std::size_t i = 0; i < n; ++i) b[i] = std::uint8_t(i * 7 + i / 13);
  return b;
}

Bytes richArchive() {
  return buildArchive({{"plain", sample(40), 0},
                       {"packed", sample(300), CFL_FILTER_ZLIB},
                       {"words", sample(33), 0x00020001},
                       {"dir/longer name.bin", sample(5), CFL_FILTER_DELTA32}});
}

// Opens the image and extracts every entry; returns how many entries opened.
int exercise(const TempDir& dir, const Bytes& image) {
  CFLArchive archive;
  if (!archive.Open(dir.write("damaged.cfl", image).c_str())) return -1;
  int count = 0;
  for (const CFLEntry* entry : archive.Entries()) {
    std::uint32_t size = 0;
    unsigned char* data = archive.Extract(entry->name.c_str(), &size);
    EXPECT_EQ(size, entry->size);
    if (data) {
      volatile unsigned char sink = 0;
      for (std::uint32_t i = 0; i < size; ++i) sink = sink ^ data[i];  // every announced byte is readable
      std::free(data);
    }
    char small[8];
    archive.ReadInto(entry->name.c_str(), small, sizeof small);
    ++count;
  }
  return count;
}

}  // namespace

TEST(DamagedArchive, EveryByteChangedFailsCleanly) {
  TempDir dir;
  const Bytes good = richArchive();
  ASSERT_EQ(exercise(dir, good), 4);
  for (std::size_t at = 0; at < good.size(); ++at)
    for (unsigned char value : {0x00, 0xFF, 0x80}) {
      Bytes bad = good;
      if (bad[at] == value) continue;
      bad[at] = value;
      exercise(dir, bad);
    }
}

TEST(DamagedArchive, EveryTruncationFailsCleanly) {
  TempDir dir;
  const Bytes good = richArchive();
  for (std::size_t length = 0; length < good.size(); ++length) {
    exercise(dir, Bytes(good.begin(), good.begin() + std::ptrdiff_t(length)));
    exercise(dir, appendedArchive(bytesOf("MZ"), Bytes(good.begin(), good.begin() + std::ptrdiff_t(length))));
  }
}

TEST(DamagedArchive, DirectoryEntryPastTheDecodedDirectoryRejectsTheArchive) {
  TempDir dir;
  Bytes image = tinyArchive();  // directory at 19, unfiltered, 15 bytes
  image[39] = 2;                // nameLength 2: one byte past the directory
  EXPECT_EQ(exercise(dir, image), -1);
  Bytes longer = tinyArchive();
  putU32(longer, 8, 16);  // directorySize promises more than was stored
  EXPECT_EQ(exercise(dir, longer), -1);
}

TEST(DamagedArchive, BlocksPastTheEndOfTheFileFail) {
  TempDir dir;
  Bytes dirPast = tinyArchive();
  putU32(dirPast, 23, 16);  // directory storedLength one past the file
  EXPECT_EQ(exercise(dir, dirPast), -1);
  Bytes dirOffset = tinyArchive();
  putU32(dirOffset, 4, 0xFFFFFFF0u);
  EXPECT_EQ(exercise(dir, dirOffset), -1);

  Bytes dataPast = tinyArchive();
  putU32(dataPast, 12, 0x7FFFFFFF);  // entry storedLength far past the file
  CFLArchive archive;
  ASSERT_EQ(archive.Open(dir.write("data-past.cfl", dataPast).c_str()), 1);
  EXPECT_EQ(archive.Extract("a"), nullptr);
  Bytes offsetPast = tinyArchive();
  putU32(offsetPast, 31, 40);  // entry offset: its length field runs off the end
  CFLArchive second;
  ASSERT_EQ(second.Open(dir.write("offset-past.cfl", offsetPast).c_str()), 1);
  EXPECT_EQ(second.Extract("a"), nullptr);
}

TEST(DamagedArchive, EntryThatDecodesShortOrAnnouncesTooMuchFails) {
  TempDir dir;
  // A zlib entry announcing 2 GiB from a few stored bytes must not allocate it.
  ArchiveWriter writer(0);
  Bytes stored = {0x00, 0x00, 0x00, 0x80, 0x78, 0x9C, 0x03, 0x00};
  ASSERT_TRUE(writer.addRaw("bomb", stored.data(), stored.size(), 0x80000000u, CFL_FILTER_ZLIB));
  // An unfiltered entry whose directory size exceeds its stored bytes.
  ASSERT_TRUE(writer.addRaw("short", "abc", 3, 10, 0));
  // An entry with an unregistered filter id.
  ASSERT_TRUE(writer.addRaw("unknown", "abc", 3, 3, 0x00000007));
  Bytes image;
  ASSERT_TRUE(writer.finish(&image));
  CFLArchive archive;
  ASSERT_EQ(archive.Open(dir.write("a.cfl", image).c_str()), 1);
  for (const char* name : {"bomb", "short", "unknown"}) {
    std::uint32_t size = 0;
    EXPECT_EQ(archive.Extract(name, &size), nullptr) << name;
    EXPECT_EQ(size, archive.GetSize(name)) << name;
  }
}

TEST(DamagedArchive, UnknownDirectoryFilterRejectsTheArchive) {
  TempDir dir;
  for (std::uint32_t id : {0x01000000u, 0x00000002u, 0x00040000u}) {
    Bytes image = tinyArchive();
    putU32(image, 19, id);  // directoryFilterId
    EXPECT_EQ(exercise(dir, image), -1) << std::hex << id;
  }
}
