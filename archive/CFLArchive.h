#pragma once
// The CFL resource archive reader.
//
// An archive is a 12-byte header ("CFL3", u32 directory offset, i32 decoded
// directory size), entry data blocks (u32 stored length + stored bytes) and a
// directory block (u32 filter id, u32 stored length, stored bytes). It stands
// alone (header at offset 0) or is appended to another file, which then ends
// with an 8-byte trailer: u32 archive length (trailer included), "3CFL".
// All offsets are relative to the archive's first byte; all integers are
// little-endian.
//
// Several archives can be opened into one CFLArchive; a later archive
// overrides earlier entries name by name. Names match byte for byte.
//
// Unlike the first readers, this one checks every length and offset against
// the file and the decoded directory: a damaged archive fails to open or to
// extract, never reads outside its buffers.
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

struct CFLArchiveFile {
  std::string path;        // reopened for every extraction; no handle is kept
  std::uint32_t base = 0;  // byte offset of the archive within the file
};

struct CFLEntry {
  std::string name;
  std::uint32_t filterId = 0;
  std::uint32_t size = 0;    // decoded size: what callers are told
  std::uint32_t offset = 0;  // data block, relative to the archive base
  std::uint32_t hash = 0;    // CFLArchive::HashName(name)
  const CFLArchiveFile* file = nullptr;
};

class CFLArchive {
 public:
  CFLArchive() = default;
  ~CFLArchive() { Close(); }
  CFLArchive(const CFLArchive&) = delete;
  CFLArchive& operator=(const CFLArchive&) = delete;

  // Opens the archive in the file at path (stand-alone or appended) and
  // merges its directory. 1 on success; 0 (nothing added) on failure.
  int Open(const char* path);

  // Decoded contents of the entry (std::malloc'd, the caller frees it with
  // std::free), or null. *outSize is set to 0 first, then to the entry's
  // directory size once the entry is found, even if decoding then fails.
  unsigned char* Extract(const char* name, std::uint32_t* outSize);
  unsigned char* Extract(const char* name);

  // Copies the first min(size, capacity) bytes of the entry to dest and
  // returns that count; 0 when the entry is absent or cannot be decoded.
  int ReadInto(const char* name, void* dest, int capacity);

  std::uint32_t GetSize(const char* name) const;  // 0 when absent
  int Contains(const char* name) const;           // 1 or 0

  // Forgets the entry of that name, so that readers which ask the archive
  // first find the loose file instead (a tool laying an author's folder over
  // a packed show). 1 when there was one, else 0.
  int Remove(const char* name);

  // Forgets every archive and entry.
  void Close();

  // The directory in list order (the newest first-seen name first), for tools.
  std::vector<const CFLEntry*> Entries() const;

  // h = ((h << 21) + (h >> 11)) ^ byte, the right shift arithmetic (sign-copying).
  static std::uint32_t HashName(const char* name);

 private:
  const CFLEntry* find(const char* name) const;

  std::vector<std::unique_ptr<CFLArchiveFile>> m_files;
  // Entries in the order they first appeared; the directory list is this
  // vector back to front (new names go to the head of the list).
  std::vector<CFLEntry> m_entries;
  std::unordered_multimap<std::uint32_t, std::size_t> m_byHash;  // name hash -> index
};

// The process's archive; start-up creates and opens it.
extern CFLArchive* g_archive;
