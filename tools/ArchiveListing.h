#pragma once
// What `vxtool list` prints: per entry its stored and unpacked sizes, its
// filter as `pack --filter` spells it, and its name, with a total; as an
// aligned table for people or as JSON for scripts.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class CFLArchive;

struct ListedEntry {
  std::string name;
  std::uint32_t filterId = 0;
  std::uint32_t unpacked = 0;             // bytes, as the directory gives them
  std::optional<std::uint32_t> stored;    // bytes of encoded data; none when unreadable
};

// Every entry of the (merged) archive in directory order, with the stored
// length read from each entry's own file.
std::vector<ListedEntry> listEntries(const CFLArchive& archive);

// A header, one line per entry, and a total line. An unreadable stored size
// shows as "?" and is left out of the total.
std::string listingText(const std::vector<ListedEntry>& entries);

// {"entries":[{"name":...,"filter":"zlib","filter_id":1,"stored":N,"unpacked":N},...],
//  "total":{"entries":N,"stored":N,"unpacked":N}}; an unreadable stored size is null.
std::string listingJson(const std::vector<ListedEntry>& entries);
