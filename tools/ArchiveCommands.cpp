#include "tools/ArchiveCommands.h"

#include "archive/CFLArchive.h"
#include "archive/ResourceFilter.h"
#include "tools/ArchiveListing.h"
#include "tools/ArchiveWriter.h"
#include "tools/FilterSpec.h"
#include "tools/CommandLine.h"
#include "tools/ShowPacker.h"
#include "tools/ToolIO.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

namespace {

const char* kPackHelp =
    "usage: vxtool pack OUT.cfl [--filter SPEC] [-C DIR] [--force] NAME...\n"
    "       vxtool pack --show SCRIPT OUT.cfl [-C DIR] [--force]   (see pack --show --help)\n"
    "Writes a stand-alone archive holding each file NAME (read from DIR, default\n"
    "the current directory) under the entry name NAME exactly as given.\n"
    "SPEC: none, zlib (default), delta8, delta16, delta32, or a delta joined to\n"
    "zlib with '+' (delta16+zlib). The directory is stored with zlib.\n"
    "An existing OUT is only replaced with --force.\n";
const char* kListHelp =
    "usage: vxtool list ARCHIVE... [--json]\n"
    "Opens the archives in order (later ones override earlier entries) and prints\n"
    "one line per entry: the stored and unpacked sizes in bytes, the filter as\n"
    "pack --filter spells it, and the name; then the totals. --json prints the\n"
    "same as one JSON object for scripts. A damaged entry's stored size shows\n"
    "as ? (null in JSON), and the exit code is then 1.\n";
const char* kExtractHelp =
    "usage: vxtool extract ARCHIVE NAME [-o FILE] [--force]\n"
    "       vxtool extract ARCHIVE --all -C DIR [--force]\n"
    "Writes the decoded entry NAME to FILE (default: standard output), or every\n"
    "entry below DIR. Names that would leave DIR are refused; existing files are\n"
    "only replaced with --force.\n";
const char* kAppendHelp =
    "usage: vxtool append PROGRAM ARCHIVE OUT [--force]\n"
    "Writes PROGRAM followed by the stand-alone ARCHIVE and the 8-byte trailer\n"
    "to OUT (made executable), so OUT carries its show inside.\n";

// A name that stays below the extraction directory: relative, no ".."
// component, not a directory name.
bool isSafeRelativeName(const std::string& name) {
  if (name.empty() || name[0] == '/' || name.back() == '/') return false;
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t slash = name.find('/', start);
    if (slash == std::string::npos) slash = name.size();
    const std::string component = name.substr(start, slash - start);
    if (component == "..") return false;
    start = slash + 1;
  }
  return true;
}

bool openArchive(CFLArchive& archive, const std::string& path, std::string* error) {
  if (archive.Open(path.c_str())) return true;
  *error = "cannot open archive '" + path + "' (missing, not an archive, or damaged)";
  return false;
}

int extractOne(CFLArchive& archive, const std::string& name, const std::string* outPath, bool force) {
  if (!archive.Contains(name.c_str())) return fail("no entry named '" + name + "'");
  std::uint32_t size = 0;
  unsigned char* data = archive.Extract(name.c_str(), &size);
  if (!data) return fail("entry '" + name + "' cannot be decoded (damaged archive)");
  std::string error;
  bool ok;
  if (outPath) {
    ok = writeFileSafely(*outPath, data, size, force, 0644, &error);
  } else {
    ok = std::fwrite(data, 1, size, stdout) == size && std::fflush(stdout) == 0;
    if (!ok) error = "cannot write to standard output";
  }
  std::free(data);
  return ok ? 0 : fail(error);
}

}  // namespace

