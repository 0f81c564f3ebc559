#include "tools/FilterSpec.h"

#include "archive/ResourceFilter.h"

#include <cstdio>
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

std::string formatFilterSpec(std::uint32_t id) {
  const std::uint32_t delta = id & 0xFFFF0000u;
  const std::uint32_t base = id & 0x0000FFFFu;
  std::string name;
  if (delta == CFL_FILTER_DELTA8) name = "delta8";
  else if (delta == CFL_FILTER_DELTA16) name = "delta16";
  else if (delta == CFL_FILTER_DELTA32) name = "delta32";
  if ((delta != 0 && name.empty()) || (base != CFL_FILTER_NONE && base != CFL_FILTER_ZLIB)) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", unsigned(id));
    return hex;
  }
  if (base == CFL_FILTER_ZLIB) name += name.empty() ? "zlib" : "+zlib";
  return name.empty() ? "none" : name;
}
