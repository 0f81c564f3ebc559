#pragma once
// Filter specifications on vxtool's command line: "none", "zlib", "delta8",
// "delta16", "delta32", or a delta and zlib joined by "+" ("delta16+zlib" is
// id 0x00020001).
#include <cstdint>
#include <optional>
#include <string>

std::optional<std::uint32_t> parseFilterSpec(const std::string& spec);

// The spelling parseFilterSpec reads back for an id ("delta16+zlib" for
// 0x00020001); an id no filter spec makes (a foreign or damaged archive) is
// written in hex, "0x00000002".
std::string formatFilterSpec(std::uint32_t id);
