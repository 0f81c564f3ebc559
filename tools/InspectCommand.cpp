// vxtool inspect: what a scene file turns into, without a display.
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/SceneInspector.h"
#include "tools/ToolIO.h"

#include <cstdio>
#include <cstdlib>

namespace {

const char* kInspectHelp =
    "usage: vxtool inspect SCENE [--archive FILE] [--json] [--time MS]\n"
    "Loads the scene file SCENE as the player does (a loose file in the current\n"
    "directory first, then the archive FILE), with its nested scene files,\n"
    "textures and sequence files, prepares it, and prints its node tree. With\n"
    "--time every animation is first set to scene time MS. With --json one JSON\n"
    "object is printed instead: root, skybox, activeCamera, ambient, every object\n"
    "in creation order (id, class and fields) and every controller in list order.\n";

}  // namespace

int inspectCommand(const Args& args) {
  if (wantsHelp(args)) return help(kInspectHelp);
  Parsed p = parseArgs(args, {"--archive", "--time"}, {"--json"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() != 1) return fail("inspect takes one scene file (see vxtool inspect --help)");

  InspectOptions options;
  options.scene = p.positional[0];
  options.json = p.has("--json");
  if (const std::string* v = p.get("--archive")) options.archive = *v;
  if (const std::string* v = p.get("--time")) {
    char* end = nullptr;
    const double ms = std::strtod(v->c_str(), &end);
    if (v->empty() || *end != 0) return fail("bad --time '" + *v + "'");
    options.timeMs = ms;
  }
  std::string out, error;
  if (!inspectScene(options, &out, &error)) return fail(error);
  std::fwrite(out.data(), 1, out.size(), stdout);
  return 0;
}