int packCommand(const Args& args) {
  if (std::find(args.begin(), args.end(), "--show") != args.end()) return packShowCommand(args);
  if (wantsHelp(args)) return help(kPackHelp);
  Parsed p = parseArgs(args, {"--filter", "-C"}, {"--force"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() < 2) return fail("pack needs OUT.cfl and at least one NAME (see vxtool pack --help)");

  std::uint32_t filterId = CFL_FILTER_ZLIB;
  if (const std::string* spec = p.get("--filter")) {
    auto parsedId = parseFilterSpec(*spec);
    if (!parsedId) return fail("unknown filter '" + *spec + "' (none, zlib, delta8, delta16, delta32, deltaN+zlib)");
    filterId = *parsedId;
  }
  const std::string* dirOption = p.get("-C");
  const std::string dir = dirOption ? *dirOption : ".";

  ArchiveWriter writer;
  std::set<std::string> seen;
  std::string error;
  for (std::size_t i = 1; i < p.positional.size(); ++i) {
    const std::string& name = p.positional[i];
    if (!seen.insert(name).second) return fail("name given twice: '" + name + "'");
    std::vector<unsigned char> data;
    if (!readFile(dir + "/" + name, &data, &error)) return fail(error);
    if (!writer.add(name, data.data(), data.size(), filterId)) return fail(writer.error());
  }
  std::vector<unsigned char> image;
  if (!writer.finish(&image)) return fail(writer.error());
  if (!writeFileSafely(p.positional[0], image.data(), image.size(), p.has("--force"), 0644, &error))
    return fail(error);
  return 0;
}

int listCommand(const Args& args) {
  if (wantsHelp(args)) return help(kListHelp);
  Parsed p = parseArgs(args, {}, {"--json"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.empty()) return fail("list needs at least one ARCHIVE (see vxtool list --help)");
  CFLArchive archive;
  std::string error;
  for (const auto& path : p.positional)
    if (!openArchive(archive, path, &error)) return fail(error);
  const std::vector<ListedEntry> entries = listEntries(archive);
  const std::string listing = p.has("--json") ? listingJson(entries) : listingText(entries);
  if (std::fwrite(listing.data(), 1, listing.size(), stdout) != listing.size() || std::fflush(stdout) != 0)
    return fail("cannot write to standard output");
  const auto damaged = std::count_if(entries.begin(), entries.end(), [](const ListedEntry& e) { return !e.stored; });
  if (damaged) return fail(std::to_string(damaged) + " entries have data past the end of their file (damaged archive)");
  return 0;
}

int extractCommand(const Args& args) {
  if (wantsHelp(args)) return help(kExtractHelp);
  Parsed p = parseArgs(args, {"-o", "-C"}, {"--all", "--force"});
  if (!p.error.empty()) return fail(p.error);
  const bool all = p.has("--all");
  const bool force = p.has("--force");
  if (p.positional.size() != (all ? 1u : 2u))
    return fail("extract needs ARCHIVE and NAME, or ARCHIVE --all -C DIR (see vxtool extract --help)");

  CFLArchive archive;
  std::string error;
  if (!openArchive(archive, p.positional[0], &error)) return fail(error);
  if (!all) return extractOne(archive, p.positional[1], p.get("-o"), force);

  const std::string* dir = p.get("-C");
  if (!dir) return fail("extract --all needs -C DIR");
  if (p.get("-o")) return fail("extract --all writes below -C DIR; -o does not apply");
  // Check every name before writing anything.
  for (const CFLEntry* entry : archive.Entries())
    if (!isSafeRelativeName(entry->name)) return fail("refusing entry name that would leave DIR: '" + entry->name + "'");
  if (!makeDirectories(*dir, &error)) return fail(error);
  for (const CFLEntry* entry : archive.Entries()) {
    const std::string target = *dir + "/" + entry->name;
    const std::size_t slash = target.rfind('/');
    if (!makeDirectories(target.substr(0, slash), &error)) return fail(error);
    if (int rc = extractOne(archive, entry->name, &target, force)) return rc;
  }
  return 0;
}

int appendCommand(const Args& args) {
  if (wantsHelp(args)) return help(kAppendHelp);
  Parsed p = parseArgs(args, {}, {"--force"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() != 3) return fail("append needs PROGRAM ARCHIVE OUT (see vxtool append --help)");
  const std::string& program = p.positional[0];
  const std::string& archivePath = p.positional[1];
  std::string error;

  std::vector<unsigned char> image, archiveBytes;
  if (!readFile(program, &image, &error) || !readFile(archivePath, &archiveBytes, &error)) return fail(error);
  if (archiveBytes.size() < 12 || std::memcmp(archiveBytes.data(), "CFL3", 4) != 0)
    return fail("'" + archivePath + "' is not a stand-alone archive");
  {
    CFLArchive check;
    if (!openArchive(check, archivePath, &error)) return fail(error);
  }
  if (archiveBytes.size() + 8 > 0xFFFFFFFFull) return fail("archive too large to append (4 GiB limit)");
  image.insert(image.end(), archiveBytes.begin(), archiveBytes.end());
  const auto trailer = ArchiveWriter::trailer(std::uint32_t(archiveBytes.size()));
  image.insert(image.end(), trailer.begin(), trailer.end());
  if (!writeFileSafely(p.positional[2], image.data(), image.size(), p.has("--force"), 0755, &error))
    return fail(error);
  return 0;
}
