#pragma once
// Filter specifications on vxtool's command line: "none", "zlib", "delta8",
// "delta16", "delta32", or a delta and zlib joined by "+" ("delta16+zlib" is
// id 0x00020001).
#include <cstdint>
#include <optional>
#include <string>

std::optional<std::uint32_t> parseFilterSpec(const std::string& spec);
