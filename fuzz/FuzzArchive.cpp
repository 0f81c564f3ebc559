// fuzz_archive: the bytes as an archive file (stand-alone or appended to
// something), opened, then every entry extracted through its filters.
//
// Beyond the sanitizers, it checks what callers of the reader rely on: an
// extracted entry holds at least the size the directory announces (callers
// read that many bytes), and the three ways to read an entry agree.
#include "archive/CFLArchive.h"
#include "fuzz/FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "input.cfl";
  writeScratchFile(path, data, size);
  CFLArchive archive;
  if (archive.Open(path.c_str())) {
    // Open merges: a second open of the same file changes no entry.
    const std::size_t count = archive.Entries().size();
    if (!archive.Open(path.c_str()) || archive.Entries().size() != count) {
      std::fprintf(stderr, "fuzz_archive: reopening the archive changed its directory\n");
      std::abort();
    }
    for (const CFLEntry* entry : archive.Entries()) {
      const char* name = entry->name.c_str();
      if (!archive.Contains(name)) std::abort();  // every listed name is found
      std::uint32_t size = 0;
      unsigned char* bytes = archive.Extract(name, &size);
      if (bytes) {
        // Touch every announced byte: a short buffer is an ASan report here.
        volatile unsigned sum = 0;
        for (std::uint32_t i = 0; i < size; ++i) sum = sum + bytes[i];
        const std::uint32_t want = size < 64 ? size : 64;
        std::vector<unsigned char> head(want + 1);
        const int copied = archive.ReadInto(name, head.data(), int(want));
        if (copied != int(want) || std::memcmp(head.data(), bytes, want) != 0) {
          std::fprintf(stderr, "fuzz_archive: ReadInto disagrees with Extract for '%s'\n", name);
          std::abort();
        }
        std::free(bytes);
      }
      if (size != archive.GetSize(name)) std::abort();
    }
  }
  archive.Close();
  return 0;
}
