#include "tools/ArchiveListing.h"

#include "archive/CFLArchive.h"
#include "tools/FilterSpec.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace {

// An entry's data block starts with its stored length (u32, little-endian),
// then the encoded bytes. A length running past the end of the file is as
// unreadable as a short read.
std::optional<std::uint32_t> storedLength(const CFLEntry& entry) {
  std::ifstream in(entry.file->path, std::ios::binary);
  const std::streamoff block = std::streamoff(entry.file->base) + entry.offset;
  unsigned char bytes[4];
  if (!in.seekg(block) || !in.read(reinterpret_cast<char*>(bytes), 4)) return std::nullopt;
  const std::uint32_t length = std::uint32_t(bytes[0]) | std::uint32_t(bytes[1]) << 8 |
                               std::uint32_t(bytes[2]) << 16 | std::uint32_t(bytes[3]) << 24;
  if (!in.seekg(0, std::ios::end) || std::streamoff(in.tellg()) - (block + 4) < std::streamoff(length))
    return std::nullopt;
  return length;
}

std::string jsonQuoted(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += char(c);
    } else if (c < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      out += escape;
    } else {
      out += char(c);
    }
  }
  return out + "\"";
}

struct Totals {
  unsigned long long stored = 0, unpacked = 0;
};

Totals totalsOf(const std::vector<ListedEntry>& entries) {
  Totals t;
  for (const ListedEntry& e : entries) {
    t.stored += e.stored.value_or(0);
    t.unpacked += e.unpacked;
  }
  return t;
}

}  // namespace

std::vector<ListedEntry> listEntries(const CFLArchive& archive) {
  std::vector<ListedEntry> list;
  for (const CFLEntry* entry : archive.Entries())
    list.push_back({entry->name, entry->filterId, entry->size, storedLength(*entry)});
  return list;
}

std::string listingText(const std::vector<ListedEntry>& entries) {
  const Totals totals = totalsOf(entries);
  const int sizeWidth =
      std::max<int>(8, int(std::to_string(std::max(totals.stored, totals.unpacked)).size()));  // "unpacked"
  int filterWidth = 6;                                                                        // "filter"
  for (const ListedEntry& e : entries) filterWidth = std::max(filterWidth, int(formatFilterSpec(e.filterId).size()));

  std::string out;
  char line[256];
  std::snprintf(line, sizeof line, "%*s  %*s  %-*s  name\n", sizeWidth, "stored", sizeWidth, "unpacked", filterWidth,
                "filter");
  out += line;
  for (const ListedEntry& e : entries) {
    const std::string stored = e.stored ? std::to_string(*e.stored) : "?";
    std::snprintf(line, sizeof line, "%*s  %*u  %-*s  ", sizeWidth, stored.c_str(), sizeWidth, unsigned(e.unpacked),
                  filterWidth, formatFilterSpec(e.filterId).c_str());
    out += line + e.name + "\n";
  }
  std::snprintf(line, sizeof line, "%*llu  %*llu  %-*s  total, %zu %s\n", sizeWidth, totals.stored, sizeWidth,
                totals.unpacked, filterWidth, "", entries.size(), entries.size() == 1 ? "entry" : "entries");
  out += line;
  return out;
}

std::string listingJson(const std::vector<ListedEntry>& entries) {
  std::string out = "{\"entries\":[";
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const ListedEntry& e = entries[i];
    if (i) out += ",";
    out += "{\"name\":" + jsonQuoted(e.name) + ",\"filter\":" + jsonQuoted(formatFilterSpec(e.filterId)) +
           ",\"filter_id\":" + std::to_string(e.filterId) +
           ",\"stored\":" + (e.stored ? std::to_string(*e.stored) : std::string("null")) +
           ",\"unpacked\":" + std::to_string(e.unpacked) + "}";
  }
  const Totals totals = totalsOf(entries);
  out += "],\"total\":{\"entries\":" + std::to_string(entries.size()) + ",\"stored\":" + std::to_string(totals.stored) +
         ",\"unpacked\":" + std::to_string(totals.unpacked) + "}}\n";
  return out;
}
