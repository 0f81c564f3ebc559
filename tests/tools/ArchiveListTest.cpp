// vxtool list: sizes stored and unpacked, filter names as pack spells them,
// totals, JSON, and entries whose data is damaged.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "archive/CFLArchive.h"
#include "tools/FilterSpec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const char* kSpecs[] = {"none",         "zlib",         "delta8",      "delta16",
                        "delta32",      "delta8+zlib",  "delta16+zlib", "delta32+zlib"};

// 4000 bytes of a slow ramp: every filter decodes it, zlib shrinks it.
Bytes ramp() {
  Bytes data(4000);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i / 16);
  return data;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  return lines;
}

}  // namespace

TEST(FilterSpec, EveryIdIsWrittenAsPackReadsIt) {
  for (const char* spec : kSpecs) {
    const auto id = parseFilterSpec(spec);
    ASSERT_TRUE(id.has_value()) << spec;
    EXPECT_EQ(formatFilterSpec(*id), spec);
  }
  // Ids no spec makes: a base filter other than zlib, a fourth delta.
  EXPECT_EQ(formatFilterSpec(0x00000002), "0x00000002");
  EXPECT_EQ(formatFilterSpec(0x00040001), "0x00040001");
}

TEST(ArchiveList, TableHasAHeaderARowPerEntryAndTotals) {
  TempDir dir;
  dir.write("a.cfl", buildArchive({{"demo.vxc", bytesOf("settime 0\n"), 0}, {"img/pic.bin", Bytes(1234, 9), 0}}));
  ToolRun run = vxtool(dir, "list a.cfl");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out,
            "  stored  unpacked  filter  name\n"
            "      10        10  none    demo.vxc\n"
            "    1234      1234  none    img/pic.bin\n"
            "    1244      1244          total, 2 entries\n");
}

TEST(ArchiveList, EveryFilterWithItsStoredSize) {
  TempDir dir;
  std::vector<TestEntry> entries;
  for (const char* spec : kSpecs) entries.push_back({spec, ramp(), *parseFilterSpec(spec)});
  dir.write("all.cfl", buildArchive(entries));
  ToolRun run = vxtool(dir, "list all.cfl");
  ASSERT_EQ(run.code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 10u) << run.out;
  EXPECT_EQ(lines[0], "  stored  unpacked  filter        name");
  for (std::size_t i = 0; i < 8; ++i) {
    const std::string& line = lines[i + 1];
    const std::string spec = kSpecs[i];
    // The entry is named after its filter: "SIZE  4000  SPEC  SPEC".
    EXPECT_EQ(line.substr(10), "    4000  " + spec + std::string(14 - spec.size(), ' ') + spec) << line;
    const unsigned long stored = std::stoul(line.substr(0, 8));
    if (spec.find("zlib") != std::string::npos)
      EXPECT_LT(stored, 1000u) << line;
    else
      EXPECT_EQ(stored, 4000u) << line;
  }
  EXPECT_EQ(lines[9].substr(8), "     32000" + std::string(16, ' ') + "total, 8 entries") << lines[9];
}

TEST(ArchiveList, JsonForScripts) {
  TempDir dir;
  dir.write("a.cfl", buildArchive({{"say \"hi\"\t.txt", bytesOf("hello"), 0}, {"z", Bytes(100, 1), 0x00020001}}));
  ToolRun run = vxtool(dir, "list --json a.cfl");
  ASSERT_EQ(run.code, 0) << run.err;
  const std::string prefix =
      "{\"entries\":[{\"name\":\"say \\\"hi\\\"\\u0009.txt\",\"filter\":\"none\",\"filter_id\":0,\"stored\":5,"
      "\"unpacked\":5},{\"name\":\"z\",\"filter\":\"delta16+zlib\",\"filter_id\":131073,\"stored\":";
  ASSERT_EQ(run.out.substr(0, prefix.size()), prefix) << run.out;
  EXPECT_NE(run.out.find(",\"unpacked\":100}],\"total\":{\"entries\":2,\"stored\":"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.substr(run.out.size() - 18), ",\"unpacked\":105}}\n");
}

TEST(ArchiveList, AppendedArchiveGivesTheSameSizes) {
  TempDir dir;
  const Bytes archive = buildArchive({{"a", ramp(), 1}, {"b", bytesOf("xyz"), 0}});
  dir.write("alone.cfl", archive);
  dir.write("player", appendedArchive(Bytes(777, 0x90), archive));
  ToolRun alone = vxtool(dir, "list alone.cfl");
  ToolRun appended = vxtool(dir, "list player");
  ASSERT_EQ(alone.code, 0) << alone.err;
  ASSERT_EQ(appended.code, 0) << appended.err;
  EXPECT_EQ(alone.out, appended.out);
}

TEST(ArchiveList, DataPastTheEndIsShownAndFails) {
  TempDir dir;
  Bytes image = buildArchive({{"good", bytesOf("fine"), 0}, {"bad", bytesOf("lost"), 0}});
  const std::string path = dir.write("d.cfl", image);
  std::uint32_t badOffset = 0;
  {
    CFLArchive archive;
    ASSERT_EQ(archive.Open(path.c_str()), 1);
    for (const CFLEntry* entry : archive.Entries())
      if (entry->name == "bad") badOffset = entry->offset;
  }
  ASSERT_GT(badOffset, 0u);
  putU32(image, badOffset, 0x7FFFFFFF);  // the stored length
  dir.write("d.cfl", image);
  ToolRun run = vxtool(dir, "list d.cfl");
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.out.find("       ?         4  none    bad\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("       4         8          total, 2 entries"), std::string::npos) << run.out;
  EXPECT_EQ(run.err, "vxtool: 1 entries have data past the end of their file (damaged archive)\n");
  ToolRun json = vxtool(dir, "list d.cfl --json");
  EXPECT_EQ(json.code, 1);
  EXPECT_NE(json.out.find("\"name\":\"bad\",\"filter\":\"none\",\"filter_id\":0,\"stored\":null"), std::string::npos)
      << json.out;
}
