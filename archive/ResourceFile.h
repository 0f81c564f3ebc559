#pragma once
// Files by name: a loose file in the current directory wins over the archive
// entry of the same name. A ResourceFile holds the whole file in memory and
// keeps no handle open, so any number can be open at once.
//
// The five calls have stdio's shapes (fopen, fread, fseek, ftell, fclose), so
// the music player can hand them to the sound library as file callbacks.
#include <cstdint>

struct ResourceFile {
  unsigned char* data = nullptr;  // std::malloc'd, owned; released by ResClose
  std::int32_t position = 0;      // 0 ... size
  std::int32_t size = 0;          // bytes in data
};

// Null when the name is found nowhere, or its archive entry cannot be decoded.
ResourceFile* ResOpen(const char* name);
// Copies min(elementSize * count, size - position) bytes and advances by that
// many; returns whole elements copied. 0 for a null file or elementSize <= 0.
int ResRead(void* dest, int elementSize, int count, ResourceFile* file);
// origin 0: from the start, 1: from the position, 2: from the end; any other
// origin leaves the position. The result is clamped into 0 ... size. Returns
// 0; 1 for a null file.
int ResSeek(ResourceFile* file, int offset, int origin);
int ResTell(ResourceFile* file);   // -1 for a null file
int ResClose(ResourceFile* file);  // 0; -1 for a null file

// Told the name of every ResOpen, found or not (tools that watch the files a
// show uses). Null, the default, tells no one.
using ResourceOpenObserver = void (*)(const char* name, bool found);
void SetResourceOpenObserver(ResourceOpenObserver observer);
