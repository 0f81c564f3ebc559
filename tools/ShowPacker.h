#pragma once
// vxtool pack --show: an archive of exactly the files a show uses, as
// vxtool check finds them, each entry with the filter that stores it
// smallest.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/CommandLine.h"

struct FilterChoice {
  std::uint32_t filterId = 0;
  std::uint32_t storedSize = 0;  // bytes the entry takes with that filter
};

// The filters tried for every entry: none, zlib, and each delta joined to zlib.
const std::vector<std::uint32_t>& packFilterCandidates();
// "none", "zlib", "delta16+zlib", ...
std::string filterSpecName(std::uint32_t filterId);
// Encodes with every candidate and keeps the smallest. A filter must save at
// least 2% over storing the bytes as they are, or the entry is stored with
// none: pictures and music that are already compressed would otherwise cost
// a decode at every load for next to nothing.
FilterChoice chooseFilter(const unsigned char* data, std::size_t size);

int packShowCommand(const Args& args);
