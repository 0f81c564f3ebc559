#include "tools/FilterSpec.h"

#include "archive/ResourceFilter.h"

#include <sstream>

std::optional<std::uint32_t> parseFilterSpec(const std::string& spec) {
  std::uint32_t id = 0;
  bool base = false, delta = false;
  std::stringstream parts(spec);
  std::string part;
  int count = 0;
  while (std::getline(parts, part, '+')) {
    ++count;
    std::uint32_t bits;
    bool isDelta = true;
    if (part == "delta8") bits = CFL_FILTER_DELTA8;
    else if (part == "delta16") bits = CFL_FILTER_DELTA16;
    else if (part == "delta32") bits = CFL_FILTER_DELTA32;
    else if (part == "zlib") bits = CFL_FILTER_ZLIB, isDelta = false;
    else if (part == "none" && spec == "none") bits = CFL_FILTER_NONE, isDelta = false;
    else return std::nullopt;
    if (isDelta ? delta : base) return std::nullopt;  // two of a kind
    (isDelta ? delta : base) = true;
    id |= bits;
  }
  if (count == 0 || count > 2 || spec.back() == '+') return std::nullopt;
  if (count == 2 && !(delta && base)) return std::nullopt;
  return id;
}
