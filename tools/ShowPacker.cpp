#include "tools/ShowPacker.h"

#include "archive/ResourceFilter.h"
#include "tools/ArchiveWriter.h"
#include "tools/ShowChecker.h"
#include "tools/ToolIO.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr double kMinSaving = 0.02;  // fraction of the size a filter must save over none

const char* kPackShowHelp =
    "usage: vxtool pack --show SCRIPT OUT.cfl [-C DIR] [--force]\n"
    "Checks the show SCRIPT (as vxtool check does, with the loose files of DIR,\n"
    "default the current directory) and packs exactly the files it uses: the\n"
    "script, its includes and everything they load, nested scene files, textures\n"
    "and sequence frames included. Each entry gets the filter that stores it\n"
    "smallest (none when no filter saves 2%). Prints one line per entry: size,\n"
    "stored size, ratio, filter, name. A show with errors is refused with the\n"
    "errors printed; --force packs it anyway and replaces an existing OUT.\n";

std::string absolutePath(const std::string& path) {
  if (!path.empty() && path[0] == '/') return path;
  char cwd[PATH_MAX];
  if (!::getcwd(cwd, sizeof cwd)) return path;
  return std::string(cwd) + "/" + path;
}

}  // namespace

const std::vector<std::uint32_t>& packFilterCandidates() {
  static const std::vector<std::uint32_t> candidates = {
      CFL_FILTER_NONE, CFL_FILTER_ZLIB, CFL_FILTER_DELTA8 | CFL_FILTER_ZLIB, CFL_FILTER_DELTA16 | CFL_FILTER_ZLIB,
      CFL_FILTER_DELTA32 | CFL_FILTER_ZLIB};
  return candidates;
}

std::string filterSpecName(std::uint32_t filterId) {
  std::string name;
  switch (filterId & 0xFFFF0000u) {
    case CFL_FILTER_DELTA8: name = "delta8"; break;
    case CFL_FILTER_DELTA16: name = "delta16"; break;
    case CFL_FILTER_DELTA32: name = "delta32"; break;
    default: break;
  }
  if (filterId & CFL_FILTER_ZLIB) name += name.empty() ? "zlib" : "+zlib";
  return name.empty() ? "none" : name;
}

FilterChoice chooseFilter(const unsigned char* data, std::size_t size) {
  FilterChoice best{CFL_FILTER_NONE, std::uint32_t(size)};
  FilterChoice smallest = best;
  for (std::uint32_t id : packFilterCandidates()) {
    if (id == CFL_FILTER_NONE) continue;
    std::uint32_t stored = 0;
    unsigned char* encoded = CFLEncode(data, std::uint32_t(size), id, &stored);
    if (!encoded) continue;
    std::free(encoded);
    if (stored < smallest.storedSize) smallest = {id, stored};
  }
  if (double(smallest.storedSize) <= double(size) * (1.0 - kMinSaving)) best = smallest;
  return best;
}

int packShowCommand(const Args& args) {
  if (wantsHelp(args)) return help(kPackShowHelp);
  Parsed p = parseArgs(args, {"-C"}, {"--force", "--show"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() != 2) return fail("pack --show takes SCRIPT and OUT.cfl (see vxtool pack --show --help)");
  const bool force = p.has("--force");
  const std::string out = absolutePath(p.positional[1]);
  if (const std::string* dir = p.get("-C"))
    if (::chdir(dir->c_str()) != 0) return fail("cannot enter folder '" + *dir + "'");

  CheckOptions options;
  options.script = p.positional[0];
  CheckReport report;
  std::string error;
  if (!checkShow(options, &report, &error)) return fail(error);
  for (const CheckProblem& problem : report.problems) std::fprintf(stderr, "%s\n", formatProblem(problem).c_str());
  if (report.errorCount() > 0 && !force)
    return fail("the show has " + std::to_string(report.errorCount()) +
                " error(s); nothing written (--force packs it anyway)");

  ArchiveWriter writer;
  std::uint64_t totalSize = 0, totalStored = 0;
  std::size_t entries = 0;
  std::string table;
  for (const std::string& name : report.files) {
    struct stat st;
    if (::stat(name.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
      std::fprintf(stderr, "%s: note: not a file here; left out\n", name.c_str());
      continue;
    }
    std::vector<unsigned char> data;
    if (!readFile(name, &data, &error)) return fail(error);
    const FilterChoice choice = chooseFilter(data.data(), data.size());
    if (!writer.add(name, data.data(), data.size(), choice.filterId)) return fail(writer.error());
    char line[512];
    const double ratio = data.empty() ? 1.0 : double(choice.storedSize) / double(data.size());
    std::snprintf(line, sizeof line, "%10zu %10u %6.1f%%  %-13s %s\n", data.size(), choice.storedSize, ratio * 100.0,
                  filterSpecName(choice.filterId).c_str(), name.c_str());
    table += line;
    totalSize += data.size();
    totalStored += choice.storedSize;
    ++entries;
  }
  for (const std::string& name : report.looseOnlyFiles)
    std::fprintf(stderr,
                 "%s: note: the scene loader reads animated-texture sequence files only as loose files; keep it "
                 "beside the player as well\n",
                 name.c_str());

  std::vector<unsigned char> image;
  if (!writer.finish(&image)) return fail(writer.error());
  if (!writeFileSafely(out, image.data(), image.size(), force, 0644, &error)) return fail(error);
  std::printf("%10s %10s %7s  %-13s %s\n%s", "size", "stored", "ratio", "filter", "name", table.c_str());
  std::printf("%10llu %10llu %6.1f%%  %-13s %zu entries; archive %zu bytes\n",
              static_cast<unsigned long long>(totalSize), static_cast<unsigned long long>(totalStored),
              totalSize ? 100.0 * double(totalStored) / double(totalSize) : 100.0, "", entries,
              image.size());
  return 0;
}
