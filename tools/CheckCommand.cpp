// vxtool check: every problem of a show before it plays.
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/ShowChecker.h"
#include "tools/ToolIO.h"

#include <cstdio>

namespace {

const char* kCheckHelp =
    "usage: vxtool check [SCRIPT] [--archive FILE] [--json]\n"
    "Reads the show as the player would (SCRIPT, default demo.vxc, from the\n"
    "archive FILE first, then as a loose file; includes with their base times),\n"
    "and runs every command on the player's own loaders without a display:\n"
    "pictures and image sequences (every frame), music (the first second\n"
    "decoded), movies, scenes with their nested scene files and textures.\n"
    "It goes on after each problem and prints every one once:\n"
    "  FILE:LINE: error: MESSAGE [COMMAND]   for script lines\n"
    "  FILE: error: MESSAGE [FILE:LINE: COMMAND]   for content\n"
    "with the player's own message where it has one. Warnings tell what would go\n"
    "wrong silently or stop the show later: setlayer of an image never loaded or\n"
    "freed, a waituntil already passed (after a settime jump), a '#' or other\n"
    "non-number where a number is expected, music cut off by the end of the\n"
    "script, an include found nowhere. Then a summary: the show's length, what\n"
    "it loads, and the peak texture memory (device textures alive at once, mip\n"
    "chains included). --json prints one object instead (problems with file,\n"
    "line, severity, message, command; the summary; the files used).\n"
    "Exit status: 1 when any error was found, 0 otherwise.\n";

}  // namespace

int checkCommand(const Args& args) {
  if (wantsHelp(args)) return help(kCheckHelp);
  Parsed p = parseArgs(args, {"--archive"}, {"--json"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() > 1) return fail("check takes at most one script (see vxtool check --help)");
  CheckOptions options;
  if (!p.positional.empty()) options.script = p.positional[0];
  if (const std::string* archive = p.get("--archive")) options.archive = *archive;
  CheckReport report;
  std::string error;
  if (!checkShow(options, &report, &error)) return fail(error);
  const std::string text = p.has("--json") ? reportJson(report) : reportText(report);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return report.errorCount() > 0 ? 1 : 0;
}
