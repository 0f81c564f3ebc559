#pragma once
// File helpers for vxtool: whole-file reads, and writes that never clobber
// what the user owns (a new file is written beside the target and renamed
// over it only when complete, and only with force when the target exists).
#include <string>
#include <vector>

bool readFile(const std::string& path, std::vector<unsigned char>* data, std::string* error);
// mode: permission bits of the new file.
bool writeFileSafely(const std::string& path, const void* data, std::size_t size, bool force, unsigned mode,
                     std::string* error);
// mkdir -p
bool makeDirectories(const std::string& path, std::string* error);
// One "vxtool: ..." line on standard error; returns 1.
int fail(const std::string& message);
